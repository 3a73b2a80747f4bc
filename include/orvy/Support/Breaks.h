/* Breaks.h - the break and watch points of a user, and why the latest run ended.
 *
 * They are those of the commands "break", "watch" and "breaks": what is set in one way is listed,
 * changed and removed in the other. They have numbers from 1 on, which are not used again. The
 * target's memory and the timing of a run stay as they are.
 *
 *     uint64_t Id = orvy_breakSet(NULL, "main.c:41", "n > 5");
 *     orvy_StopInfo Stop;
 *     orvy_stopConclude(Sim, orvy_simRunSecs(1.0), &Stop);
 *     if (Stop.Kind == ovSK_Break && Stop.BreakId == Id)
 *       puts(Stop.Text);
 *
 * Everything belongs to the simulation thread. All functions may be called at any time, also from
 * what a run calls. */

#ifndef ORVY_SUPPORT_BREAKS_H
#define ORVY_SUPPORT_BREAKS_H

#include "orvy/Support/Processor.h"

ORVY_BEGIN_C

/** What a break point waits for. */
typedef ORVY_ENUM(orvy_UserBreakKind){
    ovUB_Code = 0,   /**< the execution of an instruction; stops before it */
    ovUB_Write = 1,  /**< a write to memory; stops after it, as all that follow */
    ovUB_Change = 2, /**< a write that changes something */
    ovUB_Read = 3,   /**< a read of memory */
    ovUB_Access = 4, /**< a read or a write */
    ovUB_Polled = 5  /**< a register or a property that has another value */
} orvy_UserBreakKind;

/** A break or watch point. Texts belong to it: they are valid until it is changed or removed. */
typedef struct orvy_BreakInfo {
  uint64_t Id;
  uint64_t Hits;         /**< accesses that it met and whose condition was true */
  uint64_t Ignore;       /**< further hits that do not stop */
  uint64_t Length;       /**< bytes that are watched; 0 for code and polled ones */
  const char *Asked;     /**< place or expression as it was given */
  const char *Condition; /**< null without */
  const char *Cpu;       /**< name of the only processor that counts; null for all */
  uint32_t Kind;         /**< orvy_UserBreakKind */
  uint32_t Places;       /**< number of addresses at which it waits, see orvy_breakGetPlace */
  uint8_t IsEnabled;
  uint8_t IsOnce; /**< 1 if it goes when it has stopped a run */
} orvy_BreakInfo;

ORVY_STATIC_ASSERT(sizeof(orvy_BreakInfo) == 72, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_BreakInfo, Asked) == 32, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_BreakInfo, Kind) == 56, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_BreakInfo, IsEnabled) == 64, "boundary record");

/**
 * Sets a break point on code.
 * @param Cpu the processor whose program and frame names refer to; null for the selected one. The
 *        break point is for all processors, see orvy_breakSetCpu
 * @param Place a function, "main.c:41", "41", "+3" or "*0x40001234"; null or empty for the present
 *        place. One that stands for several, as a line of an inlined function, gets them all
 * @param Condition an expression of C that is evaluated at each hit; null for none
 * @return its number; 0, with an error in the log, if there is no such place or processor
 */
ORVY_API uint64_t orvy_breakSet(void *Cpu, const char *Place, const char *Condition);

/**
 * Sets a watch point.
 * @param Cpu as for orvy_breakSet
 * @param What a variable or another expression that is in memory; with a length any expression,
 *        whose value is the address
 * @param Kind an orvy_UserBreakKind from ovUB_Write to ovUB_Access. What is not in memory, registers
 *        and properties, becomes ovUB_Polled: it is compared between instructions, by the commands
 *        that run and step alone
 * @param Length bytes to watch, up to 1 MiB; 0 for those of the expression
 * @param Condition as for orvy_breakSet
 * @return its number; 0, with an error in the log, if it cannot be watched
 */
ORVY_API uint64_t orvy_watchSet(void *Cpu, const char *What, uint32_t Kind, uint64_t Length,
                                const char *Condition);

/** Removes a break point. @return 0; 1 if there is none of that number */
ORVY_API int orvy_breakDelete(uint64_t Id);

/** Enables a break point, or disables it with 0. @return 0; 1 if there is none of that number */
ORVY_API int orvy_breakEnable(uint64_t Id, int IsEnabled);

/** Has a break point go when it has stopped a run, or stay with 0. @return 0; 1 if there is none of
 * that number */
ORVY_API int orvy_breakSetOnce(uint64_t Id, int IsOnce);

/** Sets how many further hits of a break point do not stop. @return 0; 1 if there is none of that
 * number */
ORVY_API int orvy_breakSetIgnore(uint64_t Id, uint64_t Hits);

/** Changes the condition of a break point; null or empty for none. @return 0; 1, with an error in
 * the log, if there is none of that number or the text is not an expression */
ORVY_API int orvy_breakSetCondition(uint64_t Id, const char *Condition);

/** Has a break point count for one processor alone, or for all with null. @return 0; 1, with an
 * error in the log, if there is none of that number or the object is not a processor */
ORVY_API int orvy_breakSetCpu(uint64_t Id, void *Cpu);

/** Tells of a break point. @return 0; 1, with the record zeroed, if there is none of that number */
ORVY_API int orvy_breakGet(uint64_t Id, orvy_BreakInfo *Info);

/**
 * Tells where a break point waits.
 * @param Index less than Places of its record
 * @param Address virtual address; may be null
 * @return "main.c:41 (update)" or what is watched, valid until the break point goes; null if there
 *         is no such break point or place
 */
ORVY_API const char *orvy_breakGetPlace(uint64_t Id, uint32_t Index, uint64_t *Address);

/** The number of the next break point in the order of their numbers, 0 after the last one. Begin
 * with 0; the one of the number given may have gone. */
ORVY_API uint64_t orvy_breakNext(uint64_t Id);

/** Why a run ended. */
typedef ORVY_ENUM(orvy_StopKind){
    ovSK_None = 0,      /**< there was no run */
    ovSK_Time = 1,      /**< the time asked for is over */
    ovSK_Steps = 2,     /**< the steps asked for are done */
    ovSK_Break = 3,     /**< a break point */
    ovSK_Watch = 4,     /**< a watch point */
    ovSK_Halt = 5,      /**< a processor went into error mode */
    ovSK_Interrupt = 6, /**< ^C at the prompt */
    ovSK_Asked = 7      /**< a model or the host program asked for it */
} orvy_StopKind;

/** Why, where and when a run ended. Texts are valid until the next run is concluded. */
typedef struct orvy_StopInfo {
  uint32_t Kind;    /**< orvy_StopKind */
  uint64_t BreakId; /**< number of the break point; 0 without */
  uint64_t Pc;      /**< virtual; 0 without a processor */
  double Seconds;   /**< simulated time, of the processor if there is one */
  const char *Cpu;  /**< name of the processor concerned; null if there is none */
  const char *Word; /**< the kind as in the variable STOP_REASON: "break", "watch", "halt" ... */
  const char *Text; /**< the line that the prompt shows, without "stopped: " */
} orvy_StopInfo;

ORVY_STATIC_ASSERT(sizeof(orvy_StopInfo) == 56, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_StopInfo, BreakId) == 8, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_StopInfo, Text) == 48, "boundary record");

/**
 * Finds out what ended a run that the host program has made by itself, with orvy_simRunSecs or the
 * interface of a machine or processor; commands do this on their own. Break points that were to
 * stop once are removed.
 * @param Obj what was run: "sim", another machine, a clock or a processor; null if it has gone
 * @param Reason what the run returned
 * @param Info as orvy_stopGetLast gives it; may be null
 */
ORVY_API void orvy_stopConclude(void *Obj, orvy_CpuExitReason Reason, orvy_StopInfo *Info);

/** Tells how the latest run ended that a command made or orvy_stopConclude was told of. @return 0;
 * 1 if there was none: then the kind is ovSK_None */
ORVY_API int orvy_stopGetLast(orvy_StopInfo *Info);

ORVY_END_C

#endif
