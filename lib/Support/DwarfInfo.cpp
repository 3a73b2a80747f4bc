#include "DwarfForms.h"
#include "DwarfHandle.h"
#include "LoaderElf.h"

#include "orvy/Support/DwarfLines.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"

#include <algorithm>
#include <stdexcept>

using namespace orvy;
using namespace orvy::dwarf;
using utils::VectorStream;

namespace {

Section contents(const ElfFile &File, const char *Name) {
  Section Bytes;
  if (auto Header = File.findSection(Name))
    File.sectionData(*Header, Bytes);
  return Bytes;
}

/// Moves a section in and leaves the given vector empty.
void take(Section &Into, Section &Bytes) {
  Into = std::move(Bytes);
  Bytes.clear();
}

[[noreturn]] void fail(const char *Why) {
  throw std::runtime_error(Why);
}

/// Calls for each set of a table of sets, with its end and a stream behind its length.
template <typename ReadSet> void readSets(const Section &Bytes, ReadSet Read) {
  VectorStream VS(Bytes);
  VS.BigEndian = true;
  while (!VS.atEnd()) {
    uint64_t Start = VS.getOffset(), Length = 0;
    uint64_t End = readLength(VS, Length);
    Read(VS, End);
    if (VS.getOffset() != End || End <= Start)
      fail("set does not end where its length says");
  }
}

/// Reads a set of address ranges of a unit (DWARF 4, 6.1.2).
void readRanges(VectorStream &VS, uint64_t End, RangeTable &Ranges) {
  uint16_t Version = 0;
  uint64_t UnitOffset = 0;
  uint8_t AddressSize = 0, SegmentSize = 0;
  VS >> Version >> VectorStream::Word >> UnitOffset >> AddressSize >> SegmentSize;
  if (SegmentSize != 0 || (AddressSize != 4 && AddressSize != 8))
    fail("segments, or addresses of an odd size");
  if (uint64_t Odd = VS.getOffset() % (2 * AddressSize))
    VS.skip(2 * AddressSize - Odd);
  while (VS.getOffset() < End) {
    uint64_t Start = 0, Length = 0;
    if (VS.Is64Bit)
      fail("address range of more than 8 bytes");
    VS >> VectorStream::Word >> Start >> VectorStream::Word >> Length;
    if (Start == 0 && Length == 0)
      return;
    Ranges.add(Start, Length, UnitOffset);
  }
}

/// Reads a set of public names of a unit (DWARF 4, 6.1.1).
void readNames(VectorStream &VS, uint64_t End, NameTable &Names) {
  uint16_t Version = 0;
  uint64_t UnitOffset = 0, UnitSize = 0;
  VS >> Version >> VectorStream::Word >> UnitOffset >> VectorStream::Word >> UnitSize;
  while (VS.getOffset() < End) {
    uint64_t EntryOffset = 0;
    VS >> VectorStream::Word >> EntryOffset;
    if (EntryOffset == 0 && VS.getOffset() == End)
      return;
    Names.add(VS.readText(), UnitOffset, EntryOffset);
  }
}

/// Constructs the units of a section, each behind the one before.
template <typename UnitType>
void readUnits(DebugInfo *Info, const Section &Bytes,
               std::vector<std::unique_ptr<UnitType>> &Units) {
  if (Bytes.size() > UINT32_MAX)
    fail("section of more than 4 GiB");
  for (uint64_t Offset = 0; Offset < Bytes.size();) {
    Units.push_back(std::make_unique<UnitType>(Info, Offset));
    Offset += Units.back()->getTotalSize();
  }
}

/// A path with its characters in reverse, by which its ends are found.
std::string reversed(std::string_view Path) {
  return {Path.rbegin(), Path.rend()};
}

} // namespace

DebugInfo::DebugInfo() = default;
DebugInfo::~DebugInfo() = default;

std::unique_ptr<DebugInfo> DebugInfo::load(const char *Path) {
  ElfFile File(Path);
  orvy_logInfo(nullptr, "loading DWARF");
  static constexpr std::pair<const char *, void (DebugInfo::*)(Section &)> Setters[] = {
      {".debug_str",      &DebugInfo::setStrings },
      {".debug_abbrev",   &DebugInfo::setAbbrevs },
      {".debug_info",     &DebugInfo::setInfo    },
      {".debug_types",    &DebugInfo::setTypes   },
      {".debug_aranges",  &DebugInfo::setAranges },
      {".debug_pubnames", &DebugInfo::setPubnames},
      {".debug_pubtypes", &DebugInfo::setPubtypes},
      {".debug_ranges",   &DebugInfo::setRanges  },
      {".debug_line",     &DebugInfo::setLine    },
      {".debug_loc",      &DebugInfo::setLoc     }
  };
  std::vector<Section> Sections;
  for (const auto &Setter : Setters)
    Sections.push_back(contents(File, Setter.first));
  if (Sections[1].empty()) // no abbreviations
    return nullptr;
  auto Info = std::make_unique<DebugInfo>();
  auto Bytes = Sections.begin();
  for (const auto &[Name, Set] : Setters)
    (Info.get()->*Set)(*Bytes++);
  Info->SourceDirs.emplace_back("./");
  return Info;
}

void DebugInfo::setStrings(Section &Bytes) {
  take(StrSec, Bytes);
  auto LastNul = std::find(StrSec.rbegin(), StrSec.rend(), 0);
  StrEnd = static_cast<uint64_t>(LastNul.base() - StrSec.begin());
}

const char *DebugInfo::getString(uint64_t Offset) const {
  return Offset < StrEnd ? reinterpret_cast<const char *>(StrSec.data()) + Offset : nullptr;
}

void DebugInfo::setAbbrevs(Section &Bytes) {
  take(AbbrevSec, Bytes);
  Abbrevs.setAbbrev(AbbrevSec);
}

void DebugInfo::setInfo(Section &Bytes) {
  take(InfoSec, Bytes);
  readUnits(this, InfoSec, CompUnits);
  nameUnits();
}

void DebugInfo::nameUnits() {
  for (const auto &Unit : CompUnits) {
    const char *Name = Unit->getName();
    if (!Name)
      fail("unit without a name");
    CompUnitsByName[reversed(fs::normalisePath(Name))] = Unit.get();
  }
}

void DebugInfo::setTypes(Section &Bytes) {
  take(TypesSec, Bytes);
  readUnits(this, TypesSec, TypeUnits);
}

void DebugInfo::setAranges(Section &Bytes) {
  take(ArangesSec, Bytes);
  readSets(ArangesSec, [&](VectorStream &VS, uint64_t End) { readRanges(VS, End, AddressRanges); });
}

void DebugInfo::setPubnames(Section &Bytes) {
  take(PubnamesSec, Bytes);
  readSets(PubnamesSec, [&](VectorStream &VS, uint64_t End) { readNames(VS, End, PubNames); });
}

void DebugInfo::setPubtypes(Section &Bytes) {
  take(PubtypesSec, Bytes);
  readSets(PubtypesSec, [&](VectorStream &VS, uint64_t End) { readNames(VS, End, PubTypes); });
}

void DebugInfo::setRanges(Section &Bytes) {
  take(RangesSec, Bytes);
}
void DebugInfo::setLine(Section &Bytes) {
  take(LineSec, Bytes);
}
void DebugInfo::setLoc(Section &Bytes) {
  take(LocSec, Bytes);
}

std::vector<CompilationUnit *> DebugInfo::getCompUnitForName(const char *Name) {
  orvy_logDebugFunc(nullptr, "get comp unit for %s", Name);
  std::string End = reversed(Name);
  std::vector<CompilationUnit *> Units;
  for (auto At = CompUnitsByName.lower_bound(End);
       At != CompUnitsByName.end() && At->first.starts_with(End); ++At)
    Units.push_back(At->second);
  return Units;
}

static int loadInto(const char *Path, orvy_Dwarf *Dwarf) {
  try {
    std::unique_ptr<DebugInfo> Info = DebugInfo::load(Path);
    if (Info) {
      *Dwarf = reinterpret_cast<orvy_Dwarf>(Info.release());
      return 0;
    }
    orvy_logError(nullptr, "'%s' could not read dwarf sections", Path);
  } catch (...) {
    orvy_logError(nullptr, "'%s' is not a readable elf-file", Path);
  }
  return -1;
}

int orvy_loadDebugInfo(const char *Path, orvy_Dwarf *Dwarf) {
  if (!Dwarf)
    return -1;
  *Dwarf = nullptr;
  return loadInto(Path, Dwarf);
}

int orvy_loadDwarf(const char *Path, orvy_Dwarf *Dwarf) {
  return orvy_loadDebugInfo(Path, Dwarf);
}

void orvy_disposeDebugInfo(orvy_Dwarf Dwarf) {
  delete reinterpret_cast<DebugInfo *>(Dwarf);
}

void orvy_disposeDwarf(orvy_Dwarf Dwarf) {
  orvy_disposeDebugInfo(Dwarf);
}
