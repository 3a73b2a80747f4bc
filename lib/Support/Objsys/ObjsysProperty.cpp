#include "Objsys/ObjsysProperty.h"

#include "Base/InternalError.h"
#include "Objsys/ComponentModel.h"
#include "Objsys/NameGrammar.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Propval.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>

using namespace orvy::objsys;

namespace {

// Fields may be unaligned in packed models, so their bytes are copied. A copy of a fixed size is
// one move, where a copy of a variable size is a call.
void copyElement(void *To, const void *From, size_t Size) {
  switch (Size) {
  case 1:
    std::memcpy(To, From, 1);
    break;
  case 2:
    std::memcpy(To, From, 2);
    break;
  case 4:
    std::memcpy(To, From, 4);
    break;
  case 8:
    std::memcpy(To, From, 8);
    break;
  default:
    std::memcpy(To, From, Size);
  }
}

// All members of the union begin at the same byte, and each is as wide as its element in an object.
orvy_Propval makeValue(orvy_Type Typ, const void *Element) {
  orvy_Propval Pv = {};
  Pv.Typ = Typ;
  copyElement(&Pv.u64, Element, typeToSize(Typ));
  return Pv;
}

template <typename T> T load(const void *Element) {
  T Value;
  std::memcpy(&Value, Element, sizeof(T)); // NOLINT(bugprone-sizeof-expression): or a pointer
  return Value;
}

template <typename T> void replace(void *Element, const T &Value) {
  std::memcpy(Element, &Value, sizeof(T)); // NOLINT(bugprone-sizeof-expression): or a pointer
}

void storeString(void *Element, const char *Text) {
  char *Copy = Text ? strdup(Text) : nullptr;
  if (Text && !Copy)
    throw std::bad_alloc();
  // Copied first: the new text may be a view of the old one.
  std::free(load<char *>(Element));
  replace(Element, Copy);
}

// In the stores below a container that is stored over itself is the view that the get route handed
// out: there is nothing to dispose then.

void storeBuffer(void *Element, const orvy_Buff &New) {
  auto Old = load<orvy_Buff>(Element);
  if (Old.Block != New.Block || (Old.Block && Old.Block->RefCount > 1))
    orvy_buffDispose(&Old);
  replace(Element, New);
}

void storeDict(void *Element, orvy_Dict *New) {
  auto *Old = load<orvy_Dict *>(Element);
  if (Old != New)
    orvy_dictDispose(Old);
  replace(Element, New);
}

void storeList(void *Element, const orvy_List &New) {
  auto Old = load<orvy_List>(Element);
  if (Old.Head != New.Head)
    orvy_listDispose(&Old);
  replace(Element, New);
}

void storeVector(void *Element, const orvy_Propval &Pv) {
  auto Old = load<orvy_Vector>(Element);
  if (Pv.Typ == ovTY_Vector) {
    if (Old.VecData && Old.VecData != Pv.Vector.VecData)
      orvy_vecDispose(&Old);
    replace(Element, Pv.Vector);
  } else if (Pv.Typ == Old.Typ && !(Pv.Typ == ovTY_String && !Pv.String)) {
    orvy_vecPush(&Old, Pv);
  }
}

} // namespace

Property::Property(std::string Name, int Offset, orvy_Type Typ, int Count, std::string Doc)
    : Name(std::move(Name)), Offset(Offset), Typ(Typ), Count(std::max(Count, 0)),
      Doc(std::move(Doc)) {}

orvy_Propval Property::getValue(const void *Obj, unsigned Idx) const {
  if (Getter)
    return Getter(const_cast<void *>(Obj), static_cast<int>(Idx));
  return hasField() ? getValueUnsafe(Obj, Idx) : orvy_Propval{};
}

orvy_Propval Property::getValueUnsafe(const void *Obj, unsigned Idx) const {
  size_t Size = typeToSize(Typ);
  if (Size == 0 || Idx >= getLength(Obj))
    return {};
  const char *First = static_cast<const char *>(Obj) + Offset;
  if (Typ == ovTY_IfaceRefArray)
    return makeValue(ovTY_IfaceRef, load<orvy_IfaceRefArray>(First).Ifaces + Idx);
  return makeValue(Typ, First + Idx * Size);
}

size_t Property::getLength(const void *Obj) const {
  if (Typ != ovTY_IfaceRefArray || !hasField())
    return Count;
  return load<orvy_IfaceRefArray>(static_cast<const char *>(Obj) + Offset).Size;
}

orvy_Propval Property::readValue(void *Obj, int Idx) const {
  return Reader ? Reader(Obj, Idx) : getValue(Obj, static_cast<unsigned>(Idx));
}

bool Property::admits(void *Obj, const orvy_Propval &Pv) const {
  if (!RequiresInterface)
    return true;
  orvy_Vector Vec = Pv.Typ == ovTY_Vector ? Pv.Vector : orvy_Vector{};
  std::span<const orvy_IfaceRef> Offered = orvy::component::referencesIn(Vec);
  if (Pv.Typ == ovTY_IfaceRef)
    Offered = {&Pv.IfaceRef, 1};
  for (const orvy_IfaceRef &Ref : Offered) {
    const std::string Fault = Ref.Obj ? faultOf(Ref) : std::string();
    if (Fault.empty())
      continue;
    orvy_logError(Obj, "%s", Fault.c_str());
    if (Vec.VecData && hasField() && !holdsVector(Obj, Vec))
      orvy_vecDispose(&Vec);
    return false;
  }
  return true;
}

bool Property::holdsVector(const void *Obj, const orvy_Vector &Vec) const {
  for (size_t Idx = 0; Idx < Count; ++Idx)
    if (getValueUnsafe(Obj, static_cast<unsigned>(Idx)).Vector.VecData == Vec.VecData)
      return true;
  return false;
}

void Property::setValue(void *Obj, orvy_Propval Pv, int Idx) const {
  if (!admits(Obj, Pv))
    return;
  if (Setter)
    Setter(Obj, Pv, Idx);
  else if (hasField())
    store(Obj, Pv, static_cast<unsigned>(Idx));
}

void Property::writeValue(void *Obj, orvy_Propval Pv, int Idx) const {
  if (!Writer)
    setValue(Obj, Pv, Idx);
  else if (admits(Obj, Pv))
    Writer(Obj, Pv, Idx);
}

void Property::store(void *Obj, const orvy_Propval &Pv, unsigned Idx) const {
  char *First = static_cast<char *>(Obj) + Offset;
  if (Typ == ovTY_IfaceRefArray) {
    // An array grows, whatever the index.
    auto Array = load<orvy_IfaceRefArray>(First);
    orvy_ifaceRefArrayPush(&Array, Pv.IfaceRef);
    return replace(First, Array);
  }
  if (Idx >= Count)
    return;
  void *Element = First + Idx * typeToSize(Typ);
  switch (Typ) {
  case ovTY_Invalid:
  case ovTY_InternalPtr:
  case ovTY_IfaceRefArray:
    return;
  case ovTY_IfaceRef:
    return storeReference(Obj, Element, Pv);
  case ovTY_Vector:
    return storeVector(Element, Pv);
  case ovTY_String:
  case ovTY_Buffer:
  case ovTY_Dict:
  case ovTY_List:
    return storeOwned(Element, Pv);
  default:
    copyElement(Element, &Pv.u64, typeToSize(Typ));
  }
}

void Property::storeOwned(void *Element, const orvy_Propval &Pv) const {
  // The object will release the value by its type.
  if (Pv.Typ != Typ)
    return;
  if (Typ == ovTY_String)
    storeString(Element, Pv.String);
  else if (Typ == ovTY_Buffer)
    storeBuffer(Element, Pv.Buffer);
  else if (Typ == ovTY_Dict)
    storeDict(Element, Pv.Dict);
  else
    storeList(Element, Pv.List);
}

void Property::storeReference(void *Obj, void *Element, const orvy_Propval &Pv) const {
  if (std::string Fault = faultOf(Pv.IfaceRef); !Fault.empty())
    orvy_logError(Obj, "%s", Fault.c_str());
  else
    replace(Element, Pv.IfaceRef);
}

void *Property::getPointer(void *Obj, unsigned Idx) const {
  if (Offset == 0)
    return nullptr;
  return static_cast<char *>(Obj) + Offset + Idx * typeToSize(Typ);
}

const void *Property::getPointer(const void *Obj, unsigned Idx) const {
  return getPointer(const_cast<void *>(Obj), Idx);
}

void Property::requireInterface(const char *IfaceType) {
  RequiresInterface = true;
  RequiredInterfaceType = IfaceType;
}

bool Property::objectConformsToInterfaces(void *Obj) const {
  const Class *Cls = Class::classForObject(Obj);
  return Cls && (!RequiresInterface || Cls->hasInterfaceOfType(RequiredInterfaceType));
}

std::string Property::faultOf(orvy_IfaceRef Ref) const {
  const Class *Offered = Class::classForObject(Ref.Obj);
  if (!objectConformsToInterfaces(Ref.Obj))
    return "property '" + Name + "' requires interface not implemented in '" +
           (Offered ? Offered->Name : "<null>") + "'";
  if (!RequiresInterface)
    return {};
  // The type of a table that the class does not publish is not known.
  const IfaceInstance *Iface = Offered->interfaceHolding(Ref.Iface, RequiredInterfaceType);
  if (!Iface || Iface->Type->Name == RequiredInterfaceType)
    return {};
  return "property '" + Name + "' requires an interface of type '" + RequiredInterfaceType +
         "', '" + Iface->Name + "' of '" + Offered->Name + "' has the type '" + Iface->Type->Name +
         "'";
}

Property &Class::insertProperty(std::unique_ptr<Property> Added) {
  if (!isValidName(Added->Name.c_str(), '.'))
    orvy_logWarning(nullptr,
                    "adding property with invalid name '%s', note that this will be an error in "
                    "future releases",
                    Added->Name.c_str());
  std::unique_ptr<Property> &Slot = Properties[Added->Name];
  if (Slot)
    forget(*Slot);
  Slot = std::move(Added);
  return *Slot;
}

void Class::forget(const Property &Replaced) {
  if (Replaced.isRegister())
    for (auto &[Name, Bank] : RegisterBanks)
      std::erase(Bank->Registers, &Replaced);
  for (uint64_t Number : std::vector(Replaced.InPorts))
    removePort(Number);
}

Property &Class::addProperty(const char *PropName, int Offset, orvy_Type Typ, int Count,
                             orvy_PropWriter Writer, orvy_PropReader Reader, const char *Doc) {
  auto Added = std::make_unique<Property>(PropName, Offset, Typ, Count, orEmpty(Doc));
  Added->Writer = Writer;
  Added->Reader = Reader;
  return insertProperty(std::move(Added));
}

Property &Class::addProperty(std::unique_ptr<Property> Added) {
  return insertProperty(std::move(Added));
}

Property &Class::addPseudoProperty(const char *PropName, orvy_Type Typ, int Count,
                                   orvy_PropWriter Writer, orvy_PropReader Reader,
                                   orvy_PropWriter Setter, orvy_PropReader Getter,
                                   const char *Doc) {
  Property &Added = addProperty(PropName, -1, Typ, Count, Writer, Reader, Doc);
  Added.Setter = Setter;
  Added.Getter = Getter;
  return Added;
}

Property *Class::getProperty(std::string_view PropName) const {
  auto Found = Properties.find(PropName);
  return Found == Properties.end() ? nullptr : Found->second.get();
}

void orvy_addProperty(orvy_Class *Cls, const char *PropName, int Offset, orvy_Type Typ, int Count,
                      orvy_PropWriter Writer, orvy_PropReader Reader, const char *Doc) {
  if (!Cls)
    return;
  ORVY_REQUIRE(PropName);
  fromHandle(Cls)->addProperty(PropName, Offset, Typ, Count, Writer, Reader, Doc);
}

void orvy_addPseudoProperty(orvy_Class *Cls, const char *PropName, orvy_Type Typ, int Count,
                            orvy_PropWriter Writer, orvy_PropReader Reader, orvy_PropWriter Setter,
                            orvy_PropReader Getter, const char *Doc) {
  if (!Cls)
    return;
  ORVY_REQUIRE(PropName);
  fromHandle(Cls)->addPseudoProperty(PropName, Typ, Count, Writer, Reader, Setter, Getter, Doc);
}

void orvy_requireInterface(orvy_Class *Cls, const char *PropName, const char *IfaceType) {
  if (!Cls)
    return;
  ORVY_REQUIRE(PropName && IfaceType);
  if (Property *Prop = fromHandle(Cls)->getProperty(PropName))
    Prop->requireInterface(IfaceType);
}

unsigned orvy_propInfoForClass(orvy_Class *Cls, unsigned Start, unsigned Max, orvy_PropInfo *Out) {
  if (!Cls)
    return 0;
  Class &Of = *fromHandle(Cls);
  const auto &Rows = Of.PropertyPages.of(Of.Properties);
  return copyPage(Rows, Start, Max, Out, [](const auto *Entry) {
    const Property &Prop = *Entry->second;
    return orvy_PropInfo{Prop.Name.c_str(), Prop.Typ, Prop.Count, Prop.Offset};
  });
}
