// Run control of the simulator: the turns of the processors in quanta, runs and steps.

#include "Base/InternalError.h"
#include "Base/Saturation.h"
#include "Machine/Quantum.h"
#include "Machine/SimulatorState.h"
#include "Objsys/ObjectKinds.h"
#include "Objsys/ObjsysClass.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/Time.h"

#include <algorithm>

using namespace orvy::sim;

namespace {

/// The table of a processor, with defaults for null slots: such a processor stands still, and ends
/// a step.
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

/// The processor at an index, null past the last. Notices those created or disposed since the run
/// began.
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

/// The time as a cycle count. Clamps a negative time to 0.
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

/// Leaves during the turn of the processor before an index.
orvy_CpuExitReason leaveBefore(Simulator &Sim, size_t Next, orvy_CpuExitReason Reason) {
  Sim.CurrentCpu = static_cast<int32_t>(Next) - 1;
  return leave(Sim, Reason);
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

/// Runs a processor that is not the stepped one up to a limit, ignoring its breaks. Returns early if
/// it has halted.
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
    isBreak(Reason); // rejects an unknown reason
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

} // namespace

orvy_CpuExitReason orvy::sim::runFor(Simulator &Sim, uint64_t Nanos) {
  const InTurns Mark(Sim);
  const uint64_t Resets = Sim.Resets;
  orvy::ensureQuantum(&Sim, Sim.Quanta);
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

orvy_CpuExitReason orvy::sim::stepFor(Simulator &Sim, size_t Cpu, uint64_t Steps) {
  const InTurns Mark(Sim);
  const uint64_t Resets = Sim.Resets;
  orvy::ensureQuantum(&Sim, Sim.Quanta);
  collectTurns(Sim);
  const Turn *T = turnAt(Sim, Cpu);
  if (Steps == 0 || !T)
    return leave(Sim, ovCER_Normal);
  const Turn Stepped = *T;
  // Clamped, so that the difference to the steps done keeps its sign.
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
