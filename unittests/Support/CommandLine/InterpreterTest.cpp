#include "orvy/Support/Interpreter.h"

#include "Testing/LogCapture.h"
#include "Testing/Model.h"
#include "Testing/TempDir.h"

#include <gmock/gmock.h>

using namespace orvy::cl;
using namespace orvy::testing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Strings = std::vector<std::string>;

namespace {

constexpr const char *Red = "\033[31merror\033[0m: ";

template <typename Call> std::string errorsOf(Call What) {
  testing::internal::CaptureStderr();
  What();
  return testing::internal::GetCapturedStderr();
}

Strings Noted;

/// Notes its words; the option "self" takes the object.
Command Note(
    "note-words", {{"self", OK_String, false, "", "", /*Self=*/true}},
    [](Command &Cmd, Interpreter *) {
      Noted = Cmd.getPositionals();
      if (Cmd.getOption("self").Valid)
        Noted.push_back("self=" + Cmd.getOption("self").Value);
      return Noted.empty() ? 0 : Noted[0] == "fail";
    },
    "");

/// Runs its text as commands between two looks at its words.
Command Wrap(
    "wrap-words", {{"text", OK_String, false}},
    [](Command &Cmd, Interpreter *) {
      const Strings &Words = Cmd.getPositionals();
      const char *Text = Cmd.getOption("text").getValue<const char *>();
      Noted.insert(Noted.end(), Words.begin(), Words.end());
      if (Cmd.getOption("text").Valid && orvy_execCommand(Text) != 0)
        return 1;
      Noted.insert(Noted.end(), Words.begin(), Words.end());
      Noted.push_back(Cmd.getOption("text").Valid ? Text : "none");
      return 0;
    },
    "");

/// What the last command of a text was given.
Strings wordsOf(const std::string &Text) {
  Noted.clear();
  EXPECT_EQ(orvy_execCommand(Text.c_str()), 0) << Text;
  return Noted;
}

class Interpreters : public testing::Test {
protected:
  static std::string value(const char *Name) {
    const Var *Found = Var::findVariable(Name);
    return Found ? Found->getValue() : "none";
  }

  CleanSystem Clean;
  TempDir Dir;
};

TEST_F(Interpreters, CutTheCommandsOfAScriptAtLinesAndComments) {
  const std::pair<const char *, Strings> Cases[] = {
      {"note-words a b", {"a", "b"}},
      {"\n \t\r\n# x\n  note-words a # b\n#", {"a"}},
      {"note-words a\r\n\r\n", {"a"}},
      {"note-words 'a b' \"c\"", {"a b", "c"}},
      {"note-words self=x\\#y", {"self=x#y"}},
      {"note-words self=\"x\\#y\"", {"self=x#y"}},
      {"note-words a\\", {"a\\"}},
      {"note-words a\\\nnote-words b", {"b"}},
      {"note-words a\\\\\r\n", {"a\\"}},
      {"obj.note-words a", {"a", "self=obj"}},
  };
  for (const auto &[Text, Words] : Cases)
    EXPECT_EQ(wordsOf(Text), Words) << Text;
}

TEST_F(Interpreters, FailWithThePlaceOfTheCommand) {
  const std::pair<std::string, std::string> Cases[] = {
      {"\n# c\nnope a", std::string("3: ") + Red + "unknown command 'nope'\n"},
      {"a.nope", std::string("1: ") + Red + "unknown command 'a.nope'\n"},
      {"=1", std::string("1: ") + Red + "unknown command '=1'\n"},
      {"note-words 'a\nb'", std::string("1: ") + Red + "quote left open\n"},
      {"note-words fail", std::string("1: ") + Red + "command 'note-words' failed\n"},
      {"note-words  x=1 y", std::string("cannot find option with key 'x'\n1: ") + Red +
                                "command argument error for 'note-words x=1 y'\n"},
  };
  for (const auto &[Text, Message] : Cases)
    EXPECT_EQ(errorsOf([&] { EXPECT_EQ(orvy_execCommand((Text + "\nx=never").c_str()), -1); }),
              Message);
  EXPECT_EQ(value("x"), "none");
  EXPECT_EQ(orvy_execCommand(nullptr), -1);
  EXPECT_EQ(orvy_execCommand(""), 0);
  EXPECT_EQ(orvy_execCommand("\n #"), 0);
}

TEST_F(Interpreters, AssignVariablesAndProperties) {
  Model *Obj = createModel("m");
  EXPECT_EQ(
      orvy_execCommand("v=1.5=2\n1w=2\n@m.u8[2]=511\n@m.i64=-0x3\n@m.u64=18446744073709551615\n"
                       "@m.double=2.5\n@m.float=1e1\n@m.obj=m\n@m.u32=1e6\n@m.i32=010"),
      0);
  EXPECT_EQ(value("v"), "1.5=2");
  EXPECT_EQ(value("1w"), "none");
  EXPECT_EQ(Obj->U8[2], 255);
  EXPECT_EQ(Obj->I64[0], -3);
  EXPECT_EQ(Obj->U64[0], UINT64_MAX);
  EXPECT_EQ(Obj->Double, 2.5);
  EXPECT_EQ(Obj->Float, 10.0f);
  EXPECT_EQ(Obj->Obj, Obj);
  EXPECT_EQ(Obj->U32[0], 1000000u);
  EXPECT_EQ(Obj->I32[0], 10);
  EXPECT_EQ(propSet("@m.u8[1]", "7"), 0);
  EXPECT_EQ(Obj->U8[1], 7);
  EXPECT_EQ(propSet("@m.u8", "x"), 1);
  EXPECT_EQ(propSet("@m.i64", "0x10"), 0);
  EXPECT_EQ(Obj->I64[0], 0) << "the function itself reads decimal numbers, up to what is none";
}

TEST_F(Interpreters, SayWhatIsWrongWithAnAssignmentAndGoOn) {
  Model *Obj = createModel("m");
  Obj->I64[0] = 5;
  const std::pair<const char *, const char *> Cases[] = {
      {"@m.i64=-3x", "'-3x' is not an integer"},
      {"@m.i64=1.5", "'1.5' is not an integer"},
      {"@m.i64=1ms", "'1ms' is not an integer"},
      {"@m.i64=", "'' is not an integer"},
      {"@m.double=1s", "'1s' is not a number"},
      {"@m.u8[99]=1", "the property has 4 elements"},
      {"@m.u8[x]=1", "the index is not a number"},
      {"@m.no=1", "'m' has no property 'no'"},
      {"@no.u8=1", "there is no object 'no'"},
      {"@m=1", "not '@object.property'"},
      {"@m.obj=nobody", "there is no object 'nobody'"},
      {"@m.string=x", "only numbers and objects are assigned; for a text use object-prop-write"},
  };
  for (const auto &[Text, Why] : Cases)
    EXPECT_EQ(
        errorsOf([&] { EXPECT_EQ(orvy_execCommand((std::string(Text) + "\nx=1").c_str()), 0); }),
        std::string("1: ") + Red + Text + ": " + Why + "\n");
  EXPECT_EQ(Obj->I64[0], 5);
}

TEST_F(Interpreters, FindScriptsInTheSearchPaths) {
  Dir.file("one/s.orvy", "y=1");
  Dir.file("two/s.orvy", "y=2");
  Interpreter::appendPath(Dir.path("one").c_str());
  Interpreter::prependPath(Dir.path("two").c_str());
  Interpreter::prependPath(Dir.path("one").c_str());
  EXPECT_EQ(Interpreter::getPath("s.orvy"), Dir.path("two/s.orvy"));
  EXPECT_EQ(Interpreter::getPath(Dir.path("one/s.orvy").c_str()), Dir.path("one/s.orvy"));
  EXPECT_EQ(Interpreter::getPath(Dir.path("one").c_str()), nullptr);
  EXPECT_EQ(orvy_execCommandFile("s.orvy"), 0);
  EXPECT_EQ(value("y"), "2");
  EXPECT_EQ(orvy_execCommandFile("no.orvy"), -1);
  const std::string Bad = Dir.file("bad.orvy", "\n\n\n\n\n\nnope\nz=1");
  EXPECT_EQ(errorsOf([&] { EXPECT_EQ(RunFile(Bad.c_str()), 0); }),
            Bad + ":7: " + Red + "unknown command 'nope'\n");
  EXPECT_EQ(value("z"), "none");
}

TEST_F(Interpreters, ReportAScriptThatCannotBeRead) {
  const char *Unmappable = "/sys/devices/system/cpu/online";
  if (!Interpreter::getPath(Unmappable))
    GTEST_SKIP() << "the system has no such file";
  LogCapture Log;
  EXPECT_EQ(runScript(Unmappable), ScriptResult::Failed);
  EXPECT_EQ(Log.count("cannot read script '" + std::string(Unmappable) + "'"), 1);
  EXPECT_EQ(runScript(Dir.file("empty.orvy", "").c_str()), ScriptResult::Succeeded);
}

TEST_F(Interpreters, KeepTheTextOfAScriptThatIsEditedWhileItRuns) {
  BufferLineReader Script(Dir.file("s.orvy", "v=1\n").c_str());
  Dir.file("s.orvy", "");
  EXPECT_THAT(Script.readLine(), ElementsAre("v=1"));
}

TEST_F(Interpreters, KeepVariablesOfScopes) {
  Interpreter Script(1, " ");
  Script.addGlobalVar("a", "1");
  Script.pushScope();
  Script.addScopedVar("a", "2");
  Script.addScopedVar("a", "3");
  EXPECT_EQ(Script.getVar("a")->Value, "2");
  EXPECT_EQ(Script.getGlobal("a")->Value, "1");
  Script.popScope();
  Script.popScope();
  EXPECT_EQ(Script.getVar("a")->Value, "1");
  EXPECT_EQ(Script.getVar("b"), nullptr);
}

TEST_F(Interpreters, EndScriptsThatRunThemselves) {
  const std::string Path = Dir.path("self.orvy");
  Dir.file("self.orvy", "source " + Path + "\nsource " + Path + "\n");
  const std::string Errors =
      errorsOf([&] { EXPECT_EQ(runScript(Path.c_str()), ScriptResult::Failed); });
  EXPECT_THAT(Errors, HasSubstr("scripts run each other too deeply"));
  EXPECT_EQ(std::count(Errors.begin(), Errors.end(), '\n'), 65);
  EXPECT_EQ(orvy_execCommand("w=1"), 0) << "and then it is over";
}

TEST_F(Interpreters, KeepTheArgumentsOfACommandThatRunsInsideItself) {
  EXPECT_THAT(wordsOf("wrap-words a text='wrap-words b'"),
              ElementsAre("a", "b", "b", "none", "a", "wrap-words b"));
  Noted.clear();
  testing::internal::CaptureStderr();
  EXPECT_EQ(orvy_execCommand("wrap-words a text='wrap-words no=1'"), -1);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("option with key 'no'"));
  EXPECT_THAT(wordsOf("wrap-words c"), ElementsAre("c", "c", "none"));
}

TEST_F(Interpreters, RunScriptsOfAnySizeAndContent) {
  std::string Many;
  for (int Line = 0; Line < 100000; ++Line)
    Many += "note-words a\n";
  EXPECT_THAT(wordsOf(Many), ElementsAre("a"));
  const std::string Long = "note-words " + std::string(10000000, 'x');
  EXPECT_EQ(wordsOf(Long).at(0).size(), 10000000u);
  std::string Words = "note-words";
  for (int Word = 0; Word < 1000000; ++Word)
    Words += " x\\ y";
  EXPECT_EQ(wordsOf(Words).size(), 1000000u);
  EXPECT_THAT(wordsOf("note-words " + std::string(1000000, '\\') + "x"), testing::SizeIs(1));
  const std::string Nul("note-words a\0b\nnote-words 'c'", 29);
  Interpreter Script(Nul.size(), Nul.data());
  EXPECT_EQ(Script.readEvalLoop(), 0);
  EXPECT_THAT(Noted, ElementsAre("c"));
}

TEST_F(Interpreters, ReadAStreamLineByLine) {
  int Ends[2];
  ASSERT_EQ(pipe(Ends), 0);
  FILE *Stream = fdopen(Ends[0], "r");
  StreamLineReader Reader(Stream);
  ASSERT_EQ(write(Ends[1], "a b # c\n\r\nd", 11), 11);
  EXPECT_THAT(Reader.readLine(), ElementsAre("a", "b"));
  EXPECT_EQ(Reader.getLine(), 2u);
  close(Ends[1]);
  EXPECT_THAT(Reader.readLine(), IsEmpty());
  EXPECT_EQ(Reader.getLine(), 3u);
  EXPECT_THAT(Reader.readLine(), ElementsAre("d"));
  EXPECT_FALSE(Reader.eof());
  EXPECT_THAT(Reader.readLine(), IsEmpty());
  EXPECT_TRUE(Reader.eof());
  fclose(Stream);
}

} // namespace
