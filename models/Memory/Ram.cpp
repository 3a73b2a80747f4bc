#include "Ram.h"

#include "../Checkpoint.h"
#include "ByteOrder.h"
#include "Storage.h"

#include <climits>
#include <cstring>
#include <memory>
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

/// The page for an access. Returns null and fails the transaction if the access is not inside.
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

void *create(const char *ClsName, const char *Name, int Argc, const orvy_CreateArg *Args) {
  uint64_t Size = 0;
  const orvy_ArgSpec Specs[] = {
      {"size", ovAK_Size, &Size, 1, Storage::MaxSize, "Bytes of the memory"}, {}};
  if (orvy_readCreateArgs(ClsName, Name, Argc, Args, Specs, 0) != 0)
    return nullptr;
  auto R = std::make_unique<Ram>();
  // A memory without a size may get it from a checkpoint.
  if (Size == 0 || R->Bytes.resize(Size))
    return R.release();
  orvy_logConfigError(nullptr, "'%s' is not created: the host has no memory for %lu bytes", Name,
                      static_cast<unsigned long>(Size));
  return nullptr;
}

void *createRam(const char *Name, int Argc, const orvy_CreateArg *Args) {
  return create("Ram", Name, Argc, Args);
}

void *createRom(const char *Name, int Argc, const orvy_CreateArg *Args) {
  return create("Rom", Name, Argc, Args);
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

int checkSanity(void *Obj, int Report) {
  if (ramOf(Obj).Bytes.size() != 0)
    return 0;
  if (Report)
    orvy_logConfigWarning(Obj, "the memory is empty: it was created without the argument size");
  return 1;
}

// Checkpoints: the touched pages, as 64-bit numbers in target byte order.

constexpr uint64_t PageWords = ORVY_PAGE_SIZE / 8;
constexpr unsigned WordSize = 3; // base-2 logarithm

void serialise(void *Obj, const char *, void *Ctxt) {
  const Storage &Bytes = ramOf(Obj).Bytes;
  if (Bytes.touchedPages() > INT_MAX / PageWords) {
    orvy_logError(Obj, "the memory in use is too large for a checkpoint");
    return;
  }
  std::vector<uint64_t> Pages, Words;
  Pages.reserve(Bytes.touchedPages() + 1);
  Words.reserve(Bytes.touchedPages() * PageWords + 1);
  Bytes.forEachTouched([&](uint64_t Number, const uint8_t *Data) {
    Pages.push_back(Number);
    for (uint64_t Word = 0; Word < PageWords; ++Word)
      Words.push_back(load(Data + 8 * Word, WordSize));
  });
  orvy_serialiseProp(Ctxt, "pages", ovTY_U64, static_cast<int>(Pages.size()), Pages.data());
  orvy_serialiseProp(Ctxt, "words", ovTY_U64, static_cast<int>(Words.size()), Words.data());
}

void deserialise(void *Obj, const char *, void *Ctxt) {
  Storage &Bytes = ramOf(Obj).Bytes;
  const models::SavedNumbers Pages(Ctxt, "pages"), Words(Ctxt, "words");
  if (Words.size() != Pages.size() * PageWords) {
    orvy_logError(Obj, "the checkpoint's numbers of words and pages do not match");
    return;
  }
  for (size_t Page = 0; Page < Pages.size(); ++Page) {
    uint64_t Number = Pages.at(Page);
    if (Number >= (Bytes.size() + ORVY_PAGE_SIZE - 1) >> ORVY_PAGE_BITS) {
      orvy_logError(Obj, "the checkpoint has page %lu, which is outside the memory",
                    static_cast<unsigned long>(Number));
      return;
    }
    orvy_MemPage &To = Bytes.page(Number << ORVY_PAGE_BITS);
    for (uint64_t Word = 0; Word < PageWords; ++Word)
      store(To.Data + 8 * Word, WordSize, Words.at(Page * PageWords + Word));
    orvy_memPageWritten(&To, 0, ORVY_PAGE_SIZE);
  }
}

ObjectIface ObjectTable = {serialise, deserialise, checkSanity, nullptr, nullptr};
MemAccessIface RamAccess = {read, read, write, exchange};
MemAccessIface RomAccess = {read, read, refuse, refuse};
MemoryIface Block = {readBytes, writeBytes};

void registerMemory(const char *Name, orvy_ObjectCreateFunc Create, MemAccessIface *Access,
                    void **Table) {
  orvy_Class *Cls = orvy_registerClass(Name, Create, dispose);
  orvy_qualifyAsMemory(Cls);
  orvy_setVTable(Cls, Table);
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", Access, 0, "Single accesses");
  orvy_addInterface(Cls, "MemoryIface", "MemoryIface", &Block, 0, "Block accesses");
  orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &ObjectTable, 0, "");
  orvy_addPseudoProperty(
      Cls, "size", ovTY_U64, 1, nullptr, nullptr,
      [](void *Obj, orvy_Propval Value, int) {
        if (orvy_isNumber(Value))
          setSize(ramOf(Obj), orvy_asUnsigned(Value));
      },
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
  registerMemory("Ram", createRam, &RamAccess, Table);
}

void registerRom() {
  static void *Table[] = {&RomAccess, &Block};
  registerMemory("Rom", createRom, &RomAccess, Table);
}

} // namespace memory
