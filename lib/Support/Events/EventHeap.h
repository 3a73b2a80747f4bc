// EventHeap.h - the binary min-heap of an event queue.
//
// The children of index i are 2i+1 and 2i+2. Among events of equal time the order is what the array
// arithmetic makes it, and it is part of the behaviour: of two equal children the left one rises,
// an event never moves above a parent or below a child of equal time. Checkpoints rely on it.

#ifndef ORVY_LIB_EVENTHEAP_H
#define ORVY_LIB_EVENTHEAP_H

#include "orvy/Support/Events.h"

#include <cstddef>
#include <cstdint>

namespace orvy::event {

/// Orders events by Time and keeps their QueueIdx and Queue current. The key lies in the slot, so
/// that ordering touches no event record but to store its new index.
class EventHeap {
public:
  explicit EventHeap(orvy_EventQueue *Owner) : Owner(Owner) {}
  ~EventHeap();
  EventHeap(const EventHeap &) = delete;
  EventHeap &operator=(const EventHeap &) = delete;

  bool empty() const { return Size == 0; }
  size_t size() const { return Size; }
  orvy_Event *root() const { return Slots[0].Event; }
  int64_t rootTime() const { return Slots[0].Time; }
  orvy_Event *at(size_t Index) const { return Slots[Index].Event; }

  /// Inserts an event that is in no heap.
  void insert(orvy_Event *Event) {
    if (Size == Reserved)
      grow();
    Event->Queue = Owner;
    siftUp(Size++, {Event->Time, Event});
  }

  /// Removes the root of a heap that is not empty.
  orvy_Event *popRoot() {
    orvy_Event *Root = Slots[0].Event;
    Root->Queue = nullptr;
    Slot Last = Slots[--Size];
    if (Size != 0)
      siftDown(0, Last);
    return Root;
  }

  /// Removes the event at an index below size().
  void removeAt(size_t Index) {
    Slots[Index].Event->Queue = nullptr;
    Slot Last = Slots[--Size];
    // The last one itself needs no branch: it is put back past the end, where it was. In a heap of a
    // few events such a branch would often be mispredicted.
    if (Index != 0 && Slots[parent(Index)].Time > Last.Time)
      siftUp(Index, Last);
    else
      siftDown(Index, Last);
  }

  /// Fetches what a removal at an index will read, where that would miss.
  void fetch(size_t Index) const {
    if (Size < Large)
      return;
    const size_t Child = 2 * Index + 1;
    __builtin_prefetch(&Slots[Index]);
    __builtin_prefetch(&Slots[parent(Index | 1)]);
    __builtin_prefetch(&Slots[Child < Size ? Child : Index]);
  }

  /// Whether no event lies before its parent.
  bool isOrdered() const {
    for (size_t Index = 1; Index < Size; ++Index)
      if (Slots[parent(Index)].Time > Slots[Index].Time)
        return false;
    return true;
  }

private:
  struct Slot {
    int64_t Time;
    orvy_Event *Event;
  };

  static size_t parent(size_t Index) { return (Index - 1) / 2; }

  void place(size_t Index, Slot S) {
    Slots[Index] = S;
    S.Event->QueueIdx = static_cast<int32_t>(Index);
  }

  void siftUp(size_t Index, Slot S) {
    while (Index > 0 && Slots[parent(Index)].Time > S.Time) {
      place(Index, Slots[parent(Index)]);
      Index = parent(Index);
    }
    place(Index, S);
  }

  // Moves the hole down to a leaf along the earlier children and lets S climb back. Times along
  // that path only grow, so S ends where a walk from the top would have stopped; but as S comes
  // from the end of the array it mostly belongs near a leaf, and the walk down needs no comparison
  // with it.
  void siftDown(size_t Start, Slot S) {
    size_t Index = Size < Large ? sinkHole<false>(Start) : sinkHole<true>(Start);
    while (Index > Start && Slots[parent(Index)].Time >= S.Time) {
      place(Index, Slots[parent(Index)]);
      Index = parent(Index);
    }
    place(Index, S);
  }

  // In a heap beyond the near caches the slots and records of the next levels are prefetched:
  // stores retire in order, so that one that misses would hold up all later ones.
  template <bool Prefetch> size_t sinkHole(size_t Index) {
    size_t Child = 2 * Index + 1;
    while (Child + 1 < Size) {
      if constexpr (Prefetch)
        prefetchBelow(Child);
      Child += Slots[Child].Time > Slots[Child + 1].Time;
      if constexpr (Prefetch)
        __builtin_prefetch(&Slots[Child].Event->QueueIdx, 1);
      place(Index, Slots[Child]);
      Index = Child;
      Child = 2 * Index + 1;
    }
    if (Child < Size) {
      place(Index, Slots[Child]);
      Index = Child;
    }
    return Index;
  }

  // The grandchildren of a slot and of the next one, a cache line each.
  void prefetchBelow(size_t Index) const {
    __builtin_prefetch(&Slots[4 * Index + 3]);
    __builtin_prefetch(&Slots[4 * Index + 7]);
  }

  static constexpr size_t Large = 2048; // slots and records no longer lie in the first caches

  void grow();

  orvy_EventQueue *Owner;
  Slot *Slots = nullptr;
  size_t Size = 0;
  size_t Reserved = 0;
};

} // namespace orvy::event

#endif
