// Terminal.h - the size of the terminal on standard output.

#ifndef ORVY_SUPPORT_TERMINAL_H
#define ORVY_SUPPORT_TERMINAL_H

#include "orvy/Support/Export.h"

namespace orvy::term {

/// Columns of the terminal; 80 without one.
ORVY_API uint32_t getTermCols();
/// Rows of the terminal; 24 without one.
ORVY_API uint32_t getTermRows();

} // namespace orvy::term

#endif
