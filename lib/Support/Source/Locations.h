// Locations.h - evaluates the expressions that tell where variables are and what values they have
// (DWARF 5, 2.5 and 2.6), with the extensions that compilers write for versions before 5.

#ifndef ORVY_LIB_LOCATIONS_H
#define ORVY_LIB_LOCATIONS_H

#include "Source/EntryValues.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvy::source {

/// What an expression reads of a stopped program. Nothing is returned for what is not known.
class ExpressionContext {
public:
  virtual ~ExpressionContext() = default;
  /// A register by its DWARF number, of 32 bits.
  virtual std::optional<uint64_t> readRegister(uint64_t Number) = 0;
  /// Bytes of memory in target order. Returns false if some of them cannot be read.
  virtual bool readMemory(uint64_t Address, uint8_t *Into, size_t Length) = 0;
  /// The canonical frame address and the frame base of the function.
  virtual std::optional<uint64_t> callFrameAddress() = 0;
  virtual std::optional<uint64_t> frameBase() = 0;
  /// What an expression had for a value at the entry of the function (DW_OP_entry_value).
  virtual std::optional<uint64_t> entryValue(Bytes Expression) = 0;
};

/// A part of an object.
struct Piece {
  enum Kind : uint8_t {
    Memory,          ///< at Where
    Register,        ///< in register Where
    Contents,        ///< these bytes, in target order
    ImplicitPointer, ///< a pointer to Where bytes inside the object of Target, which has no address
    OptimisedOut     ///< nowhere
  };
  Kind Is = OptimisedOut;
  uint64_t Where = 0;
  std::vector<uint8_t> Contained;
  DebugInfoEntry *Target = nullptr;
  uint64_t Bits = 0;      ///< of the piece; 0 for the whole object
  uint64_t BitOffset = 0; ///< inside the register or the bytes
};

/// Where an object is, and what is wrong if that cannot be told.
struct Location {
  std::vector<Piece> Pieces;
  std::string Problem;
};

/// Evaluates an expression of an entry as a location. Start is pushed first, if given.
Location evaluateLocation(Bytes Expression, DebugInfoEntry &Of, ExpressionContext &In,
                          std::optional<uint64_t> Start = std::nullopt);

/// Evaluates an expression as a number: the top of its stack, or the value of a register. Of may be
/// null, for the expressions of call frames.
std::optional<uint64_t> evaluateNumber(Bytes Expression, DebugInfoEntry *Of, ExpressionContext &In,
                                       std::optional<uint64_t> Start = std::nullopt);

} // namespace orvy::source

#endif
