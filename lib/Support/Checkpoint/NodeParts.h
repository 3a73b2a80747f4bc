// NodeParts.h - helpers shared by the sources that turn values into nodes and back.

#ifndef ORVY_LIB_NODEPARTS_H
#define ORVY_LIB_NODEPARTS_H

#include "Checkpoint/CheckpointNodes.h"
#include "Objsys/ObjsysValue.h"
#include "orvy/Support/Propval.h"

#include <bit>
#include <cstring>
#include <string>
#include <utility>

namespace orvy::checkpoint {

static_assert(std::endian::native == std::endian::little,
              "packed numbers are stored in the byte order of the host");

/// The name of a null object in a node.
constexpr const char *NullObject = "<null>";

inline bool isNumber(orvy_Type Typ) {
  return Typ >= ovTY_Intptr && Typ <= ovTY_I64;
}
inline bool isReal(orvy_Type Typ) {
  return Typ == ovTY_Float || Typ == ovTY_Double;
}
inline bool isWide(orvy_Type Typ) {
  return isNumber(Typ) && !isReal(Typ) && objsys::typeToSize(Typ) == 8;
}
inline bool isSigned(orvy_Type Typ) {
  return Typ == ovTY_Intptr || (Typ >= ovTY_I8 && Typ <= ovTY_I64);
}
/// Whether a value of the type is a node of its own inside a container.
inline bool isNested(orvy_Type Typ) {
  return Typ == ovTY_Buffer || Typ >= ovTY_Dict;
}

/// The value of the type stored at an address.
inline orvy_Propval valueOf(orvy_Type Typ, const void *Element) {
  orvy_Propval Pv = {};
  Pv.Typ = Typ;
  std::memcpy(&Pv.u64, Element, objsys::typeToSize(Typ));
  return Pv;
}

/// Counts a lost reference and keeps the reason of the first one.
void lose(const std::string &Why);

/// Throws if containers are nested too deeply.
void checkLevel(unsigned Level);

/// A value and everything it owns. Disposes of them unless the value is taken.
class Owned {
public:
  explicit Owned(const orvy_Propval &Pv) : Value(Pv) {}
  Owned(Owned &&Other) noexcept : Value(std::exchange(Other.Value, {})) {}
  Owned &operator=(Owned &&) = delete;
  ~Owned();

  orvy_Propval &get() { return Value; }
  orvy_Propval take() { return std::exchange(Value, {}); }

private:
  orvy_Propval Value;
};

/// The number of elements that the entries stand for.
size_t elementCount(const Entries &Data, orvy_Type Typ);
/// A property's buffer, dictionary, vector or list.
Owned readContainer(orvy_Type Typ, const Json &Entry);

} // namespace orvy::checkpoint

#endif
