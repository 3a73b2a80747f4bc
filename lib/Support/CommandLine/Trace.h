// Trace.h - where the expression front end says what it is doing.

#ifndef ORVY_LIB_TRACE_H
#define ORVY_LIB_TRACE_H

#include "orvy/Support/Lexer.h"
#include "orvy/Support/OutStream.h"

namespace orvy::cl {

/// The error stream, or one that drops everything.
OutStream &traceStream(Tracing Says);

} // namespace orvy::cl

#endif
