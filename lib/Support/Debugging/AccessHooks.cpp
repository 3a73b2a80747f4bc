#include "Debugging/AccessHooks.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Objsys.h"

#include <algorithm>
#include <vector>

using namespace orvy::debugging;

namespace {

AccessHandler Handler = nullptr;

std::vector<HookedRange> &ranges() {
  static std::vector<HookedRange> All;
  return All;
}

/// The memory space of a range; null if it has gone.
void *spaceOf(const HookedRange &Range) {
  void *Space = orvy_objectForName(Range.Space.c_str());
  return Space && orvy_getInterface(Space, "MemorySpaceIface", 0) ? Space : nullptr;
}

/// The hooks that ranges need at an address, and up to where that holds.
uint32_t neededAt(const std::string &Space, uint64_t Address, uint64_t &End) {
  uint32_t Needed = 0;
  for (const HookedRange &Each : ranges()) {
    if (Each.Space != Space)
      continue;
    const uint64_t EachEnd = Each.Address + Each.Length;
    if (Address < Each.Address)
      End = std::min(End, Each.Address);
    else if (Address < EachEnd) {
      End = std::min(End, EachEnd);
      Needed |= Each.Attrs;
    }
  }
  return Needed;
}

} // namespace

uint32_t orvy::debugging::hooksOf(uint32_t BreakKind) {
  switch (BreakKind) {
  case ovBK_Fetch:
    return ovMA_FetchHook;
  case ovBK_Read:
    return ovMA_ReadHook;
  case ovBK_Write:
    return ovMA_WriteHook;
  default:
    return ovMA_ReadHook | ovMA_WriteHook;
  }
}

void orvy::debugging::addHooks(const HookedRange &Range) {
  ranges().push_back(Range);
  if (void *Space = spaceOf(Range))
    orvy_memorySetAttr(Space, Range.Address, Range.Length, Range.Attrs);
}

void orvy::debugging::removeHooks(const HookedRange &Range) {
  const auto Found = std::ranges::find(ranges(), Range);
  if (Found == ranges().end())
    return;
  ranges().erase(Found);
  void *Space = spaceOf(Range);
  const uint64_t End = Range.Address + Range.Length;
  for (uint64_t Address = Range.Address; Space && Address < End;) {
    uint64_t Next = End;
    const uint32_t Unused = Range.Attrs & ~neededAt(Range.Space, Address, Next);
    if (Unused != 0)
      orvy_memoryClearAttr(Space, Address, Next - Address, Unused);
    Address = Next;
  }
}

void orvy::debugging::restoreHooks() {
  for (const HookedRange &Range : ranges())
    if (void *Space = spaceOf(Range))
      orvy_memorySetAttr(Space, Range.Address, Range.Length, Range.Attrs);
}

void orvy::debugging::setAccessHandler(AccessHandler Asked) {
  Handler = Asked;
}

AccessHandler orvy::debugging::accessHandler() {
  return Handler;
}
