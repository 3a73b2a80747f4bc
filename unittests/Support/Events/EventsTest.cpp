#include "Events/EventQueue.h"

#include "Testing/LogCapture.h"
#include "Testing/ScriptedCpu.h"
#include "Testing/Seed.h"

#include "orvy/Support/NewObjectSystem.h"
#include "orvy/Support/Orvy.h"
#include "orvy/Support/OutStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

using namespace orvy::testing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// A queue whose events note their names as they fire.
class EventQueue : public ::testing::Test {
protected:
  struct Named {
    EventQueue *Test;
    std::string Name;
    std::function<void(orvy_Event *)> Action;
  };

  ~EventQueue() override {
    if (Queue)
      orvy_disposeEventQueue(Queue);
    orvy_eventDepublishAll();
  }

  int64_t publish(const std::string &Name, std::function<void(orvy_Event *)> Action = {}) {
    Names.push_back(std::make_unique<Named>(Named{this, Name, std::move(Action)}));
    int64_t Id = orvy_eventPublish(Name.c_str(), Names.back().get(), fire);
    return Id;
  }

  void post(int64_t Id, int64_t Time) { orvy_eventPostAbsoluteInQueueInternal(Queue, Id, Time); }

  std::vector<std::string> fireUntil(int64_t Time) {
    Fired.clear();
    orvy_eventTrigger(Queue, Time);
    return Fired;
  }

  static void fire(orvy_Event *Event) {
    auto *N = static_cast<Named *>(Event->Obj);
    N->Test->Fired.push_back(N->Name);
    if (N->Action)
      N->Action(Event);
  }

  LogCapture Log;
  orvy_EventQueue *Queue = orvy_allocateEventQueue();
  std::vector<std::unique_ptr<Named>> Names;
  std::vector<std::string> Fired;
};

TEST_F(EventQueue, WhoHearsTheWarningMayChangeTheQueue) {
  static std::function<void()> Hear;
  int64_t Id = 0, Other = publish("other");
  const std::function<void()> Acts[] = {[&] { orvy_eventDeschedule(Id); },
                                        [&] { orvy_eventDeschedule(Other); },
                                        [&] { orvy_eventDepublish(Id); }};
  const std::function<void()> Posts[] = {[&] { post(Id, 20); },
                                         [&] {
                                           orvy_eventPtrNS(Id)->Flags |= ovEF_RealTime;
                                           orvy_eventPostRelativeInQueueInternal(Queue, Id, 20, 0);
                                         },
                                         [&] { orvy_eventStackPostInternal(Queue, Id); }};
  for (const auto &Act : Acts)
    for (const auto &Post : Posts) {
      Id = publish("posted");
      post(Other, 5);
      post(Id, 10); // moves to the place of the other when that goes
      Hear = Act;
      orvy_logSetFunc([](const char *) {
        if (const auto Act = std::exchange(Hear, nullptr))
          Act();
      });
      Post();
      orvy_logSetFunc(nullptr);
      orvy_eventDeschedule(Other);
      EXPECT_TRUE(orvy_verifyHeapOrder(Queue));
      EXPECT_THAT(fireUntil(20).size(), &Act == &Acts[2] ? 0 : 1);
    }
}

TEST_F(EventQueue, SaysOfInvalidIdsWhatWasTried) {
  int64_t Gone = publish("gone");
  orvy_eventDepublish(Gone);
  for (int64_t Id : {int64_t(0), int64_t(-5), int64_t(99), Gone}) {
    Log.clear();
    post(Id, 1);
    orvy_eventPostRelativeInQueueInternal(Queue, Id, 1, 1);
    orvy_eventStackPostInternal(Queue, Id);
    EXPECT_EQ(orvy_eventGetRawTime(Id), -1);
    EXPECT_EQ(Log.count("posting absolute invalid event"), 2);
    EXPECT_EQ(Log.count("stack posting invalid event"), 1);
    EXPECT_EQ(Log.count("get time on invalid event"), 1);
  }
  orvy_eventDepublish(0);
  EXPECT_EQ(Log.count("depublishing invalid event"), 1);
  EXPECT_EQ(orvy_eventIsScheduled(Gone), 0);
  EXPECT_EQ(orvy_eventPtrNS(Gone), nullptr);
  EXPECT_GT(publish("next"), Gone);
}

TEST_F(EventQueue, ACyclicEventEndsWithTime) {
  int64_t Tick = publish("tick", [this](orvy_Event *E) {
    if (Fired.size() == 3)
      orvy_eventSetPeriodCycles(E->EventId, 0);
  });
  orvy_eventSetPeriodCycles(Tick, 10);
  post(Tick, INT64_MAX - 15);
  EXPECT_THAT(fireUntil(INT64_MAX), ElementsAre("tick", "tick"));
  EXPECT_EQ(orvy_eventIsScheduled(Tick), 0);
}

// More than one block of the table holds; owners' records lie between those of the library.
TEST_F(EventQueue, IdsAndRecordsStayValidHoweverManyEventsArePublished) {
  constexpr int Count = 140000;
  static int64_t Sum;
  Sum = 0;
  auto Add = [](orvy_Event *Event) { Sum += Event->EventId; };
  std::vector<orvy_Event> Own(Count / 7);
  std::vector<orvy_Event *> Records;
  for (int Index = 0; Index < Count; ++Index) {
    int64_t Id = Index % 7 == 0
                     ? orvy_eventPublishStruct("own", &Own[Records.size() / 7], nullptr, Add)
                     : orvy_eventPublish("library's", nullptr, Add);
    ASSERT_EQ(Id, Index + 1);
    Records.push_back(orvy_eventPtrNS(Id));
    post(Id, Count - Index);
  }
  for (int Index = 0; Index < Count; ++Index)
    ASSERT_EQ(orvy_eventPtrNS(Index + 1), Records[Index]);
  for (int Index = 0; Index < Count; Index += 2)
    orvy_eventDepublish(Index + 1);
  EXPECT_EQ(orvy_eventTrigger(Queue, Count), -1);
  EXPECT_EQ(Sum, int64_t{Count} / 2 * (Count / 2 + 1)); // those with even ids

  // What comes takes the places of what went, under ids of its own.
  std::set<int64_t> Seen;
  for (int Index = 0; Index < Count; ++Index) {
    int64_t Id = orvy_eventPublish("later", nullptr, Add);
    ASSERT_TRUE(Id > Count && Seen.insert(Id).second);
    ASSERT_EQ(orvy_eventPtrNS(Id)->EventId, Id);
    ASSERT_EQ(static_cast<uint32_t>(Id) <= Count, Index < Count / 2);
  }
  EXPECT_EQ(orvy_eventIsScheduled(1), 0);
  EXPECT_DEATH(orvy_eventIsScheduled(int64_t{9} << 32 | 1), "internal error: ");
  orvy_eventDepublishAll(); // before the owner's records
}

TEST_F(EventQueue, AQueueMayBeDisposedByOneOfItsOwnEvents) {
  int64_t Last = publish(
      "last", [this](orvy_Event *) { orvy_disposeEventQueue(std::exchange(Queue, nullptr)); });
  int64_t Never = publish("never");
  post(Last, 1);
  post(Never, 1);
  EXPECT_THAT(fireUntil(5), ElementsAre("last"));
  EXPECT_EQ(orvy_eventIsScheduled(Never), 0);
}

TEST_F(EventQueue, WhoHearsOfASlipMayDisposeOfWhatIsLate) {
  orvy::event::init();
  static std::function<void()> Hear;
  orvy_subscribeNotification("orvy.realtime-slip", nullptr, nullptr,
                             [](void *, void *, void *) { std::exchange(Hear, nullptr)(); });
  const std::function<void(int64_t)> Acts[] = {
      [](int64_t Id) { orvy_eventDepublish(Id); },
      [this](int64_t) { orvy_eventEraseAssociatedEvents(this); },
      [this](int64_t) { orvy_disposeEventQueue(std::exchange(Queue, nullptr)); }};
  for (const auto &Act : Acts) {
    auto Own = std::make_unique<orvy_Event>();
    const int64_t Id = orvy_eventPublishStruct(
        "late", Own.get(), this, [](orvy_Event *E) { *static_cast<bool *>(E->Data) = true; });
    bool HasFired = false;
    Own->Data = &HasFired;
    orvy_eventSetRealTime(Id);
    orvy_eventSetPeriodCycles(Id, 100);
    post(Id, 1);
    Hear = [&] {
      Act(Id);
      if (Queue)
        Own.reset();
    };
    orvy_eventTrigger(Queue, 5);
    EXPECT_FALSE(HasFired);
    orvy_eventDepublish(Id);
  }
}

TEST_F(EventQueue, AOneShotEventThatInsertsItselfAgainIsNotFreed) {
  static int Count;
  Count = 0;
  auto Shot = [](orvy_Event *) { ++Count; };
  orvy_eventPostOneShotInternal(Queue, nullptr, Shot, 20);

  orvy_EventQueue *Other = orvy_allocateEventQueue();
  orvy_eventPostOneShotInternal(
      Other, Queue,
      [](orvy_Event *E) {
        E->Time += 10;
        ++Count;
        if (E->Time < 40)
          orvy_eventInsertInternal(static_cast<orvy_EventQueue *>(E->Obj), E);
      },
      10);
  orvy_eventTrigger(Other, 100);
  orvy_eventPostOneShotInternal(Other, nullptr, Shot, 1); // would take its place
  orvy_eventTrigger(Queue, 100);                          // with the one at 20
  EXPECT_EQ(Count, 4);                                    // three of them, and the other
  orvy_disposeEventQueue(Other);
}

TEST_F(EventQueue, PacesByTheWallClockAndReportsASlip) {
  orvy::event::init();
  static int Slips;
  Slips = 0;
  orvy_subscribeNotification("orvy.realtime-slip", nullptr, nullptr,
                             [](void *, void *, void *) { ++Slips; });
  int64_t Tick = publish("tick");
  ASSERT_EQ(orvy_eventSetRealTime(Tick), 0);
  orvy_eventSetPeriodCycles(Tick, 100);
  orvy_eventSetRTPeriodNanos(Tick, 20000000);
  post(Tick, 100);
  EXPECT_EQ(orvy_eventSetRealTime(Tick), -1);
  EXPECT_EQ(Log.count("__func__: event id " + std::to_string(Tick) + " is already scheduled"), 1);
  uint64_t Start = orvy_timeGetMonotonicWct();
  fireUntil(300); // a slip that starts the schedule, then two periods of 20 ms
  EXPECT_GE(orvy_timeGetMonotonicWct() - Start, 40000000u);
  EXPECT_GE(Slips, 1);

  int64_t Once = publish("once");
  orvy_eventSetRealTime(Once);
  const uint64_t Wanted = orvy_timeGetMonotonicWct() + 200000000;
  orvy_eventSetRTTime(Once, Wanted);
  post(Once, 301);
  Slips = 0;
  EXPECT_THAT(fireUntil(301), ElementsAre("once"));
  EXPECT_GE(orvy_timeGetMonotonicWct(), Wanted);
  EXPECT_EQ(Slips, 0);

  orvy_eventSetRTPeriodNanos(Tick, -1);
  EXPECT_EQ(orvy_eventPtrNS(Tick)->RTPeriodNanos, 0u);
}

TEST_F(EventQueue, PrintsItsHeap) {
  post(publish("a"), 42);
  testing::internal::CaptureStdout();
  orvy_printHeap(Queue);
  orvy::outs().flush();
  std::string Text = testing::internal::GetCapturedStdout();
  EXPECT_THAT(Text, HasSubstr("[0 (0) ]: "));
  EXPECT_THAT(Text, HasSubstr(" 42 (0x0000"));
}

TEST_F(EventQueue, ADrainInsideADrainCallsNothing) {
  static std::vector<int> Called;
  Called.clear();
  static orvy_EventQueue *Drained;
  Drained = Queue;
  int One = 1, Two = 2;
  for (int *Each : {&One, &Two})
    orvy_postCallbackInQueue(
        Queue,
        [](void *Arg) {
          orvy_eventTriggerThreadSafeCallbacks(Drained);
          Called.push_back(*static_cast<int *>(Arg));
        },
        Each);
  orvy_removeCallbackInQueue(
      Queue, [](void *) { Called.push_back(0); }, &One); // another function
  orvy_eventTriggerThreadSafeCallbacks(Queue);
  EXPECT_THAT(Called, ElementsAre(1, 2));
}

TEST_F(EventQueue, CallbacksOfFourThreadsAllArriveOnce) {
  constexpr int PerThread = 5000;
  static std::vector<int> Seen;
  Seen.assign(4 * PerThread, 0);
  static std::vector<int> Values(4 * PerThread);
  std::atomic<int> Posting{4};
  std::vector<std::thread> Posters;
  for (int T = 0; T < 4; ++T)
    Posters.emplace_back([&, T] {
      for (int I = T * PerThread; I < (T + 1) * PerThread; ++I) {
        Values[static_cast<size_t>(I)] = I;
        orvy_postCallbackInQueue(
            Queue, [](void *Arg) { ++Seen[static_cast<size_t>(*static_cast<int *>(Arg))]; },
            &Values[static_cast<size_t>(I)]);
      }
      --Posting;
    });
  for (int64_t Time = 0; Posting.load() > 0; ++Time)
    orvy_eventTrigger(Queue, Time);
  for (std::thread &T : Posters)
    T.join();
  orvy_eventTrigger(Queue, 0);
  EXPECT_THAT(Seen, testing::Each(1));
}

/// A processor, a machine and clocks that events are posted on.
class Holders : public EventQueue {
protected:
  struct Machine {
    orvy_Object Super;
    orvy_EventQueue *Queue;
    uint64_t Time;
  };

  Holders() {
    static MachineIface Run{};
    Run.getTime = [](void *Obj) { return static_cast<Machine *>(Obj)->Time; };
    static EventIface Events{};
    Events.postAbsolute = [](void *Obj, int64_t Id, int64_t Time) {
      orvy_eventPostAbsoluteInQueueInternal(static_cast<Machine *>(Obj)->Queue, Id, Time);
    };
    Events.postRelative = [](void *Obj, int64_t Id, int64_t Delay) {
      auto *M = static_cast<Machine *>(Obj);
      int64_t Time = 0;
      if (__builtin_add_overflow(static_cast<int64_t>(M->Time), Delay, &Time))
        Time = INT64_MAX;
      orvy_eventPostAbsoluteInQueueInternal(M->Queue, Id, Time);
    };
    Events.postOnStack = [](void *Obj, int64_t Id) {
      orvy_eventStackPostInternal(static_cast<Machine *>(Obj)->Queue, Id);
    };
    static void *Table[] = {&Run, &Events};
    orvy_Class *Cls = orvy_registerClass(
        "TestMachine",
        [](const char *, int, const orvy_CreateArg *) -> void * {
          return new Machine{{}, orvy_allocateEventQueue(), 0};
        },
        [](void *Obj) {
          orvy_disposeEventQueue(static_cast<Machine *>(Obj)->Queue);
          delete static_cast<Machine *>(Obj);
        });
    orvy_qualifyAsMachine(Cls);
    orvy_addProperty(Cls, "quantaStart", offsetof(Machine, Time), ovTY_U64, 1, nullptr, nullptr,
                     "");
    orvy_setVTable(Cls, Table);
    orvy::clockmodel::registerClock();
    orvy_registerClass(
        "Plain",
        [](const char *, int, const orvy_CreateArg *) -> void * { return new orvy_Object{}; },
        [](void *Obj) { delete static_cast<orvy_Object *>(Obj); });
    Mach = static_cast<Machine *>(orvy_createObject("TestMachine", "machine", nullptr));
    Cpu = ScriptedCpu::make("cpu", 1000); // 1 cycle is 1 ms
    orvy_CreateArg Args[] = {{"freq", {ovTY_Double, {}}}, {nullptr, {}}};
    Args[0].Val.d = 2000.9; // counts as 2000 Hz
    Clock = orvy_createObject("Clock", "clock", Args);
    Plain = orvy_createObject("Plain", "plain", nullptr);
  }
  ~Holders() override { orvy_objsysClear(); }

  int64_t Id = publish("event");
  Machine *Mach = nullptr;
  ScriptedCpu *Cpu = nullptr;
  void *Clock = nullptr;
  void *Plain = nullptr;
};

TEST_F(Holders, PostInTheUnitOfTheQueueTheEventGoesTo) {
  Cpu->Cycles = 100;
  Cpu->Machine = Mach;
  Mach->Time = 50;
  constexpr int64_t Max = INT64_MAX; // the end of time, at which is what lies beyond it
  // Raw times after posting cycles, nanoseconds and seconds, near and far; -1 for none.
  const struct {
    void *Holder;
    orvy_SyncEvent Sync;
    int64_t Near[3]; // 7 cycles, 3e6 ns, 2 s
    int64_t Far[3];  // the farthest
  } Cases[] = {
      {Cpu, ovSE_Cpu, {107, 103, 2100}, {Max, 9223372036954, Max}},
      {Cpu, ovSE_Machine, {107000000, 103000000, 2000000050}, {Max, Max, Max}},
      {Mach, ovSE_Cpu, {-1, 3000050, 2000000050}, {-1, Max, Max}},
      {Clock, ovSE_Machine, {8, 7, 4001}, {Max, 18446744073710, Max}},
      {Plain, ovSE_Cpu, {-1, -1, -1}, {-1, -1, -1}},
      {nullptr, ovSE_Cpu, {-1, -1, -1}, {-1, -1, -1}},
  };
  const auto rawTime = [this] {
    int64_t Time = orvy_eventIsScheduled(Id) ? orvy_eventGetRawTime(Id) : -1;
    orvy_eventDeschedule(Id);
    return Time;
  };
  const auto expectTimes = [&](const auto &C, int64_t Ticks, int64_t Nanos, double Secs,
                               const int64_t(&Times)[3]) {
    orvy_eventPostCycles(C.Holder, Id, Ticks, C.Sync);
    EXPECT_EQ(rawTime(), Times[0]);
    orvy_eventPostNanos(C.Holder, Id, Nanos, C.Sync);
    EXPECT_EQ(rawTime(), Times[1]);
    orvy_eventPostSecs(C.Holder, Id, Secs, C.Sync);
    EXPECT_EQ(rawTime(), Times[2]);
  };
  static_cast<ClockIface *>(orvy_getInterface(Clock, "ClockIface", 0))->setCycles(Clock, 1);
  for (const auto &C : Cases) {
    SCOPED_TRACE(C.Near[0]);
    expectTimes(C, 7, 3000000, 2.0, C.Near);
    expectTimes(C, Max, Max, 1e30, C.Far);
  }
  EXPECT_EQ(Log.count("posting cycle event on machine object not supported"), 2);
  EXPECT_EQ(Log.count("event 'event' is not posted: 'plain' is not a processor, machine or clock"),
            1)
      << "once for an owner, whatever it posts on";
  orvy_eventPostAbsoluteInQueueInternal(Cpu->Queue, Id, INT64_MIN);
  EXPECT_EQ(orvy_eventGetCycles(Cpu, Id), INT64_MIN);
  orvy_eventDeschedule(Id);
  orvy_eventPostAbsoluteInQueueInternal(Mach->Queue, Id, INT64_MIN);
  EXPECT_EQ(orvy_eventGetNanos(Cpu, Id), INT64_MIN);
  Cpu->Freq = 1000000000;
  EXPECT_EQ(orvy_eventGetCycles(Cpu, Id), INT64_MIN);
  EXPECT_EQ(orvy_eventGetNanos(Mach, Id), INT64_MIN);
  orvy_eventDeschedule(Id);
  orvy_eventPostAbsoluteInQueueInternal(static_cast<Machine *>(Clock)->Queue, Id, INT64_MIN);
  EXPECT_EQ(orvy_eventGetCycles(Clock, Id), INT64_MIN);
  orvy_eventDeschedule(Id);

  for (void *None : {Plain, static_cast<void *>(nullptr)}) {
    Cpu->Machine = None; // without a machine both mean the processor
    orvy_eventPostCycles(Cpu, Id, 7, ovSE_Machine);
    EXPECT_EQ(orvy_eventGetCycles(Cpu, Id), 7);
    EXPECT_EQ(rawTime(), 107);
  }
  orvy_eventPostStack(Cpu, Id, ovSE_Machine);
  EXPECT_EQ(orvy_eventGetFirstTime(Cpu->Queue), 0);

  // Another owner at the same address is warned again.
  for (int Round = 0; Round < 2; ++Round) {
    Log.clear();
    const int64_t Lost = orvy_eventPublish("lost", Plain, [](orvy_Event *) {});
    orvy_eventPostCycles(nullptr, Lost, 7, ovSE_Cpu);
    orvy_eventPostStack(nullptr, Lost, ovSE_Cpu);
    EXPECT_EQ(Log.count("event 'lost' is not posted"), 1);
    orvy_eventEraseAssociatedEvents(Plain);
  }
}

TEST_F(Holders, TellTheTimeLeft) {
  Cpu->Cycles = 100;
  Cpu->Machine = Mach;
  Mach->Time = 5000000;
  orvy_eventPostCycles(Cpu, Id, 7, ovSE_Cpu);
  EXPECT_EQ(orvy_eventGetCycles(Cpu, Id), 7);
  EXPECT_EQ(orvy_eventGetNanos(Cpu, Id), 7000000);
  EXPECT_DOUBLE_EQ(orvy_eventGetSecs(Cpu, Id), 0.007);
  EXPECT_TRUE(std::isnan(orvy_eventGetSecs(Mach, Id)));
  EXPECT_EQ(Log.count("event not on the provided machine queue"), 1);
  orvy_eventDeschedule(Id);
  EXPECT_EQ(orvy_eventGetNanos(Cpu, Id), -1);
  EXPECT_EQ(Log.count("event " + std::to_string(Id) + " not in cpu nor machine queue as expected"),
            1);

  orvy_eventPostNanos(Mach, Id, 200000000, ovSE_Cpu);
  EXPECT_EQ(orvy_eventGetNanos(Mach, Id), 200000000);
  EXPECT_DOUBLE_EQ(orvy_eventGetSecs(Mach, Id), 0.2);
  EXPECT_EQ(orvy_eventGetCycles(Mach, Id), -1);
  EXPECT_EQ(Log.count("querying cycles for event on machine queue"), 1);
  EXPECT_EQ(orvy_eventGetCycles(Cpu, Id), 105);      // 205 ms is cycle 205
  EXPECT_EQ(orvy_eventGetNanos(Cpu, Id), 105000000); // from cycle 100
  EXPECT_DOUBLE_EQ(orvy_eventGetSecs(Cpu, Id), 0.105);
  orvy_eventDeschedule(Id);

  orvy_eventPostCycles(Clock, Id, 10, ovSE_Cpu);
  EXPECT_EQ(orvy_eventGetCycles(Clock, Id), 10);
  EXPECT_EQ(orvy_eventGetNanos(Clock, Id), 5000000);
  EXPECT_DOUBLE_EQ(orvy_eventGetSecs(Clock, Id), 0.005);

  EXPECT_EQ(orvy_eventGetCycles(Plain, Id), -1);
  EXPECT_EQ(Log.count("unknown class"), 1);
  EXPECT_EQ(orvy_eventGetNanos(Plain, Id), -1);
  EXPECT_TRUE(std::isnan(orvy_eventGetSecs(Plain, Id)));
  EXPECT_EQ(Log.count("unknown queue holder class"), 1);
}

TEST_F(Holders, TakeCallbacksAndKnowTheFrequencyOfTheirQueue) {
  static int Calls;
  Calls = 0;
  auto Call = [](void *) { ++Calls; };
  orvy_eventPostAsync(Cpu, Call, nullptr, ovSE_Cpu);
  orvy_eventPostAsync(Cpu, Call, nullptr, ovSE_Machine);
  orvy_postCallback(Cpu, Call, nullptr);
  orvy_eventRemoveAsync(Cpu, Call, nullptr, ovSE_Cpu);
  orvy_eventTrigger(Cpu->Queue, 0);
  EXPECT_EQ(Calls, 2);
  orvy_eventPostAsync(Plain, Call, nullptr, ovSE_Cpu);
  orvy_eventRemoveAsync(Plain, Call, nullptr, ovSE_Cpu);
  EXPECT_EQ(Log.count("unknown queue holder class"), 2);
  EXPECT_DEATH((orvy_logSetFunc(nullptr), orvy_postCallback(Plain, Call, nullptr)),
               "is neither machine nor CPU required by orvy_postCallback");
  EXPECT_EQ(orvy_eventQueueGetFreq(Cpu), 1000u);
  EXPECT_EQ(orvy_eventQueueGetFreq(Mach), 1000000000u);
  EXPECT_EQ(orvy_eventQueueGetFreq(Clock), 2000u);
  EXPECT_DEATH((orvy_logSetFunc(nullptr), orvy_eventQueueGetFreq(Plain)),
               "invalid queue object passed to orvy_");
}

TEST_F(Holders, RunAMachineAndTellHowFarItCame) {
  static orvy_CpuExitReason Reason;
  auto *Iface = static_cast<MachineIface *>(static_cast<void **>(orvy_getVTable(Mach))[0]);
  Iface->run = [](void *Obj, uint64_t Nanos) {
    static_cast<Machine *>(Obj)->Time += Nanos / 2;
    return Reason;
  };
  Mach->Time = 5;
  for (orvy_CpuExitReason Each : {ovCER_Normal, ovCER_Halt}) {
    Reason = Each;
    EXPECT_EQ(orvy_machineRun(Mach, 100), 50u);
  }
  EXPECT_EQ(Mach->Time, 105u);
}

TEST_F(Holders, ListWhatIsPublishedWithItsState) {
  int64_t Idle = orvy_eventPublish("idle", Plain, fire);
  int64_t Busy = orvy_eventPublish("busy", Plain, fire);
  orvy_eventSetPeriodCycles(Busy, 25);
  orvy_eventSetRealTime(Busy);
  orvy_eventPostCycles(Cpu, Busy, 40, ovSE_Cpu);
  orvy_eventDepublish(orvy_eventPublish("again", Plain, fire));
  const int64_t Again = orvy_eventPublish("again", Plain, fire);
  testing::internal::CaptureStdout();
  orvy::event::printEvents();
  orvy::outs().flush();
  std::string Text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(Text.rfind("List of Registered Events and Sources\n"
                       "-------------------------------------\n",
                       0),
            0u);
  EXPECT_THAT(Text, HasSubstr("busy : plain : " + std::to_string(Busy) +
                              " : scheduled( 40 ticks) real-time cyclic(25 ticks)\n"));
  EXPECT_THAT(Text, HasSubstr("idle : plain : " + std::to_string(Idle) + " :\n"));
  EXPECT_LT(Text.find("busy"), Text.find("idle"));
  EXPECT_THAT(Text, HasSubstr("again : plain : " + std::to_string(Again) + " :\n"));
}

TEST_F(Holders, LoseTheEventsOfAnObjectThatGoesAway) {
  int64_t Own = orvy_eventPublish("own", Plain, fire);
  int64_t Twice = orvy_eventPublish("own", Plain, fire);
  orvy_eventPostCycles(Cpu, Own, 1, ovSE_Cpu);
  orvy_eventPostCycles(Cpu, Twice, 2, ovSE_Cpu);
  orvy_eventPostCycles(Cpu, Id, 3, ovSE_Cpu);
  int64_t Stacked = orvy_eventPublish("stacked", Plain, fire);
  orvy_eventPostStack(Clock, Stacked, ovSE_Cpu);
  static int Shots;
  Shots = 0;
  const auto Shoot = [](orvy_Event *) { ++Shots; };
  for (void *Owner : {Plain, static_cast<void *>(Mach)})
    for (orvy_EventQueue *Other : {Cpu->Queue, Mach->Queue})
      for (int64_t Time : {2, 5})
        orvy_eventPostOneShotInternal(Other, Owner, Shoot, Time);
  static int64_t FirstOnMachine;
  orvy_subscribeNotification(
      "orvy.objectWillBeDisposed", Plain, Mach, [](void *Arg, void *, void *) {
        FirstOnMachine = orvy_eventGetFirstTime(static_cast<Machine *>(Arg)->Queue);
        orvy_eventTrigger(static_cast<Machine *>(Arg)->Queue, 2);
      });
  orvy_disposeObject(Plain);
  EXPECT_EQ(FirstOnMachine, 2); // that of the machine itself
  EXPECT_EQ(Shots, 1) << "they are gone by the time it is told";
  orvy_eventTrigger(Mach->Queue, 9);
  orvy_eventTrigger(Cpu->Queue, 2);
  EXPECT_EQ(Shots, 3);
  EXPECT_EQ(orvy_eventPtrNS(Stacked), nullptr);
  EXPECT_EQ(orvy_eventGetFirstTime(Cpu->Queue), 3);
  EXPECT_EQ(orvy_eventPtrNS(Own), nullptr);
  EXPECT_EQ(orvy_eventPtrNS(Twice), nullptr);
}

TEST_F(Holders, AreNotHandedANullFunction) {
  orvy_initSupportLib();
  orvy_Event Event{};
  const auto Make = [](const char *, int, const orvy_CreateArg *) -> void * { return nullptr; };
  const std::pair<const char *, std::function<void()>> Calls[] = {
      {"orvy_eventPublish", [&] { orvy_eventPublish("e", Plain, nullptr); }},
      {"orvy_eventPublishStruct", [&] { orvy_eventPublishStruct("e", &Event, Plain, nullptr); }},
      {"orvy_eventPublishOldStyle", [&] { orvy_eventPublishOldStyle("e", Plain, nullptr); }},
      {"orvy_eventPostOneShotInternal",
       [&] { orvy_eventPostOneShotInternal(Queue, Plain, nullptr, 1); }},
      {"orvy_postCallbackInQueue", [&] { orvy_postCallbackInQueue(Queue, nullptr, Plain); }},
      {"orvy_postCallbackInQueue", [&] { orvy_postCallback(Cpu, nullptr, Plain); }},
      {"orvy_eventPostAsync", [&] { orvy_eventPostAsync(Cpu, nullptr, Plain, ovSE_Cpu); }},
      {"orvy_simRunCallback", [&] { orvy_simRunCallback(nullptr, nullptr); }},
      {"orvy_subscribeNotification",
       [&] { orvy_subscribeNotification("orvy.objectDisposed", Plain, nullptr, nullptr); }},
      {"orvy_createCmd", [&] { orvy_createCmd("poke", nullptr, "", nullptr); }},
      {"orvy_registerClass", [&] { orvy_registerClass("A", nullptr, std::free); }},
      {"orvy_registerClass", [&] { orvy_registerClass("A", Make, nullptr); }},
      {"xorvy_registerClass", [&] { xorvy_registerClass("A", nullptr, nullptr); }},
  };
  for (const auto &[Name, Call] : Calls)
    EXPECT_DEATH(Call(),
                 "internal error: .*" + std::string(Name) + ": the function to call is null");
  // Where a null function has a meaning, it keeps it.
  orvy_foreachObject(nullptr, nullptr);
  orvy_foreachClass(nullptr, nullptr);
  orvy_foreachProcessor(nullptr, nullptr);
  orvy_foreachComponent(nullptr, nullptr);
  orvy_foreachRootComponent(nullptr, nullptr);
  orvy_foreachProperty(orvy_classForObject(Plain), nullptr, nullptr);
  orvy_foreachInterface(orvy_classForObject(Plain), nullptr, nullptr);
  orvy_removeCallbackInQueue(Queue, nullptr, nullptr);
  EXPECT_EQ(orvy_unsubscribeNotification("orvy.objectDisposed", Plain, nullptr), 0);
}

} // namespace
