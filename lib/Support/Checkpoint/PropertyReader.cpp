// Sets properties from their nodes. All elements are read before the first is set, so that a
// property that cannot be restored keeps its value.

#include "Checkpoint/NodeParts.h"
#include "Objsys/ObjsysClass.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Objsys.h"

#include <algorithm>
#include <vector>

using namespace orvy::objsys;

namespace orvy::checkpoint {

namespace {

/// Clamps a number of elements to what the property has room for, and logs if some do not fit.
size_t fitting(const Property &Prop, void *Obj, size_t Count) {
  if (Count <= Prop.Count)
    return Count;
  orvy_logError(Obj, "property '%s' has %zu elements, the checkpoint has %zu", Prop.Name.c_str(),
                Prop.Count, Count);
  return Prop.Count;
}

void set(const Property &Prop, void *Obj, const orvy_Propval &Pv, size_t Idx) {
  Prop.setValue(Obj, Pv, static_cast<int>(Idx));
}

void setNumbers(const Property &Prop, void *Obj, const Entries &Data) {
  size_t Count = elementCount(Data, Prop.Typ);
  for (size_t Idx = 0; Idx < Count; ++Idx)
    numberAt(Data, Prop.Typ, Idx);
  Count = fitting(Prop, Obj, Count);
  for (size_t Idx = 0; Idx < Count; ++Idx)
    set(Prop, Obj, numberAt(Data, Prop.Typ, Idx), Idx);
}

void setObjects(const Property &Prop, void *Obj, const Entries &Data) {
  for (size_t Idx = 0; Idx < Data.size(); ++Idx)
    Data.textAt(Idx);
  size_t Count = fitting(Prop, Obj, Data.size());
  for (size_t Idx = 0; Idx < Count; ++Idx) {
    bool Known;
    orvy_Propval Pv = {};
    Pv.Typ = ovTY_Obj;
    Pv.Obj = objectAt(Data, Idx, &Known);
    if (!Known)
      orvy_logError(Obj, "property '%s' refers to the object '%s', which does not exist",
                    Prop.Name.c_str(), Data.textAt(Idx).c_str());
    set(Prop, Obj, Pv, Idx);
  }
}

void setStrings(const Property &Prop, void *Obj, const Entries &Data) {
  for (size_t Idx = 0; Idx < Data.size(); ++Idx)
    textAt(Data, Idx);
  size_t Count = fitting(Prop, Obj, Data.size());
  for (size_t Idx = 0; Idx < Count; ++Idx) {
    orvy_Propval Pv = {};
    Pv.Typ = ovTY_String;
    Pv.String = textAt(Data, Idx);
    if (std::strcmp(Pv.String, NullString) != 0)
      set(Prop, Obj, Pv, Idx);
  }
}

/// A reference to an existing table of the interface type that the property requires.
orvy_IfaceRef fittingIface(const Property &Prop, const Entries &Data, size_t Idx) {
  orvy_IfaceRef Ref = ifaceAt(Data, Idx);
  const auto &Name = Data.at(Idx).at("iface").get_ref<const std::string &>();
  const IfaceInstance *Iface = Class::classForObject(Ref.Obj)->getInterface(Name);
  if (!Ref.Iface)
    throw Unfit("it refers to the interface '" + Name + "', which does not exist");
  if (Prop.RequiresInterface && Iface->Type->Name != Prop.RequiredInterfaceType)
    throw Unfit("it refers to the interface '" + Name + "', which is of another type");
  return Ref;
}

void setIfaces(const Property &Prop, void *Obj, const Entries &Data) {
  std::vector<orvy_Propval> Values(Data.size());
  for (size_t Idx = 0; Idx < Data.size(); ++Idx) {
    Values[Idx].Typ = ovTY_IfaceRef;
    Values[Idx].IfaceRef = fittingIface(Prop, Data, Idx);
  }
  if (Prop.Typ == ovTY_IfaceRef) {
    size_t Count = fitting(Prop, Obj, Data.size());
    for (size_t Idx = 0; Idx < Count; ++Idx)
      set(Prop, Obj, Values[Idx], Idx);
    return;
  }
  orvy_Propref Array = orvy_getPropref(Obj, Prop.Name.c_str());
  if (!Array.Ptr && !Values.empty())
    throw Unfit("it has no array to add to");
  for (const orvy_Propval &Pv : Values)
    orvy_ifaceRefArrayPush(static_cast<orvy_IfaceRefArray *>(Array.Ptr), Pv.IfaceRef);
}

/// Whether a container replaces the present one; a container that was never created does not.
/// Throws if the element types differ, as the object's code relies on the type.
bool replaces(const orvy_Propval &New, const orvy_Propval &Old) {
  auto Check = [](orvy_Type NewTyp, orvy_Type OldTyp) {
    if (NewTyp != ovTY_Invalid && OldTyp != ovTY_Invalid && NewTyp != OldTyp)
      throw Unfit("it holds elements of another type");
    return NewTyp != ovTY_Invalid;
  };
  if (New.Typ == ovTY_Vector)
    return Check(New.Vector.Typ, Old.Typ == ovTY_Vector ? Old.Vector.Typ : ovTY_Invalid);
  if (New.Typ == ovTY_List)
    return Check(New.List.Typ, Old.Typ == ovTY_List ? Old.List.Typ : ovTY_Invalid);
  bool IsMissing = New.Typ == ovTY_Dict && !(Old.Typ == ovTY_Dict && Old.Dict);
  return !IsMissing || orvy_dictGetNextKey(New.Dict, nullptr);
}

void setContainers(const Property &Prop, void *Obj, const Entries &Data) {
  std::vector<Owned> Values;
  // The bytes of a buffer may be packed; the array of buffers never is.
  for (size_t Idx = 0; Idx < Data.size(); ++Idx)
    Values.push_back(readContainer(Prop.Typ, Data.at(Idx)));
  size_t Count = std::min(Values.size(), Prop.Count);
  std::vector<bool> Replaces;
  for (size_t Idx = 0; Idx < Count; ++Idx)
    Replaces.push_back(replaces(Values[Idx].get(), Prop.getValue(Obj, static_cast<unsigned>(Idx))));
  fitting(Prop, Obj, Values.size());
  for (size_t Idx = 0; Idx < Count; ++Idx)
    if (Replaces[Idx] && (Prop.hasField() || Prop.Setter))
      set(Prop, Obj, Values[Idx].take(), Idx);
}

} // namespace

void restoreProperty(const Property &Prop, void *Obj, const Json &Node) {
  orvy_Type Typ = stringToTypeId(Node.at("type").get_ref<const std::string &>());
  if (Typ != Prop.Typ)
    throw Unfit(std::string("it is of the type ") + orEmpty(typeIdToString(Prop.Typ)) +
                ", in the checkpoint it is of the type " + orEmpty(typeIdToString(Typ)));
  Entries Data(Node.at("data"));
  if (isNumber(Typ))
    setNumbers(Prop, Obj, Data);
  else if (Typ == ovTY_Obj)
    setObjects(Prop, Obj, Data);
  else if (Typ == ovTY_String)
    setStrings(Prop, Obj, Data);
  else if (isNested(Typ))
    setContainers(Prop, Obj, Data);
  else
    setIfaces(Prop, Obj, Data);
}

} // namespace orvy::checkpoint
