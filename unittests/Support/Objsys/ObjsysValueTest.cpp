#include "Objsys/ObjsysValue.h"

#include "Objsys/NameGrammar.h"
#include "Testing/Model.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <stdexcept>

using namespace orvy::testing;
using orvy::objsys::getIndex;
using orvy::objsys::propAsString;
using orvy::objsys::typeToSize;

namespace {

orvy_Propval number(orvy_Type Typ) {
  return {.Typ = Typ, .i64 = -1};
}

struct TypeRow {
  orvy_Type Typ;
  size_t Size;
  const char *Name;
  const char *Kinds; // n number, r real, d discrete, s signed, u unsigned, t text
};

constexpr TypeRow Types[] = {
    {ovTY_Invalid, 0, "<<INVALID-TYPE>>", ""},
    {ovTY_Intptr, 8, "intptr_t", "nds"},
    {ovTY_Uintptr, 8, "uintptr_t", "ndu"},
    {ovTY_Float, 4, "float", "nr"},
    {ovTY_Double, 8, "double", "nr"},
    {ovTY_U8, 1, "uint8_t", "ndu"},
    {ovTY_U16, 2, "uint16_t", "ndu"},
    {ovTY_U32, 4, "uint32_t", "ndu"},
    {ovTY_U64, 8, "uint64_t", "ndu"},
    {ovTY_I8, 1, "int8_t", "nds"},
    {ovTY_I16, 2, "int16_t", "nds"},
    {ovTY_I32, 4, "int32_t", "nds"},
    {ovTY_I64, 8, "int64_t", "nds"},
    {ovTY_Obj, 8, "<<object>>", ""},
    {ovTY_InternalPtr, 8, "<<internal-pointer>>", ""},
    {ovTY_IfaceRef, 16, "<<interface-ref>>", ""},
    {ovTY_IfaceRefArray, 16, "<<interface-array>>", ""},
    {ovTY_String, 8, "const char*", "t"},
    {ovTY_Buffer, 16, "<<buffer>>", ""},
    {ovTY_Dict, 8, "<<dictionary>>", ""},
    {ovTY_Vector, 16, "<<vector>>", ""},
    {ovTY_List, 24, "<<list>>", ""},
};

std::string kindsOf(orvy_Propval Pv) {
  std::string Kinds;
  Kinds += orvy_isNumber(Pv) ? "n" : "";
  Kinds += orvy_isReal(Pv) ? "r" : "";
  Kinds += orvy_isDiscrete(Pv) ? "d" : "";
  Kinds += orvy_isSigned(Pv) ? "s" : "";
  Kinds += orvy_isUnsigned(Pv) ? "u" : "";
  Kinds += orvy_isString(Pv) ? "t" : "";
  return Kinds;
}

TEST(PropvalTypes, HaveTheirTagsNamesWidthsAndKinds) {
  uint32_t Tag = 0;
  for (const TypeRow &Row : Types) {
    SCOPED_TRACE(Row.Name);
    EXPECT_EQ(Row.Typ, Tag++);
    EXPECT_EQ(typeToSize(Row.Typ), Row.Size);
    EXPECT_STREQ(orvy_typeToName(Row.Typ), Row.Name);
    EXPECT_EQ(kindsOf(number(Row.Typ)), Row.Kinds);
  }
}

TEST(PropvalTypes, OutsideTheEnumerationAreUnknown) {
  for (uint32_t Tag : {22u, 255u, 0xffffffffu}) {
    auto Typ = static_cast<orvy_Type>(Tag);
    EXPECT_EQ(typeToSize(Typ), 0u);
    EXPECT_EQ(kindsOf(number(Typ)), "");
    EXPECT_EQ(propAsString(number(Typ)), "<<unknown>>");
    EXPECT_DEATH(orvy_typeToName(Typ), "internal error");
  }
}

TEST(PropvalConversions, WidenIntegersByTheirSignedness) {
  struct {
    orvy_Type Typ;
    int64_t Integer;
    uint64_t Unsigned;
    double Double;
  } Rows[] = {
      {ovTY_I8, -1, ~0ull, -1.0},
      {ovTY_I16, -1, ~0ull, -1.0},
      {ovTY_I32, -1, ~0ull, -1.0},
      {ovTY_I64, -1, ~0ull, -1.0},
      {ovTY_Intptr, -1, ~0ull, -1.0},
      {ovTY_U8, 0xff, 0xff, 255.0},
      {ovTY_U16, 0xffff, 0xffff, 65535.0},
      {ovTY_U32, 0xffffffff, 0xffffffff, 4294967295.0},
      {ovTY_U64, -1, ~0ull, 1.8446744073709552e19},
      {ovTY_Uintptr, -1, ~0ull, 1.8446744073709552e19},
  };
  for (const auto &Row : Rows) {
    SCOPED_TRACE(orvy_typeToName(Row.Typ));
    EXPECT_EQ(orvy_asInteger(number(Row.Typ)), Row.Integer);
    EXPECT_EQ(orvy_asUnsigned(number(Row.Typ)), Row.Unsigned);
    EXPECT_EQ(orvy_asDouble(number(Row.Typ)), Row.Double);
  }
}

TEST(PropvalConversions, TruncateRealsTowardZero) {
  EXPECT_EQ(orvy_asInteger(real(-1.9)), -1);
  EXPECT_EQ(orvy_asInteger(real(1.9)), 1);
  EXPECT_EQ(orvy_asInteger({.Typ = ovTY_Float, .f = 2.5f}), 2);
  EXPECT_EQ(orvy_asUnsigned(real(1.0e19)), 10000000000000000000ull);
  EXPECT_EQ(orvy_asUnsigned(real(9223372036854775808.0)), 0x8000000000000000ull);
  EXPECT_EQ(orvy_asUnsigned(real(-2.0)), 0xfffffffffffffffeull);
  EXPECT_EQ(orvy_asDouble({.Typ = ovTY_Float, .f = 0.5f}), 0.5);
}

TEST(PropvalConversions, AreDefinedForRealsThatFitNoInteger) {
  for (double Real : {1e300, -1e300, std::numeric_limits<double>::infinity(), std::nan("")})
    EXPECT_EQ(orvy_asInteger(real(Real)), INT64_MIN) << Real;
  orvy_asUnsigned(real(1e300));
  orvy_asUnsigned(real(std::nan("")));
}

TEST(PropvalConversions, EndTheProcessForValuesThatAreNotNumbers) {
  EXPECT_DEATH(orvy_asInteger(text("1")), "converting invalid property to integer");
  EXPECT_DEATH(orvy_asUnsigned({}), "converting invalid property to unsigned");
  EXPECT_DEATH(orvy_asDouble({}), "converting invalid property do double");
}

TEST(PropvalText, IsWhatTheUserReads) {
  struct {
    orvy_Propval Pv;
    const char *Text;
  } Rows[] = {
      {{}, "<<unknown>>"},
      {u8(65), "65"},
      {{.Typ = ovTY_I8, .i8 = -65}, "-65"},
      {u64(18446744073709551615ull), "18446744073709551615"},
      {i64(-5), "-5"},
      {real(0.1), "0.1"},
      {{.Typ = ovTY_Float, .f = 1e10f}, "1e+10"},
      {{.Typ = ovTY_Obj, .Obj = nullptr}, "<null>"},
      {{.Typ = ovTY_Obj, .Obj = &Rows}, ""},
      {{.Typ = ovTY_InternalPtr}, "<<internal-ptr>>"},
      {ref(nullptr, nullptr), "<null>:<null>"},
      {{.Typ = ovTY_IfaceRefArray}, "<<iface-array>>"},
      {text("a b"), "\"a b\""},
      {text(nullptr), "<null>"},
      {{.Typ = ovTY_Buffer, .Buffer = {nullptr, 0, 12}}, "<<buffer(len = 12)>>"},
      {{.Typ = ovTY_Dict}, "<<dictionary>>"},
      {{.Typ = ovTY_Vector}, "<<vector>>"},
      {{.Typ = ovTY_List}, "<<list>>"},
  };
  for (const auto &Row : Rows)
    EXPECT_EQ(propAsString(Row.Pv), Row.Text);
}

TEST(PropvalText, NamesObjectsAndInterfaces) {
  CleanSystem System;
  Model *Obj = createModel("uart0");
  EXPECT_EQ(propAsString({.Typ = ovTY_Obj, .Obj = Obj}), "uart0");
  EXPECT_EQ(propAsString(ref(Obj, &Echo)), "uart0:echo");
  EXPECT_EQ(propAsString(ref(Obj, &Echoes[1])), "uart0:<null>");
  EXPECT_EQ(propAsString(ref(nullptr, &Echo)), "<null>:<null>");
}

TEST(IndexString, IsTheNumberAfterTheFirstBracket) {
  struct {
    const char *Name;
    int Index;
  } Rows[] = {
      {"p", 7},
      {"p[3]", 3},
      {"p[12", 12},
      {"p[12x]", 12},
      {"p[ 4]", 4},
      {"p[+4]", 4},
      {"p[-1]", -1},
      {"p[2][9]", 2},
      {"p]x[", 7},
      {"p]x[3]", 7},
      {"p[010]", 10},
      {"p[0x10]", 0},
      {"", 7},
      {"[5]", 5},
      {"p[2147483647]", 2147483647},
      {"p[-2147483648]", INT32_MIN},
  };
  for (const auto &Row : Rows)
    EXPECT_EQ(getIndex(Row.Name, 7), Row.Index) << Row.Name;
}

TEST(IndexString, ThrowsWithoutANumberOrBeyond32Bits) {
  for (const char *Name : {"p[", "p[]", "p[x]", "p[]5", "p[ ]", "p[-]"})
    EXPECT_THROW(getIndex(Name, 0), std::invalid_argument) << Name;
  for (const char *Name : {"p[2147483648]", "p[-2147483649]", "p[99999999999999999999]"})
    EXPECT_THROW(getIndex(Name, 0), std::out_of_range) << Name;
}

TEST(Names, FollowTheGrammar) {
  for (const char *Name : {"cpu0", "_x", "uart-a1", "a_-b", "a", "_", "a-b-c", "A9"}) {
    EXPECT_TRUE(orvy_isValidObjectName(Name)) << Name;
    EXPECT_TRUE(orvy_isValidClassName(Name)) << Name;
    EXPECT_TRUE(orvy_isValidInterfaceName(Name)) << Name;
  }
  for (const char *Name : {"a--b", "a-1", "a-", "1a", "a.b", "-", "", "-a", "a b", "\xe4", "a\xe4"})
    EXPECT_FALSE(orvy_isValidObjectName(Name)) << Name;
  for (const char *Name : {"config.freq", "a._1", "a"})
    EXPECT_TRUE(orvy_isValidPropertyName(Name)) << Name;
  for (const char *Name : {"a.1", "a..b", "a.", "a-b", ".", "reg[1]"})
    EXPECT_FALSE(orvy_isValidPropertyName(Name)) << Name;
  EXPECT_FALSE(orvy_isValidObjectName(nullptr));
  EXPECT_FALSE(orvy_isValidPropertyName(nullptr));
}

} // namespace
