// InterruptGuard.h - what ^C does while objects run.

#ifndef ORVY_LIB_INTERRUPTGUARD_H
#define ORVY_LIB_INTERRUPTGUARD_H

#include "Base/ActiveRun.h"
#include "CommandLine/Handlers.h"

#include <csignal>

namespace orvy::cl {

/// Handles the interrupt signal during a run: it sets a flag, and stops a machine at once. The
/// former handler is back when the guard goes.
class InterruptGuard {
public:
  InterruptGuard();
  explicit InterruptGuard(Target<MachineIface> Machine);
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard &) = delete;
  InterruptGuard &operator=(const InterruptGuard &) = delete;

  /// Whether the signal has come since the latest guard was made.
  static bool isStopped();

private:
  void install(void (*Handler)(int));

  struct sigaction Former;
  ActiveRun Running;
};

} // namespace orvy::cl

#endif
