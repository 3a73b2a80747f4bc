#include "Ram.h"

#include "ByteOrder.h"
#include "Storage.h"

#include <cstring>
#include <vector>

namespace memory {

namespace {

struct Ram {
  orvy_Object Super;
  Storage Bytes;
};

Ram &ramOf(void *Obj) {
  return *static_cast<Ram *>(Obj);
}

/// Page for an access that lies inside; null, with the transaction failed, for any other.
orvy_MemPage *pageFor(Storage &Bytes, orvy_MemTransaction &Mt) {
  if (!Bytes.holds(Mt.Pa, Mt.Size)) {
    Mt.Flags |= ovMF_Failed;
    return nullptr;
  }
  orvy_MemPage &Page = Bytes.page(Mt.Pa);
  Mt.Page = Bytes.isWhole(Mt.Pa) ? &Page : nullptr;
  return &Page;
}

uint32_t offsetOf(const orvy_MemTransaction &Mt) {
  return static_cast<uint32_t>(Mt.Pa) & (ORVY_PAGE_SIZE - 1);
}

void read(void *Obj, orvy_MemTransaction *Mt) {
  if (orvy_MemPage *Page = pageFor(ramOf(Obj).Bytes, *Mt))
    Mt->Value = load(Page->Data + offsetOf(*Mt), Mt->Size);
}

void storeTo(orvy_MemPage &Page, const orvy_MemTransaction &Mt) {
  store(Page.Data + offsetOf(Mt), Mt.Size, Mt.Value);
  orvy_memPageWritten(&Page, offsetOf(Mt), 1u << Mt.Size);
}

void write(void *Obj, orvy_MemTransaction *Mt) {
  if (orvy_MemPage *Page = pageFor(ramOf(Obj).Bytes, *Mt))
    storeTo(*Page, *Mt);
}

void exchange(void *Obj, orvy_MemTransaction *Mt) {
  orvy_MemPage *Page = pageFor(ramOf(Obj).Bytes, *Mt);
  if (!Page)
    return;
  uint64_t Old = load(Page->Data + offsetOf(*Mt), Mt->Size);
  storeTo(*Page, *Mt);
  Mt->Value = Old;
}

void refuse(void *, orvy_MemTransaction *Mt) {
  Mt->Flags |= ovMF_Failed;
}

uint32_t readBytes(void *Obj, void *Data, uint64_t Addr, uint32_t Len, uint32_t Swap) {
  if (Swap > MaxSwap)
    return 0;
  auto *Bytes = static_cast<uint8_t *>(Data);
  uint32_t Done = ramOf(Obj).Bytes.read(Bytes, Addr, Len);
  swapUnits(Bytes, Done, Swap);
  return Done;
}

uint32_t writeBytes(void *Obj, uint64_t Addr, uint32_t Len, const void *Data, uint32_t Swap) {
  const auto *Bytes = static_cast<const uint8_t *>(Data);
  if (Swap == 0)
    return ramOf(Obj).Bytes.write(Addr, Bytes, Len);
  if (Swap > MaxSwap)
    return 0;
  std::vector<uint8_t> Swapped(Bytes, Bytes + Len);
  swapUnits(Swapped.data(), Len, Swap);
  return ramOf(Obj).Bytes.write(Addr, Swapped.data(), Len);
}

void setSize(Ram &R, uint64_t Size) {
  if (R.Bytes.size() != Size && !R.Bytes.resize(Size))
    orvy_logConfigError(&R, "cannot set the size to %lu bytes: %s",
                        static_cast<unsigned long>(Size),
                        R.Bytes.isTouched() ? "the memory is in use" : "it is too large");
}

void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
  auto *R = new Ram{};
  uint64_t Size = 0;
  for (int Index = 0; Index < Argc; ++Index)
    if (std::strcmp(Args[Index].Key, "size") == 0 && orvy_isNumber(Args[Index].Val))
      Size = orvy_asUnsigned(Args[Index].Val);
  // The object is not known to the system yet, so it cannot be the source of a message.
  if (Size == 0)
    orvy_logConfigWarning(nullptr, "memory '%s' is created without the argument size, and empty",
                          Name);
  else if (!R->Bytes.resize(Size))
    orvy_logConfigError(nullptr, "memory '%s' cannot have %lu bytes, it is empty", Name,
                        static_cast<unsigned long>(Size));
  return R;
}

void dispose(void *Obj) {
  delete &ramOf(Obj);
}

orvy_Propval number(uint64_t Value) {
  orvy_Propval Result{};
  Result.Typ = ovTY_U64;
  Result.u64 = Value;
  return Result;
}

MemAccessIface RamAccess = {read, read, write, exchange};
MemAccessIface RomAccess = {read, read, refuse, refuse};
MemoryIface Block = {readBytes, writeBytes};

void registerMemory(const char *Name, MemAccessIface *Access, void **Table) {
  orvy_Class *Cls = orvy_registerClass(Name, create, dispose);
  orvy_qualifyAsMemory(Cls);
  orvy_setVTable(Cls, Table);
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", Access, 0, "Single accesses");
  orvy_addInterface(Cls, "MemoryIface", "MemoryIface", &Block, 0, "Block accesses");
  orvy_addPseudoProperty(
      Cls, "size", ovTY_U64, 1, nullptr, nullptr,
      [](void *Obj, orvy_Propval Value, int) { setSize(ramOf(Obj), orvy_asUnsigned(Value)); },
      [](void *Obj, int) { return number(ramOf(Obj).Bytes.size()); },
      "Size in bytes; fixed once the memory is in use");
  orvy_addPseudoProperty(
      Cls, "touchedPages", ovTY_U64, 1, nullptr, nullptr, nullptr,
      [](void *Obj, int) { return number(ramOf(Obj).Bytes.touchedPages()); },
      "Pages of host memory in use, of 4096 bytes each");
}

} // namespace

void registerRam() {
  static void *Table[] = {&RamAccess, &Block};
  registerMemory("Ram", &RamAccess, Table);
}

void registerRom() {
  static void *Table[] = {&RomAccess, &Block};
  registerMemory("Rom", &RomAccess, Table);
}

} // namespace memory
