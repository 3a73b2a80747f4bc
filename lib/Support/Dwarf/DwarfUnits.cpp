#include "Dwarf/DwarfForms.h"
#include "Dwarf/DwarfNames.h"

#include "orvy/Support/Dwarf.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

using namespace orvy;
using namespace orvy::dwarf;
using utils::VectorStream;

namespace {

VectorStream streamAt(const Section &Bytes, uint64_t Offset) {
  VectorStream VS(Bytes);
  VS.BigEndian = true;
  VS.seek(Offset);
  return VS;
}

} // namespace

/// Reads the entries of a unit without recursion: each entry has the distance to its parent.
class Unit::Parser {
public:
  Parser(Unit &Into, VectorStream &VS)
      : Into(Into), Records(Into.Records), Abbrevs(Into.Info->Abbrevs),
        Table(Abbrevs.tableAt(Into.AbbrevOffset)), VS(VS),
        // Limits the attributes without a value, which take no bytes of the file.
        AttributesLeft(1000 + 16 * Into.getTotalSize()) {}

  void run() {
    uint64_t End = Into.Offset + Into.getTotalSize();
    VS.MayReachEnd = Into.mayReachEnd();
    VS.endReadsAt(End);
    Records.reserve((End - std::min(End, VS.getOffset())) / 16 + 1);
    while (Open != None || VS.getOffset() < End)
      VS.getOffset() < End ? tryEntry() : throw std::runtime_error("children without end");
    if (VS.getOffset() != End)
      throw std::runtime_error("unit does not end where its length says");
    if (Records.capacity() - Records.size() > Records.size() / 8)
      Records.shrink_to_fit();
  }

private:
  static constexpr uint32_t None = UINT32_MAX;

  void tryEntry() {
    uint64_t Start = VS.getOffset();
    try {
      readEntry(Start);
    } catch (...) {
      std::ostringstream Why;
      Why << "entry at 0x" << std::hex << Start << ": " << currentReason();
      throw std::runtime_error(Why.str());
    }
  }

  void readEntry(uint64_t Start) {
    DebugInfoEntry Entry;
    uint64_t Code = readULEB128(VS), CodeBytes = VS.getOffset() - Start;
    Entry.Owner = &Into;
    Entry.SectionOffset = static_cast<uint32_t>(Start);
    if (Code == 0)
      return close(Entry);
    if (CodeBytes > UINT8_MAX)
      throw std::runtime_error("abbreviation code of more than 255 bytes");
    Entry.CodeBytes = static_cast<uint8_t>(CodeBytes);
    Entry.Abbrev = Abbrevs.find(Table, Code);
    uint32_t Index = append(Entry);
    ++Into.EntryCount;
    if (!Entry.Abbrev)
      return;
    skipValues(*Entry.Abbrev);
    if (Entry.Abbrev->HasChildren)
      Open = Index;
  }

  uint32_t append(DebugInfoEntry &Entry) {
    auto Index = static_cast<uint32_t>(Records.size());
    if (Open != None)
      Entry.Up = Index - Open;
    Records.push_back(Entry);
    return Index;
  }

  /// Ends the open list of children. Outside of any list a null entry is padding.
  void close(DebugInfoEntry &Null) {
    if (Open == None)
      return;
    uint32_t Index = append(Null);
    DebugInfoEntry &Parent = Records[Open];
    Parent.Span = Index + 1 - Open;
    Open = Parent.Up ? Open - Parent.Up : None;
  }

  void skipValues(const DebugAbbrev &Abbrev) {
    if (Abbrev.Attrs.size() > AttributesLeft)
      throw std::runtime_error("more attributes than bytes");
    AttributesLeft -= Abbrev.Attrs.size();
    for (const DebugAbbrev::Step &Step : Abbrev.Steps)
      if (Step.Form != 0)
        skipVariable(VS, Step.Form);
      else if (uint64_t Bytes = Step.Bytes[VS.Is64Bit])
        VS.skip(Bytes);
  }

  Unit &Into;
  std::vector<DebugInfoEntry> &Records;
  AbbrevMap &Abbrevs;
  size_t Table;
  VectorStream &VS;
  uint64_t AttributesLeft;
  uint32_t Open = None; ///< the innermost entry whose children are being read
};

void Unit::parseHeader(VectorStream &VS) {
  readLength(VS, UnitLength);
  Is64Bit = VS.Is64Bit;
  VS >> Version;
  if (Version == 5)
    VS >> UnitKind >> AddressSize >> VectorStream::Word >> AbbrevOffset;
  else
    VS >> VectorStream::Word >> AbbrevOffset >> AddressSize;
  HeaderSize = VS.getOffset() - Offset;
}

void Unit::parseTypeFields(VectorStream &VS) {
  VS >> TypeSignature >> VectorStream::Word >> TypeOffset;
}

bool Unit::mayReachEnd() const {
  return Version >= 5 || Info->UnitsMayReachEnd;
}

void Unit::parseEntries(VectorStream &VS) {
  Parser(*this, VS).run();
}

DebugInfoEntry *Unit::getDIEWithSectionOffset(uint64_t At) {
  auto Found = std::ranges::lower_bound(Records, At, {}, &DebugInfoEntry::getOffset);
  bool Hit = Found != Records.end() && Found->getOffset() == At && !Found->isNull();
  return Hit ? &*Found : nullptr;
}

DebugInfoEntry *Unit::getDIEWithLocalOffset(uint64_t At) {
  return At < getTotalSize() ? getDIEWithSectionOffset(Offset + At) : nullptr;
}

CompilationUnit::CompilationUnit(DebugInfo *Info, uint64_t Offset)
    : Unit(Info, Info->InfoSec, Offset) {
  VectorStream VS = streamAt(getSection(), Offset);
  parseHeader(VS);
  uint64_t SplitId = 0;
  switch (getUnitType()) {
  case DW_UT_type:
    parseTypeFields(VS);
    break;
  case DW_UT_skeleton:
    VS >> SplitId;
    break;
  case DW_UT_split_compile:
  case DW_UT_split_type:
    throw std::runtime_error("unit of a split file");
  default:
    break;
  }
  parseEntries(VS);
}

CompilationUnit::~CompilationUnit() = default;

TypeUnit::TypeUnit(DebugInfo *Info, uint64_t Offset) : Unit(Info, Info->TypesSec, Offset) {
  VectorStream VS = streamAt(getSection(), Offset);
  parseHeader(VS);
  parseTypeFields(VS);
  parseEntries(VS);
}

DebugInfoEntry *CompilationUnit::getUnitDIE() {
  EntryList Entries = getDIEList();
  if (Entries.empty())
    return nullptr;
  uint64_t Tag = (*Entries.begin())->getTag();
  bool IsUnit =
      Tag == DW_TAG_compile_unit || Tag == DW_TAG_partial_unit || Tag == DW_TAG_skeleton_unit;
  return IsUnit ? *Entries.begin() : nullptr;
}

std::optional<Attribute> CompilationUnit::unitAttribute(uint64_t Name) {
  DebugInfoEntry *Entry = getUnitDIE();
  return Entry ? Entry->find(Name) : std::nullopt;
}

Attribute CompilationUnit::requiredAttribute(uint64_t Name) {
  std::optional<Attribute> Found = unitAttribute(Name);
  return Found ? *Found : throw 42;
}

const char *CompilationUnit::getName() {
  DebugInfoEntry *Entry = getUnitDIE();
  return Entry ? Entry->getName() : nullptr;
}

uint64_t CompilationUnit::getBaseAddress() {
  return requiredAttribute(DW_AT_low_pc).getAddr();
}

uint64_t CompilationUnit::getHighAddress() {
  return requiredAttribute(DW_AT_high_pc).getHighAddr(getBaseAddress());
}

std::vector<CompilationUnit::Range> CompilationUnit::getRanges() {
  if (unitAttribute(DW_AT_low_pc) && unitAttribute(DW_AT_high_pc))
    return {{getBaseAddress(), getHighAddress()}};
  if (unitAttribute(DW_AT_ranges))
    errs() << "dwarf: got ranges...\n";
  return {};
}

uint64_t CompilationUnit::getLanguageID() {
  return requiredAttribute(DW_AT_language).getUnsigned();
}

const char *CompilationUnit::getLanguageName() {
  return LangNames.find(getLanguageID());
}

int64_t CompilationUnit::getLineNumberOffset() {
  std::optional<Attribute> Offset = unitAttribute(DW_AT_stmt_list);
  return Offset ? static_cast<int64_t>(Offset->getOffset()) : -1;
}

FunctionIndex::Hit CompilationUnit::getFunction(uint64_t Addr) {
  if (!Functions)
    Functions = std::make_unique<FunctionIndex>(*this);
  return Functions->find(Addr);
}
