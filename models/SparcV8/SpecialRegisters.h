/* SpecialRegisters.h - register numbers of the SparcV8 processor beyond the integer registers 0
 * to 31. */

#ifndef ORVY_MODELS_SPARCV8_SPECIALREGISTERS_H
#define ORVY_MODELS_SPARCV8_SPECIALREGISTERS_H

#include "orvy/Support/Export.h"

/** Register numbers that getRegId gives and getGpr and setGpr take. */
typedef ORVY_ENUM(orvy_SparcV8Reg){ovSR_Y = 64,   ovSR_Psr = 65, ovSR_Wim = 66,
                                   ovSR_Tbr = 67, ovSR_Pc = 68,  ovSR_NPc = 69} orvy_SparcV8Reg;

/** Numbers of getSpr and setSpr; 16 to 31 are the ancillary state registers. */
typedef ORVY_ENUM(orvy_SparcV8Spr){ovSS_Y = 0,   ovSS_Psr = 1, ovSS_Wim = 2,
                                   ovSS_Tbr = 3, ovSS_Pc = 4,  ovSS_NPc = 5} orvy_SparcV8Spr;

#endif
