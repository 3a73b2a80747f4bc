// SearchPaths.h - the directories in which scripts are looked for, shared by all interpreters.

#ifndef ORVY_LIB_SEARCHPATHS_H
#define ORVY_LIB_SEARCHPATHS_H

#include <string>
#include <vector>

namespace orvy::cl {

/// The directories in the order of the search.
const std::vector<std::string> &getSearchPaths();
/// Adds a directory at the end, unless it is in the list.
void appendSearchPath(const std::string &Path);
/// Adds a directory at the front, unless it is in the list.
void prependSearchPath(const std::string &Path);

} // namespace orvy::cl

#endif
