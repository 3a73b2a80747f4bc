#include "Base/ErrorRecord.h"

#include "orvy/Support/Output.h"

#include <algorithm>
#include <cstring>
#include <mutex>

namespace {

constexpr size_t Capacity = 1 << 14;

/// The last bytes of the text, each at its position modulo the capacity.
struct Record {
  std::mutex Mutex;
  uint64_t End = 0; // position after the last byte ever recorded
  char Bytes[Capacity] = {};

  void add(std::string_view Text) {
    for (char Byte : Text.substr(Text.size() - std::min(Text.size(), Capacity)))
      Bytes[End++ % Capacity] = Byte;
  }

  size_t copy(uint64_t From, char *Buffer, size_t Room) const {
    const uint64_t Kept = End - std::min<uint64_t>(End, Capacity);
    const uint64_t Start = std::max({From, Kept, End - std::min<uint64_t>(End, Room)});
    size_t Count = 0;
    for (uint64_t Position = Start; Position < End; ++Position)
      Buffer[Count++] = Bytes[Position % Capacity];
    return Count;
  }
};

constinit Record TheRecord;

} // namespace

void orvy::recordError(std::string_view Text) {
  const std::lock_guard Lock(TheRecord.Mutex);
  TheRecord.add(Text);
}

uint64_t orvy_errorMark(void) {
  const std::lock_guard Lock(TheRecord.Mutex);
  return TheRecord.End;
}

size_t orvy_errorsSince(uint64_t Mark, char *Buffer, size_t Size) {
  if (!Buffer || Size == 0)
    return 0;
  const std::lock_guard Lock(TheRecord.Mutex);
  const size_t Length = TheRecord.copy(Mark, Buffer, Size - 1);
  Buffer[Length] = '\0';
  return Length;
}
