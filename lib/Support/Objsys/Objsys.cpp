#include "orvy/Support/Propval.h"

#include "Base/InternalError.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <type_traits>

using namespace orvy::objsys;

namespace {

constexpr const char *TypeNames[] = {"<<INVALID-TYPE>>",
                                     "intptr_t",
                                     "uintptr_t",
                                     "float",
                                     "double",
                                     "uint8_t",
                                     "uint16_t",
                                     "uint32_t",
                                     "uint64_t",
                                     "int8_t",
                                     "int16_t",
                                     "int32_t",
                                     "int64_t",
                                     "<<object>>",
                                     "<<internal-pointer>>",
                                     "<<interface-ref>>",
                                     "<<interface-array>>",
                                     "const char*",
                                     "<<buffer>>",
                                     "<<dictionary>>",
                                     "<<vector>>",
                                     "<<list>>"};

constexpr double TwoTo63 = 9223372036854775808.0;

// Defined for every double, unlike the cast: a value out of range gives the smallest integer.
int64_t truncate(double Real) {
  bool Fits = Real >= -TwoTo63 && Real < TwoTo63;
  return Fits ? static_cast<int64_t>(Real) : INT64_MIN;
}

uint64_t truncateUnsigned(double Real) {
  if (Real >= TwoTo63)
    return static_cast<uint64_t>(truncate(Real - TwoTo63)) ^ (uint64_t{1} << 63);
  return static_cast<uint64_t>(truncate(Real));
}

// Applies Func to the number in the record, in its own type, and Otherwise to a record that is not a number.
template <typename Function, typename Fallback>
auto withNumber(const orvy_Propval &Pv, Function Func, Fallback Otherwise) {
  switch (Pv.Typ) {
  case ovTY_Intptr:
    return Func(Pv.IntPtr);
  case ovTY_Uintptr:
    return Func(Pv.UIntPtr);
  case ovTY_Float:
    return Func(Pv.f);
  case ovTY_Double:
    return Func(Pv.d);
  case ovTY_U8:
    return Func(Pv.u8);
  case ovTY_U16:
    return Func(Pv.u16);
  case ovTY_U32:
    return Func(Pv.u32);
  case ovTY_U64:
    return Func(Pv.u64);
  case ovTY_I8:
    return Func(Pv.i8);
  case ovTY_I16:
    return Func(Pv.i16);
  case ovTY_I32:
    return Func(Pv.i32);
  case ovTY_I64:
    return Func(Pv.i64);
  default:
    return Otherwise();
  }
}

const char *orNull(const char *Text) {
  return Text ? Text : "<null>";
}

void printObjectName(std::ostream &Os, void *Obj) {
  if (!Obj)
    Os << "<null>";
  else if (const char *Name = Class::nameForObject(Obj))
    Os << Name;
}

void printString(std::ostream &Os, const char *Text) {
  if (Text)
    Os << '"' << Text << '"';
  else
    Os << "<null>";
}

void printNonNumber(std::ostream &Os, const orvy_Propval &Pv) {
  switch (Pv.Typ) {
  case ovTY_Obj:
    return printObjectName(Os, Pv.Obj);
  case ovTY_InternalPtr:
    Os << "<<internal-ptr>>";
    return;
  case ovTY_IfaceRef:
    Os << orNull(orvy_nameForObject(Pv.IfaceRef.Obj)) << ':'
       << orNull(orvy_nameForInterface(Pv.IfaceRef));
    return;
  case ovTY_IfaceRefArray:
    Os << "<<iface-array>>";
    return;
  case ovTY_String:
    return printString(Os, Pv.String);
  case ovTY_Buffer:
    Os << "<<buffer(len = " << Pv.Buffer.Len << ")>>";
    return;
  case ovTY_Dict:
    Os << "<<dictionary>>";
    return;
  case ovTY_Vector:
    Os << "<<vector>>";
    return;
  case ovTY_List:
    Os << "<<list>>";
    return;
  default:
    Os << "<<unknown>>";
  }
}

bool isTag(const orvy_Propval &Pv, std::initializer_list<orvy_Type> Tags) {
  for (orvy_Type Tag : Tags)
    if (Pv.Typ == Tag)
      return true;
  return false;
}

} // namespace

std::ostream &orvy::objsys::operator<<(std::ostream &Os, const orvy_Propval &Pv) {
  // The unary plus turns 8-bit integers into numbers.
  withNumber(
      Pv, [&](auto Number) { Os << +Number; }, [&] { printNonNumber(Os, Pv); });
  return Os;
}

std::string orvy::objsys::propAsString(const orvy_Propval &Pv) {
  std::ostringstream Os;
  Os << Pv;
  return Os.str();
}

int orvy_isNumber(orvy_Propval Pv) {
  return Pv.Typ >= ovTY_Intptr && Pv.Typ <= ovTY_I64;
}

int orvy_isReal(orvy_Propval Pv) {
  return isTag(Pv, {ovTY_Float, ovTY_Double});
}

int orvy_isDiscrete(orvy_Propval Pv) {
  return orvy_isNumber(Pv) && !orvy_isReal(Pv);
}

int orvy_isSigned(orvy_Propval Pv) {
  return isTag(Pv, {ovTY_Intptr, ovTY_I8, ovTY_I16, ovTY_I32, ovTY_I64});
}

int orvy_isUnsigned(orvy_Propval Pv) {
  return isTag(Pv, {ovTY_Uintptr, ovTY_U8, ovTY_U16, ovTY_U32, ovTY_U64});
}

int orvy_isString(orvy_Propval Pv) {
  return Pv.Typ == ovTY_String;
}

int64_t orvy_asInteger(orvy_Propval Pv) {
  return withNumber(
      Pv,
      [](auto Number) -> int64_t {
        if constexpr (std::is_floating_point_v<decltype(Number)>)
          return truncate(Number);
        else
          return static_cast<int64_t>(Number);
      },
      []() -> int64_t { ORVY_INTERNAL_ERROR("converting invalid property to integer"); });
}

uint64_t orvy_asUnsigned(orvy_Propval Pv) {
  return withNumber(
      Pv,
      [](auto Number) -> uint64_t {
        if constexpr (std::is_floating_point_v<decltype(Number)>)
          return truncateUnsigned(Number);
        else
          return static_cast<uint64_t>(Number);
      },
      []() -> uint64_t { ORVY_INTERNAL_ERROR("converting invalid property to unsigned"); });
}

double orvy_asDouble(orvy_Propval Pv) {
  return withNumber(
      Pv, [](auto Number) { return static_cast<double>(Number); },
      []() -> double { ORVY_INTERNAL_ERROR("converting invalid property do double"); });
}

const char *orvy_typeToName(orvy_Type Typ) {
  ORVY_REQUIRE(Typ < std::size(TypeNames));
  return TypeNames[Typ];
}
