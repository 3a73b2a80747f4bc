#include "CommandLine/NumberText.h"

#include "CommandLine/ProgramNames.h"
#include "orvy/Support/ValueParsers.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string_view>

using namespace orvy;
using namespace orvy::cl;

namespace {

bool parseCountUnit(const std::string &Unit, unsigned long &Factor) {
  static constexpr std::pair<std::string_view, unsigned long> Prefixes[] = {
      {"k", 1000ul},     {"M", 1000000ul},  {"G", 1000000000ul}, {"T", 1000000000000ul},
      {"Ki", 1ul << 10}, {"Mi", 1ul << 20}, {"Gi", 1ul << 30},   {"Ti", 1ul << 40},
  };
  for (const auto &[Name, Value] : Prefixes)
    if (Unit == Name)
      return Factor = Value, true;
  return false;
}

bool parseUnit(const std::string &Name, orvy_OptionUnit Unit, unsigned long &Factor) {
  return (Unit == ovOU_Bytes && parseByteUnit(Name, Factor)) ||
         (Unit != ovOU_None && parseCountUnit(Name, Factor));
}

bool parseUnit(const std::string &Name, orvy_OptionUnit Unit, double &Factor) {
  return Unit == ovOU_Seconds && parseTimeUnit(Name, Factor);
}

bool scale(long &Value, unsigned long Factor) {
  return !__builtin_mul_overflow(Value, Factor, &Value);
}

bool scale(double &Value, double Factor) {
  const bool WasFinite = std::isfinite(Value);
  Value *= Factor;
  return std::isfinite(Value) == WasFinite;
}

// Multiplies the number by the unit after it, if nothing else follows. A product that does not fit
// the type makes the number invalid.
template <typename Number, typename Factor>
void takeUnit(NumberText<Number> &Read, const std::string &Text, orvy_OptionUnit Unit) {
  const size_t Start = Text.find_first_not_of(' ', Read.Length);
  Factor By = 1;
  if (Read.Length == 0 || Start == Text.npos || !parseUnit(Text.substr(Start), Unit, By))
    return;
  Read.Length = scale(Read.Value, By) ? Text.size() : 0;
}

NumberText<long> readNumber(const std::string &Text, orvy_OptionUnit Unit) {
  NumberText<long> Read;
  char *End = nullptr;
  errno = 0;
  Read.Value = std::strtol(Text.c_str(), &End, 0);
  if (errno == ERANGE) {
    errno = 0;
    std::strtoul(Text.c_str(), &End, 0);
    if (errno == ERANGE)
      return {};
    Read.IsCut = true;
  }
  Read.Length = static_cast<size_t>(End - Text.c_str());
  takeUnit<long, unsigned long>(Read, Text, Unit);
  return Read;
}

} // namespace

NumberText<long> orvy::cl::readInteger(const std::string &Text, orvy_OptionUnit Unit) {
  const NumberText<long> Read = readNumber(Text, Unit);
  if (!isAddress(Unit) || (Read.Length != 0 && Read.Length == Text.size()))
    return Read;
  std::string Why;
  const auto Address = programNames().addressOf(Text, Unit == ovOU_PhysicalAddress, Why);
  return Address ? NumberText<long>{static_cast<long>(*Address), Text.size(), false} : Read;
}

NumberText<double> orvy::cl::readReal(const std::string &Text, orvy_OptionUnit Unit) {
  NumberText<double> Read;
  char *End = nullptr;
  errno = 0;
  Read.Value = std::strtod(Text.c_str(), &End);
  if (errno == ERANGE)
    return {};
  Read.Length = static_cast<size_t>(End - Text.c_str());
  takeUnit<double, double>(Read, Text, Unit);
  return Read;
}
