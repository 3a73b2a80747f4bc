// Compiled programs on the example board: they run, and run the same every time.

#include "models/Board.h"

#include <gmock/gmock.h>

#include <optional>

using namespace orvy::testing;

namespace {

constexpr uint64_t TenSeconds = 10000000000;

/// What a run ends in.
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

} // namespace
