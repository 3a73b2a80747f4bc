// Runs a fuzz target without a fuzzer: over every file of a folder, and over the beginnings of each.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <sanitizer/lsan_interface.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size);

int main(int Argc, char **Argv) {
  if (Argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", Argv[0]);
    return 1;
  }
  unsigned Files = 0;
  for (const auto &Entry : std::filesystem::directory_iterator(Argv[1])) {
    std::ifstream File(Entry.path(), std::ios::binary);
    const std::vector<char> Bytes(std::istreambuf_iterator<char>(File), {});
    constexpr size_t Parts = 64;
    for (size_t Part = 1; Part <= Parts; ++Part) {
      // A copy of the length that is tried: the sanitizer sees a read past its end.
      std::vector<uint8_t> Input;
      Input.reserve(1); // an empty one has an address too
      Input.assign(Bytes.begin(), Bytes.begin() + Bytes.size() * Part / Parts);
      LLVMFuzzerTestOneInput(Input.data(), Input.size());
    }
    ++Files;
  }
  if (Files == 0)
    std::fprintf(stderr, "no seeds in %s\n", Argv[1]);
  // Now, as the targets leave objects that the destructors of the library do not dispose of.
  __lsan_do_leak_check();
  std::_Exit(Files == 0);
}
