#include "Terminal.h"

#include "Testing/TempDir.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace orvy::testing;

namespace {

constexpr const char *Prompt = "orvy> ";
constexpr const char *Image = ORVY_SOURCE_ROOT "/test/debugger/types-5-O0.elf";

/// The prompt in front of a program that is stopped in a function.
class DebuggerPromptTest : public testing::Test {
protected:
  DebuggerPromptTest() {
    for (const std::string &Line :
         {std::string("log-level error"), std::string("import Board"),
          std::string("object-create class=Board name=board"),
          "load obj=board-memory file=" + std::string(Image), std::string("DEFAULT_RUNNABLE=board"),
          std::string("break walk"), std::string("run")}) {
      User.expect(Prompt);
      User.enter(Line);
    }
    User.expect("stopped: break point 1 at types.c:158 (walk)");
    User.expect(Prompt);
  }

  /// What the line becomes when Tab is pressed, up to a mark that is typed after it.
  std::string completed(const std::string &Text) {
    User.type(Text);
    User.press(Terminal::Tab);
    User.type("|");
    std::string Shown = User.takeUntil("|");
    User.press(static_cast<Terminal::Key>(21)); // ^U
    return Shown.substr(Shown.find(Text));
  }

  TempDir Home;
  Terminal User{Home.path()};
};

TEST_F(DebuggerPromptTest, CompletesWhatCommandsWorkOn) {
  const std::pair<const char *, const char *> Rows[] = {
      {"break makep", "break makepoint"},
      {"break typ", "break types.c:"},
      {"until fac", "until fact"},
      {"p tota", "p total"}, // of the selected frame
      {"p/x &m.corn", "p/x &m.corners"},
      {"p list->val", "p list->value"},
      {"p m.corners[1].", "p m.corners[1].\nCompletions:\n\tm.corners[1].x\n\tm.corners[1].y\n"
                          "orvy> p m.corners[1]."},
      {"p $np", "p $npc"},
      {"p @board-cp", "p @board-cpu0."},
      {"watch count", "watch counter"},
      {"delete ", "delete \nCompletions:\n\tall=\n\t1\norvy> delete "},
      {"memory-read addr=mai", "memory-read addr=main"},
  };
  for (const auto &[Typed, Expected] : Rows)
    EXPECT_EQ(completed(Typed), Expected);
}

TEST_F(DebuggerPromptTest, ControlCEndsALongListingAndTheScriptsAroundIt) {
  std::ofstream(Home.path() + "/inner.orvy") << "code main count=100000\necho inner goes on\n";
  std::ofstream(Home.path() + "/outer.orvy") << "exec inner.orvy\necho outer goes on\n";
  User.enter("exec outer.orvy");
  User.expect("main+4>");
  User.press(Terminal::CtrlC);
  const std::string Shown = User.takeUntil(Prompt);
  EXPECT_EQ(Shown.find("goes on"), Shown.npos);
  EXPECT_LT(Shown.size(), 4000000u); // of 6.5 million characters
  User.enter("p 1 + 1");
  User.expect("1 + 1 = 2");
}

} // namespace
