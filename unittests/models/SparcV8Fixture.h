// SparcV8Fixture.h - a processor with a flat memory, programmed in its own assembly language.

#ifndef ORVY_UNITTESTS_MODELS_SPARCV8FIXTURE_H
#define ORVY_UNITTESTS_MODELS_SPARCV8FIXTURE_H

#include "Testing/FlatMemory.h"

#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include <initializer_list>
#include <string>

namespace sparc_tests {

using testing_support::Access;
using testing_support::FlatMemory;

constexpr uint32_t Origin = 0x1000;    ///< where programs start
constexpr uint32_t TrapTable = 0x8000; ///< empty: a trap leads to unimp and so to error mode
constexpr uint32_t Data = 0x4000;

// State bits of the manual.
constexpr uint32_t Et = 1 << 5, Ps = 1 << 6, S = 1 << 7;
constexpr uint32_t C = 1 << 20, V = 1 << 21, Z = 1 << 22, N = 1 << 23;

class SparcV8 : public testing::Test {
protected:
  void SetUp() override {
    if (!orvy_classForName("SparcV8")) {
      ASSERT_EQ(0, orvy_loadPlugin(ORVY_BUILD_ROOT "/lib/libORVYSparcV8.so"));
    }
    Cpu = orvy_createObject("SparcV8", "cpu0", nullptr);
    ASSERT_NE(nullptr, Cpu);
    Memory = FlatMemory::create("mem0");
    ASSERT_EQ(0, orvy_connect(Cpu, "memorySpace", Memory, "MemAccessIface"));
    orvy_sparcSetTbr(Cpu, TrapTable);
    setPsr(S | Et);
    orvy_cpuSetPc(Cpu, Origin);
  }

  void TearDown() override {
    orvy_disposeObject(Cpu);
    orvy_disposeObject(Memory);
  }

  /// Puts instructions into memory. Returns the address after them.
  uint32_t place(uint32_t Address, std::initializer_list<const char *> Lines) {
    for (const char *Line : Lines) {
      Memory->poke(Address, orvy_assemble(Cpu, Line));
      Address += 4;
    }
    return Address;
  }

  void program(std::initializer_list<const char *> Lines) { place(Origin, Lines); }

  /// Runs a program of straight-line code to its end.
  void execute(std::initializer_list<const char *> Lines) {
    program(Lines);
    ASSERT_EQ(0, orvy_cpuStep(Cpu, Lines.size()));
  }

  orvy_CpuExitReason step(uint64_t Steps = 1) { return table()->step(Cpu, Steps); }
  orvy_CpuExitReason run(uint64_t Cycles) { return table()->run(Cpu, Cycles); }

  uint32_t get(const char *Reg) {
    return uint32_t(orvy_cpuGetReg(Cpu, uint32_t(table()->getRegId(Cpu, Reg))));
  }
  void set(const char *Reg, uint32_t Value) {
    orvy_cpuSetReg(Cpu, uint32_t(table()->getRegId(Cpu, Reg)), Value);
  }

  /// Sets the state register; the bits of implementation and version are the processor's.
  void setPsr(uint32_t Value) { orvy_sparcSetPsr(Cpu, Value); }
  uint32_t psr() { return orvy_sparcGetPsr(Cpu) & 0xFFFFFF; }
  uint32_t icc() { return psr() & (N | Z | V | C); }
  uint32_t cwp() { return psr() & 31; }
  uint32_t tt() { return orvy_sparcGetTbr(Cpu) >> 4 & 0xFF; }
  uint32_t pc() { return uint32_t(orvy_cpuGetPc(Cpu)); }
  uint32_t npc() { return orvy_sparcGetNPc(Cpu); }
  uint64_t cycles() { return table()->getCycles(Cpu); }
  uint64_t steps() { return table()->getSteps(Cpu); }

  CpuIface *table() { return static_cast<CpuIface *>(orvy_getInterface(Cpu, "CpuIface", -1)); }

  void *Cpu = nullptr;
  FlatMemory *Memory = nullptr;
};

} // namespace sparc_tests

#endif
