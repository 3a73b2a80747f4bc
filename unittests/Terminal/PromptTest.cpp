#include "Terminal.h"

#include <gmock/gmock.h>

#include <fstream>
#include <span>

using namespace orvy::testing;
using testing::HasSubstr;
using testing::Not;

namespace {

using PromptTest = PromptFixture;

struct Completed {
  const char *Typed;
  const char *Seen;
};

/// The front end at its first prompt.
class AtPromptTest : public PromptFixture {
protected:
  AtPromptTest() { User.expect(Prompt); }

  void expectOnTab(std::span<const Completed> Cases) {
    for (const Completed &Each : Cases) {
      User.type(Each.Typed);
      User.press(Terminal::Tab);
      User.expect(Each.Seen);
      User.press(Terminal::CtrlC);
      EXPECT_THAT(User.takeUntil("^C\n"), testing::AnyOf("", " ")) << Each.Typed;
      User.expect(Prompt);
    }
  }

  Terminal User{Home.path()};
};

TEST_F(AtPromptTest, RunsCommandsAndGoesOnAfterAFailure) {
  EXPECT_THAT(answerTo(User, "nope 1"), HasSubstr("error: unknown command 'nope'\n"));
  answerTo(User, "# nope 2");
  answerTo(User, " set var=a val='#1' # nope 3");
  EXPECT_THAT(answerTo(User, "a.nope"), HasSubstr("error: unknown command 'a.nope'\n"));
  EXPECT_THAT(answerTo(User, "var-print var=a"), HasSubstr("\na=#1\n"));
  User.enter("quit");
  EXPECT_EQ(User.waitForExit(), 0);
}

TEST_F(AtPromptTest, AsksForMoreWhileAQuoteIsOpenOrALineEndsInABackslash) {
  User.enter("echo 'one");
  User.expect("... ");
  User.enter("two' thr\\");
  User.expect("... ");
  EXPECT_THAT(answerTo(User, "ee"), HasSubstr("\none\ntwo three \n"));
  User.enter("echo 'open");
  User.expect("... ");
  EXPECT_EQ(User.leave(), 0) << "also inside a command";
}

TEST_F(AtPromptTest, RunsALineThatStartsWithAnExclamationMarkAsPython) {
#ifdef ORVY_HAS_PYTHON
  const char *Answer = "\n666\n";
#else
  const char *Answer = "Attempted to run Python script";
#endif
  EXPECT_THAT(answerTo(User, "!  print('6' * 3) # 'x"), HasSubstr(Answer));
  EXPECT_THAT(answerTo(User, " !print(1)"), HasSubstr("unknown command '!print(1)'"));
}

TEST_F(PromptTest, KeepsItsHistoryForTheNextStart) {
  for (const char *Value : {"first", "second"}) {
    Terminal User(Home.path());
    User.expect(Prompt);
    answerTo(User, "set var=a val=" + std::string(Value));
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
  EXPECT_THAT(answerTo(User, "var-print var=a"), HasSubstr("\na=first\n"));
}

TEST_F(AtPromptTest, KeepsTheLastFiftyLinesAndARepetitionOnce) {
  for (int Number = 0; Number < 60; ++Number)
    answerTo(User, "x=" + std::to_string(Number / 2 * 2));
  for (int Number = 100; Number < 130; ++Number)
    answerTo(User, "x=" + std::to_string(Number));
  EXPECT_EQ(User.leave(), 0);
  const std::string Text = TempDir::contentsOf(Home.path(".config/orvy/command-history"));
  EXPECT_EQ(std::count(Text.begin(), Text.end(), '\n'), 51) << "with its head line";
  EXPECT_THAT(Text, Not(HasSubstr("x=18\\012")));
  EXPECT_THAT(Text, HasSubstr("x=20\\012"));
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

TEST_F(AtPromptTest, TabInsertsTheOnlyCandidate) {
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
  answerTo(User, "set var=FOLDER val=folder");
  expectOnTab(Cases);
}

TEST_F(AtPromptTest, TabListsSeveralCandidates) {
  const Completed Cases[] = {
      {"object-p",
       "Completions:\n\tobject-print\n\tobject-prop-read\n\tobject-prop-write\norvy> object-pr"},
      {"var-p", "Completions:\n\tvar-print\n\tvar-print-all\norvy> var-print"},
      {"object-create ", "Completions:\n\targs=\n\tclass=\n\tname=\norvy> object-create "},
      {"connect a=sim.", "\n\tsim.time\n\tsim.timeDistributionInterval\norvy> connect a=sim."},
      {"connect b=sim:",
       "Completions:\n\tsim:MachineIface\n\tsim:ObjectIface\norvy> connect b=sim:"},
      {"class-info class=", "Completions:\n\tClock\n\tSimulator\norvy> class-info class="},
      {"memory-load file=${LI",
       "Completions:\n\t${LIST_ONE}\n\t${LIST_TWO}\norvy> memory-load file=${LIST_"},
      {"memory-load file=f/",
       "Completions:\n\tf/../\n\tf/a.elf\n\tf/ab/\norvy> memory-load file=f/"},
  };
  Home.file("f/a.elf");
  Home.file("f/ab/c");
  answerTo(User, "set var=LIST_ONE val=1");
  answerTo(User, "set var=LIST_TWO val=2");
  expectOnTab(Cases);
}

TEST_F(AtPromptTest, TabChangesNothingWithoutACandidate) {
  for (const char *Typed : {"", "zzz", "nope ", "nope k", "echo a", "set var=x", "connect a=no."}) {
    User.type(Typed);
    User.press(Terminal::Tab);
    User.press(Terminal::CtrlC);
    EXPECT_THAT(User.takeUntil("^C\n"), Not(HasSubstr("Completions"))) << Typed;
    User.expect(Prompt);
  }
}

// ^C.

TEST_F(AtPromptTest, ControlCDropsTheLine) {
  User.type("set var=a");
  User.press(Terminal::CtrlC);
  User.expect(Prompt);
  User.enter("echo 'open");
  User.expect("... ");
  User.press(Terminal::CtrlC);
  User.expect(Prompt);
  EXPECT_THAT(answerTo(User, "echo done"), HasSubstr("\ndone \n"));
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

TEST_F(AtPromptTest, ShowsTheLineAnewInAWindowThatWasResized) {
  const std::string Line = "echo " + std::string(50, 'x');
  User.type(Line);
  User.expect(Line);
  User.resize(40);
  User.type("y");
  User.expect("\norvy> echo xxx");
  User.press(Terminal::Enter);
  User.expect("\n" + std::string(50, 'x') + "y \n");
}

TEST_F(AtPromptTest, StopsWhereTheSourceSays) {
  const std::pair<const char *, const char *> Steps[] = {
      {"source board.orvy", ""},
      {"load obj=memory file=${ORVY_SHARE}/examples/hello.elf dwarf=1", "start address = "},
      {"experimental-debug-add-path path=${ORVY_SHARE}/examples", ""},
      {"cpu-reset", ""},
      {"cpu-set-pc pc=0x40000000", ""},
      {"experimental-debug-break loc=main", "Breakpoint 1 set at main @ 0x"},
      {"run", "Breakpoint 1 hit at hello/hello.c:5 (main)"},
      {"experimental-debug-list-source cpu=cpu0 lines=1", "*    5: int main(void) {"},
      {"experimental-debug-break loc=+1 cpu=cpu0", "Breakpoint 2 set at hello/hello.c:6 @ 0x"},
      {"run", "Breakpoint 2 hit at hello/hello.c:"},
      {"run", "Hello"},
  };
  for (const auto &[Line, Answer] : Steps)
    EXPECT_THAT(answerTo(User, Line), HasSubstr(Answer));
}

TEST_F(PromptTest, PrintsTheTerminalThatAProgramTalksTo) {
  Terminal User(Home.path(), {"-c", "source ${ORVY_SHARE}/examples/echo.orvy"});
  User.expect("/dev/pts/");
  const std::string Path = "/dev/pts/" + User.takeUntil("\n");
  std::fstream(Path.substr(0, Path.find('\n'))) << ".\r" << std::flush;
  EXPECT_EQ(User.waitForExit(), 0);
}

TEST_F(AtPromptTest, ControlCStopsRunsOfAllKinds) {
  for (const char *Line :
       {"source board.orvy", "load obj=memory file=${ORVY_SHARE}/examples/echo.elf",
        "cpu-set-pc cpu=cpu0 pc=0x40000000", "object-create class=Clock name=clk args=freq:1000"})
    answerTo(User, Line);
  for (const std::string Runnable : {"cpu0", "sim", "clk"}) {
    for (int Round = 0; Round < 2; ++Round) {
      User.enter("run obj=" + Runnable);
      User.expect("\n");
      User.pressUntil(Terminal::CtrlC, Prompt);
    }
    User.enter("object-time obj=" + Runnable);
    User.expect(Runnable + ": time = ");
    User.expect(Prompt);
  }
  EXPECT_EQ(User.leave(), 0);
}

} // namespace
