// ErrorRecord.h - keeps the last text that was reported as an error, for programs that ask for
// the reason of a failure.

#ifndef ORVY_LIB_ERRORRECORD_H
#define ORVY_LIB_ERRORRECORD_H

#include <string_view>

namespace orvy {

/// Adds a text that was written to the error stream or logged as an error. Any thread.
void recordError(std::string_view Text);

} // namespace orvy

#endif
