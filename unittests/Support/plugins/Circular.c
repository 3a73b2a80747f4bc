/* A plug-in that needs another one, which needs this one. */

#include "orvy/Support/Orvy.h"

ORVY_API void orvy_pluginInit(void);

void orvy_pluginInit(void) {
  orvy_logInfo(NULL, "enter " PLUGIN_NAME);
  orvy_logInfo(NULL, PLUGIN_NAME " needs " PLUGIN_NEEDS ": %d", orvy_loadPlugin(PLUGIN_NEEDS));
}
