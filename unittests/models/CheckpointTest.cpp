// Stopped today, gone on with tomorrow: from a checkpoint a new process comes to the same state,
// byte for byte, as the process that made it.

#include "Board.h"

#include "Testing/TempDir.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>

extern char **environ;

namespace orvy::testing {

namespace {

/// Sits between the processors and their memory, and stops at stores to the address that it is
/// armed for: the data register of the UART, or the one that forces interrupts.
struct Stopper {
  orvy_Object Super;
  orvy_IfaceRef Memory;
  uint64_t ArmedFor;
};

template <void (*MemAccessIface::*Slot)(void *, orvy_MemTransaction *)>
void pass(void *Obj, orvy_MemTransaction *Mt) {
  auto *S = static_cast<Stopper *>(Obj);
  bool IsStore = Slot == &MemAccessIface::write && Mt->Pa == S->ArmedFor;
  if (IsStore && !(Mt->Flags & ovMF_Resume))
    Mt->Flags |= ovMF_Stop;
  else
    (static_cast<MemAccessIface *>(S->Memory.Iface)->*Slot)(S->Memory.Obj, Mt);
}

void registerStopper() {
  static MemAccessIface Table = {pass<&MemAccessIface::fetch>, pass<&MemAccessIface::read>,
                                 pass<&MemAccessIface::write>, pass<&MemAccessIface::exchange>};
  orvy_Class *Cls = registerPlainClass<sizeof(Stopper)>("Stopper");
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &Table, 0, "");
  orvy_addProperty(Cls, "memory", offsetof(Stopper, Memory), ovTY_IfaceRef, 1, nullptr, nullptr,
                   "");
  orvy_addProperty(Cls, "armedFor", offsetof(Stopper, ArmedFor), ovTY_U64, 1, nullptr, nullptr, "");
}

struct Scenario {
  const char *Name;
  const char *Program;
  unsigned Cpus;
  const char *Said;  // by the program at its end
  const char *Steps; // with a checkpoint after each
  uint64_t Rest;     // nanoseconds from the last one to the end
  int Breaks;        // points at which a break has stopped a quantum, at least
  int Pending;       // points with an interrupt that was not taken, at least
  const char *Class; // of the component that it runs, if any, and the name of its first board
  const char *BoardName;
  int Midways; // points in the middle of a quantum of the component, at least
};

constexpr uint64_t Ms = 1000000;

/// Steps: r: nanoseconds, c: cycles of cpu0 alone, s: steps, b: to a break, e: to an event. Through
/// the ClockIface of a component, a: cycles, g: steps of clock 0, q: to a break of clock 1.
const Scenario Scenarios[] = {
    {"timer", "timer", 1, "timer: done",
     "r50000 b e b r900000 e s3 e b c200 e e b e c1 s40 r2000000 e e b", 20 * Ms, 5, 1, nullptr,
     nullptr, 0},
    {"compute", "compute", 1, " passed",
     "r1000000 r20000000 c1 s1 r30000000 c12345 s54321 r40000000 c7 r20000000 b s2 e b c50 b b e "
     "r10000 b",
     100 * Ms, 5, 0, nullptr, nullptr, 0},
    {"pair", "timer", 2, "timer: done",
     "r50000 b c3 b r900000 e s3 e b c200 e e b e c1 s40 r2000000 e e b", 20 * Ms, 5, 1, nullptr,
     nullptr, 0},
    {"board", "timer", 2, "timer: done",
     "g3000 q g1 q a45000 q g7 q b a200 q g20000 q e c1 g40 a100000 q g12345 q", 20 * Ms, 0, 0,
     "Board", "whole", 6},
    {"unit", "timer", 1, "timer: done",
     "a3000 a47000 b a1 a45000 b e b c9 a200 b a20000 e b a30000 s40 a100000 b a12345 b", 20 * Ms,
     6, 0, "Unit", "whole-a", 0},
};

struct Step {
  char Kind;
  uint64_t Amount = 0;
};

std::vector<Step> stepsOf(const Scenario &S) {
  std::vector<Step> Steps;
  std::istringstream Words(S.Steps);
  for (std::string Word; Words >> Word;)
    Steps.push_back({Word[0], std::strtoull(Word.c_str() + 1, nullptr, 10)});
  return Steps;
}

/// The second processor counts in memory and interrupts the first one now and then.
void loadSecond(Board &B) {
  B.assemble(1, 0x40200000,
             {"sethi %hi(0x80000000), %g1", "sethi %hi(0x40300000), %g2", "ld [%g2], %g3",
              "add %g3, 1, %g3", "st %g3, [%g2]", "andcc %g3, 1023, %g0", "bne .-0x10", "nop",
              "or %g0, 32, %g4", "st %g4, [%g1 + 0x208]", "ba .-0x20", "nop"});
}

Board boardOf(const Scenario &S) {
  return S.Class ? Board(S.Class, S.BoardName, S.Cpus) : Board(S.Cpus);
}

void build(const Scenario &S, Board &B) {
  registerStopper();
  void *Stop = make("Stopper", "stopper");
  Board::connect(Stop, "memory", B.Space, "MemAccessIface");
  for (size_t Cpu = 0; Cpu < B.Cpus.size(); ++Cpu)
    orvy_setValue(B.Cpus[Cpu], "memorySpace",
                  {ovTY_IfaceRef, {.IfaceRef = orvy_getInterfaceRef(Stop, "MemAccessIface", -1)}},
                  0);
  orvy_setValueU64(B.Uart, "config.cyclesPerByte", 700, -1);
  B.load(S.Program);
  if (S.Cpus > 1)
    loadSecond(B);
  if (void *Other = orvy_objectForName("whole-b-memory")) {
    uint64_t Start = 0;
    std::string Path = ORVY_BUILD_ROOT "/share/orvy/examples/" + std::string(S.Program) + ".elf";
    ASSERT_EQ(orvy_loadElfImageAndStartAddr(Other, Path.c_str(), &Start), 0);
    orvy_setValueU8(orvy_objectForName("whole-b-uart"), "config.terminal", 0, -1);
  }
}

void *cpu0() {
  return orvy_getProcessors()[0];
}

/// The component of the scenario, with its clocks.
struct Whole {
  orvy_Component *C = static_cast<orvy_Component *>(orvy_objectForName("whole"));
  const ClockIface *Clock =
      C ? static_cast<ClockIface *>(orvy_getInterface(C, "ClockIface", 0)) : nullptr;

  orvy_CpuExitReason advance(uint64_t Cycles) const {
    return static_cast<orvy_CpuExitReason>(Clock->advanceCycles(C, Cycles));
  }
  orvy_CpuExitReason step(int32_t Counting, uint64_t Steps) const {
    C->StepClock = Counting;
    return static_cast<orvy_CpuExitReason>(Clock->step(C, Steps));
  }
  orvy_CpuExitReason run(uint64_t Nanos) const {
    return C ? advance(Nanos / 20) : orvy_simRunNanos(Nanos); // at 50 MHz
  }
};

/// Cycles to the first event of the processor, or a thousand.
uint64_t cyclesToEvent() {
  auto *Queue = *reinterpret_cast<orvy_EventQueue **>(static_cast<orvy_Object *>(cpu0()) + 1);
  int64_t Left = orvy_eventGetFirstTime(Queue) - orvy_getCycles(cpu0());
  return Left > 0 ? static_cast<uint64_t>(Left) : 1000;
}

orvy_CpuExitReason take(const Step &S) {
  orvy_setValueU64(orvy_objectForName("stopper"), "armedFor",
                   S.Kind == 'b'   ? Board::UartBase
                   : S.Kind == 'q' ? Board::IrqBase + 8
                                   : 1,
                   -1);
  switch (S.Kind) {
  case 'a':
    return Whole().advance(S.Amount);
  case 'g':
    return Whole().step(0, S.Amount);
  case 'q':
    return Whole().step(1, 1000000);
  case 'r':
    return Whole().run(S.Amount);
  case 'b':
    return Whole().run(1000 * Ms);
  case 's':
    return orvy_simStep(0, S.Amount);
  case 'e':
    return static_cast<orvy_CpuExitReason>(orvy_cpuRun(cpu0(), cyclesToEvent()));
  default:
    return static_cast<orvy_CpuExitReason>(orvy_cpuRun(cpu0(), S.Amount));
  }
}

/// Goes from after a step to the end and saves.
void finish(const Scenario &S, size_t Done, const std::string &Path) {
  const std::vector<Step> Steps = stepsOf(S);
  for (size_t Next = Done; Next < Steps.size(); ++Next)
    take(Steps[Next]);
  take({'r', S.Rest});
  for (int Quantum = 0; Quantum < 3; ++Quantum)
    take({'r', 1 * Ms}); // the program has halted before its last characters
  ASSERT_EQ(orvy_serialiseJSON(Path.c_str()), 0);
}

constexpr const char *Order = "ORVY_TEST_RESUME"; // scenario, point and directory

std::string pointPath(const std::string &Dir, size_t Point) {
  return Dir + "/" + std::to_string(Point) + ".json";
}
std::string endPath(const std::string &Dir, size_t Point) {
  return Dir + "/end-" + std::to_string(Point) + ".json";
}

/// Starts a new process that goes on from a point; point 0 is the very start.
pid_t startFrom(const Scenario &S, size_t Point, const std::string &Dir) {
  std::string Setting = std::to_string(&S - Scenarios) + " " + std::to_string(Point) + " " + Dir;
  Environment Told(Order, Setting.c_str());
  char Program[] = "/proc/self/exe", All[] = "--gtest_also_run_disabled_tests",
       Filter[] = "--gtest_filter=Resumed.DISABLED_*", Brief[] = "--gtest_brief=1";
  char *Args[] = {Program, All, Filter, Brief, nullptr};
  pid_t Child = -1;
  EXPECT_EQ(posix_spawn(&Child, Program, nullptr, nullptr, Args, environ), 0);
  return Child;
}

bool hasEnded(pid_t Child) {
  int Status = -1;
  return waitpid(Child, &Status, 0) == Child && WIFEXITED(Status) && WEXITSTATUS(Status) == 0;
}

void compare(const std::string &Expected, const std::string &Found, const char *What,
             size_t Point) {
  if (Expected == Found)
    return;
  size_t At = 0;
  while (At < Expected.size() && At < Found.size() && Expected[At] == Found[At])
    ++At;
  size_t From = At > 300 ? At - 300 : 0;
  ADD_FAILURE() << What << " " << Point << " differs at byte " << At << "\n"
                << Expected.substr(From, 400) << "\n--- found ---\n"
                << Found.substr(From, 400);
}

/// What the points of a scenario were like.
struct Tally {
  int Breaks = 0;
  int Pending = 0;
  int Midways = 0;
};

Tally record(const Scenario &S, Board &B, const std::string &Dir) {
  Tally Seen;
  const std::vector<Step> Steps = stepsOf(S);
  for (size_t Point = 1; Point <= Steps.size(); ++Point) {
    orvy_CpuExitReason Reason = take(Steps[Point - 1]);
    Seen.Breaks += Reason == ovCER_BreakWrite;
    Seen.Pending += Board::number(B.Cpus[0], "irqLines") != 0;
    Seen.Midways += B.Whole && B.Whole->CurrentClock > 0;
    EXPECT_EQ(orvy_serialiseJSON(pointPath(Dir, Point).c_str()), 0);
  }
  finish(S, Steps.size(), Dir + "/end.json");
  return Seen;
}

class Checkpoints : public ::testing::TestWithParam<size_t> {};

TEST_P(Checkpoints, GoOnInANewProcessAsIfNothingHadHappened) {
  const Scenario &S = Scenarios[GetParam()];
  TempDir Dir;
  Board B = boardOf(S);
  build(S, B);
  Tally Seen = record(S, B, Dir.path());
  EXPECT_GE(Seen.Breaks, S.Breaks);
  EXPECT_GE(Seen.Pending, S.Pending);
  EXPECT_GE(Seen.Midways, S.Midways);
  const size_t Last = stepsOf(S).size();
  EXPECT_EQ(Last, 20u);
  std::string End = TempDir::contentsOf(Dir.path("end.json"));
  EXPECT_THAT(B.output(), ::testing::HasSubstr(S.Said));

  pid_t Former = startFrom(S, 0, Dir.path());
  for (size_t Point = 0; Point <= Last; ++Point) {
    pid_t Next = Point < Last ? startFrom(S, Point + 1, Dir.path()) : -1;
    EXPECT_TRUE(hasEnded(Former)) << Point;
    compare(End, TempDir::contentsOf(endPath(Dir.path(), Point)), "the end from point", Point);
    Former = Next;
  }
}

INSTANTIATE_TEST_SUITE_P(Programs, Checkpoints, ::testing::Range<size_t>(0, std::size(Scenarios)),
                         [](const auto &Info) { return Scenarios[Info.param].Name; });

/// Not a test of its own: what startFrom starts.
TEST(Resumed, DISABLED_GoesOn) {
  const char *Setting = std::getenv(Order);
  if (!Setting)
    GTEST_SKIP() << "runs in processes that another test starts";
  size_t Index, Point;
  std::string Dir;
  std::istringstream(Setting) >> Index >> Point >> Dir;
  const Scenario &S = Scenarios[Index];
  if (Point == 0) {
    Board B = boardOf(S);
    build(S, B);
    finish(S, 0, endPath(Dir, 0));
    return;
  }
  // The plug-ins come with the checkpoint.
  orvy_initConfigDirs();
  orvy_initSupportLib();
  orvy_pluginPathAppend(ORVY_BUILD_ROOT "/lib"); // where that of the boards finds the others
  orvy_logSetLevel(ovLOG_Warning);
  registerStopper();
  ASSERT_EQ(orvy_deserialiseJSON(pointPath(Dir, Point).c_str()), 0);
  std::string Again = endPath(Dir, Point) + "-again";
  ASSERT_EQ(orvy_serialiseJSON(Again.c_str()), 0);
  compare(TempDir::contentsOf(pointPath(Dir, Point)), TempDir::contentsOf(Again),
          "point saved again", Point);
  finish(S, Point, endPath(Dir, Point));
  orvy_objsysClearObjects();
}

/// A board whose state does not show in properties: processors in an order that is not that of
/// their names, a gap before the first one in the controller, marked memory, and bytes that make no
/// text.
TEST(CheckpointOfModels, KeepsStateThatPropertiesDoNotHold) {
  TempDir Dir;
  loadModels();
  make("SparcV8", "cpu1", "freq", Board::Freq);
  {
    Board B;
    void *Second = orvy_objectForName("cpu1");
    Board::connect(Second, "memorySpace", B.Space, "MemAccessIface");
    Board::connect(Second, "irqClient", B.Irq, "IrqClientIface[3]");
    auto *Cpus = static_cast<orvy_IfaceRef *>(orvy_getPropref(B.Irq, "cpus").Ptr);
    Cpus[3] = orvy_getInterfaceRef(Second, "IrqIface", -1);
    Cpus[0] = {};
    orvy_memoryMapNamedIface(B.Space, 0x50000000, 0x1000, B.Ram, "MemAccessIface", 0);
    orvy_memorySetAttr(B.Space, 0x40000ffe, 0x2004, ovMA_Upset | ovMA_User2);
    orvy_memorySetAttr(B.Space, 0x40300000, 1, ovMA_Faulty);
    orvy_MemTransaction Mt{};
    Mt.Pa = 0x40001000;
    orvy_memoryReadTransaction(B.Space, &Mt); // the upset is told of from now on
    std::string File = Dir.path("output");
    orvy_setValue(B.Uart, "config.file", {ovTY_String, {.String = File.c_str()}}, -1);
    orvy_memoryWritePhys32(B.Space, Board::UartBase + 8, 2);
    for (int Byte : {0x61, 0, 0xFF, 0xC3, 0xA9})
      orvy_memoryWritePhys32(B.Space, Board::UartBase, static_cast<uint32_t>(Byte));
    EXPECT_STREQ(orvy_getValue(B.Uart, "output", -1).String, "a\xEF\xBF\xBD\xEF\xBF\xBD\u00e9");
    ASSERT_EQ(orvy_serialiseJSON(pointPath(Dir.path(), 1).c_str()), 0);
    orvy_memoryWritePhys32(B.Space, Board::UartBase, 'x'); // goes again from the file
  }
  ASSERT_EQ(orvy_deserialiseJSON(pointPath(Dir.path(), 1).c_str()), 0);
  EXPECT_EQ(TempDir::contentsOf(Dir.path("output")), std::string("a\0\xFF\xC3\xA9", 5));
  ASSERT_EQ(orvy_serialiseJSON(pointPath(Dir.path(), 2).c_str()), 0);
  compare(TempDir::contentsOf(pointPath(Dir.path(), 1)),
          TempDir::contentsOf(pointPath(Dir.path(), 2)), "point", 2);
  EXPECT_STREQ(orvy_nameForObject(orvy_getProcessors()[0]), "cpu1");
  void *Irq = orvy_objectForName("irqctrl"), *Space = orvy_objectForName("memory");
  EXPECT_EQ(orvy_getValue(Irq, "cpus", 0).IfaceRef.Obj, nullptr);
  EXPECT_EQ(orvy_getValue(Irq, "cpus", 3).IfaceRef.Obj, orvy_objectForName("cpu1"));
  EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40000ffd), 0u);
  EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40003001), uint32_t(ovMA_Upset | ovMA_User2));
  EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40003002), 0u);
  EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40300000), uint32_t(ovMA_Faulty));
  uint32_t Word;
  EXPECT_EQ(orvy_memoryReadPhys32(Space, 0x50000000, &Word), 0u);
  orvy_memoryWritePhys32(Space, Board::UartBase, 'y');
  orvy_objsysClearObjects();
  EXPECT_EQ(TempDir::contentsOf(Dir.path("output")), std::string("a\0\xFF\xC3\xA9y", 6));
}

} // namespace

} // namespace orvy::testing
