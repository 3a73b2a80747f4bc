// SparcV8: loops of target code, beside the plainest interpreter there is.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <vector>

namespace {

constexpr uint32_t RamBase = 0x40000000;
constexpr uint64_t RamSize = 0x100000;
constexpr uint64_t RunLength = 1000000;
constexpr uint32_t Supervisor = 0x80;

using Program = std::vector<const char *>;

const Program Arithmetic = {"add %g1, 1, %g1",    "xor %g2, %g1, %g2",  "sll %g1, 3, %g3",
                            "sub %g3, %g2, %g4",  "subcc %g4, 7, %g0",  "or %g4, %g1, %g5",
                            "addcc %g5, 12, %g6", "and %g6, 0xff, %g7", "srl %g6, 2, %o0",
                            "add %o0, %g7, %o1",  "ba .-0x28",          "nop"};

const Program Memory = {"sethi %hi(0x40001000), %g1",
                        "ld [%g1], %g2",
                        "add %g2, 1, %g2",
                        "st %g2, [%g1]",
                        "ld [%g1 + 8], %g3",
                        "st %g3, [%g1 + 12]",
                        "ldub [%g1 + 3], %g4",
                        "stb %g4, [%g1 + 21]",
                        "ba .-0x1c",
                        "nop"};

const Program Calls = {"call .+0x10",        "nop",
                       "ba .-0x8",           "nop",
                       "save %sp, -96, %sp", "add %i0, 1, %l0",
                       "jmpl %i7 + 8, %g0",  "restore %l0, 0, %o0"};

/// A processor with memory and a program, there while a benchmark runs.
class Board {
public:
  explicit Board(const Program &Lines) {
    orvy_CreateArg Args[] = {{"size", {.Typ = ovTY_U64, .u64 = RamSize}}, {}};
    Ram = orvy_createObject("Ram", "benchRam", Args);
    orvy_memoryMap(Space, RamBase, RamSize, Ram, 0);
    orvy_connect(Cpu, "memorySpace", Space, "MemAccessIface");
    uint32_t Addr = RamBase;
    for (const char *Line : Lines) {
      orvy_memoryWritePhys32(Space, Addr, orvy_assemble(Cpu, Line));
      Addr += 4;
    }
    orvy_sparcSetPsr(Cpu, Supervisor);
    orvy_sparcSetWim(Cpu, 0);
    orvy_cpuSetPc(Cpu, RamBase);
    Table = static_cast<CpuIface *>(orvy_getInterface(Cpu, "CpuIface", -1));
  }

  ~Board() {
    orvy_disposeObject(Cpu);
    orvy_disposeObject(Space);
    orvy_disposeObject(Ram);
  }

  bool run() { return Table->run(Cpu, RunLength) == ovCER_Normal; }
  uint64_t steps() const { return Table->getSteps(Cpu); }

private:
  void *Cpu = orvy_createObject("SparcV8", "benchCpu", nullptr);
  void *Space = orvy_createObject("MemorySpace", "benchSpace", nullptr);
  void *Ram;
  CpuIface *Table;
};

bench::Function run(const Program &Lines) {
  return [&Lines](benchmark::State &State) {
    Board B(Lines);
    for (auto _ : State)
      if (!B.run())
        return State.SkipWithError("the processor halted");
    State.SetItemsProcessed(static_cast<int64_t>(B.steps()));
  };
}

/// A decoded instruction of the plain interpreter, which calls a function for each.
struct Op {
  const Op *(*Do)(const Op *At, uint32_t *Regs);
  uint32_t A, B, To;
};

const Op *add(const Op *At, uint32_t *Regs) {
  Regs[At->To] = Regs[At->A] + Regs[At->B];
  return At + 1;
}
const Op *exclusiveOr(const Op *At, uint32_t *Regs) {
  Regs[At->To] = Regs[At->A] ^ Regs[At->B];
  return At + 1;
}
const Op *back(const Op *At, uint32_t *) {
  return At - At->A;
}

void interpretPlain(benchmark::State &State) {
  const Op Code[] = {{add, 1, 2, 3}, {exclusiveOr, 3, 1, 2}, {add, 2, 4, 1}, {exclusiveOr, 1, 2, 4},
                     {add, 4, 5, 5}, {exclusiveOr, 5, 4, 6}, {add, 6, 1, 1}, {exclusiveOr, 1, 6, 2},
                     {add, 2, 2, 7}, {add, 7, 1, 1},         {add, 1, 3, 3}, {back, 11, 0, 0}};
  uint32_t Regs[8] = {0, 1, 2, 3, 4, 5, 6, 7};
  const Op *At = Code;
  for (auto _ : State)
    for (uint64_t Count = 0; Count < RunLength; ++Count)
      At = At->Do(At, Regs);
  benchmark::DoNotOptimize(Regs);
  State.SetItemsProcessed(State.iterations() * static_cast<int64_t>(RunLength));
}

constexpr bench::Goal PerInstruction = bench::below(1000.0 / 150);

const int Rows[] = {
    bench::compare("instruction of register arithmetic", PerInstruction, run(Arithmetic),
                   interpretPlain),
    bench::compare("instruction of loads and stores", PerInstruction, run(Memory), interpretPlain),
    bench::compare("instruction of calls with windows", PerInstruction, run(Calls), interpretPlain),
};

} // namespace
