#include "orvy/Support/Support.h"

#include "orvy/Support/Commands.h"
#include "orvy/Support/OutStream.h"

#include <string>

using namespace orvy;

static std::string composeVersion() {
  return "ORVY " + std::to_string(ORVY_VERSION_MAJOR) + "." + std::to_string(ORVY_VERSION_MINOR) +
         "." + std::to_string(ORVY_VERSION_PATCH) + " (" ORVY_REVISION ")";
}

const char *orvy_getVersionString() {
  static const std::string Version = composeVersion();
  return Version.c_str();
}

static int printVersion(cl::Command &, cl::Interpreter *) {
  outs() << orvy_getVersionString() << "\n";
  return 0;
}

static cl::Command Version("orvy-version", printVersion, "Show orvy version", {"version"});
