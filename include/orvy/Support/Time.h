/* Time.h - units of simulated time, the present time of an object, and the wall clocks.
 *
 * Cycles belong to a processor or clock and need its frequency in Hz, which must be at least 1;
 * nanoseconds belong to machines; seconds are doubles. Integer results truncate toward zero, so a
 * conversion there and back can lose one unit: keep absolute times and derive limits from them.
 * A result beyond the range is clamped to INT64_MAX or INT64_MIN. The conversions and the wall
 * clocks have no state and may be called from any thread; the present time of an object belongs to
 * the simulation thread. Frequencies up to 9223372036 Hz are supported. */

#ifndef ORVY_SUPPORT_TIME_H
#define ORVY_SUPPORT_TIME_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** Converts cycles at Freq Hz to nanoseconds; 0 at a frequency below 1. */
ORVY_API int64_t orvy_cyclesToNanos(int64_t Cycles, int64_t Freq);

/** Converts nanoseconds to cycles at Freq Hz; 0 at a frequency of 0. */
ORVY_API int64_t orvy_nanosToCycles(int64_t Nanos, uint64_t Freq);

/** Converts cycles at Freq Hz to seconds; 0 at a frequency below 1. */
ORVY_API double orvy_cyclesToSecs(int64_t Cycles, int64_t Freq);

/** Converts seconds to cycles at Freq Hz; note the order of the arguments. NaN counts as 0. */
ORVY_API int64_t orvy_secsToCycles(int64_t Freq, double Secs);

/** Converts nanoseconds to seconds. */
ORVY_API double orvy_nanosToSecs(int64_t Nanos);

/** Converts seconds to nanoseconds. NaN counts as 0. */
ORVY_API int64_t orvy_secsToNanos(double Secs);

/**
 * Present time of a processor or clock in its own cycles.
 * @return -1, with an error in the log, for a machine and for any other object
 */
ORVY_API int64_t orvy_getCycles(void *Obj);

/**
 * Present time of a processor, machine or clock in nanoseconds.
 * @return -1, with an error in the log, for any other object
 */
ORVY_API int64_t orvy_getNanos(void *Obj);

/**
 * Present time of a processor, machine or clock in seconds.
 * @return a quiet NaN when the frequency is 0, and, with an error in the log, for any other object
 */
ORVY_API double orvy_getSecs(void *Obj);

/**
 * Present simulated time of a processor, machine or clock in nanoseconds, in unsigned arithmetic.
 * @return 0, with an error in the log, for any other object
 */
ORVY_API uint64_t orvy_timeGetCurrentSrtNanos(void *Obj);

/** Wall clock that never jumps (CLOCK_MONOTONIC), in nanoseconds. */
ORVY_API uint64_t orvy_timeGetMonotonicWct(void);

/** Execution time of the calling thread (CLOCK_THREAD_CPUTIME_ID), in nanoseconds. */
ORVY_API uint64_t orvy_timeGetThreadWct(void);

ORVY_END_C

#endif
