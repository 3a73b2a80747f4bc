#include "Base/InternalError.h"

#include <cstdio>
#include <cstdlib>
#include <string>

void orvy::internalError(const char *File, int Line, const char *What) {
  std::fprintf(stderr, "internal error: %s:%d: %s\n", File, Line, What);
  std::abort();
}

void orvy::nullFunction(const char *File, int Line, const char *Caller) {
  internalError(File, Line, (std::string(Caller) + ": the function to call is null").c_str());
}
