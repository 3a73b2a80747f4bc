#include "Debugger/ExpressionNode.h"

#include "orvy/Support/Objsys.h"
#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

using namespace orvy;
using namespace orvy::debugger;
using namespace orvy::source;

namespace {

using Node = SourceExpression::Node;

constexpr unsigned MaxNesting = 200;      // of anonymous structures
constexpr uint64_t MaxElements = 1 << 20; // of an array made with '@'

[[noreturn]] void fail(const std::string &Why) {
  throw EvaluationError(Why);
}

// Values and operators.

/// The type that an operand of arithmetic is converted to (C, 6.3.1.8).
const Type &promoted(const Type &T, TypeTable &Types) {
  const Type &Under = T.stripped();
  switch (Under.Kind) {
  case TypeKind::Real:
    return Types.number(Under.size() == 4 ? "float" : "double");
  case TypeKind::Enumeration:
  case TypeKind::Bool:
    return Types.number("int");
  default:
    if (Under.size() < 4)
      return Types.number("int");
    if (Under.size() == 4)
      return Types.number(Under.IsSigned ? "int" : "unsigned int");
    return Types.number(Under.IsSigned ? "long long" : "unsigned long long");
  }
}

const Type &commonType(const Type &A, const Type &B, TypeTable &Types) {
  const Type &Left = promoted(A, Types), &Right = promoted(B, Types);
  if (Left.Kind == TypeKind::Real || Right.Kind == TypeKind::Real) {
    const bool IsWide = (Left.Kind == TypeKind::Real && Left.Size == 8) ||
                        (Right.Kind == TypeKind::Real && Right.Size == 8);
    return Types.number(IsWide ? "double" : "float");
  }
  if (Left.Size != Right.Size)
    return Left.Size > Right.Size ? Left : Right;
  return Left.IsSigned ? Right : Left;
}

Value realOperation(const std::string &Op, double A, double B, const Type &T, TypeTable &Types) {
  const auto truth = [&](bool Is) { return Value::ofInteger(Types.number("int"), Is); };
  if (Op == "+")
    return Value::ofReal(T, A + B);
  if (Op == "-")
    return Value::ofReal(T, A - B);
  if (Op == "*")
    return Value::ofReal(T, A * B);
  if (Op == "/")
    return Value::ofReal(T, A / B);
  if (Op == "==")
    return truth(A == B);
  if (Op == "!=")
    return truth(A != B);
  if (Op == "<")
    return truth(A < B);
  if (Op == ">")
    return truth(A > B);
  if (Op == "<=")
    return truth(A <= B);
  if (Op == ">=")
    return truth(A >= B);
  fail("operator '" + Op + "' takes no real numbers");
}

uint64_t quotient(const std::string &Op, uint64_t A, uint64_t B, bool IsSigned) {
  if (B == 0)
    fail("division by zero");
  const auto Left = static_cast<int64_t>(A), Right = static_cast<int64_t>(B);
  if (!IsSigned)
    return Op == "/" ? A / B : A % B;
  if (Right == -1) // the smallest number has no counterpart
    return Op == "/" ? 0 - A : 0;
  return static_cast<uint64_t>(Op == "/" ? Left / Right : Left % Right);
}

bool compare(const std::string &Op, uint64_t A, uint64_t B, bool IsSigned) {
  const bool IsLess = IsSigned ? static_cast<int64_t>(A) < static_cast<int64_t>(B) : A < B;
  if (Op == "==")
    return A == B;
  if (Op == "!=")
    return A != B;
  if (Op == "<")
    return IsLess;
  if (Op == ">=")
    return !IsLess;
  return Op == "<=" ? IsLess || A == B : !IsLess && A != B;
}

bool isComparison(const std::string &Op) {
  return Op == "==" || Op == "!=" || Op == "<" || Op == ">" || Op == "<=" || Op == ">=";
}

Value integerOperation(const std::string &Op, uint64_t A, uint64_t B, const Type &T) {
  if (Op == "+")
    return Value::ofInteger(T, A + B);
  if (Op == "-")
    return Value::ofInteger(T, A - B);
  if (Op == "*")
    return Value::ofInteger(T, A * B);
  if (Op == "/" || Op == "%")
    return Value::ofInteger(T, quotient(Op, A, B, T.IsSigned));
  if (Op == "&")
    return Value::ofInteger(T, A & B);
  if (Op == "|")
    return Value::ofInteger(T, A | B);
  return Value::ofInteger(T, A ^ B); // the last one, "^"
}

Value shift(const std::string &Op, const Value &A, const Value &B, Stopped &In) {
  const Type &T = promoted(A.type(), In.types());
  const uint64_t Count = B.bits(In), Width = 8 * T.Size;
  const uint64_t Bits = A.cast(T, In).bits(In);
  if (Count >= Width)
    return Value::ofInteger(
        T, Op == ">>" && T.IsSigned && static_cast<int64_t>(Bits) < 0 ? UINT64_MAX : 0);
  if (Op == "<<")
    return Value::ofInteger(T, Bits << Count);
  return Value::ofInteger(T, T.IsSigned ? static_cast<uint64_t>(static_cast<int64_t>(Bits) >> Count)
                                        : Bits >> Count);
}

bool isPointer(const Type &T) {
  return T.stripped().Kind == TypeKind::Pointer;
}

uint64_t strideOf(const Type &Pointer) {
  return std::max<uint64_t>(Pointer.stripped().target().size(), 1);
}

Value pointerOperation(const std::string &Op, const Value &A, const Value &B, Stopped &In) {
  TypeTable &Types = In.types();
  const uint64_t Left = A.bits(In), Right = B.bits(In);
  if (isComparison(Op))
    return Value::ofInteger(Types.number("int"),
                            compare(Op, Left & UINT32_MAX, Right & UINT32_MAX, false));
  if (Op == "-" && isPointer(A.type()) && isPointer(B.type()))
    return Value::ofInteger(
        Types.number("long"),
        static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(Left - Right)) /
                              static_cast<int64_t>(strideOf(A.type()))));
  if (Op == "+" && isPointer(B.type()))
    return Value::ofInteger(B.type(), Right + Left * strideOf(B.type()));
  if (Op == "+" || Op == "-") {
    const uint64_t Distance = Right * strideOf(A.type());
    return Value::ofInteger(A.type(), Op == "+" ? Left + Distance : Left - Distance);
  }
  fail("operator '" + Op + "' takes no pointers");
}

Value binary(const std::string &Op, const Value &Left, const Value &Right, Stopped &In) {
  const Value A = Left.decayed(In), B = Right.decayed(In);
  const auto check = [&](const Value &V) {
    if (!V.type().isNumber() && !isPointer(V.type()))
      fail("operator '" + Op + "' takes no value of type " + V.type().text());
  };
  check(A);
  check(B);
  if (isPointer(A.type()) || isPointer(B.type()))
    return pointerOperation(Op, A, B, In);
  if (Op == "<<" || Op == ">>")
    return shift(Op, A, B, In);
  const Type &T = commonType(A.type(), B.type(), In.types());
  if (T.Kind == TypeKind::Real)
    return realOperation(Op, A.real(In), B.real(In), T, In.types());
  const uint64_t X = A.cast(T, In).bits(In), Y = B.cast(T, In).bits(In);
  if (isComparison(Op))
    return Value::ofInteger(In.types().number("int"), compare(Op, X, Y, T.IsSigned));
  return integerOperation(Op, X, Y, T);
}

Value propertyValue(const std::string &Text, Stopped &In) {
  const size_t Dot = Text.rfind('.');
  void *Obj = Dot == Text.npos ? nullptr : orvy_objectForName(Text.substr(0, Dot).c_str());
  if (!Obj)
    fail("no object of '@" + Text + "'");
  std::string Name = Text.substr(Dot + 1);
  int Index = 0;
  if (const size_t Bracket = Name.find('['); Bracket != Name.npos) {
    Index = std::atoi(Name.c_str() + Bracket + 1);
    Name.resize(Bracket);
  }
  if (orvy_getPropLength(Obj, Name.c_str()) < 0)
    fail("object '" + Text.substr(0, Dot) + "' has no property '" + Name + "'");
  const orvy_Propval Pv = orvy_getValue(Obj, Name.c_str(), Index);
  TypeTable &Types = In.types();
  switch (Pv.Typ) {
  case ovTY_Float:
    return Value::ofReal(Types.number("double"), double{Pv.f});
  case ovTY_Double:
    return Value::ofReal(Types.number("double"), Pv.d);
  case ovTY_U8:
  case ovTY_U16:
  case ovTY_U32:
  case ovTY_U64:
  case ovTY_Uintptr:
    return Value::ofInteger(Types.number("unsigned long long"), orvy_asUnsigned(Pv));
  case ovTY_I8:
  case ovTY_I16:
  case ovTY_I32:
  case ovTY_I64:
  case ovTY_Intptr:
    return Value::ofInteger(Types.number("long long"), static_cast<uint64_t>(orvy_asInteger(Pv)));
  default:
    fail("property '@" + Text + "' is not a number");
  }
}

Value registerValue(const std::string &Name, Stopped &In) {
  TypeTable &Types = In.types();
  std::optional<uint64_t> Held;
  const auto Number = CpuView::numberOf(Name);
  if (!In.isInnermost() && Name == "pc")
    Held = In.frame().Pc;
  else if (!In.isInnermost() && Number && In.target().isSparc())
    Held = In.backtrace().readRegister(In.frame(), *Number);
  else
    Held = In.target().readNamed(Name);
  if (!Held)
    fail(Number ? "register '$" + Name + "' is not saved in this frame"
                : "no register '$" + Name + "'");
  if (Name == "pc" || Name == "npc")
    return Value::ofInteger(Types.codePointer(), *Held);
  if (Name == "sp" || Name == "fp")
    return Value::ofInteger(Types.pointerTo(Types.voidType()), *Held);
  return Value::ofInteger(Types.number(Number && *Number < 32 ? "int" : "unsigned int"), *Held);
}

void assignRegister(const std::string &Name, const Value &New, Stopped &In) {
  const uint64_t Bits = New.decayed(In).bits(In);
  const auto Number = CpuView::numberOf(Name);
  const bool IsDone = Number && In.target().isSparc()
                          ? In.backtrace().writeRegister(In.frame(), *Number, Bits)
                          : In.target().writeNamed(Name, Bits);
  if (!IsDone)
    fail("register '$" + Name + "' cannot be written");
}

} // namespace

// Evaluation.

Value Node::evaluate(Stopped &In) const {
  switch (Kind) {
  case NodeKind::Constant:
    return Constant;
  case NodeKind::Name:
    return valueNamed(Text, In);
  case NodeKind::Register:
    return registerValue(Text, In);
  case NodeKind::Property:
    return propertyValue(Text, In);
  case NodeKind::Unary:
    return unary(In);
  case NodeKind::Binary:
    return binary(Text, operand(0, In), operand(1, In), In);
  case NodeKind::And:
    return Value::ofInteger(In.types().number("int"),
                            operand(0, In).isTrue(In) && operand(1, In).isTrue(In));
  case NodeKind::Or:
    return Value::ofInteger(In.types().number("int"),
                            operand(0, In).isTrue(In) || operand(1, In).isTrue(In));
  case NodeKind::Conditional:
    return operand(operand(0, In).isTrue(In) ? 1 : 2, In);
  case NodeKind::Assignment:
    return assignment(In);
  case NodeKind::Index:
    return index(In);
  case NodeKind::Member:
    return memberOf(operand(0, In), In);
  case NodeKind::Arrow:
  case NodeKind::Dereference: {
    const Value Pointer = operand(0, In).decayed(In);
    const Type &Under = Pointer.type().stripped();
    if (Under.Kind != TypeKind::Pointer && Under.Kind != TypeKind::Integer)
      fail("a value of type " + Pointer.type().text() + " is not a pointer");
    if (Pointer.isSynthetic())
      fail("what the pointer refers to has no address");
    const Type &To = Under.Kind == TypeKind::Integer ? In.types().number("int") : Under.target();
    if (To.stripped().Kind == TypeKind::Void)
      fail("attempt to take contents of a void pointer; cast it to another type");
    const Value There = Value::inMemory(To, Pointer.bits(In));
    return Kind == NodeKind::Arrow ? memberOf(There, In) : There;
  }
  case NodeKind::Cast:
    return operand(0, In).cast(*T, In);
  case NodeKind::SizeOf: {
    const uint64_t Size = T ? T->size() : operand(0, In).type().size();
    return Value::ofInteger(In.types().number("unsigned int"), Size);
  }
  case NodeKind::AddressOf:
    return addressOf(In);
  case NodeKind::Comma:
    operand(0, In);
    return operand(1, In);
  case NodeKind::Repeat:
    return repeat(In);
  }
  fail("expression of an unknown kind");
}

/// Whether a value is a variable that stands for its own address where an address is asked for.
static bool isOwnAddress(const Value &V) {
  return V.place() == Value::Place::Memory && V.type().stripped().Kind != TypeKind::Pointer;
}

uint64_t Node::address(Stopped &In) const {
  const bool IsSum = Kind == NodeKind::Binary && (Text == "+" || Text == "-");
  if (IsSum && isOwnAddress(operand(0, In))) {
    const uint64_t Distance = operand(1, In).bits(In);
    return (Operands[0]->address(In) + (Text == "-" ? 0 - Distance : Distance)) & UINT32_MAX;
  }
  const Value V = evaluate(In);
  return isOwnAddress(V) ? V.address() : debugger::addressOf(V, In);
}

Value Node::unary(Stopped &In) const {
  const Value V = operand(0, In).decayed(In);
  if (Text == "!")
    return Value::ofInteger(In.types().number("int"), !V.isTrue(In));
  if (!V.type().isNumber())
    fail("operator '" + Text + "' takes no value of type " + V.type().text());
  const Type &To = promoted(V.type(), In.types());
  if (To.Kind == TypeKind::Real) {
    if (Text == "~")
      fail("operator '~' takes no real numbers");
    return Value::ofReal(To, Text == "-" ? -V.real(In) : V.real(In));
  }
  const uint64_t Bits = V.cast(To, In).bits(In);
  return Value::ofInteger(To, Text == "-" ? 0 - Bits : Text == "~" ? ~Bits : Bits);
}

Value Node::assignment(Stopped &In) const {
  Value New = operand(1, In);
  if (Text != "=")
    New = binary(Text.substr(0, Text.size() - 1), operand(0, In), New, In);
  if (Operands[0]->Kind == NodeKind::Register) {
    assignRegister(Operands[0]->Text, New, In);
    return operand(0, In);
  }
  Value Place = operand(0, In);
  Place.assign(New, In);
  return operand(0, In);
}

Value Node::index(Stopped &In) const {
  const Value Array = operand(0, In);
  const uint64_t Index = operand(1, In).decayed(In).bits(In);
  const Type &Under = Array.type().stripped();
  if (Under.Kind == TypeKind::Array) {
    const uint64_t Element = Index - Under.LowerBound;
    if (Array.place() != Value::Place::Memory && Under.Count && Element >= *Under.Count)
      fail("index " + std::to_string(static_cast<int64_t>(Index)) + " is outside of the array");
    return Array.element(Element, In);
  }
  if (Under.Kind != TypeKind::Pointer)
    fail("a value of type " + Array.type().text() + " cannot be indexed");
  const Type &To = Under.target();
  if (To.stripped().Kind == TypeKind::Void)
    fail("a void pointer cannot be indexed; cast it to another type");
  return Value::inMemory(To, Array.bits(In) + Index * std::max<uint64_t>(To.size(), 1));
}

namespace {

/// Finds a member by name, also in anonymous members.
std::optional<Value> findMember(const Value &Of, const std::string &Name, Stopped &In,
                                unsigned Nesting = 0) {
  if (Nesting > MaxNesting)
    return std::nullopt;
  for (const Member &M : Of.type().stripped().members()) {
    if (M.Name == Name)
      return Of.member(M, In);
    if ((M.Name.empty() || M.IsBase) && M.Of->isAggregate())
      if (auto Found = findMember(Of.member(M, In), Name, In, Nesting + 1))
        return Found;
  }
  return std::nullopt;
}

} // namespace

Value Node::memberOf(Value Of, Stopped &In) const {
  // "p.x" of a pointer means "p->x", as no other meaning makes sense.
  if (isPointer(Of.type()))
    Of = Value::inMemory(Of.type().stripped().target(), Of.bits(In));
  if (!Of.type().isAggregate())
    fail("a value of type " + Of.type().text() + " has no members");
  if (Of.type().stripped().IsIncomplete)
    fail(Of.type().text() + " is not described by the debug information");
  if (auto Found = findMember(Of, Text, In))
    return *Found;
  fail(Of.type().text() + " has no member '" + Text + "'");
}

Value Node::addressOf(Stopped &In) const {
  const Value Of = operand(0, In);
  if (Of.isBitField())
    fail("a bit field has no address");
  if (Of.place() != Value::Place::Memory)
    fail("the value is not in memory and has no address");
  return Value::ofInteger(In.types().pointerTo(Of.type()), Of.address());
}

Value Node::repeat(Stopped &In) const {
  const Value First = operand(0, In);
  const uint64_t Count = operand(1, In).decayed(In).bits(In);
  if (First.place() != Value::Place::Memory)
    fail("left side of '@' is not in memory");
  if (Count == 0 || Count > MaxElements)
    fail("an array of " + std::to_string(static_cast<int64_t>(Count)) + " elements");
  return Value::inMemory(In.types().arrayOf(First.type(), Count), First.address());
}

uint64_t orvy::debugger::addressOf(const Value &Of, Stopped &In) {
  const Type &Under = Of.type().stripped();
  if (Under.Kind == TypeKind::Void && Of.place() == Value::Place::Memory)
    return Of.address(); // a symbol without debug information
  if (Under.isAggregate())
    fail("a value of type " + Of.type().text() + " is not an address; take its address with '&'");
  return Of.decayed(In).bits(In) & UINT32_MAX;
}

SourceExpression::SourceExpression(std::string_view Text, Stopped &In, Accepts What)
    : Text(Text), What(What) {
  parse(In);
}
SourceExpression::~SourceExpression() = default;
SourceExpression::SourceExpression(SourceExpression &&) noexcept = default;
SourceExpression &SourceExpression::operator=(SourceExpression &&) noexcept = default;

void SourceExpression::parse(Stopped &In) const {
  Program *Code = In.program();
  Root = parseExpression(Text, In, What == TypeToo);
  Owner = Code ? Code->shared_from_this() : nullptr;
}

/// Its types are those of a program. In another one, of an image that was loaded again say, it is
/// parsed again.
const Node &SourceExpression::root(Stopped &In) const {
  if (In.program() != Owner.get())
    parse(In);
  return *Root;
}

const Type &SourceExpression::type(Stopped &In) const {
  const Node &Whole = root(In);
  return Whole.Kind == NodeKind::SizeOf && Whole.T ? *Whole.T : Whole.evaluate(In).type();
}

Value SourceExpression::evaluate(Stopped &In) const {
  return root(In).evaluate(In);
}

uint64_t SourceExpression::address(Stopped &In) const {
  return root(In).address(In);
}
