// TypeChecker.h - finds the types of the expressions of a syntax tree.

#ifndef ORVY_SUPPORT_TYPECHECKER_H
#define ORVY_SUPPORT_TYPECHECKER_H

#include "orvy/Support/Diagnostics.h"
#include "orvy/Support/Export.h"
#include "orvy/Support/SyntaxTree.h"

namespace orvy::cl {

/// Stores in each node that it visits the type of its value: a built-in record, or null if that
/// cannot be told, as for names, texts and calls. What a sign does not apply to is reported on the
/// error stream with the line of the sign.
class ORVY_API TypeChecker final : public ASTVisitor {
public:
  TypeChecker();

  void visitBinOp(BinOp *Node) override;
  void visitUnOp(UnOp *Node) override;
  void visitLiteral(Literal *Node) override;

private:
  DiagnosticsEngine Diagnostics;
};

} // namespace orvy::cl

#endif
