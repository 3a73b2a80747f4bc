#include "InternalError.h"

#include <cstdio>
#include <cstdlib>

void orvy::internalError(const char *File, int Line, const char *What) {
  std::fprintf(stderr, "internal error: %s:%d: %s\n", File, Line, What);
  std::abort();
}
