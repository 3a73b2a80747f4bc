// ComponentModel.h - what the library itself needs of components.

#ifndef ORVY_LIB_COMPONENTMODEL_H
#define ORVY_LIB_COMPONENTMODEL_H

#include "orvy/Support/Component.h"

#include <span>

namespace orvy::component {

/// The record at an address; null if it is not a registered component.
orvy_Component *find(const void *Obj);

/// Limit of components that own or run each other in a chain: a checkpoint can have any number.
constexpr unsigned MaxLevels = 256;

/// The references in a vector; none if it holds anything else.
std::span<orvy_IfaceRef> referencesIn(orvy_Vector &Vec);

/// The objects in a vector; none if it holds anything else.
std::span<void *> objectsIn(orvy_Vector &Vec);

/// Whether an entry is still an inner object. Its address may be that of another object by now.
bool owns(const orvy_Component &C, const void *Obj);

/// Whether a reference is to a ClockIface: a checkpoint may refer to another table, which the group
/// scheduler must not call.
bool isClock(const orvy_IfaceRef &Ref);

/// Releases a vector that may have been released already.
void disposeVector(orvy_Vector &Vec);

/// Takes over a dictionary of strings, releasing the present one and its strings.
void replaceDelegatePropNames(orvy_Component &C, orvy_Dict *Names);

/// Hides entries that are no longer inner objects from the lists of an object, if that is a
/// component, for as long as the guard lives. The same for its clocks. Nothing may be added meanwhile.
class WithoutGone {
public:
  explicit WithoutGone(void *Obj);
  ~WithoutGone();
  WithoutGone(const WithoutGone &) = delete;
  WithoutGone &operator=(const WithoutGone &) = delete;

private:
  orvy_Component *Comp;
  orvy_Vector Objects{}, Components{}, Clocks{}; ///< the hidden ones
};

/// Gives objects to the components that list them, as a restore may have created or left out some.
void adoptRestored();

} // namespace orvy::component

#endif
