// Characters.h - classes of characters of the command language, whatever the locale.

#ifndef ORVY_LIB_CHARACTERS_H
#define ORVY_LIB_CHARACTERS_H

namespace orvy::cl {

constexpr bool isLetter(char Character) {
  return (Character >= 'a' && Character <= 'z') || (Character >= 'A' && Character <= 'Z');
}

constexpr bool isLetterOrDigit(char Character) {
  return isLetter(Character) || (Character >= '0' && Character <= '9');
}

} // namespace orvy::cl

#endif
