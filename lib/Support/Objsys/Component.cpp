// Components: their life, their inner objects and delegates, and how they are shown.

#include "orvy/Support/Component.h"

#include "Base/InternalError.h"
#include "Objsys/ComponentModel.h"
#include "Objsys/ObjsysClass.h"

#include "orvy/Support/Commands.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Properties.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <span>
#include <string>
#include <utility>

using namespace orvy;
using namespace orvy::objsys;
using component::disposeVector;
using component::MaxLevels;
using component::objectsIn;
using component::owns;

namespace {

orvy_Component &componentOf(void *Obj) {
  return *static_cast<orvy_Component *>(Obj);
}

std::span<void *> objectsOf(orvy_Component &C) {
  return objectsIn(C.Objects);
}

void *firstClock(orvy_Component &C) {
  const std::span<orvy_IfaceRef> Clocks = component::referencesIn(C.Clocks);
  return Clocks.empty() ? nullptr : Clocks.front().Obj;
}

void push(orvy_Vector &Vec, void *Obj) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_Obj;
  Pv.Obj = Obj;
  orvy_vecPush(&Vec, Pv);
}

void push(orvy_Vector &Vec, orvy_IfaceRef Ref) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_IfaceRef;
  Pv.IfaceRef = Ref;
  orvy_vecPush(&Vec, Pv);
}

// Strings of "delegatePropNames"

char *copyOf(const char *Text) {
  char *Copy = strdup(Text);
  return Copy ? Copy : throw std::bad_alloc();
}

void disposeWithStrings(orvy_Dict *Dict) {
  if (!Dict)
    return;
  for (const char *Key = orvy_dictGetNextKey(Dict, nullptr); Key;
       Key = orvy_dictGetNextKey(Dict, Key))
    if (orvy_Propval Pv = orvy_dictGetValue(Dict, Key); Pv.Typ == ovTY_String)
      std::free(const_cast<char *>(Pv.String));
  orvy_dictDispose(Dict);
}

// Inner objects

/// The time source that the first clock gives; for a group, the one of its own first clock. Null if
/// there is none.
void *timeSourceOf(orvy_Component &C) {
  void *First = firstClock(C);
  for (unsigned Level = 0; Level < MaxLevels; ++Level) {
    orvy_Component *Group = component::find(First);
    if (!Group)
      break;
    First = firstClock(*Group);
  }
  const Class *Cls = Class::classForObject(First);
  const bool Holds = Cls && (Cls->Qualifier == Kind::Processor || Cls->Qualifier == Kind::Machine ||
                             Cls->Qualifier == Kind::Clock);
  return Holds ? First : nullptr;
}

std::string formatted(const char *Format, va_list Args) {
  va_list Again;
  va_copy(Again, Args);
  const int Length = std::vsnprintf(nullptr, 0, Format, Args);
  std::string Text(Length > 0 ? static_cast<size_t>(Length) : 0, '\0');
  std::vsnprintf(Text.data(), Text.size() + 1, Format, Again);
  va_end(Again);
  return Text;
}

void *createInner(orvy_Component &C, const char *ClsName, const orvy_CreateArg *Args,
                  const std::string &InnerName) {
  const bool IsRegistered = Class::classForObject(&C);
  void *Obj = orvy_createObject(ClsName, (std::string(C.Name) + "-" + InnerName).c_str(), Args);
  if (!Obj)
    return nullptr;
  // The create function may have disposed of the component.
  if (IsRegistered && !component::find(&C)) {
    Class::disposeObject(Obj);
    return nullptr;
  }
  static_cast<orvy_Object *>(Obj)->Component = &C;
  push(C.Objects, Obj);
  if (orvy_isCpu(Obj)) {
    push(C.Clocks, {Obj, orvy_getInterface(Obj, "ClockIface", 0)});
    return Obj;
  }
  if (orvy_isComponent(Obj))
    push(C.Components, Obj);
  if (void *Source = timeSourceOf(C))
    orvy_setTimeSource(Obj, Source);
  // A subscriber to the change of the time source may have disposed of it.
  return Class::classForObject(Obj) ? Obj : nullptr;
}

void *innerForName(orvy_Component &C, std::string_view Inner) {
  const char *Own = Class::nameForObject(&C);
  const std::string Prefix = std::string(Own ? Own : C.Name) + "-";
  for (void *Obj : objectsOf(C)) {
    const char *Name = Class::nameForObject(Obj);
    if (Name && std::string_view(Name).starts_with(Prefix) && Name + Prefix.size() == Inner)
      return Obj;
  }
  return nullptr;
}

// Delegates

orvy_Propval valueAt(orvy_Dict *Dict, const char *Name, orvy_Type Typ) {
  const orvy_Propval Pv = Dict && Name ? orvy_dictGetValue(Dict, Name) : orvy_Propval{};
  return Pv.Typ == Typ ? Pv : orvy_Propval{};
}

int addDelegateProp(orvy_Component &C, const char *Name, void *Obj, const char *PropName) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_Obj;
  Pv.Obj = Obj;
  if (orvy_dictInsertValue(C.DelegatePropObjs, Name, Pv) != 0)
    return -1;
  char *Copy = copyOf(PropName);
  Pv = {};
  Pv.Typ = ovTY_String;
  Pv.String = Copy;
  const int Result = orvy_dictInsertValue(C.DelegatePropNames, Name, Pv);
  if (Result != 0)
    std::free(Copy);
  return Result;
}

// Life

orvy_Component *makeRecord(const char *Name) {
  auto *C = static_cast<orvy_Component *>(std::calloc(1, sizeof(orvy_Component)));
  if (!C)
    throw std::bad_alloc();
  C->Name = copyOf(Name);
  C->Objects = orvy_vecCreate(ovTY_Obj);
  C->Components = orvy_vecCreate(ovTY_Obj);
  C->Clocks = orvy_vecCreate(ovTY_IfaceRef);
  C->ObjectDict = orvy_dictCreate();
  C->DelegatePropObjs = orvy_dictCreate();
  C->DelegatePropNames = orvy_dictCreate();
  C->DelegateIfaces = orvy_dictCreate();
  return C;
}

void disposeRecord(orvy_Component &C) {
  // A subscriber to a disposal may dispose of others: check each entry when its turn comes.
  for (size_t Idx = 0; Idx < objectsOf(C).size(); ++Idx)
    if (void *Obj = objectsOf(C)[Idx]; owns(C, Obj))
      Class::disposeObject(Obj);
  disposeVector(C.Objects);
  disposeVector(C.Components);
  disposeVector(C.Clocks);
  orvy_dictDispose(C.ObjectDict);
  orvy_dictDispose(C.DelegatePropObjs);
  disposeWithStrings(C.DelegatePropNames);
  orvy_dictDispose(C.DelegateIfaces);
  std::free(C.Name);
  std::free(&C);
}

/// Levels of ownership above a component; MaxLevels or more if Obj is one of its owners.
unsigned levelsAbove(const orvy_Component &C, const void *Obj) {
  unsigned Levels = 0;
  for (const orvy_Component *Owner = &C; Owner && Levels < MaxLevels; ++Levels) {
    if (Owner == Obj)
      return MaxLevels;
    Owner = Owner->Super.Component;
  }
  return Levels;
}

void adoptListed(orvy_Component &C) {
  const void *Sim = Class::objectForName("sim"); // which outlives all components
  for (void *Obj : objectsOf(C)) {
    const Class *Cls = Class::classForObject(Obj);
    if (!Cls || Cls->External || Obj == Sim)
      continue;
    auto &Header = *static_cast<orvy_Object *>(Obj);
    if (!Header.Component && levelsAbove(C, Obj) < MaxLevels)
      Header.Component = &C;
  }
}

} // namespace

orvy_Component *component::find(const void *Obj) {
  const Class *Cls = Class::classForObject(Obj);
  if (!Cls || Cls->External || Cls->Qualifier != Kind::Component)
    return nullptr;
  // A class can be qualified by hand; only a registered one has the record.
  const Property *Last = Cls->getProperty("delegateInterfaces");
  const bool Is = Last && Last->Offset == offsetof(orvy_Component, DelegateIfaces);
  return Is ? static_cast<orvy_Component *>(const_cast<void *>(Obj)) : nullptr;
}

component::WithoutGone::WithoutGone(void *Obj) : Comp(find(Obj)) {
  if (!Comp)
    return;
  Objects = std::exchange(Comp->Objects, orvy_vecCreate(ovTY_Obj));
  Components = std::exchange(Comp->Components, orvy_vecCreate(ovTY_Obj));
  Clocks = std::exchange(Comp->Clocks, orvy_vecCreate(ovTY_IfaceRef));
  for (void *Inner : objectsIn(Objects))
    if (owns(*Comp, Inner))
      push(Comp->Objects, Inner);
  for (void *Inner : objectsIn(Components))
    if (owns(*Comp, Inner))
      push(Comp->Components, Inner);
  for (const orvy_IfaceRef &Ref : referencesIn(Clocks))
    if (const Class *Cls = Class::classForObject(Ref.Obj); Cls && isClock(Ref))
      push(Comp->Clocks, Ref);
}

component::WithoutGone::~WithoutGone() {
  if (!Comp)
    return;
  for (auto [Shown, Kept] :
       {std::pair(&Comp->Objects, &Objects), std::pair(&Comp->Components, &Components),
        std::pair(&Comp->Clocks, &Clocks)}) {
    disposeVector(*Shown);
    *Shown = *Kept;
  }
}

void component::adoptRestored() {
  // What creation made and the checkpoint does not list would belong to a component that does not
  // dispose of it.
  for (const auto &[Name, Obj] : Class::objects())
    if (!Class::classForObject(Obj)->External)
      static_cast<orvy_Object *>(Obj)->Component = nullptr;
  for (void *Each : Class::getComponents())
    if (orvy_Component *C = find(Each))
      adoptListed(*C);
  for (void *Each : Class::getComponents())
    if (orvy_Component *C = find(Each); C && levelsAbove(*C, nullptr) >= MaxLevels)
      C->Super.Component = nullptr;
}

void component::replaceDelegatePropNames(orvy_Component &C, orvy_Dict *Names) {
  disposeWithStrings(C.DelegatePropNames);
  C.DelegatePropNames = Names;
}

std::span<void *> component::objectsIn(orvy_Vector &Vec) {
  if (Vec.Typ != ovTY_Obj || !Vec.VecData)
    return {};
  return {static_cast<void **>(orvy_vecGetData(&Vec)), orvy_vecGetSize(&Vec)};
}

bool component::owns(const orvy_Component &C, const void *Obj) {
  const Class *Cls = Class::classForObject(Obj);
  return Cls && !Cls->External && static_cast<const orvy_Object *>(Obj)->Component == &C;
}

bool component::isClock(const orvy_IfaceRef &Ref) {
  const char *Type = orvy_typenameForInterface(Ref);
  return Type && std::strcmp(Type, "ClockIface") == 0;
}

void component::disposeVector(orvy_Vector &Vec) {
  if (Vec.VecData)
    orvy_vecDispose(&Vec);
}

std::span<orvy_IfaceRef> component::referencesIn(orvy_Vector &Vec) {
  if (Vec.Typ != ovTY_IfaceRef || !Vec.VecData)
    return {};
  return {static_cast<orvy_IfaceRef *>(orvy_vecGetData(&Vec)), orvy_vecGetSize(&Vec)};
}

orvy_Component *orvy_componentCreate(const char *Name) {
  ORVY_REQUIRE(Name);
  return makeRecord(Name);
}

void orvy_componentDispose(void *Comp) {
  if (Comp)
    disposeRecord(componentOf(Comp));
}

void *orvy_createComponentObject(orvy_Component *Comp, const char *ClsName,
                                 const orvy_CreateArg *Args, const char *NameFormat, ...) {
  ORVY_REQUIRE(Comp && NameFormat);
  va_list Values;
  va_start(Values, NameFormat);
  const std::string Name = formatted(NameFormat, Values);
  va_end(Values);
  return createInner(*Comp, ClsName, Args, Name);
}

void *orvy_componentGetObject(orvy_Component *Comp, const char *Name) {
  return Comp && Name ? innerForName(*Comp, Name) : nullptr;
}

int orvy_componentAddDelegateIface(orvy_Component *Comp, const char *Name, orvy_IfaceRef Iface) {
  ORVY_REQUIRE(Comp && Name);
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_IfaceRef;
  Pv.IfaceRef = Iface;
  return orvy_dictInsertValue(Comp->DelegateIfaces, Name, Pv);
}

int orvy_componentAddDelegateProp(orvy_Component *Comp, const char *Name, void *Obj,
                                  const char *PropName) {
  ORVY_REQUIRE(Comp && Name && PropName);
  return addDelegateProp(*Comp, Name, Obj, PropName);
}

orvy_IfaceRef orvy_componentGetDelegateIface(orvy_Component *Comp, const char *Name) {
  const orvy_Propval Pv =
      Comp ? valueAt(Comp->DelegateIfaces, Name, ovTY_IfaceRef) : orvy_Propval{};
  return Pv.Typ == ovTY_IfaceRef ? Pv.IfaceRef : orvy_IfaceRef{};
}

orvy_PropName orvy_componentGetDelegateProp(orvy_Component *Comp, const char *Name) {
  if (!Comp)
    return {};
  void *Obj = valueAt(Comp->DelegatePropObjs, Name, ovTY_Obj).Obj;
  const char *PropName = valueAt(Comp->DelegatePropNames, Name, ovTY_String).String;
  return Obj && PropName ? orvy_PropName{Obj, PropName} : orvy_PropName{};
}
