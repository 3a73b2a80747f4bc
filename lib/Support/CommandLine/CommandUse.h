// CommandUse.h - one use of a command, from its words to its result.

#ifndef ORVY_LIB_COMMANDUSE_H
#define ORVY_LIB_COMMANDUSE_H

#include "orvy/Support/Commands.h"

namespace orvy::cl {

/// A use inside another one of the same command, by what its handler calls, begins without
/// arguments and leaves those of the other as they are.
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
