#include "MapCommand.h"

#include "orvy/Support/Orvy.h"

namespace memory {

namespace {

int mapDevice(void *Ctxt) {
  void *Space = orvy_cmdGetOptionAsObject(Ctxt, "space");
  void *Device = orvy_cmdGetOptionAsObject(Ctxt, "device");
  auto Addr = static_cast<uint64_t>(orvy_cmdGetOptionAsInteger(Ctxt, "addr"));
  auto Len = static_cast<uint64_t>(orvy_cmdGetOptionAsInteger(Ctxt, "length"));
  uint32_t Result = orvy_cmdOptionIsValid(Ctxt, "iface")
                        ? orvy_memoryMapNamedIface(Space, Addr, Len, Device,
                                                   orvy_cmdGetOptionAsString(Ctxt, "iface"), 0)
                        : orvy_memoryMap(Space, Addr, Len, Device, 0);
  return Result == 0 ? 0 : 1;
}

} // namespace

void registerMapCommand() {
  // The command still exists when the plug-in is loaded again after the object system was cleared.
  static bool IsRegistered = false;
  if (IsRegistered)
    return;
  IsRegistered = true;
  void *Cmd = orvy_createCmd("memory-map", mapDevice, "Map a device into a memory space", nullptr);
  orvy_cmdAddOption(Cmd, "space", ovOK_Object, 1, "Memory space object", nullptr);
  orvy_cmdAddOption(Cmd, "addr", ovOK_Int, 1, "Physical address", nullptr);
  orvy_cmdAddOption(Cmd, "length", ovOK_Int, 1, "Length in bytes", nullptr);
  orvy_cmdAddOption(Cmd, "device", ovOK_Object, 1, "Device to map", nullptr);
  orvy_cmdAddOption(Cmd, "iface", ovOK_String, 0,
                    "Interface of the device that takes the accesses (default = MemAccessIface)",
                    nullptr);
}

} // namespace memory
