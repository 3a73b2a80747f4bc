#include "Objsys/ObjsysClass.h"
#include "Testing/LogCapture.h"
#include "Testing/Model.h"

#include <gmock/gmock.h>

#include <cstring>
#include <stdexcept>

using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Properties : public ::testing::Test {
protected:
  orvy_Propval get(const char *Name, int Idx = 0) { return orvy_getValue(Obj, Name, Idx); }
  void set(const char *Name, orvy_Propval Val, int Idx = 0) { orvy_setValue(Obj, Name, Val, Idx); }

  CleanSystem System;
  Model *Obj = createModel("m");
  LogCapture Log;
};

TEST_F(Properties, WithoutHooksBehaveAlikeOnAllRoutes) {
  orvy_writeValueU32(Obj, "u32", 1, 0);
  EXPECT_EQ(orvy_getValueU32(Obj, "u32", 0), 1u);
  orvy_setValueU32(Obj, "u32", 2, 3);
  EXPECT_EQ(orvy_readValueU32(Obj, "u32", 3), 2u);
  EXPECT_THAT(Obj->U32, ElementsAre(1, 0, 0, 2));
}

TEST_F(Properties, HaveAccessorsOfEveryIntegerType) {
#define ROUND_TRIP(Suffix, Name, Value)                                                            \
  orvy_setValue##Suffix(Obj, Name, Value, 1);                                                      \
  EXPECT_EQ(orvy_getValue##Suffix(Obj, Name, 1), Value);                                           \
  orvy_writeValue##Suffix(Obj, Name, Value - 1, 1);                                                \
  EXPECT_EQ(orvy_readValue##Suffix(Obj, Name, 1), Value - 1);                                      \
  EXPECT_EQ(orvy_getValue##Suffix(Obj, Name, 0), 0) << "a neighbour changed";                      \
  EXPECT_EQ(orvy_getValue##Suffix(Obj, Name, 2), 0) << "a neighbour changed";
  ROUND_TRIP(U8, "u8", 0xff)
  ROUND_TRIP(U16, "u16", 0xffff)
  ROUND_TRIP(U32, "u32", 0xffffffffu)
  ROUND_TRIP(U64, "u64", 0xffffffffffffffffull)
  ROUND_TRIP(I8, "i8", -127)
  ROUND_TRIP(I16, "i16", -32767)
  ROUND_TRIP(I32, "i32", -2147483647)
  ROUND_TRIP(I64, "i64", -9223372036854775807ll)
#undef ROUND_TRIP
}

TEST_F(Properties, CallTheHookOfTheRoute) {
  set("hooked", u32(5));
  get("hooked");
  orvy_writeValue(Obj, "hooked", u32(6), -1);
  orvy_readValue(Obj, "hooked[2]", -1);
  EXPECT_THAT(takeHookCalls(), ElementsAre("set 5 @0", "get @0", "write 6 @0", "read @2"));
}

TEST_F(Properties, WithReaderAndWriterAreQuietOnSetAndGet) {
  set("quiet", u32(5));
  EXPECT_EQ(get("quiet").u32, 5u);
  EXPECT_EQ(Obj->Hooked, 5u);
  EXPECT_THAT(takeHookCalls(), IsEmpty());
  orvy_writeValue(Obj, "quiet", u32(6), 0);
  orvy_readValue(Obj, "quiet", 0);
  EXPECT_THAT(takeHookCalls(), ElementsAre("write 6 @0", "read @0"));
}

TEST_F(Properties, WithOneHookFallThroughToItFromTheOtherRoute) {
  orvy_Class *Cls = orvy_classForObject(Obj);
  const orvy_PropReader Get = [](void *Self, int Idx) {
    return u32(static_cast<Model *>(Self)->U32[Idx] + 1);
  };
  const orvy_PropWriter Set = [](void *Self, orvy_Propval Pv, int Idx) {
    static_cast<Model *>(Self)->U32[Idx] = Pv.u32 * 2;
  };
  orvy_addPseudoProperty(Cls, "shown", ovTY_U32, 4, nullptr, nullptr, nullptr, Get, "");
  orvy_addPseudoProperty(Cls, "taken", ovTY_U32, 4, nullptr, nullptr, Set, nullptr, "");
  orvy_writeValue(Obj, "taken", u32(5), 2);
  EXPECT_EQ(Obj->U32[2], 10u) << "the Setter, for want of a Writer";
  set("taken", u32(6), 1);
  EXPECT_EQ(Obj->U32[1], 12u);
  EXPECT_EQ(orvy_readValue(Obj, "shown", 2).u32, 11u) << "the Getter, for want of a Reader";
  EXPECT_EQ(get("shown", 1).u32, 13u);
  EXPECT_EQ(get("taken", 1).Typ, ovTY_Invalid);
  set("shown", u32(7), 1);
  EXPECT_EQ(Obj->U32[1], 12u);
}

TEST_F(Properties, WithoutFieldOrHookAreVoid) {
  EXPECT_EQ(get("mute").Typ, ovTY_Invalid);
  set("mute", u32(5));
  orvy_writeValue(Obj, "mute", u32(5), 0);
  EXPECT_EQ(Obj->Hooked, 0u);
  EXPECT_EQ(orvy_readValue(Obj, "mute", 0).Typ, ovTY_U32);
}

TEST_F(Properties, TakeTheIndexFromTheNameOnlyWhenItIsNegative) {
  Obj->U32[0] = 10, Obj->U32[2] = 12;
  EXPECT_EQ(get("u32[2]", -1).u32, 12u);
  EXPECT_EQ(get("u32", 2).u32, 12u);
  EXPECT_EQ(get("u32", -1).u32, 10u);
  EXPECT_EQ(get("u32[2]", 0).Typ, ovTY_Invalid);
  EXPECT_EQ(get("u32[-1]", -1).Typ, ovTY_Invalid);
  EXPECT_EQ(get("u32[4]", -1).Typ, ovTY_Invalid);
  EXPECT_EQ(get("u32", 4).Typ, ovTY_Invalid);
  EXPECT_THROW(get("u32[", -1), std::invalid_argument);
  EXPECT_THROW(set("u32[x]", u32(1), -1), std::invalid_argument);
  EXPECT_THROW(get("nothing[]", -1), std::invalid_argument);
  EXPECT_THROW(get("u32[4294967296]", -1), std::out_of_range);
}

TEST_F(Properties, RefuseAStoreOutsideTheArraySilently) {
  std::string Before(reinterpret_cast<char *>(Obj), sizeof(Model));
  for (int Idx : {4, 5, 1000000, INT32_MAX}) {
    set("u32", u32(1), Idx);
    orvy_writeValue(Obj, "u32", u32(1), Idx);
  }
  set("u32[-1]", u32(1), -1);
  set("string", text("x"), 1);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(Obj), sizeof(Model)), Before);
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Properties, OfUnknownObjectsAndNamesReadAsNoValueSilently) {
  int NoObject = 0;
  for (void *Unknown : {static_cast<void *>(&NoObject), static_cast<void *>(Obj->U32)}) {
    EXPECT_EQ(orvy_getValue(Unknown, "u32", 0).Typ, ovTY_Invalid);
    orvy_setValue(Unknown, "u32", u32(1), 0);
  }
  EXPECT_EQ(get("nothing").Typ, ovTY_Invalid);
  EXPECT_EQ(orvy_getValue(nullptr, "u32", 0).Typ, ovTY_Invalid);
  EXPECT_EQ(orvy_readValue(Obj, nullptr, 0).Typ, ovTY_Invalid);
  set("nothing", u32(1));
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Properties, ComplainAboutAStoreWithoutObjectOrName) {
  orvy_setValue(nullptr, "u32", u32(1), 0);
  orvy_writeValue(Obj, nullptr, u32(1), 0);
  EXPECT_THAT(Log.take(),
              ElementsAre(":error:: orvy_setValue() with null-object or property name",
                          ":error: m : orvy_writeValue() with null-object or property name"));
}

TEST_F(Properties, AreReachedByTheNameOfTheObject) {
  orvy_setNamedObjectProp("m", "u16", u16(3), 1);
  EXPECT_EQ(orvy_getNamedObjectProp("m", "u16[1]", -1).u16, 3);
  orvy_writeNamedObjectProp("m", "hooked", u32(9), 0);
  EXPECT_EQ(orvy_readNamedObjectProp("m", "hooked", 0).u32, 9u);
  EXPECT_EQ(orvy_getNamedObjectProp("nobody", "u16", 0).Typ, ovTY_Invalid);
  EXPECT_EQ(orvy_readNamedObjectProp(nullptr, "u16", 0).Typ, ovTY_Invalid);
  orvy_setNamedObjectProp("nobody", "u16", u16(3), 0);
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Properties, EndTheProcessForATypedGetterOfAnotherType) {
  EXPECT_DEATH(orvy_getValueU16(Obj, "u32", 0), "internal error");
  EXPECT_DEATH(orvy_readValueU8(Obj, "nothing", 0), "internal error");
}

TEST_F(Properties, OwnACopyOfTheirString) {
  char Text[] = "first";
  set("string", text(Text));
  Text[0] = 'x';
  EXPECT_STREQ(get("string").String, "first");
  set("string", get("string"));
  EXPECT_STREQ(get("string").String, "first");
  set("string", text(nullptr));
  EXPECT_EQ(get("string").Typ, ovTY_String);
  EXPECT_EQ(get("string").String, nullptr);
}

TEST_F(Properties, TakeContainersOver) {
  orvy_Buff Buffer = orvy_buffCreate(8);
  set("buffer", {.Typ = ovTY_Buffer, .Buffer = orvy_buffCopy(&Buffer)});
  EXPECT_EQ(Buffer.Block->RefCount, 2u);
  set("buffer", {.Typ = ovTY_Buffer, .Buffer = orvy_buffCreate(2)});
  EXPECT_EQ(Buffer.Block->RefCount, 1u);
  orvy_buffDispose(&Buffer);

  orvy_Dict *Dict = orvy_dictCreate();
  set("dict", {.Typ = ovTY_Dict, .Dict = Dict});
  EXPECT_EQ(get("dict").Dict, Dict);

  orvy_List List = orvy_listCreate(ovTY_I32);
  orvy_listAppend(&List, i32(4));
  set("list", {.Typ = ovTY_List, .List = List});
  EXPECT_EQ(Obj->List.Head->Val.i32, 4);

  orvy_Vector Vector = orvy_vecCreate(ovTY_U32);
  set("vector", {.Typ = ovTY_Vector, .Vector = Vector});
  EXPECT_EQ(Obj->Vector.VecData, Vector.VecData);
}

TEST_F(Properties, KeepAContainerThatIsStoredOverItself) {
  orvy_listAppend(&Obj->List, i32(4));
  orvy_vecPush(&Obj->Vector, u16(5));
  for (const char *Name : {"buffer", "dict", "list", "vector"})
    set(Name, get(Name));
  orvy_buffWritableData(&Obj->Buffer)[0] = 1;
  EXPECT_EQ(orvy_dictGetNextKey(Obj->Dict, nullptr), nullptr);
  EXPECT_EQ(Obj->List.Head->Val.i32, 4);
  EXPECT_EQ(orvy_vecGetSize(&Obj->Vector), 1u);
}

TEST_F(Properties, CountAViewOfTheirBlockAsOneReference) {
  // A view of the same block with a reference of its own replaces the one that was there.
  orvy_Buff View = orvy_buffCopy(&Obj->Buffer);
  orvy_buffRemoveHead(&View, 1);
  set("buffer", {.Typ = ovTY_Buffer, .Buffer = View});
  EXPECT_EQ(Obj->Buffer.Block->RefCount, 1u);
  EXPECT_EQ(orvy_buffLen(&Obj->Buffer), 3u);

  orvy_Class *Cls = orvy_classForObject(Obj);
  orvy_addProperty(Cls, "pair", offsetof(Model, Buffer), ovTY_Buffer, 1, nullptr, nullptr, "");
  orvy_Buff Kept = orvy_buffCopy(&Obj->Buffer);
  set("pair", {.Typ = ovTY_Buffer, .Buffer = orvy_buffCopy(&Kept)});
  EXPECT_EQ(Kept.Block->RefCount, 2u) << "the field's and ours";
  orvy_buffDispose(&Kept);
}

TEST_F(Properties, AppendElementsToVectors) {
  set("vector", u16(7));
  set("vector", u32(8));
  set("vector", text("9"));
  ASSERT_EQ(orvy_vecGetSize(&Obj->Vector), 1u);
  EXPECT_EQ(static_cast<uint16_t *>(orvy_vecGetData(&Obj->Vector))[0], 7);
}

TEST_F(Properties, KeepTheirOwnedValueWhenAnotherKindIsStored) {
  set("string", text("kept"));
  for (const char *Name : {"string", "buffer", "dict", "list"})
    set(Name, u64(0x1234567890));
  EXPECT_STREQ(Obj->String, "kept");
  EXPECT_EQ(orvy_buffLen(&Obj->Buffer), 4u);
  EXPECT_EQ(Obj->List.Head, nullptr);
}

TEST_F(Properties, OfInternalPointersCannotBeStoredInto) {
  Obj->Internal = this;
  set("internal", {.Typ = ovTY_InternalPtr, .InternalPtr = nullptr});
  EXPECT_EQ(get("internal").InternalPtr, this);
}

TEST_F(Properties, OfReferenceArraysGrowWhateverTheIndex) {
  EXPECT_EQ(orvy_getPropDynLength(Obj, "dynamic"), 0);
  EXPECT_EQ(get("dynamic").Typ, ovTY_Invalid);
  set("dynamic", ref(Obj, &Echo), 0);
  orvy_writeValue(Obj, "dynamic", ref(Obj, &Echoes[1]), 77);
  EXPECT_EQ(orvy_getPropDynLength(Obj, "dynamic"), 2);
  EXPECT_EQ(orvy_getPropLength(Obj, "dynamic"), 1);
  EXPECT_EQ(get("dynamic", 1).Typ, ovTY_IfaceRef);
  EXPECT_EQ(get("dynamic", 1).IfaceRef.Iface, &Echoes[1]);
  EXPECT_EQ(get("dynamic", 2).Typ, ovTY_Invalid);
}

TEST_F(Properties, RefuseReferencesWithoutTheRequiredInterface) {
  orvy_registerClass(
      "Plain",
      [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, sizeof(orvy_Object)); },
      std::free);
  void *Plain = orvy_createObject("Plain", "plain", nullptr);
  set("strict", ref(Obj, &Echo));
  set("strict", ref(Plain, &Echo));
  set("strict", ref(nullptr, &Echo));
  EXPECT_EQ(Obj->Strict.Obj, Obj);
  EXPECT_THAT(
      Log.take(),
      ElementsAre(":error: m : property 'strict' requires interface not implemented in 'Plain'",
                  ":error: m : property 'strict' requires interface not implemented in '<null>'"));

  set("ref", ref(Plain, nullptr));
  EXPECT_EQ(Obj->Ref.Obj, Plain);
  EXPECT_THAT(Log.take(), IsEmpty());

  // The last requirement holds.
  orvy_requireInterface(orvy_classForObject(Obj), "strict", "WireIface");
  set("strict", ref(Obj, &Wires[0]));
  EXPECT_EQ(Obj->Strict.Iface, &Wires[0]);
  orvy_requireInterface(orvy_classForObject(Obj), "strict", "NobodysIface");
  set("strict", ref(Obj, &Echo));
  EXPECT_EQ(Obj->Strict.Iface, &Wires[0]);
  EXPECT_THAT(Log.take(), ElementsAre(":error: m : property 'strict' requires interface not "
                                      "implemented in 'Model'"));
}

TEST_F(Properties, TellWhatTheyAre) {
  EXPECT_EQ(orvy_getPropLength(Obj, "u8"), 4);
  EXPECT_EQ(orvy_getPropLength(Obj, "ref"), 1);
  EXPECT_EQ(orvy_getPropLength(Obj, "u8[0]"), -1);
  EXPECT_EQ(orvy_getPropDynLength(Obj, "u8"), 4);
  EXPECT_EQ(orvy_getPropDynLength(Obj, nullptr), -1);
  EXPECT_EQ(orvy_getPropType(Obj, "dict"), ovTY_Dict);
  EXPECT_EQ(orvy_getPropType(nullptr, "dict"), ovTY_Invalid);
  EXPECT_TRUE(orvy_isPseudoProperty(Obj, "hooked"));
  EXPECT_FALSE(orvy_isNormalProperty(Obj, "hooked"));
  EXPECT_TRUE(orvy_isNormalProperty(Obj, "quiet"));
  EXPECT_FALSE(orvy_isPseudoProperty(Obj, "quiet"));
  EXPECT_TRUE(orvy_objectHasProp(Obj, "u8[3]"));
  EXPECT_TRUE(orvy_objectHasProp(Obj, "object.timeSource"));
  EXPECT_FALSE(orvy_objectHasProp(Obj, "nothing"));
  EXPECT_FALSE(orvy_objectHasProp(nullptr, "u8"));
  EXPECT_STREQ(orvy_getPropName(Obj, "u8[3]").Name, "u8");
  EXPECT_EQ(orvy_getPropName(Obj, "u8[3]").Obj, Obj);
  EXPECT_EQ(orvy_getPropName(Obj, "nothing").Obj, nullptr);
}

TEST_F(Properties, GiveOutTheirStorage) {
  EXPECT_EQ(orvy_getPropref(Obj, "u32[2]").Ptr, &Obj->U32[2]);
  EXPECT_EQ(orvy_getPropref(Obj, "u32[2]").Typ, ovTY_U32);
  EXPECT_EQ(orvy_getPropref(Obj, "refs[3]").Ptr, &Obj->Refs[3]);
  for (const char *Name : {"nothing", "hooked", "u32[4]", "u32[-1]"}) {
    EXPECT_EQ(orvy_getPropref(Obj, Name).Ptr, nullptr) << Name;
    EXPECT_EQ(orvy_getPropref(Obj, Name).Typ, ovTY_Invalid) << Name;
  }
  EXPECT_EQ(orvy_getPropref(nullptr, "u32").Ptr, nullptr);
  EXPECT_THROW(orvy_getPropref(Obj, "u32[]"), std::invalid_argument);
}

TEST_F(Properties, ArePagedInNameOrder) {
  orvy_Class *Cls = orvy_registerExternalClass("Paged");
  orvy_addPseudoProperty(Cls, "b", ovTY_U8, 2, nullptr, nullptr, nullptr, nullptr, "");
  orvy_addProperty(Cls, "c", 16, ovTY_I64, 3, nullptr, nullptr, nullptr);
  orvy_addProperty(Cls, "a", 8, ovTY_Obj, 1, nullptr, nullptr, "");
  orvy_PropInfo Rows[3] = {};
  EXPECT_EQ(orvy_propInfoForClass(Cls, 0, 0, nullptr), 3u);
  EXPECT_EQ(orvy_propInfoForClass(Cls, 1, 1, Rows), 1u);
  EXPECT_STREQ(Rows[0].Name, "b");
  EXPECT_EQ(Rows[0].Offset, -1);
  EXPECT_EQ(Rows[0].Count, 2u);
  EXPECT_EQ(Rows[1].Name, nullptr);
  EXPECT_EQ(orvy_propInfoForClass(Cls, 1, UINT32_MAX, Rows), 2u);
  EXPECT_STREQ(Rows[1].Name, "c");
  EXPECT_EQ(Rows[1].Typ, ovTY_I64);
  EXPECT_EQ(Rows[1].Offset, 16);
  EXPECT_EQ(orvy_propInfoForClass(Cls, 3, 9, Rows), 0u);
  EXPECT_EQ(orvy_propInfoForClass(nullptr, 0, 9, Rows), 0u);
}

TEST_F(Properties, AreReplacedByOnesOfTheSameName) {
  orvy_Class *Cls = orvy_classForObject(Obj);
  orvy_addProperty(Cls, "wires", offsetof(Model, U8), ovTY_U8, 4, nullptr, nullptr, "");
  EXPECT_EQ(orvy_getPropType(Obj, "wires"), ovTY_U8);
  const orvy::objsys::Class *Record = orvy::objsys::fromHandle(Cls);
  EXPECT_EQ(Record->getPortIface("wires"), nullptr) << "the pairing was with the old property";
  EXPECT_EQ(Record->getPortProp("wire"), nullptr);
}

TEST_F(Properties, WarnAboutTheirName) {
  orvy_Class *Cls = orvy_classForObject(Obj);
  orvy_addProperty(Cls, "a-b", offsetof(Model, U8), ovTY_U8, -3, nullptr, nullptr, "");
  EXPECT_THAT(Log.take(), ElementsAre(":warning:: adding property with invalid name 'a-b', note "
                                      "that this will be an error in future releases"));
  EXPECT_EQ(orvy_getPropLength(Obj, "a-b"), 0);
}

TEST_F(Properties, OfANullClassAreIgnored) {
  orvy_addProperty(nullptr, "a", 0, ovTY_U8, 1, nullptr, nullptr, "");
  orvy_addPseudoProperty(nullptr, "a", ovTY_U8, 1, nullptr, nullptr, nullptr, nullptr, "");
  orvy_requireInterface(nullptr, "a", "B");
  orvy_requireInterface(orvy_classForObject(Obj), "nothing", "B");
  EXPECT_THAT(Log.take(), IsEmpty());
}

} // namespace
