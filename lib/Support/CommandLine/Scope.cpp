#include "orvy/Support/Scope.h"

#include "orvy/Support/Objsys.h"
#include "orvy/Support/Properties.h"

#include <utility>

using namespace orvy::cl::scope;

Variable::~Variable() = default;
ObjectVar::~ObjectVar() = default;
PropVar::~PropVar() = default;

const char *ObjectVar::getObjectName() const {
  return orvy_nameForObject(Obj);
}

orvy_Propval PropVar::getPropval() const {
  return orvy_getValue(Obj, Name.c_str(), Idx);
}

void PropVar::setPropval(orvy_Propval Val) {
  orvy_setValue(Obj, Name.c_str(), Val, Idx);
}

Variable *Scope::findVar(std::string_view Name, bool Recursive) const {
  for (const Scope *S = this; S; S = Recursive ? S->Parent : nullptr)
    if (auto Found = S->Variables.find(Name); Found != S->Variables.end())
      return Found->second.get();
  return nullptr;
}

Variable *Scope::findGlobalVar(std::string_view Name) const {
  return root().findVar(Name, false);
}

bool Scope::addVar(std::string_view Name, std::unique_ptr<Variable> Var) {
  return Variables.try_emplace(std::string(Name), std::move(Var)).second;
}

bool Scope::addGlobalVar(std::string_view Name, std::unique_ptr<Variable> Var) {
  return root().addVar(Name, std::move(Var));
}

bool Scope::removeVar(std::string_view Name, bool Recursive) {
  for (Scope *S = this; S; S = Recursive ? S->Parent : nullptr)
    if (auto Found = S->Variables.find(Name); Found != S->Variables.end()) {
      S->Variables.erase(Found);
      return true;
    }
  return false;
}

bool Scope::removeGlobalVar(std::string_view Name) {
  return root().removeVar(Name, false);
}

const Scope &Scope::root() const {
  const Scope *S = this;
  while (S->Parent)
    S = S->Parent;
  return *S;
}

Scope &Scope::root() {
  return const_cast<Scope &>(std::as_const(*this).root());
}
