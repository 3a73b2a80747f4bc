#include "orvy/Support/TypeSystem.h"

#include "Base/InternalError.h"
#include "Types/ForeignTypes.h"

#include <iterator>
#include <utility>

using namespace orvy;

ffi_type *orvy::describeInteger(uint64_t Bits, IntegerType::Signedness Sign) {
  const bool Signed = Sign == IntegerType::SignedInteger;
  switch (Bits) {
  case 8:
    return Signed ? &ffi_type_sint8 : &ffi_type_uint8;
  case 16:
    return Signed ? &ffi_type_sint16 : &ffi_type_uint16;
  case 32:
    return Signed ? &ffi_type_sint32 : &ffi_type_uint32;
  case 64:
    return Signed ? &ffi_type_sint64 : &ffi_type_uint64;
  }
  ORVY_INTERNAL_ERROR("no integer has this width");
}

Type::Type(TypeKind Kind, std::string Name, std::string Doc)
    : Name(std::move(Name)), Doc(std::move(Doc)), Kind(Kind) {}
Type::~Type() = default;

bool Type::isBool() const {
  return false;
}

bool Type::isVoid() const {
  return false;
}

VoidType::VoidType() : Type(Void, "void", "") {}

bool VoidType::isVoid() const {
  return true;
}

ffi_type *VoidType::getFFIType() const {
  return &ffi_type_void;
}

IntegerType::IntegerType(const char *Name, const char *Doc, uint64_t Bits, Signedness Sign)
    : Type(Integer, Name, Doc), Bits(Bits), Size(Bits / 8), Alignment(Bits / 8),
      Signed(Sign == SignedInteger), FFIType(describeInteger(Bits, Sign)) {}
IntegerType::~IntegerType() = default;

bool IntegerType::isBool() const {
  return this == &s_BoolTy;
}

RealType::RealType(const char *Name, uint64_t Bits)
    : Type(Real, Name, ""), Bits(Bits), Size(Bits / 8), Alignment(Bits / 8),
      FFIType(Bits == 32 ? &ffi_type_float : &ffi_type_double) {}

PointerType::PointerType(const Type *Pointee)
    : Type(Pointer, "*" + Pointee->Name, ""), Pointee(Pointee), FFIType(&ffi_type_pointer) {}

// The built-in records.

const VoidType VoidType::s_VoidTy;

#define ORVY_INTEGER(Member, Name, Doc, Bits, Sign)                                                \
  const IntegerType IntegerType::Member(Name, Doc, Bits, Sign##Integer)
ORVY_INTEGER(s_IPtrTy, "intptr_t", "signed pointer sized integer", 64, Signed);
ORVY_INTEGER(s_UPtrTy, "uintptr_t", "unsigned pointer sized integer", 64, Unsigned);
ORVY_INTEGER(s_I8Ty, "int8_t", "signed 8 bit integer", 8, Signed);
ORVY_INTEGER(s_I16Ty, "int16_t", "signed 16 bit integer", 16, Signed);
ORVY_INTEGER(s_I32Ty, "int32_t", "signed 32 bit integer", 32, Signed);
ORVY_INTEGER(s_I64Ty, "int64_t", "signed 64 bit integer", 64, Signed);
ORVY_INTEGER(s_U8Ty, "uint8_t", "unsigned 8 bit integer", 8, Unsigned);
ORVY_INTEGER(s_U16Ty, "uint16_t", "unsigned 16 bit integer", 16, Unsigned);
ORVY_INTEGER(s_U32Ty, "uint32_t", "unsigned 32 bit integer", 32, Unsigned);
ORVY_INTEGER(s_U64Ty, "uint64_t", "unsigned 64 bit integer", 64, Unsigned);
ORVY_INTEGER(s_BoolTy, "bool", "truth value of C++", 8, Unsigned);
ORVY_INTEGER(s_CharTy, "char", "character of C", 8, Signed);
ORVY_INTEGER(s_UCharTy, "unsigned char", "unsigned character of C", 8, Unsigned);
ORVY_INTEGER(s_ShortTy, "short", "short integer of C", 16, Signed);
ORVY_INTEGER(s_UShortTy, "unsigned short", "unsigned short integer of C", 16, Unsigned);
ORVY_INTEGER(s_IntTy, "int", "integer of C", 32, Signed);
ORVY_INTEGER(s_UIntTy, "unsigned int", "unsigned integer of C", 32, Unsigned);
ORVY_INTEGER(s_LongTy, "long", "long integer of C", 64, Signed);
ORVY_INTEGER(s_ULongTy, "unsigned long", "unsigned long integer of C", 64, Unsigned);
#undef ORVY_INTEGER

const RealType RealType::s_FloatTy("float", 32);
const RealType RealType::s_DoubleTy("double", 64);

const PointerType PointerType::s_CharPtrTy(&IntegerType::s_CharTy);
const PointerType PointerType::s_VoidPtrTy(&VoidType::s_VoidTy);

// The flat interface.

const orvy_MetaType *orvy_typesysGetBuiltIn(orvy_BuiltInType Which) {
  static const Type *const BuiltIns[] = {
      &VoidType::s_VoidTy,     &IntegerType::s_CharTy,   &IntegerType::s_UCharTy,
      &IntegerType::s_ShortTy, &IntegerType::s_UShortTy, &IntegerType::s_IntTy,
      &IntegerType::s_UIntTy,  &IntegerType::s_LongTy,   &IntegerType::s_ULongTy,
      &IntegerType::s_IPtrTy,  &IntegerType::s_UPtrTy,   &IntegerType::s_I8Ty,
      &IntegerType::s_U8Ty,    &IntegerType::s_I16Ty,    &IntegerType::s_U16Ty,
      &IntegerType::s_I32Ty,   &IntegerType::s_U32Ty,    &IntegerType::s_I64Ty,
      &IntegerType::s_U64Ty,   &RealType::s_FloatTy,     &RealType::s_DoubleTy,
  };
  ORVY_REQUIRE(Which < std::size(BuiltIns));
  return BuiltIns[Which];
}

orvy_PointerMetaType *orvy_typesysGetPointerMetaType(const orvy_MetaType *Pointee) {
  return new PointerType(Pointee);
}
