/* Component.h - components: objects that own other objects and run their processors as one clock.
 *
 * The create function of a component class makes the record and, in it, the inner objects:
 *
 *     static void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
 *       orvy_Component *C = orvy_componentCreate(Name);
 *       void *Cpu = orvy_createComponentObject(C, "SparcV8", NULL, "cpu%d", 0);
 *       orvy_componentAddDelegateProp(C, "memorySpace", Cpu, "memorySpace");
 *       return C;
 *     }
 *     orvy_registerComponent("Board", create, NULL);
 *
 * A component "board" of this class owns "board-cpu0", and "orvy_connect(board, "memorySpace",
 * ...)" reaches the processor. Create processors first: objects created after them follow the time
 * of the first clock.
 *
 * A class with fields of its own begins its structure with orvy_Component. The record comes from
 * malloc: grow it with realloc before the first inner object is made, and let orvy_componentDispose
 * have it in the end.
 *
 * The ClockIface of a component drives its clocks as a group, all of them to one point of time
 * before any goes on. Inner objects are disposed of with their component. One that is disposed of
 * alone leaves a stale entry in the record, so it must not be one of the clocks. */

#ifndef ORVY_SUPPORT_COMPONENT_H
#define ORVY_SUPPORT_COMPONENT_H

#include "orvy/Support/Objsys.h"
#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** A component. It owns the vectors, the dictionaries, the name, the strings in DelegatePropNames
 * and the objects in Objects. */
struct orvy_Component {
  orvy_Object Super;
  char *Name;                   /**< prefix of the names of inner objects */
  orvy_Vector Objects;          /**< "objects": the inner objects in creation order */
  orvy_Vector Components;       /**< "components": those of them that are components */
  orvy_Vector Clocks;           /**< "clocks": references to the ClockIface of each processor */
  orvy_Dict *ObjectDict;        /**< the class's to use */
  int32_t CurrentClock;         /**< "currentClock": index of the clock whose turn it is */
  int32_t StepClock;            /**< "stepClock": index of the clock that counts steps */
  int32_t Quanta;               /**< "quanta": length of a quantum in nanoseconds */
  int64_t QuantaStart;          /**< "quantaStart": of the present quantum, in nanoseconds */
  int64_t QuantaEnd;            /**< "quantaEnd": of the present quantum, in nanoseconds */
  orvy_Dict *DelegatePropObjs;  /**< "delegatePropObjs": object by delegated name */
  orvy_Dict *DelegatePropNames; /**< "delegatePropNames": its property by delegated name */
  orvy_Dict *DelegateIfaces;    /**< "delegateInterfaces": reference by delegated name */
};

ORVY_STATIC_ASSERT(sizeof(struct orvy_Component) == 168, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, Name) == 48, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, Objects) == 56, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, Components) == 72, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, Clocks) == 88, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, ObjectDict) == 104, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, CurrentClock) == 112, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, StepClock) == 116, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, Quanta) == 120, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, QuantaStart) == 128, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, QuantaEnd) == 136, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, DelegatePropObjs) == 144, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, DelegatePropNames) == 152, "boundary record");
ORVY_STATIC_ASSERT(offsetof(struct orvy_Component, DelegateIfaces) == 160, "boundary record");

/* Life */

/**
 * Registers a component class: of qualifier 5, with the properties of the record and the interfaces
 * ObjectIface (which prints) and ClockIface (which drives the group of clocks).
 * @param Dispose  null for orvy_componentDispose; another function calls that one last
 * @return the class, owned by the library; null, silently, if the name is taken
 */
ORVY_API orvy_Class *orvy_registerComponent(const char *ClsName, orvy_ObjectCreateFunc Create,
                                            orvy_ObjectDisposeFunc Dispose);
/** A new, empty record for the create function of a component class to return, with a copy of the
 * name and zeroes for the group of clocks. A null name is an internal error. */
ORVY_API orvy_Component *orvy_componentCreate(const char *Name);
/** Disposes of the inner objects that are still there, in creation order, and releases the record
 * with all it owns. Null is ignored. */
ORVY_API void orvy_componentDispose(void *Comp);

/* Inner objects */

/**
 * Creates an inner object, named as the component, "-" and the formatted inner name. It becomes one
 * of the clocks if it is a processor, and otherwise follows the time of the first clock, if there
 * is one. A null component or format is an internal error.
 * @param Args  arguments ended by a null Key, or null for none
 * @return the object, which the component owns; null, with a message on the error stream, if it
 * could not be created
 */
ORVY_API void *orvy_createComponentObject(orvy_Component *Comp, const char *ClsName,
                                          const orvy_CreateArg *Args, const char *NameFormat, ...)
    ORVY_PRINTF(4, 5);
/** The first inner object of that inner name; null if there is none, or for a null argument. A
 * linear search; the component must be registered, as it is when its create function has
 * returned. */
ORVY_API void *orvy_componentGetObject(orvy_Component *Comp, const char *Name);

/* Delegates: inner properties and interfaces under names of the component. Names are exact, bracket
 * parts included. orvy_connect knows no other names on a component; orvy_getPropName and
 * orvy_getInterfaceRef try them first. Values are not reached through them. */

/** Delegates a name to an interface. Returns 0, or -1, silently, if the name is delegated already.
 * A null component or name is an internal error. */
ORVY_API int orvy_componentAddDelegateIface(orvy_Component *Comp, const char *Name,
                                            orvy_IfaceRef Iface);
/** Delegates a name to a property of an object, with copies of both names. Returns 0, or -1,
 * silently, if the name is delegated already. A null component or name is an internal error. */
ORVY_API int orvy_componentAddDelegateProp(orvy_Component *Comp, const char *Name, void *Obj,
                                           const char *PropName);
/** The interface that a name is delegated to; both fields null for none, and for a null
 * component. */
ORVY_API orvy_IfaceRef orvy_componentGetDelegateIface(orvy_Component *Comp, const char *Name);
/** The property that a name is delegated to; both fields null for none, and for a null component.
 * Its name belongs to the component. */
ORVY_API orvy_PropName orvy_componentGetDelegateProp(orvy_Component *Comp, const char *Name);

ORVY_END_C

#endif
