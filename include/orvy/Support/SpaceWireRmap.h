/* SpaceWireRmap.h - packets of the Remote Memory Access Protocol, as in ECSS-E-ST-50-52C.
 *
 * A device model decodes the packets that reach it and encodes the headers of its replies. Decoding
 * copies no payload: the records point into the packet's buffer and are valid as long as that is.
 * No CRC is checked while decoding; the model decides, with orvy_spwRmapCRC. Packets are as they
 * arrive, their path address taken off. Nothing here keeps state: any thread may call. */

#ifndef ORVY_SUPPORT_SPACEWIRERMAP_H
#define ORVY_SUPPORT_SPACEWIRERMAP_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** Bytes of the longest reply address. */
#define ORVY_SPW_RMAP_MAX_REPLY_ADDRESS 12

/** A packet on a SpaceWire link. */
typedef struct orvy_SpwPacket {
  uint32_t Kind;    /**< of the model that sends it; nothing here reads it */
  orvy_Buff Buffer; /**< the bytes */
} orvy_SpwPacket;

/** What kind of packet the instruction says. */
typedef ORVY_ENUM(orvy_SpwRmapPacketType){ovSPWPT_Reply = 0, ovSPWPT_Command = 1,
                                          ovSPWPT_Invalid = 2} orvy_SpwRmapPacketType;

/** What a command does or a reply answers. */
typedef ORVY_ENUM(orvy_SpwRmapCommandType){ovSPWCT_Read = 0, ovSPWCT_Write = 1,
                                           ovSPWCT_ReadModifyWrite = 2} orvy_SpwRmapCommandType;

/** Bits of orvy_SpwRmapDecodedPacket::CommandFlags. */
typedef ORVY_ENUM(orvy_SpwRmapCommandFlag){ovSPWCF_Write = 1, ovSPWCF_Verify = 2, ovSPWCF_Reply = 4,
                                           ovSPWCF_Increment = 8} orvy_SpwRmapCommandFlag;

/** Which body a decoded packet has. */
typedef ORVY_ENUM(orvy_SpwRmapKind){ovSPWRK_ReadCommand = 1, ovSPWRK_WriteCommand = 2,
                                    ovSPWRK_RmwCommand = 3,  ovSPWRK_ReadReply = 4,
                                    ovSPWRK_WriteReply = 5,  ovSPWRK_RmwReply = 6} orvy_SpwRmapKind;

/** Results of decoding. */
typedef ORVY_ENUM(orvy_SpwRmapResult){ovSPWRR_Decoded = 0, ovSPWRR_TooShort = 1,
                                      ovSPWRR_InvalidPacketType = 2} orvy_SpwRmapResult;

/** The header of a command. */
typedef struct orvy_SpwRmapDecodedCommandHeader {
  uint8_t TargetAddress;
  uint8_t ProtocolId;
  uint8_t Instruction;
  uint8_t Key;
  uint8_t ReplyAddress[ORVY_SPW_RMAP_MAX_REPLY_ADDRESS]; /**< without its leading zeros */
  uint8_t ReplyAddressLength;                            /**< bytes in ReplyAddress */
  uint8_t InitiatorAddress;
  uint16_t TransactionId;
  uint64_t Address;    /**< the extended address in bits 32 to 39 */
  uint32_t DataLength; /**< 24 bits */
} orvy_SpwRmapDecodedCommandHeader;

/** Body of a write command. */
typedef struct orvy_SpwRmapDecodedWriteCommand {
  orvy_SpwRmapDecodedCommandHeader Header;
  const uint8_t *Data; /**< null when no byte follows the header */
  uint32_t DataSize;   /**< bytes of the buffer after the header, CRC included if it is there */
  uint8_t DataCRC;     /**< set only if the buffer holds a byte after the declared data */
} orvy_SpwRmapDecodedWriteCommand;

/** Body of a read-modify-write command. */
typedef struct orvy_SpwRmapDecodedRmwCommand {
  orvy_SpwRmapDecodedCommandHeader Header;
  uint8_t DataLength;     /**< size of the data and of the mask, low 8 bits */
  const uint8_t *Data;    /**< null when no byte follows the header */
  const uint8_t *Mask;    /**< null unless bytes follow the data */
  uint32_t AvailableSize; /**< bytes of the buffer after the header */
  uint8_t DataCRC;        /**< set only if the buffer holds a byte after the declared data */
} orvy_SpwRmapDecodedRmwCommand;

/** Body of a reply to a read or a read-modify-write. */
typedef struct orvy_SpwRmapDecodedReadReply {
  uint8_t InitiatorAddress;
  uint8_t ProtocolId;
  uint8_t Instruction;
  uint8_t Status;
  uint8_t TargetAddress;
  uint16_t TransactionId;
  uint32_t DataLength;    /**< 24 bits */
  const uint8_t *Data;    /**< null when no byte follows the header */
  uint32_t AvailableSize; /**< bytes of the buffer after the header */
  uint8_t DataCRC;        /**< set only if the buffer holds a byte after the declared data */
} orvy_SpwRmapDecodedReadReply;

/** Body of a reply to a write. */
typedef struct orvy_SpwRmapDecodedWriteReply {
  uint8_t InitiatorAddress;
  uint8_t ProtocolId;
  uint8_t Instruction;
  uint8_t Status;
  uint8_t TargetAddress;
  uint16_t TransactionId;
} orvy_SpwRmapDecodedWriteReply;

/** A packet taken apart. */
typedef struct orvy_SpwRmapDecodedPacket {
  uint32_t TotalSize; /**< bytes in the buffer */
  orvy_SpwRmapPacketType PacketType;
  orvy_SpwRmapCommandType CommandType;
  uint8_t CommandField;  /**< instruction bits 5 to 2 */
  uint8_t CommandFlags;  /**< orvy_SpwRmapCommandFlag bits */
  const uint8_t *Header; /**< start of the buffer */
  uint32_t HeaderSize;   /**< CRC included */
  uint32_t HeaderCRC;    /**< the CRC byte of the header, not checked */
  orvy_SpwRmapKind Kind; /**< tells the member of the body that holds */
  union {
    orvy_SpwRmapDecodedCommandHeader ReadCommand;
    orvy_SpwRmapDecodedWriteCommand WriteCommand;
    orvy_SpwRmapDecodedRmwCommand RmwCommand;
    orvy_SpwRmapDecodedReadReply ReadReply; /**< of a read-modify-write too */
    orvy_SpwRmapDecodedWriteReply WriteReply;
  } Body;
} orvy_SpwRmapDecodedPacket;

ORVY_STATIC_ASSERT(sizeof(orvy_SpwPacket) == 24, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwPacket, Buffer) == 8, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_SpwRmapDecodedCommandHeader) == 40, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedCommandHeader, ReplyAddress) == 4,
                   "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedCommandHeader, ReplyAddressLength) == 16,
                   "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedCommandHeader, TransactionId) == 18,
                   "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedCommandHeader, Address) == 24, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedCommandHeader, DataLength) == 32, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_SpwRmapDecodedWriteCommand) == 56, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedWriteCommand, Data) == 40, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedWriteCommand, DataCRC) == 52, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_SpwRmapDecodedRmwCommand) == 72, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedRmwCommand, Data) == 48, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedRmwCommand, DataCRC) == 68, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_SpwRmapDecodedReadReply) == 32, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedReadReply, TransactionId) == 6, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedReadReply, Data) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedReadReply, DataCRC) == 28, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_SpwRmapDecodedWriteReply) == 8, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_SpwRmapDecodedPacket) == 112, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedPacket, CommandField) == 12, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedPacket, Header) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedPacket, Kind) == 32, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_SpwRmapDecodedPacket, Body) == 40, "boundary record");

/**
 * Takes a packet apart, by the layouts of ECSS-E-ST-50-52C. On failure the fields that
 * were not reached stay as they were.
 * @param Buffer   the bytes; they must outlive what is decoded
 * @param Decoded  receives the packet
 * @return an orvy_SpwRmapResult: 0 decoded, 1 too short for its kind, 2 neither command nor reply
 */
ORVY_API int orvy_spwRmapDecodeBuffer(const orvy_Buff *Buffer, orvy_SpwRmapDecodedPacket *Decoded);
/** Takes a packet apart, as orvy_spwRmapDecodeBuffer does with its buffer, and with its results. */
ORVY_API int orvy_spwRmapDecodePacket(const orvy_SpwPacket *Packet,
                                      orvy_SpwRmapDecodedPacket *Decoded);

/** Bytes that the header of the reply to a decoded command takes, its reply address included; 0 for
 * a command type that does not exist. */
ORVY_API uint32_t orvy_spwRmapHeaderReplySize(const orvy_SpwRmapDecodedPacket *Command);

/** The RMAP CRC of a number of bytes; 0 over a header or data together with the CRC that follows
 * it. */
ORVY_API uint8_t orvy_spwRmapCRC(const void *Bytes, uint32_t Length);
/** The RMAP CRC after one more byte. A CRC starts at 0. */
ORVY_API uint8_t orvy_spwRmapCRCNextCode(uint8_t CRC, uint8_t Byte);

/* Headers of replies: the reply address, then the header with its CRC. The data and its CRC are for
 * the caller to add. The result is the number of bytes written; 0, with nothing written, if the
 * destination is too small or the reply address of the command longer than
 * ORVY_SPW_RMAP_MAX_REPLY_ADDRESS. */

/** Encodes the header of the reply to a read; DataLength is in bytes, of which 24 bits count. */
ORVY_API uint32_t orvy_spwRmapEncodeReadReplyHeader(const orvy_SpwRmapDecodedCommandHeader *Command,
                                                    uint8_t *Dest, uint32_t DestSize,
                                                    uint8_t Status, uint32_t DataLength);
/** Encodes the header of the reply to a write, which is the whole reply. */
ORVY_API uint32_t
orvy_spwRmapEncodeWriteReplyHeader(const orvy_SpwRmapDecodedCommandHeader *Command, uint8_t *Dest,
                                   uint32_t DestSize, uint8_t Status);
/** Encodes the header of the reply to a decoded read command; DataLength as of
 * orvy_spwRmapEncodeReadReplyHeader. The kind of the packet is not checked. */
ORVY_API uint32_t
orvy_spwRmapEncodeReadReplyHeaderForPacket(const orvy_SpwRmapDecodedPacket *Command, uint8_t *Dest,
                                           uint32_t DestSize, uint8_t Status, uint32_t DataLength);
/** Encodes the header of the reply to a decoded read-modify-write command, which has the form of a
 * read reply; DataLength as there. The kind of the packet is not checked. */
ORVY_API uint32_t orvy_spwRmapEncodeRmwHeaderForPacket(const orvy_SpwRmapDecodedPacket *Command,
                                                       uint8_t *Dest, uint32_t DestSize,
                                                       uint8_t Status, uint32_t DataLength);
/** Encodes the header of the reply to a decoded write command. The kind of the packet is not
 * checked. */
ORVY_API uint32_t orvy_spwRmapEncodeWriteReplyHeaderForPacket(
    const orvy_SpwRmapDecodedPacket *Command, uint8_t *Dest, uint32_t DestSize, uint8_t Status);

ORVY_END_C

#endif
