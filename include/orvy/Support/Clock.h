/* Clock.h - clocks: queue holders whose time moves only when they are told to move it.
 *
 * A class qualified as clock (6) has the VTable { ClockIface *; EventIface * } and its
 * orvy_EventQueue pointer as first field after the header. The library registers one such class,
 * "Clock". */

#ifndef ORVY_SUPPORT_CLOCK_H
#define ORVY_SUPPORT_CLOCK_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** Qualifier of clock classes. */
#define ORVY_QUALIFIER_CLOCK 6u

/** Table of a clock. The first four return 0, or a stop reason of a lower level. */
typedef struct ClockIface {
  int (*step)(void *Clock, uint64_t Steps); /* 0: a step goes to the next event */
  int (*stepUntil)(void *Clock, uint64_t Steps, uint64_t Cycles); /* 1: absolute limit */
  int (*advanceCycles)(void *Clock, uint64_t Cycles);             /* 2 */
  int (*advanceToCycles)(void *Clock, uint64_t Cycles);           /* 3: absolute */
  uint64_t (*getSteps)(void *Clock);                              /* 4 */
  uint64_t (*getCycles)(void *Clock);                             /* 5 */
  uint64_t (*getNanos)(void *Clock);                              /* 6 */
  double (*getSecs)(void *Clock);                                 /* 7 */
  void (*setSteps)(void *Clock, uint64_t Steps);                  /* 8 */
  void (*setCycles)(void *Clock, uint64_t Cycles);                /* 9 */
  void (*setNanos)(void *Clock, uint64_t Nanos);                  /* 10 */
  void (*setSecs)(void *Clock, double Secs);                      /* 11 */
  double (*getFreq)(void *Clock);                                 /* 12: Hz */
  void (*setFreq)(void *Clock, double Freq);                      /* 13: Hz */
} ClockIface;

ORVY_STATIC_ASSERT(sizeof(ClockIface) == 14 * sizeof(void *), "boundary table");

ORVY_END_C

#ifdef __cplusplus

namespace orvy::clockmodel {

/// Registers the class "Clock". Called once at library start.
ORVY_API void registerClock();
/// Kept for models that call it; does nothing, as a Clock paces itself by the wall clock on
/// request.
ORVY_API void registerRTClock();

} // namespace orvy::clockmodel

#endif

#endif
