/* Targets.h - what is peculiar to SPARC, ARM and PowerPC processors.
 *
 * Each flat function finds the target's interface by name; an object without it is an internal
 * error. All belong to the simulation thread. */

#ifndef ORVY_SUPPORT_TARGETS_H
#define ORVY_SUPPORT_TARGETS_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** Called when software reads an ancillary state register. */
typedef uint32_t (*orvy_SparcAsrReader)(void *Cpu, uint32_t Asr);
/** Called when software writes an ancillary state register. */
typedef void (*orvy_SparcAsrWriter)(void *Cpu, uint32_t Asr, uint32_t Value);

/** Table of a SPARC processor. */
typedef struct SparcIface {
  uint32_t (*getWindowCount)(void *Cpu);                                            /* 0 */
  uint32_t (*getWindowedReg)(void *Cpu, uint32_t Window, uint32_t Reg);             /* 1 */
  void (*setWindowedReg)(void *Cpu, uint32_t Window, uint32_t Reg, uint32_t Value); /* 2 */
  void (*Reserved3)(void);
  uint64_t (*getAsr)(void *Cpu, uint32_t Asr);                               /* 4 */
  void (*setAsr)(void *Cpu, uint32_t Asr, uint64_t Value);                   /* 5 */
  void (*setAsrReader)(void *Cpu, uint32_t Asr, orvy_SparcAsrReader Reader); /* 6 */
  void (*setAsrWriter)(void *Cpu, uint32_t Asr, orvy_SparcAsrWriter Writer); /* 7 */
  uint32_t (*getPsr)(void *Cpu);                                             /* 8 */
  void (*setPsr)(void *Cpu, uint32_t Value);                                 /* 9 */
  uint32_t (*getTbr)(void *Cpu);                                             /* 10 */
  void (*setTbr)(void *Cpu, uint32_t Value);                                 /* 11 */
  uint32_t (*getWim)(void *Cpu);                                             /* 12 */
  void (*setWim)(void *Cpu, uint32_t Value);                                 /* 13 */
  uint32_t (*getNPc)(void *Cpu);                                             /* 14 */
  void (*setNPc)(void *Cpu, uint32_t Value);                                 /* 15 */
} SparcIface;

ORVY_STATIC_ASSERT(sizeof(SparcIface) == 16 * sizeof(void *), "boundary table");

ORVY_API uint32_t orvy_sparcGetWindowCount(void *Cpu);
/** Register 0 to 31 as seen from a window. */
ORVY_API uint32_t orvy_sparcGetWindowedReg(void *Cpu, uint32_t Window, uint32_t Reg);
ORVY_API void orvy_sparcSetWindowedReg(void *Cpu, uint32_t Window, uint32_t Reg, uint32_t Value);
/** Ancillary state register; number 0 is Y. */
ORVY_API uint32_t orvy_sparcGetAsr(void *Cpu, uint32_t Asr);
ORVY_API void orvy_sparcSetAsr(void *Cpu, uint32_t Asr, uint32_t Value);
/** Function called when software reads the register; null restores the processor's own. */
ORVY_API void orvy_sparcSetAsrReader(void *Cpu, uint32_t Asr, orvy_SparcAsrReader Reader);
ORVY_API void orvy_sparcSetAsrWriter(void *Cpu, uint32_t Asr, orvy_SparcAsrWriter Writer);
ORVY_API uint32_t orvy_sparcGetPsr(void *Cpu);
ORVY_API void orvy_sparcSetPsr(void *Cpu, uint32_t Value);
ORVY_API uint32_t orvy_sparcGetTbr(void *Cpu);
ORVY_API void orvy_sparcSetTbr(void *Cpu, uint32_t Value);
ORVY_API uint32_t orvy_sparcGetWim(void *Cpu);
ORVY_API void orvy_sparcSetWim(void *Cpu, uint32_t Value);
ORVY_API uint32_t orvy_sparcGetNPc(void *Cpu);
ORVY_API void orvy_sparcSetNPc(void *Cpu, uint32_t Value);
ORVY_API uint32_t orvy_sparcGetY(void *Cpu);
ORVY_API void orvy_sparcSetY(void *Cpu, uint32_t Value);

/** Table of an ARM processor. */
typedef struct ArmIface {
  void (*Reserved0)(void);
  void (*Reserved1)(void);
  uint32_t (*getExecMode)(void *Cpu);                         /* 2 */
  void (*setExecMode)(void *Cpu, uint32_t Value);             /* 3 */
  uint32_t (*getAPSR)(void *Cpu);                             /* 4 */
  void (*setAPSR)(void *Cpu, uint32_t Value);                 /* 5 */
  uint32_t (*getFPSCR)(void *Cpu);                            /* 6 */
  void (*setFPSCR)(void *Cpu, uint32_t Value);                /* 7 */
  uint32_t (*getFPEXC)(void *Cpu);                            /* 8 */
  void (*setFPEXC)(void *Cpu, uint32_t Value);                /* 9 */
  uint32_t (*getFPINST)(void *Cpu, uint32_t Idx);             /* 10 */
  void (*setFPINST)(void *Cpu, uint32_t Idx, uint32_t Value); /* 11 */
} ArmIface;

ORVY_STATIC_ASSERT(sizeof(ArmIface) == 12 * sizeof(void *), "boundary table");

ORVY_API uint32_t orvy_armGetExecMode(void *Cpu);
ORVY_API void orvy_armSetExecMode(void *Cpu, uint32_t Value);
ORVY_API uint32_t orvy_armGetAPSR(void *Cpu);
ORVY_API void orvy_armSetAPSR(void *Cpu, uint32_t Value);
ORVY_API uint32_t orvy_armGetFPSCR(void *Cpu);
ORVY_API void orvy_armSetFPSCR(void *Cpu, uint32_t Value);
ORVY_API uint32_t orvy_armGetFPEXC(void *Cpu);
ORVY_API void orvy_armSetFPEXC(void *Cpu, uint32_t Value);
ORVY_API uint32_t orvy_armGetFPINST(void *Cpu, uint32_t Idx);
ORVY_API void orvy_armSetFPINST(void *Cpu, uint32_t Idx, uint32_t Value);

/** Table of a PowerPC processor. */
typedef struct PowerPCIface {
  uint32_t (*getXerReg)(void *Cpu);                     /* 0 */
  void (*setXerReg)(void *Cpu, uint32_t Value);         /* 1 */
  uint32_t (*getCrReg)(void *Cpu);                      /* 2 */
  void (*setCrReg)(void *Cpu, uint32_t Value);          /* 3 */
  uint64_t (*getMsrReg)(void *Cpu);                     /* 4 */
  void (*setMsrReg)(void *Cpu, uint64_t Value);         /* 5 */
  uint64_t (*getReserveAddress)(void *Cpu);             /* 6 */
  void (*setReserveAddress)(void *Cpu, uint64_t Value); /* 7 */
  int (*isReservationBitSet)(void *Cpu);                /* 8 */
  void (*clearAddressReservation)(void *Cpu);           /* 9 */
  uint32_t (*getCtrReg)(void *Cpu);                     /* 10 */
  void (*setCtrReg)(void *Cpu, uint32_t Value);         /* 11 */
  uint64_t (*getLrReg)(void *Cpu);                      /* 12 */
  void (*setLrReg)(void *Cpu, uint64_t Value);          /* 13 */
  uint32_t (*getFpscrReg)(void *Cpu);                   /* 14 */
  void (*setFpscrReg)(void *Cpu, uint32_t Value);       /* 15 */
} PowerPCIface;

ORVY_STATIC_ASSERT(sizeof(PowerPCIface) == 16 * sizeof(void *), "boundary table");

ORVY_API uint32_t orvy_ppcGetXerReg(void *Cpu);
ORVY_API void orvy_ppcSetXerReg(void *Cpu, uint32_t Value);
ORVY_API uint32_t orvy_ppcGetCrReg(void *Cpu);
ORVY_API void orvy_ppcSetCrReg(void *Cpu, uint32_t Value);
ORVY_API uint64_t orvy_ppcGetMsrReg(void *Cpu);
ORVY_API void orvy_ppcSetMsrReg(void *Cpu, uint64_t Value);
ORVY_API uint64_t orvy_ppcGetReserveAddress(void *Cpu);
ORVY_API void orvy_ppcSetReserveAddress(void *Cpu, uint64_t Value);
ORVY_API int orvy_ppcIsReservationBitSet(void *Cpu);
ORVY_API void orvy_ppcClearAddressReservation(void *Cpu);
ORVY_API uint32_t orvy_ppcGetCtrReg(void *Cpu);
ORVY_API void orvy_ppcSetCtrReg(void *Cpu, uint32_t Value);
ORVY_API uint64_t orvy_ppcGetLrReg(void *Cpu);
ORVY_API void orvy_ppcSetLrReg(void *Cpu, uint64_t Value);
ORVY_API uint32_t orvy_ppcGetFpscrReg(void *Cpu);
ORVY_API void orvy_ppcSetFpscrReg(void *Cpu, uint32_t Value);

ORVY_END_C

#endif
