// Properties as their users reach them: by an object and a name.

#include "Base/InternalError.h"
#include "Objsys/ComponentModel.h"
#include "Objsys/NameGrammar.h"
#include "Objsys/ObjectKinds.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"

#include <string>

using namespace orvy::objsys;

namespace {

Property *findProperty(void *Obj, const char *PropName) {
  const Class *Cls = Class::classForObject(Obj);
  return Cls && PropName ? Cls->getProperty(PropName) : nullptr;
}

struct Element {
  const Property *Prop = nullptr;
  int Idx = 0;
};

// The property and element that a name and an index stand for. A bracket part counts only if the
// index is negative.
Element resolve(void *Obj, const char *PropName, int Idx) {
  const Class *Cls = Class::classForObject(Obj);
  if (!Cls || !PropName)
    return {};
  if (Idx >= 0)
    return {Cls->getProperty(PropName), Idx};
  Idx = getIndex(PropName, 0);
  return {Cls->getProperty(baseName(PropName)), Idx};
}

void *objectNamed(const char *ObjName) {
  return ObjName ? Class::objectForName(ObjName) : nullptr;
}

// Ends the process for a typed getter of a property that has another type, or is not there.
orvy_Propval ofType(orvy_Type Typ, orvy_Propval Pv, const void *Obj, const char *PropName) {
  if (Pv.Typ != Typ) {
    const std::string Lacks =
        "has no property '" + std::string(orEmpty(PropName)) + "' of type " + orvy_typeToName(Typ);
    orvy::wrongObject(Obj, Lacks.c_str());
  }
  return Pv;
}

} // namespace

orvy_Propval Class::getPropertyVal(void *Obj, const char *PropName, int Idx) {
  Element El = resolve(Obj, PropName, Idx);
  return El.Prop ? El.Prop->getValue(Obj, static_cast<unsigned>(El.Idx)) : orvy_Propval{};
}

orvy_Propval Class::getPropertyVal(const char *ObjName, const char *PropName, int Idx) {
  return getPropertyVal(objectNamed(ObjName), PropName, Idx);
}

orvy_Propval Class::readPropertyVal(void *Obj, const char *PropName, int Idx) {
  Element El = resolve(Obj, PropName, Idx);
  return El.Prop ? El.Prop->readValue(Obj, El.Idx) : orvy_Propval{};
}

orvy_Propval Class::readPropertyVal(const char *ObjName, const char *PropName, int Idx) {
  return readPropertyVal(objectNamed(ObjName), PropName, Idx);
}

void Class::setPropertyVal(void *Obj, const char *PropName, orvy_Propval Val, int Idx) {
  if (Element El = resolve(Obj, PropName, Idx); El.Prop)
    El.Prop->setValue(Obj, Val, El.Idx);
}

void Class::setPropertyVal(const char *ObjName, const char *PropName, orvy_Propval Val, int Idx) {
  setPropertyVal(objectNamed(ObjName), PropName, Val, Idx);
}

void Class::writePropertyVal(void *Obj, const char *PropName, orvy_Propval Val, int Idx) {
  if (Element El = resolve(Obj, PropName, Idx); El.Prop)
    El.Prop->writeValue(Obj, Val, El.Idx);
}

void Class::writePropertyVal(const char *ObjName, const char *PropName, orvy_Propval Val, int Idx) {
  writePropertyVal(objectNamed(ObjName), PropName, Val, Idx);
}

int orvy_getPropLength(void *Obj, const char *PropName) {
  const Property *Prop = findProperty(Obj, PropName);
  return Prop ? static_cast<int>(Prop->Count) : -1;
}

int orvy_getPropDynLength(void *Obj, const char *PropName) {
  const Property *Prop = findProperty(Obj, PropName);
  return Prop ? static_cast<int>(Prop->getLength(Obj)) : -1;
}

orvy_Type orvy_getPropType(void *Obj, const char *PropName) {
  const Property *Prop = findProperty(Obj, PropName);
  return Prop ? Prop->Typ : ovTY_Invalid;
}

int orvy_isPseudoProperty(void *Obj, const char *PropName) {
  const Property *Prop = findProperty(Obj, PropName);
  return Prop && !Prop->hasField();
}

int orvy_isNormalProperty(void *Obj, const char *PropName) {
  const Property *Prop = findProperty(Obj, PropName);
  return Prop && Prop->hasField();
}

int orvy_objectHasProp(void *Obj, const char *PropName) {
  return orvy_getPropName(Obj, PropName).Obj != nullptr;
}

orvy_PropName orvy_getPropName(void *Obj, const char *PropName) {
  orvy_PropName Delegate = orvy_componentGetDelegateProp(orvy::component::find(Obj), PropName);
  if (Delegate.Obj)
    return Delegate;
  const Class *Cls = Class::classForObject(Obj);
  const Property *Prop = Cls && PropName ? Cls->getProperty(baseName(PropName)) : nullptr;
  return Prop ? orvy_PropName{Obj, Prop->Name.c_str()} : orvy_PropName{};
}

orvy_Propref orvy_getPropref(void *Obj, const char *PropName) {
  if (!Obj || !PropName)
    return {};
  Element El = resolve(Obj, PropName, -1);
  if (!El.Prop || !El.Prop->hasField())
    return {};
  // An array that grows is one element, whatever the count.
  size_t Count = El.Prop->Typ == ovTY_IfaceRefArray ? 1 : El.Prop->Count;
  if (static_cast<size_t>(El.Idx) >= Count)
    return {};
  void *Ptr = El.Prop->getPointer(Obj, static_cast<unsigned>(El.Idx));
  return Ptr ? orvy_Propref{El.Prop->Typ, Ptr} : orvy_Propref{};
}

orvy_Propval orvy_getValue(void *Obj, const char *PropName, int Idx) {
  return Obj && PropName ? Class::getPropertyVal(Obj, PropName, Idx) : orvy_Propval{};
}

orvy_Propval orvy_readValue(void *Obj, const char *PropName, int Idx) {
  return Obj && PropName ? Class::readPropertyVal(Obj, PropName, Idx) : orvy_Propval{};
}

void orvy_setValue(void *Obj, const char *PropName, orvy_Propval Val, int Idx) {
  if (Obj && PropName)
    Class::setPropertyVal(Obj, PropName, Val, Idx);
  else
    orvy_logError(Obj, "orvy_setValue() with null-object or property name");
}

void orvy_writeValue(void *Obj, const char *PropName, orvy_Propval Val, int Idx) {
  if (Obj && PropName)
    Class::writePropertyVal(Obj, PropName, Val, Idx);
  else
    orvy_logError(Obj, "orvy_writeValue() with null-object or property name");
}

// The accessors of one integer type on all four routes.
#define ORVY_TYPED_ACCESSORS(Suffix, CType, Member)                                                \
  CType orvy_getValue##Suffix(void *Obj, const char *PropName, int Idx) {                          \
    return ofType(ovTY_##Suffix, orvy_getValue(Obj, PropName, Idx), Obj, PropName).Member;         \
  }                                                                                                \
  CType orvy_readValue##Suffix(void *Obj, const char *PropName, int Idx) {                         \
    return ofType(ovTY_##Suffix, orvy_readValue(Obj, PropName, Idx), Obj, PropName).Member;        \
  }                                                                                                \
  void orvy_setValue##Suffix(void *Obj, const char *PropName, CType Val, int Idx) {                \
    orvy_setValue(Obj, PropName, {.Typ = ovTY_##Suffix, .Member = Val}, Idx);                      \
  }                                                                                                \
  void orvy_writeValue##Suffix(void *Obj, const char *PropName, CType Val, int Idx) {              \
    orvy_writeValue(Obj, PropName, {.Typ = ovTY_##Suffix, .Member = Val}, Idx);                    \
  }

ORVY_TYPED_ACCESSORS(U8, uint8_t, u8)
ORVY_TYPED_ACCESSORS(U16, uint16_t, u16)
ORVY_TYPED_ACCESSORS(U32, uint32_t, u32)
ORVY_TYPED_ACCESSORS(U64, uint64_t, u64)
ORVY_TYPED_ACCESSORS(I8, int8_t, i8)
ORVY_TYPED_ACCESSORS(I16, int16_t, i16)
ORVY_TYPED_ACCESSORS(I32, int32_t, i32)
ORVY_TYPED_ACCESSORS(I64, int64_t, i64)

orvy_Propval orvy_getNamedObjectProp(const char *ObjName, const char *PropName, int Idx) {
  return Class::getPropertyVal(ObjName, PropName, Idx);
}

orvy_Propval orvy_readNamedObjectProp(const char *ObjName, const char *PropName, int Idx) {
  return Class::readPropertyVal(ObjName, PropName, Idx);
}

void orvy_setNamedObjectProp(const char *ObjName, const char *PropName, orvy_Propval Val, int Idx) {
  Class::setPropertyVal(ObjName, PropName, Val, Idx);
}

void orvy_writeNamedObjectProp(const char *ObjName, const char *PropName, orvy_Propval Val,
                               int Idx) {
  Class::writePropertyVal(ObjName, PropName, Val, Idx);
}
