// AddressNames.h - the names that complete what a user has typed. The source also hands the command
// language what addresses written by name mean.

#ifndef ORVY_LIB_ADDRESSNAMES_H
#define ORVY_LIB_ADDRESSNAMES_H

#include "orvy/Support/Completion.h"

#include <string_view>

namespace orvy::debugger {

// What may follow the beginning of a word, as functions of orvy/Support/Completion.h.

/// An expression: variables, functions, members, registers and properties.
cl::Suffixes completeExpression(std::string_view Partial);
/// A place in the code: functions and files.
cl::Suffixes completePlace(std::string_view Partial);
/// The number of a break point.
cl::Suffixes completeBreak(std::string_view Partial);
/// A processor.
cl::Suffixes completeCpu(std::string_view Partial);

} // namespace orvy::debugger

#endif
