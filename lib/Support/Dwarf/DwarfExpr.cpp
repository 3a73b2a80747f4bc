// The stack machine of DWARF expressions.

#include "orvy/Support/DwarfExpression.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/VectorStream.h"

#include <algorithm>
#include <array>
#include <climits>
#include <functional>
#include <stdexcept>

using namespace orvy;
using namespace orvy::dwarf;
using utils::VectorStream;

/// Evaluates one expression. Any exception ends it.
class ExpressionVM::Run {
public:
  struct Inputs {
    const uint64_t *ObjectAddr, *Cfa, *FrameBase;
  };

  Run(ExpressionVM &VM, Context *Ctxt, const std::vector<uint8_t> &Expr, size_t Offset,
      const Inputs &Given)
      : Stack(VM.Stack), Pieces(VM.Pieces), PiecesBefore(VM.Pieces.size()), Ctxt(Ctxt),
        VS(Expr, Offset), Given(Given) {
    VS.BigEndian = true;
  }

  void runTo(size_t End) {
    for (size_t Done = 0; VS.getOffset() < End; ++Done) {
      if (Done == MaxOperations)
        fail("dwarf expression does not end");
      auto Opcode = read<uint8_t>();
      (this->*Operations[Opcode])(Opcode);
    }
  }

  [[noreturn]] static void fail(const char *Why) { throw std::runtime_error(Why); }

private:
  using Operation = void (Run::*)(uint8_t Opcode);
  struct Row {
    uint8_t First, Last;
    Operation Act;
  };

  static const Row Rows[];
  static const std::array<Operation, 256> Operations;

  template <typename T> T read() {
    T Number = 0;
    VS >> Number;
    return Number;
  }
  template <typename T> T readLEB128() {
    T Number = 0;
    VS >> VectorStream::LEB128 >> Number;
    return Number;
  }

  Context &target() const {
    if (!Ctxt)
      fail("dwarf expression without target");
    return *Ctxt;
  }
  static uint64_t require(const uint64_t *Input, const char *Missing) {
    if (!Input)
      fail(Missing);
    return *Input;
  }

  void push(const Value &Slot) {
    if (Stack.size() == MaxDepth)
      fail("dwarf stack too deep");
    Stack.push_back(Slot);
  }
  void pushMemory(uint64_t Address) { push({Value::Memory, Address, Ctxt}); }
  Value &peek(size_t Depth) {
    if (Depth >= Stack.size())
      fail("dwarf stack has too few values");
    return Stack[Stack.size() - 1 - Depth];
  }
  Value pop() {
    Value Top = peek(0);
    Stack.pop_back();
    return Top;
  }
  Scalar popScalar() { return pop().scalar(); }

  void nothing(uint8_t) {}

  // Numbers

  template <typename T> void constant(uint8_t) { push({read<T>(), Ctxt}); }
  template <typename T> void constantLEB128(uint8_t) { push({readLEB128<T>(), Ctxt}); }
  void literal(uint8_t Opcode) { push({Opcode - 0x30, Ctxt}); }
  void implicitValue(uint8_t Opcode) {
    auto Size = readLEB128<uint64_t>();
    if (Size > sizeof(uint64_t))
      fail("Data.size() <= 8");
    switch (Size) {
    case 1:
      return constant<uint8_t>(Opcode);
    case 2:
      return constant<uint16_t>(Opcode);
    case 4:
      return constant<uint32_t>(Opcode);
    case 8:
      return constant<uint64_t>(Opcode);
    default:
      fail("invalid data size");
    }
  }

  // Registers and memory

  void address(uint8_t) {
    uint64_t Address = 0;
    VS >> VectorStream::Word >> Address;
    pushMemory(Address);
  }
  void reg(uint8_t Opcode) { push({Value::Register, Opcode - 0x50, Ctxt}); }
  void regx(uint8_t) { push({Value::Register, readLEB128<uint64_t>(), Ctxt}); }
  void basedOn(int Reg) {
    auto Offset = static_cast<uint64_t>(readLEB128<int64_t>());
    pushMemory(target().getRegisterValue(Reg).scalar().u64() + Offset);
  }
  void breg(uint8_t Opcode) { basedOn(Opcode - 0x70); }
  void bregx(uint8_t) {
    basedOn(static_cast<int>(std::min<uint64_t>(readLEB128<uint64_t>(), INT_MAX)));
  }
  void fbreg(uint8_t) {
    auto Offset = static_cast<uint64_t>(readLEB128<int64_t>());
    pushMemory(require(Given.FrameBase, "fbreg without frame base") + Offset);
  }
  void pushObjectAddress(uint8_t) {
    pushMemory(require(Given.ObjectAddr, "push object address without object"));
  }
  void callFrameCfa(uint8_t) { pushMemory(require(Given.Cfa, "call_frame_cfa without cfa")); }
  void deref(uint8_t) {
    uint64_t Address = popScalar().u64();
    push({target().getMemoryValue(Address).scalar(), Ctxt});
  }
  void xderef(uint8_t) {
    uint64_t Address = popScalar().u64();
    uint64_t Space = popScalar().u64();
    push({target().getMemorySpaceValue(Address, Space).scalar(), Ctxt});
    errs() << "DW_OP_xderef not supported\n";
  }
  void formTlsAddress(uint8_t) { push(target().getTLSAddress(popScalar().u64())); }

  // The stack

  void dup(uint8_t) { push(Value(peek(0))); }
  void drop(uint8_t) { pop(); }
  void over(uint8_t) { push(Value(peek(1))); }
  void pick(uint8_t) { push(Value(peek(read<uint8_t>()))); }
  void swap(uint8_t) { std::swap(peek(1), peek(0)); }
  void rot(uint8_t) {
    Value *Third = &peek(2);
    std::rotate(Third, Third + 2, Third + 3);
  }

  // Arithmetic

  template <typename Apply> void binary(uint8_t) {
    Value Top = pop();
    Value &Second = peek(0);
    Second = {Apply()(Second.scalar(), Top.scalar()), Ctxt};
  }
  template <typename Apply> void unary(uint8_t) { peek(0) = {Apply()(peek(0).scalar()), Ctxt}; }

  struct Absolute {
    Scalar operator()(Scalar Number) const { return Number.abs(); }
  };
  struct ShiftLeft {
    Scalar operator()(const Scalar &Number, const Scalar &Count) const { return Number << Count; }
  };
  struct ShiftLogical {
    Scalar operator()(Scalar Number, const Scalar &Count) const { return Number.srl(Count); }
  };
  struct ShiftArithmetic {
    Scalar operator()(Scalar Number, const Scalar &Count) const { return Number.sra(Count); }
  };

  void plusUconst(uint8_t) {
    Scalar Sum = Scalar(readLEB128<uint64_t>());
    Value &Top = peek(0);
    Top = {Top.scalar() += Sum, Ctxt};
  }

  // Branches

  void skip(uint8_t) { VS.seekRelative(read<int16_t>()); }
  void bra(uint8_t) {
    auto Offset = read<int16_t>();
    if (popScalar().boolean())
      VS.seekRelative(Offset);
  }

  // Pieces

  void piece(uint8_t) {
    auto Size = readLEB128<uint64_t>();
    Value Referred = peek(0).getReferredValue();
    if (Size == 0)
      return;
    uint64_t Bits = Referred.scalar().u64();
    if (Size > PiecesBefore + MaxPieceBytes - Pieces.size())
      fail("dwarf pieces too large");
    for (uint64_t Left = Size; Left > 0; --Left)
      Pieces.push_back(static_cast<uint8_t>(Bits >> (Left * 8 - 8) % 64));
  }

  void unsupported(uint8_t Opcode) {
    switch (Opcode) {
    case 0x94:
      fail("deref size not supported");
    case 0x95:
      fail("xderef size not supported");
    case 0x9d:
      fail("bit pieces not supported yet");
    default:
      fail("dwarf calls not supported");
    }
  }

  std::vector<Value> &Stack;
  std::vector<uint8_t> &Pieces;
  size_t PiecesBefore;
  Context *Ctxt;
  VectorStream VS;
  Inputs Given;
};

// Ordered by opcode (DWARF 4, 7.7.1). Other opcodes are ignored.
constexpr ExpressionVM::Run::Row ExpressionVM::Run::Rows[] = {
    {0x03, 0x03, &Run::address},                      // DW_OP_addr
    {0x06, 0x06, &Run::deref},                        // DW_OP_deref
    {0x08, 0x08, &Run::constant<uint8_t>},            // DW_OP_const1u
    {0x09, 0x09, &Run::constant<int8_t>},             // DW_OP_const1s
    {0x0a, 0x0a, &Run::constant<uint16_t>},           // DW_OP_const2u
    {0x0b, 0x0b, &Run::constant<int16_t>},            // DW_OP_const2s
    {0x0c, 0x0c, &Run::constant<uint32_t>},           // DW_OP_const4u
    {0x0d, 0x0d, &Run::constant<int32_t>},            // DW_OP_const4s
    {0x0e, 0x0e, &Run::constant<uint64_t>},           // DW_OP_const8u
    {0x0f, 0x0f, &Run::constant<int64_t>},            // DW_OP_const8s
    {0x10, 0x10, &Run::constantLEB128<uint64_t>},     // DW_OP_constu
    {0x11, 0x11, &Run::constantLEB128<int64_t>},      // DW_OP_consts
    {0x12, 0x12, &Run::dup},                          // DW_OP_dup
    {0x13, 0x13, &Run::drop},                         // DW_OP_drop
    {0x14, 0x14, &Run::over},                         // DW_OP_over
    {0x15, 0x15, &Run::pick},                         // DW_OP_pick
    {0x16, 0x16, &Run::swap},                         // DW_OP_swap
    {0x17, 0x17, &Run::rot},                          // DW_OP_rot
    {0x18, 0x18, &Run::xderef},                       // DW_OP_xderef
    {0x19, 0x19, &Run::unary<Absolute>},              // DW_OP_abs
    {0x1a, 0x1a, &Run::binary<std::bit_and<>>},       // DW_OP_and
    {0x1b, 0x1b, &Run::binary<std::divides<>>},       // DW_OP_div
    {0x1c, 0x1c, &Run::binary<std::minus<>>},         // DW_OP_minus
    {0x1d, 0x1d, &Run::binary<std::modulus<>>},       // DW_OP_mod
    {0x1e, 0x1e, &Run::binary<std::multiplies<>>},    // DW_OP_mul
    {0x1f, 0x1f, &Run::unary<std::negate<>>},         // DW_OP_neg
    {0x20, 0x20, &Run::unary<std::bit_not<>>},        // DW_OP_not
    {0x21, 0x21, &Run::binary<std::bit_or<>>},        // DW_OP_or
    {0x22, 0x22, &Run::binary<std::plus<>>},          // DW_OP_plus
    {0x23, 0x23, &Run::plusUconst},                   // DW_OP_plus_uconst
    {0x24, 0x24, &Run::binary<ShiftLeft>},            // DW_OP_shl
    {0x25, 0x25, &Run::binary<ShiftLogical>},         // DW_OP_shr
    {0x26, 0x26, &Run::binary<ShiftArithmetic>},      // DW_OP_shra
    {0x27, 0x27, &Run::binary<std::bit_xor<>>},       // DW_OP_xor
    {0x28, 0x28, &Run::bra},                          // DW_OP_bra
    {0x29, 0x29, &Run::binary<std::equal_to<>>},      // DW_OP_eq
    {0x2a, 0x2a, &Run::binary<std::greater_equal<>>}, // DW_OP_ge
    {0x2b, 0x2b, &Run::binary<std::greater<>>},       // DW_OP_gt
    {0x2c, 0x2c, &Run::binary<std::less_equal<>>},    // DW_OP_le
    {0x2d, 0x2d, &Run::binary<std::less<>>},          // DW_OP_lt
    {0x2e, 0x2e, &Run::binary<std::not_equal_to<>>},  // DW_OP_ne
    {0x2f, 0x2f, &Run::skip},                         // DW_OP_skip
    {0x30, 0x4f, &Run::literal},                      // DW_OP_lit0 to DW_OP_lit31
    {0x50, 0x6f, &Run::reg},                          // DW_OP_reg0 to DW_OP_reg31
    {0x70, 0x8f, &Run::breg},                         // DW_OP_breg0 to DW_OP_breg31
    {0x90, 0x90, &Run::regx},                         // DW_OP_regx
    {0x91, 0x91, &Run::fbreg},                        // DW_OP_fbreg
    {0x92, 0x92, &Run::bregx},                        // DW_OP_bregx
    {0x93, 0x93, &Run::piece},                        // DW_OP_piece
    {0x94, 0x95, &Run::unsupported},                  // DW_OP_deref_size, DW_OP_xderef_size
    {0x97, 0x97, &Run::pushObjectAddress},            // DW_OP_push_object_address
    {0x98, 0x9a, &Run::unsupported},                  // DW_OP_call2, DW_OP_call4, DW_OP_call_ref
    {0x9b, 0x9b, &Run::formTlsAddress},               // DW_OP_form_tls_address
    {0x9c, 0x9c, &Run::callFrameCfa},                 // DW_OP_call_frame_cfa
    {0x9d, 0x9d, &Run::unsupported},                  // DW_OP_bit_piece
    {0x9e, 0x9e, &Run::implicitValue},                // DW_OP_implicit_value
};

constexpr std::array<ExpressionVM::Run::Operation, 256> ExpressionVM::Run::Operations = [] {
  std::array<Operation, 256> Table;
  Table.fill(&Run::nothing);
  for (const Row &Each : Rows)
    std::fill(&Table[Each.First], &Table[Each.Last] + 1, Each.Act);
  return Table;
}();

void ExpressionVM::runExpr(Context *Ctxt, const std::vector<uint8_t> &Expr, size_t Offset,
                           size_t Length, const uint64_t *ObjectAddr, const uint64_t *Cfa,
                           const uint64_t *FrameBase) {
  if (Offset >= Expr.size()) {
    orvy_logDebugFunc(nullptr, "invalid offset to dwarf expr vm");
    throw 42;
  }
  try {
    if (Length > Expr.size() - Offset)
      Run::fail("invalid lengthto dwarf expr vm");
    return Run(*this, Ctxt, Expr, Offset, {ObjectAddr, Cfa, FrameBase}).runTo(Offset + Length);
  } catch (const std::exception &Failure) {
    orvy_logDebugFunc(nullptr, "%s", Failure.what());
  } catch (...) { // a number carries no message
  }
  errs() << "exception during dwarf expression evaluation\n";
}

Value ExpressionVM::result() const {
  return Stack.empty() ? Value(Value::Undefined, 0, nullptr) : Stack.back();
}
