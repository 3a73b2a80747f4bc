#include "Dwarf/DwarfNames.h"

#include "orvy/Support/Dwarf.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>

using namespace orvy;
using namespace orvy::dwarf;

namespace {

/// Starts an indented line of an entry. The indentation is limited.
OutStream &line(unsigned Depth) {
  return outs().setWidth(static_cast<int32_t>(2 * std::min(Depth, 100u))) << "";
}

/// Writes the name of a number, or the number itself if it has no name.
void printName(const NumberNames &Names, uint64_t Number) {
  if (const char *Name = Names.find(Number))
    outs() << Name;
  else
    outs() << Number;
}

OutStream &hex(uint64_t Value) {
  return outs().setBase(OutStream::Hexadecimal) << Value;
}

void printNames(std::string_view Title, NameTable &Names) {
  outs() << "-- " << Title << "--\n";
  for (const NameTable::Entry &E : Names.entries())
    outs() << E.Name << ": " << E.UnitOffset << " " << E.EntryOffset << "\n";
  outs() << "-- END --\n";
}

void printAbbrev(const DebugAbbrev &Abbrev) {
  outs() << "abbrev: " << Abbrev.Code << " ";
  printName(TagNames, Abbrev.Tag);
  outs() << (Abbrev.HasChildren ? "\nabbrev: has children\n" : "\nabbrev: no children\n");
  for (auto [Name, Form] : Abbrev.Attrs) {
    outs() << "attr: ";
    printName(AtNames, Name);
    outs() << " : ";
    printName(FormNames, Form);
    outs() << "\n";
  }
}

} // namespace

void Attribute::print() const {
  printName(AtNames, Name);
  outs() << ": ";
  printName(FormNames, Form);
  outs() << " = ";
  printValue();
}

void Attribute::printValue() const {
  if (Name == DW_AT_language) {
    printName(LangNames, getUnsigned());
    outs() << "\n";
    return;
  }
  switch (Form) {
  case DW_FORM_addr:
    hex(getAddr()) << "\n";
    return;
  case DW_FORM_data1:
  case DW_FORM_data2:
  case DW_FORM_data4:
  case DW_FORM_data8:
    hex(getUnsigned()) << "\n";
    return;
  case DW_FORM_flag:
    outs() << uint32_t{getU8()} << "\n";
    return;
  case DW_FORM_string:
  case DW_FORM_strp:
    outs() << "\"" << getCStr() << "\"\n";
    return;
  default:
    outs() << "unprintable\n";
  }
}

void DebugInfoEntry::print(unsigned Depth) {
  for (DebugInfoEntry *Entry = this; Entry != getNext(); ++Entry) {
    Entry->printAlone(Depth);
    if (Entry->Span > 1)
      ++Depth;
    else if (Entry->isNull())
      --Depth;
  }
}

void DebugInfoEntry::printAlone(unsigned Depth) {
  if (isNull()) {
    line(Depth) << "=== NULL-DIE ===\n";
    return;
  }
  line(Depth) << "DIE size: " << getSize() << "\n";
  if (!Abbrev) {
    line(Depth) << "no DIE abbrev found\n";
    return;
  }
  line(Depth) << "DIE tag: ";
  printName(TagNames, getTag());
  outs() << "\n";
  for (const Attribute &A : attributes()) {
    line(Depth + 1);
    A.print();
  }
}

void Unit::printHeader(std::string_view Kind) const {
  outs() << Kind << ": 64bit = " << uint32_t{Is64Bit} << "\n"
         << Kind << ": unit length = " << UnitLength << "\n"
         << Kind << ": version = " << Version << "\n"
         << Kind << ": abbrev offset = " << AbbrevOffset << "\n"
         << Kind << ": address size = " << uint32_t{AddressSize} << "\n";
}

void Unit::printEntries(std::string_view Kind) {
  outs() << Kind << ": DIE count = " << EntryCount << "\n";
  if (!Records.empty())
    Records.front().print(0);
}

void CompilationUnit::print() {
  printHeader("compilation unit");
  printEntries("compilation unit");
}

void TypeUnit::print() {
  printHeader("type unit");
  outs() << "type unit: type sig = " << getTypeSignature() << "\n"
         << "type unit: type offset = " << getTypeOffset() << "\n";
  printEntries("type unit");
}

void DebugInfo::print() const {
  const std::pair<const char *, const Section &> Sections[] = {
      {".debug_abbrev", AbbrevSec},     {".debug_str", StrSec},
      {".debug_info", InfoSec},         {".debug_aranges", ArangesSec},
      {".debug_pubnames", PubnamesSec}, {".debug_pubtypes", PubtypesSec},
      {".debug_line", LineSec},         {".debug_types", TypesSec}};
  for (const auto &[Name, Bytes] : Sections)
    outs() << Name << ": " << Bytes.size() << " B\n";
}

void DebugInfo::printInfo() {
  for (const auto &Unit : CompUnits)
    Unit->print();
  for (const auto &Unit : TypeUnits)
    Unit->print();
}

void DebugInfo::printAbbrevs() const {
  for (const DebugAbbrev &Abbrev : Abbrevs)
    printAbbrev(Abbrev);
}

void DebugInfo::printPubnames() {
  printNames("PUBNAMES", PubNames);
}

void DebugInfo::printPubtypes() {
  printNames("PUBTYPES", PubTypes);
}

void DebugInfo::printAddressRanges() {
  const std::vector<RangeTable::Entry> &Ranges = AddressRanges.entries();
  outs() << "address range table: " << Ranges.size() << " entries\n";
  for (const RangeTable::Entry &R : Ranges) {
    hex(R.Start) << "-";
    hex(R.Start + R.Length) << " info offset: " << R.UnitOffset << "\n";
    if (!getCompUnitAt(R.UnitOffset))
      outs() << "\t<<no compilation unit found>>\n";
  }
}

namespace {

/// Writes a structure type. TypeFirst gives the order of the type and the name of each member.
void printStructure(DebugInfoEntry &Entry, bool TypeFirst) {
  if (Entry.getTag() != DW_TAG_structure_type)
    return;
  outs() << "struct " << Entry.getName() << "{\n";
  for (DebugInfoEntry *Child : Entry.getChildren()) {
    if (Child->getTag() != DW_TAG_member)
      continue;
    std::optional<Attribute> Type = Child->find(DW_AT_type);
    DebugInfoEntry *Target = Type ? Type->getRef() : nullptr;
    const char *TypeName = Target ? Target->getName() : nullptr;
    if (TypeFirst)
      outs() << "  " << TypeName << " " << Child->getName() << ";\n";
    else
      outs() << "  " << Child->getName() << " : " << TypeName << ";\n";
  }
  outs() << "}\n";
}

} // namespace

void LanguagePrinter::printType(DebugInfoEntry *Entry) {
  printStructure(*Entry, false);
}

void CLangPrinter::printType(DebugInfoEntry *Entry) {
  printStructure(*Entry, true);
}
