// Fuzz.h - what the fuzz targets share.

#ifndef ORVY_FUZZ_FUZZ_H
#define ORVY_FUZZ_FUZZ_H

#include "Testing/RecordingMemory.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace orvy::fuzz {

/// A file without a name that holds an input.
class InputAsFile {
public:
  InputAsFile(const uint8_t *Data, size_t Size) : Descriptor(memfd_create("input", MFD_CLOEXEC)) {
    if (Descriptor < 0 || write(Descriptor, Data, Size) != static_cast<ssize_t>(Size))
      std::abort();
    Path = "/proc/self/fd/" + std::to_string(Descriptor);
  }
  InputAsFile(const InputAsFile &) = delete;
  InputAsFile &operator=(const InputAsFile &) = delete;
  ~InputAsFile() { close(Descriptor); }

  const char *path() const { return Path.c_str(); }

private:
  int Descriptor;
  std::string Path;
};

/// The memory that images go to. Sets the system up on first use, with a log that goes nowhere.
inline testing::RecordingMemory &memory() {
  static testing::RecordingMemory *Mem = [] {
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
