// ComponentModel.h - what the library itself needs of components.

#ifndef ORVY_LIB_COMPONENTMODEL_H
#define ORVY_LIB_COMPONENTMODEL_H

#include "orvy/Support/Clock.h"
#include "orvy/Support/Component.h"

#include <span>

namespace orvy::component {

/// The record behind an address; null if it is no registered component.
orvy_Component *find(const void *Obj);

/// The references in a vector; none if it holds anything else.
std::span<orvy_IfaceRef> referencesIn(orvy_Vector &Vec);

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

/// The ClockIface of every component: the scheduler of its group of clocks.
extern ClockIface GroupTable;

} // namespace orvy::component

#endif
