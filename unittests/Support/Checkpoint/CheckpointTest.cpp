#include "orvy/Support/Checkpoint.h"

#include "Checkpoint/CheckpointFile.h"
#include "Testing/LogCapture.h"
#include "Testing/Model.h"
#include "Testing/ScriptedCpu.h"
#include "Testing/Seed.h"
#include "Testing/TempDir.h"

#include <gmock/gmock.h>

#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace orvy::testing;
using namespace orvy::checkpoint;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr double Inf = std::numeric_limits<double>::infinity();

std::string contents(const std::string &Path) {
  std::stringstream Text;
  Text << std::ifstream(Path, std::ios::binary).rdbuf();
  return Text.str();
}

class Checkpoint : public testing::Test {
protected:
  Checkpoint() {
    orvy_initConfigDirs();
    orvy_initSupportLib();
  }

  std::string save(const std::string &Path) {
    EXPECT_EQ(orvy_serialiseJSON(Path.c_str()), 0);
    return contents(Path);
  }
  /// Restores from a text; returns the result and what the error stream says.
  std::pair<int, std::string> restore(const std::string &Text) {
    std::string Path = Dir.file("restored.json", Text);
    testing::internal::CaptureStderr();
    int Result = orvy_deserialiseJSON(Path.c_str());
    return {Result, testing::internal::GetCapturedStderr()};
  }
  static Model *find(const char *Name) { return static_cast<Model *>(orvy_objectForName(Name)); }

  CleanSystem Clean;
  TempDir Dir;
  LogCapture Log;
};

orvy_Propval value(orvy_Type Typ) {
  orvy_Propval Pv = {};
  Pv.Typ = Typ;
  return Pv;
}

orvy_Propval dictOf(std::initializer_list<std::pair<const char *, orvy_Propval>> Entries) {
  orvy_Propval Pv = value(ovTY_Dict);
  Pv.Dict = orvy_dictCreate();
  for (const auto &[Key, Val] : Entries)
    orvy_dictInsertValue(Pv.Dict, Key, Val);
  return Pv;
}

orvy_Propval vectorOf(orvy_Type Typ, std::initializer_list<orvy_Propval> Elements) {
  orvy_Propval Pv = value(ovTY_Vector);
  Pv.Vector = orvy_vecCreate(Typ);
  for (const orvy_Propval &Each : Elements)
    orvy_vecPush(&Pv.Vector, Each);
  return Pv;
}

orvy_Propval listOf(orvy_Type Typ, std::initializer_list<orvy_Propval> Elements) {
  orvy_Propval Pv = value(ovTY_List);
  Pv.List = orvy_listCreate(Typ);
  for (const orvy_Propval &Each : Elements)
    orvy_listAppend(&Pv.List, Each);
  return Pv;
}

orvy_Propval bufferOf(std::string_view Bytes) {
  orvy_Propval Pv = value(ovTY_Buffer);
  Pv.Buffer = orvy_buffCreate(static_cast<uint32_t>(Bytes.size()));
  std::copy(Bytes.begin(), Bytes.end(), orvy_buffWritableData(&Pv.Buffer));
  return Pv;
}

/// Two models that refer to each other, with every kind of property at its limits.
void fill(Model *A, Model *B) {
  A->Intptr = INT64_MIN;
  A->Uintptr = UINT64_MAX;
  A->Float = std::numeric_limits<float>::denorm_min();
  A->Double = -0.0;
  for (unsigned Bit = 0; Bit < 4; ++Bit) {
    A->U8[Bit] = static_cast<uint8_t>(UINT8_MAX >> Bit);
    A->U16[Bit] = static_cast<uint16_t>(UINT16_MAX >> Bit);
    A->U32[Bit] = UINT32_MAX >> Bit;
    A->U64[Bit] = UINT64_MAX >> Bit;
    A->I8[Bit] = static_cast<int8_t>(INT8_MIN >> Bit);
    A->I16[Bit] = static_cast<int16_t>(INT16_MIN >> Bit);
    A->I32[Bit] = INT32_MIN >> Bit;
    A->I64[Bit] = INT64_MIN >> Bit;
  }
  A->Obj = B;
  A->Ref = {B, &Echoes[2]};
  A->Refs[2] = {B, &Echo};
  A->Strict = {A, &Echo};
  orvy_ifaceRefArrayPush(&A->Dynamic, {B, &Wires[1]});
  orvy_ifaceRefArrayPush(&A->Dynamic, {A, &Echo});
  orvy_setValue(A, "string", text("a \"text\" \\ of\n\x01 \xC3\xA9 \xF0\x9F\x98\x80\x7F"), 0);
  std::string Bytes(100, '\0');
  for (size_t Idx = 0; Idx < Bytes.size(); ++Idx)
    Bytes[Idx] = static_cast<char>(255 - Idx);
  orvy_setValue(A, "buffer", bufferOf(Bytes), 0);
  // clang-format off
  orvy_setValue(
      A, "dict",
      dictOf({
          {"",        i64(INT64_MIN)                                                             },
          {"buffers", vectorOf(ovTY_Buffer, {bufferOf(Bytes), bufferOf("")})                     },
          {"dict",    dictOf({{"inner", dictOf({{"object", {ovTY_Obj, {.Obj = A}}}})}})          },
          {"list",    listOf(ovTY_Vector, {vectorOf(ovTY_Double, {real(1e300), real(-Inf)})})    },
          {"nan",     real(NAN)                                                                  },
          {"nothing", ref(nullptr, nullptr)                                                      },
          {"wire",    ref(A, &Wires[1])                                                          },
  }),
      0);
  // clang-format on
  orvy_setValue(A, "vector", vectorOf(ovTY_U16, {u16(0), u16(UINT16_MAX)}), 0);
  orvy_setValue(A, "refvector", vectorOf(ovTY_IfaceRef, {ref(B, &Echo)}), 0);
  orvy_setValue(A, "list", listOf(ovTY_I32, {i32(INT32_MIN), i32(INT32_MAX)}), 0);
  A->Hooked = 7;
  B->Obj = A;
  B->Float = static_cast<float>(Inf);
  B->Double = std::numeric_limits<double>::max();
}

/// Takes down what the containers of "dict" do not release themselves.
void releaseInner(Model *A) {
  for (const char *Key : {"dict", "list", "buffers"}) {
    orvy_Propval Pv = orvy_dictGetValue(A->Dict, Key);
    if (Pv.Typ == ovTY_Vector)
      orvy_vecDispose(&Pv.Vector);
    if (Pv.Typ == ovTY_List) {
      orvy_vecDispose(&Pv.List.Head->Val.Vector);
      orvy_listDispose(&Pv.List);
    }
    if (Pv.Typ == ovTY_Dict) {
      orvy_dictDispose(orvy_dictGetValue(Pv.Dict, "inner").Dict);
      orvy_dictDispose(Pv.Dict);
    }
  }
}

TEST_F(Checkpoint, SavedRestoredAndSavedAgainIsTheSame) {
  Model *A = createModel("a"), *B = createModel("b");
  fill(A, B);
  std::string First = save(Dir.path("first.json"));
  EXPECT_EQ(Json::parse(First).dump(2) + "\n", First) << "as the library writes it";
  releaseInner(A);

  EXPECT_EQ(restore(First), std::pair(0, std::string()));
  EXPECT_THAT(Log.take(), IsEmpty());
  A = find("a"), B = find("b");
  EXPECT_EQ(A->Obj, B);
  EXPECT_EQ(B->Obj, A);
  EXPECT_EQ(A->Internal, nullptr);
  EXPECT_EQ(A->U64[3], UINT64_MAX >> 3);
  EXPECT_EQ(A->I64[0], INT64_MIN);
  EXPECT_TRUE(std::signbit(A->Double));
  EXPECT_EQ(B->Float, static_cast<float>(Inf));
  EXPECT_EQ(A->Ref.Iface, &Echoes[2]);
  EXPECT_EQ(A->Refs[0].Obj, B) << "references close up";
  EXPECT_EQ(A->Refs[2].Obj, nullptr);
  EXPECT_EQ(B->String, nullptr);
  EXPECT_TRUE(std::isnan(orvy_dictGetValue(A->Dict, "nan").d));
  EXPECT_EQ(orvy_dictGetValue(A->Dict, "wire").IfaceRef.Iface, &Wires[1]);

  EXPECT_EQ(save(Dir.path("second.json")), First);
  releaseInner(A);
}

TEST_F(Checkpoint, FilesAreWhatAnotherReaderTakesThemFor) {
  if (std::system("python3 -c 'import json' 2>/dev/null") != 0)
    GTEST_SKIP() << "no python3";
  Model *A = createModel("a"), *B = createModel("b");
  fill(A, B);
  std::string Path = Dir.path("file.json");
  save(Path);
  releaseInner(A);
  std::string Script = Dir.file("check.py", R"(import json, sys
text = open(sys.argv[1], encoding="utf-8", newline="").read()
d = json.loads(text)
assert json.dumps(d, indent=2, ensure_ascii=False, sort_keys=True) + "\n" == text
assert list(d) == ["objects", "plugins"] and d["plugins"] == []
assert list(d["objects"]) == ["a", "b", "sim"]
for entry in d["objects"].values():
    assert list(entry) == ["className", "extra", "properties"] and entry["extra"] is None
a, b = (d["objects"][name]["properties"] for name in "ab")
assert d["objects"]["a"]["className"] == "Model" and "internal" not in a
def has(properties, name, type, data):
    assert properties[name] == {"type": type, "data": data}, (name, properties[name])
has(a, "intptr", "intptr_t", [2**31, 0])
has(a, "uintptr", "uintptr_t", [2**32 - 1, 2**32 - 1])
has(a, "u64", "uint64_t", [2**32 - 1, 2**32 - 1, 2**31 - 1, 2**32 - 1, 2**30 - 1, 2**32 - 1, 2**29 - 1, 2**32 - 1])
has(a, "i8", "int8_t", [-128, -64, -32, -16])
has(a, "obj", "object", ["b"])
has(a, "object.timeSource", "object", ["<null>"])
has(a, "ref", "iface", [{"obj": "b", "iface": "echoes[2]"}])
has(a, "refs", "iface", [{"obj": "b", "iface": "echo"}])
has(b, "refs", "iface", [])
has(a, "dynamic", "ifaceDynArr", [{"obj": "b", "iface": "wire[1]"}, {"obj": "a", "iface": "echo"}])
has(b, "string", "string", ["<<orvy-string-nullptr>>"])
has(a, "string", "string", ['a "text" \\ of\n\x01 \u00e9 \U0001F600\x7f'])
has(a, "buffer", "buffer", [[255 - i for i in range(100)]])
has(a, "vector", "vector", [{"type": "vector", "elemtype": "uint16_t", "data": [0, 65535]}])
has(a, "list", "list", [{"type": "list", "elemtype": "int32_t", "data": [-2**31, 2**31 - 1]}])
has(b, "dict", "dict", [{}])
has(b, "float", "float", ["Infinity"])
has(b, "double", "double", [1.7976931348623157e308])
inner = a["dict"]["data"][0]
assert inner[""] == {"type": "int64_t", "data": [-2**31, 0]}
assert inner["nothing"] == {"type": "iface", "data": []}
assert inner["nan"] == {"type": "double", "data": ["NaN"]}
assert inner["buffers"]["data"][1] == {"type": "buffer", "data": []}
assert inner["list"]["data"][0]["data"] == [1e300, "-Infinity"]
assert inner["dict"]["data"]["inner"]["data"]["object"] == {"type": "object", "data": ["a"]}
)");
  EXPECT_EQ(std::system(("python3 " + Script + " " + Path).c_str()), 0);
}

TEST_F(Checkpoint, ModelsAddAndTakeBackValues) {
  Json Node;
  Model *A = createModel("a");
  uint64_t Wide[] = {1, UINT64_MAX, uint64_t{1} << 40};
  int16_t Narrow[] = {-1, INT16_MIN};
  std::vector<uint32_t> Many(100, 9);
  const char *Texts[] = {"x", nullptr};
  void *Objs[] = {A, nullptr};
  orvy_Propval Bytes = bufferOf("\x01\xFF");
  orvy_Propval Vec = vectorOf(ovTY_U32, {u32(5)});
  orvy_serialiseProp(&Node, "wide", ovTY_U64, 3, Wide);
  orvy_serialiseProp(&Node, "narrow", ovTY_I16, 2, Narrow);
  orvy_serialiseProp(&Node, "many", ovTY_U32, 100, Many.data());
  orvy_serialiseProp(&Node, "texts", ovTY_String, 2, Texts);
  orvy_serialiseProp(&Node, "objs", ovTY_Obj, 2, Objs);
  orvy_serialiseProp(&Node, "refs", ovTY_IfaceRef, 4, A->Refs);
  orvy_serialiseProp(&Node, "dynamic", ovTY_IfaceRefArray, 1, &A->Dynamic);
  orvy_serialiseProp(&Node, "bytes", ovTY_Buffer, 1, &Bytes.Buffer);
  orvy_serialiseProp(&Node, "vector", ovTY_Vector, 1, &Vec.Vector);
  orvy_serialiseProp(&Node, "real", ovTY_Double, 1, &A->Double);
  orvy_serialiseProp(&Node, "none", ovTY_U8, -1, Narrow);
  orvy_serialiseProp(&Node, "null", ovTY_U8, 1, nullptr);
  orvy_serialiseProp(&Node, "nameless", ovTY_InternalPtr, 1, Wide);

  EXPECT_EQ(Node["wide"].dump(), R"({"data":[0,1,4294967295,4294967295,256,0],"type":"uint64_t"})");
  EXPECT_TRUE(Node["many"]["data"].is_array()) << "a node of someone else is plain";
  EXPECT_EQ(Node["none"].dump(), R"({"data":[],"type":"uint8_t"})");
  EXPECT_FALSE(Node.contains("null"));
  EXPECT_FALSE(Node.contains("nameless"));

  const std::pair<const char *, int> Lengths[] = {{"wide", 3},  {"narrow", 2},  {"many", 100},
                                                  {"texts", 2}, {"objs", 2},    {"refs", 0},
                                                  {"none", 0},  {"missing", -1}};
  for (const auto &[Name, Length] : Lengths)
    EXPECT_EQ(orvy_checkpointGetLength(&Node, Name), Length) << Name;

  auto Get = [&](const char *Name, uint32_t Idx) {
    return orvy_checkpointGetValue(&Node, Name, Idx);
  };
  EXPECT_EQ(Get("wide", 1).u64, UINT64_MAX);
  EXPECT_EQ(Get("wide", 2).Typ, ovTY_U64);
  EXPECT_EQ(Get("narrow", 1).i16, INT16_MIN);
  EXPECT_EQ(Get("objs", 0).Obj, A);
  EXPECT_EQ(Get("objs", 1).Typ, ovTY_Obj);
  char *Text = const_cast<char *>(Get("texts", 0).String);
  EXPECT_STREQ(Text, "x");
  std::free(Text);
  EXPECT_EQ(Get("texts", 1).String, nullptr);
  orvy_Propval Copy = Get("bytes", 0);
  EXPECT_EQ(orvy_buffReadableData(&Copy.Buffer)[1], 0xFF);
  orvy_Propval Empty = Get("vector", 0);
  EXPECT_EQ(Empty.Vector.Typ, ovTY_U32);
  EXPECT_EQ(orvy_vecGetSize(&Empty.Vector), 0u);
  EXPECT_EQ(Get("real", 0).Typ, ovTY_Invalid);
  EXPECT_THAT(Log.take(), IsEmpty());
  EXPECT_EQ(Get("wide", 3).Typ, ovTY_Invalid);
  EXPECT_EQ(Get("missing", 0).Typ, ovTY_Invalid);
  EXPECT_THAT(Log.take(), ElementsAre(":error:: get checkpoint value failed for 'wide'[3]",
                                      ":error:: get checkpoint value failed for 'missing'[0]"));
  orvy_buffDispose(&Bytes.Buffer);
  orvy_buffDispose(&Copy.Buffer);
  orvy_vecDispose(&Vec.Vector);
  orvy_vecDispose(&Empty.Vector);
}

TEST_F(Checkpoint, TellsWhatItCannotWrite) {
  Model *A = createModel("a");
  orvy_Propval Dict = dictOf({});
  orvy_dictInsertValue(Dict.Dict, "self", Dict);
  orvy_setValue(A, "dict", Dict, 0);
  A->Obj = &Clean;
  A->Ref = {A, &Clean};
  testing::internal::CaptureStderr();
  std::string Text = save(Dir.path("file.json"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "error serialising property\nerror serialising property\nerror serialising property\n");
  EXPECT_THAT(
      Log.take(),
      ElementsAre(":error: a : property 'dict' is not saved: containers are nested too deeply",
                  ":error: a : property 'obj' is not saved: it refers to an object without a name",
                  ":error: a : property 'ref' is not saved: it refers to an interface that its "
                  "object does not publish"));
  EXPECT_FALSE(Json::parse(Text)["objects"]["a"]["properties"].contains("dict"));
  orvy_dictRemoveValue(Dict.Dict, "self");
}

TEST_F(Checkpoint, FailedSavesLeaveTheFormerFile) {
  Model *A = createModel("a");
  std::string Path = Dir.path("file.json"), Link = Dir.path("link.json");
  chmod(Dir.file("file.json", "former").c_str(), 0640);
  ASSERT_EQ(symlink(Path.c_str(), Link.c_str()), 0);
  orvy_setValue(A, "string", text("\xFF"), 0);
  testing::internal::CaptureStderr();
  EXPECT_EQ(orvy_serialiseJSON(Link.c_str()), 1);
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "\033[31merror\033[0m: [json.exception.type_error.316] invalid UTF-8 byte at index 0: 0xFF "
      "id = 316\n");
  EXPECT_THAT(Log.take(),
              ElementsAre(":error: a : cannot be saved: it holds a text that is not UTF-8"));
  EXPECT_EQ(contents(Path), "former");

  orvy_setValue(A, "string", text("x"), 0);
  std::string Text = save(Link);
  EXPECT_EQ(contents(Path), Text) << "the link leads to the new file";
  struct stat Info;
  ASSERT_EQ(stat(Path.c_str(), &Info), 0);
  EXPECT_EQ(Info.st_mode & 0777, 0640u);
  size_t Files = 0;
  for (const auto &Each : std::filesystem::directory_iterator(Dir.path()))
    Files += Each.exists();
  EXPECT_EQ(Files, 2u) << "nothing else is left";
  std::string Long = Dir.path(std::string(255, 'x'));
  EXPECT_EQ(save(Long), Text) << "the name leaves no room for one of a part beside it";
  std::string Later = Dir.path("later.json");
  ASSERT_EQ(symlink("new.json", Later.c_str()), 0);
  EXPECT_EQ(save(Later), Text);
  EXPECT_EQ(contents(Dir.path("new.json")), Text) << "a link stays one";
  testing::internal::CaptureStderr();
  EXPECT_EQ(orvy_serialiseJSON("/dev/full"), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "\033[31merror\033[0m: serialisation failed\n");
}

TEST_F(Checkpoint, AFullDiskLeavesNoFileWhereNoneWas) {
  createModel("a");
  const std::string Path = Dir.path("file.json"), Former = Dir.file("former.json", "former");
  auto entries = [&] { return std::distance(std::filesystem::directory_iterator(Dir.path()), {}); };
  // A limit to the size of files stands for a full disk: the write fails in the middle.
  rlimit Limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &Limit), 0);
  const rlimit Full = {100, Limit.rlim_max};
  auto FormerHandler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &Full), 0);
  int Results[] = {orvy_serialiseJSON(Path.c_str()), orvy_serialiseJSON(Former.c_str())};
  setrlimit(RLIMIT_FSIZE, &Limit);
  std::signal(SIGXFSZ, FormerHandler);
  EXPECT_THAT(Results, ElementsAre(1, 1));
  EXPECT_EQ(Log.count("cannot write checkpoint '" + Path + "': File too large"), 1);
  EXPECT_EQ(access(Path.c_str(), F_OK), -1);
  EXPECT_EQ(contents(Former), "former");
  EXPECT_EQ(entries(), 1) << "no part is left either";
}

TEST_F(Checkpoint, TheNextSaveRemovesTheFilesOfKilledOnes) {
  createModel("a");
  const std::string Path = Dir.path("file.json");
  pid_t Dead = fork();
  if (Dead == 0)
    _exit(0);
  ASSERT_EQ(waitpid(Dead, nullptr, 0), Dead);
  const std::string Gone = ".part" + std::to_string(Dead) + "-0";
  const std::string Left = Dir.file("file.json" + Gone, "left");
  const std::string Kept[] = {
      Dir.file("file.json.part" + std::to_string(getppid()) + "-0", "of one that lives"),
      Dir.file("file.json" + Gone + ".bak", "the user's"), Dir.file("file.json.partial-0", "same"),
      Dir.file("other.json" + Gone, "of another file"), Dir.file("file.json" + Gone + "1", "held")};
  int Held = open(Kept[4].c_str(), O_RDWR);
  ASSERT_EQ(flock(Held, LOCK_EX), 0); // as by a process of another machine
  save(Path);
  EXPECT_EQ(access(Left.c_str(), F_OK), -1);
  for (const std::string &Each : Kept)
    EXPECT_EQ(access(Each.c_str(), F_OK), 0) << Each;
  close(Held);
}

TEST_F(Checkpoint, DamageIsToldAndKeepsTheProperty) {
  Model *A = createModel("a"), *B = createModel("b");
  fill(A, B);
  const Json Whole = Json::parse(save(Dir.path("file.json")));
  releaseInner(A);
  // clang-format off
  const struct {
    const char *Property;
    const char *Node;
    const char *Told; // in the log; on the error stream if it begins with '['
  } Cases[] = {
      {"u8",     R"({"type":"uint8_t"})",                         "[json.exception.out_of_range.403]"},
      {"u8",     R"({"data":[1]})",                               "[json.exception.out_of_range.403]"},
      {"u8",     R"({"type":"uint8_t","data":7})",                "[json.exception.type_error.303]"  },
      {"u8",     R"({"type":5,"data":[7]})",                      "[json.exception.type_error.303]"  },
      {"u8",     R"({"type":"uint8_t","data":[9,"x"]})",          "[json.exception.type_error.302]"  },
      {"u8",     R"({"type":"uint8_t","data":[9,256]})",          "out of range"                     },
      {"u8",     R"({"type":"uint8_t","data":[9,3.7]})",          "not whole"                        },
      {"u8",     R"({"type":"uint8_t","data":[9,2.56e2]})",       "out of range"                     },
      {"u8",     R"({"type":"uint8_t","data":[9,-1.0]})",         "out of range"                     },
      {"i8",     R"({"type":"int8_t","data":[9,-129.0]})",        "out of range"                     },
      {"u64",    R"({"type":"uint64_t","data":[9,4294967296e0]})", "out of range"                    },
      {"u64",    R"({"type":"uint64_t","data":[1e300,9]})",       "out of range"                     },
      {"u8",     R"({"type":"uint16_t","data":[9]})",             "type uint8_t, in the checkpoint"  },
      {"i8",     R"({"type":"int8_t","data":[9,-129]})",          "out of range"                     },
      {"u64",    R"({"type":"uint64_t","data":[9,9,9]})",         "half a number"                    },
      {"u64",    R"({"type":"uint64_t","data":[4294967296,9]})",  "out of range"                     },
      {"float",  R"({"type":"float","data":[1e300]})",            "out of range"                     },
      {"float",  R"({"type":"float","data":[null]})",             "[json.exception.type_error.302]"  },
      {"string", R"({"type":"string","data":["a\u0000b"]})",      "null byte"                        },
      {"strict", R"({"type":"iface","data":[{"obj":"b","iface":"wire"}]})",    "of another type"     },
      {"strict", R"({"type":"iface","data":[{"obj":"b","iface":"none"}]})",    "does not exist"      },
      {"strict", R"({"type":"iface","data":[{"obj":"none","iface":"echo"}]})", "does not exist"      },
      {"strict", R"({"type":"iface","data":["b:echo"]})",         "[json.exception.type_error.304]"  },
      {"buffer", R"({"type":"buffer","data":[[1,2,256]]})",       "out of range"                     },
      {"vector", R"({"type":"vector","data":[{"type":"vector","elemtype":"string","data":["x"]}]})",
       "elements of another type"                                                                    },
      {"vector", R"({"type":"vector","data":[{"type":"vector","elemtype":"list","data":[]}]})",
       "vector of lists"                                                                             },
      {"list",   R"({"type":"list","data":[{"type":"vector","elemtype":"int32_t","data":[]}]})",
       "container of another kind"                                                                   },
      {"dict",   R"({"type":"dict","data":[{"k":{"type":"string","data":["x","y"]}}]})",
       "another number of entries"                                                                   },
      {"dict",   R"({"type":"dict","data":[{"k":{"type":"ifaceDynArr","data":[]}}]})",
       "unknown type"                                                                                },
      {"dict",   R"({"type":"dict","data":[{"s":{"type":"string","data":["x"]},"v":{"type":"vector","elemtype":"string","data":["x",5]}}]})",
       "[json.exception.type_error.303]"                                                             },
  };
  // clang-format on
  for (const auto &Case : Cases) {
    SCOPED_TRACE(std::string(Case.Property) + " " + Case.Node);
    Json Damaged = Whole;
    Json &Properties = Damaged["objects"]["a"]["properties"];
    Properties = Json::object();
    Properties[Case.Property] = Json::parse(Case.Node);
    auto [Result, Errors] = restore(Damaged.dump());
    EXPECT_EQ(Result, 0);
    std::string Lines;
    for (const std::string &Line : Log.take())
      Lines += Line + "\n";
    EXPECT_THAT(Case.Told[0] == '[' ? Errors : Lines, HasSubstr(Case.Told));
    EXPECT_THAT(Lines, HasSubstr(std::string("property '") + Case.Property + "'"));
    A = find("a");
    Model *Fresh = createModel("fresh");
    EXPECT_EQ(A->U8[0], Fresh->U8[0]);
    EXPECT_EQ(A->Float, Fresh->Float);
    EXPECT_EQ(A->String, nullptr);
    EXPECT_EQ(A->Strict.Obj, nullptr);
    EXPECT_EQ(orvy_buffLen(&A->Buffer), 4u);
    EXPECT_EQ(A->Vector.Typ, ovTY_U16);
    EXPECT_EQ(orvy_dictGetNextKey(A->Dict, nullptr), nullptr);
  }
}

TEST_F(Checkpoint, WhatDoesNotFitIsTold) {
  registerModel();
  auto [Result, Errors] = restore(R"({"plugins":["/nowhere/none.so"],"objects":{"a":{
      "className":"Model","extra":null,"properties":{
        "renamed":{"type":"uint8_t","data":[1]},
        "obj":{"type":"object","data":["nobody"]},
        "mute":{"type":"uint32_t","data":[1]},
        "i8":{"type":"int8_t","data":[-5.0,1e1]},
        "u64":{"type":"uint64_t","data":[1.0,2e0]},
        "dict":{"type":"dict","data":[{"lost":{"type":"object","data":["nobody"]},
          "gone":{"type":"iface","data":[{"obj":"nobody","iface":"echo"}]},
          "void":{"type":"iface","data":[{"obj":"a","iface":"none"}]},
          "kept":{"type":"object","data":["a"]}}]},
        "u8":{"type":"uint8_t","data":[1,2,3,4,5]}}}}})");
  EXPECT_EQ(Result, 0);
  EXPECT_EQ(Errors, "");
  EXPECT_EQ(Log.count("could not load plugin '/nowhere/none.so'"), 1);
  EXPECT_EQ(Log.count("a : deserialisation failed for property 'renamed'"), 1);
  EXPECT_EQ(Log.count("a : property 'obj' refers to the object 'nobody', which does not exist"), 1);
  EXPECT_EQ(Log.count("a : property 'u8' has 4 elements, the checkpoint has 5"), 1);
  EXPECT_THAT(find("a")->U8, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(find("a")->I8[0], -5);
  EXPECT_EQ(find("a")->I8[1], 10);
  EXPECT_EQ(find("a")->U64[0], 0x100000002u);
  EXPECT_EQ(Log.count("a : property 'dict': 3 reference(s) are null now: it refers to the object "
                      "'nobody', which does not exist"),
            1);
  // What could not be restored costs the next save nothing more.
  orvy_Dict *Dict = find("a")->Dict;
  orvy_Propval Gone = value(ovTY_Obj);
  Gone.Obj = &Clean;
  orvy_dictInsertValue(Dict, "unnamed", Gone);
  Log.clear();
  Json Again = Json::parse(save(Dir.path("again.json")))["objects"]["a"]["properties"]["dict"];
  EXPECT_EQ(
      Log.count("a : property 'dict': 1 reference(s) are saved as null: it refers to an object "
                "without a name"),
      1);
  EXPECT_EQ(Again["data"][0]["kept"]["data"][0], "a");
  EXPECT_EQ(Again["data"][0]["lost"]["data"][0], "<null>");
  EXPECT_EQ(Again["data"][0]["unnamed"]["data"][0], "<null>");
  EXPECT_THAT(Again["data"][0]["void"]["data"], IsEmpty());
}

std::string repeated(const char *Text, int Times) {
  std::string Result;
  while (Times-- > 0)
    Result += Text;
  return Result;
}

TEST_F(Checkpoint, WhatIsNotACheckpointLeavesNothing) {
  Model *A = createModel("a"), *B = createModel("b");
  fill(A, B);
  std::string Whole = save(Dir.path("file.json"));
  releaseInner(A);
  std::vector<std::string> Texts = {"", "[]", "{}", R"({"plugins":{},"objects":{}})"};
  Texts.push_back("{\"objects\":" + std::string(100000, '['));
  for (const char *Objects :
       {"[]", R"({"a":1})", R"({"a":{"className":"NoClass"}})",
        R"({"a":{"className":"Simulator"}})", R"({"a":{"className":"Model"}})",
        R"({"a\u0000":{"className":"Model"}})"})
    Texts.push_back(R"({"plugins":[],"objects":)" + std::string(Objects) + "}");
  Texts.push_back(R"({"plugins":[1],"objects":{}})");
  for (const char *Nested : {"[", R"({"a":)"})
    Texts.push_back(
        R"({"plugins":[],"objects":{"a":{"className":"Model","properties":{},"extra":)" +
        repeated(Nested, 5000));
  for (size_t Length = 0; Length + 2 < Whole.size(); Length += 41)
    Texts.push_back(Whole.substr(0, Length));
  for (const std::string &Text : Texts) {
    auto [Result, Errors] = restore(Text);
    EXPECT_EQ(Result, 1) << Text.substr(0, 100);
    EXPECT_NE(Errors, "");
    EXPECT_EQ(orvy_getObjectCount(), 1u);
  }
  EXPECT_EQ(orvy_deserialiseJSON(Dir.path("missing.json").c_str()), 0);
}

TEST_F(Checkpoint, ARejectedFileLeavesTheSimulatorAsItWas) {
  createModel("a");
  void *Sim = orvy_objectForName("sim");
  void *Clock = orvy_createObject("Clock", "clock", nullptr);
  orvy_setTimeSource(Sim, Clock);
  orvy_simSetQuanta(12345);
  Json Rejected = Json::parse(save(Dir.path("file.json")));
  Rejected["objects"]["zz"] = {{"className", "Model"}};
  orvy_simSetQuanta(777);
  EXPECT_EQ(restore(Rejected.dump()).first, 1);
  EXPECT_EQ(orvy_getValue(Sim, "quanta", -1).i64, 777);
  EXPECT_EQ(static_cast<orvy_Object *>(Sim)->TimeSource, nullptr);
}

TEST_F(Checkpoint, ObjectsOfTheHostStay) {
  static uint32_t Counter;
  Counter = 5;
  orvy_Class *Cls = orvy_registerExternalClass("Host");
  orvy_addProperty(Cls, "count", 0, ovTY_U32, 1, nullptr, nullptr, "");
  ASSERT_EQ(orvy_addObject("Host", "host", &Counter), &Counter);
  Model *A = createModel("a");
  A->Obj = &Counter;
  const std::string Saved = save(Dir.path("file.json"));
  Counter = 6;
  EXPECT_EQ(restore(Saved), std::pair(0, std::string()));
  EXPECT_EQ(orvy_objectForName("host"), &Counter);
  EXPECT_EQ(find("a")->Obj, &Counter);
  EXPECT_EQ(Counter, 5u);
  orvy_objsysClearObjects();
  EXPECT_EQ(restore(Saved).first, 1);
  EXPECT_EQ(Log.count("cannot restore object 'host' of class 'Host': it is the host's, which adds "
                      "it ahead of the restore"),
            1);
}

TEST_F(Checkpoint, UnknownTypesEndTheProcess) {
  Model *A = createModel("a");
  Json Node = {{"u8", {{"type", "uint9_t"}, {"data", Json::array()}}}};
  EXPECT_DEATH(
      {
        orvy_logSetFunc(nullptr);
        orvy_deserialiseProp(&Node, A, "u8");
      },
      "a : invalid deserialisation");
  orvy_deserialiseProp(&Node, A, "u16");
}

// Event queues

class CheckpointQueue : public Checkpoint {
protected:
  ~CheckpointQueue() override { orvy_disposeEventQueue(Queue); }

  int64_t publish(const char *Name) {
    return orvy_eventPublish(Name, Owner, [](orvy_Event *) {});
  }
  void post(const char *Name, int64_t Time) {
    orvy_eventPostAbsoluteInQueueInternal(Queue, publish(Name), Time);
  }
  Json serialised() {
    Json Node;
    orvy_eventSerialise(Queue, &Node);
    return Node;
  }
  void clear() {
    orvy_disposeEventQueue(Queue);
    Queue = orvy_allocateEventQueue();
  }

  Model *Owner = createModel("owner");
  orvy_EventQueue *Queue = orvy_allocateEventQueue();
};

TEST_F(CheckpointQueue, ComesBackInTheSameOrder) {
  for (const auto &[Name, Time] : {std::pair("a", 7), {"b", 7}, {"c", 3}, {"d", 7}, {"e", 3}})
    post(Name, Time);
  int64_t Cyclic = publish("f");
  orvy_eventSetPeriodCycles(Cyclic, 10);
  orvy_eventPostAbsoluteInQueueInternal(Queue, Cyclic, -1);
  orvy_eventPostOneShotInternal(
      Queue, Owner, [](orvy_Event *) {}, 5);
  Json Node = serialised();
  EXPECT_THAT(Log.take(), ElementsAre(HasSubstr(":error:: serialising unknown event -1 @ 0x")));
  EXPECT_EQ(Node["queueFuncs"].dump(), R"({"data":["f","e","c","d","b","a"],"type":"string"})");
  EXPECT_EQ(Node["queueTimes"]["data"].dump(), "[4294967295,4294967295,0,3,0,3,0,7,0,7,0,7]");
  EXPECT_EQ(Node["queueObjs"]["data"][5], "owner");

  clear();
  orvy_eventSetPeriodCycles(Cyclic, 0);
  orvy_eventDeserialise(Queue, &Node);
  EXPECT_EQ(serialised(), Node);
  EXPECT_EQ(orvy_eventPtrNS(Cyclic)->PeriodCycles, 10);
  clear();
  Node.erase("queuePeriods");
  orvy_eventSetPeriodCycles(Cyclic, 20);
  orvy_eventDeserialise(Queue, &Node);
  EXPECT_EQ(orvy_eventPtrNS(Cyclic)->PeriodCycles, 20) << "as it was";
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(CheckpointQueue, TellsWhatItCannotRestore) {
  EXPECT_EQ(serialised()["queueTimes"]["data"].dump(), "[]") << "an empty queue is written";
  post("a", 1);
  post("b", 2);
  const Json Node = serialised();
  const std::pair<std::function<void(Json &)>, const char *> Cases[] = {
      {[](Json &N) { N.erase("queueObjs"); }, "deserialise queue times != funcs != objs"},
      {[](Json &N) { N["queueFuncs"]["data"][1] = "z"; }, "deserialise func 'z' not registered"},
      {[](Json &N) { N["queueObjs"]["data"][1] = "z"; }, "deserialise func 'b' not registered"},
      {[](Json &N) { N["queueTimes"]["type"] = "int64_t"; }, "'queueTimes' is of another type"},
      {[](Json &N) { N["queueFuncs"]["data"][1] = 5; },
       "get checkpoint value failed for 'queueFuncs'[1]"},
  };
  for (const auto &[Damage, Told] : Cases) {
    clear();
    Json Damaged = Node;
    Damage(Damaged);
    orvy_eventDeserialise(Queue, &Damaged);
    EXPECT_THAT(Log.take(), ElementsAre(HasSubstr(Told)));
  }
  clear();
  Json Again = Node;
  Again["queueFuncs"]["data"][0] = "the host's";
  orvy_eventDeserialise(Queue, &Again);
  EXPECT_THAT(Log.take(), ElementsAre(HasSubstr("deserialise func 'the host's' not registered")));
  EXPECT_EQ(orvy_eventGetFirstTime(Queue), 2) << "those after it are there";

  // A key belongs to the events under it that are published.
  clear();
  for (const char *Name : {"first gone", "again"}) {
    const int64_t Gone = publish(Name);
    if (Name == std::string("again"))
      orvy_eventDepublish(Gone);
    post(Name, 5);
    if (Name == std::string("first gone"))
      orvy_eventDepublish(Gone);
  }
  Again = serialised();
  clear();
  orvy_eventDeserialise(Queue, &Again);
  EXPECT_EQ(serialised(), Again);
  EXPECT_EQ(Again["queueFuncs"]["data"].size(), 2u);
  EXPECT_THAT(Log.take(), IsEmpty());

  orvy_eventStackPostInternal(Queue, publish("stacked"));
  EXPECT_TRUE(serialised().is_null());
  Again = Node;
  orvy_eventDeserialise(Queue, &Again);
  EXPECT_THAT(Log.take(), ElementsAre(":error:: serialising queue with non-empty stack",
                                      ":error:: deserialising queue with non-empty stack"));
}

TEST_F(Checkpoint, ClocksSaveTheirQueues) {
  void *Clock = orvy_createObject("Clock", "clock", nullptr);
  createModel("owner");
  auto Publish = [] {
    return orvy_eventPublish("tick", orvy_objectForName("owner"), [](orvy_Event *) {});
  };
  orvy_eventPostCycles(Clock, Publish(), 5, ovSE_Cpu);
  std::string First = save(Dir.path("first.json"));
  EXPECT_EQ(restore(First).first, 0);
  EXPECT_EQ(Log.count("deserialise func 'tick' not registered"), 1) << "the model publishes it";
}

// Calls from inside a run

std::string RestoredInside;
std::vector<int> InsideResults;

void tryInside() {
  InsideResults.push_back(orvy_deserialiseJSON(RestoredInside.c_str()));
  InsideResults.push_back(orvy_serialiseJSON(RestoredInside.c_str()));
}

TEST_F(Checkpoint, RunsAndStepsRejectBoth) {
  static MemoryIface Blocks = {
      [](void *, void *, uint64_t, uint32_t Len, uint32_t) { return tryInside(), Len; },
      [](void *, uint64_t, uint32_t Len, const void *, uint32_t) { return tryInside(), Len; }};
  orvy_Class *Calling = orvy_registerClass(
      "Calling",
      [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, sizeof(orvy_Object)); },
      std::free);
  orvy_qualifyAsMemory(Calling);
  static MemAccessIface Accesses = {};
  static void *CallingTable[] = {&Accesses, &Blocks};
  orvy_setVTable(Calling, CallingTable);
  orvy_addInterface(Calling, "MemoryIface", "MemoryIface", &Blocks, 0, "");
  static void *Cpu, *Clock, *Other;
  Cpu = ScriptedCpu::make("cpu", 1000000);
  Clock = orvy_createObject("Clock", "clock", nullptr);
  Other = orvy_createObject("Clock", "other", nullptr);
  static const auto *ClockTable =
      static_cast<ClockIface *>(orvy_getInterface(Clock, "ClockIface", 0));
  ASSERT_TRUE(orvy_createObject("Calling", "memory", nullptr));
  static orvy_EventQueue *Queue;
  Queue = orvy_allocateEventQueue();
  static int64_t Event;
  Event = orvy_eventPublish("call", Clock, [](orvy_Event *) { tryInside(); });
  const std::string Saved = save(RestoredInside = Dir.path("inside.json"));
  const struct {
    const char *Name;
    void (*Run)();
  } Roads[] = {
      {"orvy_cpuRun", [] { orvy_cpuRun(Cpu, 10); }},
      {"orvy_cpuStep", [] { orvy_cpuStep(Cpu, 1); }},
      {"object-run of a processor", [] { orvy_execCommand("object-run obj=cpu cycles=10"); }},
      {"object-step of a processor", [] { orvy_execCommand("object-step obj=cpu steps=1"); }},
      {"object-run of the simulator", [] { orvy_execCommand("object-run obj=sim time=0.001"); }},
      {"object-step of the simulator", [] { orvy_execCommand("object-step obj=sim"); }},
      {"orvy_simRunNanos", [] { orvy_simRunNanos(1000000); }},
      {"orvy_simStep", [] { orvy_simStep(0, 1); }},
      {"object-run of a clock",
       [] {
         orvy_eventPostCycles(Clock, Event, 5, ovSE_Cpu);
         orvy_execCommand("object-run obj=clock cycles=10");
       }},
      {"an event of a clock",
       [] {
         orvy_eventPostCycles(Clock, Event, 5, ovSE_Cpu);
         ClockTable->advanceCycles(Clock, 10);
       }},
      {"a callback of a clock",
       [] {
         orvy_eventPostAsync(
             Other, [](void *) { tryInside(); }, nullptr, ovSE_Cpu);
         ClockTable->step(Other, 1);
         ClockTable->advanceCycles(Other, 1);
       }},
      {"an access of a command",
       [] {
         orvy_execCommand("memory-write obj=memory addr=0 data=1");
         orvy_execCommand("memory-read obj=memory addr=0 length=4");
       }},
      {"an event of a queue of its own",
       [] {
         orvy_eventPostAbsoluteInQueueInternal(Queue, Event, 5);
         orvy_eventTrigger(Queue, 5);
       }},
  };
  for (const auto &[Name, Run] : Roads) {
    InsideResults.clear();
    Log.clear();
    ScriptedCpu::of(Cpu).Then = [](ScriptedCpu *) { tryInside(); };
    testing::internal::CaptureStdout();
    Run();
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(orvy_objectForName("clock"), Clock) << Name;
    EXPECT_GE(InsideResults.size(), 2u) << Name;
    EXPECT_THAT(InsideResults, testing::Each(1)) << Name;
    EXPECT_GE(Log.count("cannot restore a checkpoint: a run is in progress"), 1) << Name;
    EXPECT_GE(Log.count("cannot save a checkpoint: a run is in progress"), 1) << Name;
  }
  EXPECT_EQ(contents(RestoredInside), Saved);
  EXPECT_EQ(orvy_deserialiseJSON(RestoredInside.c_str()), 0) << "outside it goes";
  orvy_disposeEventQueue(Queue);
}

// The direct reader and writer of numbers

std::string gap(std::mt19937_64 &Random) {
  static const char *const Gaps[] = {"", " ", "\n            ", "\n  ", "\t", "\r\n", "    "};
  return Gaps[Random() % 7];
}

std::string number(std::mt19937_64 &Random, bool IsClean) {
  if (IsClean || Random() % 300 != 0)
    return std::to_string(Random() >> (32 + Random() % 32));
  static const char *const Others[] = {
      "-1",       "1.5",       "1e3", "4294967296", "18446744073709551616",
      "\"[1",     "\"\\\"[\"", "[]",  "{}",         "null",
      "01",       "1 2",       "+1",  "",           "\"",
      "[[3,4],5]"};
  return Others[Random() % std::size(Others)];
}

std::string document(std::mt19937_64 &Random) {
  std::string Text = "{";
  for (unsigned Member = 0; Member < 6; ++Member) {
    Text += (Member ? "," : "") + gap(Random) + "\"k" + std::to_string(Member) +
            "[\\\"\":" + gap(Random) + "[";
    bool IsClean = Random() % 2;
    std::string Same = gap(Random);
    unsigned Count = Random() % 3 ? Random() % 200 : Random() % 200000;
    for (unsigned Idx = 0; Idx < Count; ++Idx)
      Text += (Idx ? "," : "") + (Random() % 50 ? Same : gap(Random)) + number(Random, IsClean);
    Text += gap(Random) + "]";
  }
  return Text + "}";
}

TEST_F(Checkpoint, ReadsAndWritesAsTheLibraryDoes) {
  std::mt19937_64 Random(testSeed());
  int Good = 0;
  for (unsigned Round = 0; Round < 30; ++Round) {
    std::string Text = document(Random), Expected, Found;
    try {
      Expected = Json::parse(Text).dump(2);
      ++Good;
    } catch (const Json::exception &Why) {
      // The library's document parser says more about what it was about to read.
      Expected = Why.what();
    }
    std::string Path = Dir.file("document.json", Text), Written = Dir.path("written.json");
    int File = open(Path.c_str(), O_RDONLY);
    try {
      Json Document = readDocument(File);
      ReplacementFile Out(Written.c_str());
      Writer To(Out);
      To.value(Document, 0);
      To.flush();
      Out.commit();
      Found = contents(Written);
    } catch (const Json::exception &Why) {
      Found = Why.what();
    }
    close(File);
    ASSERT_TRUE(Expected == Found) << Round << ": " << Expected.substr(0, 200) << "\n"
                                   << Found.substr(0, 200);
  }
  EXPECT_GT(Good, 5);
}

} // namespace
