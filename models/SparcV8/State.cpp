// The architectural state, live or not: registers, windows, condition codes and time.

#include "Cpu.h"

#include <cstring>

namespace sparc {

namespace {

constexpr unsigned Locals = 16, Ins = 24, Outs = 8; // indices in R
constexpr size_t Eight = 8 * sizeof(uint32_t);

uint32_t *localsOf(Cpu *C, unsigned Window) {
  return &C->Windows[Window % WindowCount * 16];
}
uint32_t *insOf(Cpu *C, unsigned Window) {
  return localsOf(C, Window) + 8;
}
/// The outs of a window are the ins of the window after a save.
uint32_t *outsOf(Cpu *C, unsigned Window) {
  return insOf(C, Window - 1);
}

void storeLiveWindow(Cpu *C) {
  unsigned Window = cwpOf(C);
  std::memcpy(localsOf(C, Window), &C->R[Locals], 2 * Eight);
  std::memcpy(outsOf(C, Window), &C->R[Outs], Eight);
}

void loadLiveWindow(Cpu *C) {
  unsigned Window = cwpOf(C);
  std::memcpy(&C->R[Locals], localsOf(C, Window), 2 * Eight);
  std::memcpy(&C->R[Outs], outsOf(C, Window), Eight);
}

void setCwp(Cpu *C, unsigned Window) {
  C->Psr = (C->Psr & ~PSR_Cwp) | (Window & PSR_Cwp);
}

/// The address of a register of a window; null for %g0.
uint32_t *placeOf(Cpu *C, unsigned Window, unsigned Reg) {
  Reg &= 31;
  Window %= WindowCount;
  if (Reg < 8)
    return Reg ? &C->R[Reg] : nullptr;
  if (C->Live) {
    unsigned Current = cwpOf(C);
    if (Window == Current)
      return &C->R[Reg];
    if (Reg >= Ins && Window == (Current - 1) % WindowCount)
      return &C->R[Reg - Ins + Outs];
    if (Reg < Locals && Window == (Current + 1) % WindowCount)
      return &C->R[Reg - Outs + Ins];
  }
  if (Reg < Locals)
    return outsOf(C, Window) + Reg - Outs;
  return localsOf(C, Window) + Reg - Locals;
}

} // namespace

void windowDown(Cpu *C) {
  unsigned Window = cwpOf(C);
  std::memcpy(localsOf(C, Window), &C->R[Locals], 2 * Eight);
  std::memcpy(&C->R[Ins], &C->R[Outs], Eight);
  std::memcpy(&C->R[Locals], localsOf(C, Window - 1), Eight);
  std::memcpy(&C->R[Outs], outsOf(C, Window - 1), Eight);
  setCwp(C, Window - 1);
}

void windowUp(Cpu *C) {
  unsigned Window = cwpOf(C);
  std::memcpy(localsOf(C, Window), &C->R[Locals], Eight);
  std::memcpy(outsOf(C, Window), &C->R[Outs], Eight);
  std::memcpy(&C->R[Outs], &C->R[Ins], Eight);
  std::memcpy(&C->R[Locals], localsOf(C, Window + 1), 2 * Eight);
  setCwp(C, Window + 1);
}

void setLiveWindow(Cpu *C, unsigned Window) {
  storeLiveWindow(C);
  setCwp(C, Window);
  loadLiveWindow(C);
}

uint32_t liveIcc(const Cpu *C) {
  uint32_t Icc = 0;
  if (C->CcResult < 0)
    Icc |= PSR_N;
  if (uint32_t(C->CcResult) == 0)
    Icc |= PSR_Z;
  if (C->CcV >> 31)
    Icc |= PSR_V;
  if (C->CcC)
    Icc |= PSR_C;
  return Icc;
}

void setLiveIcc(Cpu *C, uint32_t Psr) {
  C->CcResult = int64_t(uint64_t(Psr & PSR_N ? 1 : 0) << 63) | (Psr & PSR_Z ? 0 : 1);
  C->CcV = Psr & PSR_V ? 0x80000000 : 0;
  C->CcC = Psr & PSR_C ? 1 : 0;
}

void makeLive(Cpu *C) {
  C->Psr = PSR_Impl | (C->Psr & PSR_Writable);
  C->Wim &= (1u << WindowCount) - 1;
  C->Tbr &= ~15u;
  C->Pc &= ~3u;
  C->NPc &= ~3u;
  C->R[0] = 0;
  loadLiveWindow(C);
  setLiveIcc(C, C->Psr);
  C->Redirected = false;
  C->PendingTrap = 0;
  C->Live = true;
}

void storeLive(Cpu *C) {
  storeLiveWindow(C);
  C->Psr = (C->Psr & ~PSR_Icc) | liveIcc(C);
  C->Cycles = cyclesOf(C);
  C->Steps = stepsOf(C);
  C->Pc = addressOf(C->Ip);
  C->NPc = addressOf(C->Np);
}

void redirect(Cpu *C) {
  C->StoppedHere = 0;
  if (!C->Live)
    return;
  storeLive(C);
  C->Live = false;
  C->Redirected = true;
}

void reset(Cpu *C, bool Warm) {
  redirect(C);
  C->Halted = 0;
  C->PoweredDown = 0;
  C->Psr = PSR_Impl | PSR_S | (Warm ? C->Psr & PSR_Writable & ~PSR_Et : 0);
  C->Pc = C->ResetPc & ~3u;
  C->NPc = C->Pc + 4;
  if (Warm)
    return;
  std::memset(C->R, 0, sizeof C->R);
  std::memset(C->Windows, 0, sizeof C->Windows);
  std::memset(C->Asrs, 0, sizeof C->Asrs);
  C->Asrs[IdAsr] = C->Id << 28;
  C->Wim = C->Tbr = C->Y = 0;
}

uint64_t cyclesOf(const Cpu *C) {
  if (!C->Live)
    return C->Cycles;
  return C->CyclesAtEnd - uint64_t(C->Left + C->InProgress) * C->CyclesPerInstruction;
}

uint64_t stepsOf(const Cpu *C) {
  return C->Live ? C->StepsAtEnd - uint64_t(C->Left + C->InProgress) : C->Steps;
}

uint32_t pcOf(const Cpu *C) {
  return C->Live ? addressOf(C->Ip) : C->Pc;
}

uint32_t nextPcOf(const Cpu *C) {
  return C->Live ? addressOf(C->Np) : C->NPc;
}

void setPc(Cpu *C, uint32_t Pc) {
  redirect(C);
  C->Pc = Pc & ~3u;
  C->NPc = C->Pc + 4;
}

void setNextPc(Cpu *C, uint32_t NextPc) {
  redirect(C);
  C->NPc = NextPc & ~3u;
}

uint32_t psrOf(const Cpu *C) {
  return C->Live ? (C->Psr & ~PSR_Icc) | liveIcc(C) : C->Psr;
}

void setPsr(Cpu *C, uint32_t Value) {
  Value = PSR_Impl | (Value & PSR_Writable);
  if (!C->Live) {
    C->Psr = Value;
    return;
  }
  setLiveWindow(C, Value & PSR_Cwp);
  C->Psr = Value;
  setLiveIcc(C, Value);
  noticeInterrupt(C);
}

uint32_t readRegister(const Cpu *C, unsigned Window, unsigned Reg) {
  const uint32_t *Place = placeOf(const_cast<Cpu *>(C), Window, Reg);
  return Place ? *Place : 0;
}

void writeRegister(Cpu *C, unsigned Window, unsigned Reg, uint32_t Value) {
  if (uint32_t *Place = placeOf(C, Window, Reg))
    *Place = Value;
}

uint32_t readAsr(Cpu *C, unsigned Asr) {
  if (Asr > 31)
    return 0;
  if (C->AsrReaders[Asr])
    return C->AsrReaders[Asr](C, Asr);
  return Asr ? C->Asrs[Asr] : C->Y;
}

void writeAsr(Cpu *C, unsigned Asr, uint32_t Value) {
  if (Asr > 31)
    return;
  if (C->AsrWriters[Asr])
    C->AsrWriters[Asr](C, Asr, Value);
  else
    (Asr ? C->Asrs[Asr] : C->Y) = Value;
}

void setTbr(Cpu *C, uint32_t Value) {
  C->Tbr = Value & ~15u;
}

void setWim(Cpu *C, uint32_t Value) {
  C->Wim = Value & ((1u << WindowCount) - 1);
}

} // namespace sparc
