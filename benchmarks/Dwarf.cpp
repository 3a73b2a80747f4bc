// Debug information: loading half a million entries, and queries by address and by name, also of a
// symbol table. Beside them elfutils' reader on the same file: a walk over all entries and values,
// and its own queries.

#include "Table.h"

#include "Testing/ElfBuilder.h"
#include "Testing/MemoryFile.h"

#include "orvy/Support/Orvy.h"

#include <dwarf.h>
#include <elfutils/libdw.h>
#include <fcntl.h>
#include <iterator>
#include <map>
#include <string>
#include <unistd.h>

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

/// Units of functions of parameters, each unit with its own table of abbreviations.
const std::string &path() {
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

orvy_Dwarf load(const std::string &Path) {
  orvy_Dwarf Dwarf = nullptr;
  if (orvy_loadDwarf(Path.c_str(), &Dwarf) != 0)
    std::abort();
  return Dwarf;
}

void loads(benchmark::State &State) {
  const std::string &Path = path();
  for (auto _ : State)
    orvy_disposeDwarf(load(Path));
}

/// A file open in elfutils.
struct Libdw {
  int Descriptor = open(path().c_str(), O_RDONLY);
  Dwarf *Handle = dwarf_begin(Descriptor, DWARF_C_READ);
  ~Libdw() {
    dwarf_end(Handle);
    close(Descriptor);
  }
};

int takeValue(Dwarf_Attribute *Attr, void *Count) {
  Dwarf_Word Word = 0;
  Dwarf_Block Block;
  switch (dwarf_whatform(Attr)) {
  case DW_FORM_string:
    *static_cast<uint64_t *>(Count) += dwarf_formstring(Attr) != nullptr;
    break;
  case DW_FORM_exprloc:
    *static_cast<uint64_t *>(Count) += dwarf_formblock(Attr, &Block) == 0;
    break;
  case DW_FORM_addr:
    *static_cast<uint64_t *>(Count) += dwarf_formaddr(Attr, &Word) == 0;
    break;
  case DW_FORM_ref4:
    // The value as it stands; what is recommended in its place would look the entry up.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    *static_cast<uint64_t *>(Count) += dwarf_formref(Attr, &Word) == 0;
#pragma GCC diagnostic pop
    break;
  default:
    *static_cast<uint64_t *>(Count) += dwarf_formudata(Attr, &Word) == 0;
  }
  return DWARF_CB_OK;
}

void walk(Dwarf_Die Die, uint64_t &Count) {
  do {
    dwarf_getattrs(&Die, takeValue, &Count, 0);
    Dwarf_Die Child;
    if (dwarf_child(&Die, &Child) == 0)
      walk(Child, Count);
  } while (dwarf_siblingof(&Die, &Die) == 0);
}

void libdwWalks(benchmark::State &State) {
  for (auto _ : State) {
    Libdw File;
    uint64_t Count = 0;
    Dwarf_Off Offset = 0, Next = 0;
    for (size_t Header = 0;
         dwarf_nextcu(File.Handle, Offset, &Next, &Header, nullptr, nullptr, nullptr) == 0;
         Offset = Next) {
      Dwarf_Die Die;
      walk(*dwarf_offdie(File.Handle, Offset + Header, &Die), Count);
    }
    if (Count < Units * Functions * Parameters)
      State.SkipWithError("elfutils does not read the file");
  }
}

/// Addresses in an order that no cache knows.
uint64_t next(uint64_t &Random) {
  Random = Random * 6364136223846793005 + 1442695040888963407;
  return (Random >> 33) % (uint64_t{Units} * Functions * FunctionSize);
}

void functionByAddress(benchmark::State &State) {
  orvy_Dwarf Dwarf = load(path());
  uint64_t Random = 1;
  for (uint64_t Addr = 0; Addr < Units * Functions * FunctionSize; Addr += FunctionSize)
    orvy_dwarfGetDIEForAddr(Dwarf, Addr);
  for (auto _ : State)
    benchmark::DoNotOptimize(orvy_dwarfGetDIEForAddr(Dwarf, next(Random)));
  orvy_disposeDwarf(Dwarf);
}

void functionByName(benchmark::State &State) {
  orvy_Dwarf Dwarf = load(path());
  uint64_t Random = 1;
  orvy_dwarfGetDIEForName(Dwarf, "f0");
  for (auto _ : State) {
    std::string Name = "f" + std::to_string(next(Random) / FunctionSize);
    benchmark::DoNotOptimize(orvy_dwarfGetDIEForName(Dwarf, Name.c_str()));
  }
  orvy_disposeDwarf(Dwarf);
}

const std::string Example = ORVY_BUILD_ROOT "/share/orvy/examples/compute.elf";
constexpr uint64_t Code = 0x40001000, CodeSize = 0x800; // of the example, traps aside

void lineByAddress(benchmark::State &State) {
  orvy_Dwarf Dwarf = load(Example);
  uint64_t Random = 1, Lines = 0;
  for (auto _ : State)
    Lines += orvy_dwarfGetLine(Dwarf, Code + next(Random) % CodeSize) + 1 != 0;
  if (Lines == 0)
    State.SkipWithError("no lines found");
  orvy_disposeDwarf(Dwarf);
}

void libdwLineByAddress(benchmark::State &State) {
  int Descriptor = open(Example.c_str(), O_RDONLY);
  Dwarf *Handle = dwarf_begin(Descriptor, DWARF_C_READ);
  uint64_t Random = 1;
  int Lines = 0;
  for (auto _ : State) {
    Dwarf_Die Unit;
    uint64_t Addr = Code + next(Random) % CodeSize;
    Dwarf_Line *Line = dwarf_addrdie(Handle, Addr, &Unit) ? dwarf_getsrc_die(&Unit, Addr) : nullptr;
    int Number = 0;
    Lines += Line && dwarf_lineno(Line, &Number) == 0;
  }
  benchmark::DoNotOptimize(Lines);
  dwarf_end(Handle);
  close(Descriptor);
}

void mapByAddress(benchmark::State &State) {
  std::map<uint64_t, uint32_t> Starts;
  for (uint32_t Function = 0; Function < Units * Functions; ++Function)
    Starts[uint64_t{Function} * FunctionSize] = Function;
  uint64_t Random = 1;
  for (auto _ : State)
    benchmark::DoNotOptimize(std::prev(Starts.upper_bound(next(Random)))->second);
}

void symbolByAddress(benchmark::State &State) {
  orvy::Symtab Table;
  for (uint32_t Function = 0; Function < Units * Functions; ++Function)
    Table.addGlobalFunc("f" + std::to_string(Function), uint64_t{Function} * FunctionSize,
                        FunctionSize);
  Table.index();
  uint64_t Random = 1;
  for (auto _ : State)
    benchmark::DoNotOptimize(Table.getFunction(next(Random)));
}

void mapByName(benchmark::State &State) {
  std::map<std::string, uint32_t> Names;
  for (uint32_t Function = 0; Function < Units * Functions; ++Function)
    Names["f" + std::to_string(Function)] = Function;
  uint64_t Random = 1;
  for (auto _ : State)
    benchmark::DoNotOptimize(Names.find("f" + std::to_string(next(Random) / FunctionSize)));
}

const int Rows[] = {
    bench::compare("dwarf load, 500 000 entries / libdw walk", {1, 0}, loads, libdwWalks),
    bench::compare("dwarf line by address / libdw", bench::below(333), lineByAddress,
                   libdwLineByAddress),
    bench::compare("dwarf function by address / std::map", bench::below(333), functionByAddress,
                   mapByAddress),
    bench::compare("symbol by address / std::map", bench::below(200), symbolByAddress,
                   mapByAddress),
    bench::compare("dwarf function by name / std::map", bench::below(2000), functionByName,
                   mapByName),
};

} // namespace
