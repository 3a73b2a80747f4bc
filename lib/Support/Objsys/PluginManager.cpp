#include "Objsys/PluginManager.h"

#include "orvy/Support/CommandLineOptions.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/ManagedStatic.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Plugins.h"

#include <atomic>
#include <cstdlib>
#include <dlfcn.h>
#include <exception>

using namespace orvy;
using objsys::PluginManager;
using objsys::PluginNames;

// Null until this file's initialisers have run, and never destroyed: a manager may be built on
// either side of the option's life.
static cl::list<std::string> *const LibPath =
    new cl::list<std::string>(cl::longName("lib-path"), cl::valueName("path"),
                              cl::description("Paths to add to plugin loading dirs"));

static ManagedStatic<PluginManager> TheManager;

PluginManager::PluginManager() : Paths{"."} {}

PluginManager &PluginManager::get() {
  // Adding a directory may log a warning, and the log cannot be built while the manager is. So the
  // first user adds the option's values to a finished manager.
  static std::atomic<bool> HasOptions{false};
  PluginManager &Manager = *TheManager;
  if (!HasOptions.load(std::memory_order_relaxed) && LibPath && !HasOptions.exchange(true))
    for (const std::string &List : *LibPath)
      Manager.appendPath(List);
  return Manager;
}

// Loading one file.

// How the steps of a load are reported: the only difference between the two routes.
struct PluginManager::Reporter {
  void (*AlreadyLoaded)(const std::string &File);
  void (*NotOpened)(const std::string &File, const char *Why);
  void (*NoEntryPoint)(const char *Why);
  void (*Loaded)(const std::string &File);
};

static const char *loaderError() {
  const char *Text = dlerror();
  return Text ? Text : "unknown error of the dynamic loader";
}

int PluginManager::load(const std::string &File, const Reporter &Report) {
  if (LoadedFiles.contains(File))
    return Report.AlreadyLoaded(File), AlreadyLoaded;
  void *Handle = dlopen(File.c_str(), RTLD_NOW);
  if (!Handle)
    return Report.NotOpened(File, loaderError()), NotOpened;
  if (Handles.contains(Handle) || Entered.contains(Handle))
    return Report.AlreadyLoaded(File), AlreadyLoaded;
  const auto Init = reinterpret_cast<void (*)()>(dlsym(Handle, "orvy_pluginInit"));
  if (!Init) {
    Report.NoEntryPoint(loaderError());
    dlclose(Handle);
    return NoEntryPoint;
  }
  Report.Loaded(File);
  return enter(File, Handle, Init);
}

void PluginManager::record(const std::string &File, void *Handle) {
  Plugins.insert(File);
  LoadedFiles.insert(File);
  Handles.insert(Handle);
}

void PluginManager::forget(const std::string &File, void *Handle) {
  Plugins.erase(File);
  LoadedFiles.erase(File);
  Handles.erase(Handle);
}

// Calls an entry point, which may load others, and clear the object system. A library whose entry
// point throws stays open: what it has registered so far lies in it.
int PluginManager::enter(const std::string &File, void *Handle, void (*Init)()) {
  const char *Why = "an exception";
  std::string Text;
  // Recorded before the call, so that plug-ins that load one another come to an end.
  record(File, Handle);
  Entered.insert(Handle);
  try {
    Init();
    Why = nullptr;
  } catch (const std::exception &E) {
    Text = E.what();
    Why = Text.c_str();
  } catch (...) {
  }
  Entered.erase(Handle);
  if (!Why) {
    record(File, Handle);
    return Loaded;
  }
  forget(File, Handle);
  orvy_logError(nullptr, "the entry point of plugin '%s' failed: %s", File.c_str(), Why);
  return NotOpened;
}

int PluginManager::doLoad(const std::string &File) {
  static constexpr Reporter Report = {
      [](const std::string &File) {
        orvy_logWarning(nullptr, "plugin '%s' already loaded", File.c_str());
      },
      [](const std::string &, const char *Why) { orvy_logError(nullptr, "'%s'", Why); },
      [](const char *Why) { orvy_logError(nullptr, "'%s'", Why); },
      [](const std::string &) {},
  };
  return load(File, Report);
}

int PluginManager::oldDoLoad(const std::string &File) {
  static constexpr Reporter Report = {
      [](const std::string &File) {
        orvy_logDebugFunc(nullptr, "plugin '%s' already loaded", File.c_str());
      },
      [](const std::string &, const char *Why) {
        orvy_logDebugFunc(nullptr, "load plugin '%s'", Why);
      },
      [](const char *Why) { errs() << Why << "\n"; },
      [](const std::string &File) {
        orvy_logDebugFunc(nullptr, "loaded plugin '%s'", File.c_str());
      },
  };
  return load(File, Report);
}

// Loading by name.

int PluginManager::loadPlugin(const char *Name) {
  if (!Name)
    return -1;
  const std::string Asked = Name;
  if (std::getenv("ORVY_OLD_PLUGIN_LOADING_BEHAVIOUR"))
    return oldLoadPlugin(Asked);
  if (Asked.find('/') != Asked.npos) {
    debugPluginAttempt("full or relative load: '%s'", Asked);
    return doLoad(Asked);
  }
  if (const std::string File = findCandidate(Asked); !File.empty())
    return doLoad(File);
  debugPluginAttempt("attempt system path: '%s'", Asked);
  return doLoad(Asked.find('.') != Asked.npos ? Asked : "libORVY" + Asked + ".so");
}

// Tries one form of a name: first wherever the dynamic loader looks, then in the directories of the
// search path. A result below NotOpened is success.
int PluginManager::oldLoadForm(const std::string &Form, bool FirstFileDecides) {
  if (oldDoLoad(Form) < NotOpened)
    return Loaded;
  for (const std::string &Dir : Paths) {
    const std::string File = Dir + "/" + Form;
    if (!fs::exists(File))
      continue;
    const int Attempt = oldDoLoad(File);
    if (Attempt < NotOpened || FirstFileDecides)
      return Attempt;
  }
  return NotOpened;
}

int PluginManager::oldLoadPlugin(const std::string &Name) {
  const bool Success = oldLoadForm("libORVY" + Name + ".so", false) < NotOpened ||
                       oldLoadForm("lib" + Name + ".so", false) < NotOpened ||
                       oldLoadForm(Name, true) < NotOpened;
  return Success ? 0 : 1;
}

int PluginManager::unloadPlugin(const char *) {
  orvy_logError(nullptr, "plugin unload not implemented");
  return -1;
}

void PluginManager::clear() {
  Plugins.clear();
  LoadedFiles.clear();
  Handles.clear();
}

const PluginNames &orvy::objsys::getLoadedPlugins() {
  return PluginManager::get().plugins();
}

void orvy::objsys::clearLoadedPlugins() {
  PluginManager::get().clear();
}

int orvy_loadPlugin(const char *Name) {
  return PluginManager::get().loadPlugin(Name);
}

int orvy_unloadPlugin(const char *Name) {
  return PluginManager::get().unloadPlugin(Name);
}

void orvy_pluginPathAppend(const char *PathList) {
  if (PathList)
    PluginManager::get().appendPath(PathList);
}

void orvy_pluginPathRemove(const char *Dir) {
  if (Dir)
    PluginManager::get().removePath(Dir);
}

void orvy_pluginPathPrint() {
  PluginManager::get().printPath();
}
