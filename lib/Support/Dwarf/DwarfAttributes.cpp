#include "Dwarf/DwarfForms.h"
#include "Dwarf/DwarfNames.h"

#include "orvy/Support/Dwarf.h"

#include <cstring>

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

uint64_t Attribute::getHighAddr(uint64_t Low) const {
  return Form == DW_FORM_addr ? getAddr() : Low + getUnsigned();
}

const char *Attribute::getCStr() const {
  if (Form == DW_FORM_string)
    return reinterpret_cast<const char *>(Data);
  if (Form == DW_FORM_strp)
    return Parent->getDebugInfo()->getString(getOffset());
  return nullptr;
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
