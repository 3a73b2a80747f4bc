#include "orvy/Support/Expression.h"

#include <charconv>
#include <functional>
#include <iterator>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

using namespace orvy::cl;

ExprValue ExprValue::ofUInt(uint64_t Number) {
  return {EV_UInt, {.UInt = Number}, {}};
}

ExprValue ExprValue::ofInt(int64_t Number) {
  return {EV_Int, {.Int = Number}, {}};
}

ExprValue ExprValue::ofReal(double Number) {
  return {EV_Real, {.Real = Number}, {}};
}

// Sets all 64 bits, because the language's functions show all of them.
ExprValue ExprValue::ofBool(bool Truth) {
  return {EV_Bool, {.UInt = Truth}, {}};
}

ExprValue ExprValue::ofText(std::string Text) {
  return {EV_String, {.UInt = 0}, std::move(Text)};
}

namespace {

bool isInteger(const ExprValue &Value) {
  return Value.Kind == EV_UInt || Value.Kind == EV_Int;
}

bool areIntegers(const ExprValue &Left, const ExprValue &Right) {
  return isInteger(Left) && isInteger(Right);
}

// Whether an operation on two numbers is done in floating point.
bool areReal(const ExprValue &Left, const ExprValue &Right) {
  const auto IsNumber = [](const ExprValue &Each) {
    return isInteger(Each) || Each.Kind == EV_Real;
  };
  return (Left.Kind == EV_Real && IsNumber(Right)) || (Right.Kind == EV_Real && IsNumber(Left));
}

double toReal(const ExprValue &Value) {
  if (Value.Kind == EV_Real)
    return Value.Value.Real;
  return Value.Kind == EV_Int ? static_cast<double>(Value.Value.Int)
                              : static_cast<double>(Value.Value.UInt);
}

std::optional<bool> toTruth(const ExprValue &Value) {
  if (isInteger(Value))
    return Value.Value.UInt != 0;
  if (Value.Kind == EV_Real)
    return Value.Value.Real != 0;
  return Value.Kind == EV_Bool ? std::optional(Value.Value.Bool) : std::nullopt;
}

// Applies an operation that gives the same bits for signed and unsigned integers.
template <typename Operation>
ExprValue onBits(const ExprValue &Left, const ExprValue &Right, Operation Apply) {
  if (!areIntegers(Left, Right))
    return {};
  const uint64_t Result = Apply(Left.Value.UInt, Right.Value.UInt);
  return Left.Kind == EV_Int && Right.Kind == EV_Int
             ? ExprValue::ofInt(static_cast<int64_t>(Result))
             : ExprValue::ofUInt(Result);
}

template <typename Operation>
ExprValue onNumbers(const ExprValue &Left, const ExprValue &Right, Operation Apply) {
  if (areReal(Left, Right))
    return ExprValue::ofReal(Apply(toReal(Left), toReal(Right)));
  return onBits(Left, Right, Apply);
}

// Applies an integer division or remainder. Division by zero and overflow have no value.
template <typename Operation>
ExprValue divide(const ExprValue &Left, const ExprValue &Right, Operation Apply) {
  if (!areIntegers(Left, Right) || Right.Value.UInt == 0)
    return {};
  if (Left.Kind != EV_Int || Right.Kind != EV_Int)
    return ExprValue::ofUInt(Apply(Left.Value.UInt, Right.Value.UInt));
  if (Left.Value.Int == std::numeric_limits<int64_t>::min() && Right.Value.Int == -1)
    return {};
  return ExprValue::ofInt(Apply(Left.Value.Int, Right.Value.Int));
}

template <typename Operation>
ExprValue compare(const ExprValue &Left, const ExprValue &Right, Operation Holds) {
  if (areReal(Left, Right))
    return ExprValue::ofBool(Holds(toReal(Left), toReal(Right)));
  if (!areIntegers(Left, Right))
    return {};
  return ExprValue::ofBool(Left.Kind == EV_Int ? Holds(Left.Value.Int, Right.Value.Int)
                                               : Holds(Left.Value.UInt, Right.Value.UInt));
}

template <typename Operation>
ExprValue combine(const ExprValue &Left, const ExprValue &Right, Operation Holds) {
  const std::optional<bool> First = toTruth(Left);
  const std::optional<bool> Second = toTruth(Right);
  return First && Second ? ExprValue::ofBool(Holds(*First, *Second)) : ExprValue();
}

} // namespace

// Binary operators.

ExprValue orvy::cl::operator+(const ExprValue &Left, const ExprValue &Right) {
  return onNumbers(Left, Right, std::plus<>());
}

ExprValue orvy::cl::operator-(const ExprValue &Left, const ExprValue &Right) {
  return onNumbers(Left, Right, std::minus<>());
}

ExprValue orvy::cl::operator*(const ExprValue &Left, const ExprValue &Right) {
  return onNumbers(Left, Right, std::multiplies<>());
}

ExprValue orvy::cl::operator/(const ExprValue &Left, const ExprValue &Right) {
  if (areReal(Left, Right))
    return ExprValue::ofReal(toReal(Left) / toReal(Right));
  return divide(Left, Right, std::divides<>());
}

ExprValue orvy::cl::operator%(const ExprValue &Left, const ExprValue &Right) {
  return divide(Left, Right, std::modulus<>());
}

ExprValue orvy::cl::operator&(const ExprValue &Left, const ExprValue &Right) {
  return onBits(Left, Right, std::bit_and<>());
}

ExprValue orvy::cl::operator^(const ExprValue &Left, const ExprValue &Right) {
  return onBits(Left, Right, std::bit_xor<>());
}

ExprValue orvy::cl::operator|(const ExprValue &Left, const ExprValue &Right) {
  return onBits(Left, Right, std::bit_or<>());
}

ExprValue orvy::cl::operator<<(const ExprValue &Left, const ExprValue &Right) {
  if (!areIntegers(Left, Right))
    return {};
  const uint64_t Result = Left.Value.UInt << (Right.Value.UInt % 64);
  return {Left.Kind, {.UInt = Result}, {}};
}

ExprValue orvy::cl::operator>>(const ExprValue &Left, const ExprValue &Right) {
  if (!areIntegers(Left, Right))
    return {};
  const uint64_t Count = Right.Value.UInt % 64;
  return Left.Kind == EV_Int ? ExprValue::ofInt(Left.Value.Int >> Count)
                             : ExprValue::ofUInt(Left.Value.UInt >> Count);
}

ExprValue orvy::cl::operator&&(const ExprValue &Left, const ExprValue &Right) {
  return combine(Left, Right, std::logical_and<>());
}

ExprValue orvy::cl::operator||(const ExprValue &Left, const ExprValue &Right) {
  return combine(Left, Right, std::logical_or<>());
}

ExprValue orvy::cl::operator>(const ExprValue &Left, const ExprValue &Right) {
  return compare(Left, Right, std::greater<>());
}

ExprValue orvy::cl::operator<(const ExprValue &Left, const ExprValue &Right) {
  return compare(Left, Right, std::less<>());
}

ExprValue orvy::cl::operator<=(const ExprValue &Left, const ExprValue &Right) {
  return compare(Left, Right, std::less_equal<>());
}

ExprValue orvy::cl::operator>=(const ExprValue &Left, const ExprValue &Right) {
  return compare(Left, Right, std::greater_equal<>());
}

ExprValue orvy::cl::operator==(const ExprValue &Left, const ExprValue &Right) {
  return compare(Left, Right, std::equal_to<>());
}

// Unary operators.

ExprValue orvy::cl::operator+(const ExprValue &Operand) {
  return isInteger(Operand) || Operand.Kind == EV_Real ? Operand : ExprValue();
}

ExprValue orvy::cl::operator-(const ExprValue &Operand) {
  if (Operand.Kind == EV_Real)
    return ExprValue::ofReal(-Operand.Value.Real);
  if (!isInteger(Operand))
    return {};
  return {Operand.Kind, {.UInt = 0 - Operand.Value.UInt}, {}};
}

ExprValue orvy::cl::operator!(const ExprValue &Operand) {
  const std::optional<bool> Truth = toTruth(Operand);
  return Truth ? ExprValue::ofBool(!*Truth) : ExprValue();
}

ExprValue orvy::cl::operator~(const ExprValue &Operand) {
  if (!isInteger(Operand))
    return {};
  return {Operand.Kind, {.UInt = ~Operand.Value.UInt}, {}};
}

// Functions.

static std::string toDigits(const char *Prefix, uint64_t Bits, int Base) {
  char Digits[64];
  const auto Written = std::to_chars(Digits, std::end(Digits), Bits, Base);
  return Prefix + std::string(Digits, Written.ptr);
}

static std::string toGroups(uint64_t Bits, std::string_view Separator) {
  std::string Text = "0b";
  int Shift = 60;
  while (Shift >= 0 && Bits >> Shift == 0)
    Shift -= 4;
  for (const int First = Shift; Shift >= 0; Shift -= 4) {
    Text += Shift == First ? "" : Separator;
    for (int Bit = Shift + 3; Bit >= Shift; --Bit)
      Text += (Bits >> Bit & 1) != 0 ? '1' : '0';
  }
  return Text;
}

static ExprValue show(const ExprValues &Args, std::string (*Write)(uint64_t)) {
  return Args.size() == 1 ? ExprValue::ofText(Write(Args[0].Value.UInt)) : ExprValue();
}

ExprValue orvy::cl::bif_hex(const ExprValues &Args) {
  return show(Args, [](uint64_t Bits) { return toDigits("0x", Bits, 16); });
}

ExprValue orvy::cl::bif_chex(const ExprValues &Args) {
  return bif_hex(Args);
}

ExprValue orvy::cl::bif_oct(const ExprValues &Args) {
  return show(Args, [](uint64_t Bits) { return toDigits("0o", Bits, 8); });
}

ExprValue orvy::cl::bif_coct(const ExprValues &Args) {
  return bif_oct(Args);
}

ExprValue orvy::cl::bif_dec(const ExprValues &Args) {
  return show(Args, [](uint64_t Bits) { return toDigits("", Bits, 10); });
}

ExprValue orvy::cl::bif_cdec(const ExprValues &Args) {
  return bif_dec(Args);
}

ExprValue orvy::cl::bif_bin(const ExprValues &Args) {
  return show(Args, [](uint64_t Bits) { return toGroups(Bits, "_"); });
}

ExprValue orvy::cl::bif_cbin(const ExprValues &Args) {
  return show(Args, [](uint64_t Bits) { return toGroups(Bits, ""); });
}
