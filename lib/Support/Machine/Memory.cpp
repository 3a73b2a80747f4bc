// Blocks of bytes, read and written through the table of a memory.

#include "orvy/Support/Memory.h"

#include "Base/ActiveRun.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"

using namespace orvy;

namespace {

constexpr uint32_t Failed = UINT32_MAX;

/// The block interface of a memory or of any object that publishes one; null, with an error, if it
/// has none. The address may be anything.
const MemoryIface *findMemory(void *Obj) {
  orvy_Class *Class = orvy_classForObject(Obj);
  if (Class && !orvy_isExternal(Obj) && kindOf(Obj) == Kind::Memory)
    return &tableWord<MemoryIface>(Obj, 1);
  auto *Iface = static_cast<const MemoryIface *>(orvy_getInterface(Obj, "MemoryIface", 0));
  if (!Iface)
    orvy_logError(Obj, "could not find interface memif\n");
  return Iface;
}

} // namespace

uint32_t orvy_memoryRead(void *Obj, void *Data, uint64_t Addr, uint32_t Len, uint32_t Swap) {
  const ActiveRun Busy; // the device must not restore a checkpoint
  const MemoryIface *Iface = findMemory(Obj);
  return Iface ? callSlotOr(Failed, "MemoryIface.readBytes", Obj, *Iface, &MemoryIface::readBytes,
                            Data, Addr, Len, Swap)
               : Failed;
}

uint32_t orvy_memoryWrite(void *Obj, uint64_t Addr, const void *Data, uint32_t Len, uint32_t Swap) {
  const ActiveRun Busy;
  const MemoryIface *Iface = findMemory(Obj);
  return Iface ? callSlotOr(Failed, "MemoryIface.writeBytes", Obj, *Iface, &MemoryIface::writeBytes,
                            Addr, Len, Data, Swap)
               : Failed;
}
