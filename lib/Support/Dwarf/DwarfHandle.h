// DwarfHandle.h - the objects that the pointers of the flat interface refer to.

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
/// Handles of units are those of compilation units, but an entry's unit may be a type unit.
inline Unit &unitOf(void *Handle) {
  return *static_cast<Unit *>(Handle);
}

} // namespace orvy::dwarf

#endif
