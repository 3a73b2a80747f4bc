// ComponentClock.h - the scheduler of a component's group of clocks, and the listing of components.

#ifndef ORVY_LIB_COMPONENTCLOCK_H
#define ORVY_LIB_COMPONENTCLOCK_H

#include "orvy/Support/Clock.h"

namespace orvy::component {

/// The ClockIface of every component: the scheduler of its group of clocks.
extern ClockIface GroupTable;

/// Writes the names of all components, with what they own below them, to the standard output stream.
void printForest();

} // namespace orvy::component

#endif
