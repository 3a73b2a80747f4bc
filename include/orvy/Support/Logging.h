/* Logging.h - messages to the user, filtered by object, category and level.
 *
 * A message has a source object or null, one of sixteen categories, a level and a printf-style
 * text. It is emitted if its level is at most the threshold of its category both in the source
 * object and in the engine; both start at debug. A line reads
 *
 *     1.500000: sim/warning: cpu0 : text
 *
 * with the simulated time of the source's time source, and begins with ':' where there is none. It
 * is cut at 1022 characters. An address that is not an object is a source without name, time and
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

/* One function for each category and level. Obj is the source, or null; Fmt and what follows are as
 * printf takes them. The fatal functions emit their message, which no threshold holds back, write
 * out all streams and end the process with abort; all others return. Errors and fatal messages that
 * pass are also kept for orvy_errorsSince (Output.h).
 *
 * The default category. */

/** Logs a failure after which the process cannot go on, and ends it. */
ORVY_NORETURN ORVY_API void orvy_logFatal(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** The same as orvy_logFatal, in level and in text. */
ORVY_NORETURN ORVY_API void orvy_logCritical(const void *Obj, const char *Fmt, ...)
    ORVY_PRINTF(2, 3);
/** Logs a failure: what was asked for was not done. */
ORVY_API void orvy_logError(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** Logs something that was done but is probably not what the user meant. */
ORVY_API void orvy_logWarning(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** Logs what a user may want to know of a normal run. */
ORVY_API void orvy_logInfo(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** Logs at the debug level, for the developer of a model; other categories reach this level through
 * orvy_logToCategory. */
ORVY_API void orvy_logDebugFunc(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);

/* The category "sim": the simulation itself. */

/** Logs a failure of the simulation after which the process cannot go on, and ends it. */
ORVY_NORETURN ORVY_API void orvy_logSimFatal(const void *Obj, const char *Fmt, ...)
    ORVY_PRINTF(2, 3);
/** Logs a failure of the simulation. */
ORVY_API void orvy_logSimError(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** Logs a doubtful state of the simulation. */
ORVY_API void orvy_logSimWarning(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** Logs an event of the simulation that is in order. */
ORVY_API void orvy_logSimInfo(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);

/* The category "target": what the target program does. */

/** Logs an act of the target program that the simulation cannot survive, and ends the process. */
ORVY_NORETURN ORVY_API void orvy_logTargetFatal(const void *Obj, const char *Fmt, ...)
    ORVY_PRINTF(2, 3);
/** Logs an act of the target program that is an error, such as an access to nothing. */
ORVY_API void orvy_logTargetError(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** Logs an act of the target program that is probably a mistake in it. */
ORVY_API void orvy_logTargetWarning(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** Logs an act of the target program that is in order. */
ORVY_API void orvy_logTargetInfo(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);

/* The category "config": how objects are configured and connected. */

/** Logs a configuration that the process cannot go on with, and ends it. */
ORVY_NORETURN ORVY_API void orvy_logConfigFatal(const void *Obj, const char *Fmt, ...)
    ORVY_PRINTF(2, 3);
/** Logs a configuration that was refused. */
ORVY_API void orvy_logConfigError(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** Logs a configuration that was accepted but is probably not complete. */
ORVY_API void orvy_logConfigWarning(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);
/** Logs a step of the configuration. */
ORVY_API void orvy_logConfigInfo(const void *Obj, const char *Fmt, ...) ORVY_PRINTF(2, 3);

/* General forms, for any level: these return at every level, fatal too. A category above 15 counts
 * as 0; a level above debug is never emitted. */

/** Logs in any category; a fatal message returns to the caller like any other. */
ORVY_API void orvy_logToCategory(const void *Obj, uint32_t Category, orvy_LogLevel Level,
                                 const char *Fmt, ...) ORVY_PRINTF(4, 5);
/** Logs in any category, with an argument list, from which the caller must not read afterwards. */
ORVY_API void orvy_logToCategoryVA(const void *Obj, uint32_t Category, orvy_LogLevel Level,
                                   const char *Fmt, va_list Args) ORVY_PRINTF(4, 0);
/** Logs in the default category, with an argument list, from which the caller must not read
 * afterwards; note the order of the arguments. */
ORVY_API void orvy_log(orvy_LogLevel Level, const void *Obj, const char *Fmt, va_list Args)
    ORVY_PRINTF(3, 0);

/* Control. A level above debug counts as debug. */

/** Sets the thresholds of all sixteen categories in the engine; those of objects stay. */
ORVY_API void orvy_logSetLevel(orvy_LogLevel Level);
/** Sets one threshold of an object, as orvy_objectSetLogLevel does, or of the engine for a null
 * object. A category above 15 is ignored. */
ORVY_API void orvy_logSetSeverity(void *Obj, uint32_t Category, orvy_LogLevel Level);
/** Sets one threshold of an object. Ignored where there is none to set: a null, unknown or external
 * object, or a category above 15. */
ORVY_API void orvy_objectSetLogLevel(void *Obj, uint32_t Category, orvy_LogLevel Level);
/** One threshold of an object; debug, which lets everything pass, where there is none. */
ORVY_API orvy_LogLevel orvy_objectGetLogLevel(const void *Obj, uint32_t Category);

/** Turns the colours of terminal output on (non-zero) or off, for the output in use at present;
 * later outputs start with their own default. */
ORVY_API void orvy_logSetColour(int On);
/** Sends the log to a function, which gets each line with its line end, and to nothing else. The
 * text is valid during the call. A null function sends the log to the process's standard error. */
ORVY_API void orvy_logSetFunc(void (*Func)(const char *Line));
/** Sends the log to a stream, which stays the caller's and must stay open, and to nothing else. A
 * null stream sends the log to the process's standard error. */
ORVY_API void orvy_logSetDefaultFile(FILE *File);

ORVY_END_C

#endif
