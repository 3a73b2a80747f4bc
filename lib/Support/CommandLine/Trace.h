// Trace.h - trace messages of the expression front end.

#ifndef ORVY_LIB_TRACE_H
#define ORVY_LIB_TRACE_H

#include "orvy/Support/Lexer.h"
#include "orvy/Support/OutStream.h"

namespace orvy::cl {

/// Writes the parts on the error stream if tracing is on.
template <typename... Parts> void trace(Tracing Says, const Parts &...Text) {
  if (Says == Tracing::On)
    (errs() << ... << Text);
}

} // namespace orvy::cl

#endif
