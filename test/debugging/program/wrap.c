#include "orbit.h"

static int turns(int Angle) {
  return Angle / 360;
}

int wrap(int Angle) {
  int Whole = turns(Angle);
  __asm__ volatile("swap [%0], %1" : : "r"(&lock), "r"(Whole) : "memory");
  return Angle - Whole * 360;
}
