/* Processor.h - the tables through which the system reaches processors and machines, and the flat
 * functions over them.
 *
 * A class qualified as processor has the VTable { CpuIface *; reserved; EventIface * }, one
 * qualified as machine { MachineIface *; EventIface * }. Both kinds declare their orvy_EventQueue
 * pointer as first field behind the header. The flat functions require an object of their kind: any
 * other one is an internal error. All belong to the simulation thread, except where said otherwise.
 */

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

/** Frequency in Hz. */
ORVY_API uint64_t orvy_cpuGetFreq(void *Cpu);
/** General register, in the processor's present context. */
ORVY_API uint64_t orvy_cpuGetReg(void *Cpu, uint32_t Reg);
ORVY_API void orvy_cpuSetReg(void *Cpu, uint32_t Reg, uint64_t Value);
/** Floating-point register as 32-bit value or as its bits. */
ORVY_API float orvy_cpuGetFpr32(void *Cpu, uint32_t Reg);
ORVY_API uint32_t orvy_cpuGetFpr32Bits(void *Cpu, uint32_t Reg);
ORVY_API void orvy_cpuSetFpr32(void *Cpu, uint32_t Reg, float Value);
ORVY_API void orvy_cpuSetFpr32Bits(void *Cpu, uint32_t Reg, uint32_t Bits);
/** Floating-point register as 64-bit value or as its bits. */
ORVY_API double orvy_cpuGetFpr64(void *Cpu, uint32_t Reg);
ORVY_API uint64_t orvy_cpuGetFpr64Bits(void *Cpu, uint32_t Reg);
ORVY_API void orvy_cpuSetFpr64(void *Cpu, uint32_t Reg, double Value);
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
/** Resets the processor. @param Kind orvy_ResetKind */
ORVY_API void orvy_cpuReset(void *Cpu, int Kind);
/** Program counter. */
ORVY_API void orvy_cpuSetPc(void *Cpu, uint64_t Pc);
ORVY_API uint64_t orvy_cpuGetPc(void *Cpu);
/** Special register, by the processor's own numbers. */
ORVY_API uint64_t orvy_cpuGetSpr(void *Cpu, uint32_t Reg);
ORVY_API void orvy_cpuSetSpr(void *Cpu, uint32_t Reg, uint64_t Value);
/** Lets traps be taken, or not. */
ORVY_API void orvy_cpuEnableTraps(void *Cpu);
ORVY_API void orvy_cpuDisableTraps(void *Cpu);
/** Machine of the processor, null if it has none. */
ORVY_API void *orvy_cpuGetMachine(void *Cpu);
/** Raises a trap as if by the current instruction. @param Flags 0 or ORVY_TRAP_NO_RETURN */
ORVY_API void orvy_cpuRaiseTrap(void *Cpu, int Trap, uint32_t Flags);
/** Counter of executed instructions of a class; reads the object directly and checks nothing. */
ORVY_API uint64_t orvy_cpuGetIClassCounter(void *Cpu, uint32_t Class);
/** Clears such a counter. */
ORVY_API void orvy_cpuResetIClassCounter(void *Cpu, uint32_t Class);

/** Resets a machine. @param Kind orvy_ResetKind */
ORVY_API void orvy_machineReset(void *Machine, int Kind);
/** Runs a machine for a time. @return the growth of its property "quantaStart", in nanoseconds */
ORVY_API uint64_t orvy_machineRun(void *Machine, uint64_t Nanos);

/**
 * Hands a callback to a processor or machine; it runs on the simulation thread at its next trigger.
 * Any thread. Any other object ends the process with a fatal message.
 */
ORVY_API void orvy_postCallback(void *Obj, orvy_ThreadSafeCb Cb, void *Arg);

/** Number of lines; 0 if the object lacks LineDataLoggerIface. */
ORVY_API uint64_t orvy_lineDataGetLineCount(void *Obj);
/** A line in the model's own form; null if the object lacks LineDataLoggerIface. */
ORVY_API void *orvy_lineDataGetLine(void *Obj, uint64_t Idx);

/* Assembler front ends; the object must have CpuIface, else the log has an error. */

/** Assembles one instruction. @return its word, 0 without CpuIface */
ORVY_API uint32_t orvy_assemble(void *Cpu, const char *Text);
/** Disassembles a word. @return text the caller frees, or null */
ORVY_API char *orvy_disassemble(void *Cpu, uint32_t Instr);
/** Disassembles a word. @return text that stays until the next such call on this thread, or null */
ORVY_API const char *orvy_disassembleAuto(void *Cpu, uint32_t Instr);
/** Assembles one instruction into the memory that the processor's MemoryIface shows. */
ORVY_API void orvy_assembleToMemory(void *Cpu, const char *Text, uint64_t Addr);
/** Disassembles a word of memory. @return text the caller frees, or null */
ORVY_API char *orvy_disassembleMemory(void *Cpu, uint64_t Addr);
/** Disassembles a word of memory. @return text that stays until the next such call on this thread
 */
ORVY_API const char *orvy_disassembleMemoryAuto(void *Cpu, uint64_t Addr);

ORVY_END_C

#endif
