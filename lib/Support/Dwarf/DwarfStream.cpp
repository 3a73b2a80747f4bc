#include "orvy/Support/VectorStream.h"

#include <stdexcept>

using namespace orvy::utils;

bool orvy::utils::decodeULEB128(size_t Length, const uint8_t *Data, uint64_t &Value,
                                size_t &Consumed) {
  detail::LEB128Bits Bits;
  const uint8_t *Cursor = Data;
  if (!detail::readLEB128<10>(Cursor, Data + Length, Bits))
    return false;
  Value = Bits.Value;
  Consumed = static_cast<size_t>(Cursor - Data);
  return true;
}

bool orvy::utils::decodeSLEB128(size_t Length, const uint8_t *Data, int64_t &Value,
                                size_t &Consumed) {
  detail::LEB128Bits Bits;
  const uint8_t *Cursor = Data;
  if (!detail::readLEB128<10>(Cursor, Data + Length, Bits))
    return false;
  Value = detail::signedValue(Bits);
  Consumed = static_cast<size_t>(Cursor - Data);
  return true;
}

const char *VectorStream::readText() {
  const unsigned char *Start = Source.data() + Position;
  size_t Left = getLeft();
  const void *Nul = Left ? std::memchr(Start, 0, Left) : nullptr;
  if (!Nul)
    failRead();
  Position += static_cast<uint64_t>(static_cast<const unsigned char *>(Nul) - Start) + 1;
  Mode = Plain;
  return reinterpret_cast<const char *>(Start);
}

void VectorStream::failRead() {
  throw std::out_of_range("read past the end of a section");
}
