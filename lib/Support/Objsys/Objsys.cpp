#include "orvy/Support/Propval.h"

#include "Base/InternalError.h"
#include "Objsys/ObjectKinds.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"
#include "orvy/Support/Logging.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <utility>

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

int orvy::objsys::getIndex(const char *Name, unsigned long Default) {
  std::string_view Text(Name);
  size_t Open = Text.find('[');
  if (Open == Text.npos || Text.find(']') < Open)
    return static_cast<int>(Default);

  // The closing bracket ends the number like any other character.
  const char *Digits = Name + Open + 1;
  char *End = nullptr;
  int SavedError = std::exchange(errno, 0);
  long Index = std::strtol(Digits, &End, 10);
  bool Overflow = std::exchange(errno, SavedError) == ERANGE;
  if (End == Digits)
    throw std::invalid_argument("no index in '" + std::string(Text) + "'");
  if (Overflow || Index < INT_MIN || Index > INT_MAX)
    throw std::out_of_range("index out of range in '" + std::string(Text) + "'");
  return static_cast<int>(Index);
}

bool orvy::objsys::isValidName(const char *Name, char Joiner) {
  auto IsStart = [](char C) {
    return (C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z') || C == '_';
  };
  if (!Name || !IsStart(*Name))
    return false;
  for (const char *At = Name + 1; *At; ++At) {
    bool IsPart = IsStart(*At) || (*At >= '0' && *At <= '9');
    if (!IsPart && !(*At == Joiner && IsStart(At[1])))
      return false;
  }
  return true;
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

orvy_Propval orvy_getValue(void *Obj, const char *PropName, int Idx) {
  return Obj && PropName ? Class::getPropertyVal(Obj, PropName, Idx) : orvy_Propval{};
}

orvy_Propval orvy_readValue(void *Obj, const char *PropName, int Idx) {
  return Obj && PropName ? Class::readPropertyVal(Obj, PropName, Idx) : orvy_Propval{};
}

void orvy_setValue(void *Obj, const char *PropName, orvy_Propval Val, int Idx) {
  if (Obj && PropName)
    Class::setPropertyVal(Obj, PropName, Val, Idx);
  else
    orvy_logError(Obj, "orvy_setValue() with null-object or property name");
}

void orvy_writeValue(void *Obj, const char *PropName, orvy_Propval Val, int Idx) {
  if (Obj && PropName)
    Class::writePropertyVal(Obj, PropName, Val, Idx);
  else
    orvy_logError(Obj, "orvy_writeValue() with null-object or property name");
}

// The accessors of one integer type on all four routes.
namespace {

// Ends the process for a typed getter of a property that has another type, or is not there.
orvy_Propval ofType(orvy_Type Typ, orvy_Propval Pv, const void *Obj, const char *PropName) {
  if (Pv.Typ != Typ) {
    const std::string Lacks =
        "has no property '" + std::string(orEmpty(PropName)) + "' of type " + orvy_typeToName(Typ);
    orvy::wrongObject(Obj, Lacks.c_str());
  }
  return Pv;
}

} // namespace

#define ORVY_TYPED_ACCESSORS(Suffix, CType, Member)                                                \
  CType orvy_getValue##Suffix(void *Obj, const char *PropName, int Idx) {                          \
    return ofType(ovTY_##Suffix, orvy_getValue(Obj, PropName, Idx), Obj, PropName).Member;         \
  }                                                                                                \
  CType orvy_readValue##Suffix(void *Obj, const char *PropName, int Idx) {                         \
    return ofType(ovTY_##Suffix, orvy_readValue(Obj, PropName, Idx), Obj, PropName).Member;        \
  }                                                                                                \
  void orvy_setValue##Suffix(void *Obj, const char *PropName, CType Val, int Idx) {                \
    orvy_setValue(Obj, PropName, {.Typ = ovTY_##Suffix, .Member = Val}, Idx);                      \
  }                                                                                                \
  void orvy_writeValue##Suffix(void *Obj, const char *PropName, CType Val, int Idx) {              \
    orvy_writeValue(Obj, PropName, {.Typ = ovTY_##Suffix, .Member = Val}, Idx);                    \
  }

ORVY_TYPED_ACCESSORS(U8, uint8_t, u8)
ORVY_TYPED_ACCESSORS(U16, uint16_t, u16)
ORVY_TYPED_ACCESSORS(U32, uint32_t, u32)
ORVY_TYPED_ACCESSORS(U64, uint64_t, u64)
ORVY_TYPED_ACCESSORS(I8, int8_t, i8)
ORVY_TYPED_ACCESSORS(I16, int16_t, i16)
ORVY_TYPED_ACCESSORS(I32, int32_t, i32)
ORVY_TYPED_ACCESSORS(I64, int64_t, i64)

orvy_Propval orvy_getNamedObjectProp(const char *ObjName, const char *PropName, int Idx) {
  return Class::getPropertyVal(ObjName, PropName, Idx);
}

orvy_Propval orvy_readNamedObjectProp(const char *ObjName, const char *PropName, int Idx) {
  return Class::readPropertyVal(ObjName, PropName, Idx);
}

void orvy_setNamedObjectProp(const char *ObjName, const char *PropName, orvy_Propval Val, int Idx) {
  Class::setPropertyVal(ObjName, PropName, Val, Idx);
}

void orvy_writeNamedObjectProp(const char *ObjName, const char *PropName, orvy_Propval Val,
                               int Idx) {
  Class::writePropertyVal(ObjName, PropName, Val, Idx);
}
