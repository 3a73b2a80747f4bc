// ClockIface: the processor as a clock of a component.

#include "Cpu.h"

#include <algorithm>

namespace sparc {

namespace {

Cpu *cpu(void *Obj) {
  return static_cast<Cpu *>(Obj);
}

const CpuIface &running(void *Obj) {
  return **static_cast<CpuIface *const *>(orvy_getVTable(Obj));
}

int64_t frequency(void *Obj) {
  return int64_t(running(Obj).getFreq(Obj));
}

int64_t signedCycles(void *Obj) {
  return int64_t(cyclesOf(cpu(Obj)));
}

// Setters do not trigger events. They end the instruction in progress, because they change its
// time.

void endInstruction(Cpu *C) {
  if (C->Live)
    redirect(C);
}

void setCycles(void *Obj, uint64_t Cycles) {
  endInstruction(cpu(Obj));
  cpu(Obj)->Cycles = std::min(Cycles, NoLimit);
}

void setSteps(void *Obj, uint64_t Steps) {
  endInstruction(cpu(Obj));
  cpu(Obj)->Steps = Steps;
}

void setNanos(void *Obj, uint64_t Nanos) {
  int64_t Time = int64_t(std::min(Nanos, NoLimit));
  setCycles(Obj, uint64_t(orvy_nanosToCycles(Time, uint64_t(frequency(Obj)))));
}

void setSecs(void *Obj, double Secs) {
  setCycles(Obj, uint64_t(std::max<int64_t>(orvy_secsToCycles(frequency(Obj), Secs), 0)));
}

/// Reports no exit for a processor that was halted before the call, so that its group continues.
template <typename Function> int advance(void *Obj, Function Run) {
  const bool WasHalted = cpu(Obj)->Halted;
  const orvy_CpuExitReason Reason = Run();
  return WasHalted && Reason == ovCER_Halt ? 0 : int(Reason);
}

ClockIface TheClockIface = {
    .step = [](void *Obj, uint64_t Steps) { return int(running(Obj).step(Obj, Steps)); },
    .stepUntil = [](void *Obj, uint64_t Steps,
                    uint64_t Cycles) { return int(stepTo(cpu(Obj), Steps, Cycles)); },
    .advanceCycles =
        [](void *Obj, uint64_t Cycles) {
          return advance(Obj, [=] { return running(Obj).run(Obj, Cycles); });
        },
    .advanceToCycles =
        [](void *Obj, uint64_t Cycles) {
          return advance(Obj, [=] { return runTo(cpu(Obj), Cycles); });
        },
    .getSteps = [](void *Obj) { return stepsOf(cpu(Obj)); },
    .getCycles = [](void *Obj) { return cyclesOf(cpu(Obj)); },
    .getNanos =
        [](void *Obj) { return uint64_t(orvy_cyclesToNanos(signedCycles(Obj), frequency(Obj))); },
    .getSecs = [](void *Obj) { return orvy_cyclesToSecs(signedCycles(Obj), frequency(Obj)); },
    .setSteps = setSteps,
    .setCycles = setCycles,
    .setNanos = setNanos,
    .setSecs = setSecs,
    .getFreq = [](void *Obj) { return double(frequency(Obj)); },
    .setFreq =
        [](void *Obj, double Freq) {
          cpu(Obj)->Freq = Freq >= 1 && Freq < 0x1p63 ? uint64_t(Freq) : 1;
        },
};

} // namespace

void describeClock(orvy_Class *Cls) {
  orvy_addInterface(Cls, "ClockIface", "ClockIface", &TheClockIface, 0,
                    "The processor as a clock of a component");
}

} // namespace sparc
