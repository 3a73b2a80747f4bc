// OutStream.h - the text streams on which everything that the user reads is written.
//
// A value is formatted by the fields set just before it: base, width and fill last for one value,
// the prefix for one number, precision and real format until they are changed.
//
//     orvy::outs().setBase(OutStream::Hexadecimal).setWidth(8).setFill('0') << Address << "\n";
//     orvy::outs().setPrefix(OutStream::AutoDecimal) << Seconds << "s\n";
//
// The streams take no lock, and everybody who uses a stream shares its fields: set and use them in
// one chain on one thread. The global streams exist from library load on and stay usable at exit.

#ifndef ORVY_SUPPORT_OUTSTREAM_H
#define ORVY_SUPPORT_OUTSTREAM_H

#include "orvy/Support/Export.h"
#include "orvy/Support/Output.h"

#include <concepts>
#include <iosfwd>
#include <string>
#include <string_view>

namespace orvy {

/// Formatting stream over something that takes bytes.
class ORVY_API OutStream {
public:
  enum Base : uint32_t { Binary = 0, Octal = 1, Decimal = 2, Hexadecimal = 3 };
  enum RealFormat : uint32_t { Fixed = 0, Exponent = 1 };
  enum Color : uint32_t {
    Black = 0,
    Red = 1,
    Green = 2,
    Blue = 3,
    Yellow = 4,
    Magenta = 5,
    Cyan = 6,
    White = 7
  };
  enum Style : uint32_t { Plain = 0, Bold = 1, Normal = 2 };
  /// Metric and binary prefixes of a number, written after it with a blank between.
  enum Prefix : uint32_t {
    NoPrefix = 0, ///< nothing is written
    Unity = 1,    ///< only the blank is written, ready for a unit
    Yocto = 2,
    Zepto = 3,
    Atto = 4,
    Femto = 5,
    Pico = 6,
    Nano = 7,
    Micro = 8,
    Milli = 9,
    Centi = 10,
    Deci = 11,
    Deca = 12,
    Hecto = 13,
    Kilo = 14,
    Mega = 15,
    Giga = 16,
    Tera = 17,
    Peta = 18,
    Exa = 19,
    Zetta = 20,
    Yotta = 21,
    Kibi = 22,
    Mebi = 23,
    Gibi = 24,
    Tebi = 25,
    Pebi = 26,
    Exbi = 27,
    Zebi = 28,
    AutoDecimal = 29, ///< the metric prefix that fits the value
    AutoBinary = 30   ///< the binary prefix that fits the value
  };

  constexpr OutStream() = default;
  OutStream(const OutStream &) = delete;
  OutStream &operator=(const OutStream &) = delete;

  /// Takes the bytes as they stand.
  virtual void write(const char *Text, size_t Length) = 0;
  /// Hands what is buffered to the system.
  virtual void flush() = 0;

  /// Minimum width of the next text or of the digits of the next integer.
  OutStream &setWidth(int32_t Columns) { return Width = Columns, *this; }
  /// Padding character of the next text or integer.
  OutStream &setFill(char Character) { return Fill = Character, *this; }
  /// Digits after the point of real numbers; 0 for the default: 2 when fixed, 6 with an exponent.
  OutStream &setPrecision(int32_t Digits) { return Precision = Digits, *this; }
  /// Form of real numbers.
  OutStream &setRealFormat(RealFormat Format) { return Real = Format, *this; }
  /// Base of the next integer.
  OutStream &setBase(Base Number) { return IntBase = Number, *this; }
  /// Prefix of the next number.
  OutStream &setPrefix(Prefix Name) { return NumPrefix = Name, *this; }
  /// Whether the colour and style operations write anything.
  OutStream &setColors(bool On) { return Colors = On, *this; }

  /// Writes one character; neither padded nor a use of the formatting fields.
  OutStream &operator<<(char Character);
  OutStream &operator<<(unsigned char Character);
  OutStream &operator<<(signed char Character);
  /// Writes a text, right-aligned in the width. A null text reads "(null)".
  OutStream &operator<<(const char *Text);
  OutStream &operator<<(const std::string &Text);
  OutStream &operator<<(std::string_view Text);
  /// Writes an integer in the base. The width counts the digits alone, not the sign or the "0x".
  OutStream &operator<<(long Value);
  OutStream &operator<<(unsigned long Value);
  /// Writes an integer of another width as the 64-bit one of the same signedness.
  template <std::integral T> OutStream &operator<<(T Value) {
    if constexpr (std::signed_integral<T>)
      return *this << static_cast<long>(Value);
    else
      return *this << static_cast<unsigned long>(Value);
  }
  /// Writes a real number; width and fill do not count.
  OutStream &operator<<(double Value);

  /// Starts a colour, which lasts until resetColor.
  OutStream &changeColor(Color Name, bool Bright);
  /// Starts bold text, or goes back to plain text.
  OutStream &changeStyle(Style Name);
  /// Ends colour and style.
  OutStream &resetColor();

  /// The factor of a metric prefix; 1 for none and unity, 0 for any other.
  static double getMetricPower(Prefix Name);
  /// The power of ten of a metric prefix above 1, else 0.
  static uint32_t getDecimalWeight(Prefix Name);
  /// The power of two of a binary prefix, else 0.
  static uint32_t getBinaryWeight(Prefix Name);
  static bool isDecimalPrefix(Prefix Name);
  static bool isBinaryPrefix(Prefix Name);
  /// Resolves an automatic prefix for a value; any other prefix comes back unchanged.
  static Prefix getPrefix(unsigned long Value, Prefix Name);
  /// Resolves the automatic decimal prefix for a value; any other prefix comes back unchanged.
  static Prefix getPrefix(double Value, Prefix Name);

protected:
  ~OutStream() = default;

private:
  ORVY_LOCAL void pad(size_t Used);
  ORVY_LOCAL void writeText(std::string_view Text);
  ORVY_LOCAL void writeInt(long Value, bool Negative);
  ORVY_LOCAL void writeDigits(std::string_view Digits, uint32_t DecimalWeight);
  ORVY_LOCAL void writeDouble(double Value);
  ORVY_LOCAL void writePrefix(Prefix Name);

  int32_t Width = 0;
  char Fill = ' ';
  int32_t Precision = 0;
  RealFormat Real = Fixed;
  Base IntBase = Decimal;
  bool Colors = true;
  Prefix NumPrefix = NoPrefix;
};

/// Writes to a standard stream, which must outlive it.
class ORVY_API OSStream final : public OutStream {
public:
  constexpr explicit OSStream(std::ostream &Target) : Stream(Target) {}
  void write(const char *Text, size_t Length) override;
  void flush() override;

private:
  std::ostream &Stream;
};

/// The stream on the process's standard output.
ORVY_API OutStream &outs();
/// The stream on the process's standard error.
ORVY_API OutStream &errs();

} // namespace orvy

#endif
