// The commands that show and set the state of a processor, and that log its traps.

#include "CommandLine/Handlers.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/Notifications.h"

using namespace orvy;
using namespace orvy::cl;

namespace {

constexpr uint32_t ShownRegisters = 32;

int setRegister(Target<CpuIface> Cpu, Command &Cmd) {
  const int Id =
      ORVY_CALL(CpuIface, getRegId, Cpu.Obj, *Cpu.Iface, Cmd.getOption("reg").Value.c_str());
  if (Id < 0) {
    errs() << "invalid register\n";
    return -1;
  }
  ORVY_CALL(CpuIface, setGpr, Cpu.Obj, *Cpu.Iface, static_cast<uint32_t>(Id),
            Cmd.getOption("value").getValue<unsigned long>());
  return 0;
}

int showRegisters(Target<CpuIface> Cpu, Command &Cmd) {
  if (!implements(Cpu, {{"getRegName", Cpu->getRegName}, {"getGpr", Cpu->getGpr}}))
    return 1;
  const bool InDecimal = Cmd.getOption("decimal").Valid;
  for (uint32_t Reg = 0; Reg < ShownRegisters; ++Reg) {
    const char *Name = ORVY_CALL(CpuIface, getRegName, Cpu.Obj, *Cpu.Iface, Reg);
    if (!Name)
      continue;
    outs().setWidth(3) << Name << " = ";
    if (InDecimal)
      outs().setWidth(10);
    else
      outs().setBase(OutStream::Hexadecimal).setWidth(8).setFill('0');
    outs() << ORVY_CALL(CpuIface, getGpr, Cpu.Obj, *Cpu.Iface, Reg) << "\n";
  }
  return 0;
}

void setPc(Target<CpuIface> Cpu, Command &Cmd) {
  ORVY_CALL(CpuIface, setPc, Cpu.Obj, *Cpu.Iface, Cmd.getOption("pc").getValue<unsigned long>());
}

void raiseTrap(Target<CpuIface> Cpu, Command &Cmd) {
  ORVY_CALL(CpuIface, raiseTrap, Cpu.Obj, *Cpu.Iface, Cmd.getOption("trap").getValue<int>());
}

// Traps

void logTrapEntry(void *, void *Source, void *Info) {
  const uint32_t Trap = *static_cast<const uint32_t *>(Info);
  const Target<CpuIface> Cpu(Source);
  const char *Name =
      Cpu ? ORVY_CALL(CpuIface, getTrapName, Source, *Cpu.Iface, static_cast<int>(Trap)) : nullptr;
  if (Name)
    orvy_logInfo(Source, "trap raised %s (trap id = %u)", Name, Trap);
  else
    orvy_logInfo(Source, "trap raised (trap id = %u)", Trap);
}

void logTrapExit(void *, void *Source, void *) {
  orvy_logInfo(Source, "trap exit");
}

/// Subscribes at most once, so that a trap is not logged several times.
void subscribeOnce(const char *Name, void *Cpu, orvy_NotificationFunc Func) {
  orvy_unsubscribeNotification(Name, Cpu, Func);
  orvy_subscribeNotification(Name, Cpu, nullptr, Func);
}

/// The processor given to the command. Returns false, and reports on the error stream, if the
/// object is not a processor.
Target<CpuIface> requireCpu(Command &Cmd) {
  const Option &Opt = Cmd.getOption("cpu");
  const Target<CpuIface> Cpu(Opt.getValue<void *>());
  if (!Cpu)
    errs() << "'" << Opt.Value << "' is not a cpu\n";
  return Cpu;
}

int enableTrapEvents(Command &Cmd, Interpreter *) {
  const Target<CpuIface> Cpu = requireCpu(Cmd);
  if (!Cpu)
    return -1;
  ORVY_CALL(CpuIface, enableTrapEvents, Cpu.Obj, *Cpu.Iface);
  if (isOn(Cmd, "print")) {
    subscribeOnce("orvy.cpuTrapEntry", Cpu.Obj, logTrapEntry);
    subscribeOnce("orvy.cpuTrapExit", Cpu.Obj, logTrapExit);
  }
  return 0;
}

int disableTrapEvents(Command &Cmd, Interpreter *) {
  const Target<CpuIface> Cpu = requireCpu(Cmd);
  if (!Cpu)
    return -1;
  ORVY_CALL(CpuIface, disableTrapEvents, Cpu.Obj, *Cpu.Iface);
  return 0;
}

Command CpuSetReg("cpu-set-reg",
                  {{"cpu", OK_Object, true, "Processor.", "DEFAULT_CPU"},
                   {"reg", OK_String, true, "Register name."},
                   {"value", OK_Int, true, "Value to set."}},
                  onTarget<CpuIface>("cpu", setRegister), "set register", {"set-reg"});

Command CpuShowRegs("cpu-show-regs",
                    {{"cpu", OK_Object, true, "Processor.", "DEFAULT_CPU"},
                     {"decimal", OK_Int, false, "Print in decimal"}},
                    onTarget<CpuIface>("cpu", showRegisters), "Pretty print registers.", {"regs"});

Command CpuSetPc("cpu-set-pc",
                 {{"cpu", OK_Object, true, "Processor to set program counter in.", "DEFAULT_CPU"},
                  atAddress("pc", true, "The new PC value.")},
                 onTarget<CpuIface>("cpu", setPc), "Set the program counter (and Next-PC)");

Command CpuRaiseTrap("cpu-raise-trap",
                     {{"cpu", OK_Object, true, "Processor.", "DEFAULT_CPU"},
                      {"trap", OK_Int, true, "Trap number."}},
                     onTarget<CpuIface>("cpu", raiseTrap),
                     "Raise trap as if triggered by current instruction", {"raise-trap"});

Command CpuEnableTrapEvents("cpu-enable-trap-events",
                            {{"cpu", OK_Object, true, "Processor."},
                             {"print", OK_Int, false, "Whether to print on trap."}},
                            enableTrapEvents,
                            "Enable generation of trap events.\n"
                            "Note that no event handler will be installed.\n"
                            "By default the events will not be reported for\n"
                            "performance reasons.\n"
                            "To for example get a message for every trap, a trap handler\n"
                            "event listner must also be installed by e.g. a plugin.");

Command CpuDisableTrapEvents("cpu-disable-trap-events", {{"cpu", OK_Object, true, "Processor."}},
                             disableTrapEvents, "Disable generation on trap events.");

} // namespace
