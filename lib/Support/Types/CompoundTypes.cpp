#include "orvy/Support/TypeSystem.h"

#include "Base/InternalError.h"
#include "Types/ForeignTypes.h"

#include <algorithm>
#include <bit>
#include <cstring>

using namespace orvy;

// Enumerations.

EnumType::EnumType(const char *Name, uint64_t Bits)
    : Type(Enum, Name, ""), Bits(Bits), Size(Bits / 8), Alignment(Bits / 8),
      FFIType(describeInteger(Bits, IntegerType::SignedInteger)) {}

uint64_t EnumType::getBits() const {
  return Bits;
}

const char *EnumType::getNameForValue(unsigned long Value) const {
  const std::string *Found = Enumerators.findKey(static_cast<long>(Value));
  return Found ? Found->c_str() : nullptr;
}

long EnumType::getValueForName(const char *Name) const {
  const long *Found = Enumerators.findValue(Name);
  return Found ? *Found : -1;
}

void EnumType::addEnumerator(const char *Name, long Value) {
  Enumerators.insert(Name, Value);
}

// Structures.

// The type of no value takes no room anywhere.
static uint64_t alignmentOf(const Type &Ty) {
  return std::max<uint64_t>(Ty.getAlignment(), 1);
}

static uint64_t roundUp(uint64_t Value, uint64_t Alignment) {
  return (Value + Alignment - 1) & ~(Alignment - 1);
}

static uint64_t endOf(const Field &Each) {
  return Each.Offset + Each.Ty->getSize();
}

static std::vector<ffi_type *> describe(const std::vector<Field> &Fields) {
  std::vector<ffi_type *> Types;
  Types.reserve(Fields.size());
  for (const Field &Each : Fields)
    Types.push_back(Each.Ty->getFFIType());
  return Types;
}

StructType::StructType(const char *Name)
    : Type(Type::Struct, Name, ""), Description(std::make_unique<ClosedType>()) {}
StructType::~StructType() = default;

ffi_type *StructType::getFFIType() const {
  return &Description->Description;
}

uint64_t StructType::getSize() const {
  return Fields.empty() ? 0 : roundUp(endOf(Fields.back()), Alignment);
}

void StructType::addField(const char *Name, const Type *Ty, const char *Doc) {
  ORVY_REQUIRE(Ty && Ty != this);
  if (Fields.empty())
    Alignment = alignmentOf(*Ty);
  Fields.push_back({Name, Ty, 0, Doc});
  Fields.back().Offset = computeOffset(Fields.size() - 1);
  Description->setElements(describe(Fields));
}

void StructType::addField(const char *Name, std::unique_ptr<Type> Ty, const char *Doc) {
  addField(Name, Ty.get(), Doc);
  OwnTypes.push_back(std::move(Ty));
}

const Field *StructType::findField(const char *Name) const {
  const auto Found = std::find_if(Fields.begin(), Fields.end(),
                                  [Name](const Field &Each) { return Each.Name == Name; });
  return Found == Fields.end() ? nullptr : &*Found;
}

// Those before it have their offsets already.
uint64_t StructType::computeOffset(size_t Index) const {
  ORVY_REQUIRE(Index < Fields.size());
  return Index == 0 ? 0 : roundUp(endOf(Fields[Index - 1]), alignmentOf(*Fields[Index].Ty));
}

// Unions.

// The fields of a compound type, null for any other.
static const std::vector<Field> *fieldsOf(const Type &Ty) {
  if (Ty.Kind == Type::Struct)
    return &static_cast<const StructType &>(Ty).getFields();
  return Ty.Kind == Type::Union ? &static_cast<const UnionType &>(Ty).getFields() : nullptr;
}

// Whether something else than a real number lies in a range of a type.
static bool holdsInteger(const Type &Ty, uint64_t From, uint64_t To, uint64_t At = 0) {
  const std::vector<Field> *Fields = fieldsOf(Ty);
  if (!Fields)
    return Ty.Kind != Type::Real && At < To && At + Ty.getSize() > From;
  return std::any_of(Fields->begin(), Fields->end(), [&](const Field &Each) {
    return holdsInteger(*Each.Ty, From, To, At + Each.Offset);
  });
}

// libffi knows no unions: it gets a structure that travels in the same registers, by eight bytes at
// a time, which are integers if any integer lies in them (System V ABI, AMD64, 3.2.3).
static std::vector<ffi_type *> describeUnion(const UnionType &Ty) {
  std::vector<ffi_type *> Types;
  for (uint64_t From = 0; From < Ty.getSize(); From += 8) {
    const uint64_t Bytes = std::min<uint64_t>(Ty.getSize() - From, 8);
    const uint64_t Unit = std::bit_floor(std::min(Ty.getAlignment(), Bytes));
    ffi_type *Piece = Unit == 8 ? &ffi_type_double : &ffi_type_float;
    if (holdsInteger(Ty, From, From + Bytes))
      Piece = describeInteger(Unit * 8, IntegerType::UnsignedInteger);
    Types.insert(Types.end(), roundUp(Bytes, Unit) / Unit, Piece);
  }
  return Types;
}

UnionType::UnionType(const char *Name)
    : Type(Type::Union, Name, ""), Description(std::make_unique<ClosedType>()) {}
UnionType::~UnionType() = default;

ffi_type *UnionType::getFFIType() const {
  return &Description->Description;
}

void UnionType::addField(const char *Name, const Type *Ty, const char *Doc) {
  ORVY_REQUIRE(Ty && Ty != this);
  Fields.push_back({Name, Ty, 0, Doc});
  Alignment = std::max(Alignment, alignmentOf(*Ty));
  Size = std::max(Size, Ty->getSize());
  Description->setElements(describeUnion(*this));
}

// Views.

static const Field &fieldOf(const StructType &Ty, const char *Name) {
  const Field *Found = Ty.findField(Name);
  ORVY_REQUIRE(Found);
  return *Found;
}

static void *placeOf(const Field &Each, void *Data) {
  return static_cast<unsigned char *>(Data) + Each.Offset;
}

uint64_t Struct::getUnsigned(const char *Name) const {
  const Field &Wanted = fieldOf(*Ty, Name);
  if (Wanted.Ty->Kind != Type::Integer || Wanted.Ty->getSize() > sizeof(uint64_t))
    ORVY_INTERNAL_ERROR("not an integer");
  uint64_t Value = 0;
  std::memcpy(&Value, placeOf(Wanted, Data), Wanted.Ty->getSize());
  return Value;
}

int64_t Struct::getSigned(const char *Name) const {
  const uint64_t Value = getUnsigned(Name);
  const uint64_t Unused = 64 - 8 * fieldOf(*Ty, Name).Ty->getSize();
  return static_cast<int64_t>(Value << Unused) >> Unused;
}

Struct Struct::getStruct(const char *Name) const {
  const Field &Wanted = fieldOf(*Ty, Name);
  if (Wanted.Ty->Kind != Type::Struct)
    ORVY_INTERNAL_ERROR("not a struct");
  return {Name, static_cast<const StructType *>(Wanted.Ty), placeOf(Wanted, Data)};
}

std::string orvy::asYAML(const StructType *Ty, const void *) {
  std::string Text = "{";
  for (const Field &Each : Ty->getFields())
    Text += Each.Name + " : \n";
  return Text + "}";
}

// The flat interface.

orvy_StructMetaType *orvy_typesysRegisterStruct(const char *Name, size_t Count,
                                                const orvy_MetaType *const *Types) {
  auto Made = std::make_unique<StructType>(Name);
  for (size_t Index = 0; Index < Count; ++Index)
    Made->addField("", Types[Index], "");
  return Made.release();
}
