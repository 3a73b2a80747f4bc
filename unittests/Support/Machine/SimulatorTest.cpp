#include "Events/EventQueue.h"

#include "Testing/LogCapture.h"
#include "Testing/ScriptedCpu.h"

#include "orvy/Support/Orvy.h"
#include "orvy/Support/OutStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace orvy::testing;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

MachineIface *machine() {
  return static_cast<MachineIface *>(
      orvy_getInterface(orvy_objectForName("sim"), "MachineIface", 0));
}

/// Two processors at 1 GHz, so that a cycle is a nanosecond, and a third at half of that on demand.
class Simulation : public ::testing::Test {
protected:
  Simulation() {
    orvy::event::init();
    orvy::sim::registerAndCreateSimulatorObject();
    Sim = orvy_objectForName("sim");
    Machine = machine();
    orvy_simSetQuanta(10);
  }
  ~Simulation() override { orvy_objsysClear(); }

  ScriptedCpu *addCpu(const char *Name, uint64_t Freq = 1000000000) {
    return ScriptedCpu::make(Name, Freq, &Limits);
  }

  int64_t post(int64_t Time, orvy_EventFunc Func) {
    int64_t Id = orvy_eventPublish("event", this, Func);
    orvy_eventPostAbsoluteInQueueInternal(queue(), Id, Time);
    return Id;
  }

  orvy_EventQueue *queue() {
    return *reinterpret_cast<orvy_EventQueue **>(static_cast<char *>(Sim) + sizeof(orvy_Object));
  }

  void set(const char *Property, uint8_t Value) { orvy_setValueU8(Sim, Property, Value, -1); }
  int64_t time() { return orvy_getValueI64(Sim, "time", -1); }

  LogCapture Log;
  void *Sim = nullptr;
  MachineIface *Machine = nullptr;
  std::vector<int64_t> Limits; // of all runUntil calls
};

TEST_F(Simulation, PassesOverAProcessorThatImplementsNothing) {
  ScriptedCpu *Cpu = addCpu("cpu");
  static CpuIface Empty = {};
  static EventIface NoEvents = {};
  static void *Table[] = {&Empty, nullptr, &NoEvents};
  orvy_setVTable(orvy_classForName("ScriptedCpu"), Table);
  EXPECT_EQ(orvy_simRunNanos(25), ovCER_Normal);
  EXPECT_EQ(time(), 20);
  EXPECT_EQ(orvy_simStep(0, 5), ovCER_Halt);
  EXPECT_EQ(Log.count("cpu : does not implement CpuIface.getFreq, and so takes no part"), 2);
  EXPECT_EQ(Log.count("cpu : does not implement CpuIface.stepUntil"), 1);
  const int64_t Id = orvy_eventPublish("event", Cpu, [](orvy_Event *) {});
  orvy_eventPostCycles(Cpu, Id, 5, ovSE_Cpu);
  orvy_eventPostStack(Cpu, Id, ovSE_Cpu);
  orvy_eventPostAsync(
      Cpu, [](void *) {}, nullptr, ovSE_Cpu);
  for (const char *Slot : {"postRelative", "postOnStack", "postCallback"})
    EXPECT_EQ(Log.count(std::string("cpu : does not implement EventIface.") + Slot), 1) << Slot;
}

TEST_F(Simulation, RunsEveryProcessorToTheEndOfEachQuantum) {
  addCpu("a");
  addCpu("b", 500000000);
  EXPECT_EQ(orvy_simRunNanos(15), ovCER_Normal);
  EXPECT_THAT(Limits, ElementsAre(10, 5, 20, 10));
  EXPECT_EQ(time(), 10); // the start of the last quantum
  EXPECT_EQ(orvy_simGetTime(), 10u);
}

TEST_F(Simulation, RunsInQuantaFromAnyTimeToTheEndOfIt) {
  constexpr int64_t End = INT64_MAX;
  const struct {
    const char *What;
    int64_t Quanta, Time, Cycles, Nanos; ///< before the run, and how far it goes
    std::vector<int64_t> Limits;
    int64_t TimeAfter, CyclesAfter;
    int64_t Fired; ///< cycles at which an event due at Time + 7 fires, -1 if it does not
  } Cases[] = {
      {"a multiple of the quantum runs one more", 3, 0, 0, 3, {3, 6}, 3, 6, -1},
      {"and loses nothing", 3, 3, 6, 3, {6, 9}, 6, 9, -1},
      {"events fire between quanta", 10, 0, 0, 25, {10, 20, 30}, 20, 30, 10},
      {"before the start nothing runs", 10, -25, 0, 10, {0, 0}, -15, 0, 0},
      {"up to the start", 10, -15, 0, 10, {0, 5}, -5, 5, 0},
      {"the end of time", 1000, End - 500, End - 500, 400, {End}, End - 500, End, End},
      {"a millisecond without quanta", 0, 0, 0, 1, {1000000}, 0, 1000000, 1000000},
  };
  static int64_t Fired;
  for (const auto &C : Cases) {
    SCOPED_TRACE(C.What);
    orvy_objsysClearObjects();
    ScriptedCpu *A = addCpu("a");
    orvy_simSetQuanta(static_cast<uint64_t>(C.Quanta));
    orvy_setValueI64(Sim, "time", C.Time, -1);
    A->Cycles = C.Cycles;
    Limits.clear();
    Fired = -1;
    post(C.Time + 7, [](orvy_Event *) { Fired = orvy_getCycles(orvy_objectForName("a")); });
    orvy_simRunNanos(C.Nanos);
    EXPECT_EQ(Limits, C.Limits);
    EXPECT_EQ(time(), C.TimeAfter);
    EXPECT_EQ(A->Cycles, C.CyclesAfter);
    EXPECT_EQ(Fired, C.Fired);
  }
  EXPECT_EQ(orvy_getValueI64(Sim, "quanta", -1), 1000000);
  EXPECT_EQ(Log.count("quanta is not set"), 1);
  ScriptedCpu &A = ScriptedCpu::of(orvy_objectForName("a"));
  orvy_setValueI64(Sim, "time", A.Cycles = End - 500, -1);
  orvy_simStep(0, 600);
  EXPECT_EQ(A.Cycles, End);
}

TEST_F(Simulation, StopsOnHaltAndBreakAndGoesOnWithTheProcessorThatStopped) {
  ScriptedCpu *A = addCpu("a");
  ScriptedCpu *B = addCpu("b");
  addCpu("c");
  B->stopAt(4, ovCER_Break);
  EXPECT_EQ(orvy_simRunNanos(5), ovCER_Break);
  EXPECT_EQ(orvy_simGetExitReason(), ovCER_Break);
  EXPECT_EQ(orvy_simGetCurrentCpu(), 1u);
  EXPECT_THAT(Limits, ElementsAre(10, 10));
  Limits.clear();
  EXPECT_EQ(orvy_simRunNanos(5), ovCER_Normal);
  EXPECT_THAT(Limits, ElementsAre(10, 10)); // b again, then c
  EXPECT_EQ(A->Cycles, 10);

  A->stopAt(12, ovCER_Halt, true);
  EXPECT_EQ(orvy_simRunNanos(15), ovCER_Halt);
  EXPECT_EQ(orvy_simGetCurrentCpu(), 0u);
  set("stopOnHalt", 0);
  EXPECT_EQ(orvy_simRunNanos(15), ovCER_Normal);
  EXPECT_EQ(A->Cycles, 12);
  EXPECT_EQ(B->Cycles, 30);

  B->stopAt(32, ovCER_BreakWrite);
  set("stopOnBreak", 0);
  EXPECT_EQ(orvy_simRunNanos(15), ovCER_Normal);
}

TEST_F(Simulation, FiresItsEventsAtTheirTimeInAStep) {
  static std::vector<int64_t> Cycles;
  Cycles.clear();
  ScriptedCpu *A = addCpu("a");
  ScriptedCpu *B = addCpu("b");
  post(12, [](orvy_Event *) { Cycles.push_back(orvy_getCycles(orvy_objectForName("a"))); });
  EXPECT_EQ(orvy_simStep(0, 25), ovCER_Normal);
  EXPECT_THAT(Cycles, ElementsAre(12));
  EXPECT_EQ(A->Steps, 25);
  EXPECT_EQ(B->Cycles, 32); // to the end of the quantum that began at 22
  post(7, [](orvy_Event *) { Cycles.push_back(orvy_simGetTime()); });
  Limits.clear();
  orvy_simStep(0, 1);
  EXPECT_THAT(Cycles, ElementsAre(12, 22)) << "what is overdue fires without time going back";
  EXPECT_THAT(Limits, ElementsAre(22, 32));
}

TEST_F(Simulation, SteppingStopsWhateverTheSwitchesSay) {
  ScriptedCpu *A = addCpu("a");
  ScriptedCpu *B = addCpu("b");
  set("stopOnBreak", 0);
  set("stopOnHalt", 0);
  B->stopAt(3, ovCER_Break);
  EXPECT_EQ(orvy_simStep(1, 8), ovCER_Break);
  EXPECT_EQ(orvy_simGetCurrentCpu(), 1u);
  EXPECT_EQ(orvy_simStep(1, 5), ovCER_Normal);
  EXPECT_EQ(B->Steps, 8);

  A->stopAt(A->Cycles + 4, ovCER_Halt); // one that halts on the way is run on to the end
  orvy_simStep(1, 5);
  EXPECT_EQ(A->Cycles, B->Cycles + 7);
  B->Steps -= 5;

  A->stopAt(A->Cycles, ovCER_Halt, true); // one that has halted does not hold the other up
  EXPECT_EQ(orvy_simStep(1, 5), ovCER_Normal);
  EXPECT_EQ(B->Steps, 13);
  int64_t Before = B->Steps;
  EXPECT_EQ(orvy_simStep(1, 0), ovCER_Normal);
  EXPECT_EQ(orvy_simStep(-1, 5), ovCER_Normal);
  EXPECT_EQ(orvy_simStep(2, 5), ovCER_Normal);
  EXPECT_EQ(B->Steps, Before);
  B->stopAt(B->Cycles + 35, ovCER_Break); // some quanta from now
  EXPECT_EQ(orvy_simStep(1, UINT64_MAX), ovCER_Break);
}

TEST_F(Simulation, ConvertsDurationsAndChecksTheIndex) {
  ScriptedCpu *A = addCpu("a", 1000);
  orvy_simSetQuanta(1000000);
  orvy_simRunCycles(0, 5);
  EXPECT_EQ(A->Cycles, 6);
  orvy_simRunSecs(0.004);
  EXPECT_EQ(A->Cycles, 10);
  Limits.clear();
  EXPECT_EQ(orvy_simRunCycles(1, 5), ovCER_Normal);
  EXPECT_EQ(orvy_simRunCycles(-1, 5), ovCER_Normal);
  EXPECT_EQ(orvy_simRunSecs(-1.0), ovCER_Normal);
  EXPECT_EQ(orvy_simRunSecs(1e30), ovCER_Normal);
  EXPECT_EQ(Log.count("nothing is run: the time is negative, or leads beyond the end of time"), 2);
  EXPECT_THAT(Limits, IsEmpty());
}

TEST_F(Simulation, SurvivesAProcessorThatGoesAwayDuringARun) {
  addCpu("a");
  addCpu("b");
  post(5, [](orvy_Event *) { orvy_disposeObject(orvy_objectForName("a")); });
  EXPECT_EQ(orvy_simRunNanos(25), ovCER_Normal);
  EXPECT_EQ(orvy_simGetCpuCount(), 1u);
  EXPECT_EQ(orvy_getCycles(orvy_objectForName("b")), 30);
}

TEST_F(Simulation, SurvivesProcessorsThatGoAwayInTheirTurns) {
  const auto Begin = [this] {
    orvy_objsysClearObjects();
    addCpu("a");
    addCpu("b");
    addCpu("c");
    Limits.clear();
  };
  static const auto Dispose = [](const char *Name) {
    orvy_disposeObject(orvy_objectForName(Name));
  };
  const auto Cpu = [](const char *Name) { return &ScriptedCpu::of(orvy_objectForName(Name)); };

  Begin();
  Cpu("a")->Then = [](ScriptedCpu *) { Dispose("a"); };
  orvy_simRunNanos(5);
  EXPECT_THAT(Limits, ElementsAre(10, 10, 10)) << "each in its turn, whatever became of the others";
  EXPECT_EQ(Cpu("b")->Cycles, 10);

  Begin();
  Cpu("b")->Then = [](ScriptedCpu *) { Dispose("a"); };
  orvy_simRunNanos(15);
  EXPECT_THAT(Limits, ElementsAre(10, 10, 10, 20, 20));

  Begin(); // one that is stepped keeps its count when it moves up
  Cpu("a")->Then = [](ScriptedCpu *) { Dispose("a"); };
  orvy_simStep(2, 25);
  EXPECT_EQ(Cpu("c")->Steps, 25);

  Begin(); // and its end is that of the step
  Cpu("b")->Then = [](ScriptedCpu *) { Dispose("b"); };
  orvy_simStep(1, 1000);
  EXPECT_EQ(Cpu("c")->Cycles, 10);

  for (bool Steps : {false, true}) {
    Begin();
    post(12, [](orvy_Event *) { orvy_objsysClearObjects(); });
    EXPECT_EQ(Steps ? orvy_simStep(0, 1000) : orvy_simRunNanos(1000), ovCER_Normal);
    EXPECT_EQ(time(), 0) << "a clear ends the run";
    Begin();
    Cpu("b")->Then = [](ScriptedCpu *) { orvy_objsysClearObjects(); };
    EXPECT_EQ(Steps ? orvy_simStep(0, 1000) : orvy_simRunNanos(1000), ovCER_Normal);
    EXPECT_THAT(Limits,
                ElementsAreArray(Steps ? std::vector<int64_t>{10} : std::vector<int64_t>{10, 10}));
    EXPECT_EQ(time(), 0);
  }
}

TEST_F(Simulation, RejectsARunFromInsideARun) {
  addCpu("a");
  const orvy_EventFunc Ways[] = {
      [](orvy_Event *) { orvy_simRunNanos(10); },
      [](orvy_Event *) { orvy_simStep(0, 10); },
      [](orvy_Event *) { machine()->run(orvy_objectForName("sim"), 10); },
  };
  int Rejected = 0;
  for (orvy_EventFunc Way : Ways)
    for (bool ByTable : {false, true}) {
      post(orvy_simGetTime() + 5, Way);
      if (ByTable)
        Machine->step(Sim, 0, 15);
      else
        orvy_simRunNanos(15);
      EXPECT_EQ(Log.count("cannot run: a run is in progress on this thread"), ++Rejected);
    }
}

TEST_F(Simulation, RejectsWaitingForItselfToStop) {
  addCpu("a");
  post(5, [](orvy_Event *) { orvy_simStop(); });
  EXPECT_DEATH(orvy_simRunNanos(15), "internal error: .*orvy_simStop on the thread of the run.*"
                                     "asyncStop");
  // This is how.
  orvy_objsysClearObjects();
  addCpu("a");
  post(5, [](orvy_Event *) { machine()->asyncStop(orvy_objectForName("sim")); });
  orvy_simRunNanos(1000);
  EXPECT_EQ(time(), 0) << "at the end of the quantum";
}

TEST_F(Simulation, TellsOfItsRunsAndStopsFromAnotherThread) {
  static std::vector<std::string> Heard;
  Heard.clear();
  auto Note = [](void *Arg, void *, void *) { Heard.push_back(static_cast<const char *>(Arg)); };
  orvy_subscribeNotification("orvy.sim-start", Sim, const_cast<char *>("start"), Note);
  orvy_subscribeNotification("orvy.sim-stop", Sim, const_cast<char *>("stop"), Note);
  addCpu("a");
  orvy_simStop(); // with no run in progress, returns and is forgotten
  static std::atomic<int> Called;
  Called = 0;
  auto Call = [](void *) { ++Called; };
  orvy_simRunCallback(Call, nullptr);
  EXPECT_EQ(Called, 1); // no run: at once

  std::thread Stopper([&] {
    while (!orvy_simIsRunning())
      std::this_thread::yield();
    orvy_simRunCallback(Call, nullptr);
    while (Called < 2 || orvy_simGetTime() == 0)
      std::this_thread::yield();
    orvy_simStop();
    EXPECT_FALSE(orvy_simIsRunning());
  });
  EXPECT_EQ(orvy_simRunNanos(INT64_MAX / 2), ovCER_Normal);
  Stopper.join();
  EXPECT_EQ(Called, 2);
  EXPECT_THAT(Heard, ElementsAre("start", "stop"));
}

TEST_F(Simulation, IsReachedThroughItsMachineInterface) {
  ScriptedCpu *A = addCpu("a");
  EXPECT_EQ(Machine->getCpu(Sim, 0).Obj, A);
  EXPECT_EQ(Machine->getCpu(Sim, 1).Obj, nullptr);
  EXPECT_EQ(Machine->getCurrentCpu(Sim).Obj, A);
  EXPECT_EQ(Machine->run(Sim, 15), ovCER_Normal);
  EXPECT_EQ(Machine->getTime(Sim), 10u);
  Machine->reset(Sim, ovRK_Warm);
  EXPECT_EQ(A->Resets, 1);
  EXPECT_FALSE(orvy_isMachine(Sim));
}

TEST_F(Simulation, StartsAnewWhenTheSystemIsCleared) {
  for (void (*Clear)() : {orvy_objsysClear, orvy_objsysClearObjects}) {
    addCpu("a")->stopAt(15, ovCER_Halt);
    post(1000, [](orvy_Event *) {});
    EXPECT_EQ(orvy_simRunNanos(25), ovCER_Halt);
    Clear();
    EXPECT_EQ(orvy_objectForName("sim"), Sim);
    EXPECT_EQ(orvy_simGetTime(), 0u);
    EXPECT_EQ(orvy_simGetExitReason(), ovCER_Normal);
    EXPECT_EQ(orvy_eventGetFirstTime(queue()), -1);
  }
  orvy::sim::registerAndCreateSimulatorObject();
  EXPECT_EQ(orvy_getObjectCount(), 1u);
}

TEST_F(Simulation, PrintsItselfAndItsProcessors) {
  addCpu("a", 50000000);
  orvy_simRunNanos(15);
  testing::internal::CaptureStdout();
  static_cast<ObjectIface *>(orvy_getInterface(Sim, "ObjectIface", 0))->printObject(Sim);
  orvy::outs().flush();
  EXPECT_THAT(testing::internal::GetCapturedStdout(),
              HasSubstr("Simulator\n\tCurrent time: 0.00 s / 10 ns\n"
                        "\tcpu 0: a, time: 1 cycles, 20 ns, 0.00 s, freq: 50.00 MHz\n"));
}

TEST_F(Simulation, AnUndefinedExitReasonIsAFaultOfTheModel) {
  addCpu("a")->stopAt(1, static_cast<orvy_CpuExitReason>(4));
  EXPECT_DEATH(orvy_simRunNanos(5), "unknown cpu return status");
}

} // namespace
