// ObjsysPending.h - stands in for the log, the streams and the services that are on their way; goes
// when they are here.

#ifndef ORVY_LIB_OBJSYSPENDING_H
#define ORVY_LIB_OBJSYSPENDING_H

#include "orvy/Support/Export.h"

#include <cstdlib>

namespace orvy {

namespace pending {
struct Stream {
  template <typename T> Stream &operator<<(const T &) { return *this; }
};
inline Stream TheStream;
inline Stream &outs() {
  return TheStream;
}
inline Stream &errs() {
  return TheStream;
}
inline void orvy_logError(const void *, const char *, ...) {}
inline void orvy_logWarning(const void *, const char *, ...) {}
[[noreturn]] inline void orvy_logFatal(const void *, const char *, ...) {
  std::abort();
}
inline int64_t orvy_publishNotification(const char *, void *) {
  return 0;
}
inline void orvy_notify(int64_t, void *) {}
inline void orvy_eventEraseAssociatedEvents(void *) {}
inline void clearLoadedPlugins() {}
namespace sim {
inline void reset() {}
} // namespace sim
} // namespace pending

using namespace pending;

} // namespace orvy

using namespace orvy::pending;

#endif
