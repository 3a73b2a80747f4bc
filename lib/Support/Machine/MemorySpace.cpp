// What lies where in a memory space, and the attributes of its addresses.

#include "orvy/Support/Memory.h"

#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"

using namespace orvy;

namespace {

constexpr uint32_t Failed = UINT32_MAX;

const MemorySpaceIface *findSpace(void *Space) {
  return static_cast<const MemorySpaceIface *>(orvy_getInterface(Space, "MemorySpaceIface", 0));
}

const MemorySpaceIface &spaceIface(void *Space) {
  const MemorySpaceIface *Iface = findSpace(Space);
  if (!Iface)
    wrongObject(Space, "lacks MemorySpaceIface");
  return *Iface;
}

/// The checks of space and device that both ways of mapping share; null, with an error, if one
/// fails.
const MemorySpaceIface *checkMap(void *Space, void *Device) {
  if (!Space) {
    orvy_logConfigError(nullptr, "invalid memory space object passed to orvy_memoryMap()");
    return nullptr;
  }
  if (!Device) {
    orvy_logConfigError(Space, "invalid object passed to orvy_memoryMap()");
    return nullptr;
  }
  const MemorySpaceIface *Iface = findSpace(Space);
  if (!Iface)
    orvy_logConfigError(Space, "does not implement MemorySpaceIface");
  return Iface;
}

} // namespace

uint32_t orvy_memoryMap(void *Space, uint64_t Addr, uint64_t Len, void *Device, uint64_t Flags) {
  const MemorySpaceIface *Iface = checkMap(Space, Device);
  if (!Iface)
    return Failed;
  return static_cast<uint32_t>(callSlotOr(-1, "MemorySpaceIface.mapDevice", Space, *Iface,
                                          &MemorySpaceIface::mapDevice, Addr, Len, Device,
                                          static_cast<uint32_t>(Flags)));
}

uint32_t orvy_memoryMapNamedIface(void *Space, uint64_t Addr, uint64_t Len, void *Device,
                                  const char *IfaceName, uint64_t Flags) {
  const MemorySpaceIface *Iface = checkMap(Space, Device);
  if (!Iface)
    return Failed;
  if (!orvy_getInterface(Device, IfaceName, -1)) {
    orvy_logConfigError(Device, "does not implement '%s'", IfaceName ? IfaceName : "");
    return Failed;
  }
  return static_cast<uint32_t>(callSlotOr(-1, "MemorySpaceIface.mapNamedIface", Space, *Iface,
                                          &MemorySpaceIface::mapNamedIface, Addr, Len, Device,
                                          IfaceName, static_cast<uint32_t>(Flags)));
}

void orvy_memorySetAttr(void *Space, uint64_t Addr, uint64_t Len, uint32_t Attrs) {
  ORVY_CALL(MemorySpaceIface, setAttr, Space, spaceIface(Space), Addr, Len, Attrs);
}

void orvy_memoryClearAttr(void *Space, uint64_t Addr, uint64_t Len, uint32_t Attrs) {
  ORVY_CALL(MemorySpaceIface, clearAttr, Space, spaceIface(Space), Addr, Len, Attrs);
}

uint32_t orvy_memoryGetAttrs(void *Space, uint64_t Addr) {
  return ORVY_CALL(MemorySpaceIface, getAttrs, Space, spaceIface(Space), Addr);
}
