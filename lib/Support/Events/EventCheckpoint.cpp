// Event queues in checkpoints: what is scheduled is known by its name and owner.

#include "Events/EventQueue.h"

#include "orvy/Support/Checkpoint.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Objsys.h"

#include <cstdlib>
#include <memory>
#include <optional>

using namespace orvy::event;

namespace {

/// An event of a queue, as stored in a checkpoint.
struct Saved {
  std::string Name;
  void *Obj = nullptr;
  int64_t Time = 0;
  int64_t Period = 0;
};

/// The value under a name if it has that type.
std::optional<orvy_Propval> valueAt(void *Ctxt, const char *Key, uint32_t Idx, orvy_Type Typ) {
  orvy_Propval Pv = orvy_checkpointGetValue(Ctxt, Key, Idx);
  if (Pv.Typ == Typ)
    return Pv;
  if (Pv.Typ != ovTY_Invalid)
    orvy_logError(nullptr, "deserialise queue: '%s' is of another type", Key);
  return std::nullopt;
}

std::optional<std::string> nameAt(void *Ctxt, uint32_t Idx) {
  auto Value = valueAt(Ctxt, "queueFuncs", Idx, ovTY_String);
  if (!Value)
    return std::nullopt;
  std::unique_ptr<char, void (*)(void *)> Text(const_cast<char *>(Value->String), std::free);
  return Text ? Text.get() : "";
}

std::optional<Saved> savedAt(void *Ctxt, uint32_t Idx, bool HasPeriods) {
  auto Name = nameAt(Ctxt, Idx);
  auto Time = valueAt(Ctxt, "queueTimes", Idx, ovTY_U64);
  auto Obj = valueAt(Ctxt, "queueObjs", Idx, ovTY_Obj);
  auto Period = HasPeriods ? valueAt(Ctxt, "queuePeriods", Idx, ovTY_U64) : orvy_Propval{};
  if (!Name || !Time || !Obj || !Period)
    return std::nullopt;
  return Saved{*Name, Obj->Obj, static_cast<int64_t>(Time->u64), Period->i64};
}

bool isStackEmpty(const orvy_EventQueue &Queue, const char *Message) {
  if (Queue.Stack.empty())
    return true;
  orvy_logError(nullptr, "%s", Message);
  return false;
}

} // namespace

void orvy_eventSerialise(orvy_EventQueue *Queue, void *Ctxt) {
  if (!isStackEmpty(*Queue, "serialising queue with non-empty stack"))
    return;
  std::vector<uint64_t> Times, Periods;
  std::vector<const char *> Names;
  std::vector<void *> Objs;
  for (size_t Idx = 0; Idx < Queue->Heap.size(); ++Idx) {
    const orvy_Event &Event = *Queue->Heap.at(Idx);
    // Ids may have restarted: the id of an older event may be that of another one.
    const bool IsKnown = eventForId(Event.EventId) == &Event;
    const EventKey *Key = IsKnown ? keyForId(Event.EventId) : nullptr;
    if (!Key) {
      orvy_logError(nullptr, "serialising unknown event %d @ %p", static_cast<int>(Event.EventId),
                    reinterpret_cast<void *>(Event.Func));
      continue;
    }
    if (Key->second && !orvy_nameForObject(Key->second))
      orvy_logWarning(nullptr,
                      "event '%s' is saved without its owner, which is not an object: a restore "
                      "will not find it",
                      Key->first.c_str());
    Names.push_back(Key->first.c_str());
    Objs.push_back(Key->second);
    Times.push_back(static_cast<uint64_t>(Event.Time));
    Periods.push_back(static_cast<uint64_t>(Event.PeriodCycles));
  }
  // A null address would write nothing, but empty lists must be written.
  Times.reserve(1), Periods.reserve(1), Names.reserve(1), Objs.reserve(1);
  auto Count = static_cast<int>(Names.size());
  orvy_serialiseProp(Ctxt, "queueTimes", ovTY_U64, Count, Times.data());
  orvy_serialiseProp(Ctxt, "queuePeriods", ovTY_U64, Count, Periods.data());
  orvy_serialiseProp(Ctxt, "queueFuncs", ovTY_String, Count, Names.data());
  orvy_serialiseProp(Ctxt, "queueObjs", ovTY_Obj, Count, Objs.data());
}

void orvy_eventDeserialise(orvy_EventQueue *Queue, void *Ctxt) {
  if (!isStackEmpty(*Queue, "deserialising queue with non-empty stack"))
    return;
  int Count = orvy_checkpointGetLength(Ctxt, "queueTimes");
  if (Count != orvy_checkpointGetLength(Ctxt, "queueFuncs") ||
      Count != orvy_checkpointGetLength(Ctxt, "queueObjs")) {
    orvy_logError(nullptr, "deserialise queue times != funcs != objs");
    return;
  }
  bool HasPeriods = orvy_checkpointGetLength(Ctxt, "queuePeriods") > 0;
  for (int Idx = 0; Idx < Count; ++Idx) {
    auto Event = savedAt(Ctxt, static_cast<uint32_t>(Idx), HasPeriods);
    if (!Event)
      return;
    int64_t EvId = idForKey(Event->Name, Event->Obj);
    if (!EvId) {
      // It may be an event of the host program: still restore those of the models.
      orvy_logError(nullptr, "deserialise func '%s' not registered", Event->Name.c_str());
      continue;
    }
    if (HasPeriods)
      orvy_eventSetPeriodCycles(EvId, Event->Period);
    orvy_eventPostAbsoluteInQueueInternal(Queue, EvId, Event->Time);
  }
}
