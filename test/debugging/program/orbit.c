/* What the cases of this folder stop in. */
#include "orbit.h"

int counter;
int lock;

static int advance(int Angle) {
  int Next = Angle + 15;
  counter = counter + 1;
  return wrap(Next);
}

int main(void) {
  int Angle = 0;
  for (int Turn = 0; Turn < 30; ++Turn)
    Angle = advance(Angle);
  return Angle;
}
