#include "board.h"

__attribute__((weak)) void irqHandler(int Level) { (void)Level; }

void putChar(char C) {
  UART_CONTROL |= UART_TX_ON;
  while (!(UART_STATUS & UART_TX_READY))
    ;
  UART_DATA = (u8)C;
}

void putText(const char *Text) {
  while (*Text)
    putChar(*Text++);
}

void putHex(u32 Value) {
  putText("0x");
  for (int Shift = 28; Shift >= 0; Shift -= 4)
    putChar("0123456789abcdef"[Value >> Shift & 15]);
}

void putNumber(u32 Value) {
  char Digits[10];
  int Count = 0;
  do
    Digits[Count++] = (char)('0' + Value % 10);
  while ((Value /= 10) != 0);
  while (Count > 0)
    putChar(Digits[--Count]);
}

/* What the compiler calls for structures and loops over bytes. */

void *memcpy(void *To, const void *From, unsigned Count) {
  u8 *T = To;
  const u8 *F = From;
  while (Count--)
    *T++ = *F++;
  return To;
}

void *memset(void *To, int Value, unsigned Count) {
  u8 *T = To;
  while (Count--)
    *T++ = (u8)Value;
  return To;
}
