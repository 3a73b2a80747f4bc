/* Containers.h - containers that the library and models share: vectors, dictionaries, lists,
 * buffers.
 *
 * The records (Types.h) live inside model objects or values and are copied by plain assignment;
 * what they point to belongs to the library and is reached only through these functions. The owner
 * of a container disposes it, once; a container in a property belongs to the object. No container
 * is thread-safe: all views of one buffer block stay on one thread at a time. Pointers to the
 * records themselves are not null. */

#ifndef ORVY_SUPPORT_CONTAINERS_H
#define ORVY_SUPPORT_CONTAINERS_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/* Vector: a growing array of elements of one type. */

/** An empty vector, which the caller disposes with orvy_vecDispose unless it is stored in a
 * property. Interface arrays, lists and invalid elements are refused with an error: VecData is null
 * then. */
ORVY_API orvy_Vector orvy_vecCreate(orvy_Type Typ);
/** Releases a vector, and the buffers in one of buffers; other elements are left alone. The record
 * itself stays as it was and must not be used again. A null VecData is left alone; an element type
 * that vectors cannot have logs an error. */
ORVY_API void orvy_vecDispose(orvy_Vector *Vec);
/** Appends a value, converted to the element type. Numbers convert, and a value that is not a
 * number in a vector of numbers is an internal error; strings are copied and must not be null;
 * buffers and vectors pass into the vector's ownership. An invalid vector logs an error. */
ORVY_API void orvy_vecPush(orvy_Vector *Vec, orvy_Propval Val);
/** The first element, valid until the next push; null when the vector is empty, and with an error
 * for an element type that vectors cannot have. */
ORVY_API void *orvy_vecGetData(orvy_Vector *Vec);
/** The number of elements; 0 for a null VecData, and with an error for an element type that vectors
 * cannot have. */
ORVY_API size_t orvy_vecGetSize(orvy_Vector *Vec);

/* Dictionary: values by key, in the order of the keys' bytes. A null dictionary or key is an
 * internal error, except where it is allowed. */

/** An empty dictionary, which the caller releases with orvy_dictDispose unless it is stored in a
 * property. */
ORVY_API orvy_Dict *orvy_dictCreate(void);
/** Releases a dictionary and its keys, not what its values point to. Null is allowed. */
ORVY_API void orvy_dictDispose(orvy_Dict *Dict);
/** Enters a plain copy of a value; the key is copied, what the value points to is not. Returns 0,
 * or -1 if the key exists; the old value then stays. */
ORVY_API int orvy_dictInsertValue(orvy_Dict *Dict, const char *Key, orvy_Propval Val);
/** A plain copy of the value of a key; the all-zero record if the key is missing, silently. */
ORVY_API orvy_Propval orvy_dictGetValue(orvy_Dict *Dict, const char *Key);
/** Removes a key, without releasing what its value points to. Returns 0, or -1 if it is missing. */
ORVY_API int orvy_dictRemoveValue(orvy_Dict *Dict, const char *Key);
/** The first key for null, else the key after the given one; null at the end, or if the given key
 * is not present. The text lives as long as the entry. */
ORVY_API const char *orvy_dictGetNextKey(orvy_Dict *Dict, const char *Key);

/* List: a doubly linked list of values of one tag. */

/** An empty list for values of one tag, which is not checked. The caller releases its nodes with
 * orvy_listDispose unless it is stored in a property. */
ORVY_API orvy_List orvy_listCreate(orvy_Type Typ);
/** Releases all nodes, and the buffers in them; other values are left alone. The list is empty
 * afterwards and may be used again. */
ORVY_API void orvy_listDispose(orvy_List *List);
/** Adds a plain copy of a value at the end and returns its node, which the list owns. A value of
 * another tag ends the process with a fatal message. */
ORVY_API orvy_ListNode *orvy_listAppend(orvy_List *List, orvy_Propval Val);
/** Adds a plain copy of a value at the front and returns its node, which the list owns. A value of
 * another tag ends the process with a fatal message. */
ORVY_API orvy_ListNode *orvy_listPrepend(orvy_List *List, orvy_Propval Val);
/** Takes out the first value, with its ownership; the all-zero record for an empty list. */
ORVY_API orvy_Propval orvy_listRemoveHead(orvy_List *List);
/** Takes out the last value, with its ownership; the all-zero record for an empty list. */
ORVY_API orvy_Propval orvy_listRemoveTail(orvy_List *List);
/** The first node; null for an empty list. */
ORVY_API orvy_ListNode *orvy_listGetHead(orvy_List *List);
/** The last node; null for an empty list. */
ORVY_API orvy_ListNode *orvy_listGetTail(orvy_List *List);
/** The node after a node, which is not null; null at the end. */
ORVY_API orvy_ListNode *orvy_listGetNext(orvy_ListNode *Node);
/** The node before a node, which is not null; null at the front. */
ORVY_API orvy_ListNode *orvy_listGetPrev(orvy_ListNode *Node);
/** A plain copy of a node's value, which stays the list's. */
ORVY_API orvy_Propval orvy_listNodeGetVal(orvy_ListNode *Node);

/* Buffer: a view of shared bytes, duplicated when a view is written while others share them. */

/** A view of a new block of Size bytes of undefined contents; released with orvy_buffDispose. */
ORVY_API orvy_Buff orvy_buffCreate(uint32_t Size);
/** Another view of the same range, released on its own with orvy_buffDispose. No bytes are
 * copied. */
ORVY_API orvy_Buff orvy_buffCopy(const orvy_Buff *Buff);
/** Gives up a view, which must not be used again; the last view of a block frees it. A view with a
 * null Block is allowed. */
ORVY_API void orvy_buffDispose(orvy_Buff *Buff);
/** The bytes of the range, for writing: other views are not changed. Valid until the next operation
 * on the view. Null for a view with a null Block. */
ORVY_API uint8_t *orvy_buffWritableData(orvy_Buff *Buff);
/** The bytes of the range, for reading, valid until the view is written or disposed. Null for a
 * view with a null Block. */
ORVY_API const uint8_t *orvy_buffReadableData(const orvy_Buff *Buff);
/** The number of bytes in the range. */
ORVY_API uint32_t orvy_buffLen(const orvy_Buff *Buff);
/** Takes Count bytes off the front of the range. More than there are leaves the view as it is, with
 * a message on the process's standard error. */
ORVY_API void orvy_buffRemoveHead(orvy_Buff *Buff, uint32_t Count);
/** Takes Count bytes off the end of the range. More than there are leaves the view as it is, with a
 *  message on the process's standard error. */
ORVY_API void orvy_buffRemoveTail(orvy_Buff *Buff, uint32_t Count);

ORVY_END_C

#endif
