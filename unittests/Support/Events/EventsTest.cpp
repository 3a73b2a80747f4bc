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

/// The heap as a plain array with swaps, the yardstick for the order of equal times.
struct PlainHeap {
  std::vector<std::pair<int64_t, int64_t>> Slots; // time, id

  void up(size_t I) {
    while (I > 0 && Slots[(I - 1) / 2].first > Slots[I].first) {
      std::swap(Slots[(I - 1) / 2], Slots[I]);
      I = (I - 1) / 2;
    }
  }
  void down(size_t I) {
    for (;;) {
      size_t L = 2 * I + 1, R = L + 1;
      int64_t Left = L < Slots.size() ? Slots[L].first : INT64_MAX;
      size_t Next = R < Slots.size() && Left > Slots[R].first ? R : L;
      if (Next >= Slots.size() || Slots[Next].first >= Slots[I].first)
        return;
      std::swap(Slots[I], Slots[Next]);
      I = Next;
    }
  }
  void insert(int64_t Time, int64_t Id) {
    Slots.push_back({Time, Id});
    up(Slots.size() - 1);
  }
  void removeAt(size_t I) {
    Slots[I] = Slots.back();
    Slots.pop_back();
    if (I >= Slots.size())
      return;
    if (I > 0 && Slots[(I - 1) / 2].first > Slots[I].first)
      up(I);
    else
      down(I);
  }
  size_t find(int64_t Id) const {
    return static_cast<size_t>(
        std::find_if(Slots.begin(), Slots.end(), [&](auto &S) { return S.second == Id; }) -
        Slots.begin());
  }
};

TEST_F(EventQueue, FiresInOrderOfTimeWhatIsDue) {
  int64_t A = publish("a"), B = publish("b"), C = publish("c");
  post(A, 30);
  post(B, 10);
  post(C, 20);
  EXPECT_EQ(orvy_eventGetFirstTime(Queue), 10);
  EXPECT_THAT(fireUntil(20), ElementsAre("b", "c"));
  EXPECT_THAT(fireUntil(29), IsEmpty());
  EXPECT_THAT(fireUntil(30), ElementsAre("a"));
  EXPECT_EQ(orvy_eventGetFirstTime(Queue), -1);
}

TEST_F(EventQueue, KeepsTheArrangementOfThePlainHeapForEqualTimes) {
  std::mt19937 Random(testSeed());
  PlainHeap Plain;
  std::vector<int64_t> Ids;
  for (int I = 0; I < 200; ++I)
    Ids.push_back(publish("e"));
  for (int Round = 0; Round < 20000; ++Round) {
    int64_t Id = Ids[Random() % Ids.size()];
    orvy_Event *Event = orvy_eventPtrNS(Id);
    const bool ByPrimitives = Random() % 2;
    if (orvy_eventIsScheduled(Id)) {
      Plain.removeAt(Plain.find(Id));
      if (ByPrimitives)
        orvy_eventRemoveIndexInternal(Queue, Event->QueueIdx);
      else
        orvy_eventDeschedule(Id);
      ASSERT_EQ(Event->Queue, nullptr);
      ASSERT_EQ((Event->Flags & ovEF_Descheduled) != 0, !ByPrimitives);
    } else {
      int64_t Time = static_cast<int64_t>(Random() % 16);
      Plain.insert(Time, Id);
      Event->Flags &= ~uint32_t{ovEF_Descheduled};
      Event->Time = Time;
      if (ByPrimitives)
        orvy_eventInsertInternal(Queue, Event);
      else
        post(Id, Time);
      ASSERT_EQ(Event->Queue, Queue);
    }
    if (Random() % 4 == 0 && !Plain.Slots.empty()) {
      Plain.removeAt(0);
      orvy_eventRemoveHeadInternal(Queue);
    }
    ASSERT_EQ(Queue->Heap.size(), Plain.Slots.size());
    for (size_t I = 0; I < Plain.Slots.size(); ++I) {
      ASSERT_EQ(Queue->Heap.at(I)->EventId, Plain.Slots[I].second) << "slot " << I;
      ASSERT_EQ(Queue->Heap.at(I)->QueueIdx, static_cast<int32_t>(I));
    }
  }
  EXPECT_TRUE(orvy_verifyHeapOrder(Queue));
}

TEST_F(EventQueue, MovesAScheduledEventAndWarnsOnce) {
  int64_t A = publish("a");
  post(A, 10);
  post(A, 20);
  EXPECT_EQ(Log.count("event already scheduled when posting"), 1);
  EXPECT_THAT(fireUntil(10), IsEmpty());
  EXPECT_THAT(fireUntil(20), ElementsAre("a"));
}

TEST_F(EventQueue, WhoHearsTheWarningMayChangeTheQueue) {
  static std::function<void()> Hear;
  int64_t A = publish("a");
  int64_t B = publish("b");
  for (const std::function<void()> &Act : std::initializer_list<std::function<void()>>{
           [&] { orvy_eventDeschedule(A); }, [&] { orvy_eventDeschedule(B); }}) {
    post(B, 5);
    post(A, 10); // moves to the place of the other when that goes
    Hear = Act;
    orvy_logSetFunc([](const char *) { std::exchange(Hear, nullptr)(); });
    post(A, 20);
    orvy_logSetFunc(nullptr);
    orvy_eventDeschedule(B);
    EXPECT_TRUE(orvy_verifyHeapOrder(Queue));
    EXPECT_THAT(fireUntil(20), ElementsAre("a"));
  }
}

TEST_F(EventQueue, WhoHearsTheWarningMayDepublishTheEvent) {
  static int64_t Id;
  static orvy_EventQueue *Posted;
  Posted = Queue;
  for (void (*Post)() : {+[] { orvy_eventPostAbsoluteInQueueInternal(Posted, Id, 20); },
                         +[] {
                           orvy_eventPtrNS(Id)->Flags |= ovEF_RealTime;
                           orvy_eventPostRelativeInQueueInternal(Posted, Id, 20, 0);
                         },
                         +[] { orvy_eventStackPostInternal(Posted, Id); }}) {
    Id = publish("gone");
    post(Id, 10);
    orvy_logSetFunc([](const char *) { orvy_eventDepublish(Id); });
    Post();
    orvy_logSetFunc(nullptr);
    EXPECT_EQ(orvy_eventPtrNS(Id), nullptr);
    EXPECT_EQ(orvy_eventGetFirstTime(Queue), -1);
    EXPECT_THAT(fireUntil(20), ElementsAre());
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

TEST_F(EventQueue, FiresTheStackFirstAndTheNewestOfItFirst) {
  int64_t A = publish("a"), B = publish("b"), Heap = publish("heap"), Late = publish("late");
  post(Heap, 1);
  orvy_eventStackPostInternal(Queue, A);
  orvy_eventStackPostInternal(Queue, B);
  EXPECT_EQ(orvy_eventGetFirstTime(Queue), 0);
  EXPECT_EQ(orvy_eventIsScheduled(A), 0);
  post(Late, 50);
  orvy_eventStackPostInternal(Queue, Late);
  EXPECT_EQ(Log.count("event already scheduled when stack posting"), 1);
  EXPECT_THAT(fireUntil(5), ElementsAre("late", "b", "a", "heap"));
}

TEST_F(EventQueue, RepeatsACyclicEventFromItsOwnTimeUntilItHasCaughtUp) {
  int64_t Tick = publish("tick");
  orvy_eventSetPeriodCycles(Tick, 10);
  post(Tick, 5);
  EXPECT_THAT(fireUntil(27), ElementsAre("tick", "tick", "tick"));
  EXPECT_EQ(orvy_eventGetRawTime(Tick), 35);
  orvy_eventSetPeriodCycles(Tick, 0);
  EXPECT_THAT(fireUntil(100), ElementsAre("tick"));
  EXPECT_EQ(orvy_eventIsScheduled(Tick), 0);
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

TEST_F(EventQueue, ACyclicEventThatDeschedulesItselfFiresAgain) {
  int64_t Tick = publish("tick", [](orvy_Event *E) { orvy_eventDeschedule(E->EventId); });
  orvy_eventSetPeriodCycles(Tick, 10);
  post(Tick, 10);
  fireUntil(10);
  EXPECT_EQ(orvy_eventGetRawTime(Tick), 20);
  EXPECT_EQ(orvy_eventIsScheduled(Tick), 1);
  orvy_eventDeschedule(Tick);
  EXPECT_TRUE(orvy_eventPtrNS(Tick)->Flags & ovEF_Descheduled);
  EXPECT_THAT(fireUntil(100), IsEmpty());
}

TEST_F(EventQueue, ACyclicEventThatPostsItselfStaysInTheHeapOnce) {
  int64_t Tick = publish("tick", [this](orvy_Event *E) { post(E->EventId, E->Time + 3); });
  orvy_eventSetPeriodCycles(Tick, 10);
  post(Tick, 10);
  fireUntil(10);
  EXPECT_EQ(Queue->Heap.size(), 1u);
  EXPECT_EQ(orvy_eventGetRawTime(Tick), 13);
}

TEST_F(EventQueue, FiresOneAtATime) {
  int64_t A = publish("a"), B = publish("b");
  post(A, 7);
  orvy_eventStackPostInternal(Queue, B);
  EXPECT_EQ(orvy_eventTriggerFirst(Queue), 7); // what comes next, behind the stack
  EXPECT_EQ(orvy_eventTriggerFirst(Queue), 7); // the time of what fired
  EXPECT_EQ(orvy_eventTriggerFirst(Queue), -1);
  EXPECT_THAT(Fired, ElementsAre("b", "a"));
}

// More than one block of the table holds; owners' records lie between those of the library.
TEST_F(EventQueue, IdsAndRecordsStandHoweverManyEventsArePublished) {
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
  for (int Index = 0; Index < Count; ++Index) {
    ASSERT_EQ(orvy_eventPtrNS(Index + 1), Records[Index]);
    ASSERT_EQ(Records[Index]->EventId, Index + 1);
  }
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
    ASSERT_EQ(orvy_eventPtrNS(1 + Index / 2 * 2), nullptr);
    ASSERT_EQ(static_cast<uint32_t>(Id) <= Count, Index < Count / 2 * 3 / 2) << Index;
    if (Index % 3 == 0)
      orvy_eventDepublish(Id);
  }
  EXPECT_EQ(orvy_eventIsScheduled(1), 0);
  EXPECT_DEATH(orvy_eventIsScheduled(int64_t{9} << 32 | 1), "internal error: ");
  orvy_eventDepublishAll(); // before the owner's records
}

TEST_F(EventQueue, EventsMayGoAwayWhileTheyRunOrLieOnAStack) {
  int64_t Self = publish("self", [](orvy_Event *E) { orvy_eventDepublish(E->EventId); });
  orvy_eventSetPeriodCycles(Self, 5);
  int64_t Stacked = publish("stacked");
  int64_t Killer = publish("killer", [&](orvy_Event *) { orvy_eventDepublish(Stacked); });
  post(Self, 1);
  orvy_eventStackPostInternal(Queue, Stacked);
  orvy_eventStackPostInternal(Queue, Killer);
  EXPECT_THAT(fireUntil(100), ElementsAre("killer", "self"));
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

TEST_F(EventQueue, OneShotEventsAreFreedWhetherTheyFireOrNot) {
  static int Count;
  Count = 0;
  auto Shot = [](orvy_Event *E) {
    EXPECT_EQ(E->EventId, -1);
    ++Count;
  };
  orvy_eventPostOneShotInternal(Queue, nullptr, Shot, 10);
  orvy_eventPostOneShotInternal(Queue, nullptr, Shot, 20);
  orvy_eventTrigger(Queue, 10);
  EXPECT_EQ(Count, 1);

  // One that inserts itself again is not freed under the heap.
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
  EXPECT_EQ(Count, 5);                                    // three of them, and the two others
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

TEST_F(EventQueue, CallbacksRunOnceInOrderAndCanBeTakenBack) {
  static std::vector<int> Called;
  Called.clear();
  static const auto Note = [](void *Arg) { Called.push_back(*static_cast<int *>(Arg)); };
  int One = 1, Two = 2, Three = 3;
  orvy_postCallbackInQueue(Queue, Note, &One);
  orvy_postCallbackInQueue(Queue, Note, &Two);
  orvy_postCallbackInQueue(Queue, Note, &One);
  orvy_postCallbackInQueue(Queue, Note, &Three);
  orvy_removeCallbackInQueue(Queue, Note, &One);
  orvy_removeCallbackInQueue(Queue, Note, &Called);
  orvy_eventTriggerThreadSafeCallbacks(Queue);
  orvy_eventTrigger(Queue, 0);
  EXPECT_THAT(Called, ElementsAre(2, 1, 3));

  // Within a drain too it is one of them, and the first of those to come.
  static orvy_EventQueue *Drained;
  Drained = Queue;
  Called.clear();
  orvy_postCallbackInQueue(Queue, Note, &One);
  orvy_postCallbackInQueue(
      Queue,
      [](void *Arg) {
        orvy_removeCallbackInQueue(
            Drained, [](void *) { Called.push_back(0); }, nullptr); // another function
        orvy_removeCallbackInQueue(Drained, Note, Arg);
      },
      &One);
  for (int *Each : {&Two, &One, &Three, &One})
    orvy_postCallbackInQueue(Queue, Note, Each);
  orvy_eventTrigger(Queue, 0);
  orvy_eventTrigger(Queue, 0);
  EXPECT_THAT(Called, ElementsAre(1, 2, 3, 1));
}

struct Chain {
  orvy_EventQueue *Queue;
  int Calls;
};

void callAgain(void *Arg) {
  auto *C = static_cast<Chain *>(Arg);
  ++C->Calls;
  orvy_postCallbackInQueue(C->Queue, callAgain, C);
}

void callAndTakeNextBack(void *Arg) {
  auto *C = static_cast<Chain *>(Arg);
  ++C->Calls;
  orvy_removeCallbackInQueue(C->Queue, callAndTakeNextBack, C); // itself, which is running
  orvy_removeCallbackInQueue(C->Queue, callAndTakeNextBack, C); // the one behind it
  orvy_eventTriggerThreadSafeCallbacks(C->Queue);               // a drain inside a drain
}

TEST_F(EventQueue, WhatACallbackPostsWaitsForTheNextDrain) {
  Chain C{Queue, 0};
  orvy_postCallbackInQueue(Queue, callAgain, &C);
  orvy_eventTrigger(Queue, 0);
  EXPECT_EQ(C.Calls, 1);
  orvy_eventTrigger(Queue, 0);
  EXPECT_EQ(C.Calls, 2);
}

TEST_F(EventQueue, ACallbackMayTakeItselfAndOthersBack) {
  Chain C{Queue, 0};
  orvy_postCallbackInQueue(Queue, callAndTakeNextBack, &C);
  orvy_postCallbackInQueue(Queue, callAndTakeNextBack, &C);
  orvy_eventTrigger(Queue, 0);
  orvy_eventTrigger(Queue, 0);
  EXPECT_EQ(C.Calls, 1);
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
  struct {
    void *Holder;
    orvy_SyncEvent Sync;
    int64_t Cycles, Nanos, Secs; // raw times after posting 7 cycles, 3e6 ns, 2 s; -1 for none
  } Cases[] = {
      {Cpu, ovSE_Cpu, 107, 103, 2100},
      {Cpu, ovSE_Machine, 107000000, 103000000, 2000000050},
      {Mach, ovSE_Cpu, -1, 3000050, 2000000050},
      {Clock, ovSE_Machine, 7, 6, 4000},
      {Plain, ovSE_Cpu, -1, -1, -1},
      {nullptr, ovSE_Cpu, -1, -1, -1},
  };
  auto rawTime = [this] {
    int64_t Time = orvy_eventIsScheduled(Id) ? orvy_eventGetRawTime(Id) : -1;
    orvy_eventDeschedule(Id);
    return Time;
  };
  for (auto &C : Cases) {
    SCOPED_TRACE(C.Cycles);
    orvy_eventPostCycles(C.Holder, Id, 7, C.Sync);
    EXPECT_EQ(rawTime(), C.Cycles);
    orvy_eventPostNanos(C.Holder, Id, 3000000, C.Sync);
    EXPECT_EQ(rawTime(), C.Nanos);
    orvy_eventPostSecs(C.Holder, Id, 2.0, C.Sync);
    EXPECT_EQ(rawTime(), C.Secs);
  }
  EXPECT_EQ(Log.count("posting cycle event on machine object not supported"), 1);
  EXPECT_EQ(Log.count("event 'event' is not posted: 'plain' is not a processor, machine or clock"),
            1)
      << "once for an owner, whatever it posts on";

  // What lies beyond the end of time is at its end.
  const struct {
    void *Holder;
    orvy_SyncEvent Sync;
    int64_t Cycles, Nanos, Secs; // raw times after posting what goes farthest
  } Far[] = {
      {Cpu, ovSE_Cpu, INT64_MAX, 9223372036954, INT64_MAX},
      {Cpu, ovSE_Machine, INT64_MAX, INT64_MAX, INT64_MAX},
      {Mach, ovSE_Cpu, -1, INT64_MAX, INT64_MAX},
      {Clock, ovSE_Cpu, INT64_MAX, 18446744073710, INT64_MAX},
  };
  static_cast<ClockIface *>(orvy_getInterface(Clock, "ClockIface", 0))->setCycles(Clock, 1);
  for (auto &F : Far) {
    SCOPED_TRACE(F.Nanos);
    orvy_eventPostCycles(F.Holder, Id, INT64_MAX, F.Sync);
    EXPECT_EQ(rawTime(), F.Cycles);
    orvy_eventPostNanos(F.Holder, Id, INT64_MAX, F.Sync);
    EXPECT_EQ(rawTime(), F.Nanos);
    orvy_eventPostSecs(F.Holder, Id, 1e30, F.Sync);
    EXPECT_EQ(rawTime(), F.Secs);
  }
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

TEST_F(Holders, TakeCallbacksOfAnyThread) {
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

TEST_F(Holders, KnowTheFrequencyOfTheirQueue) {
  EXPECT_EQ(orvy_eventQueueGetFreq(Cpu), 1000u);
  EXPECT_EQ(orvy_eventQueueGetFreq(Mach), 1000000000u);
  EXPECT_EQ(orvy_eventQueueGetFreq(Clock), 2000u);
  EXPECT_DEATH((orvy_logSetFunc(nullptr), orvy_eventQueueGetFreq(Plain)),
               "invalid queue object passed to orvy_");
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
