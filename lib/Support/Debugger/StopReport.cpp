#include "Debugger/StopReport.h"

#include "Base/HexText.h"
#include "Base/TimeUnits.h"
#include "CommandLine/ScriptUnwinding.h"
#include "Debugger/Places.h"
#include "Debugger/Selection.h"

#include "orvy/Support/Interpreter.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <utility>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugger;

namespace {

Stop Last;

std::string secondsText(double Seconds) {
  char Text[48];
  std::snprintf(Text, sizeof(Text), "%.9f s", Seconds);
  return Text;
}

std::string nameOfObject(void *Obj) {
  const char *Name = Obj ? orvy_nameForObject(Obj) : nullptr;
  return Name ? Name : "";
}

/// The trap that put a processor into error mode.
std::string trapText(void *Cpu) {
  const CpuView At(Cpu);
  if (!At.isSparc())
    return "error mode";
  const unsigned Number = orvy_sparcGetTbr(Cpu) >> 4 & 0xff;
  const cl::Target<CpuIface> Iface(Cpu);
  const char *Name =
      Iface && Iface->getTrapName ? Iface->getTrapName(Cpu, static_cast<int>(Number)) : nullptr;
  return "error mode: trap 0x" + hexText(Number, 2) + (Name ? std::string(" ") + Name : "");
}

} // namespace

const char *Stop::word() const {
  switch (Kind) {
  case StopKind::Time:
    return "time";
  case StopKind::Steps:
    return "steps";
  case StopKind::Break:
    return "break";
  case StopKind::Watch:
    return "watch";
  case StopKind::Halt:
    return "halt";
  case StopKind::Interrupt:
    return "interrupt";
  case StopKind::Asked:
    return "stop";
  case StopKind::None:
    break;
  }
  return "none";
}

const Stop &orvy::debugger::lastStop() {
  return Last;
}

bool orvy::debugger::isHalted(void *Cpu) {
  const orvy_Propref Halted = orvy_getPropref(Cpu, "halted");
  return Halted.Typ == ovTY_U8 && *static_cast<const uint8_t *>(Halted.Ptr) != 0;
}

RunWatch::RunWatch(void *Obj) : Name(nameOfObject(Obj)) {}

RunWatch::RunWatch(void *Obj, StopKind AtEnd) : RunWatch(Obj) {
  this->AtEnd = AtEnd;
  BreakTable::get().begin();
  for (size_t Index = 0; Index < orvy_getProcessorCount(); ++Index)
    if (void *Cpu = orvy_getProcessors()[Index]; isHalted(Cpu))
      HaltedBefore.push_back(nameOfObject(Cpu));
}

/// The processor that has gone into error mode in this run, else one that was in it before.
void *RunWatch::haltedCpu() const {
  void *Found = nullptr;
  for (size_t Index = 0; Index < orvy_getProcessorCount(); ++Index) {
    void *Cpu = orvy_getProcessors()[Index];
    if (!isHalted(Cpu))
      continue;
    if (std::ranges::find(HaltedBefore, nameOfObject(Cpu)) == HaltedBefore.end())
      return Cpu;
    Found = Cpu;
  }
  return Found;
}

void *RunWatch::currentCpu() const {
  void *Obj = orvy_objectForName(Name.c_str());
  if (Obj && orvy_isCpu(Obj))
    return Obj;
  if (const cl::Target<MachineIface> Machine(Obj); Machine && Machine->getCurrentCpu)
    return Machine->getCurrentCpu(Obj).Obj;
  return orvy_getProcessorCount() == 1 ? orvy_getProcessors()[0] : nullptr;
}

double RunWatch::seconds() const {
  void *Obj = orvy_objectForName(Name.c_str());
  if (const cl::Target<MachineIface> Machine(Obj); Machine && Machine->getTime)
    return static_cast<double>(Machine->getTime(Obj)) / NanosPerSecond;
  if (const cl::Target<CpuIface> Cpu(Obj); Cpu && Cpu->getCycles && Cpu->getFreq)
    return static_cast<double>(Cpu->getCycles(Obj)) / static_cast<double>(Cpu->getFreq(Obj));
  if (const cl::Target<ClockIface> Clock(Obj); Clock && Clock->getCycles && Clock->getFreq)
    return static_cast<double>(Clock->getCycles(Obj)) / static_cast<double>(Clock->getFreq(Obj));
  return 0;
}

/// The time of the processor that stopped counts, which may be ahead of what is run.
static std::optional<double> secondsOf(void *Cpu) {
  const cl::Target<CpuIface> Iface(Cpu);
  if (!Iface || !Iface->getCycles || !Iface->getFreq || Iface->getFreq(Cpu) == 0)
    return std::nullopt;
  return static_cast<double>(Iface->getCycles(Cpu)) / static_cast<double>(Iface->getFreq(Cpu));
}

/// Completes a stop with its processor, pc and time.
void RunWatch::place(Stop &Found, void *Cpu) const {
  Found.Seconds = seconds();
  if (Cpu) {
    Found.Cpu = nameOfObject(Cpu);
    Found.Pc = CpuView(Cpu).pc();
    Found.Text += " on " + Found.Cpu + ", pc 0x" + hexText(Found.Pc, 8);
    Found.Seconds = secondsOf(Cpu).value_or(Found.Seconds);
  }
  Found.Text += ", " + secondsText(Found.Seconds);
}

Stop RunWatch::breakStop(const BreakHit &Hit) const {
  Stop Found;
  Found.Kind = Hit.Kind == BreakKind::Code ? StopKind::Break : StopKind::Watch;
  Found.BreakId = Hit.Id;
  Found.Text = (Found.Kind == StopKind::Break ? "break point " : "watch point ") +
               std::to_string(Hit.Id) + " at " + Hit.Place;
  if (!Hit.Problem.empty())
    Found.Text += ", whose condition cannot be evaluated (" + Hit.Problem + ")";
  if (!Hit.Detail.empty())
    Found.Text += ": " + Hit.Detail + ";";
  void *Cpu = Hit.Cpu.empty() ? currentCpu() : orvy_objectForName(Hit.Cpu.c_str());
  place(Found, Cpu);
  return Found;
}

Stop RunWatch::conclude(int Reason, bool IsInterrupted) {
  if (const auto Hit = BreakTable::get().takeHit())
    return breakStop(*Hit);
  Stop Found;
  void *Cpu = currentCpu();
  const auto here = [&] {
    if (!Cpu)
      return std::string();
    Stopped In(Cpu);
    return " at " + placeAt(In.target().pc(), In).Text;
  };
  if (Reason == ovCER_Break || Reason == ovCER_BreakRead || Reason == ovCER_BreakWrite) {
    Found.Kind = Reason == ovCER_Break ? StopKind::Break : StopKind::Watch;
    Found.Text = (Reason == ovCER_Break       ? "break point"
                  : Reason == ovCER_BreakRead ? "break point on a read"
                                              : "break point on a write") +
                 here();
  } else if (Reason == ovCER_Halt) {
    Cpu = haltedCpu() ? haltedCpu() : Cpu;
    Found.Kind = StopKind::Halt;
    Found.Text = Cpu ? trapText(Cpu) : "halt";
    if (Cpu)
      Found.Text += " at " + addressText(CpuView(Cpu), CpuView(Cpu).pc());
  } else if (IsInterrupted) {
    Found.Kind = StopKind::Interrupt;
    Found.Text = "^C" + here();
  } else if (AtEnd == StopKind::Asked) {
    Found.Kind = StopKind::Asked;
    Found.Text = "asked to" + here();
  } else {
    Found.Kind = AtEnd;
    Found.Text = AtEnd == StopKind::Steps ? "end of the steps" : "end of the time";
    Found.Text += here();
  }
  place(Found, Cpu);
  return Found;
}

static void setVariables(const Stop &Found) {
  Var::setVariable("STOP_REASON", Found.word());
  Var::setVariable("STOP_CPU", Found.Cpu);
  Var::setVariable("STOP_PC", "0x" + hexText(Found.Pc, 8));
  char Text[48];
  std::snprintf(Text, sizeof(Text), "%.9f", Found.Seconds);
  Var::setVariable("STOP_TIME", Text);
  Var::setVariable("STOP_ID", std::to_string(Found.BreakId));
}

/// Runs the commands of the break point that stopped a run. Where one of them runs the system again,
/// those of the next stop take the place of the rest: "commands 1 run" goes on for ever.
static void runCommandsOf(const Stop &Found) {
  static std::deque<std::string> Waiting;
  static bool IsRunning = false;
  const UserBreak *Of = BreakTable::get().find(Found.BreakId);
  Waiting.clear();
  if (Of)
    Waiting.assign(Of->Commands.begin(), Of->Commands.end());
  if (std::exchange(IsRunning, true))
    return;
  while (!Waiting.empty()) {
    const std::string Next = std::move(Waiting.front());
    Waiting.pop_front();
    orvy_execCommand(Next.c_str());
  }
  IsRunning = false;
}

int RunWatch::tell(const Stop &Found, const Command &Cmd) {
  Last = Found;
  setVariables(Found);
  forgetListing();
  outs() << "stopped: " << Found.Text << "\n";
  if (!Found.Cpu.empty())
    if (void *Cpu = orvy_objectForName(Found.Cpu.c_str()); Cpu && orvy_getProcessorCount() > 1)
      selectCpu(Cpu);
  if (Found.Kind == StopKind::Interrupt)
    unwindScripts();
  runCommandsOf(Found);
  const auto Expected = given<const char *>(Cmd, "expect");
  if (!Expected || std::string(*Expected) == Found.word())
    return 0;
  errs() << "expected to stop by '" << *Expected << "', not by '" << Found.word() << "'\n";
  return 1;
}

const Stop &RunWatch::concludeRun(void *Obj, int Reason) {
  if (Reason == ovCER_Normal)
    BreakTable::get().begin(); // a hit would be that of an earlier run
  Last = RunWatch(Obj).conclude(Reason, false);
  return Last;
}

int RunWatch::finish(int Reason, bool IsInterrupted, const Command &Cmd) {
  return tell(conclude(Reason, IsInterrupted), Cmd);
}
