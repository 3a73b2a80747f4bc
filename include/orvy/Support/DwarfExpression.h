// DwarfExpression.h - evaluates the expressions that say where a variable is (DWARF 4, 2.5).
//
//     ExpressionVM VM;
//     VM.runExpr(&Context, Bytes, 0, Bytes.size(), nullptr, nullptr, &FrameBase);
//     Value Where = VM.result();
//     VM.reset();
//
// What an expression asks of the target goes to a Context. An expression that cannot go on ends
// with a text on the error stream, and leaves the stack as it stands; the reason is in the log at
// debug level. No expression runs for ever or grows without bounds. A machine belongs to one
// thread.

#ifndef ORVY_SUPPORT_DWARFEXPRESSION_H
#define ORVY_SUPPORT_DWARFEXPRESSION_H

#include "orvy/Support/Export.h"

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace orvy::dwarf {

/// A number with a type. Its 64 bits are the value widened by the type's own sign; of the real
/// types the bits of a double.
class Scalar {
public:
  enum Type : uint32_t {
    U8 = 0,
    I8 = 1,
    U16 = 2,
    I16 = 3,
    U32 = 4,
    I32 = 5,
    U64 = 6,
    I64 = 7,
    Float = 8,
    Double = 9
  };

  Scalar() = default;
  /// A number of the type of the argument; a bool is an unsigned 32-bit number.
  template <typename T>
  requires std::is_arithmetic_v<T>
  explicit Scalar(T Number) : Tag(tagOf<T>()), Bits(widen(Number)) {}
  template <typename T>
  requires std::is_arithmetic_v<T> Scalar &operator=(T Number) { return *this = Scalar(Number); }

  Type getType() const { return Tag; }

  uint8_t u8() const { return static_cast<uint8_t>(Bits); }
  int8_t i8() const { return static_cast<int8_t>(Bits); }
  uint16_t u16() const { return static_cast<uint16_t>(Bits); }
  int16_t i16() const { return static_cast<int16_t>(Bits); }
  uint32_t u32() const { return static_cast<uint32_t>(Bits); }
  int32_t i32() const { return static_cast<int32_t>(Bits); }
  uint64_t u64() const { return Bits; }
  int64_t i64() const { return static_cast<int64_t>(Bits); }
  bool boolean() const { return Bits != 0; }

  // In place, on the 64 bits; the type stays. Shift counts are taken modulo 64.
  Scalar &operator+=(const Scalar &Other) { return Bits += Other.Bits, *this; }
  Scalar &operator&=(const Scalar &Other) { return Bits &= Other.Bits, *this; }
  Scalar &operator<<=(const Scalar &Count) { return Bits <<= Count.Bits % 64, *this; }
  /// Arithmetic for signed types, logical for unsigned ones; nothing for real ones.
  ORVY_API Scalar &operator>>=(const Scalar &Count);
  Scalar &srl(const Scalar &Count) { return Bits >>= Count.Bits % 64, *this; }
  ORVY_API Scalar &sra(const Scalar &Count);
  /// Of the signed 64-bit value; the lowest one stays.
  ORVY_API Scalar &abs();

private:
  template <typename T> static constexpr Type tagOf() {
    if constexpr (std::is_same_v<T, bool>)
      return U32;
    else if constexpr (std::is_floating_point_v<T>)
      return sizeof(T) == sizeof(float) ? Float : Double;
    else
      return static_cast<Type>(2 * std::countr_zero(sizeof(T)) + std::is_signed_v<T>);
  }
  template <typename T> static uint64_t widen(T Number) {
    if constexpr (std::is_floating_point_v<T>)
      return std::bit_cast<uint64_t>(static_cast<double>(Number));
    else
      return static_cast<uint64_t>(Number);
  }

  Type Tag = I32;
  uint64_t Bits = 0;
};

// Comparisons give an unsigned 32-bit 0 or 1: equality of the bits, order of the signed 64 bits.
ORVY_API Scalar operator==(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator!=(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator>=(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator<=(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator>(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator<(const Scalar &Left, const Scalar &Right);
// Arithmetic is that of unsigned 64-bit numbers and gives such. Division by 0 throws
// std::domain_error; shift counts are taken modulo 64.
ORVY_API Scalar operator+(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator-(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator*(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator/(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator%(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator&(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator|(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator^(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator<<(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator>>(const Scalar &Left, const Scalar &Right);
ORVY_API Scalar operator-(const Scalar &Number);
ORVY_API Scalar operator~(const Scalar &Number);

class Context;

/// A slot of the stack: a number, or a reference to a register or to memory.
class Value {
public:
  enum Type : uint32_t {
    Undefined = 0,
    Number = 1,
    Register = 2, ///< the number is that of the register
    Memory = 3    ///< the number is the address
  };

  /// A number of the type of the argument.
  template <std::integral T> Value(T Number, Context *Ctxt) : Value(Scalar(Number), Ctxt) {}
  Value(const Scalar &Number, Context *Ctxt) : Value(Type::Number, Number, Ctxt) {}
  Value(Type Kind, int Number, Context *Ctxt) : Value(Kind, Scalar(Number), Ctxt) {}
  Value(Type Kind, uint64_t Number, Context *Ctxt) : Value(Kind, Scalar(Number), Ctxt) {}
  Value(Type Kind, const Scalar &Number, Context *Ctxt) : Kind(Kind), Held(Number), Ctxt(Ctxt) {}

  Type getType() const { return Kind; }
  /// What is held, whatever it stands for: number, register or address.
  const Scalar &getHeld() const { return Held; }
  /// The number of a number. Throws the integer 42 for any other kind.
  ORVY_API Scalar scalar() const;
  /// What a reference refers to, read through its context; undefined without one. A number is
  /// itself.
  ORVY_API Value getReferredValue() const;

private:
  Type Kind;
  Scalar Held;
  Context *Ctxt;
};

/// What an expression asks of the target. What cannot be told is an undefined value; what is not
/// served at all throws.
class ORVY_API Context {
public:
  virtual Value getMemoryValue(uint64_t Address) = 0;
  virtual Value getMemoryValueSize(uint64_t Address, uint8_t Size) = 0;
  virtual Value getMemorySpaceValue(uint64_t Address, uint64_t Space) = 0;
  virtual Value getMemorySpaceValueSize(uint64_t Address, uint64_t Space, uint8_t Size) = 0;
  virtual Value getRegisterValue(int Reg) = 0;
  virtual Value getTLSAddress(uint64_t Offset) = 0;
  /// Last, so that the operations keep their slots.
  virtual ~Context();
};

/// The stack machine. Expressions of one machine share its stack until it is reset.
class ExpressionVM {
public:
  /// Operations that one run may take: a loop of branches back ends there.
  static constexpr size_t MaxOperations = 1'000'000;
  /// Values that the stack may hold.
  static constexpr size_t MaxDepth = 4096;
  /// Bytes that the pieces of one run may take.
  static constexpr size_t MaxPieceBytes = 65'536;

  /**
   * Runs the bytes of an expression from Offset up to Offset + Length on the stack.
   *
   * Throws the integer 42 if Offset is not inside Expr, as for an empty one. Every other failure
   * ends the run as told above.
   * @param Ctxt       null if there is no target to ask
   * @param ObjectAddr address of the object that holds the member asked for; null if not known
   * @param Cfa        canonical frame address; null if not known
   * @param FrameBase  frame base of the function; null if not known
   */
  ORVY_API void runExpr(Context *Ctxt, const std::vector<uint8_t> &Expr, size_t Offset,
                        size_t Length, const uint64_t *ObjectAddr, const uint64_t *Cfa,
                        const uint64_t *FrameBase);
  /// The top of the stack; an undefined value if it is empty, as it can be after a failure.
  ORVY_API Value result() const;
  /// Empties the stack; the pieces stay.
  void reset() { Stack.clear(); }
  /// The bytes of all pieces so far, in order.
  const std::vector<uint8_t> &getPieces() const { return Pieces; }

private:
  class Run;

  std::vector<Value> Stack;
  std::vector<uint8_t> Pieces;
};

} // namespace orvy::dwarf

#endif
