// StopReport.h - why a run or step ended: told to the user, to scripts and to the test that waits
// for it.

#ifndef ORVY_LIB_STOPREPORT_H
#define ORVY_LIB_STOPREPORT_H

#include "CommandLine/Handlers.h"
#include "Debugger/BreakTable.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvy::debugger {

enum class StopKind : uint8_t {
  None,
  Time,      ///< the time asked for is over
  Steps,     ///< the steps asked for are done
  Break,     ///< a break point
  Watch,     ///< a watch point
  Halt,      ///< a processor went into error mode
  Interrupt, ///< ^C
  Asked      ///< a model or the host asked for it
};

/// Why, where and when a run ended.
struct Stop {
  StopKind Kind = StopKind::None;
  uint64_t BreakId = 0;
  std::string Cpu; ///< by name; empty if it concerns all
  uint64_t Pc = 0;
  double Seconds = 0;
  std::string Text; ///< the line that is told, without "stopped: "

  /// The word for scripts: "time", "steps", "break", "watch", "halt", "interrupt", "stop".
  const char *word() const;
};

/// The stop of the latest run.
const Stop &lastStop();

/// The option that names the stop that a script expects.
inline cl::Option expectOption() {
  return {"expect", cl::OK_String, false,
          "The command fails unless it ends like this: break, watch, halt, time, steps, interrupt "
          "or stop"};
}

/// One run, from its start to the line that tells how it ended.
class RunWatch {
public:
  /// @param Obj what is run: a processor, a machine or a clock
  RunWatch(void *Obj, StopKind AtEnd);

  /// Call this with the reason of the last part, and whether ^C has ended it. Tells the stop on the
  /// standard stream, sets the variables STOP_REASON, STOP_CPU, STOP_PC, STOP_TIME and STOP_ID, and
  /// runs the commands of the break point. Returns the result of the command.
  int finish(int Reason, bool IsInterrupted, const cl::Command &Cmd);
  /// The same without telling; for the parts of a longer step.
  Stop conclude(int Reason, bool IsInterrupted);
  static int tell(const Stop &Found, const cl::Command &Cmd);
  /// Concludes a run that was made without this class, and keeps it as the latest stop.
  static const Stop &concludeRun(void *Obj, int Reason);

private:
  explicit RunWatch(void *Obj);
  Stop breakStop(const BreakHit &Hit) const;
  void *haltedCpu() const;
  void *currentCpu() const;
  double seconds() const;
  void place(Stop &Found, void *Cpu) const;

  std::string Name; ///< of what is run, which may go
  StopKind AtEnd = StopKind::Time;
  std::vector<std::string> HaltedBefore;
};

/// Whether a processor is in error mode, by its property "halted".
bool isHalted(void *Cpu);

} // namespace orvy::debugger

#endif
