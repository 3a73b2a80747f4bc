// AccessHooks.h - which addresses of which memory spaces have a hook, and who is asked about them.
//
// Several break points may wait at one address: the hook goes with the last of them.

#ifndef ORVY_LIB_ACCESSHOOKS_H
#define ORVY_LIB_ACCESSHOOKS_H

#include "orvy/Support/Debugging.h"

#include <cstdint>
#include <string>

namespace orvy::debugging {

/// Addresses of a memory space, which is known by its name: a checkpoint makes it anew.
struct HookedRange {
  std::string Space;
  uint64_t Address = 0;
  uint64_t Length = 1;
  uint32_t Attrs = 0; ///< orvy_MemAttr bits

  bool operator==(const HookedRange &) const = default;
};

/// The hooks that break points of a kind need.
uint32_t hooksOf(uint32_t BreakKind);

/// Sets hooks. Each call needs one to removeHooks.
void addHooks(const HookedRange &Range);
/// Clears what no other range needs.
void removeHooks(const HookedRange &Range);
/// Sets all hooks again, in memory spaces that have lost them.
void restoreHooks();

/// Is asked about each access to a hooked address, after the contexts. Returns an orvy_BreakAction.
using AccessHandler = int (*)(void *Space, uint32_t Kind, const orvy_MemTransaction &Mt);
void setAccessHandler(AccessHandler Handler);
AccessHandler accessHandler();

} // namespace orvy::debugging

#endif
