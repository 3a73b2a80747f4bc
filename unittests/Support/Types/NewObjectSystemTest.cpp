#include "orvy/Support/NewObjectSystem.h"

#include "Testing/Model.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <thread>

using namespace orvy;
using namespace orvy::testing;

namespace {

struct Device {
  orvy_Object Super;
  uint32_t Size;
  int Count;
};

int Disposals = 0;

void *create(const char *Name, int Count, const orvy_CreateArg *Args) {
  if (std::strcmp(Name, "refused") == 0)
    return nullptr;
  return new Device{{}, Count > 0 ? Args[0].Val.u32 : 0, Count};
}

void dispose(void *Obj) {
  ++Disposals;
  delete static_cast<Device *>(Obj);
}

TEST(ObjectTypes, DescribeTheRecordsOfTheObjectSystem) {
  orvy_typesystemInitOrvyTypes();
  const TypeSystem &Types = getTypeSystem();
  const auto *Tag = static_cast<const EnumType *>(Types.getType("orvy_Type"));
  ASSERT_TRUE(Tag);
  EXPECT_EQ(Tag->Kind, Type::Enum);
  EXPECT_EQ(Tag->getSize(), 4u);
  EXPECT_EQ(Tag->getValueForName("List"), 21);
  EXPECT_STREQ(Tag->getNameForValue(21), "List");
  EXPECT_STREQ(Tag->getNameForValue(ovTY_IfaceRefArray), "IfaceRefArray");
  EXPECT_EQ(Tag->getNameForValue(22), nullptr);

  const auto *Value = static_cast<const UnionType *>(Types.getType("orvy_Propval_anonunion"));
  ASSERT_TRUE(Value);
  EXPECT_EQ(Value->getFields().size(), 14u);
  EXPECT_EQ(Value->getSize(), 8u);

  const StructType *Propval = Types.getStructTypeForName("orvy_Propval");
  ASSERT_TRUE(Propval);
  EXPECT_EQ(Propval->findField("")->Offset, offsetof(orvy_Propval, u64));
  const StructType *Arg = Types.getStructTypeForName("orvy_CreateArg");
  ASSERT_TRUE(Arg);
  EXPECT_EQ(Arg->findField("Val")->Offset, offsetof(orvy_CreateArg, Val));
  EXPECT_TRUE(Types.getType("*void (*)(*char,int,*orvy_CreateArg)"));
  EXPECT_EQ(Types.getType("none"), nullptr);
  EXPECT_EQ(Types.getStructTypeForName("none"), nullptr);
}

TEST(NativeClasses, BeginWithTheHeaderOfAnObject) {
  const NativeClass *Cls = xorvy_registerClass("Device", create, dispose);
  ASSERT_TRUE(Cls);
  EXPECT_EQ(xorvy_registerClass("Device", create, dispose), nullptr);
  EXPECT_EQ(getTypeSystem().getClassTypeForName("Device"), Cls);
  EXPECT_EQ(Cls->Kind, Type::Struct);
  const std::pair<const char *, size_t> Fields[] = {
      {"Class", offsetof(orvy_Object, Class)},
      {"TimeSource", offsetof(orvy_Object, TimeSource)},
      {"Component", offsetof(orvy_Object, Component)},
      {"LoggingFlags", offsetof(orvy_Object, LoggingFlags)},
      {"WillDisposeNotification", offsetof(orvy_Object, WillDisposeNotification)},
      {"DisposedNotification", offsetof(orvy_Object, DisposedNotification)},
  };
  ASSERT_EQ(Cls->getFields().size(), std::size(Fields));
  for (size_t Index = 0; Index < std::size(Fields); ++Index) {
    EXPECT_EQ(Cls->getFields()[Index].Name, Fields[Index].first);
    EXPECT_EQ(Cls->getFields()[Index].Offset, Fields[Index].second);
  }
  EXPECT_EQ(Cls->getSize(), sizeof(orvy_Object));
  EXPECT_EQ(Cls->Create->Name, "Device::create");
  EXPECT_EQ(Cls->Create->Ty->Name, "*void (*)(*char,int,*void)");
  EXPECT_EQ(Cls->Dispose->Name, "Device::dispose");
  EXPECT_EQ(Cls->Dispose->Ty->Name, "void (*)(*void)");
}

TEST(NativeClasses, MakeObjectsThatTheFirstSystemDoesNotKnow) {
  const CleanSystem Clean;
  NativeClass *Cls = xorvy_registerClass("Sensor", create, dispose);
  ObjectSystem &Objects = getObjectSystem();
  EXPECT_EQ(xorvy_createObject("None", "a", nullptr), nullptr);
  EXPECT_EQ(xorvy_createObject("Sensor", "refused", nullptr), nullptr);

  orvy_CreateArg Args[2] = {};
  Args[0].Key = "size";
  Args[0].Val.Typ = ovTY_U32;
  Args[0].Val.u32 = 64;
  auto *Made = static_cast<Device *>(xorvy_createObject("Sensor", "a", Args));
  ASSERT_TRUE(Made);
  EXPECT_EQ(Made->Size, 64u);
  EXPECT_EQ(Made->Count, 1);
  EXPECT_EQ(static_cast<void *>(Made->Super.Class), Cls);
  EXPECT_EQ(Made->Super.TimeSource, nullptr);
  EXPECT_EQ(Made->Super.Component, nullptr);
  EXPECT_EQ(Made->Super.LoggingFlags, 0u);
  EXPECT_EQ(Made->Super.WillDisposeNotification, -1);
  EXPECT_EQ(Made->Super.DisposedNotification, -1);
  EXPECT_EQ(orvy_objectForName("a"), nullptr);
  EXPECT_EQ(Objects.getObjectForName("a"), Made);
  EXPECT_STREQ(Objects.getNameForObject(Made), "a");
  EXPECT_EQ(Objects.getTypeForObject(Made), Cls);

  void *Second = xorvy_createObject("Sensor", "a", nullptr);
  EXPECT_EQ(Objects.getObjectForName("a"), Second);
  EXPECT_EQ(Objects.getNameForObject(Made), nullptr) << "the name is the newer one's";
  xorvy_disposeObject(Made);
  EXPECT_EQ(Objects.getTypeForObject(Made), nullptr);
  EXPECT_EQ(Objects.getObjectForName("a"), Second);
  xorvy_disposeObject(Second);
  EXPECT_EQ(Objects.getNameForObject(Second), nullptr);
  xorvy_disposeObject(Second);
  EXPECT_EQ(Disposals, 2);
}

TEST(ObjectSystems, MakeZeroedStructuresAndKeepRecords) {
  ObjectSystem &Objects = getObjectSystem();
  StructType Ty("Pair");
  Ty.addField("A", &IntegerType::s_I64Ty, "");
  Ty.addField("B", &IntegerType::s_I64Ty, "");
  EXPECT_EQ(Objects.createObject("Pair", "p"), nullptr);
  getTypeSystem().addStructType(&Ty);
  getTypeSystem().addStructType(&Ty);
  EXPECT_EQ(getTypeSystem().getStructTypeForName("Pair"), &Ty);
  auto *Pair = static_cast<int64_t *>(Objects.createObject("Pair", "p"));
  ASSERT_TRUE(Pair);
  EXPECT_EQ(Pair[0] | Pair[1], 0);
  EXPECT_EQ(Objects.getTypeForObject(Pair), &Ty);
  void *Other = Objects.createObject("Pair", "q");
  Objects.registerObject("first", Pair);
  const auto *OfPair = Objects.registerObject("second", Pair);
  const auto *OfOther = Objects.registerObject("other", Other);
  EXPECT_EQ(OfPair->Name, "second") << "it took the place of the first, and not of the other's";
  EXPECT_EQ(OfPair->Ptr, Pair);
  EXPECT_EQ(OfOther->Name, "other");
  EXPECT_EQ(OfOther->Ptr, Other);
  Objects.disposeObject(Other);
  EXPECT_EQ(OfPair->Name, "second");
  EXPECT_STREQ(Objects.getNameForObject(Pair), "p") << "a record names nothing";
  Objects.disposeObject(Pair);
  EXPECT_EQ(Objects.getObjectForName("p"), nullptr);
}

TEST(InterfaceTypes, GrowAsTablesOfFunctions) {
  StructType *Ty = orvy_registerInterfaceType("EchoIface");
  ASSERT_TRUE(Ty);
  EXPECT_EQ(orvy_registerInterfaceType("EchoIface"), nullptr);
  EXPECT_EQ(orvy_getInterfaceType("EchoIface"), Ty);
  EXPECT_EQ(orvy_getInterfaceType("None"), nullptr);
  const orvy_MetaType *Int = orvy_typesysGetBuiltIn(ovBT_Int);
  const orvy_MetaType *Void = orvy_typesysGetBuiltIn(ovBT_Void);
  const orvy_MetaType *Double = orvy_typesysGetBuiltIn(ovBT_Double);
  orvy_ifaceTypeAddFunc(Ty, "echo", Int, Int, Double, nullptr);
  orvy_ifaceTypeAddFunc(Ty, "reset", Void, nullptr);
  ASSERT_EQ(Ty->getFields().size(), 2u);
  EXPECT_EQ(Ty->findField("echo")->Offset, 0u);
  EXPECT_EQ(Ty->findField("echo")->Ty->Name, "int (*)(*void,int,double)");
  EXPECT_EQ(Ty->findField("reset")->Offset, 8u);
  EXPECT_EQ(Ty->findField("reset")->Ty->Name, "void (*)(*void)");
  EXPECT_EQ(Ty->getSize(), 16u);
}

TEST(InterfaceTypesThreads, RegisterAndFindAtOnce) {
  int Taken = 0;
  std::mutex Lock;
  std::vector<std::thread> Threads;
  for (int Count = 0; Count < 4; ++Count)
    Threads.emplace_back([&] {
      for (int Index = 0; Index < 100; ++Index) {
        const std::string Name = "Iface" + std::to_string(Index);
        const bool IsMine = orvy_registerInterfaceType(Name.c_str()) != nullptr;
        const std::lock_guard<std::mutex> Guard(Lock);
        Taken += IsMine ? 1 : 0;
        EXPECT_TRUE(orvy_getInterfaceType(Name.c_str()));
      }
    });
  for (std::thread &Each : Threads)
    Each.join();
  EXPECT_EQ(Taken, 100);
}

} // namespace
