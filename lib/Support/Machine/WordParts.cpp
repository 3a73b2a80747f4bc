// Bytes and halves of words of big-endian buses.

#include "orvy/Support/Memory.h"

namespace {

/// Place of a part in a big-endian word: its lowest bit and its mask there; an empty mask for a
/// pair that selects no part.
struct Part {
  uint32_t Shift;
  uint32_t Mask;
};

Part partOf(uint32_t WordBytes, uint32_t Size, uint32_t Offset) {
  if (Size > 2 || (1u << Size) > WordBytes || Offset >= WordBytes || Offset % (1u << Size) != 0)
    return {0, 0};
  uint32_t Bytes = 1u << Size;
  uint32_t Shift = (WordBytes - Offset - Bytes) * 8;
  return {Shift, (Bytes == 4 ? UINT32_MAX : (1u << (Bytes * 8)) - 1) << Shift};
}

uint32_t readPart(uint32_t Word, Part P) {
  return (Word & P.Mask) >> P.Shift;
}

uint32_t writePart(uint32_t Old, uint32_t Value, Part P) {
  return (Old & ~P.Mask) | ((Value << P.Shift) & P.Mask);
}

} // namespace

uint32_t orvy_normaliseRead32(uint32_t Word, uint32_t Size, uint32_t Offset) {
  return readPart(Word, partOf(4, Size, Offset));
}

uint32_t orvy_normaliseWrite32(uint32_t Old, uint32_t Value, uint32_t Size, uint32_t Offset) {
  return writePart(Old, Value, partOf(4, Size, Offset));
}

uint16_t orvy_normaliseRead16(uint16_t Word, uint32_t Size, uint32_t Offset) {
  return static_cast<uint16_t>(readPart(Word, partOf(2, Size, Offset)));
}

uint16_t orvy_normaliseWrite16(uint16_t Old, uint16_t Value, uint32_t Size, uint32_t Offset) {
  return static_cast<uint16_t>(writePart(Old, Value, partOf(2, Size, Offset)));
}
