#include "ComponentModel.h"
#include "InternalError.h"
#include "ObjsysClass.h"
#include "ObjsysValue.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Propval.h"

#include <algorithm>
#include <string>

using namespace orvy::objsys;

namespace {

orvy_Propval referenceValue(orvy_IfaceRef Ref) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_IfaceRef;
  Pv.IfaceRef = Ref;
  return Pv;
}

// One call of orvy_connect, after its arguments were found not to be null.
struct Connection {
  void *A;
  const char *PropName;
  void *B;
  const char *IfaceName;
  orvy_IfaceRef Target;
  std::string Base; ///< the property's name without its bracket part

  bool hasIndex() const { return Base.size() != std::string_view(PropName).size(); }

  int run();
  int appendToVector();
  int appendToArray();
  int storeReference();
  int findFreeElement() const;
  int connectBack(const IfaceInstance &SourceIface, int Idx, const Property &TargetProp,
                  int TargetIdx);
};

int Connection::run() {
  orvy_Type Typ = orvy_getPropType(A, Base.c_str());
  // A delegate may outlive its object.
  if (!Class::classForObject(Target.Obj) || !Target.Iface)
    return -1;
  switch (Typ) {
  case ovTY_Vector:
    return appendToVector();
  case ovTY_IfaceRefArray:
    return appendToArray();
  case ovTY_IfaceRef:
    return storeReference();
  default:
    return -1;
  }
}

int Connection::appendToVector() {
  orvy_Propval Pv = orvy_getValue(A, PropName, 0);
  if (Pv.Typ != ovTY_Vector || Pv.Vector.Typ != ovTY_IfaceRef)
    return -1;
  orvy_vecPush(&Pv.Vector, referenceValue(Target));
  return 0;
}

int Connection::appendToArray() {
  orvy_Propref Array = orvy_getPropref(A, PropName);
  if (!Array.Ptr)
    return -1;
  orvy_ifaceRefArrayPush(static_cast<orvy_IfaceRefArray *>(Array.Ptr), Target);
  return 0;
}

// The first element without an object; -1 if all are taken.
int Connection::findFreeElement() const {
  int Count = orvy_getPropLength(A, Base.c_str());
  for (int Idx = 0; Idx < Count; ++Idx)
    if (!orvy_getValue(A, Base.c_str(), Idx).IfaceRef.Obj)
      return Idx;
  return -1;
}

int Connection::storeReference() {
  const IfaceInstance *SourceIface = Class::classForObject(A)->getPortIface(PropName);
  const Property *TargetProp = Class::classForObject(B)->getPortProp(IfaceName);
  int Idx = getIndex(PropName, 0);
  int TargetIdx = getIndex(IfaceName, 0);
  if (!hasIndex()) {
    Idx = findFreeElement();
    if (Idx < 0) {
      orvy_logError(A, "property array is full");
      return -1;
    }
  }
  // A negative index would be taken for none.
  if (Idx < 0 || Idx >= orvy_getPropLength(A, Base.c_str()))
    return -1;
  orvy_writeValue(A, Base.c_str(), referenceValue(Target), Idx);
  return SourceIface && TargetProp ? connectBack(*SourceIface, Idx, *TargetProp, TargetIdx) : 0;
}

int Connection::connectBack(const IfaceInstance &SourceIface, int Idx, const Property &TargetProp,
                            int TargetIdx) {
  void *Table = SourceIface.at(Idx);
  bool IsFree = static_cast<size_t>(TargetIdx) < TargetProp.Count &&
                !TargetProp.getValue(B, static_cast<unsigned>(TargetIdx)).IfaceRef.Obj;
  if (!Table || !IsFree) {
    orvy_logError(A, "property '%s' is full, cannot add more connections", Base.c_str());
    return -1;
  }
  orvy_writeValue(B, TargetProp.Name.c_str(), referenceValue({A, Table}), TargetIdx);
  return 0;
}

bool isTimeSource(const void *Obj) {
  const Class *Cls = Class::classForObject(Obj);
  return Cls && (Cls->Qualifier == QualifierCpu || Cls->Qualifier == QualifierMachine ||
                 Cls->Qualifier == QualifierClock);
}

} // namespace

int orvy_connect(void *A, const char *PropName, void *B, const char *IfaceName) {
  if (!A || !PropName) {
    orvy_logError(nullptr, "orvy_connect: A/PropName is null");
    return -1;
  }
  if (!B || !IfaceName) {
    orvy_logError(nullptr, "orvy_connect: B/IfaceName is null");
    return -1;
  }
  // On a component a delegate is the only meaning of a name.
  orvy_PropName Source = {A, PropName};
  if (orvy_Component *C = orvy::component::find(A))
    Source = orvy_componentGetDelegateProp(C, PropName);
  if (!Source.Obj)
    return -1;
  orvy_Component *To = orvy::component::find(B);
  orvy_IfaceRef Target = To ? orvy_componentGetDelegateIface(To, IfaceName)
                            : orvy_IfaceRef{B, orvy_getInterface(B, IfaceName, -1)};
  return Connection{Source.Obj, Source.Name, B,
                    IfaceName,  Target,      std::string(baseName(Source.Name))}
      .run();
}

void orvy_setTimeSource(void *Obj, void *TS) {
  const Class *Cls = Class::classForObject(Obj);
  ORVY_REQUIRE(Cls && !Cls->External && isTimeSource(TS));
  static_cast<orvy_Object *>(Obj)->TimeSource = TS;
  const IfaceInstance *Found = Cls->getInterface("ObjectIface");
  const auto *Iface = Found ? static_cast<const ObjectIface *>(Found->at(0)) : nullptr;
  if (Iface && Iface->timeSourceSet)
    Iface->timeSourceSet(Obj);
}

orvy_IfaceRefArray orvy_ifaceRefArrayAlloc(unsigned Capacity) {
  unsigned Reserved = std::max(Capacity, 4u);
  return {0, Reserved, new orvy_IfaceRef[Reserved]()};
}

void orvy_ifaceRefArrayDispose(orvy_IfaceRefArray *Arr) {
  delete[] Arr->Ifaces;
  *Arr = {};
}

void orvy_ifaceRefArrayPush(orvy_IfaceRefArray *Arr, orvy_IfaceRef Ref) {
  if (Arr->Size >= Arr->Reserved) {
    orvy_IfaceRefArray Grown = orvy_ifaceRefArrayAlloc(Arr->Reserved * 2);
    Grown.Size = Arr->Size;
    std::copy_n(Arr->Ifaces, Arr->Size, Grown.Ifaces);
    orvy_ifaceRefArrayDispose(Arr);
    *Arr = Grown;
  }
  Arr->Ifaces[Arr->Size++] = Ref;
}

void orvy_ifaceRefArrayPush2(orvy_IfaceRefArray *Arr, orvy_IfaceRef Ref) {
  orvy_ifaceRefArrayPush(Arr, Ref);
}

unsigned orvy_ifaceRefArraySize(const orvy_IfaceRefArray *Arr) {
  return Arr->Size;
}

orvy_IfaceRef orvy_ifaceRefArrayGet(const orvy_IfaceRefArray *Arr, unsigned Idx) {
  ORVY_REQUIRE(Idx < Arr->Size);
  return Arr->Ifaces[Idx];
}
