#include "orvy/Support/Expression.h"

#include "Base/InternalError.h"
#include "CommandLine/Trace.h"

#include <algorithm>
#include <iterator>
#include <utility>

using namespace orvy;
using namespace orvy::cl;

namespace {

using BuiltInFunction = ExprValue (*)(const ExprValues &);

struct NamedFunction {
  std::string_view Name;
  BuiltInFunction Call;
};

constexpr NamedFunction Functions[] = {
    {"hex", bif_hex}, {"chex", bif_chex}, {"oct", bif_oct}, {"coct", bif_coct},
    {"dec", bif_dec}, {"cdec", bif_cdec}, {"bin", bif_bin}, {"cbin", bif_cbin},
};

ExprValue callFunction(std::string_view Name, const ExprValues &Args) {
  const auto Found = std::find_if(std::begin(Functions), std::end(Functions),
                                  [&](const NamedFunction &Each) { return Each.Name == Name; });
  return Found == std::end(Functions) ? ExprValue() : Found->Call(Args);
}

ExprValue applyBinary(TokenKind Op, const ExprValue &Left, const ExprValue &Right) {
  switch (Op) {
  case TokenKind('+'):
    return Left + Right;
  case TokenKind('-'):
    return Left - Right;
  case TokenKind('*'):
    return Left * Right;
  case TokenKind('/'):
    return Left / Right;
  case TokenKind('%'):
    return Left % Right;
  case TokenKind('&'):
    return Left & Right;
  case TokenKind('^'):
    return Left ^ Right;
  case TokenKind('|'):
    return Left | Right;
  case TokenKind('<'):
    return Left < Right;
  case TokenKind('>'):
    return Left > Right;
  case TokenKind::Shl:
    return Left << Right;
  case TokenKind::Shr:
    return Left >> Right;
  case TokenKind::LessEq:
    return Left <= Right;
  case TokenKind::GreaterEq:
    return Left >= Right;
  case TokenKind::Equal:
    return Left == Right;
  case TokenKind::LogicalAnd:
    return Left && Right;
  case TokenKind::LogicalOr:
    return Left || Right;
  case TokenKind::LogicalXor:
    return (Left && !Right) || (!Left && Right);
  default: // assignments and the like have no value
    return {};
  }
}

ExprValue applyUnary(TokenKind Op, const ExprValue &Operand) {
  switch (Op) {
  case TokenKind('!'):
    return !Operand;
  case TokenKind('+'):
    return +Operand;
  case TokenKind('-'):
    return -Operand;
  case TokenKind('~'):
    return ~Operand;
  default:
    return {};
  }
}

// Whether a condition holds. Of the numbers only integers can.
bool isTrue(const ExprValue &Value) {
  if (Value.Kind == EV_Bool)
    return Value.Value.Bool;
  return (Value.Kind == EV_UInt || Value.Kind == EV_Int) && Value.Value.UInt != 0;
}

} // namespace

ExprValue ExprEvaluator::getResult() const {
  ORVY_REQUIRE(hasResult());
  return Stack.back();
}

// Stores the value of a node. Returns false if it has no value.
bool ExprEvaluator::evaluate(ExprNode &Node, ExprValue &Value) {
  const size_t Size = Stack.size();
  Node.accept(this);
  if (Stack.size() == Size)
    return false;
  Value = std::move(Stack.back());
  Stack.pop_back();
  return true;
}

ExprValue ExprEvaluator::operandOf(ExprNode &Node) {
  ExprValue Value;
  evaluate(Node, Value);
  return Value;
}

void ExprEvaluator::visitVariable(Variable *) {}
void ExprEvaluator::visitSym(Symbol *) {}

void ExprEvaluator::visitLiteral(Literal *Node) {
  if (Node->Number.Kind == TokenKind::Real) {
    const double Value = Node->Number.getRealValue();
    trace(Says, "visit literal: ", Value, "\n");
    Stack.push_back(ExprValue::ofReal(Value));
  } else {
    const uint64_t Value = Node->Number.getIntegerValue();
    trace(Says, "visit literal: ", Value, "\n");
    Stack.push_back(ExprValue::ofUInt(Value));
  }
}

// Evaluates a chain from its innermost left operation outwards, without recursion.
void ExprEvaluator::visitBinOp(BinOp *Node) {
  const std::vector<BinOp *> Spine = Node->leftSpine();
  for (const BinOp *Each : Spine)
    trace(Says, "visit bin op: ", static_cast<char>(Each->Op.Kind), "\n");
  ExprValue Value = operandOf(*Spine.back()->Left);
  for (auto Each = Spine.rbegin(); Each != Spine.rend(); ++Each)
    Value = applyBinary((*Each)->Op.Kind, Value, operandOf(*(*Each)->Right));
  Stack.push_back(std::move(Value));
}

void ExprEvaluator::visitUnOp(UnOp *Node) {
  trace(Says, "visit un op: ", static_cast<uint32_t>(Node->Op.Kind), "\n");
  Stack.push_back(applyUnary(Node->Op.Kind, operandOf(*Node->Operand)));
}

void ExprEvaluator::visitIfStmt(IfStatement *Node) {
  ExprValue Condition;
  if (!evaluate(*Node->Condition, Condition))
    return;
  if (isTrue(Condition))
    return Node->Then->accept(this);
  for (const IfStatement::Clause &Clause : Node->Elifs)
    if (isTrue(operandOf(*Clause.Condition)))
      return Clause.Branch->accept(this);
  if (Node->Else)
    Node->Else->accept(this);
}

void ExprEvaluator::visitFuncCall(FuncCallNode *Node) {
  ExprValues Args(Node->Args.size());
  for (size_t Index = 0; Index < Args.size(); ++Index)
    if (!evaluate(*Node->Args[Index], Args[Index]))
      return;
  Stack.push_back(callFunction(Node->Name.getText(), Args));
}
