#include "orvy/Support/OutStream.h"

#include "orvy/Support/Logging.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <sstream>

using orvy::OutStream;

namespace {

class TextStream final : public OutStream {
public:
  void write(const char *Piece, size_t Length) override { Text.append(Piece, Length); }
  void flush() override {}
  std::string take() { return std::exchange(Text, {}); }

private:
  std::string Text;
};

class OutStreamTest : public testing::Test {
protected:
  TextStream Out;
};

TEST_F(OutStreamTest, PadsATextOnTheLeftOnce) {
  Out.setWidth(5).setFill('*') << "abc"
                               << "abc";
  EXPECT_EQ(Out.take(), "**abcabc");
  Out.setWidth(2) << std::string("abc");
  EXPECT_EQ(Out.take(), "abc");
  Out.setWidth(200) << "x";
  EXPECT_EQ(Out.take(), std::string(199, ' ') + "x");
  Out.setWidth(-3) << "x";
  EXPECT_EQ(Out.take(), "x");
  Out << static_cast<const char *>(nullptr);
  EXPECT_EQ(Out.take(), "(null)");
}

TEST_F(OutStreamTest, LeavesTheFormatAloneForACharacter) {
  Out.setWidth(4).setFill('.') << 'a' << static_cast<unsigned char>('b')
                               << static_cast<signed char>('c') << "d";
  EXPECT_EQ(Out.take(), "abc...d");
}

struct IntCase {
  OutStream::Base Base;
  int32_t Width;
  char Fill;
  long Value;
  const char *Text;
};

TEST_F(OutStreamTest, WritesIntegersInABase) {
  const IntCase Cases[] = {
      {OutStream::Decimal, 0, ' ', 0, "0"},
      {OutStream::Decimal, 5, ' ', -42, "-   42"},
      {OutStream::Decimal, 0, ' ', std::numeric_limits<long>::min(), "-9223372036854775808"},
      {OutStream::Hexadecimal, 8, '0', 255, "0x000000ff"},
      {OutStream::Hexadecimal, 4, '0', -255, "-0x00ff"},
      {OutStream::Hexadecimal, 1, '0', 0xabcd, "0xabcd"},
      {OutStream::Octal, 0, ' ', 8, "0o10"},
      {OutStream::Octal, 0, ' ', -8, "-0o10"},
      {OutStream::Binary, 8, '0', 5, "0b00000101"},
      {OutStream::Binary, 0, ' ', 0, "0b0"},
  };
  for (const IntCase &Case : Cases) {
    Out.setBase(Case.Base).setWidth(Case.Width).setFill(Case.Fill) << Case.Value;
    EXPECT_EQ(Out.take(), Case.Text);
    Out << 10 << "|";
    EXPECT_EQ(Out.take(), "10|") << "base, width and fill last for one value";
  }
}

TEST_F(OutStreamTest, WritesIntegersOfEveryWidth) {
  Out << 0xffffffffffffffffu << " " << 4294967295u << " " << -1 << " " << static_cast<short>(-2)
      << " " << static_cast<uint16_t>(65535) << " " << -1ll << " " << true;
  EXPECT_EQ(Out.take(), "18446744073709551615 4294967295 -1 -2 65535 -1 1");
  Out.setBase(OutStream::Binary) << 0xffffffffffffffffu;
  EXPECT_EQ(Out.take(), "0b" + std::string(64, '1'));
}

struct PrefixedInt {
  OutStream::Prefix Prefix;
  long Value;
  const char *Text;
};

TEST_F(OutStreamTest, PutsAPrefixAfterAnInteger) {
  const PrefixedInt Cases[] = {
      {OutStream::Unity, 7, "7 "},
      {OutStream::Kilo, 1234, "1.234 k"},
      {OutStream::Kilo, -1234, "-1.234 k"},
      {OutStream::Deca, 123, "12.3 da"},
      {OutStream::Kilo, 5, "0.005 k"},
      {OutStream::Kilo, 0, "0.000 k"},
      {OutStream::Yotta, 1, "0.000000000000000000000001 Y"},
      {OutStream::Mebi, 3 << 20, "3 Mi"},
      {OutStream::Zebi, std::numeric_limits<long>::max(), "0 Zi"},
      {OutStream::Micro, 5, "5 \u03bc"},
      {OutStream::AutoDecimal, 5, "5 "},
      {OutStream::AutoDecimal, 10, "1.0 da"},
      {OutStream::AutoDecimal, 999, "9.99 h"},
      {OutStream::AutoDecimal, 999999, "999.999 k"},
      {OutStream::AutoDecimal, 1000000, "1.000000 M"},
      {OutStream::AutoDecimal, 1000000000, "1.000000000 G"},
      {OutStream::AutoDecimal, 999999999999999, "999.999999999999 T"},
      {OutStream::AutoDecimal, 1000000000000000, "1.000000000000000 P"},
      {OutStream::AutoDecimal, 1000000000000000000, "1.000000000000000000 E"},
      {OutStream::AutoBinary, 511, "511 "},
      {OutStream::AutoBinary, 512, "0 Ki"},
      {OutStream::AutoBinary, 1536, "1 Ki"},
      {OutStream::AutoBinary, -2048, "-2 Ki"},
      {OutStream::AutoBinary, 1l << 19, "0 Mi"},
      {OutStream::AutoBinary, 1l << 30, "1 Gi"},
      {OutStream::AutoBinary, 1l << 40, "1 Ti"},
      {OutStream::AutoBinary, (1l << 59) - 1, "511 Pi"},
      {OutStream::AutoBinary, 1l << 60, "1 Ei"},
  };
  for (const PrefixedInt &Case : Cases) {
    Out.setPrefix(Case.Prefix) << Case.Value;
    EXPECT_EQ(Out.take(), Case.Text) << Case.Prefix << " of " << Case.Value;
  }
  Out.setPrefix(OutStream::Kilo).setBase(OutStream::Hexadecimal) << 4096 << 4096;
  EXPECT_EQ(Out.take(), "0x1000 k4096") << "no scaling outside decimal, and for one number only";
}

struct RealCase {
  OutStream::RealFormat Format;
  int32_t Precision;
  OutStream::Prefix Prefix;
  double Value;
  const char *Text;
};

TEST_F(OutStreamTest, WritesRealNumbers) {
  const RealCase Cases[] = {
      {OutStream::Fixed, 0, OutStream::NoPrefix, 1.5, "1.50"},
      {OutStream::Exponent, 0, OutStream::NoPrefix, 1.5, "1.500000e+00"},
      {OutStream::Fixed, 4, OutStream::NoPrefix, -1.5, "-1.5000"},
      {OutStream::Exponent, 1, OutStream::NoPrefix, 1234, "1.2e+03"},
      {OutStream::Fixed, 0, OutStream::NoPrefix, 0.0, "0.0"},
      {OutStream::Exponent, 0, OutStream::NoPrefix, -0.0, "-0.0"},
      {OutStream::Fixed, 0, OutStream::NoPrefix, NAN, "nan"},
      {OutStream::Fixed, 0, OutStream::NoPrefix, INFINITY, "INF"},
      {OutStream::Fixed, 0, OutStream::NoPrefix, -INFINITY, "-INF"},
      {OutStream::Fixed, 0, OutStream::NoPrefix, 1e40, "1000000000000000030378602842700"},
      {OutStream::Fixed, 2000000000, OutStream::NoPrefix, 0.5, "0.50000000000000000000000000000"},
      {OutStream::Fixed, 0, OutStream::AutoDecimal, 1536.0, "1.54 k"},
      {OutStream::Fixed, 0, OutStream::AutoDecimal, 5.0, "5.00"},
      {OutStream::Fixed, 0, OutStream::AutoDecimal, -0.5, "-5.00 d"},
      {OutStream::Fixed, 0, OutStream::AutoDecimal, 0.02, "2.00 c"},
      {OutStream::Fixed, 0, OutStream::AutoDecimal, 2e-6, "2.00 \u03bc"},
      {OutStream::Fixed, 0, OutStream::AutoDecimal, 1e20, "100.00 E"},
      {OutStream::Fixed, 0, OutStream::AutoDecimal, 1e22, "0.01 Y"},
      {OutStream::Fixed, 0, OutStream::AutoDecimal, 1e-23, "10.00 y"},
      {OutStream::Fixed, 0, OutStream::Kilo, 1536.0, "1.54 k"},
      {OutStream::Fixed, 0, OutStream::Unity, 1.0, "1.00 "},
      {OutStream::Fixed, 0, OutStream::AutoBinary, 1536.0, "1536.00"},
      {OutStream::Fixed, 0, OutStream::Kibi, 1536.0, "1536.00"},
      {OutStream::Fixed, 0, static_cast<OutStream::Prefix>(99), 1536.0, "1536.00"},
  };
  for (const RealCase &Case : Cases) {
    Out.setRealFormat(Case.Format).setPrecision(Case.Precision).setPrefix(Case.Prefix)
        << Case.Value;
    EXPECT_EQ(Out.take(), Case.Text);
    Out.setPrefix(OutStream::NoPrefix);
  }
}

TEST_F(OutStreamTest, KeepsItsStateForNumbersThatHaveNone) {
  Out.setWidth(3).setPrefix(OutStream::Kilo) << NAN << 0.0;
  EXPECT_EQ(Out.take(), "nan0.0");
  Out << 2000.0 << 1.0 << "x";
  EXPECT_EQ(Out.take(), "2.00 k1.00  x") << "the prefix for one number, the width untouched";
}

TEST_F(OutStreamTest, ResolvesPrefixesOnlyWhenTheyAreAutomatic) {
  EXPECT_EQ(OutStream::getPrefix(5000ul, OutStream::Giga), OutStream::Giga);
  EXPECT_EQ(OutStream::getPrefix(5000.0, OutStream::Giga), OutStream::Giga);
  EXPECT_EQ(OutStream::getPrefix(5000.0, OutStream::AutoBinary), OutStream::AutoBinary);
  EXPECT_EQ(OutStream::getPrefix(0.0, OutStream::AutoDecimal), OutStream::Yocto);
  EXPECT_EQ(OutStream::getMetricPower(OutStream::Nano), 1e-9);
  EXPECT_EQ(OutStream::getMetricPower(OutStream::Kibi), 0.0);
  EXPECT_EQ(OutStream::getMetricPower(static_cast<OutStream::Prefix>(31)), 0.0);
  EXPECT_EQ(OutStream::getDecimalWeight(OutStream::Yotta), 24u);
  EXPECT_EQ(OutStream::getDecimalWeight(OutStream::Milli), 0u);
  EXPECT_EQ(OutStream::getBinaryWeight(OutStream::Zebi), 70u);
  EXPECT_FALSE(OutStream::isDecimalPrefix(OutStream::Unity));
  EXPECT_TRUE(OutStream::isDecimalPrefix(OutStream::Yocto));
  EXPECT_TRUE(OutStream::isDecimalPrefix(OutStream::Yotta));
  EXPECT_FALSE(OutStream::isBinaryPrefix(OutStream::Yotta));
  EXPECT_TRUE(OutStream::isBinaryPrefix(OutStream::Kibi));
  EXPECT_FALSE(OutStream::isBinaryPrefix(OutStream::AutoDecimal));
}

TEST_F(OutStreamTest, ColoursAndStyles) {
  Out.changeColor(OutStream::Blue, false).changeColor(OutStream::Yellow, true);
  EXPECT_EQ(Out.take(), "\033[34m\033[1m\033[33m");
  Out.changeColor(static_cast<OutStream::Color>(8), true).resetColor();
  EXPECT_EQ(Out.take(), "\033[1m\033[0m");
  Out.changeStyle(OutStream::Plain).changeStyle(OutStream::Bold).changeStyle(OutStream::Normal);
  EXPECT_EQ(Out.take(), "\033[0m\033[1m\033[0m");
  Out.setColors(false).changeColor(OutStream::Red, true).changeStyle(OutStream::Bold).resetColor();
  EXPECT_EQ(Out.take(), "");
}

TEST(GlobalStreams, PrintIsCutButTellsTheFullLength) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(orvy_printf("%s", std::string(2000, 'x').c_str()), 2000);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string(1023, 'x'));
  testing::internal::CaptureStderr();
  EXPECT_EQ(orvy_printerr("%d%%", 50), 3);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "50%");
}

TEST(GlobalStreams, TheLastErrorTextsCanBeReadBack) {
  testing::internal::CaptureStderr();
  char Text[64];
  orvy_printerr("before");
  const uint64_t Mark = orvy_errorMark();
  EXPECT_EQ(orvy_errorsSince(Mark, Text, sizeof Text), 0u);
  orvy_printerr("on the stream, ");
  orvy_logWarning(nullptr, "not an error");
  orvy_logConfigError(nullptr, "in the %s", "log");
  EXPECT_EQ(orvy_errorsSince(Mark, Text, sizeof Text), 26u);
  EXPECT_STREQ(Text, "on the stream, in the log\n");
  EXPECT_EQ(orvy_errorsSince(Mark, Text, 5), 4u);
  EXPECT_STREQ(Text, "log\n");
  EXPECT_EQ(orvy_errorsSince(Mark, nullptr, 5), 0u);
  for (int Count = 0; Count < 20000; ++Count)
    orvy::errs() << (Count == 19999 ? "z" : "x");
  std::string Kept(20000, '\0');
  EXPECT_EQ(orvy_errorsSince(Mark, Kept.data(), Kept.size()), 16384u);
  EXPECT_EQ(Kept.substr(0, 16384), std::string(16383, 'x') + "z");
  testing::internal::GetCapturedStderr();
}

TEST(GlobalStreams, AnOSStreamWritesToAnyStandardStream) {
  std::ostringstream Target;
  orvy::OSStream Out(Target);
  Out << "a" << 1;
  Out.flush();
  EXPECT_EQ(Target.str(), "a1");
}

} // namespace
