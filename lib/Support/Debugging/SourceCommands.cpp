// The commands that show source, line tables and variables.

#include "Debugging/DebugCommands.h"
#include "Objsys/ObjectKinds.h"

#include "Base/HexText.h"
#include "Dwarf/DwarfNames.h"
#include "orvy/Support/DwarfLines.h"

#include <algorithm>
#include <cstring>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugging;

/// The DWARF of the current context. Returns null, and reports on the error stream, if there is
/// none.
static orvy_Dwarf requireCurrentDwarf() {
  const Ctxt *Current = Manager::getDebuggingManager().getCurrent();
  if (!Current)
    complain(1, "no current debugging context found");
  else if (!Current->getDwarf())
    complain(1, "no DWARF in current context");
  return Current ? Current->getDwarf() : nullptr;
}

// Source paths.

static int remapPath(Command &Cmd, Interpreter *) {
  const orvy_Dwarf Dwarf = requireCurrentDwarf();
  if (!Dwarf)
    return 1;
  const Option &To = Cmd.getOption("to");
  orvy_dwarfAddSourceDirRemap(Dwarf, Cmd.getOption("from").Value.c_str(),
                              To.Valid ? To.Value.c_str() : "");
  return 0;
}

static Command RemapPath("experimental-debug-remap-path",
                         {{"from", OK_String, true}, {"to", OK_Path, false}}, remapPath, "");

static int addPath(Command &Cmd, Interpreter *) {
  const orvy_Dwarf Dwarf = requireCurrentDwarf();
  if (!Dwarf)
    return 1;
  orvy_dwarfAddSourceDir(Dwarf, Cmd.getOption("path").Value.c_str());
  return 0;
}

static Command AddPath("experimental-debug-add-path", {{"path", OK_Path, true}}, addPath, "");

// Listing source.

/// The address to list: the one given, or else the program counter. Reports on the error stream if
/// there is neither.
static std::optional<uint64_t> givenPlace(Command &Cmd) {
  if (const auto Addr = given<unsigned long>(Cmd, "addr"))
    return *Addr;
  const auto Cpu = given<void *>(Cmd, "cpu");
  if (!Cpu) {
    complain(1, "neither addr nor cpu specified");
    return std::nullopt;
  }
  const CpuIface *Iface = requireCpu(*Cpu);
  return Iface ? std::optional<uint64_t>(ORVY_CALL(CpuIface, getPc, *Cpu, *Iface)) : std::nullopt;
}

/// Writes numbered lines; the line Marked has a mark and is green.
static void printLines(const char *Text, uint32_t First, uint32_t Marked) {
  for (uint32_t Number = First; *Text; ++Number) {
    const char *End = std::strchr(Text, '\n');
    const char *Next = End ? End + 1 : Text + std::strlen(Text);
    outs() << (Number == Marked ? "*" : " ");
    outs().setWidth(5).setFill(' ') << Number;
    outs() << ": " << (Number == Marked ? "\033[32m" : "");
    for (; Text != Next; ++Text)
      if (*Text != '\r')
        outs() << *Text;
    if (End)
      outs() << "\033[0m";
  }
}

static int listSource(Command &Cmd, Interpreter *) {
  const orvy_Dwarf Dwarf = requireCurrentDwarf();
  if (!Dwarf)
    return 1;
  const auto Lines = static_cast<uint32_t>(
      std::min<unsigned long>(given<unsigned long>(Cmd, "lines").value_or(5), UINT32_MAX));
  const std::optional<uint64_t> Addr = givenPlace(Cmd);
  if (!Addr)
    return 1;
  orvy_SourceLoc Place = orvy_dwarfGetSourceLocForAddr(Dwarf, *Addr);
  if (!Place.File)
    return complain(1, "could not get filename");
  const char *Text = orvy_dwarfGetSourceLinesAroundLoc(Dwarf, &Place, Lines);
  if (!Text)
    return complain(1, "could not get source from: ", Place.File);
  errs() << "in " << Place.File << "\n";
  printLines(Text, Place.Line - Lines, Place.Line);
  return 0;
}

static Command ListSource("experimental-debug-list-source",
                          {{"cpu", OK_Object, false, "CPU whose PC will be used to list source"},
                           atAddress("addr", false, "Address to list source around"),
                           {"lines", OK_Int, false, "Lines around address (default 5)"}},
                          listSource, "");

// Line tables.

static int printLineProgram(Command &Cmd, Interpreter *) {
  const Ctxt *Context = chosenContext(Cmd);
  if (!Context)
    return 1;
  const Option &Func = Cmd.getOption("func");
  orvy_AddrRange Range;
  if (orvy_dwarfGetNamedAddressRange(Context->getDwarf(), Func.Value.c_str(), &Range) != 0)
    return complain(1, "could not get address range for '", Func.Value, "'");
  auto *Unit =
      static_cast<dwarf::CompilationUnit *>(orvy_dwarfGetCUForAddr(Context->getDwarf(), Range.Low));
  if (!Unit)
    return complain(-1, "no compilation unit found for address 0x", hexText(Range.Low, 1));
  const dwarf::LineNumberProgram *Program = Unit->getLineNumberProgram();
  if (!Program)
    return complain(-1, "no line number program found");
  Program->print();
  return 0;
}

static Command PrintLineProg("experimental-debug-print-linenum-prog",
                             {contextOption(), {"func", OK_String, true, "function"}},
                             printLineProgram, "");

// Variables.

/// The debug information and the processor for a command on variables.
struct Place {
  int Result = 0; ///< result of the command if one of them is missing
  orvy_Dwarf Dwarf = nullptr;
  void *Cpu = nullptr;
  uint64_t Pc = 0;
};

static Place placeOf(Command &Cmd) {
  const Ctxt *Context = chosenContext(Cmd);
  if (!Context)
    return {1};
  if (!Context->getDwarf())
    return {complain(-1, "no dwarf context found")};
  void *Cpu = Cmd.getOption("cpu").getValue<void *>();
  const CpuIface *Iface = requireCpu(Cpu);
  if (!Iface)
    return {1};
  return {0, Context->getDwarf(), Cpu, ORVY_CALL(CpuIface, getPc, Cpu, *Iface)};
}

static int readVariable(Command &Cmd, Interpreter *) {
  const Place At = placeOf(Cmd);
  if (At.Result != 0)
    return At.Result;
  const std::string &Name = Cmd.getOption("variable").Value;
  switch (orvy_dwarfComputeLocOnCpu(At.Dwarf, At.Cpu, At.Pc, Name.c_str()).Kind) {
  case ovDL_Register:
    errs() << "found register for " << Name << "\n";
    return 0;
  case ovDL_Memory:
    errs() << "found memory for " << Name << "\n";
    return 0;
  default:
    return complain(1, "could not determine location for ", Name);
  }
}

static Command ReadVar("experimental-debug-read-variable",
                       {contextOption(),
                        {"cpu", OK_Object, true, "Processor"},
                        {"variable", OK_String, true, "Variable name"}},
                       readVariable, "");

static void printVariable(dwarf::DebugInfoEntry &Entry) {
  const char *Name = Entry.getName();
  if (!Name)
    return;
  outs() << "\t" << Name;
  const auto Type = Entry.find(dwarf::DW_AT_type);
  dwarf::DebugInfoEntry *Referred = Type ? Type->getRef() : nullptr;
  if (const char *TypeName = Referred ? Referred->getName() : nullptr)
    outs() << " : " << TypeName;
  outs() << "\n";
}

static int listVariables(Command &Cmd, Interpreter *) {
  const Place At = placeOf(Cmd);
  if (At.Result != 0)
    return At.Result;
  auto *Function = static_cast<dwarf::DebugInfoEntry *>(orvy_dwarfGetDIEForAddr(At.Dwarf, At.Pc));
  if (!Function)
    return 1;
  for (auto *Child = Function->getFirstChild(); Child && !Child->isNull(); Child = Child->getNext())
    if (Child->getTag() == dwarf::DW_TAG_variable)
      printVariable(*Child);
  return 0;
}

static Command ListVar("experimental-debug-list-variables",
                       {contextOption(), {"cpu", OK_Object, true, "Processor"}}, listVariables, "");
