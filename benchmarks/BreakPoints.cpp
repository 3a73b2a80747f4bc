// Break points: the compute program with one where it never comes, beside the program without.

#include "Table.h"

#include "orvy/Support/Debugging.h"
#include "orvy/Support/Orvy.h"

using namespace orvy::debugging;

namespace {

constexpr uint32_t RamBase = 0x40000000;
constexpr uint64_t RamSize = 0x400000;
constexpr uint64_t MostCycles = 1'000'000'000;
constexpr const char *Image = ORVY_BUILD_ROOT "/share/orvy/examples/compute.elf";

/// The processor, memory and UART that the program needs.
class Board {
public:
  Board() {
    orvy_CreateArg Args[] = {{"size", {.Typ = ovTY_U64, .u64 = RamSize}}, {}};
    Ram = orvy_createObject("Ram", "benchRam", Args);
    orvy_memoryMap(Space, RamBase, RamSize, Ram, 0);
    orvy_memoryMap(Space, 0x80000100, 0x100, Uart, 0);
    orvy_memoryMap(Space, 0x80000200, 0x100, Irq, 0);
    orvy_memoryMap(Space, 0x80000300, 0x100, Timer, 0);
    orvy_connect(Cpu, "memorySpace", Space, "MemAccessIface");
    orvy_setTimeSource(Uart, Cpu);
    orvy_setTimeSource(Timer, Cpu);
    orvy_setValueU8(Uart, "config.terminal", 0, -1);
    Table = static_cast<CpuIface *>(orvy_getInterface(Cpu, "CpuIface", -1));
  }
  ~Board() {
    for (void *Obj : {Cpu, Timer, Irq, Uart, Space, Ram})
      orvy_disposeObject(Obj);
  }

  void breakAt(uint64_t Addr) { Symbols.Breaks.createHandler(BreakPoint::Fetch, Addr); }
  uint64_t addressOf(const char *Function) { return Symbols.getFuncRange(Function).first; }

  /// Runs the program from its start to its end.
  bool run() {
    if (orvy_loadImage(Space, Image) != 0)
      return false;
    orvy_cpuReset(Cpu, ovRK_Cold);
    orvy_cpuSetPc(Cpu, RamBase);
    return Table->run(Cpu, MostCycles) != ovCER_Break;
  }

private:
  void *Cpu = orvy_createObject("SparcV8", "benchCpu", nullptr);
  void *Space = orvy_createObject("MemorySpace", "benchSpace", nullptr);
  void *Uart = orvy_createObject("Uart", "benchUart", nullptr);
  void *Irq = orvy_createObject("IrqCtrl", "benchIrq", nullptr);
  void *Timer = orvy_createObject("GpTimer", "benchTimer", nullptr);
  void *Ram;
  CpuIface *Table;
  Ctxt Symbols{Space, Image, Ctxt::Kind::Symtab};
};

/// Where the break point is; 0 for none.
using Place = uint64_t (*)(Board &);

bench::Function runWith(Place Of) {
  return [Of](benchmark::State &State) {
    Board B;
    if (const uint64_t Addr = Of(B))
      B.breakAt(Addr);
    for (auto _ : State)
      if (!B.run())
        return State.SkipWithError("the program did not come to its end");
  };
}

uint64_t nowhere(Board &) {
  return 0;
}
uint64_t onOtherPage(Board &) {
  return RamBase + RamSize / 2;
}
/// Run once, at the end, but on the page of all the functions.
uint64_t onHotPage(Board &B) {
  return B.addressOf("putHex");
}

const int Rows[] = {
    bench::compare("compute, with a break point on another page", {1.03, 0}, runWith(onOtherPage),
                   runWith(nowhere)),
    bench::compare("compute, with a break point on its page", {3, 0}, runWith(onHotPage),
                   runWith(nowhere)),
};

} // namespace
