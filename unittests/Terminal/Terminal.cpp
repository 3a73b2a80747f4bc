#include "Terminal.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

using namespace orvy::testing;
using Clock = std::chrono::steady_clock;

static constexpr int Patience = 60000; // milliseconds; sanitizers and a busy machine are slow

[[noreturn]] static void runFrontEnd(const std::string &Dir, std::vector<const char *> Arguments,
                                     const Terminal::Variables &Environment) {
  if (chdir(Dir.c_str()) == 0) {
    setenv("HOME", Dir.c_str(), 1);
    setenv("TERM", "xterm", 1);
    setenv("LC_ALL", "C", 1);
    unsetenv("ORVY_NEW_CLI_PARSER");
    unsetenv("ORVY_LOG_STDERR");
    for (const auto &[Name, Value] : Environment)
      setenv(Name, Value, 1);
    Arguments.insert(Arguments.begin(), ORVY_BUILD_ROOT "/bin/orvy");
    Arguments.push_back(nullptr);
    execv(Arguments[0], const_cast<char **>(Arguments.data()));
  }
  _exit(127);
}

Terminal::Terminal(const std::string &Dir, std::vector<const char *> Arguments,
                   const Variables &Environment) {
  winsize Size = {50, 200, 0, 0};
  Child = forkpty(&Master, nullptr, nullptr, &Size);
  if (Child == 0)
    runFrontEnd(Dir, std::move(Arguments), Environment);
  fcntl(Master, F_SETFL, fcntl(Master, F_GETFL) | O_NONBLOCK);
}

Terminal::~Terminal() {
  if (Child > 0) {
    kill(Child, SIGKILL);
    waitpid(Child, nullptr, 0);
  }
  close(Master);
}

// Takes what comes meanwhile: while nobody reads its echo, the program reads no more either.
void Terminal::type(std::string_view Text) {
  const auto Deadline = Clock::now() + std::chrono::milliseconds(Patience);
  while (!Text.empty()) {
    const ssize_t Written = write(Master, Text.data(), Text.size());
    if ((Written <= 0 && errno != EAGAIN) || Closed || Clock::now() > Deadline)
      fail("somebody who reads");
    if (Written > 0)
      Text.remove_prefix(static_cast<size_t>(Written));
    else
      receive(10);
  }
}

void Terminal::resize(unsigned short Columns) {
  winsize Size = {50, Columns, 0, 0};
  ioctl(Master, TIOCSWINSZ, &Size);
}

void Terminal::press(Key Which) {
  const char Character = Which;
  type({&Character, 1});
}

void Terminal::enter(std::string_view Line) {
  type(Line);
  press(Enter);
}

// Appends what is text of the terminal's output; an escape sequence ends at its letter.
static void takePlain(std::string &Raw, std::string &Plain) {
  size_t Next = 0;
  while (Next < Raw.size()) {
    if (Raw[Next] != '\033') {
      if (Raw[Next] != '\r' && Raw[Next] != '\0')
        Plain += Raw[Next];
      ++Next;
      continue;
    }
    const size_t End = Raw.find_first_of("@ABCDEFGHIJKLMPXZ`abcdfghlmnpqrstu=>", Next + 1);
    if (End == Raw.npos)
      break;
    Next = End + 1;
  }
  Raw.erase(0, Next);
}

bool Terminal::receive(int Milliseconds) {
  pollfd Ready = {Master, POLLIN, 0};
  if (Closed || poll(&Ready, 1, Milliseconds) <= 0)
    return false;
  char Buffer[4096];
  const ssize_t Length = read(Master, Buffer, sizeof Buffer);
  Closed = Length <= 0; // nobody has the terminal open any more
  if (Closed)
    return false;
  Raw.append(Buffer, static_cast<size_t>(Length));
  takePlain(Raw, Unread);
  return true;
}

bool Terminal::find(std::string_view Text, int Milliseconds) {
  const auto Deadline = Clock::now() + std::chrono::milliseconds(Milliseconds);
  size_t At;
  while ((At = Unread.find(Text)) == Unread.npos) {
    const auto Left = std::chrono::ceil<std::chrono::milliseconds>(Deadline - Clock::now());
    if (Left.count() <= 0 || !receive(static_cast<int>(Left.count())))
      return false;
  }
  Passed = Unread.substr(0, At);
  Unread.erase(0, At + Text.size());
  return true;
}

void Terminal::fail(std::string_view Text) {
  throw std::runtime_error("waited for '" + std::string(Text) + "', got '" + Unread + "'");
}

void Terminal::expect(std::string_view Text) {
  if (!find(Text, Patience))
    fail(Text);
}

std::string Terminal::takeUntil(std::string_view Text) {
  expect(Text);
  return Passed;
}

void Terminal::pressUntil(Key Which, std::string_view Text) {
  const auto Deadline = Clock::now() + std::chrono::milliseconds(Patience);
  do {
    press(Which);
    if (find(Text, 100))
      return;
  } while (Clock::now() < Deadline && !Closed);
  fail(Text);
}

int Terminal::leave() {
  const auto Deadline = Clock::now() + std::chrono::milliseconds(Patience);
  do {
    const char EndOfInput = CtrlD;
    if (write(Master, &EndOfInput, 1) < 0 && errno != EAGAIN)
      break;
    receive(100);
  } while (!Closed && Clock::now() < Deadline);
  return waitForExit();
}

int Terminal::waitForExit() {
  const auto Deadline = Clock::now() + std::chrono::milliseconds(Patience);
  while (!Closed && Clock::now() < Deadline)
    receive(1000);
  if (!Closed)
    fail("the end");
  int Status = 0;
  waitpid(Child, &Status, 0);
  Child = -1;
  return WIFEXITED(Status) ? WEXITSTATUS(Status) : -WTERMSIG(Status);
}
