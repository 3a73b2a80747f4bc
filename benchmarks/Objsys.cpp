// Object system: properties by name and calls of interfaces, among 100 objects of a class with 20
// properties.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int ObjectCount = 100;
constexpr int PropertyCount = 20;

struct Model {
  orvy_Object Super;
  uint64_t Values[PropertyCount];
};

struct ValueIface {
  uint64_t (*value)(void *Obj);
};

uint64_t firstValue(void *Obj) {
  return static_cast<Model *>(Obj)->Values[0];
}

std::string propertyName(int Index) {
  return "property" + std::to_string(Index);
}

void registerModel() {
  static ValueIface Table = {firstValue};
  orvy_Class *Cls = orvy_registerClass(
      "BenchModel",
      [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, sizeof(Model)); },
      std::free);
  for (int Index = 0; Index < PropertyCount; ++Index)
    orvy_addProperty(Cls, propertyName(Index).c_str(),
                     static_cast<int>(offsetof(Model, Values) + 8 * Index), ovTY_U64, 1, nullptr,
                     nullptr, "");
  orvy_addInterface(Cls, "ValueIface", "ValueIface", &Table, 0, "");
}

/// The objects, and the bare maps that a look-up by address and name goes through.
struct World {
  std::vector<void *> Objects;
  std::vector<std::string> Names;
  std::map<void *, int, std::less<>> ByAddress;
  std::map<std::string, std::unique_ptr<uint64_t>, std::less<>> ByName;

  World() {
    registerModel();
    for (int Index = 0; Index < ObjectCount; ++Index) {
      std::string Name = "model" + std::to_string(Index);
      Objects.push_back(orvy_createObject("BenchModel", Name.c_str(), nullptr));
      ByAddress[Objects.back()] = Index;
    }
    for (int Index = 0; Index < PropertyCount; ++Index) {
      Names.push_back(propertyName(Index));
      ByName[Names.back()] = std::make_unique<uint64_t>(Index);
    }
    ByName["object.timeSource"] = std::make_unique<uint64_t>(0); // which every class has
  }

  static World &get() {
    static World W;
    return W;
  }
};

/// Calls an operation with objects and property names in turn.
template <typename Operation> void forEach(benchmark::State &State, Operation Do) {
  World &W = World::get();
  size_t Object = 0, Name = 0;
  for (auto _ : State) {
    Do(W, W.Objects[Object], W.Names[Name].c_str());
    Object = Object + 1 == ObjectCount ? 0 : Object + 1;
    Name = Name + 1 == PropertyCount ? 0 : Name + 1;
  }
}

void get(benchmark::State &State) {
  forEach(State, [](World &, void *Obj, const char *Name) {
    benchmark::DoNotOptimize(orvy_getValueU64(Obj, Name, 0));
  });
}

void set(benchmark::State &State) {
  forEach(State, [](World &, void *Obj, const char *Name) { orvy_setValueU64(Obj, Name, 1, 0); });
}

void lookUpsPlain(benchmark::State &State) {
  forEach(State, [](World &W, void *Obj, const char *Name) {
    benchmark::DoNotOptimize(W.ByAddress.find(Obj)->second);
    benchmark::DoNotOptimize(*W.ByName.find(Name)->second);
  });
}

void call(benchmark::State &State) {
  orvy_IfaceRef Ref = orvy_getInterfaceRef(World::get().Objects[0], "ValueIface", -1);
  for (auto _ : State) {
    benchmark::DoNotOptimize(Ref);
    benchmark::DoNotOptimize(static_cast<ValueIface *>(Ref.Iface)->value(Ref.Obj));
  }
}

void callPlain(benchmark::State &State) {
  uint64_t (*Function)(void *) = firstValue;
  void *Obj = World::get().Objects[0];
  for (auto _ : State) {
    benchmark::DoNotOptimize(Function);
    benchmark::DoNotOptimize(Function(Obj));
  }
}

const int Rows[] = {
    bench::compare("get a property by name", {1.0, 20}, get, lookUpsPlain),
    bench::compare("set a property by name", {1.0, 20}, set, lookUpsPlain),
    bench::compare("call through an interface", {1.0, 1}, call, callPlain),
};

} // namespace
