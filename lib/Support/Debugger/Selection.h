// Selection.h - which processor and which of its frames the debug commands work on.

#ifndef ORVY_LIB_SELECTION_H
#define ORVY_LIB_SELECTION_H

#include "CommandLine/Handlers.h"
#include "Debugger/Value.h"

#include <optional>
#include <string>

namespace orvy::debugger {

/// The option "cpu" of a debug command.
inline cl::Option cpuOption() {
  return {"cpu", cl::OK_Object, false, "Processor; the selected one if omitted"};
}

/// The processor that commands work on: the one selected, else the variable DEFAULT_CPU, else the
/// current one of the variable DEFAULT_RUNNABLE, else the only one. Null if there is none.
void *selectedCpu();
void selectCpu(void *Cpu);

/// The processor given to a command, or else the selected one. Null, and a text on the error
/// stream, if there is none.
void *requireCpu(cl::Command &Cmd);

/// The text that a command was given, which is its only word; empty without.
inline std::string givenText(const cl::Command &Cmd) {
  return Cmd.getPositionals().empty() ? std::string() : Cmd.getPositionals().front();
}

/// Does a part of a command that evaluates something and returns its result. Reports what cannot be
/// evaluated on the error stream, and returns 1.
template <typename Work> int evaluating(Work Do) {
  try {
    return Do();
  } catch (const EvaluationError &Why) {
    errs() << Why.what() << "\n";
    return 1;
  }
}

/// The selected frame of a processor: the innermost again once it has run.
unsigned selectedLevel(void *Cpu);
void selectLevel(void *Cpu, unsigned Level);

/// Where the listing commands go on. After a stop, and in another frame, they begin anew.
struct Listing {
  std::string File;
  uint32_t Line = 0; ///< 0 for nowhere
  std::optional<uint64_t> Code;
};
Listing &listing();
inline void forgetListing() {
  listing() = {};
}

/// Text of a frame as in a back trace: "#1  0x40001234 in update (n=3) at main.c:41".
std::string frameText(Stopped &In, Backtrace &Trace, const Frame &Of, bool WithArguments);

/// The file name of a place without its directories; empty for no place.
std::string fileName(const source::SourcePlace &Place);

} // namespace orvy::debugger

#endif
