#include "orvy/Support/Targets.h"

#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Interfaces.h"

#include <string>

namespace {

template <typename Iface> const Iface &find(void *Cpu, const char *Name) {
  auto *Found = static_cast<const Iface *>(orvy_getInterface(Cpu, Name, 0));
  if (!Found)
    orvy::wrongObject(Cpu, (std::string("lacks ") + Name).c_str());
  return *Found;
}

const SparcIface &sparc(void *Cpu) {
  return find<SparcIface>(Cpu, "SparcIface");
}
const ArmIface &arm(void *Cpu) {
  return find<ArmIface>(Cpu, "ArmIface");
}
const PowerPCIface &ppc(void *Cpu) {
  return find<PowerPCIface>(Cpu, "PowerPCIface");
}

} // namespace

uint32_t orvy_sparcGetWindowCount(void *Cpu) {
  return ORVY_CALL(SparcIface, getWindowCount, Cpu, sparc(Cpu));
}

uint32_t orvy_sparcGetWindowedReg(void *Cpu, uint32_t Window, uint32_t Reg) {
  return ORVY_CALL(SparcIface, getWindowedReg, Cpu, sparc(Cpu), Window, Reg);
}

void orvy_sparcSetWindowedReg(void *Cpu, uint32_t Window, uint32_t Reg, uint32_t Value) {
  ORVY_CALL(SparcIface, setWindowedReg, Cpu, sparc(Cpu), Window, Reg, Value);
}

uint32_t orvy_sparcGetAsr(void *Cpu, uint32_t Asr) {
  return static_cast<uint32_t>(ORVY_CALL(SparcIface, getAsr, Cpu, sparc(Cpu), Asr));
}

void orvy_sparcSetAsr(void *Cpu, uint32_t Asr, uint32_t Value) {
  ORVY_CALL(SparcIface, setAsr, Cpu, sparc(Cpu), Asr, Value);
}

void orvy_sparcSetAsrReader(void *Cpu, uint32_t Asr, orvy_SparcAsrReader Reader) {
  ORVY_CALL(SparcIface, setAsrReader, Cpu, sparc(Cpu), Asr, Reader);
}

void orvy_sparcSetAsrWriter(void *Cpu, uint32_t Asr, orvy_SparcAsrWriter Writer) {
  ORVY_CALL(SparcIface, setAsrWriter, Cpu, sparc(Cpu), Asr, Writer);
}

uint32_t orvy_sparcGetY(void *Cpu) {
  return orvy_sparcGetAsr(Cpu, 0);
}

void orvy_sparcSetY(void *Cpu, uint32_t Value) {
  orvy_sparcSetAsr(Cpu, 0, Value);
}

uint32_t orvy_sparcGetPsr(void *Cpu) {
  return ORVY_CALL(SparcIface, getPsr, Cpu, sparc(Cpu));
}

void orvy_sparcSetPsr(void *Cpu, uint32_t Value) {
  ORVY_CALL(SparcIface, setPsr, Cpu, sparc(Cpu), Value);
}

uint32_t orvy_sparcGetTbr(void *Cpu) {
  return ORVY_CALL(SparcIface, getTbr, Cpu, sparc(Cpu));
}

void orvy_sparcSetTbr(void *Cpu, uint32_t Value) {
  ORVY_CALL(SparcIface, setTbr, Cpu, sparc(Cpu), Value);
}

uint32_t orvy_sparcGetWim(void *Cpu) {
  return ORVY_CALL(SparcIface, getWim, Cpu, sparc(Cpu));
}

void orvy_sparcSetWim(void *Cpu, uint32_t Value) {
  ORVY_CALL(SparcIface, setWim, Cpu, sparc(Cpu), Value);
}

uint32_t orvy_sparcGetNPc(void *Cpu) {
  return ORVY_CALL(SparcIface, getNPc, Cpu, sparc(Cpu));
}

void orvy_sparcSetNPc(void *Cpu, uint32_t Value) {
  ORVY_CALL(SparcIface, setNPc, Cpu, sparc(Cpu), Value);
}

uint32_t orvy_armGetExecMode(void *Cpu) {
  return ORVY_CALL(ArmIface, getExecMode, Cpu, arm(Cpu));
}

void orvy_armSetExecMode(void *Cpu, uint32_t Value) {
  ORVY_CALL(ArmIface, setExecMode, Cpu, arm(Cpu), Value);
}

uint32_t orvy_armGetAPSR(void *Cpu) {
  return ORVY_CALL(ArmIface, getAPSR, Cpu, arm(Cpu));
}

void orvy_armSetAPSR(void *Cpu, uint32_t Value) {
  ORVY_CALL(ArmIface, setAPSR, Cpu, arm(Cpu), Value);
}

uint32_t orvy_armGetFPSCR(void *Cpu) {
  return ORVY_CALL(ArmIface, getFPSCR, Cpu, arm(Cpu));
}

void orvy_armSetFPSCR(void *Cpu, uint32_t Value) {
  ORVY_CALL(ArmIface, setFPSCR, Cpu, arm(Cpu), Value);
}

uint32_t orvy_armGetFPEXC(void *Cpu) {
  return ORVY_CALL(ArmIface, getFPEXC, Cpu, arm(Cpu));
}

void orvy_armSetFPEXC(void *Cpu, uint32_t Value) {
  ORVY_CALL(ArmIface, setFPEXC, Cpu, arm(Cpu), Value);
}

uint32_t orvy_armGetFPINST(void *Cpu, uint32_t Idx) {
  return ORVY_CALL(ArmIface, getFPINST, Cpu, arm(Cpu), Idx);
}

void orvy_armSetFPINST(void *Cpu, uint32_t Idx, uint32_t Value) {
  ORVY_CALL(ArmIface, setFPINST, Cpu, arm(Cpu), Idx, Value);
}

uint32_t orvy_ppcGetXerReg(void *Cpu) {
  return ORVY_CALL(PowerPCIface, getXerReg, Cpu, ppc(Cpu));
}

void orvy_ppcSetXerReg(void *Cpu, uint32_t Value) {
  ORVY_CALL(PowerPCIface, setXerReg, Cpu, ppc(Cpu), Value);
}

uint32_t orvy_ppcGetCrReg(void *Cpu) {
  return ORVY_CALL(PowerPCIface, getCrReg, Cpu, ppc(Cpu));
}

void orvy_ppcSetCrReg(void *Cpu, uint32_t Value) {
  ORVY_CALL(PowerPCIface, setCrReg, Cpu, ppc(Cpu), Value);
}

uint64_t orvy_ppcGetMsrReg(void *Cpu) {
  return ORVY_CALL(PowerPCIface, getMsrReg, Cpu, ppc(Cpu));
}

void orvy_ppcSetMsrReg(void *Cpu, uint64_t Value) {
  ORVY_CALL(PowerPCIface, setMsrReg, Cpu, ppc(Cpu), Value);
}

uint64_t orvy_ppcGetReserveAddress(void *Cpu) {
  return ORVY_CALL(PowerPCIface, getReserveAddress, Cpu, ppc(Cpu));
}

void orvy_ppcSetReserveAddress(void *Cpu, uint64_t Value) {
  ORVY_CALL(PowerPCIface, setReserveAddress, Cpu, ppc(Cpu), Value);
}

int orvy_ppcIsReservationBitSet(void *Cpu) {
  return ORVY_CALL(PowerPCIface, isReservationBitSet, Cpu, ppc(Cpu));
}

void orvy_ppcClearAddressReservation(void *Cpu) {
  ORVY_CALL(PowerPCIface, clearAddressReservation, Cpu, ppc(Cpu));
}

uint32_t orvy_ppcGetCtrReg(void *Cpu) {
  return ORVY_CALL(PowerPCIface, getCtrReg, Cpu, ppc(Cpu));
}

void orvy_ppcSetCtrReg(void *Cpu, uint32_t Value) {
  ORVY_CALL(PowerPCIface, setCtrReg, Cpu, ppc(Cpu), Value);
}

uint64_t orvy_ppcGetLrReg(void *Cpu) {
  return ORVY_CALL(PowerPCIface, getLrReg, Cpu, ppc(Cpu));
}

void orvy_ppcSetLrReg(void *Cpu, uint64_t Value) {
  ORVY_CALL(PowerPCIface, setLrReg, Cpu, ppc(Cpu), Value);
}

uint32_t orvy_ppcGetFpscrReg(void *Cpu) {
  return ORVY_CALL(PowerPCIface, getFpscrReg, Cpu, ppc(Cpu));
}

void orvy_ppcSetFpscrReg(void *Cpu, uint32_t Value) {
  ORVY_CALL(PowerPCIface, setFpscrReg, Cpu, ppc(Cpu), Value);
}
