// FileSystem.h - plain operations on files and paths. None of them throws for what is not there.

#ifndef ORVY_SUPPORT_FILESYSTEM_H
#define ORVY_SUPPORT_FILESYSTEM_H

#include "orvy/Support/Export.h"

#include <string>
#include <vector>

namespace orvy::fs {

ORVY_API bool exists(const std::string &Path);
/// Whether there is a regular file.
ORVY_API bool isFile(const std::string &Path);
ORVY_API bool isDir(const std::string &Path);
/// Whether a regular file has no bytes, or a directory no entries but "." and "..". False for
/// anything else and on failure.
ORVY_API bool isEmpty(const char *Path);

/// Renames a file. Whether it worked.
ORVY_API bool mv(const char *From, const char *To);
/// Copies a file of at least one byte to a new file of mode 0600. False if the target exists or on
/// any failure; what a full disk has taken stays.
ORVY_API bool cp(const char *From, const char *To);
/// Removes a file. Whether it worked.
ORVY_API bool rm(const char *Path);
/// Makes a directory of mode 0700; when recursive, all that are missing on the way. An existing
/// path is a failure unless recursive.
ORVY_API bool mkdir(const char *Path, bool Recursive);
/// The names in a directory in the order of the system, "." and ".." among them; empty on failure.
ORVY_API std::vector<std::string> ls(const char *Path);
/// The size of a file in bytes; 0 on failure.
ORVY_API uint64_t size(const char *Path);

ORVY_API std::string tempDir();
/// The current directory; empty on failure.
ORVY_API std::string cwd();

// These look at the text alone.

/// The text after the last '/'; the whole text if there is none.
ORVY_API std::string fileNameComponent(const char *Path);
/// The text before the first '/'; the whole text if there is none.
ORVY_API std::string directoryComponent(const char *Path);
/// The path with every run of '/' made one; "." and ".." stay.
ORVY_API std::string normalisePath(const char *Path);
ORVY_API bool isAbsolutePath(const char *Path);
ORVY_API bool isRelativePath(const char *Path);
/// The texts between the '/'; the first is empty for an absolute path, and none follows
/// a final '/'.
ORVY_API std::vector<std::string> pathComponents(const char *Path);

} // namespace orvy::fs

#endif
