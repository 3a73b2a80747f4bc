/* Logging.h - messages to the user, filtered by object, category and level.
 *
 * A message has a source object or null, one of sixteen categories, a level and a printf-style
 * text. It is emitted if its level is at most the threshold of its category both in the source
 * object and in the engine; both start at debug. A line reads
 *
 *     1.500000: sim/warning: cpu0 : text
 *
 * with the simulated time of the source's time source, and begins with ':' where there is none. It
 * is cut at 1022 characters. An address that is no object counts as a source without name, time and
 * thresholds of its own.
 *
 * Categories: 0 default, 1 "sim", 2 "target", 3 "config", 8 to 15 named by the source's class
 * (orvy_addLoggingCategory). A category above 15 counts as 0.
 *
 * Messages may come from any thread as long as their source is null; the engine takes no lock. The
 * control functions belong to the simulation thread. */

#ifndef ORVY_SUPPORT_LOGGING_H
#define ORVY_SUPPORT_LOGGING_H

#include "orvy/Support/Export.h"

#include <stdarg.h>
#include <stdio.h>

ORVY_BEGIN_C

/** Severity of a message, and threshold; a higher number is more verbose. */
typedef ORVY_ENUM(orvy_LogLevel){ovLOG_Fatal = 0, ovLOG_Error = 1, ovLOG_Warning = 2,
                                 ovLOG_Info = 3, ovLOG_Debug = 4} orvy_LogLevel;

ORVY_STATIC_ASSERT(sizeof(orvy_LogLevel) == 4, "levels are 32 bits");

/* The default category. The fatal functions emit their message and end the process with abort. */

ORVY_NORETURN ORVY_API void orvy_logFatal(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_NORETURN ORVY_API void orvy_logCritical(const void *Obj, const char *Fmt, ...)
    ORVY_PRINTF(2, 3);
ORVY_API void orvy_logError(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_API void orvy_logWarning(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_API void orvy_logInfo(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_API void orvy_logDebugFunc(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);

/* The category "sim": the simulation itself. */

ORVY_NORETURN ORVY_API void orvy_logSimFatal(const void *Obj, const char *Fmt, ...)
    ORVY_PRINTF(2, 3);
ORVY_API void orvy_logSimError(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_API void orvy_logSimWarning(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_API void orvy_logSimInfo(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);

/* The category "target": what the target program does. */

ORVY_NORETURN ORVY_API void orvy_logTargetFatal(const void *Obj, const char *Fmt, ...)
    ORVY_PRINTF(2, 3);
ORVY_API void orvy_logTargetError(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_API void orvy_logTargetWarning(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_API void orvy_logTargetInfo(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);

/* The category "config": how objects are configured and connected. */

ORVY_NORETURN ORVY_API void orvy_logConfigFatal(const void *Obj, const char *Fmt, ...)
    ORVY_PRINTF(2, 3);
ORVY_API void orvy_logConfigError(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_API void orvy_logConfigWarning(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
ORVY_API void orvy_logConfigInfo(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);

/* General forms. These return at every level. */

/** Logs in any category. */
ORVY_API void orvy_logToCategory(const void *Obj, uint32_t Category, orvy_LogLevel Level,
                                 const char *Fmt, ...) ORVY_PRINTF(4, 5);
/** Logs in any category, with an argument list; the list is used up. */
ORVY_API void orvy_logToCategoryVA(const void *Obj, uint32_t Category, orvy_LogLevel Level,
                                   const char *Fmt, va_list Args) ORVY_PRINTF(4, 0);
/** Logs in the default category, with an argument list; the list is used up. */
ORVY_API void orvy_log(orvy_LogLevel Level, const void *Obj, const char *Fmt, va_list Args)
    ORVY_PRINTF(3, 0);

/* Control. A level above debug counts as debug. */

/** Sets all sixteen thresholds of the engine. */
ORVY_API void orvy_logSetLevel(orvy_LogLevel Level);
/** Sets one threshold of an object, or of the engine for a null object. */
ORVY_API void orvy_logSetSeverity(void *Obj, uint32_t Category, orvy_LogLevel Level);
/** Sets one threshold of an object. Ignored where there is none to set: a null, unknown or external
 * object, or a category above 15. */
ORVY_API void orvy_objectSetLogLevel(void *Obj, uint32_t Category, orvy_LogLevel Level);
/** One threshold of an object; debug, which lets everything pass, where there is none. */
ORVY_API orvy_LogLevel orvy_objectGetLogLevel(const void *Obj, uint32_t Category);

/** Turns the colours of terminal output on (non-zero) or off. */
ORVY_API void orvy_logSetColour(int On);
/** Sends the log to a function, which gets each line with its line end, and to nothing else; with a
 * null function to the process's standard error. */
ORVY_API void orvy_logSetFunc(void (*Func)(const char *Line));
/** Sends the log to a stream, which stays the caller's and must stay open, and to nothing else;
 * with a null stream to the process's standard error. */
ORVY_API void orvy_logSetDefaultFile(FILE *File);

ORVY_END_C

#endif
