/* Targets.h - the registers that only SPARC, ARM or PowerPC processors have.
 *
 * Each flat function finds the target's interface by name and calls one slot of it. An object
 * without the interface, and null, are an internal error. A slot that the model left null logs an
 * error such as "does not implement SparcIface.getPsr": a getter then returns 0, a setter does
 * nothing. Register and window numbers go to the model as they are; the model decides what a number
 * that does not exist means. All functions belong to the simulation thread. */

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

/** Number of register windows that the processor has. */
ORVY_API uint32_t orvy_sparcGetWindowCount(void *Cpu);
/** Register as seen from a window, the current one or not: 0 to 7 are the globals, 8 to 15 the
 * outs, 16 to 23 the locals, 24 to 31 the ins. */
ORVY_API uint32_t orvy_sparcGetWindowedReg(void *Cpu, uint32_t Window, uint32_t Reg);
/** Sets a register as seen from a window; numbers as of orvy_sparcGetWindowedReg. */
ORVY_API void orvy_sparcSetWindowedReg(void *Cpu, uint32_t Window, uint32_t Reg, uint32_t Value);
/** Ancillary state register, cut to 32 bits; number 0 is Y. */
ORVY_API uint32_t orvy_sparcGetAsr(void *Cpu, uint32_t Asr);
/** Sets an ancillary state register; number 0 is Y. */
ORVY_API void orvy_sparcSetAsr(void *Cpu, uint32_t Asr, uint32_t Value);
/** Has a function called for the value when software reads the register; null restores the
 * processor's own behaviour. */
ORVY_API void orvy_sparcSetAsrReader(void *Cpu, uint32_t Asr, orvy_SparcAsrReader Reader);
/** Has a function called with the value when software writes the register; null restores the
 * processor's own behaviour. */
ORVY_API void orvy_sparcSetAsrWriter(void *Cpu, uint32_t Asr, orvy_SparcAsrWriter Writer);
/** Processor state register, with its current window pointer in the low 5 bits. */
ORVY_API uint32_t orvy_sparcGetPsr(void *Cpu);
/** Sets the processor state register, and with it the current window. */
ORVY_API void orvy_sparcSetPsr(void *Cpu, uint32_t Value);
/** Trap base register: base address in bits 31 to 12, type of the last trap in bits 11 to 4. */
ORVY_API uint32_t orvy_sparcGetTbr(void *Cpu);
/** Sets the trap base register. */
ORVY_API void orvy_sparcSetTbr(void *Cpu, uint32_t Value);
/** Window invalid mask: bit n is set if window n is invalid. */
ORVY_API uint32_t orvy_sparcGetWim(void *Cpu);
/** Sets the window invalid mask. */
ORVY_API void orvy_sparcSetWim(void *Cpu, uint32_t Value);
/** Address of the instruction after the next one: the next program counter. */
ORVY_API uint32_t orvy_sparcGetNPc(void *Cpu);
/** Sets the next program counter; orvy_cpuSetPc sets the program counter itself. */
ORVY_API void orvy_sparcSetNPc(void *Cpu, uint32_t Value);
/** The Y register of multiplication and division: ancillary state register 0. */
ORVY_API uint32_t orvy_sparcGetY(void *Cpu);
/** Sets the Y register. */
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

/** Execution mode, by the number that the processor model gives it. */
ORVY_API uint32_t orvy_armGetExecMode(void *Cpu);
/** Sets the execution mode, by the number that the processor model gives it. */
ORVY_API void orvy_armSetExecMode(void *Cpu, uint32_t Value);
/** Application program status register: the condition flags. */
ORVY_API uint32_t orvy_armGetAPSR(void *Cpu);
/** Sets the application program status register. */
ORVY_API void orvy_armSetAPSR(void *Cpu, uint32_t Value);
/** Floating-point status and control register. */
ORVY_API uint32_t orvy_armGetFPSCR(void *Cpu);
/** Sets the floating-point status and control register. */
ORVY_API void orvy_armSetFPSCR(void *Cpu, uint32_t Value);
/** Floating-point exception register. */
ORVY_API uint32_t orvy_armGetFPEXC(void *Cpu);
/** Sets the floating-point exception register. */
ORVY_API void orvy_armSetFPEXC(void *Cpu, uint32_t Value);
/** Floating-point instruction register of an index. */
ORVY_API uint32_t orvy_armGetFPINST(void *Cpu, uint32_t Idx);
/** Sets the floating-point instruction register of an index. */
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

/** Fixed-point exception register: carry, overflow and summary overflow. */
ORVY_API uint32_t orvy_ppcGetXerReg(void *Cpu);
/** Sets the fixed-point exception register. */
ORVY_API void orvy_ppcSetXerReg(void *Cpu, uint32_t Value);
/** Condition register, with field 0 in the most significant four bits. */
ORVY_API uint32_t orvy_ppcGetCrReg(void *Cpu);
/** Sets the condition register. */
ORVY_API void orvy_ppcSetCrReg(void *Cpu, uint32_t Value);
/** Machine state register, in 64 bits. */
ORVY_API uint64_t orvy_ppcGetMsrReg(void *Cpu);
/** Sets the machine state register, in 64 bits. */
ORVY_API void orvy_ppcSetMsrReg(void *Cpu, uint64_t Value);
/** Address of the reservation that a load-and-reserve instruction has made. */
ORVY_API uint64_t orvy_ppcGetReserveAddress(void *Cpu);
/** Sets the address of the reservation. */
ORVY_API void orvy_ppcSetReserveAddress(void *Cpu, uint64_t Value);
/** Whether there is a reservation: non-zero if so, as the processor model returns it. */
ORVY_API int orvy_ppcIsReservationBitSet(void *Cpu);
/** Drops the reservation, so that the next conditional store fails. */
ORVY_API void orvy_ppcClearAddressReservation(void *Cpu);
/** Count register, 32 bits. */
ORVY_API uint32_t orvy_ppcGetCtrReg(void *Cpu);
/** Sets the count register, 32 bits. */
ORVY_API void orvy_ppcSetCtrReg(void *Cpu, uint32_t Value);
/** Link register, in 64 bits. */
ORVY_API uint64_t orvy_ppcGetLrReg(void *Cpu);
/** Sets the link register, in 64 bits. */
ORVY_API void orvy_ppcSetLrReg(void *Cpu, uint64_t Value);
/** Floating-point status and control register. */
ORVY_API uint32_t orvy_ppcGetFpscrReg(void *Cpu);
/** Sets the floating-point status and control register. */
ORVY_API void orvy_ppcSetFpscrReg(void *Cpu, uint32_t Value);

ORVY_END_C

#endif
