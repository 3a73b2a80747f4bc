// Seed.h - the seed of tests that draw their input by chance.

#ifndef ORVY_UNITTESTS_SEED_H
#define ORVY_UNITTESTS_SEED_H

#include <cstdint>
#include <cstdlib>

/// The same in every run, so that a failure comes back; ORVY_TEST_SEED gives another one, for
/// campaigns over many.
inline uint32_t testSeed() {
  const char *Given = std::getenv("ORVY_TEST_SEED");
  return Given ? static_cast<uint32_t>(std::strtoul(Given, nullptr, 0)) : 1;
}

#endif
