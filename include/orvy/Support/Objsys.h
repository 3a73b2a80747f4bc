/* Objsys.h - classes of model objects, and the objects themselves.
 *
 * A plug-in registers a class with a create and a dispose function, describes it (Properties.h,
 * Interfaces.h), and the user creates objects of it by name:
 *
 *     typedef struct { orvy_Object Super; uint32_t Control; } Timer;
 *     static void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
 *       return calloc(1, sizeof(Timer));
 *     }
 *     orvy_Class *Cls = orvy_registerClass("Timer", create, free);
 *     orvy_addProperty(Cls, "control", offsetof(Timer, Control), ovTY_U32, 1, NULL, NULL, "");
 *     void *Obj = orvy_createObject("Timer", "timer0", NULL);
 *
 * Object names and class names are global and unique. A name begins with a letter or '_' and goes
 * on with letters, digits, '_' and single '-' joiners ('.' in property names), each joiner followed
 * by a letter or '_'. A name that breaks this is warned about and used all the same.
 *
 * An address is an object if and only if it is registered; the functions that take any address look
 * it up. Classification and the tables of a class need a known object of a class that is not
 * external, unless said otherwise. Names handed out live as long as the class or object.
 *
 * Nothing here takes a lock: all of it belongs to the thread that owns the object system. The
 * callback of an enumeration of objects may create and dispose of objects; it is called neither for
 * a new object nor for one that is gone. That of an enumeration of classes, properties or
 * interfaces must not change what it enumerates. */

#ifndef ORVY_SUPPORT_OBJSYS_H
#define ORVY_SUPPORT_OBJSYS_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/**
 * Makes an object of a class.
 * @param Name  the object's name; the caller's string
 * @param Argc  number of arguments
 * @param Args  the arguments, ended by a null Key; null when there are none. They come in whatever
 * type the caller gave: see orvy_readCreateArgs, which checks and converts them
 * @return a structure that begins with orvy_Object; every header field is overwritten after the
 * function has returned, and until then the object is unknown to the system. Null if the object is
 * not to be created, after the reason went to the log
 */
typedef void *(*orvy_ObjectCreateFunc)(const char *Name, int Argc, const orvy_CreateArg *Args);
/** Releases an object's memory and all it owns. The object has lost its name and class before. */
typedef void (*orvy_ObjectDisposeFunc)(void *Obj);

/* Classes */

/**
 * Registers a class of model objects. It has the property "object.timeSource" from the start. A
 * null name or function is an internal error; a name that breaks the rules is warned about.
 * @return the class, owned by the library; null, silently, if the name is taken, and the existing
 * class stays as it is
 */
ORVY_API orvy_Class *orvy_registerClass(const char *ClsName, orvy_ObjectCreateFunc Create,
                                        orvy_ObjectDisposeFunc Dispose);
/**
 * Registers a class whose objects live elsewhere: they have no header and are entered with
 * orvy_addObject. A null name is an internal error.
 * @return the class, owned by the library; null, silently, if the name is taken
 */
ORVY_API orvy_Class *orvy_registerExternalClass(const char *ClsName);
/** Gives the class its table of functions, which must outlive it and whose layout is between the
 * model and its callers. A null class is ignored. Returns 0. */
ORVY_API int orvy_setVTable(orvy_Class *Cls, void *VTable);
/** The table of functions of the class; null if it has none, or for a null class. */
ORVY_API void *orvy_getVTableForClass(orvy_Class *Cls);
/** The table of functions of the object's class, read through the object's header; null for null,
 * and while the object is disposed of. */
ORVY_API void *orvy_getVTable(const void *Obj);

/** Classifies the objects of a class: 0 plain, 1 processor, 2 machine, 3 external, 4 memory, 5
 * component, 6 clock; other values are free. A null class is ignored. */
ORVY_API void orvy_qualifyAs(orvy_Class *Cls, unsigned Qualifier);
/** Classifies the objects of a class as processors; a null class is ignored. */
ORVY_API void orvy_qualifyAsCpu(orvy_Class *Cls);
/** Classifies the objects of a class as machines; a null class is ignored. */
ORVY_API void orvy_qualifyAsMachine(orvy_Class *Cls);
/** Classifies the objects of a class as memories; a null class is ignored. */
ORVY_API void orvy_qualifyAsMemory(orvy_Class *Cls);

/**
 * Names one of the class's own log categories.
 * @param Id    8 to 15; a later call with the same id replaces the name
 * @param Name  not empty, and not "default", "sim", "target" or "config"; copied
 * @return 0; -1, silently, when refused, as for a null class or name and for another id
 */
ORVY_API int orvy_addLoggingCategory(orvy_Class *Cls, unsigned Id, const char *Name);
/**
 * The name of a log category of a class: "" for 0, "sim", "target" and "config" for 1 to 3, "" for
 * a category without a name; null for a null class or an id above 15.
 */
ORVY_API const char *orvy_getLoggingCategory(orvy_Class *Cls, unsigned Id);

/* Objects */

/**
 * Creates an object. A refusal is told on the error stream.
 * @param Args  arguments ended by a null Key, or null for none
 * @return the object, or null if there is no such class, the name is taken, the class is external,
 * or its create function refused, as it does for arguments that it does not take
 */
ORVY_API void *orvy_createObject(const char *ClsName, const char *ObjName,
                                 const orvy_CreateArg *Args);
/**
 * Enters a thing that lives elsewhere as an object of an external class. Nothing is written to it,
 * and it stays the caller's. A refusal is told on the error stream, that of a null Obj is silent.
 * @return Obj, or null if there is no such class, the name is taken, the address is an object
 * already, or the class is not external
 */
ORVY_API void *orvy_addObject(const char *ClsName, const char *ObjName, void *Obj);
/** Disposes of an object: its pending events go, it loses its name, the subscribers of its
 * "orvy.objectWillBeDisposed" are called, its memory is released, and the subscribers of its
 * "orvy.objectDisposed" get the old address. An unknown address, null included, is ignored, so
 * disposing twice is harmless. An object of an external class only loses its name. "sim" cannot be
 * disposed of: that is an error in the log. */
ORVY_API void orvy_disposeObject(void *Obj);
/** Disposes of all objects but "sim", and forgets all classes but "Simulator" and all plug-ins.
 * "sim" is reset: its time is 0, and a run in progress ends. */
ORVY_API void orvy_objsysClear(void);
/** Disposes of all objects but "sim", which is reset; classes and plug-ins stay. */
ORVY_API void orvy_objsysClearObjects(void);

/* Look-up */

/** The class of that name; null if there is none. A null name is an internal error. */
ORVY_API orvy_Class *orvy_classForName(const char *ClsName);
/** The name of a class, which owns the text. A null class is an internal error. */
ORVY_API const char *orvy_nameForClass(const orvy_Class *Cls);
/** The class of a registered object; null for null or an unknown address. */
ORVY_API orvy_Class *orvy_classForObject(const void *Obj);
/** The class of the object of that name; null if there is none, or for a null name. */
ORVY_API orvy_Class *orvy_classForObjectName(const char *ObjName);
/** The object of that name; null for null or an unknown name. */
ORVY_API void *orvy_objectForName(const char *ObjName);
/** The name of a registered object, which the registry owns; null for an unknown address. */
ORVY_API const char *orvy_nameForObject(const void *Obj);

/** The number of objects. */
ORVY_API size_t orvy_getObjectCount(void);
/** Writes the objects in name order to Objs, at most Capacity of them. Returns how many were
 * written. */
ORVY_API size_t orvy_getObjects(size_t Capacity, void **Objs);
/** The number of processors. */
ORVY_API size_t orvy_getProcessorCount(void);
/** The processors in creation order: the registry's own array, valid until an object comes or goes;
 * null when there are none. */
ORVY_API void **orvy_getProcessors(void);
/** The number of components. */
ORVY_API size_t orvy_getComponentCount(void);
/** The components in creation order: the registry's own array, valid until an object comes or goes;
 * null when there are none. */
ORVY_API void **orvy_getComponents(void);

/** Whether the text is a valid object name, joined by '-': non-zero if it is; null and "" are
 * not. */
ORVY_API int orvy_isValidObjectName(const char *Name);
/** Whether the text is a valid class name, joined by '-': non-zero if it is; null and "" are
 * not. */
ORVY_API int orvy_isValidClassName(const char *Name);
/** Whether the text is a valid interface name, joined by '-': non-zero if it is; null and "" are
 * not. */
ORVY_API int orvy_isValidInterfaceName(const char *Name);
/** Whether the text is a valid property name, joined by '.': non-zero if it is; null and "" are
 * not. */
ORVY_API int orvy_isValidPropertyName(const char *Name);

/* Classification */

/** Whether the object's class is external: 1 or 0. An unknown address logs an error and gives 0. */
ORVY_API int orvy_isExternal(const void *Obj);
/** Whether the object is a processor, read through its header: 1 or 0, 0 for null. */
ORVY_API int orvy_isCpu(const void *Obj);
/** Whether the object is a machine, read through its header: 1 or 0, 0 for null. */
ORVY_API int orvy_isMachine(const void *Obj);
/** Whether the object is a memory: 1 or 0. External objects may be asked about too; an unknown
 * address logs an error and gives 0. */
ORVY_API int orvy_isMemory(const void *Obj);
/** Whether the object is a component, read through its header: 1 or 0, 0 for null. */
ORVY_API int orvy_isComponent(const void *Obj);
/** Whether the object's class is qualified with exactly that value, read through the header: 1 or
 * 0, 0 for null. */
ORVY_API int orvy_isQualifiedAs(const void *Obj, unsigned Qualifier);

/* Enumeration; nothing happens with a null function */

/** Calls Func for every object in name order. */
ORVY_API void orvy_foreachObject(void (*Func)(void *Obj, void *Arg), void *Arg);
/** Calls Func for every class in name order. */
ORVY_API void orvy_foreachClass(void (*Func)(orvy_Class *Cls, void *Arg), void *Arg);
/** Calls Func for every processor in creation order. */
ORVY_API void orvy_foreachProcessor(void (*Func)(void *Obj, void *Arg), void *Arg);
/** Calls Func for every component in creation order. */
ORVY_API void orvy_foreachComponent(void (*Func)(orvy_Component *Comp, void *Arg), void *Arg);
/** Calls Func for every component that no other component owns, in creation order. */
ORVY_API void orvy_foreachRootComponent(void (*Func)(orvy_Component *Comp, void *Arg), void *Arg);
/** Calls Func for every property of a class in name order; nothing for a null class. */
ORVY_API void orvy_foreachProperty(orvy_Class *Cls,
                                   void (*Func)(orvy_Class *Cls, const char *PropName, void *Arg),
                                   void *Arg);
/** Calls Func for every interface of a class in name order; nothing for a null class. */
ORVY_API void orvy_foreachInterface(orvy_Class *Cls,
                                    void (*Func)(orvy_Class *Cls, const char *IfaceName, void *Arg),
                                    void *Arg);

ORVY_END_C

#endif
