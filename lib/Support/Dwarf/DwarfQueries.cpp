#include "Dwarf/DwarfNames.h"

#include "orvy/Support/Dwarf.h"
#include "orvy/Support/DwarfLines.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <utility>

using namespace orvy;
using namespace orvy::dwarf;
using utils::VectorStream;

CompilationUnit *DebugInfo::getCompUnitAround(uint64_t Offset) {
  auto Above = std::ranges::upper_bound(CompUnits, Offset, {},
                                        [](const auto &Unit) { return Unit->getOffset(); });
  return Above == CompUnits.begin() ? nullptr : std::prev(Above)->get();
}

CompilationUnit *DebugInfo::getCompUnitAt(uint64_t Offset) {
  CompilationUnit *Around = getCompUnitAround(Offset);
  return Around && Around->getOffset() == Offset ? Around : nullptr;
}

CompilationUnit *DebugInfo::getCompUnitForAddress(uint64_t Addr) {
  const RangeTable::Entry *Hit = AddressRanges.find(Addr);
  if (!Hit && !ArangesFixed) {
    fixAranges();
    Hit = AddressRanges.find(Addr);
  }
  return Hit ? getCompUnitAt(Hit->UnitOffset) : nullptr;
}

/// Adds the address ranges from the units themselves.
void DebugInfo::fixAranges() {
  ArangesFixed = true;
  for (const auto &Unit : CompUnits)
    for (auto [Low, High] : Unit->getRanges())
      AddressRanges.add(Low, High - Low, Unit->getOffset());
}

FunctionIndex::Hit DebugInfo::findFunction(uint64_t Addr) {
  CompilationUnit *Unit = getCompUnitForAddress(Addr);
  return Unit ? Unit->getFunction(Addr) : FunctionIndex::Hit{nullptr, 0};
}

DebugInfoEntry *DebugInfo::getFunctionDIEForAddress(uint64_t Addr) {
  FunctionIndex::Hit Hit = findFunction(Addr);
  for (size_t Count = 0; Count < Hit.Discontinuous; ++Count)
    errs() << "discontinuous address ranges not yet supported\n"
           << "(please report this to KALVEX)\n";
  if (!Hit.Entry)
    errs() << "no compile unit at Addr\n";
  return Hit.Entry;
}

const char *DebugInfo::getFunctionNameForAddress(uint64_t Addr) {
  DebugInfoEntry *Entry = getFunctionDIEForAddress(Addr);
  return Entry ? Entry->getName() : nullptr;
}

const char *DebugInfo::getFileNameForAddress(uint64_t Addr) {
  CompilationUnit *Unit = getCompUnitForAddress(Addr);
  return Unit ? Unit->getName() : nullptr;
}

/// Adds the functions of all units, in the order of their entries.
void DebugInfo::fillPubNames() {
  for (const auto &Unit : CompUnits)
    if (DebugInfoEntry *Top = Unit->getUnitDIE())
      for (DebugInfoEntry &Entry : Top->getSubtree())
        addDIEToPubNames(Entry);
}

void DebugInfo::addDIEToPubNames(DebugInfoEntry &Entry) {
  if (Entry.getTag() != DW_TAG_subprogram && Entry.getTag() != DW_TAG_entry_point)
    return;
  uint64_t UnitOffset = Entry.getUnit()->getOffset();
  if (const char *Name = Entry.getName())
    PubNames.add(Name, UnitOffset, Entry.getOffset() - UnitOffset);
}

DebugInfoEntry *DebugInfo::getFunctionDIEForName(const char *Name) {
  orvy_logDebugFunc(nullptr, "DWARF: try to find %s", Name);
  if (PubNames.empty() && !std::exchange(PubNamesFilled, true))
    fillPubNames();
  const NameTable::Entry *Found = PubNames.find(Name);
  CompilationUnit *Unit = Found ? getCompUnitAt(Found->UnitOffset) : nullptr;
  if (!Unit)
    return nullptr;
  DebugInfoEntry *Entry = Unit->getDIEWithLocalOffset(Found->EntryOffset);
  orvy_logDebugFunc(nullptr, "got DIE %p", static_cast<void *>(Entry));
  if (Entry && Entry->getTag() == DW_TAG_subprogram)
    orvy_logDebugFunc(nullptr, "DIE is subprogram");
  if (const char *EntryName = Entry ? Entry->getName() : nullptr)
    orvy_logDebugFunc(nullptr, "DIE name is %s", EntryName);
  return Entry;
}

LineNumberProgram *DebugInfo::getLineNumberProgram(CompilationUnit *Unit, uint64_t Offset) {
  auto [At, IsNew] = LinePrograms.try_emplace(Offset);
  if (IsNew) {
    At->second = LineNumberProgram::load(this, Unit, Offset);
    tellOfLines(Unit, Offset, At->second.get());
  }
  return At->second.get();
}

/// Logs why lines of a unit are not found. Sections without lines are logged once for the image, as
/// compilers can put each function in a section of its own.
void DebugInfo::tellOfLines(CompilationUnit *Unit, uint64_t Offset,
                            const LineNumberProgram *Program) {
  const char *Known = Unit ? Unit->getName() : nullptr, *Name = Known ? Known : "";
  if (!Program)
    orvy_logWarning(nullptr,
                    "'%s': line program at 0x%llx of .debug_line (unit '%s') cannot be read",
                    Image.c_str(), static_cast<unsigned long long>(Offset), Name);
  else if (Program->hasMoreSequences() && !std::exchange(ToldOfSequences, true))
    orvy_logWarning(nullptr,
                    "'%s': unit '%s' has code in several sections, and lines are known for the "
                    "first alone (0x%llx to 0x%llx); so it is for all units of this image",
                    Image.c_str(), Name,
                    static_cast<unsigned long long>(Program->getMatrix().front().Address),
                    static_cast<unsigned long long>(Program->getMatrix().back().Address));
}

LineNumberProgram *CompilationUnit::getLineNumberProgram() {
  if (!Lines) {
    int64_t Offset = getLineNumberOffset();
    Lines = Offset < 0 ? nullptr
                       : getDebugInfo()->getLineNumberProgram(this, static_cast<uint64_t>(Offset));
  }
  return *Lines;
}

std::vector<uint8_t> DebugInfo::getLocationListProg(uint64_t Base, uint64_t Offset,
                                                    uint64_t Pc) const {
  if (Offset >= LocSec.size())
    return {};
  VectorStream VS(LocSec);
  VS.BigEndian = true;
  VS.seek(Offset);
  for (;;) {
    uint64_t Begin = 0, End = 0;
    VS >> VectorStream::Word >> Begin >> VectorStream::Word >> End;
    if (Begin == 0 && End == 0)
      return {};
    uint16_t Length = 0;
    VS >> Length;
    const unsigned char *Expression = LocSec.data() + VS.getOffset();
    if (Base + Begin <= Pc && Pc < Base + End) {
      if (Length > VS.getLeft())
        throw std::out_of_range("expression past the end of a section");
      return {Expression, Expression + Length};
    }
    VS.skip(Length);
    if (Begin == 0 || End == 0)
      return {};
  }
}

std::string DebugInfo::remapPath(const char *Path) const {
  std::string_view Whole = Path;
  for (const auto &[From, To] : PathRemaps)
    if (Whole.starts_with(From))
      return To + "/" + std::string(Whole.substr(From.size()));
  return Path;
}
