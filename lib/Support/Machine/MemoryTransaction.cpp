// Single accesses, as a processor makes them.

#include "orvy/Support/Memory.h"

#include "Objsys/ObjectKinds.h"

using namespace orvy;

namespace {

constexpr uint32_t Failed = UINT32_MAX;

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

} // namespace

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
