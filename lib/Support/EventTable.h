// EventTable.h - the published events by id.

#ifndef ORVY_LIB_EVENTTABLE_H
#define ORVY_LIB_EVENTTABLE_H

#include "CacheBlock.h"
#include "InternalError.h"

#include "orvy/Support/Events.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include <sanitizer/asan_interface.h>

namespace orvy::event {

/// Slots in the order of their ids, which begin at 1. They never move, and stay for the life of the
/// process. An event whose record is the library's has it in its own slot, so that the way from the
/// id to the record and all that posting reads of it are one cache line.
class EventTable {
public:
  struct Slot {
    orvy_Event *Event; ///< null once depublished
    orvy_Event Record; ///< in use while Event points to it

    orvy_Event *takeRecord() {
      ASAN_UNPOISON_MEMORY_REGION(&Record, sizeof(Record));
      return &Record;
    }
  };

  /// Ends the use of a record that takeRecord has returned.
  static void giveRecord(orvy_Event *Record) { ASAN_POISON_MEMORY_REGION(Record, sizeof(*Record)); }

  bool contains(int64_t EvId) const { return EvId > 0 && EvId <= LastId; }
  int64_t lastId() const { return LastId; }

  /// The slot of an id that the table contains.
  Slot &operator[](int64_t EvId) {
    const size_t Index = static_cast<size_t>(EvId) - 1;
    return Blocks[Index / BlockSlots][Index % BlockSlots / 2].Slots[Index % 2];
  }

  /// The slot of the next id, which becomes the last.
  Slot &add() {
    const size_t Index = static_cast<size_t>(LastId);
    ORVY_REQUIRE(Index < MaxBlocks * BlockSlots);
    if (!Blocks[Index / BlockSlots])
      Blocks[Index / BlockSlots] = allocateBlock(Index == 0);
    Slot &Fresh = (*this)[++LastId];
    ASAN_UNPOISON_MEMORY_REGION(&Fresh.Event, sizeof(Fresh.Event));
    return Fresh;
  }

  /// Forgets all ids. No record of the table may be in use.
  void clear() { LastId = 0; }

private:
  // Two slots share three lines, each with its first half in one of them. A line and a half apiece
  // leaves none unused, as two apiece would: half of a cache with them.
  struct alignas(CacheLine) Pair {
    Slot Slots[2];
  };
  static constexpr size_t FirstHalf = offsetof(Slot, Record) + offsetof(orvy_Event, Obj);
  static_assert(sizeof(Pair) == 3 * CacheLine && sizeof(Slot) % CacheLine + FirstHalf == CacheLine);

  static constexpr size_t BlockSlots = 1 << 16;
  static constexpr size_t MaxBlocks = 1 << 15; // as many events as a heap has places

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
  int64_t LastId = 0;
};

} // namespace orvy::event

#endif
