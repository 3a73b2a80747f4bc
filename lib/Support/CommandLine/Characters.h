// Characters.h - classes of characters of the command language, independent of the locale.

#ifndef ORVY_LIB_CHARACTERS_H
#define ORVY_LIB_CHARACTERS_H

namespace orvy::cl {

constexpr bool isLetter(char Character) {
  return (Character >= 'a' && Character <= 'z') || (Character >= 'A' && Character <= 'Z');
}

constexpr bool isDigit(char Character) {
  return Character >= '0' && Character <= '9';
}

constexpr bool isLetterOrDigit(char Character) {
  return isLetter(Character) || isDigit(Character);
}

constexpr bool isSpace(int Character) {
  return Character == ' ' || (Character >= '\t' && Character <= '\r');
}

} // namespace orvy::cl

#endif
