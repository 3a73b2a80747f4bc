// Places.h - the texts by which users name places in the code: "update", "main.c:41", "41", "+3",
// "*0x40001234".

#ifndef ORVY_LIB_PLACES_H
#define ORVY_LIB_PLACES_H

#include "Debugger/Value.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orvy::debugger {

struct CodePlace {
  uint64_t Address;
  std::string Text; ///< "main.c:41 (update)", "update", "0x40001234 <update+8>"
};

/// All places that a text means: a line in every function that it is part of, a function everywhere
/// it is inlined. An empty text means the pc of the selected frame. Throws EvaluationError if there
/// is none.
std::vector<CodePlace> placesOf(const std::string &Text, Stopped &In);

/// How an address is named as a place.
CodePlace placeAt(uint64_t Address, Stopped &In);

} // namespace orvy::debugger

#endif
