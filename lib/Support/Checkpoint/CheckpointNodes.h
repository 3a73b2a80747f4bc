// CheckpointNodes.h - values of the object system as JSON nodes, and back.
//
// A node is { "type": name, "data": array of entries }. Inside a checkpoint that is being saved or
// restored a long array of unsigned numbers is held packed, as a binary value of the JSON library
// whose subtype is the width of a number in bytes; the text of a checkpoint never holds one.

#ifndef ORVY_LIB_CHECKPOINTNODES_H
#define ORVY_LIB_CHECKPOINTNODES_H

#include "Objsys/ObjsysProperty.h"
#include "orvy/Support/Types.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvy::checkpoint {

using Json = nlohmann::json;

/// Whether long arrays of numbers may be packed: not in nodes that belong to others.
enum class Form { Plain, Packed };

/// Arrays of fewer numbers are always plain.
constexpr size_t PackedFrom = 32;

/// Containers nested deeper are neither written nor read.
constexpr unsigned MostLevels = 128;

/// What is wrong with a value or a node, apart from what the JSON library finds itself.
struct Unfit : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The name of a type in a node; null if the type has none.
const char *typeIdToString(orvy_Type Typ);
/// The type of that name; ovTY_Invalid if there is none.
orvy_Type stringToTypeId(std::string_view Name);

/// References inside containers that could not be written or read and are null now. A property is
/// not given up for them: whoever writes or restores one asks afterwards.
struct LostReferences {
  size_t Count = 0;
  std::string First; ///< what is wrong with the first of them
};
/// Those since the last call.
LostReferences takeLostReferences();

// Nodes of values inside containers, which tell their own type.

Json getTypedScalarNode(const orvy_Propval &Pv);
Json getTypedBuffNode(const orvy_Propval &Pv, Form F = Form::Plain);
Json getTypedDictNode(const orvy_Propval &Pv, Form F = Form::Plain, unsigned Level = 0);
Json getTypedVectorNode(const orvy_Propval &Pv, Form F = Form::Plain, unsigned Level = 0);
Json getTypedListNode(const orvy_Propval &Pv, Form F = Form::Plain, unsigned Level = 0);

/// The node of a property; null (of JSON) for a type without a name. Throws what is unfit.
Json propertyNode(const objsys::Property &Prop, void *Obj, Form F);
/// The node of values laid out as in a property. The type has a name.
Json arrayNode(orvy_Type Typ, size_t Count, const void *Data, Form F);

/// Sets a property from its node. The property keeps its value if this throws.
void restoreProperty(const objsys::Property &Prop, void *Obj, const Json &Node);

/// The "data" of a node, packed or not.
class Entries {
public:
  explicit Entries(const Json &Data);

  size_t size() const;
  /// A number from 0 to Max. Throws what is none.
  uint64_t unsignedAt(size_t Idx, uint64_t Max) const;
  int64_t signedAt(size_t Idx, int64_t Min, int64_t Max) const;
  /// The number of 64 bits that is pair Idx.
  uint64_t pairAt(size_t Idx) const;
  double realAt(size_t Idx) const;
  const std::string &textAt(size_t Idx) const;
  const Json &at(size_t Idx) const;

private:
  const Json::array_t *Plain = nullptr;
  const Json::binary_t *Packed = nullptr;
  unsigned Width = 0;
};

/// The number of entries that an element takes: 2 for 64 bits.
unsigned entriesOf(orvy_Type Typ);
/// Element Idx of the numbers of a type.
orvy_Propval numberAt(const Entries &Data, orvy_Type Typ, size_t Idx);
/// The object of a name; null, which Known tells from a name that stands for none.
void *objectAt(const Entries &Data, size_t Idx, bool *Known = nullptr);
/// The reference in a node; its table is null if the object has no such interface.
orvy_IfaceRef ifaceAt(const Entries &Data, size_t Idx);
/// A text that holds no null byte.
const char *textAt(const Entries &Data, size_t Idx);
/// A new buffer with the bytes of a node.
orvy_Buff bytesFrom(const Json &Node);

/// The text that stands for a null string.
constexpr const char *NullString = "<<orvy-string-nullptr>>";

} // namespace orvy::checkpoint

#endif
