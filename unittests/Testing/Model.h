// Model.h - a model class with every kind of property, a few interfaces and a port.

#ifndef ORVY_UNITTESTS_MODEL_H
#define ORVY_UNITTESTS_MODEL_H

#include "orvy/Support/Orvy.h"

#include <string>
#include <vector>

namespace orvy::testing {

/// An object of the class that registerModel makes. The properties have the names of the fields in
/// lower case; those of four elements are arrays.
struct Model {
  orvy_Object Super;
  intptr_t Intptr;
  uintptr_t Uintptr;
  float Float;
  double Double;
  uint8_t U8[4];
  uint16_t U16[4];
  uint32_t U32[4];
  uint64_t U64[4];
  int8_t I8[4];
  int16_t I16[4];
  int32_t I32[4];
  int64_t I64[4];
  void *Obj;
  void *Internal;
  orvy_IfaceRef Ref;      ///< "ref": any object
  orvy_IfaceRef Refs[4];  ///< "refs": any object
  orvy_IfaceRef Strict;   ///< "strict": requires EchoIface
  orvy_IfaceRef Wires[2]; ///< "wires": port of the interface array "wire"
  orvy_IfaceRefArray Dynamic;
  char *String;
  orvy_Buff Buffer;
  orvy_Dict *Dict;
  orvy_Vector Vector;    ///< of U16
  orvy_Vector RefVector; ///< "refvector": of interface references
  orvy_List List;        ///< of I32
  uint32_t Hooked;       ///< "hooked": has all four hooks, each noting its call
};

/// The function table of "echo", "echoes" (four of them) and "wire" (two of them).
struct EchoIface {
  int (*echo)(void *Obj, int Value);
};
extern EchoIface Echo;
extern EchoIface Echoes[4];
extern EchoIface Wires[2];

/// Registers the class; null if the name is taken.
orvy_Class *registerModel(const char *ClsName = "Model");

/// Registers the class if need be, and creates an object of it.
Model *createModel(const char *ObjName, const char *ClsName = "Model");

/// What the hooks of "hooked" were called for since the last call, as "set 5 @0" or "get @0".
std::vector<std::string> takeHookCalls();

/// Clears the object system at the end of a test. Comes first in a fixture.
struct CleanSystem {
  ~CleanSystem() { orvy_objsysClear(); }
};

/// A value of each kind.
orvy_Propval u8(uint8_t Value);
orvy_Propval u16(uint16_t Value);
orvy_Propval u32(uint32_t Value);
orvy_Propval u64(uint64_t Value);
orvy_Propval i32(int32_t Value);
orvy_Propval i64(int64_t Value);
orvy_Propval real(double Value);
orvy_Propval text(const char *Value);
orvy_Propval ref(void *Obj, void *Iface);

} // namespace orvy::testing

#endif
