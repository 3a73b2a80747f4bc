#include "orvy/Support/Simulator.h"

#include "Base/ActiveRun.h"
#include "Base/InternalError.h"
#include "Base/Saturation.h"
#include "Checkpoint/RunQuery.h"
#include "Events/EventQueue.h"
#include "Objsys/ObjectKinds.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/Observers.h"

#include "orvy/Support/Checkpoint.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Notifications.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Properties.h"
#include "orvy/Support/Time.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr int64_t EndOfTime = orvy::endOfTime(false);
constexpr int64_t DefaultQuanta = 1000000; // 1 ms

/// A processor as a run sees it.
struct Turn {
  void *Cpu;
  CpuIface Iface; // without null slots where a run calls it
  uint64_t Freq;
};

struct Simulator {
  orvy_Object Super;
  orvy_EventQueue *Queue; // first field of every queue holder; in nanoseconds
  int64_t Time;           // start of the present quantum
  int64_t Quanta;
  double TimeDistributionInterval;
  int64_t SyncEvent;
  int64_t StartNotification;
  int64_t StopNotification;
  int64_t WCTSyncInterval;
  double WCTFactor;
  int64_t WCTSyncEvent;
  uint8_t WCTSlaving;
  uint8_t SyncFrames;
  uint8_t SyncFrameId;
  uint8_t IsMaster;
  uint8_t StopOnHalt;
  uint8_t StopOnBreak;
  int32_t CurrentCpu;
  std::atomic<int32_t> StopFlag;
  std::mutex RunMutex; // held for the whole of a run or step
  std::atomic<std::thread::id> Runner;
  bool Running;                    // guarded by StateMutex
  std::recursive_mutex StateMutex; // a run callback may ask for the state
  std::condition_variable_any StateChanged;
  std::atomic<orvy_CpuExitReason> ExitReason;
  bool InTurns;    // a run or step is in progress, also one through MachineIface
  uint64_t Resets; // by which a run finds out that the system was cleared under it
  std::vector<Turn> Turns;

  ~Simulator() { orvy_disposeEventQueue(Queue); }

  // Other threads read the time.
  int64_t time() { return std::atomic_ref<int64_t>(Time).load(std::memory_order_relaxed); }
  void setTime(int64_t T) { std::atomic_ref<int64_t>(Time).store(T, std::memory_order_relaxed); }
};

static_assert(offsetof(Simulator, Queue) == sizeof(orvy_Object));
static_assert(std::atomic<int32_t>::is_always_lock_free, "stores from signal handlers");

std::unique_ptr<Simulator> gSimPtr;

Simulator &simOf(void *Obj) {
  return *static_cast<Simulator *>(Obj);
}

// Run control

/// The table of a processor with what it does not implement filled: it stands still, and ends a
/// step.
CpuIface filled(void *Cpu) {
  CpuIface Table = orvy::cpuIface(Cpu);
  if (!Table.getFreq || !Table.runUntil)
    orvy_logError(Cpu, "does not implement CpuIface.%s, and so takes no part in the run",
                  Table.getFreq ? "runUntil" : "getFreq");
  if (!Table.getFreq)
    Table.getFreq = [](void *) { return uint64_t{1}; };
  if (!Table.runUntil)
    Table.runUntil = [](void *, uint64_t) { return ovCER_Normal; };
  if (!Table.getSteps)
    Table.getSteps = [](void *) { return uint64_t{0}; };
  if (!Table.stepUntil)
    Table.stepUntil = [](void *Obj, uint64_t, uint64_t) {
      orvy_logError(Obj, "does not implement CpuIface.stepUntil");
      return ovCER_Halt;
    };
  return Table;
}

void collectTurns(Simulator &Sim) {
  Sim.Turns.clear();
  void *const *Cpus = orvy_getProcessors();
  size_t Count = orvy_getProcessorCount();
  for (size_t Index = 0; Index < Count; ++Index) {
    const CpuIface Iface = filled(Cpus[Index]);
    Sim.Turns.push_back({Cpus[Index], Iface, Iface.getFreq(Cpus[Index])});
  }
}

/// The processor at an index, taking account of those created or disposed since the run began; null
/// past the last.
const Turn *turnAt(Simulator &Sim, size_t Index) {
  size_t Count = orvy_getProcessorCount();
  if (Index >= Count)
    return nullptr;
  if (Sim.Turns.size() != Count || Sim.Turns[Index].Cpu != orvy_getProcessors()[Index])
    collectTurns(Sim);
  return &Sim.Turns[Index];
}

/// Index of the turn after that of a processor, which may have disposed of itself or others.
size_t indexAfter(const void *Cpu, size_t Index) {
  const std::vector<void *> &Cpus = orvy::objsys::Class::getProcessors();
  if (Index < Cpus.size() && Cpus[Index] == Cpu)
    return Index + 1;
  const auto Found = std::ranges::find(Cpus, Cpu);
  return Found == Cpus.end() ? Index : static_cast<size_t>(Found - Cpus.begin()) + 1;
}

bool isProcessor(const void *Cpu) {
  return std::ranges::count(orvy::objsys::Class::getProcessors(), Cpu) != 0;
}

size_t firstTurn(const Simulator &Sim) {
  return Sim.CurrentCpu < 0 ? 0 : static_cast<size_t>(Sim.CurrentCpu);
}

/// A time before the start, which the property can be given, is none to run to.
uint64_t cycleLimit(int64_t Nanos, const Turn &T) {
  return static_cast<uint64_t>(orvy_nanosToCycles(std::max<int64_t>(Nanos, 0), T.Freq));
}

bool isBreak(orvy_CpuExitReason Reason) {
  switch (Reason) {
  case ovCER_Break:
  case ovCER_BreakRead:
  case ovCER_BreakWrite:
    return true;
  case ovCER_Normal:
  case ovCER_Halt:
    return false;
  }
  ORVY_INTERNAL_ERROR("unknown cpu return status");
}

orvy_CpuExitReason leave(Simulator &Sim, orvy_CpuExitReason Reason) {
  Sim.ExitReason = Reason;
  return Reason;
}

/// Leaves with the turn of a processor, which is the one before an index.
orvy_CpuExitReason leaveBefore(Simulator &Sim, size_t Next, orvy_CpuExitReason Reason) {
  Sim.CurrentCpu = static_cast<int32_t>(Next) - 1;
  return leave(Sim, Reason);
}

/// A time without quanta would stand still; the default is taken, said, and shown by the property.
void needQuanta(Simulator &Sim) {
  if (Sim.Quanta >= 1)
    return;
  Sim.Quanta = DefaultQuanta;
  orvy_logSimWarning(&Sim, "quanta is not set, running in quanta of %ld ns",
                     static_cast<long>(Sim.Quanta));
}

/// The turns of one quantum of a run. Returns the reason to stop in the middle of it, or normal.
orvy_CpuExitReason runQuantum(Simulator &Sim, int64_t End) {
  const uint64_t Resets = Sim.Resets;
  size_t Index = firstTurn(Sim);
  while (const Turn *T = turnAt(Sim, Index)) {
    void *Cpu = T->Cpu;
    orvy_CpuExitReason Reason = T->Iface.runUntil(Cpu, cycleLimit(End, *T));
    if (Sim.Resets != Resets)
      return ovCER_Normal;
    Index = indexAfter(Cpu, Index);
    if (Reason == ovCER_Normal)
      continue;
    const bool Stops = isBreak(Reason) ? Sim.StopOnBreak : Sim.StopOnHalt;
    if (Stops && isProcessor(Cpu))
      return leaveBefore(Sim, Index, Reason);
  }
  return ovCER_Normal;
}

/// Marks that a run or step is in progress on this thread.
class InTurns {
public:
  explicit InTurns(Simulator &Sim)
      : Sim(Sim), Outer(Sim.Runner.exchange(std::this_thread::get_id())) {
    Sim.InTurns = true;
  }
  ~InTurns() {
    Sim.InTurns = false;
    Sim.Runner = Outer;
  }
  InTurns(const InTurns &) = delete;
  InTurns &operator=(const InTurns &) = delete;

private:
  Simulator &Sim;
  std::thread::id Outer;
};

/// Runs without touching the stop flag, which the caller has cleared.
orvy_CpuExitReason runFor(Simulator &Sim, uint64_t Nanos) {
  const InTurns Mark(Sim);
  const uint64_t Resets = Sim.Resets;
  needQuanta(Sim);
  collectTurns(Sim);
  int64_t Start = Sim.time();
  auto End = static_cast<int64_t>(static_cast<uint64_t>(Start) + Nanos);
  if (End < Start) {
    orvy_logSimWarning(&Sim,
                       "nothing is run: the time is negative, or leads beyond the end of time");
    return leave(Sim, ovCER_Normal);
  }
  for (int64_t Now = Start;;) {
    Sim.setTime(Now);
    int64_t Next = orvy::clampedSum(Now, Sim.Quanta);
    if (orvy_CpuExitReason Reason = runQuantum(Sim, Next); Reason != ovCER_Normal)
      return Reason;
    if (Sim.Resets == Resets)
      Sim.Queue->trigger(Next);
    if (Sim.Resets != Resets)
      return leave(Sim, ovCER_Normal);
    Sim.CurrentCpu = 0;
    if (Sim.StopFlag.load(std::memory_order_relaxed) || End < Next || Next == EndOfTime)
      return leave(Sim, ovCER_Normal);
    Now = Next;
  }
}

/// Runs a processor that is not the stepped one up to a limit, over its breaks. One that has come
/// to rest before it, halted, is left there.
void follow(Turn T, uint64_t Limit) {
  for (;;) {
    uint64_t Before = T.Iface.getSteps(T.Cpu);
    orvy_CpuExitReason Reason = T.Iface.runUntil(T.Cpu, Limit);
    if (Reason == ovCER_Normal || !isProcessor(T.Cpu))
      return;
    if (!isBreak(Reason) && T.Iface.getSteps(T.Cpu) == Before)
      return;
  }
}

/// End of a quantum of a step: the simulator's own events fire at their exact time.
int64_t stepQuantumEnd(Simulator &Sim, int64_t Now) {
  int64_t Next = orvy::clampedSum(Now, Sim.Quanta);
  const orvy::event::EventHeap &Heap = Sim.Queue->Heap;
  if (!Heap.empty() && Heap.rootTime() < Next)
    Next = std::max(Heap.rootTime(), Now);
  return Next;
}

/// The turns of one quantum of a step.
orvy_CpuExitReason stepQuantum(Simulator &Sim, void *Stepped, uint64_t StepsEnd, int64_t End) {
  const uint64_t Resets = Sim.Resets;
  for (size_t Index = firstTurn(Sim); const Turn *T = turnAt(Sim, Index);) {
    void *Cpu = T->Cpu;
    const uint64_t Limit = cycleLimit(End, *T);
    orvy_CpuExitReason Reason = ovCER_Normal;
    if (Cpu != Stepped)
      follow(*T, Limit);
    else
      Reason = T->Iface.stepUntil(Cpu, StepsEnd - T->Iface.getSteps(Cpu), Limit);
    if (Sim.Resets != Resets)
      return ovCER_Normal;
    Index = indexAfter(Cpu, Index);
    isBreak(Reason); // refuses a reason that does not exist
    if (Reason != ovCER_Normal && isProcessor(Cpu))
      return leaveBefore(Sim, Index, Reason);
  }
  return ovCER_Normal;
}

/// Whether a step is over: its steps are done, or its processor has gone.
bool isStepped(const Turn &Stepped, uint64_t StepsEnd) {
  return !isProcessor(Stepped.Cpu) ||
         static_cast<int64_t>(StepsEnd - Stepped.Iface.getSteps(Stepped.Cpu)) <= 0;
}

orvy_CpuExitReason stepFor(Simulator &Sim, size_t Cpu, uint64_t Steps) {
  const InTurns Mark(Sim);
  const uint64_t Resets = Sim.Resets;
  needQuanta(Sim);
  collectTurns(Sim);
  const Turn *T = turnAt(Sim, Cpu);
  if (Steps == 0 || !T)
    return leave(Sim, ovCER_Normal);
  const Turn Stepped = *T;
  // As many as can be told from too many.
  uint64_t StepsEnd = Stepped.Iface.getSteps(Stepped.Cpu) + std::min<uint64_t>(Steps, EndOfTime);
  for (int64_t Now = Sim.time();;) {
    Sim.setTime(Now);
    int64_t Next = stepQuantumEnd(Sim, Now);
    if (orvy_CpuExitReason Reason = stepQuantum(Sim, Stepped.Cpu, StepsEnd, Next);
        Reason != ovCER_Normal)
      return Reason;
    if (Sim.Resets == Resets)
      Sim.Queue->trigger(Next);
    if (Sim.Resets != Resets)
      return leave(Sim, ovCER_Normal);
    Sim.CurrentCpu = 0;
    if (isStepped(Stepped, StepsEnd) || Sim.StopFlag.load(std::memory_order_relaxed) ||
        Next == EndOfTime)
      return leave(Sim, ovCER_Normal);
    Now = Next;
  }
}

// MachineIface

void machineReset(void *, int Kind) {
  void *const *Cpus = orvy_getProcessors();
  size_t Count = orvy_getProcessorCount();
  for (size_t Index = 0; Index < Count; ++Index)
    orvy::cpuIface(Cpus[Index]).reset(Cpus[Index], Kind);
}

/// Refuses a run from inside a run, which would wait for itself.
bool refuse(const Simulator &Sim, bool IsInside) {
  if (IsInside)
    orvy_logSimError(&Sim, "cannot run: a run is in progress on this thread");
  return IsInside;
}

orvy_CpuExitReason machineRun(void *Obj, uint64_t Nanos) {
  if (refuse(simOf(Obj), simOf(Obj).InTurns))
    return ovCER_Normal;
  const orvy::ActiveRun Running;
  simOf(Obj).StopFlag = 0;
  return runFor(simOf(Obj), Nanos);
}

orvy_CpuExitReason machineStep(void *Obj, int Cpu, uint64_t Steps) {
  if (refuse(simOf(Obj), simOf(Obj).InTurns))
    return ovCER_Normal;
  const orvy::ActiveRun Running;
  simOf(Obj).StopFlag = 0;
  if (Cpu < 0)
    return leave(simOf(Obj), ovCER_Normal);
  return stepFor(simOf(Obj), static_cast<size_t>(Cpu), Steps);
}

orvy_IfaceRef machineGetCpu(void *, uint32_t Index) {
  if (Index >= orvy_getProcessorCount())
    return {nullptr, nullptr};
  void *Cpu = orvy_getProcessors()[Index];
  return {Cpu, const_cast<CpuIface *>(&orvy::cpuIface(Cpu))};
}

orvy_IfaceRef machineGetCurrentCpu(void *Obj) {
  return machineGetCpu(Obj, static_cast<uint32_t>(simOf(Obj).CurrentCpu));
}

uint64_t machineGetTime(void *Obj) {
  return static_cast<uint64_t>(simOf(Obj).time());
}

uint32_t machineGetCurrentCpuId(void *Obj) {
  return static_cast<uint32_t>(simOf(Obj).CurrentCpu);
}

void machineAsyncStop(void *Obj) {
  simOf(Obj).StopFlag.store(1, std::memory_order_relaxed);
}

MachineIface MachineTable = {machineReset,           machineRun,      machineStep,
                             machineGetCurrentCpu,   machineGetCpu,   machineGetTime,
                             machineGetCurrentCpuId, machineAsyncStop};

// ObjectIface

bool isNamedBefore(const void *A, const void *B) {
  return std::strcmp(orvy_nameForObject(A), orvy_nameForObject(B)) < 0;
}

/// A checkpoint has the simulator's time as a property; its queue is no part of it. The order of
/// the processors is added where it is not that of their names.
void serialise(void *, const char *, void *Ctxt) {
  const std::vector<void *> &Cpus = orvy::objsys::Class::getProcessors();
  if (!std::ranges::is_sorted(Cpus, isNamedBefore))
    orvy_serialiseProp(Ctxt, "processors", ovTY_Obj, static_cast<int>(Cpus.size()), Cpus.data());
}

void deserialise(void *, const char *, void *Ctxt) {
  std::vector<void *> &Cpus = orvy::objsys::Class::getProcessors();
  std::vector<void *> Ordered;
  int Count = orvy_checkpointGetLength(Ctxt, "processors");
  // Components have created theirs ahead of others.
  if (Count < 0)
    std::ranges::sort(Cpus, isNamedBefore);
  else
    Ordered.reserve(static_cast<size_t>(Count));
  for (int Idx = 0; Idx < Count; ++Idx)
    Ordered.push_back(orvy_checkpointGetValue(Ctxt, "processors", static_cast<uint32_t>(Idx)).Obj);
  if (std::is_permutation(Ordered.begin(), Ordered.end(), Cpus.begin(), Cpus.end()))
    Cpus = std::move(Ordered);
  else if (Count >= 0)
    orvy_logSimError(gSimPtr.get(), "the checkpoint has an order of other processors");
}

struct ScaledFreq {
  double Value;
  char Unit;
};

ScaledFreq scaled(uint64_t Freq) {
  auto Value = static_cast<double>(Freq);
  if (Freq >= 1000000000)
    return {Value / 1e9, 'G'};
  if (Freq >= 1000000)
    return {Value / 1e6, 'M'};
  if (Freq >= 1000)
    return {Value / 1e3, 'k'};
  return {Value, ' '};
}

void printCpu(orvy::OutStream &Out, size_t Index, void *Cpu) {
  ScaledFreq Freq = scaled(orvy_cpuGetFreq(Cpu));
  const char *Name = orvy_nameForObject(Cpu);
  Out << "\tcpu " << static_cast<unsigned long>(Index) << ": " << (Name ? Name : "")
      << ", time: " << static_cast<long>(orvy_getCycles(Cpu)) << " cycles, "
      << static_cast<long>(orvy_getNanos(Cpu)) << " ns, " << orvy_getSecs(Cpu)
      << " s, freq: " << Freq.Value << " " << Freq.Unit << "Hz\n";
}

void printObject(void *Obj) {
  orvy::OutStream &Out = orvy::outs();
  int64_t Time = simOf(Obj).time();
  Out << "Simulator\n";
  Out << "\tCurrent time: " << orvy_nanosToSecs(Time) << " s / " << static_cast<long>(Time)
      << " ns\n";
  size_t Count = orvy_getProcessorCount();
  for (size_t Index = 0; Index < Count; ++Index)
    printCpu(Out, Index, orvy_getProcessors()[Index]);
}

ObjectIface ObjectTable = {serialise, deserialise, nullptr, nullptr, printObject};

// Life

/// A sync event posts itself again after its interval, on the simulator's queue.
void postAgain(orvy_Event *Event, double Secs) {
  Simulator &Sim = simOf(Event->Obj);
  orvy_eventPostAbsoluteInQueueInternal(Sim.Queue, Event->EventId,
                                        orvy::clampedSum(Event->Time, orvy_secsToNanos(Secs)));
}

void syncEvent(orvy_Event *Event) {
  postAgain(Event, simOf(Event->Obj).TimeDistributionInterval);
}

void wctSyncEvent(orvy_Event *Event) {
  postAgain(Event, static_cast<double>(simOf(Event->Obj).WCTSyncInterval));
}

void *create(const char *Name, int, const orvy_CreateArg *) {
  if (gSimPtr) {
    orvy_logError(nullptr, "'%s': the simulator is the object 'sim', there is no other", Name);
    return nullptr;
  }
  gSimPtr.reset(new Simulator{});
  Simulator *Sim = gSimPtr.get();
  Sim->Queue = orvy_allocateEventQueue();
  Sim->StopOnHalt = 1;
  Sim->StopOnBreak = 1;
  Sim->SyncEvent = orvy_eventPublish("simulator.syncEvent", Sim, syncEvent);
  Sim->WCTSyncEvent = orvy_eventPublish("simulator.wctSyncEvent", Sim, wctSyncEvent);
  Sim->StartNotification = orvy_publishNotification("orvy.sim-start", Sim);
  Sim->StopNotification = orvy_publishNotification("orvy.sim-stop", Sim);
  return Sim;
}

void dispose(void *) {
  gSimPtr.reset();
}

void addProperties(orvy_Class *Cls) {
  const struct {
    const char *Name;
    size_t Offset;
    orvy_Type Type;
  } Properties[] = {
      {"time", offsetof(Simulator, Time), ovTY_I64},
      {"quanta", offsetof(Simulator, Quanta), ovTY_I64},
      {"timeDistributionInterval", offsetof(Simulator, TimeDistributionInterval), ovTY_Double},
      {"WCTSyncInterval", offsetof(Simulator, WCTSyncInterval), ovTY_I64},
      {"WCTFactor", offsetof(Simulator, WCTFactor), ovTY_Double},
      {"WCTSlaving", offsetof(Simulator, WCTSlaving), ovTY_U8},
      {"SyncFrames", offsetof(Simulator, SyncFrames), ovTY_U8},
      {"SyncFrameId", offsetof(Simulator, SyncFrameId), ovTY_U8},
      {"isMaster", offsetof(Simulator, IsMaster), ovTY_U8},
      {"stopOnHalt", offsetof(Simulator, StopOnHalt), ovTY_U8},
      {"stopOnBreak", offsetof(Simulator, StopOnBreak), ovTY_U8},
      {"currentCPU", offsetof(Simulator, CurrentCpu), ovTY_I32},
  };
  for (const auto &P : Properties)
    orvy_addProperty(Cls, P.Name, static_cast<int>(P.Offset), P.Type, 1, nullptr, nullptr, "");
}

/// The simulator, looked up once; it exists from library start on.
Simulator &sim() {
  static void *const Obj = orvy_objectForName("sim");
  ORVY_REQUIRE(Obj);
  return simOf(Obj);
}

void setRunning(Simulator &Sim, bool Running) {
  std::lock_guard<std::recursive_mutex> Guard(Sim.StateMutex);
  if (Running)
    Sim.StopFlag = 0; // a stop that came before is forgotten, one that comes from now on counts
  Sim.Running = Running;
  Sim.StateChanged.notify_all();
}

void notify(int64_t Id) {
  if (Id != 0)
    orvy_notify(Id, nullptr);
}

/// Holds the run mutex.
class RunGuard {
public:
  explicit RunGuard(Simulator &Sim) : Sim(Sim) {
    if (refuse(Sim, Sim.Runner == std::this_thread::get_id()))
      return;
    Lock = std::unique_lock<std::mutex>(Sim.RunMutex);
    Sim.Runner = std::this_thread::get_id();
  }
  ~RunGuard() {
    if (Lock)
      Sim.Runner = std::thread::id();
  }
  RunGuard(const RunGuard &) = delete;
  RunGuard &operator=(const RunGuard &) = delete;
  explicit operator bool() const { return static_cast<bool>(Lock); }

private:
  Simulator &Sim;
  std::unique_lock<std::mutex> Lock;
};

} // namespace

namespace orvy::sim {

void registerAndCreateSimulatorObject() {
  if (gSimPtr)
    return;
  orvy_Class *Cls = orvy_registerClass("Simulator", create, dispose);
  addProperties(Cls);
  orvy_addInterface(Cls, "MachineIface", "MachineIface", &MachineTable, 0, "");
  orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &ObjectTable, 0, "");
  orvy_createObject("Simulator", "sim", nullptr);
}

void reset() {
  Simulator *Sim = gSimPtr.get();
  if (!Sim)
    return;
  orvy_disposeEventQueue(Sim->Queue);
  Sim->Queue = orvy_allocateEventQueue();
  static bool Renamed = false;
  if (!std::exchange(Renamed, true)) {
    Sim->SyncEvent = orvy_eventPublish("sim.syncEvent", Sim, syncEvent);
    Sim->WCTSyncEvent = orvy_eventPublish("sim.wctSyncEvent", Sim, wctSyncEvent);
  }
  Sim->Super.TimeSource = nullptr; // which has gone
  Sim->setTime(0);
  Sim->CurrentCpu = 0;
  Sim->Turns.clear();
  Sim->ExitReason = ovCER_Normal;
  ++Sim->Resets; // ends a run in progress
}

namespace {

const objsys::Observer Cleared(nullptr, reset);
const bool IsAsked = [] {
  checkpoint::addRunQuery([] { return orvy_simIsRunning() != 0; });
  return true;
}();

} // namespace

void addComponent(void *) {}

void addCpu(void *) {}

void simSigIntHandler(int) {
  if (gSimPtr)
    machineAsyncStop(gSimPtr.get());
}

} // namespace orvy::sim

orvy_CpuExitReason orvy_simRunNanos(uint64_t Nanos) {
  Simulator &Sim = sim();
  RunGuard Guard(Sim);
  if (!Guard)
    return ovCER_Normal;
  setRunning(Sim, true);
  notify(Sim.StartNotification);
  orvy_CpuExitReason Reason = runFor(Sim, Nanos);
  setRunning(Sim, false);
  Sim.Queue->runCallbacks();
  notify(Sim.StopNotification);
  return Reason;
}

orvy_CpuExitReason orvy_simRunUntil(uint64_t Nanos) {
  Simulator &Sim = sim();
  needQuanta(Sim);
  const auto Now = static_cast<uint64_t>(std::max<int64_t>(Sim.time(), 0));
  const uint64_t End = std::min<uint64_t>(Nanos, EndOfTime);
  if (End <= Now)
    return leave(Sim, ovCER_Normal);
  // A run goes on until a quantum ends after its duration: the last one here is the one that the
  // time lies in.
  const auto Quanta = static_cast<uint64_t>(Sim.Quanta);
  return orvy_simRunNanos((End - Now - 1) / Quanta * Quanta);
}

orvy_CpuExitReason orvy_simRunSecs(double Secs) {
  return orvy_simRunNanos(static_cast<uint64_t>(orvy_secsToNanos(Secs)));
}

orvy_CpuExitReason orvy_simRunCycles(int32_t Cpu, uint64_t Cycles) {
  if (Cpu < 0 || static_cast<uint32_t>(Cpu) >= orvy_simGetCpuCount())
    return ovCER_Normal;
  auto Freq = static_cast<int64_t>(orvy_cpuGetFreq(orvy_getProcessors()[Cpu]));
  return orvy_simRunNanos(
      static_cast<uint64_t>(orvy_cyclesToNanos(static_cast<int64_t>(Cycles), Freq)));
}

orvy_CpuExitReason orvy_simStep(int32_t Cpu, uint64_t Steps) {
  Simulator &Sim = sim();
  RunGuard Guard(Sim);
  return Guard ? machineStep(&Sim, Cpu, Steps) : ovCER_Normal;
}

void orvy_simStop(void) {
  Simulator &Sim = sim();
  std::unique_lock<std::recursive_mutex> Lock(Sim.StateMutex);
  if (Sim.Running && Sim.Runner == std::this_thread::get_id())
    ORVY_INTERNAL_ERROR("orvy_simStop on the thread of the run would wait for itself; there, "
                        "asyncStop of MachineIface stops the run");
  machineAsyncStop(&Sim);
  Sim.StateChanged.wait(Lock, [&Sim] { return !Sim.Running; });
}

void orvy_simRunCallback(orvy_ThreadSafeCb Cb, void *Arg) {
  ORVY_REQUIRE_FUNCTION(Cb);
  Simulator &Sim = sim();
  std::lock_guard<std::recursive_mutex> Guard(Sim.StateMutex);
  if (Sim.Running)
    Sim.Queue->postCallback(Cb, Arg);
  else
    Cb(Arg);
}

uint8_t orvy_simIsRunning(void) {
  Simulator &Sim = sim();
  std::lock_guard<std::recursive_mutex> Guard(Sim.StateMutex);
  return Sim.Running;
}

orvy_CpuExitReason orvy_simGetExitReason(void) {
  return sim().ExitReason;
}

uint64_t orvy_simGetTime(void) {
  return machineGetTime(&sim());
}

uint32_t orvy_simGetCurrentCpu(void) {
  return machineGetCurrentCpuId(&sim());
}

uint32_t orvy_simGetCpuCount(void) {
  return static_cast<uint32_t>(orvy_getProcessorCount());
}

void orvy_simSetQuanta(uint64_t Nanos) {
  sim().Quanta = static_cast<int64_t>(Nanos);
}
