// Parser.h - builds the syntax tree of a command of the expression language.
//
//     Parser Input("hex(1 + 2 * 3)");
//     Input.consumeToken();
//     OwnedNode Command = Input.parseCommand(); // null after an error, which has been reported
//
// The language:
//
//     sequence    ;* [ command { ;+ command } ;* ]
//     command     if | expression+                                 up to ';', '}' or the end
//     if          "if" expression block { "elif" expression block } [ "else" block ]
//     block       '{' sequence '}'
//     expression  primary { operator primary }                     see Token::getPrecedence
//     primary     number | string | name | name '(' [ expression { ',' expression } ] ')'
//                 | '$' name | '${' token '}' | '(' expression ')' | ('-' | '!' | '~') expression
//
// A line end is a ';'. One thread at a time.

#ifndef ORVY_SUPPORT_PARSER_H
#define ORVY_SUPPORT_PARSER_H

#include "orvy/Support/Diagnostics.h"
#include "orvy/Support/Export.h"
#include "orvy/Support/Lexer.h"
#include "orvy/Support/SyntaxTree.h"

namespace orvy::cl {

/// Built for one text. Each operation gives null after an error, which has been reported with the
/// lexer's line.
class Parser : public Lexer {
public:
  /// Reports on the error stream, unless tracing is off: then it says nothing at all.
  ORVY_API explicit Parser(std::string_view Text, Tracing Says = Tracing::On);

  /// Starts again at the beginning of a text.
  ORVY_API void restart(std::string_view Text);

  ORVY_API OwnedNode parseCommand();
  ORVY_API OwnedNode parseCommandSeq();
  ORVY_API OwnedNode parseIfStatement();
  ORVY_API OwnedExpr parseExpr();
  ORVY_API OwnedExpr parsePrimary();

  /// Whether a closing brace was missing.
  bool isUnclosed() const { return NeedsMore; }
  /// Whether more lines may complete what has been parsed: the text ends inside a quote or a block,
  /// or after a backslash.
  ORVY_API bool wantsMore() const;

private:
  OwnedNode parseExprList();
  bool parseElifs(IfStatement &Statement);
  OwnedNode parseThen();
  OwnedNode parseElse();
  OwnedExpr parseOperators(OwnedExpr Left, int Limit);
  OwnedExpr parseVariable();
  OwnedExpr parseNamed();
  OwnedExpr parseCall(const Token &Name);
  OwnedExpr parseBracketed();
  OwnedExpr parseUnary();

  TokenKind nextKind() const { return peekNextToken().Kind; }
  bool isNext(char Character) const;
  Token take();
  bool take(char Character);
  bool takeClosing(const char *Missing);
  bool endsCommand() const;
  std::nullptr_t fail(const char *Fmt, TokenKind Kind = TokenKind::Eof);

  bool NeedsMore = false;
  DiagnosticsEngine LexerDiagnostics; // the lexer has nothing to report
  DiagnosticsEngine Diagnostics;
  unsigned Depth = 0;  // of expressions and statements inside each other
  unsigned Blocks = 0; // that are open
};

} // namespace orvy::cl

#endif
