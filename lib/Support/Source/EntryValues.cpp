#include "Source/EntryValues.h"

#include "Dwarf/DwarfForms.h"

#include <algorithm>
#include <stdexcept>

using namespace orvy;
using namespace orvy::source;
using namespace orvy::dwarf;
using utils::VectorStream;

namespace {

constexpr unsigned MaxOrigins = 8;    // instance, definition, declaration, ...
constexpr size_t MaxRanges = 1000000; // in one list

/// Entries of lists (DWARF 5, 7.7.3 and 7.25).
enum ListEntry : uint8_t {
  EndOfList = 0,
  BaseAddressX = 1,
  StartXEndX = 2,
  StartXLength = 3,
  OffsetPair = 4,
  DefaultLocation = 5, // in location lists only; ranges have one number less from here on
  BaseAddress = 6,
  StartEnd = 7,
  StartLength = 8
};

bool isBlock(uint64_t Form) {
  return Form == DW_FORM_block || Form == DW_FORM_block1 || Form == DW_FORM_block2 ||
         Form == DW_FORM_block4 || Form == DW_FORM_exprloc;
}

VectorStream streamOf(const Section &From, uint64_t Offset, const Unit &Of) {
  VectorStream VS(From, Offset);
  VS.BigEndian = true;
  VS.Is64Bit = Of.is64Bit();
  return VS;
}

uint64_t readWord(VectorStream &VS) {
  uint32_t Word = 0;
  VS >> Word;
  return Word;
}

DebugInfoEntry *firstEntry(Unit &Of) {
  EntryList Entries = Of.getDIEList();
  return Entries.empty() ? nullptr : *Entries.begin();
}

/// An address of the unit's part of ".debug_addr".
uint64_t indexedAddress(Unit &Of, uint64_t Index) {
  DebugInfoEntry *First = firstEntry(Of);
  const auto Base = First ? First->find(DW_AT_addr_base) : std::nullopt;
  const uint64_t Start = Base ? Base->getOffset() : 8;
  const Section &Words = Of.getDebugInfo()->AddrSec;
  if (Start > Words.size() || Index >= (Words.size() - Start) / 4)
    throw std::out_of_range("index past the end of the addresses");
  VectorStream VS = streamOf(Words, Start + 4 * Index, Of);
  return readWord(VS);
}

/// The offset of the list of an attribute of version 5: given, or by its index in a table.
uint64_t listOffset(const Attribute &List, const Section &Lists, At BaseName) {
  if (List.getForm() != DW_FORM_loclistx && List.getForm() != DW_FORM_rnglistx)
    return List.getOffset();
  Unit &Of = *List.getParent()->getUnit();
  DebugInfoEntry *First = firstEntry(Of);
  const auto Base = First ? First->find(BaseName) : std::nullopt;
  const uint64_t Start = Base ? Base->getOffset() : 12;
  const uint64_t Index = List.getIndex();
  if (Start > Lists.size() || Index >= (Lists.size() - Start) / 4)
    throw std::out_of_range("index past the end of the lists");
  VectorStream VS = streamOf(Lists, Start + 4 * Index, Of);
  return Start + readWord(VS);
}

/// Walks a list of version 5 and calls Take with each range and the stream after it, until Take
/// returns false.
template <typename Taker> void walkList(Unit &Of, VectorStream &VS, bool HasLocations, Taker Take) {
  uint64_t Base = baseAddressOf(Of);
  for (size_t Count = 0; Count < MaxRanges; ++Count) {
    uint8_t Kind = 0;
    VS >> Kind;
    if (!HasLocations && Kind >= DefaultLocation)
      ++Kind;
    AddressRange Range{0, 0};
    switch (Kind) {
    case EndOfList:
      return;
    case BaseAddressX:
      Base = indexedAddress(Of, readULEB128(VS));
      continue;
    case BaseAddress:
      Base = readWord(VS);
      continue;
    case StartXEndX:
      Range.Low = indexedAddress(Of, readULEB128(VS));
      Range.High = indexedAddress(Of, readULEB128(VS));
      break;
    case StartXLength:
      Range.Low = indexedAddress(Of, readULEB128(VS));
      Range.High = Range.Low + readULEB128(VS);
      break;
    case OffsetPair:
      Range.Low = Base + readULEB128(VS);
      Range.High = Base + readULEB128(VS);
      break;
    case DefaultLocation:
      Range.High = UINT64_MAX;
      break;
    case StartEnd:
      Range.Low = readWord(VS);
      Range.High = readWord(VS);
      break;
    case StartLength:
      Range.Low = readWord(VS);
      Range.High = Range.Low + readULEB128(VS);
      break;
    default:
      throw std::runtime_error("unknown entry of a list");
    }
    if (!Take(Range, VS))
      return;
  }
}

/// The same for a list of versions 2 to 4 (DWARF 4, 2.6.2 and 2.17.3).
template <typename Taker> void walkOldList(Unit &Of, VectorStream &VS, Taker Take) {
  uint64_t Base = baseAddressOf(Of);
  for (size_t Count = 0; Count < MaxRanges; ++Count) {
    const uint64_t Begin = readWord(VS), End = readWord(VS);
    if (Begin == 0 && End == 0)
      return;
    if (Begin == UINT32_MAX)
      Base = End;
    else if (!Take(AddressRange{Base + Begin, Base + End}, VS))
      return;
  }
}

template <typename Taker> void walkRanges(const Attribute &List, Taker Take) {
  Unit &Of = *List.getParent()->getUnit();
  const DebugInfo &Info = *Of.getDebugInfo();
  if (Of.getVersion() >= 5) {
    VectorStream VS =
        streamOf(Info.RngListsSec, listOffset(List, Info.RngListsSec, DW_AT_rnglists_base), Of);
    walkList(Of, VS, false, Take);
  } else {
    VectorStream VS = streamOf(Info.RangesSec, List.getOffset(), Of);
    walkOldList(Of, VS, Take);
  }
}

/// Takes the bytes of an expression that follows its length.
Bytes expressionAt(VectorStream &VS, const Section &From, uint64_t Length) {
  if (Length > VS.getLeft())
    throw std::out_of_range("expression past the end of a list");
  const Bytes Found(From.data() + VS.getOffset(), Length);
  for (uint64_t Left = Length; Left > 0; --Left) { // up to the very end, where a skip is refused
    uint8_t Byte = 0;
    VS >> Byte;
  }
  return Found;
}

LocationText listedLocation(const Attribute &List, uint64_t Pc) {
  Unit &Of = *List.getParent()->getUnit();
  const DebugInfo &Info = *Of.getDebugInfo();
  LocationText Found;
  Found.IsList = true;
  const auto take = [&](AddressRange Range, VectorStream &VS, const Section &From,
                        uint64_t Length) {
    const Bytes Expression = expressionAt(VS, From, Length);
    if (!Range.contains(Pc))
      return true;
    Found.Expression = Expression;
    Found.IsThere = true;
    return false;
  };
  if (Of.getVersion() >= 5) {
    const Section &Lists = Info.LocListsSec;
    VectorStream VS = streamOf(Lists, listOffset(List, Lists, DW_AT_loclists_base), Of);
    walkList(Of, VS, true, [&](AddressRange Range, VectorStream &At) {
      return take(Range, At, Lists, readULEB128(At));
    });
  } else {
    VectorStream VS = streamOf(Info.LocSec, List.getOffset(), Of);
    walkOldList(Of, VS, [&](AddressRange Range, VectorStream &At) {
      uint16_t Length = 0;
      At >> Length;
      return take(Range, At, Info.LocSec, Length);
    });
  }
  return Found;
}

/// Whether an attribute that may be an expression or a constant is a list of expressions: before
/// version 4 plain data of 4 or 8 bytes meant that.
bool isList(const Attribute &Location) {
  switch (Location.getForm()) {
  case DW_FORM_sec_offset:
  case DW_FORM_loclistx:
    return true;
  case DW_FORM_data4:
  case DW_FORM_data8:
    return Location.getParent()->getUnit()->getVersion() < 4;
  default:
    return false;
  }
}

} // namespace

DebugInfoEntry *orvy::source::originOf(DebugInfoEntry &Entry) {
  for (const At Name : {DW_AT_abstract_origin, DW_AT_specification})
    if (const auto Link = Entry.find(Name))
      return Link->getRef();
  return nullptr;
}

std::optional<Attribute> orvy::source::inherited(DebugInfoEntry &Entry, At Name) {
  DebugInfoEntry *Of = &Entry;
  for (unsigned Hops = 0; Of && Hops < MaxOrigins; ++Hops, Of = originOf(*Of))
    if (auto Found = Of->find(Name))
      return Found;
  return std::nullopt;
}

const char *orvy::source::nameOf(DebugInfoEntry &Entry) {
  const auto Name = inherited(Entry, DW_AT_name);
  return Name ? Name->getCStr() : nullptr;
}

DebugInfoEntry *orvy::source::typeOf(DebugInfoEntry &Entry) {
  const auto Type = inherited(Entry, DW_AT_type);
  return Type ? Type->getType() : nullptr;
}

std::optional<int64_t> orvy::source::constantOf(DebugInfoEntry &Entry, At Name) try {
  const auto Value = inherited(Entry, Name);
  return Value ? Value->getConstant() : std::nullopt;
} catch (...) {
  return std::nullopt;
}

bool orvy::source::flagOf(DebugInfoEntry &Entry, At Name) {
  const auto Flag = inherited(Entry, Name);
  return Flag && (Flag->getForm() == DW_FORM_flag_present || Flag->getU8() != 0);
}

uint64_t orvy::source::baseAddressOf(Unit &Unit) {
  DebugInfoEntry *First = firstEntry(Unit);
  const auto Low = First ? First->find(DW_AT_low_pc) : std::nullopt;
  return Low ? Low->getAddr() : 0;
}

std::vector<AddressRange> orvy::source::rangesOf(DebugInfoEntry &Entry) try {
  std::vector<AddressRange> Ranges;
  if (const auto List = Entry.find(DW_AT_ranges)) {
    walkRanges(*List, [&](AddressRange Range, VectorStream &) {
      if (Range.Low < Range.High)
        Ranges.push_back(Range);
      return true;
    });
    return Ranges;
  }
  const auto Low = Entry.find(DW_AT_low_pc), High = Entry.find(DW_AT_high_pc);
  if (Low && High) {
    const uint64_t Start = Low->getAddr(), End = High->getHighAddr(Start);
    if (Start < End)
      Ranges.push_back({Start, End});
  }
  return Ranges;
} catch (...) { // a list that cannot be read; both exceptions and integers are thrown
  return {};
}

std::optional<uint64_t> orvy::source::entryPointOf(DebugInfoEntry &Entry) {
  const auto Low = Entry.find(DW_AT_low_pc);
  if (const auto Point = Entry.find(DW_AT_entry_pc)) {
    // An offset from the low address in version 5, else the address itself.
    if (const auto Offset = Point->getConstant()) {
      const std::vector<AddressRange> Ranges = rangesOf(Entry);
      if (Low || !Ranges.empty())
        return (Low ? Low->getAddr() : Ranges.front().Low) + static_cast<uint64_t>(*Offset);
    } else {
      return Point->getAddr();
    }
  }
  if (Low)
    return Low->getAddr();
  const std::vector<AddressRange> Ranges = rangesOf(Entry);
  if (Ranges.empty())
    return std::nullopt;
  return Ranges.front().Low;
}

Bytes orvy::source::blockOf(const Attribute &Value) try {
  if (!isBlock(Value.getForm()))
    return {};
  // The length is what the block has besides its contents.
  const uint8_t *Data = Value.getData();
  const uint64_t Size = Value.getSize();
  uint64_t Prefix = 0;
  switch (Value.getForm()) {
  case DW_FORM_block1:
    Prefix = 1;
    break;
  case DW_FORM_block2:
    Prefix = 2;
    break;
  case DW_FORM_block4:
    Prefix = 4;
    break;
  default:
    while (Prefix < Size && (Data[Prefix++] & 0x80))
      ;
  }
  return {Data + Prefix, Size - Prefix};
} catch (...) {
  return {};
}

LocationText orvy::source::locationOf(DebugInfoEntry &Entry, At Name, uint64_t Pc) try {
  const auto Location = inherited(Entry, Name);
  if (!Location)
    return {};
  if (isList(*Location))
    return listedLocation(*Location, Pc);
  if (!isBlock(Location->getForm()))
    return {};
  return {blockOf(*Location), true, false};
} catch (...) {
  return {{}, false, true};
}

bool orvy::source::isCall(DebugInfoEntry &Scope) {
  return Scope.getTag() == DW_TAG_subprogram ||
         (Scope.getTag() == DW_TAG_inlined_subroutine && Scope.find(DW_AT_call_line));
}

bool orvy::source::isVariable(DebugInfoEntry &Entry) {
  return Entry.getTag() == DW_TAG_variable || Entry.getTag() == DW_TAG_formal_parameter;
}

DebugInfoEntry *orvy::source::variableIn(DebugInfoEntry &Block, std::string_view Name) {
  for (auto *Child = Block.getFirstChild(); Child && !Child->isNull(); Child = Child->getNext()) {
    const char *Each = isVariable(*Child) ? nameOf(*Child) : nullptr;
    // A declaration refers to a variable outside of functions.
    if (Each && Name == Each && !flagOf(*Child, DW_AT_declaration))
      return Child;
  }
  return nullptr;
}

DebugInfoEntry *orvy::source::unitEntryOf(DebugInfoEntry &Entry) {
  return firstEntry(*Entry.getUnit());
}
