// The interfaces of the processor.

#include "Cpu.h"
#include "SpecialRegisters.h"
#include "Text.h"

#include <algorithm>
#include <cstring>

namespace sparc {

namespace {

Cpu *cpu(void *Obj) {
  return static_cast<Cpu *>(Obj);
}

/// Clamps a frequency of 0, which a property can be set to: it would stop time.
uint64_t frequency(const Cpu *C) {
  return std::max<uint64_t>(C->Freq, 1);
}

// CpuIface: running

orvy_CpuExitReason run(void *Obj, uint64_t Cycles) {
  uint64_t Now = cyclesOf(cpu(Obj));
  return runTo(cpu(Obj), Cycles > NoLimit - std::min(Now, NoLimit) ? NoLimit : Now + Cycles);
}

orvy_CpuExitReason step(void *Obj, uint64_t Steps) {
  return stepTo(cpu(Obj), Steps, NoLimit);
}

/// Does not return to a caller that was called by the instruction in progress.
void raiseTrapNoReturn(void *Obj, int Trap) {
  raiseTrap(cpu(Obj), uint32_t(Trap) & 0xFF);
  if (cpu(Obj)->Leave && cpu(Obj)->Live)
    longjmp(*cpu(Obj)->Leave, 1);
}

// CpuIface: registers

struct Special {
  const char *Name;
  uint32_t (*Get)(Cpu *C);
  void (*Set)(Cpu *C, uint32_t Value);
};

/// In the order of orvy_SparcV8Reg and orvy_SparcV8Spr.
const Special Specials[] = {
    {"y", [](Cpu *C) { return C->Y; }, [](Cpu *C, uint32_t Value) { C->Y = Value; }},
    {"psr", [](Cpu *C) { return psrOf(C); }, setPsr},
    {"wim", [](Cpu *C) { return C->Wim; }, setWim},
    {"tbr", [](Cpu *C) { return C->Tbr; }, setTbr},
    {"pc", [](Cpu *C) { return pcOf(C); }, setPc},
    {"npc", [](Cpu *C) { return nextPcOf(C); }, setNextPc},
};

const Special *specialAt(uint32_t Reg, uint32_t First) {
  return Reg >= First && Reg - First < std::size(Specials) ? &Specials[Reg - First] : nullptr;
}

void setGpr(void *Obj, uint32_t Reg, uint64_t Value) {
  if (const Special *Row = specialAt(Reg, ovSR_Y))
    Row->Set(cpu(Obj), uint32_t(Value));
  else if (Reg < 32)
    writeRegister(cpu(Obj), cwpOf(cpu(Obj)), Reg, uint32_t(Value));
}

uint64_t getGpr(void *Obj, uint32_t Reg) {
  if (const Special *Row = specialAt(Reg, ovSR_Y))
    return Row->Get(cpu(Obj));
  return Reg < 32 ? readRegister(cpu(Obj), cwpOf(cpu(Obj)), Reg) : 0;
}

void setSpr(void *Obj, uint32_t Reg, uint64_t Value) {
  if (const Special *Row = specialAt(Reg, ovSS_Y))
    Row->Set(cpu(Obj), uint32_t(Value));
  else if (Reg >= 16)
    writeAsr(cpu(Obj), Reg, uint32_t(Value));
}

uint64_t getSpr(void *Obj, uint32_t Reg) {
  if (const Special *Row = specialAt(Reg, ovSS_Y))
    return Row->Get(cpu(Obj));
  return Reg >= 16 ? readAsr(cpu(Obj), Reg) : 0;
}

int getRegId(void *, const char *Name) {
  if (!Name)
    return -1;
  const char *Bare = *Name == '%' ? Name + 1 : Name;
  for (size_t Row = 0; Row < std::size(Specials); ++Row)
    if (!std::strcmp(Bare, Specials[Row].Name))
      return int(ovSR_Y + Row);
  return registerNumber(Name);
}

const char *getRegName(void *, uint32_t Reg) {
  if (const Special *Row = specialAt(Reg, ovSR_Y))
    return Row->Name;
  return Reg < 32 ? registerName(Reg) : nullptr;
}

// CpuIface: text

uint32_t assembleText(void *Obj, const char *Text) {
  std::string Error;
  auto Word = assemble(Text ? Text : "", Error);
  if (!Word)
    orvy_logError(Obj, "cannot assemble '%s': %s", Text ? Text : "", Error.c_str());
  return Word.value_or(0);
}

char *disassembleWord(void *, uint32_t Word) {
  std::string Text = disassemble(Word);
  return Text.empty() ? nullptr : strdup(Text.c_str());
}

/// There is no memory management unit: virtual addresses are physical, without page table entries.
uint64_t translateAddress(void *, uint64_t Va, uint32_t *Flags) {
  bool AsksForEntry = Flags && (*Flags & 15) == 2;
  if (Flags)
    *Flags = AsksForEntry;
  return AsksForEntry ? 0 : Va;
}

void setTrapsEnabled(Cpu *C, bool Enabled) {
  setPsr(C, (psrOf(C) & ~PSR_Et) | (Enabled ? uint32_t(PSR_Et) : 0));
}

CpuIface TheCpuIface = {
    .reset = [](void *Obj, int Kind) { reset(cpu(Obj), Kind == ovRK_Warm); },
    .run = run,
    .runUntil = [](void *Obj, uint64_t Cycles) { return runTo(cpu(Obj), Cycles); },
    .step = step,
    .stepUntil = [](void *Obj, uint64_t Steps,
                    uint64_t Cycles) { return stepTo(cpu(Obj), Steps, Cycles); },
    .raiseTrapNoReturn = raiseTrapNoReturn,
    .getFreq = [](void *Obj) { return frequency(cpu(Obj)); },
    .getCycles = [](void *Obj) { return cyclesOf(cpu(Obj)); },
    .getSteps = [](void *Obj) { return stepsOf(cpu(Obj)); },
    .setPc = [](void *Obj, uint64_t Pc) { setPc(cpu(Obj), uint32_t(Pc)); },
    .getPc = [](void *Obj) { return uint64_t(pcOf(cpu(Obj))); },
    .setGpr = setGpr,
    .getGpr = getGpr,
    .setFpr32 = [](void *, uint32_t, uint32_t) {},
    .getFpr32 = [](void *, uint32_t) { return uint32_t(0); },
    .setFpr64 = [](void *, uint32_t, uint64_t) {},
    .getFpr64 = [](void *, uint32_t) { return uint64_t(0); },
    .setSpr = setSpr,
    .getSpr = getSpr,
    .getRegId = getRegId,
    .getRegName = getRegName,
    .assemble = assembleText,
    .disassemble = disassembleWord,
    .enableTraps = [](void *Obj) { setTrapsEnabled(cpu(Obj), true); },
    .disableTraps = [](void *Obj) { setTrapsEnabled(cpu(Obj), false); },
    .translateAddress = translateAddress,
    .enableTrapEvents = [](void *Obj) { cpu(Obj)->TrapEvents = 1; },
    .disableTrapEvents = [](void *Obj) { cpu(Obj)->TrapEvents = 0; },
    .getMachine = [](void *Obj) { return cpu(Obj)->Machine; },
    .raiseTrap = [](void *Obj, int Trap) { raiseTrap(cpu(Obj), uint32_t(Trap) & 0xFF); },
    .getTrapName = [](void *, int Trap) { return trapName(uint32_t(Trap)); },
};

SparcIface TheSparcIface = {
    .getWindowCount = [](void *) { return uint32_t(WindowCount); },
    .getWindowedReg = [](void *Obj, uint32_t Window,
                         uint32_t Reg) { return readRegister(cpu(Obj), Window, Reg); },
    .setWindowedReg = [](void *Obj, uint32_t Window, uint32_t Reg,
                         uint32_t Value) { writeRegister(cpu(Obj), Window, Reg, Value); },
    .getAsr = [](void *Obj, uint32_t Asr) { return uint64_t(readAsr(cpu(Obj), Asr)); },
    .setAsr = [](void *Obj, uint32_t Asr,
                 uint64_t Value) { writeAsr(cpu(Obj), Asr, uint32_t(Value)); },
    .setAsrReader =
        [](void *Obj, uint32_t Asr, orvy_SparcAsrReader Reader) {
          if (Asr < 32)
            cpu(Obj)->AsrReaders[Asr] = Reader;
        },
    .setAsrWriter =
        [](void *Obj, uint32_t Asr, orvy_SparcAsrWriter Writer) {
          if (Asr < 32)
            cpu(Obj)->AsrWriters[Asr] = Writer;
        },
    .getPsr = [](void *Obj) { return psrOf(cpu(Obj)); },
    .setPsr = [](void *Obj, uint32_t Value) { setPsr(cpu(Obj), Value); },
    .getTbr = [](void *Obj) { return cpu(Obj)->Tbr; },
    .setTbr = [](void *Obj, uint32_t Value) { setTbr(cpu(Obj), Value); },
    .getWim = [](void *Obj) { return cpu(Obj)->Wim; },
    .setWim = [](void *Obj, uint32_t Value) { setWim(cpu(Obj), Value); },
    .getNPc = [](void *Obj) { return nextPcOf(cpu(Obj)); },
    .setNPc = [](void *Obj, uint32_t Value) { setNextPc(cpu(Obj), Value); },
};

void postAbsolute(void *Obj, int64_t EvId, int64_t Time) {
  orvy_eventPostAbsoluteInQueueInternal(cpu(Obj)->Queue, EvId, Time);
  limitSliceToEvents(cpu(Obj));
}

void postRelative(void *Obj, int64_t EvId, int64_t Delay) {
  Cpu *C = cpu(Obj);
  int64_t Time = 0; // clamped to the end of time
  if (__builtin_add_overflow(int64_t(cyclesOf(C)), Delay, &Time))
    Time = INT64_MAX;
  int64_t Nanos = orvy_cyclesToNanos(Delay, int64_t(frequency(C)));
  orvy_eventPostRelativeInQueueInternal(C->Queue, EvId, Time, Nanos);
  limitSliceToEvents(C);
}

void postOnStack(void *Obj, int64_t EvId) {
  orvy_eventStackPostInternal(cpu(Obj)->Queue, EvId);
  limitSliceToEvents(cpu(Obj));
}

EventIface TheEventIface = {
    .postCallback = [](void *Obj, orvy_ThreadSafeCb Cb,
                       void *Arg) { orvy_postCallbackInQueue(cpu(Obj)->Queue, Cb, Arg); },
    .removeCallback = [](void *Obj, orvy_ThreadSafeCb Cb,
                         void *Arg) { orvy_removeCallbackInQueue(cpu(Obj)->Queue, Cb, Arg); },
    .postAbsolute = postAbsolute,
    .postRelative = postRelative,
    .postOnStack = postOnStack,
};

IrqCtrlIface TheIrqCtrlIface = {
    .raiseInterrupt = [](void *Obj, uint8_t Irq) { setLine(cpu(Obj), Irq, true); },
    .lowerInterrupt = [](void *Obj, uint8_t Irq) { setLine(cpu(Obj), Irq, false); },
};

StopIface TheStopIface = {
    .stop = [](void *Obj, orvy_CpuExitReason Reason) { stopTurn(cpu(Obj), Reason); },
};

ResetIface TheResetIface = {
    .reset = [](void *Obj, int Kind) { reset(cpu(Obj), Kind == ovRK_Warm); },
};

/// The memory of the processor's memory space.
MemoryIface TheMemoryIface = {
    .readBytes = [](void *Obj, void *Data, uint64_t Addr, uint32_t Len, uint32_t Swap) -> uint32_t {
      void *Space = cpu(Obj)->MemorySpace.Obj;
      return Space ? orvy_memoryRead(Space, Data, Addr, Len, Swap) : 0;
    },
    .writeBytes = [](void *Obj, uint64_t Addr, uint32_t Len, const void *Data,
                     uint32_t Swap) -> uint32_t {
      void *Space = cpu(Obj)->MemorySpace.Obj;
      return Space ? orvy_memoryWrite(Space, Addr, Data, Len, Swap) : 0;
    },
};

int checkSanity(void *Obj, int Report) {
  if (cpu(Obj)->MemorySpace.Iface)
    return 0;
  if (Report)
    orvy_logConfigError(Obj, "property 'memorySpace' is not connected");
  return 1;
}

void printObject(void *Obj) {
  Cpu *C = cpu(Obj);
  const char *State = C->Halted ? "error mode" : C->PoweredDown ? "powered down" : "running";
  orvy_printf("%s: %s, %llu cycles, %llu steps\n", orvy_nameForObject(C), State,
              static_cast<unsigned long long>(cyclesOf(C)),
              static_cast<unsigned long long>(stepsOf(C)));
  for (uint32_t Row = 0; Row < 8; ++Row) {
    for (uint32_t Reg = Row; Reg < 32; Reg += 8)
      orvy_printf("%s%%%s = 0x%08x", Reg == Row ? "" : "  ", registerName(Reg),
                  readRegister(C, cwpOf(C), Reg));
    orvy_printf("\n");
  }
  for (const Special &Row : Specials)
    orvy_printf("%s%s = 0x%08x", &Row == Specials ? "" : "  ", Row.Name, Row.Get(C));
  orvy_printf("\n");
}

ObjectIface TheObjectIface = {
    .serialise = [](void *Obj, const char *,
                    void *Ctxt) { orvy_eventSerialise(cpu(Obj)->Queue, Ctxt); },
    .deserialise = [](void *Obj, const char *,
                      void *Ctxt) { orvy_eventDeserialise(cpu(Obj)->Queue, Ctxt); },
    .checkSanity = checkSanity,
    .timeSourceSet = nullptr,
    .printObject = printObject,
};

void *VTable[] = {&TheCpuIface, nullptr, &TheEventIface};

} // namespace

void describeInterfaces(orvy_Class *Cls) {
  auto Add = [&](const char *Name, const char *Type, void *Table, const char *Doc) {
    orvy_addInterface(Cls, Name, Type, Table, 0, Doc);
  };
  Add("CpuIface", "CpuIface", &TheCpuIface, "The processor");
  Add("SparcIface", "SparcIface", &TheSparcIface, "What is peculiar to SPARC");
  Add("EventIface", "EventIface", &TheEventIface, "The processor's event queue, in cycles");
  Add("IrqIface", "IrqCtrlIface", &TheIrqCtrlIface, "Interrupt levels 1 to 15");
  Add("ResetIface", "ResetIface", &TheResetIface, "Reset");
  Add("MemoryIface", "MemoryIface", &TheMemoryIface, "The processor's memory");
  Add("ObjectIface", "ObjectIface", &TheObjectIface, "");
  Add("StopIface", "StopIface", &TheStopIface, "Ends the turn of the processor");
  orvy_setVTable(Cls, VTable);
}

} // namespace sparc
