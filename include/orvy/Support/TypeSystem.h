// TypeSystem.h - records that describe types: names, sizes, alignments.
//
// The built-in records exist from library load until exit and may be read on any thread.

#ifndef ORVY_SUPPORT_TYPESYSTEM_H
#define ORVY_SUPPORT_TYPESYSTEM_H

#include "orvy/Support/Export.h"

#include <string>

struct _ffi_type;

namespace orvy {

class Function;

/// Description of a type.
class ORVY_API Type {
public:
  enum TypeKind : uint32_t {
    Void = 0,
    Integer = 1,
    Real = 2,
    Enum = 3,
    Pointer = 4,
    Struct = 5,
    Function = 8,
    Union = 10
  };

  Type(const Type &) = delete;
  Type &operator=(const Type &) = delete;

  virtual bool isBool() const;
  virtual bool isVoid() const;
  /// The description that libffi needs.
  virtual _ffi_type *getFFIType() const = 0;
  /// Both in bytes.
  virtual uint64_t getSize() const = 0;
  virtual uint64_t getAlignment() const = 0;
  virtual ~Type();

  orvy::Function *Create = nullptr; ///< of native classes alone, as Dispose
  orvy::Function *Dispose = nullptr;
  std::string Name;
  std::string Doc;
  const TypeKind Kind;

protected:
  Type(TypeKind Kind, std::string Name, std::string Doc);
};

/// The type of no value.
class ORVY_API VoidType final : public Type {
public:
  VoidType();
  bool isVoid() const override;
  _ffi_type *getFFIType() const override;
  uint64_t getSize() const override { return 0; }
  uint64_t getAlignment() const override { return 0; }

  static const VoidType s_VoidTy;
};

/// An integer.
class ORVY_API IntegerType : public Type {
public:
  enum Signedness { SignedInteger, UnsignedInteger };

  IntegerType(const char *Name, const char *Doc, uint64_t Bits, Signedness Sign);
  ~IntegerType() override;
  bool isBool() const override;
  _ffi_type *getFFIType() const override { return FFIType; }
  uint64_t getSize() const override { return Size; }
  uint64_t getAlignment() const override { return Alignment; }
  uint64_t getBits() const { return Bits; }
  bool isSigned() const { return Signed; }

  static const IntegerType s_IPtrTy;
  static const IntegerType s_UPtrTy;
  static const IntegerType s_I8Ty;
  static const IntegerType s_I16Ty;
  static const IntegerType s_I32Ty;
  static const IntegerType s_I64Ty;
  static const IntegerType s_U8Ty;
  static const IntegerType s_U16Ty;
  static const IntegerType s_U32Ty;
  static const IntegerType s_U64Ty;
  static const IntegerType s_BoolTy;
  static const IntegerType s_CharTy;
  static const IntegerType s_UCharTy;
  static const IntegerType s_ShortTy;
  static const IntegerType s_UShortTy;
  static const IntegerType s_IntTy;
  static const IntegerType s_UIntTy;
  static const IntegerType s_LongTy;
  static const IntegerType s_ULongTy;

private:
  uint64_t Bits;
  uint64_t Size;
  uint64_t Alignment;
  bool Signed;
  _ffi_type *FFIType;
};

/// A floating-point number.
class ORVY_API RealType final : public Type {
public:
  RealType(const char *Name, uint64_t Bits);
  _ffi_type *getFFIType() const override { return FFIType; }
  uint64_t getSize() const override { return Size; }
  uint64_t getAlignment() const override { return Alignment; }

  static const RealType s_FloatTy;
  static const RealType s_DoubleTy;

private:
  uint64_t Bits;
  uint64_t Size;
  uint64_t Alignment;
  _ffi_type *FFIType;
};

} // namespace orvy

#endif
