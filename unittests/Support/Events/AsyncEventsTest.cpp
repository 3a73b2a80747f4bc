#include "orvy/Support/AsyncEvents.h"

#include "Testing/LogCapture.h"
#include "Testing/ScriptedCpu.h"
#include "Testing/Seed.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <random>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace orvy::testing;

namespace {

/// A pipe; what is written to it can be read.
struct Pipe {
  Pipe() { EXPECT_EQ(pipe2(Ends, O_CLOEXEC | O_NONBLOCK), 0); }
  ~Pipe() {
    closeEnd(0);
    closeEnd(1);
  }
  Pipe(const Pipe &) = delete;
  Pipe &operator=(const Pipe &) = delete;

  int in() const { return Ends[0]; }
  int out() const { return Ends[1]; }
  void put(char C = 'x') { EXPECT_EQ(write(Ends[1], &C, 1), 1); }
  int take() {
    char Text[64];
    return static_cast<int>(read(Ends[0], Text, sizeof(Text)));
  }
  void closeEnd(int End) {
    if (Ends[End] >= 0)
      close(Ends[End]);
    Ends[End] = -1;
  }

  int Ends[2];
};

/// A model's function: counts its calls and acts.
struct Listener {
  std::function<void()> Action;
  std::atomic<int> Calls{0};

  static void call(void *Arg) {
    auto *L = static_cast<Listener *>(Arg);
    ++L->Calls;
    if (L->Action)
      L->Action();
  }
};

/// Waits until the background thread has seen all that was ready up to now.
void settle() {
  orvy_asyncSocketRemove(-1, 0);
}

class AsyncEvents : public ::testing::Test {
protected:
  ~AsyncEvents() override { orvy_objsysClear(); }

  /// The next trigger of the processor.
  void trigger() { orvy_eventTrigger(Cpu->Queue, Cpu->Cycles); }

  /// Triggers until something is so; gives up after a time no machine needs.
  template <typename Condition> bool triggerUntil(Condition IsSo) {
    auto End = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!IsSo()) {
      if (std::chrono::steady_clock::now() > End)
        return false;
      trigger();
      std::this_thread::yield();
    }
    return true;
  }
  /// What comes to be called in the time that the background thread takes for what is ready.
  int callsNow(Listener &L) {
    int Before = L.Calls;
    for (int Round = 0; Round < 3; ++Round) {
      settle();
      trigger();
    }
    return L.Calls - Before;
  }

  void add(int Fd, Listener &L, uint32_t Flags = ovAS_Read) {
    EXPECT_EQ(orvy_asyncSocketAdd(Cpu, Fd, Flags, Listener::call, &L), Fd);
  }
  int addTimer(double Seconds, Listener &L, uint32_t Flags = 0) {
    return orvy_asyncTimerAdd(Cpu, Seconds, Flags, Listener::call, &L);
  }

  LogCapture Log;
  ScriptedCpu *Cpu = ScriptedCpu::make("cpu", 1000000);
};

bool isOpen(int Fd) {
  return fcntl(Fd, F_GETFD) >= 0;
}

TEST_F(AsyncEvents, ATimerFiresOnceAndIsGone) {
  Listener L;
  const auto Start = std::chrono::steady_clock::now();
  int Timer = addTimer(0.02, L);
  ASSERT_TRUE(isOpen(Timer));
  EXPECT_TRUE(triggerUntil([&] { return L.Calls == 1; }));
  EXPECT_GE(std::chrono::steady_clock::now() - Start, std::chrono::milliseconds(20));
  EXPECT_FALSE(isOpen(Timer));
  orvy_asyncTimerRemove(Timer);
  EXPECT_EQ(callsNow(L), 0);
}

TEST_F(AsyncEvents, ATimerThatRepeatsFiresOncePerTriggerHoweverLate) {
  Listener L;
  int Timer = addTimer(0.001, L, ovAS_Repeat);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  settle();
  trigger();
  EXPECT_EQ(L.Calls, 1);
  EXPECT_TRUE(triggerUntil([&] { return L.Calls == 5; }));
  orvy_asyncTimerRemove(Timer);
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(callsNow(L), 0);
  EXPECT_TRUE(isOpen(Timer)); // the caller's
  close(Timer);
}

TEST_F(AsyncEvents, TimersOfNoTimeNeverExpire) {
  Listener L;
  testing::internal::CaptureStderr();
  int Timers[] = {addTimer(0, L), addTimer(-1, L), addTimer(std::nan(""), L), addTimer(INFINITY, L),
                  addTimer(1e-12, L)};
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(callsNow(L), 0);
  for (int Timer : Timers) {
    orvy_asyncTimerRemove(Timer);
    close(Timer);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "timerfd_settime: Invalid argument\ntimerfd_settime: Invalid argument\n");
}

TEST_F(AsyncEvents, AReadablePipeIsReportedOncePerTriggerUntilItIsEmpty) {
  Pipe P;
  Listener L;
  add(P.in(), L);
  EXPECT_EQ(callsNow(L), 0);
  P.put();
  settle();
  settle();
  trigger();
  EXPECT_EQ(L.Calls, 1);
  EXPECT_EQ(callsNow(L), 3); // still readable
  P.take();
  callsNow(L); // what was under way
  EXPECT_EQ(callsNow(L), 0);
  P.put();
  EXPECT_TRUE(triggerUntil([&, Before = L.Calls.load()] { return L.Calls > Before; }));
  orvy_asyncSocketRemove(P.in(), ovAS_Read);
}

TEST_F(AsyncEvents, BothDirectionsOfASocketTakeTwoDescriptors) {
  int Ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, Ends), 0);
  int Copy = dup(Ends[0]);
  Listener In;
  Listener Out;
  In.Action = [&] {
    char C;
    EXPECT_EQ(read(Ends[0], &C, 1), 1);
  };
  Out.Action = [&] { orvy_asyncSocketRemove(Copy, ovAS_Write); };
  add(Ends[0], In);
  add(Copy, Out, ovAS_Write);
  EXPECT_TRUE(triggerUntil([&] { return Out.Calls == 1; }));
  EXPECT_EQ(In.Calls, 0);
  EXPECT_EQ(write(Ends[1], "x", 1), 1);
  EXPECT_TRUE(triggerUntil([&] { return In.Calls == 1; }));
  EXPECT_EQ(Out.Calls, 1);
  orvy_asyncSocketRemove(Ends[0], ovAS_Read);
  for (int Fd : {Ends[0], Ends[1], Copy})
    close(Fd);
}

TEST_F(AsyncEvents, AnErrorAloneIsNotReported) {
  Pipe P;
  Listener L;
  add(P.in(), L);
  P.closeEnd(1);
  EXPECT_EQ(callsNow(L), 0);
  orvy_asyncSocketRemove(P.in(), ovAS_Read);
}

TEST_F(AsyncEvents, OnlyTheSameFlagsRemove) {
  Pipe P;
  Listener L;
  L.Action = [&] { P.take(); };
  add(P.in(), L);
  orvy_asyncSocketRemove(P.in(), ovAS_Read | ovAS_Write);
  orvy_asyncTimerRemove(P.in());
  P.put();
  EXPECT_TRUE(triggerUntil([&] { return L.Calls == 1; }));
  orvy_asyncSocketRemove(P.in(), ovAS_Read);
  P.put();
  EXPECT_EQ(callsNow(L), 0);
}

TEST_F(AsyncEvents, WhatIsRemovedWhileItWaitsInTheQueueDoesNotRun) {
  Pipe P;
  Listener L;
  add(P.in(), L);
  int Timer = addTimer(0.0001, L);
  P.put();
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  settle();
  orvy_asyncSocketRemove(P.in(), ovAS_Read);
  orvy_asyncTimerRemove(Timer);
  trigger();
  EXPECT_EQ(L.Calls, 0);
  close(Timer);
}

TEST_F(AsyncEvents, ACallbackMayRemoveItselfAndOthers) {
  Pipe First;
  Pipe Second;
  Pipe Third;
  Listener L1;
  Listener L2;
  Listener L3;
  Listener Tick;
  int Timer = addTimer(0.0001, Tick, ovAS_Repeat);
  Tick.Action = [&] {
    orvy_asyncTimerRemove(Timer);
    close(Timer);
  };
  L1.Action = [&] {
    orvy_asyncSocketRemove(Second.in(), ovAS_Read);
    orvy_asyncSocketRemove(First.in(), ovAS_Read);
    Third.take();
    add(First.in(), L3); // the same descriptor, anew
  };
  for (auto [P, L] : {std::pair(&First, &L1), std::pair(&Second, &L2)}) {
    add(P->in(), *L);
    P->put();
  }
  settle();
  EXPECT_TRUE(triggerUntil([&] { return L1.Calls == 1; }));
  EXPECT_EQ(L2.Calls, 0); // it was queued after the first one
  EXPECT_TRUE(triggerUntil([&] { return L3.Calls > 0 && Tick.Calls == 1; }));
  orvy_asyncSocketRemove(First.in(), ovAS_Read);
  EXPECT_EQ(callsNow(Tick) + callsNow(L1) + callsNow(L2), 0);
}

TEST_F(AsyncEvents, ARemovalOnAnotherThreadWaitsForACallInProgress) {
  Pipe P;
  Listener L;
  std::atomic<bool> IsRunning{false};
  std::atomic<bool> IsRemoved{false};
  L.Action = [&] {
    EXPECT_FALSE(IsRemoved);
    IsRunning = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    settle(); // the background thread serves us all the same
    EXPECT_FALSE(IsRemoved);
  };
  add(P.in(), L);
  P.put();
  std::thread Remover([&] {
    while (!IsRunning)
      std::this_thread::yield();
    orvy_asyncSocketRemove(P.in(), ovAS_Read);
    IsRemoved = true;
  });
  EXPECT_TRUE(triggerUntil([&] { return IsRemoved.load(); }));
  Remover.join();
  EXPECT_EQ(callsNow(L), 0);
}

TEST_F(AsyncEvents, ThreadsAddAndRemoveAtTheSameTimeAndNoReportIsLost) {
  constexpr int Threads = 4;
  constexpr int Rounds = 100;
  std::atomic<int> Left{Threads};
  std::atomic<int> Missed{0};
  auto Work = [&](uint32_t Seed) {
    std::mt19937 Random(Seed);
    for (int Round = 0; Round < Rounds; ++Round) {
      Pipe P;
      Listener L;
      bool RemovesItself = Random() % 2;
      L.Action = [&] {
        P.take();
        if (RemovesItself)
          orvy_asyncSocketRemove(P.in(), ovAS_Read);
      };
      if (Random() % 2)
        P.put(), add(P.in(), L);
      else
        add(P.in(), L), P.put();
      auto End = std::chrono::steady_clock::now() + std::chrono::seconds(60);
      while (L.Calls == 0 && std::chrono::steady_clock::now() < End)
        std::this_thread::yield();
      Missed += L.Calls == 0;
      std::thread Other([&] { orvy_asyncSocketRemove(P.in(), ovAS_Read); });
      orvy_asyncSocketRemove(P.in(), ovAS_Read);
      Other.join();
      int Calls = L.Calls;
      P.put();
      if (Random() % 8 == 0)
        std::this_thread::sleep_for(std::chrono::microseconds(200));
      Missed += L.Calls != Calls;
    }
    --Left;
  };
  std::vector<std::thread> All;
  for (int Index = 0; Index < Threads; ++Index)
    All.emplace_back(Work, testSeed() + static_cast<uint32_t>(Index));
  EXPECT_TRUE(triggerUntil([&] { return Left == 0; }));
  for (std::thread &T : All)
    T.join();
  EXPECT_EQ(Missed, 0);
}

TEST_F(AsyncEvents, DescriptorsClosedUnderUsDoNoHarm) {
  Listener Old;
  Listener New;
  auto P = std::make_unique<Pipe>();
  int Fd = P->in();
  add(Fd, Old);
  P->put();
  settle();
  P.reset(); // the callback is queued
  trigger();
  EXPECT_EQ(Old.Calls, 1);

  Pipe Next; // the number again, while the old entry is there
  ASSERT_EQ(Next.in(), Fd);
  New.Action = [&] { Next.take(); };
  add(Fd, New);
  Next.put();
  EXPECT_TRUE(triggerUntil([&] { return New.Calls == 1; }));
  orvy_asyncSocketRemove(Fd, ovAS_Read); // the new one goes first
  Next.put();
  EXPECT_EQ(callsNow(New) + callsNow(Old), 0);
  orvy_asyncSocketRemove(Fd, ovAS_Read); // then the one that has lost its file
  EXPECT_EQ(callsNow(New) + callsNow(Old), 0);
}

TEST_F(AsyncEvents, AClosedDescriptorWhoseFileLivesOnInACopyDoesNoHarm) {
  Listener L;
  Pipe P;
  int Copy = dup(P.in());
  add(P.in(), L);
  P.closeEnd(0);
  orvy_asyncSocketRemove(P.in(), ovAS_Read);
  P.put(); // still watched by the system, for an entry of a descriptor that is closed
  callsNow(L);
  EXPECT_LE(L.Calls, 1);
  close(Copy);
}

TEST_F(AsyncEvents, EndWithTheirHolder) {
  Pipe P;
  Listener L;
  add(P.in(), L);
  int Timer = addTimer(0.0001, L, ovAS_Repeat);
  P.put();
  settle();
  orvy_disposeObject(Cpu);
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  orvy_asyncTimerRemove(Timer);
  EXPECT_EQ(L.Calls, 0);
  close(Timer);
}

TEST_F(AsyncEvents, CostNothingWhileNothingHappens) {
  std::vector<std::unique_ptr<Pipe>> Pipes;
  Listener L;
  for (int Index = 0; Index < 100; ++Index) {
    Pipes.push_back(std::make_unique<Pipe>());
    add(Pipes.back()->in(), L);
    if (Index % 2)
      Pipes.back()->put(); // readable, and nobody triggers
  }
  settle();
  auto Used = [] {
    timespec Time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &Time);
    return Time.tv_sec * 1000000 + Time.tv_nsec / 1000;
  };
  auto Before = Used();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_LT(Used() - Before, 10000) << "microseconds of processor time";
  for (auto &P : Pipes)
    P->put();
  EXPECT_TRUE(triggerUntil([&] { return L.Calls >= int(Pipes.size()); }));
  for (auto &P : Pipes)
    P->put();
  EXPECT_TRUE(triggerUntil([&] { return L.Calls >= int(Pipes.size()); }));
  for (auto &P : Pipes)
    orvy_asyncSocketRemove(P->in(), ovAS_Read);
}

TEST_F(AsyncEvents, SayWhatCannotBeWaitedOn) {
  Pipe P;
  Listener L;
  testing::internal::CaptureStderr();
  EXPECT_EQ(orvy_asyncSocketAdd(Cpu, -1, ovAS_Read, Listener::call, &L), -1);
  add(P.in(), L);
  add(P.in(), L); // a second time
  int Plain = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  add(Plain, L);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "epoll_ctl: Bad file descriptor\n"
                                                    "epoll_ctl: File exists\n"
                                                    "epoll_ctl: Operation not permitted\n");
  orvy_asyncSocketRemove(Plain, ovAS_Read);
  orvy_asyncSocketRemove(P.in(), ovAS_Read);
  close(Plain);
}

/// Leaves entries of every kind, with callbacks queued.
void exitWithEntries(void *Holder, int Fd) {
  orvy_asyncSocketAdd(Holder, Fd, ovAS_Read, nullptr, nullptr);
  orvy_asyncTimerAdd(Holder, 0.0001, ovAS_Repeat, nullptr, nullptr);
  orvy_asyncTimerAdd(Holder, 1000, 0, nullptr, nullptr);
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  settle();
  std::exit(7);
}

TEST_F(AsyncEvents, AProcessMayExitWithEntriesLeft) {
  GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process of its own, with the thread
  Pipe P;
  P.put();
  EXPECT_EXIT(exitWithEntries(Cpu, P.in()), testing::ExitedWithCode(7), "^$");
}

// The thread sanitizer ends a child that starts a thread.
void startAndJoinThread() {
#ifndef __SANITIZE_THREAD__
  std::thread([] {}).join();
#endif
}

TEST_F(AsyncEvents, AForkedChildLeavesItsParentAlone) {
  Pipe P;
  Listener L;
  L.Action = [&] { P.take(); };
  add(P.in(), L);
  GTEST_FLAG_SET(death_test_style, "fast");
  EXPECT_EXIT(
      {
        alarm(20);
        orvy_asyncSocketRemove(P.in(), ovAS_Read);
        EXPECT_EQ(orvy_asyncTimerAdd(Cpu, 1, 0, nullptr, nullptr), -1);
        startAndJoinThread(); // in the place that the parent's thread has left
        std::exit(7);
      },
      testing::ExitedWithCode(7), "");
  P.put();
  EXPECT_TRUE(triggerUntil([&] { return L.Calls == 1; }));
  orvy_asyncSocketRemove(P.in(), ovAS_Read);
}

} // namespace
