// The entry point of the plug-in Board: component classes Board and Unit. It loads the plug-ins
// with the classes of a board's parts.

#include "Board.h"

extern "C" ORVY_API void orvy_pluginInit(void) {
  constexpr const char *Needs[][2] = {
      {"MemorySpace", "Memory"},
      {"SparcV8", "SparcV8"},
      {"Uart", "Devices"},
  };
  for (const auto &[Class, Plugin] : Needs)
    if (!orvy_classForName(Class) && orvy_loadPlugin(Plugin) != 0)
      orvy_logConfigError(nullptr, "boards cannot be created without the plug-in '%s'", Plugin);
  board::registerBoard();
  board::registerUnit();
}
