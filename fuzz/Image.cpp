// Which format a file is in, and the loader that is chosen for it.

#include "Fuzz.h"

#include "orvy/Support/Loader.h"

using namespace orvy;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  fuzz::InputAsFile File(Data, Size);
  orvy_FileType Type = orvy_identifyImageFormat(File.path());
  fuzz::require(orvy_imageIsELF(File.path()) == (Type == ovFT_Elf), "both say the same");

  uint64_t StartAddr = 1;
  int Result = orvy_loadImageAndStartAddr(&fuzz::memory(), File.path(), &StartAddr);
  fuzz::memory().take();
  fuzz::require(Result == 0 || Type == ovFT_Elf, "only ELF files are rejected");

  int Relocated = orvy_loadRelocatedImage(&fuzz::memory(), File.path(), 0x40000000);
  fuzz::require(Result == Relocated, "both loads come to the same");
  fuzz::memory().take();

  orvy_loadBinaryImage(&fuzz::memory(), File.path(), 0x1000);
  std::vector<testing::Write> Raw = fuzz::memory().take();
  fuzz::require(Raw.size() == 1 && Raw[0].Len == Size, "raw bytes make one write");

  std::string Name(reinterpret_cast<const char *>(Data), Size);
  Name = Name.substr(0, Name.find('\0')) + ".mot";
  fuzz::require(orvy_identifyImageFormat(Name.c_str()) == ovFT_Srec, "the last extension decides");
  return 0;
}
