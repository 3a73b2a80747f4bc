#include "orvy/Support/Support.h"

#include "Events/EventQueue.h"
#include "orvy/Support/Clock.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Paths.h"
#include "orvy/Support/Plugins.h"
#include "orvy/Support/Simulator.h"

#include <cstdlib>

using namespace orvy;

static bool makeConfigDir(bool WithParents) {
  const std::string Dir = os::path::getConfDir();
  if (fs::exists(Dir) || (!Dir.empty() && fs::mkdir(Dir.c_str(), WithParents)))
    return true;
  orvy_logError(nullptr, "could not create config dir '%s'", Dir.c_str());
  return false;
}

// Ends the process if the directory cannot be made.
static void requireConfigDir(bool WithParents) {
  if (!makeConfigDir(WithParents))
    std::exit(1);
}

void orvy_initPathSupport(const char *Command) {
  os::path::addInstallPathForCommand(Command ? Command : "");
  if (const std::string LibDir = os::path::getLibDir(); !LibDir.empty())
    orvy_pluginPathAppend(LibDir.c_str());
}

void orvy_initConfigDirs() {
  requireConfigDir(true);
}

int orvy_tryConfigDirs() {
  return makeConfigDir(true) ? 0 : -1;
}

void orvy_initSupportLib() {
  requireConfigDir(false);
  event::init();
  sim::registerAndCreateSimulatorObject();
  clockmodel::registerClock();
}
