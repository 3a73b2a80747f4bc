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

using Access = void (*MemAccessIface::*)(void *, orvy_MemTransaction *);

int transact(void *Mem, orvy_MemTransaction *Mt, Access Slot) {
  if (kindOf(Mem) != Kind::Memory)
    return 1;
  auto *Function = memAccessIface(Mem).*Slot;
  (Function ? Function : orvy_memAccessRefuse)(Mem, Mt);
  return (Mt->Flags & ovMF_Failed) != 0;
}

uint32_t accessWord(void *Mem, orvy_MemTransaction &Mt, Access Slot) {
  return kindOf(Mem) == Kind::Memory ? static_cast<uint32_t>(transact(Mem, &Mt, Slot)) : Failed;
}

orvy_MemTransaction wordTransaction(uint64_t Pa, uint32_t Value) {
  orvy_MemTransaction Mt{};
  Mt.Pa = Pa;
  Mt.Value = Value;
  Mt.Size = 2;
  return Mt;
}

/// Place of a part in a big-endian word: its lowest bit and its mask there; an empty mask for a
/// pair that selects no part.
struct Part {
  uint32_t Shift;
  uint32_t Mask;
};

Part partOf(uint32_t WordBytes, uint32_t Size, uint32_t Offset) {
  if (Size > 2 || (1u << Size) > WordBytes || Offset >= WordBytes || Offset % (1u << Size) != 0)
    return {0, 0};
  uint32_t Bytes = 1u << Size;
  uint32_t Shift = (WordBytes - Offset - Bytes) * 8;
  return {Shift, (Bytes == 4 ? UINT32_MAX : (1u << (Bytes * 8)) - 1) << Shift};
}

uint32_t readPart(uint32_t Word, Part P) {
  return (Word & P.Mask) >> P.Shift;
}

uint32_t writePart(uint32_t Old, uint32_t Value, Part P) {
  return (Old & ~P.Mask) | ((Value << P.Shift) & P.Mask);
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

int orvy_memoryFetchTransaction(void *Mem, orvy_MemTransaction *Mt) {
  return transact(Mem, Mt, &MemAccessIface::fetch);
}

int orvy_memoryReadTransaction(void *Mem, orvy_MemTransaction *Mt) {
  return transact(Mem, Mt, &MemAccessIface::read);
}

int orvy_memoryWriteTransaction(void *Mem, orvy_MemTransaction *Mt) {
  return transact(Mem, Mt, &MemAccessIface::write);
}

int orvy_memoryExchangeTransaction(void *Mem, orvy_MemTransaction *Mt) {
  return transact(Mem, Mt, &MemAccessIface::exchange);
}

uint32_t orvy_memoryReadPhys32(void *Mem, uint64_t Pa, uint32_t *Word) {
  orvy_MemTransaction Mt = wordTransaction(Pa, 0);
  uint32_t Result = accessWord(Mem, Mt, &MemAccessIface::read);
  if (Result != Failed)
    *Word = static_cast<uint32_t>(Mt.Value);
  return Result;
}

uint32_t orvy_memoryWritePhys32(void *Mem, uint64_t Pa, uint32_t Word) {
  orvy_MemTransaction Mt = wordTransaction(Pa, Word);
  return accessWord(Mem, Mt, &MemAccessIface::write);
}

uint32_t orvy_normaliseRead32(uint32_t Word, uint32_t Size, uint32_t Offset) {
  return readPart(Word, partOf(4, Size, Offset));
}

uint32_t orvy_normaliseWrite32(uint32_t Old, uint32_t Value, uint32_t Size, uint32_t Offset) {
  return writePart(Old, Value, partOf(4, Size, Offset));
}

uint16_t orvy_normaliseRead16(uint16_t Word, uint32_t Size, uint32_t Offset) {
  return static_cast<uint16_t>(readPart(Word, partOf(2, Size, Offset)));
}

uint16_t orvy_normaliseWrite16(uint16_t Old, uint16_t Value, uint32_t Size, uint32_t Offset) {
  return static_cast<uint16_t>(writePart(Old, Value, partOf(2, Size, Offset)));
}
