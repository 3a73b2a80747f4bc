// ForeignTypes.h - descriptions of types for libffi.

#ifndef ORVY_LIB_FOREIGNTYPES_H
#define ORVY_LIB_FOREIGNTYPES_H

#include "orvy/Support/TypeSystem.h"

#include <ffi.h>

namespace orvy {

/// The description of an integer of 8, 16, 32 or 64 bits.
ffi_type *describeInteger(uint64_t Bits, IntegerType::Signedness Sign);

/// A structure in the eyes of libffi, which works out size and alignment when it is first used.
struct ClosedType {
  explicit ClosedType() { setElements({}); }
  void setElements(std::vector<ffi_type *> Types) {
    Elements = std::move(Types);
    Elements.push_back(nullptr);
    Description = {0, 0, FFI_TYPE_STRUCT, Elements.data()};
  }

  ffi_type Description;
  std::vector<ffi_type *> Elements; // ended by a null
};

} // namespace orvy

#endif
