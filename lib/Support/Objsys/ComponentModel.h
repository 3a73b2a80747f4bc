// ComponentModel.h - what the library itself needs of components.

#ifndef ORVY_LIB_COMPONENTMODEL_H
#define ORVY_LIB_COMPONENTMODEL_H

#include "orvy/Support/Component.h"

#include <span>

namespace orvy::component {

/// The record behind an address; null if it is no registered component.
orvy_Component *find(const void *Obj);

/// Components that may own or run each other in a row: a checkpoint can ask for any number.
constexpr unsigned MostLevels = 256;

/// The references in a vector; none if it holds anything else.
std::span<orvy_IfaceRef> referencesIn(orvy_Vector &Vec);

/// The objects in a vector; none if it holds anything else.
std::span<void *> objectsIn(orvy_Vector &Vec);

/// Whether an entry is still an inner object. Its address may be that of another object by now.
bool owns(const orvy_Component &C, const void *Obj);

/// Whether a reference is to a ClockIface. What the group scheduler will call must be what it takes it
/// for, whoever wrote the checkpoint.
bool isClock(const orvy_IfaceRef &Ref);

/// Releases a vector that may have been released already.
void disposeVector(orvy_Vector &Vec);

/// Takes over a dictionary of strings, releasing the present one and its strings.
void replaceDelegatePropNames(orvy_Component &C, orvy_Dict *Names);

/// Hides from the lists of an object, if it is a component, the entries that are inner objects no
/// more, as one that was disposed of alone; what its clocks refer to likewise. For as long as it
/// lives, in which nothing may be added.
class WithoutGone {
public:
  explicit WithoutGone(void *Obj);
  ~WithoutGone();
  WithoutGone(const WithoutGone &) = delete;
  WithoutGone &operator=(const WithoutGone &) = delete;

private:
  orvy_Component *Comp;
  orvy_Vector Objects{}, Components{}, Clocks{}; ///< what the component has otherwise
};

/// Gives objects to the components that list them, as a restore may have created or left out some.
void adoptRestored();

} // namespace orvy::component

#endif
