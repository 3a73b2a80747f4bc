#include "Debugger/Places.h"

#include "Base/HexText.h"
#include "CommandLine/Characters.h"
#include "Debugger/Selection.h"
#include "Debugger/SourceExpression.h"

#include <algorithm>
#include <cstdlib>

using namespace orvy;
using namespace orvy::debugger;
using namespace orvy::source;

namespace {

[[noreturn]] void fail(const std::string &Why) {
  throw EvaluationError(Why);
}

bool isNumber(std::string_view Text) {
  return !Text.empty() && std::ranges::all_of(Text, cl::isDigit);
}

uint32_t lineOf(const std::string &Text) {
  const unsigned long Line = std::strtoul(Text.c_str(), nullptr, 10);
  if (Text.size() > 9 || Line == 0)
    fail("there is no line " + Text);
  return static_cast<uint32_t>(Line);
}

Program &requireProgram(Stopped &In) {
  Program *Code = In.program();
  if (!Code)
    fail("no program is loaded; load one with 'load'");
  return *Code;
}

/// The present file and line: of the selected frame.
std::pair<std::string, uint32_t> present(Stopped &In) {
  const Frame &Selected = In.frame();
  if (!Selected.Place.File)
    fail("the present place in the source is not known");
  return {*Selected.Place.File, Selected.Place.Line};
}

std::vector<CodePlace> placesOfLine(const std::string &File, uint32_t Line, Stopped &In) {
  std::vector<CodePlace> Places;
  for (const LinePlace &Each : requireProgram(In).placesOfLine(File, Line))
    Places.push_back(placeAt(Each.Address, In));
  return Places;
}

std::vector<CodePlace> placesInFile(const std::string &Name, uint32_t Line, Stopped &In) {
  Program &Code = requireProgram(In);
  const std::vector<std::string> Files = Code.filesNamed(Name);
  if (Files.empty())
    fail(Code.hasDebugInfo() ? "no file '" + Name + "' in the program"
                             : "the program has no debug information, so no lines");
  std::vector<CodePlace> Places;
  for (const std::string &File : Files)
    std::ranges::copy(placesOfLine(File, Line, In), std::back_inserter(Places));
  if (Places.empty())
    fail("no code at or after line " + std::to_string(Line) + " of '" + Name + "'");
  return Places;
}

std::vector<CodePlace> placesOfFunction(const std::string &Name, Stopped &In) {
  Program &Code = requireProgram(In);
  std::vector<CodePlace> Places;
  std::vector<uint64_t> Seen;
  for (DebugInfoEntry *Function : Code.functionsNamed(Name)) {
    const uint64_t Address = Code.afterPrologue(*Function);
    if (Address == 0 || std::ranges::find(Seen, Address) != Seen.end())
      continue;
    Seen.push_back(Address);
    Places.push_back(placeAt(Address, In));
  }
  if (Places.empty()) // in assembly, or without debug information
    for (const ElfSymbol *Symbol : Code.symbolsNamed(Name))
      Places.push_back(placeAt(Symbol->Address, In));
  return Places;
}

} // namespace

CodePlace orvy::debugger::placeAt(uint64_t Address, Stopped &In) {
  Program *Code = programAt(In.target(), Address);
  const SymbolPlace Symbol = Code ? Code->symbolAt(Address) : SymbolPlace();
  const SourcePlace Place = Code ? Code->placeOf(Address) : SourcePlace();
  const std::string Name =
      !Symbol.Symbol ? ""
                     : Symbol.Symbol->Name +
                           (Place || !Symbol.Offset ? "" : "+" + std::to_string(Symbol.Offset));
  if (Place)
    return {Address, fileName(Place) + ":" + std::to_string(Place.Line) +
                         (Name.empty() ? "" : " (" + Name + ")")};
  return {Address, Name.empty() ? "0x" + hexText(Address, 8) : Name};
}

std::vector<CodePlace> orvy::debugger::placesOf(const std::string &Text, Stopped &In) {
  if (Text.empty())
    return {placeAt(In.frame().Pc, In)};
  if (Text[0] == '*') {
    const SourceExpression Expression(Text.substr(1), In);
    const uint64_t Address = addressOf(Expression.evaluate(In), In);
    if (In.target().isSparc() && Address % 4 != 0)
      fail("0x" + hexText(Address, 8) +
           " is not the address of an instruction, which is a multiple of 4");
    return {placeAt(Address, In)};
  }
  if (isNumber(Text)) {
    const auto [File, Line] = present(In);
    auto Places = placesOfLine(File, lineOf(Text), In);
    if (Places.empty())
      fail("no code at or after line " + Text + " of '" + File + "'");
    return Places;
  }
  if ((Text[0] == '+' || Text[0] == '-') && isNumber(std::string_view(Text).substr(1))) {
    const auto [File, Line] = present(In);
    const int64_t Wanted = int64_t{Line} + std::strtol(Text.c_str(), nullptr, 10);
    auto Places = Wanted > 0 ? placesOfLine(File, static_cast<uint32_t>(Wanted), In)
                             : std::vector<CodePlace>();
    if (Places.empty())
      fail("no code at or after line " + std::to_string(Wanted) + " of '" + File + "'");
    return Places;
  }
  if (Text.starts_with("0x")) {
    char *End = nullptr;
    const uint64_t Address = std::strtoull(Text.c_str(), &End, 16);
    if (*End == '\0')
      return {placeAt(Address, In)};
  }
  const size_t Colon = Text.rfind(':');
  if (Colon != Text.npos && Colon > 0 && isNumber(std::string_view(Text).substr(Colon + 1)))
    return placesInFile(Text.substr(0, Colon), lineOf(Text.substr(Colon + 1)), In);
  std::vector<CodePlace> Places = placesOfFunction(Text, In);
  if (Places.empty()) // an expression, as "table[2]" or "main+8"
    try {
      const SourceExpression Expression(Text, In);
      Places.push_back(placeAt(addressOf(Expression.evaluate(In), In), In));
    } catch (const EvaluationError &) {
      fail("no function, line or address '" + Text +
           "'; write 'update', 'main.c:41', '41', '+3' or "
           "'*0x40001234'");
    }
  return Places;
}
