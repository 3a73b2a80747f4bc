/* A second unit: calls between units, variable arguments, a weak and an aliased function. */

static int helper(int X) __attribute__((noinline));
int Table[5] = {1, 2, 3};
static char Small;

static int helper(int X) {
  Small = (char)X;
  return X + Table[X & 3];
}

__attribute__((weak)) int twice(int X) {
  return 2 * helper(X);
}

int sum(int Count, ...) {
  __builtin_va_list Args;
  int Total = 0;
  __builtin_va_start(Args, Count);
  while (Count-- > 0)
    Total += __builtin_va_arg(Args, int);
  __builtin_va_end(Args);
  return Total;
}

int total(int Count, ...) __attribute__((alias("sum")));
