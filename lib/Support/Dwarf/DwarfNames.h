// DwarfNames.h - numbers of the DWARF standard and their names.

#ifndef ORVY_LIB_DWARFNAMES_H
#define ORVY_LIB_DWARFNAMES_H

#include <cstdint>
#include <span>

namespace orvy::dwarf {

/// Names by number, in ascending order.
class NumberNames {
public:
  struct Row {
    uint64_t Number;
    const char *Name;
  };
  constexpr explicit NumberNames(std::span<const Row> Rows) : Rows(Rows) {}
  /// Null for a number without a name.
  const char *find(uint64_t Number) const;
  size_t size() const { return Rows.size(); }

private:
  std::span<const Row> Rows;
};

extern const NumberNames TagNames, AtNames, FormNames, LangNames;

/// The numbers that the reader uses (DWARF 4, 7.5).
enum Tag : uint64_t {
  DW_TAG_entry_point = 0x03,
  DW_TAG_member = 0x0d,
  DW_TAG_compile_unit = 0x11,
  DW_TAG_structure_type = 0x13,
  DW_TAG_subprogram = 0x2e,
  DW_TAG_variable = 0x34,
  DW_TAG_partial_unit = 0x3c
};

enum At : uint64_t {
  DW_AT_location = 0x02,
  DW_AT_name = 0x03,
  DW_AT_stmt_list = 0x10,
  DW_AT_low_pc = 0x11,
  DW_AT_high_pc = 0x12,
  DW_AT_language = 0x13,
  DW_AT_comp_dir = 0x1b,
  DW_AT_frame_base = 0x40,
  DW_AT_type = 0x49,
  DW_AT_entry_pc = 0x52,
  DW_AT_ranges = 0x55
};

enum Form : uint64_t {
  DW_FORM_addr = 0x01,
  DW_FORM_block2 = 0x03,
  DW_FORM_block4 = 0x04,
  DW_FORM_data2 = 0x05,
  DW_FORM_data4 = 0x06,
  DW_FORM_data8 = 0x07,
  DW_FORM_string = 0x08,
  DW_FORM_block = 0x09,
  DW_FORM_block1 = 0x0a,
  DW_FORM_data1 = 0x0b,
  DW_FORM_flag = 0x0c,
  DW_FORM_sdata = 0x0d,
  DW_FORM_strp = 0x0e,
  DW_FORM_udata = 0x0f,
  DW_FORM_ref_addr = 0x10,
  DW_FORM_ref1 = 0x11,
  DW_FORM_ref2 = 0x12,
  DW_FORM_ref4 = 0x13,
  DW_FORM_ref8 = 0x14,
  DW_FORM_ref_udata = 0x15,
  DW_FORM_indirect = 0x16,
  DW_FORM_sec_offset = 0x17,
  DW_FORM_exprloc = 0x18,
  DW_FORM_flag_present = 0x19,
  DW_FORM_ref_sig8 = 0x20
};

} // namespace orvy::dwarf

#endif
