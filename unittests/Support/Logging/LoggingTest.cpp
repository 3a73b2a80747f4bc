#include "orvy/Support/Logging.h"

#include "Logging/LogHeader.h"
#include "Logging/LoggingEngine.h"
#include "Testing/LogCapture.h"
#include "Testing/Seed.h"
#include "Testing/TempDir.h"
#include "orvy/Support/Diagnostics.h"
#include "orvy/Support/Orvy.h"

#include <cmath>
#include <cstdlib>
#include <gmock/gmock.h>
#include <random>
#include <thread>

using namespace orvy;
using orvy::testing::Environment;
using orvy::testing::LogCapture;
using orvy::testing::TempDir;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

void *allocateObject(const char *, int, const orvy_CreateArg *) {
  return calloc(1, sizeof(orvy_Object));
}

// What goes wrong while an object is made and when it is disposed, told by the object itself.
void *complainWhileMade(const char *, int, const orvy_CreateArg *) {
  void *Obj = calloc(1, sizeof(orvy_Object));
  orvy_logWarning(Obj, "being made");
  return Obj;
}
void complainWhileDisposed(void *Obj) {
  orvy_logWarning(Obj, "going");
  free(Obj);
}

class Logging : public ::testing::Test {
protected:
  Logging() { Device = orvy_registerClass("Device", allocateObject, free); }
  ~Logging() override { orvy_objsysClear(); }

  void *makeDevice(const char *Name) { return orvy_createObject("Device", Name, nullptr); }

  orvy_Class *Device;
  LogCapture Log;
};

struct NamedFunction {
  void (*Log)(const void *, const char *, ...);
  const char *Line;
};

TEST_F(Logging, EveryFunctionHasItsCategoryAndLevel) {
  const NamedFunction Functions[] = {
      {orvy_logError, ":error:: 7"},
      {orvy_logWarning, ":warning:: 7"},
      {orvy_logInfo, ":info:: 7"},
      {orvy_logDebugFunc, ":debug:: 7"},
      {orvy_logSimError, ":sim/error:: 7"},
      {orvy_logSimWarning, ":sim/warning:: 7"},
      {orvy_logSimInfo, ":sim/info:: 7"},
      {orvy_logTargetError, ":target/error:: 7"},
      {orvy_logTargetWarning, ":target/warning:: 7"},
      {orvy_logTargetInfo, ":target/info:: 7"},
      {orvy_logConfigError, ":config/error:: 7"},
      {orvy_logConfigWarning, ":config/warning:: 7"},
      {orvy_logConfigInfo, ":config/info:: 7"},
  };
  for (const NamedFunction &Function : Functions) {
    Function.Log(nullptr, "%d", 7);
    EXPECT_THAT(Log.take(), ElementsAre(Function.Line));
  }
}

TEST_F(Logging, EveryFatalFunctionTellsAndAborts) {
  orvy_logSetFunc(nullptr);
  orvy_logSetColour(0);
  orvy_logSetLevel(ovLOG_Fatal);
  const NamedFunction Functions[] = {
      {orvy_logFatal, "^:fatal:: end 7\n"},
      {orvy_logCritical, "^:fatal:: end 7\n"},
      {orvy_logSimFatal, "^:sim/fatal:: end 7\n"},
      {orvy_logTargetFatal, "^:target/fatal:: end 7\n"},
      {orvy_logConfigFatal, "^:config/fatal:: end 7\n"},
  };
  for (const NamedFunction &Function : Functions)
    EXPECT_EXIT(Function.Log(nullptr, "end %d", 7), ::testing::KilledBySignal(SIGABRT),
                Function.Line);
}

TEST_F(Logging, AFatalMessageReachesAFileBeforeTheAbort) {
  TempDir Dir;
  const std::string Path = Dir.path("log");
  EXPECT_EXIT(
      {
        orvy_logSetDefaultFile(fopen(Path.c_str(), "w"));
        orvy_logFatal(nullptr, "the end");
      },
      ::testing::KilledBySignal(SIGABRT), "");
  std::string Text;
  std::getline(std::ifstream(Path), Text);
  EXPECT_EQ(Text, ":fatal:: the end");
}

TEST_F(Logging, NamesTheSourceAndItsClassesCategories) {
  void *Uart = makeDevice("uart0");
  orvy_addLoggingCategory(Device, 9, "fifo");
  orvy_logError(Uart, "text");
  orvy_logSimWarning(Uart, "text");
  orvy_logToCategory(Uart, 9, ovLOG_Info, "%s", "text");
  orvy_logToCategory(Uart, 10, ovLOG_Info, "unnamed");
  orvy_logToCategory(nullptr, 9, ovLOG_Info, "no class");
  orvy_logToCategory(Uart, 5, ovLOG_Info, "unused");
  orvy_logToCategory(Uart, 16, ovLOG_Info, "beyond");
  orvy_logToCategory(Uart, 0xffffffff, ovLOG_Info, "far beyond");
  EXPECT_THAT(Log.take(), ElementsAre(":error: uart0 : text", ":sim/warning: uart0 : text",
                                      ":fifo/info: uart0 : text", ":/info: uart0 : unnamed",
                                      ":/info:: no class", ":/info: uart0 : unused",
                                      ":info: uart0 : beyond", ":info: uart0 : far beyond"));
}

TEST_F(Logging, BothObjectAndEngineCanSilence) {
  void *Quiet = makeDevice("quiet");
  void *Loud = makeDevice("loud");
  orvy_objectSetLogLevel(Quiet, 0, ovLOG_Fatal);
  orvy_logError(Quiet, "x");
  orvy_logSimError(Quiet, "other category");
  orvy_logDebugFunc(Loud, "y");
  EXPECT_THAT(Log.take(), ElementsAre(":sim/error: quiet : other category", ":debug: loud : y"));

  orvy_logSetLevel(ovLOG_Error);
  orvy_objectSetLogLevel(Loud, 0, ovLOG_Debug);
  orvy_logWarning(Loud, "x");
  orvy_logTargetWarning(nullptr, "x");
  orvy_logToCategory(Loud, 12, ovLOG_Warning, "x");
  orvy_logError(Loud, "y");
  EXPECT_THAT(Log.take(), ElementsAre(":error: loud : y"));

  orvy_logSetSeverity(nullptr, 2, ovLOG_Info);
  orvy_logTargetInfo(Loud, "y");
  orvy_logConfigWarning(Loud, "x");
  EXPECT_THAT(Log.take(), ElementsAre(":target/info: loud : y"));
}

TEST_F(Logging, ThresholdsAreKeptPerCategory) {
  void *Obj = makeDevice("obj");
  orvy_objectSetLogLevel(Obj, 15, ovLOG_Error);
  orvy_logSetSeverity(Obj, 1, ovLOG_Info);
  EXPECT_EQ(static_cast<orvy_Object *>(Obj)->LoggingFlags, 0x1444444444444434u);
  EXPECT_EQ(orvy_objectGetLogLevel(Obj, 15), ovLOG_Error);
  EXPECT_EQ(orvy_objectGetLogLevel(Obj, 1), ovLOG_Info);
  EXPECT_EQ(orvy_objectGetLogLevel(Obj, 2), ovLOG_Debug);
  orvy_objectSetLogLevel(Obj, 16, ovLOG_Fatal);
  orvy_objectSetLogLevel(Obj, 2, static_cast<orvy_LogLevel>(77));
  EXPECT_EQ(static_cast<orvy_Object *>(Obj)->LoggingFlags, 0x1444444444444434u);
  orvy_logToCategory(Obj, 2, static_cast<orvy_LogLevel>(5), "no such level");
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Logging, ReadsTheHeaderOfRegisteredObjectsOnly) {
  orvy_registerExternalClass("Elsewhere");
  void *NoMemory = reinterpret_cast<void *>(16);
  orvy_addObject("Elsewhere", "handle", NoMemory);
  void *Unknown = reinterpret_cast<void *>(32);
  for (void *Obj : {NoMemory, Unknown, static_cast<void *>(nullptr)}) {
    orvy_objectSetLogLevel(Obj, 0, ovLOG_Fatal);
    EXPECT_EQ(orvy_objectGetLogLevel(Obj, 0), ovLOG_Debug);
  }
  orvy_logError(NoMemory, "x");
  orvy_logError(Unknown, "x");
  EXPECT_THAT(Log.take(), ElementsAre(":error: handle : x", ":error:  : x"));

  orvy_registerClass("Moody", complainWhileMade, complainWhileDisposed);
  orvy_disposeObject(orvy_createObject("Moody", "m", nullptr));
  EXPECT_THAT(Log.take(), ElementsAre(":warning:  : being made", ":warning:  : going"));
}

TEST_F(Logging, CutsALongLineAndEndsIt) {
  const std::string Long(3000, 'x');
  for (size_t Length : {1012, 1013, 1014, 1015, 3000}) {
    orvy_logError(nullptr, "%.*s", static_cast<int>(Length), Long.c_str());
    const std::string Line = Log.all().back();
    EXPECT_EQ(Line.size(), std::min<size_t>(9 + Length, 1022) + 1);
    EXPECT_EQ(Line.back(), '\n');
  }
  Log.take();
  void *Obj = makeDevice(Long.c_str());
  Log.take();
  orvy_logError(Obj, "never seen");
  EXPECT_EQ(Log.all().back(), ":error: " + std::string(1014, 'x') + "\n");
}

TEST_F(Logging, ForwardsArgumentLists) {
  const auto forward = [](auto &&Log, const char *Fmt, ...) {
    va_list Args;
    va_start(Args, Fmt);
    Log(Fmt, Args);
    va_end(Args);
  };
  forward([](const char *Fmt, va_list Args) { orvy_log(ovLOG_Info, nullptr, Fmt, Args); }, "%d-%s",
          1, "a");
  forward([](const char *Fmt,
             va_list Args) { orvy_logToCategoryVA(nullptr, 3, ovLOG_Error, Fmt, Args); },
          "%d-%s", 2, "b");
  EXPECT_THAT(Log.take(), ElementsAre(":info:: 1-a", ":config/error:: 2-b"));
}

TEST_F(Logging, MessagesWithoutSourceComeFromAnyThread) {
  constexpr int ThreadCount = 4;
  constexpr int LineCount = 1000;
  std::vector<std::thread> Threads;
  FILE *File = tmpfile();
  orvy_logSetDefaultFile(File);
  for (int Thread = 0; Thread < ThreadCount; ++Thread)
    Threads.emplace_back([Thread] {
      for (int Count = 0; Count < LineCount; ++Count)
        orvy_logInfo(nullptr, "%d %d", Thread, Count);
    });
  for (int Count = 0; Count < LineCount; ++Count) // of a category that nobody uses
    orvy_logSetSeverity(nullptr, 5, Count % 2 ? ovLOG_Debug : ovLOG_Error);
  for (std::thread &Thread : Threads)
    Thread.join();

  rewind(File);
  int Next[ThreadCount] = {};
  int Thread = 0;
  int Count = 0;
  while (fscanf(File, ":info:: %d %d\n", &Thread, &Count) == 2) {
    ASSERT_TRUE(Thread >= 0 && Thread < ThreadCount);
    ASSERT_EQ(Count, Next[Thread]++) << "of thread " << Thread;
  }
  EXPECT_THAT(Next, ::testing::Each(LineCount));
  EXPECT_EQ(fgetc(File), EOF);
  orvy_logSetFunc(nullptr);
  fclose(File);
}

TEST(LogSeconds, AreWhatPrintfWrites) {
  const auto expected = [](double Secs) {
    char Text[400];
    snprintf(Text, sizeof Text, "%.6f", Secs);
    return std::string(Text);
  };
  SecondsText Buffer;
  EXPECT_EQ(formatSeconds(1.5, Buffer), "1.500000");
  EXPECT_EQ(formatSeconds(0.0000005, Buffer), "0.000000") << "just below the tie";
  EXPECT_EQ(formatSeconds(0.99999999, Buffer), "1.000000");
  EXPECT_EQ(formatSeconds(0.0000001, Buffer), "0.000000");
  // Exact ties go to the even digit: n + k / 2^7 has seven digits, the last of them 5.
  EXPECT_EQ(formatSeconds(0.0078125, Buffer), "0.007812");
  EXPECT_EQ(formatSeconds(0.0234375, Buffer), "0.023438");
  for (double Secs : {0.0, -0.0, -1.5, -1e-9, 5e-324, 1e-20, 0x1p43, 0x1p43 - 0.001, 1e300, -1e300,
                      double(INFINITY), 9007199254740993.0, 8796093022207.9990234375})
    EXPECT_EQ(formatSeconds(Secs, Buffer), expected(Secs));

  std::mt19937_64 Random(testSeed());
  for (int Count = 0; Count < 100000; ++Count) {
    const double Secs =
        std::ldexp(static_cast<double>(Random()), -static_cast<int>(Random() % 130));
    ASSERT_EQ(formatSeconds(Secs, Buffer), expected(Secs));
  }
}

// Where the lines go.

std::string linesOf(FILE *File) {
  std::string Text(4096, '\0');
  rewind(File);
  Text.resize(fread(Text.data(), 1, Text.size(), File));
  return Text;
}

TEST(LogClients, DefaultToTheStandardOutputInColour) {
  ::testing::internal::CaptureStdout();
  orvy_logError(nullptr, "e");
  orvy_logSimWarning(nullptr, "w");
  orvy_logInfo(nullptr, "i");
  orvy_logDebugFunc(nullptr, "d");
  orvy_logToCategory(nullptr, 0, ovLOG_Fatal, "f");
  orvy_logSetColour(0);
  orvy_logInfo(nullptr, "plain");
  orvy_logSetColour(5);
  orvy_logInfo(nullptr, "i");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), ":\033[31merror\033[0m:: e\n"
                                                      ":\033[33msim/warning\033[0m:: w\n"
                                                      ":\033[32minfo\033[0m:: i\n"
                                                      ":\033[34mdebug\033[0m:: d\n"
                                                      ":\033[31mfatal\033[0m:: f\n"
                                                      ":info:: plain\n"
                                                      ":\033[32minfo\033[0m:: i\n");
}

TEST(LogClients, GoToTheStandardErrorIfTheEnvironmentSaysSo) {
  Environment Set("ORVY_LOG_STDERR", "");
  ::testing::internal::CaptureStderr();
  orvy_logInfo(nullptr, "x");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), ":\033[32minfo\033[0m:: x\n");
}

TEST(LogClients, GoToTheStandardErrorIfTheOptionSaysSo) {
  const char *Words[] = {"program", "--log-stderr"};
  ASSERT_EQ(orvy_parseCommandLineOptions(2, Words), 0);
  ::testing::internal::CaptureStderr();
  orvy_logInfo(nullptr, "x");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), ":\033[32minfo\033[0m:: x\n");
}

TEST(LogClients, ThereIsOnlyTheLastOneSet) {
  FILE *File = tmpfile();
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  orvy_logSetDefaultFile(File);
  orvy_logInfo(nullptr, "to the file");
  orvy_logSetColour(1);
  orvy_logInfo(nullptr, "in colour");
  orvy_logSetDefaultFile(stdout);
  orvy_logInfo(nullptr, "to stdout");
  orvy_logSetDefaultFile(stderr);
  orvy_logInfo(nullptr, "to stderr");
  orvy_logSetDefaultFile(nullptr);
  orvy_logInfo(nullptr, "again");
  orvy_logSetFunc(nullptr);
  orvy_logInfo(nullptr, "and again");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), ":\033[32minfo\033[0m:: to stdout\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), ":\033[32minfo\033[0m:: to stderr\n"
                                                      ":\033[32minfo\033[0m:: again\n"
                                                      ":\033[32minfo\033[0m:: and again\n");
  EXPECT_EQ(linesOf(File), ":info:: to the file\n:\033[32minfo\033[0m:: in colour\n");
  fclose(File);
}

TEST(LogClients, AllGetEachMessageInOrder) {
  TempDir Dir;
  std::vector<std::string> Heard;
  LoggingEngine &Engine = *TheEngine;
  Engine.replaceClients(LoggingClient::createFileClient(Dir.path("log").c_str()));
  for (const char *Name : {"first ", "second "})
    Engine.addClient(LoggingClient::createStrCallbackClient(
        [&Heard, Name](const char *Line) { Heard.push_back(std::string(Name) + Line); }));
  orvy_logInfo(nullptr, "%d %s", 1, "x");
  EXPECT_THAT(Heard, ElementsAre("first :info:: 1 x\n", "second :info:: 1 x\n"));
  Engine.replaceClients(LoggingClient::createStderrClient());
  std::string Text;
  std::getline(std::ifstream(Dir.path("log")), Text);
  EXPECT_EQ(Text, ":info:: 1 x") << "closed with its client";
  EXPECT_EQ(LoggingClient::createFileClient(Dir.path("no/such/dir").c_str()), nullptr);
  EXPECT_EQ(LoggingClient::createSqlLiteClient(), nullptr);
}

// Diagnostics.

void forwardWarning(DiagnosticsClient &Client, const char *File, const char *Fmt, ...) {
  va_list Args;
  va_start(Args, Fmt);
  Client.warning(File, 3, Fmt, Args);
  va_end(Args);
}

TEST(Diagnostics, NameFileLineAndKind) {
  DiagnosticsEngine Engine;
  ::testing::internal::CaptureStderr();
  Engine.error(1, "nobody listens");
  auto Client = DiagnosticsClient::createStderrClient();
  DiagnosticsClient &Stderr = *Client;
  Engine.addClient(std::move(Client));
  Engine.error(12, "bad %s", "word");
  Engine.setFileName("script.orvy");
  Engine.error(12, "bad %s", "word");
  forwardWarning(Stderr, "script.orvy", "odd %d", 5);
  Stderr.setColor(false);
  forwardWarning(Stderr, "", "odd %d", 6);
  Engine.addClient(DiagnosticsClient::createStderrClient());
  Engine.error(13, "%d", 7);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "12: \033[31merror\033[0m: bad word\n"
            "script.orvy:12: \033[31merror\033[0m: bad word\n"
            "script.orvy:3: \033[33mwarning\033[0m: odd 5\n"
            "3: warning: odd 6\n"
            "script.orvy:13: error: 7\n"
            "script.orvy:13: \033[31merror\033[0m: 7\n");
}

} // namespace
