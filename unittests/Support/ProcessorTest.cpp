#include "Testing/LogCapture.h"
#include "Testing/ScriptedCpu.h"

#include "orvy/Support/Orvy.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

using namespace orvy::testing;

namespace {

class Processor : public ::testing::Test {
protected:
  ~Processor() override { orvy_objsysClear(); }

  LogCapture Log;
  ScriptedCpu *Cpu = ScriptedCpu::make("cpu", 1000);
};

TEST_F(Processor, IsReachedThroughTheFlatFunctions) {
  EXPECT_EQ(orvy_cpuGetFreq(Cpu), 1000u);
  orvy_cpuSetReg(Cpu, 3, 0x123456789);
  EXPECT_EQ(orvy_cpuGetReg(Cpu, 3), 0x123456789u);
  orvy_cpuSetFpr32(Cpu, 1, 1.0f);
  EXPECT_EQ(orvy_cpuGetFpr32Bits(Cpu, 1), 0x3f800000u);
  orvy_cpuSetFpr64Bits(Cpu, 2, 0xbff0000000000000);
  EXPECT_EQ(orvy_cpuGetFpr64(Cpu, 2), -1.0);
  uint64_t Pa = 0;
  EXPECT_EQ(orvy_cpuTranslateAddress(Cpu, 0x40, 1, &Pa), 3u);
  EXPECT_EQ(Pa, 0x1040u);
  orvy_cpuRaiseTrap(Cpu, 7, 0);
  EXPECT_EQ(Cpu->LastTrap, 7);
  EXPECT_FALSE(Cpu->TrapLeft);
  orvy_cpuRaiseTrap(Cpu, 8, ORVY_TRAP_NO_RETURN);
  EXPECT_TRUE(Cpu->TrapLeft);
  orvy_cpuReset(Cpu, ovRK_Cold);
  EXPECT_EQ(Cpu->Resets, 1);
}

TEST_F(Processor, TellsWhatIsLeftOfARunAndGoesBelowZero) {
  EXPECT_EQ(orvy_cpuRun(Cpu, 10), 0);
  Cpu->stopAt(13, ovCER_Break);
  EXPECT_EQ(orvy_cpuRun(Cpu, 10), 7);
  EXPECT_EQ(orvy_cpuStep(Cpu, 4), 0);
  static CpuIface Overrunning = *ScriptedCpu::cpuIface();
  Overrunning.run = [](void *Obj, uint64_t Cycles) {
    ScriptedCpu::of(Obj).Cycles += static_cast<int64_t>(Cycles) + 5;
    return ovCER_Normal;
  };
  static void *Table[] = {&Overrunning, nullptr, ScriptedCpu::eventIface()};
  orvy_setVTable(orvy_classForName("ScriptedCpu"), Table);
  EXPECT_EQ(orvy_cpuRun(Cpu, 10), -5);
}

TEST_F(Processor, CountsInstructionClassesAtTheirFixedPlace) {
  Cpu->Counters[2] = 77;
  EXPECT_EQ(orvy_cpuGetIClassCounter(Cpu, 2), 77u);
  orvy_cpuResetIClassCounter(Cpu, 2);
  EXPECT_EQ(Cpu->Counters[2], 0u);
}

TEST_F(Processor, AnyOtherObjectIsAFaultOfTheCaller) {
  orvy::clockmodel::registerClock();
  void *Clock = orvy_createObject("Clock", "clock", nullptr);
  EXPECT_DEATH(orvy_cpuGetFreq(Clock), "internal error: ");
  EXPECT_DEATH(orvy_cpuGetFreq(nullptr), "internal error: ");
  EXPECT_DEATH(orvy_machineReset(Cpu, 0), "internal error: ");
  EXPECT_DEATH(orvy_sparcGetPsr(Cpu), "internal error: ");
}

TEST_F(Processor, DisassemblesIntoATextOfTheThread) {
  char *Text = orvy_disassemble(Cpu, 5);
  EXPECT_STREQ(Text, "op 5");
  std::free(Text);
  const char *Mine = orvy_disassembleAuto(Cpu, 1);
  std::thread([this] { EXPECT_STREQ(orvy_disassembleAuto(Cpu, 2), "op 2"); }).join();
  EXPECT_EQ(orvy_disassembleAuto(Cpu, 0), nullptr); // no text keeps the former one
  EXPECT_STREQ(Mine, "op 1");
  EXPECT_EQ(orvy_assemble(Cpu, "four"), 4u);
}

TEST_F(Processor, AssemblyNeedsTheInterfaces) {
  orvy::clockmodel::registerClock();
  void *Clock = orvy_createObject("Clock", "clock", nullptr);
  EXPECT_EQ(orvy_assemble(Clock, "nop"), 0u);
  EXPECT_EQ(orvy_disassemble(Clock, 0), nullptr);
  EXPECT_EQ(orvy_disassembleAuto(Clock, 0), nullptr);
  EXPECT_EQ(Log.count("object lacks CpuIface"), 3);
  orvy_assembleToMemory(Cpu, "nop", 0);
  EXPECT_EQ(orvy_disassembleMemory(Cpu, 0), nullptr);
  EXPECT_EQ(orvy_disassembleMemoryAuto(Cpu, 0), nullptr);
  EXPECT_EQ(Log.count("object lacks MemoryIface"), 3);
  EXPECT_EQ(orvy_lineDataGetLineCount(Cpu), 0u);
  EXPECT_EQ(orvy_lineDataGetLine(Cpu, 0), nullptr);
}

} // namespace
