// LoadContext.h - loads the symbols of an image, for the commands that load images.

#ifndef ORVY_LIB_LOADCONTEXT_H
#define ORVY_LIB_LOADCONTEXT_H

#include "orvy/Support/Debugging.h"

namespace orvy::debugging {

/// The symbols of a file to read.
enum class Symbols {
  Any,    ///< DWARF if the file has it, else the symbol table
  Symtab, ///< the symbol table
  All     ///< DWARF, and the symbol table if the file has one
};

/// Reads the symbols of a file and keeps them as the current context under its path. Returns 0, or
/// 1 with a warning on the error stream.
int loadContext(void *Memory, const char *Path, Symbols Which);

} // namespace orvy::debugging

#endif
