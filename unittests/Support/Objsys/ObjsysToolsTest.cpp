// What is told of the assembled system: open references, pictures and documentation of classes; and
// descriptions of records.

#include "Objsys/ObjsysClass.h"

#include "Testing/LogCapture.h"
#include "Testing/Model.h"
#include "Testing/TempDir.h"

#include "orvy/Support/Orvy.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

using namespace orvy::testing;
using orvy::objsys::Class;
using orvy::objsys::Struct;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

struct Node {
  orvy_Object Super;
  orvy_IfaceRef Left;
  orvy_IfaceRef Slots[2];
  orvy_Vector Vector;
  uint32_t Words[4];
};

const EchoIface Table = {nullptr};

int checkThree(void *Obj, int Report) {
  if (Report)
    orvy_logInfo(Obj, "checked at %d", Report);
  return 3;
}
ObjectIface Checking = {nullptr, nullptr, checkThree, nullptr, nullptr};

orvy_Class *registerNode(const char *Name) {
  orvy_Class *Cls = orvy_registerClass(
      Name, [](const char *, int, const orvy_CreateArg *) -> void * { return new Node{}; },
      [](void *Obj) {
        orvy_vecDispose(&static_cast<Node *>(Obj)->Vector);
        delete static_cast<Node *>(Obj);
      });
  orvy_addProperty(Cls, "left", offsetof(Node, Left), ovTY_IfaceRef, 1, nullptr, nullptr,
                   "Whom to ask");
  orvy_requireInterface(Cls, "left", "EchoIface");
  orvy_addProperty(Cls, "slots", offsetof(Node, Slots), ovTY_IfaceRef, 2, nullptr, nullptr, "");
  orvy_addProperty(Cls, "vector", offsetof(Node, Vector), ovTY_Vector, 1, nullptr, nullptr, "");
  orvy_addProperty(Cls, "words", offsetof(Node, Words), ovTY_U32, 4, nullptr, nullptr, "Four");
  return Cls;
}

class ObjsysTools : public testing::Test {
protected:
  ~ObjsysTools() override { std::filesystem::current_path(Before); }

  Node *make(const char *Name) {
    auto *Made = static_cast<Node *>(orvy_createObject("Node", Name, nullptr));
    Made->Vector = orvy_vecCreate(ovTY_IfaceRef);
    return Made;
  }
  static orvy_IfaceRef to(void *Obj) { return {Obj, const_cast<EchoIface *>(&Table)}; }
  static std::string read(const std::string &Path) {
    std::ifstream File(Path);
    return {std::istreambuf_iterator<char>(File), {}};
  }
  /// Has two programs, which note their arguments in "shown", stand in for those that draw.
  void placePrograms() {
    for (const char *Name : {"dot", "eog"}) {
      const std::string Path = Files.file(Name, "#!/bin/sh\necho " + std::string(Name) +
                                                    " \"$@\" >>" + Files.path("shown") + "\n");
      std::filesystem::permissions(Path, std::filesystem::perms::owner_all);
    }
  }

  CleanSystem Clean;
  TempDir Files;
  std::filesystem::path Before = std::filesystem::current_path();
  orvy_Class *Cls = registerNode("Node");
};

TEST_F(ObjsysTools, OpenReferencesAreCountedAndTold) {
  Node *A = make("a");
  make("b")->Left = to(A);
  LogCapture Log;
  EXPECT_EQ(orvy_checkSanity(0), 1);
  EXPECT_TRUE(Log.all().empty());
  EXPECT_EQ(orvy_checkSanity(1), 1);
  EXPECT_EQ(Log.count("a : sanity check: left not connected"), 1);
  EXPECT_EQ(Log.all().size(), 1u);
  A->Left = {A, nullptr};
  EXPECT_EQ(orvy_checkSanity(0), 1);
}

TEST_F(ObjsysTools, AModelsOwnCheckCounts) {
  orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &Checking, 0, "");
  make("a");
  LogCapture Log;
  EXPECT_EQ(orvy_checkSanity(2), 3);
  EXPECT_EQ(Log.count("a : checked at 2"), 1);
}

TEST_F(ObjsysTools, SurviveGettersThatDisposeOfTheirObjects) {
  constexpr orvy_PropReader Getters[] = {
      [](void *Obj, int) {
        orvy_disposeObject(Obj);
        return orvy_Propval{};
      },
      [](void *, int) {
        orvy_objsysClear();
        return orvy_Propval{};
      },
  };
  for (orvy_PropReader Getter : Getters)
    for (const char *Tool : {"sanity", "graph"}) {
      orvy_objsysClear();
      Cls = registerNode("Node");
      orvy_addPseudoProperty(Cls, "aa", ovTY_IfaceRef, 1, nullptr, nullptr, nullptr, Getter, "");
      make("a"), make("b");
      LogCapture Log;
      if (Tool == std::string("sanity")) {
        EXPECT_EQ(orvy_checkSanity(1), 0) << "who has gone lacks nothing";
      } else {
        orvy_generateObjectGraph(Files.path("graph").c_str(), 0);
      }
      EXPECT_EQ(orvy_getObjectCount(), 0u);
    }
}

TEST_F(ObjsysTools, TheGraphShowsObjectsAndConnections) {
  Node *A = make("board-a"), *B = make("b");
  A->Left = to(B);
  A->Slots[1] = to(A);
  orvy_Propval Ref{ovTY_IfaceRef, {}};
  Ref.IfaceRef = to(B);
  orvy_vecPush(&B->Vector, {ovTY_IfaceRef, {}});
  orvy_vecPush(&B->Vector, Ref);
  const std::string Path = Files.path("graph");
  EXPECT_EQ(orvy_generateObjectGraph(Path.c_str(), 0), 0);
  EXPECT_EQ(read(Path), "digraph Objsys {\n"
                        "\tb[label=\"b:Node\"];\n"
                        "\tb -> b [label=\"vector[0,1]\"];\n"
                        "\tboard_a[label=\"board-a:Node\"];\n"
                        "\tboard_a -> b [label=\"left\"];\n"
                        "\tboard_a -> board_a [label=\"slots[1]\"];\n"
                        "}\n");
  EXPECT_EQ(orvy_generateObjectGraph((Files.path("no") + "/where").c_str(), 0), 0);
}

TEST_F(ObjsysTools, PicturesAreRenderedAndShown) {
  placePrograms();
  std::filesystem::current_path(Files.path());
  const Environment Path("PATH", (Files.path() + ":/usr/bin:/bin").c_str());
  EXPECT_EQ(orvy_generatePlantUML("Node", "node.uml", 1), 0);
  EXPECT_EQ(read("node.uml"), "class Node{\n  left : \n  object.timeSource : \n  slots : \n"
                              "  vector : \n  words : \n}\n");
  EXPECT_EQ(read("shown"), "dot -Tpng -O node.uml\neog node.uml.png\n");

  std::filesystem::remove("shown");
  EXPECT_EQ(orvy_generatePlantUML("Nobody", nullptr, 1), 0);
  const std::string Shown = read("shown");
  ASSERT_THAT(Shown, StartsWith("dot -Tpng -O objsysOutDot"));
  const std::string Name = Shown.substr(13, 18);
  EXPECT_THAT(Shown, EndsWith("eog " + Name + ".png\n"));
  EXPECT_EQ(read(Name), "class Nobody{\n}\n");
}

TEST_F(ObjsysTools, PicturesDoWithoutProgramsButNotWithoutAFile) {
  const Environment Path("PATH", Files.path("empty").c_str());
  std::filesystem::current_path(Files.path());
  EXPECT_EQ(orvy_generateObjectGraph("graph", 1), 0);
  EXPECT_THAT(read("graph"), StartsWith("digraph"));
  std::filesystem::create_directory("gone");
  std::filesystem::current_path("gone");
  std::filesystem::remove(Files.path("gone")); // no file can be made there, by anyone
  EXPECT_EQ(orvy_generateObjectGraph(nullptr, 1), 1);
}

TEST_F(ObjsysTools, ClassesAreDocumented) {
  const std::string Path = Files.path("doc");
  Class::classForName("Node")->generateDocs(Path.c_str());
  const std::string Ruler26 = "|" + std::string(26, '=') + "\n";
  const std::string Ruler27 = "|" + std::string(27, '=') + "\n";
  EXPECT_EQ(read(Path),
            "== Attributes\n\n=== Properties\n\n[options=\"header\"]\n" + Ruler26 +
                "| Name | Type | Description\n"
                "| left | iref / EchoIface | Whom to ask\n"
                "| object.timeSource | object | Time source object (a cpu or machine object)\n"
                "| slots | [2 x iref / <unknown>] | \n"
                "| vector | vector | \n"
                "| words | [4 x uint32_t] | Four\n" +
                Ruler26 + "\n=== Interfaces\n\n[options=\"header\"]\n" + Ruler26 +
                "| Name | Type | Description\n| -    | -    | -\n" + Ruler26 +
                "\n=== Ports\n\n[options=\"header\"]\n" + Ruler27 +
                "| Prop | Iface | Description\n| -    | -     | -\n" + Ruler27 + "\n");

  orvy_RegisterBank *Bank = orvy_addRegisterBank(Cls, "ctrl");
  orvy_Register *Reg = orvy_addRegister(Bank, "word", offsetof(Node, Words), ovTY_U32, 1, nullptr,
                                        nullptr, "A word.", 0, 0);
  orvy_addField(Reg, "on", 0xf0, 0x10, 0x20, 0, "Whether it is");
  orvy_addInterface(Cls, "echo", "EchoIface", const_cast<EchoIface *>(&Table), 0, "Echoes");
  orvy_addPort(Cls, "left", "echo", "Both ways");
  Class::classForName("Node")->generateDocs(Path.c_str());
  EXPECT_THAT(read(Path), HasSubstr("| echo | EchoIface | Echoes\n"));
  EXPECT_THAT(read(Path), HasSubstr("| left| echo| Both ways\n"));
  EXPECT_THAT(
      read(Path),
      EndsWith("== Registers\n\nWARNING: Register support is currently experimental!\n\n"
               "=== Register Bank ctrl\n\n==== Register word\n\nA word.\n\n"
               "Cold reset value: 0x10\n\nWarm reset value: 0x20\n\n[options=\"header\"]\n" +
               Ruler27 +
               "| Field | Mask | Cold | Warm | Description\n"
               "| on| 0xf0| 0x10| 0x20| Whether it is\n" +
               Ruler27 + "\n"));
}

TEST(Structs, AreFoundByNameAndNumber) {
  orvy_Struct *Inner = orvy_registerStruct("inner", 8);
  const int64_t Id = orvy_getStructID("inner");
  orvy_Struct *Outer = orvy_registerStruct("outer", 24);
  EXPECT_EQ(orvy_getStructID("outer"), Id + 1);
  orvy_structAddField(Inner, "word", ovTY_U32, 0, 2);
  orvy_structAddField(Inner, "half", ovTY_U16, 0, 1);
  orvy_structAddStructField(Outer, "in", Inner, 8, 2);

  const Struct *I = Struct::getStructByName("inner"), *O = Struct::getStructByID(Id + 1);
  EXPECT_EQ(I->Size, 8u);
  EXPECT_EQ(I->getFieldByOffset(0)->Name, "word"); // the first one there
  EXPECT_EQ(I->getFieldByOffset(1), nullptr);
  EXPECT_EQ(I->getFieldByName("half")->Typ, ovTY_U16);
  EXPECT_EQ(O->getFieldByIndex(0)->Sub, I);
  EXPECT_EQ(O->getFieldByIndex(0)->Typ, ovTY_Invalid);
  EXPECT_EQ(O->getFieldByIndex(1), nullptr);
  EXPECT_EQ(O->getFieldByName("out"), nullptr);

  orvy_structAddField(Inner, "word", ovTY_U64, 8, 1);
  EXPECT_EQ(I->getFieldByName("word")->Typ, ovTY_U64);
  EXPECT_EQ(I->getFields().size(), 3u);

  orvy_registerStruct("inner", 4);
  EXPECT_EQ(orvy_getStructID("inner"), Id + 2);
  EXPECT_EQ(Struct::getStructByID(Id), I);
  EXPECT_EQ(orvy_getStructID("nobody"), -1);
  EXPECT_EQ(Struct::getStructByID(-1), nullptr);
  EXPECT_EQ(Struct::getStructByID(Id + 3), nullptr);
}

} // namespace
