#include "orvy/Support/ValueParsers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace orvy;

namespace {

template <typename T> struct Unit {
  std::string_view Name;
  T Factor;
};

/// The rows in the order in which lookUp searches them.
template <typename T, size_t N> consteval std::array<Unit<T>, N> sorted(const Unit<T> (&Rows)[N]) {
  std::array<Unit<T>, N> Units = std::to_array(Rows);
  std::ranges::sort(Units, {}, &Unit<T>::Name);
  return Units;
}

constexpr uint64_t Kilo = 1000;
constexpr uint64_t Mega = 1000 * Kilo;
constexpr uint64_t Giga = 1000 * Mega;
constexpr uint64_t Tera = 1000 * Giga;
constexpr uint64_t Peta = 1000 * Tera;
constexpr uint64_t Exa = 1000 * Peta;

constexpr auto ByteUnits = sorted<uint64_t>({
    {"", 1},
    {"B", 1},
    {"o", 1},
    {"octet", 1},
    {"octets", 1},
    {"KiB", 1ULL << 10},
    {"Kio", 1ULL << 10},
    {"Kioctet", 1ULL << 10},
    {"Kioctets", 1ULL << 10},
    {"MiB", 1ULL << 20},
    {"Mio", 1ULL << 20},
    {"Mioctet", 1ULL << 20},
    {"Mioctets", 1ULL << 20},
    {"GiB", 1ULL << 30},
    {"Gio", 1ULL << 30},
    {"Gioctet", 1ULL << 30},
    {"Gioctets", 1ULL << 30},
    {"TiB", 1ULL << 40},
    {"Tio", 1ULL << 40},
    {"Tioctet", 1ULL << 40},
    {"Tioctets", 1ULL << 40},
    {"PiB", 1ULL << 50},
    {"Pio", 1ULL << 50},
    {"Pioctet", 1ULL << 50},
    {"Pioctets", 1ULL << 50},
    {"EiB", 1ULL << 60},
    {"Eio", 1ULL << 60},
    {"Eioctet", 1ULL << 60},
    {"Eioctets", 1ULL << 60},
    {"kB", Kilo},
    {"ko", Kilo},
    {"koctet", Kilo},
    {"koctets", Kilo},
    {"MB", Mega},
    {"Mo", Mega},
    {"Moctet", Mega},
    {"Moctets", Mega},
    {"GB", Giga},
    {"Go", Giga},
    {"Goctet", Giga},
    {"Goctets", Giga},
    {"TB", Tera},
    {"To", Tera},
    {"Toctet", Tera},
    {"Toctets", Tera},
    {"PB", Peta},
    {"Po", Peta},
    {"Poctet", Peta},
    {"Poctets", Peta},
    {"EB", Exa},
    {"Eo", Exa},
    {"Eoctet", Exa},
    {"Eoctets", Exa},
});

constexpr auto BitUnits = sorted<uint64_t>({
    {"", 1},        {"b", 1},     {"bit", 1},     {"nibble", 4}, {"nibbles", 4}, {"B", 8},
    {"o", 8},       {"octet", 8}, {"octets", 8},  {"byte", 8},   {"bytes", 8},   {"kb", Kilo},
    {"kbit", Kilo}, {"Mb", Mega}, {"Mbit", Mega}, {"Gb", Giga},  {"Gbit", Giga}, {"Tb", Tera},
    {"Tbit", Tera}, {"Pb", Peta}, {"Pbit", Peta}, {"Eb", Exa},   {"Ebit", Exa},
});

constexpr auto TimeUnits = sorted<double>({
    {"", 1},       {"s", 1},      {"min", 60},  {"h", 3600},  {"days", 86400}, {"weeks", 604800},
    {"ds", 0.1},   {"cs", 0.01},  {"ms", 1e-3}, {"us", 1e-6}, {"ns", 1e-9},    {"ps", 1e-12},
    {"fs", 1e-15}, {"as", 1e-18}, {"das", 10},  {"hs", 100},  {"ks", 1e3},     {"Ms", 1e6},
    {"Gs", 1e9},   {"Ts", 1e12},  {"Ps", 1e15}, {"Es", 1e18}, {"Zs", 1e21},    {"Ys", 1e24},
});

constexpr auto BitRateUnits = sorted<double>({
    {"", 1},          {"b/s", 1},        {"bit/s", 1},     {"kb/s", 1e3},     {"kbit/s", 1e3},
    {"Mb/s", 1e6},    {"Mbit/s", 1e6},   {"Gb/s", 1e9},    {"Gbit/s", 1e9},   {"Tb/s", 1e12},
    {"Tbit/s", 1e12}, {"Pb/s", 1e15},    {"Pbit/s", 1e15}, {"Eb/s", 1e18},    {"Ebit/s", 1e18},
    {"Zb/s", 1e21},   {"Zbit/s", 1e21},  {"Yb/s", 1e24},   {"Ybit/s", 1e24},  {"hb/s", 100},
    {"hbit/s", 100},  {"dab/s", 10},     {"dabit/s", 10},  {"db/s", 0.1},     {"dbit/s", 0.1},
    {"cb/s", 0.01},   {"cbit/s", 0.01},  {"mb/s", 1e-3},   {"mbit/s", 1e-3},  {"ub/s", 1e-6},
    {"ubit/s", 1e-6}, {"nb/s", 1e-9},    {"nbit/s", 1e-9}, {"pb/s", 1e-12},   {"pbit/s", 1e-12},
    {"fb/s", 1e-15},  {"fbit/s", 1e-15}, {"ab/s", 1e-18},  {"abit/s", 1e-18},
});

template <typename Table, typename T>
bool lookUp(const Table &Units, std::string_view Name, T &Factor) noexcept {
  const auto Found = std::ranges::lower_bound(Units, Name, {}, &Table::value_type::Name);
  if (Found == Units.end() || Found->Name != Name)
    return false;
  Factor = Found->Factor;
  return true;
}

constexpr unsigned NoDigit = 16;

/// The value of a hexadecimal digit, or NoDigit. Like all here it knows no locale.
constexpr unsigned digitOf(char C) {
  if (C >= '0' && C <= '9')
    return static_cast<unsigned>(C - '0');
  const char Lower = static_cast<char>(C | 0x20);
  return Lower >= 'a' && Lower <= 'f' ? static_cast<unsigned>(Lower - 'a') + 10 : NoDigit;
}

constexpr bool isLetter(char C) {
  return (C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z');
}

constexpr bool startsSymbol(char C) {
  return isLetter(C) || C == '_';
}

constexpr bool continuesSymbol(char C) {
  return startsSymbol(C) || (C >= '0' && C <= '9') || C == '-';
}

/// Takes the sign off the front.
bool takeSign(std::string_view &Rest) {
  const bool Negative = Rest.starts_with('-');
  if (Negative || Rest.starts_with('+'))
    Rest.remove_prefix(1);
  return Negative;
}

/// Takes the base off the front.
unsigned takeBase(std::string_view &Rest) {
  if (Rest.size() < 2 || Rest[0] != '0')
    return 10;
  const char Letter = static_cast<char>(Rest[1] | 0x20);
  const unsigned Base = Letter == 'x' ? 16 : Letter == 'b' ? 2 : 8;
  Rest.remove_prefix(Base != 8 || Letter == 'o' ? 2 : 1);
  return Base;
}

/// Reads digits to the end of the text; false if there is anything else.
bool readDigits(std::string_view Rest, unsigned Base, uint64_t &Value) {
  // A separator cannot come first.
  if (Rest.empty() || digitOf(Rest[0]) == NoDigit)
    return false;
  Value = 0;
  for (const char C : Rest) {
    if (C == '_')
      continue;
    const unsigned Digit = digitOf(C);
    if (Digit >= Base)
      return false;
    Value = Value * Base + Digit;
  }
  return true;
}

} // namespace

bool orvy::parseSymbol(const std::string &Text) noexcept {
  return !Text.empty() && startsSymbol(Text[0]) && std::ranges::all_of(Text, continuesSymbol);
}

bool orvy::parseInt(const std::string &Text, long &Value) noexcept {
  std::string_view Rest = Text;
  Rest.remove_prefix(std::min(Rest.find_first_not_of(" \t"), Rest.size()));
  const bool Negative = takeSign(Rest);
  const unsigned Base = takeBase(Rest);
  uint64_t Magnitude = 0;
  if (!readDigits(Rest, Base, Magnitude))
    return false;
  Value = static_cast<long>(Negative ? 0 - Magnitude : Magnitude);
  return true;
}

bool orvy::parseDouble(const std::string &Text, double &Value) noexcept {
  char *End = nullptr;
  errno = 0;
  const double Number = std::strtod(Text.c_str(), &End);
  if (End == Text.c_str() || errno == ERANGE)
    return false;
  Value = Number;
  return End == Text.c_str() + Text.size();
}

bool orvy::parseByteUnit(const std::string &Unit, unsigned long &Factor) noexcept {
  return lookUp(ByteUnits, Unit, Factor);
}

bool orvy::parseBitUnit(const std::string &Unit, unsigned long &Factor) noexcept {
  return lookUp(BitUnits, Unit, Factor);
}

bool orvy::parseTimeUnit(const std::string &Unit, double &Factor) noexcept {
  return lookUp(TimeUnits, Unit, Factor);
}

bool orvy::parseBitRateUnit(const std::string &Unit, double &Factor) noexcept {
  return lookUp(BitRateUnits, Unit, Factor);
}
