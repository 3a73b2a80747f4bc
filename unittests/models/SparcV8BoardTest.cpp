// The processor among the other reference models: plain memory through a memory space, and a timer
// whose interrupts reach it through the controller and wake it.

#include "SparcV8Fixture.h"

#include <cstdlib>
#include <functional>

namespace sparc_tests {

namespace {

constexpr uint32_t Ram = 0x40000000, Controller = 0x80000200, Timers = 0x80000300;

} // namespace

class SparcV8Board : public SparcV8 {
protected:
  void SetUp() override {
    SparcV8::SetUp();
    for (const char *Model : {"Memory", "Devices"}) {
      std::string Path = std::string(ORVY_BUILD_ROOT "/lib/libORVY") + Model + ".so";
      orvy_loadPlugin(Path.c_str());
    }
    const orvy_CreateArg Size[] = {{"size", {.Typ = ovTY_U64, .u64 = 0x100000}}, {nullptr, {}}};
    Memories = orvy_createObject("Ram", "ram", Size);
    Space = orvy_createObject("MemorySpace", "space", nullptr);
    Irq = orvy_createObject("IrqCtrl", "irqctrl", nullptr);
    Timer = orvy_createObject("GpTimer", "timer", nullptr);
    ASSERT_TRUE(Memories && Space && Irq && Timer);
    EXPECT_EQ(0u, orvy_memoryMap(Space, Ram, 0x100000, Memories, 0));
    EXPECT_EQ(0u, orvy_memoryMap(Space, Controller, 0x100, Irq, 0));
    EXPECT_EQ(0u, orvy_memoryMap(Space, Timers, 0x100, Timer, 0));
    EXPECT_EQ(0, orvy_connect(Cpu, "memorySpace[0]", Space, "MemAccessIface"));
    EXPECT_EQ(0, orvy_connect(Cpu, "irqClient", Irq, "IrqClientIface[0]"));
    EXPECT_EQ(0, orvy_connect(Irq, "cpus[0]", Cpu, "IrqIface"));
    EXPECT_EQ(0, orvy_connect(Timer, "irqCtrl", Irq, "IrqCtrlIface"));
    orvy_setTimeSource(Timer, Cpu);
    orvy_sparcSetTbr(Cpu, Ram);
    orvy_cpuSetPc(Cpu, Ram + 0x1000);
  }

  void TearDown() override {
    for (void *Obj : {Timer, Irq, Space, Memories})
      orvy_disposeObject(Obj);
    SparcV8::TearDown();
  }

  void assemble(uint32_t Address, std::initializer_list<const char *> Lines) {
    for (const char *Line : Lines) {
      orvy_assembleToMemory(Cpu, Line, Address);
      Address += 4;
    }
  }

  uint32_t word(uint32_t Address) {
    uint32_t Word = 0;
    EXPECT_EQ(4u, orvy_memoryRead(Space, &Word, Address, 4, 2));
    return Word;
  }

  void *Memories = nullptr, *Space = nullptr, *Irq = nullptr, *Timer = nullptr;
};

TEST_F(SparcV8Board, RunsFromRamAndSeesItsOwnStores) {
  assemble(Ram + 0x1000, {"ld [%g1], %g3", "add %g3, 1, %g3", "st %g3, [%g1]", "st %g2, [%g1 + 16]",
                          "nop", "ba .-0x14", "nop"});
  set("g1", Ram + 0x2000);
  run(700);
  EXPECT_EQ(100u, word(Ram + 0x2000));
  uint32_t Seven = 7;
  orvy_memoryWrite(Space, Ram + 0x2000, &Seven, 4, 2);
  run(700);
  EXPECT_EQ(107u, word(Ram + 0x2000));
  set("g1", Ram + 0x1000); // now the stores go to the code: the nop becomes the word in %g2
  set("g2", orvy_assemble(Cpu, "add %g5, 1, %g5"));
  assemble(Ram + 0x1000, {"nop", "nop", "nop"});
  run(700);
  EXPECT_EQ(100u, get("g5"));
}

TEST_F(SparcV8Board, SleepsUntilTheTimerInterrupts) {
  // Level 8 every 1000 cycles: the scaler divides by 10, the counter by 100.
  assemble(Ram + 0x1000, {"mov 9, %g3", "st %g3, [%g2]", "st %g3, [%g2 + 4]", "mov 99, %g3",
                          "st %g3, [%g2 + 20]", "mov 15, %g3", "st %g3, [%g2 + 24]", "mov 256, %g3",
                          "st %g3, [%g1 + 64]", "wr %g0, 0, %asr19", "ba .-0x4", "nop"});
  assemble(Ram + 0x180, {"add %g4, 1, %g4", "jmp %l1", "rett %l2", "nop"});
  set("g1", Controller);
  set("g2", Timers);
  EXPECT_EQ(ovCER_Normal, run(10500));
  EXPECT_EQ(10u, get("g4"));
  EXPECT_EQ(10500u, cycles());
  EXPECT_LT(steps(), 100u) << "time passes without instructions";
  EXPECT_EQ(1u, orvy_getValueU8(Cpu, "poweredDown", 0));
  EXPECT_EQ(0u, orvy_getValueU32(Cpu, "irqLines", 0)) << "taking one acknowledges it";
}

TEST_F(SparcV8Board, TrapsOnFaultyWords) {
  assemble(Ram + 0x1000, {"ld [%g1], %g3"});
  assemble(Ram + 0x90, {"jmp %l1", "rett %l2"});
  set("g1", Ram + 0x2000);
  step();
  EXPECT_EQ(Ram + 0x1004, pc());
  orvy_memorySetAttr(Space, Ram + 0x2000, 4, ovMA_Faulty);
  orvy_cpuSetPc(Cpu, Ram + 0x1000);
  step();
  EXPECT_EQ(0x09u, tt()) << "the page kept from the first access was taken back";
  orvy_memoryClearAttr(Space, Ram + 0x2000, 4, ovMA_Faulty);
  step(3);
  EXPECT_EQ(Ram + 0x1004, pc());
}

TEST_F(SparcV8Board, EndsItsRunIfAnAccessDisposesOfWhatItRunsIn) {
  static std::function<void()> Blow;
  static MemAccessIface Access = {
      [](void *, orvy_MemTransaction *) { Blow(); }, [](void *, orvy_MemTransaction *) { Blow(); },
      [](void *, orvy_MemTransaction *) { Blow(); }, [](void *, orvy_MemTransaction *) { Blow(); }};
  orvy_Class *Cls = orvy_registerClass(
      "Bomb",
      [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, sizeof(orvy_Object)); },
      std::free);
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &Access, 0, "");
  void *Bomb = nullptr;
  const struct {
    const char *What;
    std::function<void()> End;
    bool IsCpuLeft;
  } Cases[] = {
      {"the space", [&] { orvy_disposeObject(Space); }, true},
      {"the code's memory", [&] { orvy_disposeObject(Memories); }, true},
      {"the processor", [&] { orvy_disposeObject(Cpu); }, false},
      {"all", [] { orvy_objsysClearObjects(); }, false},
  };
  for (const auto &Case : Cases)
    for (const char *Instruction : {"ld [%g1], %g3", "st %g3, [%g1]", "swap [%g1], %g3",
                                    "ldd [%g1], %g4", "std %g4, [%g1]", "jmp %g1"}) {
      SCOPED_TRACE(std::string(Instruction) + " that disposes of " + Case.What);
      Bomb = orvy_createObject("Bomb", "bomb", nullptr);
      ASSERT_EQ(0u, orvy_memoryMap(Space, 0x90000000, 0x100, Bomb, 0));
      assemble(Ram + 0x1000,
               {"ld [%g2], %g4", Instruction, "nop", "st %g4, [%g2]", "ba .-8", "nop"});
      set("g1", 0x90000000);
      set("g2", Ram + 0x2000);
      unsigned Times = 0;
      Blow = [&] {
        if (Times++ == 0)
          Case.End();
      };
      const orvy_CpuExitReason Reason = run(1000);
      EXPECT_EQ(1u, Times);
      EXPECT_EQ(Case.IsCpuLeft ? ovCER_Halt : ovCER_Normal, Reason);
      if (Case.IsCpuLeft) {
        EXPECT_EQ(0x01u, tt()) << "there is nothing left to fetch from";
      }
      orvy_disposeObject(orvy_objectForName("bomb"));
      TearDown();
      SetUp();
    }
}

} // namespace sparc_tests
