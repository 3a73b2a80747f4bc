// VectorStream.h - reads numbers and texts out of a byte vector: the reader under the DWARF
// parsers.
//
//     VectorStream VS(Section);
//     VS.BigEndian = true;
//     VS >> Version >> VectorStream::Word >> Offset >> VectorStream::LEB128 >> Code >> Name;
//
// A read that would pass the end throws std::out_of_range; a seek to a position at or past the end,
// and a LEB128 value that does not end, throw the integer 42. Nothing moves on a failed read.

#ifndef ORVY_SUPPORT_VECTORSTREAM_H
#define ORVY_SUPPORT_VECTORSTREAM_H

#include "orvy/Support/Export.h"

#include <concepts>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

namespace orvy::utils {

/// Decodes an unsigned LEB128 value (DWARF 4, 7.6) of at most 10 bytes.
/// @param Length bytes that may be read from Data
/// @param Consumed takes the bytes that the value has
/// @return whether the value ended; otherwise Value and Consumed are untouched
ORVY_API bool decodeULEB128(size_t Length, const uint8_t *Data, uint64_t &Value, size_t &Consumed);

/// Decodes a signed LEB128 value in the same way.
ORVY_API bool decodeSLEB128(size_t Length, const uint8_t *Data, int64_t &Value, size_t &Consumed);

namespace detail {

/// Bits of a LEB128 value, and where they end.
struct LEB128Bits {
  uint64_t Value = 0;
  unsigned Count = 0;
  bool Negative = false; ///< the sign of a signed value
};

/// Reads a LEB128 value of at most MaxBytes and moves the cursor after it.
/// @return whether it ended before End; otherwise the cursor stays
template <unsigned MaxBytes, typename Iterator>
bool readLEB128(Iterator &Cursor, Iterator End, LEB128Bits &Bits) {
  Iterator At = Cursor;
  for (unsigned Shift = 0; Shift < 7 * MaxBytes && At != End; Shift += 7) {
    auto Byte = static_cast<uint8_t>(*At++);
    Bits.Value |= uint64_t{Byte & 0x7fu} << Shift;
    if (Byte & 0x80)
      continue;
    Bits.Count = Shift + 7;
    Bits.Negative = Byte & 0x40;
    Cursor = At;
    return true;
  }
  return false;
}

inline int64_t signedValue(const LEB128Bits &Bits) {
  uint64_t Sign = Bits.Negative && Bits.Count < 64 ? ~uint64_t{0} << Bits.Count : 0;
  return static_cast<int64_t>(Bits.Value | Sign);
}

} // namespace detail

/// Decodes an unsigned LEB128 value of at most 9 bytes and moves the cursor after it.
/// @return whether the value ended before End; otherwise the cursor and Value stay
template <std::input_iterator Iterator>
bool decodeULEB128(Iterator &Cursor, Iterator End, uint64_t &Value) {
  detail::LEB128Bits Bits;
  if (!detail::readLEB128<9>(Cursor, End, Bits))
    return false;
  Value = Bits.Value;
  return true;
}

/// Decodes a signed LEB128 value in the same way.
template <std::input_iterator Iterator>
bool decodeSLEB128(Iterator &Cursor, Iterator End, int64_t &Value) {
  detail::LEB128Bits Bits;
  if (!detail::readLEB128<9>(Cursor, End, Bits))
    return false;
  Value = detail::signedValue(Bits);
  return true;
}

/// A position in a byte vector, which must outlive the stream and keep its bytes where they are.
class VectorStream {
public:
  /// What the next read into 64 bits takes. Every read, of whatever size, sets it back to Plain.
  enum Type : uint32_t {
    Plain = 0, ///< 8 bytes
    Word = 1,  ///< 4 bytes, extended by the sign of the target; 8 in the 64-bit format
    LEB128 = 2 ///< a LEB128 value, signed or unsigned as the target
  };

  bool Is64Bit = false;     ///< the 64-bit DWARF format is in force
  bool BigEndian = false;   ///< byte order of numbers
  bool MayReachEnd = false; ///< whether a skip may end where the bytes end; otherwise that throws

  /// @param Offset where it starts; past the end counts as the end
  explicit VectorStream(const std::vector<unsigned char> &Bytes, uint64_t Offset = 0)
      : Source(Bytes), Position(Offset < Bytes.size() ? Offset : Bytes.size()),
        ReadEnd(Bytes.size()) {}

  /// Ends reads and skips at an offset, as those of a part of the bytes; seeks are free. An offset
  /// outside of what is left changes nothing.
  void endReadsAt(uint64_t Offset) {
    if (Offset >= Position && Offset <= Source.size())
      ReadEnd = Offset;
  }

  VectorStream &operator>>(Type Next) { return Mode = Next, *this; }
  /// Reads a number of the size of its type; into 64 bits, as the mode says.
  template <std::integral T> VectorStream &operator>>(T &Value) {
    if constexpr (sizeof(T) == 8)
      Value = readLong<T>();
    else
      Value = read<T>();
    Mode = Plain;
    return *this;
  }
  /// Reads a text up to its NUL, and the NUL.
  VectorStream &operator>>(std::string &Text) {
    Text = readText();
    Mode = Plain;
    return *this;
  }
  /// The same text in place.
  ORVY_API const char *readText();

  /// Goes to an offset.
  void seek(uint64_t Offset) {
    if (Offset >= Source.size())
      throw 42;
    Position = Offset;
  }
  /// Goes forward or back by bytes.
  void seekRelative(int64_t Bytes) { seek(Position + static_cast<uint64_t>(Bytes)); }
  /// Goes forward or back by words: 4 bytes each, 8 in the 64-bit format.
  void seekRelativeWords(int64_t Words) {
    seekRelative(static_cast<int64_t>(static_cast<uint64_t>(Words) * (Is64Bit ? 8 : 4)));
  }
  /// Goes forward over as many bytes as a field of the data says.
  void skip(uint64_t Bytes) {
    if ((Bytes >= Source.size() - Position && !MayReachEnd) || Bytes > getLeft())
      throw 42;
    Position += Bytes;
  }

  /// Offset of the next byte.
  uint64_t getOffset() const { return Position; }
  /// Bytes that may be read; none where a seek has left the part that reads are held to.
  uint64_t getLeft() const { return Position < ReadEnd ? ReadEnd - Position : 0; }
  bool atEnd() const { return Position == Source.size(); }

private:
  [[noreturn]] ORVY_API static void failRead();

  template <typename T> T read() {
    if (sizeof(T) > getLeft())
      failRead();
    std::make_unsigned_t<T> Raw;
    std::memcpy(&Raw, Source.data() + Position, sizeof(T));
    Position += sizeof(T);
    return static_cast<T>(BigEndian ? swapped(Raw) : Raw);
  }
  static uint8_t swapped(uint8_t Value) { return Value; }
  static uint16_t swapped(uint16_t Value) { return __builtin_bswap16(Value); }
  static uint32_t swapped(uint32_t Value) { return __builtin_bswap32(Value); }
  template <typename T> static T swapped(T Value) { return __builtin_bswap64(Value); }

  template <typename T> T readLong() {
    if (Mode == LEB128)
      return readLEB128<T>();
    if (Mode == Plain || Is64Bit)
      return read<T>();
    return static_cast<T>(read<std::conditional_t<std::is_signed_v<T>, int32_t, uint32_t>>());
  }

  template <typename T> T readLEB128() {
    const unsigned char *Start = Source.data() + Position;
    size_t Left = getLeft();
    const unsigned char *Cursor = Start;
    detail::LEB128Bits Bits;
    if (!detail::readLEB128<9>(Cursor, Start + (Left < 10 ? Left : 10), Bits))
      throw 42;
    Position += static_cast<uint64_t>(Cursor - Start);
    if constexpr (std::is_signed_v<T>)
      return detail::signedValue(Bits);
    else
      return Bits.Value;
  }

  const std::vector<unsigned char> &Source;
  uint64_t Position;
  uint64_t ReadEnd;
  Type Mode = Plain;
};

} // namespace orvy::utils

#endif
