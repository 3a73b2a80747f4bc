#include "Terminal.h"

#include <gmock/gmock.h>

using namespace orvy::testing;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char *More = "line reader expects more\n... ";

/// The prompt for expressions.
class ExpressionPromptTest : public PromptFixture {
protected:
  ExpressionPromptTest() { User.expect(Prompt); }

  std::string answerTo(std::string_view Line) { return PromptFixture::answerTo(User, Line); }

  Terminal User{Home.path(), {}, {{"ORVY_NEW_CLI_PARSER", ""}}};
};

TEST_F(ExpressionPromptTest, WritesValues) {
  const std::pair<const char *, const char *> Cases[] = {
      {"1 + 2 * 3", "result: 7\n"},
      {"1 + 2.5", "\nlinefeed\nnext token = 256\nInteger: 1\nlexing float\nReal: 2.50\n"
                  "return exprs 1\nvisit bin op: +\nvisit literal: 1\nvisit literal: 2.50\n"
                  "result: 3.50\n"},
      {"1 < 2", "result: 1\n"},
      {"hex(255)", "visit func call\nvisit literal: 255\nresult: 0xff\n"},
      {"(1 < 2) + 1", "result: void\n"},
      {"5", "other expression list\nno result\n"},
      {"run obj=sim", "command invocation\nno result\n"},
      {"a = 1", "var assignment\nno result\n"},
      {"if 1 { hex(1) }", "visit literal: 1\nno result\n"},
      {"1 +", "Bad token '59'.\neof...\n2: error: Expected expression in command.\nno ast\n"},
      {"", "linefeed\n2: error: Expected expression in command.\nno ast\n"},
      {"if 1", "parsed if header\nno ast\n"},
  };
  for (const auto &[Line, Answer] : Cases)
    EXPECT_THAT(answerTo(Line), EndsWith(Answer)) << Line;
  EXPECT_EQ(User.leave(), 0);
}

TEST_F(ExpressionPromptTest, AsksForMoreWhileSomethingIsUnfinished) {
  User.enter("1 + \\");
  EXPECT_THAT(User.takeUntil(More), EndsWith("\nlinefeed\nescaped\n"));
  EXPECT_THAT(answerTo("2"), EndsWith("result: 3\n"));

  User.enter("'one");
  User.expect(More);
  EXPECT_THAT(answerTo("two'"), EndsWith("String: 'one\ntwo'\nreturn exprs 1\n"
                                         "other expression list\nno result\n"));

  User.enter("if 1 {");
  User.expect(More);
  User.enter("if 2 { hex('a");
  User.expect(More);
  User.enter("b') }");
  User.expect(More);
  User.enter("} else {");
  User.expect(More);
  EXPECT_THAT(answerTo("}"), EndsWith("visit literal: 1\nno result\n"));
}

TEST_F(ExpressionPromptTest, DropsWhatIsUnfinishedOnControlC) {
  User.enter("if 1 {");
  User.expect(More);
  User.press(Terminal::CtrlC);
  User.expect(Prompt);
  EXPECT_THAT(answerTo("3 * 4"), EndsWith("result: 12\n"));
  User.enter("'open");
  User.expect(More);
  EXPECT_EQ(User.leave(), 0);
}

TEST_F(ExpressionPromptTest, KeepsNoHistory) {
  answerTo("1 + 1");
  User.press(Terminal::CtrlP);
  EXPECT_THAT(answerTo("2 + 2"), EndsWith("result: 4\n"));
  EXPECT_EQ(User.leave(), 0);
}

TEST(ExpressionPrompt, DoesNotApplyToScripts) {
  const TempDir Home;
  Home.file("a.orvy", "x=1+2\nvar-print var=x\n");
  Terminal User(Home.path(), {"a.orvy"}, {{"ORVY_NEW_CLI_PARSER", "1"}});
  User.expect("x=1+2\n");
  EXPECT_EQ(User.waitForExit(), 0);
}

} // namespace
