// Random code: nothing it does may harm the process, and running it must come to the same as
// stepping it.

#include "SparcV8Fixture.h"
#include "Testing/Seed.h"

#include <random>

namespace sparc_tests {

namespace {

/// A processor of its own, with a memory full of random words.
class Machine {
public:
  Machine(const std::string &Suffix, unsigned Seed) {
    Cpu = orvy_createObject("SparcV8", ("random-" + Suffix).c_str(), nullptr);
    Memory = FlatMemory::create(("memory-" + Suffix).c_str());
    orvy_connect(Cpu, "memorySpace", Memory, "MemAccessIface");
    std::mt19937 Words(Seed);
    for (uint32_t Address = 0; Address < FlatMemory::Size; Address += 4)
      Memory->poke(Address, instruction(Words));
    Memory->AtDevice = [this](Access, orvy_MemTransaction *Mt) {
      const uint64_t Steps = table()->getSteps(Cpu);
      Mt->Value = Steps * 0x9E3779B1u;
      irq()->raiseInterrupt(Cpu, Steps % 16);
    };
    restart(0);
  }

  ~Machine() {
    orvy_disposeObject(Cpu);
    orvy_disposeObject(Memory);
  }

  /// Begins anew somewhere, with registers that point to memory, to the device and to nothing.
  void restart(uint32_t Round) {
    std::mt19937 Values(Round);
    orvy_cpuReset(Cpu, ovRK_Cold);
    orvy_sparcSetPsr(Cpu, 0xA0);
    orvy_sparcSetTbr(Cpu, uint32_t(Values()) % FlatMemory::Size);
    orvy_cpuSetPc(Cpu, uint32_t(Values()) % FlatMemory::Size & ~3u);
    for (uint32_t Window = 0; Window < 8; ++Window)
      for (uint32_t Reg = 0; Reg < 32; ++Reg)
        orvy_sparcSetWindowedReg(Cpu, Window, Reg, value(Values));
  }

  orvy_CpuExitReason run(uint64_t Cycles) { return table()->run(Cpu, Cycles); }

  orvy_CpuExitReason stepFor(uint64_t Cycles) {
    uint64_t End = table()->getCycles(Cpu) + Cycles;
    while (table()->getCycles(Cpu) < End)
      if (orvy_CpuExitReason Reason = table()->stepUntil(Cpu, 1, End))
        return Reason;
    return ovCER_Normal;
  }

  std::vector<uint64_t> state() {
    std::vector<uint64_t> Values = {table()->getCycles(Cpu), table()->getSteps(Cpu),
                                    orvy_cpuGetPc(Cpu),      orvy_sparcGetNPc(Cpu),
                                    orvy_sparcGetPsr(Cpu),   orvy_sparcGetWim(Cpu),
                                    orvy_sparcGetTbr(Cpu),   orvy_sparcGetY(Cpu)};
    for (uint32_t Window = 0; Window < 8; ++Window)
      for (uint32_t Reg = 0; Reg < 32; ++Reg)
        Values.push_back(orvy_sparcGetWindowedReg(Cpu, Window, Reg));
    for (int Class = 0; Class < 16; ++Class)
      Values.push_back(orvy_cpuGetIClassCounter(Cpu, Class));
    return Values;
  }

  const std::vector<uint8_t> &bytes() const { return Memory->Bytes; }

private:
  CpuIface *table() { return static_cast<CpuIface *>(orvy_getInterface(Cpu, "CpuIface", -1)); }

  IrqCtrlIface *irq() {
    return static_cast<IrqCtrlIface *>(orvy_getInterface(Cpu, "IrqIface", -1));
  }

  /// Mostly arithmetic, accesses and short branches, so that something happens before it halts.
  static uint32_t instruction(std::mt19937 &Words) {
    uint32_t Word = uint32_t(Words());
    switch (Words() % 8) {
    case 0:
      return Word; // anything at all
    case 1:
      return (Word & 0x3E000000) | 2u << 22 | (Word & 0x1F); // a branch forwards
    case 2:
    case 3:
      return 3u << 30 | (Word & 0x3E7FFFFF); // a load or store
    default:
      return 2u << 30 | (Word & 0x3FFFFFFF & ~(uint32_t(Words() % 2) << 24));
    }
  }

  static uint32_t value(std::mt19937 &Values) {
    uint32_t Random = uint32_t(Values());
    switch (Random % 8) {
    case 0:
      return FlatMemory::DeviceBase | (Random & 0xFF8);
    case 1:
      return Random;
    default:
      return Random % FlatMemory::Size & ~7u;
    }
  }

  void *Cpu;
  FlatMemory *Memory;
};

} // namespace

TEST_F(SparcV8, RunsAndStepsRandomCodeToTheSameState) {
  const uint32_t Seed = testSeed();
  Machine Runs("runs", Seed), Steps("steps", Seed);
  uint64_t Halts = 0;
  for (uint32_t Round = 1; Round <= 3000; ++Round) {
    uint64_t Cycles = 1 + Round % 97;
    orvy_CpuExitReason Reason = Runs.run(Cycles);
    ASSERT_EQ(Reason, Steps.stepFor(Cycles)) << "round " << Round;
    ASSERT_EQ(Runs.state(), Steps.state()) << "round " << Round;
    Halts += Reason == ovCER_Halt;
    if (Reason != ovCER_Normal || Round % 16 == 0) {
      Runs.restart(Seed + Round);
      Steps.restart(Seed + Round);
    }
  }
  EXPECT_EQ(Runs.bytes(), Steps.bytes());
  EXPECT_GT(Runs.state()[1], 10000u) << "instructions were executed";
  EXPECT_GT(Halts, 0u);
}

} // namespace sparc_tests
