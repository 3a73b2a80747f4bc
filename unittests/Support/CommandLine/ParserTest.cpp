#include "orvy/Support/Parser.h"

#include "Testing/Expressions.h"

#include <gmock/gmock.h>

#include <span>
#include <utility>

using namespace orvy::cl;
using namespace orvy::testing;
using Strings = std::vector<std::string>;

namespace {

std::string repeat(const char *Text, int Count) {
  std::string Result;
  while (Count-- > 0)
    Result += Text;
  return Result;
}

struct Parsed {
  std::string Tree;
  Strings Complaints;
  bool WantsMore;
};

Parsed parse(std::string_view Text) {
  Parsed Result;
  Result.Complaints = complaintsOf([&] {
    Parser Input(Text);
    Input.consumeToken();
    const OwnedNode Node = Input.parseCommand();
    Result.Tree = treeOf(Node.get());
    Result.WantsMore = Input.wantsMore();
  });
  return Result;
}

TEST(ExprParser, BuildsTrees) {
  const std::pair<std::string, std::string> Cases[] = {
      {"1", "[ 1 ]"},
      {"1 2; 3", "[ 1 2 ]"},
      {"$c 'b' 1.5 a", "[ $c 'b' 1.5 a ]"},
      {"${d} + $e * ${1} - ${if}", "[ (- (+ $d (* $e $1)) $if) ]"},
      {"(1 + 2) * 3", "[ (* (+ 1 2) 3) ]"},
      {"-1 + 2", "[ (- (+ 1 2)) ]"},
      {"1 * -2 + 3", "[ (* 1 (- (+ 2 3))) ]"},
      {"(-1) + 2", "[ (+ (- 1) 2) ]"},
      {"!~-1", "[ (! (~ (- 1))) ]"},
      {"f() g(1) h(1 + 2, 'x', k(3))", "[ (f()) (g() 1) (h() (+ 1 2) 'x' (k() 3)) ]"},
      {"f (1)", "[ (f() 1) ]"},
      {"if 1 { } else { }", "(if 1 { } else { })"},
      {"if a < 1 {\n b 1\n\n c; d;\n} else {\n e }",
       "(if (< a 1) { [ b 1 ] [ c ] [ d ] } else { [ e ] })"},
      {"if 1 { if 2 { 3 } else { 4 } }", "(if 1 { (if 2 { [ 3 ] } else { [ 4 ] }) })"},
      {"if 1 { 2 } elif 3 { 4 } elif 5 { } else { 6 }",
       "(if 1 { [ 2 ] } elif 3 { [ 4 ] } elif 5 { } else { [ 6 ] })"},
      {"1 + \\\n 2", "[ (+ 1 2) ]"},
  };
  for (const auto &[Text, Tree] : Cases) {
    const Parsed Result = parse(Text);
    EXPECT_EQ(Result.Tree, Tree) << Text;
    EXPECT_THAT(Result.Complaints, testing::IsEmpty()) << Text;
    EXPECT_FALSE(Result.WantsMore) << Text;
  }
}

struct Operator {
  const char *Text;
  int Precedence;
};

constexpr Operator Operators[] = {
    {".", 1},   {"*", 3},   {"/", 3},   {"%", 3},  {"+", 4},  {"-", 4},  {"<<", 5}, {">>", 5},
    {"<", 6},   {">", 6},   {"<=", 6},  {">=", 6}, {"==", 6}, {"&", 8},  {"^", 9},  {"|", 10},
    {"&&", 11}, {"^^", 12}, {"||", 13}, {"=", 14}, {"!", 15}, {"$", 15}, {":", 15}, {"?", 15},
};

/// The tree of names with operators between them: the last one of the loosest is its root.
std::string grouped(std::span<const Operator *const> Ops, char First = 'a') {
  if (Ops.empty())
    return {First};
  size_t Root = 0;
  for (size_t Index = 1; Index < Ops.size(); ++Index)
    if (Ops[Index]->Precedence >= Ops[Root]->Precedence)
      Root = Index;
  return std::string("(") + Ops[Root]->Text + " " + grouped(Ops.first(Root), First) + " " +
         grouped(Ops.subspan(Root + 1), static_cast<char>(First + Root + 1)) + ")";
}

TEST(ExprParser, GroupsOperatorsByPrecedenceAndFromTheLeft) {
  for (const Operator &A : Operators)
    for (const Operator &B : Operators)
      for (const Operator &C : Operators) {
        const Operator *Ops[] = {&A, &B, &C};
        const std::string Text =
            std::string("a ") + A.Text + " b " + B.Text + " c " + C.Text + " d";
        ASSERT_EQ(treeOf(parseExpr(Text).get()), grouped(Ops)) << Text;
      }
}

TEST(ExprParser, KnowsBinaryOperators) {
  const auto First = [](const char *Text) {
    Lexer Input(Text, Tracing::Off);
    Input.consumeToken();
    return Input.peekNextToken();
  };
  for (const Operator &Each : Operators) {
    EXPECT_EQ(First(Each.Text).getPrecedence(), Each.Precedence) << Each.Text;
    EXPECT_TRUE(First(Each.Text).isBinOp()) << Each.Text;
  }
  for (const char *Text :
       {"(", ")", ",", ";", "[", "]", "{", "}", "~", "1", "1.5", "'a'", "a", "if", ""})
    EXPECT_FALSE(First(Text).isBinOp()) << Text;
}

struct Wrong {
  std::string Text;
  const char *Tree;
  const char *Messages; // with '|' between them
};

void expectComplaints(const Wrong &Each, bool WantsMore) {
  const Parsed Result = parse(Each.Text);
  std::string Messages;
  for (const std::string &Line : Result.Complaints)
    Messages += (Messages.empty() ? "" : "|") + Line.substr(Line.find("error: ") + 7);
  const std::string Start = Each.Text.substr(0, 40);
  EXPECT_EQ(Result.Tree, Each.Tree) << Start;
  EXPECT_EQ(Messages, Each.Messages) << Start;
  EXPECT_EQ(Result.WantsMore, WantsMore) << Start;
}

TEST(ExprParser, SaysWhatIsWrong) {
  const Wrong Cases[] = {
      {"", "null", "Expected expression in command."},
      {";", "null", "Expected expression in command."},
      {"# x", "null", "Expected expression in command."},
      {")", "null", "Bad token '41'.|Expected expression in command."},
      {"1 )", "[ 1 ]", "Bad token '41'."},
      {"1 }", "[ 1 ]", "Bad token '125'."},
      {"1 +", "null", "Bad token '300'.|Expected expression in command."},
      {"1 + * 2", "null", "Bad token '42'.|Expected expression in command."},
      {"1 + 2 * ;", "null", "Bad token '59'.|Expected expression in command."},
      {"-", "null", "Bad token '300'.|Expected expression in command."},
      {"a != b", "null", "Bad token '61'.|Expected expression in command."},
      {"$1", "null", "Bad token '256'.|Expected expression in command."},
      {"else", "null", "Bad token '272'.|Expected expression in command."},
      {"(1", "null", "Expected ')'.|Expected expression in command."},
      {"f(1", "null", "Expected ')'.|Expected expression in command."},
      {"f(,)", "null", "Bad token '44'.|Expected expression in command."},
      {"${a b}", "[ $a b ]", "Bad token '125'."},
      {"${a\n", "[ $a ]", ""},
      {"if", "null", "Bad token '300'."},
      {"if 1", "null", ""},
      {"if 1 2 { }", "null", ""},
      {"if 1 { 2 )", "null", "Bad token '41'.|Expected '}' at end of then branch."},
      {"if 1 { @", "null", "Expected '}' at end of then branch."},
      {"if 1 { (2 }", "null", "Expected ')'.|Expected expression in command."},
      {"if 1 { } else", "null", "Expected '{'."},
      {"if 1 { } else { 2 )", "null", "Bad token '41'.|Expected '}'."},
      {"if 1 { } elif", "null", "Bad token '300'."},
      {"if 1 { } elif 2", "null", "Expected '{'."},
      {"if 1 { while 2 { } }", "null", "Unsupported construct."},
      {"while 1 { }", "null", "Unsupported construct."},
      {"for", "null", "Unsupported construct."},
      {"ret 1", "null", "Unsupported construct."},
      {"fn f() { }", "null", "Unsupported construct."},
  };
  for (const Wrong &Each : Cases)
    expectComplaints(Each, /*WantsMore=*/false);
}

TEST(ExprParser, SaysWhatMoreLinesMayComplete) {
  const Wrong Cases[] = {
      {"${a", "[ $a ]", ""},
      {"${", "[ $ ]", ""},
      {"if 1 {", "null", "Expected '}' at end of then branch."},
      {"if 1 { 2\n", "null", "Expected '}' at end of then branch."},
      {"if 1 { } else {", "null", "Expected '}'."},
      {"if 1 { } elif 2 {", "null", "Expected '}' at end of then branch."},
      {"if 1 { 'a", "null", "Expected '}' at end of then branch."},
      {"'a", "[ 'a ]", ""},
      {"f('a", "null", "Expected ')'.|Expected expression in command."},
      {"1 + \\\n", "null", "Bad token '300'.|Expected expression in command."},
      {"1 \\\n", "[ 1 ]", ""},
  };
  for (const Wrong &Each : Cases)
    expectComplaints(Each, /*WantsMore=*/true);
}

TEST(ExprParser, RefusesWhatIsNestedTooDeeply) {
  const char *Refusal = "Nested too deeply.|Expected expression in command.";
  for (const std::string &Text :
       {repeat("(", 10000), repeat("(", 10000) + "1" + repeat(")", 10000), repeat("f(", 10000),
        repeat("-", 10000) + "1", repeat("1 + (", 10000), repeat("1 || 2 * (", 10000)})
    expectComplaints({Text, "null", Refusal}, /*WantsMore=*/false);
  expectComplaints({repeat("if 1 { ", 10000), "null", "Nested too deeply."}, /*WantsMore=*/false);
}

TEST(ExprParser, Takes255BracketsAndSumsOfAnyLength) {
  EXPECT_EQ(parse(repeat("(", 255) + "1" + repeat(")", 255)).Tree, "[ 1 ]");
  EXPECT_EQ(valueOf(parseExpr("1" + repeat(" + 1", 100000)).get()), "u100001");
  EXPECT_EQ(parse("if 0 { }" + repeat(" elif 0 { }", 10000)).Complaints, Strings());
}

TEST(ExprParser, ReportsWithTheLine) {
  EXPECT_EQ(
      parse("if 1 {\n\n 2 )").Complaints,
      (Strings{"3: error: Bad token '41'.", "3: error: Expected '}' at end of then branch."}));
}

TEST(ExprParser, SaysWhatItDoes) {
  const char *Cases[][2] = {
      {"hex(1.5) a",
       "next token = 259\nIdent: hex\ntrying to parse func call\nlexing float\nReal: 1.50\n"
       "finished parsing func call\nnext token = 259\nIdent: a\nreturn exprs 2\n"},
      {"'x' )",
       "next token = 258\nString: 'x'\nnext token = 41\n1: error: Bad token '41'.\neof...\n"
       "return exprs 1\n"},
      {"if 7 { } else { }",
       "parsing if statement\nInteger: 7\nparsed if header\ndo parse command sequence\n"
       "got command sequence\nshould have right curly here 125\nparsed right curly\nparsing else\n"
       "got left curly in else\ngot right curly in else\n"},
  };
  for (const auto &[Text, Trace] : Cases) {
    const auto Parse = [Text = Text] {
      Parser Input(Text);
      Input.consumeToken();
      Input.parseCommand();
    };
    EXPECT_EQ(errorsOf(Parse), Trace);
  }
}

TEST(ExprParser, StartsAgain) {
  Parser Input("if 1 {", Tracing::Off);
  Input.consumeToken();
  Input.parseCommand();
  EXPECT_TRUE(Input.isUnclosed());
  Input.restart("1; ; 2 3\n4");
  EXPECT_FALSE(Input.isUnclosed());
  Input.consumeToken();
  EXPECT_EQ(treeOf(Input.parseCommandSeq().get()), "{ [ 1 ] [ 2 3 ] [ 4 ] }");
}

} // namespace
