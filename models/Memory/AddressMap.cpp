#include "AddressMap.h"

#include <algorithm>

namespace memory {

AddressMap::~AddressMap() {
  release(Root);
}

void AddressMap::release(Node &At) {
  for (Entry E : At.Entries)
    if (E & IsNode) {
      auto *Child = reinterpret_cast<Node *>(E & ~IsNode);
      release(*Child);
      delete Child;
    }
}

/// Sets every entry that is completely in [Base, End). Descends a level if the range begins or ends
/// inside an entry.
void AddressMap::fill(Node &At, unsigned Level, uint64_t NodeBase, uint64_t Base, uint64_t End,
                      Entry Value) {
  uint64_t Span = uint64_t{1} << shiftAt(Level);
  uint64_t From = std::max(Base, NodeBase);
  uint64_t To = std::min(End, NodeBase + (Span << LevelBits));
  for (size_t Index = (From - NodeBase) / Span; NodeBase + Index * Span < To; ++Index) {
    uint64_t EntryBase = NodeBase + Index * Span;
    Entry &E = At.Entries[Index];
    if (Base <= EntryBase && EntryBase + Span <= End && !(E & IsNode)) {
      E = Value;
      continue;
    }
    if (!(E & IsNode)) {
      auto *Child = new Node;
      Child->Entries.fill(E);
      E = reinterpret_cast<Entry>(Child) | IsNode;
    }
    fill(*reinterpret_cast<Node *>(E & ~IsNode), Level + 1, EntryBase, Base, End, Value);
  }
}

Region &AddressMap::add(std::unique_ptr<Region> New) {
  Region &R = *New;
  auto Place =
      std::upper_bound(Regions.begin(), Regions.end(), R.Base,
                       [](uint64_t Base, const auto &Other) { return Base < Other->Base; });
  Regions.insert(Place, std::move(New));
  fill(Root, 0, 0, R.Base, R.End, reinterpret_cast<Entry>(&R));
  return R;
}

void AddressMap::removeDevice(const void *Device) {
  for (const auto &R : Regions)
    if (R->Device == Device)
      fill(Root, 0, 0, R->Base, R->End, 0);
  std::erase_if(Regions, [Device](const auto &R) { return R->Device == Device; });
}

const Region *AddressMap::overlap(uint64_t Base, uint64_t End) const {
  auto Next = std::upper_bound(Regions.begin(), Regions.end(), Base,
                               [](uint64_t At, const auto &R) { return At < R->End; });
  return Next != Regions.end() && (*Next)->Base < End ? Next->get() : nullptr;
}

} // namespace memory
