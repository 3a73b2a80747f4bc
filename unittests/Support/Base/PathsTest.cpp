#include "orvy/Support/Paths.h"

#include "Testing/TempDir.h"

#include <gmock/gmock.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace orvy::os::path;
using orvy::testing::Environment;
using orvy::testing::TempDir;

namespace {

class Paths : public testing::Test {
protected:
  Environment NoDebugBuild{"ORVY_DEBUG_BUILD", nullptr};
  Environment NoTrace{"ORVY_DEBUG_PATH_DISCOVERY", nullptr};
  TempDir Dir;

  static std::string roots() {
    testing::internal::CaptureStdout();
    printPaths();
    return testing::internal::GetCapturedStdout();
  }
  // What goes to the error stream with the given Command.
  static std::string trace(const std::string &Command) {
    testing::internal::CaptureStderr();
    addInstallPathForCommand(Command);
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(Paths, ACommandWithAPathGivesItsParent) {
  addInstallPathForCommand("bin/orvy");
  addInstallPathForCommand("/usr/local/bin/orvy");
  addInstallPathForCommand("/orvy");
  EXPECT_EQ(roots(), "bin/..\n/usr/local/bin/..\n/..\n");
}

TEST_F(Paths, ADebugBuildLooksOneLevelHigherFirst) {
  Environment Set("ORVY_DEBUG_BUILD", "");
  addInstallPathForCommand("build/bin/orvy");
  EXPECT_EQ(roots(), "build/bin/../..\nbuild/bin/..\n");
}

TEST_F(Paths, ABareCommandGivesEveryDirectoryOfPathThatHoldsIt) {
  Dir.executable("a/orvy");
  Dir.file("plain/orvy");
  Dir.dir("directory/orvy");
  Dir.executable("b/orvy");
  const std::string Search = Dir.path("a") + "::" + Dir.path("plain") + ":" + Dir.path("none") +
                             ":" + Dir.path("directory") + ":" + Dir.path("b");
  Environment Path("PATH", Search.c_str());
  addInstallPathForCommand("orvy");
  addInstallPathForCommand("absent");
  addInstallPathForCommand("");
  EXPECT_EQ(roots(), Dir.path("a/..") + "\n" + Dir.path("b/..") + "\n");
}

TEST_F(Paths, WithoutPathABareCommandIsComplainedAbout) {
  Environment Path("PATH", nullptr);
  EXPECT_EQ(trace("orvy"), "$PATH is not set\n");
  EXPECT_EQ(roots(), "");
}

TEST_F(Paths, AnEmptyPathHasOneEmptyElement) {
  Environment Path("PATH", "");
  Environment Set("ORVY_DEBUG_PATH_DISCOVERY", "0");
  EXPECT_EQ(trace("no-such-command"), "path-debug: command = 'no-such-command'\n"
                                      "path-debug last path test: '/no-such-command'\n");
}

TEST_F(Paths, TheSearchCanBeFollowed) {
  Environment Set("ORVY_DEBUG_PATH_DISCOVERY", "");
  EXPECT_EQ(trace("bin/orvy"), "path-debug: command = 'bin/orvy'\n"
                               "path-debug relative/absolute append: 'bin/..'\n");
  const std::string A = Dir.executable("a/orvy");
  const std::string B = Dir.executable("b/orvy");
  const std::string Search = "/none:" + Dir.path("a") + ":" + Dir.path("b");
  Environment Path("PATH", Search.c_str());
  EXPECT_EQ(trace("orvy"), "path-debug: command = 'orvy'\n"
                           "path-debug PATH search: '/none/orvy'\n"
                           "path-debug PATH search: '" +
                               A +
                               "'\n"
                               "path-debug is exec: '" +
                               A +
                               "'\n"
                               "path-debug last path test: '" +
                               B +
                               "'\n"
                               "path-debug contains exec: '" +
                               Dir.path("b/..") + "'\n");
}

TEST_F(Paths, LookUpsTakeTheFirstRootThatFits) {
  Dir.file("one/lib");
  Dir.executable("one/bin/tool");
  Dir.dir("two/lib");
  Dir.dir("two/bin/tool");
  Dir.executable("two/libexec/orvy/helper");
  Dir.dir("two/share/orvy/wrappers/Python");
  Dir.dir("two/share/orvy/sysconfig");
  EXPECT_EQ(getLibDir(), "") << "before any root is known";
  const std::string One = Dir.path("one/bin/.."), Two = Dir.path("two/bin/..");
  addInstallPathForCommand(Dir.path("one/bin/orvy"));
  addInstallPathForCommand(Dir.path("two/bin/orvy"));
  EXPECT_EQ(getLibDir(), Two + "/lib");
  EXPECT_EQ(findTool("tool"), One + "/bin/tool");
  EXPECT_EQ(findSupportTool("helper"), Two + "/libexec/orvy/helper");
  EXPECT_EQ(findWrapperDir("Python"), Two + "/share/orvy/wrappers/Python");
  EXPECT_EQ(findResourceDir("sysconfig"), Two + "/share/orvy/sysconfig");
  for (auto *Find : {findTool, findSupportTool, findWrapperDir, findResourceDir})
    EXPECT_EQ(Find("absent"), "");

  Environment Set("ORVY_DEBUG_PATH_DISCOVERY", "");
  testing::internal::CaptureStderr();
  getLibDir();
  findWrapperDir("Python");
  findWrapperDir("absent");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "path-debug find lib dir: '" + One +
                                                        "/lib'\n"
                                                        "path-debug find lib dir: '" +
                                                        Two +
                                                        "/lib'\n"
                                                        "path-debug lib dir is dir: '" +
                                                        Two +
                                                        "/lib'\n"
                                                        "path-debug find wrapper dir: '" +
                                                        One +
                                                        "/share/orvy/wrappers/Python'\n"
                                                        "path-debug find wrapper dir: '" +
                                                        Two +
                                                        "/share/orvy/wrappers/Python'\n"
                                                        "path-debug wrapper dir is dir: '" +
                                                        Two +
                                                        "/share/orvy/wrappers/Python'\n"
                                                        "path-debug find wrapper dir: '" +
                                                        One +
                                                        "/share/orvy/wrappers/absent'\n"
                                                        "path-debug find wrapper dir: '" +
                                                        Two +
                                                        "/share/orvy/wrappers/absent'\n"
                                                        "path-debug did not find wrapper dir\n");
}

TEST_F(Paths, ASearchThatFindsNothingSaysSo) {
  Environment Set("ORVY_DEBUG_PATH_DISCOVERY", "");
  testing::internal::CaptureStderr();
  getLibDir();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "path-debug did not find lib dir\n");
}

TEST_F(Paths, ExecuteBitsCount) {
  const std::string Locked = Dir.dir("locked");
  EXPECT_TRUE(isDirectory(Locked.c_str()));
  chmod(Locked.c_str(), 0600);
  EXPECT_FALSE(isDirectory(Locked.c_str()));
  EXPECT_FALSE(isExecutable(Dir.path().c_str()));
  const std::string File = Dir.file("file");
  EXPECT_FALSE(isExecutable(File.c_str()));
  chmod(File.c_str(), 0001);
  EXPECT_TRUE(isExecutable(File.c_str()));
  EXPECT_FALSE(isDirectory(File.c_str()));
  EXPECT_FALSE(isExecutable(Dir.path("none").c_str()));
}

TEST_F(Paths, TheHomeDirectoryIsTheEnvironmentsOrTheUsers) {
  {
    Environment Home("HOME", "/some/where");
    EXPECT_EQ(getHomeDir(), "/some/where");
    EXPECT_EQ(getConfDir(), "/some/where/.config/orvy/");
  }
  {
    Environment Home("HOME", "");
    EXPECT_EQ(getConfDir(), "");
  }
  Environment Home("HOME", nullptr);
  const passwd *User = getpwuid(geteuid());
  EXPECT_EQ(getHomeDir(), User ? User->pw_dir : "");
}

} // namespace
