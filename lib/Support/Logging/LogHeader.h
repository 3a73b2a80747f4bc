// LogHeader.h - what precedes the message in a line of the log: time, category, level, object.

#ifndef ORVY_LIB_LOGHEADER_H
#define ORVY_LIB_LOGHEADER_H

#include "orvy/Support/Logging.h"

#include <string_view>

namespace orvy {

class LogLine;

/// @param Category  at most 15
void addLogHeader(LogLine &Out, orvy_LogLevel Level, const void *Obj, uint32_t Category,
                  bool Color);

/// The name of a level, such as "warning"; null above debug.
const char *logLevelName(orvy_LogLevel Level);

/// Room for any number as "%.6f" writes it.
using SecondsText = char[400];
/// What printf writes for "%.6f", in the buffer.
std::string_view formatSeconds(double Secs, SecondsText &Buffer);

} // namespace orvy

#endif
