// EventTable.h - the published events by id.

#ifndef ORVY_LIB_EVENTTABLE_H
#define ORVY_LIB_EVENTTABLE_H

#include "Base/InternalError.h"
#include "Events/CacheBlock.h"

#include "orvy/Support/Events.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

#include <sanitizer/asan_interface.h>

namespace orvy::event {

/// Slots of events. The low half of an id is the number of its slot, from 1 on; the high half
/// counts how often that slot was used before, so that ids stay unique while slots are used again.
/// Slots never move. An event whose record is the library's has it in its own slot, so that the way
/// from the id to the record and all that posting reads of it are one cache line.
class EventTable {
public:
  /// The event of an id; null if the id is not in use.
  orvy_Event *find(int64_t EvId) {
    const uint32_t Index = static_cast<uint32_t>(EvId) - 1;
    if (Index >= Count)
      return nullptr;
    Slot &Found = slotAt(Index);
    if (Found.Key == EvId)
      return &Found.Record;
    return Found.Key == -EvId ? Found.Owned : nullptr;
  }

  /// Whether an id was ever given to an event.
  bool wasGiven(int64_t EvId) {
    const uint32_t Index = static_cast<uint32_t>(EvId) - 1;
    return EvId > 0 && Index < Count && EvId < firstFreeId(Index);
  }

  /// Enters an owner's record, or without one a record of the library, to be filled. Returns its
  /// id.
  int64_t add(orvy_Event *Owned) {
    if (!FirstFree)
      addSlot();
    const uint32_t Number = FirstFree;
    const auto [Uses, NextFree] = std::exchange(linkAt(Number - 1), {});
    const int64_t EvId = int64_t{Uses} << 32 | Number;
    FirstFree = NextFree;
    Slot &Fresh = slotAt(Number - 1);
    ASAN_UNPOISON_MEMORY_REGION(&Fresh.Record, sizeof(Fresh.Record));
    Fresh.Key = Owned ? -EvId : EvId;
    if (Owned)
      Fresh.Owned = Owned;
    return EvId;
  }

  /// Takes out an id that is in use. Its slot is used again, until its ids are used up.
  void remove(int64_t EvId) {
    const uint32_t Number = numberOf(EvId);
    Slot &Old = slotAt(Number - 1);
    Old.Key = 0;
    ASAN_POISON_MEMORY_REGION(&Old.Record, sizeof(Old.Record));
    const auto Uses = static_cast<uint32_t>(EvId >> 32) + 1;
    linkAt(Number - 1) = {Uses, FirstFree};
    if (Uses < INT32_MAX)
      FirstFree = Number;
  }

  /// Restarts the ids. Events in use keep their slots for good; only their addresses still lead to
  /// them.
  void restart() {
    uint32_t InUse = Count;
    while (InUse > 0 && usedId(InUse) == 0)
      --InUse;
    Start += InUse;
    Count = FirstFree = 0;
  }

  /// Slots that are or were in use have the numbers from 1 to this one.
  uint32_t lastNumber() const { return Count; }
  static uint32_t numberOf(int64_t EvId) { return static_cast<uint32_t>(EvId); }
  /// The id in use in the slot of a number; 0 for none.
  int64_t usedId(uint32_t Number) {
    const int64_t Key = slotAt(Number - 1).Key;
    return Key < 0 ? -Key : Key;
  }

  /// Room for the numbers of two neighbours of an event that is in use; 0 at first.
  struct Link {
    uint32_t Prev;
    uint32_t Next;
  };
  Link &link(uint32_t Number) { return linkAt(Number - 1); }

private:
  struct Slot {
    int64_t Key; ///< the id of a record of the library, minus the id of an owner's, 0 for none
    union {
      orvy_Event Record;
      orvy_Event *Owned;
    };
  };

  // Two slots share three lines, each with its first half in one of them.
  struct alignas(CacheLine) Pair {
    Slot Slots[2];
    Link Links[2]; // of a free slot: how often it was used, and the next free one
  };
  static constexpr size_t FirstHalf = offsetof(Slot, Record) + offsetof(orvy_Event, Obj);
  static_assert(sizeof(Pair) == 3 * CacheLine && sizeof(Slot) % CacheLine + FirstHalf == CacheLine);

  static constexpr size_t BlockSlots = 1 << 16;
  static constexpr size_t MaxBlocks = 1 << 15; // as many events as a heap has places

  Pair &pairAt(size_t Index) { return Blocks[Index / BlockSlots][Index % BlockSlots / 2]; }
  Slot &slotAt(uint32_t Index) { return pairAt(Start + Index).Slots[(Start + Index) % 2]; }
  Link &linkAt(uint32_t Index) { return pairAt(Start + Index).Links[(Start + Index) % 2]; }

  /// The smallest id of a slot that no event has had.
  int64_t firstFreeId(uint32_t Index) {
    const int64_t Used = usedId(Index + 1);
    return Used ? Used + 1 : int64_t{linkAt(Index).Prev} << 32;
  }

  /// Makes the next slot the first free one.
  void addSlot() {
    const size_t Place = Start + Count;
    ORVY_REQUIRE(Place < MaxBlocks * BlockSlots);
    if (!Blocks[Place / BlockSlots])
      Blocks[Place / BlockSlots] = allocateBlock(Place == 0);
    const uint32_t Index = Count++;
    ASAN_UNPOISON_MEMORY_REGION(&slotAt(Index).Key, sizeof(Slot::Key));
    ASAN_UNPOISON_MEMORY_REGION(&linkAt(Index), sizeof(Link));
    slotAt(Index).Key = 0;
    linkAt(Index) = {};
    FirstFree = Count;
  }

  // The first block is mostly the only one, and mostly empty: its start stays on small pages.
  static Pair *allocateBlock(bool IsFirst) {
    const size_t Bytes = BlockSlots / 2 * sizeof(Pair);
    auto *Block = static_cast<char *>(std::aligned_alloc(LargePage, Bytes));
    if (!Block)
      throw std::bad_alloc();
    const size_t OnSmallPages = IsFirst ? LargePage : 0;
    madvise(Block + OnSmallPages, Bytes - OnSmallPages, MADV_HUGEPAGE);
    ASAN_POISON_MEMORY_REGION(Block, Bytes);
    return reinterpret_cast<Pair *>(Block);
  }

  Pair *Blocks[MaxBlocks] = {};
  size_t Start = 0;       // place of the slot with number 1; those before it are given up
  uint32_t Count = 0;     // slots from there on that have been used
  uint32_t FirstFree = 0; // by number; 0 for none
};

} // namespace orvy::event

#endif
