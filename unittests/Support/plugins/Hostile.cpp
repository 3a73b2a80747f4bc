// A plug-in whose entry point does what it is told: clears the object system, or throws.

#include "orvy/Support/Orvy.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

extern "C" ORVY_API void orvy_pluginInit(void) {
  const std::string Deed = std::getenv("HOSTILE_DEED");
  orvy_logInfo(nullptr, "entered");
  if (Deed == "clear")
    orvy_objsysClear();
  if (Deed == "reload") {
    orvy_objsysClear();
    orvy_loadPlugin("Hostile");
  }
  if (Deed == "throw")
    throw std::runtime_error("no licence");
  if (Deed == "throw number")
    throw 5;
}
