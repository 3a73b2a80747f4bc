// Text.h - instructions as text.

#ifndef ORVY_MODELS_SPARCV8_TEXT_H
#define ORVY_MODELS_SPARCV8_TEXT_H

#include <cstdint>
#include <optional>
#include <string>

namespace sparc {

/// Writes an instruction the way the assembler reads it; empty for a word that is no instruction.
/// Targets of branches and calls are relative to the instruction: ".+0x10".
std::string disassemble(uint32_t Word);

/// Reads one instruction, in any form that disassemble prints; none, with the reason in Error, for
/// a text that is no instruction.
std::optional<uint32_t> assemble(const char *Text, std::string &Error);

/// Name of an integer register without the percent sign: "g0" to "i7", "sp" and "fp".
const char *registerName(unsigned Reg);

/// Number of an integer register by name, with or without the percent sign: those of registerName,
/// "o6", "i6" and "r0" to "r31"; negative for any other text.
int registerNumber(const char *Name);

} // namespace sparc

#endif
