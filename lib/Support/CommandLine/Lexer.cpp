#include "orvy/Support/Lexer.h"

#include "Base/InternalError.h"
#include "CommandLine/Characters.h"
#include "CommandLine/Trace.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iterator>

using namespace orvy;
using namespace orvy::cl;

namespace {

struct Spelling {
  std::string_view Text;
  TokenKind Kind;
};

constexpr Spelling Keywords[] = {
    {"if", TokenKind::If},       {"elif", TokenKind::Elif}, {"else", TokenKind::Else},
    {"while", TokenKind::While}, {"for", TokenKind::For},   {"ret", TokenKind::Return},
    {"fn", TokenKind::Fn},
};

constexpr Spelling Pairs[] = {
    {"&&", TokenKind::LogicalAnd}, {"||", TokenKind::LogicalOr}, {"^^", TokenKind::LogicalXor},
    {"<<", TokenKind::Shl},        {">>", TokenKind::Shr},       {"<=", TokenKind::LessEq},
    {">=", TokenKind::GreaterEq},  {"==", TokenKind::Equal},
};

constexpr std::string_view Singles = "!$%&()*+,-./:;<=>?[]^{|}~";

template <size_t N>
TokenKind findSpelling(const Spelling (&Table)[N], std::string_view Text, TokenKind Default) {
  const auto Found = std::find_if(std::begin(Table), std::end(Table),
                                  [&](const Spelling &Each) { return Each.Text == Text; });
  return Found == std::end(Table) ? Default : Found->Kind;
}

// Whether a character is a digit up to LastDigit or an underscore.
constexpr bool isIn(int Character, char LastDigit) {
  return (Character >= '0' && Character <= LastDigit) || Character == '_';
}
constexpr bool isBinary(int Character) {
  return isIn(Character, '1');
}
constexpr bool isOctal(int Character) {
  return isIn(Character, '7');
}
constexpr bool isDecimal(int Character) {
  return isIn(Character, '9');
}
constexpr bool isHexadecimal(int Character) {
  return isDecimal(Character) || (Character >= 'a' && Character <= 'f') ||
         (Character >= 'A' && Character <= 'F');
}

// The base that a letter after a leading 0 stands for.
constexpr int baseOf(int Letter) {
  switch (Letter) {
  case 'b':
  case 'B':
    return 2;
  case 'o':
  case 'O':
    return 8;
  case 'x':
  case 'X':
    return 16;
  }
  return 10;
}

} // namespace

// Tokens.

std::string_view Token::getText() const {
  return Start ? std::string_view(Start, static_cast<size_t>(End - Start) + 1) : std::string_view();
}

uint64_t Token::getIntegerValue() const {
  ORVY_REQUIRE(Kind == TokenKind::Integer);
  std::string Digits(getText());
  std::erase(Digits, '_');
  const int Base = Digits.size() > 2 ? baseOf(Digits[1]) : 10;
  const char *First = Digits.data() + (Base == 10 ? 0 : 2);
  uint64_t Value = 0;
  const auto Read = std::from_chars(First, Digits.data() + Digits.size(), Value, Base);
  return Read.ec == std::errc::result_out_of_range ? UINT64_MAX : Value;
}

double Token::getRealValue() const {
  ORVY_REQUIRE(Kind == TokenKind::Real);
  return std::strtod(std::string(getText()).c_str(), nullptr);
}

std::string Token::getStringValue() const {
  ORVY_REQUIRE(Kind == TokenKind::String);
  return std::string(getText());
}

// The cursor.

Lexer::Lexer(std::string_view Text, Tracing Says) : Says(Says) {
  restart(Text);
}

void Lexer::restart(std::string_view Text) {
  Start = Cursor = Text.data();
  End = Start + Text.size();
  Line = Column = 1;
  Current = Token();
  NeedsMore = false;
}

int Lexer::charAt(ptrdiff_t Distance) const {
  return Distance < End - Cursor ? static_cast<unsigned char>(Cursor[Distance]) : -1;
}

void Lexer::consumeChar() {
  if (eof())
    return;
  ++Column;
  if (*Cursor++ == '\n') {
    ++Line;
    Column = 1;
  }
}

template <typename Predicate> void Lexer::consumeWhile(Predicate Fits) {
  while (!eof() && Fits(getChar()))
    consumeChar();
}

// Tokens of a text.

Token Lexer::lex() {
  const bool IsAtEnd = eof();
  const bool SeesLineEnd = !IsAtEnd && skipBlanks();
  const SourceLoc Loc = {Line, Column};
  if (SeesLineEnd)
    return {TokenKind(';'), nullptr, nullptr, Loc};
  const char *First = Cursor;
  const TokenKind Kind = eof() ? TokenKind::Eof : lexText();
  if (Kind == TokenKind::Eof)
    return {Kind, nullptr, nullptr, Loc};
  return {Kind, First, Cursor - 1, Loc};
}

// Skips blanks, comments and line ends after a backslash. Returns whether there was any other line
// end.
bool Lexer::skipBlanks() {
  NeedsMore = false;
  bool SeesLineEnd = false;
  for (;;) {
    if (getChar() == '#')
      consumeWhile([](int Character) { return Character != '\n'; });
    else if (isSpace(getChar())) {
      SeesLineEnd |= getChar() == '\n';
      consumeChar();
    } else if (!skipContinuation())
      break;
  }
  if (SeesLineEnd || !eof())
    NeedsMore = false;
  return SeesLineEnd;
}

bool Lexer::skipContinuation() {
  if (getChar() != '\\' || (!peekEof() && peekChar() != '\n'))
    return false;
  consumeChar();
  consumeChar();
  NeedsMore = true;
  return true;
}

TokenKind Lexer::lexText() {
  const char First = *Cursor;
  if (isLetter(First))
    return lexWord();
  if (isDigit(First))
    return lexNumber();
  if (First == '"' || First == '\'')
    return lexQuoted();
  return lexOperator();
}

TokenKind Lexer::lexWord() {
  const char *First = Cursor;
  consumeWhile([](int Character) {
    return isLetterOrDigit(static_cast<char>(Character)) || Character == '-' || Character == '_';
  });
  return findSpelling(Keywords, {First, Cursor}, TokenKind::Ident);
}

TokenKind Lexer::lexNumber() {
  const int Base = getChar() == '0' ? baseOf(peekChar()) : 10;
  if (Base != 10) {
    consumeChar();
    consumeChar();
    consumeWhile(Base == 2 ? isBinary : Base == 8 ? isOctal : isHexadecimal);
    return TokenKind::Integer;
  }
  consumeWhile(isDecimal);
  if (getChar() != '.')
    return TokenKind::Integer;
  trace(Says, "lexing float\n");
  lexFraction();
  return TokenKind::Real;
}

void Lexer::lexFraction() {
  consumeChar();
  consumeWhile(isDecimal);
  if (getChar() != 'e' && getChar() != 'E')
    return;
  consumeChar();
  if (getChar() == '+' || getChar() == '-')
    consumeChar();
  consumeWhile(isDecimal);
  if (getChar() != '.')
    return;
  consumeChar();
  consumeWhile(isDecimal);
}

TokenKind Lexer::lexQuoted() {
  const int Quote = getChar();
  consumeChar();
  consumeWhile([Quote](int Character) { return Character != Quote; });
  NeedsMore = eof();
  consumeChar();
  return TokenKind::String;
}

TokenKind Lexer::lexOperator() {
  const char First = *Cursor;
  const TokenKind Pair =
      peekEof() ? TokenKind::Eof : findSpelling(Pairs, {Cursor, 2}, TokenKind::Eof);
  if (Pair != TokenKind::Eof) {
    consumeChar();
    consumeChar();
    return Pair;
  }
  const bool IsKnown = Singles.find(First) != Singles.npos;
  if (IsKnown || First == '\\')
    consumeChar();
  return IsKnown ? TokenKind(First) : TokenKind::Eof;
}
