/* Interfaces.h - how models talk to each other: interfaces, references, ports and connections.
 *
 * An interface is a plain table of function pointers that a class publishes under a name and a type
 * name. Connecting two objects stores a reference to the table of one into a property of the other;
 * from then on a call is one indirect call, with no look-up.
 *
 * The name of an interface may hold an index: "uartIface[2]" is element 2 of an interface array. A
 * bracket part that is not a number raises std::invalid_argument, one outside 32 bits
 * std::out_of_range. Indices must lie inside the array.
 *
 * Nothing here takes a lock: all of it belongs to the thread that owns the object system, and
 * connections are made while the simulation is stopped. */

#ifndef ORVY_SUPPORT_INTERFACES_H
#define ORVY_SUPPORT_INTERFACES_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** The table through which the system calls a model, if its class publishes one under the name
 *  "ObjectIface". Every slot may be null. */
typedef struct ObjectIface {
  /** Adds to a checkpoint what the properties do not hold. */
  void (*serialise)(void *Obj, const char *Path, void *Ctxt);
  /** Takes it back from a checkpoint. */
  void (*deserialise)(void *Obj, const char *Path, void *Ctxt);
  /** Checks how the object is configured, telling each problem if Report is not 0. Returns how
   * many. */
  int (*checkSanity)(void *Obj, int Report);
  /** Tells the object that it has a new time source. */
  void (*timeSourceSet)(void *Obj);
  /** Prints the object for the user. */
  void (*printObject)(void *Obj);
} ObjectIface;

ORVY_STATIC_ASSERT(sizeof(ObjectIface) == 40, "boundary table");
ORVY_STATIC_ASSERT(offsetof(ObjectIface, checkSanity) == 16, "boundary table");
ORVY_STATIC_ASSERT(offsetof(ObjectIface, printObject) == 32, "boundary table");

/* Publishing. A null class is ignored. */

/**
 * Publishes a table. An interface of the same name is replaced. A null name or type is an internal
 * error.
 * @param Iface     the table; must outlive the class
 * @param Reserved  pass 0
 */
ORVY_API void orvy_addInterface(orvy_Class *Cls, const char *IfaceName, const char *IfaceType,
                                void *Iface, int Reserved, const char *Doc);
/**
 * Publishes an array of tables under one name.
 * @param Iface   the first table
 * @param Count   number of tables
 * @param Stride  bytes from one table to the next
 */
ORVY_API void orvy_addInterfaceArray(orvy_Class *Cls, const char *IfaceName, const char *IfaceType,
                                     void *Iface, size_t Count, size_t Stride, const char *Doc);
/**
 * Pairs a reference property with an interface of the same class, so that connecting one port to
 * another also connects back. A property of another type and a missing interface are ignored, with
 * 0.
 * @return 0, also for a null class; 1 if there is no such property
 */
ORVY_API int orvy_addPort(orvy_Class *Cls, const char *PropName, const char *IfaceName,
                          const char *Doc);

/* Look-up */

/**
 * The table of an interface of an object.
 * @param Idx  element of an interface array, where the name holds no index of its own; negative for
 * 0
 * @return the table, or null: silently if there is no such interface, with an error if there is no
 * such object
 */
ORVY_API void *orvy_getInterface(void *Obj, const char *IfaceName, int Idx);
/** As orvy_getInterface, as a reference, and through the delegates of a component; both fields null
 * on failure, which is logged as there. */
ORVY_API orvy_IfaceRef orvy_getInterfaceRef(void *Obj, const char *IfaceName, int Idx);
/** Whether the object has an interface of that name, bracket part aside, or a delegate of exactly
 * that name: 1 or 0, 0 for a null argument and an unknown object. */
ORVY_API int orvy_objectHasIface(void *Obj, const char *IfaceName);
/** The name of the interface that a table belongs to; null if there is none. Plain interfaces and
 * the first element of arrays are known. An unknown object logs an error. The text belongs to the
 * class. */
ORVY_API const char *orvy_getInterfaceName(void *Obj, void *Iface);
/** The name of the interface that a reference refers to, as orvy_getInterfaceName but silently;
 * null if there is none. */
ORVY_API const char *orvy_nameForInterface(orvy_IfaceRef Ref);
/** The type name of the interface that a reference refers to, silently; null if there is none. */
ORVY_API const char *orvy_typenameForInterface(orvy_IfaceRef Ref);
/** The storage of a property element, named with or without a bracket part; valid as long as the
 * object. Type ovTY_Invalid and null, silently, if there is none: for a null argument, a property
 * without a field and an index outside it. */
ORVY_API orvy_Propref orvy_getPropref(void *Obj, const char *PropName);

/* Arrays of references */

/** An empty array with room for at least Capacity references, and never fewer than 4. The caller
 * owns it until it is stored in a property, and releases it with orvy_ifaceRefArrayDispose. */
ORVY_API orvy_IfaceRefArray orvy_ifaceRefArrayAlloc(unsigned Capacity);
/** Releases the memory of an array; all fields are zero afterwards. */
ORVY_API void orvy_ifaceRefArrayDispose(orvy_IfaceRefArray *Arr);
/** Appends a reference. The array must have been made with orvy_ifaceRefArrayAlloc. */
ORVY_API void orvy_ifaceRefArrayPush(orvy_IfaceRefArray *Arr, orvy_IfaceRef Ref);
/** The same as orvy_ifaceRefArrayPush. */
ORVY_API void orvy_ifaceRefArrayPush2(orvy_IfaceRefArray *Arr, orvy_IfaceRef Ref);
/** The number of references in an array. */
ORVY_API unsigned orvy_ifaceRefArraySize(const orvy_IfaceRefArray *Arr);
/** The reference at an index. An index that is not below the size is an internal error. */
ORVY_API orvy_IfaceRef orvy_ifaceRefArrayGet(const orvy_IfaceRefArray *Arr, unsigned Idx);

/* Connection and time source */

/**
 * Connects property PropName of A to interface IfaceName of B.
 *
 * Without a bracket part a reference property takes the first element that is free; with one, that
 * element is replaced. Arrays and vectors of references grow. Where property and interface are both
 * ports, B is connected back to A. Objects of external classes cannot be connected.
 * @return 0; -1 on failure. A null argument, a full property and a target that the property refuses
 * are logged, most other failures are silent: see orvy_connectionFault. A single reference that is
 * refused counts as success.
 */
ORVY_API int orvy_connect(void *A, const char *PropName, void *B, const char *IfaceName);
/**
 * Says why orvy_connect would not make a connection, and changes nothing. For front ends that
 * report it to the user, as orvy_connect often fails without a message.
 * @return null if the connection can be made; else a text without a full stop, which lives until
 * the next call on this thread
 */
ORVY_API const char *orvy_connectionFault(void *A, const char *PropName, void *B,
                                          const char *IfaceName);
/**
 * Makes an object follow the time of TS, and tells it so through timeSourceSet of its ObjectIface.
 * @param Obj  an object that is not external; any other address is an internal error
 * @param TS   a processor, machine or clock; anything else, and null, is an internal error
 */
ORVY_API void orvy_setTimeSource(void *Obj, void *TS);

ORVY_END_C

#endif
