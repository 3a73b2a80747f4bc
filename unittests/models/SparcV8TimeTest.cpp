// Time: cycles and steps, events to the cycle, interrupts, power-down, and runs that are stopped.

#include "SparcV8Fixture.h"

#include <map>

namespace sparc_tests {

using testing::ElementsAre;
using testing::Pair;

class SparcV8Time : public SparcV8 {
protected:
  void SetUp() override {
    SparcV8::SetUp();
    Current = this;
    program({"add %g1, 1, %g1", "ba .-0x4", "add %g2, 1, %g2"}); // %g1 + %g2 counts two of three
  }

  /// Publishes an event that notes its time and the program counter, and then does something.
  int64_t event(const char *Name, std::function<void()> Then = nullptr) {
    Names.push_back(Name);
    int64_t Id = orvy_eventPublish(Name, Cpu, [](orvy_Event *Ev) { Current->fired(Ev); });
    Fired[Id] = {Name, Then};
    return Id;
  }

  void fired(orvy_Event *Ev) {
    Log.push_back({Fired[Ev->EventId].first, cycles()});
    PcAtEvent = pc();
    if (Fired[Ev->EventId].second)
      Fired[Ev->EventId].second();
  }

  void raise(uint8_t Level) { irq()->raiseInterrupt(Cpu, Level); }
  void lower(uint8_t Level) { irq()->lowerInterrupt(Cpu, Level); }
  IrqCtrlIface *irq() {
    return static_cast<IrqCtrlIface *>(orvy_getInterface(Cpu, "IrqIface", -1));
  }
  void post(int64_t Id, int64_t Delay) { orvy_eventPostCycles(Cpu, Id, Delay, ovSE_Cpu); }

  static SparcV8Time *Current;
  std::vector<std::string> Names;
  std::map<int64_t, std::pair<std::string, std::function<void()>>> Fired;
  std::vector<std::pair<std::string, uint64_t>> Log;
  uint32_t PcAtEvent = 0;
};

SparcV8Time *SparcV8Time::Current;

TEST_F(SparcV8Time, CountsCyclesAndStepsUpToItsLimits) {
  const struct {
    uint32_t Cpi;
    std::function<int()> Call;
    int Result;
    uint64_t Cycles, Steps; ///< after the call
  } Cases[] = {
      {1, [&] { return run(1000); }, 0, 1000, 1000},
      {1, [&] { return orvy_cpuStep(Cpu, 11); }, 0, 1011, 1011},
      {1, [&] { return table()->runUntil(Cpu, 1000); }, 0, 1011, 1011}, // the past
      {1, [&] { return table()->stepUntil(Cpu, 100, 1050); }, 0, 1050, 1050},
      {1, [&] { return table()->stepUntil(Cpu, 100, 5000); }, 0, 1150, 1150},
      {1, [&] { return table()->step(Cpu, 0); }, 0, 1150, 1150},
      {3, [&] { return orvy_cpuRun(Cpu, 10); }, -2, 1162, 1154}, // two cycles too many
      {0, [&] { return run(5); }, 0, 1167, 1159},                // counts as one
  };
  for (const auto &Case : Cases) {
    orvy_setValueU32(Cpu, "config.cpi", Case.Cpi, 0);
    EXPECT_EQ(Case.Result, Case.Call());
    EXPECT_EQ(Case.Cycles, cycles());
    EXPECT_EQ(Case.Steps, steps());
  }
  EXPECT_EQ(773u, get("g1") + get("g2")) << "two of three instructions count";
}

TEST_F(SparcV8Time, FiresEventsAtTheirCycleBeforeTheInstruction) {
  int64_t A = event("a"), B = event("b");
  post(A, 10);
  post(B, 25);
  run(20);
  EXPECT_THAT(Log, ElementsAre(Pair("a", 10)));
  EXPECT_EQ(Origin + 4, PcAtEvent) << "ten instructions of a loop of three have run";
  run(5);
  EXPECT_THAT(Log, ElementsAre(Pair("a", 10), Pair("b", 25))) << "due exactly at the end";
  EXPECT_EQ(25u, cycles());
}

TEST_F(SparcV8Time, FiresEventsPostedFromWithinAnAccess) {
  int64_t Ev = event("late"), Stacked = event("stacked");
  uint64_t Posted = 0;
  Memory->AtDevice = [&](Access Kind, orvy_MemTransaction *) {
    Posted = cycles();
    if (Kind == Access::Read)
      post(Ev, 3);
    else
      orvy_eventPostStack(Cpu, Stacked, ovSE_Cpu);
  };
  set("g3", FlatMemory::DeviceBase);
  program({"nop", "nop", "ld [%g3], %g4", "nop", "st %g4, [%g3]", "ba .-0x4", "nop"});
  run(3);
  EXPECT_EQ(2u, Posted) << "the access is seen at the cycle at which its instruction began";
  run(1000000);
  ASSERT_GE(Log.size(), 2u);
  EXPECT_EQ(Log[0], std::make_pair(std::string("stacked"), uint64_t(5)));
  EXPECT_EQ(Log[1], std::make_pair(std::string("late"), uint64_t(5)));
}

TEST_F(SparcV8Time, AddsWaitStatesOfAnAccess) {
  int64_t Ev = event("tick");
  Memory->AtDevice = [&](Access, orvy_MemTransaction *Mt) { Mt->Cycles = 4; };
  set("g3", FlatMemory::DeviceBase);
  program({"ld [%g3], %g4", "nop", "ba .-0x4", "nop"});
  post(Ev, 3);
  EXPECT_EQ(0, orvy_cpuRun(Cpu, 20));
  EXPECT_EQ(16u, steps());
  EXPECT_THAT(Log, ElementsAre(Pair("tick", 5)));
}

TEST_F(SparcV8Time, TakesInterruptsAboveTheMask) {
  const struct {
    uint32_t Psr;
    uint8_t Level;
    bool Taken;
  } Cases[] = {
      {S | Et, 1, true},
      {S | Et | 5 << 8, 5, false},
      {S | Et | 5 << 8, 6, true},
      {S | Et | 15 << 8, 14, false},
      {S | Et | 15 << 8, 15, true},
      {S, 15, false},
      {S | Et, 0, false},
      {S | Et, 16, false},
  };
  for (uint32_t Level = 1; Level <= 15; ++Level)
    place(TrapTable + 0x100 + Level * 16, {"nop"});
  for (const auto &Case : Cases) {
    setPsr(Case.Psr);
    orvy_cpuSetPc(Cpu, Origin);
    raise(Case.Level);
    step();
    SCOPED_TRACE(testing::Message() << std::hex << Case.Psr << " level " << int(Case.Level));
    EXPECT_EQ(Case.Taken ? TrapTable + 0x100 + Case.Level * 16 + 4 : Origin + 4, pc());
    if (Case.Taken) {
      EXPECT_EQ(Origin, get("l1"));
    }
    lower(Case.Level);
  }
}

TEST_F(SparcV8Time, TakesTheHighestInterruptFirst) {
  place(TrapTable + 0x130, {"jmp %l1", "rett %l2"});
  place(TrapTable + 0x1A0, {"jmp %l1", "rett %l2"});
  raise(3);
  raise(10);
  step();
  EXPECT_EQ(0x1Au, tt());
  step();
  EXPECT_EQ(0x1Au, tt()) << "traps are enabled again after the rett";
  step();
  EXPECT_EQ(0x13u, tt());
  EXPECT_EQ(Origin, get("l1"));
  EXPECT_EQ(0u, orvy_getValueU32(Cpu, "irqLines", 0)) << "without a client the lines are lowered";
}

TEST_F(SparcV8Time, TakesInterruptsAfterTheInstructionThatAllowsOrRaisesThem) {
  place(TrapTable + 0x150, {"ba .+0x0", "nop"});
  program({"wr %g3, 0, %psr", "nop", "ba .-0x8", "nop"});
  set("g3", S | Et);
  setPsr(S);
  raise(5);
  run(2);
  EXPECT_EQ(Origin + 4, get("l1")) << "after the write of the state register";
  program({"nop", "ld [%g3], %g4", "nop", "ba .+0x0", "nop"});
  Memory->AtDevice = [&](Access, orvy_MemTransaction *) { raise(5); };
  set("g3", FlatMemory::DeviceBase);
  setPsr(S | Et);
  orvy_cpuSetPc(Cpu, Origin);
  run(1000);
  EXPECT_EQ(Origin + 8, get("l1")) << "after the access that raised it";
}

TEST_F(SparcV8Time, PassesTheTimeFromEventToEventWhilePoweredDown) {
  program({"wr %g0, 0, %asr19", "mov 1, %g3", "ba .+0x0", "nop"});
  place(TrapTable + 0x170, {"jmp %l1", "rett %l2"});
  int64_t Tick = event("tick"), Masked = event("masked", [&] { raise(2); }),
          Wake = event("wake", [&] { raise(7); });
  setPsr(S | Et | 2 << 8);
  post(Tick, 1000);
  post(Masked, 2000);
  post(Wake, 50000);
  EXPECT_EQ(ovCER_Normal, run(30000));
  EXPECT_EQ(30000u, cycles());
  EXPECT_EQ(1u, steps());
  EXPECT_EQ(1u, orvy_getValueU8(Cpu, "poweredDown", 0));
  EXPECT_EQ(0u, get("g3"));
  EXPECT_EQ(ovCER_Normal, run(20003));
  EXPECT_THAT(Log, ElementsAre(Pair("tick", 1000), Pair("masked", 2000), Pair("wake", 50000)));
  EXPECT_EQ(1u, get("g3"));
  EXPECT_EQ(4u, steps()) << "the two instructions of the handler, and one after them";
  EXPECT_EQ(0u, orvy_getValueU8(Cpu, "poweredDown", 0));
}

TEST_F(SparcV8Time, EndsStepsOfASleepingProcessor) {
  program({"wr %g0, 0, %asr19", "nop"});
  EXPECT_EQ(ovCER_Normal, step(10)) << "nothing is pending, so nothing will wake it";
  EXPECT_EQ(1u, steps());
  EXPECT_EQ(ovCER_Normal, table()->stepUntil(Cpu, 10, 500));
  EXPECT_EQ(500u, cycles());
  int64_t Tick = event("tick");
  orvy_eventSetPeriodCycles(Tick, 100);
  post(Tick, 100);
  EXPECT_EQ(ovCER_Normal, step(10)) << "ticks that wake nobody do not hold it for ever";
  EXPECT_EQ(1500u, cycles());
  EXPECT_EQ(ovCER_Normal, table()->stepUntil(Cpu, 1, 9999)) << "with a limit, time goes on to it";
  EXPECT_EQ(9999u, cycles());
}

TEST_F(SparcV8Time, StopsBeforeAnAccessAndGoesOnAfterIt) {
  program({"mov 1, %g1", "st %g1, [%g3]", "ld [%g3], %g4", "mov 2, %g1", "ba .-0x10", "nop"});
  set("g3", Data);
  Memory->stopAt(Access::Fetch, Origin + 4);
  Memory->stopAt(Access::Write, Data);
  Memory->stopAt(Access::Read, Data);
  for (uint64_t Round = 0; Round < 2; ++Round) {
    Memory->poke(Data, 0);
    set("g4", 0);
    EXPECT_EQ(ovCER_Break, run(100));
    EXPECT_EQ(Origin + 4, pc());
    EXPECT_EQ(6 * Round + 1, steps());
    EXPECT_EQ(6 * Round + 1, cycles());
    EXPECT_EQ(ovCER_BreakWrite, run(100));
    EXPECT_EQ(Origin + 4, pc());
    EXPECT_EQ(0u, Memory->peek(Data));
    EXPECT_EQ(ovCER_BreakRead, run(100));
    EXPECT_EQ(Origin + 8, pc());
    EXPECT_EQ(1u, Memory->peek(Data));
    EXPECT_EQ(0u, get("g4"));
    EXPECT_EQ(6 * Round + 2, steps());
    EXPECT_EQ(ovCER_Normal, run(4));
    EXPECT_EQ(1u, get("g4"));
  }
}

TEST_F(SparcV8Time, ResetsAndRedirectsUnderAnInstruction) {
  program({"ld [%g3], %g4", "mov 1, %g5"});
  place(0x3000, {"mov 2, %g5", "ba .+0x0", "nop"});
  for (bool Resets : {true, false}) {
    orvy_setValueU32(Cpu, "config.resetPc", 0x3000, 0);
    set("g3", FlatMemory::DeviceBase);
    set("g4", 7);
    set("g5", 0);
    orvy_cpuSetPc(Cpu, Origin);
    Memory->AtDevice = [&](Access, orvy_MemTransaction *Mt) {
      Mt->Value = 9;
      if (Resets)
        orvy_cpuReset(Cpu, ovRK_Warm);
      else
        orvy_cpuSetPc(Cpu, 0x3000);
    };
    uint64_t Before = cycles();
    run(10);
    EXPECT_EQ(2u, get("g5"));
    EXPECT_EQ(7u, get("g4")) << "the instruction has no effect";
    EXPECT_EQ(Before + 10, cycles());
  }
}

TEST_F(SparcV8Time, ShowsItsStateToWhatAnInstructionCalls) {
  program({"mov 42, %l3", "subcc %g0, 1, %g0", "ld [%g3], %g4"});
  set("g3", FlatMemory::DeviceBase);
  Memory->AtDevice = [&](Access, orvy_MemTransaction *Mt) {
    EXPECT_EQ(Origin + 8, pc());
    EXPECT_EQ(Origin + 12, npc());
    EXPECT_EQ(2u, cycles());
    EXPECT_EQ(2u, steps());
    EXPECT_EQ(N | C, icc());
    EXPECT_EQ(42u, get("l3"));
    EXPECT_EQ(42u, orvy_getValueU32(Cpu, "windows", 3));
    EXPECT_EQ(Origin + 8, orvy_getValueU32(Cpu, "pc", 0));
    EXPECT_EQ(2u, orvy_getValueU64(Cpu, "cycles", 0));
    EXPECT_EQ(Cpu, Mt->Initiator);
    set("l3", 43);
    setPsr(S | Et | Z | 1);
    set("l3", 44);
  };
  step(3);
  EXPECT_EQ(Z, icc());
  EXPECT_EQ(1u, cwp());
  EXPECT_EQ(43u, orvy_sparcGetWindowedReg(Cpu, 0, 19));
  EXPECT_EQ(44u, get("l3"));
}

TEST_F(SparcV8Time, RejectsARunFromWithinARun) {
  int64_t Ev = event("nested", [&] { EXPECT_EQ(ovCER_Normal, run(5)); });
  post(Ev, 3);
  run(10);
  EXPECT_EQ(10u, cycles());
}

} // namespace sparc_tests
