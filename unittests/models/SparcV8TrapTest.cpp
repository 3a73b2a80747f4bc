// Traps: which, of what priority, and the state they leave; error mode; the way back.

#include "SparcV8Cases.h"

namespace sparc_tests {

using testing::ElementsAre;

namespace {

/// Instructions, each by itself, that lead to the same trap.
const Case Traps[] = {
    {"unimp 0; rd %asr1, %g2; rd %asr15, %g2", "", "trap=2"},
    {"ldd [%g1], %g3; std %g3, [%g1]; ldda [%g1] 0xb, %g3", "g1=4", "trap=2"},
    {"wr %g1, 0, %asr14", "g1=0", "trap=2"},
    {"wr %g1, 0, %psr", "g1=8", "trap=2"},
    {"ldda [%g1] 0xb, %g3", "s=0 g1=4", "trap=3"},
    {"rd %asr16, %g2; rd %psr, %g2; rd %wim, %g2; rd %tbr, %g2", "s=0", "trap=3"},
    {"wr %g1, 0, %asr19; wr %g1, 0, %wim; wr %g1, 0, %tbr; swapa [%g1] 0xb, %g2; std %fq, [%g1]; "
     "std %cq, [%g1]",
     "s=0 g1=0", "trap=3"},
    {"wr %g1, 0, %psr", "s=0 g1=8", "trap=3"},
    {"lda [%g1] 0xb, %g2", "s=0 g1=1", "trap=3"},
    {"sta %g2, [%g1] 0xb", "s=0 g1=200000", "trap=3"},
    {"std %fq, [%g1]; ld [%g1], %f1", "g1=1", "trap=4"},
    {"fadds %f1, %f2, %f3; fba .+0x10", "", "trap=4"},
    {"fcmpd %f2, %f4", "s=0", "trap=4"},
    {"st %fsr, [%g1]", "g1=0", "trap=4"},
    {"save %g0, %g0, %g0", "cwp=4 wim=8", "trap=5"},
    {"save %g0, %g0, %g0", "wim=80", "trap=5"},
    {"restore", "cwp=4 wim=20", "trap=6"},
    {"restore", "cwp=7 wim=1", "trap=6"},
    {"jmp %g1", "g1=1002", "trap=7"},
    {"ld [%g1], %g2", "g1=200002", "trap=7"},
    {"lduh [%g1], %g2; sth %g2, [%g1]", "g1=4001", "trap=7"},
    {"ldd [%g1], %g2; std %g2, [%g1]", "g1=4004", "trap=7"},
    {"st %g2, [%g1]", "g1=4003", "trap=7"},
    {"swap [%g1], %g2; lda [%g1] 0xb, %g2", "g1=4002", "trap=7"},
    {"ld [%g1], %g2", "g1=200000", "trap=9"},
    {"stb %g2, [%g1]; ldstub [%g1], %g2", "g1=200001", "trap=9"},
    {"ldd [%g1], %g2", "g1=200008", "trap=9"},
    {"lda [%g1] 0x1, %g2; sta %g2, [%g1] 0x40", "g1=4000", "trap=9"},
    {"taddcctv %g1, 1, %g2", "g1=4", "trap=a"},
    {"taddcctv %g1, 4, %g2", "g1=7ffffffc", "trap=a"},
    {"tsubcctv %g1, 4, %g2", "g1=80000000", "trap=a"},
    {"std %cq, [%g1]; ld [%g1], %csr; std %c2, [%g1]", "g1=0", "trap=24"},
    {"cpop1 0x1, %c1, %c2, %c3; cb0 .+0x10", "", "trap=24"},
    {"udiv %g2, %g0, %g2; sdivcc %g2, %g0, %g2", "", "trap=2a"},
    {"ta 0", "", "trap=80"},
    {"ta %g1 + 5", "s=0 g1=2", "trap=87"},
    {"ta %g1 + %g1", "g1=7f", "trap=fe"},
};

/// Beside those that any instruction may meet.
const Case Others[] = {
    {"rett %g1", "g1=0", "trap=2"},
    {"rett %g1", "s=0 g1=0", "trap=3"},
    {"jmp %g1; nop; nop", "g1=200000", "pc=200000 npc=200004 trap=1"},
    {"ba .+0x40; ta 1", "", "pc=1004 npc=1040 trap=81"},
    {"jmp %l1; rett %l2", "et=0 cwp=2 l1=4000 l2=2000", "pc=4000 npc=2000 cwp=3 et=1 s=0"},
    {"jmp %l1; rett %l2", "et=0 ps=1 cwp=7 l1=4000 l2=2000", "pc=4000 npc=2000 cwp=0 et=1"},
};

/// The order of the checks is the manual's.
const Case FailingReturns[] = {
    {"rett %g1", "s=0 et=0 g1=1002", "trap=3"},
    {"rett %g1", "et=0 cwp=2 wim=8 g1=1002", "trap=6"},
    {"rett %g1", "et=0 cwp=2 wim=4 g1=1002", "trap=7"},
};

using SparcV8Trap = SparcV8Cases;

} // namespace

TEST_F(SparcV8Trap, ArePreciseAndHaltWhileTrapsAreDisabled) {
  for (const Case &Trap : Traps)
    for (const std::string &Code : split(Trap.Code)) {
      const std::string Before = std::string("npc=3000 ") + Trap.Before;
      check({Code.c_str(), Before.c_str(), Trap.After});
      check({Code.c_str(), (Before + " et=0").c_str(), Trap.After}, ovCER_Halt);
    }
  for (const Case &Other : Others)
    check(Other);
  for (const Case &Return : FailingReturns)
    check(Return, ovCER_Halt);
}

TEST_F(SparcV8Trap, StaysHaltedUntilReset) {
  program({"unimp 0"});
  setPsr(S);
  EXPECT_EQ(ovCER_Halt, run(100));
  EXPECT_EQ(1u, orvy_getValueU8(Cpu, "halted", 0));
  EXPECT_EQ(1u, cycles());
  EXPECT_EQ(ovCER_Halt, step(5));
  EXPECT_EQ(1u, steps());
  EXPECT_EQ(ovCER_Halt, table()->runUntil(Cpu, 100)) << "time passes all the same";
  EXPECT_EQ(100u, cycles());
  EXPECT_EQ(ovCER_Normal, table()->runUntil(Cpu, 100)) << "nothing is left to do";
  EXPECT_EQ(ovCER_Halt, table()->runUntil(Cpu, 101));
  orvy_cpuReset(Cpu, ovRK_Warm);
  EXPECT_EQ(0u, pc());
  EXPECT_EQ(4u, npc());
  EXPECT_EQ(S, psr());
  EXPECT_EQ(101u, cycles()) << "time does not start again";
  place(0, {"mov 1, %g1"});
  EXPECT_EQ(ovCER_Normal, step());
  EXPECT_EQ(1u, get("g1"));
}

TEST_F(SparcV8Trap, ResetsColdAndWarm) {
  orvy_setValueU32(Cpu, "config.resetPc", 0x40000000, 0);
  set("g1", 5);
  set("l1", 6);
  set("y", 7);
  setPsr(Et | N | 2);
  orvy_sparcSetWim(Cpu, 2);
  orvy_cpuReset(Cpu, ovRK_Warm);
  EXPECT_EQ(S | N | 2, psr());
  EXPECT_EQ(5u, get("g1"));
  EXPECT_EQ(2u, orvy_sparcGetWim(Cpu));
  EXPECT_EQ(0x40000000u, pc());
  orvy_cpuReset(Cpu, ovRK_Cold);
  EXPECT_EQ(0xF0000000 | S, orvy_sparcGetPsr(Cpu));
  EXPECT_EQ(0u, get("g1") | get("l1") | get("y") | orvy_sparcGetWim(Cpu) | orvy_sparcGetTbr(Cpu));
}

TEST_F(SparcV8Trap, NamesItsTraps) {
  for (auto [Number, Name] : {std::pair{0x00, "reset"},
                              {0x02, "illegal_instruction"},
                              {0x11, "interrupt_level_1"},
                              {0x1F, "interrupt_level_15"},
                              {0x2A, "division_by_zero"},
                              {0x80, "trap_instruction"},
                              {0xFF, "trap_instruction"}})
    EXPECT_STREQ(Name, table()->getTrapName(Cpu, Number));
  for (int Number : {0x10, 0x50, 0x100, -1})
    EXPECT_EQ(nullptr, table()->getTrapName(Cpu, Number));
}

TEST_F(SparcV8Trap, NotifiesEntryAndExitWhenAsked) {
  std::vector<int> Heard;
  auto Entered = [](void *Arg, void *, void *Info) {
    static_cast<std::vector<int> *>(Arg)->push_back(int(*static_cast<uint32_t *>(Info)));
  };
  auto Left = [](void *Arg, void *, void *) {
    static_cast<std::vector<int> *>(Arg)->push_back(-1);
  };
  ASSERT_EQ(0, orvy_subscribeNotification("orvy.cpuTrapEntry", Cpu, &Heard, Entered));
  ASSERT_EQ(0, orvy_subscribeNotification("orvy.cpuTrapExit", Cpu, &Heard, Left));
  program({"ta 1", "ta 2", "ba .-0x8", "nop"});
  place(TrapTable + 0x810, {"jmp %l2", "rett %l2 + 4"});
  place(TrapTable + 0x820, {"jmp %l2", "rett %l2 + 4"});
  step(6);
  EXPECT_THAT(Heard, ElementsAre());
  table()->enableTrapEvents(Cpu);
  step(8);
  EXPECT_THAT(Heard, ElementsAre(0x81, -1, 0x82, -1));
  table()->disableTrapEvents(Cpu);
  step(8);
  EXPECT_EQ(4u, Heard.size());
}

TEST_F(SparcV8Trap, TakesTrapsThatOthersRaise) {
  program({"ld [%g1], %g2", "nop"});
  set("g1", FlatMemory::DeviceBase);
  set("g2", 5);
  table()->raiseTrap(Cpu, 0x29);
  EXPECT_EQ(TrapTable + 0x290, pc()) << "at once, between instructions";
  for (uint32_t Flags : {0u, ORVY_TRAP_NO_RETURN}) {
    bool Returned = false;
    Memory->AtDevice = [&](Access, orvy_MemTransaction *) {
      orvy_cpuRaiseTrap(Cpu, 0x2B, Flags);
      Returned = true;
    };
    setPsr(S | Et);
    orvy_cpuSetPc(Cpu, Origin);
    step();
    EXPECT_EQ(Flags == 0, Returned);
    EXPECT_EQ(0x2Bu, tt());
    EXPECT_EQ(Origin, get("l1")) << "as if by the instruction in progress";
    EXPECT_EQ(5u, get("g2"));
  }
}

} // namespace sparc_tests
