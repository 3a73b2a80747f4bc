#include "orvy/Support/Support.h"

#include <string>

static std::string composeVersion() {
  return "ORVY " + std::to_string(ORVY_VERSION_MAJOR) + "." + std::to_string(ORVY_VERSION_MINOR) +
         "." + std::to_string(ORVY_VERSION_PATCH) + " (" ORVY_REVISION ")";
}

const char *orvy_getVersionString() {
  static const std::string Version = composeVersion();
  return Version.c_str();
}
