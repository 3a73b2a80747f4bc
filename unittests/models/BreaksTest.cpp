// The break and watch points of the user as a host program sets them, and what it is told of a run.

#include "models/Board.h"

#include "Testing/LogCapture.h"

#include <gmock/gmock.h>

using namespace orvy::testing;
using testing::HasSubstr;

namespace {

constexpr const char *Image = ORVY_SOURCE_ROOT "/test/debugger/types-5-O0.elf";
constexpr int64_t Second = 1'000'000'000;

/// A program of functions "main", "fact", "probe" and "walk" and of a variable "counter".
class Breaks : public testing::Test {
protected:
  Breaks() {
    EXPECT_EQ(orvy_execCommand((std::string("load obj=memory file=") + Image).c_str()), 0);
    orvy_cpuReset(B.Cpus[0], ovRK_Cold);
    orvy_cpuSetPc(B.Cpus[0], Board::RamBase);
    Log.clear();
  }
  ~Breaks() override {
    while (const uint64_t Id = orvy_breakNext(0))
      orvy_breakDelete(Id);
  }

  orvy_StopInfo run() {
    orvy_StopInfo Stop;
    orvy_stopConclude(orvy_objectForName("sim"), orvy_simRunNanos(Second), &Stop);
    return Stop;
  }
  /// Runs for a moment and returns the number of the break point that stopped it.
  uint64_t stoppedBy() { return run().BreakId; }
  static orvy_BreakInfo infoOf(uint64_t Id) {
    orvy_BreakInfo Info;
    EXPECT_EQ(orvy_breakGet(Id, &Info), 0);
    return Info;
  }

  Board B;
  LogCapture Log;
};

TEST_F(Breaks, StopRunsAndTellWhy) {
  orvy_StopInfo Stop;
  EXPECT_EQ(orvy_stopGetLast(&Stop), 1);
  EXPECT_STREQ(Stop.Word, "none");

  const uint64_t Break = orvy_breakSet(nullptr, "fact", "n == 2");
  Stop = run();
  EXPECT_EQ(Stop.Kind, ovSK_Break);
  EXPECT_EQ(Stop.BreakId, Break);
  EXPECT_EQ(Stop.Pc, orvy_cpuGetPc(B.Cpus[0]));
  EXPECT_STREQ(Stop.Cpu, "cpu0");
  EXPECT_STREQ(Stop.Word, "break");
  EXPECT_THAT(Stop.Text, HasSubstr("at types.c:120 (fact) on cpu0"));
  EXPECT_NEAR(Stop.Seconds, 0.0004, 0.00001);

  const uint64_t Watch = orvy_watchSet(B.Cpus[0], "counter", ovUB_Change, 0, nullptr);
  EXPECT_EQ(orvy_breakSetOnce(Watch, 1), 0);
  Stop = run();
  EXPECT_EQ(Stop.Kind, ovSK_Watch);
  EXPECT_EQ(Stop.BreakId, Watch);
  EXPECT_THAT(Stop.Text, HasSubstr("by cpu0 at 0x40001660 <probe+92>"));
  orvy_BreakInfo Info;
  EXPECT_EQ(orvy_breakGet(Watch, &Info), 1); // it was to stop once

  orvy_breakDelete(Break);
  Stop = run();
  EXPECT_EQ(Stop.Kind, ovSK_Halt); // the program has ended
  EXPECT_EQ(Stop.BreakId, 0u);
  EXPECT_EQ(orvy_stopGetLast(&Stop), 0);
  EXPECT_STREQ(Stop.Word, "halt");
}

TEST_F(Breaks, AreListedAndChanged) {
  const uint64_t Line = orvy_breakSet(nullptr, "types.c:115", nullptr); // inlined into main
  const uint64_t Watch = orvy_watchSet(nullptr, "0x40002590", ovUB_Write, 8, "counter > 20");
  EXPECT_EQ(orvy_breakNext(0), Line);
  EXPECT_EQ(orvy_breakNext(Line), Watch);
  EXPECT_EQ(orvy_breakNext(Watch), 0u);

  orvy_BreakInfo Info = infoOf(Watch);
  EXPECT_EQ(Info.Kind, ovUB_Write);
  EXPECT_EQ(Info.Length, 8u);
  EXPECT_STREQ(Info.Asked, "0x40002590");
  EXPECT_STREQ(Info.Condition, "counter > 20");
  uint64_t Address = 0;
  EXPECT_STREQ(orvy_breakGetPlace(Line, 0, &Address), "types.c:115 (main)");
  EXPECT_EQ(Address, 0x40001adcu);
  EXPECT_EQ(orvy_breakGetPlace(Line, infoOf(Line).Places, nullptr), nullptr);

  orvy_breakDelete(Watch);
  const uint64_t Probe = orvy_breakSet(nullptr, "probe", nullptr);
  orvy_breakSetIgnore(Probe, 1);
  EXPECT_EQ(stoppedBy(), Probe); // the second time
  EXPECT_EQ(infoOf(Probe).Hits, 2u);
  orvy_breakEnable(Probe, 0);
  EXPECT_FALSE(infoOf(Probe).IsEnabled);
  EXPECT_EQ(stoppedBy(), Line);
  orvy_breakEnable(Probe, 1);
  orvy_breakSetCondition(Probe, "n == 99999");
  orvy_breakSetCpu(Probe, B.Cpus[0]);
  EXPECT_STREQ(infoOf(Probe).Cpu, "cpu0");
  EXPECT_EQ(run().Kind, ovSK_Halt);
}

TEST_F(Breaks, AreRefusedWhereNothingCanBeMet) {
  const uint64_t Set = orvy_breakSet(nullptr, "main", nullptr);
  const std::pair<bool, const char *> Rows[] = {
      {orvy_breakSet(nullptr, "nowhere", nullptr) == 0, "nowhere"},
      {orvy_breakSet(nullptr, "main", "1 +") == 0, "1 +"},
      {orvy_breakSet(B.Uart, "main", nullptr) == 0, "not a processor"},
      {orvy_watchSet(nullptr, nullptr, ovUB_Write, 0, nullptr) == 0, "nothing to watch"},
      {orvy_watchSet(nullptr, "3", ovUB_Write, 0, nullptr) == 0, "not in memory"},
      {orvy_watchSet(nullptr, "$o0", ovUB_Read, 0, nullptr) == 0, "reads of a register"},
      {orvy_watchSet(nullptr, "counter", ovUB_Code, 0, nullptr) == 0, "0 is not a kind"},
      {orvy_watchSet(nullptr, "counter", ovUB_Polled, 0, nullptr) == 0, "5 is not a kind"},
      {orvy_watchSet(nullptr, "counter", ovUB_Write, 1 << 21, nullptr) == 0, "1 to 1048576"},
      {orvy_breakSetCondition(Set, "(") == 1, "breakSetCondition"},
      {orvy_breakSetCondition(77, "1") == 1, "no break point 77"},
      {orvy_breakSetCpu(Set, B.Uart) == 1, "not a processor"},
  };
  std::vector<std::string> Told = Log.take();
  ASSERT_EQ(Told.size(), std::size(Rows));
  for (size_t Row = 0; Row < std::size(Rows); ++Row) {
    EXPECT_TRUE(Rows[Row].first) << Rows[Row].second;
    EXPECT_THAT(Told[Row], HasSubstr(Rows[Row].second));
  }
  EXPECT_EQ(orvy_breakDelete(77) + orvy_breakEnable(77, 1) + orvy_breakSetIgnore(77, 1), 3);
  EXPECT_EQ(orvy_breakNext(Set), 0u);
  EXPECT_EQ(infoOf(Set).Condition, nullptr);
}

/// An object whose property changes the break points when it is read.
class Meddler {
public:
  using Action = void (*)();
  static inline Action Do = nullptr;

  Meddler() {
    orvy_Class *Cls = orvy_registerClass(
        "Meddler",
        [](const char *, int, const orvy_CreateArg *) -> void * { return new orvy_Object{}; },
        [](void *Obj) { delete static_cast<orvy_Object *>(Obj); });
    orvy_addPseudoProperty(Cls, "value", ovTY_U32, 1, nullptr, read, nullptr, read, "");
    orvy_createObject("Meddler", "meddler", nullptr);
  }

private:
  static orvy_Propval read(void *, int) {
    Do();
    return {ovTY_U32, {.u32 = 1}};
  }
};

TEST_F(Breaks, MayBeChangedByWhatTheirConditionReads) {
  const Meddler Makes;
  static uint64_t First, Second, Added;
  static const auto isGone = [](uint64_t Id) {
    orvy_BreakInfo Info;
    return orvy_breakGet(Id, &Info) == 1;
  };
  const auto arm = [](Meddler::Action Do) {
    Added = 0;
    Meddler::Do = Do;
    First = orvy_breakSet(nullptr, "probe", "@meddler.value == 1");
    Second = orvy_breakSet(nullptr, "probe", nullptr);
  };
  arm([] { orvy_breakDelete(First); }); // the one that asks
  EXPECT_EQ(stoppedBy(), Second);
  EXPECT_TRUE(isGone(First));
  orvy_breakDelete(Second);

  arm([] { orvy_breakDelete(Second); }); // one whose turn would be next
  EXPECT_EQ(stoppedBy(), First);
  EXPECT_TRUE(isGone(Second));
  orvy_breakDelete(First);

  arm([] {
    orvy_breakSetCondition(First, "0");
    if (!Added)
      Added = orvy_breakSet(nullptr, "probe", nullptr);
    orvy_breakDelete(Second);
  });
  EXPECT_EQ(stoppedBy(), First); // its former condition is true this time
  EXPECT_EQ(stoppedBy(), Added);
}

} // namespace
