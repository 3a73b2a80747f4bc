// Vectors are laid out by hand from the standard; their CRCs come from a division bit by bit.

#include "orvy/Support/SpaceWireRmap.h"

#include "Testing/Seed.h"

#include "orvy/Support/Containers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using testing::ElementsAre;

namespace {

using Bytes = std::vector<uint8_t>;

/// The polynomial division of the standard, a bit at a time.
uint8_t divide(const uint8_t *Data, size_t Length) {
  unsigned Rest = 0;
  for (size_t Index = 0; Index < Length; ++Index)
    for (int Bit = 0; Bit < 8; ++Bit) {
      unsigned Feedback = (Rest ^ (Data[Index] >> Bit)) & 1;
      Rest = Rest >> 1 ^ (Feedback ? 0xE0 : 0);
    }
  return static_cast<uint8_t>(Rest);
}

Bytes withCrc(Bytes Data) {
  Data.push_back(divide(Data.data(), Data.size()));
  return Data;
}

Bytes operator+(Bytes First, const Bytes &Second) {
  First.insert(First.end(), Second.begin(), Second.end());
  return First;
}

/// A packet in a buffer of exactly its size, decoded over a record filled with 0xEE.
struct Decoded {
  explicit Decoded(const Bytes &Packet) : Buffer(orvy_buffCreate(uint32_t(Packet.size()))) {
    if (!Packet.empty())
      std::memcpy(orvy_buffWritableData(&Buffer), Packet.data(), Packet.size());
    std::memset(static_cast<void *>(&P), 0xEE, sizeof(P));
    Result = orvy_spwRmapDecodeBuffer(&Buffer, &P);
  }
  ~Decoded() { orvy_buffDispose(&Buffer); }
  Decoded(const Decoded &) = delete;
  Decoded &operator=(const Decoded &) = delete;

  const uint8_t *at(size_t Offset) const { return orvy_buffReadableData(&Buffer) + Offset; }

  orvy_Buff Buffer;
  orvy_SpwRmapDecodedPacket P;
  int Result;
};

/// A command to 0x40: key 0x20, from 0x67, transaction 0x1234, extended address 0xAB.
Bytes command(uint8_t Instruction, const Bytes &ReplyAddress, uint8_t DataLength) {
  return withCrc(Bytes{0x40, 0x01, Instruction, 0x20} + ReplyAddress +
                 Bytes{0x67, 0x12, 0x34, 0xAB, 0xDE, 0xAD, 0xBE, 0xEF, 0x00, 0x00, DataLength});
}

/// All that a decoded packet tells, in hexadecimal: its kind, packet and command type, command field
/// and flags, the size of its header, the fields of that in order, and what follows. A place is an
/// offset in the buffer, ee is what was not set.
class Text {
public:
  explicit Text(const Decoded &D) : D(D) {
    const auto &Body = D.P.Body;
    Out << std::hex << D.P.Kind << ' ' << D.P.PacketType << '/' << D.P.CommandType << ' '
        << int{D.P.CommandField} << '/' << int{D.P.CommandFlags} << ' ' << D.P.HeaderSize << ':';
    if (D.P.Kind <= ovSPWRK_RmwCommand)
      header(Body.ReadCommand);
    else
      header(Body.WriteReply);
    if (D.P.Kind == ovSPWRK_WriteCommand)
      rest("data", Body.WriteCommand.Data, Body.WriteCommand.DataSize, Body.WriteCommand.DataCRC);
    if (const auto &R = Body.RmwCommand; D.P.Kind == ovSPWRK_RmwCommand) {
      Out << " half " << int{R.DataLength} << " mask " << place(R.Mask);
      rest("data", R.Data, R.AvailableSize, R.DataCRC);
    }
    if (const auto &R = Body.ReadReply;
        D.P.Kind == ovSPWRK_ReadReply || D.P.Kind == ovSPWRK_RmwReply) {
      Out << ' ' << R.DataLength;
      rest("data", R.Data, R.AvailableSize, R.DataCRC);
    }
  }
  std::string str() const { return Out.str(); }

private:
  void header(const orvy_SpwRmapDecodedCommandHeader &H) {
    bytes({H.TargetAddress, H.ProtocolId, H.Instruction, H.Key});
    Out << " [";
    bytes(Bytes(H.ReplyAddress, H.ReplyAddress + H.ReplyAddressLength));
    Out << " ]";
    bytes({H.InitiatorAddress});
    Out << ' ' << H.TransactionId << ' ' << H.Address << ' ' << H.DataLength;
  }
  void header(const orvy_SpwRmapDecodedWriteReply &R) {
    bytes({R.InitiatorAddress, R.ProtocolId, R.Instruction, R.Status, R.TargetAddress});
    Out << ' ' << R.TransactionId;
  }
  void rest(const char *Name, const uint8_t *Data, uint32_t Size, uint8_t Crc) {
    Out << ' ' << Name << ' ' << place(Data) << '+' << Size << " crc " << int{Crc};
  }
  void bytes(const Bytes &Values) {
    for (uint8_t Value : Values)
      Out << ' ' << int{Value};
  }
  std::string place(const uint8_t *At) const { return At ? std::to_string(At - D.at(0)) : "none"; }

  const Decoded &D;
  std::ostringstream Out;
};

TEST(Rmap, CrcIsThatOfTheStandard) {
  const uint8_t First[] = {0x00, 0x91, 0xE3, 0x72, 0x07, 0x96, 0xE4, 0x75};
  for (uint8_t Byte = 0; Byte < 8; ++Byte)
    EXPECT_EQ(orvy_spwRmapCRCNextCode(0, Byte), First[Byte]);
  EXPECT_EQ(orvy_spwRmapCRC(nullptr, 0), 0);

  // The examples of the standard: one to eight, and text.
  const uint8_t Count[] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(orvy_spwRmapCRC(Count, 8), 0xB0);
  const std::string Text = "SpaceWire is beautiful!!";
  EXPECT_EQ(orvy_spwRmapCRC(Text.data(), uint32_t(Text.size())), 0x84);

  std::mt19937 Random(testSeed());
  for (uint32_t Length = 0; Length < 300; ++Length) {
    Bytes Data(Length);
    std::generate(Data.begin(), Data.end(), [&] { return uint8_t(Random()); });
    uint8_t Crc = divide(Data.data(), Length);
    EXPECT_EQ(orvy_spwRmapCRC(Data.data(), Length), Crc) << Length;
    uint8_t Running = 0;
    for (uint8_t Byte : Data)
      Running = orvy_spwRmapCRCNextCode(Running, Byte);
    EXPECT_EQ(Running, Crc);
    Data.push_back(Crc);
    EXPECT_EQ(orvy_spwRmapCRC(Data.data(), Length + 1), 0);
  }
}

TEST(Rmap, DecodesPacketsOfEveryKindAsFarAsTheyAreThere) {
  const Bytes Ten = {0x67, 0x01, 0x0C, 0x05, 0x40, 0x12, 0x34, 0, 0, 0, 3};
  Bytes Rmw = Ten;
  Rmw[2] = 0x1C;
  const struct {
    Bytes Packet;
    const char *Text;
  } Cases[] = {
      // Reads, with reply addresses of every length and without their leading zeros.
      {command(0x4C, {}, 16), "1 1/0 3/c 10: 40 1 4c 20 [ ] 67 1234 abdeadbeef 10"},
      {command(0x4D, {0x11, 0x22, 0x33, 0x44}, 16),
       "1 1/0 3/c 14: 40 1 4d 20 [ 11 22 33 44 ] 67 1234 abdeadbeef 10"},
      {command(0x4D, {0, 0, 0x12, 0x34}, 16),
       "1 1/0 3/c 14: 40 1 4d 20 [ 12 34 ] 67 1234 abdeadbeef 10"},
      {command(0x4D, {0, 0, 0, 0}, 16), "1 1/0 3/c 14: 40 1 4d 20 [ 0 ] 67 1234 abdeadbeef 10"},
      {command(0x4D, {0x12, 0, 0, 0}, 16),
       "1 1/0 3/c 14: 40 1 4d 20 [ 12 0 0 0 ] 67 1234 abdeadbeef 10"},
      {command(0x4E, {0, 0, 0, 1, 2, 0, 3, 0}, 16),
       "1 1/0 3/c 18: 40 1 4e 20 [ 1 2 0 3 0 ] 67 1234 abdeadbeef 10"},
      {command(0x4F, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 16),
       "1 1/0 3/c 1c: 40 1 4f 20 [ 1 2 3 4 5 6 7 8 9 a b c ] 67 1234 abdeadbeef 10"},
      {command(0x4F, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 16),
       "1 1/0 3/c 1c: 40 1 4f 20 [ 0 ] 67 1234 abdeadbeef 10"},
      {command(0x4F, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 6}, 16),
       "1 1/0 3/c 1c: 40 1 4f 20 [ 5 6 ] 67 1234 abdeadbeef 10"},
      // Writes of four bytes.
      {command(0x78, {}, 4),
       "2 1/1 e/7 10: 40 1 78 20 [ ] 67 1234 abdeadbeef 4 data none+0 crc ee"},
      {command(0x78, {}, 4) + Bytes{1, 2},
       "2 1/1 e/7 10: 40 1 78 20 [ ] 67 1234 abdeadbeef 4 data 16+2 crc ee"},
      {command(0x78, {}, 4) + Bytes{1, 2, 3, 4},
       "2 1/1 e/7 10: 40 1 78 20 [ ] 67 1234 abdeadbeef 4 data 16+4 crc ee"},
      {command(0x78, {}, 4) + Bytes{1, 2, 3, 4, 0x5A},
       "2 1/1 e/7 10: 40 1 78 20 [ ] 67 1234 abdeadbeef 4 data 16+5 crc 5a"},
      {command(0x78, {}, 4) + Bytes{1, 2, 3, 4, 0x5A, 6, 7, 8},
       "2 1/1 e/7 10: 40 1 78 20 [ ] 67 1234 abdeadbeef 4 data 16+8 crc 5a"},
      // Read-modify-writes: half of the length is data, half is mask.
      {command(0x5D, {0, 0, 0, 9}, 8),
       "3 1/2 7/e 14: 40 1 5d 20 [ 9 ] 67 1234 abdeadbeef 8 half 4 mask none data none+0 crc ee"},
      {command(0x5D, {0, 0, 0, 9}, 8) + Bytes{1, 2, 3, 4},
       "3 1/2 7/e 14: 40 1 5d 20 [ 9 ] 67 1234 abdeadbeef 8 half 4 mask none data 20+4 crc ee"},
      {command(0x5D, {0, 0, 0, 9}, 8) + Bytes{1, 2, 3, 4, 5},
       "3 1/2 7/e 14: 40 1 5d 20 [ 9 ] 67 1234 abdeadbeef 8 half 4 mask 24 data 20+5 crc ee"},
      {command(0x5D, {0, 0, 0, 9}, 8) + Bytes{1, 2, 3, 4, 5, 6, 7, 8, 0x5A},
       "3 1/2 7/e 14: 40 1 5d 20 [ 9 ] 67 1234 abdeadbeef 8 half 4 mask 24 data 20+9 crc 5a"},
      {command(0x5D, {0, 0, 0, 9}, 2) + Bytes{1, 2, 0x5A},
       "3 1/2 7/e 14: 40 1 5d 20 [ 9 ] 67 1234 abdeadbeef 2 half 1 mask 21 data 20+3 crc 5a"},
      {command(0x5D, {0, 0, 0, 9}, 0) + Bytes{0x5A},
       "3 1/2 7/e 14: 40 1 5d 20 [ 9 ] 67 1234 abdeadbeef 0 half 0 mask 20 data 20+1 crc 5a"},
      // Replies.
      {withCrc(Ten) + Bytes{7, 8, 9, 0x5A}, "4 0/0 3/c c: 67 1 c 5 40 1234 3 data 12+4 crc 5a"},
      {withCrc(Rmw) + Bytes{7, 8, 9, 0x5A}, "6 0/2 7/e c: 67 1 1c 5 40 1234 3 data 12+4 crc 5a"},
      {withCrc({0x67, 0x01, 0x2C, 0x05, 0x40, 0x12, 0x34}), "5 0/1 b/d 8: 67 1 2c 5 40 1234"},
  };
  for (const auto &[Packet, Expected] : Cases) {
    Decoded D(Packet);
    ASSERT_EQ(D.Result, 0) << Expected;
    EXPECT_EQ(Text(D).str(), Expected);
    EXPECT_EQ(D.P.TotalSize, Packet.size());
    EXPECT_EQ(D.P.Header, D.at(0));
    EXPECT_EQ(D.P.HeaderCRC, *D.at(D.P.HeaderSize - 1));
    if (D.P.PacketType == ovSPWPT_Command) {
      EXPECT_EQ(orvy_spwRmapHeaderReplySize(&D.P), D.P.Body.ReadCommand.ReplyAddressLength +
                                                       (D.P.CommandType == ovSPWCT_Write ? 8 : 12))
          << Expected;
    }
  }
}

TEST(Rmap, AnswersTheTestPatternsOfTheStandard) {
  const Bytes Data = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x10,
                      0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x56};
  const Bytes Write = {0xFE, 0x01, 0x6C, 0x00, 0x67, 0x00, 0x00, 0x00,
                       0xA0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x9F};
  Decoded W(Write + Data);
  ASSERT_EQ(W.Result, 0);
  EXPECT_EQ(W.P.HeaderCRC, 0x9Fu);
  EXPECT_EQ(W.P.Body.WriteCommand.Header.Address, 0xA0000000u);
  EXPECT_EQ(W.P.Body.WriteCommand.DataCRC, 0x56);
  uint8_t Reply[12];
  EXPECT_EQ(orvy_spwRmapEncodeWriteReplyHeaderForPacket(&W.P, Reply, sizeof(Reply), 0), 8u);
  EXPECT_THAT(Bytes(Reply, Reply + 8), ElementsAre(0x67, 0x01, 0x2C, 0x00, 0xFE, 0x00, 0x00, 0xED));

  Decoded R({0xFE, 0x01, 0x4C, 0x00, 0x67, 0x00, 0x01, 0x00, 0xA0, 0x00, 0x00, 0x00, 0x00, 0x00,
             0x10, 0xC9});
  ASSERT_EQ(R.Result, 0);
  EXPECT_EQ(R.P.HeaderCRC, 0xC9u);
  EXPECT_EQ(orvy_spwRmapEncodeReadReplyHeaderForPacket(&R.P, Reply, sizeof(Reply), 0, 16), 12u);
  EXPECT_THAT(Reply,
              ElementsAre(0x67, 0x01, 0x0C, 0x00, 0xFE, 0x00, 0x01, 0x00, 0x00, 0x00, 0x10, 0x6D));
}

/// What decoding must do with a packet of a length that begins with zeros and an instruction.
int wantedResult(unsigned Instruction, unsigned Length) {
  unsigned Size = Instruction & 0x40 ? 16 + (Instruction & 3) * 4 : Instruction & 0x20 ? 8 : 12;
  return Length < 8 ? 1 : Instruction & 0x80 ? 2 : Length < Size ? 1 : 0;
}

TEST(Rmap, EveryInstructionAtEveryLengthStaysWithinItsBuffer) {
  // Buffers are of the exact size, so that the sanitizer sees every step outside.
  for (unsigned Instruction = 0; Instruction < 256; ++Instruction)
    for (unsigned Length = 0; Length <= 64; ++Length) {
      Bytes Packet(Length, 0);
      if (Length > 2)
        Packet[2] = static_cast<uint8_t>(Instruction);
      if (Length >= 24)
        std::fill(Packet.begin() + 9, Packet.begin() + 15, uint8_t(0xFF)); // lengths that lie
      Decoded D(Packet);
      EXPECT_EQ(D.Result, wantedResult(Instruction, Length)) << Instruction << " " << Length;
      EXPECT_EQ(D.P.TotalSize, Length);
      if (D.Result == 0) {
        EXPECT_LE(D.P.HeaderSize, Length);
        EXPECT_TRUE(D.P.Kind >= 1 && D.P.Kind <= 6);
      }
    }
}

TEST(Rmap, LeavesWhatItCannotReachAsItWas) {
  Decoded Short(Bytes(7, 0));
  EXPECT_EQ(Short.Result, 1);
  EXPECT_EQ(Short.P.TotalSize, 7u);
  const auto *Raw = reinterpret_cast<const uint8_t *>(&Short.P);
  EXPECT_EQ(std::count(Raw + 4, Raw + sizeof(Short.P), 0xEE), std::ptrdiff_t(sizeof(Short.P) - 4));
  for (uint8_t Type : {0x80, 0xC0}) {
    Decoded D({0, 0, Type, 0, 0, 0, 0, 0});
    EXPECT_EQ(D.Result, 2);
    EXPECT_EQ(D.P.PacketType, ovSPWPT_Invalid);
  }
  orvy_SpwPacket None{1, {nullptr, 0, 0}};
  orvy_SpwRmapDecodedPacket P{};
  EXPECT_EQ(orvy_spwRmapDecodePacket(&None, &P), 1);
}

TEST(Rmap, EncodesRepliesAfterTheirPathAndNothingWithoutRoom) {
  using Command = const orvy_SpwRmapDecodedPacket *;
  const struct {
    uint8_t Instruction;
    uint32_t (*Encode)(Command, uint8_t *, uint32_t);
    Bytes Reply; ///< without the path and its CRC
  } Cases[] = {
      {0x4D,
       [](Command C, uint8_t *To, uint32_t Size) {
         return orvy_spwRmapEncodeReadReplyHeaderForPacket(C, To, Size, 3, 0x012345);
       },
       {0x67, 0x01, 0x0D, 3, 0x40, 0x12, 0x34, 0, 0x01, 0x23, 0x45}},
      {0x5D,
       [](Command C, uint8_t *To, uint32_t Size) {
         return orvy_spwRmapEncodeRmwHeaderForPacket(C, To, Size, 3, 0x012345);
       },
       {0x67, 0x01, 0x1D, 3, 0x40, 0x12, 0x34, 0, 0x01, 0x23, 0x45}},
      {0x69,
       [](Command C, uint8_t *To, uint32_t Size) {
         return orvy_spwRmapEncodeWriteReplyHeaderForPacket(C, To, Size, 3);
       },
       {0x67, 0x01, 0x29, 3, 0x40, 0x12, 0x34}},
  };
  for (const auto &C : Cases)
    for (const auto &[Field, Path] : {std::pair{Bytes{1, 2, 3, 4}, Bytes{1, 2, 3, 4}},
                                      {Bytes{0, 0, 0, 0}, Bytes{0}},
                                      {Bytes{0, 0, 0, 7}, Bytes{7}}}) {
      Decoded D(command(C.Instruction, Field, 8));
      const Bytes Expected = Path + withCrc(C.Reply);
      const auto Size = static_cast<uint32_t>(Expected.size());
      Bytes Room(Size, 0xEE);
      EXPECT_EQ(C.Encode(&D.P, Room.data(), Size - 1), 0u);
      EXPECT_EQ(Room, Bytes(Size, 0xEE));
      EXPECT_EQ(C.Encode(&D.P, Room.data(), Size), Size);
      EXPECT_EQ(Room, Expected);
    }
}

TEST(Rmap, EncodesNothingForAReplyAddressThatIsTooLong) {
  orvy_SpwRmapDecodedCommandHeader Header{};
  Header.ReplyAddressLength = 13;
  uint8_t Room[64];
  EXPECT_EQ(orvy_spwRmapEncodeReadReplyHeader(&Header, Room, 64, 0, 0), 0u);
  EXPECT_EQ(orvy_spwRmapEncodeWriteReplyHeader(&Header, Room, 64, 0), 0u);
}

} // namespace
