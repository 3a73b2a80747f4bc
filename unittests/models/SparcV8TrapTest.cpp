// Traps: which, of what priority, and the state they leave; error mode; the way back.

#include "SparcV8Fixture.h"

namespace sparc_tests {

using testing::ElementsAre;

namespace {

struct Trapping {
  const char *Text;
  uint32_t Psr; ///< beside ET
  uint32_t Wim;
  uint32_t G1;
  uint32_t Trap;
};

const Trapping Cases[] = {
    {"unimp 0", S, 0, 0, 0x02},
    {"ldd [%g1], %g3", S, 0, 4, 0x02},
    {"std %g3, [%g1]", S, 0, 4, 0x02},
    {"ldda [%g1] 0xb, %g3", S, 0, 4, 0x02},
    {"ldda [%g1] 0xb, %g3", 0, 0, 4, 0x03},
    {"rd %asr1, %g2", S, 0, 0, 0x02},
    {"rd %asr15, %g2", S, 0, 0, 0x02},
    {"wr %g1, 0, %asr14", S, 0, 0, 0x02},
    {"rd %asr16, %g2", 0, 0, 0, 0x03},
    {"wr %g1, 0, %asr19", 0, 0, 0, 0x03},
    {"wr %g1, 0, %psr", S, 0, 8, 0x02},
    {"wr %g1, 0, %psr", 0, 0, 8, 0x03},
    {"wr %g1, 0, %wim", 0, 0, 0, 0x03},
    {"wr %g1, 0, %tbr", 0, 0, 0, 0x03},
    {"rd %psr, %g2", 0, 0, 0, 0x03},
    {"rd %wim, %g2", 0, 0, 0, 0x03},
    {"rd %tbr, %g2", 0, 0, 0, 0x03},
    {"lda [%g1] 0xb, %g2", 0, 0, 1, 0x03},
    {"sta %g2, [%g1] 0xb", 0, 0, 0x200000, 0x03},
    {"swapa [%g1] 0xb, %g2", 0, 0, 0, 0x03},
    {"std %fq, [%g1]", 0, 0, 0, 0x03},
    {"std %fq, [%g1]", S, 0, 1, 0x04},
    {"std %cq, [%g1]", 0, 0, 0, 0x03},
    {"std %cq, [%g1]", S, 0, 0, 0x24},
    {"fadds %f1, %f2, %f3", S, 0, 0, 0x04},
    {"fcmpd %f2, %f4", 0, 0, 0, 0x04},
    {"ld [%g1], %f1", S, 0, 1, 0x04},
    {"st %fsr, [%g1]", S, 0, 0, 0x04},
    {"fba .+0x10", S, 0, 0, 0x04},
    {"cpop1 0x1, %c1, %c2, %c3", S, 0, 0, 0x24},
    {"ld [%g1], %csr", S, 0, 0, 0x24},
    {"std %c2, [%g1]", S, 0, 0, 0x24},
    {"cb0 .+0x10", S, 0, 0, 0x24},
    {"save %g0, %g0, %g0", S | 4, 0x08, 0, 0x05},
    {"save %g0, %g0, %g0", S, 0x80, 0, 0x05},
    {"restore", S | 4, 0x20, 0, 0x06},
    {"restore", S | 7, 0x01, 0, 0x06},
    {"jmp %g1", S, 0, 0x1002, 0x07},
    {"ld [%g1], %g2", S, 0, 0x200002, 0x07},
    {"lduh [%g1], %g2", S, 0, Data + 1, 0x07},
    {"ldd [%g1], %g2", S, 0, Data + 4, 0x07},
    {"st %g2, [%g1]", S, 0, Data + 3, 0x07},
    {"sth %g2, [%g1]", S, 0, Data + 1, 0x07},
    {"std %g2, [%g1]", S, 0, Data + 4, 0x07},
    {"swap [%g1], %g2", S, 0, Data + 2, 0x07},
    {"lda [%g1] 0xb, %g2", S, 0, Data + 2, 0x07},
    {"ld [%g1], %g2", S, 0, 0x200000, 0x09},
    {"stb %g2, [%g1]", S, 0, 0x200001, 0x09},
    {"ldd [%g1], %g2", S, 0, 0x200008, 0x09},
    {"ldstub [%g1], %g2", S, 0, 0x200001, 0x09},
    {"lda [%g1] 0x1, %g2", S, 0, Data, 0x09},
    {"sta %g2, [%g1] 0x40", S, 0, Data, 0x09},
    {"taddcctv %g1, 1, %g2", S, 0, 4, 0x0A},
    {"taddcctv %g1, 4, %g2", S, 0, 0x7FFFFFFC, 0x0A},
    {"tsubcctv %g1, 4, %g2", S, 0, 0x80000000, 0x0A},
    {"udiv %g2, %g0, %g2", S, 0, 0, 0x2A},
    {"sdivcc %g2, %g0, %g2", S, 0, 0, 0x2A},
    {"rett %g1", S, 0, 0, 0x02},
    {"rett %g1", 0, 0, 0, 0x03},
    {"ta 0", S, 0, 0, 0x80},
    {"ta %g1 + 5", 0, 0, 2, 0x87},
    {"ta %g1 + %g1", S, 0, 0x7F, 0xFE},
};

} // namespace

class SparcV8Trap : public SparcV8 {
protected:
  void prepare(const Trapping &Case) {
    program({Case.Text, "nop"});
    setPsr(Case.Psr | Et | C);
    orvy_sparcSetWim(Cpu, Case.Wim);
    set("g1", Case.G1);
    set("g2", 0x12345678);
    orvy_cpuSetPc(Cpu, Origin);
    orvy_sparcSetNPc(Cpu, 0x3000);
  }
};

TEST_F(SparcV8Trap, TakesEachTrapPrecisely) {
  for (const Trapping &Case : Cases) {
    prepare(Case);
    uint32_t Window = (Case.Psr - 1) & 7;
    uint32_t Previous = Case.Psr & S ? Ps : 0;
    SCOPED_TRACE(testing::Message() << Case.Text << " in mode " << (Case.Psr & S ? "S" : "U"));
    EXPECT_EQ(ovCER_Normal, step());
    EXPECT_EQ(Case.Trap, tt());
    EXPECT_EQ(TrapTable + Case.Trap * 16, pc());
    EXPECT_EQ(TrapTable + Case.Trap * 16 + 4, npc());
    EXPECT_EQ(S | Previous | C | Window, psr());
    EXPECT_EQ(Origin, get("l1"));
    EXPECT_EQ(0x3000u, get("l2"));
    EXPECT_EQ(0x12345678u, get("g2")) << "no effect";
    EXPECT_EQ(Case.G1, get("g1"));
  }
}

TEST_F(SparcV8Trap, HaltsOnEachTrapWhileTrapsAreDisabled) {
  for (const Trapping &Case : Cases) {
    if (!std::strncmp(Case.Text, "rett", 4))
      continue; // the one instruction that is for disabled traps
    orvy_cpuReset(Cpu, ovRK_Cold);
    orvy_sparcSetTbr(Cpu, TrapTable);
    prepare(Case);
    setPsr(Case.Psr | C);
    SCOPED_TRACE(Case.Text);
    EXPECT_EQ(ovCER_Halt, step());
    EXPECT_EQ(Case.Trap, tt());
    EXPECT_EQ(Origin, pc()) << "the state that led here can be read";
    EXPECT_EQ(0x3000u, npc());
    EXPECT_EQ(Case.Psr | C, psr());
  }
}

TEST_F(SparcV8Trap, FailsToFetch) {
  program({"jmp %g1", "nop"});
  set("g1", 0x200000);
  EXPECT_EQ(ovCER_Normal, step(3));
  EXPECT_EQ(0x01u, tt());
  EXPECT_EQ(0x200000u, get("l1"));
  EXPECT_EQ(0x200004u, get("l2"));
  EXPECT_EQ(3u, steps()) << "the attempt takes its time";
}

TEST_F(SparcV8Trap, TellsADelaySlotByItsNextPc) {
  program({"ba .+0x40", "ta 1"});
  step(2);
  EXPECT_EQ(Origin + 4, get("l1"));
  EXPECT_EQ(Origin + 0x40, get("l2"));
}

TEST_F(SparcV8Trap, ReturnsFromATrap) {
  program({"ta 1", "mov 1, %g1", "mov 2, %g2"});
  place(TrapTable + 0x810, {"mov 7, %l0", "jmp %l2", "rett %l2 + 4"});
  setPsr(Et | 3); // a user's trap
  step(4);
  EXPECT_EQ(Et | 3, psr() & ~Ps);
  EXPECT_EQ(Origin + 4, pc());
  step(2);
  EXPECT_EQ(1u, get("g1"));
  EXPECT_EQ(2u, get("g2"));
  EXPECT_EQ(0u, get("l0"));
}

TEST_F(SparcV8Trap, RettFailsIntoErrorMode) {
  const struct {
    uint32_t Psr, Wim, Target, Trap;
  } Failures[] = {
      {0, 0, 0x1002, 0x03}, // the order of the checks is the manual's
      {S | 2, 0x08, 0x1002, 0x06},
      {S | 2, 0x04, 0x1002, 0x07},
  };
  for (const auto &Case : Failures) {
    orvy_cpuReset(Cpu, ovRK_Cold);
    program({"rett %g1"});
    orvy_cpuSetPc(Cpu, Origin);
    setPsr(Case.Psr);
    orvy_sparcSetWim(Cpu, Case.Wim);
    set("g1", Case.Target);
    EXPECT_EQ(ovCER_Halt, step());
    EXPECT_EQ(Case.Trap, tt());
    EXPECT_EQ(Case.Psr, psr());
  }
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

TEST_F(SparcV8Trap, SpillsAndFillsWindowsByTheirTraps) {
  // A recursion of depth 20 over eight windows, the handlers saving locals and ins on the stack.
  place(TrapTable + 0x50, {"ba .+0x1000", "nop"}); // overflow
  place(TrapTable + 0x60, {"ba .+0x1100", "nop"}); // underflow
  place(TrapTable + 0x1050,
        {"rd %wim, %l3", "srl %l3, 1, %g7", "sll %l3, 7, %l3", "or %l3, %g7, %g7",
         "save %g0, %g0, %g0", "wr %g7, 0, %wim", "std %l0, [%sp]", "std %l2, [%sp + 8]",
         "std %l4, [%sp + 16]", "std %l6, [%sp + 24]", "std %i0, [%sp + 32]", "std %i2, [%sp + 40]",
         "std %i4, [%sp + 48]", "std %fp, [%sp + 56]", "restore", "jmp %l1", "rett %l2"});
  place(TrapTable + 0x1160,
        {"rd %wim, %l3", "sll %l3, 1, %l4", "srl %l3, 7, %l3", "or %l3, %l4, %l3",
         "wr %l3, 0, %wim", "restore", "restore", "ldd [%sp], %l0", "ldd [%sp + 8], %l2",
         "ldd [%sp + 16], %l4", "ldd [%sp + 24], %l6", "ldd [%sp + 32], %i0", "ldd [%sp + 40], %i2",
         "ldd [%sp + 48], %i4", "ldd [%sp + 56], %fp", "save %g0, %g0, %g0", "save %g0, %g0, %g0",
         "jmp %l1", "rett %l2"});
  // sum(n) = n ? n + sum(n - 1) : 0
  place(Origin, {"call .+0x40", "mov 20, %o0", "st %o0, [%g0 + 2048]", "ba .+0x0", "nop"});
  place(Origin + 0x40, {"save %sp, -96, %sp", "cmp %i0, 0", "be .+0x10", "nop", "call .-0x10",
                        "sub %i0, 1, %o0", "ret", "restore %i0, %o0, %o0"});
  place(Origin + 0x48, {"be .+0x1c", "mov 0, %o0", "call .-0x10", "sub %i0, 1, %o0", "ret",
                        "restore %i0, %o0, %o0"});
  place(Origin + 0x64, {"ret", "restore %g0, 0, %o0"});
  set("sp", 0x10000);
  orvy_sparcSetWim(Cpu, 2);
  EXPECT_EQ(ovCER_Normal, run(5000));
  EXPECT_EQ(210u, Memory->peek(2048));
  EXPECT_EQ(0x10000u, get("sp"));
}

TEST_F(SparcV8Trap, NamesItsTraps) {
  const struct {
    int Number;
    const char *Name;
  } Names[] = {
      {0x00, "reset"},
      {0x02, "illegal_instruction"},
      {0x11, "interrupt_level_1"},
      {0x1F, "interrupt_level_15"},
      {0x2A, "division_by_zero"},
      {0x80, "trap_instruction"},
      {0xFF, "trap_instruction"},
  };
  for (const auto &Row : Names)
    EXPECT_STREQ(Row.Name, table()->getTrapName(Cpu, Row.Number));
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
