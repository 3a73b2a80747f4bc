// ClockModel.h - what checkpoints know of the class Clock.

#ifndef ORVY_LIB_CLOCKMODEL_H
#define ORVY_LIB_CLOCKMODEL_H

#include "orvy/Support/Interfaces.h"

namespace orvy::clockmodel {

/// The functions that save and restore the queue of a Clock, which publishes no ObjectIface; null
/// for the VTable of any other class.
const ObjectIface *checkpointIface(const void *VTable);

} // namespace orvy::clockmodel

#endif
