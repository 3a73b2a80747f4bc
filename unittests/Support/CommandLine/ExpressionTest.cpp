#include "orvy/Support/Expression.h"

#include "Testing/Expressions.h"
#include "orvy/Support/TypeChecker.h"
#include "orvy/Support/TypeSystem.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <utility>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::testing;

namespace {

constexpr int64_t Least = std::numeric_limits<int64_t>::min();

TEST(Expressions, HaveValues) {
  const std::pair<const char *, const char *> Cases[] = {
      {"7 / 2", "u3"},
      {"7 % 4", "u3"},
      {"2 * 3 + 1", "u7"},
      {"6 & 3", "u2"},
      {"6 ^ 3", "u5"},
      {"6 | 3", "u7"},
      {"2 > 1", "b1"},
      {"2 <= 1", "b0"},
      {"1 >= 1", "b1"},
      {"2 == 1", "b0"},
      {"0 || 2", "b1"},
      {"1.5e3", "r1500.000000"},
      {"0 - 1", "u18446744073709551615"},
      {"1 << 65 >> 1", "u1"},
      {"1 < 2", "b1"},
      {"(1 < 2) + 1", "void"},
      {"1 < 2 && 2.5 < 1", "b0"},
      {"1 ^^ 0", "b1"},
      {"1 ^^ 2.5", "b0"},
      {"'a' ^^ 1", "void"},
      {"!!7", "b1"},
      {"-1 + 2", "u18446744073709551613"},
      {"~0xFF", "u18446744073709551360"},
      {"-hex(1)", "void"},
      {"1 / 0", "void"},
      {"hex(255)", "0xff"},
      {"hex(0)", "0x0"},
      {"chex(0xAbC)", "0xabc"},
      {"oct(8)", "0o10"},
      {"coct(0)", "0o0"},
      {"dec(0 - 1)", "18446744073709551615"},
      {"cdec(0)", "0"},
      {"bin(5)", "0b0101"},
      {"bin(0x1F0)", "0b0001_1111_0000"},
      {"cbin(0x1F0)", "0b000111110000"},
      {"bin(0)", "0b"},
      {"cbin(1 << 63)", "0b1000000000000000000000000000000000000000000000000000000000000000"},
      {"hex(1.0)", "0x3ff0000000000000"},
      {"hex(1 == 1)", "0x1"},
      {"hex(hex(1))", "0x0"},
      {"hex()", "void"},
      {"hex(1, 2)", "void"},
      {"nope(1)", "void"},
      {"hex(a)", "none"},
      {"1 + hex(a)", "void"},
      {"hex(1, 'a')", "none"},
      {"a", "none"},
      {"$a", "none"},
      {"'a'", "none"},
      {"1 + a", "void"},
      {"'a' + 1", "void"},
      {"-$a", "void"},
      {"1 = 2", "void"},
      {"1 . 2", "void"},
      {"1 ! 2", "void"},
      {"1 $ 2", "void"},
      {"1 : 2", "void"},
      {"1 ? 2", "void"},
      {"1 +", "wrong"},
  };
  for (const auto &[Text, Value] : Cases)
    EXPECT_EQ(valueOf(parseExpr(Text).get()), Value) << Text;
}

// Operators by the kinds of their operands.

using Binary = ExprValue (*)(const ExprValue &, const ExprValue &);

ExprValue u(uint64_t Number) {
  return ExprValue::ofUInt(Number);
}
ExprValue i(int64_t Number) {
  return ExprValue::ofInt(Number);
}
ExprValue r(double Number) {
  return ExprValue::ofReal(Number);
}

TEST(ExprValues, FollowTheKindsOfTheirOperands) {
  const uint64_t All = UINT64_MAX;
  const std::pair<ExprValue, const char *> Cases[] = {
      {i(-7) + i(2), "i-5"},
      {i(-7) + u(2), "u18446744073709551611"},
      {i(Least) - i(1), "i9223372036854775807"},
      {i(Least) * i(-1), "i-9223372036854775808"},
      {u(All) * u(2), "u18446744073709551614"},
      {r(0.5) + u(All), "r18446744073709551616.000000"},
      {u(1) - r(0.5), "r0.500000"},
      {i(-7) / r(2), "r-3.500000"},
      {i(-7) / i(2), "i-3"},
      {i(-7) % i(2), "i-1"},
      {i(7) % i(-2), "i1"},
      {i(-1) / u(2), "u9223372036854775807"},
      {u(7) % i(-2), "u7"},
      {i(Least) / i(-1), "void"},
      {i(Least) % i(-1), "void"},
      {i(1) / i(0), "void"},
      {r(1) % u(2), "void"},
      {i(-1) & i(6), "i6"},
      {i(-2) | i(1), "i-1"},
      {u(5) ^ i(1), "u4"},
      {r(1) & u(1), "void"},
      {i(-8) >> u(1), "i-4"},
      {u(8) >> i(65), "u4"},
      {i(1) << i(-1), "i-9223372036854775808"},
      {i(-1) << u(64), "i-1"},
      {r(1) << u(1), "void"},
      {u(1) >> r(1), "void"},
      {i(-1) < u(1), "b1"},
      {u(1) > i(-1), "b0"},
      {i(-1) == u(All), "b1"},
      {i(-1) >= i(-1), "b1"},
      {i(-1) < r(-0.5), "b1"},
      {r(1e19) > u(All), "b0"},
      {r(NAN) == r(NAN), "b0"},
      {u(0) <= r(NAN), "b0"},
      {r(NAN) && i(-1), "b1"},
      {r(0) || u(0), "b0"},
      {ExprValue::ofBool(true) && u(1), "b1"},
      {-i(Least), "i-9223372036854775808"},
      {-u(1), "u18446744073709551615"},
      {-r(0), "r-0.000000"},
      {+i(-1), "i-1"},
      {~i(0), "i-1"},
      {~r(0), "void"},
      {!i(0), "b1"},
      {!r(NAN), "b0"},
      {!ExprValue::ofBool(false), "b1"},
      {+ExprValue::ofBool(true), "void"},
      {~ExprValue::ofBool(true), "void"},
      {!ExprValue::ofText("a"), "void"},
      {!ExprValue(), "void"},
  };
  for (size_t Index = 0; Index < std::size(Cases); ++Index)
    EXPECT_EQ(show(Cases[Index].first), Cases[Index].second) << "case " << Index;
}

TEST(ExprValues, AreVoidForOperandsThatAreNotNumbers) {
  const ExprValue Strange[] = {ExprValue(), ExprValue::ofText("1"), ExprValue::ofBool(true)};
  const Binary Operators[] = {
      orvy::cl::operator+,  orvy::cl::operator-,  orvy::cl::operator*,  orvy::cl::operator/,
      orvy::cl::operator%,  orvy::cl::operator&,  orvy::cl::operator^,  orvy::cl::operator|,
      orvy::cl::operator<<, orvy::cl::operator>>, orvy::cl::operator<,  orvy::cl::operator>,
      orvy::cl::operator<=, orvy::cl::operator>=, orvy::cl::operator==,
  };
  for (size_t Index = 0; Index < std::size(Operators); ++Index)
    for (const ExprValue &Each : Strange)
      for (const ExprValue &Number : {u(1), i(1), r(1), Each}) {
        EXPECT_EQ(show(Operators[Index](Each, Number)), "void") << Index;
        EXPECT_EQ(show(Operators[Index](Number, Each)), "void") << Index;
      }
  for (const ExprValue &Each : {Strange[0], Strange[1]}) {
    EXPECT_EQ(show(Each && u(1)), "void");
    EXPECT_EQ(show(u(1) || Each), "void");
  }
}

// Statements and commands.

std::string traceOf(const char *Text) {
  Parser Input(Text, Tracing::Off);
  Input.consumeToken();
  const OwnedNode Command = Input.parseCommand();
  return errorsOf([&] {
    ExprEvaluator Evaluator;
    Command->accept(&Evaluator);
    EXPECT_EQ(Evaluator.hasResult(), false) << Text;
  });
}

TEST(Expressions, SayWhatTheyAreIfTheyHaveNoValue) {
  const std::pair<const char *, const char *> Cases[] = {
      {"a 1 + 2", "command invocation\n"},
      {"a = 1", "var assignment\n"},
      {"a.b", "property access\n"},
      {"5", "other expression list\n"},
      {"-5", "other expression list\n"},
      {"'a'", "other expression list\n"},
      {"$a", "other expression list\n"},
      {"hex(a)", "visit func call\n"},
      {"if a { hex(1) }", ""},
      {"if 1.5 { } elif 2 { }", "visit literal: 1.50\nvisit literal: 2\n"},
      {"if 1 { } elif 2 { }", "visit literal: 1\n"},
      {"if !1 { } elif 1 < 0 { } elif b { } elif 3 { } elif 4 { }",
       "visit un op: 33\nvisit literal: 1\nvisit bin op: <\nvisit literal: 1\nvisit literal: 0\n"
       "visit literal: 3\n"},
  };
  for (const auto &[Text, Trace] : Cases)
    EXPECT_EQ(traceOf(Text), Trace) << Text;
}

/// A visitor that shows which branch of a statement is taken.
class Probe final : public ASTNode {
public:
  Probe(std::string &Taken, const char *Name)
      : ASTNode(NodeKind::CmdSequence), Taken(Taken), Name(Name) {}
  void accept(ASTVisitor *) override { Taken = Name; }

private:
  std::string &Taken;
  const char *Name;
};

TEST(IfStatements, TakeTheFirstBranchWhoseConditionHolds) {
  const std::pair<std::pair<const char *, const char *>, const char *> Cases[] = {
      {{"1", "1"}, "then"},   {{"0 == 0", "1"}, "then"}, {{"0", "1"}, "elif"},
      {{"1.5", "1"}, "elif"}, {{"hex(1)", "1"}, "elif"}, {{"1 / 0", "a"}, "else"},
      {{"0", "2.5"}, "else"}, {{"a", "1"}, ""},
  };
  for (const auto &[Conditions, Branch] : Cases) {
    std::string Taken;
    IfStatement Statement;
    Statement.Condition = parseExpr(Conditions.first);
    Statement.Then = std::make_unique<Probe>(Taken, "then");
    Statement.Elifs.push_back(
        {parseExpr(Conditions.second), std::make_unique<Probe>(Taken, "elif")});
    Statement.Else = std::make_unique<Probe>(Taken, "else");
    ExprEvaluator Evaluator(Tracing::Off);
    Statement.accept(&Evaluator);
    EXPECT_EQ(Taken, Branch) << Conditions.first;
  }
}

TEST(ExpressionsDeathTest, HaveNoResultBeforeTheyAreEvaluated) {
  EXPECT_DEATH(ExprEvaluator().getResult(), "internal error");
}

// Types.

struct Typed {
  const char *Text;
  const Type *Ty;
  std::vector<std::string> Complaints;
};

TEST(TypeChecker, FindsTypesAndFaults) {
  const Type *I64 = &IntegerType::s_I64Ty;
  const Type *Bool = &IntegerType::s_BoolTy;
  const Type *Double = &RealType::s_DoubleTy;
  const Type *Void = &VoidType::s_VoidTy;
  const char *OnReal = "1: error: '!' not applicable on floating point";
  const Typed Cases[] = {
      {"1", I64, {}},
      {"1.5", Double, {}},
      {"1 + 2.5 * 3", Double, {}},
      {"a + 2.5", Double, {}},
      {"a + 1", nullptr, {}},
      {"a = 1", Void, {}},
      {"1 < 2.5", Bool, {}},
      {"(a < 1) + (a > 1) + (a <= 1) + (a >= 1) + (a == 1)", I64, {}},
      {"(a || 1) + (a && 1) + (a ^^ 1)", I64, {}},
      {"!~-1", I64, {}},
      {"-1.5", Double, {}},
      {"!1.5", Void, {OnReal}},
      {"~1.5", Void, {"1: error: '~' not applicable on floating point"}},
      {"!(1 < 2)", Bool, {}},
      {"-(1 < 2)", Void, {"1: error: '-' not applicable on booleans"}},
      {"~(1 < 2)", Void, {"1: error: '~' not applicable on booleans"}},
      {"-a", Void, {"1: error: '-' has an untyped operand"}},
      {"1 + -'a'", nullptr, {"1: error: '-' has an untyped operand"}},
      {"-hex(1)", Void, {"1: error: '-' has an untyped operand"}},
      {"-(a = 1)", Void, {"1: error: '-' has an untyped operand"}},
      {"$a", nullptr, {}},
      {"hex(-a)", nullptr, {}},
  };
  for (const Typed &Each : Cases) {
    const OwnedExpr Tree = parseExpr(Each.Text);
    EXPECT_EQ(complaintsOf([&] {
                TypeChecker Checker;
                Tree->accept(&Checker);
              }),
              Each.Complaints)
        << Each.Text;
    EXPECT_EQ(Tree->Ty, Each.Ty) << Each.Text;
  }
}

TEST(TypeChecker, ReportsTheLineOfTheSignAndVisitsLongSums) {
  std::string Sum = "1 + \\\n (!2.5)";
  for (int Count = 0; Count < 100000; ++Count)
    Sum += " + 1";
  const OwnedExpr Tree = parseExpr(Sum);
  EXPECT_EQ(complaintsOf([&] {
              TypeChecker Checker;
              Tree->accept(&Checker);
            }),
            std::vector<std::string>{"2: error: '!' not applicable on floating point"});
  EXPECT_EQ(Tree->Ty, nullptr);
}

} // namespace
