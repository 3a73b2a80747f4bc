// ZodTimeServer.h - the class of time servers, which send the simulated time over the network.

#ifndef ORVY_SUPPORT_ZODTIMESERVER_H
#define ORVY_SUPPORT_ZODTIMESERVER_H

#include "orvy/Support/Export.h"

namespace orvy::zod {

/// Registers the class "ZodTimeServer". The library does not: a front end or plug-in calls it.
/// An object sends a datagram to "hostname" every "period" seconds of its time source, from one
/// period after "enable" is set: the bytes 11 and 1, then the most significant bytes of the whole
/// seconds and of the binary fraction, as many of each as "coarseTimeBytes" and "fineTimeBytes".
ORVY_API void init();

} // namespace orvy::zod

#endif
