// RunQuery.h - lets upper layers report a run during which no checkpoint may be saved or restored.

#ifndef ORVY_LIB_RUNQUERY_H
#define ORVY_LIB_RUNQUERY_H

namespace orvy::checkpoint {

/// Saves and restores are refused while the function returns true. Call it from a static
/// initialiser.
void addRunQuery(bool (*IsRunning)());

} // namespace orvy::checkpoint

#endif
