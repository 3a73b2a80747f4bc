// TimeUnits.h - units of time.

#ifndef ORVY_LIB_TIMEUNITS_H
#define ORVY_LIB_TIMEUNITS_H

#include <cstdint>

namespace orvy {

constexpr int64_t NanosPerSecond = 1000000000;

} // namespace orvy

#endif
