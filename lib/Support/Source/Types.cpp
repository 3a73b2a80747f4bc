#include "Source/Types.h"

#include <algorithm>

using namespace orvy::source;
using namespace orvy::dwarf;

namespace {

constexpr unsigned MaxHops = 64;     // of typedefs and qualifiers
constexpr size_t MaxMembers = 65536; // of a type
constexpr uint64_t PointerBytes = 4;

/// Encodings of base types (DWARF 5, 7.8).
enum : int64_t {
  ATE_boolean = 2,
  ATE_complex_float = 3,
  ATE_float = 4,
  ATE_signed = 5,
  ATE_signed_char = 6,
  ATE_unsigned = 7,
  ATE_unsigned_char = 8,
  ATE_utf = 16
};

bool isAlias(TypeKind Kind) {
  return Kind == TypeKind::Typedef || Kind == TypeKind::Const || Kind == TypeKind::Volatile ||
         Kind == TypeKind::Restrict || Kind == TypeKind::Atomic;
}

TypeKind kindOf(uint64_t Tag) {
  switch (Tag) {
  case DW_TAG_structure_type:
  case DW_TAG_class_type:
    return TypeKind::Structure;
  case DW_TAG_union_type:
    return TypeKind::Union;
  case DW_TAG_enumeration_type:
    return TypeKind::Enumeration;
  case DW_TAG_pointer_type:
    return TypeKind::Pointer;
  case DW_TAG_reference_type:
  case DW_TAG_rvalue_reference_type:
    return TypeKind::Reference;
  case DW_TAG_array_type:
    return TypeKind::Array;
  case DW_TAG_subroutine_type:
  case DW_TAG_subprogram:
    return TypeKind::Function;
  case DW_TAG_typedef:
    return TypeKind::Typedef;
  case DW_TAG_const_type:
    return TypeKind::Const;
  case DW_TAG_volatile_type:
    return TypeKind::Volatile;
  case DW_TAG_restrict_type:
    return TypeKind::Restrict;
  case DW_TAG_atomic_type:
    return TypeKind::Atomic;
  default:
    return TypeKind::Unknown;
  }
}

const char *tagWord(uint64_t Tag) {
  switch (Tag) {
  case DW_TAG_structure_type:
    return "struct";
  case DW_TAG_class_type:
    return "class";
  case DW_TAG_union_type:
    return "union";
  case DW_TAG_enumeration_type:
    return "enum";
  default:
    return "";
  }
}

template <typename Visitor> void forEachChild(DebugInfoEntry &Entry, Visitor Visit) {
  size_t Count = 0;
  for (auto *Child = Entry.getFirstChild(); Child && !Child->isNull() && Count < MaxMembers;
       Child = Child->getNext(), ++Count)
    Visit(*Child);
}

uint64_t unsignedOf(DebugInfoEntry &Entry, At Name, uint64_t Otherwise = 0) {
  return static_cast<uint64_t>(constantOf(Entry, Name).value_or(static_cast<int64_t>(Otherwise)));
}

} // namespace

// The table.

TypeTable::TypeTable() {
  Type &V = make(TypeKind::Void);
  V.Name = "void";
  Void = &V;
  const struct {
    const char *Name;
    TypeKind Kind;
    uint64_t Size;
    bool IsSigned;
  } Rows[] = {{"char", TypeKind::Char, 1, true},
              {"unsigned char", TypeKind::Char, 1, false},
              {"short", TypeKind::Integer, 2, true},
              {"unsigned short", TypeKind::Integer, 2, false},
              {"int", TypeKind::Integer, 4, true},
              {"unsigned int", TypeKind::Integer, 4, false},
              {"long", TypeKind::Integer, 4, true},
              {"unsigned long", TypeKind::Integer, 4, false},
              {"long long", TypeKind::Integer, 8, true},
              {"unsigned long long", TypeKind::Integer, 8, false},
              {"float", TypeKind::Real, 4, true},
              {"double", TypeKind::Real, 8, true}};
  for (const auto &Row : Rows) {
    Type &T = make(Row.Kind);
    T.Name = Row.Name;
    T.Size = Row.Size;
    T.IsSigned = Row.IsSigned;
    Numbers.emplace(Row.Name, &T);
  }
}

void TypeTable::setDefinitions(Definitions FindOne, void *Arg) {
  Find = FindOne;
  FindArg = Arg;
}

Type &TypeTable::make(TypeKind Kind) {
  Type &T = Types.emplace_back();
  T.Kind = Kind;
  T.Table = this;
  return T;
}

const Type &TypeTable::number(const char *Name) const {
  return *Numbers.at(Name);
}

const Type &TypeTable::codePointer() {
  if (!Code) {
    Type &Function = make(TypeKind::Function);
    Function.Target = Void;
    Code = &pointerTo(Function);
  }
  return *Code;
}

const Type &TypeTable::of(DebugInfoEntry *Entry) {
  if (!Entry)
    return *Void;
  if (const auto Known = ByEntry.find(Entry); Known != ByEntry.end())
    return *Known->second;
  Type &T = make(kindOf(Entry->getTag()));
  ByEntry.emplace(Entry, &T);
  describe(T, *Entry);
  return T;
}

const Type &TypeTable::pointerTo(const Type &Target) {
  const Type *&Made = Pointers[&Target];
  if (!Made) {
    Type &T = make(TypeKind::Pointer);
    T.Size = PointerBytes;
    T.Target = &Target;
    Made = &T;
  }
  return *Made;
}

const Type &TypeTable::arrayOf(const Type &Element, std::optional<uint64_t> Count) {
  Type &T = make(TypeKind::Array);
  T.Target = &Element;
  T.Count = Count;
  T.IsResolved = true;
  return T;
}

void TypeTable::describe(Type &T, DebugInfoEntry &Entry) {
  const uint64_t Tag = Entry.getTag();
  T.Entry = &Entry;
  if (const char *Name = nameOf(Entry))
    T.Name = Name;
  T.Tag = tagWord(Tag);
  T.Size = unsignedOf(Entry, DW_AT_byte_size);
  T.IsIncomplete = flagOf(Entry, DW_AT_declaration);
  if (T.IsIncomplete && Find && !T.Name.empty()) {
    DebugInfoEntry *Whole = Find(FindArg, T.Name.c_str(), Tag);
    if (Whole && Whole != &Entry) {
      T.Entry = Whole;
      T.Size = unsignedOf(*Whole, DW_AT_byte_size);
      T.IsIncomplete = false;
    }
  }
  if (Tag == DW_TAG_base_type)
    describeBase(T, Entry);
  else if (Tag == DW_TAG_unspecified_type)
    T.Kind = TypeKind::Void;
  else if (T.Kind == TypeKind::Array)
    describeArray(T, Entry, 0);
  else if (T.Kind == TypeKind::Pointer || T.Kind == TypeKind::Reference)
    T.Size = T.Size ? T.Size : PointerBytes;
  T.IsPrototyped = flagOf(Entry, DW_AT_prototyped);
}

void TypeTable::describeBase(Type &T, DebugInfoEntry &Entry) {
  switch (constantOf(Entry, DW_AT_encoding).value_or(0)) {
  case ATE_boolean:
    T.Kind = TypeKind::Bool;
    break;
  case ATE_complex_float:
    T.Kind = TypeKind::Complex;
    break;
  case ATE_float:
    T.Kind = TypeKind::Real;
    T.IsSigned = true;
    break;
  case ATE_signed:
    T.Kind = TypeKind::Integer;
    T.IsSigned = true;
    break;
  case ATE_unsigned:
    T.Kind = TypeKind::Integer;
    break;
  case ATE_signed_char:
    T.Kind = TypeKind::Char;
    T.IsSigned = true;
    break;
  case ATE_unsigned_char:
  case ATE_utf:
    T.Kind = TypeKind::Char;
    break;
  default:
    break;
  }
}

/// An entry of several dimensions is an array of arrays.
void TypeTable::describeArray(Type &T, DebugInfoEntry &Entry, size_t Level) {
  T.Entry = &Entry;
  T.ArrayLevel = Level;
  T.IsVector = Level == 0 && Entry.find(DW_AT_GNU_vector);
  size_t Dimension = 0;
  forEachChild(Entry, [&](DebugInfoEntry &Range) {
    if (Range.getTag() != DW_TAG_subrange_type || Dimension++ != Level)
      return;
    T.LowerBound = unsignedOf(Range, DW_AT_lower_bound);
    if (const auto Count = constantOf(Range, DW_AT_count))
      T.Count = static_cast<uint64_t>(*Count);
    else if (const auto Upper = constantOf(Range, DW_AT_upper_bound))
      T.Count = static_cast<uint64_t>(*Upper) - T.LowerBound + 1;
    // An upper bound of -1 is how compilers write an array without elements.
    if (T.Count && *T.Count > UINT32_MAX)
      T.Count = *T.Count == (uint64_t{1} << 32) ? std::optional<uint64_t>(0) : std::nullopt;
  });
}

/// The elements of an array: the next dimension, or the type of the entry after the last one.
const Type &TypeTable::inner(const Type &Array) {
  size_t Dimensions = 0;
  forEachChild(*Array.Entry, [&](DebugInfoEntry &Range) {
    Dimensions += Range.getTag() == DW_TAG_subrange_type;
  });
  if (Array.ArrayLevel + 1 >= Dimensions)
    return of(typeOf(*Array.Entry));
  Type &Next = make(TypeKind::Array);
  describeArray(Next, *Array.Entry, Array.ArrayLevel + 1);
  return Next;
}

Member TypeTable::memberOf(DebugInfoEntry &Entry) {
  Member M;
  if (const char *Name = nameOf(Entry))
    M.Name = Name;
  M.Of = &of(typeOf(Entry));
  M.IsBase = Entry.getTag() == DW_TAG_inheritance;
  M.BitSize = unsignedOf(Entry, DW_AT_bit_size);
  uint64_t ByteOffset = 0;
  if (const auto Place = Entry.find(DW_AT_data_member_location)) {
    if (const auto Offset = Place->getConstant()) {
      ByteOffset = static_cast<uint64_t>(*Offset);
    } else { // an expression: DW_OP_plus_uconst and the offset
      const Bytes Expression = blockOf(*Place);
      size_t Used = 0;
      if (Expression.size() > 1 && Expression[0] == 0x23)
        utils::decodeULEB128(Expression.size() - 1, Expression.data() + 1, ByteOffset, Used);
    }
  }
  M.BitOffset = 8 * ByteOffset;
  if (M.BitSize != 0) {
    if (const auto Bits = constantOf(Entry, DW_AT_data_bit_offset))
      M.BitOffset = static_cast<uint64_t>(*Bits);
    else // counted from the most significant bit of a storage unit
      M.BitOffset += unsignedOf(Entry, DW_AT_bit_offset);
  }
  return M;
}

void TypeTable::findMembers(const Type &T) {
  forEachChild(*T.Entry, [&](DebugInfoEntry &Entry) {
    const bool IsMember = Entry.getTag() == DW_TAG_member || Entry.getTag() == DW_TAG_inheritance;
    // A static member of a class is a variable elsewhere.
    if (IsMember && !flagOf(Entry, DW_AT_external) && !flagOf(Entry, DW_AT_declaration))
      T.Members.push_back(memberOf(Entry));
  });
}

void TypeTable::findEnumerators(const Type &T) {
  forEachChild(*T.Entry, [&](DebugInfoEntry &Entry) {
    const char *Name = Entry.getTag() == DW_TAG_enumerator ? nameOf(Entry) : nullptr;
    if (Name)
      T.Enumerators.push_back({Name, constantOf(Entry, DW_AT_const_value).value_or(0)});
  });
}

void TypeTable::findParameters(const Type &T) {
  forEachChild(*T.Entry, [&](DebugInfoEntry &Entry) {
    if (Entry.getTag() == DW_TAG_formal_parameter)
      T.Parameters.push_back(&of(typeOf(Entry)));
    else if (Entry.getTag() == DW_TAG_unspecified_parameters)
      T.IsVariadic = true;
  });
}

// A type.

void Type::resolve() const {
  if (IsResolved)
    return;
  IsResolved = true;
  if (!Entry)
    return;
  switch (Kind) {
  case TypeKind::Structure:
  case TypeKind::Union:
    Table->findMembers(*this);
    break;
  case TypeKind::Enumeration:
    Table->findEnumerators(*this);
    break;
  case TypeKind::Function:
    Table->findParameters(*this);
    break;
  default:
    break;
  }
}

const Type &Type::target() const {
  if (!Target)
    Target = !Entry                    ? Table->Void
             : Kind == TypeKind::Array ? &Table->inner(*this)
                                       : &Table->of(typeOf(*Entry));
  return *Target;
}

const std::vector<Member> &Type::members() const {
  resolve();
  return Members;
}

const std::vector<Enumerator> &Type::enumerators() const {
  resolve();
  return Enumerators;
}

const std::vector<const Type *> &Type::parameters() const {
  resolve();
  return Parameters;
}

const Type &Type::stripped() const {
  const Type *T = this;
  for (unsigned Hops = 0; isAlias(T->Kind); ++Hops) {
    if (Hops == MaxHops)
      return *Table->Void; // a loop
    T = &T->target();
  }
  return *T;
}

const Type &Type::unqualified() const {
  const Type *T = this;
  for (unsigned Hops = 0; isAlias(T->Kind) && T->Kind != TypeKind::Typedef; ++Hops) {
    if (Hops == MaxHops)
      return *Table->Void;
    T = &T->target();
  }
  return *T;
}

uint64_t Type::size() const {
  const Type *T = &stripped();
  uint64_t Elements = 1;
  for (unsigned Hops = 0; T->Kind == TypeKind::Array && Hops < MaxHops; ++Hops) {
    if (T->Size != 0)
      break;
    if (__builtin_mul_overflow(Elements, T->Count.value_or(0), &Elements))
      return UINT64_MAX;
    T = &T->target().stripped();
  }
  return __builtin_mul_overflow(Elements, T->Size, &Elements) ? UINT64_MAX : Elements;
}

bool Type::isNumber() const {
  switch (stripped().Kind) {
  case TypeKind::Bool:
  case TypeKind::Char:
  case TypeKind::Integer:
  case TypeKind::Real:
  case TypeKind::Enumeration:
    return true;
  default:
    return false;
  }
}

bool Type::isAggregate() const {
  const TypeKind Real = stripped().Kind;
  return Real == TypeKind::Structure || Real == TypeKind::Union;
}
