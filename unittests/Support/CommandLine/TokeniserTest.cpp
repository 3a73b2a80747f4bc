#include "orvy/Support/Tokeniser.h"

#include <gmock/gmock.h>

using orvy::cl::Tokeniser;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;
using Strings = std::vector<std::string>;

namespace {

struct Case {
  std::string Text;
  int Result;
  Strings Words;
};

TEST(Tokeniser, SplitsATextAndTakesQuotesAndBackslashes) {
  const Case Cases[] = {
      {"", 0, {}},
      {" \t ", 0, {}},
      {"a", 0, {"a"}},
      {"\tset  var=a\tval=b ", 0, {"set", "var=a", "val=b"}},
      {"a\nb", 0, {"a"}},
      {"a\0b"s, 0, {"a"}},
      {"{a}(b)[c]<d>", 0, {"{a}(b)[c]<d>"}},
      {"caf\xc3\xa9 \xff", 0, {"caf\xc3\xa9", "\xff"}},
      {"a\r", 0, {"a\r"}},
      {"\r \v\f x", 0, {"x"}},
      {"it#s", 0, {"it#s"}},
      {R"('it''s')", 0, {"its"}},
      {R"(a'b c'd)", 0, {"ab cd"}},
      {R"(x="a b")", 0, {"x=a b"}},
      {R"('' "" a)", 0, {"a"}},
      {R"(' ' "	" \ )", 0, {" ", "\t", " "}},
      {R"(' ')"
       "\r \r",
       0,
       {" \r"}},
      {R"(a\ b)", 0, {"a b"}},
      {R"(\"\'\\\x\$)", 0, {R"("'\x$)"}},
      {R"("\"\'\\\x\$\n")", 0, {R"("'\\x\$\n)"}},
      {R"('\"\\' '"')", 0, {R"(\"\\)", "\""}},
      {R"("it's" 'a"b')", 0, {"it's", "a\"b"}},
      {"'a\nb' \"c\nd\"", 0, {"a\nb", "c\nd"}},
      {"\"a\\\nb\" c\\\nd", 0, {"ab", "cd"}},
      {"a\\\n\nb", 0, {"a"}},
      {"a\\", 0, {"a\0"s}},
      {"a\\\0b"s, 0, {"a\0b"s}},
      {"a 'b", 1, {"a"}},
      {"a \"b", 2, {"a"}},
      {"a \"b\\", 2, {"a"}},
      {"a b\\\n", 3, {"a"}},
      {"a \\\n", 3, {"a"}},
      {"\"a\\\n", 2, {}},
  };
  for (const Case &Each : Cases) {
    Tokeniser Words;
    EXPECT_EQ(Words.tokString(Each.Text.data(), Each.Text.data() + Each.Text.size()), Each.Result)
        << Each.Text;
    EXPECT_EQ(Words.getTokens(), Each.Words) << Each.Text;
  }
}

struct Pieces {
  Strings Texts;
  std::vector<int> Results;
  Strings Words;
};

TEST(Tokeniser, GoesOnInTheNextText) {
  const Pieces Cases[] = {
      {{"a 'b", " c' d"}, {1, 0}, {"a", "b c", "d"}},
      {{"a 'b\n", "c'"}, {1, 0}, {"a", "b\nc"}},
      {{"\"a\\", "b\""}, {2, 0}, {"a\0b"s}},
      {{"a\\\n", "b c"}, {3, 0}, {"ab", "c"}},
      {{"a \\\n", " \\\n", "b"}, {3, 3, 0}, {"a", "b"}},
      {{"a\\\n", "", "b"}, {3, 0, 0}, {"a", "b"}},
      {{"\"a\\\n", "", "b\" c"}, {2, 2, 0}, {"ab", "c"}},
      {{"a", "b"}, {0, 0}, {"a", "b"}},
  };
  for (const Pieces &Each : Cases) {
    Tokeniser Words;
    std::vector<int> Results;
    for (const std::string &Text : Each.Texts)
      Results.push_back(Words.tokString(Text.c_str()));
    EXPECT_EQ(Results, Each.Results) << Each.Texts[0];
    EXPECT_EQ(Words.getTokens(), Each.Words) << Each.Texts[0];
  }
}

TEST(Tokeniser, DropsWordsAndKeepsItsStateOnReset) {
  Tokeniser Words;
  Words.tokString("one 'two");
  Words.reset();
  EXPECT_THAT(Words.getTokens(), IsEmpty());
  EXPECT_EQ(Words.tokString("three' four"), 0);
  EXPECT_THAT(Words.getTokens(), ElementsAre("three", "four"));
}

TEST(Tokeniser, CountsLines) {
  Tokeniser Words;
  EXPECT_EQ(Words.getLine(), 1u);
  EXPECT_EQ(Words.getStartLine(), 1u);
  Words.tokString("'a\nb' c\\\nd\ne\n");
  EXPECT_EQ(Words.getLine(), 4u) << "what follows the end is not read";
  EXPECT_EQ(Words.getStartLine(), 1u);
  Words.reset();
  EXPECT_EQ(Words.getStartLine(), 4u);
}

TEST(Tokeniser, TakesItsDelimitersAndKeepsTheSpecialCharacters) {
  Tokeniser Words(",'", "<>");
  Words.tokString("a b,c,'d,e'");
  EXPECT_THAT(Words.getTokens(), ElementsAre("a b", "c", "d,e"));
  EXPECT_EQ(Words.getSpecialChars(), "<>");
  EXPECT_EQ(Tokeniser().getSpecialChars(), "{}()[]<>");
}

TEST(Tokeniser, ReadsNoFurtherThanItsText) {
  const std::vector<char> Text = {'a', ' ', 'b'};
  Tokeniser Words;
  EXPECT_EQ(Words.tokString(Text.data(), Text.data() + Text.size()), 0);
  EXPECT_EQ(Words.tokString(nullptr), 0);
  EXPECT_THAT(Words.getTokens(), ElementsAre("a", "b"));
}

} // namespace
