// Instructions off the engine's fast path, one small function each. Imm is the instruction word.

#include "Cpu.h"

namespace sparc {

namespace {

uint32_t wordOf(const Op *O) {
  return uint32_t(O->Imm);
}

uint32_t first(const Cpu *C, const Op *O) {
  return C->R[O->Rs1];
}

uint32_t second(const Cpu *C, const Op *O) {
  return immOf(wordOf(O)) ? uint32_t(simm13Of(wordOf(O))) : C->R[O->Rs2];
}

bool isSupervisor(const Cpu *C) {
  return C->Psr & PSR_S;
}

void setCodes(Cpu *C, uint32_t Result, bool V, bool Carry) {
  C->CcResult = int32_t(Result);
  C->CcV = V ? 0x80000000 : 0;
  C->CcC = Carry;
}

// Multiply and divide

template <bool Signed> uint32_t multiplyCc(Cpu *C, const Op *O) {
  uint32_t A = first(C, O), B = second(C, O);
  uint64_t Product = Signed ? uint64_t(int64_t(int32_t(A)) * int32_t(B)) : uint64_t(A) * B;
  C->Y = uint32_t(Product >> 32);
  C->R[O->Rd] = uint32_t(Product);
  setCodes(C, uint32_t(Product), false, false);
  return OC_Done;
}

struct Quotient {
  uint32_t Value;
  bool Overflow;
};

Quotient divideUnsigned(uint64_t Dividend, uint32_t Divisor) {
  uint64_t Value = Dividend / Divisor;
  return Value > 0xFFFFFFFF ? Quotient{0xFFFFFFFF, true} : Quotient{uint32_t(Value), false};
}

/// Divides magnitudes, because the most negative dividend divided by -1 does not fit 64 bits.
Quotient divideSigned(uint64_t Dividend, uint32_t Divisor) {
  bool Negative = (Dividend >> 63) != (Divisor >> 31);
  uint64_t Magnitude =
      (Dividend >> 63 ? 0 - Dividend : Dividend) / (Divisor >> 31 ? 0 - Divisor : Divisor);
  if (Negative)
    return Magnitude > 0x80000000 ? Quotient{0x80000000, true}
                                  : Quotient{uint32_t(0 - Magnitude), false};
  return Magnitude > 0x7FFFFFFF ? Quotient{0x7FFFFFFF, true} : Quotient{uint32_t(Magnitude), false};
}

template <bool Signed, bool Codes> uint32_t divide(Cpu *C, const Op *O) {
  uint32_t Divisor = second(C, O);
  if (!Divisor)
    return TT_DivisionByZero;
  uint64_t Dividend = uint64_t(C->Y) << 32 | first(C, O);
  Quotient Q = Signed ? divideSigned(Dividend, Divisor) : divideUnsigned(Dividend, Divisor);
  C->R[O->Rd] = Q.Value;
  if (Codes)
    setCodes(C, Q.Value, Q.Overflow, false);
  return OC_Done;
}

uint32_t multiplyStep(Cpu *C, const Op *O) {
  uint32_t Icc = liveIcc(C), Source = first(C, O);
  uint32_t Sign = bool(Icc & PSR_N) != bool(Icc & PSR_V);
  uint32_t A = Sign << 31 | Source >> 1;
  uint32_t B = C->Y & 1 ? second(C, O) : 0;
  uint32_t Sum = A + B;
  C->Y = (Source & 1) << 31 | C->Y >> 1;
  C->R[O->Rd] = Sum;
  setCodes(C, Sum, ((A ^ Sum) & (B ^ Sum)) >> 31, Sum < A);
  return OC_Done;
}

// Tagged arithmetic

template <bool Subtract, bool Trapping> uint32_t tagged(Cpu *C, const Op *O) {
  uint32_t A = first(C, O), B = second(C, O);
  uint32_t Result = Subtract ? A - B : A + B;
  uint32_t Signs = Subtract ? (A ^ B) & (A ^ Result) : (A ^ Result) & (B ^ Result);
  bool Overflow = Signs >> 31 || ((A | B) & 3);
  if (Trapping && Overflow)
    return TT_TagOverflow;
  C->R[O->Rd] = Result;
  setCodes(C, Result, Overflow, Subtract ? A < B : Result < A);
  return OC_Done;
}

// State registers

/// Y can be accessed in any mode, the registers 16 to 31 by the supervisor. The others are
/// reserved, and exist only if a model has installed a function for them.
uint32_t checkAsr(const Cpu *C, unsigned Asr, bool Served) {
  if (Asr == 0)
    return OC_Done;
  if (!isSupervisor(C))
    return TT_PrivilegedInstruction;
  return Asr >= 16 || Served ? uint32_t(OC_Done) : uint32_t(TT_IllegalInstruction);
}

uint32_t readAsrInsn(Cpu *C, const Op *O) {
  unsigned Asr = O->Rs1;
  if (uint32_t Trap = checkAsr(C, Asr, C->AsrReaders[Asr]))
    return Trap;
  if (C->AsrReaders[Asr])
    storeLive(C);
  uint32_t Value = readAsr(C, Asr);
  if (uint32_t Out = outcomeOfCall(C))
    return Out;
  C->R[O->Rd] = Value;
  return OC_Done;
}

uint32_t writeAsrInsn(Cpu *C, const Op *O) {
  unsigned Asr = rdOf(wordOf(O));
  if (uint32_t Trap = checkAsr(C, Asr, C->AsrWriters[Asr]))
    return Trap;
  uint32_t Value = first(C, O) ^ second(C, O);
  if (C->AsrWriters[Asr])
    storeLive(C);
  writeAsr(C, Asr, Value);
  if (uint32_t Out = outcomeOfCall(C))
    return Out;
  if (Asr == 19 && !C->AsrWriters[Asr]) {
    C->PoweredDown = 1;
    limitSlice(C, 0);
  }
  return OC_Done;
}

enum class State { Psr, Wim, Tbr };

template <State Which> uint32_t readState(Cpu *C, const Op *O) {
  if (!isSupervisor(C))
    return TT_PrivilegedInstruction;
  C->R[O->Rd] = Which == State::Psr ? psrOf(C) : Which == State::Wim ? C->Wim : C->Tbr;
  return OC_Done;
}

template <State Which> uint32_t writeState(Cpu *C, const Op *O) {
  if (!isSupervisor(C))
    return TT_PrivilegedInstruction;
  uint32_t Value = first(C, O) ^ second(C, O);
  if (Which == State::Psr && (Value & 31) >= WindowCount)
    return TT_IllegalInstruction;
  if (Which == State::Psr)
    setPsr(C, Value);
  else if (Which == State::Wim)
    setWim(C, Value);
  else
    C->Tbr = (Value & 0xFFFFF000) | (C->Tbr & 0xFF0);
  return OC_Done;
}

// Memory

uint32_t addressOfAccess(const Cpu *C, const Op *O) {
  return first(C, O) + second(C, O);
}

/// Instructions with an address space identifier are privileged and have no immediate operand.
uint32_t checkAlternate(const Cpu *C, const Op *O, bool Pair) {
  if (!isSupervisor(C))
    return TT_PrivilegedInstruction;
  if (immOf(wordOf(O)) || (Pair && (rdOf(wordOf(O)) & 1)))
    return TT_IllegalInstruction;
  return OC_Done;
}

uint8_t asiOf(const Op *O) {
  return uint8_t(sparc::asiOf(wordOf(O)));
}

template <unsigned Size, bool Signed> uint32_t loadAlternate(Cpu *C, const Op *O) {
  if (uint32_t Trap = checkAlternate(C, O, Size == 3))
    return Trap;
  uint64_t Value;
  if (uint32_t Out = load(C, addressOfAccess(C, O), Size, asiOf(O), &Value))
    return Out;
  unsigned Rd = rdOf(wordOf(O));
  if (Size == 3) {
    C->R[Rd] = uint32_t(Value >> 32);
    C->R[Rd + 1] = uint32_t(Value);
    C->R[0] = 0;
  } else {
    constexpr unsigned Unused = Size < 2 ? 32 - (8u << Size) : 0;
    uint32_t High = uint32_t(Value) << Unused;
    C->R[O->Rd] = Signed ? uint32_t(int32_t(High) >> Unused) : High >> Unused;
  }
  return OC_Done;
}

template <unsigned Size> uint32_t storeAlternate(Cpu *C, const Op *O) {
  if (uint32_t Trap = checkAlternate(C, O, Size == 3))
    return Trap;
  unsigned Rd = rdOf(wordOf(O));
  uint64_t Value = C->R[Rd];
  if (Size == 3)
    Value = Value << 32 | C->R[Rd + 1];
  else
    Value &= (uint64_t(1) << (8 << Size)) - 1;
  return store(C, addressOfAccess(C, O), Size, asiOf(O), Value);
}

uint32_t swapWith(Cpu *C, const Op *O, unsigned Size, uint8_t Asi) {
  uint64_t Value = Size ? C->R[rdOf(wordOf(O))] : 0xFF;
  if (uint32_t Out = exchange(C, addressOfAccess(C, O), Size, Asi, &Value))
    return Out;
  C->R[O->Rd] = Size ? uint32_t(Value) : uint8_t(Value);
  return OC_Done;
}

template <unsigned Size> uint32_t swap(Cpu *C, const Op *O) {
  return swapWith(C, O, Size, dataAsi(C));
}

template <unsigned Size> uint32_t swapAlternate(Cpu *C, const Op *O) {
  if (uint32_t Trap = checkAlternate(C, O, false))
    return Trap;
  return swapWith(C, O, Size, asiOf(O));
}

/// Storing a queue is privileged. For the supervisor it traps, because the unit is disabled.
template <TrapNumber Disabled> uint32_t storeQueue(Cpu *C, const Op *) {
  return isSupervisor(C) ? Disabled : TT_PrivilegedInstruction;
}

uint32_t trapOnCondition(Cpu *C, const Op *O) {
  if (!conditionHolds(C, condOf(wordOf(O))))
    return OC_Done;
  ++C->Counters[ovSC_Trap];
  return TT_TrapInstruction | ((first(C, O) + second(C, O)) & 127);
}

struct Entry {
  Insn Id;
  Semantics Does;
};

const Entry Entries[] = {
    {Insn::Umulcc, multiplyCc<false>},
    {Insn::Smulcc, multiplyCc<true>},
    {Insn::Udiv, divide<false, false>},
    {Insn::Sdiv, divide<true, false>},
    {Insn::Udivcc, divide<false, true>},
    {Insn::Sdivcc, divide<true, true>},
    {Insn::Mulscc, multiplyStep},
    {Insn::Taddcc, tagged<false, false>},
    {Insn::Tsubcc, tagged<true, false>},
    {Insn::Taddcctv, tagged<false, true>},
    {Insn::Tsubcctv, tagged<true, true>},
    {Insn::Rdasr, readAsrInsn},
    {Insn::Rdpsr, readState<State::Psr>},
    {Insn::Rdwim, readState<State::Wim>},
    {Insn::Rdtbr, readState<State::Tbr>},
    {Insn::Wrasr, writeAsrInsn},
    {Insn::Wrpsr, writeState<State::Psr>},
    {Insn::Wrwim, writeState<State::Wim>},
    {Insn::Wrtbr, writeState<State::Tbr>},
    {Insn::Ticc, trapOnCondition},
    {Insn::Ldstub, swap<0>},
    {Insn::Swap, swap<2>},
    {Insn::Lda, loadAlternate<2, false>},
    {Insn::Lduba, loadAlternate<0, false>},
    {Insn::Lduha, loadAlternate<1, false>},
    {Insn::Ldsba, loadAlternate<0, true>},
    {Insn::Ldsha, loadAlternate<1, true>},
    {Insn::Ldda, loadAlternate<3, false>},
    {Insn::Sta, storeAlternate<2>},
    {Insn::Stba, storeAlternate<0>},
    {Insn::Stha, storeAlternate<1>},
    {Insn::Stda, storeAlternate<3>},
    {Insn::Ldstuba, swapAlternate<0>},
    {Insn::Swapa, swapAlternate<2>},
    {Insn::Stdfq, storeQueue<TT_FpDisabled>},
    {Insn::Stdcq, storeQueue<TT_CpDisabled>},
};

} // namespace

bool conditionHolds(const Cpu *C, unsigned Cond) {
  uint32_t Icc = liveIcc(C);
  bool N = Icc & PSR_N, Z = Icc & PSR_Z, V = Icc & PSR_V, Carry = Icc & PSR_C;
  const bool Holds[8] = {false, Z, Z || N != V, N != V, Carry || Z, Carry, N, V};
  return Holds[Cond & 7] != bool(Cond & 8);
}

const SemanticsTable SlowTable = [] {
  SemanticsTable Table = {};
  for (const Entry &Row : Entries)
    Table.At[unsigned(Row.Id)] = Row.Does;
  return Table;
}();

} // namespace sparc
