// The plug-in TimeServer: brings the library's class ZodTimeServer to scripts.

#include "orvy/Support/ZodTimeServer.h"

extern "C" ORVY_API void orvy_pluginInit(void) {
  orvy::zod::init();
}
