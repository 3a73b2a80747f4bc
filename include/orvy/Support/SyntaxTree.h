// SyntaxTree.h - what a parsed command is, for those who walk it.
//
// A node owns the nodes below it and refers to the text by tokens, so the text must outlive it.

#ifndef ORVY_SUPPORT_SYNTAXTREE_H
#define ORVY_SUPPORT_SYNTAXTREE_H

#include "orvy/Support/Export.h"
#include "orvy/Support/Lexer.h"

#include <memory>
#include <utility>
#include <vector>

namespace orvy {
class Type;
}

namespace orvy::cl {

class ASTVisitor;

enum class NodeKind : uint32_t {
  Variable = 0,
  Symbol = 1,
  Literal = 2,
  String = 3,
  BinOp = 4,
  UnOp = 5,
  IfStatement = 6,
  CmdSequence = 7,
  ExprList = 9,
  FuncCallNode = 10
};

/// A node of the tree.
class ORVY_API ASTNode {
public:
  explicit ASTNode(NodeKind Kind) : Kind(Kind) {}
  ASTNode(const ASTNode &) = delete;
  ASTNode &operator=(const ASTNode &) = delete;
  virtual ~ASTNode();
  /// Calls what the visitor has for this kind of node.
  virtual void accept(ASTVisitor *Visitor) = 0;

  const NodeKind Kind;
};

/// A node that stands for a value.
class ORVY_API ExprNode : public ASTNode {
public:
  explicit ExprNode(NodeKind Kind) : ASTNode(Kind) {}
  ~ExprNode() override;

  const Type *Ty = nullptr; ///< null until a type pass has found it
};

using OwnedNode = std::unique_ptr<ASTNode>;
using OwnedExpr = std::unique_ptr<ExprNode>;

/// "$name" or "${name}".
class ORVY_API Variable final : public ExprNode {
public:
  explicit Variable(const Token &Name) : ExprNode(NodeKind::Variable), Name(Name) {}
  void accept(ASTVisitor *Visitor) override;

  Token Name;
};

/// A name that is neither a variable nor a call.
class ORVY_API Symbol final : public ExprNode {
public:
  explicit Symbol(const Token &Ident) : ExprNode(NodeKind::Symbol), Ident(Ident) {}
  void accept(ASTVisitor *Visitor) override;

  Token Ident;
};

/// A number.
class ORVY_API Literal final : public ExprNode {
public:
  explicit Literal(const Token &Number) : ExprNode(NodeKind::Literal), Number(Number) {}
  void accept(ASTVisitor *Visitor) override;

  Token Number;
};

/// A quoted text.
class ORVY_API String final : public ExprNode {
public:
  explicit String(const Token &Text) : ExprNode(NodeKind::String), Text(Text) {}
  void accept(ASTVisitor *Visitor) override;

  Token Text;
};

/// Two operands. A chain of operators that group to the left is as deep on the left as it is long:
/// walk it with leftSpine, not by recursion.
class ORVY_API BinOp final : public ExprNode {
public:
  BinOp(const Token &Op, OwnedExpr Left, OwnedExpr Right)
      : ExprNode(NodeKind::BinOp), Op(Op), Left(std::move(Left)), Right(std::move(Right)) {}
  ~BinOp() override;
  void accept(ASTVisitor *Visitor) override;
  /// This operation, its left operand if that is one as well, and so on inwards.
  std::vector<BinOp *> leftSpine();

  Token Op;
  OwnedExpr Left;
  OwnedExpr Right;
};

/// One operand.
class ORVY_API UnOp final : public ExprNode {
public:
  UnOp(const Token &Op, OwnedExpr Operand)
      : ExprNode(NodeKind::UnOp), Op(Op), Operand(std::move(Operand)) {}
  void accept(ASTVisitor *Visitor) override;

  Token Op;
  OwnedExpr Operand;
};

/// Commands one after the other. No visitor comes here.
class ORVY_API CmdSequence final : public ASTNode {
public:
  CmdSequence() : ASTNode(NodeKind::CmdSequence) {}
  void accept(ASTVisitor *Visitor) override;

  std::vector<OwnedNode> Commands;
};

/// "if condition { } elif condition { } else { }".
class ORVY_API IfStatement final : public ASTNode {
public:
  /// A further condition, tried when all before it are false.
  struct Clause {
    OwnedExpr Condition;
    OwnedNode Branch;
  };

  IfStatement() : ASTNode(NodeKind::IfStatement) {}
  void accept(ASTVisitor *Visitor) override;

  OwnedExpr Condition;
  std::vector<Clause> Elifs;
  OwnedNode Then;
  OwnedNode Else; ///< may be null
};

/// A command: expressions up to its end. A visitor is shown the first one, if that is an operation
/// or a call; which command, assignment or access it is otherwise is said on the error stream.
class ORVY_API ExprList final : public ASTNode {
public:
  ExprList() : ASTNode(NodeKind::ExprList) {}
  void accept(ASTVisitor *Visitor) override;

  std::vector<OwnedExpr> Exprs;
};

/// "name(argument, argument)".
class ORVY_API FuncCallNode final : public ExprNode {
public:
  explicit FuncCallNode(const Token &Name) : ExprNode(NodeKind::FuncCallNode), Name(Name) {}
  void accept(ASTVisitor *Visitor) override;

  Token Name;
  std::vector<OwnedExpr> Args;
};

/// Walks a tree. Does nothing where nothing is overridden.
class ORVY_API ASTVisitor {
public:
  virtual ~ASTVisitor();
  virtual void visitBinOp(BinOp *Node);
  virtual void visitUnOp(UnOp *Node);
  virtual void visitVariable(Variable *Node);
  virtual void visitSym(Symbol *Node);
  virtual void visitStr(String *Node);
  virtual void visitLiteral(Literal *Node);
  virtual void visitIfStmt(IfStatement *Node);
  virtual void visitFuncCall(FuncCallNode *Node);
};

} // namespace orvy::cl

#endif
