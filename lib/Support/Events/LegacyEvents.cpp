#include "orvy/Support/LegacyEvents.h"

#include "Base/InternalError.h"
#include "Base/RecentlyGone.h"
#include "Events/EventQueue.h"

#include "orvy/Support/Logging.h"

#include <map>
#include <utility>

using namespace orvy::event;

namespace orvy::event {

namespace {

/// An event followed by its old-style function. The records are chained, so that those whose
/// ids are forgotten are still reached.
struct OldStyleEvent {
  orvy_Event Event;
  orvy_OldStyleEventFunc Func;
  OldStyleEvent *Prev;
  OldStyleEvent *Next;
};

OldStyleEvent *AllRecords = nullptr;

using Pair = std::pair<orvy_OldStyleEventFunc, void *>;
std::map<Pair, int64_t> OldStyleEventMap;

/// Pairs whose events were depublished. They stay known for a while: the dispose function of a
/// model may still take such an event off its queue.
RecentlyGone<std::pair<Pair, int64_t>> GonePairs;

void forgetPair(const std::pair<Pair, int64_t> &Gone) {
  auto Found = OldStyleEventMap.find(Gone.first);
  if (Found != OldStyleEventMap.end() && Found->second == Gone.second)
    OldStyleEventMap.erase(Found);
}

void oldStyleEventHandler(orvy_Event *Event) {
  reinterpret_cast<OldStyleEvent *>(Event)->Func(Event->Obj, Event->Data);
}

OldStyleEvent *allocate(orvy_OldStyleEventFunc Func) {
  auto *Record = new OldStyleEvent{{}, Func, nullptr, AllRecords};
  if (AllRecords)
    AllRecords->Prev = Record;
  return AllRecords = Record;
}

/// A pair is taken while the event that it stands for is published.
void enter(orvy_OldStyleEventFunc Func, void *Obj, int64_t EvId) {
  auto [Entry, IsNew] = OldStyleEventMap.try_emplace({Func, Obj}, EvId);
  if (!IsNew && !eventForId(Entry->second))
    Entry->second = EvId;
}

/// The id of a pair, whose event will fire with a data word.
int64_t idWithData(orvy_OldStyleEventFunc Func, void *Obj, void *Data) {
  int64_t EvId = orvy_eventGetOldStyleID(Func, Obj);
  if (orvy_Event *Event = eventForId(EvId))
    Event->Data = Data;
  return EvId;
}

} // namespace

void releaseOldStyle(orvy_Event *Event) {
  if (Event->Func != oldStyleEventHandler)
    return;
  auto *Record = reinterpret_cast<OldStyleEvent *>(Event);
  GonePairs.add({{Record->Func, Event->Obj}, Event->EventId}, forgetPair);
  (Record->Prev ? Record->Prev->Next : AllRecords) = Record->Next;
  if (Record->Next)
    Record->Next->Prev = Record->Prev;
  delete Record;
}

void forgetOldStylePairs() {
  OldStyleEventMap.clear();
  GonePairs.clear();
}

} // namespace orvy::event

int64_t orvy_eventPublishOldStyle(const char *Name, void *Obj, orvy_OldStyleEventFunc Func) {
  ORVY_REQUIRE_FUNCTION(Func);
  int64_t EvId = orvy_eventPublishStruct(Name, &allocate(Func)->Event, Obj, oldStyleEventHandler);
  enter(Func, Obj, EvId);
  return EvId;
}

int64_t orvy_eventGetOldStyleID(orvy_OldStyleEventFunc Func, void *Obj) {
  auto Found = OldStyleEventMap.find({Func, Obj});
  return Found == OldStyleEventMap.end() ? -1 : Found->second;
}

void orvy_postEvent(orvy_EventQueue *Queue, orvy_OldStyleEventFunc Func, void *Obj, void *Data,
                    int64_t Time) {
  orvy_eventPostAbsoluteInQueueInternal(Queue, idWithData(Func, Obj, Data), Time);
}

void orvy_stackEvent(orvy_EventQueue *Queue, orvy_OldStyleEventFunc Func, void *Obj, void *Data) {
  orvy_eventStackPostInternal(Queue, idWithData(Func, Obj, Data));
}

int64_t orvy_eventTime(orvy_EventQueue *, orvy_OldStyleEventFunc Func, void *Obj) {
  return orvy_eventGetRawTime(orvy_eventGetOldStyleID(Func, Obj));
}

void orvy_descheduleEvent(orvy_EventQueue *, orvy_OldStyleEventFunc Func, void *Obj) {
  orvy_eventDeschedule(orvy_eventGetOldStyleID(Func, Obj));
}

int64_t orvy_triggerCurrentTimers(orvy_EventQueue *Queue, int64_t Time) {
  return orvy_eventTrigger(Queue, Time);
}

int64_t orvy_triggerFirstTimer(orvy_EventQueue *Queue) {
  return orvy_eventTriggerFirst(Queue);
}

int64_t orvy_nextTimer(const orvy_EventQueue *Queue) {
  return orvy_eventGetFirstTime(Queue);
}

void orvy_serialiseEvents(orvy_EventQueue *Queue, void *Ctxt) {
  orvy_eventSerialise(Queue, Ctxt);
}

void orvy_deserialiseEvents(orvy_EventQueue *Queue, void *Ctxt) {
  orvy_eventDeserialise(Queue, Ctxt);
}

void orvy_setQueueFreq(orvy_EventQueue *, uint64_t) {}

void orvy_depublishEventsNS(void) {
  forgetAll();
}

void orvy_registerEvent(orvy_EventQueue *, const char *Name) {
  orvy_logFatal(nullptr,
                "registering event '%s' with orvy_registerEvent use orvy_eventPublishOldStyle() "
                "instead or move to new style events",
                Name);
}
