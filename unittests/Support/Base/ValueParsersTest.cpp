#include "orvy/Support/ValueParsers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

using namespace orvy;

namespace {

constexpr long Untouched = 0x5a5a5a5a;

TEST(ParseSymbol, TakesIdentifiersWithHyphens) {
  for (const char *Text : {"a", "Z", "_", "a-b_1", "_1", "a-", "x9", "__--"})
    EXPECT_TRUE(parseSymbol(Text)) << Text;
  for (const char *Text : {"", "1a", "-a", "9", "a b", " a", "a.b", "a\n", "\xc3\xa9", "a\xe9",
                           "@a", "[", "`", "{", "a/"})
    EXPECT_FALSE(parseSymbol(Text)) << Text;
  EXPECT_FALSE(parseSymbol(std::string("a\0b", 3)));
}

struct IntRow {
  const char *Text;
  long Value;
};

TEST(ParseInt, ReadsFourBasesWithSeparators) {
  const IntRow Rows[] = {
      {"0", 0},
      {"00", 0},
      {"-0", 0},
      {"7", 7},
      {"+7", 7},
      {"  -5", -5},
      {"\t \t12", 12},
      {"010", 8},
      {"0777", 511},
      {"0o17", 15},
      {"0O17", 15},
      {"0b1_01", 5},
      {"0B11", 3},
      {"0X1f", 31},
      {"0xDeadBeef", 3735928559},
      {"-0x10", -16},
      {"0xb", 11},
      {"0x0b1", 177},
      {"1_000_000", 1000000},
      {"1_", 1},
      {"1__2", 12},
      {"00_7", 7},
      {"9223372036854775807", std::numeric_limits<long>::max()},
      {"-9223372036854775808", std::numeric_limits<long>::min()},
      // Beyond 64 bits the value wraps.
      {"9223372036854775808", std::numeric_limits<long>::min()},
      {"0xffffffffffffffff", -1},
      {"-0xffffffffffffffff", 1},
      {"18446744073709551616", 0},
      {"18446744073709551621", 5},
      {"0x123456789abcdef01", 0x23456789abcdef01},
  };
  for (const IntRow &Row : Rows) {
    long Value = Untouched;
    EXPECT_TRUE(parseInt(Row.Text, Value)) << Row.Text;
    EXPECT_EQ(Value, Row.Value) << Row.Text;
  }
}

TEST(ParseInt, LeavesTheValueAloneWhenTheTextIsNotAnInteger) {
  const std::vector<std::string> Texts = {"",
                                          "  ",
                                          "\t",
                                          "-",
                                          "+",
                                          "--1",
                                          "+-1",
                                          "- 5",
                                          "0x",
                                          "0o",
                                          "0b",
                                          "-0x",
                                          "_1",
                                          "0_1",
                                          "0_",
                                          "0x_1",
                                          "1 ",
                                          "09",
                                          "08",
                                          "0b2",
                                          "0o8",
                                          "1.5",
                                          "a",
                                          "f0",
                                          "0a",
                                          "0xg",
                                          "1a",
                                          "0x1g",
                                          "\n1",
                                          "1\n",
                                          "1-",
                                          "1e3",
                                          "0x-1",
                                          "0 ",
                                          "0xx1",
                                          "\xb2",
                                          std::string("1\0", 2),
                                          std::string("0\0", 2),
                                          std::string(1, '\0')};
  for (const std::string &Text : Texts) {
    long Value = Untouched;
    EXPECT_FALSE(parseInt(Text, Value)) << Text;
    EXPECT_EQ(Value, Untouched) << Text;
  }
}

TEST(ParseDouble, ReadsWhatTheCLibraryReads) {
  const struct {
    const char *Text;
    double Value;
  } Rows[] = {
      {"1.5", 1.5},   {" \t\n-2", -2},    {"+.25", 0.25},
      {"1e3", 1000},  {"0x1.8p1", 3},     {"inf", std::numeric_limits<double>::infinity()},
      {"-0.0", -0.0}, {"1e-300", 1e-300},
  };
  for (const auto &Row : Rows) {
    double Value = 42;
    EXPECT_TRUE(parseDouble(Row.Text, Value)) << Row.Text;
    EXPECT_EQ(Value, Row.Value) << Row.Text;
  }
  double Value = 42;
  EXPECT_TRUE(parseDouble("nan", Value));
  EXPECT_TRUE(std::isnan(Value));
}

TEST(ParseDouble, KeepsTheNumberBeforeOtherText) {
  for (const std::string &Text :
       {std::string("1.5x"), std::string("1.5 "), std::string("1.5_0"), std::string("1.5\0", 4)}) {
    double Value = 42;
    EXPECT_FALSE(parseDouble(Text, Value)) << Text;
    EXPECT_EQ(Value, 1.5) << Text;
  }
}

TEST(ParseDouble, LeavesTheValueAloneWithoutANumberInRange) {
  for (const char *Text : {"", " ", "x", "-", ".", "1e999", "-1e999", "1e-999", "1e999x"}) {
    double Value = 42;
    EXPECT_FALSE(parseDouble(Text, Value)) << Text;
    EXPECT_EQ(Value, 42) << Text;
  }
}

TEST(ParseDouble, IsNotMisledByAnEarlierRangeError) {
  errno = ERANGE;
  double Value = 42;
  EXPECT_TRUE(parseDouble("2", Value));
  EXPECT_EQ(Value, 2);
}

template <typename T> struct UnitRow {
  std::vector<const char *> Names;
  T Factor;
};

template <typename T>
void expectUnits(bool (*Parse)(const std::string &, T &), const std::vector<UnitRow<T>> &Rows) {
  for (const UnitRow<T> &Row : Rows)
    for (const char *Name : Row.Names) {
      T Factor = 42;
      EXPECT_TRUE(Parse(Name, Factor)) << Name;
      EXPECT_EQ(Factor, Row.Factor) << Name;
    }
}

template <typename T>
void expectNoUnits(bool (*Parse)(const std::string &, T &), const std::vector<std::string> &Names) {
  for (const std::string &Name : Names) {
    T Factor = 42;
    EXPECT_FALSE(Parse(Name, Factor)) << Name;
    EXPECT_EQ(Factor, T(42)) << Name;
  }
}

TEST(ParseUnit, Bytes) {
  expectUnits<unsigned long>(parseByteUnit,
                             {{{"", "B", "o", "octet", "octets"}, 1},
                              {{"KiB", "Kio", "Kioctet", "Kioctets"}, 1024},
                              {{"MiB", "Mio", "Mioctet", "Mioctets"}, 1048576},
                              {{"GiB", "Gio", "Gioctet", "Gioctets"}, 1073741824},
                              {{"TiB", "Tio", "Tioctet", "Tioctets"}, 1099511627776},
                              {{"PiB", "Pio", "Pioctet", "Pioctets"}, 1125899906842624},
                              {{"EiB", "Eio", "Eioctet", "Eioctets"}, 1152921504606846976},
                              {{"kB", "ko", "koctet", "koctets"}, 1000},
                              {{"MB", "Mo", "Moctet", "Moctets"}, 1000000},
                              {{"GB", "Go", "Goctet", "Goctets"}, 1000000000},
                              {{"TB", "To", "Toctet", "Toctets"}, 1000000000000},
                              {{"PB", "Po", "Poctet", "Poctets"}, 1000000000000000},
                              {{"EB", "Eo", "Eoctet", "Eoctets"}, 1000000000000000000}});
  expectNoUnits<unsigned long>(parseByteUnit, {"KB", "kiB", "b", "byte", "bytes", "O", "Octet",
                                               "Ko", "B ", " B", "ZB", "~", std::string("\0", 1)});
}

TEST(ParseUnit, Bits) {
  expectUnits<unsigned long>(parseBitUnit, {{{"", "b", "bit"}, 1},
                                            {{"nibble", "nibbles"}, 4},
                                            {{"B", "o", "octet", "octets", "byte", "bytes"}, 8},
                                            {{"kb", "kbit"}, 1000},
                                            {{"Mb", "Mbit"}, 1000000},
                                            {{"Gb", "Gbit"}, 1000000000},
                                            {{"Tb", "Tbit"}, 1000000000000},
                                            {{"Pb", "Pbit"}, 1000000000000000},
                                            {{"Eb", "Ebit"}, 1000000000000000000}});
  expectNoUnits<unsigned long>(parseBitUnit, {"bits", "Kb", "Kib", "kB", "mb", "Byte", "Zb"});
}

TEST(ParseUnit, Times) {
  expectUnits<double>(parseTimeUnit,
                      {{{"", "s"}, 1},      {{"min"}, 60},  {{"h"}, 3600},   {{"days"}, 86400},
                       {{"weeks"}, 604800}, {{"ds"}, 0.1},  {{"cs"}, 0.01},  {{"ms"}, 0.001},
                       {{"us"}, 1e-6},      {{"ns"}, 1e-9}, {{"ps"}, 1e-12}, {{"fs"}, 1e-15},
                       {{"as"}, 1e-18},     {{"das"}, 10},  {{"hs"}, 100},   {{"ks"}, 1000},
                       {{"Ms"}, 1e6},       {{"Gs"}, 1e9},  {{"Ts"}, 1e12},  {{"Ps"}, 1e15},
                       {{"Es"}, 1e18},      {{"Zs"}, 1e21}, {{"Ys"}, 1e24}});
  expectNoUnits<double>(parseTimeUnit, {"d", "day", "week", "S", "sec", "m", "H", "\xc2\xb5s"});
}

TEST(ParseUnit, BitRates) {
  expectUnits<double>(parseBitRateUnit, {{{"", "b/s", "bit/s"}, 1},
                                         {{"kb/s", "kbit/s"}, 1e3},
                                         {{"Mb/s", "Mbit/s"}, 1e6},
                                         {{"Gb/s", "Gbit/s"}, 1e9},
                                         {{"Tb/s", "Tbit/s"}, 1e12},
                                         {{"Pb/s", "Pbit/s"}, 1e15},
                                         {{"Eb/s", "Ebit/s"}, 1e18},
                                         {{"Zb/s", "Zbit/s"}, 1e21},
                                         {{"Yb/s", "Ybit/s"}, 1e24},
                                         {{"hb/s", "hbit/s"}, 100},
                                         {{"dab/s", "dabit/s"}, 10},
                                         {{"db/s", "dbit/s"}, 0.1},
                                         {{"cb/s", "cbit/s"}, 0.01},
                                         {{"mb/s", "mbit/s"}, 1e-3},
                                         {{"ub/s", "ubit/s"}, 1e-6},
                                         {{"nb/s", "nbit/s"}, 1e-9},
                                         {{"pb/s", "pbit/s"}, 1e-12},
                                         {{"fb/s", "fbit/s"}, 1e-15},
                                         {{"ab/s", "abit/s"}, 1e-18}});
  expectNoUnits<double>(parseBitRateUnit, {"kbps", "b", "bit", "B/s", "Kb/s", "k", "/s", "kbit/S"});
}

} // namespace
