// Types.h - the types of a program, as its debug information describes them.

#ifndef ORVY_LIB_SOURCETYPES_H
#define ORVY_LIB_SOURCETYPES_H

#include "Source/EntryValues.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::source {

class Type;
class TypeTable;

enum class TypeKind : uint8_t {
  Void,
  Bool,
  Char, ///< printed as a character
  Integer,
  Real,
  Complex,
  Enumeration,
  Pointer,
  Reference,
  Array,
  Structure,
  Union,
  Function,
  Typedef,
  Const,
  Volatile,
  Restrict,
  Atomic,
  Unknown ///< not described, or in a way that makes no sense
};

/// A member of a structure or union.
struct Member {
  std::string Name;       ///< empty for an anonymous structure or union, and for padding
  const Type *Of;         ///< never null
  uint64_t BitOffset = 0; ///< of its most significant bit, from that of the structure's first byte
  uint64_t BitSize = 0;   ///< of a bit field; 0 for any other member
  bool IsBase = false;    ///< a base class
};

struct Enumerator {
  std::string Name;
  int64_t Value;
};

/// A type. The types that it refers to are found on first use.
class Type {
public:
  TypeKind Kind = TypeKind::Unknown;
  std::string Name;                ///< empty for an anonymous one, and for pointers and their like
  std::string Tag;                 ///< "struct", "union", "class" or "enum"
  uint64_t Size = 0;               ///< bytes; 0 if not known
  bool IsSigned = false;           ///< of numbers
  bool IsIncomplete = false;       ///< declared only
  bool IsVector = false;           ///< an array that the compiler treats as a value
  bool IsPrototyped = false;       ///< a function whose parameters are declared
  mutable bool IsVariadic = false; ///< known once the parameters are
  std::optional<uint64_t> Count;   ///< elements of an array; nothing if not known
  uint64_t LowerBound = 0;         ///< index of an array's first element
  DebugInfoEntry *Entry = nullptr;

  /// What is pointed to, the element, the aliased or qualified type, or the result; never null.
  const Type &target() const;
  const std::vector<Member> &members() const;
  const std::vector<Enumerator> &enumerators() const;
  const std::vector<const Type *> &parameters() const;

  /// The type without typedefs and qualifiers.
  const Type &stripped() const;
  /// The same without qualifiers only.
  const Type &unqualified() const;
  /// Bytes, also those of a typedef or an array.
  uint64_t size() const;

  bool isNumber() const;    ///< stripped: a number, character, truth value or enumeration
  bool isAggregate() const; ///< stripped: a structure or union

  /// The name in C, as in a declaration without a variable: "struct entry (*)[4]".
  std::string text() const;
  /// The definition, with the members of a structure, as in C.
  std::string definition() const;

private:
  friend class TypeTable;
  void resolve() const;

  TypeTable *Table = nullptr;
  size_t ArrayLevel = 0; ///< of the dimensions of the entry, the outermost first
  mutable const Type *Target = nullptr;
  mutable bool IsResolved = false;
  mutable std::vector<Member> Members;
  mutable std::vector<Enumerator> Enumerators;
  mutable std::vector<const Type *> Parameters;
};

/// All types of an image, each made on first use. They live as long as the table.
class TypeTable {
public:
  TypeTable();
  TypeTable(const TypeTable &) = delete;
  TypeTable &operator=(const TypeTable &) = delete;

  /// Finds the definition of a structure, union, class or enumeration that a unit only declares.
  using Definitions = DebugInfoEntry *(*)(void *Arg, const char *Name, uint64_t Tag);
  void setDefinitions(Definitions Find, void *Arg);

  /// The type of an entry; void for null.
  const Type &of(DebugInfoEntry *Entry);
  const Type &pointerTo(const Type &Target);
  const Type &arrayOf(const Type &Element, std::optional<uint64_t> Count);

  // The types of C, for constants and results. Words and pointers have 4 bytes.
  const Type &voidType() const { return *Void; }
  const Type &number(const char *Name) const;
  /// A pointer to code, of which nothing else is known.
  const Type &codePointer();

private:
  friend class Type;

  Type &make(TypeKind Kind);
  void describe(Type &T, DebugInfoEntry &Entry);
  void describeBase(Type &T, DebugInfoEntry &Entry);
  void describeArray(Type &T, DebugInfoEntry &Entry, size_t Level);
  const Type &inner(const Type &Array);
  void findMembers(const Type &T);
  void findEnumerators(const Type &T);
  void findParameters(const Type &T);
  Member memberOf(DebugInfoEntry &Entry);

  std::deque<Type> Types;
  std::map<DebugInfoEntry *, Type *> ByEntry;
  std::map<std::string_view, const Type *> Numbers;
  std::map<const Type *, const Type *> Pointers;
  const Type *Void;
  const Type *Code = nullptr;
  Definitions Find = nullptr;
  void *FindArg = nullptr;
};

} // namespace orvy::source

#endif
