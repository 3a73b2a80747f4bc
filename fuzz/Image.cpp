// Which format a file is in, and the loader that is chosen for it.

#include "Fuzz.h"

#include "orvy/Support/Loader.h"

using namespace orvy;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  testing::MemoryFile File(fuzz::textOf(Data, Size));
  std::string Path = File.path();
  orvy_FileType Type = orvy_identifyImageFormat(Path.c_str());
  fuzz::require(orvy_imageIsELF(Path.c_str()) == (Type == ovFT_Elf), "both say the same");

  uint64_t StartAddr = 1;
  int Result = orvy_loadImageAndStartAddr(&fuzz::memory(), Path.c_str(), &StartAddr);
  fuzz::memory().take();
  fuzz::require(Result == 0 || Type == ovFT_Elf, "only ELF files are rejected");

  int Relocated = orvy_loadRelocatedImage(&fuzz::memory(), Path.c_str(), 0x40000000);
  fuzz::require(Result == Relocated, "both loads come to the same");
  fuzz::memory().take();

  orvy_loadBinaryImage(&fuzz::memory(), Path.c_str(), 0x1000);
  std::vector<testing::Write> Raw = fuzz::memory().take();
  fuzz::require(Raw.size() == 1 && Raw[0].Len == Size, "raw bytes make one write");

  std::string Name(fuzz::textOf(Data, Size));
  Name = Name.substr(0, Name.find('\0')) + ".mot";
  fuzz::require(orvy_identifyImageFormat(Name.c_str()) == ovFT_Srec, "the last extension decides");
  return 0;
}
