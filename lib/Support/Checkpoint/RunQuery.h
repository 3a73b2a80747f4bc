// RunQuery.h - who knows whether something runs that a checkpoint would pull the objects from under.

#ifndef ORVY_LIB_RUNQUERY_H
#define ORVY_LIB_RUNQUERY_H

namespace orvy::checkpoint {

/// Has saves and restores refused while the function returns true. For static initialisers.
void addRunQuery(bool (*IsRunning)());

} // namespace orvy::checkpoint

#endif
