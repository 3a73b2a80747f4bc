#include "orvy/Support/Simulator.h"

#include "Base/InternalError.h"
#include "Base/Saturation.h"
#include "Checkpoint/RunQuery.h"
#include "Events/EventQueue.h"
#include "Machine/Quantum.h"
#include "Machine/SimulatorState.h"
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
#include <cstddef>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

using namespace orvy::sim;

namespace {

std::unique_ptr<Simulator> gSimPtr;

// ObjectIface

bool isNamedBefore(const void *A, const void *B) {
  return std::strcmp(orvy_nameForObject(A), orvy_nameForObject(B)) < 0;
}

/// A checkpoint has the simulator's time as a property, and does not include its queue. The order of
/// the processors is added if it is not that of their names.
void serialise(void *, const char *, void *Ctxt) {
  const std::vector<void *> &Cpus = orvy::objsys::Class::getProcessors();
  if (!std::ranges::is_sorted(Cpus, isNamedBefore))
    orvy_serialiseProp(Ctxt, "processors", ovTY_Obj, static_cast<int>(Cpus.size()), Cpus.data());
}

void deserialise(void *, const char *, void *Ctxt) {
  std::vector<void *> &Cpus = orvy::objsys::Class::getProcessors();
  std::vector<void *> Ordered;
  int Count = orvy_checkpointGetLength(Ctxt, "processors");
  // Components have created their processors before others.
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
    Sim.StopFlag = 0; // ignore an earlier stop
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
    if (rejectNested(Sim, Sim.Runner == std::this_thread::get_id()))
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
  Sim->Super.TimeSource = nullptr; // which is disposed of
  Sim->setTime(0);
  Sim->CurrentCpu = 0;
  Sim->Turns.clear();
  Sim->ExitReason = ovCER_Normal;
  ++Sim->Resets; // ends a run in progress
}

namespace {

const objsys::Observer Cleared(nullptr, reset);
const bool IsRegistered = [] {
  checkpoint::addRunQuery([] { return orvy_simIsRunning() != 0; });
  return true;
}();

} // namespace

void addComponent(void *) {}

void addCpu(void *) {}

void simSigIntHandler(int) {
  if (gSimPtr)
    gSimPtr->requestStop();
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
  orvy::ensureQuantum(&Sim, Sim.Quanta);
  const auto Now = static_cast<uint64_t>(std::max<int64_t>(Sim.time(), 0));
  const uint64_t End = std::min<uint64_t>(Nanos, EndOfTime);
  if (End <= Now)
    return leave(Sim, ovCER_Normal);
  // A run ends with the first quantum that ends after its duration: here the quantum of the time.
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
  Sim.requestStop();
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
  return static_cast<uint64_t>(sim().time());
}

uint32_t orvy_simGetCurrentCpu(void) {
  return static_cast<uint32_t>(sim().CurrentCpu);
}

uint32_t orvy_simGetCpuCount(void) {
  return static_cast<uint32_t>(orvy_getProcessorCount());
}

void orvy_simSetQuanta(uint64_t Nanos) {
  sim().Quanta = static_cast<int64_t>(Nanos);
}
