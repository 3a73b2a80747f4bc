// The MachineIface of the simulator.

#include "Base/ActiveRun.h"
#include "Machine/SimulatorState.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Logging.h"

using namespace orvy::sim;

namespace {

void machineReset(void *, int Kind) {
  void *const *Cpus = orvy_getProcessors();
  size_t Count = orvy_getProcessorCount();
  for (size_t Index = 0; Index < Count; ++Index)
    orvy::cpuIface(Cpus[Index]).reset(Cpus[Index], Kind);
}

orvy_CpuExitReason machineRun(void *Obj, uint64_t Nanos) {
  if (rejectNested(simOf(Obj), simOf(Obj).InTurns))
    return ovCER_Normal;
  const orvy::ActiveRun Running;
  simOf(Obj).StopFlag = 0;
  return runFor(simOf(Obj), Nanos);
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
  simOf(Obj).requestStop();
}

} // namespace

bool orvy::sim::rejectNested(const Simulator &Sim, bool IsInside) {
  if (IsInside)
    orvy_logSimError(&Sim, "cannot run: a run is in progress on this thread");
  return IsInside;
}

orvy_CpuExitReason orvy::sim::machineStep(void *Obj, int Cpu, uint64_t Steps) {
  if (rejectNested(simOf(Obj), simOf(Obj).InTurns))
    return ovCER_Normal;
  const orvy::ActiveRun Running;
  simOf(Obj).StopFlag = 0;
  if (Cpu < 0)
    return leave(simOf(Obj), ovCER_Normal);
  return stepFor(simOf(Obj), static_cast<size_t>(Cpu), Steps);
}

MachineIface orvy::sim::MachineTable = {machineReset,           machineRun,      machineStep,
                                        machineGetCurrentCpu,   machineGetCpu,   machineGetTime,
                                        machineGetCurrentCpuId, machineAsyncStop};
