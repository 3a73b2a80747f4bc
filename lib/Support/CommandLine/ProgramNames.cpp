#include "CommandLine/ProgramNames.h"

#include "CommandLine/Characters.h"

using namespace orvy;
using namespace orvy::cl;

namespace {

constinit ProgramNames Answers = {
    [](const std::string &, bool, std::string &) { return std::optional<uint64_t>(); },
    [] { return std::string(); },
    [] { return std::string(); },
    [](std::string_view) { return Suffixes(); },
};

/// The length of the name at the start of a text.
size_t nameLength(std::string_view Text) {
  size_t Length = 0;
  while (Length < Text.size() && (isLetterOrDigit(Text[Length]) || Text[Length] == '_'))
    ++Length;
  return Length;
}

} // namespace

void orvy::cl::setProgramNames(const ProgramNames &Given) {
  Answers = Given;
}

const ProgramNames &orvy::cl::programNames() {
  return Answers;
}

void orvy::cl::keepRegisters(std::string &Text) {
  std::string Why;
  for (size_t Dollar = Text.find('$'); Dollar != Text.npos; Dollar = Text.find('$', Dollar + 1)) {
    const std::string Name = Text.substr(Dollar + 1, nameLength(Text.c_str() + Dollar + 1));
    const bool IsEscaped = Dollar > 0 && Text[Dollar - 1] == '\\';
    if (!Name.empty() && !IsEscaped && !Var::findVariable(Name) &&
        Answers.addressOf("$" + Name, false, Why))
      Text.insert(Dollar++, 1, '\\');
  }
}
