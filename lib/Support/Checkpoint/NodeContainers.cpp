#include "Checkpoint/NodeParts.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Objsys.h"

#include <cstdlib>
#include <new>

namespace orvy::checkpoint {

namespace {

void dispose(orvy_Propval &Pv);

void disposeVector(orvy_Vector &Vec) {
  size_t Size = objsys::typeToSize(Vec.Typ);
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

/// Releases a value that was read, and everything in it. The containers' own disposal functions do
/// not dispose of their elements.
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

} // namespace

Owned::~Owned() {
  dispose(Value);
}

size_t elementCount(const Entries &Data, orvy_Type Typ) {
  if (Data.size() % entriesOf(Typ) != 0)
    throw Unfit("it holds half a number");
  return Data.size() / entriesOf(Typ);
}

namespace {

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

/// A reference inside a container; null if the object or interface does not exist.
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

/// An element that is not a container.
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
    throw Unfit("it holds elements of different types");
  return Element;
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

/// The element type; ovTY_Invalid for a container that was never created.
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
  if (Vec.Typ != ovTY_String) // the vector copies strings
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

} // namespace

Owned readContainer(orvy_Type Typ, const Json &Entry) {
  if (Typ == ovTY_Buffer)
    return readBuffer(Entry);
  if (Typ == ovTY_Dict)
    return readDict(Entry, 0);
  if (typeNamed(Entry, "type") != Typ)
    throw Unfit("it holds a container of another kind");
  return read(Entry, 0);
}

} // namespace orvy::checkpoint
