// Compiled programs on the example board: they run, and run the same every time.

#include "models/Board.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>
#include <thread>

using namespace orvy::testing;

namespace {

constexpr uint64_t TenSeconds = 10000000000;

/// What a run leaves behind.
struct Outcome {
  std::string Output;
  uint64_t Cycles, Steps;
  std::vector<uint32_t> Registers;

  bool operator==(const Outcome &) const = default;
};

Outcome outcomeOf(Board &B) {
  return {B.output(), B.cycles(), B.steps(), B.registers()};
}

Outcome runToTheEnd(const std::string &Program, uint64_t Quanta) {
  Board B;
  B.load(Program);
  orvy_simSetQuanta(Quanta);
  EXPECT_EQ(orvy_simRunNanos(TenSeconds), ovCER_Halt);
  EXPECT_EQ(orvy_cpuGetReg(B.Cpus[0], 8), 0u) << "result of " << Program;
  return outcomeOf(B);
}

struct Program {
  const char *Name;
  const char *Output;
};

class Programs : public ::testing::TestWithParam<Program> {};

TEST_P(Programs, RunTheSameEveryTimeAndWhateverTheQuantum) {
  Outcome First = runToTheEnd(GetParam().Name, 100000);
  EXPECT_EQ(First.Output, GetParam().Output);
  EXPECT_EQ(runToTheEnd(GetParam().Name, 100000), First);
  for (uint64_t Quanta : {1000, 10000000})
    EXPECT_EQ(runToTheEnd(GetParam().Name, Quanta), First) << "quanta of " << Quanta << " ns";
}

TEST_P(Programs, SteppingEndsInTheStateOfRunning) {
  for (uint64_t Cycles : {100, 345, 1200, 50750, 200003}) {
    SCOPED_TRACE(Cycles);
    std::optional<Outcome> Run;
    bool Asleep = false;
    {
      Board B;
      B.load(GetParam().Name);
      orvy_cpuRun(B.Cpus[0], Cycles);
      Run = outcomeOf(B);
      Asleep = Board::number(B.Cpus[0], "poweredDown") != 0;
    }
    Board B;
    B.load(GetParam().Name);
    for (uint64_t Left = Run->Steps; Left > 0;) {
      uint64_t Part = std::min<uint64_t>(Left, 997);
      EXPECT_EQ(orvy_cpuStep(B.Cpus[0], Part), 0);
      Left -= Part;
    }
    Outcome Stepped = outcomeOf(B);
    EXPECT_EQ(Stepped.Steps, Run->Steps);
    EXPECT_EQ(Stepped.Output, Run->Output);
    EXPECT_EQ(Stepped.Registers, Run->Registers);
    // Time passes in power-down without a step.
    if (!Asleep && Run->Cycles == Cycles) {
      EXPECT_EQ(Stepped.Cycles, Run->Cycles);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    OfTheExamples, Programs,
    ::testing::Values(Program{"hello", "Hello from SPARC V8!\n"},
                      Program{"timer", "timer: 1 2 3 4 5 6 7 8 9 10\ntimer: done\n"},
                      Program{"compute", "compute: checksum 0xfb44f245 passed\n"}),
    [](const auto &Info) { return Info.param.Name; });

TEST(TimerProgram, TicksToTheCycle) {
  Board B;
  B.load("timer");
  // Ten periods of a millisecond behind the write that starts the timer, and the way to the next
  // tick.
  EXPECT_EQ(orvy_simRunNanos(TenSeconds), ovCER_Halt);
  EXPECT_NEAR(static_cast<double>(B.cycles()), 10 * 50000, 1000);
  EXPECT_LT(B.steps(), 5000u); // asleep all the rest
}

TEST(ComputeProgram, IsNotDisturbedByInterrupts) {
  Board B;
  B.load("compute");
  // A timer of the test's own, at a period that meets every instruction and depth of windows in
  // time.
  B.setWord(Board::TimerBase + 0x14, 400);
  B.setWord(Board::TimerBase + 0x18, 1 | 2 | 4 | 8);
  B.setWord(Board::IrqBase + 0x40, 1u << 8);
  static int Taken;
  Taken = 0;
  orvy_publishNotification("orvy.cpuTrapEntry", B.Cpus[0]);
  orvy_subscribeNotification(
      "orvy.cpuTrapEntry", B.Cpus[0], nullptr,
      [](void *, void *, void *Number) { Taken += *static_cast<uint32_t *>(Number) == 0x18; });
  static_cast<CpuIface *>(orvy_getInterface(B.Cpus[0], "CpuIface", 0))->enableTrapEvents(B.Cpus[0]);
  EXPECT_EQ(orvy_simRunNanos(TenSeconds), ovCER_Halt);
  EXPECT_EQ(B.output(), "compute: checksum 0xfb44f245 passed\n");
  EXPECT_GT(Taken, 50000);
}

TEST(TwoProcessors, ShareMemoryAndUartWithinAQuantum) {
  Board B(2);
  orvy_simSetQuanta(1000); // 50 cycles
  // Each counts in a word of its own, adds to a shared one under a lock, and says its letter.
  for (unsigned Cpu = 0; Cpu < 2; ++Cpu) {
    std::string Letter = "or %g0, " + std::to_string('a' + Cpu) + ", %l3";
    std::string Slot = "st %l0, [%l1 + " + std::to_string(8 + 4 * Cpu) + "]";
    B.assemble(Cpu, Board::RamBase + 0x1000 * Cpu,
               {"sethi 0x100040, %l1", "sethi 0x200000, %l2", "or %g0, 2, %l4",
                "st %l4, [%l2 + 0x108]", Letter.c_str(), "or %g0, 0, %l0",
                // loop:
                "ldstub [%l1], %l5", "orcc %l5, %g0, %g0", "bne .-0x8", "or %g0, %g0, %g0",
                "ld [%l1 + 4], %l6", "add %l6, 1, %l6", "st %l6, [%l1 + 4]", "stb %g0, [%l1]",
                "add %l0, 1, %l0", Slot.c_str(), "st %l3, [%l2 + 0x100]", "ba .-0x2c",
                "or %g0, %g0, %g0"});
  }
  static int64_t Skew;
  Skew = 0;
  int64_t Event = orvy_eventPublish("skew", B.Cpus[0], [](orvy_Event *E) {
    void *Other = orvy_objectForName("cpu1");
    Skew = std::max(Skew, std::abs(orvy_getNanos(E->Obj) - orvy_getNanos(Other)));
  });
  orvy_eventSetPeriodCycles(Event, 7);
  orvy_eventPostCycles(B.Cpus[0], Event, 7, ovSE_Cpu);

  EXPECT_EQ(orvy_simRunNanos(1000000), ovCER_Normal);
  EXPECT_LE(Skew, 1000);
  EXPECT_GT(Skew, 0);
  uint32_t A = B.word(0x40010008), C = B.word(0x4001000c), Shared = B.word(0x40010004);
  EXPECT_GT(A, 1000u);
  EXPECT_GT(C, 1000u);
  EXPECT_LE(std::abs(static_cast<int>(Shared - A - C)), 2); // each may be between its two counts
  EXPECT_THAT(B.output(), testing::HasSubstr("a"));
  EXPECT_THAT(B.output(), testing::HasSubstr("b"));
}

TEST(Threads, CallbacksReachARunningProcessorOnceEach) {
  Board B;
  B.assemble(0, Board::RamBase, {"ba .+0x0", "or %g0, %g0, %g0"});
  constexpr int PerThread = 1000;
  static std::vector<int> Seen;
  Seen.assign(4 * PerThread, 0);
  std::vector<std::thread> Posters;
  for (int T = 0; T < 4; ++T)
    Posters.emplace_back([&, T] {
      for (int I = T * PerThread; I < (T + 1) * PerThread; ++I)
        orvy_eventPostAsync(
            B.Cpus[0], [](void *Arg) { ++Seen[reinterpret_cast<uintptr_t>(Arg)]; },
            reinterpret_cast<void *>(static_cast<uintptr_t>(I)), ovSE_Cpu);
    });
  std::thread Stopper([&] {
    for (std::thread &T : Posters)
      T.join();
    while (!orvy_simIsRunning())
      std::this_thread::yield();
    orvy_simStop();
  });
  orvy_simRunNanos(1000 * TenSeconds);
  Stopper.join();
  orvy_simRunNanos(1);
  EXPECT_THAT(Seen, testing::Each(1));
}

} // namespace
