// FlatMemory.h - a memory space for tests of processors: RAM from address 0, one device above it,
// and hooks that stop an access. Plain pages are handed out, so that accesses to them can be seen
// to stay away from here.

#ifndef ORVY_UNITTESTS_TESTING_FLATMEMORY_H
#define ORVY_UNITTESTS_TESTING_FLATMEMORY_H

#include "orvy/Support/Orvy.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <set>
#include <vector>

namespace testing_support {

/// An access that reached the space.
enum class Access { Fetch, Read, Write, Exchange };

struct FlatMemory {
  static constexpr uint32_t Size = 1 << 20;
  static constexpr uint32_t DeviceBase = 0x80000000;
  using Device = std::function<void(Access, orvy_MemTransaction *)>;

  orvy_Object Super = {};
  std::vector<uint8_t> Bytes = std::vector<uint8_t>(Size);
  std::vector<orvy_MemPage> Pages = std::vector<orvy_MemPage>(Size / ORVY_PAGE_SIZE);
  std::set<uint32_t> Stops[4]; ///< by Access
  Device AtDevice;             ///< serves everything from DeviceBase up, if set
  uint64_t Count[4] = {};      ///< by Access: RAM accesses that came here
  orvy_MemTransaction Last = {};

  FlatMemory() {
    for (size_t Page = 0; Page < Pages.size(); ++Page)
      Pages[Page].Data = &Bytes[Page * ORVY_PAGE_SIZE];
  }

  ~FlatMemory() {
    for (orvy_MemPage &Page : Pages)
      orvy_memPageRevoke(&Page);
  }

  /// Stops accesses of a kind at an address from now on.
  void stopAt(Access Kind, uint32_t Address) {
    Stops[int(Kind)].insert(Address);
    orvy_memPageRevoke(&Pages[Address / ORVY_PAGE_SIZE]);
  }

  /// Stores a word as another bus master would.
  void poke(uint32_t Address, uint32_t Word) {
    for (int Byte = 0; Byte < 4; ++Byte)
      Bytes[Address + Byte] = uint8_t(Word >> (24 - 8 * Byte));
    orvy_memPageWritten(&Pages[Address / ORVY_PAGE_SIZE], Address % ORVY_PAGE_SIZE, 4);
  }

  uint32_t peek(uint32_t Address) const { return uint32_t(readBig(Address, 4)); }

  uint64_t readBig(uint32_t Address, unsigned Length) const {
    uint64_t Value = 0;
    for (unsigned Byte = 0; Byte < Length; ++Byte)
      Value = Value << 8 | Bytes[Address + Byte];
    return Value;
  }

  void writeBig(uint32_t Address, unsigned Length, uint64_t Value) {
    for (unsigned Byte = 0; Byte < Length; ++Byte)
      Bytes[Address + Byte] = uint8_t(Value >> (8 * (Length - 1 - Byte)));
    orvy_memPageWritten(&Pages[Address / ORVY_PAGE_SIZE], Address % ORVY_PAGE_SIZE, Length);
  }

  bool hasHook(Access Kind, uint32_t Page) const {
    auto First = Stops[int(Kind)].lower_bound(Page * ORVY_PAGE_SIZE);
    return First != Stops[int(Kind)].end() && *First / ORVY_PAGE_SIZE == Page;
  }

  void access(Access Kind, orvy_MemTransaction *Mt) {
    Last = *Mt;
    unsigned Length = 1u << Mt->Size;
    if (Mt->Pa >= DeviceBase && AtDevice) {
      AtDevice(Kind, Mt);
      return;
    }
    if (Mt->Pa >= Size || Size - Mt->Pa < Length) {
      Mt->Flags |= ovMF_Failed;
      return;
    }
    ++Count[int(Kind)];
    if (Stops[int(Kind)].count(uint32_t(Mt->Pa)) && !(Mt->Flags & ovMF_Resume)) {
      Mt->Flags |= ovMF_Stop;
      return;
    }
    move(Kind, Mt, Length);
  }

  static FlatMemory *create(const char *Name) {
    static FlatMemory *(*Make)(const char *) = registerOnce();
    return Make(Name);
  }

private:
  void move(Access Kind, orvy_MemTransaction *Mt, unsigned Length) {
    uint32_t Address = uint32_t(Mt->Pa);
    uint64_t Old = readBig(Address, Length);
    if (Kind == Access::Write || Kind == Access::Exchange)
      writeBig(Address, Length, Mt->Value);
    if (Kind != Access::Write)
      Mt->Value = Old;
    if (Kind != Access::Exchange && !hasHook(Kind, Address / ORVY_PAGE_SIZE))
      Mt->Page = &Pages[Address / ORVY_PAGE_SIZE];
  }

  static FlatMemory *self(void *Obj) { return static_cast<FlatMemory *>(Obj); }

  template <Access Kind> static void serve(void *Obj, orvy_MemTransaction *Mt) {
    self(Obj)->access(Kind, Mt);
  }

  static uint32_t readBytes(void *Obj, void *Data, uint64_t Addr, uint32_t Len, uint32_t Swap) {
    return copy(Obj, Addr, Len, Swap,
                [&](uint32_t To, uint8_t *Byte) { static_cast<uint8_t *>(Data)[To] = *Byte; });
  }

  static uint32_t writeBytes(void *Obj, uint64_t Addr, uint32_t Len, const void *Data,
                             uint32_t Swap) {
    uint32_t Moved = copy(Obj, Addr, Len, Swap, [&](uint32_t From, uint8_t *Byte) {
      *Byte = static_cast<const uint8_t *>(Data)[From];
    });
    for (uint32_t At = 0; At < Moved; ++At)
      orvy_memPageWritten(&self(Obj)->Pages[(Addr + At) / ORVY_PAGE_SIZE],
                          uint32_t(Addr + At) % ORVY_PAGE_SIZE, 1);
    return Moved;
  }

  /// Pairs each byte of the host's data with the one it stands for here.
  template <typename F>
  static uint32_t copy(void *Obj, uint64_t Addr, uint32_t Len, uint32_t Swap, F Each) {
    if (Addr >= Size)
      return 0;
    Len = std::min(Len, uint32_t(Size - Addr));
    uint32_t Mask = (1u << Swap) - 1;
    for (uint32_t At = 0; At < Len; ++At)
      Each(At ^ Mask, &self(Obj)->Bytes[Addr + At]);
    return Len;
  }

  static FlatMemory *(*registerOnce())(const char *) {
    static MemAccessIface Accesses = {serve<Access::Fetch>, serve<Access::Read>,
                                      serve<Access::Write>, serve<Access::Exchange>};
    static MemoryIface Blocks = {readBytes, writeBytes};
    static void *VTable[] = {&Accesses, &Blocks};
    orvy_Class *Cls = orvy_registerClass(
        "FlatMemory",
        [](const char *, int, const orvy_CreateArg *) -> void * { return new FlatMemory(); },
        [](void *Obj) { delete self(Obj); });
    orvy_qualifyAsMemory(Cls);
    orvy_setVTable(Cls, VTable);
    orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &Accesses, 0, "");
    orvy_addInterface(Cls, "MemoryIface", "MemoryIface", &Blocks, 0, "");
    return [](const char *Name) { return self(orvy_createObject("FlatMemory", Name, nullptr)); };
  }
};

} // namespace testing_support

#endif
