// LoadContext.h - what commands that load an image do for its symbols.

#ifndef ORVY_LIB_LOADCONTEXT_H
#define ORVY_LIB_LOADCONTEXT_H

#include "orvy/Support/Debugging.h"

namespace orvy::debugging {

/// Which symbols of a file are read.
enum class Symbols {
  Any,    ///< DWARF where the file has it, else the symbol table
  Symtab, ///< the symbol table
  All     ///< DWARF, and the symbol table where the file has one
};

/// Reads the symbols of a file and keeps them as the current context under its path. Returns 0, or
/// 1 with a warning on the error stream.
int loadContext(void *Memory, const char *Path, Symbols Which);

} // namespace orvy::debugging

#endif
