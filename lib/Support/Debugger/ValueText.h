// ValueText.h - values as the source language writes them.

#ifndef ORVY_LIB_VALUETEXT_H
#define ORVY_LIB_VALUETEXT_H

#include "Debugger/Value.h"

#include <string>

namespace orvy::debugger {

/// How to write values.
struct ValueFormat {
  char Letter = 0;        ///< x, d, u, o, t, c, a, f, s or z; 0 for what the type suggests
  bool NamesType = true;  ///< writes the type of a pointer before it
  bool IsSummary = false; ///< writes "..." for structures and arrays
  unsigned MaxElements = 200;
  unsigned MinRepeats = 10; ///< equal elements in a row that are written once

  /// Whether a letter is one of those above.
  static bool isLetter(char Letter);
};

/// The text of a value. What cannot be read or is optimised out is said in its place.
std::string valueText(const Value &Of, Stopped &In, const ValueFormat &As = {});

/// A text in quotes, as an array of characters is written.
std::string quotedText(const std::vector<uint8_t> &Characters, bool IsCut, const ValueFormat &As);

} // namespace orvy::debugger

#endif
