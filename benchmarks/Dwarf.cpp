// Debug information: half a million entries, and queries by address and by name, also of a symbol
// table, beside a std::map. Other readers of the same files are in DwarfLibdw.cpp and
// DwarfLlvm.cpp.

#include "DwarfCases.h"
#include "Table.h"

#include "Testing/ElfBuilder.h"
#include "Testing/MemoryFile.h"

#include "orvy/Support/Orvy.h"

#include <dwarf.h>
#include <iterator>
#include <map>
#include <string>

namespace {

using orvy::testing::appendBig;

constexpr uint32_t Units = 500, Functions = 200, Parameters = 4, FunctionSize = 64;

std::string bytes(std::initializer_list<int> Values) {
  return {Values.begin(), Values.end()};
}

std::string abbrevs() {
  return bytes({1, DW_TAG_compile_unit, 1, DW_AT_name, DW_FORM_string, DW_AT_low_pc, DW_FORM_addr,
                DW_AT_high_pc, DW_FORM_data4, 0, 0}) +
         bytes({2, DW_TAG_subprogram, 1, DW_AT_name, DW_FORM_string, DW_AT_decl_line, DW_FORM_data2,
                DW_AT_type, DW_FORM_ref4, DW_AT_low_pc, DW_FORM_addr, DW_AT_high_pc, DW_FORM_data4,
                DW_AT_frame_base, DW_FORM_exprloc, 0, 0}) +
         bytes({3, DW_TAG_formal_parameter, 0, DW_AT_type, DW_FORM_ref4, DW_AT_location,
                DW_FORM_exprloc, 0, 0, 0});
}

std::string name(uint32_t Unit, uint32_t Function) {
  return "f" + std::to_string(Unit * Functions + Function) + '\0';
}

void appendFunction(std::string &Info, uint32_t Unit, uint32_t Function) {
  Info += '\2';
  Info += name(Unit, Function);
  appendBig(Info, static_cast<uint16_t>(Function));
  appendBig(Info, uint32_t{11});
  appendBig(Info, (Unit * Functions + Function) * FunctionSize);
  appendBig(Info, FunctionSize);
  Info += bytes({1, DW_OP_call_frame_cfa});
  for (uint32_t Parameter = 0; Parameter < Parameters; ++Parameter) {
    Info += '\3';
    appendBig(Info, uint32_t{11});
    Info += bytes({2, DW_OP_fbreg, 8});
  }
  Info += '\0';
}

void appendUnit(std::string &Info, uint32_t Unit, size_t AbbrevOffset) {
  std::string Entries = "\1unit" + std::to_string(Unit) + ".c" + '\0';
  appendBig(Entries, Unit * Functions * FunctionSize);
  appendBig(Entries, Functions * FunctionSize);
  for (uint32_t Function = 0; Function < Functions; ++Function)
    appendFunction(Entries, Unit, Function);
  Entries += '\0';
  appendBig(Info, static_cast<uint32_t>(7 + Entries.size()));
  appendBig(Info, uint16_t{4});
  appendBig(Info, static_cast<uint32_t>(AbbrevOffset));
  Info += '\4' + Entries;
}

orvy_Dwarf load(const std::string &Path) {
  orvy_Dwarf Dwarf = nullptr;
  if (orvy_loadDwarf(Path.c_str(), &Dwarf) != 0)
    std::abort();
  return Dwarf;
}

} // namespace

const std::string &bench::dwarfFile() {
  static const orvy::testing::MemoryFile File([] {
    std::string Abbrev, Info;
    for (uint32_t Unit = 0; Unit < Units; ++Unit) {
      appendUnit(Info, Unit, Abbrev.size());
      Abbrev += abbrevs();
    }
    return orvy::testing::ElfBuilder()
        .section(".debug_abbrev", Abbrev)
        .section(".debug_info", Info)
        .close()
        .bytes();
  }());
  static const std::string Path = File.path();
  orvy_logSetLevel(ovLOG_Error);
  return Path;
}

void bench::loadDwarf(benchmark::State &State) {
  const std::string &Path = dwarfFile();
  for (auto _ : State)
    orvy_disposeDwarf(load(Path));
}

uint64_t bench::nextAddress(uint64_t &Random) {
  Random = Random * 6364136223846793005 + 1442695040888963407;
  return (Random >> 33) % (uint64_t{Units} * Functions * FunctionSize);
}

void bench::lineByAddress(benchmark::State &State) {
  orvy_Dwarf Dwarf = load(ExampleImage);
  uint64_t Random = 1, Lines = 0;
  for (auto _ : State)
    Lines += orvy_dwarfGetLine(Dwarf, nextCodeAddress(Random)) + 1 != 0;
  if (Lines == 0)
    State.SkipWithError("no lines found");
  orvy_disposeDwarf(Dwarf);
}

uint64_t bench::nextCodeAddress(uint64_t &Random) {
  constexpr uint64_t Code = 0x40001000, CodeSize = 0x800; // of the example, traps aside
  return Code + nextAddress(Random) % CodeSize;
}

namespace {

using bench::dwarfFile, bench::nextAddress;

void functionByAddress(benchmark::State &State) {
  orvy_Dwarf Dwarf = load(dwarfFile());
  uint64_t Random = 1;
  for (uint64_t Addr = 0; Addr < Units * Functions * FunctionSize; Addr += FunctionSize)
    orvy_dwarfGetDIEForAddr(Dwarf, Addr);
  for (auto _ : State)
    benchmark::DoNotOptimize(orvy_dwarfGetDIEForAddr(Dwarf, nextAddress(Random)));
  orvy_disposeDwarf(Dwarf);
}

void functionByName(benchmark::State &State) {
  orvy_Dwarf Dwarf = load(dwarfFile());
  uint64_t Random = 1;
  orvy_dwarfGetDIEForName(Dwarf, "f0");
  for (auto _ : State) {
    std::string Name = "f" + std::to_string(nextAddress(Random) / FunctionSize);
    benchmark::DoNotOptimize(orvy_dwarfGetDIEForName(Dwarf, Name.c_str()));
  }
  orvy_disposeDwarf(Dwarf);
}

void mapByAddress(benchmark::State &State) {
  std::map<uint64_t, uint32_t> Starts;
  for (uint32_t Function = 0; Function < Units * Functions; ++Function)
    Starts[uint64_t{Function} * FunctionSize] = Function;
  uint64_t Random = 1;
  for (auto _ : State)
    benchmark::DoNotOptimize(std::prev(Starts.upper_bound(nextAddress(Random)))->second);
}

void symbolByAddress(benchmark::State &State) {
  orvy::Symtab Table;
  for (uint32_t Function = 0; Function < Units * Functions; ++Function)
    Table.addGlobalFunc("f" + std::to_string(Function), uint64_t{Function} * FunctionSize,
                        FunctionSize);
  Table.index();
  uint64_t Random = 1;
  for (auto _ : State)
    benchmark::DoNotOptimize(Table.getFunction(nextAddress(Random)));
}

void mapByName(benchmark::State &State) {
  std::map<std::string, uint32_t> Names;
  for (uint32_t Function = 0; Function < Units * Functions; ++Function)
    Names["f" + std::to_string(Function)] = Function;
  uint64_t Random = 1;
  for (auto _ : State)
    benchmark::DoNotOptimize(Names.find("f" + std::to_string(nextAddress(Random) / FunctionSize)));
}

const int Rows[] = {
    bench::compare("dwarf function by address / std::map", bench::below(333), functionByAddress,
                   mapByAddress),
    bench::compare("symbol by address / std::map", bench::below(200), symbolByAddress,
                   mapByAddress),
    bench::compare("dwarf function by name / std::map", bench::below(2000), functionByName,
                   mapByName),
};

} // namespace
