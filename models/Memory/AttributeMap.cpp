#include "AttributeMap.h"

#include <algorithm>
#include <functional>
#include <numeric>

namespace memory {

AttributeMap::Bits AttributeMap::Page::ofAll() const {
  if (!Single)
    return Uniform;
  return std::accumulate(Single->begin(), Single->end(), Bits{0}, std::bit_or<Bits>());
}

/// Applies a change to every byte of a range, and removes pages without attributes.
template <typename Change> void AttributeMap::change(uint64_t Addr, uint64_t Len, Change Apply) {
  while (Len > 0) {
    uint64_t Number = Addr >> ORVY_PAGE_BITS;
    auto Offset = static_cast<uint32_t>(Addr) & (ORVY_PAGE_SIZE - 1);
    auto Part = static_cast<uint32_t>(std::min<uint64_t>(Len, ORVY_PAGE_SIZE - Offset));
    Page &P = Pages[Number];
    if (!P.Single && Part == ORVY_PAGE_SIZE) {
      P.Uniform = Apply(P.Uniform);
    } else {
      if (!P.Single) {
        P.Single = std::make_unique<std::array<Bits, ORVY_PAGE_SIZE>>();
        P.Single->fill(P.Uniform);
      }
      std::transform(P.Single->begin() + Offset, P.Single->begin() + Offset + Part,
                     P.Single->begin() + Offset, Apply);
    }
    P.Any = P.ofAll();
    if (P.Any == 0)
      Pages.erase(Number);
    Addr += Part;
    Len -= Part;
  }
}

void AttributeMap::set(uint64_t Addr, uint64_t Len, Bits Mask) {
  change(Addr, Len, [Mask](Bits B) { return static_cast<Bits>(B | Mask); });
}

void AttributeMap::clear(uint64_t Addr, uint64_t Len, Bits Mask) {
  change(Addr, Len, [Mask](Bits B) { return static_cast<Bits>(B & ~Mask); });
}

std::map<uint64_t, const AttributeMap::Page *> AttributeMap::inOrder() const {
  std::map<uint64_t, const Page *> Ordered;
  for (const auto &[Number, P] : Pages)
    Ordered.emplace(Number, &P);
  return Ordered;
}

AttributeMap::Bits AttributeMap::at(uint64_t Addr) const {
  return of(Addr, 1);
}

AttributeMap::Bits AttributeMap::ofPage(uint64_t Addr) const {
  auto Found = Pages.find(Addr >> ORVY_PAGE_BITS);
  return Found == Pages.end() ? Bits{0} : Found->second.Any;
}

AttributeMap::Bits AttributeMap::of(uint64_t Addr, uint32_t Len) const {
  auto Found = Pages.find(Addr >> ORVY_PAGE_BITS);
  if (Found == Pages.end())
    return 0;
  const Page &P = Found->second;
  if (!P.Single)
    return P.Uniform;
  Bits Any = 0;
  uint32_t Offset = static_cast<uint32_t>(Addr) & (ORVY_PAGE_SIZE - 1);
  for (uint32_t At = Offset; At < std::min(Offset + Len, ORVY_PAGE_SIZE); ++At)
    Any |= (*P.Single)[At];
  return Any;
}

} // namespace memory
