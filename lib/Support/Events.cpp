#include "orvy/Support/Events.h"

#include "CacheBlock.h"
#include "EventQueue.h"
#include "EventTable.h"
#include "InternalError.h"
#include "LoggingEngine.h"

#include "orvy/Support/Commands.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Notifications.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Time.h"

#include <cstdlib>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <sanitizer/asan_interface.h>

namespace orvy::event {

Running *Running::Innermost = nullptr;

std::map<std::pair<orvy_OldStyleEventFunc, void *>, int64_t> OldStyleEventMap;

namespace {

int64_t g_TimeSlipNotification = 0;

constinit EventTable Table;
std::map<EventKey, int64_t> EventMap;
std::map<int64_t, EventKey> EventNameMap;
/// Ids by owner, in the order of publishing, so that disposing an object looks at its own events
/// only.
std::unordered_map<void *, std::vector<int64_t>> EventsByOwner;

/// Records of one-shot events. They lie together, however far apart in time they are posted: a heap
/// of many events writes to a few of them at each step. Blocks stay for the life of the process.
class RecordPool {
public:
  orvy_Event *take() {
    if (!Free)
      addBlock();
    orvy_Event *Event = Free;
    ASAN_UNPOISON_MEMORY_REGION(Event, sizeof(*Event));
    Free = static_cast<orvy_Event *>(Event->Data);
    return Event;
  }

  void give(orvy_Event *Event) {
    Event->Data = Free;
    Free = Event;
    ASAN_POISON_MEMORY_REGION(Event, sizeof(*Event));
  }

private:
  struct Block {
    Block *Next;
    orvy_Event Records[];
  };

  /// Each block is twice as long as the one before, up to a large page.
  void addBlock() {
    size_t Bytes = NextBytes;
    auto *Fresh = static_cast<Block *>(allocateCacheBlock(Bytes));
    Fresh->Next = std::exchange(Blocks, Fresh);
    for (size_t Count = (Bytes - sizeof(Block)) / sizeof(orvy_Event); Count > 0; --Count)
      give(&Fresh->Records[Count - 1]);
    if (NextBytes < LargePage)
      NextBytes *= 2;
  }

  Block *Blocks = nullptr;
  size_t NextBytes = 4096;
  orvy_Event *Free = nullptr; // chained by Data
};

constinit RecordPool OneShots;

orvy_Event *&slot(int64_t EvId) {
  ORVY_REQUIRE(Table.contains(EvId));
  return Table[EvId].Event;
}

/// Publishes an owner's record, or without one a record of the library.
int64_t publish(const char *Name, orvy_Event *Event, void *Obj, orvy_EventFunc Func) {
  ORVY_REQUIRE(Name && Func);
  EventTable::Slot &Slot = Table.add();
  const int64_t EvId = Table.lastId();
  const uint32_t Flags = Event ? 0 : uint32_t{ovEF_LibraryOwned};
  Slot.Event = Event ? Event : Slot.takeRecord();
  *Slot.Event = {-1, EvId, Flags, -1, nullptr, Obj, Func, nullptr, 0, 0, 0};
  EventMap.try_emplace({Name, Obj}, EvId);
  EventNameMap.try_emplace(EvId, Name, Obj);
  EventsByOwner[Obj].push_back(EvId);
  return EvId;
}

void deschedule(orvy_Event *Event) {
  if (Event->Queue)
    Event->Queue->remove(Event);
}

/// Leaves nothing in the system that still points to the event.
void detach(orvy_Event *Event) {
  deschedule(Event);
  orvy_EventQueue::purgeFromStacks(Event);
  Running::forget(Event);
}

void withdraw(int64_t EvId) {
  orvy_Event *Event = std::exchange(slot(EvId), nullptr);
  if (!Event)
    return;
  detach(Event);
  releaseRecord(Event);
}

/// Says that an event is scheduled. Who hears it may move the event, take it off or depublish it:
/// false if there is no such event any more.
[[gnu::noinline]] bool warn(const orvy_Event *Event, const char *Text) {
  const int64_t EvId = Event->EventId;
  orvy_logWarning(Event->Obj, "%s", Text);
  return eventForId(EvId) == Event;
}

/// Takes an event that is to be posted off the heap it is on, with a warning. False if the event
/// has gone at that.
bool takeOff(orvy_Event *Event, const char *Text) {
  Event->Queue->Heap.fetch(static_cast<size_t>(Event->QueueIdx));
  // Mostly the warning passes nobody, and then it is not to cost anything.
  if (TheEngine->passes(ovLOG_Warning, 0)) {
    if (!warn(Event, Text))
      return false;
    if (!Event->Queue)
      return true;
  }
  Event->Queue->Heap.removeAt(static_cast<size_t>(Event->QueueIdx));
  return true;
}

/// Posts an event that is scheduled already.
[[gnu::noinline]] void postAgain(orvy_EventQueue *Queue, orvy_Event *Event, int64_t Time) {
  if (takeOff(Event, "event already scheduled when posting"))
    Queue->schedule(Event, Time);
}

/// Posts a real-time event; its delay by the wall clock begins now.
[[gnu::noinline]] void postRealTime(orvy_EventQueue *Queue, orvy_Event *Event, int64_t Time,
                                    int64_t WallDelayNanos) {
  if (Event->Queue && !takeOff(Event, "event already scheduled when posting"))
    return;
  Event->RTTime = orvy_timeGetMonotonicWct() + static_cast<uint64_t>(WallDelayNanos);
  orvy_logInfo(nullptr, "post relative event %ld %ld", static_cast<long>(Event->RTTime),
               static_cast<long>(WallDelayNanos));
  Queue->schedule(Event, Time);
}

} // namespace

void Running::forget(const orvy_Event *Event) {
  for (Running *Frame = Innermost; Frame; Frame = Frame->Outer)
    if (Frame->Event == Event)
      Frame->Event = nullptr;
}

void init() {
  static bool Done = false;
  if (std::exchange(Done, true))
    return;
  g_TimeSlipNotification = orvy_publishNotification("orvy.realtime-slip", nullptr);
  std::atexit(orvy_eventDepublishAll);
}

const EventKey *keyForId(int64_t EvId) {
  auto Found = EventNameMap.find(EvId);
  return Found == EventNameMap.end() ? nullptr : &Found->second;
}

int64_t idForKey(const std::string &Name, void *Obj) {
  auto Found = EventMap.find({Name, Obj});
  return Found == EventMap.end() ? 0 : Found->second;
}

orvy_Event *eventForId(int64_t EvId) {
  return Table.contains(EvId) ? Table[EvId].Event : nullptr;
}

static void printState(const orvy_Event &Event) {
  if (Event.Queue)
    outs() << " scheduled( " << Event.Time << " ticks)";
  if (Event.Flags & ovEF_RealTime)
    outs() << " real-time";
  if (Event.Flags & ovEF_Cyclic)
    outs() << " cyclic(" << Event.PeriodCycles << " ticks)";
}

void printEvents() {
  outs() << "List of Registered Events and Sources\n"
         << "-------------------------------------\n";
  for (const auto &[Key, EvId] : EventMap) {
    outs() << Key.first << " : " << orvy_nameForObject(Key.second) << " : " << EvId << " :";
    if (const orvy_Event *Event = eventForId(EvId))
      printState(*Event);
    outs() << "\n";
  }
}

static int listEvents(cl::Command &, cl::Interpreter *) {
  printEvents();
  return 0;
}

static cl::Command EventList("event-list", listEvents, "List all events, sources and event ids");

void notifyTimeSlip() {
  if (g_TimeSlipNotification)
    orvy_notify(g_TimeSlipNotification, nullptr);
}

orvy_Event *allocateAdHoc() {
  return OneShots.take();
}

void releaseRecord(orvy_Event *Event) {
  if (Event->Flags & ovEF_AdHoc)
    OneShots.give(Event);
  else if (Event->Flags & ovEF_LibraryOwned)
    EventTable::giveRecord(Event);
  else
    releaseOldStyle(Event);
}

void forgetAll() {
  EventNameMap.clear();
  EventMap.clear();
  EventsByOwner.clear();
  OldStyleEventMap.clear(); // ids start anew
  Table.clear();
}

} // namespace orvy::event

using namespace orvy::event;

int64_t orvy_eventPublish(const char *Name, void *Obj, orvy_EventFunc Func) {
  return publish(Name, nullptr, Obj, Func);
}

int64_t orvy_eventPublishStruct(const char *Name, orvy_Event *Event, void *Obj,
                                orvy_EventFunc Func) {
  ORVY_REQUIRE(Event);
  return publish(Name, Event, Obj, Func);
}

void orvy_eventDepublish(int64_t EvId) {
  if (!Table.contains(EvId)) {
    orvy_logError(nullptr, "depublishing invalid event");
    return;
  }
  withdraw(EvId);
}

void orvy_eventDepublishAll(void) {
  for (int64_t EvId = 1; EvId <= Table.lastId(); ++EvId)
    withdraw(EvId);
  forgetAll();
}

void orvy_eventEraseAssociatedEvents(void *Obj) {
  auto Owned = EventsByOwner.extract(Obj);
  if (Owned.empty())
    return;
  for (int64_t EvId : Owned.mapped()) {
    if (!slot(EvId))
      continue;
    if (auto Named = EventNameMap.find(EvId); Named != EventNameMap.end()) {
      // A second event under the same key has no entry of its own.
      if (auto Keyed = EventMap.find(Named->second);
          Keyed != EventMap.end() && Keyed->second == EvId)
        EventMap.erase(Keyed);
      EventNameMap.erase(Named);
    }
    withdraw(EvId);
  }
}

orvy_Event *orvy_eventPtrNS(int64_t EvId) {
  return slot(EvId);
}

void orvy_eventSetPeriodCycles(int64_t EvId, int64_t Cycles) {
  orvy_Event *Event = slot(EvId);
  if (!Event)
    return;
  Event->PeriodCycles = Cycles < 1 ? 0 : Cycles;
  if (Cycles < 1)
    Event->Flags &= ~static_cast<uint32_t>(ovEF_Cyclic);
  else
    Event->Flags |= ovEF_Cyclic;
}

int orvy_eventSetRealTime(int64_t EvId) {
  orvy_Event *Event = slot(EvId);
  if (!Event || Event->Queue) {
    orvy_logError(nullptr, "__func__: event id %ld is already scheduled", static_cast<long>(EvId));
    return -1;
  }
  Event->Flags |= ovEF_RealTime;
  return 0;
}

void orvy_eventSetRTPeriodNanos(int64_t EvId, int64_t Nanos) {
  if (orvy_Event *Event = slot(EvId))
    Event->RTPeriodNanos = Nanos < 0 ? 0 : static_cast<uint64_t>(Nanos);
}

void orvy_eventSetRTTime(int64_t EvId, uint64_t Nanos) {
  if (orvy_Event *Event = slot(EvId))
    Event->RTTime = Nanos;
}

orvy_EventQueue *orvy_allocateEventQueue(void) {
  return new orvy_EventQueue();
}

void orvy_disposeEventQueue(orvy_EventQueue *Queue) {
  if (Queue)
    Queue->dispose();
}

void orvy_eventPostAbsoluteInQueueInternal(orvy_EventQueue *Queue, int64_t EvId, int64_t Time) {
  orvy_Event *Event = eventForId(EvId);
  if (!Event)
    orvy_logError(nullptr, "posting absolute invalid event");
  else if (Event->Queue)
    postAgain(Queue, Event, Time);
  else
    Queue->schedule(Event, Time);
}

void orvy_eventPostRelativeInQueueInternal(orvy_EventQueue *Queue, int64_t EvId, int64_t Time,
                                           int64_t WallDelayNanos) {
  orvy_Event *Event = eventForId(EvId);
  if (Event && Event->Flags & ovEF_RealTime)
    postRealTime(Queue, Event, Time, WallDelayNanos);
  else
    orvy_eventPostAbsoluteInQueueInternal(Queue, EvId, Time);
}

void orvy_eventPostOneShotInternal(orvy_EventQueue *Queue, void *Obj, orvy_EventFunc Func,
                                   int64_t Time) {
  orvy_Event *Event = allocateAdHoc();
  *Event = {Time, -1, ovEF_AdHoc, -1, nullptr, Obj, Func, nullptr, 0, 0, 0};
  Queue->Heap.insert(Event);
}

void orvy_eventStackPostInternal(orvy_EventQueue *Queue, int64_t EvId) {
  orvy_Event *Event = eventForId(EvId);
  if (!Event) {
    orvy_logError(nullptr, "stack posting invalid event");
    return;
  }
  if (Event->Queue && !takeOff(Event, "event already scheduled when stack posting"))
    return;
  Event->Flags &= ~static_cast<uint32_t>(ovEF_Descheduled);
  Queue->push(Event);
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

int orvy_eventIsScheduled(int64_t EvId) {
  const orvy_Event *Event = slot(EvId);
  return Event && Event->Queue;
}

void orvy_eventDeschedule(int64_t EvId) {
  if (orvy_Event *Event = slot(EvId))
    deschedule(Event);
}

int64_t orvy_eventGetRawTime(int64_t EvId) {
  if (const orvy_Event *Event = eventForId(EvId))
    return Event->Time;
  orvy_logError(nullptr, "get time on invalid event");
  return -1;
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
