// Cpu.h - the processor object, and the functions that its sources share.
//
// The architectural fields (Windows, Psr, Pc and so on) are valid whenever no instruction is in
// progress. While instructions run, the registers of the current window are in R, the condition
// codes in Cc*, and program counter and time in Ip, Np and Left. The processor is then called live.
// All access from outside uses the accessors below, which handle both cases.

#ifndef ORVY_MODELS_SPARCV8_CPU_H
#define ORVY_MODELS_SPARCV8_CPU_H

#include "CodePage.h"
#include "Instructions.h"

#include "orvy/Support/Orvy.h"

#include <csetjmp>
#include <cstddef>
#include <cstdint>

namespace sparc {

constexpr unsigned WindowCount = 8;
constexpr unsigned IdAsr = 17; ///< has the processor's number in its upper four bits

enum PsrBits : uint32_t {
  PSR_Cwp = 7, ///< the bits of CWP that eight windows need
  PSR_Et = 1 << 5,
  PSR_Ps = 1 << 6,
  PSR_S = 1 << 7,
  PSR_Pil = 15 << 8,
  PSR_C = 1 << 20,
  PSR_V = 1 << 21,
  PSR_Z = 1 << 22,
  PSR_N = 1 << 23,
  PSR_Icc = 15 << 20,
  PSR_Impl = 0xF0000000, ///< implementation 15, version 0
  PSR_Writable = PSR_Icc | PSR_Pil | PSR_S | PSR_Ps | PSR_Et | PSR_Cwp
};

enum TrapNumber : uint32_t {
  TT_InstructionAccessException = 0x01,
  TT_IllegalInstruction = 0x02,
  TT_PrivilegedInstruction = 0x03,
  TT_FpDisabled = 0x04,
  TT_WindowOverflow = 0x05,
  TT_WindowUnderflow = 0x06,
  TT_MemAddressNotAligned = 0x07,
  TT_DataAccessException = 0x09,
  TT_TagOverflow = 0x0A,
  TT_InterruptLevel = 0x10, ///< plus the level
  TT_CpDisabled = 0x24,
  TT_DivisionByZero = 0x2A,
  TT_TrapInstruction = 0x80
};

/// How an instruction ended: 0 normally, below 0x100 with that trap, or one of these.
enum Outcome : uint32_t {
  OC_Done = 0,
  OC_Stop = 0x100,      ///< a memory space requests a stop before the instruction
  OC_StopRead = 0x101,  ///< the same, on a read
  OC_StopWrite = 0x102, ///< the same, on a write
  OC_Abandoned = 0x103, ///< the processor's state was changed from outside during the instruction
  OC_Turn = 0x104       ///< the time of the turn is used up
};

/// A page of plain memory that loads or stores access without a call.
struct DataPage {
  uint32_t Tag;  ///< first address of the page; NoTag if there is none
  uint8_t *Base; ///< host bytes
  orvy_MemPage *Page;
  orvy_PageWatcher Watcher;
  uint64_t Reserved;
};

static_assert(sizeof(DataPage) == 64, "entries are addressed by shifts");

constexpr uint32_t NoTag = 0xFFFFFFFF;
constexpr unsigned DataPages = 256;

struct Cpu {
  orvy_Object Super;
  orvy_EventQueue *Queue;
  uint32_t R[34];       ///< live registers; 0 to 7 are always valid, 32 receives writes to %g0
  int64_t CcResult;     ///< live: Z if its low word is 0, N if it is negative
  uint32_t CcV;         ///< live: V in bit 31
  uint32_t CcC;         ///< live: C in bit 0
  int64_t Left;         ///< live: instructions left after the one in progress
  uint64_t CyclesAtEnd; ///< live: cycles when Left is used up
  uint64_t StepsAtEnd;
  Op *Ip;       ///< live, at the last call out: the instruction in progress
  Op *Np;       ///< live, at the last call out: the next one
  uint32_t Psr; ///< without the condition codes while live
  uint32_t Wim;
  uint32_t Tbr;
  uint32_t Y;
  uint32_t Pc;
  uint32_t NPc;
  uint64_t Reserved[11];
  uint64_t Counters[ORVY_SPARCV8_CLASSES];

  uint32_t Windows[WindowCount * 16]; ///< locals and ins of each window
  uint32_t Asrs[32];
  orvy_SparcAsrReader AsrReaders[32];
  orvy_SparcAsrWriter AsrWriters[32];

  uint64_t Cycles;
  uint64_t Steps;
  uint64_t Freq;
  uint32_t CyclesPerInstruction;
  uint32_t ResetPc;
  uint32_t Id;
  uint32_t IrqLines; ///< bit n: line n is raised
  uint8_t Halted;
  uint8_t PoweredDown;
  uint8_t TrapEvents;
  /// The access that stopped the latest turn before the present instruction: 1 its fetch, 2 its
  /// read, 3 its write or exchange. The next turn ignores that stop, and those of the accesses
  /// before it in the same instruction.
  uint8_t StoppedHere;

  orvy_IfaceRef MemorySpace;
  orvy_IfaceRef AsiSpace;
  orvy_IfaceRef IrqClient;
  void *Machine;

  // Internal to the engine, not part of the state.
  bool Running;         ///< a run or step is in progress
  bool Disposed;        ///< disposed of during a run, whose end releases the processor
  bool Live;            ///< see above
  bool InProgress;      ///< live: an instruction has begun and is no longer counted in Left
  bool Redirected;      ///< state was changed during the instruction in progress
  uint8_t StopsToPass;  ///< StoppedHere at the start of the instruction in progress
  bool TrapReturned;    ///< a rett must be notified
  uint8_t StopAfter;    ///< an orvy_CpuExitReason: the turn ends after the instruction in progress
  uint32_t PendingTrap; ///< raised from outside during the instruction in progress; 0 if none
  uint64_t SliceEnd;    ///< latest end of the present slice, in cycles
  orvy_IfaceRef KnownSpace;           ///< the memory space that the caches were filled from
  const MemorySpaceIface *KnownHooks; ///< reports its fetch hooks; may be null
  int64_t TrapEntry;                  ///< notification ids
  int64_t TrapExit;
  jmp_buf *Leave; ///< target of raiseTrapNoReturn
  CodeCache *Code;
  DataPage ReadPages[DataPages];
  DataPage WritePages[DataPages];
};

static_assert(offsetof(Cpu, Queue) == sizeof(orvy_Object), "a queue holder's first field");
static_assert(offsetof(Cpu, Counters) == ORVY_CPU_ICLASS_WORD * 8, "boundary position");

inline unsigned cwpOf(const Cpu *C) {
  return C->Psr & PSR_Cwp;
}

/// Plugin.cpp: releases a processor that is not running.
void destroy(Cpu *C);

// State.cpp: the architectural state, live or not

void makeLive(Cpu *C); ///< loads R and Cc* from the architectural fields, after fixing their values
void storeLive(Cpu *C); ///< the reverse, with program counters, time and steps
/// Ends the live state, because state will be changed during the instruction in progress.
void redirect(Cpu *C);
void reset(Cpu *C, bool Warm);

uint64_t cyclesOf(const Cpu *C);
uint64_t stepsOf(const Cpu *C);
uint32_t pcOf(const Cpu *C);
uint32_t nextPcOf(const Cpu *C);
void setPc(Cpu *C, uint32_t Pc);
void setNextPc(Cpu *C, uint32_t NextPc);
uint32_t psrOf(const Cpu *C);
void setPsr(Cpu *C, uint32_t Value);
uint32_t readRegister(const Cpu *C, unsigned Window, unsigned Reg);
void writeRegister(Cpu *C, unsigned Window, unsigned Reg, uint32_t Value);
uint32_t readAsr(Cpu *C, unsigned Asr);
void writeAsr(Cpu *C, unsigned Asr, uint32_t Value);
void setTbr(Cpu *C, uint32_t Value);
void setWim(Cpu *C, uint32_t Value);

uint32_t liveIcc(const Cpu *C);
void setLiveIcc(Cpu *C, uint32_t Psr);
void setLiveWindow(Cpu *C, unsigned Window);
void windowDown(Cpu *C); ///< live: to the window of a save
void windowUp(Cpu *C);   ///< live: to the window of a restore

// Memory.cpp: accesses that need a call, and the cached pages

/// Loads from the address space Asi. The address may be misaligned.
uint32_t load(Cpu *C, uint32_t Va, unsigned Size, uint8_t Asi, uint64_t *Value);
uint32_t store(Cpu *C, uint32_t Va, unsigned Size, uint8_t Asi, uint64_t Value);
/// Swaps memory with *Value.
uint32_t exchange(Cpu *C, uint32_t Va, unsigned Size, uint8_t Asi, uint64_t *Value);
/// Fetches the word at Va. Sets Page if the page may be kept, and HasHooks if it has fetch hooks.
uint32_t fetch(Cpu *C, uint32_t Va, uint32_t *Word, orvy_MemPage **Page, bool *HasHooks);
/// Fetches the word at Va, which has a hook.
uint32_t fetchHooked(Cpu *C, uint32_t Va, uint32_t *Word);
/// Whether the word at Va has a fetch hook.
bool isHooked(Cpu *C, uint32_t Va);
/// The effect of a call out on the instruction in progress.
uint32_t outcomeOfCall(Cpu *C);
void initPages(Cpu *C);
void forgetPages(Cpu *C);
/// Makes a processor drop a space that is disposed of, even during an access to it. The space
/// itself revokes the pages that it has handed out.
void addProcessor(Cpu *C);
void removeProcessor(Cpu *C);
inline uint8_t dataAsi(const Cpu *C) {
  return C->Psr & PSR_S ? 11 : 10;
}

// Execute.cpp

/// Runs instructions from Pc to the end of the slice. The processor is live all the time.
uint32_t execute(Cpu *C);
/// The engine's labels, by Handler.
const void *const *handlers();

// Semantics.cpp: instructions off the fast path

using Semantics = uint32_t (*)(Cpu *C, const Op *O);
struct SemanticsTable {
  Semantics At[unsigned(Insn::Count)];
};
extern const SemanticsTable SlowTable;
bool conditionHolds(const Cpu *C, unsigned Cond);

// Traps.cpp

void enterTrap(Cpu *C, uint32_t Number); ///< not live; halts the processor if traps are disabled
void raiseTrap(Cpu *C, uint32_t Number);
unsigned pendingInterrupt(const Cpu *C); ///< level of the interrupt to take now; 0 if none
void takeInterrupt(Cpu *C, unsigned Level);
/// Live: ends the slice after the instruction in progress if an interrupt can be taken now.
void noticeInterrupt(Cpu *C);
/// Live: executes rett, or returns the trap that it takes.
uint32_t returnFromTrap(Cpu *C, uint32_t Target);
void setLine(Cpu *C, unsigned Level, bool Raised);
const char *trapName(uint32_t Number);

// Run.cpp

constexpr uint64_t NoLimit = INT64_MAX; ///< largest time of an event queue
orvy_CpuExitReason runTo(Cpu *C, uint64_t Cycles);
orvy_CpuExitReason stepTo(Cpu *C, uint64_t Steps, uint64_t Cycles);
/// Live: makes the present slice end at these cycles at the latest, but not before the end of the
/// instruction in progress.
void limitSlice(Cpu *C, uint64_t Cycles);
/// Ends the turn after the instruction in progress, or before the next one.
void stopTurn(Cpu *C, orvy_CpuExitReason Reason);
/// Limits the slice to the time of the queue's first event. Call this when that may have changed.
void limitSliceToEvents(Cpu *C);

// Registers.cpp, Interfaces.cpp and Clock.cpp: properties and interfaces of the class

void describeRegisters(orvy_Class *Cls);
void describeInterfaces(orvy_Class *Cls);
void describeClock(orvy_Class *Cls);

} // namespace sparc

#endif
