#include "orvy/Support/Commands.h"

#include "CommandLine/Characters.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

using namespace orvy;
using namespace orvy::cl;

constinit Var::VariableMap *Var::Variables = nullptr;

Var::Var(std::string Name, std::string Value) : Name(std::move(Name)), Value(std::move(Value)) {
  if (!Variables)
    Variables = new VariableMap;
  Var *&Entry = (*Variables)[this->Name];
  delete std::exchange(Entry, this);
}

void Var::help() const {
  if (!Help.empty())
    outs() << Help;
}

Var *Var::findVariable(std::string_view Name) {
  if (!Variables)
    return nullptr;
  auto Found = Variables->find(Name);
  return Found == Variables->end() ? nullptr : Found->second;
}

void Var::setVariable(std::string_view Name, std::string_view Value) {
  if (Var *Present = findVariable(Name))
    Present->Value = Value;
  else
    new Var(std::string(Name), std::string(Value)); // owned by the map
}

bool Var::deleteVariable(std::string_view Name) {
  if (!findVariable(Name))
    return false;
  auto Found = Variables->find(Name);
  delete Found->second;
  Variables->erase(Found);
  return true;
}

// Calls Take for each environment variable that has a name and a value, until it returns true.
template <typename Taker> static bool walkEnvironment(Taker Take) {
  for (char **Next = environ; Next && *Next; ++Next) {
    const std::string_view Entry = *Next;
    const size_t Equals = Entry.find('=');
    if (Equals == 0 || Equals == Entry.npos || Equals + 1 == Entry.size())
      continue;
    if (Take(Entry.substr(0, Equals), Entry.substr(Equals + 1)))
      return true;
  }
  return false;
}

void Var::initFromEnv() {
  walkEnvironment([](std::string_view Name, std::string_view Value) {
    setVariable(Name, Value);
    return false;
  });
}

bool Var::initFromEnv(const char *Name) {
  return walkEnvironment([&](std::string_view Present, std::string_view Value) {
    if (Present != Name)
      return false;
    setVariable(Present, Value);
    return true;
  });
}

// Expansion.

static char unescape(char Character) {
  return Character == 'n' ? '\n' : Character == 't' ? '\t' : Character;
}

// Appends the value of the reference at Next and moves Next past it.
static bool expandReference(std::string_view Text, size_t &Next, std::string &Expanded) {
  const bool HasBrace = Text[Next + 1] == '{';
  const size_t First = Next + 1 + HasBrace;
  const size_t Last = HasBrace ? Text.find('}', First) : Text.find_first_of(" \t\n/", First);
  if (HasBrace && Last == Text.npos) {
    errs() << "unbalanced '{' '}' near '" << Text.substr(Next) << "'\n";
    return false;
  }
  const size_t End = std::min(Last, Text.size());
  const std::string_view Name = Text.substr(First, End - First);
  const Var *Variable = Var::findVariable(Name);
  if (!Variable) {
    errs() << "unknown variable '" << Name << "'\n";
    return false;
  }
  Expanded += Variable->getValue();
  Next = End + HasBrace;
  return true;
}

bool orvy::cl::escapeAndExpand(std::string &Text) {
  const std::string_view Source = Text;
  size_t Next = Source.find_first_of("\\$");
  if (Next == Source.npos)
    return true;
  std::string Expanded(Source, 0, Next);
  bool Succeeds = true;
  // A backslash or dollar at the very end stands for itself.
  while (Succeeds && Next + 1 < Source.size()) {
    if (Source[Next] == '$') {
      Succeeds = expandReference(Source, Next, Expanded);
    } else if (Source[Next] == '\\') {
      Expanded += unescape(Source[Next + 1]);
      Next += 2;
    } else {
      Expanded += Source[Next++];
    }
  }
  Expanded += Source.substr(std::min(Next, Source.size()));
  Text = std::move(Expanded);
  return Succeeds;
}

// The flat interface.

const char *orvy_cmdGetVariable(const char *Name) {
  const Var *Variable = Name ? Var::findVariable(Name) : nullptr;
  return Variable ? Variable->getValue().c_str() : nullptr;
}

static bool isVariableName(std::string_view Name) {
  return !Name.empty() && isLetter(Name[0]) && std::all_of(Name.begin(), Name.end(), [](char C) {
    return isLetterOrDigit(C) || C == '_';
  });
}

int orvy_cmdSetVariable(const char *Name, const char *Value) {
  if (!Name || !Value || !isVariableName(Name))
    return -1;
  Var::setVariable(Name, Value);
  return 0;
}
