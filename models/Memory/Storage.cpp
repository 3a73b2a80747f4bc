#include "Storage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace memory {

bool Storage::resize(uint64_t NewSize) {
  if (isTouched() || NewSize > MaxSize)
    return false;
  uint64_t Count = (NewSize + ORVY_PAGE_SIZE - 1) >> ORVY_PAGE_BITS;
  auto *Fresh = static_cast<orvy_MemPage *>(std::calloc(Count ? Count : 1, sizeof(orvy_MemPage)));
  if (!Fresh)
    return false;
  release();
  Pages = Fresh;
  Size = NewSize;
  return true;
}

void Storage::touch(orvy_MemPage &Page) {
  Page.Data = static_cast<uint8_t *>(std::calloc(1, ORVY_PAGE_SIZE));
  if (!Page.Data)
    throw std::bad_alloc();
  ++Touched;
}

void Storage::release() {
  for (uint64_t Index = 0; Touched != 0 && Index < pageCount(); ++Index)
    if (Pages[Index].Data) {
      orvy_memPageRevoke(&Pages[Index]);
      std::free(Pages[Index].Data);
      --Touched;
    }
  std::free(Pages);
  Pages = nullptr;
  Size = 0;
}

uint32_t Storage::clip(uint64_t Addr, uint32_t Len) const {
  return Addr >= Size ? 0 : static_cast<uint32_t>(std::min<uint64_t>(Len, Size - Addr));
}

uint32_t Storage::read(uint8_t *Data, uint64_t Addr, uint32_t Len) const {
  uint32_t Inside = clip(Addr, Len);
  for (uint32_t Done = 0; Done < Inside;) {
    uint32_t Offset = static_cast<uint32_t>(Addr + Done) & (ORVY_PAGE_SIZE - 1);
    uint32_t Part = std::min(Inside - Done, ORVY_PAGE_SIZE - Offset);
    const uint8_t *Bytes = Pages[(Addr + Done) >> ORVY_PAGE_BITS].Data;
    if (Bytes)
      std::memcpy(Data + Done, Bytes + Offset, Part);
    else
      std::memset(Data + Done, 0, Part);
    Done += Part;
  }
  return Inside;
}

/// Stores into one page. Zeros do not allocate a page, so that a large .bss takes no memory.
void Storage::writePart(uint64_t Addr, uint32_t Offset, const uint8_t *Data, uint32_t Len) {
  static const uint8_t Zeros[ORVY_PAGE_SIZE] = {};
  if (!Pages[Addr >> ORVY_PAGE_BITS].Data && std::memcmp(Data, Zeros, Len) == 0)
    return;
  orvy_MemPage &Page = page(Addr);
  std::memcpy(Page.Data + Offset, Data, Len);
  orvy_memPageWritten(&Page, Offset, Len);
}

uint32_t Storage::write(uint64_t Addr, const uint8_t *Data, uint32_t Len) {
  uint32_t Inside = clip(Addr, Len);
  for (uint32_t Done = 0; Done < Inside;) {
    uint32_t Offset = static_cast<uint32_t>(Addr + Done) & (ORVY_PAGE_SIZE - 1);
    uint32_t Part = std::min(Inside - Done, ORVY_PAGE_SIZE - Offset);
    writePart(Addr + Done, Offset, Data + Done, Part);
    Done += Part;
  }
  return Inside;
}

} // namespace memory
