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

/// Whether long arrays of numbers may be packed. Nodes that a caller owns are always plain.
enum class Form { Plain, Packed };

/// Arrays of fewer numbers are always plain.
constexpr size_t PackedFrom = 32;

/// Containers nested deeper than this are neither written nor read.
constexpr unsigned MaxLevels = 128;

/// A value or a node that cannot be saved or restored. The JSON library throws its own exceptions.
struct Unfit : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The name of a type in a node; null if the type has no name.
const char *typeIdToString(orvy_Type Typ);
/// The type with that name; ovTY_Invalid if there is no such type.
orvy_Type stringToTypeId(std::string_view Name);

/// References inside containers that could not be written or read and were replaced by null. The
/// property is saved or restored all the same; its caller reports them afterwards.
struct LostReferences {
  size_t Count = 0;
  std::string First; ///< why the first one was lost
};
/// The references lost since the last call.
LostReferences takeLostReferences();

// Nodes of values inside containers. Each carries its type.

Json getTypedScalarNode(const orvy_Propval &Pv);
Json getTypedBuffNode(const orvy_Propval &Pv, Form F = Form::Plain);
Json getTypedDictNode(const orvy_Propval &Pv, Form F = Form::Plain, unsigned Level = 0);
Json getTypedVectorNode(const orvy_Propval &Pv, Form F = Form::Plain, unsigned Level = 0);
Json getTypedListNode(const orvy_Propval &Pv, Form F = Form::Plain, unsigned Level = 0);

/// The node of a property; JSON null if its type has no name. Throws Unfit.
Json propertyNode(const objsys::Property &Prop, void *Obj, Form F);
/// The node of values laid out as in a property. The type must have a name.
Json arrayNode(orvy_Type Typ, size_t Count, const void *Data, Form F);

/// Sets a property from its node. The property keeps its value if this throws.
void restoreProperty(const objsys::Property &Prop, void *Obj, const Json &Node);

/// The "data" of a node, packed or not.
class Entries {
public:
  explicit Entries(const Json &Data);

  size_t size() const;
  /// A number from 0 to Max. Throws if the entry is anything else.
  uint64_t unsignedAt(size_t Idx, uint64_t Max) const;
  int64_t signedAt(size_t Idx, int64_t Min, int64_t Max) const;
  /// The 64-bit number that pair Idx stands for.
  uint64_t pairAt(size_t Idx) const;
  double realAt(size_t Idx) const;
  const std::string &textAt(size_t Idx) const;
  const Json &at(size_t Idx) const;

private:
  const Json::array_t *Plain = nullptr;
  const Json::binary_t *Packed = nullptr;
  unsigned Width = 0;
};

/// The number of entries that an element takes: 2 for a 64-bit number.
unsigned entriesOf(orvy_Type Typ);
/// Element Idx of an array of numbers of the type.
orvy_Propval numberAt(const Entries &Data, orvy_Type Typ, size_t Idx);
/// The object with the name in the entry. Null if there is no such object, and for the name of the
/// null object; Known is false only in the first case.
void *objectAt(const Entries &Data, size_t Idx, bool *Known = nullptr);
/// The interface reference in an entry; its table is null if the object has no such interface.
orvy_IfaceRef ifaceAt(const Entries &Data, size_t Idx);
/// A text. Throws if it contains a null byte.
const char *textAt(const Entries &Data, size_t Idx);
/// A new buffer with the bytes of a node.
orvy_Buff bytesFrom(const Json &Node);

/// The text that stands for a null string.
constexpr const char *NullString = "<<orvy-string-nullptr>>";

} // namespace orvy::checkpoint

#endif
