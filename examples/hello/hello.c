/* hello.c - says hello, and goes. */

#include "board.h"

int main(void) {
  putText("Hello from SPARC V8!\n");
  return 0;
}
