// The same files read by elfutils: a walk over all entries and values, and lines by address.

#include "DwarfCases.h"
#include "Table.h"

#include <dwarf.h>
#include <elfutils/libdw.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// A file open in elfutils.
struct Libdw {
  int Descriptor = open(bench::dwarfFile().c_str(), O_RDONLY);
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
    if (Count < bench::DwarfFileValues)
      State.SkipWithError("elfutils does not read the file");
  }
}

void libdwLineByAddress(benchmark::State &State) {
  int Descriptor = open(bench::ExampleImage, O_RDONLY);
  Dwarf *Handle = dwarf_begin(Descriptor, DWARF_C_READ);
  uint64_t Random = 1;
  int Lines = 0;
  for (auto _ : State) {
    Dwarf_Die Unit;
    uint64_t Addr = bench::nextCodeAddress(Random);
    Dwarf_Line *Line = dwarf_addrdie(Handle, Addr, &Unit) ? dwarf_getsrc_die(&Unit, Addr) : nullptr;
    int Number = 0;
    Lines += Line && dwarf_lineno(Line, &Number) == 0;
  }
  benchmark::DoNotOptimize(Lines);
  dwarf_end(Handle);
  close(Descriptor);
}

const int Rows[] = {
    bench::compare("dwarf load, 500 000 entries / libdw walk", {1, 0}, bench::loadDwarf,
                   libdwWalks),
    bench::compare("dwarf line by address / libdw", bench::below(333), bench::lineByAddress,
                   libdwLineByAddress),
};

} // namespace
