// AddressMap.h - finds the region of an address in constant time.

#ifndef ORVY_MODELS_MEMORY_ADDRESSMAP_H
#define ORVY_MODELS_MEMORY_ADDRESSMAP_H

#include "orvy/Support/Orvy.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace memory {

/// A device, or one interface of it, mapped at [Base, End).
struct Region {
  uint64_t Base;
  uint64_t End;
  void *Device;
  const MemAccessIface *Access; ///< has no null slots
  const MemoryIface *Block;     ///< null if the device has none
  /// First and end of the pages that are completely inside and aligned with the device's pages.
  uint64_t FirstPage;
  uint64_t EndPage;
  /// The interface that was given when mapping; empty for the default one.
  std::string IfaceName;
  /// The table for Access if the device's own one has null slots.
  MemAccessIface Filled;
  /// Pages handed out, starting at FirstPage; empty until the first one is.
  std::vector<orvy_MemPage *> Handed;

  bool holds(uint64_t Pa, uint64_t Bytes) const { return Pa >= Base && End - Pa >= Bytes; }
};

/// A table of four levels for 48-bit addresses. An entry of any level is a region that covers all
/// of the entry's range, or the table of the next level. The last level resolves single bytes.
class AddressMap {
public:
  static constexpr unsigned AddressBits = 48;

  AddressMap() = default;
  ~AddressMap();
  AddressMap(const AddressMap &) = delete;
  AddressMap &operator=(const AddressMap &) = delete;

  /// The region of an address; null if nothing is mapped there.
  Region *find(uint64_t Addr) const {
    if (Addr >> AddressBits)
      return nullptr;
    const Node *At = &Root;
    for (unsigned Level = 0;; ++Level) {
      Entry E = At->Entries[indexAt(Addr, Level)];
      if (!(E & IsNode))
        return reinterpret_cast<Region *>(E);
      At = reinterpret_cast<const Node *>(E & ~IsNode);
    }
  }

  /// Adds a region, which must be inside the address space and not overlap another one.
  Region &add(std::unique_ptr<Region> New);
  /// Removes all regions of a device.
  void removeDevice(const void *Device);
  /// The first region in [Base, End); null if the range is free.
  const Region *overlap(uint64_t Base, uint64_t End) const;
  /// All regions, ordered by address.
  const std::vector<std::unique_ptr<Region>> &regions() const { return Regions; }

private:
  using Entry = uintptr_t;
  static constexpr Entry IsNode = 1;
  static constexpr unsigned LevelBits = 12;

  struct Node {
    std::array<Entry, size_t{1} << LevelBits> Entries{};
  };

  static unsigned shiftAt(unsigned Level) { return AddressBits - LevelBits * (Level + 1); }
  static size_t indexAt(uint64_t Addr, unsigned Level) {
    return (Addr >> shiftAt(Level)) & ((size_t{1} << LevelBits) - 1);
  }
  static void release(Node &At);
  void fill(Node &At, unsigned Level, uint64_t NodeBase, uint64_t Base, uint64_t End, Entry Value);

  Node Root;
  std::vector<std::unique_ptr<Region>> Regions;
};

} // namespace memory

#endif
