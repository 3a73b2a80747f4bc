// LoadContext.h - what commands that load an image do for its symbols.

#ifndef ORVY_LIB_LOADCONTEXT_H
#define ORVY_LIB_LOADCONTEXT_H

#include "orvy/Support/Debugging.h"

#include <optional>

namespace orvy::debugging {

/// Reads the symbols of a file and keeps them as the current context under its path. Without a kind
/// DWARF is taken where the file has it. Returns 0, or 1 with a warning on the error stream.
int loadContext(void *Memory, const char *Path, std::optional<Ctxt::Kind> From);

} // namespace orvy::debugging

#endif
