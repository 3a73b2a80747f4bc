#include "orvy/Support/Interpreter.h"

#include "Testing/ScriptedCpu.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <gmock/gmock.h>
#include <tuple>

using namespace orvy::testing;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

namespace {

std::atomic<int> FormerInterrupts{0};

/// A model that is a processor, a machine and a thing with a supply all at once.
struct Everything {
  orvy_Object Super;
  bool IsOn;
  int Kind;

  static Everything &of(void *Obj) { return *static_cast<Everything *>(Obj); }
  static void registerClass() {
    static CpuIface Cpu = {};
    static MachineIface Machine = {};
    static PowerIface Power = {[](void *Obj) { of(Obj).IsOn = true; },
                               [](void *Obj) { of(Obj).IsOn = false; },
                               [](void *Obj) { return of(Obj).IsOn ? 1 : 0; }};
    static ResetIface Reset = {[](void *Obj, int Kind) { of(Obj).Kind = Kind; }};
    orvy_Class *Cls = orvy_registerClass(
        "Everything",
        [](const char *, int, const orvy_CreateArg *) -> void * {
          return new Everything{{}, false, -1};
        },
        [](void *Obj) { delete static_cast<Everything *>(Obj); });
    orvy_addInterface(Cls, "CpuIface", "CpuIface", &Cpu, 0, "");
    orvy_addInterface(Cls, "MachineIface", "MachineIface", &Machine, 0, "");
    orvy_addInterface(Cls, "PowerIface", "PowerIface", &Power, 0, "");
    orvy_addInterface(Cls, "ResetIface", "ResetIface", &Reset, 0, "");
  }
};

class RunCommands : public testing::Test {
protected:
  RunCommands() {
    orvy_initConfigDirs();
    orvy_initSupportLib();
    orvy_simSetQuanta(1000000);
    Cpu = ScriptedCpu::make("cpu", 1000000000);
    Clock = orvy_createObject("Clock", "clock", nullptr);
    Former = std::signal(SIGINT, [](int) { ++FormerInterrupts; });
  }
  ~RunCommands() override {
    std::signal(SIGINT, Former);
    orvy_objsysClear();
  }

  /// What a command that succeeds writes on the standard stream.
  static std::string outputOf(const char *Command) {
    CaptureStdout();
    const int Result = orvy_execCommand(Command);
    std::string Text = GetCapturedStdout();
    EXPECT_EQ(Result, 0) << Command;
    return Text;
  }

  /// What a command that fails writes on the error stream.
  static std::string failureOf(const char *Command) {
    CaptureStderr();
    const int Result = orvy_execCommand(Command);
    std::string Text = GetCapturedStderr();
    EXPECT_NE(Result, 0) << Command;
    return Text;
  }

  /// Has ^C be pressed ten units of time from now.
  static void interruptSoon(void *Holder) {
    const int64_t Id =
        orvy_eventPublish("interrupt", Holder, [](orvy_Event *) { std::raise(SIGINT); });
    orvy_eventPostCycles(Holder, Id, 10, ovSE_Cpu);
  }

  ScriptedCpu *Cpu;
  void *Clock;
  void (*Former)(int);
};

TEST_F(RunCommands, RefuseObjectsThatImplementNothing) {
  static CpuIface NoCpu = {};
  static MachineIface NoMachine = {};
  static ClockIface NoClock = {};
  const std::tuple<const char *, const char *, void *> Kinds[] = {
      {"bareCpu", "CpuIface", &NoCpu},
      {"bareMachine", "MachineIface", &NoMachine},
      {"bareClock", "ClockIface", &NoClock},
  };
  for (const auto &[Name, Iface, Table] : Kinds) {
    orvy_Class *Cls = orvy_registerClass(
        Name, [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, 1024); },
        std::free);
    orvy_addInterface(Cls, Iface, Iface, Table, 0, "");
    ASSERT_TRUE(orvy_createObject(Name, Name, nullptr));
    for (const char *Command : {"run", "step", "time"}) {
      CaptureStderr();
      EXPECT_NE(orvy_execCommand((std::string(Command) + " obj=" + Name).c_str()), 0);
      const std::string Said = GetCapturedStderr();
      EXPECT_TRUE(Said.find("does not implement " + std::string(Iface) + ".") != Said.npos ||
                  Said.find("object does not support") != Said.npos)
          << Command << Said;
    }
  }
  for (const char *Command :
       {"cpu-reset", "cpu-show-regs", "cpu-set-pc pc=4", "cpu-raise-trap trap=1",
        "cpu-enable-trap-events", "cpu-disable-trap-events"})
    orvy_execCommand((std::string(Command) + " cpu=bareCpu").c_str());
}

TEST_F(RunCommands, DoNotBeginInsideARun) {
  static std::vector<std::string> Said;
  const int64_t Id = orvy_eventPublish("again", Clock, [](orvy_Event *) {
    for (const char *Command : {"run obj=cpu cycles=5", "step obj=cpu", "run obj=clock cycles=5",
                                "cpu-run cpu=cpu cycles=5", "cpu-step cpu=cpu"})
      Said.push_back(failureOf(Command));
  });
  orvy_eventPostCycles(Clock, Id, 5, ovSE_Cpu);
  outputOf("run obj=clock cycles=10");
  EXPECT_THAT(
      Said, testing::AllOf(testing::SizeIs(5), testing::Each(HasSubstr("cannot begin inside it"))));
  outputOf("run obj=cpu cycles=5");
}

TEST_F(RunCommands, InterruptsStopEndlessRunsAndThenHaveTheirFormerEffect) {
  struct {
    const char *Command;
    void *Holder;
    int64_t Stopped; // at the end of a slice or quantum, in cycles of 1 ns
  } Cases[] = {
      {"object-run obj=cpu", Cpu, 10000000},
      {"object-run obj=clock", Clock, 100000000},
      {"object-run obj=sim", Cpu, 11000000},
  };
  FormerInterrupts = 0;
  for (const auto &Case : Cases) {
    interruptSoon(Case.Holder);
    // It ends the script, not one run of it.
    CaptureStdout();
    EXPECT_EQ(orvy_execCommand((std::string(Case.Command) + "\necho never").c_str()), -1);
    const std::string Told = GetCapturedStdout();
    EXPECT_NE(Told.find("stopped: ^C"), Told.npos) << Case.Command;
    EXPECT_EQ(Told.find("never"), Told.npos) << Case.Command;
    EXPECT_EQ(orvy_getCycles(Case.Holder), Case.Stopped) << Case.Command;
    EXPECT_EQ(FormerInterrupts, 0) << Case.Command;
  }
  std::raise(SIGINT);
  EXPECT_EQ(FormerInterrupts, 1);
}

TEST_F(RunCommands, AnExitReasonEndsARunWithoutFailure) {
  for (const char *Command : {"object-run obj=cpu", "object-run obj=cpu cycles=1000",
                              "object-step obj=cpu steps=1000", "object-run obj=sim"}) {
    const int64_t Stop = Cpu->Cycles + 50;
    Cpu->stopAt(Stop, ovCER_Break);
    outputOf(Command);
    EXPECT_EQ(Cpu->Cycles, Stop) << Command;
  }
}

TEST_F(RunCommands, RunThatOvershootsItsStrideGoesOnUntilStopped) {
  Cpu->Freq = 1; // strides of one cycle
  Cpu->stopAt(5, ovCER_Halt);
  outputOf("object-run obj=cpu");
  EXPECT_EQ(Cpu->Cycles, 5);
}

TEST_F(RunCommands, StepsEndWhenTheProcessorMakesNoProgress) {
  Cpu->stopAt(0, ovCER_Normal, true);
  outputOf("object-step obj=cpu steps=3");
  EXPECT_EQ(Cpu->Steps, 0);
}

TEST_F(RunCommands, ObjectsMustBeOfOneKind) {
  Everything::registerClass();
  orvy_createObject("Everything", "all", nullptr);
  for (const char *Command : {"object-run obj=all", "object-step obj=all", "object-time obj=all"})
    EXPECT_THAT(failureOf(Command),
                HasSubstr("object cannot support both CpuIface and MachineIface\n"))
        << Command;
}

TEST_F(RunCommands, PowerAndReset) {
  Everything::registerClass();
  const auto &All = Everything::of(orvy_createObject("Everything", "all", nullptr));
  EXPECT_EQ(outputOf("power-state obj=all"), "all: powered off\n");
  EXPECT_EQ(outputOf("power-on obj=all\npower-state obj=all"), "all: powered on\n");
  EXPECT_EQ(outputOf("power-off obj=all\npower-state obj=all"), "all: powered off\n");
  outputOf("object-reset obj=all warm=1");
  EXPECT_EQ(All.Kind, ovRK_Warm);
  outputOf("object-reset obj=all warm=0");
  EXPECT_EQ(All.Kind, ovRK_Cold);
}

} // namespace
