#include "orvy/Support/LegacyEvents.h"

#include "Testing/LogCapture.h"
#include "Testing/TempDir.h"

#include "orvy/Support/Orvy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace orvy::testing;
using testing::ElementsAre;

namespace {

std::vector<std::string> Fired;

void oldTick(void *Obj, void *Data) {
  Fired.push_back(std::string("old ") + orvy_nameForObject(Obj) + " " +
                  (Data ? static_cast<const char *>(Data) : "-"));
}

void otherTick(void *, void *Data) {
  Fired.push_back(std::string("other ") + static_cast<const char *>(Data));
}

void newTick(orvy_Event *Event) {
  Fired.push_back(std::string("new ") + orvy_nameForObject(Event->Obj));
}

orvy_EventQueue *Queue = nullptr;

/// A model written against the old interface, which owns the queue.
struct OldModel {
  orvy_Object Super;

  static void *create(const char *, int, const orvy_CreateArg *) {
    auto *M = new OldModel{};
    Queue = orvy_allocateEventQueue();
    orvy_eventPublishOldStyle("tick", M, oldTick);
    return M;
  }
  static void dispose(void *Obj) {
    orvy_disposeEventQueue(Queue);
    delete static_cast<OldModel *>(Obj);
  }
  static inline ObjectIface Table = {
      [](void *, const char *, void *Ctxt) { orvy_serialiseEvents(Queue, Ctxt); },
      [](void *, const char *, void *Ctxt) { orvy_deserialiseEvents(Queue, Ctxt); }, nullptr,
      nullptr, nullptr};
};

/// A new one.
struct NewModel {
  orvy_Object Super;
  int64_t Tick;

  static void *create(const char *, int, const orvy_CreateArg *) {
    auto *M = new NewModel{};
    M->Tick = orvy_eventPublish("tick", M, newTick);
    return M;
  }
  static void dispose(void *Obj) { delete static_cast<NewModel *>(Obj); }
};

class LegacyEvents : public ::testing::Test {
protected:
  LegacyEvents() {
    orvy_initSupportLib();
    Fired.clear();
    orvy_Class *Cls = orvy_registerClass("OldModel", OldModel::create, OldModel::dispose);
    orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &OldModel::Table, 0, "");
    orvy_registerClass("NewModel", NewModel::create, NewModel::dispose);
    orvy_createObject("OldModel", "Old", nullptr);
    orvy_createObject("NewModel", "New", nullptr);
    find();
  }
  ~LegacyEvents() override { orvy_objsysClear(); }

  void find() {
    Old = orvy_objectForName("Old");
    New = static_cast<NewModel *>(orvy_objectForName("New"));
  }

  void *word(const char *Text) { return const_cast<char *>(Text); }
  void post(const char *Data, int64_t Time) {
    orvy_postEvent(Queue, oldTick, Old, word(Data), Time);
  }

  LogCapture Log;
  void *Old;
  NewModel *New;
};

TEST_F(LegacyEvents, ShareAQueueWithNewOnes) {
  orvy_eventPostAbsoluteInQueueInternal(Queue, New->Tick, 20);
  post("ten", 10);
  EXPECT_EQ(orvy_nextTimer(Queue), 10);
  EXPECT_EQ(orvy_eventTime(Queue, oldTick, Old), 10);
  EXPECT_EQ(orvy_triggerCurrentTimers(Queue, 15), 20);
  post("thirty", 30);
  EXPECT_EQ(orvy_triggerFirstTimer(Queue), 20);
  orvy_stackEvent(Queue, oldTick, Old, word("now")); // moves it from the heap
  EXPECT_EQ(orvy_nextTimer(Queue), 0);
  EXPECT_EQ(orvy_triggerCurrentTimers(Queue, 100), -1);
  EXPECT_THAT(Fired, ElementsAre("old Old ten", "new New", "old Old now"));
  EXPECT_EQ(Log.count("event already scheduled when stack posting"), 1);

  post("never", 200);
  orvy_descheduleEvent(Queue, oldTick, Old);
  orvy_setQueueFreq(Queue, 1000000);
  EXPECT_EQ(orvy_nextTimer(Queue), -1);
}

TEST_F(LegacyEvents, GoThroughACheckpointBesideNewOnes) {
  TempDir Dir;
  std::string Path = Dir.file("saved.json", "");
  post("lost", 10);
  orvy_eventPostAbsoluteInQueueInternal(Queue, New->Tick, 5);
  ASSERT_EQ(orvy_serialiseJSON(Path.c_str()), 0);
  orvy_triggerCurrentTimers(Queue, 10);
  Fired.clear();
  ASSERT_EQ(orvy_deserialiseJSON(Path.c_str()), 0);
  find();
  EXPECT_EQ(orvy_nextTimer(Queue), 5);
  EXPECT_EQ(orvy_eventTime(Queue, oldTick, Old), 10);
  orvy_triggerCurrentTimers(Queue, 10);
  EXPECT_THAT(Fired, ElementsAre("new New", "old Old -")); // data words are not saved
}

TEST_F(LegacyEvents, ArePairsOfFunctionAndOwner) {
  int64_t First = orvy_eventGetOldStyleID(oldTick, Old);
  EXPECT_GT(First, 0);
  EXPECT_NE(orvy_eventPublishOldStyle("again", Old, oldTick), First);
  EXPECT_EQ(orvy_eventGetOldStyleID(oldTick, Old), First);
  EXPECT_EQ(orvy_eventGetOldStyleID(oldTick, New), -1);
  EXPECT_EQ(orvy_eventGetOldStyleID(otherTick, Old), -1);
  orvy_postEvent(Queue, otherTick, Old, nullptr, 1);
  orvy_stackEvent(Queue, otherTick, Old, nullptr);
  EXPECT_EQ(orvy_eventTime(Queue, otherTick, Old), -1);
  EXPECT_EQ(orvy_nextTimer(Queue), -1);
  EXPECT_EQ(Log.count("invalid event"), 3);
  int64_t Other = orvy_eventPublishOldStyle("other", Old, otherTick);
  EXPECT_EQ(orvy_eventGetOldStyleID(otherTick, Old), Other);
  post("a", 1);
  orvy_postEvent(Queue, otherTick, Old, word("b"), 2);
  orvy_triggerCurrentTimers(Queue, 2);
  EXPECT_THAT(Fired, ElementsAre("old Old a", "other b"));
}

TEST_F(LegacyEvents, GoWithTheirOwnerAndComeBackWithAnotherOne) {
  post("gone", 10);
  int64_t First = orvy_eventGetOldStyleID(oldTick, Old);
  orvy_eventEraseAssociatedEvents(Old);
  EXPECT_EQ(orvy_nextTimer(Queue), -1);
  orvy_descheduleEvent(Queue, oldTick, Old);                        // as a dispose function may do
  int64_t Second = orvy_eventPublishOldStyle("tick", Old, oldTick); // at the same address
  EXPECT_NE(First, Second);
  EXPECT_EQ(orvy_eventGetOldStyleID(oldTick, Old), Second);
}

TEST_F(LegacyEvents, FireWithoutTheirNamesAndIds) {
  post("nameless", 10);
  orvy_eventPostAbsoluteInQueueInternal(Queue, New->Tick, 20);
  orvy_eventSetPeriodCycles(New->Tick, 10);
  const int64_t Stacked = orvy_eventPublish("stacked", New, newTick);
  orvy_eventStackPostInternal(Queue, Stacked);
  const orvy_Event *Kept = orvy_eventPtrNS(New->Tick);
  orvy_depublishEventsNS();
  EXPECT_EQ(orvy_eventGetOldStyleID(oldTick, Old), -1);

  ASSERT_LE(Kept->EventId, 8);
  // What comes begins with id 1 and takes nobody's record.
  for (int64_t Id = 1; Id <= 8; ++Id) {
    EXPECT_EQ(orvy_eventPublish("fresh", Old, [](orvy_Event *) { Fired.push_back("fresh"); }), Id);
    EXPECT_NE(orvy_eventPtrNS(Id), Kept);
  }
  TempDir Dir;
  ASSERT_EQ(orvy_eventGetFirstTime(Queue), 0);
  orvy_triggerCurrentTimers(Queue, 30);
  EXPECT_THAT(Fired, ElementsAre("new New", "old Old nameless", "new New", "new New"));
  ASSERT_EQ(orvy_serialiseJSON(Dir.path("saved.json").c_str()), 0);
  EXPECT_EQ(Log.count("serialising unknown event " + std::to_string(Kept->EventId)), 1)
      << "though its old id is in use";
}

TEST_F(LegacyEvents, RegisteringIsNoLongerSupported) {
  orvy_logSetFunc(nullptr);
  orvy_logSetDefaultFile(stderr);
  EXPECT_DEATH(orvy_registerEvent(Queue, "tick"),
               "registering event 'tick' with orvy_registerEvent use "
               "orvy_eventPublishOldStyle\\(\\) instead or move to new style events");
}

} // namespace
