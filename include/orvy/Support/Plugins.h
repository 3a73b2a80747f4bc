/* Plugins.h - loading of the shared libraries that hold the models.
 *
 * A plug-in exports orvy_pluginInit, which registers its classes:
 *
 *     ORVY_API void orvy_pluginInit(void) { orvy_registerClass("Uart", create, dispose); }
 *
 * After orvy_objsysClear a plug-in can be loaded again, and its orvy_pluginInit then runs again.
 * Load plug-ins while the simulation is stopped, on the thread that runs the command language. */

#ifndef ORVY_SUPPORT_PLUGINS_H
#define ORVY_SUPPORT_PLUGINS_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/**
 * Loads a plug-in.
 *
 * A name with a '/' is a path. Any other is looked for in the directories of the search path in
 * order, in each as itself (if it contains a '.'), as lib<Name>.so and as libORVY<Name>.so; failing
 * that the system's own search is asked.
 * @return 0 loaded; 1 loaded already; 2 the file cannot be loaded; 3 it has no orvy_pluginInit; -1
 * null name. With ORVY_OLD_PLUGIN_LOADING_BEHAVIOUR set in the environment: 0 loaded or loaded
 * already, 1 failed.
 */
ORVY_API int orvy_loadPlugin(const char *Name);
/** Not supported: a library once loaded stays. Logs an error and returns -1. */
ORVY_API int orvy_unloadPlugin(const char *Name);
/** Appends directories, separated by ':', to the search path. One that does not exist is warned
 * about and appended all the same. Null is ignored. */
ORVY_API void orvy_pluginPathAppend(const char *PathList);
/** Removes every entry equal to Dir from the search path. Null, and a directory that is not there,
 * are ignored. */
ORVY_API void orvy_pluginPathRemove(const char *Dir);
/** Writes the search path to the standard output stream, one directory to a line. */
ORVY_API void orvy_pluginPathPrint(void);

ORVY_END_C

#endif
