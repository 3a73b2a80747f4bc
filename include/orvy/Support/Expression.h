// Expression.h - values of expressions, and the visitor that computes them.
//
//     ExprEvaluator Evaluator;
//     Command->accept(&Evaluator);
//     if (Evaluator.hasResult())
//       print(Evaluator.getResult());
//
// No operation fails: what has no meaning for its operands gives EV_Void.

#ifndef ORVY_SUPPORT_EXPRESSION_H
#define ORVY_SUPPORT_EXPRESSION_H

#include "orvy/Support/Export.h"
#include "orvy/Support/SyntaxTree.h"

#include <string>
#include <vector>

namespace orvy::cl {

enum ExprValueKind : uint32_t {
  EV_Void = 0,   ///< nothing
  EV_LVal = 1,   ///< reserved for a reference to storage; no operation makes one
  EV_String = 6, ///< Text
  EV_UInt = 7,
  EV_Int = 8,
  EV_Bool = 9,
  EV_Real = 10
};

/// A value of an expression.
struct ExprValue {
  ExprValueKind Kind = EV_Void;
  union Bits {
    uint64_t UInt = 0;
    int64_t Int;
    double Real;
    bool Bool;
  } Value;
  std::string Text; ///< of EV_String

  ORVY_API static ExprValue ofUInt(uint64_t Number);
  ORVY_API static ExprValue ofInt(int64_t Number);
  ORVY_API static ExprValue ofReal(double Number);
  ORVY_API static ExprValue ofBool(bool Truth);
  ORVY_API static ExprValue ofText(std::string Text);
};

// With two integers, '+', '-', '*', '/', '%' and the bitwise operators are unsigned unless both are
// EV_Int, and wrap at 64 bits; in a shift and a comparison the kind of the left one decides. With a
// real one, the arithmetic operators but '%' and the comparisons convert the other to real. A
// division of integers by 0, or of the least EV_Int by -1, gives EV_Void.

ORVY_API ExprValue operator+(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator-(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator*(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator/(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator%(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator&(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator^(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator|(const ExprValue &Left, const ExprValue &Right);
/// Shifts by the count modulo 64; an EV_Int keeps its sign to the right.
ORVY_API ExprValue operator<<(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator>>(const ExprValue &Left, const ExprValue &Right);
/// Of numbers, which are true unless zero, and EV_Bool. Both operands are values already.
ORVY_API ExprValue operator&&(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator||(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator>(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator<(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator<=(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator>=(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator==(const ExprValue &Left, const ExprValue &Right);
ORVY_API ExprValue operator+(const ExprValue &Operand);
ORVY_API ExprValue operator-(const ExprValue &Operand);
ORVY_API ExprValue operator!(const ExprValue &Operand);
ORVY_API ExprValue operator~(const ExprValue &Operand);

// The functions of the language write the 64 bits of their one argument, whatever its kind, as
// EV_String: with the prefix of the base, without leading zeros, bin and cbin in groups of four
// digits, which "_" separates for bin. 0 has no group. Another number of arguments gives EV_Void.

using ExprValues = std::vector<ExprValue>;

ORVY_API ExprValue bif_hex(const ExprValues &Args);
ORVY_API ExprValue bif_chex(const ExprValues &Args);
ORVY_API ExprValue bif_oct(const ExprValues &Args);
ORVY_API ExprValue bif_coct(const ExprValues &Args);
ORVY_API ExprValue bif_dec(const ExprValues &Args);
ORVY_API ExprValue bif_cdec(const ExprValues &Args);
ORVY_API ExprValue bif_bin(const ExprValues &Args);
ORVY_API ExprValue bif_cbin(const ExprValues &Args);

/// Computes the value of what accepts it. Variables, bare names and quoted texts have none yet; as
/// an operand they are EV_Void.
class ORVY_API ExprEvaluator final : public ASTVisitor {
public:
  explicit ExprEvaluator(Tracing Says = Tracing::On) : Says(Says) {}

  bool hasResult() const { return !Stack.empty(); }
  /// The last value; there must be one.
  ExprValue getResult() const;

  void visitBinOp(BinOp *Node) override;
  void visitUnOp(UnOp *Node) override;
  void visitVariable(Variable *Node) override;
  void visitSym(Symbol *Node) override;
  void visitLiteral(Literal *Node) override;
  void visitIfStmt(IfStatement *Node) override;
  void visitFuncCall(FuncCallNode *Node) override;

private:
  ORVY_LOCAL bool evaluate(ExprNode &Node, ExprValue &Value);
  ORVY_LOCAL ExprValue operandOf(ExprNode &Node);

  std::vector<ExprValue> Stack;
  Tracing Says;
};

} // namespace orvy::cl

#endif
