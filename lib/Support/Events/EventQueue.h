// EventQueue.h - a queue of a processor, machine or clock, and the table of published events.

#ifndef ORVY_LIB_EVENTQUEUE_H
#define ORVY_LIB_EVENTQUEUE_H

#include "Events/EventHeap.h"

#include "orvy/Support/Events.h"
#include "orvy/Support/LegacyEvents.h"

#include <atomic>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// A heap of scheduled events, a stack of immediate ones and a list of callbacks that any thread
/// may post. Heap and stack belong to the simulation thread. A queue disposed from one of its own
/// functions lives until the outermost operation on it has ended.
struct orvy_EventQueue {
public:
  orvy_EventQueue();
  orvy_EventQueue(const orvy_EventQueue &) = delete;
  orvy_EventQueue &operator=(const orvy_EventQueue &) = delete;

  /// Takes all events off and releases the queue, at once or when the operation in progress ends.
  void dispose();

  int64_t firstTime() const { return !Stack.empty() ? 0 : Heap.empty() ? -1 : Heap.rootTime(); }

  /// Inserts an event that is not in any heap.
  void schedule(orvy_Event *Event, int64_t Time) {
    Event->Time = Time;
    Event->Flags &= ~static_cast<uint32_t>(ovEF_Descheduled);
    Heap.insert(Event);
  }
  void remove(orvy_Event *Event);
  void push(orvy_Event *Event);
  int64_t trigger(int64_t Time);
  int64_t triggerFirst();

  void postCallback(orvy_ThreadSafeCb Cb, void *Arg);
  void removeCallback(orvy_ThreadSafeCb Cb, void *Arg);
  void runCallbacks();
  /// Whether any queue is firing events or calling callbacks.
  static bool isAnyInUse();

  /// Takes an event that goes away off the stacks of all queues.
  static void purgeFromStacks(const orvy_Event *Event);

  orvy::event::EventHeap Heap{this};
  std::vector<orvy_Event *> Stack;

private:
  struct Callback {
    orvy_ThreadSafeCb Cb;
    void *Arg;
  };
  class Use;

  ~orvy_EventQueue();
  void drainCallbacks();
  bool takePosted();
  void fireStacked();
  void fireFirst(bool DescheduledStops);
  [[gnu::noinline]] void endFiring(orvy_Event *Event, bool IsLate, bool DescheduledStops);

  // Queues are chained so that an event that goes away is found on any stack.
  orvy_EventQueue *PrevQueue = nullptr;
  orvy_EventQueue *NextQueue = nullptr;

  // Held while callbacks run or one is removed; locked before the other mutex. Posting does not
  // need it: a poster never waits for a callback.
  std::recursive_mutex DrainMutex; // guards the three below
  std::vector<Callback> Draining;  // being called; a null Cb was removed
  size_t DrainPos = 0;
  bool IsDraining = false;

  std::mutex Mutex; // guards the list, and is held for short accesses only
  std::vector<Callback> Callbacks;
  std::atomic<size_t> CallbackCount{0};

  int Uses = 0;
  bool Disposed = false;
};

namespace orvy::event {

/// Prepares the event system: publishes "orvy.realtime-slip" and arranges for the release of all
/// events at process exit. Called once at library start.
void init();

/// Name and owner of a published event.
using EventKey = std::pair<std::string, void *>;

/// Forgets the names and ids of all events. Their records stay.
void forgetAll();

/// Releases the record of an old-style event; any other one is left alone.
void releaseOldStyle(orvy_Event *Event);
/// Forgets which old-style events there are. Their records stay.
void forgetOldStylePairs();

/// The key under which an event was published; null for an id that has none.
const EventKey *keyForId(int64_t EvId);
/// The first event under a key; 0 if there is none. May be the id of a depublished one.
int64_t idForKey(const std::string &Name, void *Obj);

/// The event of an id; null if the id is not valid or the event is depublished.
orvy_Event *eventForId(int64_t EvId);

/// Writes every published event with its owner and state to the standard output stream.
void printEvents();

/// Publishes "orvy.realtime-slip", which tells of real-time events that are late.
void publishTimeSlip();

/// Allows the next warning for an owner about a post without a queue: a new object may have its
/// address.
void forgetPostWarning(const void *Owner);

/// Marks an event whose function is running, so that its end can tell whether the event is still
/// there.
class Running {
public:
  explicit Running(orvy_Event *Event) : Event(Event), Outer(Innermost) { Innermost = this; }
  ~Running() { Innermost = Outer; }
  Running(const Running &) = delete;
  Running &operator=(const Running &) = delete;

  /// The event, or null if it went away while its function ran.
  orvy_Event *event() const { return Event; }

  /// Notes for all running functions of an event that it has gone.
  static void forget(const orvy_Event *Event);

private:
  orvy_Event *Event;
  Running *Outer;
  static Running *Innermost;
};

} // namespace orvy::event

#endif
