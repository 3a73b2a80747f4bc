// DwarfForms.h - how many bytes the values of entries take.

#ifndef ORVY_LIB_DWARFFORMS_H
#define ORVY_LIB_DWARFFORMS_H

#include "orvy/Support/VectorStream.h"

#include <optional>
#include <string>

namespace orvy::dwarf {

/// Bytes of a form in the 32-bit and in the 64-bit format.
struct FixedSize {
  uint8_t Bytes[2];
};

/// Empty for a form whose values tell their size themselves, and for an unknown one.
std::optional<FixedSize> fixedSize(uint64_t Form);

/// Reads an unsigned LEB128 value of any length (DWARF 4, 7.6): producers may pad one, and 64 bits
/// take ten bytes, of which the stream itself reads nine. Throws for one of more than 64 bits.
uint64_t readULEB128(utils::VectorStream &VS);

/// Passes over a value that tells its size itself. Throws for an unknown form, as for a value that
/// does not lie within the section.
void skipVariable(utils::VectorStream &VS, uint64_t Form);

/// Passes over a value of any form.
void skipValue(utils::VectorStream &VS, uint64_t Form);

/// Reads the length at the head of a unit, table or set, and sets the stream's format by it. The
/// length is no more than what is left of the section.
/// @return offset of the end
uint64_t readLength(utils::VectorStream &VS, uint64_t &Length);

/// Why reading failed, for a message: what the exception being handled says.
std::string currentReason();

} // namespace orvy::dwarf

#endif
