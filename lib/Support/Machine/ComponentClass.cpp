// The class of components: what a component shows of itself, and which clocks it takes.

#include "Base/InternalError.h"
#include "Machine/ComponentClock.h"
#include "Objsys/ComponentModel.h"
#include "Objsys/ObjsysClass.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Properties.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <utility>

using namespace orvy;
using namespace orvy::objsys;
using component::isClock;
using component::MaxLevels;
using component::objectsIn;

namespace {

orvy_Component &componentOf(void *Obj) {
  return *static_cast<orvy_Component *>(Obj);
}

// Setters

/// Releases the strings with their dictionary when a restore replaces it.
void setDelegatePropNames(void *Obj, orvy_Propval Pv, int) {
  orvy_Component &C = componentOf(Obj);
  if (Pv.Typ == ovTY_Dict && Pv.Dict != C.DelegatePropNames)
    component::replaceDelegatePropNames(C, Pv.Dict);
}

/// Whether running these clocks would run that component, or nest too deeply.
bool wouldRun(orvy_Vector &Clocks, const orvy_Component &C, std::set<const orvy_Component *> &Seen,
              unsigned Level = 0) {
  return std::ranges::any_of(component::referencesIn(Clocks), [&](const orvy_IfaceRef &Ref) {
    orvy_Component *Group =
        Ref.Iface == &component::GroupTable ? component::find(Ref.Obj) : nullptr;
    if (!Group || !Seen.insert(Group).second)
      return false;
    return Group == &C || Level >= MaxLevels || wouldRun(Group->Clocks, C, Seen, Level + 1);
  });
}

/// What is wrong with the clocks of a component; null if nothing is.
const char *faultOf(orvy_Vector &Clocks, const orvy_Component &C) {
  const bool AreClocks =
      Clocks.Typ == ovTY_IfaceRef && std::ranges::all_of(component::referencesIn(Clocks), isClock);
  if (!AreClocks)
    return "takes references to ClockIface only";
  std::set<const orvy_Component *> Seen;
  return wouldRun(Clocks, C, Seen) ? "leads back to its own component" : nullptr;
}

void setClocks(void *Obj, orvy_Propval Pv, int) {
  orvy_Component &C = componentOf(Obj);
  if (Pv.Typ != ovTY_Vector || Pv.Vector.VecData == C.Clocks.VecData)
    return;
  if (const char *Fault = faultOf(Pv.Vector, C))
    orvy_logError(Obj, "property 'clocks' %s, it stays as it is", Fault);
  else
    std::swap(C.Clocks, Pv.Vector);
  component::disposeVector(Pv.Vector);
}

// Inspecting

void printLine(const void *Obj) {
  if (const Class *Cls = Class::classForObject(Obj))
    outs() << "\t" << Class::nameForObject(Obj) << " : " << Cls->Name << "\n";
}

template <typename T>
void printSection(const char *Title, std::span<T> Entries, void *(*ObjectOf)(const T &)) {
  if (Entries.empty())
    return;
  outs() << Title << "\n";
  for (const T &Entry : Entries)
    printLine(ObjectOf(Entry));
}

void printObject(void *Obj) {
  orvy_Component &C = componentOf(Obj);
  constexpr auto Itself = [](void *const &Inner) { return Inner; };
  printSection<void *>("Sub-Components:", objectsIn(C.Components), Itself);
  printSection<void *>("Owned-Objects:", objectsIn(C.Objects), Itself);
  printSection<orvy_IfaceRef>("Clocks:", component::referencesIn(C.Clocks),
                              [](const orvy_IfaceRef &Ref) { return Ref.Obj; });
}

/// An inner component has a line as an entry, and one as the head of its own tree.
void printTree(orvy_Component &C, size_t Indent) {
  outs() << std::string(Indent, ' ') << Class::nameForObject(&C) << "\n";
  Indent += 2;
  for (void *Obj : objectsIn(C.Objects)) {
    if (!component::owns(C, Obj))
      continue;
    outs() << std::string(Indent, ' ') << Class::nameForObject(Obj) << "\n";
    if (orvy_Component *Inner = component::find(Obj))
      printTree(*Inner, Indent);
  }
}

// The class

ObjectIface ObjectTable = {nullptr, nullptr, nullptr, nullptr, printObject};

void describe(orvy_Class *Cls) {
  const struct {
    const char *Name;
    size_t Offset;
    orvy_Type Typ;
  } Rows[] = {
      {"objects", offsetof(orvy_Component, Objects), ovTY_Vector},
      {"components", offsetof(orvy_Component, Components), ovTY_Vector},
      {"clocks", offsetof(orvy_Component, Clocks), ovTY_Vector},
      {"currentClock", offsetof(orvy_Component, CurrentClock), ovTY_I32},
      {"stepClock", offsetof(orvy_Component, StepClock), ovTY_I32},
      {"quanta", offsetof(orvy_Component, Quanta), ovTY_I32},
      {"quantaStart", offsetof(orvy_Component, QuantaStart), ovTY_I64},
      {"quantaEnd", offsetof(orvy_Component, QuantaEnd), ovTY_I64},
      {"delegatePropObjs", offsetof(orvy_Component, DelegatePropObjs), ovTY_Dict},
      {"delegatePropNames", offsetof(orvy_Component, DelegatePropNames), ovTY_Dict},
      {"delegateInterfaces", offsetof(orvy_Component, DelegateIfaces), ovTY_Dict},
  };
  for (const auto &Row : Rows)
    orvy_addProperty(Cls, Row.Name, static_cast<int>(Row.Offset), Row.Typ, 1, nullptr, nullptr, "");
  fromHandle(Cls)->getProperty("clocks")->Setter = setClocks;
  fromHandle(Cls)->getProperty("delegatePropNames")->Setter = setDelegatePropNames;
}

} // namespace

void component::printForest() {
  const auto Print = [](orvy_Component *Root, void *) {
    if (orvy_Component *C = find(Root))
      printTree(*C, 0);
  };
  orvy_foreachRootComponent(Print, nullptr);
}

orvy_Class *orvy_registerComponent(const char *ClsName, orvy_ObjectCreateFunc Create,
                                   orvy_ObjectDisposeFunc Dispose) {
  orvy_Class *Cls = orvy_registerClass(ClsName, Create, Dispose ? Dispose : orvy_componentDispose);
  if (!Cls)
    return nullptr;
  orvy_qualifyAs(Cls, static_cast<unsigned>(Kind::Component));
  describe(Cls);
  orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &ObjectTable, 0, "");
  orvy_addInterface(Cls, "ClockIface", "ClockIface", &component::GroupTable, 0, "");
  return Cls;
}
