// The commands that show and change values of the program, and show its types and symbols.

#include "Base/HexText.h"
#include "CommandLine/TextCommands.h"
#include "Debugger/AddressNames.h"
#include "Debugger/Selection.h"
#include "Debugger/SourceExpression.h"
#include "Debugger/ValueText.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/FileSystem.h"

#include <algorithm>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugger;
using source::Program;

namespace {

/// Takes "/x" from the beginning of a text. Returns false for a letter that is no format.
bool takeFormat(std::string &Text, ValueFormat &Format) {
  if (Text.empty() || Text[0] != '/')
    return true;
  const size_t End = std::min(Text.find_first_of(" \t"), Text.size());
  if (End != 2 || !ValueFormat::isLetter(Text[1])) {
    errs() << "'" << Text.substr(0, End) << "' is not a format; those are x, d, u, o, t (binary), "
           << "c, a (address), f, s, z (hexadecimal with zeros)\n";
    return false;
  }
  Format.Letter = Text[1];
  Text.erase(0, std::min(Text.find_first_not_of(" \t", End), Text.size()));
  return true;
}

int printValue(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  std::string Text = givenText(Cmd);
  ValueFormat Format;
  if (!takeFormat(Text, Format))
    return 1;
  if (Text.empty()) {
    errs() << "nothing to print; give an expression, as 'p state.queue[3]->next'\n";
    return 1;
  }
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    const SourceExpression Expression(Text, In);
    const std::string Shown = valueText(Expression.evaluate(In), In, Format);
    outs() << Text << " = " << Shown << "\n";
    return 0;
  });
}

int printType(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  const std::string Text = givenText(Cmd);
  if (Text.empty()) {
    errs() << "no type given; give a type or an expression, as 'ptype struct entry'\n";
    return 1;
  }
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    // The size of a type is a value, whatever stands there.
    const SourceExpression Expression(Text, In, SourceExpression::TypeToo);
    const Type &T = Expression.type(In);
    outs() << Text << " = " << T.definition() << "\n";
    return 0;
  });
}

int showSymbol(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  const std::string Text = givenText(Cmd);
  if (Text.empty()) {
    errs() << "no address given; give an expression, as 'info-symbol $pc'\n";
    return 1;
  }
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    const SourceExpression Expression(Text, In);
    const uint64_t Address = Expression.address(In);
    outs() << addressText(In.target(), Address)
           << (programAt(In.target(), Address) ? "\n" : ": no program has code or data there\n");
    return 0;
  });
}

/// Whether a name has a pattern in it; an empty pattern is in every name.
bool matches(std::string_view Name, const std::string &Pattern) {
  return Name.find(Pattern) != Name.npos;
}

int listGlobals(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  Stopped In(Cpu);
  Program *Code = In.program();
  if (!Code || !Code->hasDebugInfo()) {
    errs() << "no program with debug information is loaded\n";
    return 1;
  }
  std::vector<std::string> Lines;
  for (source::DebugInfoEntry *Entry : Code->allGlobals()) {
    const char *Name = source::nameOf(*Entry);
    if (!matches(Name, givenText(Cmd)))
      continue;
    const std::string Path = Code->unitPath(*Entry);
    Lines.push_back(fs::fileNameComponent(Path.c_str()) + ": " +
                    In.types().of(source::typeOf(*Entry)).text() + " " + Name + "\n");
  }
  std::ranges::sort(Lines);
  for (const std::string &Line : Lines)
    outs() << Line;
  if (Lines.empty())
    outs() << "no variable has that name\n";
  return 0;
}

int listFunctions(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  Stopped In(Cpu);
  Program *Code = In.program();
  if (!Code) {
    errs() << "no program is loaded\n";
    return 1;
  }
  bool IsEmpty = true;
  for (const source::ElfSymbol &Symbol : Code->symbols()) {
    if (!Symbol.IsFunction || !matches(Symbol.Name, givenText(Cmd)))
      continue;
    IsEmpty = false;
    outs() << addressText(In.target(), Symbol.Address) << "\n";
  }
  if (IsEmpty)
    outs() << "no function has that name\n";
  return 0;
}

} // namespace

static TextCommand PrintVar(
    "print-var", {cpuOption()}, printValue,
    "Print the value of an expression of C in the selected frame, in its own format or as\n"
    "'/x' and its like say. An assignment changes variables, registers and memory.\n"
    "Registers are $pc, $sp, $o0, properties of objects @uart0.status, variables of another\n"
    "file motor.c::limit, arrays first@count.",
    {"p"}, completeExpression);
static TextCommand PrintType("print-type", {cpuOption()}, printType,
                             "Show a type, or that of an expression, with its members.",
                             {"ptype", "whatis"}, completeExpression);
static TextCommand
    InfoSymbol("info-symbol", {cpuOption()}, showSymbol,
               "Show which symbol and which line of the source an address belongs to.", {"symbol"},
               completeExpression);
static Command ListGlobals("list-globals", {cpuOption()}, listGlobals,
                           "List the variables outside of functions whose names contain a text.",
                           {"globals"});
static Command ListFunctions("list-functions", {cpuOption()}, listFunctions,
                             "List the functions whose names contain a text.", {"functions"});
