#include "Testing/LogCapture.h"
#include "Testing/Model.h"
#include "Testing/ScriptedCpu.h"
#include "Testing/TempDir.h"

#include "orvy/Support/Orvy.h"
#include "orvy/Support/OutStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <string>
#include <vector>

using namespace orvy::testing;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

using Build = std::function<void(orvy_Component *)>;
Build Building;                    // what the create function of "Box" goes on with
std::vector<std::string> Disposed; // names of parts, in the order of their disposal

struct Part {
  orvy_Object Super;
  std::string Name;
};

void *createBox(const char *Name, int, const orvy_CreateArg *) {
  orvy_Component *C = orvy_componentCreate(Name);
  if (Building)
    std::exchange(Building, nullptr)(C);
  return C;
}

class Components : public ::testing::Test {
protected:
  Components() {
    orvy::sim::registerAndCreateSimulatorObject();
    Disposed.clear();
    orvy_registerComponent("Box", createBox, nullptr);
    orvy_registerClass(
        "Part",
        [](const char *Name, int, const orvy_CreateArg *) -> void * {
          return new Part{{}, Name};
        },
        [](void *Obj) {
          Disposed.push_back(static_cast<Part *>(Obj)->Name);
          delete static_cast<Part *>(Obj);
        });
    registerModel();
    ScriptedCpu::registerClass();
  }

  static orvy_Component *make(const char *Name, Build How = nullptr) {
    Building = std::move(How);
    return static_cast<orvy_Component *>(orvy_createObject("Box", Name, nullptr));
  }
  static void *inner(orvy_Component *C, const char *Cls, const char *Name) {
    return orvy_createComponentObject(C, Cls, nullptr, "%s", Name);
  }

  CleanSystem Clean;
  LogCapture Log;
};

TEST_F(Components, NameInnerObjectsUnderTheirOwnName) {
  orvy_Component *C = make("board", [](orvy_Component *C) {
    orvy_createComponentObject(C, "ScriptedCpu", nullptr, "cpu%d", 0);
    inner(C, "Part", "part");
  });
  EXPECT_STREQ(C->Name, "board");
  EXPECT_TRUE(orvy_isComponent(C));
  void *Cpu = orvy_objectForName("board-cpu0");
  ASSERT_NE(Cpu, nullptr);
  EXPECT_EQ(orvy_componentGetObject(C, "cpu0"), Cpu);
  EXPECT_EQ(static_cast<orvy_Object *>(Cpu)->Component, C);
  for (const char *Absent : {"cpu", "cpu01", "board-cpu0", ""})
    EXPECT_EQ(orvy_componentGetObject(C, Absent), nullptr) << Absent;
  EXPECT_EQ(orvy_vecGetSize(&C->Objects), 2u);
  EXPECT_EQ(orvy_vecGetSize(&C->Clocks), 1u);

  EXPECT_EQ(inner(C, "Part", "part"), nullptr); // the name is taken
  EXPECT_EQ(inner(C, "NoSuchClass", "other"), nullptr);
  EXPECT_EQ(orvy_vecGetSize(&C->Objects), 2u);
  EXPECT_EQ(orvy_registerComponent("Box", createBox, nullptr), nullptr);

  orvy_registerComponent("Own", createBox, [](void *Obj) {
    Disposed.push_back("own");
    orvy_componentDispose(Obj);
  });
  orvy_disposeObject(orvy_createObject("Own", "own", nullptr));
  EXPECT_THAT(Disposed, ElementsAre("own"));
}

TEST_F(Components, LoseAPartThatDisposesOfThemOrItself) {
  static ObjectIface Table = {nullptr, nullptr, nullptr, orvy_disposeObject, nullptr};
  const auto Create = [](const char *Name, int, const orvy_CreateArg *) -> void * {
    orvy_disposeObject(orvy_objectForName("lost"));
    return new Part{{}, Name};
  };
  const auto Dispose = [](void *Obj) { delete static_cast<Part *>(Obj); };
  orvy_Class *Cls = orvy_registerClass("Hostile", Create, Dispose);
  orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &Table, 0, "");
  EXPECT_EQ(inner(make("lost"), "Hostile", "x"), nullptr);
  EXPECT_EQ(orvy_objectForName("lost"), nullptr);
  EXPECT_EQ(orvy_objectForName("lost-x"), nullptr);

  orvy_Component *C = make("kept");
  inner(C, "ScriptedCpu", "cpu");
  EXPECT_EQ(inner(C, "Hostile", "x"), nullptr) << "it goes when it hears of its time source";
  EXPECT_EQ(orvy_objectForName("kept-x"), nullptr);
  orvy_disposeObject(C);
}

TEST_F(Components, GiveInnerObjectsTheTimeOfTheirFirstClock) {
  orvy_Component *C = make("board", [](orvy_Component *C) {
    inner(C, "Part", "early");
    inner(C, "ScriptedCpu", "cpu0");
    inner(C, "ScriptedCpu", "cpu1");
    inner(C, "Part", "late");
    inner(C, "Box", "box");
  });
  void *Cpu = orvy_componentGetObject(C, "cpu0");
  const auto SourceOf = [](orvy_Component *C, const char *Name) {
    return static_cast<orvy_Object *>(orvy_componentGetObject(C, Name))->TimeSource;
  };
  for (const char *Name : {"early", "cpu0", "cpu1"})
    EXPECT_EQ(SourceOf(C, Name), nullptr) << Name;
  for (const char *Name : {"late", "box"})
    EXPECT_EQ(SourceOf(C, Name), Cpu) << Name;
  // A group as the first clock passes for its own first one; an empty one for none.
  for (orvy_Component *First : {C, make("empty")}) {
    orvy_Component *Unit = make(First == C ? "unit" : "other");
    orvy_vecPush(&Unit->Clocks, ref(First, orvy_getInterface(First, "ClockIface", 0)));
    inner(Unit, "Part", "part");
    EXPECT_EQ(SourceOf(Unit, "part"), First == C ? Cpu : nullptr);
  }
}

TEST_F(Components, DelegateNamesInConnectAndInLookUps) {
  Model *In = nullptr, *Out = createModel("out");
  orvy_Component *C = make("board", [&](orvy_Component *C) {
    In = static_cast<Model *>(inner(C, "Model", "in"));
    EXPECT_EQ(orvy_componentAddDelegateProp(C, "link", In, "strict"), 0);
    EXPECT_EQ(orvy_componentAddDelegateProp(C, "link", In, "ref"), -1);
    EXPECT_EQ(orvy_componentAddDelegateProp(C, "third", In, "refs[2]"), 0);
    EXPECT_EQ(orvy_componentAddDelegateProp(C, "quanta", In, "refs"), 0);
    EXPECT_EQ(orvy_componentAddDelegateIface(C, "in", ref(In, &Echo).IfaceRef), 0);
    EXPECT_EQ(orvy_componentAddDelegateIface(C, "in", {}), -1);
    EXPECT_EQ(orvy_componentAddDelegateIface(C, "second[1]", ref(In, &Echoes[1]).IfaceRef), 0);
    EXPECT_EQ(orvy_componentAddDelegateIface(C, "ObjectIface", ref(In, &Echo).IfaceRef), 0);
  });
  // On a component a delegate is the only meaning of a name.
  EXPECT_EQ(orvy_connect(C, "link", C, "in"), 0);
  EXPECT_EQ(In->Strict.Obj, In);
  EXPECT_EQ(orvy_connect(C, "link", Out, "echo"), -1); // connected already
  EXPECT_EQ(Log.count("board-in : property array is full"), 1);
  EXPECT_EQ(orvy_connect(C, "third", Out, "echo"), 0);
  EXPECT_EQ(In->Refs[2].Obj, Out);
  EXPECT_EQ(orvy_connect(Out, "ref", C, "second[1]"), 0);
  EXPECT_EQ(Out->Ref.Iface, &Echoes[1]);
  Log.clear();
  EXPECT_EQ(orvy_connect(C, "nothing", Out, "echo"), -1);
  EXPECT_EQ(orvy_connect(C, "link[0]", Out, "echo"), -1); // names are exact
  EXPECT_EQ(orvy_connect(Out, "refs", C, "ClockIface"), -1);
  EXPECT_EQ(orvy_connect(Out, "refs", C, "second"), -1);
  EXPECT_THAT(Log.take(), IsEmpty());

  // The look-ups try the delegate first, the questions the component's own table.
  EXPECT_EQ(orvy_getPropName(C, "link").Obj, In);
  EXPECT_STREQ(orvy_getPropName(C, "link").Name, "strict");
  EXPECT_EQ(orvy_getPropName(C, "quanta").Obj, In);
  EXPECT_EQ(orvy_getPropName(C, "clocks").Obj, C);
  EXPECT_EQ(orvy_getPropName(C, "nothing").Obj, nullptr);
  EXPECT_EQ(orvy_getInterfaceRef(C, "in", -1).Obj, In);
  EXPECT_EQ(orvy_getInterfaceRef(C, "ObjectIface", -1).Obj, In);
  EXPECT_EQ(orvy_getInterfaceRef(C, "ClockIface", -1).Obj, C);
  EXPECT_EQ(orvy_getInterfaceRef(C, "nothing", -1).Obj, nullptr);
  EXPECT_EQ(orvy_getInterface(C, "in", -1), nullptr);
  for (const char *Name : {"link", "third", "clocks", "clocks[3]"})
    EXPECT_EQ(orvy_objectHasProp(C, Name), 1) << Name;
  for (const char *Name : {"in", "second[1]", "ClockIface"})
    EXPECT_EQ(orvy_objectHasIface(C, Name), 1) << Name;
  EXPECT_EQ(orvy_objectHasProp(C, "nothing"), 0);
  EXPECT_EQ(orvy_objectHasIface(C, "second"), 0);
  EXPECT_EQ(orvy_getValue(C, "quanta", -1).Typ, ovTY_I32); // values are the component's own

  EXPECT_EQ(orvy_componentGetDelegateProp(C, "nothing").Obj, nullptr);
  EXPECT_EQ(orvy_componentGetDelegateProp(C, "nothing").Name, nullptr);
  EXPECT_EQ(orvy_componentGetDelegateIface(C, "link").Obj, nullptr);
  EXPECT_EQ(orvy_componentGetDelegateIface(C, "link").Iface, nullptr);

  // Delegates to what is gone lead nowhere.
  orvy_disposeObject(In);
  EXPECT_EQ(orvy_connect(C, "third", Out, "echo"), -1);
  EXPECT_EQ(orvy_connect(Out, "refs", C, "in"), -1);
}

/// A unit with a part, a box of two parts, and another part.
void makeUnit(orvy_Component *C) {
  orvy_createComponentObject(C, "Part", nullptr, "first");
  Building = [](orvy_Component *Box) {
    for (int Idx = 0; Idx < 2; ++Idx)
      orvy_createComponentObject(Box, "Part", nullptr, "p%d", Idx);
  };
  orvy_createComponentObject(C, "Box", nullptr, "box");
  orvy_createComponentObject(C, "Part", nullptr, "last");
}

TEST_F(Components, DisposeOfWhatTheyOwnInAnyOrder) {
  const struct {
    std::vector<const char *> Order;
    std::vector<std::string> Expected;
  } Cases[] = {
      {{"unit"}, {"unit-first", "unit-box-p0", "unit-box-p1", "unit-last"}},
      {{"unit-box", "unit"}, {"unit-box-p0", "unit-box-p1", "unit-first", "unit-last"}},
      {{"unit-box-p1", "unit-last", "unit"},
       {"unit-box-p1", "unit-last", "unit-first", "unit-box-p0"}},
      {{"unit-last", "unit-box-p0", "unit-first", "unit-box", "unit"},
       {"unit-last", "unit-box-p0", "unit-first", "unit-box-p1"}},
  };
  for (const auto &Case : Cases) {
    Disposed.clear();
    make("unit", makeUnit);
    for (const char *Name : Case.Order)
      orvy_disposeObject(orvy_objectForName(Name));
    EXPECT_EQ(Disposed, Case.Expected);
    EXPECT_EQ(orvy_getObjectCount(), 1u); // sim
    EXPECT_EQ(orvy_getComponentCount(), 0u);
  }
  // A stale entry is no reason to take what has come to lie at its address.
  orvy_Component *C = make("unit", makeUnit);
  orvy_disposeObject(orvy_objectForName("unit-last"));
  Model *Other = createModel("other");
  static_cast<void **>(orvy_vecGetData(&C->Objects))[2] = Other;
  orvy_disposeObject(C);
  EXPECT_TRUE(orvy_objectForName("other"));
}

TEST_F(Components, GoWithAClearWhateverTheirNesting) {
  for (auto Clear : {orvy_objsysClearObjects, orvy_objsysClear}) {
    Disposed.clear();
    make("unit", makeUnit);
    make("zero", makeUnit);
    std::vector<std::string> Roots;
    const auto Note = [](orvy_Component *C, void *Arg) {
      static_cast<std::vector<std::string> *>(Arg)->push_back(orvy_nameForObject(C));
    };
    orvy_foreachRootComponent(Note, &Roots);
    EXPECT_THAT(Roots, ElementsAre("unit", "zero"));
    orvy_foreachComponent(Note, &Roots);
    EXPECT_THAT(Roots, ElementsAre("unit", "zero", "unit-box", "unit", "zero-box", "zero"));
    Clear();
    EXPECT_EQ(Disposed.size(), 8u);
    EXPECT_EQ(orvy_getObjectCount(), 1u); // sim
    EXPECT_EQ(orvy_getComponentCount(), 0u);
  }
}

TEST_F(Components, RefuseClocksOfAnotherKind) {
  orvy_Component *C = make("board");
  Model *M = createModel("model");
  orvy_Propval Pv = {ovTY_Vector, {}};
  Pv.Vector = orvy_vecCreate(ovTY_IfaceRef);
  orvy_vecPush(&Pv.Vector, ref(M, &Echo));
  orvy_setValue(C, "clocks", Pv, -1);
  EXPECT_EQ(orvy_vecGetSize(&C->Clocks), 0u);
  EXPECT_EQ(Log.count("takes references to ClockIface only"), 1);
}

TEST_F(Components, RefuseClocksThatWouldRunThem) {
  orvy_Component *A = make("a"), *B = make("b");
  const auto SetClock = [](orvy_Component *Of, orvy_Component *To) {
    orvy_Propval Pv = {ovTY_Vector, {}};
    Pv.Vector = orvy_vecCreate(ovTY_IfaceRef);
    orvy_vecPush(&Pv.Vector, ref(To, orvy_getInterface(To, "ClockIface", -1)));
    orvy_setValue(Of, "clocks", Pv, -1);
    return orvy_vecGetSize(&Of->Clocks);
  };
  EXPECT_EQ(SetClock(A, A), 0u);
  EXPECT_EQ(SetClock(A, B), 1u);
  EXPECT_EQ(SetClock(B, A), 0u);
  EXPECT_EQ(Log.count("leads back to its own component"), 2);
}

TEST_F(Components, ComeBackWithWhatTheirCreationDoesNotMake) {
  TempDir Dir;
  const std::string Path = Dir.path("unit.json"), Again = Dir.path("again.json");
  const auto Text = [](const std::string &File) {
    std::stringstream S;
    S << std::ifstream(File).rdbuf();
    return S.str();
  };
  make("unit", [](orvy_Component *C) {
    makeUnit(C);
    C->CurrentClock = 1, C->StepClock = 2, C->Quanta = 3, C->QuantaStart = 4, C->QuantaEnd = 5;
    orvy_componentAddDelegateProp(C, "p", orvy_objectForName("unit-first"), "object.timeSource");
  });
  ASSERT_EQ(orvy_serialiseJSON(Path.c_str()), 0);
  ASSERT_EQ(orvy_deserialiseJSON(Path.c_str()), 0);
  ASSERT_EQ(orvy_serialiseJSON(Again.c_str()), 0);
  EXPECT_EQ(Text(Path), Text(Again));
  auto *C = static_cast<orvy_Component *>(orvy_objectForName("unit"));
  EXPECT_EQ(C->QuantaEnd, 5);
  EXPECT_STREQ(orvy_componentGetDelegateProp(C, "p").Name, "object.timeSource");
  EXPECT_EQ(orvy_componentGetObject(C, "box"), orvy_objectForName("unit-box"));
  Disposed.clear();
  orvy_disposeObject(C);
  EXPECT_EQ(Disposed.size(), 4u);
  EXPECT_EQ(orvy_getObjectCount(), 1u); // sim
}

/// Otherwise nobody would dispose of it.
TEST_F(Components, GiveUpPartsThatACheckpointDoesNotList) {
  TempDir Dir;
  const Build MakePart = [](orvy_Component *C) { inner(C, "Part", "part"); };
  orvy_Component *C = make("box", MakePart);
  orvy_vecDispose(&C->Objects);
  C->Objects = orvy_vecCreate(ovTY_Obj);
  ASSERT_EQ(orvy_serialiseJSON(Dir.path("x.json").c_str()), 0);
  orvy_disposeObject(orvy_objectForName("box-part"));
  Building = MakePart;
  ASSERT_EQ(orvy_deserialiseJSON(Dir.path("x.json").c_str()), 0);
  Disposed.clear();
  orvy_objsysClearObjects();
  EXPECT_THAT(Disposed, ElementsAre("box-part"));

  std::stringstream Text;
  Text << std::ifstream(Dir.path("x.json")).rdbuf();
  std::string Damaged = Text.str();
  Damaged.insert(Damaged.find("\"box\""), R"("zz": { "className": "Part", "extra": null }, )");
  Building = MakePart;
  Disposed.clear();
  EXPECT_EQ(orvy_deserialiseJSON(Dir.file("damaged.json", Damaged).c_str()), 1);
  EXPECT_THAT(Disposed, UnorderedElementsAre("box-part", "zz"));
}

/// Neither the lists of the component nor the place of what was added later are lost.
TEST_F(Components, AreRestoredWithPartsDisposedAloneAndAddedLater) {
  TempDir Dir;
  orvy_Component *C = make("box", [](orvy_Component *C) {
    inner(C, "Part", "first");
    inner(C, "Part", "second");
  });
  orvy_disposeObject(orvy_objectForName("box-first"));
  // It may get the address of what has gone, and is no part for it.
  orvy_createObject("Part", "alone", nullptr);
  inner(C, "Part", "added");
  const size_t Listed = orvy_vecGetSize(&C->Objects);
  LogCapture Log;
  ASSERT_EQ(orvy_serialiseJSON(Dir.path("x.json").c_str()), 0);
  EXPECT_EQ(orvy_vecGetSize(&C->Objects), Listed) << "a save changes nothing";
  ASSERT_EQ(orvy_deserialiseJSON(Dir.path("x.json").c_str()), 0);
  EXPECT_THAT(Log.take(), IsEmpty());
  C = static_cast<orvy_Component *>(orvy_objectForName("box"));
  for (const char *Name : {"second", "added"})
    EXPECT_EQ(orvy_componentGetObject(C, Name),
              orvy_objectForName((std::string("box-") + Name).c_str()));
  auto ownerOf = [](const char *Name) {
    return static_cast<orvy_Object *>(orvy_objectForName(Name))->Component;
  };
  EXPECT_EQ(ownerOf("box-second"), C);
  EXPECT_EQ(ownerOf("box-added"), C);
  EXPECT_EQ(ownerOf("alone"), nullptr);
  EXPECT_EQ(orvy_vecGetSize(&C->Objects), 2u);
}

/// A class that was only qualified as one has no record to look into.
TEST_F(Components, AreOfRegisteredClassesOnly) {
  orvy_Class *Cls = orvy_registerClass(
      "Bare", [](const char *, int, const orvy_CreateArg *) -> void * { return new orvy_Object{}; },
      [](void *Obj) { delete static_cast<orvy_Object *>(Obj); });
  orvy_qualifyAs(Cls, 5);
  void *Obj = orvy_createObject("Bare", "bare", nullptr);
  EXPECT_TRUE(orvy_isComponent(Obj));
  EXPECT_EQ(orvy_getPropName(Obj, "object.timeSource").Obj, Obj);
  EXPECT_EQ(orvy_objectHasIface(Obj, "x"), 0);
  EXPECT_EQ(orvy_connect(Obj, "object.timeSource", Obj, "x"), -1);
  orvy_execCommand("component-forest");
}

/// Who owns whom is a tree, whatever a checkpoint says.
TEST_F(Components, DoNotOwnEachOtherInCircles) {
  TempDir Dir;
  orvy_Component *A = make("a"), *B = make("b");
  orvy_Propval Pv = {ovTY_Obj, {}};
  for (void *Obj : {static_cast<void *>(B), static_cast<void *>(A)}) {
    Pv.Obj = Obj;
    orvy_vecPush(&A->Objects, Pv);
    orvy_vecPush(&B->Objects, Pv);
  }
  auto *Sim = static_cast<orvy_Object *>(orvy_objectForName("sim"));
  Pv.Obj = Sim;
  orvy_vecPush(&A->Objects, Pv);
  // Only what is owned is saved; A lists itself too.
  A->Super.Component = B;
  B->Super.Component = Sim->Component = A;
  ASSERT_EQ(orvy_serialiseJSON(Dir.path("x.json").c_str()), 0);
  A->Super.Component = B->Super.Component = Sim->Component = nullptr;
  ASSERT_EQ(orvy_deserialiseJSON(Dir.path("x.json").c_str()), 0);
  B = static_cast<orvy_Component *>(orvy_objectForName("b"));
  EXPECT_EQ(B->Super.Component, orvy_objectForName("a"));
  EXPECT_EQ(B->Super.Component->Super.Component, nullptr);
  EXPECT_EQ(Sim->Component, nullptr) << "it survives what lists it";
}

} // namespace
