// Storage.h - bytes of a memory, in host pages that are allocated on first use.

#ifndef ORVY_MODELS_MEMORY_STORAGE_H
#define ORVY_MODELS_MEMORY_STORAGE_H

#include "orvy/Support/Orvy.h"

#include <cstddef>
#include <cstdint>

namespace memory {

class Storage {
public:
  /// Largest memory. Its page descriptors take only address space until they are used.
  static constexpr uint64_t MaxSize = uint64_t{1} << 36;

  Storage() = default;
  ~Storage() { release(); }
  Storage(const Storage &) = delete;
  Storage &operator=(const Storage &) = delete;

  uint64_t size() const { return Size; }
  /// Whether any page has been touched.
  bool isTouched() const { return Touched != 0; }
  uint64_t touchedPages() const { return Touched; }
  /// Calls a function with the number and the bytes of each touched page, ordered by address.
  template <typename Function> void forEachTouched(Function F) const {
    uint64_t Left = Touched;
    for (uint64_t Number = 0; Left != 0; ++Number)
      if (const uint8_t *Data = Pages[Number].Data)
        F(Number, Data), --Left;
  }

  /// Sets the size of an untouched memory, at most MaxSize. Returns false and changes nothing if it
  /// is touched or the size is refused.
  bool resize(uint64_t NewSize);

  /// Whether an access of 2^SizeLog bytes is aligned and inside.
  bool holds(uint64_t Addr, unsigned SizeLog) const {
    uint64_t Bytes = uint64_t{1} << SizeLog;
    return SizeLog <= 3 && Addr < Size && Size - Addr >= Bytes && (Addr & (Bytes - 1)) == 0;
  }

  /// The page of an address, which must be inside. Allocates it on first use.
  orvy_MemPage &page(uint64_t Addr) {
    orvy_MemPage &Page = Pages[Addr >> ORVY_PAGE_BITS];
    if (__builtin_expect(!Page.Data, 0))
      touch(Page);
    return Page;
  }

  /// Whether the whole page of an address is inside, so that it can be handed out.
  bool isWhole(uint64_t Addr) const { return (Addr | (ORVY_PAGE_SIZE - 1)) < Size; }

  /// Copies bytes out. Untouched bytes read as zero. Returns the number of bytes inside.
  uint32_t read(uint8_t *Data, uint64_t Addr, uint32_t Len) const;
  /// Copies bytes in and notifies the watchers of their pages. Returns the number of bytes inside.
  uint32_t write(uint64_t Addr, const uint8_t *Data, uint32_t Len);

private:
  void touch(orvy_MemPage &Page);
  void writePart(uint64_t Addr, uint32_t Offset, const uint8_t *Data, uint32_t Len);
  void release();
  uint64_t pageCount() const { return (Size + ORVY_PAGE_SIZE - 1) >> ORVY_PAGE_BITS; }
  uint32_t clip(uint64_t Addr, uint32_t Len) const;

  orvy_MemPage *Pages = nullptr;
  uint64_t Size = 0;
  uint64_t Touched = 0;
};

} // namespace memory

#endif
