/* Lines of another file within a function. */

static inline __attribute__((always_inline)) int inlined(int X) {
  int Local = X * 3;
  return Local + Sink + (int)(Limit >> 40);
}
