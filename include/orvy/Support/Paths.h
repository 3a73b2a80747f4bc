// Paths.h - where the system is installed, and what lies there.
//
// addInstallPathForCommand collects candidates for the root of the installation; the look-ups walk
// them in order and return the first hit, or the empty text.

#ifndef ORVY_SUPPORT_PATHS_H
#define ORVY_SUPPORT_PATHS_H

#include "orvy/Support/Export.h"

#include <string>

namespace orvy::os::path {

/// Appends the candidates that follow from how the front end was started: the parent of the
/// command's directory, which for a command without '/' is looked for in PATH.
ORVY_API void addInstallPathForCommand(const std::string &Command);

/// The directory "lib" of the installation.
ORVY_API std::string getLibDir();
/// An executable in "bin".
ORVY_API std::string findTool(const std::string &Name);
/// An executable in "libexec/orvy".
ORVY_API std::string findSupportTool(const std::string &Name);
/// A directory in "share/orvy/wrappers".
ORVY_API std::string findWrapperDir(const std::string &Name);
/// A directory in "share/orvy".
ORVY_API std::string findResourceDir(const std::string &Name);

/// Whether there is a regular file that somebody may execute.
ORVY_API bool isExecutable(const char *Path);
/// Whether there is a directory that somebody may enter.
ORVY_API bool isDirectory(const char *Path);

/// HOME, or else the home directory of the effective user; empty if there is neither.
ORVY_API std::string getHomeDir();
/// The user's configuration directory, with a final '/'; empty without a home directory.
ORVY_API std::string getConfDir();
/// Writes the candidates to the standard output stream.
ORVY_API void printPaths();

} // namespace orvy::os::path

#endif
