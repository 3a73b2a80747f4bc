// Posting and asking by holder: which queue an event goes to, and in which unit.

#include "Base/InternalError.h"
#include "Base/Saturation.h"
#include "Base/TimeUnits.h"
#include "Events/EventQueue.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/Time.h"

#include <limits>
#include <optional>
#include <unordered_set>

using namespace orvy;

namespace {

/// Machine of a processor; null if it is not a machine, as a user may set it to anything.
void *machineOf(void *Cpu) {
  void *Machine = askSlot(Cpu, cpuIface(Cpu), &CpuIface::getMachine);
  return kindOf(Machine) == Kind::Machine ? Machine : nullptr;
}

/// Machine in whose queue a post on a processor ends, or null for the processor's own.
void *machineFor(void *Cpu, orvy_SyncEvent Sync) {
  ORVY_REQUIRE(Sync == ovSE_Cpu || Sync == ovSE_Machine);
  return Sync == ovSE_Machine ? machineOf(Cpu) : nullptr;
}

/// The holder whose own queue a post means: the object, or the machine of a processor. Null for an
/// object that holds no queue.
void *targetHolder(void *Obj, orvy_SyncEvent Sync) {
  switch (kindOf(Obj)) {
  case Kind::Processor: {
    void *Machine = machineFor(Obj, Sync);
    return Machine ? Machine : Obj;
  }
  case Kind::Machine:
  case Kind::Clock:
    return Obj;
  default:
    return nullptr;
  }
}

int64_t cpuCycles(void *Cpu) {
  return static_cast<int64_t>(ORVY_CALL(CpuIface, getCycles, Cpu, cpuIface(Cpu)));
}
int64_t cpuFreq(void *Cpu) {
  return static_cast<int64_t>(ORVY_CALL(CpuIface, getFreq, Cpu, cpuIface(Cpu)));
}

void postRelative(void *Holder, int64_t EvId, int64_t Delay) {
  ORVY_CALL(EventIface, postRelative, Holder, eventIface(Holder), EvId, Delay);
}

/// Owners that warnOfPost has warned.
std::unordered_set<const void *> Warned;

/// Warns once for each owner of an event that was posted on an object without a queue. Mostly the
/// time source is not set.
void warnOfPost(const void *Holder, int64_t EvId) {
  const orvy_Event *Event = event::eventForId(EvId);
  if (!Event || !Warned.insert(Event->Obj).second)
    return;
  const event::EventKey *Key = event::keyForId(EvId);
  const char *Name = orvy_nameForObject(Holder);
  orvy_logWarning(Event->Obj,
                  "event '%s' is not posted: %s%s%s is not a processor, machine or clock; "
                  "is the time source set?",
                  Key ? Key->first.c_str() : "", Name ? "'" : "", Name ? Name : "its holder",
                  Name ? "'" : "");
}

} // namespace

void event::forgetPostWarning(const void *Owner) {
  Warned.erase(Owner);
}

void orvy_eventPostCycles(void *Holder, int64_t EvId, int64_t Cycles, orvy_SyncEvent Sync) {
  switch (kindOf(Holder)) {
  case Kind::Processor:
    if (void *Machine = machineFor(Holder, Sync))
      ORVY_CALL(EventIface, postAbsolute, Machine, eventIface(Machine), EvId,
                orvy_cyclesToNanos(clampedSum(Cycles, cpuCycles(Holder)), cpuFreq(Holder)));
    else
      postRelative(Holder, EvId, Cycles);
    break;
  case Kind::Machine:
    orvy_logError(Holder, "posting cycle event on machine object not supported");
    break;
  case Kind::Clock:
    postRelative(Holder, EvId, Cycles);
    break;
  default:
    warnOfPost(Holder, EvId);
  }
}

void orvy_eventPostNanos(void *Holder, int64_t EvId, int64_t Nanos, orvy_SyncEvent Sync) {
  switch (kindOf(Holder)) {
  case Kind::Processor:
    if (void *Machine = machineFor(Holder, Sync))
      ORVY_CALL(EventIface, postAbsolute, Machine, eventIface(Machine), EvId,
                clampedSum(Nanos, orvy_cyclesToNanos(cpuCycles(Holder), cpuFreq(Holder))));
    else
      postRelative(Holder, EvId, orvy_nanosToCycles(Nanos, static_cast<uint64_t>(cpuFreq(Holder))));
    break;
  case Kind::Machine:
    postRelative(Holder, EvId, Nanos);
    break;
  case Kind::Clock:
    postRelative(Holder, EvId, orvy_nanosToCycles(Nanos, static_cast<uint64_t>(clockFreq(Holder))));
    break;
  default:
    warnOfPost(Holder, EvId);
  }
}

void orvy_eventPostSecs(void *Holder, int64_t EvId, double Secs, orvy_SyncEvent Sync) {
  switch (kindOf(Holder)) {
  case Kind::Processor:
    if (void *Machine = machineFor(Holder, Sync))
      postRelative(Machine, EvId, orvy_secsToNanos(Secs));
    else
      postRelative(Holder, EvId, orvy_secsToCycles(cpuFreq(Holder), Secs));
    break;
  case Kind::Machine:
    postRelative(Holder, EvId, orvy_secsToNanos(Secs));
    break;
  case Kind::Clock:
    postRelative(Holder, EvId, orvy_secsToCycles(clockFreq(Holder), Secs));
    break;
  default:
    warnOfPost(Holder, EvId);
  }
}

void orvy_eventPostStack(void *Holder, int64_t EvId, orvy_SyncEvent Sync) {
  if (void *Target = targetHolder(Holder, Sync))
    ORVY_CALL(EventIface, postOnStack, Target, eventIface(Target), EvId);
  else
    warnOfPost(Holder, EvId);
}

void orvy_eventPostAsync(void *Holder, orvy_ThreadSafeCb Cb, void *Arg, orvy_SyncEvent Sync) {
  ORVY_REQUIRE_FUNCTION(Cb);
  if (void *Target = targetHolder(Holder, Sync))
    ORVY_CALL(EventIface, postCallback, Target, eventIface(Target), Cb, Arg);
  else
    orvy_logError(Holder, "unknown queue holder class");
}

void orvy_eventRemoveAsync(void *Holder, orvy_ThreadSafeCb Cb, void *Arg, orvy_SyncEvent Sync) {
  if (void *Target = targetHolder(Holder, Sync))
    ORVY_CALL(EventIface, removeCallback, Target, eventIface(Target), Cb, Arg);
  else
    orvy_logError(Holder, "unknown queue holder class");
}

namespace {

/// Time left until an event fires, in every unit.
struct TimeLeft {
  int64_t Cycles;
  int64_t Nanos;
  double Secs;
};

TimeLeft fromCycles(int64_t Left, int64_t Freq) {
  return {Left, orvy_cyclesToNanos(Left, Freq), orvy_cyclesToSecs(Left, Freq)};
}

std::optional<TimeLeft> leftOnCpu(void *Cpu, const orvy_Event *Event) {
  int64_t Now = cpuCycles(Cpu);
  int64_t Freq = cpuFreq(Cpu);
  if (Event->Queue && Event->Queue == queueOf(Cpu))
    return fromCycles(clampedDifference(Event->Time, Now), Freq);

  void *Machine = machineOf(Cpu);
  if (!Event->Queue || !Machine || Event->Queue != queueOf(Machine)) {
    orvy_logError(Event->Obj, "event %ld not in cpu nor machine queue as expected",
                  static_cast<long>(Event->EventId));
    return std::nullopt;
  }
  int64_t Nanos = clampedDifference(Event->Time, orvy_cyclesToNanos(Now, Freq));
  return TimeLeft{
      clampedDifference(orvy_nanosToCycles(Event->Time, static_cast<uint64_t>(Freq)), Now), Nanos,
      orvy_nanosToSecs(Nanos)};
}

std::optional<TimeLeft> leftOnMachine(void *Machine, const orvy_Event *Event) {
  if (!Event->Queue || Event->Queue != queueOf(Machine)) {
    orvy_logError(Machine, "event not on the provided machine queue");
    return std::nullopt;
  }
  int64_t Nanos = clampedDifference(
      Event->Time,
      static_cast<int64_t>(ORVY_CALL(MachineIface, getTime, Machine, machineIface(Machine))));
  return TimeLeft{0, Nanos, orvy_nanosToSecs(Nanos)};
}

std::optional<TimeLeft> leftOnClock(void *Clock, const orvy_Event *Event) {
  auto Now = static_cast<int64_t>(ORVY_CALL(ClockIface, getCycles, Clock, clockIface(Clock)));
  return fromCycles(clampedDifference(Event->Time, Now), clockFreq(Clock));
}

/// Time left as seen from a holder; nothing, with an error, where that has no meaning. UnknownText
/// is the error for an object without a queue, null to log nothing.
std::optional<TimeLeft> timeLeft(void *Holder, int64_t EvId, const char *UnknownText) {
  const orvy_Event *Event = orvy::event::eventForId(EvId);
  if (!Event) {
    orvy_logError(nullptr, "get time on invalid event");
    return std::nullopt;
  }
  switch (kindOf(Holder)) {
  case Kind::Processor:
    return leftOnCpu(Holder, Event);
  case Kind::Machine:
    return leftOnMachine(Holder, Event);
  case Kind::Clock:
    return leftOnClock(Holder, Event);
  default:
    if (UnknownText)
      orvy_logError(Holder, "%s", UnknownText);
    return std::nullopt;
  }
}

} // namespace

int64_t orvy_eventGetCycles(void *Holder, int64_t EvId) {
  if (kindOf(Holder) == Kind::Machine) {
    orvy_logError(Holder, "querying cycles for event on machine queue");
    return -1;
  }
  auto Left = timeLeft(Holder, EvId, "unknown class");
  return Left ? Left->Cycles : -1;
}

int64_t orvy_eventGetNanos(void *Holder, int64_t EvId) {
  auto Left = timeLeft(Holder, EvId, nullptr);
  return Left ? Left->Nanos : -1;
}

double orvy_eventGetSecs(void *Holder, int64_t EvId) {
  auto Left = timeLeft(Holder, EvId, "unknown queue holder class");
  return Left ? Left->Secs : std::numeric_limits<double>::quiet_NaN();
}

uint64_t orvy_eventQueueGetFreq(void *Holder) {
  switch (kindOf(Holder)) {
  case Kind::Processor:
    return ORVY_CALL(CpuIface, getFreq, Holder, cpuIface(Holder));
  case Kind::Machine:
    return NanosPerSecond;
  case Kind::Clock:
    return static_cast<uint64_t>(clockFreq(Holder));
  default:
    orvy_logSimFatal(Holder, "invalid queue object passed to %s", "orvy_eventQueueGetFreq");
  }
}
