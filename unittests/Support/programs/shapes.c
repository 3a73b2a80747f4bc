/* What a compiler tells of data and of functions of all kinds. */

typedef unsigned int Word;
typedef enum { Red = 1, Green, Blue = -3 } Colour;
enum Limits { Least = -0x7fffffffffffffffll - 1, Most = 0x7fffffffffffffffll }; /* 10 bytes each */
struct Node {
  Word Flags : 3, Rest : 29;
  struct Node *Next;
  union {
    long long Wide;
    char Bytes[8];
  } Value;
};
struct Shape {
  const char *Name;
  Colour Tint;
  int (*Area)(const struct Shape *, int);
  double Matrix[3][4];
};

extern int twice(int);
extern int sum(int Count, ...);
volatile int Sink;
static const enum Limits Limit = Least;
static struct Node Nodes[4];
const struct Shape Shapes[] = {{"square", Green, 0, {{1.5}}}, {"circle", Blue, 0, {{0}}}};

#include "inlined.h"

__attribute__((noinline, cold)) static void fail(int Why) {
  for (int Again = 0; Again < Why; ++Again)
    Sink = Why;
}

__attribute__((noinline)) int walk(struct Node *First, int Limit) {
  static int Calls;
  int Count = 0;
  volatile int Kept = Limit;
  for (struct Node *At = First; At && Count < Kept; At = At->Next) {
    int Square = At->Flags * At->Flags;
    Count += Square > 5 ? twice(Square) : inlined(Square);
    if (__builtin_expect(Count < 0, 0))
      fail(Count);
  }
  ++Calls;
  return Count + Calls;
}

__attribute__((noinline)) int choose(Colour C) {
  switch (C) {
  case Red:
    return twice(1);
  case Green:
    return sum(2, 3, 4);
  default:
    return walk(Nodes, 3);
  }
}

void start(void) {
  Nodes[0].Next = &Nodes[1];
  Sink = choose(Sink) + (int)Shapes[Sink & 1].Matrix[0][0];
}
