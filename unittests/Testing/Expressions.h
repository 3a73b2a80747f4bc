// Expressions.h - syntax trees as text, and what the expression front end says.

#ifndef ORVY_UNITTESTS_EXPRESSIONS_H
#define ORVY_UNITTESTS_EXPRESSIONS_H

#include "orvy/Support/Expression.h"
#include "orvy/Support/Parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orvy::testing {

/// A tree with every operation in brackets, operator first: "(+ 1 (* 2 3))".
inline std::string treeOf(const cl::ASTNode *Node) {
  using namespace orvy::cl;
  const auto List = [](const auto &Nodes) {
    std::string Text;
    for (const auto &Each : Nodes)
      Text += " " + treeOf(Each.get());
    return Text;
  };
  if (!Node)
    return "null";
  switch (Node->Kind) {
  case NodeKind::Variable:
    return "$" + std::string(static_cast<const Variable *>(Node)->Name.getText());
  case NodeKind::Symbol:
    return std::string(static_cast<const Symbol *>(Node)->Ident.getText());
  case NodeKind::Literal:
    return std::string(static_cast<const Literal *>(Node)->Number.getText());
  case NodeKind::String:
    return static_cast<const String *>(Node)->Text.getStringValue();
  case NodeKind::BinOp: {
    const auto *Op = static_cast<const BinOp *>(Node);
    return "(" + std::string(Op->Op.getText()) + " " + treeOf(Op->Left.get()) + " " +
           treeOf(Op->Right.get()) + ")";
  }
  case NodeKind::UnOp: {
    const auto *Op = static_cast<const UnOp *>(Node);
    return "(" + std::string(Op->Op.getText()) + " " + treeOf(Op->Operand.get()) + ")";
  }
  case NodeKind::IfStatement: {
    const auto *If = static_cast<const IfStatement *>(Node);
    std::string Text = "(if " + treeOf(If->Condition.get()) + " " + treeOf(If->Then.get());
    for (const IfStatement::Clause &Each : If->Elifs)
      Text += " elif " + treeOf(Each.Condition.get()) + " " + treeOf(Each.Branch.get());
    return Text + (If->Else ? " else " + treeOf(If->Else.get()) + ")" : ")");
  }
  case NodeKind::CmdSequence:
    return "{" + List(static_cast<const CmdSequence *>(Node)->Commands) + " }";
  case NodeKind::ExprList:
    return "[" + List(static_cast<const ExprList *>(Node)->Exprs) + " ]";
  case NodeKind::FuncCallNode: {
    const auto *Call = static_cast<const FuncCallNode *>(Node);
    return "(" + std::string(Call->Name.getText()) + "()" + List(Call->Args) + ")";
  }
  }
  return "?";
}

/// What is written on the error stream, without the colours.
template <typename Call> std::string errorsOf(Call What) {
  ::testing::internal::CaptureStderr();
  What();
  std::string Text = ::testing::internal::GetCapturedStderr();
  for (const char *Color : {"\033[31m", "\033[0m"})
    for (size_t At; (At = Text.find(Color)) != Text.npos;)
      Text.erase(At, std::char_traits<char>::length(Color));
  return Text;
}

/// The error messages alone, without what is traced.
template <typename Call> std::vector<std::string> complaintsOf(Call What) {
  const std::string Text = errorsOf(What);
  std::vector<std::string> Lines;
  for (size_t At = 0, End; (End = Text.find('\n', At)) != Text.npos; At = End + 1)
    if (const std::string Line = Text.substr(At, End - At); Line.find(": error: ") != Line.npos)
      Lines.push_back(Line);
  return Lines;
}

/// An expression in silence; null if it is wrong.
inline cl::OwnedExpr parseExpr(std::string_view Text) {
  cl::Parser Input(Text, cl::Tracing::Off);
  Input.consumeToken();
  return Input.parseExpr();
}

/// A value after a letter for its kind: "u7", "i-1", "r3.500000", "b1", a text as it stands,
/// "void".
inline std::string show(const cl::ExprValue &Value) {
  switch (Value.Kind) {
  case cl::EV_UInt:
    return "u" + std::to_string(Value.Value.UInt);
  case cl::EV_Int:
    return "i" + std::to_string(Value.Value.Int);
  case cl::EV_Real:
    return "r" + std::to_string(Value.Value.Real);
  case cl::EV_Bool:
    return Value.Value.Bool ? "b1" : "b0";
  case cl::EV_String:
    return Value.Text;
  case cl::EV_Void:
    return "void";
  case cl::EV_LVal:
    break;
  }
  return "?";
}

/// The value of an expression, in silence: as show gives it, "none" if it has none, "wrong" without
/// a tree.
inline std::string valueOf(cl::ASTNode *Node) {
  if (!Node)
    return "wrong";
  cl::ExprEvaluator Evaluator(cl::Tracing::Off);
  Node->accept(&Evaluator);
  return Evaluator.hasResult() ? show(Evaluator.getResult()) : "none";
}

} // namespace orvy::testing

#endif
