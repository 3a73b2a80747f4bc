// AttributeMap.h - attributes of addresses. Pages without attributes take no memory and no time.

#ifndef ORVY_MODELS_MEMORY_ATTRIBUTEMAP_H
#define ORVY_MODELS_MEMORY_ATTRIBUTEMAP_H

#include "orvy/Support/Orvy.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>

namespace memory {

/// Bits of orvy_MemAttr for each byte, and the bit Reported.
class AttributeMap {
public:
  using Bits = uint16_t;
  /// An upset that has been reported already.
  static constexpr Bits Reported = 256;

  bool empty() const { return Pages.empty(); }

  void set(uint64_t Addr, uint64_t Len, Bits Mask);
  void clear(uint64_t Addr, uint64_t Len, Bits Mask);

  /// Bits of one byte.
  Bits at(uint64_t Addr) const;
  /// Bits of any byte of a range that does not cross a page.
  Bits of(uint64_t Addr, uint32_t Len) const;
  /// Bits of any byte of an address's page.
  Bits ofPage(uint64_t Addr) const;

  /// Calls a function with the address, length and bits of each range of bytes that have the same
  /// attributes, ordered by address. Skips bytes without attributes.
  template <typename Function> void forEachRun(Function F) const {
    uint64_t Start = 0, End = 0;
    Bits Present = 0;
    for (const auto &[Number, P] : inOrder())
      for (uint32_t Offset = 0; Offset < ORVY_PAGE_SIZE;) {
        uint64_t Addr = (Number << ORVY_PAGE_BITS) + Offset;
        Bits Here = P->Single ? (*P->Single)[Offset] : P->Uniform;
        if (Addr != End || Here != Present) {
          if (Present)
            F(Start, End - Start, Present);
          Start = Addr;
          Present = Here;
        }
        Offset += P->Single ? 1 : ORVY_PAGE_SIZE;
        End = (Number << ORVY_PAGE_BITS) + Offset;
      }
    if (Present)
      F(Start, End - Start, Present);
  }

private:
  /// Stores one value for all bytes until a part of the page differs.
  struct Page {
    Bits Uniform = 0;
    std::unique_ptr<std::array<Bits, ORVY_PAGE_SIZE>> Single;
    Bits Any = 0; ///< the bits of all bytes combined

    Bits ofAll() const;
  };

  std::map<uint64_t, const Page *> inOrder() const;
  template <typename Change> void change(uint64_t Addr, uint64_t Len, Change Apply);

  std::unordered_map<uint64_t, Page> Pages;
};

} // namespace memory

#endif
