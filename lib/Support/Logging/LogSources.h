// LogSources.h - what the log asks about the object that a message comes from.

#ifndef ORVY_LIB_LOGSOURCES_H
#define ORVY_LIB_LOGSOURCES_H

#include "orvy/Support/Objsys.h"

#include <cstdint>

namespace orvy {

/// Set by the object system. Each takes any address, null too, and returns null for what it does not
/// know. Called on the thread of the message.
struct LogSources {
  const char *(*nameOf)(const void *Obj);
  orvy_Object *(*headerOf)(const void *Obj);
  /// The name of a category of the object's class.
  const char *(*categoryOf)(const void *Obj, uint32_t Category);
  /// The object whose time is shown with the messages of another one.
  void *(*timeSourceOf)(const void *Obj);
};

/// Called by static initialisers only. Until then messages have no names and no times.
void setLogSources(const LogSources &Answers);
/// Sets the function that returns the time in seconds of an object from timeSourceOf.
void setLogTime(double (*SecondsOf)(void *TimeSource));

/// The answers that were set last.
const LogSources &logSources();
/// The time of a message about an object, NaN if it has none. A time source that logs while it is
/// asked for its time gets messages without one.
double logSecondsOf(const void *Obj);

} // namespace orvy

#endif
