// The ELF loader, and the queries that read the same files.

#include "Fuzz.h"
#include "Images/LoaderElf.h"

#include "orvy/Support/Loader.h"

#include <exception>

using namespace orvy;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  testing::MemoryFile File(fuzz::textOf(Data, Size));
  std::string Path = File.path();
  uint64_t StartAddr = 0;
  int Result = orvy_loadElfImageAndStartAddr(&fuzz::memory(), Path.c_str(), &StartAddr);
  size_t Writes = fuzz::memory().take().size();
  fuzz::require(Writes <= Size / sizeof(Elf32_Phdr), "each write has its header in the file");
  size_t Ranges = getELFRanges(Path.c_str()).size();
  fuzz::require(Result != 0 || (Ranges <= Writes && (Ranges == 0) == (Writes == 0)),
                "the ranges of a good file are those of its writes");
  try {
    orvy_elfHasDwarf(Path.c_str());
  } catch (const std::exception &) {
    // Sections that cannot be read are told so.
  }
  return 0;
}
