#include "Base/InternalError.h"
#include "Objsys/ComponentModel.h"
#include "Objsys/NameGrammar.h"
#include "Objsys/ObjectKinds.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Propval.h"

#include <algorithm>
#include <exception>
#include <string>

using namespace orvy::objsys;

namespace {

orvy_Propval referenceValue(orvy_IfaceRef Ref) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_IfaceRef;
  Pv.IfaceRef = Ref;
  return Pv;
}

// One connection to be made. It holds names and addresses only, and looks them up at each
// use: hooks of the properties may dispose of the objects or forget the classes.
struct Connection {
  void *A;
  std::string PropName;
  void *B;
  std::string IfaceName;
  orvy_IfaceRef Target;
  std::string Base; ///< the property's name without its bracket part

  Connection(void *From, const char *PropName, void *To, const char *IfaceName);

  int run();
  std::string fault();

private:
  bool hasIndex() const { return Base.size() != PropName.size(); }
  const Property *source() const;
  const IfaceInstance *sourcePort() const;
  const Property *targetPort() const;
  bool rejects() const;
  int appendToVector();
  int appendToArray();
  int storeReference();
  int findFreeElement() const;
  int chooseElement() const;
  bool canConnectBack(int Idx) const;
  int connectBack(int Idx);
  const char *faultOfKind() const;
  std::string faultOfElement() const;
};

Connection::Connection(void *From, const char *PropName, void *To, const char *IfaceName)
    : A(From), PropName(PropName), B(To), IfaceName(IfaceName) {
  // On a component a delegate is the only meaning of a name.
  if (orvy_Component *C = orvy::component::find(From)) {
    const orvy_PropName Delegate = orvy_componentGetDelegateProp(C, PropName);
    A = Delegate.Obj;
    this->PropName = orEmpty(Delegate.Name);
  }
  orvy_Component *C = orvy::component::find(To);
  Target = C ? orvy_componentGetDelegateIface(C, IfaceName)
             : orvy_IfaceRef{To, orvy_getInterface(To, IfaceName, -1)};
  // A delegate may outlive its object.
  if (!Class::classForObject(Target.Obj) || !Target.Iface)
    Target = {};
  Base = baseName(this->PropName);
}

const Property *Connection::source() const {
  const Class *Cls = Class::classForObject(A);
  return Cls ? Cls->getProperty(Base) : nullptr;
}

const IfaceInstance *Connection::sourcePort() const {
  const Class *Cls = Class::classForObject(A);
  return Cls ? Cls->getPortIface(PropName) : nullptr;
}

const Property *Connection::targetPort() const {
  const Class *Cls = Class::classForObject(B);
  return Cls ? Cls->getPortProp(IfaceName) : nullptr;
}

int Connection::run() {
  const Property *Prop = source();
  if (!Prop || !Target.Obj)
    return -1;
  switch (Prop->Typ) {
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

// Whether a vector or array rejects the target, with an error. Single references are checked when
// they are stored.
bool Connection::rejects() const {
  const Property *Prop = source();
  const std::string Fault = Prop ? Prop->faultOf(Target) : std::string();
  if (!Fault.empty())
    orvy_logError(A, "%s", Fault.c_str());
  return !Prop || !Fault.empty();
}

int Connection::appendToVector() {
  orvy_Propval Pv = orvy_getValue(A, PropName.c_str(), 0);
  if (Pv.Typ != ovTY_Vector || Pv.Vector.Typ != ovTY_IfaceRef || rejects())
    return -1;
  orvy_vecPush(&Pv.Vector, referenceValue(Target));
  return 0;
}

int Connection::appendToArray() {
  orvy_Propref Array = orvy_getPropref(A, PropName.c_str());
  if (!Array.Ptr || rejects())
    return -1;
  orvy_ifaceRefArrayPush(static_cast<orvy_IfaceRefArray *>(Array.Ptr), Target);
  return 0;
}

// The first element without an object; -1 if all are taken.
int Connection::findFreeElement() const {
  const Property *Prop = source();
  for (size_t Idx = 0; Prop && Idx < Prop->Count; ++Idx) {
    const bool HasGetter = Prop->Getter != nullptr;
    if (!Prop->getValue(A, static_cast<unsigned>(Idx)).IfaceRef.Obj)
      return static_cast<int>(Idx);
    if (HasGetter)
      Prop = source();
  }
  return -1;
}

// The element that takes the reference; negative if there is none.
int Connection::chooseElement() const {
  if (!hasIndex())
    return findFreeElement();
  // A negative index would mean no index.
  int Idx = getIndex(PropName.c_str(), 0);
  return Idx < orvy_getPropLength(A, Base.c_str()) ? Idx : -1;
}

int Connection::storeReference() {
  const int Idx = chooseElement();
  if (Idx < 0) {
    if (!hasIndex())
      orvy_logError(A, "property array is full");
    return -1;
  }
  orvy_writeValue(A, Base.c_str(), referenceValue(Target), Idx);
  if (!Class::classForObject(A) || !Class::classForObject(Target.Obj)) {
    orvy_logError(nullptr, "an object was disposed of while its property '%s' was connected",
                  Base.c_str());
    return -1;
  }
  return sourcePort() && targetPort() ? connectBack(Idx) : 0;
}

// Whether the reverse connection can be made: it needs a table and a free element.
bool Connection::canConnectBack(int Idx) const {
  const int TargetIdx = getIndex(IfaceName.c_str(), 0);
  const Property *Prop = targetPort();
  return sourcePort()->at(Idx) && static_cast<size_t>(TargetIdx) < Prop->Count &&
         !Prop->getValue(B, static_cast<unsigned>(TargetIdx)).IfaceRef.Obj;
}

int Connection::connectBack(int Idx) {
  const bool IsFree = canConnectBack(Idx);
  // Looked up only now: a Getter was called.
  const IfaceInstance *Port = sourcePort();
  const Property *Prop = targetPort();
  if (!IsFree || !Port || !Prop) {
    orvy_logError(A, "property '%s' is full, cannot add more connections", Base.c_str());
    return -1;
  }
  const std::string Name = Prop->Name;
  orvy_writeValue(B, Name.c_str(), referenceValue({A, Port->at(Idx)}),
                  getIndex(IfaceName.c_str(), 0));
  return 0;
}

// Why the property cannot take references in this way; null if it can.
const char *Connection::faultOfKind() const {
  switch (source()->Typ) {
  case ovTY_IfaceRef:
    return nullptr;
  case ovTY_IfaceRefArray:
    return orvy_getPropref(A, PropName.c_str()).Ptr ? nullptr : "has no such element";
  case ovTY_Vector: {
    const orvy_Propval Pv = orvy_getValue(A, PropName.c_str(), 0);
    const bool Fits = Pv.Typ == ovTY_Vector && Pv.Vector.Typ == ovTY_IfaceRef;
    return Fits ? nullptr : "is not a vector of interface references, or has an index";
  }
  default:
    return "is not an interface reference";
  }
}

// Why a single reference cannot be stored; empty if it can.
std::string Connection::faultOfElement() const {
  const int Idx = chooseElement();
  if (Idx < 0)
    return hasIndex() ? "has no such element"
                      : "has no free element; an index, as in '" + Base + "[0]', replaces one";
  if (sourcePort() && targetPort() && !canConnectBack(Idx))
    return "cannot be connected back: the port of '" + IfaceName + "' is taken";
  return {};
}

// Why the connection cannot be made, as a sentence; empty if it can.
std::string Connection::fault() {
  const Property *Prop = source();
  if (!Prop)
    return PropName.empty() ? "there is no property of that name" // nor one that a component lends
                            : "there is no property '" + PropName + "'";
  if (!Target.Obj)
    return "there is no interface '" + IfaceName + "'";
  if (std::string Fault = Prop->faultOf(Target); !Fault.empty())
    return Fault;
  const bool IsSingle = Prop->Typ == ovTY_IfaceRef;
  const std::string Fault = IsSingle ? faultOfElement() : orEmpty(faultOfKind());
  return Fault.empty() ? "" : "property '" + PropName + "' " + Fault;
}

bool isTimeSource(const void *Obj) {
  const Class *Cls = Class::classForObject(Obj);
  return Cls && (Cls->Qualifier == orvy::Kind::Processor || Cls->Qualifier == orvy::Kind::Machine ||
                 Cls->Qualifier == orvy::Kind::Clock);
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
  return Connection(A, PropName, B, IfaceName).run();
}

const char *orvy_connectionFault(void *A, const char *PropName, void *B, const char *IfaceName) {
  thread_local std::string Text;
  if (!Class::classForObject(A) || !Class::classForObject(B) || !PropName || !IfaceName)
    return "an object or a name is missing";
  try {
    Text = Connection(A, PropName, B, IfaceName).fault();
  } catch (const std::exception &) {
    Text = "an index is not a number in '" + std::string(PropName) + "' or '" + IfaceName + "'";
  }
  return Text.empty() ? nullptr : Text.c_str();
}

void orvy_setTimeSource(void *Obj, void *TS) {
  const Class *Cls = Class::classForObject(Obj);
  if (!Cls || Cls->External)
    orvy::wrongObject(Obj, "cannot have a time source");
  if (!isTimeSource(TS))
    orvy::wrongObject(TS, "cannot be a time source: it is not a processor, machine or clock");
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
