// The event queue beside a plain model of it: random operations, from outside and from within what
// fires, keep both in the same state.

#include "Events/EventQueue.h"

#include "Testing/LogCapture.h"
#include "Testing/Seed.h"

#include "orvy/Support/Orvy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <list>
#include <random>
#include <vector>

using namespace orvy::testing;

namespace {

/// An event as it should be.
struct Slot {
  int64_t Id = -1; ///< of a one-shot event
  int64_t Period = 0, Time = -1;
  int Queue = -1; ///< on whose heap it is
  bool WasTakenOff = false;
};

/// The heap as a plain array with swaps, the yardstick for the order of equal times.
struct PlainHeap {
  std::vector<Slot *> Slots;

  void insert(Slot *S) {
    Slots.push_back(S);
    up(Slots.size() - 1);
  }
  void remove(const Slot *S) {
    const size_t I = size_t(std::ranges::find(Slots, S) - Slots.begin());
    Slots[I] = Slots.back();
    Slots.pop_back();
    if (I >= Slots.size())
      return;
    if (I > 0 && Slots[(I - 1) / 2]->Time > Slots[I]->Time)
      up(I);
    else
      down(I);
  }

private:
  void up(size_t I) {
    for (; I > 0 && Slots[(I - 1) / 2]->Time > Slots[I]->Time; I = (I - 1) / 2)
      std::swap(Slots[(I - 1) / 2], Slots[I]);
  }
  void down(size_t I) {
    for (size_t Next; (Next = 2 * I + 1) < Slots.size(); I = Next) {
      if (Next + 1 < Slots.size() && Slots[Next]->Time > Slots[Next + 1]->Time)
        ++Next;
      if (Slots[Next]->Time >= Slots[I]->Time)
        return;
      std::swap(Slots[I], Slots[Next]);
    }
  }
};

class QueueModel : public ::testing::Test {
protected:
  struct Queue {
    orvy_EventQueue *Real = orvy_allocateEventQueue();
    PlainHeap Heap;
    std::vector<Slot *> Stack;
    std::vector<int> Callbacks;

    Slot *root() const { return Heap.Slots.empty() ? nullptr : Heap.Slots[0]; }
    int64_t first() const { return !Stack.empty() ? 0 : root() ? root()->Time : -1; }
  };

  QueueModel() {
    Current = this;
    for (Slot &S : Slots)
      publish(S);
  }
  ~QueueModel() override {
    for (Queue &Q : Queues)
      orvy_disposeEventQueue(Q.Real);
    orvy_eventDepublishAll();
  }

  int64_t draw(int64_t Limit) { return static_cast<int64_t>(Random() % uint64_t(Limit)); }
  int64_t drawTime() { return Now + draw(100) - 20; }
  Slot &anySlot() { return Slots[size_t(draw(int64_t(Slots.size())))]; }

  void publish(Slot &S) {
    const auto Index = size_t(&S - Slots.data());
    S = {};
    S.Id = orvy_eventPublish(("event" + std::to_string(Index)).c_str(), &Owned[Index % 2],
                             [](orvy_Event *E) { Current->fired(E); });
    std::erase(Owned[Index % 2], &S);
    Owned[Index % 2].push_back(&S);
  }

  void schedule(Slot &S, int Index, int64_t Time) {
    takeOff(S);
    S.WasTakenOff = false;
    S.Queue = Index;
    S.Time = Time;
    Queues[Index].Heap.insert(&S);
  }
  /// Returns whether the event was on a heap.
  bool takeOff(Slot &S) {
    if (S.Queue < 0)
      return false;
    Queues[std::exchange(S.Queue, -1)].Heap.remove(&S);
    return S.WasTakenOff = true;
  }
  void forget(Slot &S) {
    takeOff(S);
    for (Queue &Q : Queues)
      std::erase(Q.Stack, &S);
  }

  void post() {
    Slot &S = anySlot();
    const int64_t Time = drawTime();
    const int Index = int(draw(2));
    Warnings += S.Queue >= 0;
    orvy_eventPostAbsoluteInQueueInternal(Queues[Index].Real, S.Id, Time);
    schedule(S, Index, Time);
  }
  void postOneShot() {
    const int Index = int(draw(2));
    const int64_t Time = drawTime();
    orvy_eventPostOneShotInternal(
        Queues[Index].Real, nullptr, [](orvy_Event *E) { Current->fired(E); }, Time);
    schedule(OneShots.emplace_back(), Index, Time);
  }
  /// Takes an event off or inserts it by the primitives, which leave its flags alone.
  void move() {
    Slot &S = anySlot();
    orvy_Event *Event = orvy_eventPtrNS(S.Id);
    const bool WasTakenOff = S.WasTakenOff;
    if (S.Queue < 0) {
      Event->Time = drawTime();
      orvy_eventInsertInternal(Queues[0].Real, Event);
      schedule(S, 0, Event->Time);
    } else {
      orvy_EventQueue *Real = Queues[S.Queue].Real;
      if (Queues[S.Queue].root() == &S)
        orvy_eventRemoveHeadInternal(Real);
      else
        orvy_eventRemoveIndexInternal(Real, Event->QueueIdx);
      takeOff(S);
    }
    S.WasTakenOff = WasTakenOff;
  }
  void push() {
    Slot &S = anySlot();
    Queue &Q = Queues[draw(2)];
    orvy_eventStackPostInternal(Q.Real, S.Id);
    Warnings += takeOff(S);
    S.WasTakenOff = false;
    Q.Stack.push_back(&S);
  }
  void deschedule() {
    Slot &S = anySlot();
    orvy_eventDeschedule(S.Id);
    takeOff(S);
  }
  void setPeriod() {
    Slot &S = anySlot();
    S.Period = 30 * draw(4);
    orvy_eventSetPeriodCycles(S.Id, S.Period ? S.Period : -1);
  }
  void depublish() {
    Slot &S = anySlot();
    orvy_eventDepublish(S.Id);
    EXPECT_EQ(orvy_eventPtrNS(S.Id), nullptr);
    forget(S);
    publish(S);
  }
  void eraseOwner() {
    std::vector<Slot *> &Owner = Owned[draw(2)];
    const std::vector<Slot *> Erased = Owner;
    orvy_eventEraseAssociatedEvents(&Owner);
    for (Slot *S : Erased)
      forget(*S);
    for (Slot *S : Erased)
      publish(*S);
  }
  void postCallback() {
    Queue &Q = Queues[draw(2)];
    Q.Callbacks.push_back(int(draw(3)));
    orvy_postCallbackInQueue(Q.Real, call, &Numbers[Q.Callbacks.back()]);
  }
  void removeCallback() {
    const int Number = int(draw(3));
    Queue &Q = Queues[draw(2)];
    orvy_removeCallbackInQueue(Q.Real, call, &Numbers[Number]);
    std::vector<int> &First =
        &Q == Firing && std::ranges::count(Draining, Number) ? Draining : Q.Callbacks;
    if (auto At = std::ranges::find(First, Number); At == First.begin() && &First == &Draining)
      *At = -1; // it is running
    else if (At != First.end())
      First.erase(At);
  }

  void operate() {
    static constexpr void (QueueModel::*Operations[])() = {
        &QueueModel::move,         &QueueModel::post,          &QueueModel::post,
        &QueueModel::push,         &QueueModel::postOneShot,   &QueueModel::deschedule,
        &QueueModel::setPeriod,    &QueueModel::depublish,     &QueueModel::eraseOwner,
        &QueueModel::postCallback, &QueueModel::removeCallback};
    (this->*Operations[draw(std::ssize(Operations))])();
  }

  static void call(void *Arg) { Current->called(*static_cast<int *>(Arg)); }
  void called(int Number) {
    ASSERT_FALSE(Draining.empty());
    EXPECT_EQ(Number, Draining.front());
    if (draw(2))
      operate();
    Draining.erase(Draining.begin());
  }

  void fired(const orvy_Event *Event) {
    ASSERT_TRUE(Firing && Draining.empty());
    ++Fired;
    const bool IsStacked = !Firing->Stack.empty() && !InHeap;
    InHeap = !IsStacked;
    ASSERT_TRUE(IsStacked || Firing->root());
    Slot &S = IsStacked ? *Firing->Stack.back() : *Firing->root();
    const int64_t Id = S.Id;
    EXPECT_EQ(Event->EventId, Id);
    if (IsStacked) {
      Firing->Stack.pop_back();
    } else {
      EXPECT_EQ(Event->Time, S.Time);
      EXPECT_LE(S.Time, Limit);
      Firing->Heap.remove(&S);
      S.Queue = -1;
    }
    for (int64_t Left = draw(3); Left > 1; --Left)
      operate();
    const bool IsStopped = S.WasTakenOff && Limit < INT64_MAX;
    if (!IsStacked && S.Id == Id && S.Queue < 0 && S.Period && !IsStopped) {
      const bool WasTakenOff = S.WasTakenOff;
      schedule(S, int(Firing - Queues.data()), S.Time + S.Period);
      S.WasTakenOff = WasTakenOff;
    }
  }

  void trigger() {
    Firing = &Queues[draw(2)];
    Now += draw(60);
    Limit = Now;
    InHeap = false;
    Draining.swap(Firing->Callbacks);
    const int64_t First = orvy_eventTrigger(Firing->Real, Now);
    EXPECT_TRUE(Draining.empty());
    EXPECT_TRUE(!Firing->root() || Firing->root()->Time > Now);
    EXPECT_EQ(First, Firing->first());
    Firing = nullptr;
  }
  void triggerFirst() {
    Firing = &Queues[draw(2)];
    Limit = INT64_MAX;
    InHeap = false;
    const bool IsStacked = !Firing->Stack.empty();
    const int64_t Before = Firing->first(), Earlier = Fired;
    const int64_t First = orvy_eventTriggerFirst(Firing->Real);
    EXPECT_EQ(Fired - Earlier, Before >= 0 || IsStacked);
    EXPECT_EQ(First, IsStacked ? Firing->first() : Before);
    Firing = nullptr;
  }

  void compare() {
    for (const Slot &S : Slots) {
      EXPECT_EQ(orvy_eventIsScheduled(S.Id), S.Queue >= 0);
      EXPECT_EQ(orvy_eventGetRawTime(S.Id), S.Time);
      const orvy_Event &Event = *orvy_eventPtrNS(S.Id);
      EXPECT_EQ(Event.Queue, S.Queue < 0 ? nullptr : Queues[S.Queue].Real);
      EXPECT_EQ((Event.Flags & ovEF_Descheduled) != 0, S.WasTakenOff);
    }
    for (const Queue &Q : Queues) {
      ASSERT_EQ(Q.Real->Heap.size(), Q.Heap.Slots.size());
      for (size_t Place = 0; Place < Q.Heap.Slots.size(); ++Place) {
        EXPECT_EQ(Q.Real->Heap.at(Place)->EventId, Q.Heap.Slots[Place]->Id);
        EXPECT_EQ(Q.Real->Heap.at(Place)->QueueIdx, int32_t(Place));
      }
      EXPECT_EQ(orvy_eventGetFirstTime(Q.Real), Q.first());
      EXPECT_TRUE(orvy_verifyHeapOrder(Q.Real));
    }
    EXPECT_EQ(Log.count("event already scheduled when"), Warnings);
    EXPECT_EQ(Log.all().size(), size_t(Warnings));
    Log.clear();
    Warnings = 0;
  }

  static inline QueueModel *Current;
  LogCapture Log;
  std::mt19937_64 Random{testSeed()};
  int Numbers[3] = {0, 1, 2};
  std::array<Slot, 30> Slots;
  std::vector<Slot *> Owned[2]; ///< in the order of their publication
  std::list<Slot> OneShots;
  std::array<Queue, 2> Queues;
  std::vector<int> Draining;
  Queue *Firing = nullptr;
  bool InHeap = false; ///< the stack of this trigger is done
  int64_t Now = 10000, Limit = 0, Fired = 0;
  int Warnings = 0;
};

TEST_F(QueueModel, StaysInStepWithTheQueue) {
  for (int Round = 0; Round < 20000 && !HasFailure(); ++Round) {
    SCOPED_TRACE(Round);
    switch (draw(6)) {
    case 0:
      trigger();
      break;
    case 1:
      triggerFirst();
      break;
    default:
      operate();
    }
    compare();
  }
  EXPECT_GT(Fired, 2000);
}

} // namespace
