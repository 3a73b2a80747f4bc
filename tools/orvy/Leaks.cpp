// Leaks.cpp - suppressions for the leak sanitizer; only in builds that have it.

// libedit does not free the names of added functions.
extern "C" [[gnu::visibility("default")]] const char *__lsan_default_suppressions() {
  return "leak:wcsdup\n";
}

extern "C" [[gnu::visibility("default")]] const char *__lsan_default_options() {
  return "print_suppressions=0";
}
