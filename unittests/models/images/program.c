// A program without a host: text, constants, values of every width, and memory that starts as
// zeros.

static const unsigned Word = 0x12345678;
static const unsigned short Halves[] = {0x1122, 0x3344, 0x5566};
static volatile const double Real = -1.5;
static volatile unsigned long long Long = 0x0123456789abcdefull;
static volatile char Text[] = "bytes in file order";
static const unsigned *volatile Pointer = &Word;
static volatile unsigned Cleared[16];

void start(void) {
  for (unsigned Index = 0;; Index = (Index + 1) % 3)
    Cleared[Index] +=
        *Pointer + Halves[Index] + (unsigned)Long + (unsigned)Text[Index] + (Real < 0);
}
