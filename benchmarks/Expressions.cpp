// Expressions: tokens beside a loop that cuts the same text where the class of characters changes,
// trees beside the bare allocation of as many nodes, values beside a plain recursion over the tree.

#include "Table.h"

#include "orvy/Support/Expression.h"
#include "orvy/Support/Parser.h"

#include <cctype>
#include <string>
#include <vector>

using namespace orvy::cl;

namespace {

constexpr int Terms = 1000;
constexpr int Tokens = Terms * 8;
constexpr int Nodes = Terms * 6;

/// Terms of eight tokens and six nodes each.
const std::string &text() {
  static const std::string Text = [] {
    std::string Sum = "1";
    for (int Count = 0; Count < Terms; ++Count)
      Sum += " + (0x" + std::to_string(1000 + Count) + " << 3) * 17";
    return Sum;
  }();
  return Text;
}

OwnedExpr parse() {
  Parser Input(text(), Tracing::Off);
  Input.consumeToken();
  return Input.parseExpr();
}

void lex(benchmark::State &State) {
  for (auto _ : State) {
    Lexer Input(text(), Tracing::Off);
    do
      Input.consumeToken();
    while (Input.peekNextToken().Kind != TokenKind::Eof);
  }
  State.SetItemsProcessed(State.iterations() * Tokens);
}

int classOf(char Character) {
  const auto Code = static_cast<unsigned char>(Character);
  return std::isspace(Code) ? 0 : std::isalnum(Code) ? 1 : 2;
}

void cutByClass(benchmark::State &State) {
  for (auto _ : State) {
    int Last = 0;
    int Pieces = 0;
    for (const char Character : text()) {
      const int Class = classOf(Character);
      Pieces += Class != Last ? 1 : 0;
      Last = Class;
    }
    benchmark::DoNotOptimize(Pieces);
  }
  State.SetItemsProcessed(State.iterations() * Tokens);
}

void buildTree(benchmark::State &State) {
  for (auto _ : State)
    benchmark::DoNotOptimize(parse());
  State.SetItemsProcessed(State.iterations() * Nodes);
}

void allocateNodes(benchmark::State &State) {
  for (auto _ : State) {
    std::vector<OwnedExpr> All(Nodes);
    for (OwnedExpr &Each : All)
      Each = std::make_unique<BinOp>(Token(), nullptr, nullptr);
    benchmark::DoNotOptimize(All.data());
  }
  State.SetItemsProcessed(State.iterations() * Nodes);
}

void evaluate(benchmark::State &State) {
  const OwnedExpr Tree = parse();
  for (auto _ : State) {
    ExprEvaluator Evaluator(Tracing::Off);
    Tree->accept(&Evaluator);
    benchmark::DoNotOptimize(Evaluator.getResult().Value.UInt);
  }
  State.SetItemsProcessed(State.iterations() * Nodes);
}

uint64_t compute(const ExprNode *Node) {
  if (Node->Kind == NodeKind::Literal)
    return static_cast<const Literal *>(Node)->Number.getIntegerValue();
  const auto *Operation = static_cast<const BinOp *>(Node);
  const uint64_t Left = compute(Operation->Left.get());
  const uint64_t Right = compute(Operation->Right.get());
  switch (Operation->Op.Kind) {
  case TokenKind('+'):
    return Left + Right;
  case TokenKind('*'):
    return Left * Right;
  default:
    return Left << (Right & 63);
  }
}

void computePlainly(benchmark::State &State) {
  const OwnedExpr Tree = parse();
  for (auto _ : State)
    benchmark::DoNotOptimize(compute(Tree.get()));
  State.SetItemsProcessed(State.iterations() * Nodes);
}

const int Rows[] = {
    bench::compare("expression, a token", {3, 0}, lex, cutByClass),
    bench::compare("expression, a node of the tree", {4, 0}, buildTree, allocateNodes),
    bench::compare("expression, the value of a node", {4, 0}, evaluate, computePlainly),
};

} // namespace
