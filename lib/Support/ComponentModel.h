// ComponentModel.h - what the library itself needs of components.

#ifndef ORVY_LIB_COMPONENTMODEL_H
#define ORVY_LIB_COMPONENTMODEL_H

#include "orvy/Support/Clock.h"
#include "orvy/Support/Component.h"

#include <span>

namespace orvy::component {

/// The record behind an address; null if it is no registered component.
orvy_Component *find(const void *Obj);

/// The references in a vector; none if it holds anything else.
std::span<orvy_IfaceRef> referencesIn(orvy_Vector &Vec);

/// Gives objects to the components that list them, as a restore may have created or left out some.
void adoptRestored();

/// The ClockIface of every component: the scheduler of its group of clocks.
extern ClockIface GroupTable;

} // namespace orvy::component

#endif
