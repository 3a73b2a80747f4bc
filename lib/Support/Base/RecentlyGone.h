// RecentlyGone.h - what is to be forgotten some time after it has gone.

#ifndef ORVY_LIB_RECENTLYGONE_H
#define ORVY_LIB_RECENTLYGONE_H

#include <cstddef>
#include <deque>
#include <utility>

namespace orvy {

/// Keeps the last items that were removed, so that late references to them are still understood. The
/// number is bounded, as a process may run for long.
template <typename T> class RecentlyGone {
public:
  /// Takes one more; Forget is called with the oldest once there are too many.
  template <typename Function> void add(T Gone, Function Forget) {
    if (Kept.size() == Max) {
      const T Oldest = std::move(Kept.front());
      Kept.pop_front();
      Forget(Oldest);
    }
    Kept.push_back(std::move(Gone));
  }
  void clear() { Kept.clear(); }

private:
  static constexpr size_t Max = 1024;
  std::deque<T> Kept;
};

} // namespace orvy

#endif
