// The commands that set break points and change what they do.

#include "Debugging/DebugCommands.h"
#include "Objsys/ObjectKinds.h"

#include "Base/HexText.h"
#include "orvy/Support/DwarfLines.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugging;

namespace {

/// The context and position that a new break point refers to.
struct Request {
  Ctxt &Context;
  std::optional<uint64_t> Pc; ///< program counter of the processor, if one was given

  orvy_Dwarf dwarf() const { return Context.getDwarf(); }
};

constexpr uint64_t NoAddress = UINT64_MAX;

/// Creates a break point and reports it.
template <typename... Parts> void set(const Request &R, uint64_t Addr, const Parts &...Where) {
  const BreakPoint *Made = R.Context.Breaks.createHandler(BreakPoint::Fetch, Addr);
  outs() << "Breakpoint " << Made->Id << " set ";
  ((outs() << Where), ...);
  outs() << " @ 0x" << hexText(Addr, 1) << "\n";
}

int complainOfCpu() {
  return complain(1, "could not get current CPU cannot determine break loc");
}

/// Whether a number is a valid line number.
bool isLine(int64_t Line) {
  return Line >= 0 && Line <= UINT32_MAX;
}

uint64_t addressOf(const Request &R, const std::string &File, int64_t Line) {
  return isLine(Line) ? orvy_dwarfGetBreakLoc(R.dwarf(), File.c_str(), static_cast<uint32_t>(Line))
                      : NoAddress;
}

int breakAtLine(const Request &R, int64_t Line) {
  if (!R.Pc)
    return complainOfCpu();
  void *Unit = orvy_dwarfGetCUForAddr(R.dwarf(), *R.Pc);
  const char *UnitName = Unit ? orvy_dwarfGetCUName(Unit) : nullptr;
  if (!UnitName)
    return complain(1, "could not get name for CU");
  const std::string Name = fs::normalisePath(UnitName);
  const uint64_t Addr = addressOf(R, Name, Line);
  if (Addr == NoAddress)
    return complain(-1, "could not get address for ", Name);
  set(R, Addr, "at ", Name, ":", Line);
  return 0;
}

/// The address of a line of a file given with its directory. Looks in the unit at the program
/// counter, which also matches the file without its directory, then in any unit with that name.
uint64_t addressNear(const Request &R, const std::string &File, int64_t Line) {
  auto *Unit = static_cast<dwarf::CompilationUnit *>(orvy_dwarfGetCUForAddr(R.dwarf(), *R.Pc));
  const dwarf::LineNumberProgram *Program = Unit ? Unit->getLineNumberProgram() : nullptr;
  unsigned long Addr = 0;
  if (isLine(Line) && Program && Program->getBreakLocation(File.c_str(), Line, 0, Addr))
    return Addr;
  return addressOf(R, File, Line);
}

int breakAtRelativeLine(const Request &R, int64_t Lines) {
  if (!R.Pc)
    return complainOfCpu();
  const orvy_SourceLoc Here = orvy_dwarfGetSourceLocForAddr(R.dwarf(), *R.Pc);
  int64_t Line = 0;
  if (__builtin_add_overflow(int64_t{Here.Line}, Lines, &Line))
    Line = INT64_MAX;
  const std::string File = Here.File ? Here.File : "";
  const uint64_t Addr = Here.File ? addressNear(R, File, Line) : NoAddress;
  if (Addr == NoAddress)
    return complain(1, "could not get address for line", Line);
  set(R, Addr, "at ", File, ":", Line);
  return 0;
}

/// The command succeeds even if the line is not found.
int breakAtFileLine(const Request &R, const orvy_BreakLoc &Loc) {
  const std::string File(Loc.Start, Loc.End + 1);
  orvy_logDebugFunc(nullptr, "file with line '%s'", File.c_str());
  const uint64_t Addr = addressOf(R, File, Loc.Line);
  if (Addr == NoAddress)
    return complain(0, "could not get address for line ", Loc.Line);
  set(R, Addr, "at ", File, ":", Loc.Line);
  return 0;
}

int breakAtFunction(const Request &R, const char *Name) {
  const auto Range = R.Context.findFuncRange(Name);
  if (!Range) {
    outs() << "cound not get address raneg for '" << Name << "'\n";
    return 1;
  }
  set(R, Range->first, "at ", Name);
  return 0;
}

int breakAtPlace(const Request &R, const char *Text) {
  orvy_BreakLoc Loc;
  orvy_debugParseBreakStr(&Loc, Text);
  switch (Loc.Kind) {
  case ovBL_Line:
    return breakAtLine(R, Loc.Value);
  case ovBL_Relative:
    return breakAtRelativeLine(R, Loc.Value);
  case ovBL_FileLine:
    return breakAtFileLine(R, Loc);
  case ovBL_Function:
    return breakAtFunction(R, Loc.Start);
  case ovBL_FunctionLabel:
    return complain(0, "BREAK ON FUNC+LABEL NOT SUPPORTED");
  case ovBL_Label:
    return complain(0, "BREAK ON LABEL NOT SUPPORTED");
  default:
    return complain(1, "break location cannot be parsed");
  }
}

} // namespace

static int setBreakPoint(Command &Cmd, Interpreter *) {
  Ctxt *Context = chosenContext(Cmd);
  if (!Context || !Context->getDwarf())
    return 1;
  Request R{*Context, std::nullopt};
  if (const auto Cpu = given<void *>(Cmd, "cpu")) {
    const CpuIface *Iface = requireCpu(*Cpu);
    if (!Iface)
      return 1;
    R.Pc = ORVY_CALL(CpuIface, getPc, *Cpu, *Iface);
  }
  if (const Option &Loc = Cmd.getOption("loc"); Loc.Valid)
    if (const int Result = breakAtPlace(R, Loc.Value.c_str()))
      return Result;
  if (const auto Addr = given<unsigned long>(Cmd, "addr"))
    set(R, *Addr);
  return 0;
}

static Command SetBreakPoint("experimental-debug-break",
                             {contextOption(),
                              {"cpu", OK_Object, false, "CPU (for relative breakpoints)"},
                              {"loc", OK_String, false, "Breakpoint location"},
                              atAddress("addr", false, "Breakpoint address")},
                             setBreakPoint, "");

// Changing break points.

template <typename Change> static Command::Handler onBreakPoint(Change C) {
  return [C](Command &Cmd, Interpreter *) {
    Ctxt *Context = chosenContext(Cmd);
    if (!Context)
      return complain(1, "No debugging context");
    const auto Id = Cmd.getOption("id").getValue<unsigned long>();
    BreakPoint *Found = Context->Breaks.getBreakForID(Id);
    if (!Found)
      return complain(1, Id, " is not a valid break point id");
    C(*Found);
    return 0;
  };
}

static Option idOption() {
  return {"id", OK_Int, true, "Break point ID"};
}

static Command MuteBreakPoint("experimental-debug-mute-break", {contextOption(), idOption()},
                              onBreakPoint([](BreakPoint &B) { B.Message = false; }),
                              "Mute break point, when hit no message will be printed.");
static Command DemuteBreakPoint("experimental-debug-demute-break", {contextOption(), idOption()},
                                onBreakPoint([](BreakPoint &B) { B.Message = true; }),
                                "Unmute break point, when hit a message will be printed.");
static Command StopBreakPoint("experimental-debug-stop-break", {contextOption(), idOption()},
                              onBreakPoint([](BreakPoint &B) { B.Action = ovBA_Stop; }),
                              "Set break point action to stop simulator.");
static Command
    IgnoreBreakPoint("experimental-debug-ignore-break", {contextOption(), idOption()},
                     onBreakPoint([](BreakPoint &B) { B.Action = ovBA_Resume; }),
                     "Set break point action to resume simulator. I.e. sim should ignore it.");

// Hitting break points.

static int simulateBreak(Command &Cmd, Interpreter *) {
  Ctxt *Context = chosenContext(Cmd);
  if (!Context)
    return 1;
  void *Cpu = Cmd.getOption("cpu").getValue<void *>();
  if (!requireCpu(Cpu))
    return 1;
  orvy_MemTransaction Mt = {};
  Mt.Va = Mt.Pa = Cmd.getOption("addr").getValue<unsigned long>();
  switch (Context->Breaks.handleFetch(Cpu, &Mt)) {
  case ovBA_Resume:
    orvy_logTargetInfo(Cpu, "ignoring");
    break;
  case ovBA_Stop:
    orvy_logTargetInfo(Cpu, "stopping");
    break;
  default:
    break;
  }
  return 0;
}

static Command SimulateBreakPoint("experimental-debug-simulate-break",
                                  {contextOption(),
                                   {"cpu", OK_Object, true, "CPU triggering the break"},
                                   atAddress("addr", true, "Breakpoint address")},
                                  simulateBreak, "");

static Command AutoResume(
    "experimental-debug-enable-auto-resume", {},
    [](Command &, Interpreter *) {
      Manager::ResumeWatchpoints = true;
      return 0;
    },
    "");
