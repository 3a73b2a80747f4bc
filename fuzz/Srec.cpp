// The S-record loader, and the checks of a line.

#include "Fuzz.h"

#include "orvy/Support/Loader.h"

using namespace orvy;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  testing::MemoryFile File(fuzz::textOf(Data, Size));
  std::string Path = File.path();
  uint32_t StartAddr = 1;
  int Result = orvy_loadSrecImageAndStartAddr(&fuzz::memory(), Path.c_str(), &StartAddr);
  fuzz::require(Result == 0, "nothing in a file makes a load fail");
  for (const testing::Write &W : fuzz::memory().take())
    fuzz::require(W.Addr <= UINT32_MAX && W.Len <= 252, "a write is what a record can hold");

  std::string_view Line = fuzz::textOf(Data, Size);
  Line = Line.substr(0, Line.find('\n'));
  fuzz::require(srecLineType(Line) <= 10, "a line has a type");
  srecCrcCheck(Line);
  return 0;
}
