#include "Source/Locations.h"

#include "Dwarf/DwarfForms.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>
#include <utility>

using namespace orvy;
using namespace orvy::source;
using namespace orvy::dwarf;
using utils::VectorStream;

namespace {

constexpr size_t MaxDepth = 1024;          // of the stack
constexpr unsigned MaxOperations = 100000; // branches can go back
constexpr unsigned MaxCalls = 16;
constexpr uint64_t MaxPiece = 1 << 20; // bytes
constexpr unsigned AddressBytes = 4;

enum Operation : uint8_t {
  OP_addr = 0x03,
  OP_deref = 0x06,
  OP_const1u = 0x08,
  OP_const1s,
  OP_const2u,
  OP_const2s,
  OP_const4u,
  OP_const4s,
  OP_const8u,
  OP_const8s,
  OP_constu,
  OP_consts,
  OP_dup,
  OP_drop,
  OP_over,
  OP_pick,
  OP_swap,
  OP_rot,
  OP_xderef,
  OP_abs,
  OP_and,
  OP_div,
  OP_minus,
  OP_mod,
  OP_mul,
  OP_neg,
  OP_not,
  OP_or,
  OP_plus,
  OP_plus_uconst,
  OP_shl,
  OP_shr,
  OP_shra,
  OP_xor,
  OP_bra,
  OP_eq,
  OP_ge,
  OP_gt,
  OP_le,
  OP_lt,
  OP_ne,
  OP_skip,
  OP_lit0 = 0x30,
  OP_reg0 = 0x50,
  OP_breg0 = 0x70,
  OP_regx = 0x90,
  OP_fbreg,
  OP_bregx,
  OP_piece,
  OP_deref_size,
  OP_xderef_size,
  OP_nop,
  OP_push_object_address,
  OP_call2,
  OP_call4,
  OP_call_ref,
  OP_form_tls_address,
  OP_call_frame_cfa,
  OP_bit_piece,
  OP_implicit_value,
  OP_stack_value,
  OP_implicit_pointer,
  OP_addrx,
  OP_constx,
  OP_entry_value,
  OP_const_type,
  OP_regval_type,
  OP_deref_type,
  OP_xderef_type,
  OP_convert,
  OP_reinterpret,
  OP_GNU_push_tls_address = 0xe0,
  OP_GNU_uninit = 0xf0,
  OP_GNU_implicit_pointer = 0xf2,
  OP_GNU_entry_value = 0xf3,
  OP_GNU_const_type = 0xf4,
  OP_GNU_regval_type = 0xf5,
  OP_GNU_deref_type = 0xf6,
  OP_GNU_convert = 0xf7,
  OP_GNU_reinterpret = 0xf9,
  OP_GNU_parameter_ref = 0xfa,
  OP_GNU_addr_index = 0xfb,
  OP_GNU_const_index = 0xfc,
  OP_GNU_variable_value = 0xfd
};

enum : int64_t { ATE_float = 4, ATE_signed = 5, ATE_signed_char = 6 };

[[noreturn]] void fail(const std::string &Why) {
  throw std::runtime_error(Why);
}

/// Thrown where the compiler has kept nothing from which the value could be told.
struct NotKept {};

/// The type of a value on the stack; the generic one is an unsigned number of the size of an
/// address, whose comparisons and divisions are signed.
struct ValueType {
  uint8_t Size = AddressBytes;
  bool IsSigned = true;
  bool IsFloat = false;
  bool IsGeneric = true;

  uint64_t cut(uint64_t Bits) const {
    return Size >= 8 ? Bits : Bits & ((uint64_t{1} << 8 * Size) - 1);
  }
  int64_t extended(uint64_t Bits) const {
    if (Size >= 8)
      return static_cast<int64_t>(Bits);
    const unsigned Shift = 64 - 8 * Size;
    return static_cast<int64_t>(Bits << Shift) >> Shift;
  }
};

struct StackValue {
  uint64_t Bits = 0;
  ValueType Type;

  double real() const {
    return Type.Size == 4 ? double{std::bit_cast<float>(static_cast<uint32_t>(Bits))}
                          : std::bit_cast<double>(Bits);
  }
};

StackValue generic(uint64_t Bits) {
  return {Bits & UINT32_MAX, {}};
}

StackValue ofReal(double Value, ValueType Type) {
  return {Type.Size == 4 ? std::bit_cast<uint32_t>(static_cast<float>(Value))
                         : std::bit_cast<uint64_t>(Value),
          Type};
}

StackValue converted(const StackValue &From, ValueType To) {
  if (From.Type.IsFloat && To.IsFloat)
    return ofReal(From.real(), To);
  if (To.IsFloat)
    return ofReal(From.Type.IsSigned && !From.Type.IsGeneric
                      ? static_cast<double>(From.Type.extended(From.Bits))
                      : static_cast<double>(From.Type.cut(From.Bits)),
                  To);
  if (From.Type.IsFloat) {
    const double Value = From.real();
    if (!(std::fabs(Value) < 0x1p63))
      fail("conversion of a real number out of range");
    return {To.cut(static_cast<uint64_t>(static_cast<int64_t>(Value))), To};
  }
  const bool Extends = From.Type.IsSigned && !From.Type.IsGeneric;
  const uint64_t Bits =
      Extends ? static_cast<uint64_t>(From.Type.extended(From.Bits)) : From.Type.cut(From.Bits);
  return {To.cut(Bits), To};
}

/// Runs one expression, and those that it calls.
class Evaluator {
public:
  Evaluator(DebugInfoEntry *Of, ExpressionContext &In) : Of(Of), In(In) {}

  void push(StackValue Value) {
    if (Stack.size() >= MaxDepth)
      fail("stack of the expression overflows");
    Stack.push_back(Value);
  }
  void run(Bytes Expression);

  std::vector<Piece> pieces();
  std::optional<uint64_t> number();

private:
  void step(uint8_t Opcode);
  bool stepLocation(uint8_t Opcode);
  bool stepConstant(uint8_t Opcode);
  bool stepStack(uint8_t Opcode);
  bool stepTyped(uint8_t Opcode);
  bool stepArithmetic(uint8_t Opcode);

  StackValue pop() {
    if (Stack.empty())
      fail("stack of the expression is empty");
    const StackValue Top = Stack.back();
    Stack.pop_back();
    return Top;
  }
  const StackValue &peek(size_t Depth) const {
    if (Depth >= Stack.size())
      fail("stack of the expression is too short");
    return Stack[Stack.size() - 1 - Depth];
  }
  template <typename T> T fixed() {
    T Value = 0;
    *VS >> Value;
    return Value;
  }
  uint64_t unsignedOperand() { return readULEB128(*VS); }
  int64_t signedOperand() { return readSLEB128(*VS); }
  std::vector<uint8_t> block(uint64_t Length) {
    if (Length > MaxPiece || Length > VS->getLeft())
      fail("operand past the end of the expression");
    std::vector<uint8_t> Found(Length);
    for (uint8_t &Byte : Found)
      *VS >> Byte;
    return Found;
  }
  void jump(int16_t Distance);
  void call(DebugInfoEntry *Entry);

  uint64_t registerValue(uint64_t Number) {
    const auto Value = In.readRegister(Number);
    if (!Value)
      fail("value of register " + std::to_string(Number) + " is not known");
    return *Value;
  }
  StackValue load(uint64_t Address, ValueType Type);
  ValueType typeAt(uint64_t UnitOffset);
  uint64_t addressAt(uint64_t Index);

  void setSimple(Piece P) {
    Simple = std::move(P);
    HasSimple = true;
  }
  Piece takeCurrent();
  void endPiece(uint64_t Bits, uint64_t BitOffset);
  static std::vector<uint8_t> bytesOf(const StackValue &Value);

  DebugInfoEntry *Of;
  ExpressionContext &In;
  std::vector<StackValue> Stack;
  std::vector<Piece> Done;
  Piece Simple; // a register, an implicit value or pointer
  bool HasSimple = false, IsValue = false;
  VectorStream *VS = nullptr;
  uint64_t End = 0;
  unsigned Operations = 0, Calls = 0;
};

void Evaluator::run(Bytes Expression) {
  if (Expression.empty())
    return;
  const std::vector<uint8_t> Copy(Expression.begin(), Expression.end());
  VectorStream Stream(Copy);
  Stream.BigEndian = true;
  VectorStream *const Outer = std::exchange(VS, &Stream);
  const uint64_t OuterEnd = std::exchange(End, Copy.size());
  while (Stream.getOffset() < Copy.size()) {
    if (++Operations > MaxOperations)
      fail("expression does not end");
    step(fixed<uint8_t>());
  }
  VS = Outer;
  End = OuterEnd;
}

void Evaluator::jump(int16_t Distance) {
  const int64_t To = static_cast<int64_t>(VS->getOffset()) + Distance;
  if (To < 0 || To > static_cast<int64_t>(End))
    fail("branch out of the expression");
  if (To == static_cast<int64_t>(End)) // the end, where a stream cannot be positioned
    while (VS->getLeft() > 0)
      fixed<uint8_t>();
  else
    VS->seek(static_cast<uint64_t>(To));
}

void Evaluator::call(DebugInfoEntry *Entry) {
  if (!Entry || ++Calls > MaxCalls)
    fail("call of another expression");
  const LocationText Called = locationOf(*Entry, DW_AT_location, 0);
  run(Called.Expression);
  --Calls;
}

StackValue Evaluator::load(uint64_t Address, ValueType Type) {
  uint8_t Loaded[8] = {};
  if (Type.Size == 0 || Type.Size > sizeof(Loaded))
    fail("load of an odd size");
  if (!In.readMemory(Address, Loaded, Type.Size))
    fail("memory at the address of the expression cannot be read");
  uint64_t Bits = 0;
  for (unsigned Index = 0; Index < Type.Size; ++Index)
    Bits = Bits << 8 | Loaded[Index];
  return {Bits, Type};
}

/// The base type at an offset of the unit; 0 means the generic type.
ValueType Evaluator::typeAt(uint64_t UnitOffset) {
  if (UnitOffset == 0)
    return {};
  DebugInfoEntry *Entry = Of ? Of->getUnit()->getDIEWithLocalOffset(UnitOffset) : nullptr;
  if (!Entry || Entry->getTag() != DW_TAG_base_type)
    fail("expression refers to a type that is not there");
  const int64_t Size = constantOf(*Entry, DW_AT_byte_size).value_or(0);
  const int64_t Encoding = constantOf(*Entry, DW_AT_encoding).value_or(0);
  if (Size < 1 || Size > 8 || (Encoding == ATE_float && Size < 4))
    fail("expression refers to a type of an odd size");
  return {static_cast<uint8_t>(Size), Encoding == ATE_signed || Encoding == ATE_signed_char,
          Encoding == ATE_float, false};
}

uint64_t Evaluator::addressAt(uint64_t Index) {
  DebugInfoEntry *Unit = Of ? unitEntryOf(*Of) : nullptr;
  if (!Unit)
    fail("index of an address without its unit");
  const auto Base = Unit->find(DW_AT_addr_base);
  const uint64_t Start = Base ? Base->getOffset() : 8;
  const Section &Words = Of->getDebugInfo()->AddrSec;
  if (Start > Words.size() || Index >= (Words.size() - Start) / 4)
    fail("index past the end of the addresses");
  VectorStream At(Words, Start + 4 * Index);
  At.BigEndian = true;
  uint32_t Word = 0;
  At >> Word;
  return Word;
}

void Evaluator::step(uint8_t Opcode) {
  if (Opcode >= OP_lit0 && Opcode < OP_reg0)
    return push(generic(Opcode - OP_lit0));
  if (Opcode >= OP_reg0 && Opcode < OP_breg0)
    return setSimple({Piece::Register, static_cast<uint64_t>(Opcode - OP_reg0), {}, nullptr, 0, 0});
  if (Opcode >= OP_breg0 && Opcode < OP_regx) {
    const int64_t Offset = signedOperand();
    return push(generic(registerValue(Opcode - OP_breg0) + static_cast<uint64_t>(Offset)));
  }
  if (Opcode == OP_nop || Opcode == OP_GNU_uninit)
    return;
  if (!stepLocation(Opcode) && !stepConstant(Opcode) && !stepStack(Opcode) && !stepTyped(Opcode) &&
      !stepArithmetic(Opcode))
    fail("operation " + std::to_string(Opcode) + " is not known");
}

bool Evaluator::stepLocation(uint8_t Opcode) {
  uint64_t First = 0;
  switch (Opcode) {
  case OP_regx:
    setSimple({Piece::Register, unsignedOperand(), {}, nullptr, 0, 0});
    return true;
  case OP_bregx: {
    First = unsignedOperand();
    const int64_t Offset = signedOperand();
    push(generic(registerValue(First) + static_cast<uint64_t>(Offset)));
    return true;
  }
  case OP_fbreg: {
    const int64_t Offset = signedOperand();
    const auto Base = In.frameBase();
    if (!Base)
      fail("frame base is not known");
    push(generic(*Base + static_cast<uint64_t>(Offset)));
    return true;
  }
  case OP_call_frame_cfa: {
    const auto Address = In.callFrameAddress();
    if (!Address)
      fail("frame address is not known");
    push(generic(*Address));
    return true;
  }
  case OP_piece:
    First = unsignedOperand();
    endPiece(First > MaxPiece ? 8 * MaxPiece : 8 * First, 0);
    return true;
  case OP_bit_piece:
    First = unsignedOperand();
    endPiece(std::min(First, 8 * MaxPiece), unsignedOperand());
    return true;
  case OP_stack_value:
    IsValue = true;
    return true;
  case OP_implicit_value: {
    Piece P;
    P.Is = Piece::Contents;
    P.Contained = block(unsignedOperand());
    setSimple(std::move(P));
    return true;
  }
  case OP_implicit_pointer:
  case OP_GNU_implicit_pointer: {
    First = fixed<uint32_t>();
    Piece P;
    P.Is = Piece::ImplicitPointer;
    P.Where = static_cast<uint64_t>(signedOperand());
    Unit *Around = Of ? Of->getDebugInfo()->getCompUnitAround(First) : nullptr;
    P.Target = Around ? Around->getDIEWithSectionOffset(First) : nullptr;
    setSimple(std::move(P));
    return true;
  }
  case OP_entry_value:
  case OP_GNU_entry_value: {
    const std::vector<uint8_t> Expression = block(unsignedOperand());
    const auto Value = In.entryValue(Expression);
    if (!Value)
      throw NotKept();
    push(generic(*Value));
    return true;
  }
  case OP_call2:
    First = fixed<uint16_t>();
    call(Of ? Of->getUnit()->getDIEWithLocalOffset(First) : nullptr);
    return true;
  case OP_call4:
    First = fixed<uint32_t>();
    call(Of ? Of->getUnit()->getDIEWithLocalOffset(First) : nullptr);
    return true;
  case OP_push_object_address:
  case OP_call_ref:
  case OP_form_tls_address:
  case OP_GNU_push_tls_address:
  case OP_GNU_parameter_ref:
  case OP_GNU_variable_value:
    fail("operation " + std::to_string(Opcode) + " is not supported");
  default:
    return false;
  }
}

bool Evaluator::stepConstant(uint8_t Opcode) {
  const auto pushSigned = [&](int64_t Value) { push(generic(static_cast<uint64_t>(Value))); };
  switch (Opcode) {
  case OP_addr:
  case OP_const4u:
    push(generic(fixed<uint32_t>()));
    return true;
  case OP_addrx:
  case OP_constx:
  case OP_GNU_addr_index:
  case OP_GNU_const_index:
    push(generic(addressAt(unsignedOperand())));
    return true;
  case OP_const1u:
    push(generic(fixed<uint8_t>()));
    return true;
  case OP_const1s:
    pushSigned(fixed<int8_t>());
    return true;
  case OP_const2u:
    push(generic(fixed<uint16_t>()));
    return true;
  case OP_const2s:
    pushSigned(fixed<int16_t>());
    return true;
  case OP_const4s:
    pushSigned(fixed<int32_t>());
    return true;
  case OP_const8u:
  case OP_const8s:
    push({fixed<uint64_t>(), {8, Opcode == OP_const8s, false, false}});
    return true;
  case OP_constu: {
    const uint64_t Value = unsignedOperand();
    push(Value > UINT32_MAX ? StackValue{Value, {8, false, false, false}} : generic(Value));
    return true;
  }
  case OP_consts: {
    const int64_t Value = signedOperand();
    if (Value == static_cast<int32_t>(Value))
      pushSigned(Value);
    else
      push({static_cast<uint64_t>(Value), {8, true, false, false}});
    return true;
  }
  default:
    return false;
  }
}

bool Evaluator::stepStack(uint8_t Opcode) {
  switch (Opcode) {
  case OP_dup:
    push(peek(0));
    return true;
  case OP_drop:
    pop();
    return true;
  case OP_over:
    push(peek(1));
    return true;
  case OP_pick:
    push(peek(fixed<uint8_t>()));
    return true;
  case OP_swap:
    peek(1);
    std::swap(Stack[Stack.size() - 1], Stack[Stack.size() - 2]);
    return true;
  case OP_rot:
    peek(2);
    std::rotate(Stack.end() - 3, Stack.end() - 1, Stack.end());
    return true;
  case OP_skip:
    jump(fixed<int16_t>());
    return true;
  case OP_bra: {
    const auto Distance = fixed<int16_t>();
    const StackValue Condition = pop();
    if (Condition.Type.cut(Condition.Bits) != 0)
      jump(Distance);
    return true;
  }
  case OP_deref:
    push(load(pop().Bits, {}));
    return true;
  case OP_deref_size: {
    ValueType Narrow;
    Narrow.Size = fixed<uint8_t>();
    const StackValue Loaded = load(pop().Bits, Narrow);
    push(Narrow.Size > AddressBytes ? StackValue{Loaded.Bits, {8, false, false, false}}
                                    : generic(Loaded.Bits));
    return true;
  }
  default:
    return false;
  }
}

bool Evaluator::stepTyped(uint8_t Opcode) {
  switch (Opcode) {
  case OP_const_type:
  case OP_GNU_const_type: {
    const ValueType Type = typeAt(unsignedOperand());
    uint64_t Bits = 0;
    for (const uint8_t Byte : block(fixed<uint8_t>()))
      Bits = Bits << 8 | Byte;
    push({Bits, Type});
    return true;
  }
  case OP_regval_type:
  case OP_GNU_regval_type: {
    const uint64_t Number = unsignedOperand();
    const ValueType Type = typeAt(unsignedOperand());
    uint64_t Bits = registerValue(Number);
    if (Type.Size == 8)
      Bits = Bits << 32 | registerValue(Number + 1); // a pair, the upper word first
    push({Type.cut(Bits), Type});
    return true;
  }
  case OP_deref_type:
  case OP_GNU_deref_type: {
    const auto Size = fixed<uint8_t>();
    ValueType Type = typeAt(unsignedOperand());
    if (Size != Type.Size)
      fail("load of another size than that of its type");
    push(load(pop().Bits, Type));
    return true;
  }
  case OP_convert:
  case OP_GNU_convert: {
    const ValueType Type = typeAt(unsignedOperand());
    push(converted(pop(), Type));
    return true;
  }
  case OP_reinterpret:
  case OP_GNU_reinterpret: {
    const ValueType Type = typeAt(unsignedOperand());
    const StackValue Value = pop();
    push({Type.cut(Value.Bits), Type});
    return true;
  }
  default:
    return false;
  }
}

StackValue realResult(uint8_t Opcode, const StackValue &A, const StackValue &B) {
  const double Left = A.real(), Right = B.real();
  switch (Opcode) {
  case OP_plus:
    return ofReal(Left + Right, A.Type);
  case OP_minus:
    return ofReal(Left - Right, A.Type);
  case OP_mul:
    return ofReal(Left * Right, A.Type);
  case OP_div:
    return ofReal(Left / Right, A.Type);
  case OP_eq:
    return generic(Left == Right);
  case OP_ge:
    return generic(Left >= Right);
  case OP_gt:
    return generic(Left > Right);
  case OP_le:
    return generic(Left <= Right);
  case OP_lt:
    return generic(Left < Right);
  case OP_ne:
    return generic(Left != Right);
  default:
    fail("operation on real numbers");
  }
}

StackValue quotient(uint8_t Opcode, const StackValue &A, const StackValue &B) {
  const ValueType T = A.Type;
  const uint64_t Left = T.cut(A.Bits), Right = T.cut(B.Bits);
  if (Right == 0)
    fail("division by zero");
  // The generic type divides signed numbers, and takes the rest of unsigned ones.
  if (!T.IsSigned || (T.IsGeneric && Opcode == OP_mod))
    return {T.cut(Opcode == OP_div ? Left / Right : Left % Right), T};
  const int64_t Dividend = T.extended(Left), Divisor = T.extended(Right);
  if (Divisor == -1)
    return {T.cut(Opcode == OP_div ? 0 - Left : 0), T};
  return {T.cut(static_cast<uint64_t>(Opcode == OP_div ? Dividend / Divisor : Dividend % Divisor)),
          T};
}

StackValue shifted(uint8_t Opcode, const StackValue &A, const StackValue &B) {
  const ValueType T = A.Type;
  const uint64_t Value = T.cut(A.Bits), Count = B.Type.cut(B.Bits);
  const bool IsOut = Count >= 8u * T.Size;
  switch (Opcode) {
  case OP_shl:
    return {IsOut ? 0 : T.cut(Value << Count), T};
  case OP_shr:
    return {IsOut ? 0 : Value >> Count, T};
  default:
    return {T.cut(static_cast<uint64_t>(T.extended(Value) >> (IsOut ? 63 : Count))), T};
  }
}

StackValue numberResult(uint8_t Opcode, const StackValue &A, const StackValue &B) {
  const ValueType T = A.Type;
  const int64_t Left = T.IsSigned ? T.extended(A.Bits) : static_cast<int64_t>(T.cut(A.Bits));
  const int64_t Right = T.IsSigned ? T.extended(B.Bits) : static_cast<int64_t>(T.cut(B.Bits));
  const bool IsLess =
      T.IsSigned ? Left < Right : static_cast<uint64_t>(Left) < static_cast<uint64_t>(Right);
  switch (Opcode) {
  case OP_plus:
    return {T.cut(A.Bits + B.Bits), T};
  case OP_minus:
    return {T.cut(A.Bits - B.Bits), T};
  case OP_mul:
    return {T.cut(A.Bits * B.Bits), T};
  case OP_and:
    return {T.cut(A.Bits & B.Bits), T};
  case OP_or:
    return {T.cut(A.Bits | B.Bits), T};
  case OP_xor:
    return {T.cut(A.Bits ^ B.Bits), T};
  case OP_div:
  case OP_mod:
    return quotient(Opcode, A, B);
  case OP_shl:
  case OP_shr:
  case OP_shra:
    return shifted(Opcode, A, B);
  case OP_eq:
    return generic(Left == Right);
  case OP_ne:
    return generic(Left != Right);
  case OP_lt:
    return generic(IsLess);
  case OP_ge:
    return generic(!IsLess);
  case OP_le:
    return generic(IsLess || Left == Right);
  default: // OP_gt
    return generic(!IsLess && Left != Right);
  }
}

bool Evaluator::stepArithmetic(uint8_t Opcode) {
  switch (Opcode) {
  case OP_abs: {
    const StackValue Value = pop();
    if (Value.Type.IsFloat)
      push(ofReal(std::fabs(Value.real()), Value.Type));
    else
      push({Value.Type.extended(Value.Bits) < 0 ? Value.Type.cut(0 - Value.Bits) : Value.Bits,
            Value.Type});
    return true;
  }
  case OP_neg: {
    const StackValue Value = pop();
    push(Value.Type.IsFloat ? ofReal(-Value.real(), Value.Type)
                            : StackValue{Value.Type.cut(0 - Value.Bits), Value.Type});
    return true;
  }
  case OP_not: {
    const StackValue Value = pop();
    push({Value.Type.cut(~Value.Bits), Value.Type});
    return true;
  }
  case OP_plus_uconst: {
    const uint64_t Addend = unsignedOperand();
    const StackValue Value = pop();
    push({Value.Type.cut(Value.Bits + Addend), Value.Type});
    return true;
  }
  case OP_and:
  case OP_div:
  case OP_minus:
  case OP_mod:
  case OP_mul:
  case OP_or:
  case OP_plus:
  case OP_shl:
  case OP_shr:
  case OP_shra:
  case OP_xor:
  case OP_eq:
  case OP_ge:
  case OP_gt:
  case OP_le:
  case OP_lt:
  case OP_ne: {
    const StackValue Top = pop(), Second = pop();
    push(Second.Type.IsFloat ? realResult(Opcode, Second, Top) : numberResult(Opcode, Second, Top));
    return true;
  }
  default:
    return false;
  }
}

std::vector<uint8_t> Evaluator::bytesOf(const StackValue &Value) {
  std::vector<uint8_t> Found(Value.Type.Size);
  for (unsigned Index = 0; Index < Value.Type.Size; ++Index)
    Found[Index] = static_cast<uint8_t>(Value.Bits >> 8 * (Value.Type.Size - 1 - Index));
  return Found;
}

/// The location that the operations since the last piece have described.
Piece Evaluator::takeCurrent() {
  Piece P;
  if (HasSimple) {
    P = std::move(Simple);
  } else if (IsValue) {
    P.Is = Piece::Contents;
    P.Contained = bytesOf(pop());
  } else if (!Stack.empty()) {
    P.Is = Piece::Memory;
    P.Where = pop().Bits;
  }
  HasSimple = IsValue = false;
  Simple = {};
  return P;
}

void Evaluator::endPiece(uint64_t Bits, uint64_t BitOffset) {
  if (Done.size() >= MaxDepth)
    fail("too many pieces");
  Piece P = takeCurrent();
  P.Bits = Bits;
  P.BitOffset = BitOffset;
  Done.push_back(std::move(P));
}

std::vector<Piece> Evaluator::pieces() {
  if (Done.empty())
    Done.push_back(takeCurrent());
  return std::move(Done);
}

std::optional<uint64_t> Evaluator::number() {
  if (HasSimple && Simple.Is == Piece::Register)
    return In.readRegister(Simple.Where);
  if (Stack.empty())
    return std::nullopt;
  return Stack.back().Type.cut(Stack.back().Bits);
}

/// The reason of the exception being handled.
std::string reason() {
  return currentReason();
}

} // namespace

Location orvy::source::evaluateLocation(Bytes Expression, DebugInfoEntry &Of, ExpressionContext &In,
                                        std::optional<uint64_t> Start) {
  try {
    Evaluator Run(&Of, In);
    if (Start)
      Run.push(generic(*Start));
    Run.run(Expression);
    return {Run.pieces(), {}};
  } catch (const NotKept &) {
    return {{Piece()}, {}};
  } catch (...) { // both exceptions and integers are thrown
    return {{}, reason()};
  }
}

std::optional<uint64_t> orvy::source::evaluateNumber(Bytes Expression, DebugInfoEntry *Of,
                                                     ExpressionContext &In,
                                                     std::optional<uint64_t> Start) {
  try {
    Evaluator Run(Of, In);
    if (Start)
      Run.push(generic(*Start));
    Run.run(Expression);
    return Run.number();
  } catch (...) {
    return std::nullopt;
  }
}
