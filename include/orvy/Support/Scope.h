// Scope.h - nested scopes of variables that stand for objects and properties.
//
// For host programs; the interpreter's own variables are those of Commands.h. Everything belongs to
// the thread that runs commands.

#ifndef ORVY_SUPPORT_SCOPE_H
#define ORVY_SUPPORT_SCOPE_H

#include "orvy/Support/Export.h"
#include "orvy/Support/Propval.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace orvy::cl::scope {

/// What a name in a scope stands for.
class ORVY_API Variable {
public:
  virtual ~Variable();
};

/// An object.
class ORVY_API ObjectVar : public Variable {
public:
  explicit ObjectVar(void *Obj) : Obj(Obj) {}
  ~ObjectVar() override;

  void *getObject() const { return Obj; }
  /// Name of the object; null if there is no such object.
  const char *getObjectName() const;

private:
  void *Obj;
};

/// An element of a property.
class ORVY_API PropVar : public Variable {
public:
  PropVar(void *Obj, std::string_view Name, int Idx) : Obj(Obj), Name(Name), Idx(Idx) {}
  ~PropVar() override;

  /// The value, as orvy_getValue gives it.
  orvy_Propval getPropval() const;
  /// Stores a value, as orvy_setValue does.
  void setPropval(orvy_Propval Val);

private:
  void *Obj;
  std::string Name;
  int Idx;
};

/// Variables by name, inside those of a parent scope, which must outlive it.
class Scope {
public:
  explicit Scope(Scope *Parent = nullptr) : Parent(Parent) {}
  Scope(const Scope &) = delete;
  Scope &operator=(const Scope &) = delete;

  /// The variable of a name, here or, if Recursive, in the nearest parent; null if there is none.
  ORVY_API Variable *findVar(std::string_view Name, bool Recursive) const;
  /// The variable of a name in the root scope; null if there is none.
  ORVY_API Variable *findGlobalVar(std::string_view Name) const;

  /// Adds a variable here. Returns false, and keeps what is there, if the name is taken.
  ORVY_API bool addVar(std::string_view Name, std::unique_ptr<Variable> Var);
  /// Adds a variable to the root scope in the same way.
  ORVY_API bool addGlobalVar(std::string_view Name, std::unique_ptr<Variable> Var);

  /// Removes the variable of a name, here or, if Recursive, in the nearest parent. Returns whether
  /// there was one.
  ORVY_API bool removeVar(std::string_view Name, bool Recursive);
  /// Removes the variable of a name from the root scope. Returns whether there was one.
  ORVY_API bool removeGlobalVar(std::string_view Name);

private:
  const Scope &root() const;
  Scope &root();

  Scope *Parent;
  std::map<std::string, std::unique_ptr<Variable>, std::less<>> Variables;
};

} // namespace orvy::cl::scope

#endif
