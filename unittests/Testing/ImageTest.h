// ImageTest.h - fixture of the tests that load images: files, a memory, and the log.

#ifndef ORVY_UNITTESTS_TESTING_IMAGETEST_H
#define ORVY_UNITTESTS_TESTING_IMAGETEST_H

#include "Testing/LogCapture.h"
#include "Testing/RecordingMemory.h"
#include "Testing/Seed.h"
#include "Testing/TempDir.h"

#include "orvy/Support/Loader.h"

#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include <fstream>
#include <random>
#include <string>
#include <string_view>

namespace orvy::testing {

inline std::vector<uint8_t> bytesOf(std::string_view Text) {
  return {Text.begin(), Text.end()};
}

/// What a load leaves in the recording memory for bytes at an address.
inline Write wrote(uint64_t Addr, std::string_view Bytes) {
  return {Addr, static_cast<uint32_t>(Bytes.size()), bytesOf(Bytes)};
}

/// The most memory that the process has held, in MiB, since the last call of restart().
class PeakMemory {
public:
  static void restart() { std::ofstream("/proc/self/clear_refs") << 5; }

  /// By how much a load may raise it: next to nothing. Sanitizers keep books of what is taken, even
  /// if it is not touched.
  static uint64_t allowed() {
#ifdef __SANITIZE_ADDRESS__
    return 1500;
#else
    return 32;
#endif
  }

  static uint64_t now() {
    std::ifstream Status("/proc/self/status");
    uint64_t KiB = 0;
    for (std::string Key; Status >> Key;)
      if (Key == "VmHWM:" && Status >> KiB)
        break;
    return KiB / 1024;
  }
};

class ImageTest : public ::testing::Test {
protected:
  ImageTest() : Mem(RecordingMemory::create("mem")) {}
  ~ImageTest() override { orvy_objsysClear(); }

  std::string image(std::string_view Bytes, std::string_view Name = "image") const {
    return Files.file(Name, Bytes);
  }

  /// A generator for inputs by chance.
  static std::mt19937 chance() { return std::mt19937(testSeed()); }

  TempDir Files;
  LogCapture Log;
  RecordingMemory *Mem;
};

} // namespace orvy::testing

#endif
