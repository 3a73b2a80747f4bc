#include "Testing/LogCapture.h"
#include "Testing/ScriptedCpu.h"

#include "orvy/Support/Orvy.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

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
  orvy_cpuSetFpr32(Cpu, 1, 0.15625f);
  EXPECT_EQ(orvy_cpuGetFpr32(Cpu, 1), 0.15625f);
  EXPECT_EQ(orvy_cpuGetFpr32Bits(Cpu, 1), 0x3e200000u);
  orvy_cpuSetFpr32Bits(Cpu, 1, 0x7fa00001); // a signalling value that is not a number
  EXPECT_EQ(orvy_cpuGetFpr32Bits(Cpu, 1), 0x7fa00001u);
  orvy_cpuSetFpr64(Cpu, 2, 0.15625);
  EXPECT_EQ(orvy_cpuGetFpr64Bits(Cpu, 2), 0x3fc4000000000000u);
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

// Tables that note which slot was called with what.

std::vector<std::string> Calls;

/// Fills the slot that the boundary gives a number; what a getter returns ends in it.
template <int Slot, typename Iface, typename Result, typename... Params>
void fill(Iface &Table, Result (*Iface::*Member)(void *, Params...)) {
  Table.*Member = [](void *, Params... Args) -> Result {
    std::string Text = std::to_string(Slot);
    ((Text += ' ' + std::to_string(static_cast<uint64_t>(Args))), ...);
    Calls.push_back(Text);
    if constexpr (!std::is_void_v<Result>)
      return static_cast<Result>(0x500000000 + Slot);
  };
  const auto Distance =
      reinterpret_cast<char *>(&(Table.*Member)) - reinterpret_cast<char *>(&Table);
  EXPECT_EQ(Distance, Slot * 8);
}

TEST_F(Processor, TurnsTrapsOnAndOffAndRejectsWhereASlotIsNull) {
  static CpuIface Table = {};
  fill<26>(Table, &CpuIface::enableTraps);
  fill<27>(Table, &CpuIface::disableTraps);
  static void *VTable[] = {&Table, nullptr, ScriptedCpu::eventIface()};
  orvy_setVTable(orvy_classForName("ScriptedCpu"), VTable);
  orvy_cpuEnableTraps(Cpu);
  orvy_cpuDisableTraps(Cpu);
  EXPECT_EQ(std::exchange(Calls, {}), (std::vector<std::string>{"26", "27"}));

  EXPECT_EQ(orvy_cpuGetReg(Cpu, 1), 0u);
  orvy_cpuSetPc(Cpu, 4);
  EXPECT_EQ(orvy_cpuRun(Cpu, 10), 10);
  uint64_t Pa = 5;
  EXPECT_EQ(orvy_cpuTranslateAddress(Cpu, 4, 1, &Pa), 1u);
  orvy_cpuRaiseTrap(Cpu, 1, ORVY_TRAP_NO_RETURN);
  for (const char *Slot : {"getGpr", "setPc", "run", "translateAddress", "raiseTrapNoReturn"})
    EXPECT_EQ(Log.count(std::string("cpu : does not implement CpuIface.") + Slot), 1) << Slot;
}

TEST_F(Processor, ReachesTheTablesOfItsTarget) {
  static ArmIface Arm = {};
  fill<2>(Arm, &ArmIface::getExecMode), fill<3>(Arm, &ArmIface::setExecMode);
  fill<4>(Arm, &ArmIface::getAPSR), fill<5>(Arm, &ArmIface::setAPSR);
  fill<6>(Arm, &ArmIface::getFPSCR), fill<7>(Arm, &ArmIface::setFPSCR);
  fill<8>(Arm, &ArmIface::getFPEXC), fill<9>(Arm, &ArmIface::setFPEXC);
  fill<10>(Arm, &ArmIface::getFPINST), fill<11>(Arm, &ArmIface::setFPINST);
  static PowerPCIface Ppc = {};
  fill<0>(Ppc, &PowerPCIface::getXerReg), fill<1>(Ppc, &PowerPCIface::setXerReg);
  fill<2>(Ppc, &PowerPCIface::getCrReg), fill<3>(Ppc, &PowerPCIface::setCrReg);
  fill<4>(Ppc, &PowerPCIface::getMsrReg), fill<5>(Ppc, &PowerPCIface::setMsrReg);
  fill<6>(Ppc, &PowerPCIface::getReserveAddress), fill<7>(Ppc, &PowerPCIface::setReserveAddress);
  fill<8>(Ppc, &PowerPCIface::isReservationBitSet);
  fill<9>(Ppc, &PowerPCIface::clearAddressReservation);
  fill<10>(Ppc, &PowerPCIface::getCtrReg), fill<11>(Ppc, &PowerPCIface::setCtrReg);
  fill<12>(Ppc, &PowerPCIface::getLrReg), fill<13>(Ppc, &PowerPCIface::setLrReg);
  fill<14>(Ppc, &PowerPCIface::getFpscrReg), fill<15>(Ppc, &PowerPCIface::setFpscrReg);
  orvy_Class *Cls = orvy_classForObject(Cpu);
  orvy_addInterface(Cls, "ArmIface", "ArmIface", &Arm, 0, "");
  orvy_addInterface(Cls, "PowerPCIface", "PowerPCIface", &Ppc, 0, "");

  EXPECT_EQ(orvy_armGetExecMode(Cpu), 2u);
  EXPECT_EQ(orvy_armGetAPSR(Cpu), 4u);
  EXPECT_EQ(orvy_armGetFPSCR(Cpu), 6u);
  EXPECT_EQ(orvy_armGetFPEXC(Cpu), 8u);
  EXPECT_EQ(orvy_armGetFPINST(Cpu, 1), 10u);
  orvy_armSetExecMode(Cpu, 21), orvy_armSetAPSR(Cpu, 22), orvy_armSetFPSCR(Cpu, 23);
  orvy_armSetFPEXC(Cpu, 24), orvy_armSetFPINST(Cpu, 2, UINT32_MAX);
  EXPECT_EQ(std::exchange(Calls, {}),
            (std::vector<std::string>{"2", "4", "6", "8", "10 1", "3 21", "5 22", "7 23", "9 24",
                                      "11 2 4294967295"}));

  constexpr uint64_t High = 0x500000000;
  EXPECT_EQ(orvy_ppcGetXerReg(Cpu), 0u);
  EXPECT_EQ(orvy_ppcGetCrReg(Cpu), 2u);
  EXPECT_EQ(orvy_ppcGetMsrReg(Cpu), High + 4);
  EXPECT_EQ(orvy_ppcGetReserveAddress(Cpu), High + 6);
  EXPECT_EQ(orvy_ppcIsReservationBitSet(Cpu), 8);
  EXPECT_EQ(orvy_ppcGetCtrReg(Cpu), 10u);
  EXPECT_EQ(orvy_ppcGetLrReg(Cpu), High + 12);
  EXPECT_EQ(orvy_ppcGetFpscrReg(Cpu), 14u);
  orvy_ppcSetXerReg(Cpu, 31), orvy_ppcSetCrReg(Cpu, 32), orvy_ppcSetMsrReg(Cpu, High);
  orvy_ppcSetReserveAddress(Cpu, High + 1), orvy_ppcClearAddressReservation(Cpu);
  orvy_ppcSetCtrReg(Cpu, 33), orvy_ppcSetLrReg(Cpu, High + 2), orvy_ppcSetFpscrReg(Cpu, 34);
  EXPECT_EQ(std::exchange(Calls, {}),
            (std::vector<std::string>{"0", "2", "4", "6", "8", "10", "12", "14", "1 31", "3 32",
                                      "5 21474836480", "7 21474836481", "9", "11 33",
                                      "13 21474836482", "15 34"}));
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
  EXPECT_DEATH(orvy_cpuGetFreq(Clock),
               "internal error: object 'clock' .* of class 'Clock' is not a processor");
  EXPECT_DEATH(orvy_cpuGetFreq(nullptr),
               "internal error: object 'unknown' .* of class 'none' is not a processor");
  EXPECT_DEATH(orvy_machineReset(Cpu, 0), "of class 'ScriptedCpu' is not a machine");
  EXPECT_DEATH(orvy_sparcGetPsr(Cpu), "of class 'ScriptedCpu' lacks SparcIface");
  EXPECT_DEATH(orvy_getValueU8(Cpu, "cycles", 0),
               "internal error: object 'cpu' .* of class 'ScriptedCpu' has no property 'cycles' of "
               "type uint8_t");
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
