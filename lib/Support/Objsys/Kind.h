// Kind.h - the qualifiers of classes.

#ifndef ORVY_LIB_KIND_H
#define ORVY_LIB_KIND_H

#include "orvy/Support/Clock.h"

#include <cstdint>

namespace orvy {

/// What the objects of a class are. Models may qualify their classes as other values too.
enum class Kind : uint32_t {
  Plain = 0,
  Processor = 1,
  Machine = 2,
  External = 3,
  Memory = 4,
  Component = 5,
  Clock = ORVY_QUALIFIER_CLOCK
};

} // namespace orvy

#endif
