// Text.h - converts instructions to text and back.

#ifndef ORVY_MODELS_SPARCV8_TEXT_H
#define ORVY_MODELS_SPARCV8_TEXT_H

#include <cstdint>
#include <optional>
#include <string>

namespace sparc {

/// Writes an instruction in the syntax of the assembler; empty for a word that is not an
/// instruction. Targets of branches and calls are relative to the instruction: ".+0x10".
std::string disassemble(uint32_t Word);

/// Reads one instruction, in any form that disassemble prints. Returns nothing and sets Error for a
/// text that is not an instruction.
std::optional<uint32_t> assemble(const char *Text, std::string &Error);

/// Name of an integer register without the percent sign: "g0" to "i7", "sp" and "fp".
const char *registerName(unsigned Reg);

/// Number of an integer register by name, with or without the percent sign: names of registerName,
/// "o6", "i6" and "r0" to "r31". Negative for any other text.
int registerNumber(const char *Name);

} // namespace sparc

#endif
