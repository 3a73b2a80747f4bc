#include "orvy/Support/Completion.h"

#include "CommandLine/Characters.h"
#include "CommandLine/ProgramNames.h"
#include "Objsys/ObjsysClass.h"
#include "orvy/Support/Commands.h"
#include "orvy/Support/FileSystem.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

using namespace orvy;
using namespace orvy::cl;
using objsys::Class;

// For each wanted entry of a map whose name begins with Partial: the rest of the name and Ending.
template <typename Map, typename Predicate>
static Suffixes suffixesIn(const Map &Names, std::string_view Partial, std::string_view Ending,
                           Predicate IsWanted) {
  Suffixes Found;
  for (auto Next = Names.lower_bound(Partial);
       Next != Names.end() && Next->first.starts_with(Partial); ++Next)
    if (IsWanted(*Next))
      Found.push_back(Next->first.substr(Partial.size()).append(Ending));
  return Found;
}

template <typename Map>
static Suffixes suffixesIn(const Map &Names, std::string_view Partial,
                           std::string_view Ending = "") {
  return suffixesIn(Names, Partial, Ending, [](const auto &) { return true; });
}

Suffixes orvy::cl::completeCommand(std::string_view Partial) {
  return Partial.empty() ? Suffixes() : suffixesIn(getGlobalCmdRegistry().getCommands(), Partial);
}

Suffixes orvy::cl::completeKey(std::string_view CmdName, std::string_view Partial) {
  const Command *Cmd = Command::findCommand(CmdName);
  if (!Cmd)
    return {};
  std::set<std::string> Found;
  for (const Option &Each : Cmd->getOptions())
    if (Each.Name.starts_with(Partial))
      Found.insert(Each.Name.substr(Partial.size()) + "=");
  return {Found.begin(), Found.end()};
}

Suffixes orvy::cl::completeWord(std::string_view CmdName, std::string_view Partial) {
  const Command *Cmd = Command::findCommand(CmdName);
  return Cmd && Cmd->getWordCompleter() ? Cmd->getWordCompleter()(Partial) : Suffixes();
}

Suffixes orvy::cl::completeObject(std::string_view Partial) {
  return suffixesIn(Class::getObjectList(), Partial);
}

Suffixes orvy::cl::completeClass(std::string_view Partial) {
  return suffixesIn(Class::getClassList(), Partial);
}

// Completes the object, and after the separator with what Complete finds in the object's class.
template <typename Completer>
static Suffixes completeMember(std::string_view Text, char Separator, Completer Complete) {
  const size_t At = Text.find(Separator);
  if (At == Text.npos)
    return suffixesIn(Class::getObjectList(), Text, std::string_view(&Separator, 1));
  const Class *Cls = Class::classForObject(Class::objectForName(Text.substr(0, At)));
  return Cls ? Complete(*Cls, Text.substr(At + 1)) : Suffixes();
}

Suffixes orvy::cl::completeProp(std::string_view Text) {
  return completeMember(Text, '.', [](const Class &Cls, std::string_view Partial) {
    return suffixesIn(Cls.Properties, Partial);
  });
}

Suffixes orvy::cl::completeReg(std::string_view Text) {
  return completeMember(Text, '.', [](const Class &Cls, std::string_view Partial) {
    return suffixesIn(Cls.Properties, Partial, "",
                      [](const auto &Entry) { return Entry.second->isRegister(); });
  });
}

Suffixes orvy::cl::completeIface(std::string_view Text) {
  return completeMember(Text, ':', [](const Class &Cls, std::string_view Partial) {
    return suffixesIn(Cls.Interfaces, Partial);
  });
}

Suffixes orvy::cl::completeVariable(std::string_view Text, bool Braces) {
  return Var::Variables ? suffixesIn(*Var::Variables, Text, Braces ? "}" : "") : Suffixes();
}

Suffixes orvy::cl::completePath(std::string_view Text) {
  const size_t Base = Text.rfind('/') + 1; // 0 without a slash
  std::string Dir(Text, 0, Base);
  if (!escapeAndExpand(Dir))
    return {};
  const std::string_view Partial = Text.substr(Base);
  Suffixes Found;
  for (const std::string &Name : fs::ls(Dir.empty() ? "." : Dir.c_str()))
    if (Name != "." && Name.starts_with(Partial))
      Found.push_back(Name.substr(Partial.size()) + (fs::isDir(Dir + Name) ? "/" : ""));
  std::sort(Found.begin(), Found.end());
  return Found;
}

static Suffixes completeKind(OptionKind Kind, std::string_view Value) {
  switch (Kind) {
  case OK_Path:
    return completePath(Value);
  case OK_Object:
    return completeObject(Value);
  case OK_Prop:
    return completeProp(Value);
  case OK_Iface:
    return completeIface(Value);
  case OK_Reg:
  case OK_Unchecked:
    return completeReg(Value);
  case OK_Class:
    return completeClass(Value);
  case OK_String:
  case OK_Int:
  case OK_Double:
    break;
  }
  return {};
}

// Whether the text after a '$' extends past the name of the variable.
static bool isPastName(std::string_view Text) {
  return std::any_of(Text.begin(), Text.end(), [](char C) { return C == '/' || isSpace(C); });
}

Suffixes orvy::cl::completeValue(std::string_view CmdName, std::string_view Key,
                                 std::string_view Value) {
  const Command *Cmd = Command::findCommand(CmdName);
  if (!Cmd)
    return {};
  if (const size_t Dollar = Value.rfind('$'); Dollar != Value.npos) {
    const std::string_view Name = Value.substr(Dollar + 1);
    const bool HasBrace = Name.starts_with('{');
    if (!HasBrace && !isPastName(Name))
      return completeVariable(Name, false);
    if (HasBrace && Name.find('}') == Name.npos)
      return completeVariable(Name.substr(1), true);
  }
  const std::vector<Option> &Options = Cmd->getOptions();
  const auto Found = std::find_if(Options.begin(), Options.end(),
                                  [&](const Option &Each) { return Each.Name == Key; });
  if (Found == Options.end())
    return {};
  return isAddress(Found->Unit) ? programNames().complete(Value) : completeKind(Found->Kind, Value);
}

std::string orvy::cl::getCommonPrefix(const std::vector<std::string> &Texts) {
  std::string_view Common = Texts.empty() ? std::string_view() : Texts.front();
  for (const std::string &Each : Texts) {
    const auto End = std::mismatch(Common.begin(), Common.end(), Each.begin(), Each.end()).first;
    Common = Common.substr(0, static_cast<size_t>(End - Common.begin()));
  }
  return std::string(Common);
}
