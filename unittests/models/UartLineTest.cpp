// The Uart joined to the host: what is typed reaches the program, and its answers come back.

#include "models/Board.h"

#include "Testing/LogCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using namespace orvy::testing;

namespace {

/// A board whose program answers each byte with the next one.
class UartLine : public ::testing::Test {
protected:
  UartLine() {
    B.assemble(0, Board::RamBase,
               {"sethi %hi(0x80000000), %g1", "or %g0, 3, %g4", "st %g4, [%g1 + 0x108]",
                "ld [%g1 + 0x104], %g2", "andcc %g2, 1, %g0", "be .-0x8", "nop",
                "ld [%g1 + 0x100], %g3", "add %g3, 1, %g3", "st %g3, [%g1 + 0x100]", "ba .-0x1c",
                "nop"});
  }

  void join(const std::string &Line) {
    orvy_Propval Value{ovTY_String, {}};
    Value.String = Line.c_str();
    orvy_writeValue(B.Uart, "config.line", Value, -1);
  }
  std::string farEnd() { return orvy_getValue(B.Uart, "line", -1).String; }

  /// Runs until something is so; gives up after a time no machine needs.
  template <typename Condition> bool runUntil(Condition IsSo) {
    auto End = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!IsSo()) {
      if (std::chrono::steady_clock::now() > End)
        return false;
      orvy_simRunNanos(200000);
    }
    return true;
  }

  LogCapture Log;
  Board B;
};

/// What a user of the host has open at the other end.
struct User {
  explicit User(const std::string &Path)
      : Fd(open(Path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    EXPECT_GE(Fd, 0) << Path;
  }
  ~User() { close(Fd); }
  User(const User &) = delete;
  User &operator=(const User &) = delete;

  void type(const std::string &Text) {
    EXPECT_EQ(write(Fd, Text.data(), Text.size()), static_cast<ssize_t>(Text.size()));
  }
  const std::string &screen() {
    char Text[256];
    for (ssize_t Count; (Count = read(Fd, Text, sizeof(Text))) > 0;)
      Seen.append(Text, static_cast<size_t>(Count));
    return Seen;
  }

  int Fd;
  std::string Seen;
};

TEST_F(UartLine, TypingAtAPseudoTerminalReachesTheProgram) {
  join("pty");
  ASSERT_EQ(farEnd().rfind("/dev/", 0), 0u);
  {
    User U(farEnd());
    U.type("HAL");
    EXPECT_TRUE(runUntil([&] { return U.screen() == "IBM"; })) << U.screen();
    const std::string Bytes("\0\3\4\n\r\xFE", 6); // nothing is special
    U.type(Bytes);
    EXPECT_TRUE(runUntil([&] { return U.screen().size() == 9; }));
    EXPECT_EQ(U.Seen.substr(3), std::string("\1\4\5\v\16\xFF", 6));
  }
  User Next(farEnd()); // who comes back finds the line as it was
  Next.type("a");
  EXPECT_TRUE(runUntil([&] { return Next.screen() == "b"; }));
}

TEST_F(UartLine, MoreThanTheProgramTakesWaitsOnTheHost) {
  std::string Path = ::testing::TempDir() + "uart-line-" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(Path.c_str(), 0600), 0);
  join(Path);
  std::string Sent;
  {
    User U(Path);
    for (int Index = 0; Index < 20000; ++Index)
      Sent.push_back(static_cast<char>('a' + Index % 25));
    U.type(Sent);
  }
  EXPECT_TRUE(runUntil([&] { return B.output().size() >= Sent.size(); }));
  for (char &C : Sent)
    ++C;
  EXPECT_EQ(B.output(), Sent);
  unlink(Path.c_str());
}

TEST_F(UartLine, AByteThatComesRaisesTheInterrupt) {
  B.assemble(0, Board::RamBase, {"wr %g0, %g0, %asr19", "ba .-0x4", "nop"});
  orvy_sparcSetPsr(B.Cpus[0], 0x80); // traps off: interrupts wait
  orvy_memoryWritePhys32(B.Space, Board::UartBase + 8, 5);
  join("pty");
  User U(farEnd());
  U.type("!");
  EXPECT_TRUE(runUntil([&] {
    uint32_t Pending = 0;
    orvy_memoryReadPhys32(B.Space, Board::IrqBase + 4, &Pending);
    return Pending == 1u << 3;
  }));
}

TEST_F(UartLine, SaysWhatCannotBeJoined) {
  join("/no/such/line");
  EXPECT_EQ(Log.count("cannot open the line '/no/such/line': No such file or directory"), 1);
  join("/dev/null");
  EXPECT_EQ(Log.count("cannot open the line '/dev/null': neither a terminal nor a pipe"), 1);
  EXPECT_EQ(farEnd(), "");
  join("pty");
  EXPECT_NE(farEnd(), "");
  join("");
  EXPECT_EQ(farEnd(), "");
}

TEST_F(UartLine, TheProcessorMayBeDisposedFirst) {
  join("pty");
  User U(farEnd());
  U.type("x");
  orvy_disposeObject(B.Cpus[0]);
}

} // namespace
