// Properties and registers of the processor's state.

#include "Cpu.h"

namespace sparc {

namespace {

Cpu *cpu(void *Obj) {
  return static_cast<Cpu *>(Obj);
}

uint32_t word(orvy_Propval Pv) {
  return uint32_t(orvy_asUnsigned(Pv));
}

orvy_Propval value(uint32_t Word) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_U32;
  Pv.u32 = Word;
  return Pv;
}

orvy_Propval value(uint64_t Number) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_U64;
  Pv.u64 = Number;
  return Pv;
}

void writePsr(void *Obj, orvy_Propval Pv, int) {
  setPsr(cpu(Obj), word(Pv));
}
orvy_Propval readPsr(void *Obj, int) {
  return value(psrOf(cpu(Obj)));
}
void writeWim(void *Obj, orvy_Propval Pv, int) {
  setWim(cpu(Obj), word(Pv));
}
void writeTbr(void *Obj, orvy_Propval Pv, int) {
  setTbr(cpu(Obj), word(Pv));
}
void writePc(void *Obj, orvy_Propval Pv, int) {
  setPc(cpu(Obj), word(Pv));
}
orvy_Propval readPc(void *Obj, int) {
  return value(pcOf(cpu(Obj)));
}
void writeNextPc(void *Obj, orvy_Propval Pv, int) {
  setNextPc(cpu(Obj), word(Pv));
}
orvy_Propval readNextPc(void *Obj, int) {
  return value(nextPcOf(cpu(Obj)));
}
orvy_Propval readCycles(void *Obj, int) {
  return value(cyclesOf(cpu(Obj)));
}
orvy_Propval readSteps(void *Obj, int) {
  return value(stepsOf(cpu(Obj)));
}

void writeGlobal(void *Obj, orvy_Propval Pv, int Idx) {
  writeRegister(cpu(Obj), 0, unsigned(Idx) & 7, word(Pv));
}

// Element 16 n + i is local register i of window n for i < 8, and in register i - 8 for the others.
void writeWindowed(void *Obj, orvy_Propval Pv, int Idx) {
  writeRegister(cpu(Obj), unsigned(Idx) / 16, unsigned(Idx) % 16 + 16, word(Pv));
}
orvy_Propval readWindowed(void *Obj, int Idx) {
  return value(readRegister(cpu(Obj), unsigned(Idx) / 16, unsigned(Idx) % 16 + 16));
}

void writeAncillary(void *Obj, orvy_Propval Pv, int Idx) {
  writeAsr(cpu(Obj), unsigned(Idx), word(Pv));
}
orvy_Propval readAncillary(void *Obj, int Idx) {
  return value(readAsr(cpu(Obj), unsigned(Idx)));
}

struct FieldRow {
  const char *Name;
  uint32_t Mask;
  uint32_t Cold;
  bool Writable;
  const char *Doc;
};

const FieldRow PsrFields[] = {
    {"impl", 0xF0000000, 0xF0000000, false, "Implementation"},
    {"ver", 0x0F000000, 0, false, "Version"},
    {"n", PSR_N, 0, true, "Result was negative"},
    {"z", PSR_Z, 0, true, "Result was zero"},
    {"v", PSR_V, 0, true, "Result overflowed"},
    {"c", PSR_C, 0, true, "Result carried or borrowed"},
    {"ec", 1 << 13, 0, false, "Coprocessor enabled; there is none"},
    {"ef", 1 << 12, 0, false, "Floating point enabled; there is none"},
    {"pil", PSR_Pil, 0, true, "Interrupts up to this level are masked"},
    {"s", PSR_S, PSR_S, true, "Supervisor mode"},
    {"ps", PSR_Ps, 0, true, "Supervisor mode before the latest trap"},
    {"et", PSR_Et, 0, true, "Traps enabled"},
    {"cwp", 31, 0, true, "Current window"},
};

const FieldRow WimFields[] = {{"wim", 0xFF, 0, true, "Invalid windows, a bit for each"}};

const FieldRow TbrFields[] = {
    {"tba", 0xFFFFF000, 0, true, "Address of the trap table"},
    {"tt", 0x00000FF0, 0, true, "Latest trap"},
};

template <size_t Count> void addFields(orvy_Register *Reg, const FieldRow (&Rows)[Count]) {
  for (const FieldRow &Row : Rows)
    orvy_addField(Reg, Row.Name, Row.Mask, Row.Cold, Row.Cold, Row.Writable, Row.Doc);
}

void addWholeField(orvy_Register *Reg, const char *Doc) {
  orvy_addField(Reg, "value", 0xFFFFFFFF, 0, 0, 1, Doc);
}

#define AT(Field) int(offsetof(Cpu, Field))

void describeSpecial(orvy_Class *Cls) {
  orvy_RegisterBank *Bank = orvy_addRegisterBank(Cls, "special");
  auto Add = [&](const char *Name, int Offset, orvy_PropWriter Writer, orvy_PropReader Reader,
                 const char *Doc) {
    return orvy_addRegister(Bank, Name, Offset, ovTY_U32, 1, Writer, Reader, Doc, 0, 0);
  };
  addFields(Add("psr", AT(Psr), writePsr, readPsr, "Processor state"), PsrFields);
  addFields(Add("wim", AT(Wim), writeWim, nullptr, "Window invalid mask"), WimFields);
  addFields(Add("tbr", AT(Tbr), writeTbr, nullptr, "Trap base"), TbrFields);
  addWholeField(Add("y", AT(Y), nullptr, nullptr, "Multiply and divide"), "High word");
  addWholeField(Add("pc", AT(Pc), writePc, readPc, "Program counter; a write sets npc as well"),
                "Address");
  addWholeField(Add("npc", AT(NPc), writeNextPc, readNextPc, "Next program counter"), "Address");
}

void describeGeneral(orvy_Class *Cls) {
  orvy_RegisterBank *Bank = orvy_addRegisterBank(Cls, "general");
  addWholeField(orvy_addRegister(Bank, "globals", AT(R), ovTY_U32, 8, writeGlobal, nullptr,
                                 "Global registers", 0, 0),
                "Value");
  addWholeField(orvy_addRegister(Bank, "windows", AT(Windows), ovTY_U32, WindowCount * 16,
                                 writeWindowed, readWindowed,
                                 "Eight locals and eight ins of each window", 0, 0),
                "Value");
  addWholeField(orvy_addRegister(Bank, "asr", AT(Asrs), ovTY_U32, 32, writeAncillary, readAncillary,
                                 "Ancillary state registers; element 0 reads and writes y", 0, 0),
                "Value");
}

void describeTime(orvy_Class *Cls) {
  orvy_addProperty(Cls, "cycles", AT(Cycles), ovTY_U64, 1, nullptr, readCycles,
                   "Present time in cycles");
  orvy_addProperty(Cls, "steps", AT(Steps), ovTY_U64, 1, nullptr, readSteps,
                   "Instructions executed");
  orvy_addProperty(Cls, "freq", AT(Freq), ovTY_U64, 1, nullptr, nullptr, "Frequency in Hz");
  orvy_addProperty(Cls, "config.cpi", AT(CyclesPerInstruction), ovTY_U32, 1, nullptr, nullptr,
                   "Cycles that an instruction takes, at least 1");
  orvy_addProperty(Cls, "config.resetPc", AT(ResetPc), ovTY_U32, 1, nullptr, nullptr,
                   "Program counter after a reset");
  orvy_addProperty(Cls, "id", AT(Id), ovTY_U32, 1, nullptr, nullptr,
                   "Number of the processor; a cold reset puts it into the upper bits of %asr17");
}

void describeState(orvy_Class *Cls) {
  orvy_addProperty(Cls, "irqLines", AT(IrqLines), ovTY_U32, 1, nullptr, nullptr,
                   "Raised interrupt lines, a bit for each level");
  orvy_addProperty(Cls, "halted", AT(Halted), ovTY_U8, 1, nullptr, nullptr, "1 in error mode");
  orvy_addProperty(Cls, "poweredDown", AT(PoweredDown), ovTY_U8, 1, nullptr, nullptr,
                   "1 while waiting for an interrupt");
  orvy_addProperty(Cls, "trapEvents", AT(TrapEvents), ovTY_U8, 1, nullptr, nullptr,
                   "1 if traps are notified");
  orvy_addProperty(Cls, "stoppedHere", AT(StoppedHere), ovTY_U8, 1, nullptr, nullptr,
                   "What stopped the latest run before the present instruction: 1 its fetch, 2 its "
                   "read, 3 its write; 0 if nothing did");
  orvy_addProperty(Cls, "iclass", AT(Counters), ovTY_U64, ORVY_SPARCV8_CLASSES, nullptr, nullptr,
                   "Instructions executed, by class");
}

void describeConnections(orvy_Class *Cls) {
  auto Add = [&](const char *Name, int Offset, const char *Type, const char *Doc) {
    orvy_addProperty(Cls, Name, Offset, ovTY_IfaceRef, 1, nullptr, nullptr, Doc);
    orvy_requireInterface(Cls, Name, Type);
  };
  Add("memorySpace", AT(MemorySpace), "MemAccessIface", "Memory of the address spaces 8 to 11");
  Add("asiSpace", AT(AsiSpace), "MemAccessIface", "Serves all other address spaces, if connected");
  Add("irqClient", AT(IrqClient), "IrqClientIface", "Is told which interrupts are taken");
  orvy_addProperty(Cls, "machine", AT(Machine), ovTY_Obj, 1, nullptr, nullptr,
                   "Machine that the processor belongs to");
}

#undef AT

} // namespace

void describeRegisters(orvy_Class *Cls) {
  describeSpecial(Cls);
  describeGeneral(Cls);
  describeTime(Cls);
  describeState(Cls);
  describeConnections(Cls);
}

} // namespace sparc
