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
  orvy_Class *Cls = orvy_registerClass(
      "Stopper",
      [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, sizeof(Stopper)); },
      std::free);
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &Table, 0, "");
  orvy_addProperty(Cls, "memory", offsetof(Stopper, Memory), ovTY_IfaceRef, 1, nullptr, nullptr,
                   "");
  orvy_addProperty(Cls, "armedFor", offsetof(Stopper, ArmedFor), ovTY_U64, 1, nullptr, nullptr, "");
}

struct Step {
  /// r: nanoseconds, c: cycles of cpu0 alone, s: steps, b: to a break, e: to an event. Through the
  /// ClockIface of a component, a: cycles, g: steps of clock 0, q: to a break of clock 1
  char Kind;
  uint64_t Amount = 0;
};

struct Scenario {
  const char *Name;
  const char *Program;
  unsigned Cpus;
  const char *Said;            // by the program at its end
  std::vector<Step> Steps;     // a checkpoint lies behind each
  uint64_t Rest;               // nanoseconds from the last one to the end
  int Breaks;                  // points at which a break has stopped a quantum, at least
  int Pending;                 // points with an interrupt that was not taken, at least
  const char *Class = nullptr; // of the component that it runs, with the name of its first board
  const char *BoardName = nullptr;
  int Midways = 0; // points in the middle of a quantum of the component, at least
};

constexpr uint64_t Us = 1000, Ms = 1000 * Us;

const Scenario Scenarios[] = {
    {"hello",
     "hello",
     1,
     "Hello from SPARC V8!",
     {{'r', 50 * Us}, {'c', 137}, {'b'},    {'s', 5},      {'e'},      {'b'}, {'c', 1},
      {'e'},          {'b'},      {'b'},    {'e'},         {'s', 100}, {'b'}, {'c', 333},
      {'e'},          {'b'},      {'s', 1}, {'r', 1 * Us}, {'b'},      {'e'}},
     5 * Ms,
     6,
     0},
    {"timer",
     "timer",
     1,
     "timer: done",
     {{'r', 50 * Us}, {'b'},     {'e'},         {'b'}, {'r', 900 * Us}, {'e'}, {'s', 3},
      {'e'},          {'b'},     {'c', 200},    {'e'}, {'e'},           {'b'}, {'e'},
      {'c', 1},       {'s', 40}, {'r', 2 * Ms}, {'e'}, {'e'},           {'b'}},
     20 * Ms,
     5,
     1},
    {"compute",
     "compute",
     1,
     " passed",
     {{'r', 1 * Ms}, {'r', 20 * Ms}, {'c', 1},       {'s', 1},       {'r', 30 * Ms},
      {'c', 12345},  {'s', 54321},   {'r', 40 * Ms}, {'c', 7},       {'r', 20 * Ms},
      {'b'},         {'s', 2},       {'e'},          {'b'},          {'c', 50},
      {'b'},         {'b'},          {'e'},          {'r', 10 * Us}, {'b'}},
     100 * Ms,
     5,
     0},
    {"pair",
     "timer",
     2,
     "timer: done",
     {{'r', 50 * Us}, {'b'},     {'c', 3},      {'b'}, {'r', 900 * Us}, {'e'}, {'s', 3},
      {'e'},          {'b'},     {'c', 200},    {'e'}, {'e'},           {'b'}, {'e'},
      {'c', 1},       {'s', 40}, {'r', 2 * Ms}, {'e'}, {'e'},           {'b'}},
     20 * Ms,
     5,
     1},
    // clang-format off
    {"board", "timer", 2, "timer: done",
     {{'g', 3000}, {'q'}, {'g', 1}, {'q'}, {'a', 45000}, {'q'}, {'g', 7}, {'q'}, {'b'}, {'a', 200},
      {'q'}, {'g', 20000}, {'q'}, {'e'}, {'c', 1}, {'g', 40}, {'a', 100000}, {'q'}, {'g', 12345}, {'q'}},
     20 * Ms, 0, 0, "Board", "whole", 6},
    {"unit", "timer", 1, "timer: done",
     {{'a', 3000}, {'a', 47000}, {'b'}, {'a', 1}, {'a', 45000}, {'b'}, {'e'}, {'b'}, {'c', 9}, {'a', 200},
      {'b'}, {'a', 20000}, {'e'}, {'b'}, {'a', 30000}, {'s', 40}, {'a', 100000}, {'b'}, {'a', 12345}, {'b'}},
     20 * Ms, 6, 0, "Unit", "whole-a"},
    // clang-format on
};

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

std::string contents(const std::string &Path) {
  std::stringstream Text;
  Text << std::ifstream(Path, std::ios::binary).rdbuf();
  return Text.str();
}

/// Goes from behind a step to the end and saves.
void finish(const Scenario &S, size_t Done, const std::string &Path) {
  for (size_t Next = Done; Next < S.Steps.size(); ++Next)
    take(S.Steps[Next]);
  take({'r', S.Rest});
  for (int Quantum = 0; Quantum < 3; ++Quantum)
    take({'r', 1 * Ms}); // the program has halted ahead of its last characters
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
  for (size_t Point = 1; Point <= S.Steps.size(); ++Point) {
    orvy_CpuExitReason Reason = take(S.Steps[Point - 1]);
    Seen.Breaks += Reason == ovCER_BreakWrite;
    Seen.Pending += Board::number(B.Cpus[0], "irqLines") != 0;
    Seen.Midways += B.Whole && B.Whole->CurrentClock > 0;
    EXPECT_EQ(orvy_serialiseJSON(pointPath(Dir, Point).c_str()), 0);
  }
  finish(S, S.Steps.size(), Dir + "/end.json");
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
  EXPECT_EQ(S.Steps.size(), 20u);
  std::string End = contents(Dir.path("end.json"));
  EXPECT_THAT(B.output(), ::testing::HasSubstr(S.Said));

  pid_t Former = startFrom(S, 0, Dir.path());
  for (size_t Point = 0; Point <= S.Steps.size(); ++Point) {
    pid_t Next = Point < S.Steps.size() ? startFrom(S, Point + 1, Dir.path()) : -1;
    EXPECT_TRUE(hasEnded(Former)) << Point;
    compare(End, contents(endPath(Dir.path(), Point)), "the end from point", Point);
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
  compare(contents(pointPath(Dir, Point)), contents(Again), "point saved again", Point);
  finish(S, Point, endPath(Dir, Point));
  orvy_objsysClearObjects();
}

/// A board whose state does not show in properties: processors in an order that is not that of
/// their names, a gap before the first one in the controller, marked memory, and bytes that make no
/// text.
TEST(CheckpointOfModels, HasWhatPropertiesDoNotHold) {
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
  EXPECT_EQ(contents(Dir.path("output")), std::string("a\0\xFF\xC3\xA9", 5));
  ASSERT_EQ(orvy_serialiseJSON(pointPath(Dir.path(), 2).c_str()), 0);
  compare(contents(pointPath(Dir.path(), 1)), contents(pointPath(Dir.path(), 2)), "point", 2);
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
  EXPECT_EQ(contents(Dir.path("output")), std::string("a\0\xFF\xC3\xA9y", 6));
}

} // namespace

} // namespace orvy::testing
