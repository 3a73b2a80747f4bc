#include "orvy/Support/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

static winsize terminalSize() {
  winsize Size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &Size) != 0)
    Size = {};
  return Size;
}

uint32_t orvy::term::getTermCols() {
  const uint32_t Cols = terminalSize().ws_col;
  return Cols ? Cols : 80;
}

uint32_t orvy::term::getTermRows() {
  const uint32_t Rows = terminalSize().ws_row;
  return Rows ? Rows : 24;
}
