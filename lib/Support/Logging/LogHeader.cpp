#include "Logging/LogHeader.h"

#include "Logging/LogLine.h"
#include "Logging/LogSources.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>

using namespace orvy;

namespace {

constexpr uint32_t FirstClassCategory = 8;
constexpr const char *LevelNames[] = {"fatal", "error", "warning", "info", "debug"};
constexpr const char *LevelColors[] = {"\033[31m", "\033[31m", "\033[33m", "\033[32m", "\033[34m"};
constexpr const char *ColorReset = "\033[0m";
constexpr const char *FixedCategories[FirstClassCategory] = {"", "sim", "target", "config"};

// A non-negative number below 2^43 in millionths, rounded to the nearest, ties to even.
uint64_t millionths(double Value) {
  const uint64_t Bits = std::bit_cast<uint64_t>(Value);
  const int Exponent = static_cast<int>(Bits >> 52);
  const uint64_t Mantissa = (Bits & ((1ull << 52) - 1)) | (Exponent ? 1ull << 52 : 0);
  const int Shift = 1075 - Exponent; // at least 10, as the value is below 2^43
  if (Shift > 80)
    return 0; // the product has at most 73 bits
  const unsigned __int128 One = 1;
  const unsigned __int128 Product = static_cast<unsigned __int128>(Mantissa) * 1000000;
  const auto Whole = static_cast<uint64_t>(Product >> Shift);
  const unsigned __int128 Rest = Product & ((One << Shift) - 1);
  const unsigned __int128 Half = One << (Shift - 1);
  return Whole + (Rest > Half || (Rest == Half && (Whole & 1)));
}

const char *categoryName(uint32_t Category, const void *Obj) {
  if (Category < FirstClassCategory)
    return FixedCategories[Category] ? FixedCategories[Category] : "";
  const char *Name = logSources().categoryOf(Obj, Category);
  return Name ? Name : "";
}

} // namespace

void orvy::addLogHeader(LogLine &Out, orvy_LogLevel Level, const void *Obj, uint32_t Category,
                        bool Color) {
  if (const double Secs = logSecondsOf(Obj); !std::isnan(Secs)) {
    SecondsText Text;
    Out.add(formatSeconds(Secs, Text));
    Out.add(": ");
  } else {
    Out.add(":");
  }
  if (Color)
    Out.add(LevelColors[Level]);
  if (Category != 0) {
    Out.add(categoryName(Category, Obj));
    Out.add("/");
  }
  Out.add(LevelNames[Level]);
  if (Color)
    Out.add(ColorReset);
  Out.add(":");
  if (Obj) {
    const char *Name = logSources().nameOf(Obj);
    Out.add(" ");
    Out.add(Name ? Name : "");
    Out.add(" ");
  }
  Out.add(": ");
}

const char *orvy::logLevelName(orvy_LogLevel Level) {
  return Level <= ovLOG_Debug ? LevelNames[Level] : nullptr;
}

std::string_view orvy::formatSeconds(double Secs, SecondsText &Buffer) {
  if (!(std::fabs(Secs) < 0x1p43))
    return {Buffer, static_cast<size_t>(std::snprintf(Buffer, sizeof Buffer, "%.6f", Secs))};
  char *Start = Buffer;
  if (std::signbit(Secs))
    *Start++ = '-';
  const uint64_t Value = millionths(std::fabs(Secs));
  char *Point = std::to_chars(Start, std::end(Buffer), Value / 1000000).ptr;
  *Point = '.';
  uint64_t Fraction = Value % 1000000;
  for (int Digit = 6; Digit > 0; --Digit, Fraction /= 10)
    Point[Digit] = static_cast<char>('0' + Fraction % 10);
  return {Buffer, static_cast<size_t>(Point + 7 - Buffer)};
}
