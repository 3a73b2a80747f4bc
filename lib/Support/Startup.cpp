#include "orvy/Support/Support.h"

#include "EventQueue.h"
#include "orvy/Support/Clock.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Paths.h"
#include "orvy/Support/Plugins.h"
#include "orvy/Support/Simulator.h"

#include <cstdlib>

using namespace orvy;

// The process does not go on without the directory.
static void requireConfigDir(bool WithParents) {
  const std::string Dir = os::path::getConfDir();
  if (fs::exists(Dir) || (!Dir.empty() && fs::mkdir(Dir.c_str(), WithParents)))
    return;
  orvy_logError(nullptr, "could not create config dir '%s'", Dir.c_str());
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

void orvy_initSupportLib() {
  requireConfigDir(false);
  event::init();
  sim::registerAndCreateSimulatorObject();
  clockmodel::registerClock();
}
