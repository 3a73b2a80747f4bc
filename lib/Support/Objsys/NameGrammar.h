// NameGrammar.h - how names of objects, classes, interfaces and properties are written.

#ifndef ORVY_LIB_NAMEGRAMMAR_H
#define ORVY_LIB_NAMEGRAMMAR_H

#include <string_view>

namespace orvy::objsys {

/// The name without its bracket part.
inline std::string_view baseName(std::string_view Name) {
  return Name.substr(0, Name.find('['));
}

/// The index in the first bracket part of a name, or Default if there is none. Throws
/// std::invalid_argument for a bracket part without digits, std::out_of_range beyond 32 bits.
int getIndex(const char *Name, unsigned long Default);

/// Whether a name follows the grammar: letters, digits and "_", with single joiners between parts,
/// each part beginning with a letter or "_". Null and "" do not.
bool isValidName(const char *Name, char Joiner);

} // namespace orvy::objsys

#endif
