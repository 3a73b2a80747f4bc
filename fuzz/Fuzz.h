// Fuzz.h - what the fuzz targets share.

#ifndef ORVY_FUZZ_FUZZ_H
#define ORVY_FUZZ_FUZZ_H

#include "Testing/MemoryFile.h"
#include "Testing/RecordingMemory.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace orvy::fuzz {

/// An input as text.
inline std::string_view textOf(const uint8_t *Data, size_t Size) {
  return {reinterpret_cast<const char *>(Data), Size};
}

/// The memory that images go to. Sets the system up on first use, with a log that goes nowhere.
inline testing::RecordingMemory &memory() {
  static testing::RecordingMemory *Mem = [] {
    orvy_initConfigDirs();
    orvy_initSupportLib();
    orvy_logSetFunc([](const char *) {});
    return testing::RecordingMemory::create("memory");
  }();
  return *Mem;
}

/// Ends the process, which is a finding, unless a promise was kept.
inline void require(bool Kept, const char *Promise) {
  if (Kept)
    return;
  std::fprintf(stderr, "broken: %s\n", Promise);
  std::abort();
}

} // namespace orvy::fuzz

#endif
