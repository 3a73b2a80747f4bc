/* echo.c - answers what is typed, in capitals, until a line is a single dot. */

#include "board.h"

#define UART_RX_READY 1u
#define UART_RX_ON 1u

static char getChar(void) {
  UART_CONTROL |= UART_RX_ON;
  while (!(UART_STATUS & UART_RX_READY))
    ;
  return (char)UART_DATA;
}

static char capital(char C) {
  return C >= 'a' && C <= 'z' ? (char)(C - 'a' + 'A') : C;
}

int main(void) {
  int Column = 0;
  int IsDot = 0;
  putText("Type:\n");
  for (;;) {
    char C = getChar();
    if (C == '\r')
      C = '\n';
    putChar(capital(C));
    if (C == '\n' && IsDot)
      return 0;
    IsDot = C == '.' && Column == 0;
    Column = C == '\n' ? 0 : Column + 1;
  }
}
