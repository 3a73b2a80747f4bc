#include "orvy/Support/Lexer.h"

#include <gmock/gmock.h>

#include <cmath>
#include <utility>
#include <vector>

using namespace orvy::cl;
using testing::ElementsAre;
using namespace std::string_literals;

namespace {

/// The tokens of a text up to the end, as "kind:text".
std::string tokensOf(std::string_view Text) {
  std::string Tokens;
  Lexer Input(Text, Tracing::Off);
  for (Input.consumeToken(); Input.peekNextToken().Kind != TokenKind::Eof; Input.consumeToken()) {
    const Token Next = Input.peekNextToken();
    Tokens += Tokens.empty() ? "" : " ";
    Tokens += std::to_string(static_cast<int>(Next.Kind)) + ":" + std::string(Next.getText());
  }
  return Tokens;
}

Token firstOf(std::string_view Text) {
  Lexer Input(Text, Tracing::Off);
  Input.consumeToken();
  return Input.peekNextToken();
}

TEST(Lexer, SplitsTexts) {
  const std::pair<std::string, std::string> Cases[] = {
      {"", ""},
      {" \t\v\f\r ", ""},
      {"if elif else while for ret fn",
       "270:if 271:elif 272:else 273:while 274:for 275:ret 276:fn"},
      {"i fo iff If else-if", "259:i 259:fo 259:iff 259:If 259:else-if"},
      {"a-b a_1 x9-", "259:a-b 259:a_1 259:x9-"},
      {"|| && ^^ << >> <= >= ==", "277:|| 278:&& 279:^^ 280:<< 281:>> 282:<= 283:>= 284:=="},
      {"<<<===>", "280:<< 282:<= 284:== 62:>"},
      {"!=a", "33:! 61:= 259:a"},
      {"1<", "256:1 60:<"},
      {"!$%&()*+,-./", "33:! 36:$ 37:% 38:& 40:( 41:) 42:* 43:+ 44:, 45:- 46:. 47:/"},
      {":;<=>?[]^{|}~", "58:: 59:; 282:<= 62:> 63:? 91:[ 93:] 94:^ 123:{ 124:| 125:} 126:~"},
      {"0 017 1_000 0_1", "256:0 256:017 256:1_000 256:0_1"},
      {"0b1010_1010 0o17 0xFF_fF", "256:0b1010_1010 256:0o17 256:0xFF_fF"},
      {"0B12 0O78 0XfG 00x1", "256:0B1 256:2 256:0O7 256:8 256:0Xf 259:G 256:00 259:x1"},
      {"1.5e3 1. 0.5_0E-1_0 1.5e+3.5", "257:1.5e3 257:1. 257:0.5_0E-1_0 257:1.5e+3.5"},
      {"1e3 1.5+3 0x1.5 1.e.2.3",
       "256:1 259:e3 257:1.5 43:+ 256:3 256:0x1 46:. 256:5 257:1.e.2 46:. 256:3"},
      {"'' \"\" 'a\"b' \"it's\" '\\'", "258:'' 258:\"\" 258:'a\"b' 258:\"it's\" 258:'\\'"},
      {"'a\nb'", "258:'a\nb'"},
      {"a # b\nc#", "259:a 59: 259:c"},
      {"\n\n a\n # x\n\nb\n", "59: 259:a 59: 259:b 59:"},
      {"a\\\nb \\\n\\\n c", "259:a 259:b 259:c"},
      {"a\\\n\nb", "259:a 59: 259:b"},
      {"a @ b", "259:a"},
      {"a \\# b", "259:a"},
      {"a \\b", "259:a"},
      {"a \0 b"s, "259:a"},
      {"_a", ""},
      {"\xc3\xa9", ""},
  };
  for (const auto &[Text, Tokens] : Cases)
    EXPECT_EQ(tokensOf(Text), Tokens) << Text;
}

TEST(Lexer, GoesOnAfterABackslashWithoutMeaning) {
  Lexer Input("\\# b\n\\c", Tracing::Off);
  std::vector<TokenKind> Kinds;
  for (int Count = 0; Count < 5; ++Count) {
    Input.consumeToken();
    Kinds.push_back(Input.peekNextToken().Kind);
  }
  EXPECT_THAT(Kinds, ElementsAre(TokenKind::Eof, TokenKind(';'), TokenKind::Eof, TokenKind::Ident,
                                 TokenKind::Eof));
}

TEST(Lexer, ReadsIntegers) {
  const std::pair<const char *, uint64_t> Cases[] = {
      {"0", 0},
      {"017", 17},
      {"1_000", 1000},
      {"0b1010_1010", 170},
      {"0B1", 1},
      {"0o17", 15},
      {"0O_7", 7},
      {"0xFF_FF", 65535},
      {"0Xa", 10},
      {"0x", 0},
      {"0b_", 0},
      {"18446744073709551615", 18446744073709551615u},
      {"18446744073709551616", 18446744073709551615u},
      {"0x1_ffff_ffff_ffff_ffff", 18446744073709551615u},
  };
  for (const auto &[Text, Value] : Cases)
    EXPECT_EQ(firstOf(Text).getIntegerValue(), Value) << Text;
}

TEST(Lexer, ReadsRealNumbersAndQuotedTexts) {
  const std::pair<const char *, double> Cases[] = {
      {"1.5", 1.5},     {"1.", 1},     {"0.25e2", 25},        {"1.5e3.5", 1500},
      {"2.5E-1", 0.25}, {"1.5e", 1.5}, {"1.0e999", HUGE_VAL},
  };
  for (const auto &[Text, Value] : Cases)
    EXPECT_EQ(firstOf(Text).getRealValue(), Value) << Text;
  EXPECT_EQ(firstOf("'it'").getStringValue(), "'it'");
  EXPECT_EQ(firstOf("''").getStringValue(), "''");
}

TEST(LexerDeathTest, GivesNoValueOfAnotherKind) {
  EXPECT_DEATH(firstOf("a").getIntegerValue(), "internal error");
  EXPECT_DEATH(firstOf("1").getRealValue(), "internal error");
  EXPECT_DEATH(firstOf("1").getStringValue(), "internal error");
}

TEST(Lexer, SaysWhetherTheTextIsCut) {
  const std::pair<const char *, bool> Cases[] = {
      {"", false},       {"a", false},     {"\"abc", true}, {"'", true},     {"'abc\"", true},
      {"'a\n", true},    {"''", false},    {"\\", true},    {" \\\n", true}, {"\\\n # x", true},
      {"\\\n\n", false}, {"\\\na", false}, {"# \\", false}, {"\\x", false},
  };
  for (const auto &[Text, IsCut] : Cases) {
    Lexer Input(Text, Tracing::Off);
    Input.consumeToken();
    EXPECT_EQ(Input.isCut(), IsCut) << Text;
  }
}

TEST(Lexer, TellsPlaces) {
  Lexer Input("a 'b\nc' # d\n  e", Tracing::Off);
  std::vector<std::pair<uint32_t, uint32_t>> Places;
  for (int Count = 0; Count < 5; ++Count) {
    Input.consumeToken();
    Places.emplace_back(Input.peekNextToken().Loc.Line, Input.peekNextToken().Loc.Column);
  }
  EXPECT_THAT(Places, ElementsAre(std::pair(1, 1), std::pair(1, 3), std::pair(3, 3),
                                  std::pair(3, 3), std::pair(3, 4)));
}

TEST(Lexer, MovesByCharactersAndStartsAgain) {
  Lexer Input("a\xff", Tracing::Off);
  EXPECT_EQ(Input.getChar(), 'a');
  EXPECT_EQ(Input.peekChar(), 0xff);
  EXPECT_FALSE(Input.peekEof());
  Input.consumeChar();
  EXPECT_TRUE(Input.peekEof());
  EXPECT_FALSE(Input.eof());
  EXPECT_EQ(Input.peekChar(), -1);
  Input.consumeChar();
  Input.consumeChar();
  EXPECT_TRUE(Input.eof());
  EXPECT_TRUE(Input.peekEof());
  EXPECT_EQ(Input.getChar(), -1);
  Input.restart("b");
  EXPECT_EQ(Input.getChar(), 'b');
}

TEST(Lexer, SaysThatItTakesARealNumber) {
  testing::internal::CaptureStderr();
  Lexer Input("1.5 2");
  for (int Count = 0; Count < 3; ++Count)
    Input.consumeToken();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "lexing float\n");
}

} // namespace
