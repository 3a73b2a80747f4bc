// DwarfHandle.h - what stands behind the pointers of the flat interface.

#ifndef ORVY_LIB_DWARFHANDLE_H
#define ORVY_LIB_DWARFHANDLE_H

#include "orvy/Support/Dwarf.h"

namespace orvy::dwarf {

inline DebugInfo &infoOf(orvy_Dwarf Dwarf) {
  return *reinterpret_cast<DebugInfo *>(Dwarf);
}
inline DebugInfoEntry &entryOf(void *Entry) {
  return *static_cast<DebugInfoEntry *>(Entry);
}
/// Units are handed out as compilation units, but that of an entry may be a type unit.
inline Unit &unitOf(void *Handle) {
  return *static_cast<Unit *>(Handle);
}

} // namespace orvy::dwarf

#endif
