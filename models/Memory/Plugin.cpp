// The entry point of the plug-in Memory: classes Ram, Rom and MemorySpace, and the
// command memory-map.

#include "MapCommand.h"
#include "MemorySpace.h"
#include "Ram.h"

#include "orvy/Support/Export.h"

extern "C" ORVY_API void orvy_pluginInit(void) {
  memory::registerRam();
  memory::registerRom();
  memory::registerMemorySpace();
  memory::registerMapCommand();
}
