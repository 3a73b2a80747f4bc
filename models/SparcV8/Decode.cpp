// Decodes an instruction word into operands for the engine and the handler that executes it.

#include "CodePage.h"
#include "Cpu.h"

namespace sparc {

namespace {

const Handler HandlerOf[] = {
#define CONTROL_ROWS
#define ARITHMETIC_ROWS
#define MEMORY_ROWS
#define INSN(Id, Text, Format, Class, Do) Handler::Do,
#define GAP
#include "Instructions.def"
#undef INSN
#undef GAP
#undef CONTROL_ROWS
#undef ARITHMETIC_ROWS
#undef MEMORY_ROWS
};

/// Whether a slot and the one that many words away are in the same page.
bool isNear(const Op *Slot, int32_t Words) {
  int64_t Index = int64_t(addressOf(Slot) % ORVY_PAGE_SIZE / 4) + Words;
  return Index >= 0 && Index < CodeSlots;
}

void decodeOperands(uint32_t Word, Op *Slot) {
  Slot->Rd = rdOf(Word) ? uint8_t(rdOf(Word)) : 32;
  Slot->Rs1 = uint8_t(rs1Of(Word));
  Slot->Rs2 = immOf(Word) ? 0 : uint8_t(rs2Of(Word));
  Slot->Imm = immOf(Word) ? simm13Of(Word) : 0;
}

Handler trap(Op *Slot, uint32_t Number) {
  Slot->Imm = int32_t(Number);
  return Handler::Trap;
}

Handler decodeBranch(uint32_t Word, Op *Slot) {
  Slot->Imm = disp22Of(Word);
  Slot->Rd = uint8_t(condOf(Word));
  Slot->Rs1 = annulOf(Word);
  if (!isNear(Slot, Slot->Imm))
    return Handler::BranchFar;
  Handler First = annulOf(Word) ? Handler::BnA : Handler::Branch;
  return Handler(unsigned(First) + condOf(Word));
}

Handler decodeCall(uint32_t Word, Op *Slot) {
  Slot->Imm = disp30Of(Word);
  return isNear(Slot, Slot->Imm) ? Handler::CallNear : Handler::CallFar;
}

/// Decodes an instruction that always traps.
Handler decodeTrap(Op *Slot) {
  switch (infoOf(Slot->Id).Form) {
  case Format::None:
  case Format::Unimp:
    return trap(Slot, TT_IllegalInstruction);
  case Format::Cbccc:
  case Format::Cpop:
  case Format::LoadCp:
  case Format::LoadCsr:
  case Format::StoreCp:
  case Format::StoreCsr:
    return trap(Slot, TT_CpDisabled);
  default:
    return trap(Slot, TT_FpDisabled);
  }
}

Handler decodePair(uint32_t Word, Op *Slot, Handler What) {
  Slot->Rd = uint8_t(rdOf(Word));
  return rdOf(Word) & 1 ? trap(Slot, TT_IllegalInstruction) : What;
}

/// Decodes an instruction off the fast path. It keeps its word in Imm, because it needs fields that
/// an Op does not have.
Handler decodeSlow(uint32_t Word, Op *Slot) {
  bool IsStbar = Slot->Id == Insn::Rdasr && rs1Of(Word) == 15 && rdOf(Word) == 0;
  if (IsStbar)
    return Handler::Nop;
  Slot->Imm = int32_t(Word);
  return Handler::Slow;
}

} // namespace

Handler decode(uint32_t Word, Op *Slot) {
  Slot->Id = identify(Word);
  decodeOperands(Word, Slot);
  Handler What = HandlerOf[unsigned(Slot->Id)];
  switch (What) {
  case Handler::Trap:
    return decodeTrap(Slot);
  case Handler::Slow:
    return decodeSlow(Word, Slot);
  case Handler::Branch:
    return decodeBranch(Word, Slot);
  case Handler::CallFar:
    return decodeCall(Word, Slot);
  case Handler::Sethi:
    Slot->Imm = int32_t(imm22Of(Word) << 10);
    return What;
  case Handler::Ldd:
  case Handler::Std:
    return decodePair(Word, Slot, What);
  case Handler::St:
  case Handler::Stb:
  case Handler::Sth:
    Slot->Rd = uint8_t(rdOf(Word)); // a source operand: %g0 is not redirected
    return What;
  default:
    return What;
  }
}

} // namespace sparc
