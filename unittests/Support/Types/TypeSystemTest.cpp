#include "orvy/Support/TypeSystem.h"

#include "Testing/Expressions.h"
#include "orvy/Support/NewObjectSystem.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <type_traits>

using namespace orvy;
using namespace orvy::testing;

namespace {

const Type *builtIn(orvy_BuiltInType Which) {
  return orvy_typesysGetBuiltIn(Which);
}

// The record of a type of C.

template <typename T> struct Built;
#define ORVY_BUILT(T, Record)                                                                      \
  template <> struct Built<T> {                                                                    \
    static const Type *record() { return &Record; }                                                \
  }
ORVY_BUILT(int8_t, IntegerType::s_I8Ty);
ORVY_BUILT(uint16_t, IntegerType::s_U16Ty);
ORVY_BUILT(int32_t, IntegerType::s_I32Ty);
ORVY_BUILT(uint64_t, IntegerType::s_U64Ty);
ORVY_BUILT(float, RealType::s_FloatTy);
ORVY_BUILT(double, RealType::s_DoubleTy);
ORVY_BUILT(char *, PointerType::s_CharPtrTy);
#undef ORVY_BUILT

struct BuiltInCase {
  orvy_BuiltInType Which;
  const Type *Record;
  const char *Name;
  size_t Size;
};

TEST(BuiltInTypes, AreThoseOfTheCompiler) {
  const BuiltInCase Cases[] = {
      {ovBT_Void, &VoidType::s_VoidTy, "void", 0},
      {ovBT_Char, &IntegerType::s_CharTy, "char", sizeof(char)},
      {ovBT_UChar, &IntegerType::s_UCharTy, "unsigned char", sizeof(unsigned char)},
      {ovBT_Short, &IntegerType::s_ShortTy, "short", sizeof(short)},
      {ovBT_UShort, &IntegerType::s_UShortTy, "unsigned short", sizeof(unsigned short)},
      {ovBT_Int, &IntegerType::s_IntTy, "int", sizeof(int)},
      {ovBT_UInt, &IntegerType::s_UIntTy, "unsigned int", sizeof(unsigned)},
      {ovBT_Long, &IntegerType::s_LongTy, "long", sizeof(long)},
      {ovBT_ULong, &IntegerType::s_ULongTy, "unsigned long", sizeof(unsigned long)},
      {ovBT_Intptr, &IntegerType::s_IPtrTy, "intptr_t", sizeof(intptr_t)},
      {ovBT_Uintptr, &IntegerType::s_UPtrTy, "uintptr_t", sizeof(uintptr_t)},
      {ovBT_I8, &IntegerType::s_I8Ty, "int8_t", 1},
      {ovBT_U8, &IntegerType::s_U8Ty, "uint8_t", 1},
      {ovBT_I16, &IntegerType::s_I16Ty, "int16_t", 2},
      {ovBT_U16, &IntegerType::s_U16Ty, "uint16_t", 2},
      {ovBT_I32, &IntegerType::s_I32Ty, "int32_t", 4},
      {ovBT_U32, &IntegerType::s_U32Ty, "uint32_t", 4},
      {ovBT_I64, &IntegerType::s_I64Ty, "int64_t", 8},
      {ovBT_U64, &IntegerType::s_U64Ty, "uint64_t", 8},
      {ovBT_Float, &RealType::s_FloatTy, "float", sizeof(float)},
      {ovBT_Double, &RealType::s_DoubleTy, "double", sizeof(double)},
  };
  for (const BuiltInCase &Each : Cases) {
    const Type *Found = builtIn(Each.Which);
    EXPECT_EQ(Found, Each.Record) << Each.Name;
    EXPECT_EQ(Found->Name, Each.Name);
    EXPECT_EQ(Found->getSize(), Each.Size) << Each.Name;
    EXPECT_EQ(Found->getAlignment(), Each.Size) << Each.Name;
    EXPECT_EQ(Found->isVoid(), Each.Which == ovBT_Void);
    EXPECT_EQ(getTypeSystem().getType(Each.Name), Found);
  }
  EXPECT_TRUE(IntegerType::s_IntTy.isSigned());
  EXPECT_FALSE(IntegerType::s_UPtrTy.isSigned());
  EXPECT_TRUE(IntegerType::s_BoolTy.isBool());
  EXPECT_FALSE(IntegerType::s_U8Ty.isBool());
  EXPECT_EQ(IntegerType::s_I16Ty.Doc, "signed 16 bit integer");
  EXPECT_EQ(BitFieldType("bits", "", 32, IntegerType::UnsignedInteger).Kind, Type::Integer);
  EXPECT_DEATH(builtIn(static_cast<orvy_BuiltInType>(21)), "internal error");
}

// Layouts, and values that travel through libffi, for all triples of types.

template <typename A, typename B, typename C> struct Triple {
  struct Structure {
    A First;
    B Second;
    C Third;
    bool operator==(const Structure &) const = default;
  };
  union Choice {
    A First;
    B Second;
    C Third;
  };
  static inline Structure SeenStructure;
  static inline Choice SeenChoice;
  static Structure passStructure(Structure Value) { return SeenStructure = Value; }
  static Choice passChoice(Choice Value) { return SeenChoice = Value; }

  template <typename T> static T sample(int Seed) {
    if constexpr (std::is_pointer_v<T>)
      return reinterpret_cast<T>(uintptr_t(Seed) << 40 | 5);
    else
      return static_cast<T>(Seed * 7);
  }

  template <typename Compound> static void describe(Compound &Ty) {
    Ty.addField("First", Built<A>::record(), "");
    Ty.addField("Second", Built<B>::record(), "");
    Ty.addField("Third", Built<C>::record(), "");
  }

  template <typename T> static T callThrough(T (*Callee)(T), const Type &Ty, const T &Value) {
    FunctionType Signature(&Ty);
    Signature.addArg(&Ty);
    alignas(16) unsigned char Result[32] = {};
    FFIAdapter::call(Function("pass", &Signature, reinterpret_cast<void *>(Callee)),
                     {Argument::at(&Ty, &Value)}, Result);
    T Returned;
    std::memcpy(&Returned, Result, sizeof Returned);
    return Returned;
  }

  static void checkStructure() {
    StructType Ty("S");
    describe(Ty);
    EXPECT_EQ(Ty.computeOffset(0), 0u);
    EXPECT_EQ(Ty.computeOffset(1), offsetof(Structure, Second));
    EXPECT_EQ(Ty.computeOffset(2), offsetof(Structure, Third));
    EXPECT_EQ(Ty.getAlignment(), alignof(A));
    const uint64_t End = offsetof(Structure, Third) + sizeof(C);
    EXPECT_EQ(Ty.getSize(), (End + alignof(A) - 1) / alignof(A) * alignof(A));
    if (alignof(A) == alignof(Structure)) {
      EXPECT_EQ(Ty.getSize(), sizeof(Structure));
    }
    const Structure Value = {sample<A>(3), sample<B>(4), sample<C>(5)};
    EXPECT_EQ(callThrough(passStructure, Ty, Value), Value);
    EXPECT_EQ(SeenStructure, Value);
  }

  static void checkChoice() {
    UnionType Ty("U");
    describe(Ty);
    EXPECT_EQ(Ty.getSize(), sizeof(Choice));
    EXPECT_EQ(Ty.getAlignment(), alignof(Choice));
    for (const Field &Each : Ty.getFields())
      EXPECT_EQ(Each.Offset, 0u);
    Choice Value;
    std::memset(&Value, 0, sizeof Value);
    Value.Third = sample<C>(6);
    const Choice Returned = callThrough(passChoice, Ty, Value);
    EXPECT_EQ(std::memcmp(&Returned, &Value, sizeof(C)), 0);
    EXPECT_EQ(std::memcmp(&SeenChoice, &Value, sizeof(C)), 0);
  }
};

template <typename... Ts> struct Triples {
  template <typename A, typename B, typename C> static void check() {
    SCOPED_TRACE(Built<A>::record()->Name + ", " + Built<B>::record()->Name + ", " +
                 Built<C>::record()->Name);
    Triple<A, B, C>::checkStructure();
    Triple<A, B, C>::checkChoice();
  }
  template <typename A, typename B> static void checkAllThird() { (check<A, B, Ts>(), ...); }
  template <typename A> static void checkAllSecond() { (checkAllThird<A, Ts>(), ...); }
  static void checkAll() { (checkAllSecond<Ts>(), ...); }
};

TEST(CompoundTypes, AreLaidOutAndPassedAsTheCompilerDoes) {
  Triples<int8_t, uint16_t, int32_t, uint64_t, float, double, char *>::checkAll();
}

TEST(CompoundTypes, ArePassedInsideUnions) {
  StructType Floats("Floats");
  for (const char *Name : {"First", "Second", "Third"})
    Floats.addField(Name, &RealType::s_FloatTy, "");
  UnionType Ty("U");
  Ty.addField("Int", &IntegerType::s_I32Ty, "");
  Ty.addField("Floats", &Floats, "");
  union Choice {
    int32_t Int;
    float Floats[3];
  };
  const Choice Value = {.Floats = {1.5f, 2.5f, 3.5f}};
  const auto Pass = [](Choice Given) { return Given; };
  const Choice Returned = Triple<float, float, float>::callThrough<Choice>(Pass, Ty, Value);
  EXPECT_THAT(Returned.Floats, ::testing::ElementsAre(1.5f, 2.5f, 3.5f))
      << "the first two in an integer register, the third in one of real numbers";

  StructType Bytes("Bytes");
  for (int Index = 0; Index < 11; ++Index)
    Bytes.addField("", &IntegerType::s_I8Ty, "");
  Ty.addField("Bytes", &Bytes, "");
  EXPECT_EQ(Ty.getSize(), 12u);
  UnionType Odd("Odd");
  Odd.addField("Int", &IntegerType::s_I32Ty, "");
  Odd.addField("Bytes", &Bytes, "");
  EXPECT_EQ(Odd.getSize(), 11u);
}

TEST(CompoundTypes, AreAlignedAsTheirFirstField) {
  const Type *Fields[] = {&IntegerType::s_I8Ty, &IntegerType::s_I32Ty};
  const std::unique_ptr<StructType> Ty(orvy_typesysRegisterStruct("S", 2, Fields));
  EXPECT_EQ(Ty->getFields()[1].Offset, 4u);
  EXPECT_EQ(Ty->getFields()[1].Name, "");
  EXPECT_EQ(Ty->getAlignment(), 1u);
  EXPECT_EQ(Ty->getSize(), 8u);
  Ty->addField("Inner", &VoidType::s_VoidTy, "");
  EXPECT_EQ(Ty->getSize(), 8u);
  EXPECT_EQ(StructType("empty").getSize(), 0u);
  EXPECT_DEATH(Ty->computeOffset(3), "internal error");
}

TEST(Views, ReadFields) {
  struct Inner {
    int16_t Value;
    int16_t Next;
  };
  struct {
    int64_t Wide;
    int8_t Small;
    Inner Deep;
    double Real;
  } Data = {-5, -3, {-2, 9}, 1.5};
  StructType InnerTy("Inner");
  InnerTy.addField("Value", &IntegerType::s_I16Ty, "");
  InnerTy.addField("Next", &IntegerType::s_I16Ty, "");
  StructType Ty("Outer");
  Ty.addField("Wide", &IntegerType::s_I64Ty, "");
  Ty.addField("Small", &IntegerType::s_I8Ty, "");
  Ty.addField("Deep", &InnerTy, "");
  Ty.addField("Real", &RealType::s_DoubleTy, "");
  ASSERT_EQ(Ty.getSize(), sizeof Data);
  const Struct View("outer", &Ty, &Data);
  EXPECT_EQ(View.getSigned("Wide"), -5);
  EXPECT_EQ(View.getSigned("Small"), -3);
  EXPECT_EQ(View.getUnsigned("Small"), 0xfdu);
  EXPECT_EQ(View.getStruct("Deep").Name, "Deep");
  EXPECT_EQ(View.getStruct("Deep").getSigned("Value"), -2);
  EXPECT_EQ(View.getStruct("Deep").getUnsigned("Next"), 9u);
  EXPECT_EQ(asYAML(&InnerTy, &Data.Deep), "{Value : \nNext : \n}");
  EXPECT_DEATH(View.getUnsigned("Real"), "not an integer");
  EXPECT_DEATH(View.getSigned("Deep"), "not an integer");
  EXPECT_DEATH(View.getStruct("Small"), "not a struct");
  EXPECT_DEATH(View.getSigned("None"), "internal error");
}

TEST(Enumerations, PairNamesAndValues) {
  EnumType Ty("E", 16);
  Ty.addEnumerator("One", 1);
  Ty.addEnumerator("Minus", -2);
  EXPECT_EQ(Ty.getSize(), 2u);
  EXPECT_EQ(Ty.getBits(), 16u);
  EXPECT_STREQ(Ty.getNameForValue(1), "One");
  EXPECT_STREQ(Ty.getNameForValue(static_cast<unsigned long>(-2)), "Minus");
  EXPECT_EQ(Ty.getNameForValue(3), nullptr);
  EXPECT_EQ(Ty.getValueForName("Minus"), -2);
  EXPECT_EQ(Ty.getValueForName("None"), -1);
  Ty.addEnumerator("Uno", 1);
  EXPECT_EQ(Ty.getValueForName("One"), -1);
  EXPECT_STREQ(Ty.getNameForValue(1), "Uno");
  Ty.addEnumerator("Uno", 7);
  EXPECT_EQ(Ty.getNameForValue(1), nullptr);
}

// Calls.

template <typename T> T echo(T Value) {
  return Value;
}

template <typename T> void expectEcho(orvy_BuiltInType Which, T Value) {
  const Type *Ty = builtIn(Which);
  FunctionType Signature(Ty);
  Signature.addArg(Ty);
  const Function Callee("echo", &Signature, reinterpret_cast<void *>(echo<T>));
  orvy_Propval Inline = {};
  Inline.Typ = ovTY_U64;
  std::memcpy(&Inline.u64, &Value, sizeof Value);
  for (const Argument &Arg : {Argument::at(Ty, &Value), Argument::of(Ty, Inline)}) {
    alignas(8) unsigned char Result[8];
    FFIAdapter::call(Callee, {Arg}, Result);
    T Returned;
    std::memcpy(&Returned, Result, sizeof Returned);
    EXPECT_EQ(Returned, Value) << Ty->Name;
  }
}

TEST(Calls, TakeAndReturnEveryBuiltInType) {
  expectEcho<char>(ovBT_Char, -3);
  expectEcho<unsigned char>(ovBT_UChar, 200);
  expectEcho<short>(ovBT_Short, -30000);
  expectEcho<unsigned short>(ovBT_UShort, 60000);
  expectEcho<int>(ovBT_Int, -2000000000);
  expectEcho<unsigned>(ovBT_UInt, 4000000000u);
  expectEcho<long>(ovBT_Long, -5000000000);
  expectEcho<unsigned long>(ovBT_ULong, UINT64_MAX - 1);
  expectEcho<intptr_t>(ovBT_Intptr, -7);
  expectEcho<uintptr_t>(ovBT_Uintptr, 7);
  expectEcho<int8_t>(ovBT_I8, -128);
  expectEcho<uint8_t>(ovBT_U8, 255);
  expectEcho<int16_t>(ovBT_I16, -1);
  expectEcho<uint16_t>(ovBT_U16, 65535);
  expectEcho<int32_t>(ovBT_I32, -1);
  expectEcho<uint32_t>(ovBT_U32, 0x80000000);
  expectEcho<int64_t>(ovBT_I64, INT64_MIN);
  expectEcho<uint64_t>(ovBT_U64, UINT64_MAX);
  expectEcho<float>(ovBT_Float, -1.25f);
  expectEcho<double>(ovBT_Double, 1e300);
}

int Count = 0;
void countUp() {
  ++Count;
}
struct Large {
  uint64_t Words[9];
};
Large makeLarge(int Seed) {
  Count = Seed;
  return {};
}

TEST(Calls, DropWhatIsReturnedHoweverLarge) {
  FunctionType Nothing(builtIn(ovBT_Void));
  Function("countUp", &Nothing, reinterpret_cast<void *>(countUp)).call({});
  EXPECT_EQ(Count, 1);

  StructType LargeTy("Large");
  for (int Index = 0; Index < 9; ++Index)
    LargeTy.addField("", builtIn(ovBT_U64), "");
  FunctionType Signature(&LargeTy);
  Signature.addArg(builtIn(ovBT_Int));
  orvy_Propval Seed = {};
  Seed.Typ = ovTY_I32;
  Seed.i32 = 5;
  Function("makeLarge", &Signature, reinterpret_cast<void *>(makeLarge))
      .call({Argument::of(builtIn(ovBT_Int), Seed)});
  EXPECT_EQ(Count, 5);
}

std::string print(const char *Format, const std::vector<Argument> &More) {
  const Type *Fixed[] = {&PointerType::s_CharPtrTy, builtIn(ovBT_ULong), &PointerType::s_CharPtrTy};
  const std::unique_ptr<FunctionType> Signature(
      orvy_typesysRegisterVariadicFunc("snprintf", builtIn(ovBT_Int), 3, Fixed));
  char Text[64] = "untouched";
  char *Place = Text;
  const size_t Size = sizeof Text;
  std::vector<Argument> Args = {Argument::at(Fixed[0], &Place), Argument::at(Fixed[1], &Size),
                                Argument::at(Fixed[2], &Format)};
  Args.insert(Args.end(), More.begin(), More.end());
  Function("snprintf", Signature.get(), reinterpret_cast<void *>(std::snprintf)).call(Args);
  return Text;
}

TEST(Calls, OfVariadicFunctions) {
  const int Int = -7;
  const double Double = 2.5;
  const char *Text = "text";
  const uint64_t Long = UINT64_MAX;
  const float Float = 1;
  const Argument IntArg = Argument::at(builtIn(ovBT_Int), &Int);
  const Argument DoubleArg = Argument::at(builtIn(ovBT_Double), &Double);
  EXPECT_EQ(print("plain", {}), "plain");
  EXPECT_EQ(print("%d %.2f", {IntArg, DoubleArg}), "-7 2.50");
  EXPECT_EQ(
      print("%s %lu %d %g %d", {Argument::at(&PointerType::s_CharPtrTy, &Text),
                                Argument::at(builtIn(ovBT_U64), &Long), IntArg, DoubleArg, IntArg}),
      "text 18446744073709551615 -7 2.5 -7");
  EXPECT_EQ(errorsOf([&] {
              EXPECT_EQ(print("%g", {Argument::at(builtIn(ovBT_Float), &Float)}), "untouched");
            }),
            "ffi_prep_cif_var(): invalid types\n")
      << "C promotes what is behind the fixed arguments, and so must the caller";
}

TEST(Functions, AreNamedByTheirTypes) {
  const Type *Args[] = {builtIn(ovBT_Int), &PointerType::s_CharPtrTy};
  const std::unique_ptr<FunctionType> Ty(
      orvy_typesysRegisterFunc("f", builtIn(ovBT_Void), 2, Args));
  EXPECT_EQ(Ty->Name, "void (*)(int,*char)");
  EXPECT_FALSE(Ty->isVariadic());
  EXPECT_EQ(Ty->getSize(), 8u);
  const std::unique_ptr<PointerType> Pointer(orvy_typesysGetPointerMetaType(Ty.get()));
  EXPECT_EQ(Pointer->Name, "*void (*)(int,*char)");
  EXPECT_EQ(Pointer->getPointee(), Ty.get());
  EXPECT_NE(Pointer.get(),
            std::unique_ptr<PointerType>(orvy_typesysGetPointerMetaType(Ty.get())).get());
  EXPECT_EQ(FunctionType(builtIn(ovBT_Int)).Name, "int (*)()");
}

TEST(Functions, ThatLibffiDoesNotTakeCannotBeCalled) {
  FunctionType Ty(builtIn(ovBT_Void));
  const StructType Empty("empty");
  EXPECT_EQ(errorsOf([&] { Ty.addArg(builtIn(ovBT_Void)); }), "ffi_prep_cif(): invalid types\n");
  EXPECT_EQ(errorsOf([&] { FunctionType(&Empty).addArg(builtIn(ovBT_Int)); }),
            "ffi_prep_cif(): invalid types\nffi_prep_cif(): invalid types\n");
  EXPECT_DEATH(Function("f", &Ty, nullptr).call({Argument::at(builtIn(ovBT_Int), &Ty)}),
               "internal error");
  FunctionType Good(builtIn(ovBT_Void));
  EXPECT_DEATH(Function("f", &Good, nullptr).call({Argument::at(builtIn(ovBT_Int), &Ty)}),
               "internal error");
  orvy_Propval Wide = {};
  Wide.Typ = ovTY_Buffer;
  EXPECT_DEATH(Argument::of(builtIn(ovBT_Int), Wide), "internal error");
}

} // namespace
