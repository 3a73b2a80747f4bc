/* Processor.h - the tables through which the system reaches processors and machines, and the flat
 * functions over them.
 *
 * A class qualified as processor has the VTable { CpuIface *; reserved; EventIface * }, one
 * qualified as machine { MachineIface *; EventIface * }. Both kinds declare their orvy_EventQueue
 * pointer as first field after the header. The flat functions require an object of their kind: any
 * other object, and null, are an internal error. A slot that the model left null logs an error such
 * as "does not implement CpuIface.getPc"; the function then returns 0 or does nothing. All belong
 * to the simulation thread, except where said otherwise. */

#ifndef ORVY_SUPPORT_PROCESSOR_H
#define ORVY_SUPPORT_PROCESSOR_H

#include "orvy/Support/Events.h"
#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** Why a run or step ended. A processor returns no other value. */
typedef ORVY_ENUM(orvy_CpuExitReason){
    ovCER_Normal = 0,    /**< time or step count reached, or a stop was requested */
    ovCER_Halt = 3,      /**< the processor halted */
    ovCER_Break = 5,     /**< a break condition was met */
    ovCER_BreakRead = 6, /**< a break condition on a read */
    ovCER_BreakWrite = 7 /**< a break condition on a write */
} orvy_CpuExitReason;

/** Kinds of reset. */
typedef ORVY_ENUM(orvy_ResetKind){ovRK_Cold = 0, ovRK_Warm = 1} orvy_ResetKind;

/** Bit 0 of the flags of orvy_cpuRaiseTrap: leave the caller by way of the model. */
#define ORVY_TRAP_NO_RETURN 1u

/** Word of a processor object, in 64-bit words from its start, at which its counters of executed
 * instruction classes lie. */
#define ORVY_CPU_ICLASS_WORD 45

/** Table of a processor. */
typedef struct CpuIface {
  void (*reset)(void *Cpu, int Kind);                         /* 0 */
  orvy_CpuExitReason (*run)(void *Cpu, uint64_t Cycles);      /* 1 */
  orvy_CpuExitReason (*runUntil)(void *Cpu, uint64_t Cycles); /* 2: absolute */
  orvy_CpuExitReason (*step)(void *Cpu, uint64_t Steps);      /* 3 */
  orvy_CpuExitReason (*stepUntil)(void *Cpu, uint64_t Steps,
                                  uint64_t Cycles); /* 4: absolute limit */
  void (*raiseTrapNoReturn)(void *Cpu, int Trap);   /* 5 */
  void (*Reserved6)(void);
  void (*Reserved7)(void);
  uint64_t (*getFreq)(void *Cpu);   /* 8: Hz */
  uint64_t (*getCycles)(void *Cpu); /* 9 */
  uint64_t (*getSteps)(void *Cpu);  /* 10 */
  void (*Reserved11)(void);
  void (*setPc)(void *Cpu, uint64_t Pc);                    /* 12 */
  uint64_t (*getPc)(void *Cpu);                             /* 13 */
  void (*setGpr)(void *Cpu, uint32_t Reg, uint64_t Value);  /* 14 */
  uint64_t (*getGpr)(void *Cpu, uint32_t Reg);              /* 15 */
  void (*setFpr32)(void *Cpu, uint32_t Reg, uint32_t Bits); /* 16 */
  uint32_t (*getFpr32)(void *Cpu, uint32_t Reg);            /* 17 */
  void (*setFpr64)(void *Cpu, uint32_t Reg, uint64_t Bits); /* 18 */
  uint64_t (*getFpr64)(void *Cpu, uint32_t Reg);            /* 19 */
  void (*setSpr)(void *Cpu, uint32_t Reg, uint64_t Value);  /* 20 */
  uint64_t (*getSpr)(void *Cpu, uint32_t Reg);              /* 21 */
  int (*getRegId)(void *Cpu, const char *Name);             /* 22: negative if unknown */
  const char *(*getRegName)(void *Cpu, uint32_t Reg);       /* 23: null if it has none */
  uint32_t (*assemble)(void *Cpu, const char *Text);        /* 24 */
  char *(*disassemble)(void *Cpu, uint32_t Instr);          /* 25: malloc, caller frees */
  void (*enableTraps)(void *Cpu);                           /* 26 */
  void (*disableTraps)(void *Cpu);                          /* 27 */
  void (*Reserved28)(void);
  uint64_t (*translateAddress)(void *Cpu, uint64_t Va, uint32_t *Flags); /* 29 */
  void (*Reserved30)(void);
  void (*Reserved31)(void);
  void (*enableTrapEvents)(void *Cpu);  /* 32 */
  void (*disableTrapEvents)(void *Cpu); /* 33 */
  void (*Reserved34)(void);
  void (*Reserved35)(void);
  void *(*getMachine)(void *Cpu);                  /* 36: null if it has none */
  void (*raiseTrap)(void *Cpu, int Trap);          /* 37 */
  const char *(*getTrapName)(void *Cpu, int Trap); /* 38: null if it has none */
} CpuIface;

ORVY_STATIC_ASSERT(sizeof(CpuIface) == 39 * sizeof(void *), "boundary table");
ORVY_STATIC_ASSERT(offsetof(CpuIface, getFreq) == 8 * sizeof(void *), "boundary table");
ORVY_STATIC_ASSERT(offsetof(CpuIface, setPc) == 12 * sizeof(void *), "boundary table");
ORVY_STATIC_ASSERT(offsetof(CpuIface, getRegId) == 22 * sizeof(void *), "boundary table");
ORVY_STATIC_ASSERT(offsetof(CpuIface, translateAddress) == 29 * sizeof(void *), "boundary table");
ORVY_STATIC_ASSERT(offsetof(CpuIface, enableTrapEvents) == 32 * sizeof(void *), "boundary table");
ORVY_STATIC_ASSERT(offsetof(CpuIface, getMachine) == 36 * sizeof(void *), "boundary table");

/** Table of a machine. */
typedef struct MachineIface {
  void (*reset)(void *Machine, int Kind);                             /* 0 */
  orvy_CpuExitReason (*run)(void *Machine, uint64_t Nanos);           /* 1 */
  orvy_CpuExitReason (*step)(void *Machine, int Cpu, uint64_t Steps); /* 2 */
  orvy_IfaceRef (*getCurrentCpu)(void *Machine);                      /* 3: CpuIface */
  orvy_IfaceRef (*getCpu)(void *Machine, uint32_t Idx); /* 4: null reference if out of range */
  uint64_t (*getTime)(void *Machine);                   /* 5: nanoseconds */
  uint32_t (*getCurrentCpuId)(void *Machine);           /* 6 */
  void (*asyncStop)(void *Machine);                     /* 7: any thread, signal handlers */
} MachineIface;

ORVY_STATIC_ASSERT(sizeof(MachineIface) == 8 * sizeof(void *), "boundary table");

/** Table of something with a supply. */
typedef struct PowerIface {
  void (*powerOn)(void *Obj);
  void (*powerOff)(void *Obj);
  int (*getPowerState)(void *Obj); /**< 1 means powered on */
} PowerIface;

ORVY_STATIC_ASSERT(sizeof(PowerIface) == 3 * sizeof(void *), "boundary table");

/** Table of something that can be reset. */
typedef struct ResetIface {
  void (*reset)(void *Obj, int Kind);
} ResetIface;

ORVY_STATIC_ASSERT(sizeof(ResetIface) == sizeof(void *), "boundary table");

/** Table of something that hands out lines of text or records. */
typedef struct LineDataLoggerIface {
  uint64_t (*getLineCount)(void *Obj);
  void *(*getLine)(void *Obj, uint64_t Idx);
} LineDataLoggerIface;

ORVY_STATIC_ASSERT(sizeof(LineDataLoggerIface) == 2 * sizeof(void *), "boundary table");

/** Frequency of the processor in Hz. */
ORVY_API uint64_t orvy_cpuGetFreq(void *Cpu);
/** Value of a general register, in the processor's present context. A register of 32 bits is
 * returned as the processor model widens it. */
ORVY_API uint64_t orvy_cpuGetReg(void *Cpu, uint32_t Reg);
/** Sets a general register, in the processor's present context. */
ORVY_API void orvy_cpuSetReg(void *Cpu, uint32_t Reg, uint64_t Value);
/** Value of a 32-bit floating-point register. */
ORVY_API float orvy_cpuGetFpr32(void *Cpu, uint32_t Reg);
/** The bits of a 32-bit floating-point register, not converted. */
ORVY_API uint32_t orvy_cpuGetFpr32Bits(void *Cpu, uint32_t Reg);
/** Sets a 32-bit floating-point register to a value. */
ORVY_API void orvy_cpuSetFpr32(void *Cpu, uint32_t Reg, float Value);
/** Sets the bits of a 32-bit floating-point register, not converted. */
ORVY_API void orvy_cpuSetFpr32Bits(void *Cpu, uint32_t Reg, uint32_t Bits);
/** Value of a 64-bit floating-point register, numbered as the processor model does. */
ORVY_API double orvy_cpuGetFpr64(void *Cpu, uint32_t Reg);
/** The bits of a 64-bit floating-point register, not converted. */
ORVY_API uint64_t orvy_cpuGetFpr64Bits(void *Cpu, uint32_t Reg);
/** Sets a 64-bit floating-point register to a value. */
ORVY_API void orvy_cpuSetFpr64(void *Cpu, uint32_t Reg, double Value);
/** Sets the bits of a 64-bit floating-point register, not converted. */
ORVY_API void orvy_cpuSetFpr64Bits(void *Cpu, uint32_t Reg, uint64_t Bits);
/** Runs for a number of cycles. @return cycles left; negative when the processor ran past the
 * request */
ORVY_API int64_t orvy_cpuRun(void *Cpu, uint64_t Cycles);
/** Runs for a number of steps. @return steps left; negative when the processor ran past the request
 */
ORVY_API int64_t orvy_cpuStep(void *Cpu, uint64_t Steps);
/**
 * Translates a virtual address.
 * @param Flags  0 for the translation; 2 + 16 * n for entry n of the tables that it goes through
 * @param Pa     takes the physical address, or the entry; not null
 * @return flags as the processor left them: 1 where there is no translation, or no such entry
 */
ORVY_API uint32_t orvy_cpuTranslateAddress(void *Cpu, uint64_t Va, uint32_t Flags, uint64_t *Pa);
/** Resets the processor. @param Kind an orvy_ResetKind */
ORVY_API void orvy_cpuReset(void *Cpu, int Kind);
/** Sets the program counter, a virtual address. */
ORVY_API void orvy_cpuSetPc(void *Cpu, uint64_t Pc);
/** Program counter, a virtual address. */
ORVY_API uint64_t orvy_cpuGetPc(void *Cpu);
/** Value of a special register, by the processor's own numbers. */
ORVY_API uint64_t orvy_cpuGetSpr(void *Cpu, uint32_t Reg);
/** Sets a special register, by the processor's own numbers. */
ORVY_API void orvy_cpuSetSpr(void *Cpu, uint32_t Reg, uint64_t Value);
/** Lets the processor take traps. */
ORVY_API void orvy_cpuEnableTraps(void *Cpu);
/** Keeps the processor from taking traps. */
ORVY_API void orvy_cpuDisableTraps(void *Cpu);
/** The machine that the processor belongs to; null if it has none. */
ORVY_API void *orvy_cpuGetMachine(void *Cpu);
/** Raises a trap as if by the current instruction. With ORVY_TRAP_NO_RETURN in Flags the call does
 * not return to the caller: the model leaves it. @param Flags 0 or ORVY_TRAP_NO_RETURN */
ORVY_API void orvy_cpuRaiseTrap(void *Cpu, int Trap, uint32_t Flags);
/** Number of executed instructions of a class, read from the object at ORVY_CPU_ICLASS_WORD.
 * Neither the object nor the class is checked: only for processors that keep these counters. */
ORVY_API uint64_t orvy_cpuGetIClassCounter(void *Cpu, uint32_t Class);
/** Sets the counter of orvy_cpuGetIClassCounter to 0; it checks nothing either. */
ORVY_API void orvy_cpuResetIClassCounter(void *Cpu, uint32_t Class);

/** Resets a machine. @param Kind an orvy_ResetKind */
ORVY_API void orvy_machineReset(void *Machine, int Kind);
/** Runs a machine for a time in nanoseconds. @return the growth of its property "quantaStart", in
 * nanoseconds; 0 for a machine without that property */
ORVY_API uint64_t orvy_machineRun(void *Machine, uint64_t Nanos);

/**
 * Hands a callback to a processor or machine; it runs on the simulation thread at its next trigger.
 * Any thread. Any other object ends the process with a fatal message.
 */
ORVY_API void orvy_postCallback(void *Obj, orvy_ThreadSafeCb Cb, void *Arg);

/** Number of lines that an object hands out; 0 if it lacks LineDataLoggerIface. */
ORVY_API uint64_t orvy_lineDataGetLineCount(void *Obj);
/** A line in the model's own form, which stays the model's; null if the object lacks
 * LineDataLoggerIface. */
ORVY_API void *orvy_lineDataGetLine(void *Obj, uint64_t Idx);

/* Assembler front ends. The object is any one with CpuIface; one without it logs the error "object
 * lacks CpuIface". Whether a text is an instruction is for the model to say. */

/** Assembles one instruction. @return the instruction word; 0 without CpuIface */
ORVY_API uint32_t orvy_assemble(void *Cpu, const char *Text);
/** Disassembles an instruction word. @return a text that the caller releases with free, or null */
ORVY_API char *orvy_disassemble(void *Cpu, uint32_t Instr);
/** Disassembles an instruction word. @return a text that stays until the next such call on this
 * thread, or null */
ORVY_API const char *orvy_disassembleAuto(void *Cpu, uint32_t Instr);
/** Assembles one instruction and writes its word, 4 bytes, at a physical address through the
 * processor's MemoryIface. Without that interface the log has an error and nothing is written; a
 * write that fails is not reported. */
ORVY_API void orvy_assembleToMemory(void *Cpu, const char *Text, uint64_t Addr);
/** Disassembles the word at a physical address, read through the processor's MemoryIface. A word
 * that cannot be read counts as 0. @return a text that the caller releases with free, or null */
ORVY_API char *orvy_disassembleMemory(void *Cpu, uint64_t Addr);
/** As orvy_disassembleMemory. @return a text that stays until the next such call on this thread, or
 * null */
ORVY_API const char *orvy_disassembleMemoryAuto(void *Cpu, uint64_t Addr);

ORVY_END_C

#endif
