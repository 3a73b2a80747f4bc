// Polling.h - runs in which registers or properties are watched, which can only be compared between
// instructions.

#ifndef ORVY_LIB_POLLING_H
#define ORVY_LIB_POLLING_H

#include "Debugger/BreakTable.h"

#include <cstdint>

namespace orvy::debugger {

/// What the parts of a run are followed by. Lives as long as the run.
class Polling {
public:
  Polling() : IsOn(BreakTable::get().needsPolling()) {
    if (IsOn)
      BreakTable::get().startPolling();
  }
  explicit operator bool() const { return IsOn; }
  /// The length of a part.
  uint64_t slice(uint64_t Wanted) const { return IsOn ? 1 : Wanted; }
  /// Calls Go for the part of a processor, and returns its exit reason or that of a watch point.
  template <typename Advance> int check(void *Cpu, Advance Go) const {
    if (!IsOn)
      return Go();
    const uint64_t Pc = Cpu ? CpuView(Cpu).pc() : 0;
    const int Reason = withHits(Go);
    return BreakTable::get().poll(Cpu, Pc) && Reason == 0 ? int{ovCER_Break} : Reason;
  }
  /// Calls Go for a step, and returns its exit reason. While a processor is stepped the breaks of the
  /// others do not end it: that they were met is told after it.
  template <typename Advance> static int withHits(Advance Go) {
    BreakTable::get().takeFirstOnly(true);
    const int Reason = static_cast<int>(Go());
    BreakTable::get().takeFirstOnly(false);
    return Reason == 0 && BreakTable::get().lastHit() ? int{ovCER_Break} : Reason;
  }

private:
  bool IsOn;
};

} // namespace orvy::debugger

#endif
