// Packets of ECSS-E-ST-50-52C. Every field is read only after a check that the buffer contains it.

#include "orvy/Support/SpaceWireRmap.h"

#include "orvy/Support/Containers.h"

#include <algorithm>

namespace {

// Decoding

constexpr uint32_t MinPacketSize = 8;
constexpr uint32_t CommandHeaderSize = 16; // without the reply address
constexpr uint32_t ReadReplyHeaderSize = 12;
constexpr uint32_t WriteReplyHeaderSize = 8;

uint32_t bigEndian(const uint8_t *Bytes, unsigned Count) {
  uint32_t Value = 0;
  for (unsigned Index = 0; Index < Count; ++Index)
    Value = Value << 8 | Bytes[Index];
  return Value;
}

/// The write, verify, reply and increment bits of an instruction, starting at the lowest bit.
uint8_t flagsOf(uint8_t Field) {
  return static_cast<uint8_t>((Field >> 3 & 1) | (Field >> 1 & 2) | (Field << 1 & 4) |
                              (Field << 3 & 8));
}

orvy_SpwRmapCommandType commandTypeOf(uint8_t Instruction) {
  if (Instruction & 0x20)
    return ovSPWCT_Write;
  return Instruction & 0x10 ? ovSPWCT_ReadModifyWrite : ovSPWCT_Read;
}

/// Decodes a packet of at least MinPacketSize bytes.
class RmapDecoder {
public:
  RmapDecoder(const uint8_t *Bytes, orvy_SpwRmapDecodedPacket &Packet)
      : Bytes(Bytes), Packet(Packet) {}

  orvy_SpwRmapResult decode() {
    uint8_t Instruction = Bytes[2];
    unsigned Type = Instruction >> 6;
    if (Type > ovSPWPT_Command) {
      Packet.PacketType = ovSPWPT_Invalid;
      return ovSPWRR_InvalidPacketType;
    }
    Packet.PacketType = static_cast<orvy_SpwRmapPacketType>(Type);
    Packet.CommandField = Instruction >> 2 & 0xF;
    Packet.CommandFlags = flagsOf(Packet.CommandField);
    Packet.CommandType = commandTypeOf(Instruction);
    return Type == ovSPWPT_Command ? decodeCommand() : decodeReply();
  }

private:
  /// Stores the fields that all packets have. Returns false if the buffer does not hold the header.
  bool decodeHeader(uint32_t Size) {
    Packet.HeaderSize = Size;
    if (Packet.TotalSize < Size)
      return false;
    Packet.Header = Bytes;
    Packet.HeaderCRC = Bytes[Size - 1];
    return true;
  }

  orvy_SpwRmapResult decodeCommand() {
    if (!decodeHeader(CommandHeaderSize + replyAddressSize()))
      return ovSPWRR_TooShort;
    switch (Packet.CommandType) {
    case ovSPWCT_Read:
      Packet.Kind = ovSPWRK_ReadCommand;
      DecodeCommandHeader(Packet.Body.ReadCommand);
      break;
    case ovSPWCT_Write:
      Packet.Kind = ovSPWRK_WriteCommand;
      decodeWrite(Packet.Body.WriteCommand);
      break;
    case ovSPWCT_ReadModifyWrite:
      Packet.Kind = ovSPWRK_RmwCommand;
      decodeRmw(Packet.Body.RmwCommand);
      break;
    }
    return ovSPWRR_Decoded;
  }

  void DecodeCommandHeader(orvy_SpwRmapDecodedCommandHeader &Header) const {
    Header = {};
    Header.TargetAddress = Bytes[0];
    Header.ProtocolId = Bytes[1];
    Header.Instruction = Bytes[2];
    Header.Key = Bytes[3];
    decodeReplyAddress(Header);
    const uint8_t *Rest = Bytes + Packet.HeaderSize - 12;
    Header.InitiatorAddress = Rest[0];
    Header.TransactionId = static_cast<uint16_t>(bigEndian(Rest + 1, 2));
    Header.Address = uint64_t{Rest[3]} << 32 | bigEndian(Rest + 4, 4);
    Header.DataLength = bigEndian(Rest + 8, 3);
  }

  /// Skips the leading zeros that pad the field. Its last byte is always part of the address.
  void decodeReplyAddress(orvy_SpwRmapDecodedCommandHeader &Header) const {
    const uint8_t *First = Bytes + 4;
    const uint8_t *End = First + replyAddressSize();
    while (First + 1 < End && *First == 0)
      ++First;
    std::copy(First, End, Header.ReplyAddress);
    Header.ReplyAddressLength = static_cast<uint8_t>(End - First);
  }

  void decodeWrite(orvy_SpwRmapDecodedWriteCommand &Write) const {
    DecodeCommandHeader(Write.Header);
    Write.Data = data();
    Write.DataSize = available();
    decodeDataCrc(Write.Header.DataLength, Write.DataCRC);
  }

  void decodeRmw(orvy_SpwRmapDecodedRmwCommand &Rmw) const {
    DecodeCommandHeader(Rmw.Header);
    uint32_t Half = Rmw.Header.DataLength / 2;
    Rmw.DataLength = static_cast<uint8_t>(Half);
    Rmw.Data = data();
    Rmw.Mask = available() > Half ? data() + Half : nullptr;
    Rmw.AvailableSize = available();
    decodeDataCrc(Rmw.Header.DataLength, Rmw.DataCRC);
  }

  orvy_SpwRmapResult decodeReply() {
    bool IsWrite = Packet.CommandType == ovSPWCT_Write;
    if (!decodeHeader(IsWrite ? WriteReplyHeaderSize : ReadReplyHeaderSize))
      return ovSPWRR_TooShort;
    if (IsWrite) {
      Packet.Kind = ovSPWRK_WriteReply;
      decodeReplyStart(Packet.Body.WriteReply);
      return ovSPWRR_Decoded;
    }
    Packet.Kind = Packet.CommandType == ovSPWCT_Read ? ovSPWRK_ReadReply : ovSPWRK_RmwReply;
    orvy_SpwRmapDecodedReadReply &Reply = Packet.Body.ReadReply;
    decodeReplyStart(Reply);
    Reply.DataLength = bigEndian(Bytes + 8, 3);
    Reply.Data = data();
    Reply.AvailableSize = available();
    decodeDataCrc(Reply.DataLength, Reply.DataCRC);
    return ovSPWRR_Decoded;
  }

  /// Decodes the bytes that all replies begin with.
  template <typename Reply> void decodeReplyStart(Reply &R) const {
    R.InitiatorAddress = Bytes[0];
    R.ProtocolId = Bytes[1];
    R.Instruction = Bytes[2];
    R.Status = Bytes[3];
    R.TargetAddress = Bytes[4];
    R.TransactionId = static_cast<uint16_t>(bigEndian(Bytes + 5, 2));
  }

  void decodeDataCrc(uint32_t Length, uint8_t &Crc) const {
    if (available() > Length)
      Crc = Bytes[Packet.HeaderSize + Length];
  }

  uint32_t replyAddressSize() const { return (Bytes[2] & 3u) * 4; }
  uint32_t available() const { return Packet.TotalSize - Packet.HeaderSize; }
  const uint8_t *data() const { return available() ? Bytes + Packet.HeaderSize : nullptr; }

  const uint8_t *Bytes;
  orvy_SpwRmapDecodedPacket &Packet;
};

// Encoding

/// Writes the reply address and the seven bytes that all replies begin with. Returns the position
/// of the rest of the header, or null if there is no room for a header of Size bytes.
uint8_t *encodeReplyStart(const orvy_SpwRmapDecodedCommandHeader &Command, uint8_t *Dest,
                          uint32_t DestSize, uint32_t Size, uint8_t Status) {
  uint32_t Length = Command.ReplyAddressLength;
  if (Length > ORVY_SPW_RMAP_MAX_REPLY_ADDRESS || DestSize < Length + Size)
    return nullptr;
  Dest = std::copy_n(Command.ReplyAddress, Length, Dest);
  *Dest++ = Command.InitiatorAddress;
  *Dest++ = Command.ProtocolId;
  *Dest++ = Command.Instruction & 0x3F;
  *Dest++ = Status;
  *Dest++ = Command.TargetAddress;
  *Dest++ = static_cast<uint8_t>(Command.TransactionId >> 8);
  *Dest++ = static_cast<uint8_t>(Command.TransactionId);
  return Dest;
}

/// The header of a decoded command. The body of every kind of command begins with it.
const orvy_SpwRmapDecodedCommandHeader &headerOf(const orvy_SpwRmapDecodedPacket &Command) {
  return Command.Body.ReadCommand;
}

} // namespace

int orvy_spwRmapDecodeBuffer(const orvy_Buff *Buffer, orvy_SpwRmapDecodedPacket *Decoded) {
  Decoded->TotalSize = orvy_buffLen(Buffer);
  if (Decoded->TotalSize < MinPacketSize)
    return ovSPWRR_TooShort;
  return static_cast<int>(RmapDecoder(orvy_buffReadableData(Buffer), *Decoded).decode());
}

int orvy_spwRmapDecodePacket(const orvy_SpwPacket *Packet, orvy_SpwRmapDecodedPacket *Decoded) {
  return orvy_spwRmapDecodeBuffer(&Packet->Buffer, Decoded);
}

uint32_t orvy_spwRmapHeaderReplySize(const orvy_SpwRmapDecodedPacket *Command) {
  uint32_t Length = headerOf(*Command).ReplyAddressLength;
  switch (Command->CommandType) {
  case ovSPWCT_Write:
    return Length + WriteReplyHeaderSize;
  case ovSPWCT_Read:
  case ovSPWCT_ReadModifyWrite:
    return Length + ReadReplyHeaderSize;
  }
  return 0;
}

uint32_t orvy_spwRmapEncodeReadReplyHeader(const orvy_SpwRmapDecodedCommandHeader *Command,
                                           uint8_t *Dest, uint32_t DestSize, uint8_t Status,
                                           uint32_t DataLength) {
  uint8_t *Rest = encodeReplyStart(*Command, Dest, DestSize, ReadReplyHeaderSize, Status);
  if (!Rest)
    return 0;
  Rest[0] = 0;
  Rest[1] = static_cast<uint8_t>(DataLength >> 16);
  Rest[2] = static_cast<uint8_t>(DataLength >> 8);
  Rest[3] = static_cast<uint8_t>(DataLength);
  Rest[4] = orvy_spwRmapCRC(Rest - 7, ReadReplyHeaderSize - 1);
  return Command->ReplyAddressLength + ReadReplyHeaderSize;
}

uint32_t orvy_spwRmapEncodeWriteReplyHeader(const orvy_SpwRmapDecodedCommandHeader *Command,
                                            uint8_t *Dest, uint32_t DestSize, uint8_t Status) {
  uint8_t *Rest = encodeReplyStart(*Command, Dest, DestSize, WriteReplyHeaderSize, Status);
  if (!Rest)
    return 0;
  *Rest = orvy_spwRmapCRC(Rest - 7, WriteReplyHeaderSize - 1);
  return Command->ReplyAddressLength + WriteReplyHeaderSize;
}

uint32_t orvy_spwRmapEncodeReadReplyHeaderForPacket(const orvy_SpwRmapDecodedPacket *Command,
                                                    uint8_t *Dest, uint32_t DestSize,
                                                    uint8_t Status, uint32_t DataLength) {
  return orvy_spwRmapEncodeReadReplyHeader(&headerOf(*Command), Dest, DestSize, Status, DataLength);
}

uint32_t orvy_spwRmapEncodeRmwHeaderForPacket(const orvy_SpwRmapDecodedPacket *Command,
                                              uint8_t *Dest, uint32_t DestSize, uint8_t Status,
                                              uint32_t DataLength) {
  return orvy_spwRmapEncodeReadReplyHeader(&headerOf(*Command), Dest, DestSize, Status, DataLength);
}

uint32_t orvy_spwRmapEncodeWriteReplyHeaderForPacket(const orvy_SpwRmapDecodedPacket *Command,
                                                     uint8_t *Dest, uint32_t DestSize,
                                                     uint8_t Status) {
  return orvy_spwRmapEncodeWriteReplyHeader(&headerOf(*Command), Dest, DestSize, Status);
}
