// RecordPool.h - the records of one-shot events.

#ifndef ORVY_LIB_RECORDPOOL_H
#define ORVY_LIB_RECORDPOOL_H

#include "orvy/Support/Events.h"

#include <cstddef>
#include <cstdint>

#include <sanitizer/asan_interface.h>

namespace orvy::event {

/// Records of one-shot events. They lie together, however far apart in time they are posted: a heap
/// of many events writes to a few of them at each step. Blocks stay for the life of the process.
class RecordPool {
public:
  orvy_Event *take() {
    if (!Free)
      addBlock();
    orvy_Event *Event = Free;
    ASAN_UNPOISON_MEMORY_REGION(Event, sizeof(*Event));
    Free = static_cast<orvy_Event *>(Event->Data);
    ++InUse;
    return Event;
  }

  void give(orvy_Event *Event) {
    put(Event);
    --InUse;
  }

  /// Visits the records in use by an owner. The visitor may give them back.
  template <typename Visitor> void forEachOwnedBy(const void *Obj, Visitor Visit) {
    for (Block *Each = InUse ? Blocks : nullptr; Each; Each = Each->Next)
      for (size_t Index = 0; Index < Each->Count; ++Index)
        if (orvy_Event *Event = &Each->Records[Index]; isOwnedBy(Event, Obj))
          Visit(Event);
  }

private:
  struct Block {
    Block *Next;
    size_t Count;
    orvy_Event Records[];
  };

  /// Looks at the records that are not in use too.
  [[gnu::noinline, gnu::no_sanitize_address]] static bool isOwnedBy(const orvy_Event *Event,
                                                                    const void *Obj) {
    return Event->Flags & ovEF_AdHoc && Event->Obj == Obj;
  }

  void put(orvy_Event *Event) {
    Event->Flags = 0;
    Event->Data = Free;
    Free = Event;
    ASAN_POISON_MEMORY_REGION(Event, sizeof(*Event));
  }

  void addBlock();

  Block *Blocks = nullptr;
  size_t NextBytes = 1024;
  size_t InUse = 0;
  orvy_Event *Free = nullptr; // chained by Data
};

/// Pools by owner, so that disposing an object looks at few events of others.
constexpr size_t PoolCount = 64;
extern constinit RecordPool OneShots[PoolCount];

inline RecordPool &poolOf(const void *Owner) {
  constexpr uint64_t GoldenRatio = 0x9E3779B97F4A7C15;
  return OneShots[reinterpret_cast<uintptr_t>(Owner) * GoldenRatio >> 32 & (PoolCount - 1)];
}

/// Gives the record of a one-shot event back to its pool.
void releaseOneShot(orvy_Event *Event);

} // namespace orvy::event

#endif
