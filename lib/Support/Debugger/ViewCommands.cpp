// The commands that show source, instructions, memory and registers.

#include "Base/HexText.h"
#include "Base/ListingGuard.h"
#include "CommandLine/TextCommands.h"
#include "Debugger/AddressNames.h"
#include "Debugger/Places.h"
#include "Debugger/RunControl.h"
#include "Debugger/Selection.h"
#include "Debugger/SourceExpression.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/FileSystem.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugger;
using source::Program;

namespace {

constexpr uint32_t ListedLines = 10;
constexpr uint64_t ShownInstructions = 10, MaxInstructions = 100000;
constexpr uint64_t DumpedBytes = 64, MaxDumped = 1 << 20;

// Source.

int listLines(const std::string &File, uint32_t First, uint32_t Marked) {
  uint32_t Line = First;
  for (; Line < First + ListedLines; ++Line) {
    const auto Text = sourceLine(File, Line);
    if (!Text)
      break;
    outs() << (Line == Marked ? "=> " : "   ") << Line << "\t" << *Text << "\n";
  }
  if (Line == First) {
    errs() << (findSource(File).empty()
                   ? "the source '" + File +
                         "' is not found; see 'experimental-debug-remap-path' and "
                         "'experimental-debug-add-path'"
                   : "'" + File + "' has no line " + std::to_string(First))
           << "\n";
    return 1;
  }
  listing().File = File;
  listing().Line = Line;
  return 0;
}

int listSource(Command &Cmd, Interpreter *) {
  const std::string Text = givenText(Cmd);
  if (Text.empty() && listing().Line != 0) {
    const Listing Next = listing();
    return listLines(Next.File, Next.Line, 0);
  }
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    std::string File;
    uint32_t Line = 0, Marked = 0;
    if (Text.empty()) {
      const Frame &Here = In.frame();
      File = Here.Place.File ? *Here.Place.File : "";
      Line = Marked = Here.Place.Line;
    } else {
      const CodePlace Place = placesOf(Text, In).front();
      Program *Code = programAt(In.target(), Place.Address);
      const source::SourcePlace Found = Code ? Code->placeOf(Place.Address) : source::SourcePlace();
      File = Found.File ? *Found.File : "";
      Line = Found.Line;
    }
    if (File.empty())
      throw EvaluationError("no line of the source is known " +
                            (Text.empty() ? std::string("here") : "for '" + Text + "'"));
    return listLines(File, Line > ListedLines / 2 ? Line - ListedLines / 2 : 1, Marked);
  });
}

// Instructions.

/// Where a branch or call leads, as "  <update+8>", from its distance in the text; empty for any other
/// instruction.
std::string branchTarget(const CpuView &At, uint64_t Address, const char *Text) {
  const char *Distance = Text ? std::strstr(Text, ".+0x") : nullptr;
  if (Text && !Distance)
    Distance = std::strstr(Text, ".-0x");
  if (!Distance)
    return {};
  const uint64_t Bytes = std::strtoull(Distance + 2, nullptr, 16);
  const uint64_t To = (Distance[1] == '+' ? Address + Bytes : Address - Bytes) & UINT32_MAX;
  Program *Code = programAt(At, To);
  const source::SymbolPlace Symbol = Code ? Code->symbolAt(To) : source::SymbolPlace();
  return Symbol.Symbol ? "  <" + Symbol.Symbol->Name + "+" + std::to_string(Symbol.Offset) + ">"
                       : std::string();
}

/// Shows an instruction as "=> 0x40001234 <main+4>  9de3bf98  save %sp, -104, %sp".
void showInstruction(const CpuView &At, uint64_t Address) {
  const auto Word = At.readWord(Address);
  Program *Code = programAt(At, Address);
  const source::SymbolPlace Symbol = Code ? Code->symbolAt(Address) : source::SymbolPlace();
  outs() << (Address == At.pc() ? "=> 0x" : "   0x") << hexText(Address, 8);
  if (Symbol.Symbol)
    outs() << " <" << Symbol.Symbol->Name << "+" << Symbol.Offset << ">";
  if (!Word) {
    outs() << "  ????????  not mapped\n";
    return;
  }
  const cl::Target<CpuIface> Iface(At.cpu());
  char *Text = Iface && Iface->disassemble ? Iface->disassemble(At.cpu(), *Word) : nullptr;
  outs() << "  " << hexText(*Word, 8) << "  " << (Text ? Text : "<unknown instruction>")
         << branchTarget(At, Address, Text) << "\n";
  std::free(Text);
}

int listCode(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    const std::string Text = givenText(Cmd);
    uint64_t Start = 0;
    uint64_t Count = given<unsigned long>(Cmd, "count").value_or(ShownInstructions);
    if (!Text.empty()) {
      // A function as a whole, else instructions from an address on.
      Program *Code = In.program();
      const auto Symbols =
          Code ? Code->symbolsNamed(Text) : std::vector<const source::ElfSymbol *>();
      Start = Symbols.empty() ? placesOf(Text, In).front().Address : Symbols.front()->Address;
      if (!Symbols.empty() && Symbols.front()->Size && !given<unsigned long>(Cmd, "count"))
        Count = Symbols.front()->Size / 4;
    } else {
      Start = listing().Code.value_or(In.frame().Pc);
    }
    const bool WithSource = isOn(Cmd, "source");
    uint32_t Line = 0;
    Count = std::min(Count, MaxInstructions);
    for (uint64_t Index = 0; Index < Count && !ListingGuard::isInterrupted(); ++Index) {
      const uint64_t Address = Start + 4 * Index;
      Program *Code = WithSource ? programAt(In.target(), Address) : nullptr;
      if (const source::SourcePlace Place = Code ? Code->placeOf(Address) : source::SourcePlace();
          Place && Place.Line != Line) {
        Line = Place.Line;
        outs() << fileName(Place) << ":" << Line << "\t"
               << sourceLine(*Place.File, Line).value_or("") << "\n";
      }
      showInstruction(In.target(), Address);
    }
    listing().Code = Start + 4 * Count;
    return 0;
  });
}

// Memory.

std::optional<uint64_t> NextDump;

/// Returns whether all of it could be read.
bool dumpLine(const CpuView &At, uint64_t Address, uint64_t Length) {
  constexpr uint64_t Width = 16;
  bool IsRead = true;
  std::string Digits, Text;
  for (uint64_t Index = 0; Index < Width; ++Index) {
    if (Index % 4 == 0)
      Digits += " ";
    uint8_t Byte = 0;
    if (Index >= Length) {
      Digits += "  ";
    } else if (!At.read(Address + Index, &Byte, 1)) {
      Digits += "??";
      Text += "?";
      IsRead = false;
    } else {
      Digits += hexText(Byte, 2);
      Text += Byte >= 32 && Byte < 127 ? static_cast<char>(Byte) : '.';
    }
  }
  outs() << "0x" << hexText(Address, 8) << " " << Digits << "  |" << Text << "|\n";
  return IsRead;
}

int dumpMemory(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    const std::string Text = givenText(Cmd);
    uint64_t Length = given<unsigned long>(Cmd, "length").value_or(0);
    uint64_t Address = 0;
    if (Text.empty()) {
      if (!NextDump)
        throw EvaluationError("no address given; give a variable or an address, as 'dump &table'");
      Address = *NextDump;
    } else {
      const SourceExpression Expression(Text, In);
      const Value Found = Expression.evaluate(In);
      // A variable is shown as it lies in memory, a number is an address.
      Address = Expression.address(In);
      if (Length == 0 && Found.place() == Value::Place::Memory && Address == Found.address())
        Length = Found.type().size();
    }
    constexpr uint64_t End = uint64_t{1} << 32;
    if (Address >= End)
      throw EvaluationError("0x" + hexText(Address, 8) + " is after the end of the address space");
    Length = std::min({Length ? Length : DumpedBytes, MaxDumped, End - Address});
    bool IsRead = true;
    for (uint64_t Done = 0; Done < Length && !ListingGuard::isInterrupted(); Done += 16)
      IsRead &= dumpLine(In.target(), Address + Done, std::min<uint64_t>(Length - Done, 16));
    if (!IsRead)
      outs() << "(??: not mapped, or a device that cannot be read without an effect)\n";
    NextDump = Address + Length;
    return 0;
  });
}

// Registers.

int showRegisters(Command &Cmd, Interpreter *) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  Stopped In(Cpu, selectedLevel(Cpu));
  const CpuView &At = In.target();
  Backtrace &Trace = In.backtrace();
  const Frame &Selected = In.frame();
  constexpr const char *Groups = "goli";
  for (unsigned Row = 0; Row < 8; ++Row) {
    for (unsigned Group = 0; Group < 4; ++Group) {
      const auto Held = Trace.readRegister(Selected, 8 * Group + Row);
      outs() << (Group ? "   " : "") << (At.isSparc() ? Groups[Group] : 'r')
             << (At.isSparc() ? Row : 8 * Group + Row) << " "
             << (Held ? hexText(*Held, 8) : std::string("????????"));
    }
    outs() << "\n";
  }
  outs() << "pc " << addressText(At, Selected.Pc) << "\n";
  if (!At.isSparc() || Selected.Level != 0)
    return 0;
  const uint32_t Psr = orvy_sparcGetPsr(Cpu);
  outs() << "npc " << addressText(At, orvy_sparcGetNPc(Cpu)) << "\n"
         << "psr " << hexText(Psr, 8) << ": " << (Psr >> 23 & 1 ? "N" : "-")
         << (Psr >> 22 & 1 ? "Z" : "-") << (Psr >> 21 & 1 ? "V" : "-")
         << (Psr >> 20 & 1 ? "C" : "-") << ", " << (Psr >> 7 & 1 ? "supervisor" : "user")
         << (Psr >> 6 & 1 ? " from supervisor" : " from user") << ", traps "
         << (Psr >> 5 & 1 ? "on" : "off") << ", interrupt level " << (Psr >> 8 & 15) << ", window "
         << (Psr & 31) << "\n"
         << "wim " << hexText(orvy_sparcGetWim(Cpu), 8) << "   tbr "
         << hexText(orvy_sparcGetTbr(Cpu), 8) << "   y " << hexText(orvy_sparcGetY(Cpu), 8) << "\n";
  return 0;
}

Command ShowRegisters("show-registers", {cpuOption()}, showRegisters,
                      "Show the registers of the selected frame, and what pc and psr mean.", {"r"});

} // namespace

static TextCommand
    ListSource("list-source", {cpuOption()}, listSource,
               "List the source around the selected frame, or around a place; again to go on.",
               {"list", "l"}, completePlace);
static TextCommand
    ListCode("list-code",
             {cpuOption(),
              {"count", OK_Int, false, "Instructions, 10 if omitted; all of a function"},
              {"source", OK_Int, false, "Set to 1 to show the source between"}},
             listCode, "Disassemble with symbols, from the pc on or from a place; again to go on.",
             {"code"}, completePlace);
static TextCommand
    DumpMemory("memory-dump",
               {cpuOption(), inBytes("length", "Bytes, those of the variable or 64 if omitted")},
               dumpMemory,
               "Show memory in target order with its characters: that of a variable or from an "
               "address on, as 'dump $sp'; again to go on.",
               {"dump"}, completeExpression);
