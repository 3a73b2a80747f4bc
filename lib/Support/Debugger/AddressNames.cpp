#include "Debugger/AddressNames.h"

#include "Base/HexText.h"
#include "CommandLine/Characters.h"
#include "CommandLine/ProgramNames.h"
#include "Debugger/BreakTable.h"
#include "Debugger/Selection.h"
#include "Debugger/SourceExpression.h"

#include "orvy/Support/FileSystem.h"

#include <set>

using namespace orvy;
using namespace orvy::debugger;
using cl::Suffixes;
using source::Program;
using source::Type;
using source::TypeKind;

namespace {

/// The suffixes of those names that begin with a text.
Suffixes suffixesOf(const std::set<std::string> &Names, std::string_view Partial,
                    const char *Ending = "") {
  Suffixes Found;
  for (auto Next = Names.lower_bound(std::string(Partial));
       Next != Names.end() && Next->starts_with(Partial); ++Next)
    Found.push_back(Next->substr(Partial.size()) + Ending);
  return Found;
}

/// Where the last name of an expression begins, with what it is a member of: "&table[2].na" gives 1.
size_t startOfChain(std::string_view Text) {
  // The name of an object has hyphens, and '@' after a value is an operator.
  const size_t At = Text.rfind('@');
  if (At != Text.npos && (At == 0 || !(cl::isLetterOrDigit(Text[At - 1]) || Text[At - 1] == ']')))
    return At;
  size_t Start = Text.size();
  unsigned Open = 0; // brackets
  while (Start > 0) {
    const char C = Text[Start - 1];
    const bool IsArrow = C == '>' && Start > 1 && Text[Start - 2] == '-';
    const bool IsOfName = cl::isLetterOrDigit(C) || std::string_view("_$@.:").find(C) != Text.npos;
    if (Open == 0 && C != ']' && !IsArrow && !IsOfName)
      break;
    if (C == ']')
      ++Open;
    else if (C == '[')
      --Open;
    Start -= IsArrow ? 2 : 1;
  }
  return Start;
}

void addMembers(const Type &Of, std::set<std::string> &Names, unsigned Depth = 0) {
  constexpr unsigned MaxDepth = 16; // of anonymous structures inside each other
  for (const source::Member &Each : Of.members())
    if (!Each.Name.empty())
      Names.insert(Each.Name);
    else if (Each.Of->isAggregate() && Depth < MaxDepth)
      addMembers(Each.Of->stripped(), Names, Depth + 1);
}

Suffixes completeMember(std::string_view Object, std::string_view Partial, Stopped &In) {
  const Type *Of = &SourceExpression(Object, In).type(In).stripped();
  if (Of->Kind == TypeKind::Pointer)
    Of = &Of->target().stripped();
  std::set<std::string> Names;
  if (Of->isAggregate())
    addMembers(*Of, Names);
  return suffixesOf(Names, Partial);
}

Suffixes completeRegister(std::string_view Partial, const CpuView &At) {
  std::set<std::string> Names = {"pc", "sp", "fp"};
  if (At.isSparc()) {
    Names.insert({"npc", "psr", "wim", "tbr", "y"});
    for (const char Group : {'g', 'o', 'l', 'i'})
      for (char Digit = '0'; Digit < '8'; ++Digit)
        Names.insert({Group, Digit});
  }
  return suffixesOf(Names, Partial);
}

Suffixes completeName(std::string_view Partial, Stopped &In) {
  std::set<std::string> Names;
  if (Program *Code = In.program())
    Names = Code->namesFrom(Partial, false);
  for (const auto &Of : {parametersOf(In), localsOf(In)})
    for (const Variable &Each : Of)
      Names.insert(Each.Name);
  return suffixesOf(Names, Partial);
}

Suffixes completeChain(std::string_view Chain, Stopped &In) {
  if (Chain.starts_with('@'))
    return cl::completeProp(Chain.substr(1));
  if (Chain.starts_with('$'))
    return completeRegister(Chain.substr(1), In.target());
  const size_t Dot = Chain.rfind('.'), Arrow = Chain.rfind("->");
  if (Arrow != Chain.npos && (Dot == Chain.npos || Dot < Arrow))
    return completeMember(Chain.substr(0, Arrow), Chain.substr(Arrow + 2), In);
  if (Dot != Chain.npos)
    return completeMember(Chain.substr(0, Dot), Chain.substr(Dot + 1), In);
  return completeName(Chain, In);
}

std::optional<uint64_t> addressNamed(const std::string &Text, bool IsPhysical, std::string &Why) {
  void *Cpu = selectedCpu();
  if (!Cpu)
    return std::nullopt;
  try {
    Stopped In(Cpu, selectedLevel(Cpu));
    const SourceExpression Expression(Text, In);
    const uint64_t Address = Expression.address(In);
    const auto Found = IsPhysical ? In.target().physical(Address) : Address;
    if (!Found)
      Why = "address 0x" + hexText(Address, 8) + " has no translation";
    return Found;
  } catch (const EvaluationError &Problem) {
    Why = Problem.what();
    return std::nullopt;
  }
}

std::string processorName() {
  void *Cpu = selectedCpu();
  return Cpu ? orvy_nameForObject(Cpu) : "";
}

std::string memoryName() {
  void *Cpu = selectedCpu();
  void *Space = Cpu ? CpuView(Cpu).memorySpace() : nullptr;
  return Space ? orvy_nameForObject(Space) : "";
}

[[maybe_unused]] const bool IsSet = [] {
  cl::setProgramNames({addressNamed, processorName, memoryName, completeExpression});
  return true;
}();

} // namespace

Suffixes orvy::debugger::completeExpression(std::string_view Partial) {
  void *Cpu = selectedCpu();
  if (!Cpu)
    return {};
  try {
    Stopped In(Cpu, selectedLevel(Cpu));
    return completeChain(Partial.substr(startOfChain(Partial)), In);
  } catch (const EvaluationError &) {
    return {};
  }
}

Suffixes orvy::debugger::completePlace(std::string_view Partial) {
  void *Cpu = selectedCpu();
  Program *Code = Cpu ? programOf(CpuView(Cpu)) : nullptr;
  if (!Code)
    return {};
  if (Partial.starts_with('*'))
    return completeExpression(Partial.substr(1));
  std::set<std::string> Files;
  for (const std::string &Path : Code->allFiles())
    Files.insert(fs::fileNameComponent(Path.c_str()));
  Suffixes Found = suffixesOf(Code->namesFrom(Partial, true), Partial);
  const Suffixes InFiles = suffixesOf(Files, Partial, ":");
  Found.insert(Found.end(), InFiles.begin(), InFiles.end());
  return Found;
}

Suffixes orvy::debugger::completeBreak(std::string_view Partial) {
  std::set<std::string> Numbers;
  for (const auto &[Id, Break] : BreakTable::get().all())
    if (!Break->IsHidden)
      Numbers.insert(std::to_string(Id));
  return suffixesOf(Numbers, Partial);
}

Suffixes orvy::debugger::completeCpu(std::string_view Partial) {
  std::set<std::string> Names;
  for (size_t Index = 0; Index < static_cast<size_t>(orvy_getProcessorCount()); ++Index)
    Names.insert(orvy_nameForObject(orvy_getProcessors()[Index]));
  return suffixesOf(Names, Partial);
}
