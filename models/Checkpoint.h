// Checkpoint.h - restores lists of a model's state from a checkpoint.

#ifndef ORVY_MODELS_CHECKPOINT_H
#define ORVY_MODELS_CHECKPOINT_H

#include "orvy/Support/Orvy.h"

#include <cstddef>
#include <cstdint>

namespace models {

/// A list of integers saved under a name; empty if there is none. An element that is not an integer
/// reads as 0, with an error in the log.
class SavedNumbers {
public:
  SavedNumbers(void *Ctxt, const char *Name)
      : Ctxt(Ctxt), Name(Name), Length(orvy_checkpointGetLength(Ctxt, Name)) {}

  bool isThere() const { return Length >= 0; }
  size_t size() const { return isThere() ? static_cast<size_t>(Length) : 0; }
  uint64_t at(size_t Idx) const {
    orvy_Propval Pv = orvy_checkpointGetValue(Ctxt, Name, static_cast<uint32_t>(Idx));
    if (Pv.Typ == ovTY_U64) // the most common type
      return Pv.u64;
    return orvy_isDiscrete(Pv) ? orvy_asUnsigned(Pv) : 0;
  }

private:
  void *Ctxt;
  const char *Name;
  int Length;
};

} // namespace models

#endif
