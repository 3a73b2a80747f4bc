// Completion.h - what may follow a piece of a command.
//
// All functions give suffixes, the texts that would follow what was typed, in byte order.

#ifndef ORVY_SUPPORT_COMPLETION_H
#define ORVY_SUPPORT_COMPLETION_H

#include "orvy/Support/Export.h"

#include <string>
#include <string_view>
#include <vector>

namespace orvy::cl {

using Suffixes = std::vector<std::string>;

/// Commands; none for an empty text.
ORVY_API Suffixes completeCommand(std::string_view Partial);
/// Keys of the options of a command, each with the "=".
ORVY_API Suffixes completeKey(std::string_view CmdName, std::string_view Partial);
/// A word of a command that is not key=value: for a command that completes such words.
ORVY_API Suffixes completeWord(std::string_view CmdName, std::string_view Partial);
/// The value of an option: variables after an open "$" or "${", else what the option's kind takes.
ORVY_API Suffixes completeValue(std::string_view CmdName, std::string_view Key,
                                std::string_view Value);
ORVY_API Suffixes completeObject(std::string_view Partial);
ORVY_API Suffixes completeClass(std::string_view Partial);
/// Objects with a ".", then their properties.
ORVY_API Suffixes completeProp(std::string_view Text);
/// Objects with a ":", then their interfaces.
ORVY_API Suffixes completeIface(std::string_view Text);
/// As completeProp, registers only.
ORVY_API Suffixes completeReg(std::string_view Text);
/// Global variables; with braces each has the closing one.
ORVY_API Suffixes completeVariable(std::string_view Text, bool Braces);
/// Entries of a directory, directories with a "/". Variables before the last "/" are expanded.
ORVY_API Suffixes completePath(std::string_view Text);

/// The longest text that all begin with.
ORVY_API std::string getCommonPrefix(const std::vector<std::string> &Texts);

} // namespace orvy::cl

#endif
