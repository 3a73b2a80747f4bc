// Traps, interrupts and returns from them.

#include "Cpu.h"

#include <cstdio>

namespace sparc {

namespace {

constexpr unsigned L1 = 17, L2 = 18; // receive pc and npc on a trap

const struct {
  uint32_t Number;
  const char *Name;
} Names[] = {
    {0x00, "reset"},
    {TT_InstructionAccessException, "instruction_access_exception"},
    {TT_IllegalInstruction, "illegal_instruction"},
    {TT_PrivilegedInstruction, "privileged_instruction"},
    {TT_FpDisabled, "fp_disabled"},
    {TT_WindowOverflow, "window_overflow"},
    {TT_WindowUnderflow, "window_underflow"},
    {TT_MemAddressNotAligned, "mem_address_not_aligned"},
    {0x08, "fp_exception"},
    {TT_DataAccessException, "data_access_exception"},
    {TT_TagOverflow, "tag_overflow"},
    {0x0B, "watchpoint_detected"},
    {0x20, "r_register_access_error"},
    {0x21, "instruction_access_error"},
    {TT_CpDisabled, "cp_disabled"},
    {0x25, "unimplemented_FLUSH"},
    {0x28, "cp_exception"},
    {0x29, "data_access_error"},
    {TT_DivisionByZero, "division_by_zero"},
    {0x2B, "data_store_error"},
    {0x2C, "data_access_MMU_miss"},
    {0x3C, "instruction_access_MMU_miss"},
};

const char *const LevelNames[16] = {
    nullptr,
    "interrupt_level_1",
    "interrupt_level_2",
    "interrupt_level_3",
    "interrupt_level_4",
    "interrupt_level_5",
    "interrupt_level_6",
    "interrupt_level_7",
    "interrupt_level_8",
    "interrupt_level_9",
    "interrupt_level_10",
    "interrupt_level_11",
    "interrupt_level_12",
    "interrupt_level_13",
    "interrupt_level_14",
    "interrupt_level_15",
};

} // namespace

const char *trapName(uint32_t Number) {
  if (Number > TT_InterruptLevel && Number <= TT_InterruptLevel + 15)
    return LevelNames[Number - TT_InterruptLevel];
  if (Number >= TT_TrapInstruction && Number <= 0xFF)
    return "trap_instruction";
  for (const auto &Row : Names)
    if (Row.Number == Number)
      return Row.Name;
  return nullptr;
}

void enterTrap(Cpu *C, uint32_t Number) {
  C->StoppedHere = 0;
  C->Tbr = (C->Tbr & 0xFFFFF000) | (Number & 0xFF) << 4;
  if (!(C->Psr & PSR_Et)) {
    C->Halted = 1;
    const char *Name = trapName(Number);
    orvy_logTargetWarning(C, "error mode: trap 0x%02x %s at 0x%08x", Number & 0xFF,
                          Name ? Name : "unknown", C->Pc);
    return;
  }
  unsigned Window = (cwpOf(C) - 1) % WindowCount;
  uint32_t Previous = C->Psr & PSR_S ? uint32_t(PSR_Ps) : 0;
  C->Psr = (C->Psr & ~(PSR_Cwp | PSR_Et | PSR_Ps)) | PSR_S | Previous | Window;
  writeRegister(C, Window, L1, C->Pc);
  writeRegister(C, Window, L2, C->NPc);
  C->Pc = C->Tbr;
  C->NPc = C->Tbr + 4;
  if (C->TrapEvents)
    orvy_notify(C->TrapEntry, &Number);
}

void raiseTrap(Cpu *C, uint32_t Number) {
  if (C->Live)
    C->PendingTrap = Number;
  else
    enterTrap(C, Number);
}

unsigned pendingInterrupt(const Cpu *C) {
  if (!(C->Psr & PSR_Et) || !C->IrqLines)
    return 0;
  unsigned Level = 31 - unsigned(__builtin_clz(C->IrqLines));
  return Level == 15 || Level > (C->Psr & PSR_Pil) >> 8 ? Level : 0;
}

void takeInterrupt(Cpu *C, unsigned Level) {
  C->PoweredDown = 0;
  enterTrap(C, TT_InterruptLevel + Level);
  const auto *Client = static_cast<const IrqClientIface *>(C->IrqClient.Iface);
  if (Client && Client->irqAcknowledged)
    Client->irqAcknowledged(C->IrqClient.Obj, uint8_t(Level));
  else
    setLine(C, Level, false);
}

void noticeInterrupt(Cpu *C) {
  if (C->Live && pendingInterrupt(C))
    limitSlice(C, 0);
}

void setLine(Cpu *C, unsigned Level, bool Raised) {
  if (Level < 1 || Level > 15)
    return;
  if (Raised)
    C->IrqLines |= 1u << Level;
  else
    C->IrqLines &= ~(1u << Level);
  noticeInterrupt(C);
}

uint32_t returnFromTrap(Cpu *C, uint32_t Target) {
  bool Supervisor = C->Psr & PSR_S;
  if (C->Psr & PSR_Et)
    return Supervisor ? TT_IllegalInstruction : TT_PrivilegedInstruction;
  if (!Supervisor)
    return TT_PrivilegedInstruction;
  if (C->Wim >> ((cwpOf(C) + 1) % WindowCount) & 1)
    return TT_WindowUnderflow;
  if (Target & 3)
    return TT_MemAddressNotAligned;
  windowUp(C);
  C->Psr = (C->Psr & ~PSR_S) | PSR_Et | (C->Psr & PSR_Ps ? uint32_t(PSR_S) : 0);
  noticeInterrupt(C);
  if (C->TrapEvents) {
    C->TrapReturned = true;
    limitSlice(C, 0);
  }
  return OC_Done;
}

} // namespace sparc
