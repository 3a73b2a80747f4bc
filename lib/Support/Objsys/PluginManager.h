// PluginManager.h - the search path of plug-ins, and what has been loaded.

#ifndef ORVY_LIB_PLUGINMANAGER_H
#define ORVY_LIB_PLUGINMANAGER_H

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::objsys {

using PluginNames = std::set<std::string, std::less<>>;

/// Turns short names into files, loads them and calls their entry point. One for the process.
class PluginManager {
public:
  /// With "." as search path.
  PluginManager();

  /// The manager of the process, whose path holds the values of --lib-path from its first use on.
  static PluginManager &get();

  // They return what orvy_loadPlugin does.
  int loadPlugin(const char *Name);
  int oldLoadPlugin(const std::string &Name);
  int unloadPlugin(const char *Name);

  void appendPath(std::string_view List);
  void removePath(std::string_view Dir);
  void printPath() const;

  const PluginNames &plugins() const { return Plugins; }
  /// Forgets what is loaded, so that it can be loaded again. No library is closed.
  void clear();

private:
  enum Result { Loaded = 0, AlreadyLoaded = 1, NotOpened = 2, NoEntryPoint = 3 };
  struct Reporter;

  int doLoad(const std::string &File);
  int oldDoLoad(const std::string &File);
  int load(const std::string &File, const Reporter &Report);
  int enter(const std::string &File, void *Handle, void (*Init)());
  void record(const std::string &File, void *Handle);
  void forget(const std::string &File, void *Handle);
  int oldLoadForm(const std::string &Form, bool FirstFileDecides);
  std::string findCandidate(const std::string &Name) const;

  PluginNames Plugins;
  PluginNames LoadedFiles;
  std::set<void *> Handles;
  std::set<void *> Entered; ///< those whose entry point runs, also when all is forgotten meanwhile
  std::vector<std::string> Paths;
};

/// Logs a file that is tried, if ORVY_DEBUG_PLUGIN_LOADER is set.
[[gnu::format(printf, 1, 0)]] void debugPluginAttempt(const char *Fmt, const std::string &Name);

/// The files loaded so far, as they were named to the loader.
const PluginNames &getLoadedPlugins();
/// Forgets what is loaded.
void clearLoadedPlugins();

} // namespace orvy::objsys

#endif
