#include "Events/RecordPool.h"

#include "Events/CacheBlock.h"

#include <utility>

namespace orvy::event {

constinit RecordPool OneShots[PoolCount];

// Each block is twice as long as the one before, up to a large page.
void RecordPool::addBlock() {
  size_t Bytes = NextBytes;
  auto *Fresh = static_cast<Block *>(allocateCacheBlock(Bytes));
  Fresh->Next = std::exchange(Blocks, Fresh);
  Fresh->Count = (Bytes - sizeof(Block)) / sizeof(orvy_Event);
  for (size_t Index = Fresh->Count; Index > 0; --Index)
    put(&Fresh->Records[Index - 1]);
  if (NextBytes < LargePage)
    NextBytes *= 2;
}

void releaseOneShot(orvy_Event *Event) {
  poolOf(Event->Obj).give(Event);
}

} // namespace orvy::event
