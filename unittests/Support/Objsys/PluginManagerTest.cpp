#include "Objsys/PluginManager.h"

#include "Testing/LogCapture.h"
#include "Testing/TempDir.h"
#include "orvy/Support/Orvy.h"

#include <gmock/gmock.h>
#include <unistd.h>

using orvy::objsys::getLoadedPlugins;
using orvy::testing::Environment;
using orvy::testing::LogCapture;
using orvy::testing::TempDir;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

// Each test runs in a directory of its own, into which it copies the plug-ins under the names it
// needs.
class Plugins : public ::testing::Test {
protected:
  Plugins() {
    EXPECT_EQ(chdir(Dir.path().c_str()), 0);
    orvy_pluginPathRemove("/nowhere"); // builds the manager with the log still quiet
  }

  std::string install(const char *Plugin, const std::string &As) {
    const std::string Target = Dir.path(As);
    std::filesystem::create_directories(std::filesystem::path(Target).parent_path());
    std::filesystem::copy_file(
        ORVY_BUILD_ROOT "/unittests/plugins/lib" + std::string(Plugin) + ".so", Target);
    return Target;
  }

  static std::string searchPath() {
    ::testing::internal::CaptureStdout();
    orvy_pluginPathPrint();
    return ::testing::internal::GetCapturedStdout();
  }

  TempDir Dir;
  Environment Normal{"ORVY_OLD_PLUGIN_LOADING_BEHAVIOUR", nullptr};
  Environment Quiet{"ORVY_DEBUG_PLUGIN_LOADER", nullptr};
  LogCapture Log;
};

TEST_F(Plugins, ThePathIsSplitAtColons) {
  EXPECT_EQ(searchPath(), "  .\n");
  orvy_pluginPathAppend((Dir.dir("a") + ":" + Dir.dir("b") + ":").c_str());
  EXPECT_THAT(Log.take(), IsEmpty());
  orvy_pluginPathAppend(":a::b");
  orvy_pluginPathAppend("");
  orvy_pluginPathAppend(nullptr);
  EXPECT_EQ(searchPath(),
            "  .\n  " + Dir.path("a") + "\n  " + Dir.path("b") + "\n  \n  a\n  \n  b\n");
  EXPECT_THAT(Log.take(),
              ElementsAre(":warning:: Adding non-existant directory '' to plugin-path",
                          ":warning:: Adding non-existant directory '' to plugin-path"));
  orvy_pluginPathAppend("/no/such/dir");
  EXPECT_THAT(
      Log.take(),
      ElementsAre(":warning:: Adding non-existant directory '/no/such/dir' to plugin-path"));
}

TEST_F(Plugins, RemovingTakesEveryEqualEntryOut) {
  orvy_pluginPathAppend("/:/tmp:/:/usr");
  orvy_pluginPathRemove("/");
  orvy_pluginPathRemove("/not-in-it");
  orvy_pluginPathRemove(nullptr);
  EXPECT_EQ(searchPath(), "  .\n  /tmp\n  /usr\n");
}

TEST_F(Plugins, AShortNameIsFoundInTheOrderOfThePath) {
  install("NoEntry", "second/libModel.so");
  install("Counting", "first/libORVYModel.so");
  orvy_pluginPathAppend("first:second");
  EXPECT_EQ(orvy_loadPlugin("Model"), 0) << "an earlier directory beats a better form";
  EXPECT_THAT(getLoadedPlugins(), ElementsAre("first/libORVYModel.so"));
  install("NoEntry", "first/libModel.so");
  Log.take();
  EXPECT_EQ(orvy_loadPlugin("Model"), 3) << "and in one directory the plain form comes first";
  EXPECT_THAT(Log.take(),
              ElementsAre(AllOf(StartsWith(":error:: '"), HasSubstr("orvy_pluginInit"))));
  EXPECT_THAT(getLoadedPlugins(), ElementsAre("first/libORVYModel.so"));
}

TEST_F(Plugins, ANameWithADotIsAFileNameFirst) {
  install("Counting", "second/model.so");
  orvy_pluginPathAppend("first:second");
  Log.take();
  EXPECT_EQ(orvy_loadPlugin("model.so"), 0);
  EXPECT_THAT(Log.take(), ElementsAre(":info:: entered 1"));
  EXPECT_THAT(getLoadedPlugins(), ElementsAre("second/model.so"));
  EXPECT_EQ(orvy_loadPlugin("none.so"), 2);
  EXPECT_THAT(Log.take(), ElementsAre(StartsWith(":error:: 'none.so: ")));
}

TEST_F(Plugins, AreLoadedOnce) {
  const std::string Full = install("Counting", "libModel.so");
  EXPECT_EQ(orvy_loadPlugin("Model"), 0);
  EXPECT_EQ(orvy_loadPlugin("Model"), 1);
  EXPECT_EQ(orvy_loadPlugin(Full.c_str()), 1) << "the same library under another name";
  EXPECT_THAT(Log.take(),
              ElementsAre(":info:: entered 1", ":warning:: plugin './libModel.so' already loaded",
                          ":warning:: plugin '" + Full + "' already loaded"));
  orvy_objsysClear();
  EXPECT_THAT(getLoadedPlugins(), IsEmpty());
  EXPECT_EQ(orvy_loadPlugin("Model"), 0);
  EXPECT_THAT(Log.take(), ElementsAre(":info:: entered 2"));
  EXPECT_EQ(searchPath(), "  .\n");
}

TEST_F(Plugins, ThatNeedOneAnotherComeToAnEnd) {
  install("CircularA", "libCircularA.so");
  install("CircularB", "libCircularB.so");
  EXPECT_EQ(orvy_loadPlugin("CircularA"), 0);
  EXPECT_THAT(Log.take(), ElementsAre(":info:: enter CircularA", ":info:: enter CircularB",
                                      ":warning:: plugin './libCircularA.so' already loaded",
                                      ":info:: CircularB needs CircularA: 1",
                                      ":info:: CircularA needs CircularB: 0"));
}

TEST_F(Plugins, AreRecordedWhateverTheirEntryPointDoes) {
  install("Hostile", "libHostile.so");
  const char *AlreadyLoaded = ":warning:: plugin './libHostile.so' already loaded";
  for (const char *Deed : {"clear", "reload"}) {
    Environment Given{"HOSTILE_DEED", Deed};
    EXPECT_EQ(orvy_loadPlugin("Hostile"), 0);
    EXPECT_THAT(getLoadedPlugins(), ElementsAre("./libHostile.so")) << Deed;
    EXPECT_EQ(orvy_loadPlugin("Hostile"), 1);
    EXPECT_EQ(Log.count("entered"), 1) << Deed;
    EXPECT_EQ(Log.count(AlreadyLoaded), Deed == std::string("clear") ? 1 : 2);
    orvy_objsysClear();
    Log.clear();
  }
  for (const auto &[Deed, Why] :
       {std::pair("throw", "no licence"), std::pair("throw number", "an exception")}) {
    Environment Given{"HOSTILE_DEED", Deed};
    EXPECT_EQ(orvy_loadPlugin("Hostile"), 2);
    EXPECT_THAT(getLoadedPlugins(), IsEmpty());
    EXPECT_THAT(Log.take(),
                ElementsAre(":info:: entered",
                            ":error:: the entry point of plugin './libHostile.so' failed: " +
                                std::string(Why)));
  }
}

TEST_F(Plugins, ABadFileEndsTheSearch) {
  Dir.file("first/libModel.so", "no library");
  install("Counting", "second/libModel.so");
  orvy_pluginPathAppend("first:second");
  EXPECT_EQ(orvy_loadPlugin("Model"), 2);
  EXPECT_THAT(Log.take(), ElementsAre(StartsWith(":error:: 'first/libModel.so: ")));
  EXPECT_EQ(orvy_loadPlugin("second/libModel.so"), 0) << "a path is taken as it is";
  EXPECT_EQ(orvy_loadPlugin("./third/libModel.so"), 2);
  EXPECT_EQ(orvy_loadPlugin(nullptr), -1);
  EXPECT_EQ(orvy_loadPlugin(""), 2);
}

TEST_F(Plugins, AreNotUnloaded) {
  EXPECT_EQ(orvy_unloadPlugin("Model"), -1);
  EXPECT_THAT(Log.take(), ElementsAre(":error:: plugin unload not implemented"));
}

TEST_F(Plugins, TheSearchCanBeFollowed) {
  Environment Set("ORVY_DEBUG_PLUGIN_LOADER", "");
  orvy_loadPlugin("No.ne");
  std::vector<std::string> Lines = Log.take();
  ASSERT_EQ(Lines.size(), 5u);
  Lines.pop_back();
  EXPECT_THAT(Lines, ElementsAre(":debug:: full name specified: './No.ne'",
                                 ":debug:: lib prefix attempt: './libNo.ne.so'",
                                 ":debug:: libORVY prefix attempt: './libORVYNo.ne.so'",
                                 ":debug:: attempt system path: 'No.ne'"));
  orvy_loadPlugin("./x");
  EXPECT_EQ(Log.take().front(), ":debug:: full or relative load: './x'");
  orvy_loadPlugin("None");
  EXPECT_THAT(Log.take().back(), StartsWith(":error:: 'libORVYNone.so: "));
}

class OldPlugins : public Plugins {
protected:
  Environment Old{"ORVY_OLD_PLUGIN_LOADING_BEHAVIOUR", ""};
};

TEST_F(OldPlugins, PreferThePrefixedFormWhereverItIs) {
  install("NoEntry", "first/libModel.so");
  install("Counting", "second/libORVYModel.so");
  orvy_pluginPathAppend("first:second");
  EXPECT_EQ(orvy_loadPlugin("Model"), 0);
  EXPECT_THAT(getLoadedPlugins(), ElementsAre("second/libORVYModel.so"));
  EXPECT_THAT(Log.take(),
              ElementsAre(StartsWith(":debug:: load plugin 'libORVYModel.so: "),
                          ":debug:: loaded plugin 'second/libORVYModel.so'", ":info:: entered 1"));
  EXPECT_EQ(orvy_loadPlugin("Model"), 0) << "loaded already is success";
  EXPECT_THAT(Log.take(), ElementsAre(StartsWith(":debug:: load plugin 'libORVYModel.so: "),
                                      ":debug:: plugin 'second/libORVYModel.so' already loaded"));
}

TEST_F(OldPlugins, TryEveryFormAndOnlyTheLastEndsAtItsFirstFile) {
  install("NoEntry", "first/libModel.so");
  install("Counting", "second/libModel.so");
  orvy_pluginPathAppend("first:second");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(orvy_loadPlugin("Model"), 0) << "goes on behind a file that fails";
  EXPECT_THAT(::testing::internal::GetCapturedStderr(),
              AllOf(HasSubstr("orvy_pluginInit"), ::testing::EndsWith("\n")));

  Dir.file("first/plain.so", "no library");
  install("Counting", "second/plain.so");
  EXPECT_EQ(orvy_loadPlugin("plain.so"), 1) << "the bare form ends at the first file";
  EXPECT_EQ(orvy_loadPlugin("none"), 1);
  EXPECT_EQ(orvy_loadPlugin(nullptr), -1);
}

TEST(PluginOption, ItsValuesJoinThePathAtTheFirstUse) {
  const char *Words[] = {"program", "--lib-path=/no/such/dir,/tmp"};
  ASSERT_EQ(orvy_parseCommandLineOptions(2, Words), 0);
  ::testing::internal::CaptureStdout(); // the warning builds the log while the manager comes to be
  orvy_logSetColour(0);
  orvy_pluginPathPrint();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            ":warning:: Adding non-existant directory '/no/such/dir' to plugin-path\n"
            "  .\n  /no/such/dir\n  /tmp\n");
}

TEST(PluginOption, AWarningMayBeTheFirstMessageOfAll) {
  const char *Words[] = {"program", "--log-stderr", "--lib-path", "/no/such/dir"};
  ASSERT_EQ(orvy_parseCommandLineOptions(4, Words), 0);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(orvy_unloadPlugin("x"), -1);
  EXPECT_EQ(
      ::testing::internal::GetCapturedStderr(),
      ":\033[33mwarning\033[0m:: Adding non-existant directory '/no/such/dir' to plugin-path\n"
      ":\033[31merror\033[0m:: plugin unload not implemented\n");
}

} // namespace
