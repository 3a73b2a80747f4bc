#include "Events/EventHeap.h"

#include "Base/InternalError.h"
#include "Events/CacheBlock.h"

#include <cstdlib>
#include <cstring>

using orvy::event::EventHeap;

namespace {

// Slots are 16 bytes. With the root at this offset in a cache line the four grandchildren of any
// slot share a line, and so do its two children.
constexpr size_t RootOffset = 16;

} // namespace

EventHeap::~EventHeap() {
  if (Slots)
    std::free(reinterpret_cast<char *>(Slots) - RootOffset);
}

void EventHeap::grow() {
  ORVY_REQUIRE(Reserved < INT32_MAX / 2);
  size_t Bytes = RootOffset + (Reserved ? Reserved * 2 : 16) * sizeof(Slot);
  auto *Block = static_cast<char *>(orvy::allocateCacheBlock(Bytes));
  auto *Fresh = reinterpret_cast<Slot *>(Block + RootOffset);
  if (Slots) {
    std::memcpy(Fresh, Slots, Size * sizeof(Slot));
    std::free(reinterpret_cast<char *>(Slots) - RootOffset);
  }
  Slots = Fresh;
  Reserved = (Bytes - RootOffset) / sizeof(Slot);
}
