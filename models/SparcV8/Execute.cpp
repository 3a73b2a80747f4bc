// The engine: one handler for each common instruction, each jumping directly to the next one's.
//
// Ip and Np are PC and nPC as slots of decoded pages, so that delay slots, annulled delay slots and
// pairs of transfers follow from the manual's rules without a special case.

#include "Cpu.h"

#include <cstring>

namespace sparc {

namespace {

inline uint8_t fromTarget(uint8_t Value) {
  return Value;
}
inline uint16_t fromTarget(uint16_t Value) {
  return __builtin_bswap16(Value);
}
inline uint32_t fromTarget(uint32_t Value) {
  return __builtin_bswap32(Value);
}
inline uint64_t fromTarget(uint64_t Value) {
  return __builtin_bswap64(Value);
}

/// The page for an access without a call, or null. There is none for a misaligned address.
template <typename T> inline DataPage *pageFor(DataPage *Pages, uint32_t Va) {
  DataPage *Page = &Pages[Va >> ORVY_PAGE_BITS & (DataPages - 1)];
  constexpr uint32_t Mask = ~(ORVY_PAGE_SIZE - 1) | (sizeof(T) - 1);
  return __builtin_expect(Page->Tag == (Va & Mask), 1) ? Page : nullptr;
}

template <typename T> inline T loadFrom(const DataPage *Page, uint32_t Va) {
  T Value;
  std::memcpy(&Value, Page->Base + (Va & (ORVY_PAGE_SIZE - 1)), sizeof Value);
  return fromTarget(Value);
}

template <typename T> inline void storeTo(DataPage *Page, uint32_t Va, T Value) {
  Value = fromTarget(Value);
  std::memcpy(Page->Base + (Va & (ORVY_PAGE_SIZE - 1)), &Value, sizeof Value);
  orvy_memPageWritten(Page->Page, Va & (ORVY_PAGE_SIZE - 1), sizeof Value);
}

inline uint32_t signedByte(uint64_t Value) {
  return uint32_t(int32_t(uint32_t(Value) << 24) >> 24);
}
inline uint32_t signedHalf(uint64_t Value) {
  return uint32_t(int32_t(uint32_t(Value) << 16) >> 16);
}

inline void setLogic(Cpu *C, uint32_t Result) {
  C->CcResult = int32_t(Result);
  C->CcV = 0;
  C->CcC = 0;
}

inline uint32_t addWithCodes(Cpu *C, uint32_t A, uint32_t B, uint32_t Carry) {
  uint64_t Wide = uint64_t(A) + B + Carry;
  uint32_t Result = uint32_t(Wide);
  C->CcResult = int32_t(Result);
  C->CcV = (A ^ Result) & (B ^ Result);
  C->CcC = uint32_t(Wide >> 32);
  return Result;
}

inline uint32_t subWithCodes(Cpu *C, uint32_t A, uint32_t B, uint32_t Borrow) {
  uint64_t Wide = uint64_t(A) - B - Borrow;
  uint32_t Result = uint32_t(Wide);
  C->CcResult = int32_t(Result);
  C->CcV = (A ^ B) & (A ^ Result);
  C->CcC = uint32_t(Wide >> 32) & 1;
  return Result;
}

inline bool isZero(const Cpu *C) {
  return uint32_t(C->CcResult) == 0;
}
inline bool isNegative(const Cpu *C) {
  return C->CcResult < 0;
}
inline bool isLess(const Cpu *C) {
  return int32_t(uint32_t(C->CcResult >> 32) ^ C->CcV) < 0;
}
inline bool overflowed(const Cpu *C) {
  return int32_t(C->CcV) < 0;
}

// The engine is one function, because labels are local to a function. These are its building
// blocks.

#define OP1 R[Ip->Rs1]
#define OP2 (R[Ip->Rs2] + uint32_t(Ip->Imm))

#define DISPATCH                                                                                   \
  do {                                                                                             \
    if (__builtin_expect(--Left < 0, 0))                                                           \
      goto TurnOver;                                                                               \
    goto * Ip->Do;                                                                                 \
  } while (0)

#define NEXT(Class)                                                                                \
  do {                                                                                             \
    ++C->Counters[ovSC_##Class];                                                                   \
    Ip = Np++;                                                                                     \
    DISPATCH;                                                                                      \
  } while (0)

#define TRANSFER(Class, To)                                                                        \
  do {                                                                                             \
    ++C->Counters[ovSC_##Class];                                                                   \
    Op *Target = (To);                                                                             \
    Ip = Np;                                                                                       \
    Np = Target;                                                                                   \
    DISPATCH;                                                                                      \
  } while (0)

#define ANNUL                                                                                      \
  do {                                                                                             \
    ++C->Counters[ovSC_Branch];                                                                    \
    Ip = Np + 1;                                                                                   \
    Np = Ip + 1;                                                                                   \
    DISPATCH;                                                                                      \
  } while (0)

// Calls out need the whole state, and may change the rest of the turn.
#define CALL_OUT (C->Left = Left, C->Ip = Ip, C->Np = Np)
#define CALLED(Result)                                                                             \
  do {                                                                                             \
    CALL_OUT;                                                                                      \
    if ((Out = (Result)))                                                                          \
      return Out;                                                                                  \
    Left = C->Left;                                                                                \
  } while (0)

#define TRAP(Number)                                                                               \
  do {                                                                                             \
    CALL_OUT;                                                                                      \
    return (Number);                                                                               \
  } while (0)

#define ALU(Name, Class, Expr)                                                                     \
  Do##Name : {                                                                                     \
    uint32_t A = OP1, B = OP2;                                                                     \
    R[Ip->Rd] = (Expr);                                                                            \
    NEXT(Class);                                                                                   \
  }

#define LOGIC_CC(Name, Expr)                                                                       \
  Do##Name : {                                                                                     \
    uint32_t A = OP1, B = OP2;                                                                     \
    uint32_t Result = (Expr);                                                                      \
    setLogic(C, Result);                                                                           \
    R[Ip->Rd] = Result;                                                                            \
    NEXT(Logic);                                                                                   \
  }

#define LOAD(Name, Type, SizeLog, Extend)                                                          \
  Do##Name : {                                                                                     \
    uint32_t Va = OP1 + OP2;                                                                       \
    if (DataPage *Page = pageFor<Type>(C->ReadPages, Va)) {                                        \
      R[Ip->Rd] = uint32_t(Extend(loadFrom<Type>(Page, Va)));                                      \
      NEXT(Load);                                                                                  \
    }                                                                                              \
    CALLED(load(C, Va, SizeLog, dataAsi(C), &Value));                                              \
    R[Ip->Rd] = uint32_t(Extend(Value));                                                           \
    NEXT(Load);                                                                                    \
  }

#define STORE(Name, Type, SizeLog, Source)                                                         \
  Do##Name : {                                                                                     \
    uint32_t Va = OP1 + OP2;                                                                       \
    if (DataPage *Page = pageFor<Type>(C->WritePages, Va)) {                                       \
      storeTo<Type>(Page, Va, Type(Source));                                                       \
      NEXT(Store);                                                                                 \
    }                                                                                              \
    CALLED(store(C, Va, SizeLog, dataAsi(C), Type(Source)));                                       \
    NEXT(Store);                                                                                   \
  }

#define BRANCH(Name, Cond)                                                                         \
  Do##Name : if (Cond) TRANSFER(Branch, Ip + Ip->Imm);                                             \
  NEXT(Branch);                                                                                    \
  Do##Name##A : if (Cond) TRANSFER(Branch, Ip + Ip->Imm);                                          \
  ANNUL;

/// The engine. With Labels it only returns its labels there.
__attribute__((noinline)) uint32_t engine(Cpu *C, const void *const **Labels) {
  static const void *const Table[] = {
#define HANDLER(Name) &&Do##Name,
#include "Handlers.def"
#undef HANDLER
  };
  if (Labels) {
    *Labels = Table;
    return OC_Done;
  }
  uint32_t *const R = C->R;
  int64_t Left = C->Left;
  Op *Ip = C->Code->slotOf(C->Pc);
  Op *Np = C->Code->slotOf(C->NPc);
  uint32_t Out;
  uint64_t Value;
  DISPATCH;

DoFetch : {
  uint32_t Va = addressOf(Ip);
  if (Op *There = C->Code->slotOf(Va); There != Ip) {
    if (Np == Ip + 1)
      Np = There + 1;
    Ip = There;
    goto * Ip->Do;
  }
  uint32_t Word;
  orvy_MemPage *Memory = nullptr;
  bool HasHooks = false;
  CALLED(fetch(C, Va, &Word, &Memory, &HasHooks));
  if (!Memory)
    goto *Table[unsigned(decode(Word, Ip))];
  C->Code->attach(pageOf(Ip), Memory, HasHooks);
  if (C->Code->isFull()) {
    CALL_OUT;
    limitSlice(C, 0);
    Left = C->Left;
  }
  if (HasHooks) // this fetch has passed the hook already; decode the slot at the next one
    goto *Table[unsigned(decode(Word, Ip))];
}
DoDecode : {
  if (pageOf(Ip)->HasHooks && isHooked(C, addressOf(Ip))) {
    Ip->Do = &&DoHooked;
    goto DoHooked;
  }
  uint32_t Word;
  std::memcpy(&Word, pageOf(Ip)->Memory->Data + addressOf(Ip) % ORVY_PAGE_SIZE, sizeof Word);
  Ip->Do = Table[unsigned(decode(fromTarget(Word), Ip))];
  goto * Ip->Do;
}

DoHooked : {
  uint32_t Word;
  CALLED(fetchHooked(C, addressOf(Ip), &Word));
  goto *Table[unsigned(decode(Word, Ip))];
}

DoSlow:
  CALLED(SlowTable.At[unsigned(Ip->Id)](C, Ip));
  ++C->Counters[infoOf(Ip->Id).Class];
  Ip = Np++;
  DISPATCH;
DoTrap:
  TRAP(uint32_t(Ip->Imm));
DoNop:
  NEXT(Barrier);
DoSethi:
  R[Ip->Rd] = uint32_t(Ip->Imm);
  NEXT(Sethi);

  ALU(Add, Arithmetic, A + B)
  ALU(Sub, Arithmetic, A - B)
  ALU(Addx, Arithmetic, A + B + C->CcC)
  ALU(Subx, Arithmetic, A - B - C->CcC)
  ALU(Addcc, Arithmetic, addWithCodes(C, A, B, 0))
  ALU(Subcc, Arithmetic, subWithCodes(C, A, B, 0))
  ALU(Addxcc, Arithmetic, addWithCodes(C, A, B, C->CcC))
  ALU(Subxcc, Arithmetic, subWithCodes(C, A, B, C->CcC))
  ALU(And, Logic, A & B)
  ALU(Or, Logic, A | B)
  ALU(Xor, Logic, A ^ B)
  ALU(Andn, Logic, A & ~B)
  ALU(Orn, Logic, A | ~B)
  ALU(Xnor, Logic, ~(A ^ B))
  LOGIC_CC(Andcc, A & B)
  LOGIC_CC(Orcc, A | B)
  LOGIC_CC(Xorcc, A ^ B)
  LOGIC_CC(Andncc, A & ~B)
  LOGIC_CC(Orncc, A | ~B)
  LOGIC_CC(Xnorcc, ~(A ^ B))
  ALU(Sll, Shift, A << (B & 31))
  ALU(Srl, Shift, A >> (B & 31))
  ALU(Sra, Shift, uint32_t(int32_t(A) >> (B & 31)))

DoUmul:
  Value = uint64_t(OP1) * OP2;
  goto Multiplied;
DoSmul:
  Value = uint64_t(int64_t(int32_t(OP1)) * int32_t(OP2));
Multiplied:
  C->Y = uint32_t(Value >> 32);
  R[Ip->Rd] = uint32_t(Value);
  NEXT(Multiply);

  LOAD(Ld, uint32_t, 2, uint32_t)
  LOAD(Ldub, uint8_t, 0, uint8_t)
  LOAD(Lduh, uint16_t, 1, uint16_t)
  LOAD(Ldsb, uint8_t, 0, signedByte)
  LOAD(Ldsh, uint16_t, 1, signedHalf)
DoLdd : {
  uint32_t Va = OP1 + OP2;
  if (DataPage *Page = pageFor<uint64_t>(C->ReadPages, Va))
    Value = loadFrom<uint64_t>(Page, Va);
  else
    CALLED(load(C, Va, 3, dataAsi(C), &Value));
  R[Ip->Rd] = uint32_t(Value >> 32);
  R[Ip->Rd + 1] = uint32_t(Value);
  R[0] = 0;
  NEXT(Load);
}
  STORE(St, uint32_t, 2, R[Ip->Rd])
  STORE(Stb, uint8_t, 0, R[Ip->Rd])
  STORE(Sth, uint16_t, 1, R[Ip->Rd])
  STORE(Std, uint64_t, 3, uint64_t(R[Ip->Rd]) << 32 | R[Ip->Rd + 1])

DoSave : {
  if (C->Wim >> ((cwpOf(C) - 1) % WindowCount) & 1)
    TRAP(TT_WindowOverflow);
  uint32_t Result = OP1 + OP2;
  windowDown(C);
  R[Ip->Rd] = Result;
  NEXT(Window);
}
DoRestore : {
  if (C->Wim >> ((cwpOf(C) + 1) % WindowCount) & 1)
    TRAP(TT_WindowUnderflow);
  uint32_t Result = OP1 + OP2;
  windowUp(C);
  R[Ip->Rd] = Result;
  NEXT(Window);
}

DoCallNear:
  R[15] = addressOf(Ip);
  TRANSFER(Jump, Ip + Ip->Imm);
DoCallFar:
  R[15] = addressOf(Ip);
  TRANSFER(Jump, C->Code->slotOf(R[15] + uint32_t(Ip->Imm) * 4));
DoJmpl : {
  uint32_t To = OP1 + OP2;
  if (To & 3)
    TRAP(TT_MemAddressNotAligned);
  R[Ip->Rd] = addressOf(Ip);
  TRANSFER(Jump, C->Code->slotOf(To));
}
DoRett : {
  uint32_t To = OP1 + OP2;
  CALLED(returnFromTrap(C, To));
  TRANSFER(Trap, C->Code->slotOf(To));
}

DoBranch:
  NEXT(Branch);
DoBnA:
  ANNUL;
DoBa:
  TRANSFER(Branch, Ip + Ip->Imm);
DoBaA:
  Ip += Ip->Imm;
JumpedAtOnce:
  ++C->Counters[ovSC_Branch];
  Np = Ip + 1;
  DISPATCH;
  BRANCH(Be, isZero(C))
  BRANCH(Ble, isZero(C) || isLess(C))
  BRANCH(Bl, isLess(C))
  BRANCH(Bleu, isZero(C) || C->CcC)
  BRANCH(Bcs, C->CcC)
  BRANCH(Bneg, isNegative(C))
  BRANCH(Bvs, overflowed(C))
  BRANCH(Bne, !isZero(C))
  BRANCH(Bg, !isZero(C) && !isLess(C))
  BRANCH(Bge, !isLess(C))
  BRANCH(Bgu, !isZero(C) && !C->CcC)
  BRANCH(Bcc, !C->CcC)
  BRANCH(Bpos, !isNegative(C))
  BRANCH(Bvc, !overflowed(C))

DoBranchFar : {
  bool Annul = Ip->Rs1;
  if (conditionHolds(C, Ip->Rd)) {
    Op *To = C->Code->slotOf(addressOf(Ip) + uint32_t(Ip->Imm) * 4);
    if (!(Annul && Ip->Rd == 8))
      TRANSFER(Branch, To);
    Ip = To;
    goto JumpedAtOnce;
  }
  if (Annul)
    ANNUL;
  NEXT(Branch);
}

TurnOver:
  Left = 0;
  CALL_OUT;
  return OC_Turn;
}

} // namespace

const void *const *handlers() {
  static const void *const *const Labels = [] {
    const void *const *Table = nullptr;
    engine(nullptr, &Table);
    return Table;
  }();
  return Labels;
}

uint32_t execute(Cpu *C) {
  return engine(C, nullptr);
}

} // namespace sparc
