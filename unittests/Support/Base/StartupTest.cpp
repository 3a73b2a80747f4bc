#include "orvy/Support/Support.h"

#include "Testing/TempDir.h"
#include "orvy/Support/ManagedStatic.h"
#include "orvy/Support/Orvy.h"

#include <atomic>
#include <cstdio>
#include <gmock/gmock.h>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>

using orvy::testing::Environment;
using orvy::testing::TempDir;

namespace {

class Startup : public testing::Test {
protected:
  TempDir Home;
  Environment SetHome{"HOME", Home.path().c_str()};
  Environment LogToStderr{"ORVY_LOG_STDERR", ""};
  const std::string Config = Home.path(".config/orvy/");
};

std::string complaint(const std::string &Dir) {
  return "could not create config dir '" + Dir + "'";
}

TEST_F(Startup, MakesTheConfigurationDirectoryWithItsParents) {
  orvy_initConfigDirs();
  struct stat Info;
  ASSERT_EQ(stat(Config.c_str(), &Info), 0);
  EXPECT_EQ(Info.st_mode & 0777, 0700u);
  chmod(Config.c_str(), 0750);
  orvy_initConfigDirs();
  stat(Config.c_str(), &Info);
  EXPECT_EQ(Info.st_mode & 0777, 0750u) << "left as it is";
}

TEST_F(Startup, TheLibraryMakesOnlyTheLastDirectory) {
  EXPECT_EXIT(orvy_initSupportLib(), testing::ExitedWithCode(1), complaint(Config));
  Home.dir(".config");
  orvy_initSupportLib();
  EXPECT_TRUE(std::filesystem::is_directory(Config));
  EXPECT_NE(orvy_objectForName("sim"), nullptr);
  EXPECT_NE(orvy_classForName("Clock"), nullptr);
  const orvy_NotificationFunc Ignore = [](void *, void *, void *) {};
  EXPECT_EQ(orvy_subscribeNotification("orvy.realtime-slip", nullptr, nullptr, Ignore), 0);
}

TEST_F(Startup, EndsWithoutAConfigurationDirectory) {
  for (const char *Bad : {"/proc", "/dev/null"}) {
    Environment Set("HOME", Bad);
    EXPECT_EXIT(orvy_initConfigDirs(), testing::ExitedWithCode(1),
                complaint(Bad + std::string("/.config/orvy/")));
  }
  Environment NoHome("HOME", "");
  EXPECT_EXIT(orvy_initConfigDirs(), testing::ExitedWithCode(1), complaint(""));
  EXPECT_EXIT(orvy_initSupportLib(), testing::ExitedWithCode(1), complaint(""));
}

std::string pluginPath() {
  testing::internal::CaptureStdout();
  orvy_pluginPathPrint();
  return testing::internal::GetCapturedStdout();
}

TEST_F(Startup, AppendsTheLibraryDirectoryToThePluginPath) {
  orvy_initPathSupport((Home.path("bin/orvy")).c_str());
  orvy_initPathSupport(nullptr);
  EXPECT_EQ(pluginPath(), "  .\n") << "there is none";
  Home.dir("bin");
  Home.dir("lib");
  orvy_initPathSupport((Home.path("bin/orvy")).c_str());
  EXPECT_EQ(pluginPath(), "  .\n  " + Home.path("bin/../lib") + "\n");
}

TEST(Version, NamesReleaseAndRevision) {
  const char *Version = orvy_getVersionString();
  EXPECT_THAT(Version, testing::MatchesRegex("ORVY 2\\.2\\.0 \\([0-9a-f]+\\)"));
  EXPECT_EQ(strlen(Version), strlen("ORVY 2.2.0 ()") + 40);
  EXPECT_EQ(orvy_getVersionString(), Version);
}

// Managed singletons.

struct Slow {
  Slow() {
    ++Built;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  static inline std::atomic<int> Built{0};
};

TEST(ManagedSingletons, TwoThreadsGetTheSameObject) {
  static orvy::ManagedStatic<Slow> Holder;
  Slow *Seen[4];
  std::vector<std::thread> Threads;
  for (Slow *&Mine : Seen)
    Threads.emplace_back([&Mine] { Mine = &*Holder; });
  for (std::thread &Thread : Threads)
    Thread.join();
  EXPECT_EQ(Slow::Built, 1);
  for (Slow *Mine : Seen)
    EXPECT_EQ(Mine, Seen[0]);
}

struct Failing {
  Failing() {
    if (++Attempts == 1)
      throw std::runtime_error("not yet");
  }
  static inline int Attempts = 0;
};

TEST(ManagedSingletons, AFailureLeavesTheHolderEmpty) {
  static orvy::ManagedStatic<Failing> Holder;
  EXPECT_THROW(*Holder, std::runtime_error);
  EXPECT_FALSE(Holder.isBuilt());
  *Holder;
  EXPECT_TRUE(Holder.isBuilt());
  EXPECT_EQ(Failing::Attempts, 2);
}

std::string outputOf(const std::string &Program) {
  std::string Text(4096, '\0');
  FILE *Pipe = popen(Program.c_str(), "r");
  Text.resize(fread(Text.data(), 1, Text.size(), Pipe));
  EXPECT_EQ(pclose(Pipe), 0);
  return Text;
}

constexpr const char *Deaths = "PythonInterpreter dies\n"
                               "LoggingEngine dies\n"
                               "PluginManager dies\n"
                               "TypeSystem dies\n"
                               "ObjectSystem dies\n"
                               "InterfaceTypes dies\n"
                               "ClassRegistry dies\n"
                               "CommandLineParser dies\n"
                               "Interpreter dies\n"
                               "CommandRegistry dies\n";

TEST(ManagedSingletons, OfTheLibrarysObjectsDieInTheReverseOrderOfTheirSources) {
  EXPECT_EQ(outputOf(ORVY_BUILD_ROOT "/unittests/SingletonsObjects"),
            std::string("first initialiser\n") + Deaths +
                "last destructor\n"
                ":\033[32minfo\033[0m:: last words\n"
                ":info:: very last words\n");
}

TEST(ManagedSingletons, OfTheSharedLibraryDieInTheReverseOrderOfTheirSources) {
  EXPECT_EQ(outputOf(ORVY_BUILD_ROOT "/unittests/SingletonsShared"),
            std::string("first initialiser\n"
                        "last destructor\n"
                        ":info:: last words\n"
                        ":info:: very last words\n") +
                Deaths);
}

} // namespace
