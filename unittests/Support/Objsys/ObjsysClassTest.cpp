#include "Objsys/ObjsysClass.h"
#include "Testing/LogCapture.h"
#include "Testing/Model.h"
#include "orvy/Support/CreateArgs.h"
#include "orvy/Support/Notifications.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>

using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> Calls;

void *create(const char *Name, int Argc, const orvy_CreateArg *) {
  Calls.push_back("create " + std::string(Name) + " " + std::to_string(Argc));
  auto *Self = static_cast<orvy_Object *>(std::malloc(sizeof(orvy_Object)));
  std::memset(Self, 0xee, sizeof(orvy_Object));
  return Self;
}

void dispose(void *Obj) {
  auto *Self = static_cast<orvy_Object *>(Obj);
  Calls.push_back(Self->Class ? "dispose with a class" : "dispose");
  std::free(Obj);
}

std::vector<std::string> takeCalls() {
  return std::exchange(Calls, {});
}

// Classes Thing and Cpu, and the external class Other.
class Objects : public ::testing::Test {
protected:
  Objects() {
    orvy_qualifyAsCpu(Cpu);
    orvy_qualifyAs(Group, 5);
    Calls.clear();
  }

  static void *make(const char *Name, const char *ClsName = "Thing") {
    return orvy_createObject(ClsName, Name, nullptr);
  }
  static std::vector<std::string> names() {
    std::vector<std::string> Names;
    orvy_foreachObject(
        [](void *Obj, void *Arg) {
          static_cast<std::vector<std::string> *>(Arg)->push_back(orvy_nameForObject(Obj));
        },
        &Names);
    return Names;
  }
  // What creating and adding say on the error stream.
  template <typename Function> static std::string errorsOf(Function Func) {
    ::testing::internal::CaptureStderr();
    Func();
    return ::testing::internal::GetCapturedStderr();
  }

  CleanSystem System;
  orvy_Class *Thing = orvy_registerClass("Thing", create, dispose);
  orvy_Class *Cpu = orvy_registerClass("Cpu", create, dispose);
  orvy_Class *Group = orvy_registerClass("Group", create, dispose);
  orvy_Class *Other = orvy_registerExternalClass("Other");
  LogCapture Log;
};

TEST_F(Objects, GetAFreshHeader) {
  auto *Obj = static_cast<orvy_Object *>(make("a"));
  ASSERT_NE(Obj, nullptr);
  EXPECT_EQ(Obj->Class, Thing);
  EXPECT_EQ(Obj->TimeSource, nullptr);
  EXPECT_EQ(Obj->Component, nullptr);
  EXPECT_EQ(Obj->LoggingFlags, 0x4444444444444444u);
  EXPECT_EQ(Obj->WillDisposeNotification,
            orvy_publishNotification("orvy.objectWillBeDisposed", Obj));
  EXPECT_EQ(Obj->DisposedNotification, orvy_publishNotification("orvy.objectDisposed", Obj));
  EXPECT_LT(Obj->WillDisposeNotification, Obj->DisposedNotification);
}

TEST_F(Objects, AreFoundByNameAndAddress) {
  void *Obj = make("a");
  EXPECT_EQ(orvy_objectForName("a"), Obj);
  EXPECT_STREQ(orvy_nameForObject(Obj), "a");
  EXPECT_EQ(orvy_classForObject(Obj), Thing);
  EXPECT_EQ(orvy_classForObjectName("a"), Thing);
  EXPECT_EQ(orvy_classForName("Thing"), Thing);
  EXPECT_STREQ(orvy_nameForClass(Thing), "Thing");

  EXPECT_EQ(orvy_objectForName("b"), nullptr);
  EXPECT_EQ(orvy_objectForName(nullptr), nullptr);
  EXPECT_EQ(orvy_nameForObject(this), nullptr);
  EXPECT_EQ(orvy_classForObject(nullptr), nullptr);
  EXPECT_EQ(orvy_classForObjectName(nullptr), nullptr);
  EXPECT_EQ(orvy_classForName("Nothing"), nullptr);
}

TEST_F(Objects, GetTheirArgumentsCounted) {
  orvy_CreateArg Args[] = {{"size", u32(4)}, {"name", text("x")}, {nullptr, {}}};
  orvy_createObject("Thing", "a", Args);
  orvy_createObject("Thing", "b", Args + 2);
  make("c");
  EXPECT_THAT(takeCalls(), ElementsAre("create a 2", "create b 0", "create c 0"));
}

TEST_F(Objects, ReadTheirArgumentsInAnyTypeThatHoldsTheValue) {
  void *Obj = make("a");
  const struct {
    orvy_ArgKind Kind;
    orvy_Propval Val;
    uint64_t Value;
  } Rows[] = {
      {ovAK_Number, u8(200), 200},
      {ovAK_Number, i64(INT64_MAX), 0x7fffffffffffffff},
      {ovAK_Number, u64(UINT64_MAX), UINT64_MAX},
      {ovAK_Number, real(4096), 4096},
      {ovAK_Number, text("0x1_0000"), 65536},
      {ovAK_Number, text("1e6"), 1000000},
      {ovAK_Size, text("4MiB"), 4194304},
      {ovAK_Size, text("4 kB"), 4000},
      {ovAK_Size, text("1.5KiB"), 1536},
      {ovAK_Size, text("15EiB"), 0xf000000000000000},
      {ovAK_Size, i32(64), 64},
      {ovAK_Freq, text("50MHz"), 50000000},
      {ovAK_Freq, text("0.5kHz"), 500},
      {ovAK_Real, text("2.5"), 0x4004000000000000},
      {ovAK_Real, i32(-1), 0xbff0000000000000},
      {ovAK_Object, text("a"), uintptr_t(Obj)},
      {ovAK_Object, {.Typ = ovTY_Obj, .Obj = Obj}, uintptr_t(Obj)},
  };
  for (const auto &Row : Rows) {
    uint64_t Value = 0;
    const orvy_ArgSpec Specs[] = {{"key", Row.Kind, &Value, 0, 0, nullptr}, {}};
    const orvy_CreateArg Args[] = {{"key", Row.Val}, {}};
    EXPECT_EQ(orvy_readCreateArgs("C", "x", 1, Args, Specs, 0), 0);
    EXPECT_EQ(Value, Row.Value) << orvy_typeToName(Row.Val.Typ);
  }
  const char *Text = nullptr;
  const orvy_ArgSpec Specs[] = {{"key", ovAK_Text, &Text, 0, 0, nullptr}, {}};
  const orvy_CreateArg Args[] = {{"key", text("mine")}, {}};
  EXPECT_EQ(orvy_readCreateArgs("C", "x", 1, Args, Specs, 0), 0);
  EXPECT_STREQ(Text, "mine");
  EXPECT_EQ(orvy_readCreateArgs("C", "x", 0, nullptr, nullptr, 0), 0);
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Objects, RefuseArgumentsThatDoNotFit) {
  const struct {
    orvy_ArgKind Kind;
    orvy_Propval Val;
    const char *Why;
  } Rows[] = {
      {ovAK_Number, i32(-1), "takes a whole number, not -1"},
      {ovAK_Number, real(1.5), "takes a whole number, not 1.5"},
      {ovAK_Number, real(1e20), "takes a whole number, not 1e+20"},
      {ovAK_Number, text("4MiB"), "takes a whole number, not \"4MiB\""},
      {ovAK_Number, text(""), "takes a whole number, not \"\""},
      {ovAK_Number, text(nullptr), "takes a whole number, not <null>"},
      {ovAK_Number, {.Typ = ovTY_Dict}, "takes a whole number, not <<dictionary>>"},
      {ovAK_Size, text("16EiB"), "takes bytes, as in 4096 or 64KiB, not"},
      {ovAK_Size, text("4MHz"), "takes bytes, as in 4096 or 64KiB, not"},
      {ovAK_Size, text("4MiB x"), "takes bytes, as in 4096 or 64KiB, not"},
      {ovAK_Freq, text("1MiB"), "takes hertz, as in 50000000 or 50MHz, not"},
      {ovAK_Real, text("fast"), "takes a number, not \"fast\""},
      {ovAK_Text, i32(5), "takes a text, not 5"},
      {ovAK_Object, text("nobody"), "takes the name of an object, not \"nobody\""},
      {ovAK_Object, {.Typ = ovTY_Obj, .Obj = this}, "takes the name of an object, not"},
  };
  for (const auto &Row : Rows) {
    uint64_t Value = 7, Other = 8;
    const orvy_ArgSpec Specs[] = {
        {"other", ovAK_Number, &Other, 0, 0, ""}, {"key", Row.Kind, &Value, 0, 0, ""}, {}};
    const orvy_CreateArg Args[] = {{"other", u8(1)}, {"key", Row.Val}, {}};
    EXPECT_EQ(orvy_readCreateArgs("C", "x", 2, Args, Specs, 0), -1) << Row.Why;
    EXPECT_EQ(Log.count("'x' of class 'C' is not created: argument 'key' " + std::string(Row.Why)),
              1)
        << Row.Why;
    EXPECT_EQ(Value, 7u);
    EXPECT_EQ(Other, 8u) << "none is taken if one is refused";
    Log.clear();
  }
  uint64_t Value = 0;
  const orvy_ArgSpec Specs[] = {{"key", ovAK_Number, &Value, 2, 3, "What for"}, {}};
  const orvy_CreateArg Twice[] = {{"key", u8(2)}, {"key", u8(3)}, {}};
  EXPECT_EQ(orvy_readCreateArgs("C", "x", 2, Twice, Specs, 0), -1);
  EXPECT_EQ(orvy_readCreateArgs("C", "x", 2, Twice, Specs, ORVY_ARGS_LENIENT), 0);
  EXPECT_EQ(Value, 3u) << "the last one counts";
  EXPECT_EQ(orvy_readCreateArgs("C", "x", 1, Twice, Specs, 0), 0);
  const orvy_CreateArg Unknown[] = {{"kex", u8(2)}, {"key", u8(3)}, {}};
  EXPECT_EQ(orvy_readCreateArgs("C", "x", 2, Unknown, Specs, 0), -1);
  EXPECT_EQ(orvy_readCreateArgs("C", "x", 2, Unknown, Specs, ORVY_ARGS_LENIENT), 0);
  EXPECT_EQ(Value, 3u);
  const std::string Takes = "there is no argument 'kex', it takes 'key' (What for: a whole number; "
                            "2 to 3)";
  EXPECT_EQ(Log.count("argument 'key' is given twice"), 2);
  EXPECT_EQ(Log.count("not created: " + Takes), 1);
  EXPECT_EQ(Log.count("'x' of class 'C': " + Takes), 1);
}

TEST_F(Objects, AreRefusedOnTheErrorStream) {
  make("taken");
  takeCalls();
  struct {
    const char *ClsName, *ObjName, *Error;
  } Rows[] = {
      {"Nothing", "a", "no class found matching 'Nothing'\n"},
      {"Nothing", "taken", "no class found matching 'Nothing'\n"},
      {"Thing", "taken", "object 'taken' already exists\n"},
      {"Other", "a", "cannot create object 'a' of external class 'Other'\n"},
      {nullptr, "a", "no class found matching ''\n"},
  };
  for (const auto &Row : Rows)
    EXPECT_EQ(
        errorsOf([&] { EXPECT_EQ(orvy_createObject(Row.ClsName, Row.ObjName, nullptr), nullptr); }),
        Row.Error);
  EXPECT_THAT(takeCalls(), IsEmpty());
  EXPECT_THAT(names(), ElementsAre("taken"));
}

TEST_F(Objects, WarnAboutTheirNameAfterCreation) {
  make("a--b");
  errorsOf([] { make("1", "Nothing"); });
  EXPECT_THAT(
      Log.take(),
      ElementsAre(
          ":warning: a--b : Was created with an invalid object name, this will be an error "
          "in the future.",
          ":warning:: Was created with an invalid object name, this will be an error in the "
          "future."));
  EXPECT_NE(orvy_objectForName("a--b"), nullptr);
}

TEST_F(Objects, OfExternalClassesOnlyGetAName) {
  char Elsewhere[64];
  std::memset(Elsewhere, 0x55, sizeof Elsewhere);
  EXPECT_EQ(orvy_addObject("Other", "ext", Elsewhere), Elsewhere);
  EXPECT_EQ(orvy_classForObject(Elsewhere), Other);
  EXPECT_TRUE(orvy_isExternal(Elsewhere));
  EXPECT_FALSE(orvy_isMemory(Elsewhere));
  orvy_disposeObject(Elsewhere);
  EXPECT_EQ(orvy_objectForName("ext"), nullptr);
  EXPECT_EQ(std::string(Elsewhere, 64), std::string(64, 0x55));
  EXPECT_FALSE(orvy::objsys::fromHandle(Other)->getProperty("object.timeSource"));
}

TEST_F(Objects, AreAddedToExternalClassesOnlyAndOnce) {
  int A, B;
  make("taken");
  EXPECT_EQ(errorsOf([&] { orvy_addObject("Nothing", "a", &A); }),
            "no class found matching 'Nothing'\n");
  EXPECT_EQ(errorsOf([&] { orvy_addObject("Other", "taken", &A); }),
            "object 'taken' already exists\n");
  EXPECT_EQ(errorsOf([&] { orvy_addObject("Thing", "a", &A); }),
            "cannot add object 'a' of internal class 'Thing'\n");
  EXPECT_EQ(orvy_addObject("Other", "a", &A), &A);
  EXPECT_EQ(orvy_addObject("Other", "b", &B), &B);
  EXPECT_EQ(errorsOf([&] { EXPECT_EQ(orvy_addObject("Other", "c", &A), nullptr); }),
            "object 'a' already exists\n");
  EXPECT_EQ(orvy_addObject("Other", "d", nullptr), nullptr);
  EXPECT_THAT(names(), ElementsAre("a", "b", "taken"));
}

TEST_F(Objects, WithoutAnAddressAreNotCreated) {
  orvy_registerClass(
      "Failing", [](const char *, int, const orvy_CreateArg *) -> void * { return nullptr; },
      dispose);
  EXPECT_EQ(make("a", "Failing"), nullptr);
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(Objects, ThatTakeTheirOwnNameWhileBeingMadeAreDisposed) {
  orvy_registerClass(
      "Nested",
      [](const char *Name, int, const orvy_CreateArg *) {
        make(Name);
        return create(Name, 0, nullptr);
      },
      dispose);
  EXPECT_EQ(errorsOf([] { EXPECT_EQ(make("a", "Nested"), nullptr); }),
            "object 'a' already exists\n");
  EXPECT_THAT(takeCalls(), ElementsAre("create a 0", "create a 0", "dispose"));
  EXPECT_EQ(orvy_classForObjectName("a"), Thing);
}

TEST_F(Objects, WhoseCreationForgetsTheirClassAreDisposed) {
  const orvy_ObjectCreateFunc Clearing = [](const char *Name, int, const orvy_CreateArg *) {
    orvy_objsysClear();
    return create(Name, 0, nullptr);
  };
  orvy_Class *Cls = orvy_registerClass("Clearing", Clearing, dispose);
  EXPECT_EQ(errorsOf([&] {
              // The name is the class's own.
              EXPECT_EQ(orvy_createObject(orvy_nameForClass(Cls), "a", nullptr), nullptr);
            }),
            "class 'Clearing' is gone since object 'a' was being created\n");
  EXPECT_THAT(takeCalls(), ElementsAre("create a 0", "dispose"));
  EXPECT_EQ(orvy_getObjectCount(), 0u);

  orvy_registerClass(
      "Again",
      [](const char *Name, int, const orvy_CreateArg *) {
        orvy_objsysClear();
        orvy_registerClass("Again", create, dispose);
        return create(Name, 0, nullptr);
      },
      dispose);
  void *Obj = make("a", "Again");
  ASSERT_NE(Obj, nullptr);
  EXPECT_EQ(orvy_classForObject(Obj), orvy_classForName("Again"));
}

TEST_F(Objects, AreDisposedInASetOrder) {
  struct Watch {
    static void will(void *, void *Source, void *Info) {
      auto *Header = static_cast<orvy_Object *>(Info);
      orvy_qualifyAsMemory(Header->Class);
      if (!orvy_isMemory(Info) || orvy_isCpu(Info))
        Calls.push_back("not what it was");
      Calls.push_back(std::string("will") + (Source == Info ? "" : " of another") +
                      (Header->Class ? " with header" : "") +
                      (orvy_nameForObject(Info) ? " with name" : "") +
                      (orvy_objectForName("a") ? " in registry" : ""));
    }
    static void gone(void *Arg, void *, void *Info) {
      Calls.push_back(Info == Arg ? "disposed" : "disposed another");
    }
  };
  void *Obj = make("a");
  takeCalls();
  orvy_subscribeNotification("orvy.objectWillBeDisposed", Obj, nullptr, Watch::will);
  orvy_subscribeNotification("orvy.objectDisposed", Obj, Obj, Watch::gone);
  orvy_disposeObject(Obj);
  orvy_disposeObject(Obj);
  orvy_disposeObject(nullptr);
  EXPECT_THAT(takeCalls(), ElementsAre("will with header", "dispose", "disposed"));
  EXPECT_THAT(Log.take(), IsEmpty());
  EXPECT_NE(make("a"), nullptr) << "the name is free again";
}

TEST_F(Objects, MayBeDisposedFromTheirOwnNotification) {
  void *Obj = make("a");
  takeCalls();
  orvy_subscribeNotification("orvy.objectWillBeDisposed", Obj, nullptr,
                             [](void *, void *, void *Info) { orvy_disposeObject(Info); });
  orvy_disposeObject(Obj);
  EXPECT_THAT(takeCalls(), ElementsAre("dispose"));
}

TEST_F(Objects, SurviveAClearFromANotification) {
  void *Obj = make("a");
  make("b");
  takeCalls();
  orvy_subscribeNotification("orvy.objectWillBeDisposed", Obj, nullptr,
                             [](void *, void *, void *) { orvy_objsysClear(); });
  orvy_disposeObject(Obj);
  EXPECT_THAT(takeCalls(), ElementsAre("dispose", "dispose"));
  EXPECT_EQ(orvy_getObjectCount(), 0u);
}

TEST_F(Objects, KnowWhatTheyAreWhileTheirDisposalIsTold) {
  static std::vector<int> Told;
  const auto Tell = [](void *Clear, void *, void *Info) {
    if (Clear)
      orvy_objsysClear();
    Told = {orvy_isMemory(Info), orvy_isQualifiedAs(Info, 4), orvy_isCpu(Info)};
  };
  orvy_qualifyAsMemory(Thing);
  for (void *Clear : {static_cast<void *>(nullptr), static_cast<void *>(&Told)}) {
    void *Obj = make("a");
    orvy_subscribeNotification("orvy.objectWillBeDisposed", Obj, Clear, Tell);
    orvy_disposeObject(Obj);
    orvy_unsubscribeNotification("orvy.objectWillBeDisposed", Obj, Tell);
    EXPECT_THAT(Told, Clear ? ElementsAre(0, 0, 0) : ElementsAre(1, 1, 0));
    EXPECT_THAT(Log.take(), IsEmpty());
  }
}

TEST_F(Objects, HearOfTheirTimeSourceOnceItIsSet) {
  static std::vector<void *> Heard;
  static const ObjectIface Table = {.timeSourceSet = [](void *Obj) {
    Heard.push_back(static_cast<orvy_Object *>(Obj)->TimeSource);
  }};
  orvy_addInterface(Thing, "ObjectIface", "ObjectIface", const_cast<ObjectIface *>(&Table), 0, "");
  orvy::clockmodel::registerClock();
  void *Obj = make("a");
  void *First = make("first", "Clock");
  void *Second = make("second", "Clock");
  orvy_setTimeSource(Obj, First);
  orvy_setTimeSource(Obj, Second);
  EXPECT_THAT(Heard, ElementsAre(First, Second));
  orvy_disposeObject(First);
  EXPECT_EQ(static_cast<orvy_Object *>(Obj)->TimeSource, Second);
  orvy_disposeObject(Second);
  EXPECT_EQ(static_cast<orvy_Object *>(Obj)->TimeSource, nullptr);
}

TEST_F(Objects, GoInTheOrderOfTheirNames) {
  static std::vector<void *> Gone;
  void *B = make("b"), *C = make("c"), *A = make("a");
  orvy_subscribeNotification("orvy.objectDisposed", nullptr, nullptr,
                             [](void *, void *, void *Info) { Gone.push_back(Info); });
  orvy_objsysClearObjects();
  EXPECT_THAT(Gone, ElementsAre(A, B, C));
}

TEST_F(Objects, MayClearDuringAClear) {
  orvy::sim::registerAndCreateSimulatorObject();
  void *Sim = orvy_objectForName("sim");
  orvy_Class *SimClass = orvy_classForObject(Sim);
  orvy_subscribeNotification("orvy.objectWillBeDisposed", make("a"), nullptr,
                             [](void *, void *, void *) { orvy_objsysClear(); });
  make("b");
  takeCalls();
  orvy_objsysClear();
  EXPECT_THAT(takeCalls(), ElementsAre("dispose", "dispose"));
  EXPECT_THAT(names(), ElementsAre("sim"));
  EXPECT_EQ(orvy_classForObject(orvy_objectForName("sim")), SimClass);
  EXPECT_EQ(orvy_classForName("Thing"), nullptr);
  orvy_eventDepublishAll();
}

TEST_F(Objects, MayGoWhileTheyAreEnumerated) {
  void *Objs[] = {make("a"), make("b", "Cpu"), make("c", "Cpu")};
  takeCalls();
  const auto DisposeAll = [](void *, void *Arg) {
    Calls.push_back("called");
    for (void *Obj : *static_cast<void *(*)[3]>(Arg))
      orvy_disposeObject(Obj);
  };
  orvy_foreachObject(DisposeAll, &Objs);
  EXPECT_THAT(takeCalls(), ElementsAre("called", "dispose", "dispose", "dispose"));
}

TEST_F(Objects, TheSimulatorCannotBeDisposed) {
  orvy::sim::registerAndCreateSimulatorObject();
  void *Sim = orvy_objectForName("sim");
  orvy_disposeObject(Sim);
  EXPECT_EQ(orvy_objectForName("sim"), Sim);
  EXPECT_STREQ(orvy_nameForClass(orvy_classForObject(Sim)), "Simulator");
  EXPECT_EQ(Log.count(":error: sim : cannot be disposed of"), 1);
  orvy_eventDepublishAll();
}

TEST_F(Objects, MayDisposeEachOtherDuringAClear) {
  void *A = make("a");
  void *B = make("b");
  takeCalls();
  orvy_subscribeNotification("orvy.objectWillBeDisposed", A, B,
                             [](void *Arg, void *, void *) { orvy_disposeObject(Arg); });
  orvy_objsysClearObjects();
  EXPECT_THAT(takeCalls(), ElementsAre("dispose", "dispose"));
  EXPECT_EQ(orvy_classForName("Thing"), Thing);
  EXPECT_NE(make("a"), nullptr);
}

TEST_F(Objects, OwnedByAComponentAreLeftToItByAClear) {
  void *Owner = make("owner", "Group");
  auto *Inner = static_cast<orvy_Object *>(make("inner"));
  Inner->Component = static_cast<orvy_Component *>(Owner);
  takeCalls();
  orvy_objsysClearObjects();
  EXPECT_THAT(takeCalls(), ElementsAre("dispose"));
  EXPECT_EQ(Inner->Class, Thing) << "still whole";
  EXPECT_EQ(orvy_getObjectCount(), 0u);
  EXPECT_EQ(orvy_getComponentCount(), 0u);
  std::free(Inner);
}

TEST_F(Objects, AndClassesAreForgottenByAClear) {
  int External;
  make("a");
  make("cpu", "Cpu");
  orvy_addObject("Other", "ext", &External);
  orvy_objsysClear();
  EXPECT_EQ(orvy_getObjectCount(), 0u);
  EXPECT_EQ(orvy_getProcessorCount(), 0u);
  EXPECT_EQ(orvy_classForName("Thing"), nullptr);
  EXPECT_EQ(orvy_classForObject(&External), nullptr);
  EXPECT_NE(orvy_registerClass("Thing", create, dispose), nullptr);
}

TEST_F(Objects, AllButTheSimulatorAreDisposedByAClear) {
  orvy::sim::registerAndCreateSimulatorObject();
  void *Sim = orvy_objectForName("sim");
  orvy_Class *SimClass = orvy_classForObject(Sim);
  make("a"), make("z", "Cpu");
  orvy_objsysClearObjects();
  EXPECT_THAT(names(), ElementsAre("sim"));
  EXPECT_EQ(orvy_classForName("Thing"), Thing);
  make("b");
  orvy_objsysClear();
  EXPECT_THAT(names(), ElementsAre("sim"));
  EXPECT_EQ(orvy_objectForName("sim"), Sim);
  EXPECT_EQ(orvy_classForObject(Sim), SimClass);
  EXPECT_EQ(orvy_classForName("Simulator"), SimClass);
  EXPECT_EQ(orvy_classForName("Thing"), nullptr);
  EXPECT_EQ(orvy_getProcessorCount(), 0u);
  orvy_eventDepublishAll();
}

TEST_F(Objects, AreListedInTheirOrders) {
  void *Z = make("z", "Cpu");
  void *A = make("a", "Cpu");
  void *M = make("m");
  void *G = make("g", "Group");
  void *Objs[5] = {};
  EXPECT_EQ(orvy_getObjectCount(), 4u);
  EXPECT_EQ(orvy_getObjects(0, Objs), 0u);
  EXPECT_EQ(Objs[0], nullptr);
  EXPECT_EQ(orvy_getObjects(2, Objs), 2u);
  EXPECT_THAT(Objs, ElementsAre(A, G, nullptr, nullptr, nullptr));
  EXPECT_EQ(orvy_getObjects(9, Objs), 4u);
  EXPECT_THAT(Objs, ElementsAre(A, G, M, Z, nullptr));

  ASSERT_EQ(orvy_getProcessorCount(), 2u);
  EXPECT_EQ(orvy_getProcessors()[0], Z);
  EXPECT_EQ(orvy_getProcessors()[1], A);
  orvy_disposeObject(Z);
  EXPECT_EQ(orvy_getProcessors()[0], A);
  orvy_disposeObject(A);
  EXPECT_EQ(orvy_getProcessors(), nullptr);
  EXPECT_EQ(orvy_getComponents()[0], G);
}

TEST_F(Objects, AreEnumerated) {
  make("z", "Cpu"), make("a", "Cpu");
  auto *Inner = static_cast<orvy_Object *>(make("inner", "Group"));
  auto *Root = static_cast<orvy_Component *>(make("root", "Group"));
  Inner->Component = Root;
  std::vector<const void *> Seen;
  auto Note = [](auto *Item, void *Arg) {
    static_cast<std::vector<const void *> *>(Arg)->push_back(Item);
  };
  orvy_foreachProcessor(Note, &Seen);
  EXPECT_THAT(std::exchange(Seen, {}),
              ElementsAre(orvy_objectForName("z"), orvy_objectForName("a")));
  orvy_foreachComponent(Note, &Seen);
  EXPECT_THAT(std::exchange(Seen, {}), ElementsAre(Inner, Root));
  orvy_foreachRootComponent(Note, &Seen);
  EXPECT_THAT(std::exchange(Seen, {}), ElementsAre(Root));
  orvy_foreachClass(Note, &Seen);
  EXPECT_THAT(Seen, ElementsAre(Cpu, Group, Other, Thing));
  Inner->Component = nullptr; // the clear takes both
}

TEST_F(Objects, AreClassified) {
  void *Obj = make("a");
  for (unsigned Qualifier : {0u, 1u, 2u, 4u, 5u, 6u, 4711u}) {
    orvy_qualifyAs(Thing, Qualifier);
    EXPECT_EQ(orvy_isCpu(Obj), Qualifier == 1) << Qualifier;
    EXPECT_EQ(orvy_isMachine(Obj), Qualifier == 2) << Qualifier;
    EXPECT_EQ(orvy_isMemory(Obj), Qualifier == 4) << Qualifier;
    EXPECT_EQ(orvy_isComponent(Obj), Qualifier == 5) << Qualifier;
    EXPECT_TRUE(orvy_isQualifiedAs(Obj, Qualifier));
    EXPECT_FALSE(orvy_isQualifiedAs(Obj, Qualifier + 1));
  }
  orvy_qualifyAsCpu(Thing);
  EXPECT_TRUE(orvy_isCpu(Obj));
  orvy_qualifyAsMachine(Thing);
  EXPECT_TRUE(orvy_isMachine(Obj));
  orvy_qualifyAsMemory(Thing);
  EXPECT_TRUE(orvy_isMemory(Obj));
  EXPECT_FALSE(orvy_isExternal(Obj));
  EXPECT_THAT(Log.take(), IsEmpty());

  char Expected[80];
  std::snprintf(Expected, sizeof Expected, ":error:: isExternal: object %p has no class",
                static_cast<void *>(this));
  EXPECT_FALSE(orvy_isExternal(this));
  EXPECT_THAT(Log.take(), ElementsAre(Expected));
}

TEST_F(Objects, ShareTheTableOfTheirClass) {
  int Table;
  void *Obj = make("a");
  EXPECT_EQ(orvy_getVTable(Obj), nullptr);
  EXPECT_EQ(orvy_setVTable(Thing, &Table), 0);
  EXPECT_EQ(orvy_getVTable(Obj), &Table);
  EXPECT_EQ(orvy_getVTableForClass(Thing), &Table);
}

TEST_F(Objects, HaveATimeSourceProperty) {
  void *Obj = make("a");
  void *Clock = make("cpu", "Cpu");
  EXPECT_EQ(orvy_getValue(Obj, "object.timeSource", 0).Typ, ovTY_Obj);
  orvy_setValue(Obj, "object.timeSource", {.Typ = ovTY_Obj, .Obj = Clock}, 0);
  EXPECT_EQ(static_cast<orvy_Object *>(Obj)->TimeSource, Clock);
  EXPECT_EQ(orvy::objsys::fromHandle(Thing)->getProperty("object.timeSource")->Doc,
            "Time source object (a cpu or machine object)");
}

TEST_F(Objects, ClassNamesAreUniqueAndChecked) {
  EXPECT_EQ(orvy_registerClass("Thing", create, std::free), nullptr);
  EXPECT_EQ(orvy_registerExternalClass("Thing"), nullptr);
  EXPECT_FALSE(orvy::objsys::fromHandle(Thing)->External);
  EXPECT_THAT(Log.take(), IsEmpty());
  EXPECT_NE(orvy_registerClass("1st", create, dispose), nullptr);
  EXPECT_THAT(Log.take(), ElementsAre(":warning:: Registering class with invalid name '1st'. Note "
                                      "that this will be an error in future releases."));
}

TEST_F(Objects, LoggingCategoriesHaveNames) {
  struct {
    unsigned Id;
    const char *Name;
    int Result;
  } Rows[] = {
      {7, "uart", -1},   {16, "uart", -1},  {8, "sim", -1},  {8, "default", -1},
      {8, "target", -1}, {8, "config", -1}, {8, "", -1},     {8, nullptr, -1},
      {8, "uart", 0},    {15, "dma", 0},    {15, "dma2", 0},
  };
  for (const auto &Row : Rows)
    EXPECT_EQ(orvy_addLoggingCategory(Thing, Row.Id, Row.Name), Row.Result) << Row.Id;
  EXPECT_EQ(orvy_addLoggingCategory(nullptr, 8, "uart"), -1);
  const char *Names[] = {"",     "sim", "target", "config", "", "", "", "",
                         "uart", "",    "",       "",       "", "", "", "dma2"};
  for (unsigned Id = 0; Id < 16; ++Id)
    EXPECT_STREQ(orvy_getLoggingCategory(Thing, Id), Names[Id]) << Id;
  EXPECT_EQ(orvy_getLoggingCategory(Thing, 16), nullptr);
  EXPECT_EQ(orvy_getLoggingCategory(nullptr, 8), nullptr);
}

TEST_F(Objects, PropertiesAndInterfacesOfAClassAreEnumeratedByName) {
  orvy_addPseudoProperty(Thing, "z", ovTY_U8, 1, nullptr, nullptr, nullptr, nullptr, "");
  orvy_addPseudoProperty(Thing, "Z", ovTY_U8, 1, nullptr, nullptr, nullptr, nullptr, "");
  orvy_addInterface(Thing, "b", "T", &Echo, 0, "");
  orvy_addInterface(Thing, "a", "T", &Echo, 0, "");
  std::vector<std::string> Names;
  auto Note = [](orvy_Class *, const char *Name, void *Arg) {
    static_cast<std::vector<std::string> *>(Arg)->push_back(Name);
  };
  orvy_foreachProperty(Thing, Note, &Names);
  EXPECT_THAT(std::exchange(Names, {}), ElementsAre("Z", "object.timeSource", "z"));
  orvy_foreachInterface(Thing, Note, &Names);
  EXPECT_THAT(std::exchange(Names, {}), ElementsAre("a", "b"));
  orvy_foreachProperty(nullptr, Note, &Names);
  orvy_foreachInterface(Thing, nullptr, &Names);
  EXPECT_THAT(Names, IsEmpty());
}

} // namespace
