// The break and watch points of the user: the compute program with them, beside the program without.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <string>

namespace {

constexpr uint32_t RamBase = 0x40000000;
constexpr uint64_t RamSize = 0x400000;
constexpr uint64_t MaxCycles = 1'000'000'000;
const std::string Image = ORVY_BUILD_ROOT "/share/orvy/examples/compute.elf";

/// The processor, memory and devices that the program needs, with its symbols and lines.
class Bench {
public:
  Bench() {
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
    const std::string Load = "experimental-debug-load-ctxt mem=benchSpace file=" + Image;
    orvy_execCommand(Load.c_str());
    Table = static_cast<CpuIface *>(orvy_getInterface(Cpu, "CpuIface", -1));
  }
  ~Bench() {
    while (const uint64_t Id = orvy_breakNext(0))
      orvy_breakDelete(Id);
    for (void *Obj : {Cpu, Timer, Irq, Uart, Space, Ram})
      orvy_disposeObject(Obj);
  }

  bool load() {
    if (orvy_loadImage(Space, Image.c_str()) != 0)
      return false;
    orvy_cpuReset(Cpu, ovRK_Cold);
    orvy_cpuSetPc(Cpu, RamBase);
    return true;
  }
  /// Runs the program from its start to its end.
  bool run() { return load() && Table->run(Cpu, MaxCycles) == ovCER_Halt; }

private:
  void *Cpu = orvy_createObject("SparcV8", "benchCpu", nullptr);
  void *Space = orvy_createObject("MemorySpace", "benchSpace", nullptr);
  void *Uart = orvy_createObject("Uart", "benchUart", nullptr);
  void *Irq = orvy_createObject("IrqCtrl", "benchIrq", nullptr);
  void *Timer = orvy_createObject("GpTimer", "benchTimer", nullptr);
  void *Ram;
  CpuIface *Table;
};

using Preparation = bool (*)(Bench &);

bench::Function runWith(Preparation Prepare) {
  return [Prepare](benchmark::State &State) {
    Bench B;
    if (!B.load() || !Prepare(B))
      return State.SkipWithError("the break point cannot be set");
    for (auto _ : State)
      if (!B.run())
        return State.SkipWithError("the program did not come to its end");
  };
}

bool nothing(Bench &) {
  return true;
}
/// On memory that the program never uses.
bool elsewhere(Bench &) {
  return orvy_breakSet(nullptr, "*0x40200000", nullptr) != 0;
}
/// On a variable that is never written, beside one that is written all the time.
bool besideHotVariable(Bench &) {
  return orvy_watchSet(nullptr, "Failures", ovUB_Change, 4, nullptr) != 0;
}
bool onOtherPage(Bench &) {
  return orvy_watchSet(nullptr, "0x40200000", ovUB_Change, 4, nullptr) != 0;
}

/// How often a function is called in a run.
uint64_t callsOf(Bench &B, const char *Function) {
  const uint64_t Id = orvy_breakSet(nullptr, Function, nullptr);
  orvy_breakSetIgnore(Id, UINT64_MAX);
  orvy_BreakInfo Info = {};
  if (B.run())
    orvy_breakGet(Id, &Info);
  orvy_breakDelete(Id);
  return Info.Hits;
}

/// A false condition at a function. An item is a call of it.
bench::Function falseCondition(const char *Function, const char *Condition) {
  return [=](benchmark::State &State) {
    Bench B;
    const uint64_t Calls = B.load() ? callsOf(B, Function) : 0;
    if (Calls == 0 || (Condition && !orvy_breakSet(nullptr, Function, Condition)))
      return State.SkipWithError("the break point cannot be set");
    for (auto _ : State)
      if (!B.run())
        return State.SkipWithError("the program did not come to its end");
    State.SetItemsProcessed(State.iterations() * static_cast<int64_t>(Calls));
  };
}

const int Rows[] = {
    bench::compare("compute, with a break point elsewhere", {1.02, 0}, runWith(elsewhere),
                   runWith(nothing)),
    bench::compare("compute, with a watch point on another page", {1.02, 0}, runWith(onOtherPage),
                   runWith(nothing)),
    bench::compare("compute, with a watch point on its page of data", {1.5, 0},
                   runWith(besideHotVariable), runWith(nothing)),
    bench::compare("call with a false condition on a register", {1, 2000},
                   falseCondition("ackermann", "$o0 == 99999"),
                   falseCondition("ackermann", nullptr)),
    bench::compare("call with a false condition on a parameter", {1, 2000},
                   falseCondition("mix", "Value == 123454321"), falseCondition("mix", nullptr)),
    bench::compare("call with a false condition on a variable", {1, 2000},
                   falseCondition("ackermann", "Failures == 99999"),
                   falseCondition("ackermann", nullptr)),
};

} // namespace
