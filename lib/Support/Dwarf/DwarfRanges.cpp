// The addresses of entries and functions.

#include "Dwarf/DwarfHandle.h"
#include "Dwarf/DwarfNames.h"

#include "orvy/Support/OutStream.h"

#include <algorithm>

using namespace orvy;
using namespace orvy::dwarf;
using utils::VectorStream;

namespace {

DebugInfoEntry *function(orvy_Dwarf Dwarf, const char *Name) {
  return Dwarf ? infoOf(Dwarf).getFunctionDIEForName(Name) : nullptr;
}

std::optional<uint64_t> addressOf(DebugInfoEntry *Entry, uint64_t Name) {
  std::optional<Attribute> Found = Entry ? Entry->find(Name) : std::nullopt;
  return Found ? std::optional(Found->getAddr()) : std::nullopt;
}

/// The range between an entry's low and high addresses.
std::optional<orvy_AddrRange> rangeOf(DebugInfoEntry *Entry) {
  std::optional<uint64_t> Low = addressOf(Entry, DW_AT_low_pc);
  std::optional<Attribute> High = Low ? Entry->find(DW_AT_high_pc) : std::nullopt;
  if (!High)
    return std::nullopt;
  return orvy_AddrRange{*Low, High->getHighAddr(*Low)};
}

/// The same, but with the last low and the last high address. There is no range if a relative high
/// address precedes the low one.
std::optional<orvy_AddrRange> walkedRange(DebugInfoEntry &Entry) {
  std::optional<uint64_t> Low, High;
  for (const Attribute &A : Entry.attributes()) {
    if (A.getName() == DW_AT_low_pc)
      Low = A.getAddr();
    if (A.getName() != DW_AT_high_pc)
      continue;
    if (!Low && A.getForm() != DW_FORM_addr)
      return std::nullopt;
    High = A.getHighAddr(Low.value_or(0));
  }
  if (!Low || !High)
    return std::nullopt;
  return orvy_AddrRange{*Low, *High};
}

/// Stores a range and returns 0, or returns Miss if there is no range.
int store(const std::optional<orvy_AddrRange> &Found, orvy_AddrRange *Range, int Miss) {
  if (!Found)
    return Miss;
  *Range = *Found;
  return 0;
}

int storeEntryPoint(DebugInfoEntry *Entry, uint64_t *Addr, int Miss) {
  std::optional<uint64_t> Found = addressOf(Entry, DW_AT_entry_pc);
  if (!Found)
    Found = addressOf(Entry, DW_AT_low_pc);
  if (!Found)
    return Miss;
  *Addr = *Found;
  return 0;
}

/// The ranges at an offset of ".debug_ranges". Base address selections are ignored.
std::vector<orvy_AddrRange> readRanges(CompilationUnit &Unit, uint64_t Offset) {
  VectorStream VS(Unit.getDebugInfo()->RangesSec);
  VS.BigEndian = true;
  VS.Is64Bit = Unit.is64Bit();
  VS.seek(Offset);
  uint64_t Base = Unit.getBaseAddress();
  std::vector<orvy_AddrRange> Ranges;
  for (;;) {
    int64_t First = 0;
    uint64_t Low = 0, High = 0;
    VS >> VectorStream::Word >> First;
    VS.seekRelativeWords(-1);
    VS >> VectorStream::Word >> Low >> VectorStream::Word >> High;
    if (Low == 0 && High == 0)
      return Ranges;
    if (First != -1)
      Ranges.push_back({Base + Low, Base + High});
  }
}

/// The ranges of an entry that is not contiguous; empty for any other, or if they cannot be read.
std::vector<orvy_AddrRange> rangesOf(DebugInfoEntry &Entry) try {
  std::optional<Attribute> Ranges = Entry.find(DW_AT_ranges);
  auto *Unit = dynamic_cast<CompilationUnit *>(Entry.getUnit());
  return Ranges && Unit ? readRanges(*Unit, Ranges->getAddr()) : std::vector<orvy_AddrRange>();
} catch (...) {
  return {};
}

} // namespace

int orvy_dwarfGetDIERange(void *Entry, orvy_AddrRange *Range) {
  return store(rangeOf(&entryOf(Entry)), Range, -1);
}

int orvy_dwarfGetDIEEntryAddr(void *Entry, uint64_t *Addr) {
  return storeEntryPoint(&entryOf(Entry), Addr, -1);
}

uint64_t orvy_dwarfGetDIERangeCount(void *Entry) {
  return rangesOf(entryOf(Entry)).size();
}

uint64_t orvy_dwarfGetDIERanges(void *Entry, uint64_t Capacity, orvy_AddrRange *Ranges) {
  std::vector<orvy_AddrRange> Found = rangesOf(entryOf(Entry));
  if (Found.size() > Capacity)
    return UINT64_MAX;
  std::ranges::copy(Found, Ranges);
  return Found.size();
}

int orvy_dwarfGetAddressRange(orvy_Dwarf Dwarf, uint64_t Addr, orvy_AddrRange *Range) {
  if (DebugInfoEntry *Entry = infoOf(Dwarf).getFunctionDIEForAddress(Addr))
    return store(walkedRange(*Entry), Range, 1);
  errs() << "did not find die for address\n";
  return 1;
}

int orvy_dwarfGetNamedAddressRange(orvy_Dwarf Dwarf, const char *Name, orvy_AddrRange *Range) {
  DebugInfoEntry *Entry = function(Dwarf, Name);
  return Entry ? store(walkedRange(*Entry), Range, 1) : 1;
}

int orvy_debugGetAddressRange(orvy_Dwarf Dwarf, const char *Name, uint64_t *Low, uint64_t *High) {
  DebugInfoEntry *Entry = function(Dwarf, Name);
  std::optional<uint64_t> Bounds[] = {addressOf(Entry, DW_AT_low_pc),
                                      addressOf(Entry, DW_AT_high_pc)};
  if (!Bounds[0] || !Bounds[1])
    return 1;
  *Low = *Bounds[0];
  *High = *Bounds[1];
  return 0;
}

int orvy_debugGetEntryPoint(orvy_Dwarf Dwarf, const char *Name, uint64_t *Addr) {
  return storeEntryPoint(function(Dwarf, Name), Addr, 1);
}
