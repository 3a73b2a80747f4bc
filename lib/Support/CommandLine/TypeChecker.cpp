#include "orvy/Support/TypeChecker.h"

#include "orvy/Support/TypeSystem.h"

using namespace orvy;
using namespace orvy::cl;

static bool isOf(const Type *Ty, Type::TypeKind Kind) {
  return Ty && Ty->Kind == Kind;
}

static const Type *typeOfOperation(TokenKind Op, const Type *Left, const Type *Right) {
  switch (Op) {
  case TokenKind('='):
    return &VoidType::s_VoidTy;
  case TokenKind('<'):
  case TokenKind('>'):
  case TokenKind::LogicalOr:
  case TokenKind::LogicalAnd:
  case TokenKind::LogicalXor:
  case TokenKind::LessEq:
  case TokenKind::GreaterEq:
  case TokenKind::Equal:
    return &IntegerType::s_BoolTy;
  default:
    break;
  }
  if (isOf(Left, Type::Integer) && isOf(Right, Type::Integer))
    return &IntegerType::s_I64Ty;
  const bool IsReal = isOf(Left, Type::Real) || isOf(Right, Type::Real);
  return IsReal ? &RealType::s_DoubleTy : nullptr;
}

// The error of a sign before an operand of the type; null if there is none.
static const char *findFault(TokenKind Op, const Type *Operand) {
  if (Operand == &IntegerType::s_I64Ty)
    return nullptr;
  if (Operand == &RealType::s_DoubleTy)
    return Op == TokenKind('-') ? nullptr : "'%c' not applicable on floating point";
  if (Operand == &IntegerType::s_BoolTy)
    return Op == TokenKind('!') ? nullptr : "'%c' not applicable on booleans";
  return "'%c' has an untyped operand";
}

TypeChecker::TypeChecker() {
  Diagnostics.addClient(DiagnosticsClient::createStderrClient());
}

void TypeChecker::visitLiteral(Literal *Node) {
  if (Node->Number.Kind == TokenKind::Real)
    Node->Ty = &RealType::s_DoubleTy;
  else
    Node->Ty = &IntegerType::s_I64Ty;
}

void TypeChecker::visitBinOp(BinOp *Node) {
  const std::vector<BinOp *> Spine = Node->leftSpine();
  Spine.back()->Left->accept(this);
  for (auto Each = Spine.rbegin(); Each != Spine.rend(); ++Each) {
    BinOp &Operation = **Each;
    Operation.Right->accept(this);
    Operation.Ty = typeOfOperation(Operation.Op.Kind, Operation.Left->Ty, Operation.Right->Ty);
  }
}

void TypeChecker::visitUnOp(UnOp *Node) {
  Node->Operand->accept(this);
  Node->Ty = Node->Operand->Ty;
  if (const char *Fault = findFault(Node->Op.Kind, Node->Ty)) {
    Diagnostics.error(Node->Op.Loc.Line, Fault, static_cast<char>(Node->Op.Kind));
    Node->Ty = &VoidType::s_VoidTy;
  }
}
