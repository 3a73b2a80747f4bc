#include "Dwarf/DwarfForms.h"
#include "Dwarf/DwarfHandle.h"
#include "Dwarf/DwarfNames.h"
#include "Images/LoaderElf.h"

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

/// Moves a section and leaves the source empty.
void take(Section &Into, Section &Bytes) {
  Into = std::move(Bytes);
  Bytes.clear();
}

[[noreturn]] void fail(const char *Why) {
  throw std::runtime_error(Why);
}

/// Logs the first places of a section that cannot be read, and the number of the others.
class Damage {
public:
  Damage(const std::string &Image, const char *Section) : Image(Image), Section(Section) {}
  ~Damage() {
    if (Count > MaxReported)
      orvy_logWarning(nullptr, "'%s': %s: %zu more places cannot be read", Image.c_str(), Section,
                      Count - MaxReported);
  }
  Damage(const Damage &) = delete;
  Damage &operator=(const Damage &) = delete;

  /// Logs a part that starts at an offset, with the reason from the exception being handled.
  void report(const char *Part, uint64_t Offset) {
    if (++Count <= MaxReported)
      orvy_logWarning(nullptr, "'%s': %s at 0x%llx of %s is left out: %s", Image.c_str(), Part,
                      static_cast<unsigned long long>(Offset), Section, currentReason().c_str());
  }

private:
  static constexpr size_t MaxReported = 10;

  const std::string &Image;
  const char *Section;
  size_t Count = 0;
};

/// Calls Read for each part of a section. A part begins with its length. Parts that cannot be read
/// are logged; the next one is still found unless the length itself is wrong.
template <typename ReadPart>
void readParts(const Section &Bytes, const char *What, Damage &Lost, ReadPart Read) {
  for (uint64_t Start = 0, End = 0; Start < Bytes.size(); Start = End) {
    VectorStream VS(Bytes, Start);
    VS.BigEndian = true;
    End = Bytes.size();
    try {
      uint64_t Length = 0;
      End = readLength(VS, Length);
      Read(VS, Start, End);
    } catch (...) {
      Lost.report(What, Start);
    }
  }
}

/// Calls Read for each set of a table of sets, with a stream positioned after the set's length, and
/// the set's end.
template <typename ReadSet> void readSets(const Section &Bytes, Damage Lost, ReadSet Read) {
  readParts(Bytes, "set", Lost, [&](VectorStream &VS, uint64_t, uint64_t End) {
    VS.endReadsAt(End);
    Read(VS, End);
    if (VS.getOffset() != End)
      fail("set does not end where its length says");
  });
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

bool isUnit(CompilationUnit &Unit) {
  return Unit.getUnitDIE() || Unit.getUnitType() == DW_UT_type;
}
bool isUnit(TypeUnit &) {
  return true;
}

/// Constructs all readable units of a section.
template <typename UnitType>
void readUnits(DebugInfo *Info, const Section &Bytes, Damage Lost,
               std::vector<std::unique_ptr<UnitType>> &Units) {
  if (Bytes.size() > UINT32_MAX)
    fail("section of more than 4 GiB");
  readParts(Bytes, "unit", Lost, [&](VectorStream &VS, uint64_t Start, uint64_t) {
    uint16_t Version = 0;
    VS >> Version;
    try {
      auto Unit = std::make_unique<UnitType>(Info, Start);
      if (!isUnit(*Unit))
        fail("its first entry is not that of a unit");
      Units.push_back(std::move(Unit));
    } catch (...) {
      if (Version < 2 || Version > 5)
        throw std::runtime_error("DWARF version " + std::to_string(Version) + " is not read");
      throw;
    }
  });
}

/// A path with its characters reversed, so that paths with a common end sort next to each other.
std::string reversed(std::string_view Path) {
  return {Path.rbegin(), Path.rend()};
}

} // namespace

DebugInfo::DebugInfo() = default;
DebugInfo::~DebugInfo() = default;

std::unique_ptr<DebugInfo> DebugInfo::load(const char *Path, bool ForDebugger) {
  ElfFile File(Path);
  if (!ForDebugger)
    orvy_logInfo(nullptr, "loading DWARF");
  static constexpr std::pair<const char *, void (DebugInfo::*)(Section &)> Setters[] = {
      {".debug_str", &DebugInfo::setStrings},       {".debug_abbrev", &DebugInfo::setAbbrevs},
      {".debug_info", &DebugInfo::setInfo},         {".debug_types", &DebugInfo::setTypes},
      {".debug_aranges", &DebugInfo::setAranges},   {".debug_pubnames", &DebugInfo::setPubnames},
      {".debug_pubtypes", &DebugInfo::setPubtypes}, {".debug_ranges", &DebugInfo::setRanges},
      {".debug_line", &DebugInfo::setLine},         {".debug_loc", &DebugInfo::setLoc}};
  std::vector<Section> Sections;
  for (const auto &Setter : Setters)
    Sections.push_back(contents(File, Setter.first));
  if (Sections[1].empty()) // .debug_abbrev
    return nullptr;
  auto Info = std::make_unique<DebugInfo>();
  Info->Image = Path;
  Info->UnitsMayReachEnd = ForDebugger;
  // These serve the values of entries, and so come before the entries.
  Info->AddrSec = contents(File, ".debug_addr");
  Info->StrOffsetsSec = contents(File, ".debug_str_offsets");
  Info->LineStrSec = contents(File, ".debug_line_str");
  Info->RngListsSec = contents(File, ".debug_rnglists");
  Info->LocListsSec = contents(File, ".debug_loclists");
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
  try {
    Abbrevs.setAbbrev(AbbrevSec);
  } catch (...) {
    if (Abbrevs.size() == 0)
      throw;
    Damage(Image, ".debug_abbrev")
        .report("what follows the declaration", std::prev(Abbrevs.end())->Offset);
  }
}

void DebugInfo::setInfo(Section &Bytes) {
  take(InfoSec, Bytes);
  readUnits(this, InfoSec, {Image, ".debug_info"}, CompUnits);
  nameUnits();
  if (CompUnitsByName.empty() && !InfoSec.empty())
    fail("no unit can be read");
}

/// Units without a name, like those that a linker shares between units, are found only by address.
void DebugInfo::nameUnits() {
  for (const auto &Unit : CompUnits)
    if (const char *Name = Unit->getName())
      CompUnitsByName[reversed(fs::normalisePath(Name))] = Unit.get();
}

void DebugInfo::setTypes(Section &Bytes) {
  take(TypesSec, Bytes);
  readUnits(this, TypesSec, {Image, ".debug_types"}, TypeUnits);
}

Unit *DebugInfo::getTypeUnit(uint64_t Signature) {
  if (!UnitsOfTypes) {
    UnitsOfTypes.emplace();
    for (const auto &Unit : TypeUnits)
      UnitsOfTypes->emplace(Unit->getTypeSignature(), Unit.get());
    for (const auto &Unit : CompUnits)
      if (Unit->getUnitType() == DW_UT_type)
        UnitsOfTypes->emplace(Unit->getTypeSignature(), Unit.get());
  }
  const auto Found = UnitsOfTypes->find(Signature);
  return Found == UnitsOfTypes->end() ? nullptr : Found->second;
}

void DebugInfo::setAranges(Section &Bytes) {
  take(ArangesSec, Bytes);
  readSets(ArangesSec, {Image, ".debug_aranges"},
           [&](VectorStream &VS, uint64_t End) { readRanges(VS, End, AddressRanges); });
}

void DebugInfo::setPubnames(Section &Bytes) {
  take(PubnamesSec, Bytes);
  readSets(PubnamesSec, {Image, ".debug_pubnames"},
           [&](VectorStream &VS, uint64_t End) { readNames(VS, End, PubNames); });
}

void DebugInfo::setPubtypes(Section &Bytes) {
  take(PubtypesSec, Bytes);
  readSets(PubtypesSec, {Image, ".debug_pubtypes"},
           [&](VectorStream &VS, uint64_t End) { readNames(VS, End, PubTypes); });
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
