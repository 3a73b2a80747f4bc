#include "orvy/Support/Events.h"

#include "Base/InternalError.h"
#include "Base/RecentlyGone.h"
#include "Events/EventQueue.h"
#include "Events/EventTable.h"
#include "Events/RecordPool.h"
#include "Logging/LoggingEngine.h"
#include "Objsys/Observers.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Time.h"

#include <cstdlib>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace orvy::event {

namespace {

constinit EventTable Table;
std::map<EventKey, int64_t> EventMap;
std::map<int64_t, EventKey> EventNameMap;

/// The events of an owner, by the numbers of their slots, in the order of publishing: disposing an
/// object looks at its own events only.
struct Chain {
  uint32_t First;
  uint32_t Last;
};
std::unordered_map<void *, Chain> EventsByOwner;

/// The names of depublished events, which stay known until this many others were depublished.
RecentlyGone<int64_t> NamesOfGone;

/// The event of a valid id; null if it is depublished.
orvy_Event *eventForValidId(int64_t EvId) {
  orvy_Event *Event = Table.find(EvId);
  ORVY_REQUIRE(Event || Table.wasGiven(EvId));
  return Event;
}

void chain(void *Owner, int64_t EvId) {
  const uint32_t Number = EventTable::numberOf(EvId);
  auto [Entry, IsNew] = EventsByOwner.try_emplace(Owner, Chain{Number, Number});
  if (IsNew)
    return;
  const uint32_t Last = std::exchange(Entry->second.Last, Number);
  Table.link(Last).Next = Number;
  Table.link(Number).Prev = Last;
}

void unchain(void *Owner, int64_t EvId) {
  const auto [Prev, Next] = Table.link(EventTable::numberOf(EvId));
  Chain &Owned = EventsByOwner.at(Owner);
  (Prev ? Table.link(Prev).Next : Owned.First) = Next;
  (Next ? Table.link(Next).Prev : Owned.Last) = Prev;
  if (!Owned.First)
    EventsByOwner.erase(Owner);
}

/// Forgets the name of an event. Another one under the same key keeps its own.
void forgetName(int64_t EvId) {
  auto Named = EventNameMap.find(EvId);
  if (Named == EventNameMap.end())
    return;
  if (auto Keyed = EventMap.find(Named->second); Keyed != EventMap.end() && Keyed->second == EvId)
    EventMap.erase(Keyed);
  EventNameMap.erase(Named);
}

/// Enters a key. The first event under it keeps it until it is depublished.
void enterKey(const EventKey &Key, int64_t EvId) {
  auto [Entry, IsNew] = EventMap.try_emplace(Key, EvId);
  if (!IsNew && !Table.find(Entry->second))
    EventNameMap.erase(std::exchange(Entry->second, EvId));
  EventNameMap.try_emplace(EvId, Key);
}

/// Publishes an owner's record, or without one a record of the library.
int64_t publish(const char *Name, orvy_Event *Event, void *Obj, orvy_EventFunc Func) {
  ORVY_REQUIRE(Name);
  const int64_t EvId = Table.add(Event);
  const uint32_t Flags = Event ? 0 : uint32_t{ovEF_LibraryOwned};
  *Table.find(EvId) = {-1, EvId, Flags, -1, nullptr, Obj, Func, nullptr, 0, 0, 0};
  enterKey({Name, Obj}, EvId);
  chain(Obj, EvId);
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

/// Takes an event that is no longer among those of its owner out of the table.
void withdraw(int64_t EvId) {
  orvy_Event *Event = Table.find(EvId);
  detach(Event);
  releaseOldStyle(Event);
  Table.remove(EvId);
}

/// Warns about an event that is scheduled. A log client may move, deschedule or depublish the event:
/// false if it is gone.
[[gnu::noinline]] bool warn(const orvy_Event *Event, const char *Text) {
  const int64_t EvId = Event->EventId;
  orvy_logWarning(Event->Obj, "%s", Text);
  return eventForId(EvId) == Event;
}

/// Takes an event that is to be posted off the heap it is on, with a warning. False if that
/// depublished the event.
bool takeOff(orvy_Event *Event, const char *Text) {
  Event->Queue->Heap.fetch(static_cast<size_t>(Event->QueueIdx));
  // Mostly the warning is filtered out, and then it must cost nothing.
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

void init() {
  static bool Done = false;
  if (std::exchange(Done, true))
    return;
  publishTimeSlip();
  std::atexit(orvy_eventDepublishAll);
}

const EventKey *keyForId(int64_t EvId) {
  auto Found = EventNameMap.find(EvId);
  return Found == EventNameMap.end() ? nullptr : &Found->second;
}

int64_t idForKey(const std::string &Name, void *Obj) {
  auto Found = EventMap.find({Name, Obj});
  if (Found == EventMap.end())
    return 0;
  if (Table.find(Found->second))
    return Found->second;
  // The first one is depublished; another may have been published under the same key before that.
  auto Owned = EventsByOwner.find(Obj);
  for (uint32_t Number = Owned == EventsByOwner.end() ? 0 : Owned->second.First; Number;
       Number = Table.link(Number).Next)
    if (EventNameMap.at(Table.usedId(Number)).first == Name)
      return Table.usedId(Number);
  return Found->second;
}

orvy_Event *eventForId(int64_t EvId) {
  return Table.find(EvId);
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

void forgetAll() {
  EventNameMap.clear();
  EventMap.clear();
  EventsByOwner.clear();
  NamesOfGone.clear();
  forgetOldStylePairs();
  Table.restart();
}

} // namespace orvy::event

using namespace orvy::event;

static const orvy::objsys::Observer EventsGo(orvy_eventEraseAssociatedEvents, nullptr);

int64_t orvy_eventPublish(const char *Name, void *Obj, orvy_EventFunc Func) {
  ORVY_REQUIRE_FUNCTION(Func);
  return publish(Name, nullptr, Obj, Func);
}

int64_t orvy_eventPublishStruct(const char *Name, orvy_Event *Event, void *Obj,
                                orvy_EventFunc Func) {
  ORVY_REQUIRE(Event);
  ORVY_REQUIRE_FUNCTION(Func);
  return publish(Name, Event, Obj, Func);
}

void orvy_eventDepublish(int64_t EvId) {
  if (!Table.wasGiven(EvId)) {
    orvy_logError(nullptr, "depublishing invalid event");
    return;
  }
  if (!Table.find(EvId))
    return;
  unchain(EventNameMap.at(EvId).second, EvId);
  withdraw(EvId);
  NamesOfGone.add(EvId, forgetName);
}

void orvy_eventDepublishAll(void) {
  for (uint32_t Number = 1; Number <= Table.lastNumber(); ++Number)
    if (int64_t EvId = Table.usedId(Number))
      withdraw(EvId);
  forgetAll();
}

void orvy_eventEraseAssociatedEvents(void *Obj) {
  poolOf(Obj).forEachOwnedBy(Obj, [](orvy_Event *Event) {
    if (Event->Queue) // not while its function runs
      Event->Queue->remove(Event);
  });
  forgetPostWarning(Obj);
  auto Owned = EventsByOwner.extract(Obj);
  for (uint32_t Number = Owned.empty() ? 0 : Owned.mapped().First; Number;) {
    const int64_t EvId = Table.usedId(Number);
    Number = Table.link(Number).Next;
    forgetName(EvId);
    withdraw(EvId);
  }
}

orvy_Event *orvy_eventPtrNS(int64_t EvId) {
  return eventForValidId(EvId);
}

void orvy_eventSetPeriodCycles(int64_t EvId, int64_t Cycles) {
  orvy_Event *Event = eventForValidId(EvId);
  if (!Event)
    return;
  Event->PeriodCycles = Cycles < 1 ? 0 : Cycles;
  if (Cycles < 1)
    Event->Flags &= ~static_cast<uint32_t>(ovEF_Cyclic);
  else
    Event->Flags |= ovEF_Cyclic;
}

int orvy_eventSetRealTime(int64_t EvId) {
  orvy_Event *Event = eventForValidId(EvId);
  if (!Event || Event->Queue) {
    orvy_logError(nullptr, "__func__: event id %ld is already scheduled", static_cast<long>(EvId));
    return -1;
  }
  Event->Flags |= ovEF_RealTime;
  return 0;
}

void orvy_eventSetRTPeriodNanos(int64_t EvId, int64_t Nanos) {
  if (orvy_Event *Event = eventForValidId(EvId))
    Event->RTPeriodNanos = Nanos < 0 ? 0 : static_cast<uint64_t>(Nanos);
}

void orvy_eventSetRTTime(int64_t EvId, uint64_t Nanos) {
  if (orvy_Event *Event = eventForValidId(EvId))
    Event->RTTime = Nanos;
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
  ORVY_REQUIRE_FUNCTION(Func);
  orvy_Event *Event = poolOf(Obj).take();
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

int orvy_eventIsScheduled(int64_t EvId) {
  const orvy_Event *Event = eventForValidId(EvId);
  return Event && Event->Queue;
}

void orvy_eventDeschedule(int64_t EvId) {
  if (orvy_Event *Event = eventForValidId(EvId))
    deschedule(Event);
}

int64_t orvy_eventGetRawTime(int64_t EvId) {
  if (const orvy_Event *Event = eventForId(EvId))
    return Event->Time;
  orvy_logError(nullptr, "get time on invalid event");
  return -1;
}
