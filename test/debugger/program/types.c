/* Values and calls of many kinds, at each call of probe. The windows are flushed there, for debuggers
 * that see only memory. */
#include "board.h"
typedef unsigned long size_type;
enum color { RED, GREEN = 5, BLUE = -3 };
enum flags { F_NONE = 0, F_A = 1, F_B = 2, F_C = 4, F_D = 0x30 };
struct point {
  short x, y;
};
struct node {
  int value;
  struct node *next;
  const char *name;
};
union word {
  u32 whole;
  u16 half[2];
  u8 bytes[4];
  struct {
    unsigned lo : 5, mid : 10;
    signed hi : 7;
  } bits;
};
struct mixed {
  char letter;
  signed char small;
  u8 octet;
  short s;
  u16 us;
  int i;
  unsigned u;
  long l;
  long long ll;
  u64 ull;
  float f;
  double d;
  _Bool flag;
  enum color c;
  enum flags fl;
  struct point corners[4];
  union word w;
  int matrix[3][4];
  char text[16];
  const char *label;
  void (*handler)(int);
  struct node *head;
  struct {
    int a;
    union {
      int b;
      float c;
    };
  } inner;
  unsigned b1 : 1, b2 : 3;
  int b3 : 12;
  enum color bc : 4;
  long long b40 : 40;
  u8 zeros[40];
  int many[300];
};
struct mixed state = {'a',
                      -5,
                      200,
                      -1234,
                      54321,
                      -100000,
                      4000000000u,
                      -7,
                      -123456789012345LL,
                      0xfedcba9876543210ULL,
                      3.14159f,
                      -2.718281828459045,
                      1,
                      GREEN,
                      F_A | F_C,
                      {{1, 2}, {3, 4}, {5, 6}, {7, -8}},
                      {0xdeadbeef},
                      {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}},
                      "hello\n\t\"x\"",
                      "a label",
                      0,
                      0,
                      {42, {7}},
                      1,
                      5,
                      -100,
                      RED,
                      -5000000000LL,
                      {0},
                      {1, 2, 3}};
struct node nodes[3] = {{1, &nodes[1], "one"}, {2, &nodes[2], "two"}, {3, 0, 0}};
static volatile int counter = 17;
const u32 table[8] = {1, 1, 2, 3, 5, 8, 13, 21};
char longtext[300] = "start";
double reals[] = {1.0, -0.0, 1e300, 1.5e-10, 0.1};
float floats[] = {1.0f, 0.1f, 3e38f, 1e-20f};
struct point *points[2] = {&state.corners[1], 0};
int (*functions[2])(int);
size_type sz = 99;
volatile u8 *device = (volatile u8 *)0x80000100;
void *nothing = (void *)&counter;
const char *const words[] = {"alpha", "beta", 0};
void irqHandler(int Level) {
  counter += Level;
}
__attribute__((noinline)) void probe(int n) {
  __asm__ volatile(
      "save %%sp,-96,%%sp\nsave %%sp,-96,%%sp\nsave %%sp,-96,%%sp\nsave %%sp,-96,%%sp\nsave "
      "%%sp,-96,%%sp\nsave %%sp,-96,%%sp\nsave "
      "%%sp,-96,%%sp\nrestore\nrestore\nrestore\nrestore\nrestore\nrestore\nrestore\n" ::
          : "memory");
  counter += n;
}
static inline __attribute__((always_inline)) int inl(int a, int b) {
  int r = a * b;
  probe(r);
  return r + a;
}
__attribute__((noinline)) int fact(int n) {
  int r = 1;
  if (n > 1)
    r = n * fact(n - 1);
  else
    probe(n);
  return r;
}
__attribute__((noinline)) struct point makepoint(int a, int b) {
  struct point p = {(short)a, (short)b};
  probe(a);
  return p;
}
__attribute__((noinline)) long long average(const double *v, int n, float scale, double whole,
                                            long long bias) {
  long long sum = 0;
  int i;
  for (i = 0; i < n; i++) {
    double part = v[i];
    sum += i * 3 + bias;
    if (i == 2) {
      probe(i);
      {
        const u32 *q = (const u32 *)&part;
        sum += q[0];
      }
      (void)whole;
    }
  }
  {
    union {
      float f;
      int i;
    } un;
    un.f = scale;
    return sum + un.i;
  }
}
__attribute__((noinline)) int walk(struct node *list, struct mixed m, enum color c, char ch) {
  int total = 0;
  static int calls = 3;
  calls++;
  for (struct node *n = list; n; n = n->next) {
    int here = n->value;
    total += here;
    {
      char buf[8] = "inner";
      buf[5] = ch;
      total += buf[0];
      probe(total);
    }
  }
  return total + m.i + (int)c;
}
__attribute__((noinline)) int tree(int depth, unsigned seed) {
  int sum = (int)seed;
  probe(depth);
  for (int i = 0; i < 3 && depth > 0; i++)
    sum += tree(depth - 1, seed * 3 + (unsigned)i);
  return sum;
}
int twice(int x) {
  return 2 * x;
}
int main(void) {
  int local = 5;
  struct mixed copy = state;
  unsigned char bytes[4] = {1, 2, 3, 4};
  functions[0] = twice;
  functions[1] = fact;
  state.head = nodes;
  state.handler = irqHandler;
  copy.i = 77;
  probe(0);
  local += fact(5);
  local += inl(local, 3);
  struct point p = makepoint(3, 4);
  average(reals, 3, 2.5f, 1e10, -9);
  local += walk(nodes, copy, BLUE, '!');
  probe(local + p.x + bytes[2]);
  local += tree(3, 7);
  return local;
}
