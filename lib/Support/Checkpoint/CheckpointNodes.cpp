#include "Checkpoint/CheckpointNodes.h"

#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/Propval.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <utility>
#include <vector>

using namespace orvy::objsys;

namespace orvy::checkpoint {

namespace {

static_assert(std::endian::native == std::endian::little, "packed numbers are copied");

constexpr std::pair<orvy_Type, const char *> Names[] = {
    {ovTY_Intptr, "intptr_t"}, {ovTY_Uintptr, "uintptr_t"}, {ovTY_Float, "float"},
    {ovTY_Double, "double"},   {ovTY_U8, "uint8_t"},        {ovTY_U16, "uint16_t"},
    {ovTY_U32, "uint32_t"},    {ovTY_U64, "uint64_t"},      {ovTY_I8, "int8_t"},
    {ovTY_I16, "int16_t"},     {ovTY_I32, "int32_t"},       {ovTY_I64, "int64_t"},
    {ovTY_Obj, "object"},      {ovTY_IfaceRef, "iface"},    {ovTY_IfaceRefArray, "ifaceDynArr"},
    {ovTY_String, "string"},   {ovTY_Buffer, "buffer"},     {ovTY_Dict, "dict"},
    {ovTY_Vector, "vector"},   {ovTY_List, "list"},
};

const std::map<orvy_Type, const char *> TypeIdNameMap(std::begin(Names), std::end(Names));

const std::map<std::string, orvy_Type, std::less<>> NameTypeIdMap = [] {
  std::map<std::string, orvy_Type, std::less<>> Map;
  for (const auto &[Typ, Name] : Names)
    Map.emplace(Name, Typ);
  return Map;
}();

constexpr const char *NullObject = "<null>";

bool isNumber(orvy_Type Typ) {
  return Typ >= ovTY_Intptr && Typ <= ovTY_I64;
}
bool isReal(orvy_Type Typ) {
  return Typ == ovTY_Float || Typ == ovTY_Double;
}
bool isWide(orvy_Type Typ) {
  return isNumber(Typ) && !isReal(Typ) && typeToSize(Typ) == 8;
}
bool isSigned(orvy_Type Typ) {
  return Typ == ovTY_Intptr || (Typ >= ovTY_I8 && Typ <= ovTY_I64);
}
/// Values of these types are typed nodes of their own inside containers.
bool isNested(orvy_Type Typ) {
  return Typ == ovTY_Buffer || Typ >= ovTY_Dict;
}

orvy_Propval valueOf(orvy_Type Typ, const void *Element) {
  orvy_Propval Pv = {};
  Pv.Typ = Typ;
  std::memcpy(&Pv.u64, Element, typeToSize(Typ));
  return Pv;
}

LostReferences Lost;

void lose(const std::string &Why) {
  if (Lost.Count++ == 0)
    Lost.First = Why;
}

uint64_t bitsOf(orvy_Type Typ) {
  return 8 * typeToSize(Typ);
}

void checkLevel(unsigned Level) {
  if (Level >= MostLevels)
    throw Unfit("containers are nested too deeply");
}

// Writing

const char *nameOfObject(const void *Obj) {
  if (!Obj)
    return NullObject;
  if (const char *Name = Class::nameForObject(Obj))
    return Name;
  throw Unfit("it refers to an object without a name");
}

/// The name under which a class publishes a table, with its index in an array of tables.
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

/// The entries of a value that is no container.
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

/// 64-bit numbers as pairs of their halves.
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

/// A reference as it can be written: null if its object has no name or does not publish the table.
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

/// A container that was never created has elements of no type.
Json sequenceNode(orvy_Type Typ, orvy_Type ElemTyp, Json Data) {
  const char *ElemName = typeIdToString(ElemTyp);
  if (!ElemName && !Data.empty())
    throw Unfit("it holds elements of a type that cannot be saved");
  Json Node = typedNode(Typ, std::move(Data));
  Node["elemtype"] = ElemName ? ElemName : "";
  return Node;
}

/// The entries of an element of a property.
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

/// What a property gives on the get route, made to fit the property's type: a hook may give another
/// number, and a property without a hook nothing.
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

const char *typeIdToString(orvy_Type Typ) {
  auto Found = TypeIdNameMap.find(Typ);
  return Found == TypeIdNameMap.end() ? nullptr : Found->second;
}

orvy_Type stringToTypeId(std::string_view Name) {
  auto Found = NameTypeIdMap.find(Name);
  return Found == NameTypeIdMap.end() ? ovTY_Invalid : Found->second;
}

LostReferences takeLostReferences() {
  return std::exchange(Lost, {});
}

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

// Reading

Entries::Entries(const Json &Data) {
  if (!Data.is_binary()) {
    Plain = &Data.get_ref<const Json::array_t &>();
    return;
  }
  Packed = &Data.get_binary();
  Width = Packed->has_subtype() ? static_cast<unsigned>(Packed->subtype()) : 0;
  if ((Width != 1 && Width != 2 && Width != 4) || Packed->size() % Width != 0)
    throw Unfit("it holds binary data");
}

size_t Entries::size() const {
  return Plain ? Plain->size() : Packed->size() / Width;
}

const Json &Entries::at(size_t Idx) const {
  if (!Plain)
    throw Unfit("it holds numbers for something else");
  if (Idx >= Plain->size())
    throw Unfit("it holds too few entries");
  return (*Plain)[Idx];
}

namespace {

/// The whole number that a real one stands for, as in 5.0 or 1e3: other writers of JSON tell the
/// two kinds apart in other ways, or not at all.
template <typename Whole> Whole wholeNumber(double Real, Whole Min, Whole Max) {
  // Of 2^64 and its like the type's greatest number is the neighbour below.
  bool IsInRange = Real >= static_cast<double>(Min) && Real <= static_cast<double>(Max) &&
                   Real < std::ldexp(1.0, std::numeric_limits<Whole>::digits);
  if (!IsInRange)
    throw Unfit("it holds a number that is out of range");
  if (Real != std::trunc(Real))
    throw Unfit("it holds a number that is not whole");
  return static_cast<Whole>(Real);
}

} // namespace

uint64_t Entries::unsignedAt(size_t Idx, uint64_t Max) const {
  uint64_t Number = 0;
  if (Packed) {
    if (Idx >= size())
      throw Unfit("it holds too few entries");
    std::memcpy(&Number, Packed->data() + Idx * Width, Width);
  } else {
    const Json &Entry = at(Idx);
    if (Entry.is_number_float())
      return wholeNumber<uint64_t>(Entry.get<double>(), 0, Max);
    if (!Entry.is_number_unsigned() && !(Entry.is_number_integer() && Entry.get<int64_t>() >= 0)) {
      Entry.get<uint64_t>(); // the library tells what is no number
      throw Unfit("it holds a number that is out of range");
    }
    Number = Entry.get<uint64_t>();
  }
  if (Number > Max)
    throw Unfit("it holds a number that is out of range");
  return Number;
}

int64_t Entries::signedAt(size_t Idx, int64_t Min, int64_t Max) const {
  if (!Packed && at(Idx).is_number_float())
    return wholeNumber(at(Idx).get<double>(), Min, Max);
  if (Packed || !at(Idx).is_number_integer() || at(Idx).is_number_unsigned() ||
      at(Idx).get<int64_t>() >= 0)
    return static_cast<int64_t>(unsignedAt(Idx, static_cast<uint64_t>(Max)));
  auto Number = at(Idx).get<int64_t>();
  if (Number < Min)
    throw Unfit("it holds a number that is out of range");
  return Number;
}

uint64_t Entries::pairAt(size_t Idx) const {
  if (Packed && Width == 4 && Idx < Packed->size() / 8) {
    uint64_t Halves;
    std::memcpy(&Halves, Packed->data() + Idx * 8, 8);
    return std::rotl(Halves, 32);
  }
  // The high half may be written as a signed number.
  int64_t High = signedAt(2 * Idx, INT32_MIN, UINT32_MAX);
  return static_cast<uint64_t>(High) << 32 | unsignedAt(2 * Idx + 1, UINT32_MAX);
}

double Entries::realAt(size_t Idx) const {
  if (Packed)
    return static_cast<double>(unsignedAt(Idx, UINT32_MAX));
  const Json &Entry = at(Idx);
  if (const auto *Text = Entry.get_ptr<const std::string *>()) {
    if (*Text == "NaN")
      return std::numeric_limits<double>::quiet_NaN();
    if (*Text == "Infinity")
      return HUGE_VAL;
    if (*Text == "-Infinity")
      return -HUGE_VAL;
  }
  return Entry.get<double>();
}

const std::string &Entries::textAt(size_t Idx) const {
  return at(Idx).get_ref<const std::string &>();
}

unsigned entriesOf(orvy_Type Typ) {
  return isWide(Typ) ? 2 : 1;
}

namespace {

float narrow(double Real) {
  if (std::isfinite(Real) && std::fabs(Real) > static_cast<double>(FLT_MAX))
    throw Unfit("it holds a number that is out of range");
  return static_cast<float>(Real);
}

} // namespace

orvy_Propval numberAt(const Entries &Data, orvy_Type Typ, size_t Idx) {
  orvy_Propval Pv = {};
  Pv.Typ = Typ;
  if (isWide(Typ)) {
    Pv.u64 = Data.pairAt(Idx);
  } else if (Typ == ovTY_Float) {
    Pv.f = narrow(Data.realAt(Idx));
  } else if (Typ == ovTY_Double) {
    Pv.d = Data.realAt(Idx);
  } else if (isSigned(Typ)) {
    int64_t Max = (int64_t{1} << (bitsOf(Typ) - 1)) - 1;
    Pv.i64 = Data.signedAt(Idx, -Max - 1, Max);
  } else {
    Pv.u64 = Data.unsignedAt(Idx, (uint64_t{1} << bitsOf(Typ)) - 1);
  }
  return Pv;
}

void *objectAt(const Entries &Data, size_t Idx, bool *Known) {
  const std::string &Name = Data.textAt(Idx);
  void *Obj = Class::objectForName(Name);
  if (Known)
    *Known = Obj || Name == NullObject;
  return Obj;
}

orvy_IfaceRef ifaceAt(const Entries &Data, size_t Idx) {
  const Json &Node = Data.at(Idx);
  const auto &Name = Node.at("obj").get_ref<const std::string &>();
  const auto &Iface = Node.at("iface").get_ref<const std::string &>();
  void *Obj = Class::objectForName(Name);
  if (!Obj)
    throw Unfit("it refers to the object '" + Name + "', which does not exist");
  return {Obj, orvy_getInterface(Obj, Iface.c_str(), -1)};
}

const char *textAt(const Entries &Data, size_t Idx) {
  const std::string &Text = Data.textAt(Idx);
  if (Text.find('\0') != Text.npos)
    throw Unfit("it holds a text with a null byte");
  return Text.c_str();
}

orvy_Buff bytesFrom(const Json &Node) {
  Entries Data(Node);
  if (Data.size() > UINT32_MAX)
    throw Unfit("it holds a buffer that is too large");
  orvy_Buff Buff = orvy_buffCreate(static_cast<uint32_t>(Data.size()));
  try {
    uint8_t *Bytes = orvy_buffWritableData(&Buff);
    for (size_t Idx = 0; Idx < Data.size(); ++Idx)
      Bytes[Idx] = static_cast<uint8_t>(Data.unsignedAt(Idx, UINT8_MAX));
  } catch (...) {
    orvy_buffDispose(&Buff);
    throw;
  }
  return Buff;
}

namespace {

// Containers

void dispose(orvy_Propval &Pv);

void disposeVector(orvy_Vector &Vec) {
  size_t Size = typeToSize(Vec.Typ);
  bool Owns = Vec.Typ == ovTY_String || Vec.Typ == ovTY_Dict || Vec.Typ == ovTY_Vector;
  size_t Count = Owns ? orvy_vecGetSize(&Vec) : 0;
  for (size_t Idx = 0; Idx < Count; ++Idx) {
    orvy_Propval Pv = valueOf(Vec.Typ, static_cast<char *>(orvy_vecGetData(&Vec)) + Idx * Size);
    dispose(Pv);
  }
  if (Vec.VecData)
    orvy_vecDispose(&Vec);
}

void disposeDict(orvy_Dict *Dict) {
  const char *Key = orvy_dictGetNextKey(Dict, nullptr);
  for (; Key; Key = orvy_dictGetNextKey(Dict, Key)) {
    orvy_Propval Pv = orvy_dictGetValue(Dict, Key);
    dispose(Pv);
  }
  orvy_dictDispose(Dict);
}

void disposeList(orvy_List &List) {
  while (List.Head) {
    orvy_Propval Pv = orvy_listRemoveHead(&List);
    dispose(Pv);
  }
}

/// Releases a value that was read, with all that lies in it. The disposal functions of containers
/// leave what they do not own.
void dispose(orvy_Propval &Pv) {
  switch (Pv.Typ) {
  case ovTY_String:
    return std::free(const_cast<char *>(Pv.String));
  case ovTY_Buffer:
    return orvy_buffDispose(&Pv.Buffer);
  case ovTY_Dict:
    return disposeDict(Pv.Dict);
  case ovTY_Vector:
    return disposeVector(Pv.Vector);
  case ovTY_List:
    return disposeList(Pv.List);
  default:
    return;
  }
}

/// A value with all that it owns, until someone takes it over.
class Owned {
public:
  explicit Owned(const orvy_Propval &Pv) : Value(Pv) {}
  Owned(Owned &&Other) noexcept : Value(std::exchange(Other.Value, {})) {}
  Owned &operator=(Owned &&) = delete;
  ~Owned() { dispose(Value); }

  orvy_Propval &get() { return Value; }
  orvy_Propval take() { return std::exchange(Value, {}); }

private:
  orvy_Propval Value;
};

Owned read(const Json &Node, unsigned Level);

orvy_Type typeNamed(const Json &Node, const char *Key) {
  orvy_Type Typ = stringToTypeId(Node.at(Key).get_ref<const std::string &>());
  if (Typ == ovTY_Invalid || Typ == ovTY_IfaceRefArray)
    throw Unfit("it holds a value of an unknown type");
  return Typ;
}

Owned readString(const Entries &Data, size_t Idx) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_String;
  const char *Text = textAt(Data, Idx);
  if (std::strcmp(Text, NullString) != 0 && !(Pv.String = strdup(Text)))
    throw std::bad_alloc();
  return Owned(Pv);
}

/// A reference inside a container: null if there is no such object or interface.
orvy_Propval readReference(const Entries &Data, orvy_Type Typ, size_t Idx) {
  orvy_Propval Pv = {};
  Pv.Typ = Typ;
  if (Typ == ovTY_Obj) {
    bool Known;
    Pv.Obj = objectAt(Data, Idx, &Known);
    if (!Known)
      lose("it refers to the object '" + Data.textAt(Idx) + "', which does not exist");
    return Pv;
  }
  try {
    Pv.IfaceRef = ifaceAt(Data, Idx);
  } catch (const Unfit &Why) {
    lose(Why.what());
    return Pv;
  }
  if (!Pv.IfaceRef.Iface) {
    lose("it refers to the interface '" + Data.at(Idx).at("iface").get<std::string>() +
         "', which does not exist");
    Pv.IfaceRef = {};
  }
  return Pv;
}

/// An element that is no container.
Owned readFlat(const Entries &Data, orvy_Type Typ, size_t Idx) {
  if (isNumber(Typ))
    return Owned(numberAt(Data, Typ, Idx));
  if (Typ == ovTY_String)
    return readString(Data, Idx);
  return Owned(readReference(Data, Typ, Idx));
}

Owned readElement(const Entries &Data, orvy_Type Typ, size_t Idx, unsigned Level) {
  if (!isNested(Typ))
    return readFlat(Data, Typ, Idx);
  Owned Element = read(Data.at(Idx), Level + 1);
  if (Element.get().Typ != Typ)
    throw Unfit("it holds an element of another type than the others");
  return Element;
}

size_t elementCount(const Entries &Data, orvy_Type Typ) {
  if (Data.size() % entriesOf(Typ) != 0)
    throw Unfit("it holds half a number");
  return Data.size() / entriesOf(Typ);
}

Owned readDict(const Json &Node, unsigned Level) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_Dict;
  Pv.Dict = orvy_dictCreate();
  Owned Dict(Pv);
  for (const auto &[Key, Value] : Node.get_ref<const Json::object_t &>()) {
    if (Key.find('\0') != Key.npos)
      throw Unfit("it holds a key with a null byte");
    Owned Element = read(Value, Level + 1);
    orvy_dictInsertValue(Pv.Dict, Key.c_str(), Element.take());
  }
  return Dict;
}

/// The type of elements; ovTY_Invalid for a container that was never created.
orvy_Type elementType(const Json &Node, const Entries &Data) {
  const Json &Name = Node.at("elemtype");
  if (Data.size() == 0 && Name.is_string() && Name.get_ref<const std::string &>().empty())
    return ovTY_Invalid;
  return typeNamed(Node, "elemtype");
}

void push(orvy_Vector &Vec, Owned Element) {
  if (Vec.Typ == ovTY_String && !Element.get().String)
    throw Unfit("it holds a null string in a vector");
  orvy_vecPush(&Vec, Element.get());
  if (Vec.Typ != ovTY_String) // of which the vector has a copy
    Element.take();
}

Owned readVector(const Json &Node, unsigned Level) {
  Entries Data(Node.at("data"));
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_Vector;
  orvy_Type Typ = elementType(Node, Data);
  if (Typ == ovTY_Invalid)
    return Owned(Pv);
  if (Typ == ovTY_List)
    throw Unfit("it holds a vector of lists");
  Pv.Vector = orvy_vecCreate(Typ);
  Owned Vec(Pv);
  size_t Count = elementCount(Data, Typ);
  for (size_t Idx = 0; Idx < Count; ++Idx)
    push(Vec.get().Vector, readElement(Data, Typ, Idx, Level));
  return Vec;
}

Owned readList(const Json &Node, unsigned Level) {
  Entries Data(Node.at("data"));
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_List;
  orvy_Type Typ = elementType(Node, Data);
  Pv.List = orvy_listCreate(Typ);
  Owned List(Pv);
  size_t Count = elementCount(Data, Typ);
  for (size_t Idx = 0; Idx < Count; ++Idx)
    orvy_listAppend(&List.get().List, readElement(Data, Typ, Idx, Level).take());
  return List;
}

Owned readBuffer(const Json &Data) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_Buffer;
  Pv.Buffer = bytesFrom(Data);
  return Owned(Pv);
}

Owned readScalar(const Json &Node, orvy_Type Typ) {
  Entries Data(Node);
  if (Typ == ovTY_IfaceRef && Data.size() == 0) {
    orvy_Propval Pv = {};
    Pv.Typ = Typ;
    return Owned(Pv);
  }
  if (Data.size() != entriesOf(Typ))
    throw Unfit("it holds another number of entries than one value takes");
  return readFlat(Data, Typ, 0);
}

/// The value of a typed node.
Owned read(const Json &Node, unsigned Level) {
  checkLevel(Level);
  orvy_Type Typ = typeNamed(Node, "type");
  const Json &Data = Node.at("data");
  switch (Typ) {
  case ovTY_Buffer:
    return readBuffer(Data);
  case ovTY_Dict:
    return readDict(Data, Level);
  case ovTY_Vector:
    return readVector(Node, Level);
  case ovTY_List:
    return readList(Node, Level);
  default:
    return readScalar(Data, Typ);
  }
}

// Properties. All elements are read before the first is set, so that a property that cannot be
// restored keeps its value.

/// The elements that a property has room for; those beyond are told of.
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

/// A reference whose table is what the property's users take it for.
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

Owned readContainer(orvy_Type Typ, const Json &Entry) {
  if (Typ == ovTY_Buffer)
    return readBuffer(Entry);
  if (Typ == ovTY_Dict)
    return readDict(Entry, 0);
  if (typeNamed(Entry, "type") != Typ)
    throw Unfit("it holds a container of another kind");
  return read(Entry, 0);
}

/// Whether a container may take the place of the present one: the object's code relies on the type
/// of the elements. What was never created in the checkpoint replaces nothing.
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
  bool IsNoDict = New.Typ == ovTY_Dict && !(Old.Typ == ovTY_Dict && Old.Dict);
  return !IsNoDict || orvy_dictGetNextKey(New.Dict, nullptr);
}

void setContainers(const Property &Prop, void *Obj, const Entries &Data) {
  std::vector<Owned> Values;
  // A buffer of a property may itself be packed, the list of buffers is not.
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
