// SrecBuilder.h - S-records for tests, good ones and ones that lie.

#ifndef ORVY_UNITTESTS_TESTING_SRECBUILDER_H
#define ORVY_UNITTESTS_TESTING_SRECBUILDER_H

#include <cstdint>
#include <string>
#include <string_view>

namespace orvy::testing {

/// By how much the count and the checksum of a record are wrong.
struct SrecLies {
  int Count = 0;
  int Checksum = 0;
};

/// A record without line end: its digit, the bytes of its address, and its data.
inline std::string srecord(char Digit, unsigned AddrBytes, uint32_t Addr, std::string_view Data,
                           SrecLies Lies = {}) {
  static constexpr char Hex[] = "0123456789ABCDEF";
  std::string Line = {'S', Digit};
  unsigned Sum = 0;
  auto append = [&](unsigned Byte) {
    Line += Hex[Byte >> 4 & 15];
    Line += Hex[Byte & 15];
    Sum += Byte;
  };
  append(static_cast<unsigned>(static_cast<int>(AddrBytes + Data.size() + 1) + Lies.Count));
  for (unsigned Byte = AddrBytes; Byte-- > 0;)
    append(Addr >> 8 * Byte & 255);
  for (char Byte : Data)
    append(static_cast<uint8_t>(Byte));
  append(~Sum + static_cast<unsigned>(Lies.Checksum));
  return Line;
}

} // namespace orvy::testing

#endif
