// ObjsysValue.h - widths and texts of values.

#ifndef ORVY_LIB_OBJSYSVALUE_H
#define ORVY_LIB_OBJSYSVALUE_H

#include "orvy/Support/Types.h"

#include <iosfwd>
#include <string>

namespace orvy::objsys {

/// The bytes of one element of a property of that type inside a model object; 0 if the type is not valid.
inline size_t typeToSize(orvy_Type Typ) {
  constexpr uint8_t Sizes[] = {0, 8, 8, 4, 8,  1,  2, 4,  8, 1,  2,
                               4, 8, 8, 8, 16, 16, 8, 16, 8, 16, 24};
  return Typ < sizeof(Sizes) ? Sizes[Typ] : 0;
}

/// Writes the value as the user reads it.
std::ostream &operator<<(std::ostream &Os, const orvy_Propval &Pv);

/// The same text as a string.
std::string propAsString(const orvy_Propval &Pv);

/// A text that may be null, as one that is not.
inline const char *orEmpty(const char *Text) {
  return Text ? Text : "";
}

} // namespace orvy::objsys

#endif
