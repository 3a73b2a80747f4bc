// Turns of the processor: slices of instructions between events, and time without instructions.

#include "Cpu.h"

#include <algorithm>

namespace sparc {

namespace {

constexpr uint64_t MaxSlice = uint64_t(1) << 40;

/// The limits of a turn.
struct Turn {
  uint64_t Cycles;
  uint64_t Steps;
  bool Stepping;
  uint64_t Hops; ///< how often steps without a time limit may advance to the next event
};

const MemorySpaceIface *tableOfHooks(void *Space) {
  return Space ? static_cast<const MemorySpaceIface *>(
                     orvy_getInterface(Space, "MemorySpaceIface", 0))
               : nullptr;
}

void adoptSpace(Cpu *C) {
  bool Same =
      C->KnownSpace.Obj == C->MemorySpace.Obj && C->KnownSpace.Iface == C->MemorySpace.Iface;
  if (!Same) {
    forgetPages(C);
    C->Code->detachAll();
    C->KnownSpace = C->MemorySpace;
    C->KnownHooks = tableOfHooks(C->KnownSpace.Obj);
  }
  if (C->Code->isFull())
    C->Code->clear();
}

bool isStop(uint32_t Out) {
  return Out >= OC_Stop && Out <= OC_StopWrite;
}

void beginSlice(Cpu *C, uint64_t EndCycles, uint64_t EndSteps) {
  C->CyclesPerInstruction = std::max(C->CyclesPerInstruction, 1u);
  C->SliceEnd = EndCycles;
  uint64_t Cpi = C->CyclesPerInstruction;
  uint64_t Count = (EndCycles - C->Cycles - 1) / Cpi + 1;
  Count = std::min({Count, EndSteps - C->Steps, MaxSlice});
  C->StopsToPass = C->StoppedHere;
  if (C->StopsToPass)
    Count = 1;
  C->Left = int64_t(Count);
  C->CyclesAtEnd = C->Cycles + Count * Cpi;
  C->StepsAtEnd = C->Steps + Count;
}

/// Calls the engine. raiseTrapNoReturn can jump back to here.
uint32_t callEngine(Cpu *C) {
  jmp_buf Here;
  C->Leave = &Here;
  uint32_t Out = _setjmp(Here) ? outcomeOfCall(C) : execute(C);
  C->Leave = nullptr;
  return Out;
}

/// Runs instructions. All state is in the architectural fields afterwards.
uint32_t runSlice(Cpu *C) {
  makeLive(C);
  C->InProgress = true;
  uint32_t Out = callEngine(C);
  C->InProgress = false;
  if (Out == OC_Abandoned) {
    C->Cycles += C->CyclesPerInstruction;
    ++C->Steps;
    return Out;
  }
  if (isStop(Out))
    ++C->Left;
  storeLive(C);
  C->Live = false;
  return Out;
}

orvy_CpuExitReason breakReason(uint32_t Out) {
  switch (Out) {
  case OC_StopRead:
    return ovCER_BreakRead;
  case OC_StopWrite:
    return ovCER_BreakWrite;
  default:
    return ovCER_Break;
  }
}

/// Handles the end of a slice. Returns whether the turn continues; sets Reason if it does not.
bool finishSlice(Cpu *C, uint32_t Out, orvy_CpuExitReason *Reason) {
  C->StoppedHere = isStop(Out) ? uint8_t(Out - OC_Stop + 1) : 0;
  if (C->StoppedHere) {
    *Reason = breakReason(Out);
    return false;
  }
  if (C->TrapReturned) {
    C->TrapReturned = false;
    orvy_notify(C->TrapExit, nullptr);
  }
  if (Out < OC_Stop)
    enterTrap(C, Out);
  return true;
}

/// Whether the turn was asked to end; sets Reason if so.
bool isAskedToStop(Cpu *C, orvy_CpuExitReason *Reason) {
  if (!C->StopAfter)
    return false;
  *Reason = orvy_CpuExitReason(C->StopAfter);
  C->StopAfter = 0;
  return true;
}

/// Advances the time to the next event or the end of the turn without instructions. Steps without a
/// time limit may never end: returns false for them if no event is pending or their hops are used
/// up.
bool passTime(Cpu *C, Turn &T, int64_t FirstEvent) {
  bool Event = FirstEvent > int64_t(C->Cycles);
  if (T.Stepping && T.Cycles == NoLimit && (!Event || T.Hops-- == 0))
    return false;
  C->Cycles = Event ? std::min(T.Cycles, uint64_t(FirstEvent)) : T.Cycles;
  return true;
}

orvy_CpuExitReason turn(Cpu *C, Turn T) {
  bool WasHalted = C->Halted;
  orvy_CpuExitReason Reason = ovCER_Normal;
  if (WasHalted && C->Cycles >= T.Cycles)
    return ovCER_Normal;
  while (!C->Disposed) {
    int64_t FirstEvent = orvy_eventTrigger(C->Queue, int64_t(C->Cycles));
    WasHalted = WasHalted && C->Halted;
    if (isAskedToStop(C, &Reason))
      return Reason;
    if (C->Halted && (!WasHalted || T.Stepping || C->Cycles >= T.Cycles))
      return ovCER_Halt;
    if (C->Cycles >= T.Cycles || C->Steps >= T.Steps)
      return ovCER_Normal;
    if (!C->Halted)
      if (unsigned Level = pendingInterrupt(C))
        takeInterrupt(C, Level);
    if (C->Disposed) // by an event, or by a subscriber to the trap
      break;
    if (C->Halted || C->PoweredDown) {
      if (!passTime(C, T, FirstEvent))
        return ovCER_Normal;
      continue;
    }
    adoptSpace(C);
    FirstEvent = orvy_eventGetFirstTime(C->Queue);
    uint64_t End = FirstEvent < 0 ? T.Cycles : std::min(T.Cycles, uint64_t(FirstEvent));
    if (End <= C->Cycles)
      continue;
    beginSlice(C, End, T.Steps);
    const uint32_t Out = runSlice(C);
    if (C->Disposed || !finishSlice(C, Out, &Reason))
      return Reason;
  }
  return ovCER_Normal;
}

orvy_CpuExitReason guarded(Cpu *C, const Turn &T) {
  if (C->Running) {
    orvy_logError(C, "a run from within a run is refused");
    return ovCER_Normal;
  }
  C->Running = true;
  C->StopAfter = 0;
  orvy_CpuExitReason Reason = turn(C, T);
  C->Running = false;
  if (C->Disposed)
    destroy(C);
  return Reason;
}

} // namespace

void limitSlice(Cpu *C, uint64_t Cycles) {
  uint64_t Cpi = C->CyclesPerInstruction;
  uint64_t Next = C->CyclesAtEnd - uint64_t(C->Left) * Cpi;
  int64_t Needed = Cycles > Next ? int64_t((Cycles - Next - 1) / Cpi + 1) : 0;
  if (Needed >= C->Left)
    return;
  uint64_t Cut = uint64_t(C->Left - Needed);
  C->Left = Needed;
  C->StepsAtEnd -= Cut;
  C->CyclesAtEnd -= Cut * Cpi;
}

void stopTurn(Cpu *C, orvy_CpuExitReason Reason) {
  C->StopAfter = uint8_t(Reason);
  if (C->Live)
    limitSlice(C, 0);
}

void limitSliceToEvents(Cpu *C) {
  if (!C->Live)
    return;
  int64_t First = orvy_eventGetFirstTime(C->Queue);
  if (First >= 0)
    limitSlice(C, uint64_t(First));
}

orvy_CpuExitReason runTo(Cpu *C, uint64_t Cycles) {
  return guarded(C, {std::min(Cycles, NoLimit), UINT64_MAX, false, 0});
}

orvy_CpuExitReason stepTo(Cpu *C, uint64_t Steps, uint64_t Cycles) {
  uint64_t Last = Steps > UINT64_MAX - C->Steps ? UINT64_MAX : C->Steps + Steps;
  return guarded(C, {std::min(Cycles, NoLimit), Last, true, Steps});
}

} // namespace sparc
