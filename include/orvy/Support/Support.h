/* Support.h - start-up and version.
 *
 * A front end calls, once, on the thread that will run the command language:
 *
 *     orvy_initPathSupport(argv[0]);
 *     orvy_initConfigDirs();
 *     orvy_initSupportLib();
 *     orvy_parseCommandLineOptions(argc, argv);
 */

#ifndef ORVY_SUPPORT_SUPPORT_H
#define ORVY_SUPPORT_SUPPORT_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/**
 * Works out where the system is installed and appends its library directory to the plug-in path.
 * Call it before the first plug-in is loaded.
 * @param Command  name or path by which the front end was started; null counts as empty
 */
ORVY_API void orvy_initPathSupport(const char *Command);
/**
 * Makes sure that the user's configuration directory ~/.config/orvy exists, with all its parents.
 * Ends the process with status 1, after an error in the log, if it cannot be created.
 */
ORVY_API void orvy_initConfigDirs(void);
/**
 * As orvy_initConfigDirs, for a host that is to go on, or to end in a way of its own.
 * @return 0, or -1 after an error in the log; orvy_initSupportLib would then end the process
 */
ORVY_API int orvy_tryConfigDirs(void);
/**
 * Brings up the event system, the object "sim" and the class "Clock". Makes sure that the user's
 * configuration directory exists, whose parent must be there; ends the process with status 1, after
 * an error in the log, if it cannot be created.
 */
ORVY_API void orvy_initSupportLib(void);
/** The version of the library, such as "ORVY 2.2.0 (revision)"; the text lives until exit. Not for
 * two threads at once on the first call. */
ORVY_API const char *orvy_getVersionString(void);

ORVY_END_C

#endif
