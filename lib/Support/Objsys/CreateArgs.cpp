// Creation arguments: checked against the specifications of the class.

#include "orvy/Support/CreateArgs.h"

#include "Base/InternalError.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/Propval.h"
#include "orvy/Support/ValueParsers.h"

#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace orvy;
using namespace orvy::objsys;

namespace {

bool isWhole(orvy_ArgKind Kind) {
  return Kind == ovAK_Number || Kind == ovAK_Size || Kind == ovAK_Freq;
}

// What a kind takes, as the end of "argument 'x' takes ...".
const char *describe(orvy_ArgKind Kind) {
  constexpr const char *Texts[] = {
      "a whole number", "bytes, as in 4096 or 64KiB", "hertz, as in 50000000 or 50MHz", "a number",
      "a text",         "the name of an object"};
  ORVY_REQUIRE(Kind < std::size(Texts));
  return Texts[Kind];
}

// Texts

bool frequencyUnit(const std::string &Unit, unsigned long &Factor) {
  constexpr std::pair<const char *, unsigned long> Units[] = {
      {"Hz", 1}, {"kHz", 1000}, {"MHz", 1000000}, {"GHz", 1000000000}};
  for (const auto &[Name, Each] : Units)
    if (Unit == Name)
      return Factor = Each, true;
  return false;
}

bool unitFactor(orvy_ArgKind Kind, const std::string &Unit, unsigned long &Factor) {
  return (Kind == ovAK_Size && parseByteUnit(Unit, Factor)) ||
         (Kind == ovAK_Freq && frequencyUnit(Unit, Factor));
}

std::optional<uint64_t> wholeFrom(double Real) {
  constexpr double TwoTo64 = 18446744073709551616.0;
  if (!(Real >= 0 && Real < TwoTo64))
    return std::nullopt;
  const auto Whole = static_cast<uint64_t>(Real);
  return static_cast<double>(Whole) == Real ? std::optional(Whole) : std::nullopt;
}

// A decimal number with a unit after it.
std::optional<uint64_t> withUnit(orvy_ArgKind Kind, const std::string &Text) {
  const size_t End = std::min(Text.find_first_not_of("0123456789._"), Text.size());
  const size_t Start = std::min(Text.find_first_not_of(" \t", End), Text.size());
  const std::string Digits = Text.substr(0, End);
  unsigned long Factor = 0;
  if (End == 0 || !unitFactor(Kind, Text.substr(Start), Factor))
    return std::nullopt;
  // Integers first: a real number holds only 53 bits.
  long Whole = 0;
  uint64_t Product = 0;
  if (Digits.size() < 19 && Digits[0] != '0' && parseInt(Digits, Whole))
    return __builtin_mul_overflow(static_cast<uint64_t>(Whole), uint64_t{Factor}, &Product)
               ? std::nullopt
               : std::optional(Product);
  double Real = 0;
  return parseDouble(Digits, Real) ? wholeFrom(Real * static_cast<double>(Factor)) : std::nullopt;
}

std::optional<uint64_t> wholeFrom(orvy_ArgKind Kind, const std::string &Text) {
  long Value = 0;
  double Real = 0;
  if (parseInt(Text, Value))
    return Value >= 0 ? std::optional(static_cast<uint64_t>(Value)) : std::nullopt;
  return parseDouble(Text, Real) ? wholeFrom(Real) : withUnit(Kind, Text);
}

// Values

std::optional<uint64_t> wholeFrom(orvy_ArgKind Kind, const orvy_Propval &Pv) {
  if (Pv.Typ == ovTY_String)
    return Pv.String ? wholeFrom(Kind, std::string(Pv.String)) : std::nullopt;
  if (orvy_isReal(Pv))
    return wholeFrom(orvy_asDouble(Pv));
  if (!orvy_isNumber(Pv) || (orvy_isSigned(Pv) && orvy_asInteger(Pv) < 0))
    return std::nullopt;
  return orvy_asUnsigned(Pv);
}

std::optional<double> realFrom(const orvy_Propval &Pv) {
  double Real = 0;
  if (orvy_isNumber(Pv))
    return orvy_asDouble(Pv);
  return Pv.Typ == ovTY_String && Pv.String && parseDouble(Pv.String, Real) ? std::optional(Real)
                                                                            : std::nullopt;
}

void *objectFrom(const orvy_Propval &Pv) {
  if (Pv.Typ == ovTY_String)
    return orvy_objectForName(Pv.String);
  return Pv.Typ == ovTY_Obj && Class::classForObject(Pv.Obj) ? Pv.Obj : nullptr;
}

template <typename T> bool keep(std::optional<T> Value, void *Bytes) {
  if (Value)
    std::memcpy(Bytes, &*Value, sizeof(T));
  return Value.has_value();
}

// Stores a value in the form of its kind; false if it is of another type.
bool convert(orvy_ArgKind Kind, const orvy_Propval &Pv, void *Bytes) {
  if (isWhole(Kind))
    return keep(wholeFrom(Kind, Pv), Bytes);
  if (Kind == ovAK_Real)
    return keep(realFrom(Pv), Bytes);
  if (Kind == ovAK_Text)
    return keep(Pv.Typ == ovTY_String && Pv.String ? std::optional<const char *>(Pv.String)
                                                   : std::nullopt,
                Bytes);
  void *Obj = objectFrom(Pv);
  return keep(Obj ? std::optional(Obj) : std::nullopt, Bytes);
}

// The list of a class's arguments

struct Reading {
  const char *ClsName, *ObjName;
  const orvy_ArgSpec *Specs;
  unsigned Flags;
  // Value of each argument, in the order of the specifications; all are of eight bytes.
  std::vector<std::optional<uint64_t>> Values;

  bool take(const orvy_CreateArg &Arg);
  bool unknown(const orvy_CreateArg &Arg) const;
  std::string taken() const;
  bool tolerate(const std::string &Why) const;
  bool reject(const std::string &Why) const;
};

std::string limits(const orvy_ArgSpec &Spec) {
  return std::to_string(Spec.Least) + " to " + std::to_string(Spec.Most);
}

bool hasLimits(const orvy_ArgSpec &Spec) {
  return isWhole(Spec.Kind) && (Spec.Least || Spec.Most);
}

// "it takes size (bytes, as in 4096 or 64KiB; 1 to 1024: Bytes of the memory) and ..."
std::string Reading::taken() const {
  std::string Text;
  for (const orvy_ArgSpec *Spec = Specs; Spec && Spec->Key; ++Spec) {
    Text += (Text.empty() ? "it takes '" : ", '") + std::string(Spec->Key) + "' (" +
            (Spec->Doc && *Spec->Doc ? std::string(Spec->Doc) + ": " : "") + describe(Spec->Kind);
    Text += (hasLimits(*Spec) ? "; " + limits(*Spec) : "") + ")";
  }
  return Text.empty() ? "it takes no arguments" : Text;
}

bool Reading::reject(const std::string &Why) const {
  orvy_logConfigError(nullptr, "'%s' of class '%s' is not created: %s", ObjName, ClsName,
                      Why.c_str());
  return false;
}

bool Reading::unknown(const orvy_CreateArg &Arg) const {
  return tolerate("there is no argument '" + std::string(Arg.Key) + "', " + taken());
}

// Rejects an argument, or only warns if the class is lenient.
bool Reading::tolerate(const std::string &Why) const {
  if (!(Flags & ORVY_ARGS_LENIENT))
    return reject(Why);
  orvy_logConfigWarning(nullptr, "'%s' of class '%s': %s", ObjName, ClsName, Why.c_str());
  return true;
}

bool Reading::take(const orvy_CreateArg &Arg) {
  size_t Place = 0;
  while (Specs && Specs[Place].Key && std::strcmp(Specs[Place].Key, Arg.Key) != 0)
    ++Place;
  if (!Specs || !Specs[Place].Key)
    return unknown(Arg);
  const orvy_ArgSpec &Spec = Specs[Place];
  const std::string Name = "argument '" + std::string(Arg.Key) + "'";
  if (Values[Place] && !tolerate(Name + " is given twice"))
    return false;
  uint64_t Value = 0;
  if (!convert(Spec.Kind, Arg.Val, &Value))
    return reject(Name + " takes " + describe(Spec.Kind) + ", not " + propAsString(Arg.Val));
  if (hasLimits(Spec) && (Value < Spec.Least || Value > Spec.Most))
    return reject(Name + " takes " + limits(Spec) + ", not " + propAsString(Arg.Val));
  Values[Place] = Value;
  return true;
}

} // namespace

int orvy_readCreateArgs(const char *ClsName, const char *ObjName, int Argc,
                        const orvy_CreateArg *Args, const orvy_ArgSpec *Specs, unsigned Flags) {
  Reading R{orEmpty(ClsName), orEmpty(ObjName), Specs, Flags, {}};
  size_t Count = 0;
  while (Specs && Specs[Count].Key)
    ++Count;
  R.Values.resize(Count);
  for (int Idx = 0; Args && Idx < Argc; ++Idx)
    if (!R.take(Args[Idx]))
      return -1;
  for (size_t Place = 0; Place < Count; ++Place)
    if (R.Values[Place])
      std::memcpy(Specs[Place].Value, &*R.Values[Place], sizeof(uint64_t));
  return 0;
}
