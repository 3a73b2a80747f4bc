// The commands that run processors, machines and clocks, and that show their time.

#include "Base/ActiveRun.h"
#include "Base/TimeUnits.h"
#include "CommandLine/Handlers.h"
#include "Commands/RunReport.h"
#include "Debugger/InterruptGuard.h"
#include "Debugger/Polling.h"
#include "Debugger/RunControl.h"
#include "Debugger/Selection.h"
#include "Debugger/StopReport.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

using namespace orvy;
using namespace orvy::cl;
using orvy::debugger::Polling;
using orvy::debugger::RunWatch;
using orvy::debugger::StopKind;

namespace {

constexpr uint64_t MaxSlice = 10000000; // cycles or steps between checks of the stop flag
constexpr auto EndlessMachineStride = static_cast<uint64_t>(NanosPerSecond);
constexpr uint64_t EndlessClockStride = 1000000000; // cycles

// Lengths

/// The length of a run; an endless run repeats runs of that length.
struct Span {
  uint64_t Length;
  bool Endless;
};

/// Truncates a number and clamps it to the range of the result.
uint64_t toCount(double Value) {
  if (!(Value > 0))
    return 0;
  return Value < 0x1p64 ? static_cast<uint64_t>(Value) : UINT64_MAX;
}

uint64_t later(uint64_t Time, uint64_t Length) {
  return Length > UINT64_MAX - Time ? UINT64_MAX : Time + Length;
}

std::optional<double> givenSeconds(const Command &Cmd) {
  const std::optional<double> Secs = given<double>(Cmd, "time");
  return Secs && !std::isnan(*Secs) ? Secs : std::nullopt;
}

uint64_t givenSteps(const Command &Cmd) {
  return given<unsigned long>(Cmd, "steps").value_or(1);
}

Span runSpan(const Command &Cmd, double Freq, uint64_t Stride) {
  if (const auto Secs = givenSeconds(Cmd))
    return {toCount(*Secs * Freq), false};
  if (const auto Cycles = given<unsigned long>(Cmd, "cycles"))
    return {*Cycles, false};
  return {std::max<uint64_t>(Stride, 1), true};
}

/// Advances in slices until At reaches the end of the span, Go returns an exit reason, or the stop
/// flag is set. Also stops when neither the position nor the time advances: a sleeping processor
/// executes no steps, and its time may stand still. Returns the last exit reason.
template <typename Position, typename Time, typename Advance>
int advance(Span Run, uint64_t Slice, Position At, Time Cycles, Advance Go) {
  uint64_t Target = later(At(), Run.Length);
  for (uint64_t Now = At(); Now < Target && !InterruptGuard::isStopped(); Now = At()) {
    const uint64_t Before = Cycles();
    const int Reason = Go(std::min(Target - Now, Slice));
    if (Reason != 0 || (At() == Now && Cycles() == Before))
      return Reason;
    if (Run.Endless)
      Target = later(std::max(Target, At()), Run.Length);
  }
  return 0;
}

/// Warns once if a run or step executes no instruction: immediately if a processor is halted, and
/// after a second of simulated time if the processors may just be waiting.
class IdleWarning {
public:
  IdleWarning(std::string Name, std::vector<Target<CpuIface>> Watched)
      : Name(std::move(Name)), Cpus(std::move(Watched)), IsDone(!areCounting()), Start(steps()) {}

  /// Call this after each part of the run, with the seconds simulated so far.
  void check(orvy_CpuExitReason Reason, double Secs) {
    const bool IsHalted = Reason == ovCER_Halt;
    if (IsDone || (!IsHalted && Secs < 1) || steps() != Start)
      return;
    IsDone = true;
    errs() << "warning: '" << Name << "' has executed no instruction: "
           << (Cpus.empty() ? "there is no processor, only events run\n"
               : IsHalted   ? "halted in error mode; reset it to run again\n"
                            : "halted in error mode, or waiting for an interrupt\n");
  }

private:
  bool areCounting() const {
    return std::ranges::all_of(Cpus, [](auto &Cpu) { return Cpu->getSteps != nullptr; });
  }
  uint64_t steps() const {
    uint64_t Sum = 0;
    if (IsDone)
      return Sum;
    for (const Target<CpuIface> &Cpu : Cpus)
      Sum += Cpu.exists() ? Cpu->getSteps(Cpu.Obj) : 0;
    return Sum;
  }

  const std::string Name;
  const std::vector<Target<CpuIface>> Cpus;
  bool IsDone; // warned already, or the processors do not count their steps
  const uint64_t Start;
};

// Processors

void setPcIfGiven(Target<CpuIface> Cpu, const Command &Cmd) {
  if (const auto Pc = given<unsigned long>(Cmd, "pc"))
    ORVY_CALL(CpuIface, setPc, Cpu.Obj, *Cpu.Iface, *Pc);
}

template <typename Position, typename Advance>
int driveProcessor(Target<CpuIface> Cpu, const Command &Cmd, Span Run, Position At, Advance Go,
                   StopKind AtEnd) {
  setPcIfGiven(Cpu, Cmd);
  RunWatch Watch(Cpu.Obj, AtEnd);
  std::optional<InterruptGuard> Guard(std::in_place);
  const Polling Polled;
  std::optional<RunReport> Report;
  if (isOn(Cmd, "perf"))
    Report.emplace(std::vector{Cpu});
  IdleWarning Idle(Cpu.name(), {Cpu});
  const auto secondsSince = [&, Start = Cpu->getCycles(Cpu.Obj)] {
    return static_cast<double>(Cpu->getCycles(Cpu.Obj) - Start) /
           static_cast<double>(Cpu->getFreq(Cpu.Obj));
  };
  const int Reason = advance(
      Run, Polled.slice(MaxSlice), [&] { return At(Cpu.Obj); },
      [&] { return Cpu->getCycles(Cpu.Obj); },
      [&](uint64_t Slice) {
        return Polled.check(Cpu.Obj, [&] {
          const orvy_CpuExitReason Last = Go(Cpu.Obj, Slice);
          Idle.check(Last, secondsSince());
          return Last;
        });
      });
  if (Report)
    Report->printProcessor();
  Guard.reset();
  return Watch.finish(Reason, InterruptGuard::isStopped(), Cmd);
}

int runProcessor(Target<CpuIface> Cpu, Command &Cmd) {
  if (!implements(Cpu,
                  {{"run", Cpu->run}, {"getFreq", Cpu->getFreq}, {"getCycles", Cpu->getCycles}}))
    return 1;
  const uint64_t Freq = Cpu->getFreq(Cpu.Obj);
  return driveProcessor(Cpu, Cmd, runSpan(Cmd, static_cast<double>(Freq), Freq), Cpu->getCycles,
                        Cpu->run, StopKind::Time);
}

int stepProcessor(Target<CpuIface> Cpu, Command &Cmd) {
  if (!implements(Cpu, {{"step", Cpu->step},
                        {"getFreq", Cpu->getFreq},
                        {"getCycles", Cpu->getCycles},
                        {"getSteps", Cpu->getSteps}}))
    return 1;
  return driveProcessor(Cpu, Cmd, {givenSteps(Cmd), false}, Cpu->getSteps, Cpu->step,
                        StopKind::Steps);
}

// Clocks

int runClock(Target<ClockIface> Clock, Command &Cmd) {
  if (!implements(Clock, {{"getFreq", Clock->getFreq},
                          {"getCycles", Clock->getCycles},
                          {"advanceCycles", Clock->advanceCycles}}))
    return 1;
  const double Freq = Clock->getFreq(Clock.Obj);
  const auto Cycles = [&] { return Clock->getCycles(Clock.Obj); };
  RunWatch Watch(Clock.Obj, StopKind::Time);
  std::optional<InterruptGuard> Guard(std::in_place);
  const Polling Polled;
  const int Reason = advance(runSpan(Cmd, Freq, EndlessClockStride),
                             Polled.slice(std::max<uint64_t>(toCount(Freq * 0.1), 1)), Cycles,
                             Cycles, [&](uint64_t Slice) {
                               return Polled.check(debugger::selectedCpu(), [&] {
                                 return Clock->advanceCycles(Clock.Obj, Slice);
                               });
                             });
  Guard.reset();
  return Watch.finish(Reason, InterruptGuard::isStopped(), Cmd);
}

// Machines

/// The processors in the property "cpus", up to the first null reference.
std::vector<Target<CpuIface>> listedProcessors(void *Machine, int Count) {
  std::vector<Target<CpuIface>> Cpus;
  for (int Idx = 0; Idx < Count; ++Idx) {
    const orvy_Propval Pv = orvy_getValue(Machine, "cpus", Idx);
    if (Pv.Typ != ovTY_IfaceRef || !Pv.IfaceRef.Obj || !Pv.IfaceRef.Iface)
      break;
    Cpus.emplace_back(Pv.IfaceRef.Obj, static_cast<const CpuIface *>(Pv.IfaceRef.Iface));
  }
  return Cpus;
}

/// The processors in the order of their indices. A machine without the property "cpus", like the
/// simulator, is asked for each one.
std::vector<Target<CpuIface>> processorsOf(Target<MachineIface> Machine) {
  if (const int Count = orvy_getPropDynLength(Machine.Obj, "cpus"); Count >= 0)
    return listedProcessors(Machine.Obj, Count);
  std::vector<Target<CpuIface>> Cpus;
  for (uint32_t Idx = 0;; ++Idx) {
    const orvy_IfaceRef Ref = ORVY_CALL(MachineIface, getCpu, Machine.Obj, *Machine.Iface, Idx);
    if (!Ref.Obj)
      return Cpus;
    Cpus.emplace_back(Ref.Obj, static_cast<const CpuIface *>(Ref.Iface));
  }
}

/// Calls Go to run or step the machine, with interrupt handling and reports. It returns the last
/// exit reason.
template <typename Advance>
int driveMachine(Target<MachineIface> Machine, const Command &Cmd, StopKind AtEnd, Advance Go) {
  RunWatch Watch(Machine.Obj, AtEnd);
  int Reason = 0;
  std::optional<RunReport> Report;
  if (isOn(Cmd, "perf"))
    Report.emplace(processorsOf(Machine));
  {
    const InterruptGuard Guard(Machine);
    const uint64_t Start = Machine->getTime(Machine.Obj);
    Reason = Go();
    if (!Machine.exists())
      return 0;
    if (Report)
      Report->printMachine(Machine->getTime(Machine.Obj) - Start);
  }
  outs() << Machine.name() << ": cpuidx = " << Machine->getCurrentCpuId(Machine.Obj) << "\n";
  return Watch.finish(Reason, InterruptGuard::isStopped(), Cmd);
}

/// Clamps the length of a run so that the machine's time does not exceed 63 bits.
uint64_t toNanos(Target<MachineIface> Machine, double Secs) {
  const uint64_t Now = std::min<uint64_t>(Machine->getTime(Machine.Obj), INT64_MAX);
  return std::min(toCount(Secs * NanosPerSecond), INT64_MAX - Now);
}

bool keepsTime(Target<MachineIface> Machine) {
  return implements(Machine,
                    {{"getTime", Machine->getTime}, {"getCurrentCpuId", Machine->getCurrentCpuId}});
}

/// Runs a machine by steps of its current processor, the others in time with it.
int runPolled(Target<MachineIface> Machine, const Command &Cmd, const Polling &Polled,
              std::optional<double> Secs) {
  const uint64_t Length = Secs ? toNanos(Machine, *Secs) : INT64_MAX;
  const uint64_t End = later(Machine->getTime(Machine.Obj), Length);
  return driveMachine(Machine, Cmd, StopKind::Time, [&] {
    int Reason = 0;
    while (Reason == 0 && !InterruptGuard::isStopped() && Machine.exists() &&
           Machine->getTime(Machine.Obj) < End) {
      const auto Cpu = static_cast<int>(Machine->getCurrentCpuId(Machine.Obj));
      Reason = Polled.check(debugger::selectedCpu(),
                            [&] { return static_cast<int>(Machine->step(Machine.Obj, Cpu, 1)); });
    }
    return Reason;
  });
}

int runMachine(Target<MachineIface> Machine, Command &Cmd) {
  if (!implements(Machine, {{"run", Machine->run}}) || !keepsTime(Machine))
    return 1;
  const auto Cpus = processorsOf(Machine);
  const auto Secs = givenSeconds(Cmd);
  if (Cpus.empty() && !Secs && !orvy_isComponent(Machine.Obj)) {
    errs() << "nothing to run: '" << Machine.name()
           << "' has no processor; with 'time' its events run for that long\n";
    return 1;
  }
  for (const Target<CpuIface> &Cpu : Cpus)
    setPcIfGiven(Cpu, Cmd);
  IdleWarning Idle(Machine.name(), Cpus);
  const Polling Polled;
  if (Polled && !Cpus.empty() && Machine->step)
    return runPolled(Machine, Cmd, Polled, Secs);
  return driveMachine(Machine, Cmd, StopKind::Time, [&] {
    const uint64_t Length = Secs ? toNanos(Machine, *Secs) : EndlessMachineStride;
    orvy_CpuExitReason Reason;
    do {
      Reason = Machine->run(Machine.Obj, Length);
      Idle.check(Reason, static_cast<double>(Length) / NanosPerSecond);
    } while (!Secs && Reason == ovCER_Normal && !InterruptGuard::isStopped() && Machine.exists());
    return static_cast<int>(Reason);
  });
}

int stepMachine(Target<MachineIface> Machine, Command &Cmd, int CpuIdx) {
  IdleWarning Idle(Machine.name(), processorsOf(Machine));
  const Polling Polled;
  return driveMachine(Machine, Cmd, StopKind::Steps, [&] {
    int Reason = 0;
    uint64_t Left = givenSteps(Cmd);
    do {
      const uint64_t Count = std::min(Left, Polled.slice(Left));
      Reason = Polled.check(debugger::selectedCpu(), [&] {
        const orvy_CpuExitReason Last = Machine->step(Machine.Obj, CpuIdx, Count);
        Idle.check(Last, 0);
        return static_cast<int>(Last);
      });
      Left -= Count;
    } while (Left > 0 && Reason == 0 && !InterruptGuard::isStopped() && Machine.exists());
    return Reason;
  });
}

int currentProcessor(Target<MachineIface> Machine) {
  return static_cast<int>(Machine->getCurrentCpuId(Machine.Obj));
}

/// The index of the processor in the machine, or -1.
int indexOf(const void *Cpu, Target<MachineIface> Machine) {
  const auto Cpus = processorsOf(Machine);
  const auto Found =
      std::find_if(Cpus.begin(), Cpus.end(), [&](const auto &Each) { return Each.Obj == Cpu; });
  return Found == Cpus.end() ? -1 : static_cast<int>(Found - Cpus.begin());
}

// Commands on processors, machines and clocks

int fail(const char *Message) {
  errs() << Message;
  return 1;
}

int failAmbiguous() {
  return fail("object cannot support both CpuIface and MachineIface\n");
}

/// Whether a run is in progress, which a command called from it must not enter again. Reports it.
bool isRunning() {
  if (ActiveRun::isAny())
    errs() << "a run is in progress, and another one cannot begin inside it\n";
  return ActiveRun::isAny();
}

/// Whether a run without an end could only wait: all processors are in error mode. Reports it.
bool isNothingLeft(const Command &Cmd) {
  const size_t Count = orvy_getProcessorCount();
  void **All = orvy_getProcessors();
  if (Count == 0 || givenSeconds(Cmd) || given<unsigned long>(Cmd, "cycles") ||
      given<unsigned long>(Cmd, "pc") || !std::all_of(All, All + Count, debugger::isHalted))
    return false;
  errs() << "nothing to run: " << (Count == 1 ? "the processor is" : "all processors are")
         << " in error mode; reset to run again, or give 'time' to let time pass\n";
  return true;
}

int runObject(Command &Cmd, Interpreter *) {
  if (isRunning() || isNothingLeft(Cmd))
    return 1;
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  debugger::rememberRunnable(Obj);
  const Target<CpuIface> Cpu(Obj);
  const Target<MachineIface> Machine(Obj);
  if (Cpu && Machine)
    return failAmbiguous();
  if (Machine)
    return runMachine(Machine, Cmd);
  if (Cpu)
    return runProcessor(Cpu, Cmd);
  if (const Target<ClockIface> Clock(Obj); Clock)
    return runClock(Clock, Cmd);
  return fail("object does not conform to CpuIface nor MachineIface\n");
}

int stepObject(Command &Cmd, Interpreter *) {
  if (isRunning())
    return 1;
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  const Target<CpuIface> Cpu(Obj);
  const Target<MachineIface> Machine(Obj);
  if (Cpu && Machine)
    return failAmbiguous();
  if (Cpu)
    return stepProcessor(Cpu, Cmd);
  if (!Machine)
    return fail("object does not support CpuIface or MachineIface\n");
  if (!implements(Machine, {{"step", Machine->step}}) || !keepsTime(Machine))
    return 1;
  const int CpuIdx = given<int>(Cmd, "cpuidx").value_or(currentProcessor(Machine));
  const orvy_IfaceRef Stepped =
      ORVY_CALL(MachineIface, getCpu, Obj, *Machine.Iface, static_cast<uint32_t>(CpuIdx));
  if (Stepped.Obj)
    setPcIfGiven({Stepped.Obj, static_cast<const CpuIface *>(Stepped.Iface)}, Cmd);
  return stepMachine(Machine, Cmd, CpuIdx);
}

void printTime(const char *Name, double Secs) {
  outs() << Name << ": time = " << Secs << " s";
}

template <typename T> int printCycles(Target<T> Holder) {
  if (!implements(Holder, {{"getCycles", Holder->getCycles}, {"getFreq", Holder->getFreq}}))
    return 1;
  const uint64_t Cycles = Holder->getCycles(Holder.Obj);
  printTime(Holder.name(),
            static_cast<double>(Cycles) / static_cast<double>(Holder->getFreq(Holder.Obj)));
  outs() << ", " << Cycles << " cycles\n";
  return 0;
}

int showTime(Command &Cmd, Interpreter *) {
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  const Target<CpuIface> Cpu(Obj);
  const Target<MachineIface> Machine(Obj);
  if (Cpu && Machine)
    return failAmbiguous();
  if (Cpu)
    return printCycles(Cpu);
  if (Machine) {
    if (!implements(Machine, {{"getTime", Machine->getTime}}))
      return 1;
    printTime(Machine.name(), static_cast<double>(Machine->getTime(Obj)) / NanosPerSecond);
    outs() << "\n";
    return 0;
  }
  const Target<ClockIface> Clock(Obj);
  return Clock ? printCycles(Clock) : 1;
}

// The older commands

template <typename T, typename Function>
Command::Handler deprecated(const char *Successor, const char *OptName, Function F) {
  return [Successor, Run = onTarget<T>(OptName, F)](Command &Cmd, Interpreter *Interp) {
    errs() << "warning: this command is deprecated, please use " << Successor << " instead\n";
    return isRunning() ? 1 : Run(Cmd, Interp);
  };
}

int stepMachineOfCpu(Target<MachineIface> Machine, Command &Cmd) {
  const auto Cpu = given<void *>(Cmd, "cpu");
  if (!implements(Machine, {{"step", Machine->step}}) || !keepsTime(Machine))
    return 1;
  const int CpuIdx = Cpu ? indexOf(*Cpu, Machine) : currentProcessor(Machine);
  if (Cpu && CpuIdx < 0)
    return fail("cannot step cpu not part of the machine object\n");
  return stepMachine(Machine, Cmd, CpuIdx);
}

Command
    ObjectRun("object-run",
              {{"obj", OK_Object, true, "Object to run (machine or cpu).", "DEFAULT_RUNNABLE"},
               counted("cycles", "Time in cycles (only for CPUs)"),
               inSeconds("time", "Time in seconds."),
               {"perf", OK_Int, false, "Set to 1 to report emulator performance (MIPS-rating)."},
               atAddress("pc", false, "Program counter for start address of all CPUs."),
               debugger::expectOption()},
              runObject,
              "Run the machine or cpu for the given time. If time is omitted,\n"
              "the machine or CPU will run forever (or until a non-normal stop\n"
              "(halt, break, watch hit etc.))",
              {"run"});

Command ObjectStep(
    "object-step",
    {{"obj", OK_Object, true, "Object to step (machine or cpu).", "DEFAULT_RUNNABLE"},
     {"cpuidx", OK_Int, false, "CPU to step in a machine. Defaults to current CPU."},
     counted("steps", "Number of steps, default is 1."),
     {"perf", OK_Int, false, "Set to 1 to report emulator performance of step operation."},
     atAddress("pc", false, "PC to start stepping from."),
     debugger::expectOption()},
    stepObject, "Step machine or processor", {"step"});

Command CpuRun("cpu-run",
               {{"cpu", OK_Object, true},
                atAddress("pc"),
                counted("cycles"),
                inSeconds("time"),
                {"perf", OK_Int, false}},
               deprecated<CpuIface>("object-run", "cpu", runProcessor),
               "Run the emulator. By default the emulator is run forever, and must be\n"
               "stopped by ^C. The length of the run can be set using the cycles or\n"
               "time parameters. Time is given in seconds.\n");

Command
    CpuStep("cpu-step",
            {{"cpu", OK_Object, true}, atAddress("pc"), counted("steps"), {"perf", OK_Int, false}},
            deprecated<CpuIface>("object-step", "cpu", stepProcessor),
            "Step the emulator. By default a single step is executed.\n");

Command MachineRun("machine-run",
                   {{"machine", OK_Object, true, "Machine object to run.", "DEFAULT_MACHINE"},
                    inSeconds("time", "Time in seconds."),
                    {"perf", OK_Int, false, "Set to 1 to report performance."}},
                   deprecated<MachineIface>("object-run", "machine", runMachine),
                   "Run the emulator. By default one second of time is executed, but this can\n"
                   "be overridden by setting either the time parameter.\n",
                   {"mrun"});

Command MachineStep("machine-step",
                    {{"machine", OK_Object, true},
                     {"cpu", OK_Object, false},
                     counted("steps"),
                     {"perf", OK_Int, false}},
                    deprecated<MachineIface>("object-step", "machine", stepMachineOfCpu),
                    "Step the given processor in the machine. By default one step is\n"
                    "executed, but this can be overridden by setting the steps parameter.\n",
                    {"mstep"});

Command ObjectTime("object-time",
                   {{"obj", OK_Object, true, "Object to get time from.", "DEFAULT_RUNNABLE"}},
                   showTime, "Get the simualted time for a machine or cpu", {"time"});

} // namespace
