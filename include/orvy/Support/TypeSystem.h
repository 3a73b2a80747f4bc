/* TypeSystem.h - records that describe types, and calls of functions described by them.
 *
 * The built-in records exist from library load until exit. What a function returns as new is the
 * caller's, who usually keeps it for the whole run; records refer to each other, so none may go
 * before those made of it. A record may be read on any thread once it is complete; making and
 * changing records belongs to the thread that loads plug-ins. */

#ifndef ORVY_SUPPORT_TYPESYSTEM_H
#define ORVY_SUPPORT_TYPESYSTEM_H

#include "orvy/Support/Export.h"
#include "orvy/Support/Types.h"

#ifdef __cplusplus
namespace orvy {
class Type;
class PointerType;
class FunctionType;
class StructType;
} // namespace orvy
typedef orvy::Type orvy_MetaType;
typedef orvy::PointerType orvy_PointerMetaType;
typedef orvy::FunctionType orvy_FuncMetaType;
typedef orvy::StructType orvy_StructMetaType;
#else
/** Opaque description of a type. */
typedef struct orvy_MetaType orvy_MetaType;
typedef orvy_MetaType orvy_PointerMetaType;
typedef orvy_MetaType orvy_FuncMetaType;
typedef orvy_MetaType orvy_StructMetaType;
#endif

ORVY_BEGIN_C

/** The built-in types most in use. */
typedef ORVY_ENUM(orvy_BuiltInType){
    ovBT_Void = 0,     ovBT_Char = 1, ovBT_UChar = 2, ovBT_Short = 3, ovBT_UShort = 4,
    ovBT_Int = 5,      ovBT_UInt = 6, ovBT_Long = 7,  ovBT_ULong = 8, ovBT_Intptr = 9,
    ovBT_Uintptr = 10, ovBT_I8 = 11,  ovBT_U8 = 12,   ovBT_I16 = 13,  ovBT_U16 = 14,
    ovBT_I32 = 15,     ovBT_U32 = 16, ovBT_I64 = 17,  ovBT_U64 = 18,  ovBT_Float = 19,
    ovBT_Double = 20} orvy_BuiltInType;
ORVY_STATIC_ASSERT(sizeof(orvy_BuiltInType) == 4, "boundary enumeration");

/** The record of a built-in type, the library's own. Any other value is an internal error. */
ORVY_API const orvy_MetaType *orvy_typesysGetBuiltIn(orvy_BuiltInType Which);
/** A new record of the pointers to a type, the caller's; each call makes another one. */
ORVY_API orvy_PointerMetaType *orvy_typesysGetPointerMetaType(const orvy_MetaType *Pointee);
/**
 * A new record of the functions of a signature, called as "return (*)(arguments)".
 * @param Name   not kept
 * @param Count  number of arguments in Types
 */
ORVY_API orvy_FuncMetaType *orvy_typesysRegisterFunc(const char *Name, const orvy_MetaType *Ret,
                                                     size_t Count,
                                                     const orvy_MetaType *const *Types);
/** As orvy_typesysRegisterFunc, for functions that take more arguments after those in Types. */
ORVY_API orvy_FuncMetaType *orvy_typesysRegisterVariadicFunc(const char *Name,
                                                             const orvy_MetaType *Ret, size_t Count,
                                                             const orvy_MetaType *const *Types);
/** A new record, the caller's, of a structure whose fields, in order, have these types and empty
 * names. Count is the number of types. */
ORVY_API orvy_StructMetaType *orvy_typesysRegisterStruct(const char *Name, size_t Count,
                                                         const orvy_MetaType *const *Types);
/** Makes sure that the records of the object system's own types exist. May be called again. */
ORVY_API void orvy_typesystemInitOrvyTypes(void);

ORVY_END_C

#ifdef __cplusplus

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct _ffi_type;

namespace orvy {

class Function;
struct ClosedType; // a description for libffi with its elements

/// Pairs of keys and values, each found by the other. Both are unique.
template <typename K, typename V> class bimap {
public:
  /// Enters a pair in place of those that either was in.
  void insert(const K &Key, const V &Value) {
    erase(Key);
    if (const K *Former = findKey(Value))
      erase(K(*Former));
    ByKey.emplace(Key, Value);
    ByValue.emplace(Value, Key);
  }
  /// Removes the pair of a key, if there is one.
  void erase(const K &Key) {
    const auto Found = ByKey.find(Key);
    if (Found == ByKey.end())
      return;
    ByValue.erase(Found->second);
    ByKey.erase(Found);
  }
  /// The partner; null if there is none. Valid until the pair goes.
  template <typename Like> const V *findValue(const Like &Key) const {
    const auto Found = ByKey.find(Key);
    return Found == ByKey.end() ? nullptr : &Found->second;
  }
  template <typename Like> const K *findKey(const Like &Value) const {
    const auto Found = ByValue.find(Value);
    return Found == ByValue.end() ? nullptr : &Found->second;
  }
  size_t size() const { return ByKey.size(); }

private:
  std::map<K, V, std::less<>> ByKey;
  std::map<V, K, std::less<>> ByValue;
};

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

  /// Of 8, 16, 32 or 64 bits.
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

/// Some bits of an integer.
class ORVY_API BitFieldType final : public IntegerType {
public:
  using IntegerType::IntegerType;
};

/// A floating-point number.
class ORVY_API RealType final : public Type {
public:
  /// Of 32 or 64 bits.
  RealType(const char *Name, uint64_t Bits);
  _ffi_type *getFFIType() const override { return FFIType; }
  uint64_t getSize() const override { return Size; }
  uint64_t getAlignment() const override { return Alignment; }
  uint64_t getBits() const { return Bits; }

  static const RealType s_FloatTy;
  static const RealType s_DoubleTy;

private:
  uint64_t Bits;
  uint64_t Size;
  uint64_t Alignment;
  _ffi_type *FFIType;
};

/// An enumeration, which is a signed integer underneath.
class ORVY_API EnumType final : public Type {
public:
  /// Of 8, 16, 32 or 64 bits.
  EnumType(const char *Name, uint64_t Bits);
  _ffi_type *getFFIType() const override { return FFIType; }
  uint64_t getSize() const override { return Size; }
  uint64_t getAlignment() const override { return Alignment; }
  virtual uint64_t getBits() const;
  /// Null for a value without a name.
  virtual const char *getNameForValue(unsigned long Value) const;
  /// -1 for a name that is not there.
  virtual long getValueForName(const char *Name) const;
  /// Enters a pair in place of those that either was in.
  virtual void addEnumerator(const char *Name, long Value);

private:
  uint64_t Bits;
  uint64_t Size;
  uint64_t Alignment;
  _ffi_type *FFIType;
  bimap<std::string, long> Enumerators;
};

/// A pointer, named "*" and the name of what it points to.
class ORVY_API PointerType final : public Type {
public:
  explicit PointerType(const Type *Pointee);
  _ffi_type *getFFIType() const override { return FFIType; }
  uint64_t getSize() const override { return sizeof(void *); }
  uint64_t getAlignment() const override { return alignof(void *); }
  const Type *getPointee() const { return Pointee; }

  static const PointerType s_CharPtrTy;
  static const PointerType s_VoidPtrTy;

private:
  const Type *Pointee;
  _ffi_type *FFIType;
};

/// A field of a structure or a union.
struct Field {
  std::string Name;
  const Type *Ty;
  uint64_t Offset; ///< in bytes
  std::string Doc;
};

/// A structure. Each field lies after the one before, at the next multiple of its own alignment.
/// The structure is aligned as its first field, and its size is a multiple of that: where a later
/// field has a greater alignment, a compiler makes the structure larger.
class ORVY_API StructType : public Type {
public:
  explicit StructType(const char *Name);
  ~StructType() override;
  _ffi_type *getFFIType() const override;
  uint64_t getSize() const override;
  uint64_t getAlignment() const override { return Alignment; }

  /// Adds a field at the end. Its type must be complete and must outlive the structure.
  void addField(const char *Name, const Type *Ty, const char *Doc);
  /// Adds a field whose type dies with the structure.
  void addField(const char *Name, std::unique_ptr<Type> Ty, const char *Doc);
  const std::vector<Field> &getFields() const { return Fields; }
  /// The first field of a name, null if there is none. A linear search.
  const Field *findField(const char *Name) const;
  /// Offset of a field, which must exist.
  uint64_t computeOffset(size_t Index) const;

private:
  std::vector<Field> Fields;
  uint64_t Alignment = 1;
  std::unique_ptr<ClosedType> Description;
  std::vector<std::unique_ptr<Type>> OwnTypes;
};

/// A union: all fields at its start, with the greatest of their sizes and alignments.
class ORVY_API UnionType final : public Type {
public:
  explicit UnionType(const char *Name);
  ~UnionType() override;
  _ffi_type *getFFIType() const override;
  uint64_t getSize() const override { return Size; }
  uint64_t getAlignment() const override { return Alignment; }

  /// Adds a field, whose type must be complete and must outlive the union.
  void addField(const char *Name, const Type *Ty, const char *Doc);
  const std::vector<Field> &getFields() const { return Fields; }

private:
  std::vector<Field> Fields;
  uint64_t Alignment = 1;
  uint64_t Size = 0;
  std::unique_ptr<ClosedType> Description;
};

/// A signature of functions.
class ORVY_API FunctionType final : public Type {
public:
  enum Arity { FixedArguments, VariadicArguments };

  explicit FunctionType(const Type *ReturnType, Arity Takes = FixedArguments);
  ~FunctionType() override;
  /// A function travels as a pointer.
  _ffi_type *getFFIType() const override;
  uint64_t getSize() const override { return sizeof(void *); }
  uint64_t getAlignment() const override { return alignof(void *); }

  /// Adds an argument at the end and prepares the call anew. What libffi does not take is reported
  /// on the error stream; such a function cannot be called.
  void addArg(const Type *Ty);
  /// "return (*)(argument,argument)".
  void recomputeName();
  const Type *getReturnType() const { return ReturnType; }
  const std::vector<const Type *> &getArgs() const { return Args; }
  bool isVariadic() const { return Variadic; }

private:
  friend class FFIAdapter;
  struct Preparation;

  ORVY_LOCAL void prepare();

  const Type *ReturnType;
  std::vector<const Type *> Args;
  std::unique_ptr<Preparation> Prepared;
  bool Variadic;
};

/// An argument of a call: the place of a value, or a value of up to eight bytes itself.
class Argument {
public:
  /// A value that lies elsewhere and must stay there during the call.
  ORVY_API static Argument at(const Type *Ty, const void *Value);
  /// A value inline. Its tag must be one of a value of at most eight bytes.
  ORVY_API static Argument of(const Type *Ty, const orvy_Propval &Value);

  const Type *getType() const { return Ty; }
  /// Where libffi finds the value.
  ORVY_API void *getValuePtr() const;

private:
  Argument(const Type *Ty, orvy_Type Tag) : Ty(Ty), Tag(Tag) {}

  const Type *Ty;
  orvy_Type Tag; // ovTY_Invalid: the slot holds the value's address
  alignas(8) unsigned char Slot[8] = {};
};

/// Calls functions of described types. Arguments must be those of the type, in number and order;
/// after the fixed ones of a variadic function any may follow, promoted as C does. On any thread.
class FFIAdapter {
public:
  /// What the function returns is dropped.
  ORVY_API static void call(const Function &Callee, const std::vector<Argument> &Args);
  /// Stores what the function returns, an integer widened to eight bytes; there must be room for
  /// that, or for a larger return type.
  ORVY_API static void call(const Function &Callee, const std::vector<Argument> &Args,
                            void *Result);
};

/// A function: its type and where its code is.
class Function {
public:
  Function(std::string Name, const FunctionType *Ty, void *Addr)
      : Name(std::move(Name)), Ty(Ty), Addr(Addr) {}
  /// As FFIAdapter::call.
  void call(const std::vector<Argument> &Args) const { FFIAdapter::call(*this, Args); }

  std::string Name;
  const FunctionType *Ty;
  void *Addr;
};

/// A typed view of memory, which must outlive it.
class Struct {
public:
  Struct(std::string Name, const StructType *Ty, void *Data)
      : Name(std::move(Name)), Ty(Ty), Data(Data) {}

  /// The value of a field, which must exist and be an integer.
  ORVY_API uint64_t getUnsigned(const char *Name) const;
  ORVY_API int64_t getSigned(const char *Name) const;
  /// A view of a field, which must exist and be a structure.
  ORVY_API Struct getStruct(const char *Name) const;

  std::string Name;
  const StructType *Ty;
  void *Data;
};

/// The names of the fields in braces; the values are not shown.
ORVY_API std::string asYAML(const StructType *Ty, const void *Data);

} // namespace orvy

#endif

#endif
