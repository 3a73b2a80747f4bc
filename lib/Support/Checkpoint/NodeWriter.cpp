#include "Checkpoint/NodeParts.h"
#include "Objsys/ObjsysClass.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Objsys.h"

#include <cmath>
#include <utility>

using namespace orvy::objsys;

namespace orvy::checkpoint {

namespace {

const char *nameOfObject(const void *Obj) {
  if (!Obj)
    return NullObject;
  if (const char *Name = Class::nameForObject(Obj))
    return Name;
  throw Unfit("it refers to an object without a name");
}

/// The name under which the object's class publishes the table, with an index if it is an array.
std::string nameOfIface(const orvy_IfaceRef &Ref) {
  const Class *Cls = Class::classForObject(Ref.Obj);
  if (const IfaceInstance *First = Cls->interfaceForPointer(Ref.Iface))
    return First->Name;
  for (const auto &[Name, Iface] : Cls->Interfaces)
    for (size_t Idx = 0; Idx < Iface->Ifaces.size(); ++Idx)
      if (Iface->Ifaces[Idx] == Ref.Iface)
        return Name + "[" + std::to_string(Idx) + "]";
  throw Unfit("it refers to an interface that its object does not publish");
}

Json realEntry(double Real) {
  if (std::isnan(Real))
    return "NaN";
  if (std::isinf(Real))
    return Real > 0 ? "Infinity" : "-Infinity";
  return Real;
}

void appendPair(Json::array_t &Data, uint64_t Bits) {
  Data.emplace_back(Bits >> 32);
  Data.emplace_back(Bits & UINT32_MAX);
}

void appendNumber(Json::array_t &Data, const orvy_Propval &Pv) {
  if (Pv.Typ == ovTY_Float)
    Data.push_back(realEntry(static_cast<double>(Pv.f)));
  else if (Pv.Typ == ovTY_Double)
    Data.push_back(realEntry(Pv.d));
  else if (isWide(Pv.Typ))
    appendPair(Data, Pv.u64);
  else if (isSigned(Pv.Typ))
    Data.emplace_back(orvy_asInteger(Pv));
  else
    Data.emplace_back(orvy_asUnsigned(Pv));
}

/// Appends the entries of a value that is not a container.
void appendScalar(Json::array_t &Data, const orvy_Propval &Pv) {
  if (isNumber(Pv.Typ))
    appendNumber(Data, Pv);
  else if (Pv.Typ == ovTY_Obj)
    Data.emplace_back(nameOfObject(Pv.Obj));
  else if (Pv.Typ == ovTY_String)
    Data.emplace_back(Pv.String ? Pv.String : NullString);
  else if (Pv.Typ == ovTY_IfaceRef) {
    if (const char *Name = Class::nameForObject(Pv.IfaceRef.Obj))
      Data.push_back({{"obj", Name}, {"iface", nameOfIface(Pv.IfaceRef)}});
  } else {
    throw Unfit("it holds a value of a type that cannot be saved");
  }
}

Json packedNumbers(const void *Data, size_t Bytes, unsigned Width) {
  const auto *First = static_cast<const uint8_t *>(Data);
  return Json::binary(Json::binary_t::container_type(First, First + Bytes), Width);
}

/// 64-bit numbers as pairs of 32-bit numbers, high half first.
Json packedPairs(const void *Data, size_t Count) {
  Json::binary_t::container_type Bytes(Count * 8);
  const auto *From = static_cast<const uint8_t *>(Data);
  for (size_t At = 0; At < Bytes.size(); At += 8) {
    uint64_t Bits;
    std::memcpy(&Bits, From + At, 8);
    Bits = std::rotl(Bits, 32);
    std::memcpy(Bytes.data() + At, &Bits, 8);
  }
  return Json::binary(std::move(Bytes), 4);
}

bool isPackable(orvy_Type Typ, size_t Count) {
  bool IsUnsigned = isNumber(Typ) && !isReal(Typ) && (!isSigned(Typ) || isWide(Typ));
  return IsUnsigned && Count * entriesOf(Typ) >= PackedFrom;
}

Json packedArray(orvy_Type Typ, size_t Count, const void *Data) {
  auto Width = static_cast<unsigned>(typeToSize(Typ));
  return isWide(Typ) ? packedPairs(Data, Count) : packedNumbers(Data, Count * Width, Width);
}

Json bytesOf(const orvy_Buff &Buff, Form F) {
  const uint8_t *Bytes = orvy_buffReadableData(&Buff);
  if (!Bytes)
    return Json::array();
  if (F == Form::Packed && Buff.Len >= PackedFrom)
    return packedNumbers(Bytes, Buff.Len, 1);
  return Json::array_t(Bytes, Bytes + Buff.Len);
}

Json typedNode(orvy_Type Typ, Json Data) {
  return {{"type", typeIdToString(Typ)}, {"data", std::move(Data)}};
}

Json typedValue(const orvy_Propval &Pv, Form F, unsigned Level) {
  switch (Pv.Typ) {
  case ovTY_Buffer:
    return getTypedBuffNode(Pv, F);
  case ovTY_Dict:
    return getTypedDictNode(Pv, F, Level);
  case ovTY_Vector:
    return getTypedVectorNode(Pv, F, Level);
  case ovTY_List:
    return getTypedListNode(Pv, F, Level);
  default:
    return getTypedScalarNode(Pv);
  }
}

/// The value itself, or a null reference if its object has no name or does not publish the table.
orvy_Propval writable(const orvy_Propval &Pv) {
  try {
    if (Pv.Typ == ovTY_Obj)
      nameOfObject(Pv.Obj);
    else if (Pv.Typ == ovTY_IfaceRef && Class::nameForObject(Pv.IfaceRef.Obj))
      nameOfIface(Pv.IfaceRef);
    else if (Pv.Typ == ovTY_IfaceRef && Pv.IfaceRef.Obj)
      throw Unfit("it refers to an object without a name");
    return Pv;
  } catch (const Unfit &Why) {
    lose(Why.what());
    orvy_Propval Null = {};
    Null.Typ = Pv.Typ;
    return Null;
  }
}

void appendElement(Json::array_t &Data, const orvy_Propval &Pv, Form F, unsigned Level) {
  if (isNested(Pv.Typ))
    Data.push_back(typedValue(Pv, F, Level + 1));
  else
    appendScalar(Data, writable(Pv));
}

Json dictEntries(orvy_Dict *Dict, Form F, unsigned Level) {
  checkLevel(Level);
  Json Data = Json::object();
  const char *Key = Dict ? orvy_dictGetNextKey(Dict, nullptr) : nullptr;
  for (; Key; Key = orvy_dictGetNextKey(Dict, Key))
    Data[Key] = typedValue(writable(orvy_dictGetValue(Dict, Key)), F, Level + 1);
  return Data;
}

/// A container that was never created has no element type.
Json sequenceNode(orvy_Type Typ, orvy_Type ElemTyp, Json Data) {
  const char *ElemName = typeIdToString(ElemTyp);
  if (!ElemName && !Data.empty())
    throw Unfit("it holds elements of a type that cannot be saved");
  Json Node = typedNode(Typ, std::move(Data));
  Node["elemtype"] = ElemName ? ElemName : "";
  return Node;
}

/// Appends the entries of one element of a property.
void appendPropertyElement(Json::array_t &Data, const orvy_Propval &Pv, Form F) {
  if (Pv.Typ == ovTY_Buffer)
    Data.push_back(bytesOf(Pv.Buffer, F));
  else if (Pv.Typ == ovTY_Dict)
    Data.push_back(dictEntries(Pv.Dict, F, 0));
  else if (isNested(Pv.Typ))
    Data.push_back(typedValue(Pv, F, 0));
  else
    appendScalar(Data, Pv);
}

template <typename Fetch> Json plainArray(size_t Count, Form F, Fetch At) {
  Json::array_t Data;
  for (size_t Idx = 0; Idx < Count; ++Idx)
    appendPropertyElement(Data, At(Idx), F);
  return Data;
}

/// The value that the get route returns, converted to the property's type. A hook may return a
/// number of another type, and a property without a hook has no value.
orvy_Propval fetch(const Property &Prop, void *Obj, size_t Idx) {
  orvy_Type Typ = Prop.Typ == ovTY_IfaceRefArray ? ovTY_IfaceRef : Prop.Typ;
  orvy_Propval Pv = Prop.getValue(Obj, static_cast<unsigned>(Idx));
  if (Pv.Typ == Typ)
    return Pv;
  orvy_Propval Fit = {};
  Fit.Typ = Typ;
  if (!orvy_isNumber(Pv) || !isNumber(Typ))
    return Fit;
  if (Typ == ovTY_Float)
    Fit.f = static_cast<float>(orvy_asDouble(Pv));
  else if (Typ == ovTY_Double)
    Fit.d = orvy_asDouble(Pv);
  else
    Fit.i64 = orvy_asInteger(Pv); // narrowed by taking the low bytes
  return Fit;
}

} // namespace

Json getTypedScalarNode(const orvy_Propval &Pv) {
  Json::array_t Data;
  appendScalar(Data, Pv);
  if (isWide(Pv.Typ) && isSigned(Pv.Typ))
    Data[0] = Pv.i64 >> 32;
  return typedNode(Pv.Typ, std::move(Data));
}

Json getTypedBuffNode(const orvy_Propval &Pv, Form F) {
  return typedNode(ovTY_Buffer, bytesOf(Pv.Buffer, F));
}

Json getTypedDictNode(const orvy_Propval &Pv, Form F, unsigned Level) {
  return typedNode(ovTY_Dict, dictEntries(Pv.Dict, F, Level));
}

Json getTypedVectorNode(const orvy_Propval &Pv, Form F, unsigned Level) {
  checkLevel(Level);
  orvy_Vector Vec = Pv.Vector;
  Json::array_t Data;
  size_t Count = Vec.VecData ? orvy_vecGetSize(&Vec) : 0;
  const auto *Elements = Count ? static_cast<const char *>(orvy_vecGetData(&Vec)) : nullptr;
  if (F == Form::Packed && isPackable(Vec.Typ, Count))
    return sequenceNode(ovTY_Vector, Vec.Typ, packedArray(Vec.Typ, Count, Elements));
  for (size_t Idx = 0; Idx < Count; ++Idx)
    appendElement(Data, valueOf(Vec.Typ, Elements + Idx * typeToSize(Vec.Typ)), F, Level);
  return sequenceNode(ovTY_Vector, Vec.Typ, std::move(Data));
}

Json getTypedListNode(const orvy_Propval &Pv, Form F, unsigned Level) {
  checkLevel(Level);
  Json::array_t Data;
  for (const orvy_ListNode *Node = Pv.List.Head; Node; Node = Node->Next)
    appendElement(Data, Node->Val, F, Level);
  return sequenceNode(ovTY_List, Pv.List.Typ, std::move(Data));
}

Json propertyNode(const Property &Prop, void *Obj, Form F) {
  if (!typeIdToString(Prop.Typ))
    return nullptr;
  size_t Count = Prop.getLength(Obj);
  const void *Field = Prop.hasField() && !Prop.Getter ? Prop.getPointer(Obj, 0) : nullptr;
  if (F == Form::Packed && Field && isPackable(Prop.Typ, Count))
    return typedNode(Prop.Typ, packedArray(Prop.Typ, Count, Field));
  return typedNode(Prop.Typ,
                   plainArray(Count, F, [&](size_t Idx) { return fetch(Prop, Obj, Idx); }));
}

Json arrayNode(orvy_Type Typ, size_t Count, const void *Data, Form F) {
  const auto *First = static_cast<const char *>(Data);
  if (Typ == ovTY_IfaceRefArray && Count > 0) {
    orvy_IfaceRefArray Array;
    std::memcpy(&Array, Data, sizeof(Array));
    return typedNode(Typ, plainArray(Array.Size, F, [&](size_t Idx) {
                       return valueOf(ovTY_IfaceRef, Array.Ifaces + Idx);
                     }));
  }
  if (F == Form::Packed && isPackable(Typ, Count))
    return typedNode(Typ, packedArray(Typ, Count, Data));
  return typedNode(Typ, plainArray(Count, F, [&](size_t Idx) {
                     return valueOf(Typ, First + Idx * typeToSize(Typ));
                   }));
}

} // namespace orvy::checkpoint
