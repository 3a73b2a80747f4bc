#include "orvy/Support/Containers.h"

#include "Base/InternalError.h"
#include "Objsys/ObjsysValue.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Propval.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

using orvy::objsys::typeToSize;

/// The dictionary that a handle refers to.
struct orvy_Dict {
  std::map<std::string, orvy_Propval, std::less<>> Values;
};

namespace {

using VectorBytes = std::vector<unsigned char>;

bool isElementType(orvy_Type Typ) {
  return Typ > ovTY_Invalid && Typ <= ovTY_Vector && Typ != ovTY_IfaceRefArray;
}

// The bytes of a vector, or null, with the message, if the elements have no valid type.
VectorBytes *checkedBytes(orvy_Vector *Vec, const char *Message) {
  if (isElementType(Vec->Typ))
    return static_cast<VectorBytes *>(Vec->VecData);
  orvy_logError(nullptr, "%s", Message);
  return nullptr;
}

char *copyString(const orvy_Propval &Val) {
  ORVY_REQUIRE(orvy_isString(Val) && Val.String);
  char *Copy = strdup(Val.String);
  return Copy ? Copy : throw std::bad_alloc();
}

// Turns the value into one of the element's type, whose bytes then lie at the start of the union.
orvy_Propval asElement(orvy_Type Typ, const orvy_Propval &Val) {
  orvy_Propval Element = Val;
  Element.Typ = Typ;
  if (Typ == ovTY_Float)
    Element.f = static_cast<float>(orvy_asDouble(Val));
  else if (Typ == ovTY_Double)
    Element.d = orvy_asDouble(Val);
  else if (orvy_isSigned(Element))
    Element.i64 = orvy_asInteger(Val); // narrowed by taking the low bytes
  else if (orvy_isUnsigned(Element))
    Element.u64 = orvy_asUnsigned(Val);
  else if (Typ == ovTY_String)
    Element.String = copyString(Val);
  return Element;
}

orvy_ListNode *newNode(const orvy_List &List, const orvy_Propval &Val) {
  if (Val.Typ != List.Typ)
    orvy_logFatal(nullptr, "attempted to push propval of invalid type to list");
  return new orvy_ListNode{nullptr, nullptr, Val};
}

orvy_BuffBlock *newBlock(uint32_t Size) {
  auto Data = std::make_unique_for_overwrite<uint8_t[]>(Size);
  auto *Block = new orvy_BuffBlock{1, Data.get(), Size};
  Data.release();
  return Block;
}

void releaseBlock(orvy_BuffBlock *Block) {
  if (--Block->RefCount > 0)
    return;
  delete[] Block->Data;
  delete Block;
}

} // namespace

orvy_Vector orvy_vecCreate(orvy_Type Typ) {
  if (isElementType(Typ))
    return {Typ, new VectorBytes};
  orvy_logError(nullptr, "cannot create vectors of iface arrays or invalid types");
  return {Typ, nullptr};
}

void orvy_vecDispose(orvy_Vector *Vec) {
  VectorBytes *Bytes = checkedBytes(Vec, "cannot delete vectors of iface arrays or invalid types");
  if (!Bytes)
    return;
  if (Vec->Typ == ovTY_Buffer)
    for (size_t At = 0; At < Bytes->size(); At += sizeof(orvy_Buff))
      orvy_buffDispose(reinterpret_cast<orvy_Buff *>(Bytes->data() + At));
  delete Bytes;
}

void orvy_vecPush(orvy_Vector *Vec, orvy_Propval Val) {
  if (!isElementType(Vec->Typ) || !Vec->VecData)
    return orvy_logError(nullptr, "cannot push invalid vectors");
  orvy_Propval Element = asElement(Vec->Typ, Val);
  const auto *First = reinterpret_cast<const unsigned char *>(&Element.u64);
  auto *Bytes = static_cast<VectorBytes *>(Vec->VecData);
  Bytes->insert(Bytes->end(), First, First + typeToSize(Vec->Typ));
}

void *orvy_vecGetData(orvy_Vector *Vec) {
  VectorBytes *Bytes = checkedBytes(Vec, "cannot get data for invalid vectors");
  return Bytes && !Bytes->empty() ? Bytes->data() : nullptr;
}

size_t orvy_vecGetSize(orvy_Vector *Vec) {
  VectorBytes *Bytes = checkedBytes(Vec, "cannot get size for invalid vectors");
  return Bytes ? Bytes->size() / typeToSize(Vec->Typ) : 0;
}

orvy_Dict *orvy_dictCreate(void) {
  return new orvy_Dict;
}

void orvy_dictDispose(orvy_Dict *Dict) {
  delete Dict;
}

int orvy_dictInsertValue(orvy_Dict *Dict, const char *Key, orvy_Propval Val) {
  ORVY_REQUIRE(Dict && Key);
  return Dict->Values.try_emplace(Key, Val).second ? 0 : -1;
}

orvy_Propval orvy_dictGetValue(orvy_Dict *Dict, const char *Key) {
  ORVY_REQUIRE(Dict && Key);
  auto Found = Dict->Values.find(std::string_view(Key));
  return Found == Dict->Values.end() ? orvy_Propval{} : Found->second;
}

int orvy_dictRemoveValue(orvy_Dict *Dict, const char *Key) {
  ORVY_REQUIRE(Dict && Key);
  auto Found = Dict->Values.find(std::string_view(Key));
  if (Found == Dict->Values.end())
    return -1;
  Dict->Values.erase(Found);
  return 0;
}

const char *orvy_dictGetNextKey(orvy_Dict *Dict, const char *Key) {
  ORVY_REQUIRE(Dict);
  auto Next = Dict->Values.begin();
  if (Key) {
    Next = Dict->Values.find(std::string_view(Key));
    if (Next != Dict->Values.end())
      ++Next;
  }
  return Next == Dict->Values.end() ? nullptr : Next->first.c_str();
}

orvy_List orvy_listCreate(orvy_Type Typ) {
  return {Typ, nullptr, nullptr};
}

void orvy_listDispose(orvy_List *List) {
  while (List->Head) {
    orvy_Propval Val = orvy_listRemoveHead(List);
    if (Val.Typ == ovTY_Buffer)
      orvy_buffDispose(&Val.Buffer);
  }
}

orvy_ListNode *orvy_listAppend(orvy_List *List, orvy_Propval Val) {
  orvy_ListNode *Node = newNode(*List, Val);
  Node->Prev = List->Tail;
  (List->Tail ? List->Tail->Next : List->Head) = Node;
  return List->Tail = Node;
}

orvy_ListNode *orvy_listPrepend(orvy_List *List, orvy_Propval Val) {
  orvy_ListNode *Node = newNode(*List, Val);
  Node->Next = List->Head;
  (List->Head ? List->Head->Prev : List->Tail) = Node;
  return List->Head = Node;
}

orvy_Propval orvy_listRemoveHead(orvy_List *List) {
  std::unique_ptr<orvy_ListNode> Node(List->Head);
  if (!Node)
    return {};
  List->Head = Node->Next;
  (List->Head ? List->Head->Prev : List->Tail) = nullptr;
  return Node->Val;
}

orvy_Propval orvy_listRemoveTail(orvy_List *List) {
  std::unique_ptr<orvy_ListNode> Node(List->Tail);
  if (!Node)
    return {};
  List->Tail = Node->Prev;
  (List->Tail ? List->Tail->Next : List->Head) = nullptr;
  return Node->Val;
}

orvy_ListNode *orvy_listGetHead(orvy_List *List) {
  return List->Head;
}

orvy_ListNode *orvy_listGetTail(orvy_List *List) {
  return List->Tail;
}

orvy_ListNode *orvy_listGetNext(orvy_ListNode *Node) {
  return Node->Next;
}

orvy_ListNode *orvy_listGetPrev(orvy_ListNode *Node) {
  return Node->Prev;
}

orvy_Propval orvy_listNodeGetVal(orvy_ListNode *Node) {
  return Node->Val;
}

orvy_Buff orvy_buffCreate(uint32_t Size) {
  return {newBlock(Size), 0, Size};
}

orvy_Buff orvy_buffCopy(const orvy_Buff *Buff) {
  if (Buff->Block)
    ++Buff->Block->RefCount;
  return *Buff;
}

void orvy_buffDispose(orvy_Buff *Buff) {
  if (Buff->Block)
    releaseBlock(Buff->Block);
}

uint8_t *orvy_buffWritableData(orvy_Buff *Buff) {
  orvy_BuffBlock *Shared = Buff->Block;
  if (!Shared)
    return nullptr;
  if (Shared->RefCount > 1) {
    // The whole block, so that the view's offset stays valid.
    Buff->Block = newBlock(Shared->Size);
    std::memcpy(Buff->Block->Data, Shared->Data, Shared->Size);
    releaseBlock(Shared);
  }
  return Buff->Block->Data + Buff->Offset;
}

const uint8_t *orvy_buffReadableData(const orvy_Buff *Buff) {
  return Buff->Block ? Buff->Block->Data + Buff->Offset : nullptr;
}

uint32_t orvy_buffLen(const orvy_Buff *Buff) {
  return Buff->Len;
}

void orvy_buffRemoveHead(orvy_Buff *Buff, uint32_t Count) {
  if (Count > Buff->Len) {
    std::fputs("invalid head removal", stderr);
    return;
  }
  Buff->Offset += Count;
  Buff->Len -= Count;
}

void orvy_buffRemoveTail(orvy_Buff *Buff, uint32_t Count) {
  if (Count > Buff->Len) {
    std::fputs("invalid tail removal", stderr);
    return;
  }
  Buff->Len -= Count;
}
