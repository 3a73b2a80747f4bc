/* Classes.h - the instruction classes that the SparcV8 processor counts.
 *
 * orvy_cpuGetIClassCounter takes one of these. An instruction is counted when it completes; one that
 * traps is not counted, except for a taken ticc. */

#ifndef ORVY_MODELS_SPARCV8_CLASSES_H
#define ORVY_MODELS_SPARCV8_CLASSES_H

#include "orvy/Support/Export.h"

typedef ORVY_ENUM(orvy_SparcV8Class){
    ovSC_Arithmetic = 0,                    /**< add, subtract, tagged forms */
    ovSC_Logic = 1,                         /**< and, or, xor and their inverses */
    ovSC_Shift = 2,      ovSC_Multiply = 3, /**< umul, smul, mulscc */
    ovSC_Divide = 4,     ovSC_Sethi = 5,    /**< includes nop */
    ovSC_Branch = 6,                        /**< Bicc, taken or not */
    ovSC_Jump = 7,                          /**< call, jmpl */
    ovSC_Window = 8,                        /**< save, restore */
    ovSC_Load = 9,       ovSC_Store = 10,   ovSC_Atomic = 11, /**< ldstub, swap */
    ovSC_State = 12,   /**< reads and writes of state registers */
    ovSC_Trap = 13,    /**< ticc, rett */
    ovSC_Barrier = 14, /**< flush, stbar */
    ovSC_Reserved15 = 15} orvy_SparcV8Class;

/** Number of counters. */
#define ORVY_SPARCV8_CLASSES 16

#endif
