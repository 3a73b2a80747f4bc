// The debug information of a file, with every query and listing.

#include "Fuzz.h"
#include "Testing/DwarfUse.h"

using namespace orvy;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  fuzz::memory();
  testing::Silence Quiet;
  testing::MemoryFile File(fuzz::textOf(Data, Size));
  orvy_Dwarf Dwarf = nullptr;
  int Result = orvy_loadDebugInfo(File.path().c_str(), &Dwarf);
  fuzz::require((Result == 0) == (Dwarf != nullptr), "a handle comes with success alone");
  if (Dwarf)
    testing::useDwarf(Dwarf, 1000);
  orvy_disposeDebugInfo(Dwarf);
  return 0;
}
