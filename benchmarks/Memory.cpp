// Memory: transactions through a memory space with many devices, and accesses through a host page.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr uint64_t RamBase = 0x40000000;
constexpr uint64_t RamSize = 0x100000;
constexpr uint64_t DeviceBase = 0x80000000;
constexpr uint64_t DeviceSize = 0x100;

struct Device {
  orvy_Object Super;
  uint64_t Register;
};

void readRegister(void *Obj, orvy_MemTransaction *Mt) {
  Mt->Value = static_cast<Device *>(Obj)->Register;
}
void writeRegister(void *Obj, orvy_MemTransaction *Mt) {
  static_cast<Device *>(Obj)->Register = Mt->Value;
}

void registerDevice() {
  static MemAccessIface Table = {readRegister, readRegister, writeRegister, writeRegister};
  if (orvy_classForName("BenchDevice"))
    return;
  orvy_Class *Cls = orvy_registerClass(
      "BenchDevice",
      [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, sizeof(Device)); },
      std::free);
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &Table, 0, "");
}

/// A memory space with RAM and devices, there while a benchmark runs.
struct World {
  void *Space = orvy_createObject("MemorySpace", "benchSpace", nullptr);
  void *Ram;
  std::vector<void *> Devices;
  MemAccessIface *Table;

  explicit World(int Count) {
    orvy_CreateArg Args[] = {{"size", {.Typ = ovTY_U64, .u64 = RamSize}}, {}};
    Ram = orvy_createObject("Ram", "benchRam", Args);
    orvy_memoryMap(Space, RamBase, RamSize, Ram, 0);
    registerDevice();
    for (int Index = 0; Index < Count; ++Index) {
      std::string Name = "benchDevice" + std::to_string(Index);
      Devices.push_back(orvy_createObject("BenchDevice", Name.c_str(), nullptr));
      orvy_memoryMap(Space, DeviceBase + DeviceSize * static_cast<uint64_t>(Index), DeviceSize,
                     Devices.back(), 0);
    }
    Table = static_cast<MemAccessIface *>(orvy_getInterface(Space, "MemAccessIface", -1));
  }

  ~World() {
    orvy_disposeObject(Space);
    orvy_disposeObject(Ram);
    for (void *Obj : Devices)
      orvy_disposeObject(Obj);
  }

  orvy_MemPage *page() const {
    orvy_MemTransaction Mt{};
    Mt.Pa = RamBase;
    Mt.Size = 2;
    Table->write(Space, &Mt);
    return static_cast<orvy_MemPage *>(Mt.Page);
  }
};

bench::Function transaction(int Count) {
  return [Count](benchmark::State &State) {
    World W(Count);
    orvy_MemTransaction Mt{};
    Mt.Size = 2;
    uint64_t Offset = 0;
    for (auto _ : State) {
      Mt.Pa = DeviceBase + Offset;
      W.Table->read(W.Space, &Mt);
      Offset = (Offset + 5 * DeviceSize) & (DeviceSize * static_cast<uint64_t>(Count) - 1);
    }
  };
}

/// The device called without anything between.
bench::Function callPlain(int Count) {
  return [Count](benchmark::State &State) {
    World W(Count);
    void (*Call)(void *, orvy_MemTransaction *) = readRegister;
    orvy_MemTransaction Mt{};
    size_t Index = 0;
    for (auto _ : State) {
      benchmark::DoNotOptimize(Call);
      Call(W.Devices[Index], &Mt);
      Index = (Index + 5) & (static_cast<size_t>(Count) - 1);
    }
  };
}

uint32_t nextOffset(uint32_t Offset) {
  return (Offset + 20) & (ORVY_PAGE_SIZE - 4);
}

void loadFromPage(benchmark::State &State) {
  World W(4);
  orvy_MemPage *Page = W.page();
  uint32_t Offset = 0;
  for (auto _ : State) {
    uint32_t Word;
    benchmark::DoNotOptimize(Page);
    std::memcpy(&Word, Page->Data + Offset, 4);
    benchmark::DoNotOptimize(__builtin_bswap32(Word));
    Offset = nextOffset(Offset);
  }
}

void storeToPage(benchmark::State &State) {
  World W(4);
  orvy_MemPage *Page = W.page();
  uint32_t Offset = 0;
  for (auto _ : State) {
    benchmark::DoNotOptimize(Page);
    uint32_t Word = __builtin_bswap32(Offset);
    std::memcpy(Page->Data + Offset, &Word, 4);
    orvy_memPageWritten(Page, Offset, 4);
    Offset = nextOffset(Offset);
  }
}

void loadPlain(benchmark::State &State) {
  std::vector<uint32_t> Words(ORVY_PAGE_SIZE / 4);
  uint32_t Offset = 0;
  for (auto _ : State) {
    benchmark::DoNotOptimize(Words[Offset / 4]);
    Offset = nextOffset(Offset);
  }
}

void storePlain(benchmark::State &State) {
  std::vector<uint32_t> Words(ORVY_PAGE_SIZE / 4);
  uint32_t Offset = 0;
  for (auto _ : State) {
    Words[Offset / 4] = Offset;
    benchmark::ClobberMemory();
    Offset = nextOffset(Offset);
  }
}

int row(int Count) {
  return bench::compare("transaction among " + std::to_string(Count) + " devices", bench::below(15),
                        transaction(Count), callPlain(Count));
}

const int Rows[] = {
    row(4),
    row(32),
    row(256),
    bench::compare("load through a page", bench::below(3), loadFromPage, loadPlain),
    bench::compare("store through a page", bench::below(3), storeToPage, storePlain),
};

} // namespace
