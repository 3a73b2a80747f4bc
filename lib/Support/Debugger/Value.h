// Value.h - values of a stopped program: typed bytes, and where they came from.

#ifndef ORVY_LIB_DEBUGVALUE_H
#define ORVY_LIB_DEBUGVALUE_H

#include "Debugger/Frames.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvy::debugger {

using source::Type;
using source::TypeKind;

/// What cannot be evaluated, with the reason.
class EvaluationError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// A processor that is stopped, and the frame that names refer to. Its back trace is made when it
/// is first needed.
class Stopped {
public:
  explicit Stopped(void *Cpu, unsigned Level = 0) : At(Cpu), Level(Level) {}

  const CpuView &target() const { return At; }
  Backtrace &backtrace();
  /// Has it use frames that were found already. They must outlive it.
  void share(Backtrace &Found) { Shared = &Found; }
  /// The selected frame; the innermost if the selected one does not exist.
  Frame &frame();
  /// Whether the selected frame is the innermost, whose registers are those of the processor.
  bool isInnermost() const { return Level == 0; }
  source::Program *program();
  source::TypeTable &types();

private:
  CpuView At;
  unsigned Level;
  std::unique_ptr<Backtrace> Trace;
  Backtrace *Shared = nullptr;
  std::optional<source::Program *> Innermost; ///< program of the innermost frame, once it is known
};

class Value {
public:
  /// Values of more bytes are not read.
  static constexpr uint64_t MaxBytes = 16 << 20;

  enum class Place : uint8_t { Nowhere, Memory, Pieces };

  Value() = default;
  /// A number.
  static Value ofInteger(const Type &T, uint64_t Bits);
  static Value ofReal(const Type &T, double Number);
  /// What is at an address; it is read when its bytes are needed.
  static Value inMemory(const Type &T, uint64_t Address);
  /// What the pieces of a location give.
  static Value fromLocation(const Type &T, const source::Location &Where, Stopped &In);
  static Value ofBytes(const Type &T, std::vector<uint8_t> Contents);
  static Value optimisedOut(const Type &T);

  const Type &type() const { return *T; }
  Place place() const { return Is; }
  /// Its address, if it is in memory.
  uint64_t address() const { return Address; }
  bool isBitField() const { return BitSize != 0; }
  bool isOptimisedOut() const { return IsLost; }
  /// Why it cannot be told, where a location could not be evaluated.
  const std::string &problem() const { return Problem; }
  /// A pointer to something that has no address.
  bool isSynthetic() const { return IsSynthetic; }

  /// Its bytes in target order. Throws EvaluationError if they cannot be read.
  const std::vector<uint8_t> &bytes(Stopped &In) const;
  /// Whether some byte of a range was optimised away.
  bool isLost(uint64_t First, uint64_t Count) const;

  uint64_t bits(Stopped &In) const; ///< of a number or pointer, extended by its sign
  double real(Stopped &In) const;
  bool isTrue(Stopped &In) const;

  Value member(const source::Member &M, Stopped &In) const;
  Value element(uint64_t Index, Stopped &In) const;
  Value cast(const Type &To, Stopped &In) const;
  /// An array as a pointer to its first element, a function as a pointer to itself.
  Value decayed(Stopped &In) const;
  Value reinterpreted(const Type &As) const;
  /// A real number as an integer of the same bits.
  Value asBits(Stopped &In) const;

  /// Stores a value of any number or pointer type, or one of the same aggregate type.
  void assign(const Value &From, Stopped &In);

private:
  void takePiece(const std::vector<uint8_t> &From, uint64_t At, uint64_t Count);
  std::vector<uint8_t> converted(const Value &From, Stopped &In) const;
  std::vector<uint8_t> withBits(uint64_t Bits, Stopped &In) const;
  void storeByte(const source::Piece &P, uint64_t Offset, uint8_t Byte, Stopped &In) const;

  const Type *T = nullptr;
  Place Is = Place::Nowhere;
  uint64_t Address = 0;
  uint64_t BitOffset = 0, BitSize = 0; ///< of a bit field, inside its bytes
  bool IsLost = false, IsSynthetic = false;
  std::string Problem;
  mutable bool IsRead = false;
  mutable std::vector<uint8_t> Contents;
  std::vector<bool> LostBytes;
  std::vector<source::Piece> Pieces; ///< where a value in registers is stored to
  uint64_t PieceOffset = 0;          ///< bytes of the pieces before this value
};

} // namespace orvy::debugger

#endif
