// The check code of packets of the remote memory access protocol.

#include "orvy/Support/SpaceWireRmap.h"

#include <array>

namespace {

constexpr unsigned Slices = 16;
using CrcTable = std::array<uint8_t, 256>;

/// The CRC of one byte: x^8 + x^2 + x + 1, bits reversed.
constexpr uint8_t codeOf(uint8_t Byte) {
  unsigned Code = Byte;
  for (int Bit = 0; Bit < 8; ++Bit)
    Code = Code & 1 ? Code >> 1 ^ 0xE0 : Code >> 1;
  return static_cast<uint8_t>(Code);
}

/// Table n has the code of a byte followed by n zero bytes. The code of a block is the exclusive or
/// of those of its bytes.
constexpr std::array<CrcTable, Slices> makeTables() {
  std::array<CrcTable, Slices> Tables{};
  for (unsigned Byte = 0; Byte < 256; ++Byte)
    Tables[0][Byte] = codeOf(static_cast<uint8_t>(Byte));
  for (unsigned Slice = 1; Slice < Slices; ++Slice)
    for (unsigned Byte = 0; Byte < 256; ++Byte)
      Tables[Slice][Byte] = Tables[0][Tables[Slice - 1][Byte]];
  return Tables;
}

constexpr std::array<CrcTable, Slices> Tables = makeTables();
static_assert(Tables[0][1] == 0x91 && Tables[0][2] == 0xE3 && Tables[0][7] == 0x75);

} // namespace

uint8_t orvy_spwRmapCRC(const void *Block, uint32_t Length) {
  const auto *Bytes = static_cast<const uint8_t *>(Block);
  uint8_t Code = 0;
  for (; Length >= Slices; Bytes += Slices, Length -= Slices) {
    uint8_t Next = Tables[Slices - 1][Bytes[0] ^ Code];
    for (unsigned Index = 1; Index < Slices; ++Index)
      Next ^= Tables[Slices - 1 - Index][Bytes[Index]];
    Code = Next;
  }
  for (; Length > 0; ++Bytes, --Length)
    Code = Tables[0][Code ^ *Bytes];
  return Code;
}

uint8_t orvy_spwRmapCRCNextCode(uint8_t CRC, uint8_t Byte) {
  return Tables[0][CRC ^ Byte];
}
