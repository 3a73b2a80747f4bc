// Saturation.h - sums and products of times that end at the end of time instead of wrapping round.

#ifndef ORVY_LIB_SATURATION_H
#define ORVY_LIB_SATURATION_H

#include <cstdint>
#include <limits>

namespace orvy {

/// The largest time in any unit, or the smallest one for the past.
constexpr int64_t endOfTime(bool IsPast) {
  return IsPast ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

inline int64_t clampedSum(int64_t A, int64_t B) {
  int64_t Sum = 0;
  return __builtin_add_overflow(A, B, &Sum) ? endOfTime(A < 0) : Sum;
}

inline uint64_t clampedSum(uint64_t A, uint64_t B) {
  uint64_t Sum = 0;
  return __builtin_add_overflow(A, B, &Sum) ? std::numeric_limits<uint64_t>::max() : Sum;
}

inline int64_t clampedDifference(int64_t A, int64_t B) {
  int64_t Difference = 0;
  return __builtin_sub_overflow(A, B, &Difference) ? endOfTime(A < 0) : Difference;
}

inline int64_t clampedProduct(int64_t A, int64_t B) {
  int64_t Product = 0;
  return __builtin_mul_overflow(A, B, &Product) ? endOfTime((A < 0) != (B < 0)) : Product;
}

/// An unsigned time as the signed one that queues use, clamped.
inline int64_t clampedTime(uint64_t Time) {
  constexpr auto Last = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  return static_cast<int64_t>(Time < Last ? Time : Last);
}

} // namespace orvy

#endif
