// ByteOrder.h - converts between target byte order, which is big-endian, and the host's.

#ifndef ORVY_MODELS_MEMORY_BYTEORDER_H
#define ORVY_MODELS_MEMORY_BYTEORDER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace memory {

/// Largest base-2 logarithm of a unit's size: double words.
constexpr uint32_t MaxSwap = 3;

/// Value of 2^Size bytes in target order.
inline uint64_t load(const uint8_t *Bytes, unsigned Size) {
  uint16_t Half;
  uint32_t Word;
  uint64_t Double;
  switch (Size) {
  case 0:
    return *Bytes;
  case 1:
    std::memcpy(&Half, Bytes, sizeof(Half));
    return __builtin_bswap16(Half);
  case 2:
    std::memcpy(&Word, Bytes, sizeof(Word));
    return __builtin_bswap32(Word);
  default:
    std::memcpy(&Double, Bytes, sizeof(Double));
    return __builtin_bswap64(Double);
  }
}

/// Stores the low 2^Size bytes of a value in target order.
inline void store(uint8_t *Bytes, unsigned Size, uint64_t Value) {
  uint16_t Half = __builtin_bswap16(static_cast<uint16_t>(Value));
  uint32_t Word = __builtin_bswap32(static_cast<uint32_t>(Value));
  uint64_t Double = __builtin_bswap64(Value);
  switch (Size) {
  case 0:
    *Bytes = static_cast<uint8_t>(Value);
    break;
  case 1:
    std::memcpy(Bytes, &Half, sizeof(Half));
    break;
  case 2:
    std::memcpy(Bytes, &Word, sizeof(Word));
    break;
  default:
    std::memcpy(Bytes, &Double, sizeof(Double));
    break;
  }
}

/// Reverses the bytes of each whole unit of 2^Swap bytes. An incomplete last unit is not changed.
inline void swapUnits(uint8_t *Bytes, size_t Len, uint32_t Swap) {
  if (Swap == 0)
    return;
  size_t Unit = size_t{1} << Swap;
  for (size_t At = 0; At + Unit <= Len; At += Unit)
    std::reverse(Bytes + At, Bytes + At + Unit);
}

} // namespace memory

#endif
