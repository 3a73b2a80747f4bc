// ExpressionNode.h - the parts of which an expression of C consists, and what parses them.

#ifndef ORVY_LIB_EXPRESSIONNODE_H
#define ORVY_LIB_EXPRESSIONNODE_H

#include "Debugger/SourceExpression.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::debugger {

enum class NodeKind : uint8_t {
  Constant,
  Name,
  Register,
  Property,
  Unary,
  Binary,
  And,
  Or,
  Conditional,
  Assignment,
  Index,
  Member,
  Arrow,
  Cast,
  SizeOf,
  AddressOf,
  Dereference,
  Comma,
  Repeat
};

/// A part of an expression.
struct SourceExpression::Node {
  NodeKind Kind;
  std::string Text; ///< name or operator
  Value Constant;
  const Type *T = nullptr;
  std::vector<std::unique_ptr<Node>> Operands;

  Value evaluate(Stopped &In) const;
  uint64_t address(Stopped &In) const;

private:
  Value operand(size_t Index, Stopped &In) const { return Operands[Index]->evaluate(In); }
  Value unary(Stopped &In) const;
  Value assignment(Stopped &In) const;
  Value index(Stopped &In) const;
  Value memberOf(Value Of, Stopped &In) const;
  Value addressOf(Stopped &In) const;
  Value repeat(Stopped &In) const;
};

/// Parses a text; that of a type too gives a SizeOf node of the type. Throws EvaluationError with the
/// place of what is wrong.
std::unique_ptr<SourceExpression::Node> parseExpression(std::string_view Text, Stopped &In,
                                                        bool TypeToo);

} // namespace orvy::debugger

#endif
