/* Types.h - the records of the object system that cross the plug-in boundary by value.
 *
 * Tag values, field order and sizes are fixed: models compiled elsewhere pass these records by
 * value. The functions on them are in Propval.h, Containers.h, Objsys.h and Interfaces.h. */

#ifndef ORVY_SUPPORT_TYPES_H
#define ORVY_SUPPORT_TYPES_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** Tag of a value, and type of a property. */
typedef ORVY_ENUM(orvy_Type){
    ovTY_Invalid = 0,      /**< no value; the universal mark of failure */
    ovTY_Intptr = 1,       /**< IntPtr */
    ovTY_Uintptr = 2,      /**< UIntPtr */
    ovTY_Float = 3,        /**< f */
    ovTY_Double = 4,       /**< d */
    ovTY_U8 = 5,           /**< u8 */
    ovTY_U16 = 6,          /**< u16 */
    ovTY_U32 = 7,          /**< u32 */
    ovTY_U64 = 8,          /**< u64 */
    ovTY_I8 = 9,           /**< i8 */
    ovTY_I16 = 10,         /**< i16 */
    ovTY_I32 = 11,         /**< i32 */
    ovTY_I64 = 12,         /**< i64 */
    ovTY_Obj = 13,         /**< Obj: a model object */
    ovTY_InternalPtr = 14, /**< InternalPtr: a pointer without meaning outside its object */
    ovTY_IfaceRef = 15,    /**< IfaceRef */
    ovTY_IfaceRefArray =
        16,           /**< a growing array of IfaceRef; its elements travel as ovTY_IfaceRef */
    ovTY_String = 17, /**< String */
    ovTY_Buffer = 18, /**< Buffer */
    ovTY_Dict = 19,   /**< Dict */
    ovTY_Vector = 20, /**< Vector */
    ovTY_List = 21    /**< List */
} orvy_Type;

/** Opaque handle of a class record. */
typedef struct orvy_Class orvy_Class;

/** Opaque handle of a component: a model object that owns inner objects. */
typedef struct orvy_Component orvy_Component;

/** An object and the function table of one of its interfaces. */
typedef struct orvy_IfaceRef {
  void *Obj;   /**< passed as first argument on every call through the table */
  void *Iface; /**< the function table */
} orvy_IfaceRef;

/** A growing array of references; made with orvy_ifaceRefArrayAlloc, never all zero while in use.
 */
typedef struct orvy_IfaceRefArray {
  uint32_t Size;         /**< elements in use */
  uint32_t Reserved;     /**< elements allocated */
  orvy_IfaceRef *Ifaces; /**< the elements */
} orvy_IfaceRefArray;

/** A growing array of values of one type; the elements are reached with orvy_vecGetData. */
typedef struct orvy_Vector {
  orvy_Type Typ; /**< type of the elements */
  void *VecData; /**< private; null marks an invalid vector */
} orvy_Vector;

/** A string-keyed dictionary of values, ordered bytewise. */
typedef struct orvy_Dict orvy_Dict;

/** Node of a list; stays at its address until it is removed. */
typedef struct orvy_ListNode orvy_ListNode;

/** A doubly linked list of values of one type. */
typedef struct orvy_List {
  orvy_Type Typ; /**< tag of every value in the list */
  orvy_ListNode *Head;
  orvy_ListNode *Tail;
} orvy_List;

/** The block of bytes that copy-on-write buffers share. */
typedef struct orvy_BuffBlock {
  uint32_t RefCount;
  uint8_t *Data;
  uint32_t Size;
} orvy_BuffBlock;

/** A view of a range of a shared block. */
typedef struct orvy_Buff {
  orvy_BuffBlock *Block;
  uint32_t Offset; /**< first byte of the view in the block */
  uint32_t Len;    /**< bytes in the view */
} orvy_Buff;

/**
 * A tagged value, passed by value everywhere. Only the member that belongs to Typ means anything.
 * It owns nothing: strings and containers in it are views of what their holder owns, unless an
 * operation says that it takes the value over.
 */
typedef struct orvy_Propval {
  orvy_Type Typ;
  union {
    intptr_t IntPtr;
    uintptr_t UIntPtr;
    float f;
    double d;
    uint8_t u8;
    uint16_t u16;
    uint32_t u32;
    uint64_t u64;
    int8_t i8;
    int16_t i16;
    int32_t i32;
    int64_t i64;
    void *Obj;
    void *InternalPtr;
    orvy_IfaceRef IfaceRef;
    const char *String;
    orvy_Buff Buffer;
    orvy_Dict *Dict;
    orvy_Vector Vector;
    orvy_List List;
  };
} orvy_Propval;

struct orvy_ListNode {
  orvy_ListNode *Prev; /**< null at the head */
  orvy_ListNode *Next; /**< null at the tail */
  orvy_Propval Val;
};

/** Direct reference to a property's storage; Typ ovTY_Invalid and a null Ptr mean no such property.
 */
typedef struct orvy_Propref {
  orvy_Type Typ;
  void *Ptr;
} orvy_Propref;

/** A property name after delegates are resolved; both fields null on failure. */
typedef struct orvy_PropName {
  void *Obj;
  const char *Name;
} orvy_PropName;

/** Named creation argument; a list of them ends with a null Key. */
typedef struct orvy_CreateArg {
  const char *Key;
  orvy_Propval Val;
} orvy_CreateArg;

/**
 * Standard header at the start of every model object of a class that is not external. The system
 * fills it after the class's create function has returned; a model reads it and never writes it.
 */
typedef struct orvy_Object {
  orvy_Class *Class;         /**< null once disposal has begun */
  void *TimeSource;          /**< processor, machine or clock whose time the object follows */
  orvy_Component *Component; /**< owning component, null for a root object */
  uint64_t LoggingFlags;     /**< sixteen 4-bit log levels, category n in bits 4n to 4n+3 */
  int64_t WillDisposeNotification;
  int64_t DisposedNotification;
} orvy_Object;

ORVY_STATIC_ASSERT(sizeof(orvy_Type) == 4, "tags are 32 bits");
ORVY_STATIC_ASSERT(sizeof(orvy_IfaceRef) == 16, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_IfaceRefArray) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_IfaceRefArray, Reserved) == 4, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_IfaceRefArray, Ifaces) == 8, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_Vector) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Vector, VecData) == 8, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_List) == 24, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_List, Head) == 8, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_List, Tail) == 16, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_Buff) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Buff, Offset) == 8, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Buff, Len) == 12, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_BuffBlock) == 24, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_Propval) == 32, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Propval, u64) == 8, "the union follows the tag at word 1");
ORVY_STATIC_ASSERT(sizeof(orvy_ListNode) == 48, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_ListNode, Val) == 16, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_Propref) == 16, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_PropName) == 16, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_CreateArg) == 40, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_CreateArg, Val) == 8, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_Object) == 48, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Object, TimeSource) == 8, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Object, Component) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Object, LoggingFlags) == 24, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Object, WillDisposeNotification) == 32, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Object, DisposedNotification) == 40, "boundary record");

ORVY_END_C

#endif
