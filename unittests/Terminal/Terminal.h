// Terminal.h - a terminal with the front end on it, driven as a user would.

#ifndef ORVY_UNITTESTS_TERMINAL_H
#define ORVY_UNITTESTS_TERMINAL_H

#include "Testing/TempDir.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace orvy::testing {

/// A wait that takes too long ends the test with an exception that shows what came.
class Terminal {
public:
  enum Key : char { CtrlC = 3, CtrlD = 4, Tab = 9, Enter = 10, CtrlP = 16 };

  using Variables = std::vector<std::pair<const char *, const char *>>;

  /// Starts the front end in a directory, which is its home as well.
  explicit Terminal(const std::string &Dir, std::vector<const char *> Arguments = {},
                    const Variables &Environment = {});
  ~Terminal();
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;

  void type(std::string_view Text);
  void press(Key Which);
  /// Gives the window another width.
  void resize(unsigned short Columns);
  /// Types a line and Enter.
  void enter(std::string_view Line);
  /// Waits for a text, without the escape sequences and carriage returns of the terminal, and
  /// passes over all up to its end.
  void expect(std::string_view Text);
  /// Presses a key until a text appears, for a program that may not be ready for it.
  void pressUntil(Key Which, std::string_view Text);
  /// What came since the last expect, up to the text that is waited for.
  std::string takeUntil(std::string_view Text);
  /// Ends the input, again until the front end takes it, and waits as waitForExit does.
  int leave();
  /// Waits for the front end to end. Its exit status, or minus the signal.
  int waitForExit();

private:
  bool find(std::string_view Text, int Milliseconds);
  bool receive(int Milliseconds);
  [[noreturn]] void fail(std::string_view Text);

  int Master = -1;
  pid_t Child = -1;
  std::string Raw;    // the start of an escape sequence that is not complete
  std::string Unread; // what came and was not passed over
  std::string Passed; // by the last look
  bool Closed = false;
};

/// A directory for a front end, and the prompt.
class PromptFixture : public ::testing::Test {
protected:
  static constexpr const char *Prompt = "orvy> ";

  /// What the front end says to a line, up to the next prompt.
  static std::string answerTo(Terminal &User, std::string_view Line) {
    User.enter(Line);
    return User.takeUntil(Prompt);
  }

  TempDir Home;
};

} // namespace orvy::testing

#endif
