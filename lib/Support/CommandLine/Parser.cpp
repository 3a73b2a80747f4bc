#include "orvy/Support/Parser.h"

#include "CommandLine/Trace.h"

using namespace orvy;
using namespace orvy::cl;

// Limits the recursion of the parser and of the visitors of the tree.
static constexpr unsigned MaxDepth = 256;

// Any operator binds more tightly.
static constexpr int AnyPrecedence = 100;

namespace {

class Level {
public:
  explicit Level(unsigned &Depth) : Depth(Depth) { ++Depth; }
  ~Level() { --Depth; }
  Level(const Level &) = delete;
  Level &operator=(const Level &) = delete;

private:
  unsigned &Depth;
};

} // namespace

Parser::Parser(std::string_view Text, Tracing Says) : Lexer(Text, Says) {
  if (Says == Tracing::Off)
    return;
  LexerDiagnostics.addClient(DiagnosticsClient::createStderrClient());
  Diagnostics.addClient(DiagnosticsClient::createStderrClient());
}

void Parser::restart(std::string_view Text) {
  Lexer::restart(Text);
  NeedsMore = false;
}

bool Parser::wantsMore() const {
  return isCut() || (NeedsMore && eof() && nextKind() == TokenKind::Eof);
}

// Tokens.

bool Parser::isNext(char Character) const {
  return nextKind() == TokenKind(Character);
}

Token Parser::take() {
  const Token Taken = peekNextToken();
  consumeToken();
  return Taken;
}

bool Parser::take(char Character) {
  if (!isNext(Character))
    return false;
  consumeToken();
  return true;
}

bool Parser::takeClosing(const char *Missing) {
  if (take('}'))
    return true;
  NeedsMore = true;
  fail(Missing);
  return false;
}

bool Parser::endsCommand() const {
  return isNext(';') || nextKind() == TokenKind::Eof || (Blocks > 0 && isNext('}'));
}

std::nullptr_t Parser::fail(const char *Fmt, TokenKind Kind) {
  Diagnostics.error(getLine(), Fmt, static_cast<int>(Kind));
  return nullptr;
}

// Commands.

OwnedNode Parser::parseCommandSeq() {
  auto Sequence = std::make_unique<CmdSequence>();
  do {
    while (take(';')) {
    }
    if (endsCommand())
      break;
    OwnedNode Command = parseCommand();
    if (!Command)
      return nullptr;
    Sequence->Commands.push_back(std::move(Command));
  } while (isNext(';'));
  return Sequence;
}

OwnedNode Parser::parseCommand() {
  switch (nextKind()) {
  case TokenKind::If:
    return parseIfStatement();
  case TokenKind::While:
  case TokenKind::For:
  case TokenKind::Return:
  case TokenKind::Fn:
    return fail("Unsupported construct.");
  default:
    return parseExprList();
  }
}

OwnedNode Parser::parseExprList() {
  auto List = std::make_unique<ExprList>();
  while (!endsCommand()) {
    trace(Says, "next token = ", static_cast<uint32_t>(nextKind()), "\n");
    OwnedExpr Expr = parseExpr();
    if (!Expr) {
      trace(Says, "eof...\n");
      break;
    }
    List->Exprs.push_back(std::move(Expr));
  }
  if (List->Exprs.empty())
    return fail("Expected expression in command.");
  trace(Says, "return exprs ", List->Exprs.size(), "\n");
  return List;
}

OwnedNode Parser::parseIfStatement() {
  if (Depth == MaxDepth)
    return fail("Nested too deeply.");
  const Level Inner(Depth);
  auto Statement = std::make_unique<IfStatement>();
  trace(Says, "parsing if statement\n");
  consumeToken();
  Statement->Condition = parseExpr();
  if (!Statement->Condition)
    return nullptr;
  trace(Says, "parsed if header\n");
  Statement->Then = take('{') ? parseThen() : nullptr;
  if (!Statement->Then || !parseElifs(*Statement))
    return nullptr;
  if (nextKind() == TokenKind::Else && !(Statement->Else = parseElse()))
    return nullptr;
  return Statement;
}

bool Parser::parseElifs(IfStatement &Statement) {
  while (nextKind() == TokenKind::Elif) {
    consumeToken();
    IfStatement::Clause Clause;
    Clause.Condition = parseExpr();
    if (Clause.Condition && !isNext('{'))
      fail("Expected '{'.");
    if (!Clause.Condition || !take('{') || !(Clause.Branch = parseThen()))
      return false;
    Statement.Elifs.push_back(std::move(Clause));
  }
  return true;
}

OwnedNode Parser::parseThen() {
  const Level Inner(Blocks);
  trace(Says, "do parse command sequence\n");
  OwnedNode Sequence = parseCommandSeq();
  if (!Sequence)
    return nullptr;
  trace(Says, "got command sequence\n", "should have right curly here ",
        static_cast<uint32_t>(nextKind()), "\n");
  if (!takeClosing("Expected '}' at end of then branch."))
    return nullptr;
  trace(Says, "parsed right curly\n");
  return Sequence;
}

OwnedNode Parser::parseElse() {
  const Level Inner(Blocks);
  trace(Says, "parsing else\n");
  consumeToken();
  if (!take('{'))
    return fail("Expected '{'.");
  trace(Says, "got left curly in else\n");
  OwnedNode Sequence = parseCommandSeq();
  if (!Sequence || !takeClosing("Expected '}'."))
    return nullptr;
  trace(Says, "got right curly in else\n");
  return Sequence;
}

// Expressions.

OwnedExpr Parser::parseExpr() {
  if (Depth == MaxDepth)
    return fail("Nested too deeply.");
  const Level Inner(Depth);
  OwnedExpr Left = parsePrimary();
  return Left ? parseOperators(std::move(Left), AnyPrecedence) : nullptr;
}

// Takes the operators that bind at least as tightly as the limit, and what they apply to. Null if
// an operand is missing.
OwnedExpr Parser::parseOperators(OwnedExpr Left, int Limit) {
  const auto Binds = [this](int AtMost) {
    return peekNextToken().isBinOp() && peekNextToken().getPrecedence() <= AtMost;
  };
  while (Left && Binds(Limit)) {
    const Token Op = take();
    OwnedExpr Right = parsePrimary();
    while (Right && Binds(Op.getPrecedence() - 1))
      Right = parseOperators(std::move(Right), peekNextToken().getPrecedence());
    if (!Right)
      return nullptr;
    Left = std::make_unique<BinOp>(Op, std::move(Left), std::move(Right));
  }
  return Left;
}

OwnedExpr Parser::parsePrimary() {
  const Token &Next = peekNextToken();
  switch (Next.Kind) {
  case TokenKind::Integer:
    trace(Says, "Integer: ", Next.getIntegerValue(), "\n");
    return std::make_unique<Literal>(take());
  case TokenKind::Real:
    trace(Says, "Real: ", Next.getRealValue(), "\n");
    return std::make_unique<Literal>(take());
  case TokenKind::String:
    trace(Says, "String: ", Next.getText(), "\n");
    return std::make_unique<String>(take());
  case TokenKind::Ident:
    return parseNamed();
  case TokenKind('$'):
    return parseVariable();
  case TokenKind('('):
    return parseBracketed();
  case TokenKind('-'):
  case TokenKind('!'):
  case TokenKind('~'):
    return parseUnary();
  default:
    return fail("Bad token '%d'.", Next.Kind);
  }
}

OwnedExpr Parser::parseNamed() {
  const Token Name = take();
  trace(Says, "Ident: ", Name.getText(), "\n");
  if (isNext('('))
    return parseCall(Name);
  return std::make_unique<Symbol>(Name);
}

OwnedExpr Parser::parseCall(const Token &Name) {
  trace(Says, "trying to parse func call\n");
  auto Call = std::make_unique<FuncCallNode>(Name);
  consumeToken();
  if (!isNext(')')) {
    do {
      OwnedExpr Arg = parseExpr();
      if (!Arg)
        return nullptr;
      Call->Args.push_back(std::move(Arg));
    } while (take(','));
  }
  if (!take(')'))
    return fail("Expected ')'.");
  trace(Says, "finished parsing func call\n");
  return Call;
}

OwnedExpr Parser::parseVariable() {
  consumeToken();
  if (nextKind() == TokenKind::Ident)
    return std::make_unique<Variable>(take());
  if (!take('{'))
    return fail("Bad token '%d'.", nextKind());
  const Token Name = take();
  if (!take('}'))
    NeedsMore = true;
  return std::make_unique<Variable>(Name);
}

OwnedExpr Parser::parseBracketed() {
  consumeToken();
  OwnedExpr Inner = parseExpr();
  if (Inner && !take(')'))
    return fail("Expected ')'.");
  return Inner;
}

OwnedExpr Parser::parseUnary() {
  const Token Op = take();
  OwnedExpr Operand = parseExpr();
  if (!Operand)
    return nullptr;
  return std::make_unique<UnOp>(Op, std::move(Operand));
}
