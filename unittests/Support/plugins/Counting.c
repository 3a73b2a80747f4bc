/* A plug-in that tells how often its entry point has run. */

#include "orvy/Support/Orvy.h"

ORVY_API void orvy_pluginInit(void);

void orvy_pluginInit(void) {
  static int Calls;
  orvy_logInfo(NULL, "entered %d", ++Calls);
}
