/* timer.c - counts ticks of the timer, asleep between them: ten ticks, a millisecond apart at 50 MHz. */

#include "board.h"

static volatile u32 Ticks;

void irqHandler(int Level) {
  if (Level == TIMER_IRQ_LEVEL)
    ++Ticks;
}

int main(void) {
  putText("timer: ");
  TIMER_SCALER_RELOAD = 49; /* a tick of the prescaler is a microsecond */
  TIMER_RELOAD = 999;
  TIMER_CONTROL = TIMER_ENABLE | TIMER_RESTART | TIMER_LOAD | TIMER_IRQ;
  IRQ_MASK = 1u << TIMER_IRQ_LEVEL;

  u32 Seen = 0;
  while (Seen < 10) {
    powerDown();
    if (Ticks != Seen) {
      Seen = Ticks;
      putNumber(Seen);
      putChar(Seen < 10 ? ' ' : '\n');
    }
  }
  TIMER_CONTROL = 0;
  putText("timer: done\n");
  return 0;
}
