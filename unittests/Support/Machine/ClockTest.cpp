#include "Testing/LogCapture.h"

#include "orvy/Support/Orvy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

using namespace orvy::testing;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ClockModel : public ::testing::Test {
protected:
  ClockModel() { orvy::clockmodel::registerClock(); }
  ~ClockModel() override {
    orvy_objsysClear();
    orvy_eventDepublishAll();
  }

  void make(const orvy_CreateArg *Args = nullptr) {
    Clock = orvy_createObject("Clock", "clock", Args);
    Iface = static_cast<ClockIface *>(orvy_getInterface(Clock, "ClockIface", 0));
    Events = static_cast<EventIface *>(orvy_getInterface(Clock, "EventIface", 0));
  }

  int64_t postAt(int64_t Time) {
    int64_t Id = orvy_eventPublish("event", this, [](orvy_Event *E) {
      auto *T = static_cast<ClockModel *>(E->Obj);
      T->Fired.push_back(T->cycles());
    });
    Events->postAbsolute(Clock, Id, Time);
    return Id;
  }

  int64_t cycles() { return static_cast<int64_t>(Iface->getCycles(Clock)); }
  int64_t steps() { return static_cast<int64_t>(Iface->getSteps(Clock)); }
  int64_t syncEvent() {
    for (int64_t Id = 1;; ++Id)
      if (const orvy_Event *E = orvy_eventPtrNS(Id); E && E->Obj == Clock)
        return Id;
  }

  LogCapture Log;
  void *Clock = nullptr;
  ClockIface *Iface = nullptr;
  EventIface *Events = nullptr;
  std::vector<int64_t> Fired;
};

TEST_F(ClockModel, TakesItsFrequencyFromAnArgument) {
  make();
  EXPECT_EQ(Iface->getFreq(Clock), 1e9);
  orvy_disposeObject(Clock);
  orvy_CreateArg Args[] = {{"freq", {ovTY_U32, {}}}, {"other", {ovTY_String, {}}}, {nullptr, {}}};
  Args[0].Val.u32 = 1000;
  make(Args);
  EXPECT_EQ(orvy_getValue(Clock, "config.freq", -1).d, 1000.0);
  EXPECT_TRUE(orvy_isQualifiedAs(Clock, 6));
  Iface->setNanos(Clock, 2000000);
  EXPECT_EQ(cycles(), 2);
  Iface->setSecs(Clock, 1.5);
  EXPECT_EQ(cycles(), 1500);
  EXPECT_EQ(Iface->getNanos(Clock), 1500000000u);
  EXPECT_DOUBLE_EQ(Iface->getSecs(Clock), 1.5);
}

TEST_F(ClockModel, StepsUpToALimit) {
  const struct {
    const char *What;
    std::vector<int64_t> Events;
    int64_t Start;
    uint64_t Steps, Limit;
    int64_t Cycles, StepCount;
    std::vector<int64_t> Fired;
  } Cases[] = {
      {"no events: to the limit", {}, 0, 3, 100, 100, 1, {}},
      {"no steps: nothing", {5}, 0, 0, 100, 0, 0, {}},
      {"count reached first", {5, 7, 9}, 0, 2, 100, 7, 2, {5, 7}},
      {"limit reached first", {5, 7}, 0, 9, 6, 6, 2, {5}},
      {"an event at the limit fires", {6}, 0, 9, 6, 6, 1, {6}},
      {"a limit in the past", {5}, 50, 9, 20, 50, 2, {50}},
      {"no limit and no events: nothing", {}, 0, 5, 0, 0, 0, {}},
      {"no limit: events of a time together", {10, 10, 30}, 0, 1, 0, 10, 1, {10, 10}},
      {"no limit: up to the last event", {10, 10, 30}, 0, 9, 0, 30, 2, {10, 10, 30}},
  };
  for (const auto &C : Cases) {
    SCOPED_TRACE(C.What);
    make();
    Fired.clear();
    Iface->setCycles(Clock, static_cast<uint64_t>(C.Start));
    for (int64_t Time : C.Events)
      postAt(Time);
    if (C.Limit)
      Iface->stepUntil(Clock, C.Steps, C.Limit);
    else
      EXPECT_EQ(Iface->step(Clock, C.Steps), 0);
    EXPECT_EQ(cycles(), C.Cycles);
    EXPECT_EQ(steps(), C.StepCount);
    EXPECT_EQ(Fired, C.Fired);
    orvy_disposeObject(Clock);
  }
}

TEST_F(ClockModel, AdvancesThroughItsEvents) {
  make();
  postAt(10);
  postAt(20);
  postAt(30);
  Iface->advanceCycles(Clock, 40);
  EXPECT_THAT(Fired, ElementsAre(10, 20, 30));
  EXPECT_EQ(cycles(), 40);
  EXPECT_EQ(steps(), 4); // one for each, one for the trigger at the target
  postAt(50);
  Iface->advanceToCycles(Clock, 50);
  EXPECT_EQ(steps(), 5); // the event at the target is the last
  Fired.clear();
  postAt(45);
  Iface->advanceToCycles(Clock, 50);
  EXPECT_THAT(Fired, IsEmpty()); // not later than now: nothing fires
  Iface->advanceToCycles(Clock, 51);
  EXPECT_THAT(Fired, ElementsAre(50)); // overdue, fires without moving time
  EXPECT_EQ(orvy_eventIsScheduled(syncEvent()), 0);
}

TEST_F(ClockModel, MayBeDisposedByItsOwnEvents) {
  const std::function<int()> Moves[] = {
      [this] { return Iface->step(Clock, 5); },
      [this] { return Iface->stepUntil(Clock, 5, 100); },
      [this] { return Iface->advanceToCycles(Clock, 100); },
  };
  for (const auto &Move : Moves)
    for (void (*Act)(void *) : {orvy_disposeObject, +[](void *) { orvy_objsysClear(); },
                                +[](void *Obj) {
                                  orvy_eventDepublishAll();
                                  orvy_disposeObject(Obj);
                                }}) {
      orvy::clockmodel::registerClock();
      make();
      Fired.clear();
      postAt(10);
      static void (*Acting)(void *);
      Acting = Act;
      const int64_t Id = orvy_eventPublish("act", Clock, [](orvy_Event *E) { Acting(E->Obj); });
      Events->postAbsolute(Clock, Id, 15);
      postAt(20);
      EXPECT_EQ(Move(), 0);
      EXPECT_THAT(Fired, ElementsAre(10));
      EXPECT_EQ(orvy_objectForName("clock"), nullptr);
    }
}

TEST_F(ClockModel, EndsWithTime) {
  make();
  Iface->setCycles(Clock, 1000);
  const int64_t Far = postAt(5);
  orvy_eventDeschedule(Far);
  Events->postRelative(Clock, Far, INT64_MAX);
  EXPECT_EQ(orvy_eventGetRawTime(Far), INT64_MAX);
  Iface->advanceCycles(Clock, 10);
  EXPECT_THAT(Fired, IsEmpty());
  Iface->stepUntil(Clock, 1, UINT64_MAX - 5);
  EXPECT_THAT(Fired, ElementsAre(INT64_MAX));
  Iface->setCycles(Clock, 1000);
  Iface->advanceCycles(Clock, UINT64_MAX);
  EXPECT_EQ(cycles(), INT64_MAX);
  Iface->setCycles(Clock, 1000);
  Iface->advanceToCycles(Clock, UINT64_MAX);
  EXPECT_EQ(cycles(), INT64_MAX);

  // A pace beyond the end of time is kept there.
  static int64_t Sync, SyncTime;
  Sync = syncEvent();
  Iface->setCycles(Clock, 1000);
  orvy_setValueU64(Clock, "config.syncFreq", INT64_MAX, -1);
  orvy_setValueU8(Clock, "config.enableRealTime", 1, -1);
  const int64_t Id =
      orvy_eventPublish("look", Clock, [](orvy_Event *) { SyncTime = orvy_eventGetRawTime(Sync); });
  Events->postAbsolute(Clock, Id, 1005);
  Iface->advanceCycles(Clock, 10);
  EXPECT_EQ(SyncTime, INT64_MAX);
}

TEST_F(ClockModel, HoldsSimulatedTimeToTheWallClock) {
  make();
  orvy_Propval Period{ovTY_U64, {}};
  Period.u64 = 10000000; // 10 ms at 1 GHz
  orvy_setValue(Clock, "config.syncFreq", Period, -1);
  orvy_writeValueU8(Clock, "config.enableRealTime", 1, -1);
  EXPECT_EQ(orvy_readValueU8(Clock, "config.enableRealTime", -1), 1);
  uint64_t Start = orvy_timeGetMonotonicWct();
  Iface->advanceCycles(Clock, 50000000);
  // The first period is a slip that starts the schedule.
  EXPECT_GE(orvy_timeGetMonotonicWct() - Start, 40000000u);
  EXPECT_EQ(orvy_eventIsScheduled(syncEvent()), 0);
}

TEST_F(ClockModel, WarnsOfRepostedEvents) {
  make();
  int64_t Id = postAt(10);
  Events->postAbsolute(Clock, Id, 20);
  EXPECT_EQ(Log.count("absolute reposting of scheduled event"), 1);
  Iface->setCycles(Clock, 5);
  Events->postRelative(Clock, Id, 3);
  EXPECT_EQ(Log.count("relative reposting of scheduled event " + std::to_string(Id)), 1);
  EXPECT_EQ(orvy_eventGetRawTime(Id), 8);
  Events->postOnStack(Clock, postAt(9));
  Iface->advanceToCycles(Clock, 6);
  EXPECT_THAT(Fired, ElementsAre(5));
}

TEST_F(ClockModel, StartsItsSyncEventOnRequest) {
  orvy_CreateArg Args[] = {{"rtSyncFreq", {ovTY_I32, {}}}, {nullptr, {}}};
  Args[0].Val.i32 = 1000;
  make(Args);
  EXPECT_EQ(orvy_getValue(Clock, "config.syncFreq", -1).u64, 1000u);
  const orvy_Event *Sync = orvy_eventPtrNS(syncEvent());
  EXPECT_EQ(Sync->Time, 1000);
  EXPECT_EQ(Sync->PeriodCycles, 1000);
  EXPECT_TRUE(Sync->Flags & ovEF_RealTime);
}

} // namespace
