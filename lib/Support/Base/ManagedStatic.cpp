#include "orvy/Support/ManagedStatic.h"

std::mutex &orvy::getManagedStaticLock() {
  // Constant-initialised, so it is usable by static initialisers of any source file.
  static constinit std::mutex Lock;
  return Lock;
}
