// DebugCommands.h - helpers for the handlers of the debug commands.

#ifndef ORVY_LIB_DEBUGCOMMANDS_H
#define ORVY_LIB_DEBUGCOMMANDS_H

#include "CommandLine/Handlers.h"
#include "orvy/Support/Debugging.h"

namespace orvy::debugging {

/// The option "ctxt", which most of the commands have.
inline cl::Option contextOption() {
  return {"ctxt", cl::OK_String, false, "Debugging context (if omitted, using current)"};
}

/// The context given to a command, or else the current one; null if there is none.
inline Ctxt *chosenContext(cl::Command &Cmd) {
  const cl::Option &Opt = Cmd.getOption("ctxt");
  Manager &All = Manager::getDebuggingManager();
  return Opt.Valid ? All.find(Opt.Value) : All.getCurrent();
}

/// Writes a message to the error stream and returns Result.
template <typename... Parts> int complain(int Result, const Parts &...Message) {
  ((errs() << Message), ...);
  errs() << "\n";
  return Result;
}

/// The table of a processor. Returns null, and reports on the error stream, for any other object.
inline const CpuIface *requireCpu(void *Obj) {
  const auto *Found = static_cast<const CpuIface *>(orvy_getInterface(Obj, "CpuIface", 0));
  if (!Found)
    complain(1, "object does not implement CpuIface");
  return Found;
}

} // namespace orvy::debugging

#endif
