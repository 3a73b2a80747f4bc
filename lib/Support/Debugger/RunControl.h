// RunControl.h - runs the system for the commands that step through a program.

#ifndef ORVY_LIB_RUNCONTROL_H
#define ORVY_LIB_RUNCONTROL_H

#include "Debugger/Polling.h"
#include "Debugger/StopReport.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvy::debugger {

/// What was run last, which stepping commands run again; by name.
void rememberRunnable(void *Obj);
/// What is run to let a processor go on: what was run last, else the variable DEFAULT_RUNNABLE, else
/// the processor if it is the only one, else the simulator.
void *runnableOf(void *Cpu);

/// Steps and runs a processor, the others in time with it, until something else stops it. Lives as
/// long as one command.
class Stepper {
public:
  explicit Stepper(void *Cpu);

  void *cpu() const { return Cpu; }
  const CpuView &view() const { return At; }

  /// Executes one instruction. Returns false if the run was stopped: then conclude tells by what.
  bool stepOne();
  /// Runs until a processor comes to an address with its stack pointer at least at a limit, which
  /// keeps deeper calls of the same function out. Returns false if something else stopped it.
  bool runTo(const std::vector<uint64_t> &Addresses, uint64_t LowestStack);
  /// Steps one instruction; a trap that it takes is run to its return.
  bool stepOverTraps();

  /// Tells what stopped the run, or that the step is over. Returns the result of the command.
  int conclude(const cl::Command &Cmd, StopKind AtEnd = StopKind::Steps);

private:
  int go();
  int stepSystem();

  void *Cpu;
  CpuView At;
  std::string Name;
  RunWatch Watch;
  Polling Polled;
  int Reason = 0;
  bool IsInterrupted = false;
  std::optional<Stop> Found;
};

/// Where a source file is on this machine: as it was compiled, with the remappings and directories of
/// the current context, beside the image, or in the current directory. Empty if nowhere.
std::string findSource(const std::string &File);
/// Text of a line of the source, without its line feed; nothing if its file cannot be read.
std::optional<std::string> sourceLine(const std::string &File, uint32_t Line);

} // namespace orvy::debugger

#endif
