/* NewObjectSystem.h - the second object system: classes and interfaces as described types.
 *
 * It does not touch the first one (Objsys.h): its objects are unknown to orvy_objectForName, to
 * values, connections, checkpoints and the command language. Both share the header orvy_Object and
 * the types of the functions that create and dispose, so that one model serves either. Everything
 * lives until exit. Unless a function says otherwise it belongs to the thread that loads plug-ins.
 */

#ifndef ORVY_SUPPORT_NEWOBJECTSYSTEM_H
#define ORVY_SUPPORT_NEWOBJECTSYSTEM_H

#include "orvy/Support/Export.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/TypeSystem.h"

#ifdef __cplusplus
namespace orvy {
class NativeClass;
}
typedef orvy::NativeClass orvy_NativeClass;
#else
/** Opaque handle of a class of the second system. */
typedef orvy_MetaType orvy_NativeClass;
#endif

ORVY_BEGIN_C

/** Registers a class. A null Create is an internal error. @return the class, owned by the library;
 * null if the name is taken */
ORVY_API orvy_NativeClass *xorvy_registerClass(const char *ClsName, orvy_ObjectCreateFunc Create,
                                               orvy_ObjectDisposeFunc Dispose);
/**
 * Creates an object and fills its header. A name that is taken goes over to the new object.
 * @param Args  ended by a null Key; may be null
 * @return the object; null if there is no such class, or its create function refuses
 */
ORVY_API void *xorvy_createObject(const char *ClsName, const char *ObjName,
                                  const orvy_CreateArg *Args);
/** Disposes of an object through its class and forgets it. Nothing happens if it is unknown. */
ORVY_API void xorvy_disposeObject(void *Obj);

/** A new interface type, a table of functions that is empty yet; null if the name is taken. Any
 * thread. */
ORVY_API orvy_StructMetaType *orvy_registerInterfaceType(const char *Name);
/**
 * Adds a function at the end of the table. Its first argument is the object, a pointer to void, and
 * not in the list.
 * @param ...  types of the other arguments, const orvy_MetaType *, ended by a null pointer
 */
ORVY_API void orvy_ifaceTypeAddFunc(orvy_StructMetaType *Type, const char *Name,
                                    const orvy_MetaType *Ret, ...) __attribute__((sentinel));
/** The interface type of a name; null if there is none. Any thread. */
ORVY_API orvy_StructMetaType *orvy_getInterfaceType(const char *Name);

ORVY_END_C

#ifdef __cplusplus

#include <mutex>

namespace orvy {

/// A class: a structure that begins with the fields of orvy_Object, and the functions that create
/// and dispose of its objects.
class ORVY_API NativeClass final : public StructType {
public:
  NativeClass(const char *Name, orvy_ObjectCreateFunc Create, orvy_ObjectDisposeFunc Dispose,
              const FunctionType *CreateTy, const FunctionType *DisposeTy);
  ~NativeClass() override;

  const orvy_ObjectCreateFunc CreateFunc;
  const orvy_ObjectDisposeFunc DisposeFunc;

private:
  std::vector<std::unique_ptr<BitFieldType>> BitFields; // neither is used yet
  std::map<std::string, std::unique_ptr<Type>> Records;
  orvy::Function CreateRecord;
  orvy::Function DisposeRecord;
};

/// The registry of types by name.
class TypeSystem {
public:
  /// Knows the built-in types and those of the object system's values.
  ORVY_API TypeSystem();
  TypeSystem(const TypeSystem &) = delete;
  TypeSystem &operator=(const TypeSystem &) = delete;
  ORVY_API ~TypeSystem();

  /// Null for an unknown name.
  ORVY_API StructType *getStructTypeForName(const char *Name) const;
  ORVY_API NativeClass *getClassTypeForName(const char *Name) const;
  ORVY_API const Type *getType(const char *Name) const;
  /// Enters a structure, which must live on, in place of another one of its name; nothing happens
  /// if it is there already.
  ORVY_API void addStructType(StructType *Ty);
  /// Null if the name is taken.
  ORVY_API NativeClass *registerClass(const char *Name, orvy_ObjectCreateFunc Create,
                                      orvy_ObjectDisposeFunc Dispose);

private:
  struct ObjectTypes; // orvy_Type, orvy_Propval, orvy_CreateArg and the functions of a class

  bimap<std::string, NativeClass *> Classes;
  bimap<std::string, StructType *> Structs;
  bimap<std::string, FunctionType *> Functions;
  bimap<std::string, const Type *> Types;
  std::unique_ptr<ObjectTypes> Own;
  std::vector<std::unique_ptr<NativeClass>> OwnClasses;
};

/// What registerObject notes of an object.
class Object {
public:
  Object(std::string Name, void *Ptr) : Name(std::move(Name)), Ptr(Ptr) {}

  uint32_t Reserved = 0;
  std::string Name;
  void *Ptr;
  bimap<std::string, void *> Objects; // inner names, not used yet
  std::map<void *, const Type *> ObjectTypes;
};

/// The objects of the second system.
class ObjectSystem {
public:
  ORVY_API ObjectSystem();
  ObjectSystem(const ObjectSystem &) = delete;
  ObjectSystem &operator=(const ObjectSystem &) = delete;
  ORVY_API ~ObjectSystem();

  /// An object of a class, under a name that it takes over from any other. Null if there is no such
  /// class.
  ORVY_API void *createObject(const char *ClsName, const char *ObjName,
                              const std::vector<orvy_CreateArg> &Args);
  /// The zeroed memory of a structure. Null if there is no such structure.
  ORVY_API void *createObject(const char *StructName, const char *ObjName);
  /// Gives an object back to its class, or releases the memory of a structure, and forgets it.
  ORVY_API void disposeObject(void *Obj);
  /// Makes a record of an object, in place of an earlier one.
  ORVY_API Object *registerObject(const char *Name, void *Obj);

  /// Null if it is unknown.
  ORVY_API const char *getNameForObject(void *Obj) const;
  ORVY_API void *getObjectForName(const char *Name) const;
  ORVY_API const Type *getTypeForObject(void *Obj) const;

  const FunctionType &getCreateFuncTy() const { return CreateFuncTy; }
  const FunctionType &getDisposeFuncTy() const { return DisposeFuncTy; }

private:
  void enter(const char *Name, void *Obj, const Type *Ty);

  bimap<std::string, void *> Objects;
  std::map<void *, const Type *> ObjectTypes;
  std::map<void *, std::unique_ptr<Object>> Records;
  FunctionType CreateFuncTy;
  FunctionType DisposeFuncTy;
};

/// Interface types by name. Any thread.
class InterfaceTypes {
public:
  ORVY_API StructType *add(const char *Name);
  ORVY_API StructType *find(const char *Name);

private:
  std::mutex Lock;
  std::map<std::string, std::unique_ptr<StructType>, std::less<>> ByName;
};

ORVY_API TypeSystem &getTypeSystem();
ORVY_API ObjectSystem &getObjectSystem();

} // namespace orvy

#endif

#endif
