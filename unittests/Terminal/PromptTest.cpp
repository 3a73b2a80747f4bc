#include "Terminal.h"

#include "Testing/TempDir.h"

#include <gmock/gmock.h>

#include <fstream>
#include <span>

using namespace orvy::testing;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char *Prompt = "orvy> ";

/// The prompt in a directory of its own.
class PromptTest : public testing::Test {
protected:
  TempDir Home;
};

TEST_F(PromptTest, RunsCommandsAndGoesOnAfterAFailure) {
  Terminal User(Home.path());
  User.expect(Prompt);
  User.enter("nope 1");
  User.expect("error: unknown command 'nope'\n");
  User.expect(Prompt);
  User.enter("# nope 2");
  User.enter(" set var=a val='#1' # nope 3");
  User.expect(Prompt);
  User.enter("a.nope");
  User.expect("error: unknown command 'a.nope'\n");
  User.expect(Prompt);
  User.enter("var-print var=a");
  User.expect("\na=#1\n");
  User.expect(Prompt);
  User.enter("quit");
  EXPECT_EQ(User.waitForExit(), 0);
}

TEST_F(PromptTest, AsksForMoreWhileAQuoteIsOpenOrALineEndsInABackslash) {
  Terminal User(Home.path());
  User.expect(Prompt);
  User.enter("echo 'one");
  User.expect("... ");
  User.enter("two' thr\\");
  User.expect("... ");
  User.enter("ee");
  User.expect("\none\ntwo three \n");
  User.expect(Prompt);
}

TEST_F(PromptTest, HandsALineBehindAnExclamationMarkToTheScriptRunner) {
  Terminal User(Home.path());
  User.expect(Prompt);
  User.enter("!  print('6' * 3) # 'x");
#ifdef ORVY_HAS_PYTHON
  User.expect("\n666\n");
#else
  User.expect("Attempted to run Python script");
#endif
  User.expect(Prompt);
  User.enter(" !print(1)");
  User.expect("unknown command '!print(1)'");
}

TEST_F(PromptTest, KeepsItsHistoryForTheNextSession) {
  for (const char *Value : {"first", "second"}) {
    Terminal User(Home.path());
    User.expect(Prompt);
    User.enter("set var=a val=" + std::string(Value));
    User.expect(Prompt);
    EXPECT_EQ(User.leave(), 0);
  }
  Terminal User(Home.path());
  User.expect(Prompt);
  User.press(Terminal::CtrlP);
  User.expect("set var=a val=second");
  User.press(Terminal::CtrlP);
  User.expect("first");
  User.press(Terminal::Enter);
  User.expect(Prompt);
  User.enter("var-print var=a");
  User.expect("\na=first\n");
}

TEST_F(PromptTest, KeepsTheLastFiftyLinesAndARepetitionOnce) {
  Terminal User(Home.path());
  for (int Number = 0; Number < 60; ++Number) {
    User.expect(Prompt);
    User.enter("x=" + std::to_string(Number / 2 * 2));
  }
  for (int Number = 100; Number < 130; ++Number) {
    User.expect(Prompt);
    User.enter("x=" + std::to_string(Number));
  }
  User.expect(Prompt);
  EXPECT_EQ(User.leave(), 0);
  std::ifstream File(Home.path(".config/orvy/command-history"));
  const std::string Text{std::istreambuf_iterator<char>(File), {}};
  EXPECT_EQ(std::count(Text.begin(), Text.end(), '\n'), 51) << "with its head line";
  EXPECT_THAT(Text, Not(HasSubstr("x=18\\012")));
  EXPECT_THAT(Text, HasSubstr("x=20\\012"));
}

TEST_F(PromptTest, LeavesAtTheEndOfTheInputAlsoInsideACommand) {
  Terminal User(Home.path());
  User.expect(Prompt);
  User.enter("echo 'open");
  User.expect("... ");
  EXPECT_EQ(User.leave(), 0);
}

TEST_F(PromptTest, RunsTheStartScriptsOfTheUserAndTheDirectory) {
  Home.file(".config/orvy/init.orvy", "echo 'of the user'\nnope\necho never\n");
  Home.file("orvy-init.orvy", "echo 'of the directory'\n");
  Terminal User(Home.path());
  const std::string Start = User.takeUntil(Prompt);
  EXPECT_THAT(Start, HasSubstr("of the user \n"));
  EXPECT_THAT(Start, HasSubstr("/.config/orvy/init.orvy:2: error: unknown command 'nope'\n"));
  EXPECT_THAT(Start, HasSubstr("of the directory \n"));
  EXPECT_THAT(Start, Not(HasSubstr("never")));
}

TEST_F(PromptTest, ReportsStartScriptsThatAreNotThere) {
  Terminal User(Home.path());
  const std::string Start = User.takeUntil(Prompt);
  EXPECT_THAT(Start, HasSubstr("no such file: '" + Home.path(".config/orvy/init.orvy") + "'"));
  EXPECT_THAT(Start, HasSubstr("no such file: './orvy-init.orvy'"));
}

// Tab.

struct Completed {
  const char *Typed;
  const char *Seen;
};

void expectOnTab(Terminal &User, std::span<const Completed> Cases) {
  for (const Completed &Each : Cases) {
    User.expect(Prompt);
    User.type(Each.Typed);
    User.press(Terminal::Tab);
    User.expect(Each.Seen);
    User.press(Terminal::CtrlC);
  }
}

TEST_F(PromptTest, TabInsertsTheOnlyCandidate) {
  Home.file("folder/file.elf");
  const Completed Cases[] = {
      {"notification-l", "notification-list"},
      {"object-create n", "name="},
      {"object-run obj=si", "obj=sim"},
      {"connect a=si", "a=sim."},
      {"connect a=sim.curr", "a=sim.currentCPU"},
      {"connect b=si", "b=sim:"},
      {"connect b=sim:Mach", "b=sim:MachineIface"},
      {"class-info class=Cl", "class=Clock"},
      {"set var=b val=${FOL", "val=${FOLDER}"},
      {"set var=b val=$FOL", "val=$FOLDER"},
      {"memory-load file=fol", "file=folder/"},
      {"memory-load file=folder/fi", "file=folder/file.elf"},
      {"memory-load file=${FOLDER}/f", "file=${FOLDER}/file.elf"},
      {"memory-load file=$FOLDER/f", "file=$FOLDER/file.elf"},
      {"exp-set-field reg=si", "reg=sim."},
  };
  Terminal User(Home.path());
  User.expect(Prompt);
  User.enter("set var=FOLDER val=folder");
  expectOnTab(User, Cases);
}

TEST_F(PromptTest, TabListsSeveralCandidates) {
  const Completed Cases[] = {
      {"object-p",
       "Completions:\n\tobject-print\n\tobject-prop-read\n\tobject-prop-write\norvy> object-pr"},
      {"var-p", "Completions:\n\tvar-print\n\tvar-print-all\norvy> var-print"},
      {"object-create ", "Completions:\n\targs=\n\tclass=\n\tname=\norvy> object-create "},
      {"connect a=sim.", "Completions:\n\tsim."},
      {"connect b=sim:", "Completions:\n\tsim:MachineIface\n\tsim:ObjectIface\norvy> "},
      {"class-info class=", "Completions:\n\tClock\n\tSimulator\norvy> class-info class="},
      {"memory-load file=${LI",
       "Completions:\n\t${LIST_ONE}\n\t${LIST_TWO}\norvy> memory-load file=${LIST_"},
      {"memory-load file=f/",
       "Completions:\n\tf/../\n\tf/a.elf\n\tf/ab/\norvy> memory-load file=f/"},
  };
  Home.file("f/a.elf");
  Home.file("f/ab/c");
  Terminal User(Home.path());
  User.expect(Prompt);
  User.enter("set var=LIST_ONE val=1");
  User.expect(Prompt);
  User.enter("set var=LIST_TWO val=2");
  expectOnTab(User, Cases);
}

TEST_F(PromptTest, TabChangesNothingWithoutACandidate) {
  Terminal User(Home.path());
  User.expect(Prompt);
  for (const char *Typed : {"", "zzz", "nope ", "nope k", "echo a", "set var=x", "connect a=no."}) {
    User.type(Typed);
    User.press(Terminal::Tab);
    User.press(Terminal::CtrlC);
    EXPECT_THAT(User.takeUntil("^C\n"), Not(HasSubstr("Completions"))) << Typed;
    User.expect(Prompt);
  }
}

// ^C.

TEST_F(PromptTest, ControlCDropsTheLine) {
  Terminal User(Home.path());
  User.expect(Prompt);
  User.type("set var=a");
  User.press(Terminal::CtrlC);
  User.expect(Prompt);
  User.enter("echo 'open");
  User.expect("... ");
  User.press(Terminal::CtrlC);
  User.expect(Prompt);
  User.enter("echo done");
  User.expect("\ndone \n");
}

#ifdef ORVY_HAS_PYTHON
TEST_F(PromptTest, ControlCInterruptsPython) {
  // The output tells that the text runs: an earlier ^C would drop the line, and one too many that of
  // the next text.
  for (const char *Text : {R"(! print("be" "gun", flush=True); all(True for _ in iter(int, 1)))",
                           R"(! import orvy; print("be" "gun", flush=True); orvy.run(1e7))"}) {
    Terminal User(Home.path());
    User.expect(Prompt);
    User.enter(Text);
    User.expect("begun");
    User.pressUntil(Terminal::CtrlC, "KeyboardInterrupt");
    User.pressUntil(Terminal::CtrlC, Prompt);
  }
}
#endif

TEST_F(PromptTest, ShowsTheLineAnewInAWindowThatWasResized) {
  Terminal User(Home.path());
  User.expect(Prompt);
  const std::string Line = "echo " + std::string(50, 'x');
  User.type(Line);
  User.expect(Line);
  User.resize(40);
  User.type("y");
  User.expect("\norvy> echo xxx");
  User.press(Terminal::Enter);
  User.expect("\n" + std::string(50, 'x') + "y \n");
}

TEST_F(PromptTest, StopsWhereTheSourceSays) {
  Terminal User(Home.path(), {"-i"});
  for (const char *Line :
       {"source board.orvy", "load obj=memory file=${ORVY_SHARE}/examples/hello.elf dwarf=1",
        "experimental-debug-add-path path=${ORVY_SHARE}/examples", "cpu-reset",
        "cpu-set-pc pc=0x40000000", "experimental-debug-break loc=main"}) {
    User.expect(Prompt);
    User.enter(Line);
  }
  User.expect("Breakpoint 1 set at main @ 0x");
  User.enter("run");
  User.expect("Breakpoint 1 hit at hello/hello.c:5 (main)");
  User.expect(Prompt);
  User.enter("experimental-debug-list-source cpu=cpu0 lines=1");
  User.expect("*    5: int main(void) {");
  User.enter("experimental-debug-break loc=+1 cpu=cpu0");
  User.expect("Breakpoint 2 set at hello/hello.c:6 @ 0x");
  User.enter("run");
  User.expect("Breakpoint 2 hit at hello/hello.c:");
  User.expect(Prompt);
  User.enter("run");
  User.expect("Hello");
}

TEST_F(PromptTest, TellsWhichTerminalAProgramTalksTo) {
  Terminal User(Home.path(), {"-c", "source ${ORVY_SHARE}/examples/echo.orvy"});
  User.expect("/dev/pts/");
  const std::string Path = "/dev/pts/" + User.takeUntil("\n");
  std::fstream(Path.substr(0, Path.find('\n'))) << ".\r" << std::flush;
  EXPECT_EQ(User.waitForExit(), 0);
}

class RunTest : public PromptTest, public testing::WithParamInterface<const char *> {};

TEST_P(RunTest, ControlCStopsARunAndTheSignalIsThePromptsAgain) {
  Home.file("board.orvy", R"(
import Memory
import SparcV8
object-create class=Ram name=ram args=size:4096
object-create class=MemorySpace name=mem
object-create class=SparcV8 name=cpu0 args=freq:50000000
object-create class=Clock name=clk args=freq:1000000
memory-map space=mem addr=0x40000000 length=0x1000 device=ram
connect a=cpu0.memorySpace b=mem:MemAccessIface
memory-write obj=mem addr=0x40000000 length=4 data=0x10800000 # ba .
memory-write obj=mem addr=0x40000004 length=4 data=0x01000000 # nop
cpu-set-pc cpu=cpu0 pc=0x40000000
)");
  Terminal User(Home.path(), {"-i", "board.orvy"});
  User.expect(Prompt);
  for (int Round = 0; Round < 2; ++Round) {
    User.enter(std::string("run obj=") + GetParam());
    User.expect("\n");
    User.pressUntil(Terminal::CtrlC, Prompt);
  }
  User.enter("object-time obj=" + std::string(GetParam()));
  User.expect(std::string(GetParam()) + ": time = ");
  User.expect(Prompt);
  EXPECT_EQ(User.leave(), 0);
}

INSTANTIATE_TEST_SUITE_P(Of, RunTest, testing::Values("cpu0", "sim", "clk"));

} // namespace
