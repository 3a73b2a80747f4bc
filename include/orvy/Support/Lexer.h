// Lexer.h - splits the text of an expression into tokens.
//
//     Lexer Input("1 + 0xFF_FF");
//     for (Input.consumeToken(); Input.peekNextToken().Kind != TokenKind::Eof;
//     Input.consumeToken())
//       use(Input.peekNextToken());
//
// The text is not copied: it must outlive the lexer and its tokens. One thread at a time.

#ifndef ORVY_SUPPORT_LEXER_H
#define ORVY_SUPPORT_LEXER_H

#include "orvy/Support/Export.h"

#include <string>
#include <string_view>

namespace orvy::cl {

/// A place in a text, both from 1.
struct SourceLoc {
  uint32_t Line = 1;
  uint32_t Column = 1;
};

/// What a token is. A token of a single character has the character's code: TokenKind('+').
enum class TokenKind : uint32_t {
  LineFeed = '\n',
  Not = '!',
  Dollar = '$',
  Percent = '%',
  And = '&',
  LeftParen = '(',
  RightParen = ')',
  Star = '*',
  Plus = '+',
  Comma = ',',
  Minus = '-',
  Dot = '.',
  Slash = '/',
  Colon = ':',
  Semicolon = ';',
  Less = '<',
  Assign = '=',
  Greater = '>',
  Question = '?',
  LeftBracket = '[',
  RightBracket = ']',
  Caret = '^',
  LeftBrace = '{',
  Or = '|',
  RightBrace = '}',
  Tilde = '~',
  Integer = 256,
  Real = 257,
  String = 258,
  Ident = 259,
  If = 270,
  Elif = 271,
  Else = 272,
  While = 273,
  For = 274,
  Return = 275,
  Fn = 276,
  LogicalOr = 277,
  LogicalAnd = 278,
  LogicalXor = 279,
  Shl = 280,
  Shr = 281,
  LessEq = 282,
  GreaterEq = 283,
  Equal = 284,
  Eof = 300 ///< the end of the text, or a character that means nothing
};

/// A piece of a text.
struct Token {
  TokenKind Kind = TokenKind::Eof;
  const char *Start = nullptr; ///< null for a token without text: a line end, the end of the text
  const char *End = nullptr;   ///< the last character
  SourceLoc Loc;

  /// The characters of the token.
  ORVY_API std::string_view getText() const;
  /// The value of an Integer: decimal unless it begins with 0b, 0o or 0x, without its underscores.
  /// One that 64 bits cannot hold is the greatest that they can.
  ORVY_API uint64_t getIntegerValue() const;
  /// The value of a Real, as strtod reads it.
  ORVY_API double getRealValue() const;
  /// The text of a String, with its quotes.
  ORVY_API std::string getStringValue() const;

  /// How tightly a binary operator binds, 1 to 15, less is tighter; 0 for any other token.
  ORVY_API int getPrecedence() const;
  bool isBinOp() const { return getPrecedence() != 0; }
};

/// Whether the front end says on the error stream what it is doing.
enum class Tracing { On, Off };

/// Gives the tokens of a text one by one, and holds one ahead.
class Lexer {
public:
  ORVY_API explicit Lexer(std::string_view Text, Tracing Says = Tracing::On);

  /// Starts again at the beginning of a text.
  ORVY_API void restart(std::string_view Text);

  /// Whether the cursor is past the last character.
  bool eof() const { return Cursor == End; }
  /// Whether there is no character after that at the cursor.
  bool peekEof() const { return End - Cursor <= 1; }
  /// The character at the cursor, the one after it; -1 past the end.
  int getChar() const { return charAt(0); }
  int peekChar() const { return charAt(1); }
  /// Moves the cursor by a character, unless it is at the end.
  ORVY_API void consumeChar();

  /// Makes the next token the current one. The first call gives the first token.
  void consumeToken() { Current = lex(); }
  /// The current token.
  Token peekNextToken() const { return Current; }

  /// Line of the cursor, from 1.
  uint32_t getLine() const { return Line; }
  /// Whether the text has ended inside something unfinished: a quote, or after a backslash.
  bool isCut() const { return NeedsMore; }

private:
  ORVY_API Token lex();
  bool skipBlanks();
  bool skipContinuation();
  TokenKind lexText();
  TokenKind lexWord();
  TokenKind lexNumber();
  void lexFraction();
  TokenKind lexQuoted();
  TokenKind lexOperator();
  ORVY_API int charAt(ptrdiff_t Distance) const;
  template <typename Predicate> void consumeWhile(Predicate Fits);

  const char *Start;
  const char *Cursor;
  const char *End;
  uint32_t Line = 1;
  uint32_t Column = 1;
  Token Current;
  bool NeedsMore = false;

protected:
  const Tracing Says;
};

} // namespace orvy::cl

#endif
