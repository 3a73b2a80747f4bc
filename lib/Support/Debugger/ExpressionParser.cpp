#include "Debugger/ExpressionNode.h"

#include "CommandLine/Characters.h"

#include "orvy/Support/Objsys.h"

#include <algorithm>
#include <cstdlib>

using namespace orvy;
using namespace orvy::debugger;
using namespace orvy::source;

namespace {

using Node = SourceExpression::Node;
using NodePtr = std::unique_ptr<Node>;

constexpr unsigned MaxNesting = 200;

[[noreturn]] void fail(const std::string &Why) {
  throw EvaluationError(Why);
}

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

NodePtr orvy::debugger::parseExpression(std::string_view Text, Stopped &In, bool TypeToo) {
  return Parser(Text, In).parse(TypeToo);
}
