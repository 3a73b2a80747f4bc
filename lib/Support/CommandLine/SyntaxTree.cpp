#include "orvy/Support/SyntaxTree.h"

#include "orvy/Support/OutStream.h"

using namespace orvy;
using namespace orvy::cl;

ASTNode::~ASTNode() = default;
ExprNode::~ExprNode() = default;
ASTVisitor::~ASTVisitor() = default;

void ASTVisitor::visitBinOp(BinOp *) {}
void ASTVisitor::visitUnOp(UnOp *) {}
void ASTVisitor::visitVariable(Variable *) {}
void ASTVisitor::visitSym(Symbol *) {}
void ASTVisitor::visitStr(String *) {}
void ASTVisitor::visitLiteral(Literal *) {}
void ASTVisitor::visitIfStmt(IfStatement *) {}
void ASTVisitor::visitFuncCall(FuncCallNode *) {}

static BinOp *asBinOp(ExprNode *Node) {
  return Node && Node->Kind == NodeKind::BinOp ? static_cast<BinOp *>(Node) : nullptr;
}

// Destroys a chain from the outside inwards, so that the destructors do not recurse.
BinOp::~BinOp() {
  while (BinOp *Inner = asBinOp(Left.get())) {
    OwnedExpr Next = std::move(Inner->Left);
    Left = std::move(Next);
  }
}

std::vector<BinOp *> BinOp::leftSpine() {
  std::vector<BinOp *> Spine;
  for (BinOp *Node = this; Node; Node = asBinOp(Node->Left.get()))
    Spine.push_back(Node);
  return Spine;
}

void Variable::accept(ASTVisitor *Visitor) {
  Visitor->visitVariable(this);
}

void Symbol::accept(ASTVisitor *Visitor) {
  Visitor->visitSym(this);
}

void Literal::accept(ASTVisitor *Visitor) {
  Visitor->visitLiteral(this);
}

void String::accept(ASTVisitor *Visitor) {
  Visitor->visitStr(this);
}

void BinOp::accept(ASTVisitor *Visitor) {
  Visitor->visitBinOp(this);
}

void UnOp::accept(ASTVisitor *Visitor) {
  Visitor->visitUnOp(this);
}

void IfStatement::accept(ASTVisitor *Visitor) {
  Visitor->visitIfStmt(this);
}

void CmdSequence::accept(ASTVisitor *) {}

void FuncCallNode::accept(ASTVisitor *Visitor) {
  errs() << "visit func call\n";
  Visitor->visitFuncCall(this);
}

// Names what a command does if it is not an expression to evaluate; null if it is.
static const char *nameEffect(ExprNode &First) {
  if (First.Kind == NodeKind::Symbol)
    return "command invocation\n";
  if (First.Kind == NodeKind::FuncCallNode)
    return nullptr;
  const BinOp *Operation = asBinOp(&First);
  if (!Operation)
    return "other expression list\n";
  if (Operation->Op.Kind == TokenKind('='))
    return "var assignment\n";
  return Operation->Op.Kind == TokenKind('.') ? "property access\n" : nullptr;
}

void ExprList::accept(ASTVisitor *Visitor) {
  if (Exprs.empty())
    return;
  if (const char *Effect = nameEffect(*Exprs[0]))
    errs() << Effect;
  else
    Exprs[0]->accept(Visitor);
}
