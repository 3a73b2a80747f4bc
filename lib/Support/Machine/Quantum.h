// Quantum.h - the default quantum of the simulator and of groups of clocks.

#ifndef ORVY_LIB_QUANTUM_H
#define ORVY_LIB_QUANTUM_H

#include "orvy/Support/Logging.h"

namespace orvy {

/// Sets a quantum to the default, with a warning, if it is less than 1: time would stand still. The
/// property shows the default then.
template <typename Integer> void ensureQuantum(const void *Obj, Integer &Quanta) {
  constexpr int Default = 1000000; // 1 ms
  if (Quanta >= 1)
    return;
  Quanta = Default;
  orvy_logSimWarning(Obj, "quanta is not set, running in quanta of %d ns", Default);
}

} // namespace orvy

#endif
