#include "orvy/Support/Interpreter.h"

#include "Testing/Model.h"

#include <gmock/gmock.h>

using namespace orvy::testing;
using testing::HasSubstr;

namespace {

class ObjectCommands : public testing::Test {
protected:
  static std::string outputOf(const char *Command) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(orvy_execCommand(Command), 0) << Command;
    return testing::internal::GetCapturedStdout();
  }

  CleanSystem Clean;
  Model *A = createModel("a");
};

TEST_F(ObjectCommands, GrowingArraysAreShownElementByElement) {
  struct {
    const char *Read;
    const char *Row;
  } States[] = {
      {"[]\n", "dynamic : [<<interface-array>>, 0] : []\n"},
      {"[a:echo]\n", "dynamic : <<interface-array>>    : a:echo\n"},
      {"[a:echo, a:echo]\n", "dynamic : [<<interface-array>>, 2] : [a:echo, a:echo]\n"},
  };
  for (const auto &State : States) {
    EXPECT_EQ(outputOf("read-prop prop=a.dynamic"), State.Read);
    EXPECT_THAT(outputOf("info obj=a"), HasSubstr(State.Row));
    outputOf("connect a=a.dynamic b=a:echo");
  }
  EXPECT_EQ(outputOf("read-prop prop=a.dynamic index=2"), "a:echo\n");
  EXPECT_EQ(outputOf("read-prop prop=a.dynamic index=3"), "");
}

TEST_F(ObjectCommands, ValuesAreReadByTheirType) {
  struct {
    const char *Commands;
    const char *Read;
  } Cases[] = {
      {"write-prop prop=a.i8 val=255 index=3\nread-prop prop=a.i8 index=3", "-1\n"},
      {"write-prop prop=a.float fval=-0.25\nread-prop prop=a.float", "-0.25\n"},
      {"write-prop prop=a.string value=\"two words\"\nread-prop prop=a.string", "two words\n"},
      {"read-prop prop=a.internal", ""},
      {"read-prop prop=a.list", "<<list>>\n"},
  };
  for (const auto &Case : Cases)
    EXPECT_EQ(outputOf(Case.Commands), Case.Read) << Case.Commands;
}

TEST_F(ObjectCommands, WritesRunTheWriterAndReadsTheReader) {
  takeHookCalls();
  outputOf("write-prop prop=a.hooked val=5\nread-prop prop=a.hooked");
  EXPECT_THAT(takeHookCalls(), testing::ElementsAre("write 5 @0", "read @0"));
}

TEST_F(ObjectCommands, ClassesTellTheirPortsAndRequiredInterfaces) {
  const std::string Text = outputOf("class-info class=Model");
  EXPECT_THAT(Text, HasSubstr("Ports:\n\twires : wire : "));
  EXPECT_THAT(Text, HasSubstr("\tstrict : <<interface-ref>>/EchoIface : "));
  EXPECT_THAT(Text, HasSubstr("\tref : <<interface-ref>>/<unknown> : "));
}

} // namespace
