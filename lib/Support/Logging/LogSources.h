// LogSources.h - what the log asks about the object that a message comes from.

#ifndef ORVY_LIB_LOGSOURCES_H
#define ORVY_LIB_LOGSOURCES_H

#include "orvy/Support/Objsys.h"

#include <cstdint>

namespace orvy {

/// The object system answers. Each takes any address, null too, and returns null for what it does not
/// know. Called on the thread of the message.
struct LogSources {
  const char *(*nameOf)(const void *Obj);
  orvy_Object *(*headerOf)(const void *Obj);
  /// The name of a category of the object's class.
  const char *(*categoryOf)(const void *Obj, uint32_t Category);
  /// The object whose time heads the messages of another one.
  void *(*timeSourceOf)(const void *Obj);
};

/// Set by static initialisers, and never again. Until then messages have no names and no times.
void setLogSources(const LogSources &Answers);
/// Sets who tells the time in seconds of an object that timeSourceOf has returned.
void setLogTime(double (*SecondsOf)(void *TimeSource));

} // namespace orvy

#endif
