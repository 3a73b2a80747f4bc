#include "orvy/Support/OutStream.h"

#include "Base/ErrorRecord.h"
#include "Base/ListingGuard.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <iostream>

using orvy::OSStream;
using orvy::OutStream;

namespace {

struct PrefixRow {
  const char *Text;
  double MetricPower;
  uint32_t DecimalWeight;
  uint32_t BinaryWeight;
};

constexpr PrefixRow Prefixes[] = {
    {"", 1.0, 0, 0},        {"", 1.0, 0, 0},    {"y", 1e-24, 0, 0}, {"z", 1e-21, 0, 0},
    {"a", 1e-18, 0, 0},     {"f", 1e-15, 0, 0}, {"p", 1e-12, 0, 0}, {"n", 1e-9, 0, 0},
    {"\u03bc", 1e-6, 0, 0}, {"m", 0.001, 0, 0}, {"c", 0.01, 0, 0},  {"d", 0.1, 0, 0},
    {"da", 10, 1, 0},       {"h", 100, 2, 0},   {"k", 1e3, 3, 0},   {"M", 1e6, 6, 0},
    {"G", 1e9, 9, 0},       {"T", 1e12, 12, 0}, {"P", 1e15, 15, 0}, {"E", 1e18, 18, 0},
    {"Z", 1e21, 21, 0},     {"Y", 1e24, 24, 0}, {"Ki", 0, 0, 10},   {"Mi", 0, 0, 20},
    {"Gi", 0, 0, 30},       {"Ti", 0, 0, 40},   {"Pi", 0, 0, 50},   {"Ei", 0, 0, 60},
    {"Zi", 0, 0, 70},       {"", 0, 0, 0},      {"", 0, 0, 0},
};
constexpr PrefixRow NoSuchPrefix = {"", 0, 0, 0};

const PrefixRow &prefixRow(OutStream::Prefix Name) {
  return Name < std::size(Prefixes) ? Prefixes[Name] : NoSuchPrefix;
}

template <typename T> struct AutoRow {
  T From;
  OutStream::Prefix Name;
};

// Each table is searched from its greatest bound down.
constexpr AutoRow<unsigned long> AutoDecimalInt[] = {
    {1000000000000000000, OutStream::Exa},
    {1000000000000000, OutStream::Peta},
    {1000000000000, OutStream::Tera},
    {1000000000, OutStream::Giga},
    {1000000, OutStream::Mega},
    {1000, OutStream::Kilo},
    {100, OutStream::Hecto},
    {10, OutStream::Deca},
    {0, OutStream::Unity},
};
constexpr AutoRow<unsigned long> AutoBinaryInt[] = {
    {1ul << 59, OutStream::Exbi}, {1ul << 49, OutStream::Pebi}, {1ul << 39, OutStream::Tebi},
    {1ul << 29, OutStream::Gibi}, {1ul << 19, OutStream::Mebi}, {1ul << 9, OutStream::Kibi},
    {0, OutStream::Unity},
};
constexpr AutoRow<double> AutoDecimalReal[] = {
    {1e21, OutStream::Yotta},  {1e18, OutStream::Exa},    {1e15, OutStream::Peta},
    {1e12, OutStream::Tera},   {1e9, OutStream::Giga},    {1e6, OutStream::Mega},
    {1000, OutStream::Kilo},   {100, OutStream::Hecto},   {10, OutStream::Deca},
    {1, OutStream::NoPrefix},  {0.1, OutStream::Deci},    {0.01, OutStream::Centi},
    {0.001, OutStream::Milli}, {1e-6, OutStream::Micro},  {1e-9, OutStream::Nano},
    {1e-12, OutStream::Pico},  {1e-15, OutStream::Femto}, {1e-18, OutStream::Atto},
    {1e-21, OutStream::Zepto}, {0, OutStream::Yocto},
};

template <typename T, size_t N>
OutStream::Prefix findAuto(const AutoRow<T> (&Table)[N], T Value, OutStream::Prefix Otherwise) {
  for (const AutoRow<T> &Row : Table)
    if (Value >= Row.From)
      return Row.Name;
  return Otherwise;
}

constexpr int radix(OutStream::Base Base) {
  switch (Base) {
  case OutStream::Binary:
    return 2;
  case OutStream::Octal:
    return 8;
  case OutStream::Decimal:
    return 10;
  case OutStream::Hexadecimal:
    return 16;
  }
  return 10;
}

constexpr std::string_view baseText(OutStream::Base Base) {
  switch (Base) {
  case OutStream::Binary:
    return "0b";
  case OutStream::Octal:
    return "0o";
  case OutStream::Decimal:
    return "";
  case OutStream::Hexadecimal:
    return "0x";
  }
  return "";
}

constexpr const char *BoldSequence = "\033[1m";
constexpr const char *ResetSequence = "\033[0m";
constexpr const char *ColorSequences[] = {"\033[30m", "\033[31m", "\033[32m", "\033[34m",
                                          "\033[33m", "\033[35m", "\033[36m", "\033[37m"};

// Keeps std::cout and std::cerr usable in the initialisers of every source file of the library.
[[gnu::init_priority(101)]] const std::ios_base::Init StandardStreams;

/// The error stream, of which a record is kept.
class ErrorStream final : public OutStream {
public:
  void write(const char *Text, size_t Length) override {
    orvy::recordError({Text, Length});
    std::cerr.write(Text, static_cast<std::streamsize>(Length));
  }
  void flush() override { std::cerr.flush(); }
};

/// The standard stream. After an interrupt it goes on to the end of the line.
class StandardStream final : public OutStream {
public:
  void write(const char *Text, size_t Length) override {
    if (orvy::ListingGuard::isInterrupted())
      Length = InLine ? std::string_view(Text, Length).find('\n') + 1 : 0;
    if (Length == 0)
      return;
    std::cout.write(Text, static_cast<std::streamsize>(Length));
    InLine = Text[Length - 1] != '\n';
  }
  void flush() override { std::cout.flush(); }

private:
  bool InLine = false; ///< not at the start of one
};

constinit StandardStream StdOut;
constinit ErrorStream StdErr;

} // namespace

OutStream &orvy::outs() {
  return StdOut;
}
OutStream &orvy::errs() {
  return StdErr;
}

void OSStream::write(const char *Text, size_t Length) {
  Stream.write(Text, static_cast<std::streamsize>(Length));
}

void OSStream::flush() {
  Stream.flush();
}

OutStream &OutStream::operator<<(char Character) {
  write(&Character, 1);
  return *this;
}

OutStream &OutStream::operator<<(unsigned char Character) {
  return *this << static_cast<char>(Character);
}

OutStream &OutStream::operator<<(signed char Character) {
  return *this << static_cast<char>(Character);
}

OutStream &OutStream::operator<<(const char *Text) {
  return *this << std::string_view(Text ? Text : "(null)");
}

OutStream &OutStream::operator<<(const std::string &Text) {
  return *this << std::string_view(Text);
}

OutStream &OutStream::operator<<(std::string_view Text) {
  pad(Text.size());
  writeText(Text);
  return *this;
}

OutStream &OutStream::operator<<(long Value) {
  writeInt(Value, Value < 0);
  return *this;
}

OutStream &OutStream::operator<<(unsigned long Value) {
  writeInt(static_cast<long>(Value), false);
  return *this;
}

OutStream &OutStream::operator<<(double Value) {
  writeDouble(Value);
  return *this;
}

OutStream &OutStream::changeColor(Color Name, bool Bright) {
  if (!Colors)
    return *this;
  if (Bright)
    writeText(BoldSequence);
  if (Name < std::size(ColorSequences))
    writeText(ColorSequences[Name]);
  return *this;
}

OutStream &OutStream::changeStyle(Style Name) {
  if (Colors && Name <= Normal)
    writeText(Name == Bold ? BoldSequence : ResetSequence);
  return *this;
}

OutStream &OutStream::resetColor() {
  if (Colors)
    writeText(ResetSequence);
  return *this;
}

double OutStream::getMetricPower(Prefix Name) {
  return prefixRow(Name).MetricPower;
}
uint32_t OutStream::getDecimalWeight(Prefix Name) {
  return prefixRow(Name).DecimalWeight;
}
uint32_t OutStream::getBinaryWeight(Prefix Name) {
  return prefixRow(Name).BinaryWeight;
}
bool OutStream::isDecimalPrefix(Prefix Name) {
  return Name >= Yocto && Name <= Yotta;
}
bool OutStream::isBinaryPrefix(Prefix Name) {
  return Name >= Kibi && Name <= Zebi;
}

OutStream::Prefix OutStream::getPrefix(unsigned long Value, Prefix Name) {
  if (Name == AutoDecimal)
    return findAuto(AutoDecimalInt, Value, Unity);
  if (Name == AutoBinary)
    return findAuto(AutoBinaryInt, Value, Unity);
  return Name;
}

OutStream::Prefix OutStream::getPrefix(double Value, Prefix Name) {
  return Name == AutoDecimal ? findAuto(AutoDecimalReal, std::fabs(Value), Yocto) : Name;
}

// Pads an item of Used columns to the width, and resets the width.
void OutStream::pad(size_t Used) {
  char Run[64];
  std::fill_n(Run, std::size(Run), Fill);
  size_t Left = Width > 0 && static_cast<size_t>(Width) > Used ? Width - Used : 0;
  for (; Left > 0; Left -= std::min(Left, std::size(Run)))
    write(Run, std::min(Left, std::size(Run)));
  Width = 0;
  Fill = ' ';
}

void OutStream::writeText(std::string_view Text) {
  write(Text.data(), Text.size());
}

void OutStream::writePrefix(Prefix Name) {
  if (Name == NoPrefix)
    return;
  writeText(" ");
  writeText(prefixRow(Name).Text);
}

void OutStream::writeInt(long Value, bool Negative) {
  unsigned long Magnitude = static_cast<unsigned long>(Value);
  if (Negative)
    Magnitude = 0 - Magnitude;
  const Prefix Resolved = getPrefix(Magnitude, NumPrefix);
  NumPrefix = NoPrefix;

  uint32_t DecimalWeight = 0;
  if (radix(IntBase) == 10) {
    DecimalWeight = getDecimalWeight(Resolved);
    const uint32_t Shift = getBinaryWeight(Resolved);
    Magnitude = Shift < 64 ? Magnitude >> Shift : 0;
  }
  char Digits[128];
  const char *End = std::to_chars(Digits, std::end(Digits), Magnitude, radix(IntBase)).ptr;

  if (Negative)
    writeText("-");
  writeText(baseText(IntBase));
  writeDigits({Digits, static_cast<size_t>(End - Digits)}, DecimalWeight);
  writePrefix(Resolved);
  IntBase = Decimal;
}

// Writes digits with the point in front of the last DecimalWeight of them. A number of fewer digits
// gets leading zeros, so that 5 k reads 0.005 k.
void OutStream::writeDigits(std::string_view Digits, uint32_t DecimalWeight) {
  constexpr std::string_view Zeros = "0000000000000000000000000";
  const size_t Missing = DecimalWeight >= Digits.size() ? DecimalWeight + 1 - Digits.size() : 0;
  pad(Digits.size() + Missing);
  if (DecimalWeight == 0)
    return writeText(Digits);
  if (Missing > 0) {
    writeText("0.");
    writeText(Zeros.substr(0, Missing - 1));
    return writeText(Digits);
  }
  writeText(Digits.substr(0, Digits.size() - DecimalWeight));
  writeText(".");
  writeText(Digits.substr(Digits.size() - DecimalWeight));
}

void OutStream::writeDouble(double Value) {
  if (std::isnan(Value))
    return writeText("nan");
  if (std::isinf(Value))
    return writeText(Value < 0 ? "-INF" : "INF");
  if (Value == 0)
    return writeText(std::signbit(Value) ? "-0.0" : "0.0");

  Prefix Resolved = getPrefix(Value, NumPrefix);
  double Power = getMetricPower(Resolved);
  if (Power == 0) { // a binary prefix has no factor for real numbers
    Resolved = NoPrefix;
    Power = 1;
  }
  // No double has more digits after the point than the bound.
  const int Digits = Precision ? std::min(Precision, 1100) : Real == Exponent ? 6 : 2;
  char Text[32];
  std::snprintf(Text, sizeof Text, Real == Exponent ? "%.*e" : "%.*f", Digits, Value / Power);
  writeText(Text);
  writePrefix(Resolved);
  NumPrefix = NoPrefix;
}

[[gnu::format(printf, 2, 0)]] static int printTo(OutStream &Stream, const char *Fmt, va_list Args) {
  char Text[1024];
  const int Length = std::vsnprintf(Text, sizeof Text, Fmt, Args);
  if (Length >= 0)
    Stream << Text;
  return Length;
}

int orvy_printf(const char *Fmt, ...) {
  va_list Args;
  va_start(Args, Fmt);
  const int Length = printTo(orvy::outs(), Fmt, Args);
  va_end(Args);
  return Length;
}

int orvy_printerr(const char *Fmt, ...) {
  va_list Args;
  va_start(Args, Fmt);
  const int Length = printTo(orvy::errs(), Fmt, Args);
  va_end(Args);
  return Length;
}
