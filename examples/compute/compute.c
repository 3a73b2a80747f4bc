/* compute.c - checks itself: arithmetic, carries, windows, memory in all widths, bits, and a checksum over
 * everything, repeated until it has run a while. */

#include "board.h"

static u32 Failures;
static u32 Sum = 2166136261u;

/* Kept out of the compiler's sight, so that it must compute what is checked. */
static u32 opaque(u32 Value) {
  __asm__ volatile("" : "+r"(Value));
  return Value;
}

static void mix(u32 Value) {
  for (int Byte = 0; Byte < 4; ++Byte) {
    Sum = (Sum ^ (Value & 255)) * 16777619u;
    Value >>= 8;
  }
}

static void check(const char *What, u32 Got, u32 Expected) {
  mix(Got);
  if (Got == Expected)
    return;
  ++Failures;
  putText("compute: ");
  putText(What);
  putText(": got ");
  putHex(Got);
  putText(", expected ");
  putHex(Expected);
  putChar('\n');
}

static void arithmetic(void) {
  u32 A = opaque(0x80000001u), B = opaque(0x7fffffffu);
  check("add", A + B, 0);
  check("sub", B - A, 0xfffffffeu);
  check("umul low", A * B, 0xffffffffu);
  check("umul high", (u32)((u64)A * B >> 32), 0x3fffffffu);
  check("smul high", (u32)((u64)((i64)(int)A * (int)B) >> 32), 0xc0000000u);
  check("udiv", opaque(0xfffffffeu) / opaque(7), 613566756);
  check("urem", opaque(0xfffffffeu) % opaque(7), 2);
  check("sdiv", (u32)((int)opaque((u32)-100) / (int)opaque(7)), (u32)-14);
  check("srem", (u32)((int)opaque((u32)-100) % (int)opaque(7)), (u32)-2);
}

static void carries(void) {
  u64 A = (u64)opaque(0xffffffffu) << 32 | opaque(0xffffffffu);
  u64 B = A + opaque(1);
  check("carry out", (u32)(B >> 32) | (u32)B, 0);
  u64 C = ((u64)opaque(1) << 32) - opaque(1);
  check("borrow low", (u32)C, 0xffffffffu);
  check("borrow high", (u32)(C >> 32), 0);
  u64 D = C * C;
  check("wide mul low", (u32)D, 1);
  check("wide mul high", (u32)(D >> 32), 0xfffffffeu);
  check("shift over", (u32)(D << opaque(4) >> 36), 0x0ffffffeu);
}

/* Deeper than there are windows, with something to restore in each. */
static u32 ackermann(u32 M, u32 N) {
  if (M == 0)
    return N + 1;
  if (N == 0)
    return ackermann(M - 1, 1);
  return ackermann(M - 1, ackermann(M, N - 1));
}

static u32 depth(u32 Levels, u32 A, u32 B, u32 C) {
  if (Levels == 0)
    return A ^ B ^ C;
  u32 Below = depth(Levels - 1, B + 1, C + 2, A + 3);
  return Below + A * 3 + B * 5 + C * 7;
}

static void windows(void) {
  check("ackermann", ackermann(2, opaque(9)), 21);
  check("depth", depth(opaque(40), 1, 2, 3), depth(40, 1, 2, 3));
  u32 Expected = 0;
  for (u32 Level = 0; Level <= 20; ++Level)
    Expected = depth(Level, 4, 5, 6);
  check("depth again", depth(opaque(20), 4, 5, 6), Expected);
}

static void memory(void) {
  static union {
    u8 Bytes[16];
    u16 Halves[8];
    u32 Words[4];
    u64 Doubles[2];
  } M;
  for (u32 Index = 0; Index < 16; ++Index)
    M.Bytes[Index] = (u8)(opaque(Index) * 17);
  check("half", M.Halves[opaque(1)], 0x2233);
  check("word", M.Words[opaque(2)], 0x8899aabbu);
  check("double high", (u32)(M.Doubles[opaque(1)] >> 32), 0x8899aabbu);
  check("double low", (u32)M.Doubles[opaque(1)], 0xccddeeffu);
  M.Doubles[0] = ((u64)opaque(0x01020304) << 32) | opaque(0x85868788u);
  check("signed byte", (u32)(int)(signed char)M.Bytes[opaque(4)], 0xffffff85u);
  check("signed half", (u32)(int)(short)M.Halves[opaque(3)], 0xffff8788u);
  M.Halves[opaque(0)] = 0xbeef;
  check("after half", M.Words[0], 0xbeef0304u);
}

static u32 bitCount(u32 Value) {
  u32 Count = 0;
  for (; Value; Value &= Value - 1)
    ++Count;
  return Count;
}

static void bits(void) {
  check("popcount", bitCount(opaque(0xa5a50ff0u)), 16);
  check("sra", (u32)((int)opaque(0x80000000u) >> opaque(31)), 0xffffffffu);
  check("srl", opaque(0x80000000u) >> opaque(31), 1);
  check("sll", opaque(3) << opaque(30), 0xc0000000u);
  check("andn", opaque(0xffff00ffu) & ~opaque(0x0f0f0f0fu), 0xf0f000f0u);
  check("xnor", ~(opaque(0x12345678) ^ opaque(0x0f0f0f0f)), 0xe2c4a688u);
  u32 Crc = 0xffffffffu;
  for (u32 Byte = 0; Byte < 64; ++Byte) {
    Crc ^= Byte;
    for (int Bit = 0; Bit < 8; ++Bit)
      Crc = Crc >> 1 ^ (Crc & 1 ? 0xedb88320u : 0);
  }
  check("crc32 of 0..63", ~Crc, 0x100ece8cu);
}

int main(void) {
  for (u32 Round = 0; Round < 2000 && !Failures; ++Round) {
    arithmetic();
    carries();
    windows();
    memory();
    bits();
  }
  putText("compute: checksum ");
  putHex(Sum);
  putText(Failures ? " FAILED\n" : " passed\n");
  return (int)Failures;
}
