#include "Dwarf/DwarfForms.h"

#include "Dwarf/DwarfNames.h"

#include <array>
#include <stdexcept>

using namespace orvy::dwarf;
using orvy::utils::VectorStream;

namespace {

constexpr uint8_t Variable = 0xff;

constexpr auto Sizes = [] {
  std::array<FixedSize, DW_FORM_addrx4 + 1> Table{};
  Table.fill({Variable, Variable});
  Table[DW_FORM_addr] = Table[DW_FORM_strp] = Table[DW_FORM_ref_addr] = {4, 8};
  Table[DW_FORM_data1] = Table[DW_FORM_flag] = Table[DW_FORM_ref1] = {1, 1};
  Table[DW_FORM_data2] = Table[DW_FORM_ref2] = {2, 2};
  Table[DW_FORM_data4] = Table[DW_FORM_ref4] = Table[DW_FORM_sec_offset] = {4, 4};
  Table[DW_FORM_data8] = Table[DW_FORM_ref8] = Table[DW_FORM_ref_sig8] = {8, 8};
  Table[DW_FORM_flag_present] = Table[DW_FORM_implicit_const] = {0, 0};
  Table[DW_FORM_line_strp] = Table[DW_FORM_strp_sup] = {4, 8};
  Table[DW_FORM_strx1] = Table[DW_FORM_addrx1] = {1, 1};
  Table[DW_FORM_strx2] = Table[DW_FORM_addrx2] = {2, 2};
  Table[DW_FORM_strx3] = Table[DW_FORM_addrx3] = {3, 3};
  Table[DW_FORM_strx4] = Table[DW_FORM_addrx4] = Table[DW_FORM_ref_sup4] = {4, 4};
  Table[DW_FORM_ref_sup8] = {8, 8};
  Table[DW_FORM_data16] = {16, 16};
  return Table;
}();

void skipLEB128(VectorStream &VS) {
  uint8_t Byte = 0;
  do
    VS >> Byte;
  while (Byte & 0x80);
}

template <typename T> void skipBlock(VectorStream &VS) {
  T Length = 0;
  VS >> Length;
  VS.skip(Length);
}

} // namespace

std::optional<FixedSize> orvy::dwarf::fixedSize(uint64_t Form) {
  if (Form >= Sizes.size() || Sizes[Form].Bytes[0] == Variable)
    return std::nullopt;
  return Sizes[Form];
}

uint64_t orvy::dwarf::readULEB128(VectorStream &VS) {
  uint64_t Value = 0;
  uint8_t Byte = 0;
  for (unsigned Shift = 0;; Shift += Shift < 64 ? 7 : 0) {
    VS >> Byte;
    uint64_t Bits = Byte & 0x7fu;
    if (Shift < 64)
      Value |= Bits << Shift;
    if (Shift >= 64 ? Bits != 0 : Bits << Shift >> Shift != Bits)
      throw std::runtime_error("number of more than 64 bits");
    if (!(Byte & 0x80))
      return Value;
  }
}

int64_t orvy::dwarf::readSLEB128(VectorStream &VS) {
  uint64_t Value = 0;
  uint8_t Byte = 0x80;
  unsigned Shift = 0;
  for (; Byte & 0x80; Shift += Shift < 64 ? 7 : 0) {
    VS >> Byte;
    if (Shift < 64)
      Value |= (Byte & uint64_t{0x7f}) << Shift;
  }
  if (Shift < 64 && (Byte & 0x40))
    Value |= ~uint64_t{0} << Shift;
  return static_cast<int64_t>(Value);
}

void orvy::dwarf::skipVariable(VectorStream &VS, uint64_t Form) {
  switch (Form) {
  case DW_FORM_string:
    VS.readText();
    return;
  case DW_FORM_block1:
    return skipBlock<uint8_t>(VS);
  case DW_FORM_block2:
    return skipBlock<uint16_t>(VS);
  case DW_FORM_block4:
    return skipBlock<uint32_t>(VS);
  case DW_FORM_block:
  case DW_FORM_exprloc:
    return VS.skip(readULEB128(VS));
  case DW_FORM_udata:
    skipLEB128(VS);
    return VS.skip(0); // throws if the section ends after the value
  case DW_FORM_sdata:
    return skipLEB128(VS);
  case DW_FORM_ref_udata:
  case DW_FORM_strx:
  case DW_FORM_addrx:
  case DW_FORM_loclistx:
  case DW_FORM_rnglistx:
    readULEB128(VS);
    return;
  case DW_FORM_indirect:
    throw std::runtime_error("indirect data not yet supported");
  default:
    throw std::runtime_error("unknown form " + std::to_string(Form));
  }
}

void orvy::dwarf::skipValue(VectorStream &VS, uint64_t Form) {
  std::optional<FixedSize> Size = fixedSize(Form);
  if (!Size)
    skipVariable(VS, Form);
  else if (uint8_t Bytes = Size->Bytes[VS.Is64Bit])
    VS.skip(Bytes);
}

uint64_t orvy::dwarf::readLength(VectorStream &VS, uint64_t &Length) {
  uint32_t Short = 0;
  VS >> Short;
  Length = Short;
  VS.Is64Bit = Short > 0xffffffef;
  if (VS.Is64Bit)
    VS >> Length;
  if (Length > VS.getLeft())
    throw std::out_of_range("length past the end of a section");
  return VS.getOffset() + Length;
}

std::string orvy::dwarf::currentReason() {
  try {
    throw;
  } catch (const std::exception &Why) {
    return Why.what();
  } catch (...) { // the stream throws 42
    return "value past the end of a section";
  }
}
