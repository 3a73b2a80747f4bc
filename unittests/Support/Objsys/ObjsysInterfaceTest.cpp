#include "Objsys/ObjsysClass.h"
#include "Testing/LogCapture.h"
#include "Testing/Model.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <ctime>
#include <stdexcept>

using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Interfaces : public ::testing::Test {
protected:
  std::string hasNoClass(const char *Function, const void *Obj) {
    char Line[120];
    std::snprintf(Line, sizeof Line, ":error:: %s: object %p has no class", Function, Obj);
    return Line;
  }

  CleanSystem System;
  Model *A = createModel("a");
  Model *B = createModel("b");
  LogCapture Log;
};

TEST_F(Interfaces, AreFoundByNameAndIndex) {
  struct {
    const char *Name;
    int Idx;
    void *Table;
  } Rows[] = {
      {"echo", 0, &Echo},           {"echo", -1, &Echo},          {"echoes", -1, &Echoes[0]},
      {"echoes", 2, &Echoes[2]},    {"echoes[2]", 0, &Echoes[2]}, {"echoes[2]", -1, &Echoes[2]},
      {"echoes[1]", 3, &Echoes[1]}, {"echoes[3", 0, &Echoes[3]},  {"echoes", 4, nullptr},
      {"echoes[-1]", 0, nullptr},   {"nothing", 0, nullptr},      {nullptr, 0, nullptr},
  };
  for (const auto &Row : Rows) {
    EXPECT_EQ(orvy_getInterface(A, Row.Name, Row.Idx), Row.Table) << (Row.Name ? Row.Name : "");
    orvy_IfaceRef Ref = orvy_getInterfaceRef(A, Row.Name, Row.Idx);
    EXPECT_EQ(Ref.Iface, Row.Table);
    EXPECT_EQ(Ref.Obj, Row.Table ? A : nullptr);
  }
  EXPECT_THROW(orvy_getInterface(A, "echoes[]", 0), std::invalid_argument);
  orvy_addInterfaceArray(orvy_classForObject(A), "none", "EchoIface", nullptr, 2, 8, "");
  EXPECT_EQ(orvy_getInterface(A, "none[1]", 0), nullptr);
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Interfaces, OfAnUnknownObjectAreAnError) {
  EXPECT_EQ(orvy_getInterface(this, "echo", 0), nullptr);
  EXPECT_EQ(orvy_getInterfaceName(this, &Echo), nullptr);
  EXPECT_THAT(Log.take(), ElementsAre(hasNoClass("getInterface(echo)", this),
                                      hasNoClass("getInterfaceName", this)));
}

TEST_F(Interfaces, AreNamedByTheirTable) {
  EXPECT_STREQ(orvy_getInterfaceName(A, &Echo), "echo");
  EXPECT_STREQ(orvy_getInterfaceName(A, &Echoes[0]), "echoes");
  EXPECT_EQ(orvy_getInterfaceName(A, &Echoes[1]), nullptr);
  EXPECT_STREQ(orvy_nameForInterface({A, &Wires[0]}), "wire");
  EXPECT_STREQ(orvy_typenameForInterface({A, &Wires[0]}), "WireIface");
  for (orvy_IfaceRef Ref : {orvy_IfaceRef{nullptr, &Echo}, {A, nullptr}, {this, &Echo}}) {
    EXPECT_EQ(orvy_nameForInterface(Ref), nullptr);
    EXPECT_EQ(orvy_typenameForInterface(Ref), nullptr);
  }
}

TEST_F(Interfaces, AreQueriedByName) {
  EXPECT_TRUE(orvy_objectHasIface(A, "echo"));
  EXPECT_TRUE(orvy_objectHasIface(A, "echoes[9]"));
  EXPECT_FALSE(orvy_objectHasIface(A, "nothing"));
  EXPECT_FALSE(orvy_objectHasIface(nullptr, "echo"));
  EXPECT_FALSE(orvy_objectHasIface(A, nullptr));
}

TEST_F(Interfaces, AreReplacedByOnesOfTheSameName) {
  EchoIface Other = {};
  orvy_Class *Cls = orvy_classForObject(A);
  orvy_addInterface(Cls, "echo", "OtherIface", &Other, 0, "");
  EXPECT_EQ(orvy_getInterface(A, "echo", 0), &Other);
  EXPECT_EQ(orvy_getInterfaceName(A, &Echo), nullptr) << "the old record is gone";
  EXPECT_STREQ(orvy_typenameForInterface({A, &Other}), "OtherIface");
  orvy_addInterface(Cls, "wire", "WireIface", &Other, 0, "");
  EXPECT_EQ(orvy_connect(A, "wires", B, "wire"), 0);
  EXPECT_EQ(B->Wires[0].Obj, nullptr) << "the port was paired with the old interface";
}

TEST_F(Interfaces, AndPropertiesOfLargeClassesAreReplacedAndPagedInPassableTime) {
  constexpr int Count = 50000;
  std::vector<EchoIface> Tables(Count);
  orvy_Class *Cls = orvy_registerExternalClass("Large");
  const std::clock_t Start = std::clock();
  for (int Turn = 0; Turn < 2; ++Turn)
    for (int I = 0; I < Count; ++I) {
      const std::string Name = "n" + std::to_string(I);
      orvy_addProperty(Cls, Name.c_str(), 0, ovTY_IfaceRef, 1, nullptr, nullptr, "");
      orvy_addInterface(Cls, Name.c_str(), "EchoIface", &Tables[I], 0, "");
      orvy_addPort(Cls, Name.c_str(), Name.c_str(), "");
    }
  orvy_PropInfo Row = {};
  for (unsigned I = 0; I < Count; ++I)
    ASSERT_EQ(orvy_propInfoForClass(Cls, I, 1, &Row), 1u);
  EXPECT_STREQ(Row.Name, "n9999") << "the last by name";
  EXPECT_EQ(orvy::objsys::fromHandle(Cls)->Ports.size(), size_t{Count});
  // A walk over all of them for each would take minutes.
  EXPECT_LT((std::clock() - Start) / CLOCKS_PER_SEC, 5) << "seconds of the processor";
}

TEST_F(Interfaces, WarnAboutTheirName) {
  orvy_Class *Cls = orvy_classForObject(A);
  orvy_addInterface(Cls, "a.b", "T", &Echo, 0, nullptr);
  orvy_addInterfaceArray(Cls, "c.d", "T", Echoes, 0, 8, "");
  orvy_addInterface(nullptr, "a.b", "T", &Echo, 0, "");
  EXPECT_THAT(Log.take(), ElementsAre(":warning:: adding interface with invalid name 'a.b', note "
                                      "that this will be an error in future releases"));
  EXPECT_EQ(orvy_getInterface(A, "c.d", 0), nullptr) << "an array of none";
}

TEST_F(Interfaces, TypesOutliveAClear) {
  using orvy::objsys::IfaceType;
  const IfaceType *Echo = &IfaceType::get("EchoIface");
  EXPECT_NE(orvy::objsys::Class::registerInterface("Mine"), nullptr);
  EXPECT_EQ(orvy::objsys::Class::registerInterface("Mine"), nullptr);
  orvy_objsysClear();
  EXPECT_EQ(&IfaceType::get("EchoIface"), Echo);
  EXPECT_NE(orvy::objsys::Class::registerInterface("Mine"), nullptr);
}

TEST_F(Interfaces, AreListedWithTheirClass) {
  ::testing::internal::CaptureStdout();
  orvy::objsys::PrintClassType(*orvy::objsys::fromHandle(orvy_classForObject(A)));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Model <echo, echoes, wire>\n");
}

using Connections = Interfaces;

TEST_F(Connections, StoreAReferenceThatCanBeCalled) {
  EXPECT_EQ(orvy_connect(A, "ref", B, "echoes[1]"), 0);
  EXPECT_EQ(A->Ref.Obj, B);
  EXPECT_EQ(A->Ref.Iface, &Echoes[1]);
  EXPECT_EQ(static_cast<EchoIface *>(A->Ref.Iface)->echo(A->Ref.Obj, 5), 5);
}

TEST_F(Connections, OfAPlainPropertyNeedAnIndexToReplaceOne) {
  EXPECT_EQ(orvy_connect(A, "ref", B, "echo"), 0);
  EXPECT_EQ(orvy_connect(A, "ref", B, "echoes"), -1);
  EXPECT_EQ(A->Ref.Iface, &Echo);
  EXPECT_THAT(Log.take(), ElementsAre(":error: a : property array is full"));
  EXPECT_EQ(orvy_connect(A, "ref[0]", B, "echoes"), 0);
  EXPECT_EQ(A->Ref.Iface, &Echoes[0]);
}

TEST_F(Connections, FillAnArrayFromItsFirstFreeElement) {
  EXPECT_EQ(orvy_connect(A, "refs[1]", B, "echo"), 0);
  for (int I = 0; I < 3; ++I)
    EXPECT_EQ(orvy_connect(A, "refs", B, ("echoes[" + std::to_string(I) + "]").c_str()), 0);
  EXPECT_EQ(A->Refs[0].Iface, &Echoes[0]);
  EXPECT_EQ(A->Refs[1].Iface, &Echo);
  EXPECT_EQ(A->Refs[2].Iface, &Echoes[1]);
  EXPECT_EQ(A->Refs[3].Iface, &Echoes[2]);
  EXPECT_THAT(Log.take(), IsEmpty());
  EXPECT_EQ(orvy_connect(A, "refs", B, "echo"), -1);
  EXPECT_THAT(Log.take(), ElementsAre(":error: a : property array is full"));
}

TEST_F(Connections, GrowArraysAndVectorsOfReferences) {
  for (int I = 0; I < 6; ++I)
    EXPECT_EQ(orvy_connect(A, "dynamic", B, "echo"), 0);
  EXPECT_EQ(orvy_connect(A, "dynamic[0]", B, "echo"), 0);
  EXPECT_EQ(orvy_ifaceRefArraySize(&A->Dynamic), 7u);
  orvy_addProperty(orvy_classForObject(A), "uncounted", offsetof(Model, Dynamic),
                   ovTY_IfaceRefArray, 0, nullptr, nullptr, "");
  EXPECT_EQ(orvy_connect(A, "uncounted", B, "echo"), 0) << "the count says nothing of an array";
  EXPECT_EQ(orvy_ifaceRefArraySize(&A->Dynamic), 8u);
  EXPECT_EQ(orvy_connect(A, "refvector", B, "echo"), 0);
  EXPECT_EQ(orvy_connect(A, "refvector[0]", B, "echo"), -1);
  EXPECT_EQ(orvy_vecGetSize(&A->RefVector), 1u);
  EXPECT_EQ(orvy_connect(A, "vector", B, "echo"), -1);
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Connections, ThatCannotBeMadeFailSilently) {
  struct {
    const char *Prop, *Iface;
  } Rows[] = {
      {"ref", "nothing"},  {"ref", "echoes[4]"}, {"nothing", "echo"},    {"u32", "echo"},
      {"refs[4]", "echo"}, {"refs[-1]", "echo"}, {"dynamic[1]", "echo"}, {"string", "echo"},
  };
  for (const auto &Row : Rows)
    EXPECT_EQ(orvy_connect(A, Row.Prop, B, Row.Iface), -1) << Row.Prop << ' ' << Row.Iface;
  EXPECT_THROW(orvy_connect(A, "refs[x]", B, "echo"), std::invalid_argument);
  EXPECT_THROW(orvy_connect(A, "ref", B, "echo[]"), std::invalid_argument);
  EXPECT_EQ(A->Ref.Obj, nullptr);
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Connections, NeedBothEnds) {
  EXPECT_EQ(orvy_connect(nullptr, "ref", B, "echo"), -1);
  EXPECT_EQ(orvy_connect(A, nullptr, B, "echo"), -1);
  EXPECT_EQ(orvy_connect(A, "ref", nullptr, "echo"), -1);
  EXPECT_EQ(orvy_connect(A, "ref", B, nullptr), -1);
  EXPECT_EQ(orvy_connect(nullptr, "ref", nullptr, "echo"), -1);
  const char *SourceNull = ":error:: orvy_connect: A/PropName is null";
  const char *TargetNull = ":error:: orvy_connect: B/IfaceName is null";
  EXPECT_THAT(Log.take(), ElementsAre(SourceNull, SourceNull, TargetNull, TargetNull, SourceNull));
  EXPECT_EQ(orvy_connect(this, "ref", B, "echo"), -1);
  EXPECT_EQ(orvy_connect(A, "ref", this, "echo"), -1);
  EXPECT_THAT(Log.take(), ElementsAre(hasNoClass("getInterface(echo)", this)));
}

TEST_F(Connections, RefusedByTheRequirementStillSucceed) {
  orvy_Class *Cls = registerModel("Mute");
  orvy_addInterface(Cls, "echo", "T", &Echo, 0, "");
  orvy_addInterface(Cls, "echoes", "T", &Echo, 0, "");
  Model *Mute = createModel("mute", "Mute");
  EXPECT_EQ(orvy_connect(A, "strict", Mute, "echo"), 0);
  EXPECT_EQ(A->Strict.Obj, nullptr);
  EXPECT_THAT(Log.take(), ElementsAre(":error: a : property 'strict' requires interface not "
                                      "implemented in 'Mute'"));
}

TEST_F(Connections, RefuseATableOfAnotherTypeOnEveryRoute) {
  orvy_Class *Cls = orvy_classForObject(A);
  for (const char *Name : {"refs", "wires", "dynamic", "refvector"})
    orvy_requireInterface(Cls, Name, "EchoIface");
  const auto Fault = [](const std::string &Prop) {
    return "property '" + Prop +
           "' requires an interface of type 'EchoIface', 'wire' of 'Model' has the type "
           "'WireIface'";
  };
  struct {
    const char *Prop;
    int Result; ///< of a single reference the refusal does not change it
  } Rows[] = {
      {"strict", 0}, {"refs[2]", 0}, {"wires", 0}, {"dynamic", -1}, {"refvector", -1},
  };
  for (const auto &[Prop, Result] : Rows) {
    const std::string Said = Fault(std::string(Prop).substr(0, std::string(Prop).find('[')));
    EXPECT_STREQ(orvy_connectionFault(A, Prop, B, "wire[1]"), Said.c_str());
    EXPECT_THAT(Log.take(), IsEmpty()) << "asking tells nobody";
    EXPECT_EQ(orvy_connect(A, Prop, B, "wire[1]"), Result) << Prop;
    EXPECT_EQ(Log.count(":error: a : " + Said), 1) << Prop;
    Log.clear();
    EXPECT_EQ(orvy_connectionFault(A, Prop, B, "echoes[3]"), nullptr) << Prop;
  }
  orvy_setValue(A, "strict", ref(B, &Wires[1]), 0);
  orvy_writeValue(A, "dynamic", ref(B, &Wires[0]), 0);
  orvy_setValue(A, "refvector", ref(B, &Wires[0]), 0);
  orvy_Vector Mixed = orvy_vecCreate(ovTY_IfaceRef);
  orvy_vecPush(&Mixed, ref(B, &Echo)), orvy_vecPush(&Mixed, ref(B, &Wires[0]));
  orvy_setValue(A, "refvector", {.Typ = ovTY_Vector, .Vector = Mixed}, 0);
  EXPECT_THAT(Log.take(),
              ElementsAre(":error: a : " + Fault("strict"), ":error: a : " + Fault("dynamic"),
                          ":error: a : " + Fault("refvector"),
                          ":error: a : " + Fault("refvector")));
  for (void *Obj : {A->Strict.Obj, A->Refs[2].Obj, A->Wires[0].Obj})
    EXPECT_EQ(Obj, nullptr);
  EXPECT_EQ(A->Dynamic.Size, 0u);
  EXPECT_EQ(orvy_vecGetSize(&A->RefVector), 0u);

  // The same table under two types is what either asks for.
  orvy_addInterface(Cls, "alias", "OtherIface", &Echo, 0, "");
  EXPECT_EQ(orvy_connect(A, "strict", B, "alias"), 0);
  EXPECT_EQ(A->Strict.Iface, &Echo);
}

TEST_F(Connections, SayWhyTheyCannotBeMade) {
  orvy_connect(A, "ref", B, "echo");
  orvy_connect(B, "wires", A, "wire");
  struct {
    const char *Prop, *Iface, *Fault;
  } Rows[] = {
      {"strict", "echo", nullptr},
      {"wires[1]", "wire", nullptr},
      {"refvector", "echo", nullptr},
      {"strict", "nothing", "there is no interface 'nothing'"},
      {"strict", "echoes[4]", "there is no interface 'echoes[4]'"},
      {"nothing", "echo", "there is no property 'nothing'"},
      {"u32", "echo", "property 'u32' is not an interface reference"},
      {"vector", "echo",
       "property 'vector' is not a vector of interface references, or has an index"},
      {"dynamic[1]", "echo", "property 'dynamic[1]' has no such element"},
      {"refs[4]", "echo", "property 'refs[4]' has no such element"},
      {"refs[-1]", "echo", "property 'refs[-1]' has no such element"},
      {"ref", "echo", "property 'ref' has no free element; an index, as in 'ref[0]', replaces one"},
      {"refs[x]", "echo", "an index is not a number in 'refs[x]' or 'echo'"},
      {"wires", "wire", "property 'wires' cannot be connected back: the port of 'wire' is taken"},
  };
  for (const auto &Row : Rows)
    EXPECT_STREQ(orvy_connectionFault(A, Row.Prop, B, Row.Iface), Row.Fault) << Row.Prop;
  EXPECT_STREQ(orvy_connectionFault(A, "ref", this, "echo"), "an object or a name is missing");
  EXPECT_THAT(Log.take(), IsEmpty());
}

std::vector<std::string> Routes;

TEST_F(Connections, WriteWhatTheySeeOnTheGetRoute) {
  Routes.clear();
  orvy_addProperty(
      orvy_classForObject(A), "routed", offsetof(Model, Refs), ovTY_IfaceRef, 4,
      [](void *Obj, orvy_Propval Pv, int Idx) {
        Routes.push_back("write @" + std::to_string(Idx));
        static_cast<Model *>(Obj)->Refs[Idx] = Pv.IfaceRef;
      },
      [](void *, int Idx) {
        Routes.push_back("read @" + std::to_string(Idx));
        return orvy_Propval{};
      },
      "");
  A->Refs[0] = {B, &Echo};
  EXPECT_EQ(orvy_connect(A, "routed", B, "echo"), 0);
  EXPECT_THAT(Routes, ElementsAre("write @1"));
  EXPECT_EQ(A->Refs[1].Obj, B);
}

TEST_F(Connections, EndWhenAWriterDisposesOfTheirObjects) {
  constexpr orvy_PropWriter Writers[] = {
      [](void *, orvy_Propval Pv, int) { orvy_disposeObject(Pv.IfaceRef.Obj); },
      [](void *Obj, orvy_Propval, int) { orvy_disposeObject(Obj); },
      [](void *, orvy_Propval, int) { orvy_objsysClear(); },
  };
  for (orvy_PropWriter Writer : Writers) {
    orvy_objsysClear();
    Model *From = createModel("from");
    Model *To = createModel("to");
    orvy_Class *Cls = orvy_classForObject(From);
    orvy_addProperty(Cls, "wires", offsetof(Model, Wires), ovTY_IfaceRef, 2, Writer, nullptr, "");
    orvy_addPort(Cls, "wires", "wire", "");
    EXPECT_EQ(orvy_connect(From, "wires", To, "wire"), -1);
    EXPECT_EQ(Log.count("an object was disposed of while its property 'wires' was connected"), 1);
    Log.clear();
  }
}

TEST_F(Connections, OfPortsOfTwoClassesGoBackToTheTargetsOwnElement) {
  orvy_Class *Far = registerModel("Far");
  orvy_addPort(Far, "refs", "wire", "");
  Model *C = createModel("c", "Far");
  EXPECT_EQ(orvy_connect(A, "wires", C, "wire[1]"), 0);
  EXPECT_EQ(A->Wires[0].Iface, &Wires[1]);
  EXPECT_EQ(C->Refs[1].Obj, A);
  EXPECT_EQ(C->Refs[1].Iface, &Wires[0]) << "the source's table at the source's index";
  EXPECT_EQ(C->Refs[0].Obj, nullptr);
  EXPECT_EQ(C->Wires[1].Obj, nullptr) << "not the property of the source's class";
}

TEST_F(Connections, OfPortsGoBothWays) {
  EXPECT_EQ(orvy_connect(A, "wires", B, "wire"), 0);
  EXPECT_EQ(A->Wires[0].Obj, B);
  EXPECT_EQ(A->Wires[0].Iface, &Wires[0]);
  EXPECT_EQ(B->Wires[0].Obj, A);
  EXPECT_EQ(B->Wires[0].Iface, &Wires[0]);

  EXPECT_EQ(orvy_connect(A, "wires", B, "wire[1]"), 0);
  EXPECT_EQ(A->Wires[1].Iface, &Wires[1]);
  EXPECT_EQ(B->Wires[1].Obj, A);
  EXPECT_EQ(B->Wires[1].Iface, &Wires[1]);
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Connections, OfPortsGoOneWayWithAnIndexOnTheProperty) {
  EXPECT_EQ(orvy_connect(A, "wires[1]", B, "wire"), 0);
  EXPECT_EQ(A->Wires[1].Obj, B);
  EXPECT_EQ(B->Wires[0].Obj, nullptr);
  EXPECT_EQ(orvy_connect(A, "ref", B, "wire"), 0) << "a property that is no port";
  EXPECT_EQ(orvy_connect(A, "wires", B, "echo"), 0) << "an interface that is no port";
  EXPECT_EQ(B->Wires[0].Obj, nullptr);
}

TEST_F(Connections, OfPortsKeepTheirFirstHalfWhenTheSecondIsTaken) {
  Model *C = createModel("c");
  EXPECT_EQ(orvy_connect(B, "wires", C, "wire"), 0);
  EXPECT_EQ(orvy_connect(A, "wires", B, "wire"), -1);
  EXPECT_EQ(A->Wires[0].Obj, B);
  EXPECT_EQ(B->Wires[0].Obj, C);
  EXPECT_THAT(Log.take(),
              ElementsAre(":error: a : property 'wires' is full, cannot add more connections"));
}

TEST_F(Connections, PortsNeedAReferencePropertyAndAnInterface) {
  orvy_Class *Cls = orvy_classForObject(A);
  const auto *Record = orvy::objsys::fromHandle(Cls);
  EXPECT_EQ(orvy_addPort(Cls, "u32", "echo", ""), 0);
  EXPECT_EQ(orvy_addPort(Cls, "ref", "nothing", ""), 0);
  EXPECT_EQ(orvy_addPort(Cls, "nothing", "echo", ""), 1);
  EXPECT_EQ(orvy_addPort(nullptr, "ref", "echo", ""), 0);
  EXPECT_EQ(Record->Ports.size(), 1u);
  EXPECT_EQ(orvy_addPort(Cls, "ref", "echo", "both ways"), 0);
  EXPECT_EQ(Record->getPortIface("ref")->Name, "echo");
  EXPECT_EQ(Record->getPortProp("echo")->Name, "ref");
  EXPECT_EQ(Record->Ports.rbegin()->second.Doc, "both ways");
}

TEST(ReferenceArrays, GrowByDoubling) {
  int Objs[5];
  orvy_IfaceRefArray Array = orvy_ifaceRefArrayAlloc(1);
  EXPECT_EQ(Array.Reserved, 4u);
  for (int &Obj : Objs)
    orvy_ifaceRefArrayPush2(&Array, {&Obj, &Echo});
  EXPECT_EQ(Array.Reserved, 8u);
  EXPECT_EQ(orvy_ifaceRefArraySize(&Array), 5u);
  for (unsigned I = 0; I < 5; ++I)
    EXPECT_EQ(orvy_ifaceRefArrayGet(&Array, I).Obj, &Objs[I]);
  EXPECT_DEATH(orvy_ifaceRefArrayGet(&Array, 5), "internal error");
  orvy_ifaceRefArrayDispose(&Array);
  orvy_ifaceRefArrayDispose(&Array);
  EXPECT_EQ(Array.Size + Array.Reserved, 0u);
  EXPECT_EQ(Array.Ifaces, nullptr);

  Array = orvy_ifaceRefArrayAlloc(9);
  EXPECT_EQ(Array.Reserved, 9u);
  orvy_ifaceRefArrayDispose(&Array);
}

class TimeSources : public Interfaces {
protected:
  TimeSources() { orvy_qualifyAsCpu(orvy_classForObject(Cpu)); }
  Model *Cpu = createModel("cpu", "Cpu");
};

TEST_F(TimeSources, AreToldToTheObject) {
  static void *Told;
  static const ObjectIface Table = {.timeSourceSet = [](void *Obj) { Told = Obj; }};
  orvy_setTimeSource(A, Cpu);
  EXPECT_EQ(A->Super.TimeSource, Cpu);
  orvy_addInterface(orvy_classForObject(A), "ObjectIface", "ObjectIface",
                    const_cast<ObjectIface *>(&Table), 0, "");
  orvy_setTimeSource(B, Cpu);
  EXPECT_EQ(Told, B);
}

TEST_F(TimeSources, MustBeProcessorsMachinesOrClocks) {
  for (unsigned Qualifier : {1u, 2u, 6u}) {
    orvy_qualifyAs(orvy_classForObject(Cpu), Qualifier);
    orvy_setTimeSource(A, Cpu);
  }
  EXPECT_DEATH(orvy_setTimeSource(A, B), "internal error");
  EXPECT_DEATH(orvy_setTimeSource(A, nullptr), "internal error");
  EXPECT_DEATH(orvy_setTimeSource(this, Cpu), "internal error");
}

} // namespace
