// The commands that go through a program by its source.

#include "Base/HexText.h"
#include "CommandLine/TextCommands.h"
#include "Debugger/AddressNames.h"
#include "Debugger/Places.h"
#include "Debugger/RunControl.h"
#include "Debugger/Selection.h"
#include "Debugger/SourceExpression.h"
#include "Debugger/ValueText.h"
#include "Objsys/ObjectKinds.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugger;
using source::AddressRange;
using source::Program;

namespace {

constexpr unsigned Sp = 14;

/// Shows where a step has come to: the line of the source, or the instruction.
void showPlace(void *Cpu) {
  Stopped In(Cpu);
  const Frame &Here = In.frame();
  const std::string *File = Here.Place.File;
  if (!File)
    return;
  if (const auto Text = sourceLine(*File, Here.Place.Line))
    outs() << Here.Place.Line << "\t" << *Text << "\n";
}

int finishStep(Stepper &Step, Command &Cmd, StopKind AtEnd = StopKind::Steps) {
  const int Result = Step.conclude(Cmd, AtEnd);
  if (!lastStop().Cpu.empty())
    if (void *Cpu = orvy_objectForName(lastStop().Cpu.c_str()))
      showPlace(Cpu);
  return Result;
}

uint64_t givenCount(const Command &Cmd) {
  if (Cmd.getPositionals().empty())
    return 1;
  return std::max<uint64_t>(std::strtoull(Cmd.getPositionals().front().c_str(), nullptr, 0), 1);
}

/// What identifies the call that a step began in.
struct Call {
  source::DebugInfoEntry *Subprogram;
  source::DebugInfoEntry *Function; ///< with inlining
  std::optional<uint64_t> Cfa;
  uint64_t Stack;
};

Call callOf(const Frame &Of, const CpuView &At) {
  return {Of.Subprogram, Of.Function, Of.Cfa, At.readRegister(Sp, 0).value_or(0)};
}

bool isSame(const Call &A, const Frame &B, Backtrace &Trace) {
  if (A.Subprogram != B.Subprogram)
    return false;
  if (A.Cfa && B.Cfa)
    return A.Cfa == B.Cfa;
  return Trace.readRegister(B, Sp).value_or(0) == A.Stack;
}

/// The frame further out that is the call a step began in; null if it is not among the next ones.
Frame *findCall(const Call &Wanted, Backtrace &Trace) {
  constexpr unsigned MaxDistance = 4; // a trap handler in assembly lies between
  for (unsigned Level = 1; Level <= MaxDistance; ++Level) {
    Frame *Each = Trace.frame(Level);
    if (!Each)
      return nullptr;
    if (isSame(Wanted, *Each, Trace))
      return Each;
  }
  return nullptr;
}

enum class Into : uint8_t { Callees, NoCallees };

/// Goes on until the program comes to another line. Returns false if something else stopped it.
bool stepLine(Stepper &Step, Into Where) {
  Call Began{};
  AddressRange Line{0, 0};
  uint32_t Number = 0;
  {
    Stopped In(Step.cpu());
    const Frame &Here = In.frame();
    if (!Here.In || !Here.Place.File) // no line: an instruction
      return Step.stepOne();
    Began = callOf(Here, Step.view());
    Line = Here.In->lineRange(Here.Pc);
    Number = Here.Place.Line;
  }
  bool HasMoved = false;
  for (;;) {
    if (!std::exchange(HasMoved, false) && !Step.stepOverTraps())
      return false;
    const uint64_t Pc = Step.view().pc();
    const uint64_t Stack = Step.view().readRegister(Sp, 0).value_or(0);
    if (Line.contains(Pc) && Stack == Began.Stack) // not a call of the function by itself
      continue;
    Stopped In(Step.cpu());
    Backtrace &Trace = In.backtrace();
    Frame &Here = *Trace.frame(0);
    if (!isSame(Began, Here, Trace)) {
      if (const Frame *Outer = findCall(Began, Trace)) {
        // A call, or a trap.
        const bool Stops = Where == Into::Callees && Here.In && Here.Subprogram &&
                           !Outer->IsExact && Here.Place.File;
        if (Stops) {
          const uint64_t Body = Here.In->afterPrologue(*Here.Subprogram);
          return Body == Pc || Body < Pc || Step.runTo({Body}, 0);
        }
        if (!Step.runTo({Outer->Pc}, Began.Stack))
          return false;
        HasMoved = true; // the place of the return has not been looked at
        continue;
      }
      if (Here.Place.File || !Here.In)
        return true; // back in the caller, or somewhere else
      continue;
    }
    if (!Here.Place.File || Line.contains(Pc))
      continue; // code that belongs to no line
    if (Here.Place.IsStart && Here.Place.Line != Number)
      return true;
    if (Here.Place.IsStart && Here.Place.Line == Number && Pc < Line.Low)
      return true;                 // the line again, in a loop
    Line = Here.In->lineRange(Pc); // in the middle of a line: on to its end
  }
}

int stepLines(Command &Cmd, Into Where) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  Stepper Step(Cpu);
  for (uint64_t Left = givenCount(Cmd); Left > 0; --Left)
    if (!stepLine(Step, Where))
      break;
  return finishStep(Step, Cmd);
}

int stepInstructions(Command &Cmd, Into Where) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  Stepper Step(Cpu);
  for (uint64_t Left = givenCount(Cmd); Left > 0; --Left) {
    Call Began{};
    if (Where == Into::NoCallees) {
      Stopped In(Cpu);
      Began = callOf(In.frame(), Step.view());
    }
    if (!Step.stepOne())
      break;
    if (Where == Into::Callees)
      continue;
    // A call has a delay slot: it is seen when the callee has begun.
    Stopped In(Cpu);
    Backtrace &Trace = In.backtrace();
    if (isSame(Began, *Trace.frame(0), Trace))
      continue;
    const Frame *Outer = findCall(Began, Trace);
    if (Outer && !Step.runTo({Outer->Pc}, Began.Stack))
      break;
  }
  return finishStep(Step, Cmd);
}

/// The value that a function has returned, seen from its caller.
std::optional<std::string> returnedValue(void *Cpu, source::DebugInfoEntry &Function) {
  Stopped In(Cpu);
  const Type &T = In.types().of(source::typeOf(Function));
  const Type &Under = T.stripped();
  if (Under.Kind == TypeKind::Void || Under.Kind == TypeKind::Unknown)
    return std::nullopt;
  constexpr unsigned O0 = 8;
  try {
    if (Under.isAggregate() || Under.size() > 8) {
      // In memory that the caller has provided: its address is the word at %sp + 64.
      const auto Address = In.target().readWord(In.target().readRegister(Sp, 0).value_or(0) + 64);
      return Address ? std::optional(valueText(Value::inMemory(T, *Address), In)) : std::nullopt;
    }
    source::Location Where;
    source::Piece Part;
    Part.Is = source::Piece::Register;
    Part.Where = O0;
    Where.Pieces.push_back(Part);
    return valueText(Value::fromLocation(T, Where, In), In);
  } catch (const EvaluationError &) {
    return std::nullopt;
  }
}

int finishFunction(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  uint64_t Return = 0, Stack = 0;
  source::DebugInfoEntry *Function = nullptr;
  {
    Stopped In(Cpu);
    Backtrace &Trace = In.backtrace();
    unsigned Level = selectedLevel(Cpu);
    const Frame *Left = Trace.frame(Level);
    // The caller of an inlined call is where the function returns to that it is part of.
    while (Left && Left->IsInlined)
      Left = Trace.frame(++Level);
    const Frame *Caller = Left ? Trace.frame(Level + 1) : nullptr;
    if (!Caller) {
      errs() << "there is no caller to return to"
             << (Trace.ending().empty() ? std::string() : ": " + Trace.ending()) << "\n";
      return 1;
    }
    outs() << "running until the return from "
           << frameText(In, Trace, *Trace.frame(Level), false).substr(4) << "\n";
    Function = Left->Subprogram;
    Return = Caller->Pc;
    Stack = Trace.readRegister(*Caller, Sp).value_or(0);
  }
  Stepper Step(Cpu);
  const bool IsBack = Step.runTo({Return}, Stack);
  const int Result = finishStep(Step, Cmd);
  if (IsBack && Function)
    if (const auto Text = returnedValue(Cpu, *Function))
      outs() << "value returned: " << *Text << "\n";
  return Result;
}

/// Runs to a place; to the first of several that a text means.
int runToPlace(Command &Cmd, const std::string &Text) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    std::vector<uint64_t> Addresses;
    const std::vector<CodePlace> Places = placesOf(Text, In);
    if (Places.size() > 1)
      outs() << "running until one of " << Places.size() << " places:\n";
    for (const CodePlace &Each : Places) {
      Addresses.push_back(Each.Address);
      if (Places.size() > 1)
        outs() << "  " << Each.Text << " @ 0x" << hexText(Each.Address, 8) << "\n";
    }
    Stepper Step(Cpu);
    Step.runTo(Addresses, 0);
    return finishStep(Step, Cmd);
  });
}

int runUntil(Command &Cmd, Interpreter *) {
  if (!Cmd.getPositionals().empty())
    return runToPlace(Cmd, Cmd.getPositionals().front());
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  // A line further down: not back to the beginning of a loop.
  Stepper Step(Cpu);
  uint64_t First = Step.view().pc();
  {
    Stopped In(Cpu);
    if (Program *Code = In.frame().In)
      First = Code->lineRange(First).Low;
  }
  while (stepLine(Step, Into::NoCallees))
    if (Step.view().pc() >= First)
      break;
  return finishStep(Step, Cmd);
}

int advanceTo(Command &Cmd, Interpreter *) {
  if (Cmd.getPositionals().empty()) {
    errs() << "no place given; give one as 'advance main.c:41'\n";
    return 1;
  }
  return runToPlace(Cmd, Cmd.getPositionals().front());
}

template <Into Where> int lines(Command &Cmd, Interpreter *) {
  return stepLines(Cmd, Where);
}
template <Into Where> int instructions(Command &Cmd, Interpreter *) {
  return stepInstructions(Cmd, Where);
}

Command StepLine("step-line", {cpuOption(), expectOption()}, lines<Into::Callees>,
                 "Go on to another line of the source, also in a function that is called; as often "
                 "as the number says.",
                 {"s"});
Command NextLine("next-line", {cpuOption(), expectOption()}, lines<Into::NoCallees>,
                 "Go on to another line of the source, over functions that are called; as often as "
                 "the number says.",
                 {"n", "next"});
Command StepInstruction("step-instruction", {cpuOption(), expectOption()},
                        instructions<Into::Callees>,
                        "Execute one instruction, or as many as the number says.", {"si"});
Command NextInstruction("next-instruction", {cpuOption(), expectOption()},
                        instructions<Into::NoCallees>,
                        "Execute one instruction, and what it calls up to its return; as often as "
                        "the number says.",
                        {"ni"});
Command Finish("finish", {cpuOption(), expectOption()}, finishFunction,
               "Run until the function of the selected frame returns, and show the value that it "
               "returns.",
               {"fin"});

} // namespace

static TextCommand Until("until", {cpuOption(), expectOption()}, runUntil,
                         "Go on to a line further down, out of a loop; or to a place.", {"u"},
                         completePlace);
static TextCommand Advance("advance", {cpuOption(), expectOption()}, advanceTo,
                           "Run to a place: a function, 'main.c:41', '41', '+3', '*0x40001234'.",
                           {}, completePlace);
