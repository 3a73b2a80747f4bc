// CommandUse.h - one execution of a command, from its words to its result.

#ifndef ORVY_LIB_COMMANDUSE_H
#define ORVY_LIB_COMMANDUSE_H

#include "orvy/Support/Commands.h"

namespace orvy::cl {

/// A command may be executed again from its own handler. The inner execution starts without
/// arguments and does not change those of the outer one.
class CommandUse {
public:
  explicit CommandUse(Command &Cmd);
  ~CommandUse();
  CommandUse(const CommandUse &) = delete;
  CommandUse &operator=(const CommandUse &) = delete;

private:
  void swapArguments();

  Command &Cmd;
  std::vector<Option> OuterOptions;
  std::vector<std::string> OuterPositionals;
};

} // namespace orvy::cl

#endif
