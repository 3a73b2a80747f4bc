// The numbers and stack slots of DWARF expressions.

#include "orvy/Support/DwarfExpression.h"

#include <stdexcept>

using namespace orvy::dwarf;

Scalar &Scalar::operator>>=(const Scalar &Count) {
  if (Tag == Float || Tag == Double)
    return *this;
  bool Signed = Tag & 1;
  return Signed ? sra(Count) : srl(Count);
}

Scalar &Scalar::sra(const Scalar &Count) {
  Bits = static_cast<uint64_t>(i64() >> Count.Bits % 64);
  return *this;
}

Scalar &Scalar::abs() {
  if (i64() < 0)
    Bits = 0 - Bits;
  return *this;
}

namespace orvy::dwarf {

namespace {

uint64_t requireDivisor(const Scalar &Divisor) {
  if (Divisor.u64() == 0)
    throw std::domain_error("division by zero");
  return Divisor.u64();
}

} // namespace

Scalar operator==(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() == Right.u64());
}
Scalar operator!=(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() != Right.u64());
}
Scalar operator>=(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.i64() >= Right.i64());
}
Scalar operator<=(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.i64() <= Right.i64());
}
Scalar operator>(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.i64() > Right.i64());
}
Scalar operator<(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.i64() < Right.i64());
}

Scalar operator+(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() + Right.u64());
}
Scalar operator-(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() - Right.u64());
}
Scalar operator*(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() * Right.u64());
}
Scalar operator/(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() / requireDivisor(Right));
}
Scalar operator%(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() % requireDivisor(Right));
}
Scalar operator&(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() & Right.u64());
}
Scalar operator|(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() | Right.u64());
}
Scalar operator^(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() ^ Right.u64());
}
Scalar operator<<(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() << Right.u64() % 64);
}
Scalar operator>>(const Scalar &Left, const Scalar &Right) {
  return Scalar(Left.u64() >> Right.u64() % 64);
}
Scalar operator-(const Scalar &Number) {
  return Scalar(0 - Number.u64());
}
Scalar operator~(const Scalar &Number) {
  return Scalar(~Number.u64());
}

} // namespace orvy::dwarf

Context::~Context() = default;

Scalar Value::scalar() const {
  if (Kind != Number)
    throw 42;
  return Held;
}

Value Value::getReferredValue() const {
  if (Kind == Number)
    return {Held, nullptr};
  if (Kind == Register && Ctxt)
    return Ctxt->getRegisterValue(Held.i32());
  if (Kind == Memory && Ctxt)
    return Ctxt->getMemoryValue(Held.u64());
  return {Undefined, 0, nullptr};
}
