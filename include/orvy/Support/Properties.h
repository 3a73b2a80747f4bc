/* Properties.h - describing the state of a class: properties, registers and their fields.
 *
 * A property names a field in the model object by its byte offset, or is a pseudo property that
 * exists only as functions. A register is a property with a description of its bits, listed in a
 * bank. The describing functions ignore a null class, so that a plug-in that is loaded twice does
 * no harm; a null name is an internal error, a null Doc is an empty one. Descriptions live as long
 * as the class; what an object holds is reached with Propval.h.
 *
 * The paging functions take the first position, the most rows wanted and where to put them, and
 * return how many rows they wrote; with a null Out they return how many there are.
 *
 * Nothing here takes a lock: all of it belongs to the thread that owns the object system. */

#ifndef ORVY_SUPPORT_PROPERTIES_H
#define ORVY_SUPPORT_PROPERTIES_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** Opaque handle of a bank of registers. */
typedef struct orvy_RegisterBank orvy_RegisterBank;
/** Opaque handle of a register. */
typedef struct orvy_Register orvy_Register;
/** Opaque handle of a field of a register. */
typedef struct orvy_Field orvy_Field;

/** Hook of the write or set route: stores element Idx. */
typedef void (*orvy_PropWriter)(void *Obj, orvy_Propval Pv, int Idx);
/** Hook of the read or get route: fetches element Idx. */
typedef orvy_Propval (*orvy_PropReader)(void *Obj, int Idx);

/** What orvy_propInfoForClass tells of a property. */
typedef struct orvy_PropInfo {
  const char *Name; /**< owned by the class */
  orvy_Type Typ;
  size_t Count;   /**< elements, 1 for a scalar */
  int64_t Offset; /**< bytes from the start of the object, -1 for a pseudo property */
} orvy_PropInfo;

ORVY_STATIC_ASSERT(sizeof(orvy_PropInfo) == 32, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_PropInfo, Typ) == 8, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_PropInfo, Count) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_PropInfo, Offset) == 24, "boundary record");

/* Describing a class */

/**
 * Adds a property that names a field. One of the same name is replaced.
 * @param Offset  bytes from the start of the object to the first element
 * @param Typ     type of the elements
 * @param Count   number of elements, 1 for a scalar; below 0 counts as 0
 * @param Writer  called by the write route, or null
 * @param Reader  called by the read route, or null
 * @param Doc     what it is for; empty when there is nothing to say
 */
ORVY_API void orvy_addProperty(orvy_Class *Cls, const char *PropName, int Offset, orvy_Type Typ,
                               int Count, orvy_PropWriter Writer, orvy_PropReader Reader,
                               const char *Doc);
/**
 * Adds a property without a field. The Writer and Reader serve the write and read routes, the
 * Setter and Getter set and get; each may be null, and a route without a hook reads as no value or
 * does nothing.
 */
ORVY_API void orvy_addPseudoProperty(orvy_Class *Cls, const char *PropName, orvy_Type Typ,
                                     int Count, orvy_PropWriter Writer, orvy_PropReader Reader,
                                     orvy_PropWriter Setter, orvy_PropReader Getter,
                                     const char *Doc);
/** Makes a reference property accept only objects with an interface of that type; what is refused
 * later is logged. An unknown property is ignored; an earlier requirement is replaced. A null name
 * is an internal error. */
ORVY_API void orvy_requireInterface(orvy_Class *Cls, const char *PropName, const char *IfaceType);
/** Adds a bank of registers. Returns it, or null, silently, if the class is null or has a bank of
 * that name. The bank belongs to the class. */
ORVY_API orvy_RegisterBank *orvy_addRegisterBank(orvy_Class *Cls, const char *BankName);
/**
 * Adds a register to a bank, and to the class as a property. Arguments as of orvy_addProperty.
 * @param Param0,Param1  kept with the register, without a meaning to the library
 * @return the register, or null for a null bank
 */
ORVY_API orvy_Register *orvy_addRegister(orvy_RegisterBank *Bank, const char *RegName, int Offset,
                                         orvy_Type Typ, int Count, orvy_PropWriter Writer,
                                         orvy_PropReader Reader, const char *Doc, unsigned Param0,
                                         unsigned Param1);
/**
 * Adds a field to a register. A null register logs an error.
 * @param Mask            the field's bits in the register
 * @param ColdResetValue  value after a cold reset, in register position
 * @param WarmResetValue  value after a warm reset, in register position
 * @param Flags           bit 0: software can write the field; bit 1: the field joins the auxiliary
 * mask
 */
ORVY_API void orvy_addField(orvy_Register *Reg, const char *FieldName, uint64_t Mask,
                            uint64_t ColdResetValue, uint64_t WarmResetValue, uint64_t Flags,
                            const char *Doc);

/* Asking about properties, by object and exact name */

/** The number of elements; -1 for a null argument, an unknown object or an unknown property. */
ORVY_API int orvy_getPropLength(void *Obj, const char *PropName);
/** The number of elements present: the size of an array of references, else as orvy_getPropLength,
 * -1 included. */
ORVY_API int orvy_getPropDynLength(void *Obj, const char *PropName);
/** The type; ovTY_Invalid for a null argument, an unknown object or an unknown property. */
ORVY_API orvy_Type orvy_getPropType(void *Obj, const char *PropName);
/** Whether the property has no field: 1 or 0; 0 if it does not exist. */
ORVY_API int orvy_isPseudoProperty(void *Obj, const char *PropName);
/** Whether the property has a field: 1 or 0; 0 if it does not exist. */
ORVY_API int orvy_isNormalProperty(void *Obj, const char *PropName);
/** Whether the name, with or without a bracket part, is a property of the object or a delegate of a
 * component: 1 or 0. */
ORVY_API int orvy_objectHasProp(void *Obj, const char *PropName);
/** The object and the property that a name, with or without a bracket part, stands for, once the
 * delegates of a component are resolved. Both fields null, silently, if there is none. The text
 * belongs to the class or component. */
ORVY_API orvy_PropName orvy_getPropName(void *Obj, const char *PropName);
/** Pages through the properties of a class in name order; 0 for a null class. */
ORVY_API unsigned orvy_propInfoForClass(orvy_Class *Cls, unsigned Start, unsigned Max,
                                        orvy_PropInfo *Out);

/* Registers and fields. Texts belong to the record and live as long as the class. */

/** The bank of that name; null if there is none, or for a null argument. */
ORVY_API orvy_RegisterBank *orvy_getRegisterBank(orvy_Class *Cls, const char *BankName);
/** Pages through the banks of a class in name order; 0 for a null class. */
ORVY_API unsigned orvy_getRegisterBanks(orvy_Class *Cls, unsigned Start, unsigned Max,
                                        orvy_RegisterBank **Out);
/** The name of a bank; null for null. */
ORVY_API const char *orvy_getRegisterBankName(orvy_RegisterBank *Bank);
/** The register of that name in the bank's class, in whichever bank; null if there is none, or for
 * a null argument. */
ORVY_API orvy_Register *orvy_getRegister(orvy_RegisterBank *Bank, const char *RegName);
/** Pages through the registers of a bank in the order of adding; 0 for a null bank. */
ORVY_API unsigned orvy_getRegisters(orvy_RegisterBank *Bank, unsigned Start, unsigned Max,
                                    orvy_Register **Out);
/** The name of a register. A null register logs an error and yields null. */
ORVY_API const char *orvy_getRegisterName(orvy_Register *Reg);
/** The documentation of a register. A null register logs an error and yields null. */
ORVY_API const char *orvy_getRegisterDocs(orvy_Register *Reg);
/** The union of the masks of all fields. A null register logs an error and yields 0. */
ORVY_API uint64_t orvy_getRegisterReadMask(orvy_Register *Reg);
/** The union of the masks of the writable fields. A null register logs an error and yields 0. */
ORVY_API uint64_t orvy_getRegisterWriteMask(orvy_Register *Reg);
/** The union of the cold reset values of all fields. A null register logs an error and yields 0. */
ORVY_API uint64_t orvy_getRegisterColdResetValue(orvy_Register *Reg);
/** The union of the warm reset values of all fields. A null register logs an error and yields 0. */
ORVY_API uint64_t orvy_getRegisterWarmResetValue(orvy_Register *Reg);
/** The field of that name, the first one added; null if there is none, or for a null argument. */
ORVY_API orvy_Field *orvy_getField(orvy_Register *Reg, const char *FieldName);
/** Pages through the fields of a register in the order of adding; 0 for a null register. */
ORVY_API unsigned orvy_getFields(orvy_Register *Reg, unsigned Start, unsigned Max,
                                 orvy_Field **Out);
/** The name of a field; null for null. */
ORVY_API const char *orvy_getFieldName(orvy_Field *Field);
/** The documentation of a field; null for null. */
ORVY_API const char *orvy_getFieldDocs(orvy_Field *Field);
/** The mask of a field, in register position; 0 for null. */
ORVY_API uint64_t orvy_getFieldMask(orvy_Field *Field);

/** The value of a field of element 0 of a register, shifted down, on the get route. 0 if there is
 * no such register or field, silently, or if an argument is null, with the error "invalid
 * getFieldValue parameters". */
ORVY_API uint64_t orvy_getFieldValue(void *Obj, const char *RegName, const char *FieldName);
/**
 * Stores a field of element 0 of a register, on the set route: the rest of the register is fetched
 * on the get route and stored back. An integer register whose type is not ovTY_U8, ovTY_U16,
 * ovTY_U32 or ovTY_U64 ends the process with a fatal message.
 * @param Val  value of the field, not shifted; cut to the field's width
 * @return 0; -1 if there is no such register or field, or, with an error, if an argument is null
 */
ORVY_API int orvy_setFieldValue(void *Obj, const char *RegName, const char *FieldName,
                                uint64_t Val);
/** As orvy_setFieldValue, storing on the write route; the rest of the register is still fetched
 * without a side effect. */
ORVY_API int orvy_writeFieldValue(void *Obj, const char *RegName, const char *FieldName,
                                  uint64_t Val);

ORVY_END_C

#endif
