#include "Testing/LogCapture.h"
#include "Testing/Model.h"
#include "Testing/Seed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

using namespace orvy::testing;

namespace {

/// What a clock of the tests is like, and what it does when it is called: it goes to the limit, or
/// stops on the way with a reason, as its own sequence of chances says.
struct State {
  uint64_t Cycles = 0;
  uint64_t Steps = 0;
  double Freq = 1e9;
  unsigned StopsIn = 0; // one call in so many stops early, 0 for none
  std::minstd_rand Chance;

  int move(uint64_t Limit, uint64_t MaxSteps) {
    uint64_t Way = Limit > Cycles ? std::min(Limit - Cycles, MaxSteps) : 0;
    int Reason = 0;
    if (StopsIn && Chance() % StopsIn == 0) {
      Way = Way ? Chance() % Way : 0;
      Reason = std::vector{3, 5, 6, 7}[Chance() % 4];
    }
    Cycles += Way;
    Steps += Way;
    return Reason;
  }
  double nanos() const { return static_cast<double>(Cycles) / Freq * 1e9; }
};

struct Call {
  size_t Clock;
  char Slot; // 'a' advanceToCycles, 's' stepUntil
  uint64_t Steps;
  uint64_t Limit;
  bool operator==(const Call &) const = default;
};

std::ostream &operator<<(std::ostream &Os, const Call &C) {
  return Os << C.Slot << C.Clock << "(" << C.Steps << ", " << C.Limit << ")";
}

struct TestClock {
  orvy_Object Super;
  State S;
  size_t Index;
  std::vector<Call> *Calls;
  std::string Set;            // what setters got
  std::function<void()> Then; // at the end of a call

  int move(uint64_t Limit, uint64_t MaxSteps) {
    const int Reason = S.move(Limit, MaxSteps);
    if (const auto Act = std::exchange(Then, nullptr))
      Act();
    return Reason;
  }
};

TestClock &clockOf(void *Obj) {
  return *static_cast<TestClock *>(Obj);
}

ClockIface TestTable = {
    .step = nullptr,
    .stepUntil =
        [](void *Obj, uint64_t Steps, uint64_t Limit) {
          clockOf(Obj).Calls->push_back({clockOf(Obj).Index, 's', Steps, Limit});
          return clockOf(Obj).move(Limit, Steps);
        },
    .advanceCycles = nullptr,
    .advanceToCycles =
        [](void *Obj, uint64_t Limit) {
          clockOf(Obj).Calls->push_back({clockOf(Obj).Index, 'a', 0, Limit});
          return clockOf(Obj).move(Limit, UINT64_MAX);
        },
    .getSteps = [](void *Obj) { return clockOf(Obj).S.Steps; },
    .getCycles = [](void *Obj) { return clockOf(Obj).S.Cycles; },
    .getNanos = [](void *) { return uint64_t{77}; },
    .getSecs = [](void *) { return 7.5; },
    .setSteps = [](void *Obj, uint64_t V) { clockOf(Obj).Set += "s" + std::to_string(V); },
    .setCycles = [](void *Obj, uint64_t V) { clockOf(Obj).Set += "c" + std::to_string(V); },
    .setNanos = [](void *Obj, uint64_t V) { clockOf(Obj).Set += "n" + std::to_string(V); },
    .setSecs = [](void *Obj, double V) { clockOf(Obj).Set += "x" + std::to_string(int(V)); },
    .getFreq = [](void *Obj) { return clockOf(Obj).S.Freq; },
    .setFreq = [](void *Obj, double) { clockOf(Obj).Set += "f"; },
};

/// A component "group" with so many clocks of the tests.
struct Group {
  CleanSystem Clean;
  LogCapture Log;
  std::vector<Call> Calls;
  std::vector<TestClock *> Clocks;
  orvy_Component *C;
  const ClockIface *Iface;

  explicit Group(size_t Count) {
    orvy_registerComponent(
        "Group",
        [](const char *Name, int, const orvy_CreateArg *) -> void * {
          return orvy_componentCreate(Name);
        },
        nullptr);
    orvy_Class *Cls = orvy_registerClass(
        "TestClock",
        [](const char *, int, const orvy_CreateArg *) -> void * { return new TestClock{}; },
        [](void *Obj) { delete &clockOf(Obj); });
    orvy_addInterface(Cls, "ClockIface", "ClockIface", &TestTable, 0, "");
    C = static_cast<orvy_Component *>(orvy_createObject("Group", "group", nullptr));
    Iface = static_cast<ClockIface *>(orvy_getInterface(C, "ClockIface", 0));
    for (size_t Idx = 0; Idx < Count; ++Idx) {
      void *Obj = orvy_createComponentObject(C, "TestClock", nullptr, "c%zu", Idx);
      clockOf(Obj).Index = Idx;
      clockOf(Obj).Calls = &Calls;
      Clocks.push_back(&clockOf(Obj));
      addClock(Obj);
    }
  }

  void addClock(void *Obj) {
    orvy_vecPush(&C->Clocks, ref(Obj, orvy_getInterface(Obj, "ClockIface", 0)));
  }
};

/// The rule of the group scheduler, written down as plainly as it can be.
struct Rule {
  std::vector<State> Clocks;
  size_t Current = 0;
  size_t Counting = 0;
  int64_t Quanta = 0, Start = 0, End = 0;
  std::vector<Call> Calls;
  double Skew = 0; // the greatest between two clocks at any call

  void note(const Call &What) {
    Calls.push_back(What);
    auto [Least, Most] = std::minmax_element(
        Clocks.begin(), Clocks.end(), [](auto &A, auto &B) { return A.nanos() < B.nanos(); });
    Skew = std::max(Skew, Most->nanos() - Least->nanos());
  }

  uint64_t limitOf(const State &S) const {
    auto Freq = static_cast<unsigned __int128>(S.Freq);
    return static_cast<uint64_t>(Freq * static_cast<uint64_t>(End) / 1000000000);
  }

  int advanceTo(uint64_t Target) {
    while (Target > Clocks[0].Cycles) {
      for (; Current < Clocks.size(); ++Current) {
        note({Current, 'a', 0, Target});
        if (int Reason = Clocks[Current].move(Target, UINT64_MAX))
          return Reason;
      }
      Current = 0;
    }
    return 0;
  }

  int stepUntil(uint64_t Steps, uint64_t Target) {
    uint64_t Left = Steps;
    uint64_t Remembered = Clocks[Counting].Steps;
    while (Steps > 0) {
      if (Current == Clocks.size()) {
        bool AllThere =
            std::ranges::all_of(Clocks, [&](const State &S) { return limitOf(S) >= Target; });
        Current = 0;
        if (Left > 0 && AllThere)
          return 0;
        Start = End;
        End = Start + Quanta;
        if (Left == 0)
          return 0;
      }
      State &S = Clocks[Current];
      uint64_t Limit = std::min(Target, limitOf(S));
      note({Current, Current == Counting ? 's' : 'a', Current == Counting ? Left : 0, Limit});
      if (Current == Counting) {
        int Reason = S.move(Limit, Left);
        Left = Remembered + Steps - S.Steps;
        if (Reason)
          return Reason;
      } else {
        S.move(Limit, UINT64_MAX);
      }
      ++Current;
    }
    return 0;
  }
};

class Schedules : public ::testing::Test {
protected:
  uint64_t upTo(uint64_t Most) { return std::uniform_int_distribution<uint64_t>(0, Most)(Random); }

  /// A group and its rule, with the same random clocks.
  void begin(Group &G, bool OthersStop) {
    R = {};
    R.Counting = upTo(G.Clocks.size() - 1);
    R.Quanta = static_cast<int64_t>(1000 + upTo(1000000));
    G.C->StepClock = static_cast<int32_t>(R.Counting);
    G.C->Quanta = static_cast<int32_t>(R.Quanta);
    for (size_t Idx = 0; Idx < G.Clocks.size(); ++Idx) {
      State S;
      S.Freq = std::floor(std::pow(10.0, 6 + 3 * static_cast<double>(upTo(1000)) / 1000));
      S.StopsIn = OthersStop || Idx == R.Counting ? 2 + static_cast<unsigned>(upTo(20)) : 0;
      S.Chance.seed(static_cast<unsigned>(1 + upTo(1000000)));
      R.Clocks.push_back(S);
      G.Clocks[Idx]->S = S;
    }
  }

  void compare(const Group &G, int Result, int Expected) {
    ASSERT_EQ(Result, Expected);
    ASSERT_EQ(G.Calls, R.Calls);
    ASSERT_EQ(G.C->CurrentClock, static_cast<int32_t>(R.Current));
    ASSERT_EQ(G.C->QuantaStart, R.Start);
    ASSERT_EQ(G.C->QuantaEnd, R.End);
    for (size_t Idx = 0; Idx < G.Clocks.size(); ++Idx)
      ASSERT_EQ(G.Clocks[Idx]->S.Cycles, R.Clocks[Idx].Cycles);
  }

  /// One random operation on both.
  void operate(Group &G) {
    uint64_t Steps = upTo(5) ? upTo(200000) : 0;
    uint64_t Target = R.Clocks[0].Cycles + upTo(100000);
    switch (upTo(3)) {
    case 0:
      return compare(G, G.Iface->step(G.C, Steps), R.stepUntil(Steps, UINT64_MAX));
    case 1:
      return compare(G, G.Iface->stepUntil(G.C, Steps, Target), R.stepUntil(Steps, Target));
    case 2:
      return compare(G, G.Iface->advanceToCycles(G.C, Target), R.advanceTo(Target));
    default: {
      uint64_t Cycles = upTo(100000);
      uint64_t Now = R.Clocks[0].Cycles;
      return compare(G, G.Iface->advanceCycles(G.C, Cycles), R.advanceTo(Now + Cycles));
    }
    }
  }

  std::mt19937 Random{testSeed()};
  Rule R;
};

TEST_F(Schedules, FollowTheReferenceScheduler) {
  size_t Calls = 0;
  for (int Trial = 0; Trial < 300; ++Trial) {
    Group G(1 + upTo(4));
    begin(G, true);
    for (int Op = 0; Op < 20 && !HasFatalFailure(); ++Op)
      operate(G);
    Calls += R.Calls.size();
  }
  EXPECT_GT(Calls, 10000u);
}

/// The clock that counts stops again and again, and goes on in the middle of the quantum.
TEST_F(Schedules, KeepClocksWithinOneQuantum) {
  int Stops = 0;
  for (int Trial = 0; Trial < 200; ++Trial) {
    Group G(2 + upTo(3));
    begin(G, false);
    const uint64_t Steps = 1000 + upTo(300000);
    uint64_t Done = 0;
    for (int Reason = 1; Reason != 0; Done = R.Clocks[R.Counting].Steps) {
      Reason = R.stepUntil(Steps - Done, UINT64_MAX);
      compare(G, G.Iface->step(G.C, Steps - Done), Reason);
      if (HasFatalFailure())
        return;
      Stops += Reason != 0;
    }
    EXPECT_EQ(Done, Steps);
    double Cycle = 1e9 / std::ranges::min(R.Clocks, {}, &State::Freq).Freq;
    EXPECT_LE(R.Skew, static_cast<double>(R.Quanta) + Cycle) << "trial " << Trial;
  }
  EXPECT_GT(Stops, 200);
}

TEST(Groups, StepByQuantaUntilTheCountingClockHasDone) {
  Group G(2);
  G.Clocks[1]->S.Freq = 5e8;
  G.C->Quanta = 1000;
  EXPECT_EQ(G.Iface->step(G.C, 2500), 0);
  EXPECT_THAT(G.Calls, testing::ElementsAre(Call{0, 's', 2500, 0}, Call{1, 'a', 0, 0},       //
                                            Call{0, 's', 2500, 1000}, Call{1, 'a', 0, 500},  //
                                            Call{0, 's', 1500, 2000}, Call{1, 'a', 0, 1000}, //
                                            Call{0, 's', 500, 3000}, Call{1, 'a', 0, 1500}));
  EXPECT_EQ(G.C->QuantaStart, 3000);
  EXPECT_EQ(G.C->QuantaEnd, 4000);
  G.Calls.clear();
  EXPECT_EQ(G.Iface->stepUntil(G.C, 9, 3100), 0);
  EXPECT_THAT(G.Calls, testing::ElementsAre(Call{0, 's', 9, 3100}, Call{1, 'a', 0, 2000}));
}

/// A clock that is gone is passed over; a group that is gone, or has lost its counting clock, ends.
TEST(Groups, MayLoseTheirClocksAndThemselvesWhileTheyRun) {
  const struct {
    const char *Lost;
    size_t Runner; // which clock disposes of it
    bool Steps;
    std::vector<Call> Calls;
  } Cases[] = {
      {"group-c1", 0, false, {{0, 'a', 0, 50}, {2, 'a', 0, 50}}},
      {"group-c1", 1, false, {{0, 'a', 0, 50}, {1, 'a', 0, 50}, {2, 'a', 0, 50}}},
      {"group-c0", 0, false, {{0, 'a', 0, 50}, {1, 'a', 0, 50}, {2, 'a', 0, 50}}},
      {"group", 1, false, {{0, 'a', 0, 50}, {1, 'a', 0, 50}}},
      {"group-c1", 0, true, {{0, 's', 20, 50}, {2, 'a', 0, 50}}},
      {"group-c0", 0, true, {{0, 's', 20, 50}}},
      {"group-c0", 1, true, {{0, 's', 20, 50}, {1, 'a', 0, 50}}},
      {"group", 2, true, {{0, 's', 20, 50}, {1, 'a', 0, 50}, {2, 'a', 0, 50}}},
  };
  for (const auto &C : Cases) {
    SCOPED_TRACE(std::string(C.Lost) + " by " + std::to_string(C.Runner));
    Group G(3);
    G.C->QuantaEnd = G.C->Quanta = 1000;
    G.Clocks[C.Runner]->Then = [&] { orvy_disposeObject(orvy_objectForName(C.Lost)); };
    EXPECT_EQ(C.Steps ? G.Iface->stepUntil(G.C, 20, 50) : G.Iface->advanceToCycles(G.C, 50), 0);
    EXPECT_EQ(G.Calls, C.Calls);
  }
}

TEST(Groups, ForwardToTheFirstClockOrToAll) {
  Group G(2);
  G.Clocks[0]->S = {.Cycles = 5, .Steps = 6, .Freq = 1e6};
  EXPECT_EQ(G.Iface->getCycles(G.C), 5u);
  EXPECT_EQ(G.Iface->getNanos(G.C), 77u);
  EXPECT_EQ(G.Iface->getSecs(G.C), 7.5);
  EXPECT_EQ(G.Iface->getFreq(G.C), 1e6);
  EXPECT_EQ(G.Iface->getSteps(G.C), 0u);
  G.Iface->setFreq(G.C, 5);
  G.Iface->setSteps(G.C, 1);
  G.Iface->setCycles(G.C, 2);
  G.Iface->setNanos(G.C, 3);
  G.Iface->setSecs(G.C, 4);
  for (TestClock *Clock : G.Clocks)
    EXPECT_EQ(Clock->Set, "s1c2n3x4");
}

/// What a user or a checkpoint can do to the fields must not hang or crash a run.
TEST(Groups, DoNothingWhereTheyCannotRun) {
  Group None(0);
  EXPECT_EQ(None.Iface->advanceCycles(None.C, 100), 0);
  EXPECT_EQ(None.Iface->step(None.C, 100), 0);
  EXPECT_EQ(None.Iface->getFreq(None.C), 0.0);
  None.Iface->setCycles(None.C, 5);
  EXPECT_EQ(None.Log.count("stands still"), 2);

  orvy_objsysClearObjects();
  Group Nested(1);
  void *Inner = orvy_createComponentObject(Nested.C, "Group", nullptr, "inner");
  Nested.addClock(Inner);
  for (int32_t Wrong : {1, 2, -1}) {
    Nested.C->StepClock = Wrong;
    EXPECT_EQ(Nested.Iface->step(Nested.C, 10), 0);
  }
  EXPECT_EQ(Nested.Log.count("counts no steps"), 1);
  EXPECT_EQ(Nested.Log.count("none of the clocks"), 2);
  EXPECT_TRUE(Nested.Calls.empty());
}

TEST(Groups, TakeADefaultForQuantaAndMendTheirFields) {
  Group G(2);
  G.C->CurrentClock = -7;
  EXPECT_EQ(G.Iface->step(G.C, 100), 0);
  EXPECT_EQ(G.C->Quanta, 1000000);
  EXPECT_EQ(G.Log.count("quanta is not set, running in quanta of 1000000 ns"), 1);
  G.C->CurrentClock = -7;
  EXPECT_EQ(G.Iface->advanceCycles(G.C, 100), 0);
  EXPECT_EQ(G.C->CurrentClock, 0);
  G.C->QuantaEnd = -5;
  EXPECT_EQ(G.Iface->stepUntil(G.C, 5, 100000000), 0);
  G.C->QuantaEnd = INT64_MAX;
  EXPECT_EQ(G.Iface->step(G.C, 5), 0);
  G.C->QuantaEnd = INT64_MAX - 5;
  EXPECT_EQ(G.Iface->step(G.C, INT64_MAX), 0);
  EXPECT_EQ(G.C->QuantaEnd, INT64_MAX);
}

} // namespace
