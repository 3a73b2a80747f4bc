/* Propval.h - tagged values, and access to the properties of objects by name.
 *
 * A property is reached on one of four routes. get and set show and restore the state as a tool or
 * a checkpoint sees it, without a side effect on the model; read and write are the accesses that
 * simulated software would make, and run the property's Reader and Writer. A property without hooks
 * behaves alike on all four.
 *
 * With an Idx of 0 or more the whole of PropName is the property's name and Idx the element. With a
 * negative Idx the element comes from the name: "reg" is element 0 and "reg[3]" element 3; an index
 * that is not a number then raises std::invalid_argument, and one outside 32 bits
 * std::out_of_range.
 *
 * An unknown object or property, or an index outside the property, reads as a value of tag
 * ovTY_Invalid and is silently left alone by a store. A value that is read is a view of what the
 * object owns: it is not disposed, and not kept past the next change of the property. A store takes
 * over the containers in the value and copies strings; the caller supplies a value of the
 * property's own type.
 *
 * No function here takes a lock: they belong to the thread that owns the object system. Hooks run
 * on the caller's thread. */

#ifndef ORVY_SUPPORT_PROPVAL_H
#define ORVY_SUPPORT_PROPVAL_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** Whether the value is an integer or real number (tags 1 to 12): 1 or 0. */
ORVY_API int orvy_isNumber(orvy_Propval Pv);
/** Whether the value is a float or a double: 1 or 0. */
ORVY_API int orvy_isReal(orvy_Propval Pv);
/** Whether the value is an integer of any width: 1 or 0. */
ORVY_API int orvy_isDiscrete(orvy_Propval Pv);
/** Whether the value is a signed integer: 1 or 0. Real numbers are neither signed nor unsigned. */
ORVY_API int orvy_isSigned(orvy_Propval Pv);
/** Whether the value is an unsigned integer: 1 or 0. */
ORVY_API int orvy_isUnsigned(orvy_Propval Pv);
/** Whether the value is a string: 1 or 0. */
ORVY_API int orvy_isString(orvy_Propval Pv);

/**
 * The number in 64 signed bits: integers widen by their own signedness, 64-bit unsigned values are
 * reinterpreted, real numbers truncate toward zero. A value that is not a number is an internal
 * error.
 */
ORVY_API int64_t orvy_asInteger(orvy_Propval Pv);
/** The number in 64 unsigned bits: signed integers extend their sign, real numbers truncate toward
 * zero, also above the signed range. A value that is not a number is an internal error. */
ORVY_API uint64_t orvy_asUnsigned(orvy_Propval Pv);
/** The number as a double, unsigned integers by their unsigned value. A value that is not a number
 * is an internal error. */
ORVY_API double orvy_asDouble(orvy_Propval Pv);

/** The name of a type, as static text, never null. A tag outside the enumeration is an internal
 * error. */
ORVY_API const char *orvy_typeToName(orvy_Type Typ);

/**
 * Fetches a property without a side effect on the model.
 * @return the value; the all-zero record for a null object or name, silently
 */
ORVY_API orvy_Propval orvy_getValue(void *Obj, const char *PropName, int Idx);
/** Fetches a property as simulated software would, through its Reader if it has one; else as get. A
 * null object or name gives the all-zero record, silently. */
ORVY_API orvy_Propval orvy_readValue(void *Obj, const char *PropName, int Idx);
/** Stores into a property without a side effect on the model. A null object or name logs
 * "orvy_setValue() with null-object or property name". */
ORVY_API void orvy_setValue(void *Obj, const char *PropName, orvy_Propval Val, int Idx);
/** Stores into a property as simulated software would, through its Writer if it has one; else as
 * set. A null object or name logs "orvy_writeValue() with null-object or property name". */
ORVY_API void orvy_writeValue(void *Obj, const char *PropName, orvy_Propval Val, int Idx);

/* As orvy_getValue, with the plain integer as result. The type must be exactly the one in the name,
 * as no number is converted: any other value ends the process with an internal error that names the
 * object, the property and the type. That includes a null argument, an unknown property and an
 * index outside the property. Where the type is not known, use orvy_getValue and orvy_asInteger. */

/** Gets a property of type ovTY_U8. */
ORVY_API uint8_t orvy_getValueU8(void *Obj, const char *PropName, int Idx);
/** Gets a property of type ovTY_U16. */
ORVY_API uint16_t orvy_getValueU16(void *Obj, const char *PropName, int Idx);
/** Gets a property of type ovTY_U32. */
ORVY_API uint32_t orvy_getValueU32(void *Obj, const char *PropName, int Idx);
/** Gets a property of type ovTY_U64, not ovTY_Uintptr. */
ORVY_API uint64_t orvy_getValueU64(void *Obj, const char *PropName, int Idx);
/** Gets a property of type ovTY_I8. */
ORVY_API int8_t orvy_getValueI8(void *Obj, const char *PropName, int Idx);
/** Gets a property of type ovTY_I16. */
ORVY_API int16_t orvy_getValueI16(void *Obj, const char *PropName, int Idx);
/** Gets a property of type ovTY_I32. */
ORVY_API int32_t orvy_getValueI32(void *Obj, const char *PropName, int Idx);
/** Gets a property of type ovTY_I64, not ovTY_Intptr. */
ORVY_API int64_t orvy_getValueI64(void *Obj, const char *PropName, int Idx);

/* As orvy_readValue, with the plain integer as result, under the same conditions. */

/** Reads a property of type ovTY_U8. */
ORVY_API uint8_t orvy_readValueU8(void *Obj, const char *PropName, int Idx);
/** Reads a property of type ovTY_U16. */
ORVY_API uint16_t orvy_readValueU16(void *Obj, const char *PropName, int Idx);
/** Reads a property of type ovTY_U32. */
ORVY_API uint32_t orvy_readValueU32(void *Obj, const char *PropName, int Idx);
/** Reads a property of type ovTY_U64, not ovTY_Uintptr. */
ORVY_API uint64_t orvy_readValueU64(void *Obj, const char *PropName, int Idx);
/** Reads a property of type ovTY_I8. */
ORVY_API int8_t orvy_readValueI8(void *Obj, const char *PropName, int Idx);
/** Reads a property of type ovTY_I16. */
ORVY_API int16_t orvy_readValueI16(void *Obj, const char *PropName, int Idx);
/** Reads a property of type ovTY_I32. */
ORVY_API int32_t orvy_readValueI32(void *Obj, const char *PropName, int Idx);
/** Reads a property of type ovTY_I64, not ovTY_Intptr. */
ORVY_API int64_t orvy_readValueI64(void *Obj, const char *PropName, int Idx);

/* As orvy_setValue, with a value of the type in the name. The property must have that type, which
 * is not checked and nothing is converted: a narrower one takes the low bytes, in a wider one the
 * upper bytes are undefined, also for a negative number. */

/** Sets a property of type ovTY_U8. */
ORVY_API void orvy_setValueU8(void *Obj, const char *PropName, uint8_t Val, int Idx);
/** Sets a property of type ovTY_U16. */
ORVY_API void orvy_setValueU16(void *Obj, const char *PropName, uint16_t Val, int Idx);
/** Sets a property of type ovTY_U32. */
ORVY_API void orvy_setValueU32(void *Obj, const char *PropName, uint32_t Val, int Idx);
/** Sets a property of type ovTY_U64. */
ORVY_API void orvy_setValueU64(void *Obj, const char *PropName, uint64_t Val, int Idx);
/** Sets a property of type ovTY_I8. */
ORVY_API void orvy_setValueI8(void *Obj, const char *PropName, int8_t Val, int Idx);
/** Sets a property of type ovTY_I16. */
ORVY_API void orvy_setValueI16(void *Obj, const char *PropName, int16_t Val, int Idx);
/** Sets a property of type ovTY_I32. */
ORVY_API void orvy_setValueI32(void *Obj, const char *PropName, int32_t Val, int Idx);
/** Sets a property of type ovTY_I64. */
ORVY_API void orvy_setValueI64(void *Obj, const char *PropName, int64_t Val, int Idx);

/* As orvy_writeValue, with a value of the type in the name, under the same conditions. A Writer
 * gets the value with the tag in the name, whatever the type of the property is. */

/** Writes a property of type ovTY_U8. */
ORVY_API void orvy_writeValueU8(void *Obj, const char *PropName, uint8_t Val, int Idx);
/** Writes a property of type ovTY_U16. */
ORVY_API void orvy_writeValueU16(void *Obj, const char *PropName, uint16_t Val, int Idx);
/** Writes a property of type ovTY_U32. */
ORVY_API void orvy_writeValueU32(void *Obj, const char *PropName, uint32_t Val, int Idx);
/** Writes a property of type ovTY_U64. */
ORVY_API void orvy_writeValueU64(void *Obj, const char *PropName, uint64_t Val, int Idx);
/** Writes a property of type ovTY_I8. */
ORVY_API void orvy_writeValueI8(void *Obj, const char *PropName, int8_t Val, int Idx);
/** Writes a property of type ovTY_I16. */
ORVY_API void orvy_writeValueI16(void *Obj, const char *PropName, int16_t Val, int Idx);
/** Writes a property of type ovTY_I32. */
ORVY_API void orvy_writeValueI32(void *Obj, const char *PropName, int32_t Val, int Idx);
/** Writes a property of type ovTY_I64. */
ORVY_API void orvy_writeValueI64(void *Obj, const char *PropName, int64_t Val, int Idx);

/** As orvy_getValue, on the object of that name; ovTY_Invalid if there is none. */
ORVY_API orvy_Propval orvy_getNamedObjectProp(const char *ObjName, const char *PropName, int Idx);
/** As orvy_readValue, on the object of that name; ovTY_Invalid if there is none. */
ORVY_API orvy_Propval orvy_readNamedObjectProp(const char *ObjName, const char *PropName, int Idx);
/** As orvy_setValue, on the object of that name; silent if there is none. */
ORVY_API void orvy_setNamedObjectProp(const char *ObjName, const char *PropName, orvy_Propval Val,
                                      int Idx);
/** As orvy_writeValue, on the object of that name; silent if there is none. */
ORVY_API void orvy_writeNamedObjectProp(const char *ObjName, const char *PropName, orvy_Propval Val,
                                        int Idx);

ORVY_END_C

#endif
