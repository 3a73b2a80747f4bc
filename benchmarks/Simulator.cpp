// Simulator: quanta of a processor that does nothing.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <cstdlib>

namespace {

constexpr uint64_t Freq = 1000000000;
constexpr uint64_t Quantum = 1000; // ns
constexpr uint64_t QuantaPerRun = 10000;

/// A processor that jumps to the limit it is given.
struct IdleCpu {
  orvy_Object Super;
  orvy_EventQueue *Queue;
  uint64_t Cycles;
};

orvy_CpuExitReason runUntil(void *Cpu, uint64_t Cycles) {
  static_cast<IdleCpu *>(Cpu)->Cycles = Cycles;
  return ovCER_Normal;
}

void *create(const char *, int, const orvy_CreateArg *) {
  auto *Cpu = static_cast<IdleCpu *>(std::calloc(1, sizeof(IdleCpu)));
  Cpu->Queue = orvy_allocateEventQueue();
  return Cpu;
}

void dispose(void *Cpu) {
  orvy_disposeEventQueue(static_cast<IdleCpu *>(Cpu)->Queue);
  std::free(Cpu);
}

CpuIface makeTable() {
  CpuIface Table{};
  Table.runUntil = runUntil;
  Table.getFreq = [](void *) { return Freq; };
  Table.getCycles = [](void *Cpu) { return static_cast<IdleCpu *>(Cpu)->Cycles; };
  Table.getSteps = Table.getCycles;
  return Table;
}

/// The idle processor, there while a benchmark runs.
class Cpu {
public:
  Cpu() {
    registerClass();
    Obj = orvy_createObject("BenchIdleCpu", "benchIdle", nullptr);
  }
  ~Cpu() { orvy_disposeObject(Obj); }

private:
  static void registerClass() {
    static CpuIface Cpus = makeTable();
    static void *Words[] = {&Cpus, nullptr, nullptr};
    if (orvy_classForName("BenchIdleCpu"))
      return;
    orvy_Class *Cls = orvy_registerClass("BenchIdleCpu", create, dispose);
    orvy_qualifyAsCpu(Cls);
    orvy_setVTable(Cls, Words);
    orvy_addInterface(Cls, "CpuIface", "CpuIface", &Cpus, 0, "");
  }

  void *Obj;
};

void quanta(benchmark::State &State) {
  Cpu Idle;
  orvy_simSetQuanta(Quantum);
  for (auto _ : State)
    orvy_simRunNanos(QuantaPerRun * Quantum - 1);
  State.SetItemsProcessed(State.iterations() * static_cast<int64_t>(QuantaPerRun));
}

/// What a quantum cannot do without: the turn of a processor and a look at a queue.
void callsPlain(benchmark::State &State) {
  IdleCpu Plain{};
  orvy_EventQueue *Queue = orvy_allocateEventQueue();
  orvy_CpuExitReason (*Turn)(void *, uint64_t) = runUntil;
  for (auto _ : State)
    for (uint64_t Index = 0; Index < QuantaPerRun; ++Index) {
      benchmark::DoNotOptimize(Turn);
      Turn(&Plain, Index * Quantum);
      benchmark::DoNotOptimize(orvy_eventGetFirstTime(Queue));
    }
  State.SetItemsProcessed(State.iterations() * static_cast<int64_t>(QuantaPerRun));
  orvy_disposeEventQueue(Queue);
}

const int Rows[] = {
    bench::compare("quantum with one idle processor", bench::below(60), quanta, callsPlain),
};

} // namespace
