#include "Debugger/Value.h"

#include "Base/HexText.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

using namespace orvy;
using namespace orvy::debugger;
using namespace orvy::source;

namespace {

constexpr uint64_t RegisterBytes = 4;

uint64_t bigEndian(const uint8_t *Bytes, uint64_t Count) {
  uint64_t Bits = 0;
  for (uint64_t Index = 0; Index < Count; ++Index)
    Bits = Bits << 8 | Bytes[Index];
  return Bits;
}

void storeBigEndian(uint8_t *Bytes, uint64_t Count, uint64_t Bits) {
  for (uint64_t Index = Count; Index-- > 0; Bits >>= 8)
    Bytes[Index] = static_cast<uint8_t>(Bits);
}

uint64_t extended(uint64_t Bits, uint64_t Width, bool IsSigned) {
  if (Width == 0 || Width >= 64)
    return Bits;
  const uint64_t Shift = 64 - Width;
  return IsSigned ? static_cast<uint64_t>(static_cast<int64_t>(Bits << Shift) >> Shift)
                  : Bits << Shift >> Shift;
}

bool isSigned(const Type &T) {
  const Type &Under = T.stripped();
  if (Under.Kind != TypeKind::Enumeration)
    return Under.IsSigned;
  return std::ranges::any_of(Under.enumerators(), [](const Enumerator &E) { return E.Value < 0; });
}

[[noreturn]] void fail(const std::string &Why) {
  throw EvaluationError(Why);
}

void requireSize(const Type &T) {
  if (T.size() > Value::MaxBytes)
    fail("value of " + std::to_string(T.size()) + " bytes is larger than can be shown");
}

} // namespace

// Stopped.

Backtrace &Stopped::backtrace() {
  if (Shared)
    return *Shared;
  if (!Trace)
    Trace = std::make_unique<Backtrace>(At);
  return *Trace;
}

Frame &Stopped::frame() {
  Frame *Chosen = backtrace().frame(Level);
  return Chosen ? *Chosen : *backtrace().frame(0);
}

source::Program *Stopped::program() {
  if (Level != 0 || Trace || Shared)
    if (Program *In = frame().In)
      return In;
  if (!Innermost)
    Innermost = programOf(At);
  return *Innermost;
}

TypeTable &Stopped::types() {
  if (Program *In = program())
    return In->types();
  // Expressions without a program keep its types.
  static TypeTable &Plain = *new TypeTable;
  return Plain;
}

// Making values.

Value Value::ofInteger(const Type &T, uint64_t Bits) {
  std::vector<uint8_t> Bytes(std::min<uint64_t>(std::max<uint64_t>(T.size(), 1), 8));
  storeBigEndian(Bytes.data(), Bytes.size(), Bits);
  return ofBytes(T, std::move(Bytes));
}

Value Value::ofReal(const Type &T, double Number) {
  const uint64_t Size = T.size();
  if (Size == 4)
    return ofInteger(T, std::bit_cast<uint32_t>(static_cast<float>(Number)));
  if (Size == 8)
    return ofInteger(T, std::bit_cast<uint64_t>(Number));
  fail("real numbers of " + std::to_string(Size) + " bytes are not supported");
}

Value Value::inMemory(const Type &T, uint64_t Address) {
  Value V;
  V.T = &T;
  V.Is = Place::Memory;
  V.Address = Address & UINT32_MAX;
  return V;
}

Value Value::ofBytes(const Type &T, std::vector<uint8_t> Contents) {
  Value V;
  V.T = &T;
  V.Contents = std::move(Contents);
  V.IsRead = true;
  return V;
}

Value Value::optimisedOut(const Type &T) {
  Value V;
  V.T = &T;
  V.IsLost = true;
  return V;
}

/// The bytes that a piece gives for so many of a value; fewer, or more, if that is what it holds.
static std::vector<uint8_t> contentsOf(const Piece &P, uint64_t Count, Stopped &In) {
  std::vector<uint8_t> Found;
  switch (P.Is) {
  case Piece::Memory:
    Found.resize(Count);
    if (!In.target().read(P.Where, Found.data(), Count))
      Found.clear();
    break;
  case Piece::Contents:
    return P.Contained;
  case Piece::Register:
    // A value wider than a register goes on in the next one.
    for (uint64_t Number = P.Where; Found.size() < std::max(Count, RegisterBytes); ++Number) {
      const auto Held = In.backtrace().readRegister(In.frame(), static_cast<unsigned>(Number));
      if (!Held)
        break;
      Found.resize(Found.size() + RegisterBytes);
      storeBigEndian(Found.data() + Found.size() - RegisterBytes, RegisterBytes, *Held);
    }
    break;
  case Piece::ImplicitPointer:
    Found.assign(Count, 0);
    break;
  default:
    break;
  }
  return Found;
}

/// Puts what a piece gave at its place: the least significant bytes where there are more than needed.
/// Fewer are a number that was computed in less.
void Value::takePiece(const std::vector<uint8_t> &From, uint64_t At, uint64_t Count) {
  if (From.empty())
    return;
  const uint64_t Skip = From.size() > Count ? From.size() - Count : 0;
  const uint64_t Missing = Count > From.size() ? Count - From.size() : 0;
  for (uint64_t Index = Missing; Index < Count; ++Index)
    Contents[At + Index] = From[Index - Missing + Skip];
  for (uint64_t Index = 0; Index < Count; ++Index)
    LostBytes[At + Index] = false;
}

Value Value::fromLocation(const Type &T, const Location &Where, Stopped &In) {
  if (!Where.Problem.empty()) {
    Value V = optimisedOut(T);
    V.Problem = Where.Problem;
    return V;
  }
  const auto &Pieces = Where.Pieces;
  if (Pieces.size() == 1 && Pieces[0].Is == Piece::Memory && Pieces[0].Bits == 0)
    return inMemory(T, Pieces[0].Where);
  if (Pieces.size() == 1 && Pieces[0].Is == Piece::OptimisedOut)
    return optimisedOut(T);
  requireSize(T);
  const uint64_t Size = T.size();
  Value V;
  V.T = &T;
  V.Is = Place::Pieces;
  V.Pieces = Pieces;
  V.Contents.assign(Size, 0);
  V.LostBytes.assign(Size, true);
  V.IsRead = true;
  uint64_t At = 0;
  for (const Piece &P : Pieces) {
    if (P.Bits % 8 != 0 || P.BitOffset % 8 != 0) {
      V.Problem = "pieces of single bits are not supported";
      break;
    }
    const uint64_t Count = std::min(P.Bits ? P.Bits / 8 : Size, Size - At);
    V.takePiece(contentsOf(P, Count, In), At, Count);
    V.IsSynthetic = V.IsSynthetic || P.Is == Piece::ImplicitPointer;
    At += Count;
  }
  V.IsLost = Size != 0 && std::ranges::find(V.LostBytes, false) == V.LostBytes.end();
  return V;
}

// Reading.

const std::vector<uint8_t> &Value::bytes(Stopped &In) const {
  if (IsLost)
    fail(Problem.empty() ? "value has been optimised out" : Problem);
  if (IsRead)
    return Contents;
  requireSize(*T);
  const uint64_t Size = BitSize ? (BitOffset + BitSize + 7) / 8 : T->size();
  Contents.resize(Size);
  if (Is == Place::Memory && !In.target().read(Address, Contents.data(), Size))
    fail("cannot access memory at address 0x" + hexText(Address, 1));
  IsRead = true;
  return Contents;
}

bool Value::isLost(uint64_t First, uint64_t Count) const {
  for (uint64_t Index = First; Index < First + Count && Index < LostBytes.size(); ++Index)
    if (LostBytes[Index])
      return true;
  return false;
}

uint64_t Value::bits(Stopped &In) const {
  const std::vector<uint8_t> &Bytes = bytes(In);
  if (BitSize != 0) {
    uint64_t Bits = 0;
    for (uint64_t Bit = BitOffset; Bit < BitOffset + BitSize; ++Bit)
      Bits = Bits << 1 | (Bytes[Bit / 8] >> (7 - Bit % 8) & 1u);
    return extended(Bits, BitSize, isSigned(*T));
  }
  if (LostBytes.size() && isLost(0, T->size()))
    fail("value has been optimised out");
  const Type &Under = T->stripped();
  if (Under.Kind == TypeKind::Real) {
    const double Number = real(In);
    return std::isfinite(Number) && std::fabs(Number) < 0x1p63
               ? static_cast<uint64_t>(static_cast<int64_t>(Number))
               : 0;
  }
  const uint64_t Size = std::min<uint64_t>(Bytes.size(), 8);
  return extended(bigEndian(Bytes.data() + (Bytes.size() - Size), Size), 8 * Size, isSigned(*T));
}

double Value::real(Stopped &In) const {
  if (T->stripped().Kind != TypeKind::Real) {
    const uint64_t Bits = bits(In);
    return isSigned(*T) ? static_cast<double>(static_cast<int64_t>(Bits))
                        : static_cast<double>(Bits);
  }
  const std::vector<uint8_t> &Bytes = bytes(In);
  if (Bytes.size() == 4)
    return double{std::bit_cast<float>(static_cast<uint32_t>(bigEndian(Bytes.data(), 4)))};
  if (Bytes.size() == 8)
    return std::bit_cast<double>(bigEndian(Bytes.data(), 8));
  fail("real numbers of " + std::to_string(Bytes.size()) + " bytes are not supported");
}

bool Value::isTrue(Stopped &In) const {
  return T->stripped().Kind == TypeKind::Real ? real(In) != 0 : decayed(In).bits(In) != 0;
}

// Parts.

Value Value::member(const Member &M, Stopped &In) const {
  Value V;
  V.T = M.Of;
  const uint64_t Start = M.BitOffset / 8;
  if (M.BitSize != 0) {
    V.BitOffset = M.BitOffset % 8;
    V.BitSize = std::min<uint64_t>(M.BitSize, 64);
  }
  if (IsLost)
    return optimisedOut(*M.Of);
  if (Is == Place::Memory && !IsRead) {
    V.Is = Place::Memory;
    V.Address = (Address + Start) & UINT32_MAX;
    return V;
  }
  const uint64_t Count = V.BitSize ? (V.BitOffset + V.BitSize + 7) / 8 : M.Of->size();
  const std::vector<uint8_t> &Bytes = bytes(In);
  if (Start > Bytes.size() || Count > Bytes.size() - Start)
    fail("member '" + M.Name + "' lies outside of its structure");
  if (!LostBytes.empty() && isLost(Start, Count))
    return optimisedOut(*M.Of);
  V.Is = Is;
  V.Address = (Address + Start) & UINT32_MAX;
  V.Contents.assign(Bytes.begin() + static_cast<std::ptrdiff_t>(Start),
                    Bytes.begin() + static_cast<std::ptrdiff_t>(Start + Count));
  V.IsRead = true;
  V.Pieces = Pieces;
  V.PieceOffset = PieceOffset + Start;
  return V;
}

Value Value::element(uint64_t Index, Stopped &In) const {
  const Type &Element = T->stripped().target();
  Member M;
  M.Name = "[" + std::to_string(Index) + "]";
  M.Of = &Element;
  if (Is == Place::Memory && !IsRead)
    return inMemory(Element, Address + Index * Element.size());
  M.BitOffset = 8 * Index * Element.size();
  return member(M, In);
}

Value Value::decayed(Stopped &In) const {
  const Type &Under = T->stripped();
  if (Under.Kind == TypeKind::Array && Is == Place::Memory)
    return ofInteger(In.types().pointerTo(Under.target()), Address);
  if (Under.Kind == TypeKind::Function)
    return ofInteger(In.types().pointerTo(*T), Address);
  return *this;
}

Value Value::reinterpreted(const Type &As) const {
  Value V = *this;
  V.T = &As;
  return V;
}

Value Value::asBits(Stopped &In) const {
  const bool IsWide = T->size() == 8;
  return ofBytes(In.types().number(IsWide ? "long long" : "int"), bytes(In));
}

Value Value::cast(const Type &To, Stopped &In) const {
  const Type &Into = To.stripped();
  const Value From = decayed(In);
  const Type &Under = From.type().stripped();
  if (Into.Kind == TypeKind::Void)
    return reinterpreted(To);
  if (Into.isAggregate() || Into.Kind == TypeKind::Array) {
    if (Is == Place::Memory && Into.size() != 0)
      return inMemory(To, Address);
    fail("cannot convert to " + To.text());
  }
  if (Under.isAggregate() || Under.Kind == TypeKind::Void)
    fail("cannot convert " + T->text() + " to " + To.text());
  if (Into.Kind == TypeKind::Real)
    return ofReal(To, From.real(In));
  if (Into.Kind == TypeKind::Bool)
    return ofInteger(To, From.isTrue(In));
  return ofInteger(To, From.bits(In));
}

// Storing.

/// The bytes of a value as this one would hold it.
std::vector<uint8_t> Value::converted(const Value &From, Stopped &In) const {
  const auto isWhole = [](const Type &Of) {
    return Of.stripped().isAggregate() || Of.stripped().Kind == TypeKind::Array;
  };
  if (!isWhole(*T))
    return From.cast(*T, In).bytes(In);
  if (From.type().size() != T->size() || !isWhole(From.type()))
    fail("cannot assign " + From.type().text() + " to " + T->text());
  return From.bytes(In);
}

/// Its bytes with a bit field in them set to a number.
std::vector<uint8_t> Value::withBits(uint64_t Bits, Stopped &In) const {
  std::vector<uint8_t> New = bytes(In);
  for (uint64_t Index = 0; Index < BitSize; ++Index) {
    const uint64_t Bit = BitOffset + Index;
    const auto Mask = static_cast<uint8_t>(1u << (7 - Bit % 8));
    const bool IsSet = Bits >> (BitSize - 1 - Index) & 1;
    New[Bit / 8] = static_cast<uint8_t>(IsSet ? New[Bit / 8] | Mask : New[Bit / 8] & ~Mask);
  }
  return New;
}

/// Stores a byte of a piece.
void Value::storeByte(const Piece &P, uint64_t Offset, uint8_t Byte, Stopped &In) const {
  if (P.Is == Piece::Memory) {
    if (!In.target().write(P.Where + Offset, &Byte, 1))
      fail("cannot write memory at address 0x" + hexText(P.Where, 1));
    return;
  }
  if (P.Is != Piece::Register)
    fail("the value has no place that could be written");
  // A value narrower than the register is in its least significant bytes.
  const uint64_t Size = P.Bits ? P.Bits / 8 : Contents.size() + PieceOffset;
  const uint64_t Place = Offset + (Size < RegisterBytes ? RegisterBytes - Size : 0);
  const auto Number = static_cast<unsigned>(P.Where + Place / RegisterBytes);
  const auto Old = In.backtrace().readRegister(In.frame(), Number);
  const uint64_t Shift = 8 * (RegisterBytes - 1 - Place % RegisterBytes);
  const uint64_t Word = (Old.value_or(0) & ~(uint64_t{0xff} << Shift)) | uint64_t{Byte} << Shift;
  if (!Old || !In.backtrace().writeRegister(In.frame(), Number, Word))
    fail("the register of the value cannot be written in this frame");
}

void Value::assign(const Value &From, Stopped &In) {
  std::vector<uint8_t> New = converted(From, In);
  if (BitSize != 0)
    New = withBits(bigEndian(New.data(), New.size()), In);
  if (Is == Place::Nowhere)
    fail("left side of the assignment is not a place in memory or a register");
  if (Is == Place::Memory && !In.target().write(Address, New.data(), New.size()))
    fail("cannot write memory at address 0x" + hexText(Address, 1));
  uint64_t Start = 0; // of a piece in the whole value
  for (const Piece &P : Pieces) {
    const uint64_t Length = P.Bits ? P.Bits / 8 : PieceOffset + New.size();
    for (uint64_t Byte = std::max(Start, PieceOffset);
         Byte < std::min(Start + Length, PieceOffset + New.size()); ++Byte)
      storeByte(P, Byte - Start, New[Byte - PieceOffset], In);
    Start += Length;
  }
  Contents = New;
  IsRead = true;
}
