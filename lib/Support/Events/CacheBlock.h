// CacheBlock.h - memory for many small records that are visited in no order.

#ifndef ORVY_LIB_CACHEBLOCK_H
#define ORVY_LIB_CACHEBLOCK_H

#include <cstddef>
#include <cstdlib>
#include <new>
#include <sys/mman.h>

namespace orvy {

constexpr size_t CacheLine = 64;
constexpr size_t LargePage = 2 << 20;

/// Returns a block that begins with a cache line, to be released with free. Takes a number of bytes
/// and rounds it up to what the block has. A block as long as a large page asks for such pages:
/// with small ones the processor would look up addresses more often than data.
inline void *allocateCacheBlock(size_t &Bytes) {
  const bool IsLarge = Bytes >= LargePage;
  const size_t Unit = IsLarge ? LargePage : CacheLine;
  Bytes = (Bytes + Unit - 1) / Unit * Unit;
  void *Block = std::aligned_alloc(Unit, Bytes);
  if (!Block)
    throw std::bad_alloc();
  if (IsLarge)
    madvise(Block, Bytes, MADV_HUGEPAGE); // best effort: small pages do as well
  return Block;
}

} // namespace orvy

#endif
