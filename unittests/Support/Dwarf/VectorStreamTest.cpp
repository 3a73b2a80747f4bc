#include "orvy/Support/VectorStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using namespace orvy::utils;

namespace {

using Bytes = std::vector<unsigned char>;

VectorStream bigEndian(const Bytes &Source) {
  VectorStream VS(Source);
  VS.BigEndian = true;
  return VS;
}

} // namespace

TEST(VectorStream, ReadsNumbersOfEverySizeInBothByteOrders) {
  const Bytes Source = {0xff, 0x80, 0x01, 0xff, 0xff, 0xff, 0xfe, 1, 2, 3, 4, 5, 6, 7, 8, 'a', 0};
  int8_t Byte = 0;
  uint16_t Half = 0;
  int32_t Int = 0;
  uint64_t Long = 0;
  std::string Text;
  VectorStream Big = bigEndian(Source);
  Big >> Byte >> Half >> Int >> Long >> Text;
  EXPECT_EQ(Byte, -1);
  EXPECT_EQ(Half, 0x8001);
  EXPECT_EQ(Int, -2);
  EXPECT_EQ(Long, 0x0102030405060708u);
  EXPECT_EQ(Text, "a");
  EXPECT_EQ(Big.getOffset(), 17u);
  VectorStream Little(Source);
  Little >> Byte >> Half >> Int >> Long;
  EXPECT_EQ(Half, 0x0180);
  EXPECT_EQ(Int, static_cast<int32_t>(0xfeffffff));
  EXPECT_EQ(Long, 0x0807060504030201u);
}

TEST(VectorStream, TakesWordsByTheFormatAndFallsBackToPlain) {
  const Bytes Source = {0xff, 0xff, 0xff, 0xfe, 0xff, 0xff, 0xff, 0xfe, 0, 0, 0, 0, 0, 0, 0, 9};
  int64_t Signed = 0;
  uint64_t Unsigned = 0;
  VectorStream VS = bigEndian(Source);
  VS >> VectorStream::Word >> Signed >> VectorStream::Word >> Unsigned;
  EXPECT_EQ(Signed, -2);
  EXPECT_EQ(Unsigned, 0xfffffffeu);
  VS >> Unsigned; // plain again
  EXPECT_EQ(Unsigned, 9u);
  VS.Is64Bit = true;
  VS.seek(8);
  VS >> VectorStream::Word >> Unsigned;
  EXPECT_EQ(Unsigned, 9u);
  VS.seek(0);
  uint8_t Byte = 0;
  VS >> VectorStream::LEB128 >> Byte >> Unsigned; // any read resets the mode
  EXPECT_EQ(VS.getOffset(), 9u);
}

TEST(VectorStream, FailsAtTheEnd) {
  const Bytes Source = {1, 2, 3};
  VectorStream VS(Source);
  uint32_t Int = 7;
  std::string Text = "kept";
  EXPECT_THROW(VS >> Int, std::out_of_range);
  EXPECT_THROW(VS >> Text, std::out_of_range);
  EXPECT_EQ(Int, 7u);
  EXPECT_EQ(Text, "kept");
  EXPECT_EQ(VS.getOffset(), 0u);
  EXPECT_THROW(VS.seek(3), int);
  EXPECT_THROW(VS.seekRelative(-1), int);
  EXPECT_THROW(VS.seekRelativeWords(1), int);
  EXPECT_THROW(VS.skip(UINT64_MAX), int);
  VS.seekRelative(2);
  VS.seekRelative(-1);
  EXPECT_EQ(VS.getOffset(), 1u);
  const Bytes Nothing;
  EXPECT_THROW(VectorStream(Nothing) >> Text, std::out_of_range);
}

TEST(LEB128, DecodesTheExamplesOfTheStandard) {
  const struct {
    Bytes Encoded;
    uint64_t Unsigned;
    int64_t Signed;
  } Cases[] = {
      {{0x7f}, 127, -1},
      {{0x80, 0x7f}, 16256, -128},
      {{0xe5, 0x8e, 0x26}, 624485, 624485},
      {{0x80, 0x80, 0x00}, 0, 0},
      {{0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x40},
       uint64_t{1} << 62,
       -(int64_t{1} << 62)},
  };
  for (const auto &[Encoded, Unsigned, Signed] : Cases) {
    VectorStream VS(Encoded);
    uint64_t U = 0;
    int64_t S = 0;
    VS >> VectorStream::LEB128 >> U;
    EXPECT_EQ(U, Unsigned);
    EXPECT_TRUE(VS.atEnd());
    size_t Consumed = 0;
    EXPECT_TRUE(decodeULEB128(Encoded.size(), Encoded.data(), U, Consumed));
    EXPECT_EQ(U, Unsigned);
    EXPECT_TRUE(decodeSLEB128(Encoded.size(), Encoded.data(), S, Consumed));
    EXPECT_EQ(S, Signed);
    EXPECT_EQ(Consumed, Encoded.size());
    auto Cursor = Encoded.begin();
    EXPECT_TRUE(decodeSLEB128(Cursor, Encoded.end(), S));
    EXPECT_EQ(S, Signed);
    EXPECT_EQ(Cursor, Encoded.end());
  }
}

TEST(LEB128, LimitsLength) {
  Bytes Encoded(9, 0xff); // ten bytes with the last
  Encoded.push_back(0x01);
  uint64_t Value = 5;
  size_t Consumed = 5;
  auto Cursor = Encoded.begin();
  EXPECT_FALSE(decodeULEB128(Cursor, Encoded.end(), Value));
  EXPECT_EQ(Cursor, Encoded.begin());
  EXPECT_FALSE(decodeULEB128(9, Encoded.data(), Value, Consumed));
  EXPECT_EQ(Value + Consumed, 10u);
  EXPECT_TRUE(decodeULEB128(10, Encoded.data(), Value, Consumed));
  EXPECT_EQ(Value, UINT64_MAX);
  EXPECT_EQ(Consumed, 10u);
  VectorStream VS(Encoded);
  EXPECT_THROW(VS >> VectorStream::LEB128 >> Value, int);
  Encoded.assign(11, 0x80);
  EXPECT_FALSE(decodeULEB128(11, Encoded.data(), Value, Consumed));
}
