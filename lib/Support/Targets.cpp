#include "orvy/Support/Targets.h"

#include "InternalError.h"

#include "orvy/Support/Interfaces.h"

namespace {

template <typename Iface> const Iface &find(void *Cpu, const char *Name) {
  auto *Found = static_cast<const Iface *>(orvy_getInterface(Cpu, Name, 0));
  ORVY_REQUIRE(Found);
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
  return sparc(Cpu).getWindowCount(Cpu);
}

uint32_t orvy_sparcGetWindowedReg(void *Cpu, uint32_t Window, uint32_t Reg) {
  return sparc(Cpu).getWindowedReg(Cpu, Window, Reg);
}

void orvy_sparcSetWindowedReg(void *Cpu, uint32_t Window, uint32_t Reg, uint32_t Value) {
  sparc(Cpu).setWindowedReg(Cpu, Window, Reg, Value);
}

uint32_t orvy_sparcGetAsr(void *Cpu, uint32_t Asr) {
  return static_cast<uint32_t>(sparc(Cpu).getAsr(Cpu, Asr));
}

void orvy_sparcSetAsr(void *Cpu, uint32_t Asr, uint32_t Value) {
  sparc(Cpu).setAsr(Cpu, Asr, Value);
}

void orvy_sparcSetAsrReader(void *Cpu, uint32_t Asr, orvy_SparcAsrReader Reader) {
  sparc(Cpu).setAsrReader(Cpu, Asr, Reader);
}

void orvy_sparcSetAsrWriter(void *Cpu, uint32_t Asr, orvy_SparcAsrWriter Writer) {
  sparc(Cpu).setAsrWriter(Cpu, Asr, Writer);
}

uint32_t orvy_sparcGetY(void *Cpu) {
  return orvy_sparcGetAsr(Cpu, 0);
}

void orvy_sparcSetY(void *Cpu, uint32_t Value) {
  orvy_sparcSetAsr(Cpu, 0, Value);
}

uint32_t orvy_sparcGetPsr(void *Cpu) {
  return sparc(Cpu).getPsr(Cpu);
}

void orvy_sparcSetPsr(void *Cpu, uint32_t Value) {
  sparc(Cpu).setPsr(Cpu, Value);
}

uint32_t orvy_sparcGetTbr(void *Cpu) {
  return sparc(Cpu).getTbr(Cpu);
}

void orvy_sparcSetTbr(void *Cpu, uint32_t Value) {
  sparc(Cpu).setTbr(Cpu, Value);
}

uint32_t orvy_sparcGetWim(void *Cpu) {
  return sparc(Cpu).getWim(Cpu);
}

void orvy_sparcSetWim(void *Cpu, uint32_t Value) {
  sparc(Cpu).setWim(Cpu, Value);
}

uint32_t orvy_sparcGetNPc(void *Cpu) {
  return sparc(Cpu).getNPc(Cpu);
}

void orvy_sparcSetNPc(void *Cpu, uint32_t Value) {
  sparc(Cpu).setNPc(Cpu, Value);
}

uint32_t orvy_armGetExecMode(void *Cpu) {
  return arm(Cpu).getExecMode(Cpu);
}

void orvy_armSetExecMode(void *Cpu, uint32_t Value) {
  arm(Cpu).setExecMode(Cpu, Value);
}

uint32_t orvy_armGetAPSR(void *Cpu) {
  return arm(Cpu).getAPSR(Cpu);
}

void orvy_armSetAPSR(void *Cpu, uint32_t Value) {
  arm(Cpu).setAPSR(Cpu, Value);
}

uint32_t orvy_armGetFPSCR(void *Cpu) {
  return arm(Cpu).getFPSCR(Cpu);
}

void orvy_armSetFPSCR(void *Cpu, uint32_t Value) {
  arm(Cpu).setFPSCR(Cpu, Value);
}

uint32_t orvy_armGetFPEXC(void *Cpu) {
  return arm(Cpu).getFPEXC(Cpu);
}

void orvy_armSetFPEXC(void *Cpu, uint32_t Value) {
  arm(Cpu).setFPEXC(Cpu, Value);
}

uint32_t orvy_armGetFPINST(void *Cpu, uint32_t Idx) {
  return arm(Cpu).getFPINST(Cpu, Idx);
}

void orvy_armSetFPINST(void *Cpu, uint32_t Idx, uint32_t Value) {
  arm(Cpu).setFPINST(Cpu, Idx, Value);
}

uint32_t orvy_ppcGetXerReg(void *Cpu) {
  return ppc(Cpu).getXerReg(Cpu);
}

void orvy_ppcSetXerReg(void *Cpu, uint32_t Value) {
  ppc(Cpu).setXerReg(Cpu, Value);
}

uint32_t orvy_ppcGetCrReg(void *Cpu) {
  return ppc(Cpu).getCrReg(Cpu);
}

void orvy_ppcSetCrReg(void *Cpu, uint32_t Value) {
  ppc(Cpu).setCrReg(Cpu, Value);
}

uint64_t orvy_ppcGetMsrReg(void *Cpu) {
  return ppc(Cpu).getMsrReg(Cpu);
}

void orvy_ppcSetMsrReg(void *Cpu, uint64_t Value) {
  ppc(Cpu).setMsrReg(Cpu, Value);
}

uint64_t orvy_ppcGetReserveAddress(void *Cpu) {
  return ppc(Cpu).getReserveAddress(Cpu);
}

void orvy_ppcSetReserveAddress(void *Cpu, uint64_t Value) {
  ppc(Cpu).setReserveAddress(Cpu, Value);
}

int orvy_ppcIsReservationBitSet(void *Cpu) {
  return ppc(Cpu).isReservationBitSet(Cpu);
}

void orvy_ppcClearAddressReservation(void *Cpu) {
  ppc(Cpu).clearAddressReservation(Cpu);
}

uint32_t orvy_ppcGetCtrReg(void *Cpu) {
  return ppc(Cpu).getCtrReg(Cpu);
}

void orvy_ppcSetCtrReg(void *Cpu, uint32_t Value) {
  ppc(Cpu).setCtrReg(Cpu, Value);
}

uint64_t orvy_ppcGetLrReg(void *Cpu) {
  return ppc(Cpu).getLrReg(Cpu);
}

void orvy_ppcSetLrReg(void *Cpu, uint64_t Value) {
  ppc(Cpu).setLrReg(Cpu, Value);
}

uint32_t orvy_ppcGetFpscrReg(void *Cpu) {
  return ppc(Cpu).getFpscrReg(Cpu);
}

void orvy_ppcSetFpscrReg(void *Cpu, uint32_t Value) {
  ppc(Cpu).setFpscrReg(Cpu, Value);
}
