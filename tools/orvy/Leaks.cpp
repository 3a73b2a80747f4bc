// Leaks.cpp - what the leak sanitizer is not to complain about; only in builds that have it.

// libedit does not release the names of the functions that are added to it.
extern "C" [[gnu::visibility("default")]] const char *__lsan_default_suppressions() {
  return "leak:wcsdup\n";
}

extern "C" [[gnu::visibility("default")]] const char *__lsan_default_options() {
  return "print_suppressions=0";
}
