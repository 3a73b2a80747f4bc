#include "orvy/Support/Commands.h"

#include "Testing/Model.h"

#include <cstdlib>
#include <gmock/gmock.h>

using namespace orvy::cl;
using namespace orvy::testing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Strings = std::vector<std::string>;

namespace {

// Never destroyed, as the registry keeps its address.
Command &testCommand() {
  static auto &Cmd = *new Command(
      "test",
      {
          {"text", OK_String, false},
          {"count", OK_Int, true, "How often", "DEFAULT_COUNT"},
          {"obj", OK_Object, false, "The object", "", /*Self=*/true},
      },
      [](Command &Cmd, Interpreter *) { return Cmd.getOption("count").getValue<int>(); },
      "Test the parser", {"t", "tst"});
  return Cmd;
}

class Commands : public testing::Test {
protected:
  Commands() {
    while (Var::Variables && !Var::Variables->empty())
      Var::deleteVariable(Var::Variables->begin()->first);
    Test.clearOptions();
  }

  static int parse(Command &Cmd, Strings Words) {
    Cmd.clearOptions();
    Words.insert(Words.begin(), Cmd.getName());
    return Cmd.parseOptions(Words, nullptr);
  }

  /// What a command of the registry writes on the standard stream when it succeeds.
  static std::string outputOf(const char *Name, const Strings &Words = {}) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(execute(Name, Words), 0) << Name;
    return testing::internal::GetCapturedStdout();
  }

  static int execute(const char *Name, const Strings &Words = {}) {
    Command *Cmd = Command::findCommand(Name);
    if (!Cmd)
      return -100;
    int Result = parse(*Cmd, Words);
    if (Result == 0)
      Result = Cmd->run(nullptr);
    Cmd->clearOptions();
    return Result;
  }

  template <typename Call> static std::string errorsOf(Call What) {
    testing::internal::CaptureStderr();
    What();
    return testing::internal::GetCapturedStderr();
  }

  CleanSystem Clean;
  Command &Test = testCommand();
};

struct ParseCase {
  Strings Words;
  int Result;
  Strings Positionals;
  const char *Message;
};

TEST_F(Commands, MatchWordsWithTheirOptions) {
  Var::setVariable("A", "$B");
  const ParseCase Cases[] = {
      {{"count=1"}, 0, {}, ""},
      {{"", "count=1", "a", "", "b"}, 0, {"a", "b"}, ""},
      {{"count=1", "text="}, 0, {}, ""},
      {{"count=1", "my_key=1"}, 0, {"my_key=1"}, ""},
      {{"count=1", "=", "x"}, 0, {"=", "x"}, ""},
      {{"count=1", "1a=2", "x"}, 0, {}, ""},
      {{"count=1", "==2", "x"}, 0, {}, ""},
      {{"count=1", "${A}/$A"}, 0, {"$B/$B"}, ""},
      {{"count=1", "#c", "x"}, 0, {}, ""},
      {{"count=1", "\\#x", "y"}, 0, {"#x", "y"}, ""},
      {{"count=1", "a#b", "y"}, 0, {"a"}, ""},
      {{"count=1", "text=a#b", "y"}, 0, {"y"}, ""},
      {{"count=1", "$A/${NO}/$A", "y"}, 0, {"$B/${NO}/$A", "y"}, "unknown variable 'NO'\n"},
      {{"count=1", "text=$NO"}, -1, {}, "unknown variable 'NO'\n"},
      {{"count=1", "text=x${A"}, -1, {}, "unbalanced '{' '}' near '${A'\n"},
      {{"nokey=1"}, -1, {}, "cannot find option with key 'nokey'\n"},
      {{"a#b"}, -1, {"a"}, "required option 'count' is not valid (= '')\n"},
  };
  for (const ParseCase &Each : Cases) {
    Test.getOption("count").Value.clear();
    EXPECT_EQ(errorsOf([&] { EXPECT_EQ(parse(Test, Each.Words), Each.Result); }), Each.Message);
    EXPECT_EQ(Test.getPositionals(), Each.Positionals) << Each.Words.back();
  }
}

TEST_F(Commands, TakeAnArgumentVectorWithoutComments) {
  const char *Arguments[] = {"test", "count=2", "", "a#b", "#c", "1=2", "z"};
  EXPECT_EQ(errorsOf([&] { EXPECT_EQ(Test.parseOptions(7, Arguments, nullptr), 0); }),
            "invalid key '1'\n");
  EXPECT_THAT(Test.getPositionals(), ElementsAre("a#b", "#c"));
  EXPECT_EQ(Test.parseOptions(0, nullptr, nullptr), 0) << "count is still valid";
}

TEST_F(Commands, FillARequiredOptionFromItsVariable) {
  EXPECT_EQ(errorsOf([&] { EXPECT_EQ(parse(Test, {"count=x"}), -1); }),
            "required option 'count' is not valid (= 'x')\n");
  Var::setVariable("DEFAULT_COUNT", "7");
  EXPECT_EQ(parse(Test, {"count=x"}), 0);
  EXPECT_EQ(Test.run(nullptr), 7);
  Var::setVariable("DEFAULT_COUNT", "y");
  EXPECT_EQ(errorsOf([&] { EXPECT_EQ(parse(Test, {}), -1); }),
            "required option 'count' is not valid (= 'y')\n");
  Var::deleteVariable("DEFAULT_COUNT");
}

TEST_F(Commands, TakeTheObjectBeforeTheDot) {
  Model *Obj = createModel("model");
  const std::string Self = "model";
  EXPECT_EQ(Test.parseOptions({"model.test", "count=1"}, &Self), 0);
  EXPECT_TRUE(Test.getOption("obj").Valid);
  EXPECT_EQ(Test.getOption("obj").getValue<void *>(), Obj);
  EXPECT_EQ(errorsOf([&] {
              EXPECT_EQ(Test.parseOptions({"test", "count=1"}, &Self), 1);
            }),
            "cannot use self argument when explicitly setting it\n");
  Test.clearOptions();
  EXPECT_FALSE(Test.getOption("obj").Valid);
  EXPECT_EQ(Test.getOption("obj").Value, "model") << "the text stays";
  EXPECT_EQ(Command::findCommand("env")->parseOptions({"model.env"}, &Self), 0);
}

struct ValueCase {
  OptionKind Kind;
  const char *Text;
  bool Valid;
};

TEST_F(Commands, ValidateTextsByKind) {
  createModel("model");
  const ValueCase Cases[] = {
      {OK_String, "", true},
      {OK_Path, "/no/such", true},
      {OK_Unchecked, "x", true},
      {OK_Object, "model", true},
      {OK_Int, "", false},
      {OK_Int, "x1", false},
      {OK_Int, "12abc", true},
      {OK_Int, "-0x10", true},
      {OK_Int, "18446744073709551615", true},
      {OK_Int, "18446744073709551616", false},
      {OK_Double, "2.5V", true},
      {OK_Double, "", false},
      {OK_Double, "1e999", false},
      {OK_Prop, "model.u8", true},
      {OK_Prop, "model", false},
      {OK_Iface, "model:echo", true},
      {OK_Iface, "model:echoes[3]", true},
      {OK_Iface, "model:echoes[4]", false},
      {OK_Iface, "model:echoes[-1]", false},
      {OK_Iface, "model:echoes[9999999999999999999]", false},
      {OK_Iface, "model:echo]x[", false},
      {OK_Reg, "model.u32", true},
      {OK_Reg, "model.u8[x]", false},
      {OK_Reg, "model.u8[4294967296]", false},
      {OK_Class, "Model", true},
      {static_cast<OptionKind>(10), "x", false},
      {static_cast<OptionKind>(~0u), "x", false},
  };
  for (const ValueCase &Each : Cases) {
    Option Opt("name", Each.Kind, false);
    EXPECT_FALSE(Opt.Valid);
    Opt.setVal(Each.Text);
    EXPECT_EQ(Opt.Valid, Each.Valid) << Each.Kind << " " << Each.Text;
    EXPECT_STREQ(Opt.getValue<const char *>(), Each.Text);
  }
}

Option given(OptionKind Kind, const char *Text) {
  Option Opt("name", Kind, false);
  Opt.setVal(Text);
  return Opt;
}

TEST_F(Commands, ReadValues) {
  Model *Obj = createModel("model");
  EXPECT_EQ(given(OK_Int, "12abc").getValue<int>(), 12);
  EXPECT_EQ(given(OK_Int, "010").getValue<unsigned int>(), 8u);
  EXPECT_EQ(given(OK_Int, "0x1ffffffff").getValue<unsigned int>(), 0xffffffffu);
  EXPECT_EQ(given(OK_Int, "-5").getValue<long>(), -5);
  EXPECT_EQ(given(OK_Int, "0xffffffffffffffff").getValue<unsigned long>(), 0x7fffffffffffffffu);
  EXPECT_EQ(given(OK_Double, "-2.5e3x").getValue<double>(), -2500.0);
  const orvy_IfaceRef Ref = given(OK_Iface, "model:echoes[2]").getValue<orvy_IfaceRef>();
  EXPECT_EQ(Ref.Obj, Obj);
  EXPECT_EQ(Ref.Iface, &Echoes[2]);
  EXPECT_EQ(given(OK_Iface, "model:nothing").getValue<orvy_IfaceRef>().Obj, nullptr);
  EXPECT_EQ(given(OK_Reg, "model.u8[2]").getValue<orvy_Propref>().Ptr, &Obj->U8[2]);
  EXPECT_STREQ(given(OK_Prop, "model.u16").getValue<orvy_PropName>().Name, "u16");
  EXPECT_EQ(given(OK_Prop, "model.u16").getArrayLength(), 4);
  EXPECT_EQ(given(OK_Prop, "nobody.u16").getArrayLength(), -1);
  EXPECT_EQ(given(OK_Prop, "model.a.b").getPropName(), "a.b");
  EXPECT_EQ(given(OK_Prop, "model.a.b").getPropObject(), Obj);
  EXPECT_EQ(given(OK_Iface, "model:echoes[2]").getIfaceName(), "echoes[2]");
  EXPECT_EQ(given(OK_Iface, "model:x").getIfaceObject(), Obj);
  EXPECT_DEATH(given(OK_String, "1").getValue<int>(), "internal error");
  EXPECT_DEATH(Test.getOption("undeclared"), "internal error");
}

struct ExpandCase {
  const char *Text;
  bool Succeeds;
  const char *Expanded;
};

TEST_F(Commands, ExpandArguments) {
  Var::setVariable("HOME", "/home");
  const ExpandCase Cases[] = {
      {"", true, ""},
      {"\\", true, "\\"},
      {"a$", true, "a$"},
      {R"(\#\$\\\{\}\n\t\x)", true, "#$\\{}\n\tx"},
      {R"(\$HOME)", true, "$HOME"},
      {"$HOME/x${HOME}y", true, "/home/x/homey"},
      {"$HOME $HOME\t$HOME", true, "/home /home\t/home"},
      {"$HOME${HOME}", false, "$HOME${HOME}"},
      {R"(\n${HOME)", false, "\n${HOME"},
      {"${}", false, "${}"},
      {"$HOME\\", false, "$HOME\\"},
      {"${HOME}\\", true, "/home\\"},
  };
  for (const ExpandCase &Each : Cases) {
    std::string Text = Each.Text;
    errorsOf([&] { EXPECT_EQ(escapeAndExpand(Text), Each.Succeeds) << Each.Text; });
    EXPECT_EQ(Text, Each.Expanded);
  }
}

TEST_F(Commands, PrintTheirHelpWithTheAliasesTheyWereMadeWith) {
  EXPECT_EQ(execute("alias", {"command=test", "name=added"}), 0);
  testing::internal::CaptureStdout();
  Test.help();
  Command::findCommand("vars")->help();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\033[1mCommand\033[0m '\033[31mtest\033[0m'\n"
            "\tTest the parser\n"
            "\033[1mOptions:\033[0m\n"
            "\ttext:string:optional\n"
            "\tcount:int:required: default=${DEFAULT_COUNT}: How often\n"
            "\tobj:object:optional: The object\n"
            "\033[1mAliases:\033[0m\n\ttest\n\tt\n\ttst\n"
            "\033[1mCommand\033[0m '\033[31mvar-print-all\033[0m'\n"
            "\tprint all variables\n"
            "\033[1mOptions:\033[0m\n"
            "\tNONE\n"
            "\033[1mAliases:\033[0m\n\tvar-print-all\n\tvars\n\tenv\n");
}

TEST_F(Commands, AreListedAndDocumented) {
  const std::string List = outputOf("orvy-help");
  EXPECT_THAT(List, StartsWith("\033[1mCommands\033[0m\n========\n  "));
  EXPECT_THAT(List, HasSubstr("  tst\n  u\n  unset\n  until\n  up\n  var-delete\n"));

  const std::string Doc = outputOf("orvy-generate-help");
  EXPECT_THAT(Doc, StartsWith("== Commands\n[["));
  EXPECT_THAT(Doc, HasSubstr("[[alias]]\n=== alias\n\nset a command alias\n\n"
                             "NOTE: This command does not have any aliases.\n\n"
                             "==== Arguments\n\n[options=\"header\"]\n"
                             "|============================\n"
                             "| Option | Type | Description\n"
                             "| command | string | \n| name | string | \n"
                             "|============================\n\n"));
  EXPECT_THAT(Doc, HasSubstr("[[env]]\n=== env\n\nAlias for <<var-print-all>>.\n\n"));
  EXPECT_THAT(Doc, HasSubstr("| count | integer | How often\n| obj | object | The object\n"
                             "|============================\n\n==== Aliases\n\nt, tst\n\n"));
  EXPECT_THAT(Doc, HasSubstr("[[var-print-all]]\n=== var-print-all\n\nprint all variables\n\n"
                             "NOTE: This command takes no named arguments.\n\n"
                             "==== Aliases\n\nvars, env\n\n"));
}

TEST_F(Commands, ImportVariablesThatTheEnvironmentHas) {
  ::setenv("ORVY_TEST_A", "from=outside", 1);
  ::setenv("ORVY_TEST_EMPTY", "", 1);
  EXPECT_EQ(execute("import-env", {"var=ORVY_TEST_A"}), 0);
  EXPECT_EQ(execute("import-env", {"var=ORVY_TEST_EMPTY"}), 1);
  EXPECT_EQ(outputOf("vars"), "ORVY_TEST_A=from=outside\n");
  EXPECT_EQ(execute("import-env"), 0);
  EXPECT_NE(Var::findVariable("PATH"), nullptr);
  EXPECT_EQ(Var::findVariable("ORVY_TEST_EMPTY"), nullptr);
}

int Calls = 0;

int handlePoke(void *Ctxt) {
  ++Calls;
  EXPECT_EQ(orvy_cmdGetData(Ctxt), &Calls);
  EXPECT_EQ(orvy_cmdGetInterpreter(Ctxt), nullptr);
  EXPECT_EQ(orvy_cmdGetOptionAsInteger(Ctxt, "int"), -5000000000);
  EXPECT_EQ(orvy_cmdGetOptionAsReal(Ctxt, "real"), 0.5);
  EXPECT_EQ(orvy_cmdGetOptionAsObject(Ctxt, "obj"), orvy_objectForName("model"));
  EXPECT_STREQ(orvy_cmdGetOptionAsString(Ctxt, "obj"), "model");
  EXPECT_EQ(orvy_cmdOptionIsValid(Ctxt, "int"), 1);
  EXPECT_EQ(orvy_cmdOptionIsValid(Ctxt, "none"), 0);
  EXPECT_EQ(orvy_cmdGetPosOptSize(Ctxt), 1u);
  EXPECT_STREQ(orvy_cmdGetPosOpt(Ctxt, 0), "word");
  EXPECT_DEATH(orvy_cmdGetPosOpt(Ctxt, 1), "internal error");
  EXPECT_DEATH(orvy_cmdOptionIsValid(Ctxt, "undeclared"), "internal error");
  return 3;
}

TEST_F(Commands, ComeFromPluginsAsWell) {
  createModel("model");
  void *Cmd = orvy_createCmd(" \n\tpoke \r", handlePoke, "Poke", &Calls);
  orvy_cmdAddOption(Cmd, "int", ovOK_Int, 1, "", nullptr);
  orvy_cmdAddOption(Cmd, "real", ovOK_Double, 0, "", nullptr);
  orvy_cmdAddOption(Cmd, "obj", ovOK_Object, 0, "", nullptr);
  orvy_cmdAddOption(Cmd, "none", 77, 0, "", nullptr);
  EXPECT_EQ(execute("poke", {"int=-5000000000", "real=.5", "obj=model", "none=x", "word"}), 3);
  EXPECT_EQ(Calls, 1);
  for (const char *Reserved : {"if", " else", "while\n", "for"})
    EXPECT_EQ(orvy_createCmd(Reserved, handlePoke, "", nullptr), nullptr) << Reserved;
  EXPECT_EQ(errorsOf([] { EXPECT_NE(orvy_createCmd("t", handlePoke, "", nullptr), nullptr); }),
            "error: command 't' already registered\n");
}

TEST_F(Commands, CheckNamesOfVariablesFromPlugins) {
  EXPECT_EQ(orvy_cmdSetVariable("a_1", "x"), 0);
  EXPECT_STREQ(orvy_cmdGetVariable("a_1"), "x");
  EXPECT_EQ(orvy_cmdGetVariable("unknown"), nullptr);
  for (const char *Name : {"", "1abc", "a-b", "_a"})
    EXPECT_EQ(orvy_cmdSetVariable(Name, "x"), -1) << Name;
  EXPECT_EQ(orvy_cmdSetVariable("a", nullptr), -1);
  EXPECT_EQ(orvy_cmdSetVariable(nullptr, "x"), -1);
}

} // namespace
