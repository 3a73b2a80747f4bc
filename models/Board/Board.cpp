// The class Board: processors, memory and devices under one name, mapped and connected.
//
//   NAME-cpu0 ...   SparcV8     argument cpus: 1 to 4; freq in Hz for all of them
//   NAME-memory     MemorySpace
//   NAME-ram        Ram         at 0x40000000; argument ramSize
//   NAME-rom        Rom         at 0, 64 KiB; initially it jumps to the start of RAM
//   NAME-uart       Uart        at 0x80000100
//   NAME-irqctrl    IrqCtrl     at 0x80000200
//   NAME-timer      GpTimer     at 0x80000300
//
// Every processor starts in ROM; a program can distinguish them by the number in %asr17.
//
// Delegated interfaces: MemAccessIface, MemoryIface and MemorySpaceIface of the memory,
// IrqCtrlIface of the interrupt controller. Delegated properties: asiSpace and memorySpace of the
// first processor (the latter replaces the memory that it accesses), and cpus of the interrupt
// controller. ResetIface resets everything on the board.

#include "Board.h"

#include <string>

namespace board {

namespace {

constexpr uint64_t RamBase = 0x40000000;
constexpr uint64_t MaxRam = 0x40000000; // ends where the devices begin
constexpr uint64_t RomSize = 0x10000;
constexpr uint64_t MaxCpus = 4;

/// The inner objects; null if one could not be created, which has been logged.
struct Parts {
  std::vector<void *> Cpus;
  void *Memory, *Ram, *Rom, *Uart, *Irq, *Timer;
};

Parts createParts(orvy_Component *C, const Config &Wanted) {
  Parts P;
  for (uint64_t Id = 0; Id < Wanted.Cpus; ++Id)
    P.Cpus.push_back(orvy_createComponentObject(
        C, "SparcV8", Arguments{{"freq", Wanted.Freq}, {"id", Id}}, "cpu%u", unsigned(Id)));
  P.Memory = orvy_createComponentObject(C, "MemorySpace", nullptr, "memory");
  P.Ram = orvy_createComponentObject(C, "Ram", Arguments{{"size", Wanted.RamSize}}, "ram");
  P.Rom = orvy_createComponentObject(C, "Rom", Arguments{{"size", RomSize}}, "rom");
  P.Uart = orvy_createComponentObject(C, "Uart", nullptr, "uart");
  P.Irq = orvy_createComponentObject(C, "IrqCtrl", nullptr, "irqctrl");
  P.Timer = orvy_createComponentObject(C, "GpTimer", nullptr, "timer");
  return P;
}

bool isWhole(const Parts &P) {
  for (void *Cpu : P.Cpus)
    if (!Cpu)
      return false;
  return P.Memory && P.Ram && P.Rom && P.Uart && P.Irq && P.Timer;
}

void map(const Parts &P, uint64_t RamSize) {
  orvy_memoryMap(P.Memory, 0, RomSize, P.Rom, 0);
  orvy_memoryMap(P.Memory, RamBase, RamSize, P.Ram, 0);
  orvy_memoryMap(P.Memory, 0x80000100, 0x100, P.Uart, 0);
  orvy_memoryMap(P.Memory, 0x80000200, 0x100, P.Irq, 0);
  orvy_memoryMap(P.Memory, 0x80000300, 0x100, P.Timer, 0);
}

void connect(const Parts &P) {
  for (size_t Id = 0; Id < P.Cpus.size(); ++Id) {
    const std::string At = "[" + std::to_string(Id) + "]";
    orvy_connect(P.Cpus[Id], "memorySpace", P.Memory, "MemAccessIface");
    orvy_connect(P.Cpus[Id], "irqClient", P.Irq, ("IrqClientIface" + At).c_str());
    orvy_connect(P.Irq, ("cpus" + At).c_str(), P.Cpus[Id], "IrqIface");
  }
  orvy_connect(P.Uart, "irqCtrl", P.Irq, "IrqCtrlIface");
  orvy_connect(P.Timer, "irqCtrl", P.Irq, "IrqCtrlIface");
}

/// Stores a jump to the start of RAM, so that a program loaded there runs after a reset.
void fillRom(const Parts &P) {
  constexpr uint32_t Boot[] = {
      0x03100000, // sethi %hi(0x40000000), %g1
      0x81C06000, // jmp   %g1
      0x01000000, // nop
  };
  orvy_memoryWrite(P.Rom, 0, Boot, sizeof(Boot), 2);
}

void delegate(orvy_Component *C, const Parts &P) {
  for (const char *Name : {"MemAccessIface", "MemoryIface", "MemorySpaceIface"})
    orvy_componentAddDelegateIface(C, Name, orvy_getInterfaceRef(P.Memory, Name, -1));
  orvy_componentAddDelegateIface(C, "IrqCtrlIface",
                                 orvy_getInterfaceRef(P.Irq, "IrqCtrlIface", -1));
  orvy_componentAddDelegateProp(C, "asiSpace", P.Cpus[0], "asiSpace");
  orvy_componentAddDelegateProp(C, "memorySpace", P.Cpus[0], "memorySpace[0]");
  orvy_componentAddDelegateProp(C, "cpus", P.Irq, "cpus");
}

void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
  Config Wanted;
  if (orvy_readCreateArgs("Board", Name, Argc, Args, argumentsOf(Wanted).data(), 0) != 0)
    return nullptr;
  orvy_Component *C = orvy_componentCreate(Name);
  C->Quanta = Quanta;
  const Parts P = createParts(C, Wanted);
  if (!isWhole(P)) {
    orvy_logConfigError(nullptr, "board '%s' lacks parts and is not connected", Name);
    return C;
  }
  map(P, Wanted.RamSize);
  connect(P);
  fillRom(P);
  delegate(C, P);
  return C;
}

void reset(void *Obj, int Kind) {
  auto &C = *static_cast<orvy_Component *>(Obj);
  void *const *Inner = static_cast<void **>(orvy_vecGetData(&C.Objects));
  for (size_t Idx = 0; Idx < orvy_vecGetSize(&C.Objects); ++Idx)
    if (orvy_objectHasIface(Inner[Idx], "ResetIface"))
      if (const auto *Table =
              static_cast<const ResetIface *>(orvy_getInterface(Inner[Idx], "ResetIface", 0));
          Table && Table->reset)
        Table->reset(Inner[Idx], Kind);
}

ResetIface ResetTable = {reset};

} // namespace

std::array<orvy_ArgSpec, 4> argumentsOf(Config &Wanted) {
  return {{{"cpus", ovAK_Number, &Wanted.Cpus, 1, MaxCpus, "Processors"},
           {"ramSize", ovAK_Size, &Wanted.RamSize, ORVY_PAGE_SIZE, MaxRam, "Bytes of RAM"},
           {"freq", ovAK_Freq, &Wanted.Freq, 1, MaxFreq, "Frequency of the processors"},
           {}}};
}

void registerBoard() {
  orvy_Class *Cls = orvy_registerComponent("Board", create, nullptr);
  orvy_addInterface(Cls, "ResetIface", "ResetIface", &ResetTable, 0, "All that is on the board");
}

} // namespace board
