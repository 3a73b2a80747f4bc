// DebugCommands.h - what the handlers of the debug commands have in common.

#ifndef ORVY_LIB_DEBUGCOMMANDS_H
#define ORVY_LIB_DEBUGCOMMANDS_H

#include "CommandLine/Handlers.h"
#include "orvy/Support/Debugging.h"

namespace orvy::debugging {

/// The option that most of the commands have.
inline cl::Option contextOption() {
  return {"ctxt", cl::OK_String, false, "Debugging context (if omitted, using current)"};
}

/// The context that a command names, else the current one; null if there is none.
inline Ctxt *chosenContext(cl::Command &Cmd) {
  const cl::Option &Opt = Cmd.getOption("ctxt");
  Manager &All = Manager::getDebuggingManager();
  return Opt.Valid ? All.find(Opt.Value) : All.getCurrent();
}

/// Writes a message to the error stream. Returns the result of a command that fails with it.
template <typename... Parts> int complain(int Result, const Parts &...Message) {
  ((errs() << Message), ...);
  errs() << "\n";
  return Result;
}

/// The table of a processor; null, with a message on the error stream, for another object.
inline const CpuIface *requireCpu(void *Obj) {
  const auto *Found = static_cast<const CpuIface *>(orvy_getInterface(Obj, "CpuIface", 0));
  if (!Found)
    complain(1, "object does not implement CpuIface");
  return Found;
}

} // namespace orvy::debugging

#endif
