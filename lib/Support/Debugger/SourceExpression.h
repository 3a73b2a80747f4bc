// SourceExpression.h - expressions of C over the variables, registers and memory of a stopped
// program and the properties of objects.
//
//     state.queue[3]->next    table[0].name    &table    (struct entry *)0x40001000
//     motor.c::limit          $sp + 64         @uart0.status & 1     buffer@16
//
// An expression is parsed once; the variables that it names are found at each evaluation, at first
// by name.

#ifndef ORVY_LIB_SOURCEEXPRESSION_H
#define ORVY_LIB_SOURCEEXPRESSION_H

#include "Debugger/Value.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::debugger {

/// A variable, as it is seen from a frame.
struct Variable {
  std::string Name;
  source::DebugInfoEntry *Entry;
};

/// The value of a variable or parameter in the selected frame.
Value valueOf(source::DebugInfoEntry &Variable, Stopped &In);
/// The variables of the selected function: its parameters, or those that are not, the innermost
/// block first.
std::vector<Variable> parametersOf(Stopped &In);
std::vector<Variable> localsOf(Stopped &In);
/// What a name means in the selected frame: a variable, a function or an enumerator. Throws
/// EvaluationError for a name that means nothing.
Value valueNamed(const std::string &Name, Stopped &In);

/// The address that a value means: that of a function or an array, else its number.
uint64_t addressOf(const Value &Of, Stopped &In);

class SourceExpression {
public:
  /// What a text may be.
  enum Accepts : uint8_t {
    Values,
    TypeToo ///< a type as in a cast as well
  };
  /// Parses a text. Types are looked up in the program of the processor. Throws EvaluationError
  /// with the place of what is wrong.
  SourceExpression(std::string_view Text, Stopped &In, Accepts What = Values);
  ~SourceExpression();
  SourceExpression(SourceExpression &&) noexcept;
  SourceExpression &operator=(SourceExpression &&) noexcept;

  /// Throws EvaluationError for what cannot be evaluated.
  Value evaluate(Stopped &In) const;
  /// The address that it means where one is asked for, as for an assembler: a variable or function
  /// means its own, with a distance in bytes, as "counter+4"; a pointer, a register and any number
  /// that is computed otherwise means its value.
  uint64_t address(Stopped &In) const;
  /// The type of its value, or the one that it names.
  const Type &type(Stopped &In) const;
  const std::string &text() const { return Text; }

  struct Node;

private:
  void parse(Stopped &In) const;
  const Node &root(Stopped &In) const;

  std::string Text;
  Accepts What;
  mutable std::unique_ptr<Node> Root;
  mutable std::shared_ptr<source::Program> Owner; ///< of its types; null without debug information
};

} // namespace orvy::debugger

#endif
