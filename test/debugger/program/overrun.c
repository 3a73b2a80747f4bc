/* A fault to be found: an interrupt handler writes through a pointer to the stack of a function that
 * has returned. */
#include "board.h"

#define SAMPLES 8

struct filter {
  u32 sum;
  u32 count;
  u32 last[SAMPLES];
};

struct job {
  struct filter *filter;
  u32 ticks;
};

static struct job job;
volatile u32 results;

void irqHandler(int Level) {
  (void)Level;
  job.ticks++;
  if (job.filter)
    job.filter->last[job.ticks % SAMPLES] = job.ticks;
}

static __attribute__((noinline)) u32 settle(u32 Rounds) {
  struct filter filter = {0, 0, {0}};
  job.filter = &filter; /* stays there when settle has returned */
  while (filter.count < Rounds) {
    filter.sum += filter.last[filter.count % SAMPLES];
    filter.count++;
  }
  return filter.sum;
}

static __attribute__((noinline)) u32 mix(u32 Value, u32 Depth) {
  u32 part[6] = {Value, Depth, 3, 5, 7, 11};
  if (Depth > 0)
    part[2] = mix(Value + Depth, Depth - 1);
  for (u32 i = 0; i < 6; i++)
    part[0] = part[0] * 33 + part[i];
  return part[0];
}

int main(void) {
  u32 value = settle(100);
  TIMER_SCALER_RELOAD = 0;
  TIMER_RELOAD = 2000;
  IRQ_MASK = 1u << TIMER_IRQ_LEVEL;
  TIMER_CONTROL = TIMER_ENABLE | TIMER_RESTART | TIMER_LOAD | TIMER_IRQ;
  for (;;) {
    value = mix(value, 12);
    results++;
  }
}
