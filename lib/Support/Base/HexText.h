// HexText.h - numbers in listings.

#ifndef ORVY_LIB_HEXTEXT_H
#define ORVY_LIB_HEXTEXT_H

#include <cstdint>
#include <cstdio>
#include <string>

namespace orvy {

/// The number in hexadecimal without a prefix, with zeros in front up to so many digits.
inline std::string hexText(uint64_t Number, int Digits) {
  char Text[17];
  const int Length =
      std::snprintf(Text, sizeof(Text), "%.*lx", Digits, static_cast<unsigned long>(Number));
  return std::string(Text, static_cast<size_t>(Length));
}

} // namespace orvy

#endif
