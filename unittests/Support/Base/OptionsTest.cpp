#include "orvy/Support/CommandLineOptions.h"

#include <gmock/gmock.h>

using namespace orvy::cl;
using testing::ElementsAre;
using Strings = std::vector<std::string>;

namespace {

bool parse(std::initializer_list<const char *> Words) {
  std::vector<const char *> Arguments = {"/usr/bin/program"};
  Arguments.insert(Arguments.end(), Words);
  return parseCommandLineOptions(static_cast<int>(Arguments.size()), Arguments.data());
}

class Options : public testing::Test {
protected:
  opt<bool> Flag{longName("flag"), shortName('f')};
  opt<int> Number{longName("number"), shortName('n')};
  opt<unsigned int> Count{longName("count")};
  opt<char> Letter{longName("letter")};
  opt<double> Real{longName("real")};
  opt<std::string> Text{longName("ab"), initialiser<std::string>("initial")};
  list<std::string> Names{longName("names")};
  list<int> Numbers{longName("numbers")};
};

TEST_F(Options, HoldTheirInitialValues) {
  EXPECT_FALSE(Flag);
  EXPECT_EQ(Number, 0);
  EXPECT_EQ(Letter, '\0');
  EXPECT_EQ(Real, 0.0);
  EXPECT_EQ(static_cast<std::string &>(Text), "initial");
  EXPECT_EQ(Names.size(), 0u);
  EXPECT_FALSE(Number.isGiven());
  EXPECT_EQ(Number.getCategory(), "General");
  EXPECT_EQ(Number.getValueName(), "value");
}

TEST_F(Options, ReadLongAndShortForms) {
  ASSERT_TRUE(parse({"--number=5", "--count", "7", "-f", "--letter=x", "--real=2.5", "--ab", "y"}));
  EXPECT_EQ(Number, 5);
  EXPECT_EQ(Count, 7u);
  EXPECT_TRUE(Flag);
  EXPECT_EQ(Letter, 'x');
  EXPECT_EQ(Real, 2.5);
  EXPECT_EQ(static_cast<std::string &>(Text), "y");
  EXPECT_EQ(Count.getPosition(), 1u) << "the option's word, not the value's";
  EXPECT_EQ(Real.getPosition(), 5u);
  ASSERT_TRUE(parse({"-n", "-5"}));
  EXPECT_EQ(Number, -5);
  ASSERT_TRUE(parse({"-n=6", "-fxyz", "--number="}));
  EXPECT_EQ(Number, 0);
  ASSERT_TRUE(parse({}));
}

struct BoolCase {
  const char *Word;
  bool Succeeds;
  bool Value;
};

TEST_F(Options, ReadYesAndNo) {
  const BoolCase Cases[] = {
      {"--flag", true, true},        {"--flag=no", true, false},    {"--flag=yes", true, true},
      {"--flag=false", true, false}, {"--flag=true", true, true},   {"--flag=0", true, false},
      {"--flag=1", true, true},      {"--flag=maybe", false, true}, {"--flag=", true, true},
  };
  for (const BoolCase &Case : Cases) {
    EXPECT_EQ(parse({Case.Word}), Case.Succeeds) << Case.Word;
    EXPECT_EQ(Flag, Case.Value) << Case.Word;
    EXPECT_EQ(Flag.isGiven(), Case.Succeeds);
  }
}

TEST_F(Options, ReadNumbersInTheBaseOfTheirPrefix) {
  EXPECT_TRUE(parse({"-n=0x10"}));
  EXPECT_EQ(Number, 16);
  EXPECT_TRUE(parse({"-n=010"}));
  EXPECT_EQ(Number, 8);
  EXPECT_FALSE(parse({"-n=12a"}));
  EXPECT_EQ(Number, 12);
  EXPECT_TRUE(parse({"--number=4294967297"}));
  EXPECT_EQ(Number, 1) << "cut to 32 bits";
  EXPECT_TRUE(parse({"--count=0xffffffff"}));
  EXPECT_EQ(Count, 0xffffffffu);
  EXPECT_FALSE(parse({"--real=1.5x"}));
  EXPECT_EQ(Real, 1.5);
  EXPECT_FALSE(parse({"--letter=ab"}));
  EXPECT_EQ(Letter, '\0');
  EXPECT_FALSE(parse({"--letter="}));
}

TEST_F(Options, RefuseMalformedWords) {
  for (const char *Word : {"--ab=1", "--=1", "--a=1", "--", "-", "--unknown", "--unknown=1", "-q",
                           "-q=1", "-ny=5", "-=5", "--number", "-n", "-5"})
    EXPECT_FALSE(parse({Word})) << Word;
  EXPECT_FALSE(parse({"--number=1", "--bad", "--number=2"}));
  EXPECT_EQ(Number, 1) << "stops at the first failure";
}

TEST_F(Options, ListsCollectFromEveryMention) {
  ASSERT_TRUE(parse({"--names=a,b", "--names", "c"}));
  EXPECT_THAT(static_cast<Strings &>(Names), ElementsAre("a", "b", "c"));
  EXPECT_EQ(Names.position(0), 0u);
  EXPECT_EQ(Names.position(1), 0u);
  EXPECT_EQ(Names.position(2), 1u);
  Names.clear();
  EXPECT_EQ(Names.size(), 0u);

  EXPECT_FALSE(parse({"--numbers=1,x,3"}));
  EXPECT_THAT(static_cast<std::vector<int> &>(Numbers), ElementsAre(1, 3));
  EXPECT_FALSE(Numbers.isGiven());
}

TEST(ListValue, SplitsAtCommasOutsideQuotes) {
  EXPECT_THAT(splitListValue(""), ElementsAre(""));
  EXPECT_THAT(splitListValue("a,"), ElementsAre("a", ""));
  EXPECT_THAT(splitListValue("'a,b',c\"d'e\"f"), ElementsAre("a,b", "cd'ef"));
  EXPECT_THAT(splitListValue("\"open,end"), ElementsAre("open,end"));
}

TEST(PositionalWords, GoToTheirOption) {
  CommandLineParser Bare;
  const char *Words[] = {"program", "one", "two"};
  EXPECT_TRUE(Bare.parseCommandLineOptions(3, Words));
  EXPECT_THAT(Bare.getPositionalWords(), ElementsAre("one", "two")) << "kept though nobody asks";

  list<std::string> Files{positional(), valueName("file"), description("Scripts to run")};
  EXPECT_TRUE(parse({"x", "y"}));
  EXPECT_THAT(static_cast<Strings &>(Files), ElementsAre("x", "y"));
  EXPECT_EQ(Files.position(1), 1u);
}

TEST(PositionalWordsDeathTest, OnlyOneOptionTakesThem) {
  opt<std::string> First{positional()};
  EXPECT_DEATH(opt<int> Second{positional()}, "multiple positional opts not supported");
}

TEST(Parser, ForgetsAnOptionThatIsGone) {
  { opt<bool> Passing{longName("passing"), shortName('p'), positional()}; }
  EXPECT_FALSE(parse({"--passing"}));
  EXPECT_FALSE(parse({"-p"}));
  EXPECT_TRUE(parse({"word"}));
  EXPECT_EQ(orvy_parseCommandLineOptions(0, nullptr), 0);
}

TEST(Parser, ALaterDeclarationTakesTheName) {
  opt<int> Earlier{longName("twice")};
  opt<int> Later{longName("twice")};
  EXPECT_TRUE(parse({"--twice=3"}));
  EXPECT_EQ(Earlier, 0);
  EXPECT_EQ(Later, 3);
}

TEST(Parser, PrintsHelpByCategory) {
  opt<bool> Verbose{longName("verbose"), shortName('v'), category("Zoo"), description("Say more")};
  opt<int> Only{shortName('o'), category("Zoo"), valueName("n"), description("Only short")};
  opt<int> Long{longName("another"), category("Zoo"), description("Only long")};
  list<std::string> Files{positional(), valueName("file"), description("Scripts to run")};
  ASSERT_TRUE(parse({}));
  testing::internal::CaptureStderr();
  orvy_printCommandLineHelp();
  const std::string Help = testing::internal::GetCapturedStderr();
  EXPECT_THAT(Help, testing::StartsWith("USAGE: program [options] <file>...\n"
                                        "OPTIONS:\n"
                                        "\nPositional:\n  <file>: Scripts to run\n"
                                        "\nGeneral:\n\n"));
  EXPECT_THAT(Help,
              testing::HasSubstr("\n  --lib-path=<path>: Paths to add to plugin loading dirs\n"));
  EXPECT_THAT(Help, testing::HasSubstr("\nLogging:\n\n"
                                       "  --log-stderr: Change default log output to stderr\n"));
  EXPECT_THAT(Help, testing::EndsWith("\nZoo:\n\n"
                                      "  --another=<value>: Only long\n"
                                      "  -o=<n>: Only short\n"
                                      "  -v | --verbose: Say more\n"));
}

TEST(Tokenizer, SplitsWords) {
  const std::pair<const char *, Strings> Cases[] = {
      {"", {}},
      {" a\tb\nc\r", {"a", "b", "c"}},
      {R"(a\ b 'c d' "e f"g)", {"a b", "c d", "e fg"}},
      {R"("a\"b" 'c\'d')", {"a\"b", "c'd"}},
      {R"('' x)", {"", "x"}},
      {R"('open word)", {"open word"}},
      {R"(end\)", {"end\\"}},
      {R"("end\)", {"end\\"}},
  };
  for (const auto &[Text, Expected] : Cases) {
    std::string Input = Text;
    Strings Words;
    tokenizeCommandLine(Input, Words);
    EXPECT_EQ(Words, Expected) << Text;
  }
}

} // namespace
