#include "Testing/Model.h"

#include <cstdlib>
#include <utility>

using namespace orvy::testing;

namespace {

std::vector<std::string> HookCalls;

void note(const char *Route, uint32_t Value, int Idx) {
  HookCalls.push_back(std::string(Route) + ' ' + std::to_string(Value) + " @" +
                      std::to_string(Idx));
}

void note(const char *Route, int Idx) {
  HookCalls.push_back(std::string(Route) + " @" + std::to_string(Idx));
}

void store(void *Obj, orvy_Propval Pv) {
  static_cast<Model *>(Obj)->Hooked = Pv.u32;
}
orvy_Propval fetch(void *Obj) {
  return u32(static_cast<Model *>(Obj)->Hooked);
}

void write(void *Obj, orvy_Propval Pv, int Idx) {
  note("write", Pv.u32, Idx), store(Obj, Pv);
}
void set(void *Obj, orvy_Propval Pv, int Idx) {
  note("set", Pv.u32, Idx), store(Obj, Pv);
}
orvy_Propval read(void *Obj, int Idx) {
  return note("read", Idx), fetch(Obj);
}
orvy_Propval get(void *Obj, int Idx) {
  return note("get", Idx), fetch(Obj);
}

void *create(const char *, int, const orvy_CreateArg *) {
  auto *Self = static_cast<Model *>(std::calloc(1, sizeof(Model)));
  Self->Dynamic = orvy_ifaceRefArrayAlloc(0);
  Self->Buffer = orvy_buffCreate(4);
  Self->Dict = orvy_dictCreate();
  Self->Vector = orvy_vecCreate(ovTY_U16);
  Self->RefVector = orvy_vecCreate(ovTY_IfaceRef);
  Self->List = orvy_listCreate(ovTY_I32);
  return Self;
}

void dispose(void *Obj) {
  auto *Self = static_cast<Model *>(Obj);
  orvy_ifaceRefArrayDispose(&Self->Dynamic);
  std::free(Self->String);
  orvy_buffDispose(&Self->Buffer);
  orvy_dictDispose(Self->Dict);
  orvy_vecDispose(&Self->Vector);
  orvy_vecDispose(&Self->RefVector);
  orvy_listDispose(&Self->List);
  std::free(Self);
}

struct Described {
  const char *Name;
  size_t Offset;
  orvy_Type Typ;
  int Count;
};

constexpr Described Fields[] = {
    {"intptr", offsetof(Model, Intptr), ovTY_Intptr, 1},
    {"uintptr", offsetof(Model, Uintptr), ovTY_Uintptr, 1},
    {"float", offsetof(Model, Float), ovTY_Float, 1},
    {"double", offsetof(Model, Double), ovTY_Double, 1},
    {"u8", offsetof(Model, U8), ovTY_U8, 4},
    {"u16", offsetof(Model, U16), ovTY_U16, 4},
    {"u32", offsetof(Model, U32), ovTY_U32, 4},
    {"u64", offsetof(Model, U64), ovTY_U64, 4},
    {"i8", offsetof(Model, I8), ovTY_I8, 4},
    {"i16", offsetof(Model, I16), ovTY_I16, 4},
    {"i32", offsetof(Model, I32), ovTY_I32, 4},
    {"i64", offsetof(Model, I64), ovTY_I64, 4},
    {"obj", offsetof(Model, Obj), ovTY_Obj, 1},
    {"internal", offsetof(Model, Internal), ovTY_InternalPtr, 1},
    {"ref", offsetof(Model, Ref), ovTY_IfaceRef, 1},
    {"refs", offsetof(Model, Refs), ovTY_IfaceRef, 4},
    {"strict", offsetof(Model, Strict), ovTY_IfaceRef, 1},
    {"wires", offsetof(Model, Wires), ovTY_IfaceRef, 2},
    {"dynamic", offsetof(Model, Dynamic), ovTY_IfaceRefArray, 1},
    {"string", offsetof(Model, String), ovTY_String, 1},
    {"buffer", offsetof(Model, Buffer), ovTY_Buffer, 1},
    {"dict", offsetof(Model, Dict), ovTY_Dict, 1},
    {"vector", offsetof(Model, Vector), ovTY_Vector, 1},
    {"refvector", offsetof(Model, RefVector), ovTY_Vector, 1},
    {"list", offsetof(Model, List), ovTY_List, 1},
};

} // namespace

namespace orvy::testing {

EchoIface Echo = {[](void *, int Value) { return Value; }};
EchoIface Echoes[4] = {Echo, Echo, Echo, Echo};
EchoIface Wires[2] = {Echo, Echo};

} // namespace orvy::testing

orvy_Class *orvy::testing::registerModel(const char *ClsName) {
  orvy_Class *Cls = orvy_registerClass(ClsName, create, dispose);
  for (const Described &Each : Fields)
    orvy_addProperty(Cls, Each.Name, static_cast<int>(Each.Offset), Each.Typ, Each.Count, nullptr,
                     nullptr, "");
  orvy_addPseudoProperty(Cls, "hooked", ovTY_U32, 1, write, read, set, get, "notes its accesses");
  orvy_addPseudoProperty(Cls, "mute", ovTY_U32, 1, nullptr, read, nullptr, nullptr, "");
  orvy_addProperty(Cls, "quiet", offsetof(Model, Hooked), ovTY_U32, 1, write, read,
                   "hooks on the read and write routes only");
  orvy_requireInterface(Cls, "strict", "EchoIface");
  orvy_addInterface(Cls, "echo", "EchoIface", &Echo, 0, "");
  orvy_addInterfaceArray(Cls, "echoes", "EchoIface", Echoes, 4, sizeof(EchoIface), "");
  orvy_addInterfaceArray(Cls, "wire", "WireIface", Wires, 2, sizeof(EchoIface), "");
  orvy_addPort(Cls, "wires", "wire", "");
  return Cls;
}

Model *orvy::testing::createModel(const char *ObjName, const char *ClsName) {
  if (!orvy_classForName(ClsName))
    registerModel(ClsName);
  return static_cast<Model *>(orvy_createObject(ClsName, ObjName, nullptr));
}

std::vector<std::string> orvy::testing::takeHookCalls() {
  return std::exchange(HookCalls, {});
}

orvy_Propval orvy::testing::u8(uint8_t Value) {
  return {.Typ = ovTY_U8, .u8 = Value};
}
orvy_Propval orvy::testing::u16(uint16_t Value) {
  return {.Typ = ovTY_U16, .u16 = Value};
}
orvy_Propval orvy::testing::u32(uint32_t Value) {
  return {.Typ = ovTY_U32, .u32 = Value};
}
orvy_Propval orvy::testing::u64(uint64_t Value) {
  return {.Typ = ovTY_U64, .u64 = Value};
}
orvy_Propval orvy::testing::i32(int32_t Value) {
  return {.Typ = ovTY_I32, .i32 = Value};
}
orvy_Propval orvy::testing::i64(int64_t Value) {
  return {.Typ = ovTY_I64, .i64 = Value};
}
orvy_Propval orvy::testing::real(double Value) {
  return {.Typ = ovTY_Double, .d = Value};
}
orvy_Propval orvy::testing::text(const char *Value) {
  return {.Typ = ovTY_String, .String = Value};
}
orvy_Propval orvy::testing::ref(void *Obj, void *Iface) {
  return {.Typ = ovTY_IfaceRef, .IfaceRef = {Obj, Iface}};
}
