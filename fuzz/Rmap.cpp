// Packets of the remote memory access protocol: decoding, and the replies to what was decoded.

#include "Fuzz.h"

#include "orvy/Support/Containers.h"
#include "orvy/Support/SpaceWireRmap.h"

#include <cstring>
#include <vector>

using namespace orvy;

namespace {

/// A view that begins and ends within a larger block, as a packet without its path address does.
struct View {
  View(const uint8_t *Data, size_t Size, uint32_t Before)
      : Buffer(orvy_buffCreate(static_cast<uint32_t>(Size) + Before)) {
    if (Size > 0)
      std::memcpy(orvy_buffWritableData(&Buffer) + Before, Data, Size);
    orvy_buffRemoveHead(&Buffer, Before);
  }
  ~View() { orvy_buffDispose(&Buffer); }
  View(const View &) = delete;
  View &operator=(const View &) = delete;

  orvy_Buff Buffer;
};

/// Reads all bytes that a decoded packet points to: the sanitizer sees those outside.
unsigned readThrough(const uint8_t *Data, uint32_t Size) {
  unsigned Sum = 0;
  for (uint32_t Index = 0; Data && Index < Size; ++Index)
    Sum += Data[Index];
  return Sum;
}

void checkBody(const orvy_SpwRmapDecodedPacket &P) {
  uint32_t Available = P.TotalSize - P.HeaderSize;
  switch (P.Kind) {
  case ovSPWRK_WriteCommand:
    fuzz::require(P.Body.WriteCommand.DataSize == Available, "all that follows is told");
    readThrough(P.Body.WriteCommand.Data, Available);
    break;
  case ovSPWRK_RmwCommand: {
    const auto &R = P.Body.RmwCommand;
    readThrough(R.Data, R.AvailableSize);
    uint32_t Half = R.Header.DataLength / 2;
    fuzz::require(!R.Mask || R.AvailableSize > Half, "a mask has a byte at least");
    if (R.Mask)
      readThrough(R.Mask, R.AvailableSize - Half);
    break;
  }
  case ovSPWRK_ReadReply:
  case ovSPWRK_RmwReply:
    readThrough(P.Body.ReadReply.Data, P.Body.ReadReply.AvailableSize);
    break;
  default:
    break;
  }
}

/// The reply to a command decodes, with good CRCs and the fields that it took from the command.
void checkReply(const orvy_SpwRmapDecodedPacket &Command) {
  const orvy_SpwRmapDecodedCommandHeader &Header = Command.Body.ReadCommand;
  fuzz::require(Header.ReplyAddressLength <= 12, "a reply address fits");
  std::vector<uint8_t> Reply(orvy_spwRmapHeaderReplySize(&Command));
  auto Size = static_cast<uint32_t>(Reply.size());
  bool IsWrite = Command.Kind == ovSPWRK_WriteCommand;
  auto Encode = [&](uint32_t Room) {
    return IsWrite ? orvy_spwRmapEncodeWriteReplyHeaderForPacket(&Command, Reply.data(), Room, 0)
                   : orvy_spwRmapEncodeReadReplyHeaderForPacket(&Command, Reply.data(), Room, 0,
                                                                Header.DataLength);
  };
  fuzz::require(Encode(Size - 1) == 0 && Encode(Size) == Size, "a header is as long as told");
  uint32_t Path = Header.ReplyAddressLength;
  fuzz::require(orvy_spwRmapCRC(Reply.data() + Path, Size - Path) == 0, "a header has its CRC");
  View Back(Reply.data() + Path, Size - Path, 0);
  orvy_SpwRmapDecodedPacket Decoded{};
  fuzz::require(orvy_spwRmapDecodeBuffer(&Back.Buffer, &Decoded) == 0, "a reply decodes");
  fuzz::require(Decoded.CommandType == Command.CommandType, "a reply is of the command's type");
  fuzz::require(Decoded.Body.WriteReply.TransactionId == Header.TransactionId,
                "a reply names its transaction");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  View Packet(Data, Size, 3);
  orvy_SpwRmapDecodedPacket P{};
  int Result = orvy_spwRmapDecodeBuffer(&Packet.Buffer, &P);
  fuzz::require(P.TotalSize == Size, "the size is told");
  if (Result != 0)
    return 0;
  fuzz::require(P.HeaderSize <= Size && P.Header == orvy_buffReadableData(&Packet.Buffer),
                "the header lies in the buffer");
  checkBody(P);
  if (P.PacketType == ovSPWPT_Command)
    checkReply(P);
  uint8_t Running = 0;
  for (size_t Index = 0; Index < Size; ++Index)
    Running = orvy_spwRmapCRCNextCode(Running, Data[Index]);
  fuzz::require(orvy_spwRmapCRC(Data, static_cast<uint32_t>(Size)) == Running,
                "a CRC is that of its bytes in turn");
  return 0;
}
