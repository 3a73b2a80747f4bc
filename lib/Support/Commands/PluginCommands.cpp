// The commands that load plug-ins and change their search paths.

#include "CommandLine/Handlers.h"

#include "orvy/Support/Plugins.h"

#include <cstdlib>

using namespace orvy;
using namespace orvy::cl;

namespace {

/// Whether the plug-in is loaded after a load with that result. A 1 means that it was loaded
/// before, except on the old route, where it means that it was not found.
bool isLoaded(int Result) {
  return Result == 0 || (Result == 1 && !std::getenv("ORVY_OLD_PLUGIN_LOADING_BEHAVIOUR"));
}

void loadPlugin(const char *Name) {
  if (isLoaded(orvy_loadPlugin(Name)))
    return;
  errs() << "Could not load plugin '" << Name << "'\n\n"
         << "Either the plugin was not found as it does not exist, or"
            " there is\n"
            "an issue with your plugin and/or linker paths.\n\n"
            "To address the plugin-paths use the 'plugin-append-path' command.\n\n"
            "If this was not the case, then your plugin may be linked to some\n"
            "library, which is not located in the system ld-paths.\n\n"
            "To address that issues, you need to either build your plugin with\n"
            "RPATH or RUNPATH set. Or you need to set LD_LIBRARY_PATH.\n";
}

Command PluginLoad("plugin-load", callForWords<loadPlugin>, "load plugin into orvy", {"import"});

Command PluginAppendPath("plugin-append-path", callForWords<orvy_pluginPathAppend>,
                         "add plugin path");

Command PluginRemovePath("plugin-remove-path", callForWords<orvy_pluginPathRemove>,
                         "remove plugin path");

Command PluginShowPaths("plugin-show-paths", call<orvy_pluginPathPrint>, "show plugin paths");

} // namespace
