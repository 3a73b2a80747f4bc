// DwarfForms.h - the sizes of attribute values.

#ifndef ORVY_LIB_DWARFFORMS_H
#define ORVY_LIB_DWARFFORMS_H

#include "orvy/Support/VectorStream.h"

#include <optional>
#include <string>

namespace orvy::dwarf {

/// The size of a form in bytes, in the 32-bit and in the 64-bit format.
struct FixedSize {
  uint8_t Bytes[2];
};

/// Empty for unknown forms and for those whose values contain their size.
std::optional<FixedSize> fixedSize(uint64_t Form);

/// Reads an unsigned LEB128 value of any length (DWARF 4, 7.6). The stream itself reads at most
/// nine bytes, but 64 bits take ten, and producers may pad values. Throws for more than 64 bits.
uint64_t readULEB128(utils::VectorStream &VS);

/// Reads a signed LEB128 value of any length. Bits above the 64th are ignored.
int64_t readSLEB128(utils::VectorStream &VS);

/// Skips a value that contains its size. Throws if the form is unknown or the value is not inside
/// the section.
void skipVariable(utils::VectorStream &VS, uint64_t Form);

/// Skips a value of any form.
void skipValue(utils::VectorStream &VS, uint64_t Form);

/// Reads the length at the start of a unit, table or set, and sets the stream's format accordingly.
/// Throws if the length exceeds the rest of the section.
/// @return offset of the end
uint64_t readLength(utils::VectorStream &VS, uint64_t &Length);

/// The reason of the exception being handled, for a message.
std::string currentReason();

} // namespace orvy::dwarf

#endif
