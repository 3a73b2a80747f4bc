#include "CommandLine/PropertyAssignment.h"

#include "Objsys/NameGrammar.h"
#include "orvy/Support/Interpreter.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"
#include "orvy/Support/ValueParsers.h"

#include <cmath>
#include <locale>
#include <sstream>
#include <stdexcept>

using namespace orvy;
using namespace orvy::cl;

namespace {

/// An element of a property, named by the text before the '='.
struct Element {
  std::string Object;
  std::string Property;
  int Index = 0;
  void *Obj = nullptr;
  orvy_Type Typ = ovTY_Invalid;
};

/// Obj is null if the text has no '.' or does not name an object.
Element findElement(std::string_view Target) {
  const size_t Dot = Target.find('.');
  if (Dot == Target.npos || Target[0] != '@')
    return {};
  Element Found;
  const std::string Indexed(Target.substr(Dot + 1));
  Found.Object = Target.substr(1, Dot - 1);
  Found.Property = objsys::baseName(Indexed);
  Found.Index = objsys::getIndex(Indexed.c_str(), 0);
  Found.Obj = orvy_objectForName(Found.Object.c_str());
  Found.Typ = orvy_getPropType(Found.Obj, Found.Property.c_str());
  return Found;
}

/// How much of a text was read.
enum class Extent { None, Part, Whole };

template <typename Number> Extent extract(const std::string &Text, Number &Value) {
  std::istringstream In(Text);
  In.imbue(std::locale::classic());
  if (!(In >> Value))
    return Extent::None;
  return (In >> std::ws).eof() ? Extent::Whole : Extent::Part;
}

/// Reads a value of Pv's type from the start of the text. Narrow integers are the low bytes of wide
/// ones.
Extent readValue(const std::string &Text, orvy_Propval &Pv) {
  switch (Pv.Typ) {
  case ovTY_U64:
    return extract(Text, Pv.u64);
  case ovTY_Intptr:
  case ovTY_Uintptr:
  case ovTY_U8:
  case ovTY_U16:
  case ovTY_U32:
  case ovTY_I8:
  case ovTY_I16:
  case ovTY_I32:
  case ovTY_I64:
    return extract(Text, Pv.i64);
  case ovTY_Double:
    return extract(Text, Pv.d);
  case ovTY_Float: {
    double Wide = 0;
    const Extent Read = extract(Text, Wide);
    Pv.f = static_cast<float>(Wide);
    return Read;
  }
  case ovTY_Obj:
    return (Pv.Obj = orvy_objectForName(Text.c_str())) ? Extent::Whole : Extent::None;
  default:
    return Extent::None;
  }
}

/// Reads an integer with a base prefix, or one written as a real number, such as 1e6.
bool readOtherInteger(const std::string &Text, orvy_Propval &Pv) {
  long Integer = 0;
  if (Text.find_first_of("xXbBoO") != Text.npos && parseInt(Text, Integer)) {
    Pv.i64 = Integer;
    return true;
  }
  double Real = 0;
  if (extract(Text, Real) != Extent::Whole || Real != std::trunc(Real) || std::fabs(Real) >= 0x1p63)
    return false;
  Pv.i64 = static_cast<int64_t>(Real);
  return true;
}

std::string whyNotRead(const std::string &Text, orvy_Type Typ) {
  if (Typ == ovTY_Obj)
    return "there is no object '" + Text + "'";
  if (orvy_isDiscrete({Typ, {}}))
    return "'" + Text + "' is not an integer";
  if (orvy_isReal({Typ, {}}))
    return "'" + Text + "' is not a number";
  return "only numbers and objects are assigned; for a text use object-prop-write";
}

std::string whyNotFound(std::string_view Target, const Element &Wanted) {
  if (Target.find('.') == Target.npos)
    return "not '@object.property'";
  if (!Wanted.Obj)
    return "there is no object '" + Wanted.Object + "'";
  if (Wanted.Typ == ovTY_Invalid)
    return "'" + Wanted.Object + "' has no property '" + Wanted.Property + "'";
  const int Count = orvy_getPropDynLength(Wanted.Obj, Wanted.Property.c_str());
  if (Wanted.Index < 0 || Wanted.Index >= Count)
    return "the property has " + std::to_string(Count) + " elements";
  return "";
}

void write(const Element &Wanted, const orvy_Propval &Pv) {
  orvy_writeValue(Wanted.Obj, Wanted.Property.c_str(), Pv, Wanted.Index);
}

} // namespace

int orvy::cl::propSet(std::string_view Target, const std::string &Value) {
  const Element Wanted = findElement(Target);
  orvy_Propval Pv = {};
  Pv.Typ = Wanted.Typ;
  if (!Wanted.Obj || readValue(Value, Pv) == Extent::None)
    return 1;
  write(Wanted, Pv);
  return 0;
}

std::string orvy::cl::assignProperty(std::string_view Target, const std::string &Value) {
  Element Wanted;
  try {
    Wanted = findElement(Target);
  } catch (const std::logic_error &) {
    return "the index is not a number";
  }
  if (std::string Why = whyNotFound(Target, Wanted); !Why.empty())
    return Why;
  orvy_Propval Pv = {};
  Pv.Typ = Wanted.Typ;
  const bool IsInteger = orvy_isDiscrete({Wanted.Typ, {}});
  if (readValue(Value, Pv) != Extent::Whole && !(IsInteger && readOtherInteger(Value, Pv)))
    return whyNotRead(Value, Wanted.Typ);
  write(Wanted, Pv);
  return "";
}
