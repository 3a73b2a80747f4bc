// The class Clock: a queue and a cycle counter, moved through its ClockIface.

#include "orvy/Support/Clock.h"

#include "Base/Saturation.h"
#include "Events/EventQueue.h"
#include "Objsys/ObjectKinds.h"
#include "Objsys/ObjsysClass.h"

#include "orvy/Support/CreateArgs.h"
#include "orvy/Support/Events.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"
#include "orvy/Support/Time.h"

#include <cstddef>

namespace {

struct Clock {
  orvy_Object Super;
  orvy_EventQueue *Queue; // first field of every queue holder; in cycles
  int64_t Cycles;
  int64_t Steps;
  double Freq;         // Hz
  uint64_t SyncPeriod; // cycles between real-time events, 0 for none
  int64_t SyncEvent;
  uint8_t EnableRT;
  bool Disposed;
  int Uses; // operations in progress; the last one deletes a clock that was disposed meanwhile
};

static_assert(offsetof(Clock, Queue) == sizeof(orvy_Object));

Clock &clockOf(void *Obj) {
  return *static_cast<Clock *>(Obj);
}

int64_t firstTime(const Clock &C) {
  return orvy_eventGetFirstTime(C.Queue);
}

/// Keeps a clock while it fires events, as one of them may dispose of it.
class Use {
public:
  explicit Use(Clock &C) : C(C) { ++C.Uses; }
  ~Use() {
    if (--C.Uses == 0 && C.Disposed)
      delete &C;
  }
  Use(const Use &) = delete;
  Use &operator=(const Use &) = delete;

private:
  Clock &C;
};

/// Moves to an event's time, unless it lies in the past, and fires what is due then. False if that
/// disposed of the clock.
bool moveAndTrigger(Clock &C, int64_t Time) {
  if (Time > C.Cycles)
    C.Cycles = Time;
  orvy_eventTrigger(C.Queue, C.Cycles);
  return !C.Disposed;
}

// Time

int step(void *Obj, uint64_t Steps) {
  Clock &C = clockOf(Obj);
  Use Guard(C);
  for (uint64_t Done = 0; Done < Steps; ++Done) {
    int64_t First = firstTime(C);
    if (First < 0)
      break;
    ++C.Steps;
    if (!moveAndTrigger(C, First))
      break;
  }
  return 0;
}

int stepUntil(void *Obj, uint64_t Steps, uint64_t Cycles) {
  Clock &C = clockOf(Obj);
  Use Guard(C);
  const int64_t Limit = orvy::clampedTime(Cycles);
  if (Steps == 0)
    return 0;
  for (uint64_t Done = 0;;) {
    int64_t First = firstTime(C);
    ++C.Steps;
    if (First < 0 || First >= Limit)
      break;
    if (!moveAndTrigger(C, First) || ++Done == Steps)
      return 0;
  }
  moveAndTrigger(C, Limit);
  return 0;
}

/// Empty: the queue paces real-time events before it calls their functions.
void syncEvent(orvy_Event *) {}

bool hasSyncEvent(const Clock &C) {
  const orvy_Event *Event = orvy::event::eventForId(C.SyncEvent);
  return Event && Event->Obj == &C && Event->Func == syncEvent; // all events may be depublished
}

void stopSync(const Clock &C) {
  if (hasSyncEvent(C))
    orvy_eventDeschedule(C.SyncEvent);
}

/// Starts pacing by the wall clock, if it is switched on.
void startSync(Clock &C) {
  stopSync(C);
  if (!C.EnableRT || !hasSyncEvent(C))
    return;
  auto Period = static_cast<int64_t>(C.SyncPeriod);
  orvy_eventSetPeriodCycles(C.SyncEvent, Period);
  orvy_eventSetRTPeriodNanos(C.SyncEvent, orvy_cyclesToNanos(Period, orvy::clockFreq(&C)));
  orvy_eventSetRealTime(C.SyncEvent);
  orvy_eventPostAbsoluteInQueueInternal(C.Queue, C.SyncEvent, orvy::clampedSum(C.Cycles, Period));
}

int advanceTo(Clock &C, int64_t Target) {
  Use Guard(C);
  startSync(C);
  while (C.Cycles < Target) {
    int64_t First = firstTime(C);
    // What is overdue, or on the stack, fires without moving time.
    if (!moveAndTrigger(C, First < 0 || First >= Target ? Target : First))
      return 0;
    ++C.Steps;
  }
  stopSync(C);
  return 0;
}

int advanceToCycles(void *Obj, uint64_t Cycles) {
  return advanceTo(clockOf(Obj), orvy::clampedTime(Cycles));
}

int advanceCycles(void *Obj, uint64_t Cycles) {
  Clock &C = clockOf(Obj);
  return advanceTo(C, orvy::clampedSum(C.Cycles, orvy::clampedTime(Cycles)));
}

// Getters and setters. Setting the time fires no events.

uint64_t getSteps(void *Obj) {
  return static_cast<uint64_t>(clockOf(Obj).Steps);
}
uint64_t getCycles(void *Obj) {
  return static_cast<uint64_t>(clockOf(Obj).Cycles);
}
double getFreq(void *Obj) {
  return clockOf(Obj).Freq;
}

uint64_t getNanos(void *Obj) {
  return static_cast<uint64_t>(orvy_cyclesToNanos(clockOf(Obj).Cycles, orvy::clockFreq(Obj)));
}

double getSecs(void *Obj) {
  return orvy_cyclesToSecs(clockOf(Obj).Cycles, orvy::clockFreq(Obj));
}

void setSteps(void *Obj, uint64_t Steps) {
  clockOf(Obj).Steps = static_cast<int64_t>(Steps);
}
void setCycles(void *Obj, uint64_t Cycles) {
  clockOf(Obj).Cycles = static_cast<int64_t>(Cycles);
}
void setFreq(void *Obj, double Freq) {
  clockOf(Obj).Freq = Freq;
}

void setNanos(void *Obj, uint64_t Nanos) {
  clockOf(Obj).Cycles =
      orvy_nanosToCycles(static_cast<int64_t>(Nanos), static_cast<uint64_t>(orvy::clockFreq(Obj)));
}

void setSecs(void *Obj, double Secs) {
  clockOf(Obj).Cycles = orvy_secsToCycles(orvy::clockFreq(Obj), Secs);
}

ClockIface ClockTable = {step,      stepUntil, advanceCycles, advanceToCycles, getSteps,
                         getCycles, getNanos,  getSecs,       setSteps,        setCycles,
                         setNanos,  setSecs,   getFreq,       setFreq};

// Events

void postCallback(void *Obj, orvy_ThreadSafeCb Cb, void *Arg) {
  orvy_postCallbackInQueue(clockOf(Obj).Queue, Cb, Arg);
}

void removeCallback(void *Obj, orvy_ThreadSafeCb Cb, void *Arg) {
  orvy_removeCallbackInQueue(clockOf(Obj).Queue, Cb, Arg);
}

void postAbsolute(void *Obj, int64_t EvId, int64_t Time) {
  const orvy_Event *Event = orvy::event::eventForId(EvId);
  if (Event && Event->Queue) {
    orvy_logWarning(Event->Obj, "absolute reposting of scheduled event");
    orvy_eventDeschedule(EvId);
  }
  orvy_eventPostAbsoluteInQueueInternal(clockOf(Obj).Queue, EvId, Time);
}

void postRelative(void *Obj, int64_t EvId, int64_t Delay) {
  Clock &C = clockOf(Obj);
  const orvy_Event *Event = orvy::event::eventForId(EvId);
  if (Event && Event->Queue) {
    orvy_logWarning(Event->Obj, "relative reposting of scheduled event %ld",
                    static_cast<long>(EvId));
    orvy_eventDeschedule(EvId);
  }
  orvy_eventPostAbsoluteInQueueInternal(C.Queue, EvId, orvy::clampedSum(Delay, C.Cycles));
}

void postOnStack(void *Obj, int64_t EvId) {
  orvy_eventStackPostInternal(clockOf(Obj).Queue, EvId);
}

EventIface EventTable = {postCallback, removeCallback, postAbsolute, postRelative, postOnStack};

void *ClassTable[] = {&ClockTable, &EventTable};

// Life

void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
  double Freq = 1000000000.0;
  uint64_t SyncPeriod = 0;
  const orvy_ArgSpec Specs[] = {
      {"freq", ovAK_Real, &Freq, 0, 0, "Frequency in Hz"},
      {"rtSyncFreq", ovAK_Number, &SyncPeriod, 0, INT64_MAX, "Cycles between synchronisations"},
      {}};
  if (orvy_readCreateArgs("Clock", Name, Argc, Args, Specs, ORVY_ARGS_LENIENT) != 0)
    return nullptr;
  auto *C = new Clock{};
  C->Freq = Freq;
  C->Queue = orvy_allocateEventQueue();
  C->SyncEvent = orvy_eventPublish("orvy.clockRTSyncEvent", C, syncEvent);
  if (SyncPeriod != 0) {
    C->SyncPeriod = SyncPeriod;
    const auto Period = static_cast<int64_t>(SyncPeriod);
    orvy_eventSetPeriodCycles(C->SyncEvent, Period);
    orvy_eventSetRealTime(C->SyncEvent);
    orvy_eventPostAbsoluteInQueueInternal(C->Queue, C->SyncEvent, Period);
  }
  return C;
}

void dispose(void *Obj) {
  Clock &C = clockOf(Obj);
  orvy_disposeEventQueue(C.Queue);
  C.Disposed = true;
  if (C.Uses == 0)
    delete &C;
}

orvy_Propval readEnableRT(void *Obj, int) {
  orvy_Propval Value{};
  Value.Typ = ovTY_U8;
  Value.u8 = clockOf(Obj).EnableRT;
  return Value;
}

void writeEnableRT(void *Obj, orvy_Propval Value, int) {
  clockOf(Obj).EnableRT = Value.u8;
}

/// The class publishes no ObjectIface, but checkpoints hold its queue.
constexpr ObjectIface SavedQueue = {
    [](void *Obj, const char *, void *Ctxt) { orvy_eventSerialise(clockOf(Obj).Queue, Ctxt); },
    [](void *Obj, const char *, void *Ctxt) { orvy_eventDeserialise(clockOf(Obj).Queue, Ctxt); },
    nullptr, nullptr, nullptr};

} // namespace

void orvy::clockmodel::registerClock() {
  orvy_Class *Cls = orvy_registerClass("Clock", create, dispose);
  if (!Cls)
    return;
  orvy_qualifyAs(Cls, ORVY_QUALIFIER_CLOCK);
  orvy_setVTable(Cls, ClassTable);
  orvy::objsys::fromHandle(Cls)->Saved = &SavedQueue;
  orvy_addProperty(Cls, "Cycles", offsetof(Clock, Cycles), ovTY_I64, 1, nullptr, nullptr,
                   "Tick count");
  orvy_addProperty(Cls, "Steps", offsetof(Clock, Steps), ovTY_I64, 1, nullptr, nullptr,
                   "Step count");
  orvy_addProperty(Cls, "config.freq", offsetof(Clock, Freq), ovTY_Double, 1, nullptr, nullptr,
                   "Frequency in Hz");
  orvy_addProperty(Cls, "config.syncFreq", offsetof(Clock, SyncPeriod), ovTY_U64, 1, nullptr,
                   nullptr, "Set frequency for sync event in Hz");
  orvy_addProperty(Cls, "config.enableRealTime", offsetof(Clock, EnableRT), ovTY_U8, 1,
                   writeEnableRT, readEnableRT, "Enable real-time syncing event");
  orvy_addInterface(Cls, "EventIface", "EventIface", &EventTable, 0, "Event interface");
  orvy_addInterface(Cls, "ClockIface", "ClockIface", &ClockTable, 0, "Clock interface");
}

void orvy::clockmodel::registerRTClock() {}
