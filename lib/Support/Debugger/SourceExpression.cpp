#include "Debugger/SourceExpression.h"

#include "CommandLine/Characters.h"

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

constexpr unsigned MaxNesting = 200;      // of an expression
constexpr uint64_t MaxElements = 1 << 20; // of an array made with '@'

[[noreturn]] void fail(const std::string &Why) {
  throw EvaluationError(Why);
}

enum class NodeKind : uint8_t {
  Constant,
  Name,
  Register,
  Property,
  Unary,
  Binary,
  And,
  Or,
  Conditional,
  Assignment,
  Index,
  Member,
  Arrow,
  Cast,
  SizeOf,
  AddressOf,
  Dereference,
  Comma,
  Repeat
};

} // namespace

/// A part of an expression.
struct SourceExpression::Node {
  NodeKind Kind;
  std::string Text; ///< name or operator
  Value Constant;
  const Type *T = nullptr;
  std::vector<std::unique_ptr<Node>> Operands;

  Value evaluate(Stopped &In) const;
  uint64_t address(Stopped &In) const;

private:
  Value operand(size_t Index, Stopped &In) const { return Operands[Index]->evaluate(In); }
  Value unary(Stopped &In) const;
  Value assignment(Stopped &In) const;
  Value index(Stopped &In) const;
  Value memberOf(Value Of, Stopped &In) const;
  Value addressOf(Stopped &In) const;
  Value repeat(Stopped &In) const;
};

namespace {

using Node = SourceExpression::Node;
using NodePtr = std::unique_ptr<Node>;

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
  Frame &Selected = In.frame();
  const auto Number = CpuView::numberOf(Name);
  if (Name == "pc")
    Held = Selected.Pc;
  else if (Number && In.target().isSparc())
    Held = In.backtrace().readRegister(Selected, *Number);
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

// Parsing.

namespace {

enum class Token : uint8_t { End, Number, Text, Character, Name, Register, Property, Symbol };

/// Reads tokens out of a text.
class Scanner {
public:
  explicit Scanner(std::string_view Text) : Text(Text) { next(); }

  Token kind() const { return Kind; }
  const std::string &word() const { return Word; }
  size_t place() const { return Start; }
  bool is(std::string_view Symbol) const {
    return (Kind == Token::Symbol || Kind == Token::Name) && Word == Symbol;
  }
  void next();
  std::string_view rest() const { return Text.substr(Start); }
  /// Goes back to a place that it was at.
  void reset(size_t To) {
    Position = To;
    next();
  }

private:
  bool take(bool (*Is)(char)) {
    if (Position >= Text.size() || !Is(Text[Position]))
      return false;
    Word += Text[Position++];
    return true;
  }
  char peek(size_t Distance = 0) const {
    return Position + Distance < Text.size() ? Text[Position + Distance] : '\0';
  }
  void scanNumber();
  void scanQuoted(char Quote);
  void scanSymbol();

  std::string_view Text;
  size_t Position = 0, Start = 0;
  Token Kind = Token::End;
  std::string Word;
};

bool isNameStart(char C) {
  return (C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z') || C == '_';
}
bool isNamePart(char C) {
  return isNameStart(C) || cl::isDigit(C);
}
bool isPropertyPart(char C) {
  return isNamePart(C) || C == '-' || C == '.' || C == '[' || C == ']' || C == ':';
}

void Scanner::next() {
  while (Position < Text.size() && (Text[Position] == ' ' || Text[Position] == '\t'))
    ++Position;
  Start = Position;
  Word.clear();
  const char C = peek();
  if (C == '\0') {
    Kind = Token::End;
  } else if (cl::isDigit(C) || (C == '.' && cl::isDigit(peek(1)))) {
    scanNumber();
  } else if (isNameStart(C)) {
    Kind = Token::Name;
    while (take(isNamePart))
      ;
  } else if (C == '$') {
    Kind = Token::Register;
    ++Position;
    while (take(isNamePart))
      ;
  } else if (C == '"' || C == '\'') {
    scanQuoted(C);
  } else {
    scanSymbol();
  }
}

void Scanner::scanNumber() {
  Kind = Token::Number;
  const bool IsHex = peek() == '0' && (peek(1) == 'x' || peek(1) == 'X');
  for (;; Word += Text[Position++]) {
    const char C = peek();
    const bool IsSign = (C == '+' || C == '-') && !IsHex && !Word.empty() &&
                        (Word.back() == 'e' || Word.back() == 'E');
    if (!isNamePart(C) && C != '.' && !IsSign)
      return;
  }
}

void Scanner::scanQuoted(char Quote) {
  Kind = Quote == '"' ? Token::Text : Token::Character;
  for (++Position; peek() != Quote; ++Position) {
    if (peek() == '\0')
      fail("text without its closing quote");
    if (peek() != '\\') {
      Word += peek();
      continue;
    }
    ++Position;
    const char C = peek();
    const std::string_view Codes = "ntrabfve0\\\"'";
    const std::string_view Meanings("\n\t\r\a\b\f\v\033\0\\\"'", 12);
    const size_t Found = C == '\0' ? Codes.npos : Codes.find(C);
    if (Found == Codes.npos)
      fail("unknown escape in a text");
    Word += Meanings[Found];
  }
  ++Position;
}

void Scanner::scanSymbol() {
  Kind = Token::Symbol;
  for (const std::string_view Symbol :
       {"<<=", ">>=", "->", "::", "<<", ">>", "<=", ">=", "==", "!=",
        "&&",  "||",  "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^="})
    if (Text.substr(Position).starts_with(Symbol)) {
      Word = Symbol;
      Position += Symbol.size();
      return;
    }
  Word = Text[Position++];
}

class Parser {
public:
  Parser(std::string_view Text, Stopped &In) : Text(Text), In(In), At(Text) {}

  NodePtr parse(bool TypeToo) {
    if (TypeToo) {
      if (const Type *T = typeName(); T && At.kind() == Token::End) {
        NodePtr Made = make(NodeKind::SizeOf, "type");
        Made->T = T;
        return Made;
      }
      At.reset(0);
    }
    NodePtr Whole = comma();
    if (At.kind() != Token::End)
      failHere("unexpected '" + std::string(At.rest()) + "'");
    return Whole;
  }

private:
  [[noreturn]] void failHere(const std::string &Why) const {
    fail(Why + " in '" + std::string(Text) + "'");
  }
  static NodePtr make(NodeKind Kind, std::string Text, NodePtr A = nullptr, NodePtr B = nullptr,
                      NodePtr C = nullptr) {
    auto Made = std::make_unique<Node>();
    Made->Kind = Kind;
    Made->Text = std::move(Text);
    for (NodePtr *Each : {&A, &B, &C})
      if (*Each)
        Made->Operands.push_back(std::move(*Each));
    return Made;
  }
  bool accept(std::string_view Symbol) {
    if (!At.is(Symbol))
      return false;
    At.next();
    return true;
  }
  void expect(std::string_view Symbol) {
    if (!accept(Symbol))
      failHere(
          "'" + std::string(Symbol) + "' expected" +
          (At.kind() == Token::End ? " at the end" : " before '" + std::string(At.rest()) + "'"));
  }

  NodePtr comma();
  NodePtr assignment();
  NodePtr conditional();
  NodePtr binaryFrom(unsigned Precedence);
  NodePtr unary();
  NodePtr postfix();
  NodePtr primary();
  NodePtr name();
  NodePtr property();
  NodePtr number();
  NodePtr constant(Value V) {
    NodePtr Made = make(NodeKind::Constant, "");
    Made->Constant = std::move(V);
    return Made;
  }
  const Type *typeName();
  const Type *baseType();
  bool takeQualifier();

  /// Counts nesting on the stack.
  struct Deeper {
    explicit Deeper(Parser &P) : Of(P) {
      if (++Of.Nesting > MaxNesting)
        fail("expression is nested too deeply");
    }
    ~Deeper() { --Of.Nesting; }
    Parser &Of;
  };

  std::string_view Text;
  Stopped &In;
  Scanner At;
  unsigned Nesting = 0;
};

NodePtr Parser::comma() {
  NodePtr Left = assignment();
  while (accept(","))
    Left = make(NodeKind::Comma, ",", std::move(Left), assignment());
  return Left;
}

NodePtr Parser::assignment() {
  const Deeper Mark(*this);
  NodePtr Left = conditional();
  for (const char *Op : {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="})
    if (accept(Op))
      return make(NodeKind::Assignment, Op, std::move(Left), assignment());
  return Left;
}

NodePtr Parser::conditional() {
  NodePtr Condition = binaryFrom(0);
  if (!accept("?"))
    return Condition;
  NodePtr Then = comma();
  expect(":");
  return make(NodeKind::Conditional, "?", std::move(Condition), std::move(Then), conditional());
}

/// Operators from the weakest to the strongest.
const std::vector<std::string_view> Levels[] = {
    {"||"},       {"&&"}, {"|"},      {"^"},          {"&"}, {"==", "!="}, {"<", ">", "<=", ">="},
    {"<<", ">>"}, {"@"},  {"+", "-"}, {"*", "/", "%"}};

NodePtr Parser::binaryFrom(unsigned Level) {
  if (Level == std::size(Levels))
    return unary();
  NodePtr Left = binaryFrom(Level + 1);
  for (;;) {
    const auto Found = std::ranges::find_if(Levels[Level], [&](std::string_view Op) {
      return At.kind() == Token::Symbol && At.is(Op);
    });
    if (Found == Levels[Level].end())
      return Left;
    const std::string Op(*Found);
    At.next();
    const NodeKind Kind = Op == "||"   ? NodeKind::Or
                          : Op == "&&" ? NodeKind::And
                          : Op == "@"  ? NodeKind::Repeat
                                       : NodeKind::Binary;
    Left = make(Kind, Op, std::move(Left), binaryFrom(Level + 1));
  }
}

NodePtr Parser::unary() {
  const Deeper Mark(*this);
  for (const char *Op : {"-", "+", "!", "~"})
    if (accept(Op))
      return make(NodeKind::Unary, Op, unary());
  if (accept("*"))
    return make(NodeKind::Dereference, "*", unary());
  if (accept("&"))
    return make(NodeKind::AddressOf, "&", unary());
  if (At.is("@"))
    return property();
  if (At.is("sizeof")) {
    At.next();
    NodePtr Made = make(NodeKind::SizeOf, "sizeof");
    const size_t Back = At.place();
    if (accept("(")) {
      Made->T = typeName();
      if (Made->T) {
        expect(")");
        return Made;
      }
      At.reset(Back);
    }
    Made->Operands.push_back(unary());
    return Made;
  }
  if (At.is("(")) {
    const size_t Back = At.place();
    At.next();
    if (const Type *T = typeName()) {
      expect(")");
      NodePtr Made = make(NodeKind::Cast, "cast", unary());
      Made->T = T;
      return Made;
    }
    At.reset(Back);
  }
  return postfix();
}

NodePtr Parser::postfix() {
  NodePtr Of = primary();
  for (;;) {
    if (accept("[")) {
      Of = make(NodeKind::Index, "[", std::move(Of), comma());
      expect("]");
    } else if (At.is(".") || At.is("->")) {
      const NodeKind Kind = At.is(".") ? NodeKind::Member : NodeKind::Arrow;
      At.next();
      if (At.kind() != Token::Name)
        failHere("name of a member expected");
      Of = make(Kind, At.word(), std::move(Of));
      At.next();
    } else if (At.is("(")) {
      failHere("functions of the target program cannot be called");
    } else {
      return Of;
    }
  }
}

/// A property: everything up to a character that no name of an object or property has.
NodePtr Parser::property() {
  std::string_view Rest = At.rest().substr(1);
  size_t Length = 0;
  while (Length < Rest.size() && isPropertyPart(Rest[Length]))
    ++Length;
  // The longest beginning that names an object and something of it: "@a.b-1" is a difference.
  for (size_t End = Length; End > 0; --End) {
    const std::string Whole(Rest.substr(0, End));
    const size_t Dot = Whole.rfind('.');
    if (Dot == Whole.npos || Dot + 1 == Whole.size() ||
        (End < Rest.size() && isNamePart(Rest[End])))
      continue;
    const bool IsName = Whole.find('-', Dot) == Whole.npos && Whole.find(':', Dot) == Whole.npos;
    if (!IsName || !orvy_objectForName(Whole.substr(0, Dot).c_str()))
      continue;
    At.reset(At.place() + 1 + End);
    return make(NodeKind::Property, Whole);
  }
  failHere("no object of '@" + std::string(Rest.substr(0, Length)) + "'");
}

NodePtr Parser::primary() {
  TypeTable &Types = In.types();
  switch (At.kind()) {
  case Token::Number:
    return number();
  case Token::Character: {
    if (At.rest().find("::") == At.word().size() + 2) { // a file name in quotes
      const std::string Scope = At.word();
      At.next();
      At.next();
      if (At.kind() != Token::Name)
        failHere("name of a variable expected");
      NodePtr Made = make(NodeKind::Name, Scope + "::" + At.word());
      At.next();
      return Made;
    }
    if (At.word().size() != 1)
      failHere("a character constant has one character");
    const Value V = Value::ofInteger(Types.number("char"), static_cast<uint8_t>(At.word()[0]));
    At.next();
    return constant(V);
  }
  case Token::Text: {
    const std::string &Word = At.word();
    std::vector<uint8_t> Contents(Word.begin(), Word.end());
    Contents.push_back(0);
    const Type &T = Types.arrayOf(Types.number("char"), Contents.size());
    NodePtr Made = constant(Value::ofBytes(T, std::move(Contents)));
    At.next();
    return Made;
  }
  case Token::Register: {
    NodePtr Made = make(NodeKind::Register, At.word());
    At.next();
    return Made;
  }
  case Token::Name:
    return name();
  default:
    break;
  }
  if (accept("(")) {
    NodePtr Inner = comma();
    expect(")");
    return Inner;
  }
  failHere(At.kind() == Token::End ? "value expected at the end"
                                   : "value expected before '" + std::string(At.rest()) + "'");
}

/// A name, or "scope::name"; the scope may be a file, and so have dots, slashes and dashes.
NodePtr Parser::name() {
  std::string Whole = At.word();
  const std::string_view Rest = At.rest();
  const size_t Colons = Rest.find("::");
  const auto isFilePart = [](char C) {
    return isNamePart(C) || C == '.' || C == '/' || C == '-' || C == ':';
  };
  if (Colons != Rest.npos && std::ranges::all_of(Rest.substr(0, Colons), isFilePart)) {
    size_t End = Rest.rfind("::") + 2;
    for (size_t Next = Colons + 2; Next < End; ++Next)
      if (!isFilePart(Rest[Next]))
        End = Colons + 2;
    while (End < Rest.size() && isNamePart(Rest[End]))
      ++End;
    Whole = Rest.substr(0, End);
    At.reset(At.place() + End);
  } else {
    At.next();
  }
  return make(NodeKind::Name, Whole);
}

NodePtr Parser::number() {
  const std::string Word = At.word();
  TypeTable &Types = In.types();
  const bool IsHex = Word.size() > 1 && Word[0] == '0' && (Word[1] == 'x' || Word[1] == 'X');
  char *End = nullptr;
  At.next();
  if (!IsHex && Word.find_first_of(".eE") != Word.npos) {
    const double Number = std::strtod(Word.c_str(), &End);
    const bool IsFloat = *End == 'f' || *End == 'F';
    if (End[IsFloat] != '\0')
      failHere("'" + Word + "' is not a number");
    return constant(Value::ofReal(Types.number(IsFloat ? "float" : "double"), Number));
  }
  errno = 0;
  const uint64_t Number = std::strtoull(Word.c_str(), &End, 0);
  const std::string Suffix = End;
  const bool IsUnsigned = Suffix.find_first_of("uU") != Suffix.npos;
  const bool IsLong =
      std::ranges::count_if(Suffix, [](char C) { return C == 'l' || C == 'L'; }) > 1;
  if (Suffix.find_first_not_of("uUlL") != Suffix.npos || errno != 0)
    failHere("'" + Word + "' is not a number");
  const bool IsDecimal = Word[0] != '0';
  const char *Name = "unsigned long long";
  if (Number <= INT32_MAX && !IsUnsigned && !IsLong)
    Name = "int";
  else if (Number <= UINT32_MAX && !IsLong && (IsUnsigned || !IsDecimal))
    Name = "unsigned int";
  else if (Number <= INT64_MAX && !IsUnsigned)
    Name = "long long";
  return constant(Value::ofInteger(Types.number(Name), Number));
}

// Types.

bool Parser::takeQualifier() {
  return accept("const") || accept("volatile") || accept("restrict");
}

/// A type without its stars and bounds; null, with nothing taken, if it is something else.
const Type *Parser::baseType() {
  TypeTable &Types = In.types();
  Program *Code = In.program();
  while (takeQualifier())
    ;
  const struct {
    const char *Word;
    uint64_t Tag;
  } Tagged[] = {{"struct", dwarf::DW_TAG_structure_type},
                {"union", dwarf::DW_TAG_union_type},
                {"enum", dwarf::DW_TAG_enumeration_type},
                {"class", dwarf::DW_TAG_class_type}};
  for (const auto &[Word, Tag] : Tagged)
    if (accept(Word)) {
      const std::string Name = At.word();
      DebugInfoEntry *Entry =
          At.kind() == Token::Name && Code ? Code->typeNamed(Name, Tag) : nullptr;
      if (!Entry)
        failHere("no " + std::string(Word) + " type named '" + Name + "'");
      At.next();
      return &Types.of(Entry);
    }
  if (accept("void"))
    return &Types.voidType();
  bool IsSigned = false, IsUnsigned = false, IsShort = false, IsChar = false, IsInt = false;
  bool IsFloat = false, IsDouble = false;
  unsigned Longs = 0, Words = 0;
  for (;; ++Words) {
    if (accept("signed"))
      IsSigned = true;
    else if (accept("unsigned"))
      IsUnsigned = true;
    else if (accept("short"))
      IsShort = true;
    else if (accept("long"))
      ++Longs;
    else if (accept("char"))
      IsChar = true;
    else if (accept("int"))
      IsInt = true;
    else if (accept("float"))
      IsFloat = true;
    else if (accept("double"))
      IsDouble = true;
    else if (Words == 0 || !takeQualifier())
      break;
  }
  static_cast<void>(IsSigned);
  static_cast<void>(IsInt);
  if (Words > 0) {
    if (IsFloat || IsDouble)
      return &Types.number(IsFloat ? "float" : "double");
    const char *Base = IsChar       ? "char"
                       : IsShort    ? "short"
                       : Longs > 1  ? "long long"
                       : Longs == 1 ? "long"
                                    : "int";
    return &Types.number((IsUnsigned ? std::string("unsigned ") + Base : Base).c_str());
  }
  if (At.kind() != Token::Name || !Code)
    return nullptr;
  for (const uint64_t Tag : {dwarf::DW_TAG_typedef, dwarf::DW_TAG_base_type})
    if (DebugInfoEntry *Entry = Code->typeNamed(At.word(), Tag)) {
      At.next();
      return &Types.of(Entry);
    }
  return nullptr;
}

/// A type as in a cast; null, with nothing taken, if it is something else.
const Type *Parser::typeName() {
  const Type *T = baseType();
  if (!T)
    return nullptr;
  TypeTable &Types = In.types();
  const auto stars = [&] {
    for (;;)
      if (accept("*"))
        T = &Types.pointerTo(*T);
      else if (!takeQualifier())
        return;
  };
  stars();
  // "(*)[4]": a pointer to an array.
  unsigned Pointers = 0;
  const size_t Back = At.place();
  if (accept("(")) {
    while (accept("*"))
      ++Pointers;
    if (Pointers == 0)
      At.reset(Back);
    else
      expect(")");
  }
  std::vector<uint64_t> Bounds;
  while (accept("[")) {
    if (At.kind() != Token::Number)
      failHere("number of elements expected");
    Bounds.push_back(std::strtoull(At.word().c_str(), nullptr, 0));
    At.next();
    expect("]");
  }
  for (auto Bound = Bounds.rbegin(); Bound != Bounds.rend(); ++Bound)
    T = &Types.arrayOf(*T, *Bound);
  for (; Pointers > 0; --Pointers)
    T = &Types.pointerTo(*T);
  return T;
}

} // namespace

uint64_t orvy::debugger::addressOf(const Value &Of, Stopped &In) {
  const Type &Under = Of.type().stripped();
  if (Under.Kind == TypeKind::Void && Of.place() == Value::Place::Memory)
    return Of.address(); // a symbol without debug information
  if (Under.isAggregate())
    fail("a value of type " + Of.type().text() + " is not an address; take its address with '&'");
  return Of.decayed(In).bits(In) & UINT32_MAX;
}

SourceExpression::SourceExpression(std::string_view Text, Stopped &In, Accepts What)
    : Text(Text), Root(Parser(this->Text, In).parse(What == TypeToo)) {}

const Type &SourceExpression::type(Stopped &In) const {
  return Root->Kind == NodeKind::SizeOf && Root->T ? *Root->T : evaluate(In).type();
}
SourceExpression::~SourceExpression() = default;
SourceExpression::SourceExpression(SourceExpression &&) noexcept = default;
SourceExpression &SourceExpression::operator=(SourceExpression &&) noexcept = default;

Value SourceExpression::evaluate(Stopped &In) const {
  return Root->evaluate(In);
}

uint64_t SourceExpression::address(Stopped &In) const {
  return Root->address(In);
}
