// The plug-in TimeServer: makes the library's class ZodTimeServer available to scripts.

#include "orvy/Support/ZodTimeServer.h"

extern "C" ORVY_API void orvy_pluginInit(void) {
  orvy::zod::init();
}
