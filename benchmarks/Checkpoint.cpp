// Checkpoints of a large memory and of many objects, beside the JSON library alone on the same
// text.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <random>
#include <string>
#include <vector>

namespace {

using nlohmann::json;

constexpr int ObjectCount = 10000;

const std::string &path() {
  static const std::string Path = [] {
    const char *Dir = std::getenv("TMPDIR");
    return std::string(Dir ? Dir : "/tmp") + "/orvy-benchmark-checkpoint.json";
  }();
  return Path;
}

/// Bytes of the memory that is saved; ORVY_BENCH_MIB asks for another number of MiB.
uint64_t memorySize() {
  const char *Given = std::getenv("ORVY_BENCH_MIB");
  return (Given ? std::strtoull(Given, nullptr, 0) : 8) << 20;
}

void makeMemory() {
  orvy_CreateArg Args[] = {{"size", {.Typ = ovTY_U64, .u64 = memorySize()}}, {}};
  void *Ram = orvy_createObject("Ram", "benchRam", Args);
  std::mt19937_64 Random(1);
  std::vector<uint64_t> Words(ORVY_PAGE_SIZE / 8);
  for (uint64_t At = 0; At < memorySize(); At += ORVY_PAGE_SIZE) {
    for (uint64_t &Word : Words)
      Word = Random();
    orvy_memoryWrite(Ram, At, Words.data(), ORVY_PAGE_SIZE, 0);
  }
}

/// An object of a dozen properties.
struct Small {
  orvy_Object Super;
  uint32_t Registers[6];
  uint64_t Time;
  void *Next;
  orvy_IfaceRef Memory;
};

void makeObjects() {
  if (!orvy_classForName("BenchSmall")) {
    orvy_Class *Cls = orvy_registerClass(
        "BenchSmall",
        [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, sizeof(Small)); },
        std::free);
    static const char *const Names[] = {"control", "status", "data", "mask", "force", "level"};
    for (int Index = 0; Index < 6; ++Index)
      orvy_addProperty(Cls, Names[Index], offsetof(Small, Registers) + 4 * Index, ovTY_U32, 1,
                       nullptr, nullptr, "");
    orvy_addProperty(Cls, "time", offsetof(Small, Time), ovTY_U64, 1, nullptr, nullptr, "");
    orvy_addProperty(Cls, "next", offsetof(Small, Next), ovTY_Obj, 1, nullptr, nullptr, "");
    orvy_addProperty(Cls, "memory", offsetof(Small, Memory), ovTY_IfaceRef, 1, nullptr, nullptr,
                     "");
  }
  void *Space = orvy_createObject("MemorySpace", "benchSpace", nullptr);
  Small *Last = nullptr;
  for (int Index = 0; Index < ObjectCount; ++Index) {
    std::string Name = "small" + std::to_string(Index);
    auto *Obj = static_cast<Small *>(orvy_createObject("BenchSmall", Name.c_str(), nullptr));
    Obj->Next = Last;
    Obj->Time = static_cast<uint64_t>(Index) << 30;
    Obj->Memory = orvy_getInterfaceRef(Space, "MemAccessIface", -1);
    Last = Obj;
  }
}

/// Has the objects there while a benchmark runs, and their checkpoint.
struct Saved {
  explicit Saved(void (*Make)()) {
    Make();
    orvy_serialiseJSON(path().c_str());
    std::ifstream File(path(), std::ios::ate);
    Size = File.tellg();
  }
  ~Saved() {
    orvy_objsysClearObjects();
    std::remove(path().c_str());
  }
  int64_t Size;
};

/// Counts bytes of the text, or objects.
void countItems(benchmark::State &State, const Saved &S, int64_t Objects) {
  State.SetItemsProcessed(static_cast<int64_t>(State.iterations()) * (Objects ? Objects : S.Size));
}

bench::Function save(void (*Make)(), int64_t Objects) {
  return [=](benchmark::State &State) {
    Saved S(Make);
    for (auto _ : State)
      orvy_serialiseJSON(path().c_str());
    countItems(State, S, Objects);
  };
}

bench::Function restore(void (*Make)(), int64_t Objects) {
  return [=](benchmark::State &State) {
    Saved S(Make);
    for (auto _ : State)
      orvy_deserialiseJSON(path().c_str());
    countItems(State, S, Objects);
  };
}

bench::Function print(void (*Make)(), int64_t Objects) {
  return [=](benchmark::State &State) {
    Saved S(Make);
    json Document;
    std::ifstream(path()) >> Document;
    for (auto _ : State)
      std::ofstream(path()) << std::setw(2) << Document << "\n";
    countItems(State, S, Objects);
  };
}

bench::Function parse(void (*Make)(), int64_t Objects) {
  return [=](benchmark::State &State) {
    Saved S(Make);
    for (auto _ : State) {
      json Document;
      std::ifstream(path()) >> Document;
      benchmark::DoNotOptimize(Document);
    }
    countItems(State, S, Objects);
  };
}

constexpr bench::Goal Eighth{0.125, 0};

const int Rows[] = {
    bench::compare("save memory, a byte of the file", Eighth, save(makeMemory, 0),
                   print(makeMemory, 0)),
    bench::compare("restore memory, a byte of the file", Eighth, restore(makeMemory, 0),
                   parse(makeMemory, 0)),
    bench::compare("save 10 000 objects, each", bench::below(50000), save(makeObjects, ObjectCount),
                   print(makeObjects, ObjectCount)),
    bench::compare("restore 10 000 objects, each", bench::below(50000),
                   restore(makeObjects, ObjectCount), parse(makeObjects, ObjectCount)),
};

} // namespace
