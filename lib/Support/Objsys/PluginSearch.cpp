// Where plug-ins are looked for, and under which names.

#include "Objsys/PluginManager.h"

#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <cstdlib>

using namespace orvy;
using objsys::PluginManager;

void PluginManager::appendPath(std::string_view List) {
  while (!List.empty()) {
    const size_t Colon = std::min(List.find(':'), List.size());
    Paths.emplace_back(List.substr(0, Colon));
    List.remove_prefix(std::min(Colon + 1, List.size()));
    if (!fs::isDir(Paths.back()))
      orvy_logWarning(nullptr, "Adding non-existant directory '%s' to plugin-path",
                      Paths.back().c_str());
  }
}

void PluginManager::removePath(std::string_view Dir) {
  std::erase(Paths, Dir);
}

void PluginManager::printPath() const {
  for (const std::string &Dir : Paths)
    outs() << "  " << Dir << "\n";
}

void orvy::objsys::debugPluginAttempt(const char *Fmt, const std::string &Name) {
  if (std::getenv("ORVY_DEBUG_PLUGIN_LOADER"))
    orvy_logDebugFunc(nullptr, Fmt, Name.c_str());
}

static bool isCandidate(const char *Fmt, const std::string &File) {
  objsys::debugPluginAttempt(Fmt, File);
  return fs::isFile(File);
}

// The first file of the search path that a short name can mean; empty if there is none.
std::string PluginManager::findCandidate(const std::string &Name) const {
  const bool IsFullName = Name.find('.') != Name.npos;
  for (const std::string &Dir : Paths) {
    if (std::string File = Dir + "/" + Name;
        IsFullName && isCandidate("full name specified: '%s'", File))
      return File;
    if (std::string File = Dir + "/lib" + Name + ".so";
        isCandidate("lib prefix attempt: '%s'", File))
      return File;
    if (std::string File = Dir + "/libORVY" + Name + ".so";
        isCandidate("libORVY prefix attempt: '%s'", File))
      return File;
  }
  return {};
}
