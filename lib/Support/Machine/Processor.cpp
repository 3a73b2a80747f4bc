#include "orvy/Support/Processor.h"

#include "Base/ActiveRun.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Propval.h"

#include <bit>

using namespace orvy;

namespace {

/// Counter of an instruction class, at the place in the object that the boundary fixes.
uint64_t &iclassCounter(void *Cpu, uint32_t Class) {
  return static_cast<uint64_t *>(Cpu)[ORVY_CPU_ICLASS_WORD + Class];
}

uint64_t quantaStart(void *Machine) {
  orvy_Propval Value = orvy_getValue(Machine, "quantaStart", -1);
  return orvy_isNumber(Value) ? orvy_asUnsigned(Value) : 0;
}

const LineDataLoggerIface *lineData(void *Obj) {
  return static_cast<const LineDataLoggerIface *>(orvy_getInterface(Obj, "LineDataLoggerIface", 0));
}

} // namespace

uint64_t orvy_cpuGetFreq(void *Cpu) {
  return ORVY_CALL(CpuIface, getFreq, Cpu, cpuIface(Cpu));
}

uint64_t orvy_cpuGetReg(void *Cpu, uint32_t Reg) {
  return ORVY_CALL(CpuIface, getGpr, Cpu, cpuIface(Cpu), Reg);
}

void orvy_cpuSetReg(void *Cpu, uint32_t Reg, uint64_t Value) {
  ORVY_CALL(CpuIface, setGpr, Cpu, cpuIface(Cpu), Reg, Value);
}

float orvy_cpuGetFpr32(void *Cpu, uint32_t Reg) {
  return std::bit_cast<float>(orvy_cpuGetFpr32Bits(Cpu, Reg));
}

uint32_t orvy_cpuGetFpr32Bits(void *Cpu, uint32_t Reg) {
  return ORVY_CALL(CpuIface, getFpr32, Cpu, cpuIface(Cpu), Reg);
}

void orvy_cpuSetFpr32(void *Cpu, uint32_t Reg, float Value) {
  orvy_cpuSetFpr32Bits(Cpu, Reg, std::bit_cast<uint32_t>(Value));
}

void orvy_cpuSetFpr32Bits(void *Cpu, uint32_t Reg, uint32_t Bits) {
  ORVY_CALL(CpuIface, setFpr32, Cpu, cpuIface(Cpu), Reg, Bits);
}

double orvy_cpuGetFpr64(void *Cpu, uint32_t Reg) {
  return std::bit_cast<double>(orvy_cpuGetFpr64Bits(Cpu, Reg));
}

uint64_t orvy_cpuGetFpr64Bits(void *Cpu, uint32_t Reg) {
  return ORVY_CALL(CpuIface, getFpr64, Cpu, cpuIface(Cpu), Reg);
}

void orvy_cpuSetFpr64(void *Cpu, uint32_t Reg, double Value) {
  orvy_cpuSetFpr64Bits(Cpu, Reg, std::bit_cast<uint64_t>(Value));
}

void orvy_cpuSetFpr64Bits(void *Cpu, uint32_t Reg, uint64_t Bits) {
  ORVY_CALL(CpuIface, setFpr64, Cpu, cpuIface(Cpu), Reg, Bits);
}

int64_t orvy_cpuRun(void *Cpu, uint64_t Cycles) {
  const CpuIface &Iface = cpuIface(Cpu);
  uint64_t End = ORVY_CALL(CpuIface, getCycles, Cpu, Iface) + Cycles;
  const ActiveRun Running;
  ORVY_CALL(CpuIface, run, Cpu, Iface, Cycles);
  return static_cast<int64_t>(End - ORVY_CALL(CpuIface, getCycles, Cpu, Iface));
}

int64_t orvy_cpuStep(void *Cpu, uint64_t Steps) {
  const CpuIface &Iface = cpuIface(Cpu);
  uint64_t End = ORVY_CALL(CpuIface, getSteps, Cpu, Iface) + Steps;
  const ActiveRun Running;
  ORVY_CALL(CpuIface, step, Cpu, Iface, Steps);
  return static_cast<int64_t>(End - ORVY_CALL(CpuIface, getSteps, Cpu, Iface));
}

uint32_t orvy_cpuTranslateAddress(void *Cpu, uint64_t Va, uint32_t Flags, uint64_t *Pa) {
  ORVY_REQUIRE(Pa);
  *Pa = ORVY_CALL(CpuIface, translateAddress, Cpu, cpuIface(Cpu), Va, &Flags);
  return Flags;
}

void orvy_cpuReset(void *Cpu, int Kind) {
  ORVY_CALL(CpuIface, reset, Cpu, cpuIface(Cpu), Kind);
}

void orvy_cpuSetPc(void *Cpu, uint64_t Pc) {
  ORVY_CALL(CpuIface, setPc, Cpu, cpuIface(Cpu), Pc);
}

uint64_t orvy_cpuGetPc(void *Cpu) {
  return ORVY_CALL(CpuIface, getPc, Cpu, cpuIface(Cpu));
}

uint64_t orvy_cpuGetSpr(void *Cpu, uint32_t Reg) {
  return ORVY_CALL(CpuIface, getSpr, Cpu, cpuIface(Cpu), Reg);
}

void orvy_cpuSetSpr(void *Cpu, uint32_t Reg, uint64_t Value) {
  ORVY_CALL(CpuIface, setSpr, Cpu, cpuIface(Cpu), Reg, Value);
}

void orvy_cpuEnableTraps(void *Cpu) {
  ORVY_CALL(CpuIface, enableTraps, Cpu, cpuIface(Cpu));
}

void orvy_cpuDisableTraps(void *Cpu) {
  ORVY_CALL(CpuIface, disableTraps, Cpu, cpuIface(Cpu));
}

void *orvy_cpuGetMachine(void *Cpu) {
  return ORVY_CALL(CpuIface, getMachine, Cpu, cpuIface(Cpu));
}

void orvy_cpuRaiseTrap(void *Cpu, int Trap, uint32_t Flags) {
  const CpuIface &Iface = cpuIface(Cpu);
  if (Flags & ORVY_TRAP_NO_RETURN)
    ORVY_CALL(CpuIface, raiseTrapNoReturn, Cpu, Iface, Trap);
  else
    ORVY_CALL(CpuIface, raiseTrap, Cpu, Iface, Trap);
}

uint64_t orvy_cpuGetIClassCounter(void *Cpu, uint32_t Class) {
  return iclassCounter(Cpu, Class);
}

void orvy_cpuResetIClassCounter(void *Cpu, uint32_t Class) {
  iclassCounter(Cpu, Class) = 0;
}

void orvy_machineReset(void *Machine, int Kind) {
  ORVY_CALL(MachineIface, reset, Machine, machineIface(Machine), Kind);
}

uint64_t orvy_machineRun(void *Machine, uint64_t Nanos) {
  const MachineIface &Iface = machineIface(Machine);
  uint64_t Start = quantaStart(Machine);
  const ActiveRun Running;
  ORVY_CALL(MachineIface, run, Machine, Iface, Nanos);
  return quantaStart(Machine) - Start;
}

void orvy_postCallback(void *Obj, orvy_ThreadSafeCb Cb, void *Arg) {
  Kind Which = kindOf(Obj);
  if (Which != Kind::Processor && Which != Kind::Machine)
    orvy_logFatal(Obj, "is neither machine nor CPU required by orvy_postCallback()");
  ORVY_CALL(EventIface, postCallback, Obj, eventIface(Obj), Cb, Arg);
}

uint64_t orvy_lineDataGetLineCount(void *Obj) {
  const LineDataLoggerIface *Iface = lineData(Obj);
  return Iface ? Iface->getLineCount(Obj) : 0;
}

void *orvy_lineDataGetLine(void *Obj, uint64_t Idx) {
  const LineDataLoggerIface *Iface = lineData(Obj);
  return Iface ? Iface->getLine(Obj, Idx) : nullptr;
}
