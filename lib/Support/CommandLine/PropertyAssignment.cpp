#include "orvy/Support/Interpreter.h"

#include "ObjsysValue.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"

#include <locale>
#include <sstream>

using namespace orvy;
using namespace orvy::cl;

// Reads what the text begins with, whatever stands behind it.
template <typename Number> static bool extract(const std::string &Text, Number &Value) {
  std::istringstream In(Text);
  In.imbue(std::locale::classic());
  return static_cast<bool>(In >> Value);
}

// Gives Pv the value of its type. Narrow integers lie in the low bytes of wide ones.
static bool readValue(const std::string &Text, orvy_Propval &Pv) {
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
    const bool IsNumber = extract(Text, Wide);
    Pv.f = static_cast<float>(Wide);
    return IsNumber;
  }
  case ovTY_Obj:
    return (Pv.Obj = orvy_objectForName(Text.c_str())) != nullptr;
  default:
    return false;
  }
}

int orvy::cl::propSet(std::string_view Target, const std::string &Value) {
  const size_t Dot = Target.find('.');
  if (Dot == Target.npos || Target[0] != '@')
    return 1;
  const std::string Name(Target.substr(1, Dot - 1));
  const std::string Indexed(Target.substr(Dot + 1));
  const std::string Property(objsys::baseName(Indexed));
  void *Obj = orvy_objectForName(Name.c_str());
  orvy_Propval Pv = {};
  Pv.Typ = orvy_getPropType(Obj, Property.c_str());
  if (!readValue(Value, Pv))
    return 1;
  orvy_writeValue(Obj, Property.c_str(), Pv, objsys::getIndex(Indexed.c_str(), 0));
  return 0;
}
