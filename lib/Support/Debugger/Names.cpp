// What names mean in a frame.

#include "Debugger/SourceExpression.h"

#include "orvy/Support/FileSystem.h"

#include <algorithm>
#include <cstring>

using namespace orvy;
using namespace orvy::debugger;
using namespace orvy::source;
using namespace orvy::dwarf;

namespace {

/// What names are looked up in: the function of the selected frame and all around its address.
struct Scope {
  DebugInfoEntry *Function = nullptr, *Subprogram = nullptr;
  const std::vector<DebugInfoEntry *> *All = nullptr;
};

/// For the innermost frame no frame needs to be made: conditions of break points are evaluated often.
Scope scopeOf(Stopped &In) {
  if (!In.isInnermost()) {
    const Frame &Selected = In.frame();
    if (!Selected.In || !Selected.Function)
      return {};
    return {Selected.Function, Selected.Subprogram, &Selected.In->scopesAt(Selected.lookup())};
  }
  const uint64_t Pc = In.target().pc();
  Program *Code = programAt(In.target(), Pc);
  if (!Code)
    return {};
  const auto &All = Code->scopesAt(Pc);
  const auto Call = std::find_if(All.rbegin(), All.rend(), [](auto *E) { return isCall(*E); });
  return {Call == All.rend() ? nullptr : *Call, All.empty() ? nullptr : All.front(), &All};
}

/// The blocks of the selected function at its pc, the innermost first, and the function.
std::vector<DebugInfoEntry *> blocksOf(Stopped &In) {
  const Scope Selected = scopeOf(In);
  if (!Selected.Function)
    return {};
  const std::vector<DebugInfoEntry *> &Scopes = *Selected.All;
  // Of what is inlined further in, nothing is seen from here.
  const auto Own = std::ranges::find(Scopes, Selected.Function);
  if (Own == Scopes.end())
    return {Selected.Function};
  auto End = std::find_if(std::next(Own), Scopes.end(), [](auto *E) { return isCall(*E); });
  std::vector<DebugInfoEntry *> Blocks(Own, End);
  std::ranges::reverse(Blocks);
  return Blocks;
}

template <typename Taker> void forEachVariable(DebugInfoEntry &Block, Taker Take) {
  for (auto *Child = Block.getFirstChild(); Child && !Child->isNull(); Child = Child->getNext())
    if (isVariable(*Child))
      if (const char *Name = nameOf(*Child))
        Take(Name, *Child);
}

DebugInfoEntry *localNamed(const std::string &Name, Stopped &In) {
  if (In.isInnermost()) {
    const uint64_t Pc = In.target().pc();
    Program *Code = programAt(In.target(), Pc);
    return Code ? Code->localAt(Pc, Name) : nullptr;
  }
  for (DebugInfoEntry *Block : blocksOf(In))
    if (DebugInfoEntry *Found = variableIn(*Block, Name))
      return Found;
  return nullptr;
}

/// The static variables of a function, wherever the program stands.
DebugInfoEntry *staticIn(DebugInfoEntry &Function, std::string_view Name) {
  for (DebugInfoEntry &Entry : Function.getSubtree())
    if (!Entry.isNull() && isVariable(Entry) && Entry.find(DW_AT_location))
      if (const char *Each = nameOf(Entry); Each && Each == Name)
        return &Entry;
  return nullptr;
}

Value constantValue(DebugInfoEntry &Entry, const Attribute &Constant, const Type &T) {
  if (const Bytes Block = blockOf(Constant); !Block.empty())
    return Value::ofBytes(T, {Block.begin(), Block.end()});
  if (const char *Text = Constant.getCStr())
    return Value::ofBytes(T, {Text, Text + std::min<uint64_t>(T.size(), std::strlen(Text) + 1)});
  return Value::ofInteger(T,
                          static_cast<uint64_t>(constantOf(Entry, DW_AT_const_value).value_or(0)));
}

std::vector<Variable> variablesOf(Stopped &In, uint64_t Tag) {
  std::vector<Variable> Found;
  for (DebugInfoEntry *Block : blocksOf(In))
    forEachVariable(*Block, [&](const char *Name, DebugInfoEntry &Entry) {
      if (Entry.getTag() == Tag && !flagOf(Entry, DW_AT_declaration))
        Found.push_back({Name, &Entry});
    });
  return Found;
}

/// An enumerator of a unit's types.
std::optional<Value> enumeratorNamed(const std::string &Name, Stopped &In) {
  Program *Code = In.program();
  DebugInfoEntry *Entry = Code ? Code->enumeratorNamed(Name) : nullptr;
  if (!Entry)
    return std::nullopt;
  const Type &T = Code->types().of(Entry->getParent());
  return Value::ofInteger(T,
                          static_cast<uint64_t>(constantOf(*Entry, DW_AT_const_value).value_or(0)));
}

Value functionValue(DebugInfoEntry &Function, Program &Code) {
  DebugInfoEntry *Origin = originOf(Function);
  return Value::inMemory(Code.types().of(Origin ? Origin : &Function),
                         entryPointOf(Function).value_or(0));
}

/// The function of a name: that of the unit, else the one that the linker took.
DebugInfoEntry *functionNamed(const std::string &Name, const std::string &Unit, Program &Code) {
  DebugInfoEntry *Found = nullptr;
  const auto Symbols = Code.symbolsNamed(Name);
  for (DebugInfoEntry *Each : Code.functionsNamed(Name)) {
    if (Each->getTag() != DW_TAG_subprogram)
      continue;
    if (Code.unitPath(*Each) == Unit)
      return Each;
    if (!Found || (!Symbols.empty() && entryPointOf(*Each) == Symbols.front()->Address))
      Found = Each;
  }
  return Found;
}

/// What "scope::name" means: the scope is a file or a function.
Value scopedValue(const std::string &Scope, const std::string &Name, Stopped &In) {
  Program *Code = In.program();
  if (!Code)
    throw EvaluationError("no program is loaded that could have '" + Scope + "::" + Name + "'");
  for (DebugInfoEntry *Function : Code->functionsNamed(Scope))
    if (DebugInfoEntry *Found = staticIn(*Function, Name))
      return valueOf(*Found, In);
  const std::vector<std::string> Files = Code->filesNamed(Scope);
  for (DebugInfoEntry *Entry : Code->globalsNamed(Name))
    if (std::ranges::find(Files, Code->unitPath(*Entry)) != Files.end())
      return valueOf(*Entry, In);
  for (DebugInfoEntry *Function : Code->functionsNamed(Name))
    if (std::ranges::find(Files, Code->unitPath(*Function)) != Files.end())
      return functionValue(*Function, *Code);
  throw EvaluationError(Files.empty() && Code->functionsNamed(Scope).empty()
                            ? "no file or function '" + Scope + "'"
                            : "no '" + Name + "' in '" + Scope + "'");
}

} // namespace

Value orvy::debugger::valueOf(DebugInfoEntry &Entry, Stopped &In) {
  TypeTable &Types = In.types();
  const Type &T = Types.of(typeOf(Entry));
  if (const auto Constant = inherited(Entry, DW_AT_const_value))
    return constantValue(Entry, *Constant, T);
  // A location of one address needs no frame.
  LocationText Where = locationOf(Entry, DW_AT_location, 0);
  constexpr uint8_t OpAddr = 3;
  if (Where.IsThere && !Where.IsList && Where.Expression.size() == 5 &&
      Where.Expression[0] == OpAddr) {
    uint64_t Address = 0;
    for (const uint8_t Byte : Where.Expression.subspan(1))
      Address = Address << 8 | Byte;
    return Value::inMemory(T, Address);
  }
  Frame &Selected = In.frame();
  Where = locationOf(Entry, DW_AT_location, Selected.lookup());
  if (!Where.IsThere)
    return Value::optimisedOut(T);
  FrameContext Context(In.backtrace(), Selected);
  return Value::fromLocation(T, evaluateLocation(Where.Expression, Entry, Context), In);
}

std::vector<Variable> orvy::debugger::parametersOf(Stopped &In) {
  const Frame &Selected = In.frame();
  std::vector<Variable> Found;
  if (Selected.Function)
    forEachVariable(*Selected.Function, [&](const char *Name, DebugInfoEntry &Entry) {
      if (Entry.getTag() == DW_TAG_formal_parameter)
        Found.push_back({Name, &Entry});
    });
  return Found;
}

std::vector<Variable> orvy::debugger::localsOf(Stopped &In) {
  return variablesOf(In, DW_TAG_variable);
}

Value orvy::debugger::valueNamed(const std::string &Name, Stopped &In) {
  if (const size_t Colons = Name.rfind("::"); Colons != Name.npos)
    return scopedValue(Name.substr(0, Colons), Name.substr(Colons + 2), In);
  if (DebugInfoEntry *Local = localNamed(Name, In))
    return valueOf(*Local, In);
  Program *Code = In.program();
  if (!Code)
    throw EvaluationError("no symbol '" + Name + "': no program is loaded");
  DebugInfoEntry *Subprogram = scopeOf(In).Subprogram;
  const std::string Unit = Subprogram ? Code->unitPath(*Subprogram) : "";
  if (const auto Globals = Code->globalsNamed(Name, Unit); !Globals.empty())
    return valueOf(*Globals.front(), In);
  if (DebugInfoEntry *Function = functionNamed(Name, Unit, *Code))
    return functionValue(*Function, *Code);
  if (const auto Constant = enumeratorNamed(Name, In))
    return *Constant;
  // Without debug information a symbol has an address and no type.
  if (const auto Symbols = Code->symbolsNamed(Name); !Symbols.empty())
    return Value::inMemory(Code->types().voidType(), Symbols.front()->Address);
  throw EvaluationError("no symbol '" + Name + "' in the present context");
}
