#include "orvy/Support/Interpreter.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Objsys.h"

#include "Testing/Model.h"
#include "Testing/TempDir.h"

#include <fstream>
#include <gmock/gmock.h>

using namespace orvy::testing;
using testing::HasSubstr;

namespace {

TEST(LogCommands, FilesAreAppendedToOneAfterTheOther) {
  const TempDir Dir;
  const std::string First = Dir.path("first");
  const std::string Second = Dir.path("second");
  std::ofstream(First) << "before\n";
  const std::string Script = "log-set-file file=" + First +
                             "\nlog-info one\nlog-set-file file=" + Second +
                             "\nlog-info two\nlog-set-file file=" + First +
                             "\nlog-info three\nlog-set-file file=<default>\n";
  EXPECT_EQ(orvy_execCommand(Script.c_str()), 0);
  EXPECT_EQ(TempDir::contentsOf(First), "before\n:info:: one\n:info:: three\n");
  EXPECT_EQ(TempDir::contentsOf(Second), ":info:: two\n");
}

TEST(ExternalObjects, HaveNoLogLevelAndNoTimeSource) {
  const CleanSystem Clean;
  int Outside = 0;
  orvy_registerExternalClass("External");
  orvy_addObject("External", "external", &Outside);
  testing::internal::CaptureStderr();
  EXPECT_NE(orvy_execCommand("log-level obj=external"), 0);
  EXPECT_NE(orvy_execCommand("object-set-timesource obj=external ts=external"), 0);
  const std::string Errors = testing::internal::GetCapturedStderr();
  EXPECT_THAT(Errors, HasSubstr("cannot get log level for external objects\n"));
  EXPECT_THAT(Errors, HasSubstr("'external' is external, cannot set time source\n"));
}

} // namespace
