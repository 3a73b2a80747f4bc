// The commands that show the calls a processor is in, and choose one of them.

#include "Base/ListingGuard.h"
#include "Debugger/AddressNames.h"
#include "Debugger/Selection.h"
#include "Debugger/SourceExpression.h"
#include "Debugger/ValueText.h"
#include "Objsys/ObjectKinds.h"

#include <algorithm>
#include <cstdlib>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugger;

namespace {

/// The number that a command was given as its only word.
std::optional<unsigned> givenNumber(const Command &Cmd) {
  if (Cmd.getPositionals().empty())
    return std::nullopt;
  const std::string &Word = Cmd.getPositionals().front();
  char *End = nullptr;
  const unsigned long Number = std::strtoul(Word.c_str(), &End, 0);
  return *End == '\0' && !Word.empty() && Word[0] != '-'
             ? std::optional(static_cast<unsigned>(Number))
             : std::nullopt;
}

int chooseCpu(Command &Cmd, Interpreter *) {
  if (!Cmd.getPositionals().empty()) {
    const std::string &Name = Cmd.getPositionals().front();
    void *Cpu = orvy_objectForName(Name.c_str());
    if (!Cpu || !orvy_isCpu(Cpu)) {
      errs() << "'" << Name << "' is not a processor\n";
      return 1;
    }
    selectCpu(Cpu);
  }
  const void *Selected = selectedCpu();
  for (size_t Index = 0; Index < orvy_getProcessorCount(); ++Index) {
    void *Cpu = orvy_getProcessors()[Index];
    Stopped In(Cpu);
    outs() << (Cpu == Selected ? "* " : "  ") << orvy_nameForObject(Cpu) << "  "
           << addressText(In.target(), In.target().pc()) << "\n";
  }
  return 0;
}

void printLocals(Stopped &In, const char *Indent) {
  ValueFormat Format;
  for (const Variable &Local : localsOf(In)) {
    std::string Text;
    try {
      Text = valueText(valueOf(*Local.Entry, In), In, Format);
    } catch (const EvaluationError &Why) {
      Text = std::string("<error: ") + Why.what() + ">";
    }
    outs() << Indent << Local.Name << " = " << Text << "\n";
  }
}

int printBacktrace(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  const unsigned Count = givenNumber(Cmd).value_or(
      static_cast<unsigned>(given<unsigned long>(Cmd, "count").value_or(Backtrace::MaxFrames)));
  const bool IsFull = isOn(Cmd, "full");
  Backtrace Trace{CpuView(Cpu)};
  unsigned Level = 0;
  for (; Level < Count && !ListingGuard::isInterrupted(); ++Level) {
    if (!Trace.frame(Level))
      break;
    Stopped In(Cpu, Level);
    // What was unwound before is used again.
    In.share(Trace);
    outs() << frameText(In, Trace, *Trace.frame(Level), true) << "\n";
    if (IsFull)
      printLocals(In, "        ");
  }
  if (Level == Count && Trace.frame(Level))
    outs() << "(more frames follow)\n";
  else if (!Trace.ending().empty())
    outs() << "(the trace ends here: " << Trace.ending() << ")\n";
  return 0;
}

int showFrame(void *Cpu, unsigned Level) {
  Stopped In(Cpu, Level);
  Frame *Chosen = In.backtrace().frame(Level);
  if (!Chosen) {
    errs() << "there is no frame " << Level << "\n";
    return 1;
  }
  selectLevel(Cpu, Level);
  forgetListing();
  outs() << frameText(In, In.backtrace(), *Chosen, true) << "\n";
  return 0;
}

int chooseFrame(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  const auto Level = givenNumber(Cmd);
  if (!Level && !Cmd.getPositionals().empty()) {
    errs() << "'" << Cmd.getPositionals().front() << "' is not the number of a frame\n";
    return 1;
  }
  return showFrame(Cpu, Level.value_or(selectedLevel(Cpu)));
}

int goUp(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  const unsigned Level = selectedLevel(Cpu), Count = givenNumber(Cmd).value_or(1);
  Stopped In(Cpu);
  unsigned To = Level;
  while (To < Level + Count && In.backtrace().frame(To + 1))
    ++To;
  if (To == Level) {
    errs() << "this is the outermost frame\n";
    return 1;
  }
  return showFrame(Cpu, To);
}

int goDown(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  const unsigned Level = selectedLevel(Cpu);
  if (Level == 0) {
    errs() << "this is the innermost frame\n";
    return 1;
  }
  return showFrame(Cpu, Level - std::min(Level, givenNumber(Cmd).value_or(1)));
}

int showLocals(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  Stopped In(Cpu, selectedLevel(Cpu));
  if (!In.frame().Function) {
    errs() << "nothing is known of the variables at " << addressText(In.target(), In.frame().Pc)
           << "\n";
    return 1;
  }
  if (localsOf(In).empty())
    outs() << "the function has no variables here\n";
  printLocals(In, "");
  return 0;
}

int showArguments(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  Stopped In(Cpu, selectedLevel(Cpu));
  if (!In.frame().Function) {
    errs() << "nothing is known of the function at " << addressText(In.target(), In.frame().Pc)
           << "\n";
    return 1;
  }
  const auto Parameters = parametersOf(In);
  if (Parameters.empty())
    outs() << "the function has no parameters\n";
  for (const Variable &Parameter : Parameters) {
    std::string Text;
    try {
      Text = valueText(valueOf(*Parameter.Entry, In), In);
    } catch (const EvaluationError &Why) {
      Text = std::string("<error: ") + Why.what() + ">";
    }
    outs() << Parameter.Name << " = " << Text << "\n";
  }
  return 0;
}

WordCommand SelectCpu("select-cpu", {}, chooseCpu,
                      "Show the processors, and choose the one that debug commands work on.",
                      {"cpu"}, completeCpu);

Command BacktraceCommand("backtrace",
                         {cpuOption(),
                          {"count", OK_Int, false, "Frames to show; all if omitted"},
                          {"full", OK_Int, false, "Set to 1 to show the variables of each frame"}},
                         printBacktrace,
                         "Show the calls that the processor is in, the innermost first.",
                         {"bt", "where"});

Command FrameCommand("frame", {cpuOption()}, chooseFrame,
                     "Choose a frame by its number in the back trace, for 'print-var' and others.",
                     {"f"});
Command UpCommand("frame-up", {cpuOption()}, goUp,
                  "Choose the frame of the caller, or of one several calls further out.", {"up"});
Command DownCommand("frame-down", {cpuOption()}, goDown,
                    "Choose the frame of the callee, or of one several calls further in.",
                    {"down"});
Command LocalsCommand("print-locals", {cpuOption()}, showLocals,
                      "Show the variables of the selected frame.", {"locals"});
Command ArgumentsCommand("print-args", {cpuOption()}, showArguments,
                         "Show the parameters of the selected frame.", {"args"});

} // namespace
