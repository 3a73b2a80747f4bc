// All parsers of values, on the same text.

#include "Fuzz.h"

#include "orvy/Support/ValueParsers.h"

using namespace orvy;
using orvy::fuzz::require;

namespace {

/// A parser that fails leaves what it was given alone.
template <typename T>
bool parses(bool (*Parse)(const std::string &, T &), const std::string &Text, T &Value) {
  const T Before = Value;
  const bool Parsed = Parse(Text, Value);
  require(Parsed || Value == Before, "a failure stores nothing");
  return Parsed;
}

void checkInt(const std::string &Text) {
  long Value = 42;
  if (!parses(parseInt, Text, Value))
    return;
  long Again = 0;
  require(parseInt(std::to_string(Value), Again) && Again == Value, "a printed integer reads back");
  require(parseInt(Text + "0_", Again), "digits and separators may follow");
  require(!parseInt(Text + ' ', Again), "nothing else may");
}

void checkUnits(const std::string &Text) {
  unsigned long Count = 42;
  if (parses(parseByteUnit, Text, Count) || parses(parseBitUnit, Text, Count))
    require(Count > 0, "a unit is something");
  double Factor = 42;
  if (parses(parseTimeUnit, Text, Factor) || parses(parseBitRateUnit, Text, Factor))
    require(Factor > 0, "a unit is something");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  const std::string Text(fuzz::textOf(Data, Size));
  checkInt(Text);
  checkUnits(Text);
  double Real = 42;
  parseDouble(Text, Real);
  if (parseSymbol(Text))
    require(!parseSymbol("-" + Text) && parseSymbol(Text + '-'), "a hyphen may not come first");
  return 0;
}
