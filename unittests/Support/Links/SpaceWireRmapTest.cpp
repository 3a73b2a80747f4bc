// Vectors are laid out by hand from the standard; their CRCs come from a division bit by bit.

#include "orvy/Support/SpaceWireRmap.h"

#include "Testing/Seed.h"

#include "orvy/Support/Containers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::ElementsAreArray;

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

void expectHeader(const orvy_SpwRmapDecodedCommandHeader &H, uint8_t Instruction,
                  const Bytes &ReplyAddress, uint32_t DataLength) {
  EXPECT_EQ(H.TargetAddress, 0x40);
  EXPECT_EQ(H.ProtocolId, 0x01);
  EXPECT_EQ(H.Instruction, Instruction);
  EXPECT_EQ(H.Key, 0x20);
  EXPECT_EQ(Bytes(H.ReplyAddress, H.ReplyAddress + H.ReplyAddressLength), ReplyAddress);
  EXPECT_EQ(H.InitiatorAddress, 0x67);
  EXPECT_EQ(H.TransactionId, 0x1234);
  EXPECT_EQ(H.Address, 0xABDEADBEEFu);
  EXPECT_EQ(H.DataLength, DataLength);
}

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

TEST(Rmap, DecodesReplyAddressesOfEveryLength) {
  const struct {
    Bytes Field;
    Bytes Address;
  } Cases[] = {
      {{}, {}},
      {{0x11, 0x22, 0x33, 0x44}, {0x11, 0x22, 0x33, 0x44}},
      {{0x00, 0x00, 0x12, 0x34}, {0x12, 0x34}},
      {{0x00, 0x00, 0x00, 0x00}, {0x00}},
      {{0x12, 0x00, 0x00, 0x00}, {0x12, 0x00, 0x00, 0x00}},
      {{0x00, 0x00, 0x00, 0x01, 0x02, 0x00, 0x03, 0x00}, {0x01, 0x02, 0, 0x03, 0}},
      {{1, 2, 3, 4, 5, 6, 7, 8}, {1, 2, 3, 4, 5, 6, 7, 8}},
      {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {0}},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 6}, {5, 6}},
  };
  for (const auto &C : Cases) {
    auto Instruction = static_cast<uint8_t>(0x4C | C.Field.size() / 4);
    Decoded D(command(Instruction, C.Field, 16));
    ASSERT_EQ(D.Result, 0);
    EXPECT_EQ(D.P.HeaderSize, 16 + C.Field.size());
    EXPECT_EQ(D.P.Kind, ovSPWRK_ReadCommand);
    expectHeader(D.P.Body.ReadCommand, Instruction, C.Address, 16);
    EXPECT_EQ(orvy_spwRmapHeaderReplySize(&D.P), C.Address.size() + 12);
  }
}

TEST(Rmap, DecodesAReadCommand) {
  // The standard's layout with the CRC worked out: 40 01 4D 20 ... 10 and its code.
  Decoded D(command(0x4D, {0, 0, 0x12, 0x34}, 16));
  ASSERT_EQ(D.Result, 0);
  EXPECT_EQ(D.P.TotalSize, 20u);
  EXPECT_EQ(D.P.PacketType, ovSPWPT_Command);
  EXPECT_EQ(D.P.CommandType, ovSPWCT_Read);
  EXPECT_EQ(D.P.CommandField, 0x3);
  EXPECT_EQ(D.P.CommandFlags, ovSPWCF_Reply | ovSPWCF_Increment);
  EXPECT_EQ(D.P.Header, D.at(0));
  EXPECT_EQ(D.P.HeaderCRC, *D.at(19));
  EXPECT_EQ(orvy_spwRmapCRC(D.P.Header, D.P.HeaderSize), 0);
}

TEST(Rmap, DecodesAWriteCommandAsFarAsItIsThere) {
  const Bytes Header = command(0x78, {}, 4);
  const struct {
    Bytes Rest;
    uint32_t Size;
    uint8_t Crc; // 0xEE: not set
  } Cases[] = {
      {{}, 0, 0xEE},
      {{1, 2}, 2, 0xEE},
      {{1, 2, 3, 4}, 4, 0xEE},
      {{1, 2, 3, 4, 0x5A}, 5, 0x5A},
      {{1, 2, 3, 4, 0x5A, 6, 7, 8}, 8, 0x5A},
  };
  for (const auto &C : Cases) {
    Decoded D(Header + C.Rest);
    ASSERT_EQ(D.Result, 0);
    EXPECT_EQ(D.P.CommandType, ovSPWCT_Write);
    EXPECT_EQ(D.P.CommandField, 0xE);
    EXPECT_EQ(D.P.CommandFlags, ovSPWCF_Write | ovSPWCF_Verify | ovSPWCF_Reply);
    EXPECT_EQ(D.P.Kind, ovSPWRK_WriteCommand);
    const auto &W = D.P.Body.WriteCommand;
    expectHeader(W.Header, 0x78, {}, 4);
    EXPECT_EQ(W.Data, C.Size ? D.at(16) : nullptr);
    EXPECT_EQ(W.DataSize, C.Size);
    EXPECT_EQ(W.DataCRC, C.Crc);
  }
}

TEST(Rmap, DecodesAReadModifyWriteCommandAsFarAsItIsThere) {
  const struct {
    uint8_t Length; // as declared
    Bytes Rest;
    uint8_t Half;
    bool HasMask;
    uint8_t Crc;
  } Cases[] = {
      {8, {}, 4, false, 0xEE},
      {8, {1, 2, 3, 4}, 4, false, 0xEE},
      {8, {1, 2, 3, 4, 5}, 4, true, 0xEE},
      {8, {1, 2, 3, 4, 5, 6, 7, 8, 0x5A}, 4, true, 0x5A},
      {2, {1, 2, 0x5A}, 1, true, 0x5A},
      {0, {0x5A}, 0, true, 0x5A},
  };
  for (const auto &C : Cases) {
    Decoded D(command(0x5D, {0, 0, 0, 9}, C.Length) + C.Rest);
    ASSERT_EQ(D.Result, 0);
    EXPECT_EQ(D.P.CommandType, ovSPWCT_ReadModifyWrite);
    EXPECT_EQ(D.P.Kind, ovSPWRK_RmwCommand);
    const auto &R = D.P.Body.RmwCommand;
    expectHeader(R.Header, 0x5D, {9}, C.Length);
    EXPECT_EQ(R.DataLength, C.Half);
    EXPECT_EQ(R.Data, C.Rest.empty() ? nullptr : D.at(20));
    EXPECT_EQ(R.Mask, C.HasMask ? D.at(20u + C.Half) : nullptr);
    EXPECT_EQ(R.AvailableSize, C.Rest.size());
    EXPECT_EQ(R.DataCRC, C.Crc);
    EXPECT_EQ(orvy_spwRmapHeaderReplySize(&D.P), 13u);
  }
}

TEST(Rmap, DecodesReplies) {
  const struct {
    uint8_t Instruction;
    orvy_SpwRmapKind Kind;
    orvy_SpwRmapCommandType Type;
  } Reads[] = {
      {0x0C, ovSPWRK_ReadReply, ovSPWCT_Read},
      {0x1C, ovSPWRK_RmwReply, ovSPWCT_ReadModifyWrite},
  };
  for (const auto &C : Reads) {
    Bytes Header = withCrc({0x67, 0x01, C.Instruction, 0x05, 0x40, 0x12, 0x34, 0, 0, 0, 3});
    Decoded D(Header + withCrc({7, 8, 9}));
    ASSERT_EQ(D.Result, 0);
    EXPECT_EQ(D.P.PacketType, ovSPWPT_Reply);
    EXPECT_EQ(D.P.Kind, C.Kind);
    EXPECT_EQ(D.P.CommandType, C.Type);
    EXPECT_EQ(D.P.HeaderSize, 12u);
    EXPECT_EQ(D.P.HeaderCRC, Header[11]);
    const auto &R = D.P.Body.ReadReply;
    EXPECT_THAT((Bytes{R.InitiatorAddress, R.ProtocolId, R.Instruction, R.Status, R.TargetAddress}),
                ElementsAre(0x67, 0x01, C.Instruction, 0x05, 0x40));
    EXPECT_EQ(R.TransactionId, 0x1234);
    EXPECT_EQ(R.DataLength, 3u);
    EXPECT_EQ(R.Data, D.at(12));
    EXPECT_EQ(R.AvailableSize, 4u);
    EXPECT_EQ(orvy_spwRmapCRC(R.Data, R.AvailableSize), 0);
    EXPECT_EQ(R.DataCRC, *D.at(15));
  }
  Decoded Write(withCrc({0x67, 0x01, 0x2C, 0x05, 0x40, 0x12, 0x34}));
  ASSERT_EQ(Write.Result, 0);
  EXPECT_EQ(Write.P.Kind, ovSPWRK_WriteReply);
  EXPECT_EQ(Write.P.HeaderSize, 8u);
  EXPECT_EQ(Write.P.HeaderCRC, *Write.at(7));
  EXPECT_EQ(Write.P.Body.WriteReply.Status, 0x05);
  EXPECT_EQ(Write.P.Body.WriteReply.TransactionId, 0x1234);
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

TEST(Rmap, RepliesComeBackAsTheyWereEncoded) {
  const struct {
    uint8_t Instruction;
    uint32_t (*Encode)(const orvy_SpwRmapDecodedPacket *, uint8_t *, uint32_t);
    orvy_SpwRmapKind Kind;
  } Cases[] = {
      {0x4D,
       [](const orvy_SpwRmapDecodedPacket *C, uint8_t *To, uint32_t Size) {
         return orvy_spwRmapEncodeReadReplyHeaderForPacket(C, To, Size, 3, 0x012345);
       },
       ovSPWRK_ReadReply},
      {0x5D,
       [](const orvy_SpwRmapDecodedPacket *C, uint8_t *To, uint32_t Size) {
         return orvy_spwRmapEncodeRmwHeaderForPacket(C, To, Size, 3, 0x012345);
       },
       ovSPWRK_RmwReply},
      {0x69,
       [](const orvy_SpwRmapDecodedPacket *C, uint8_t *To, uint32_t Size) {
         return orvy_spwRmapEncodeWriteReplyHeaderForPacket(C, To, Size, 3);
       },
       ovSPWRK_WriteReply},
  };
  for (const auto &C : Cases)
    for (const Bytes &Path : {Bytes{1, 2, 3, 4}, Bytes{0, 0, 0, 0}, Bytes{0, 0, 0, 7}}) {
      Decoded Command(command(C.Instruction, Path, 8));
      uint32_t Size = orvy_spwRmapHeaderReplySize(&Command.P);
      uint32_t PathSize = Command.P.Body.ReadCommand.ReplyAddressLength;
      Bytes Room(Size, 0xEE);
      EXPECT_EQ(C.Encode(&Command.P, Room.data(), Size - 1), 0u);
      EXPECT_EQ(Room, Bytes(Size, 0xEE));
      EXPECT_EQ(C.Encode(&Command.P, Room.data(), Size), Size);
      EXPECT_THAT(Bytes(Room.begin(), Room.begin() + PathSize),
                  ElementsAreArray(Path.end() - PathSize, Path.end()));

      Bytes Reply(Room.begin() + PathSize, Room.end());
      EXPECT_EQ(divide(Reply.data(), Reply.size()), 0);
      Decoded Back(Reply);
      ASSERT_EQ(Back.Result, 0);
      EXPECT_EQ(Back.P.Kind, C.Kind);
      const auto &R = Back.P.Body.WriteReply;
      EXPECT_THAT(
          (Bytes{R.InitiatorAddress, R.ProtocolId, R.Instruction, R.Status, R.TargetAddress}),
          ElementsAre(0x67, 0x01, C.Instruction & 0x3F, 3, 0x40));
      EXPECT_EQ(R.TransactionId, 0x1234);
      if (C.Kind != ovSPWRK_WriteReply) {
        EXPECT_EQ(Back.P.Body.ReadReply.DataLength, 0x012345u);
      }
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
