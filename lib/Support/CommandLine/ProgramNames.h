// ProgramNames.h - what the command language asks about the program that a processor runs: addresses
// written by name, and what an address or a processor is when a command is not given one.
//
// The debugger answers; without it there are only numbers.

#ifndef ORVY_LIB_PROGRAMNAMES_H
#define ORVY_LIB_PROGRAMNAMES_H

#include "orvy/Support/Commands.h"
#include "orvy/Support/Completion.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvy::cl {

struct ProgramNames {
  /// The address that a text such as "main+8", "table[2]" or "$sp" means, translated if it is to be
  /// physical. Nothing, and why, if it means none.
  std::optional<uint64_t> (*addressOf)(const std::string &Text, bool IsPhysical, std::string &Why);
  /// The selected processor and its memory by name; empty if there is none.
  std::string (*processor)();
  std::string (*memory)();
  /// What may follow the beginning of such a text.
  Suffixes (*complete)(std::string_view Partial);
};

void setProgramNames(const ProgramNames &Answers);
const ProgramNames &programNames();

inline bool isAddress(orvy_OptionUnit Unit) {
  return Unit == ovOU_Address || Unit == ovOU_PhysicalAddress;
}

/// Protects what the program knows as a register, such as "$sp", from being expanded as a variable.
void keepRegisters(std::string &Text);

} // namespace orvy::cl

#endif
