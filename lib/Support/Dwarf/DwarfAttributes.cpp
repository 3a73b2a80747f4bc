#include "Dwarf/DwarfForms.h"
#include "Dwarf/DwarfNames.h"

#include "orvy/Support/Dwarf.h"

#include <cstring>
#include <stdexcept>

using namespace orvy;
using namespace orvy::dwarf;
using utils::VectorStream;

template <typename T> T Attribute::read() const {
  VectorStream VS(Parent->getUnit()->getSection(), SectionOffset);
  VS.BigEndian = true;
  T Value = 0;
  if (VS.getLeft() >= sizeof(T))
    VS >> Value;
  return Value;
}

uint8_t Attribute::getU8() const {
  return read<uint8_t>();
}
uint16_t Attribute::getU16() const {
  return read<uint16_t>();
}
uint32_t Attribute::getU32() const {
  return read<uint32_t>();
}
uint64_t Attribute::getU64() const {
  return read<uint64_t>();
}

uint64_t Attribute::getUnsigned() const {
  switch (Form) {
  case DW_FORM_data1:
    return getU8();
  case DW_FORM_data2:
    return getU16();
  case DW_FORM_data4:
    return getU32();
  case DW_FORM_data8:
    return getU64();
  default:
    return UINT64_MAX;
  }
}

namespace {

/// The text at an offset of a section; null if it does not end inside it.
const char *textAt(const Section &Bytes, uint64_t Offset) try {
  VectorStream VS(Bytes, Offset);
  return VS.readText();
} catch (const std::out_of_range &) {
  return nullptr;
}

/// The 32-bit word of an index in the part of a section that starts at a unit's base; nothing out
/// of bounds.
std::optional<uint32_t> wordAt(const Section &Bytes, uint64_t Base, uint64_t Index) {
  if (Base > Bytes.size() || Index >= (Bytes.size() - Base) / 4)
    return std::nullopt;
  VectorStream VS(Bytes, Base + 4 * Index);
  VS.BigEndian = true;
  uint32_t Word = 0;
  VS >> Word;
  return Word;
}

/// Where the unit of an entry begins in a section of tables: given by an attribute, else after the
/// first table's header.
uint64_t baseOf(DebugInfoEntry &Entry, At Name) {
  EntryList Entries = Entry.getUnit()->getDIEList();
  const auto Base = Entries.empty() ? std::nullopt : (*Entries.begin())->find(Name);
  return Base ? Base->getOffset() : 8;
}

/// Whether a form is an index into ".debug_addr".
bool isAddressIndex(uint64_t Form) {
  return Form == DW_FORM_addrx || (Form >= DW_FORM_addrx1 && Form <= DW_FORM_addrx4);
}

} // namespace

uint64_t Attribute::getIndex() const {
  switch (Form) {
  case DW_FORM_strx1:
  case DW_FORM_addrx1:
    return getU8();
  case DW_FORM_strx2:
  case DW_FORM_addrx2:
    return getU16();
  case DW_FORM_strx3:
  case DW_FORM_addrx3:
    return uint64_t{getU16()} << 8 | Data[2];
  case DW_FORM_strx4:
  case DW_FORM_addrx4:
    return getU32();
  default: {
    size_t Bytes = 0;
    return decodedLEB128(Bytes);
  }
  }
}

uint64_t Attribute::getAddr() const {
  if (!isAddressIndex(Form))
    return getU32();
  return wordAt(Parent->getDebugInfo()->AddrSec, baseOf(*Parent, DW_AT_addr_base), getIndex())
      .value_or(0);
}

uint64_t Attribute::getHighAddr(uint64_t Low) const {
  if (Form == DW_FORM_addr || isAddressIndex(Form))
    return getAddr();
  return Low + (Form == DW_FORM_udata ? getIndex() : getUnsigned());
}

std::optional<int64_t> Attribute::getConstant() const {
  switch (Form) {
  case DW_FORM_data1:
    return getU8();
  case DW_FORM_data2:
    return getU16();
  case DW_FORM_data4:
    return getU32();
  case DW_FORM_data8:
    return static_cast<int64_t>(getU64());
  case DW_FORM_udata:
    return static_cast<int64_t>(getIndex());
  case DW_FORM_sdata: {
    VectorStream VS(Parent->getUnit()->getSection(), SectionOffset);
    return readSLEB128(VS);
  }
  case DW_FORM_implicit_const:
    for (const auto &[Of, Value] : Parent->getAbbrev()->Implicit)
      if (Of == Name)
        return Value;
    return std::nullopt;
  default:
    return std::nullopt;
  }
}

const char *Attribute::getCStr() const {
  DebugInfo &Info = *Parent->getDebugInfo();
  switch (Form) {
  case DW_FORM_string:
    return reinterpret_cast<const char *>(Data);
  case DW_FORM_strp:
    return Info.getString(getOffset());
  case DW_FORM_line_strp:
    return textAt(Info.LineStrSec, getOffset());
  case DW_FORM_strx:
  case DW_FORM_strx1:
  case DW_FORM_strx2:
  case DW_FORM_strx3:
  case DW_FORM_strx4: {
    const auto Offset =
        wordAt(Info.StrOffsetsSec, baseOf(*Parent, DW_AT_str_offsets_base), getIndex());
    return Offset ? Info.getString(*Offset) : nullptr;
  }
  default:
    return nullptr;
  }
}

/// The bytes after the length of a block.
std::vector<uint8_t> Attribute::behindLength(uint64_t LengthBytes) const {
  return {Data + LengthBytes, Data + Size};
}

uint64_t Attribute::decodedLEB128(size_t &Bytes) const {
  VectorStream VS(Parent->getUnit()->getSection(), SectionOffset);
  uint64_t Value = readULEB128(VS);
  Bytes = VS.getOffset() - SectionOffset;
  return Value;
}

std::vector<uint8_t> Attribute::getBlock() const {
  switch (Form) {
  case DW_FORM_block1:
    return behindLength(1);
  case DW_FORM_block2:
    return behindLength(2);
  case DW_FORM_block4:
    return behindLength(4);
  case DW_FORM_block: {
    size_t Bytes = 0;
    decodedLEB128(Bytes);
    return behindLength(Bytes);
  }
  default:
    return {};
  }
}

std::vector<uint8_t> Attribute::getExprLoc() const {
  if (Form != DW_FORM_exprloc)
    return {};
  size_t Bytes = 0;
  decodedLEB128(Bytes);
  return behindLength(Bytes);
}

std::vector<uint8_t> Attribute::getLocList(uint64_t Pc) const {
  auto *Unit = dynamic_cast<CompilationUnit *>(Parent->getUnit());
  if (Form != DW_FORM_sec_offset || !Unit)
    return {};
  return Parent->getDebugInfo()->getLocationListProg(Unit->getBaseAddress(), getAddr(), Pc);
}

DebugInfoEntry *Attribute::getRef() const {
  Unit *Own = Parent->getUnit();
  size_t Bytes = 0;
  switch (Form) {
  case DW_FORM_ref_addr: {
    Unit *Around = Parent->getDebugInfo()->getCompUnitAround(getAddr());
    return Around ? Around->getDIEWithSectionOffset(getAddr()) : nullptr;
  }
  case DW_FORM_ref1:
    return Own->getDIEWithLocalOffset(getU8());
  case DW_FORM_ref2:
    return Own->getDIEWithLocalOffset(getU16());
  case DW_FORM_ref4:
    return Own->getDIEWithLocalOffset(getU32());
  case DW_FORM_ref8:
    return Own->getDIEWithLocalOffset(getU64());
  case DW_FORM_ref_udata:
    return Own->getDIEWithLocalOffset(decodedLEB128(Bytes));
  default:
    return nullptr;
  }
}

DebugInfoEntry *Attribute::getType() const {
  if (Form != DW_FORM_ref_sig8)
    return getRef();
  Unit *Described = Parent->getDebugInfo()->getTypeUnit(getU64());
  return Described ? Described->getDIEWithLocalOffset(Described->getTypeOffset()) : nullptr;
}
