// MemoryFile.h - a file without a place on disk, for tests that load thousands.

#ifndef ORVY_UNITTESTS_TESTING_MEMORYFILE_H
#define ORVY_UNITTESTS_TESTING_MEMORYFILE_H

#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace orvy::testing {

class MemoryFile {
public:
  explicit MemoryFile(std::string_view Bytes) : Descriptor(memfd_create("input", MFD_CLOEXEC)) {
    if (write(Descriptor, Bytes.data(), Bytes.size()) != static_cast<ssize_t>(Bytes.size()))
      std::abort();
  }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;
  ~MemoryFile() { close(Descriptor); }

  /// A path that opens it, as long as this object lives.
  std::string path() const { return "/proc/self/fd/" + std::to_string(Descriptor); }

private:
  int Descriptor;
};

} // namespace orvy::testing

#endif
