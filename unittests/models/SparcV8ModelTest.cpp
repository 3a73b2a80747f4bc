// The class as the object system sees it: arguments, properties, registers, interfaces, counters.

#include "SparcV8Fixture.h"

#include "../models/SparcV8/Classes.h"

namespace sparc_tests {

TEST_F(SparcV8, IsAProcessor) {
  EXPECT_TRUE(orvy_isCpu(Cpu));
  auto **Tables = static_cast<void **>(orvy_getVTable(Cpu));
  EXPECT_EQ(orvy_getInterface(Cpu, "CpuIface", -1), Tables[0]);
  EXPECT_EQ(orvy_getInterface(Cpu, "EventIface", -1), Tables[2]);
  for (const char *Name : {"SparcIface", "IrqIface", "ResetIface", "MemoryIface", "ObjectIface"})
    EXPECT_TRUE(orvy_objectHasIface(Cpu, Name)) << Name;
  EXPECT_EQ(8u, orvy_sparcGetWindowCount(Cpu));
  EXPECT_EQ(nullptr, orvy_cpuGetMachine(Cpu));
  EXPECT_EQ(0u, orvy_cpuGetFpr64Bits(Cpu, 0));
}

TEST_F(SparcV8, HasMasksAndResetValuesOfItsRegisters) {
  EXPECT_EQ(0, orvy_writeFieldValue(Cpu, "psr", "pil", 5));
  EXPECT_EQ(5u << 8, psr() & 0xF00);
  orvy_RegisterBank *Bank = orvy_getRegisterBank(orvy_classForObject(Cpu), "special");
  orvy_Register *Psr = orvy_getRegister(Bank, "psr");
  EXPECT_EQ(0xFFF03FFFu, orvy_getRegisterReadMask(Psr));
  EXPECT_EQ(0x00F00FFFu, orvy_getRegisterWriteMask(Psr));
  EXPECT_EQ(0xF0000080u, orvy_getRegisterColdResetValue(Psr));
}

TEST_F(SparcV8, ReachesRegistersByNumberAndName) {
  const struct {
    const char *Name;
    int Id;
  } Names[] = {
      {"g0", 0}, {"%o7", 15}, {"sp", 14},  {"o6", 14},  {"fp", 30}, {"i6", 30}, {"r31", 31},
      {"y", 64}, {"psr", 65}, {"npc", 69}, {"r32", -1}, {"x", -1},  {"", -1},
  };
  for (const auto &Row : Names)
    EXPECT_EQ(Row.Id, table()->getRegId(Cpu, Row.Name)) << Row.Name;
  EXPECT_EQ(-1, table()->getRegId(Cpu, nullptr));
  EXPECT_STREQ("l0", table()->getRegName(Cpu, 16));
  EXPECT_EQ(nullptr, table()->getRegName(Cpu, 32));
  orvy_cpuSetReg(Cpu, 0, 5);
  EXPECT_EQ(0u, orvy_cpuGetReg(Cpu, 0));
  orvy_cpuSetReg(Cpu, 1000, 5);
  EXPECT_EQ(0u, orvy_cpuGetReg(Cpu, 1000));
  orvy_cpuSetSpr(Cpu, 20, 77);
  EXPECT_EQ(77u, orvy_sparcGetAsr(Cpu, 20));
  EXPECT_EQ(0u, orvy_sparcGetAsr(Cpu, 32));
  orvy_sparcSetY(Cpu, 9);
  EXPECT_EQ(9u, orvy_cpuGetSpr(Cpu, 0));
}

TEST_F(SparcV8, SurvivesDamagedState) {
  orvy_setValueU32(Cpu, "psr", 0xFFFFFFFF, 0);
  orvy_setValueU32(Cpu, "wim", 0xFFFFFFFF, 0);
  orvy_setValueU32(Cpu, "pc", Origin + 3, 0);
  orvy_setValueU32(Cpu, "npc", 0xFFFFFFFF, 0);
  orvy_setValueU32(Cpu, "globals", 1, 0);
  orvy_setValueU32(Cpu, "irqLines", 0, 0);
  program({"mov %g0, %g1"});
  EXPECT_EQ(ovCER_Normal, step());
  EXPECT_EQ(0u, get("g1"));
  EXPECT_EQ(0xFFFFFFFCu, pc());
  EXPECT_EQ(7u, cwp());
}

TEST_F(SparcV8, CountsInstructionsByClass) {
  execute({"add %g0, 1, %g1", "subcc %g1, 2, %g0", "and %g1, 1, %g2", "sll %g1, 2, %g2",
           "umul %g1, %g2, %g3", "udiv %g1, %g1, %g3", "sethi %hi(0x400), %g4", "be .+0x8", "nop"});
  orvy_cpuSetPc(Cpu, Origin);
  execute({"save %g0, %g0, %g0", "ld [%g0], %g5", "st %g5, [%g0]", "swap [%g0], %g5", "rd %y, %g5",
           "wr %g0, 0, %y", "stbar", "flush %g0", "tn 5", "call .+0x8", "nop"});
  const uint64_t Expected[] = {2, 1, 1, 1, 1, 3, 1, 1, 1, 1, 1, 1, 2, 1, 2, 0};
  for (int Class = 0; Class < 16; ++Class)
    EXPECT_EQ(Expected[Class], orvy_cpuGetIClassCounter(Cpu, Class)) << Class;
  orvy_cpuResetIClassCounter(Cpu, ovSC_Sethi);
  EXPECT_EQ(0u, orvy_cpuGetIClassCounter(Cpu, ovSC_Sethi));
}

TEST_F(SparcV8, HandsAncillaryRegistersToOthers) {
  static uint32_t Written;
  Written = 0;
  orvy_sparcSetAsrReader(
      Cpu, 17, [](void *Obj, uint32_t Asr) { return Asr + uint32_t(orvy_cpuGetPc(Obj)); });
  orvy_sparcSetAsrWriter(Cpu, 19, [](void *, uint32_t, uint32_t Value) { Written = Value; });
  orvy_sparcSetAsrReader(Cpu, 1, [](void *, uint32_t) { return 11u; });
  orvy_sparcSetAsrReader(Cpu, 32, [](void *, uint32_t) { return 0u; });
  execute({"rd %asr17, %g1", "wr %g1, 1, %asr19", "rd %asr1, %g2"});
  EXPECT_EQ(Origin + 17, get("g1"));
  EXPECT_EQ(Origin + 16, Written);
  EXPECT_EQ(11u, get("g2"));
  EXPECT_EQ(0u, orvy_getValueU8(Cpu, "poweredDown", 0)) << "its writer serves the register";
}

TEST_F(SparcV8, ServesOtherAddressSpacesIfConnected) {
  FlatMemory *Control = FlatMemory::create("control");
  ASSERT_EQ(0, orvy_connect(Cpu, "asiSpace", Control, "MemAccessIface"));
  Control->poke(0x40, 0x55AA);
  set("g1", 0x40);
  execute({"lda [%g1] 0x4, %g2", "sta %g1, [%g1 + %g1] 0x2", "ld [%g1], %g3"});
  EXPECT_EQ(0x55AAu, get("g2"));
  EXPECT_EQ(0x40u, Control->peek(0x80));
  EXPECT_EQ(0u, get("g3")) << "the page of the one space is not that of the other";
  orvy_disposeObject(Control);
}

TEST_F(SparcV8, ShowsItsMemoryAndHasNoTranslation) {
  orvy_assembleToMemory(Cpu, "mov 9, %g1", Origin);
  EXPECT_STREQ("mov 9, %g1", orvy_disassembleMemoryAuto(Cpu, Origin));
  step();
  EXPECT_EQ(9u, get("g1"));
  uint64_t Pa = 0;
  EXPECT_EQ(0u, orvy_cpuTranslateAddress(Cpu, 0x1234, 0, &Pa));
  EXPECT_EQ(0x1234u, Pa);
  EXPECT_EQ(1u, orvy_cpuTranslateAddress(Cpu, 0x1234, 2, &Pa)) << "no table entries";
}

TEST_F(SparcV8, PrintsItsRegisters) {
  set("l1", 0x12345678);
  auto *Object = static_cast<ObjectIface *>(orvy_getInterface(Cpu, "ObjectIface", -1));
  testing::internal::CaptureStdout();
  Object->printObject(Cpu);
  std::fflush(stdout);
  std::string Text = testing::internal::GetCapturedStdout();
  EXPECT_THAT(Text, testing::StartsWith("cpu0: running, 0 cycles, 0 steps\n"
                                        "%g0 = 0x00000000  %o0 = 0x00000000  %l0 = 0x00000000"));
  EXPECT_THAT(Text, testing::HasSubstr("%l1 = 0x12345678"));
  EXPECT_THAT(Text, testing::HasSubstr("psr = 0xf00000a0"));
  EXPECT_THAT(Text, testing::EndsWith("pc = 0x00001000  npc = 0x00001004\n"));
}

TEST_F(SparcV8, RunsWithoutAMemoryIntoErrorMode) {
  void *Bare = orvy_createObject("SparcV8", "cpu1", nullptr);
  auto *Object = static_cast<ObjectIface *>(orvy_getInterface(Bare, "ObjectIface", -1));
  EXPECT_EQ(1, Object->checkSanity(Bare, 0));
  EXPECT_EQ(0, Object->checkSanity(Cpu, 1));
  auto *Table = static_cast<CpuIface *>(orvy_getInterface(Bare, "CpuIface", -1));
  EXPECT_EQ(ovCER_Halt, Table->run(Bare, 10));
  EXPECT_EQ(1u, orvy_sparcGetTbr(Bare) >> 4);
  uint32_t Word;
  EXPECT_EQ(0u, orvy_memoryRead(Bare, &Word, 0, 4, 2));
  orvy_disposeObject(Bare);
}

} // namespace sparc_tests
