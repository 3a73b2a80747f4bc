// ValueParsers.h - from text to numbers, names and scale factors of units.
//
// Every function is true on success. None throws, logs or prints: the caller knows what the text
// was meant to be and words the failure. They keep no state and may run on any thread.

#ifndef ORVY_SUPPORT_VALUEPARSERS_H
#define ORVY_SUPPORT_VALUEPARSERS_H

#include "orvy/Support/Export.h"

#include <string>

namespace orvy {

/// Whether the text is a symbol: a letter or '_', then letters, digits, '_' and '-'.
ORVY_API bool parseSymbol(const std::string &Text) noexcept;

/// Reads an integer: blanks and tabs, a sign, a base, digits that '_' may separate. The base is 16
/// after "0x", 8 after "0o" or "0", 2 after "0b", in either case of letter, and otherwise 10.
/// The value wraps in 64 bits. Value stays as it is unless the whole text was read.
ORVY_API bool parseInt(const std::string &Text, long &Value) noexcept;

/// Reads a real number in any form that strtod takes, in the process's locale. Text after the
/// number is a failure that has stored the number; on any other failure, a number out of range
/// among them, Value stays as it is.
ORVY_API bool parseDouble(const std::string &Text, double &Value) noexcept;

// The units. Names match exactly, the case of letters too; the empty text is the base unit. Factor
// stays as it is when there is no such unit.

/// Bytes in a unit: "B", "o" or "octet" with decimal prefixes (k, M, ...) or binary ones (Ki, Mi,
/// ...).
ORVY_API bool parseByteUnit(const std::string &Unit, unsigned long &Factor) noexcept;
/// Bits in a unit: "b" or "bit" with decimal prefixes, and nibbles and bytes, where "B" is 8 bits.
ORVY_API bool parseBitUnit(const std::string &Unit, unsigned long &Factor) noexcept;
/// Seconds in a unit: "s" with decimal prefixes from "as" to "Ys", "min", "h", "days" and "weeks".
ORVY_API bool parseTimeUnit(const std::string &Unit, double &Factor) noexcept;
/// Bits per second in a unit: "b/s" or "bit/s" with decimal prefixes from "a" to "Y".
ORVY_API bool parseBitRateUnit(const std::string &Unit, double &Factor) noexcept;

} // namespace orvy

#endif
