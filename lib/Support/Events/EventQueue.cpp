#include "Events/EventQueue.h"

#include "Base/InternalError.h"
#include "Base/Saturation.h"
#include "Base/TimeUnits.h"
#include "Checkpoint/RunQuery.h"
#include "Events/RecordPool.h"

#include "orvy/Support/Notifications.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Time.h"

#include <cerrno>
#include <ctime>

using orvy::event::Running;

namespace {

orvy_EventQueue *AllQueues = nullptr;
int64_t g_TimeSlipNotification = 0; // the id of "orvy.realtime-slip", once it is published
size_t StackedCount = 0; // entries on all stacks: mostly none, and then there is nothing to search

void sleepFor(uint64_t Nanos) {
  constexpr uint64_t Second = orvy::NanosPerSecond;
  timespec Left{static_cast<time_t>(Nanos / Second), static_cast<long>(Nanos % Second)};
  while (nanosleep(&Left, &Left) != 0)
    if (errno != EINTR)
      ORVY_INTERNAL_ERROR("nanosleep failed");
}

/// Waits until a real-time event is due by the wall clock. Returns whether it was late.
[[gnu::noinline]] bool paceRealTime(const orvy_Event *Event) {
  uint64_t Now = orvy_timeGetMonotonicWct();
  if (Now >= Event->RTTime) {
    if (g_TimeSlipNotification)
      orvy_notify(g_TimeSlipNotification, nullptr);
    return true;
  }
  sleepFor(Event->RTTime - Now);
  return false;
}

} // namespace

namespace orvy::event {

Running *Running::Innermost = nullptr;

void Running::forget(const orvy_Event *Event) {
  for (Running *Frame = Innermost; Frame; Frame = Frame->Outer)
    if (Frame->Event == Event)
      Frame->Event = nullptr;
}

void publishTimeSlip() {
  g_TimeSlipNotification = orvy_publishNotification("orvy.realtime-slip", nullptr);
}

} // namespace orvy::event

/// Keeps a queue alive while one of its operations calls out.
class orvy_EventQueue::Use {
public:
  explicit Use(orvy_EventQueue &Queue) : Queue(Queue) { ++Queue.Uses; }
  ~Use() {
    if (--Queue.Uses == 0 && Queue.Disposed)
      delete &Queue;
  }
  Use(const Use &) = delete;
  Use &operator=(const Use &) = delete;

private:
  orvy_EventQueue &Queue;
};

orvy_EventQueue::orvy_EventQueue() : NextQueue(AllQueues) {
  if (AllQueues)
    AllQueues->PrevQueue = this;
  AllQueues = this;
}

orvy_EventQueue::~orvy_EventQueue() {
  (PrevQueue ? PrevQueue->NextQueue : AllQueues) = NextQueue;
  if (NextQueue)
    NextQueue->PrevQueue = PrevQueue;
}

void orvy_EventQueue::dispose() {
  while (!Heap.empty())
    remove(Heap.root());
  StackedCount -= Stack.size();
  Stack.clear();
  Disposed = true;
  if (Uses == 0)
    delete this;
}

void orvy_EventQueue::remove(orvy_Event *Event) {
  Heap.removeAt(static_cast<size_t>(Event->QueueIdx));
  Event->Flags |= ovEF_Descheduled;
  if (Event->Flags & ovEF_AdHoc)
    orvy::event::releaseOneShot(Event);
}

void orvy_EventQueue::push(orvy_Event *Event) {
  Stack.push_back(Event);
  ++StackedCount;
}

void orvy_EventQueue::purgeFromStacks(const orvy_Event *Event) {
  if (StackedCount == 0)
    return;
  for (orvy_EventQueue *Queue = AllQueues; Queue; Queue = Queue->NextQueue)
    StackedCount -= std::erase(Queue->Stack, Event);
}

/// Fires the root of the heap and inserts it again if it is cyclic. The function of a cyclic event
/// that was descheduled by someone else in the meantime is not repeated if DescheduledStops.
[[gnu::always_inline]] inline void orvy_EventQueue::fireFirst(bool DescheduledStops) {
  orvy_Event *Event = Heap.popRoot();
  Running Guard(Event);
  bool IsLate = false;
  if (Event->Flags & ovEF_RealTime) {
    IsLate = paceRealTime(Event);
    // A subscriber to the slip may have disposed of the event, its owner or this queue.
    if (!Guard.event() || Disposed)
      return;
  }
  Event->Func(Event);
  if (Guard.event() && (Event->Flags & (ovEF_AdHoc | ovEF_Cyclic)))
    endFiring(Event, IsLate, DescheduledStops);
}

int64_t orvy_EventQueue::trigger(int64_t Time) {
  Use Guard(*this);
  if (CallbackCount.load(std::memory_order_relaxed) != 0)
    drainCallbacks();
  while (!Stack.empty())
    fireStacked();
  while (!Heap.empty() && Heap.rootTime() <= Time)
    fireFirst(true);
  return firstTime();
}

int64_t orvy_EventQueue::triggerFirst() {
  Use Guard(*this);
  if (!Stack.empty()) {
    fireStacked();
    return firstTime();
  }
  if (Heap.empty())
    return -1;
  int64_t First = Heap.rootTime();
  fireFirst(false);
  return First;
}

void orvy_EventQueue::fireStacked() {
  orvy_Event *Event = Stack.back();
  Stack.pop_back();
  --StackedCount;
  Event->Func(Event);
}

void orvy_EventQueue::endFiring(orvy_Event *Event, bool IsLate, bool DescheduledStops) {
  if (Event->Queue)
    return; // inserted again by its own function
  if (Event->Flags & ovEF_AdHoc) {
    orvy::event::releaseOneShot(Event);
    return;
  }
  if (Disposed || (DescheduledStops && (Event->Flags & ovEF_Descheduled)))
    return;
  if (__builtin_add_overflow(Event->Time, Event->PeriodCycles, &Event->Time))
    return; // past the end of time
  if (Event->Flags & ovEF_RealTime)
    Event->RTTime =
        orvy::clampedSum(IsLate ? orvy_timeGetMonotonicWct() : Event->RTTime, Event->RTPeriodNanos);
  Heap.insert(Event);
}

void orvy_EventQueue::postCallback(orvy_ThreadSafeCb Cb, void *Arg) {
  std::lock_guard<std::mutex> Guard(Mutex);
  Callbacks.push_back({Cb, Arg});
  CallbackCount.store(Callbacks.size(), std::memory_order_relaxed);
}

void orvy_EventQueue::removeCallback(orvy_ThreadSafeCb Cb, void *Arg) {
  std::lock_guard<std::recursive_mutex> DrainGuard(DrainMutex);
  // Inside a drain the entries being called come first; they keep their places until it has ended.
  for (size_t Index = DrainPos; Index < Draining.size(); ++Index)
    if (Draining[Index].Cb == Cb && Draining[Index].Arg == Arg) {
      Draining[Index].Cb = nullptr;
      return;
    }
  std::lock_guard<std::mutex> Guard(Mutex);
  for (auto It = Callbacks.begin(); It != Callbacks.end(); ++It)
    if (It->Cb == Cb && It->Arg == Arg) {
      Callbacks.erase(It);
      break;
    }
  CallbackCount.store(Callbacks.size(), std::memory_order_relaxed);
}

static const bool IsRegistered = [] {
  orvy::checkpoint::addRunQuery(&orvy_EventQueue::isAnyInUse);
  return true;
}();

bool orvy_EventQueue::isAnyInUse() {
  for (const orvy_EventQueue *Queue = AllQueues; Queue; Queue = Queue->NextQueue)
    if (Queue->Uses > 0)
      return true;
  return false;
}

void orvy_EventQueue::runCallbacks() {
  Use Guard(*this);
  if (CallbackCount.load(std::memory_order_relaxed) != 0)
    drainCallbacks();
}

/// Takes over what was posted up to now, unless another thread holds the list.
bool orvy_EventQueue::takePosted() {
  std::unique_lock<std::mutex> Lock(Mutex, std::try_to_lock);
  if (!Lock)
    return false;
  Draining.swap(Callbacks);
  CallbackCount.store(0, std::memory_order_relaxed);
  return true;
}

/// Calls what was posted up to now, unless another thread holds the list. What the callbacks
/// post themselves waits for the next drain.
void orvy_EventQueue::drainCallbacks() {
  std::unique_lock<std::recursive_mutex> Lock(DrainMutex, std::try_to_lock);
  if (!Lock || IsDraining || !takePosted())
    return;
  IsDraining = true;
  for (DrainPos = 0; DrainPos < Draining.size() && !Disposed; ++DrainPos)
    if (Callback Next = Draining[DrainPos]; Next.Cb)
      Next.Cb(Next.Arg);
  Draining.clear();
  DrainPos = 0;
  IsDraining = false;
}

orvy_EventQueue *orvy_allocateEventQueue(void) {
  return new orvy_EventQueue();
}

void orvy_disposeEventQueue(orvy_EventQueue *Queue) {
  if (Queue)
    Queue->dispose();
}

void orvy_eventInsertInternal(orvy_EventQueue *Queue, orvy_Event *Event) {
  Queue->Heap.insert(Event);
}

void orvy_eventRemoveHeadInternal(orvy_EventQueue *Queue) {
  ORVY_REQUIRE(!Queue->Heap.empty());
  Queue->Heap.removeAt(0);
}

void orvy_eventRemoveIndexInternal(orvy_EventQueue *Queue, int32_t Index) {
  ORVY_REQUIRE(Index >= 0 && static_cast<size_t>(Index) < Queue->Heap.size());
  Queue->Heap.removeAt(static_cast<size_t>(Index));
}

void orvy_postCallbackInQueue(orvy_EventQueue *Queue, orvy_ThreadSafeCb Cb, void *Arg) {
  ORVY_REQUIRE_FUNCTION(Cb);
  Queue->postCallback(Cb, Arg);
}

void orvy_removeCallbackInQueue(orvy_EventQueue *Queue, orvy_ThreadSafeCb Cb, void *Arg) {
  Queue->removeCallback(Cb, Arg);
}

int64_t orvy_eventTrigger(orvy_EventQueue *Queue, int64_t Time) {
  return Queue->trigger(Time);
}

int64_t orvy_eventTriggerFirst(orvy_EventQueue *Queue) {
  return Queue->triggerFirst();
}

void orvy_eventTriggerThreadSafeCallbacks(orvy_EventQueue *Queue) {
  Queue->runCallbacks();
}

int64_t orvy_eventGetFirstTime(const orvy_EventQueue *Queue) {
  return Queue->firstTime();
}

int orvy_verifyHeapOrder(const orvy_EventQueue *Queue) {
  return Queue->Heap.isOrdered();
}

void orvy_printHeap(const orvy_EventQueue *Queue) {
  orvy::OutStream &Out = orvy::outs();
  auto Pointer = [&Out](const orvy_EventQueue *Value) {
    Out.setBase(orvy::OutStream::Hexadecimal).setWidth(16).setFill('0');
    Out << reinterpret_cast<unsigned long>(Value);
  };
  for (size_t Index = 0; Index < Queue->Heap.size(); ++Index) {
    const orvy_Event *Event = Queue->Heap.at(Index);
    Out << "[" << static_cast<unsigned long>(Index) << " (" << static_cast<long>(Event->QueueIdx)
        << ") ]: " << static_cast<long>(Event->EventId) << " " << static_cast<long>(Event->Time)
        << " (";
    Pointer(Event->Queue);
    Out << " == ";
    Pointer(Queue);
    Out << ")\n";
  }
}
