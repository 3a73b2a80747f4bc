// An expression: its tokens, its tree, its types and its value, as the prompt goes through them.

#include "Fuzz.h"

#include "orvy/Support/Expression.h"
#include "orvy/Support/Parser.h"
#include "orvy/Support/TypeChecker.h"

#include <iostream>

using namespace orvy::cl;
using orvy::fuzz::require;

namespace {

// What the front end says goes nowhere; libFuzzer and the sanitizers keep the stream they have.
bool silence() {
  std::cerr.rdbuf(nullptr);
  stderr = std::fopen("/dev/null", "w");
  return stderr != nullptr;
}

// Every token moves on, lies inside the text, and has a value of its kind.
void readTokens(std::string_view Text) {
  Lexer Input(Text);
  const char *Last = Text.data() - 1;
  for (Input.consumeToken(); !Input.eof() || Input.peekNextToken().Kind != TokenKind::Eof;
       Input.consumeToken()) {
    const Token Next = Input.peekNextToken();
    if (Next.Kind == TokenKind::Integer)
      require(Next.getText().size() > 9 || Next.getIntegerValue() < 1ul << 36, "a value that fits");
    if (Next.Kind == TokenKind::Real)
      require(Next.getRealValue() >= 0, "no sign, no NaN");
    if (Next.Kind == TokenKind::Eof)
      break;
    if (!Next.Start)
      continue;
    require(Next.Start > Last && Next.End >= Next.Start, "each token after the one before");
    require(Next.End < Text.data() + Text.size(), "no token outside the text");
    Last = Next.End;
  }
}

void evaluate(ASTNode &Node) {
  ExprEvaluator Evaluator;
  Node.accept(&Evaluator);
  if (Evaluator.hasResult())
    require(Evaluator.getResult().Kind != EV_LVal, "no reference");
}

void parse(std::string_view Text) {
  Parser Input(Text, Tracing::Off);
  Input.consumeToken();
  const OwnedNode Command = Input.parseCommand();
  require(!Input.wantsMore() || Input.eof(), "more is only wanted after the end");
  if (Command)
    evaluate(*Command);
  Input.restart(Text);
  Input.consumeToken();
  Input.parseCommandSeq();
}

// Also what a command holds that is not evaluated.
void parseAlone(std::string_view Text) {
  Parser Input(Text);
  Input.consumeToken();
  while (const OwnedExpr Expr = Input.parseExpr()) {
    evaluate(*Expr);
    TypeChecker Checker;
    Expr->accept(&Checker);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  static const bool IsSilent = silence();
  require(IsSilent, "a place for what nobody reads");
  const std::string_view Text = orvy::fuzz::textOf(Data, Size);
  readTokens(Text);
  parse(Text);
  parseAlone(Text);
  return 0;
}
