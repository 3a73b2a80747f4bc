// RecordingMemory.h - a memory that notes what is written to it. It takes any address and length,
// and keeps no more of a write than a test is going to look at.

#ifndef ORVY_UNITTESTS_TESTING_RECORDINGMEMORY_H
#define ORVY_UNITTESTS_TESTING_RECORDINGMEMORY_H

#include "orvy/Support/Orvy.h"

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <utility>
#include <vector>

namespace orvy::testing {

struct Write {
  uint64_t Addr;
  uint32_t Len;
  std::vector<uint8_t> Bytes; ///< the first RecordingMemory::Kept of them
  uint32_t Swap = 0;

  bool operator==(const Write &) const = default;
};

inline void PrintTo(const Write &W, std::ostream *Out) {
  *Out << std::hex << "0x" << W.Addr << " + 0x" << W.Len << " swap " << W.Swap << ":";
  for (size_t At = 0; At < std::min<size_t>(W.Bytes.size(), 64); ++At)
    *Out << ' ' << unsigned{W.Bytes[At]};
  *Out << std::dec;
}

struct RecordingMemory {
  static constexpr uint32_t Kept = 1 << 16;

  orvy_Object Super = {};
  std::vector<Write> Writes;

  /// What was written so far; then starts afresh.
  std::vector<Write> take() { return std::exchange(Writes, {}); }

  static RecordingMemory *create(const char *Name) {
    if (!orvy_classForName("RecordingMemory"))
      registerClass();
    return static_cast<RecordingMemory *>(orvy_createObject("RecordingMemory", Name, nullptr));
  }

private:
  static uint32_t writeBytes(void *Obj, uint64_t Addr, uint32_t Len, const void *Data,
                             uint32_t Swap) {
    auto *From = static_cast<const uint8_t *>(Data);
    std::vector<uint8_t> Bytes(From, From + std::min(Len, Kept));
    static_cast<RecordingMemory *>(Obj)->Writes.push_back({Addr, Len, std::move(Bytes), Swap});
    return Len;
  }

  static uint32_t readBytes(void *, void *, uint64_t, uint32_t, uint32_t) { return 0; }

  static void registerClass() {
    static MemoryIface Blocks = {readBytes, writeBytes};
    orvy_Class *Cls = orvy_registerClass(
        "RecordingMemory",
        [](const char *, int, const orvy_CreateArg *) -> void * { return new RecordingMemory(); },
        [](void *Obj) { delete static_cast<RecordingMemory *>(Obj); });
    orvy_addInterface(Cls, "MemoryIface", "MemoryIface", &Blocks, 0, "");
  }
};

} // namespace orvy::testing

#endif
