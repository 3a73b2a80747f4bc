// Pictures and documentation of real systems are accepted by the programs that they are for.

#include "models/Board.h"

#include "Testing/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace orvy::testing;

namespace {

class Pictures : public testing::Test {
protected:
  /// Runs a script, and a program on what it made.
  void expectAccepted(const std::string &Script, const std::string &Program) {
    const std::string Run = ORVY_BUILD_ROOT "/bin/orvy " + Files.file("run.orvy", Script);
    ASSERT_EQ(std::system((Run + " >/dev/null").c_str()), 0) << Script;
    EXPECT_EQ(std::system((Program + " >/dev/null").c_str()), 0) << Program;
  }
  std::string read(const char *Name) const {
    std::ifstream File(Files.path(Name));
    return {std::istreambuf_iterator<char>(File), {}};
  }

  TempDir Files;
};

TEST_F(Pictures, OfTheBoardAndOfNestedComponentsAreDrawn) {
  if (!std::filesystem::exists(ORVY_DOT))
    GTEST_SKIP() << "graphviz is not installed";
  for (const char *System :
       {"source board.orvy\n", "import Board\nobject-create class=Unit name=u\n"}) {
    const std::string File = Files.path("graph");
    expectAccepted(System + ("object-generate-graph file=" + File), ORVY_DOT " -Tpng -O " + File);
    EXPECT_TRUE(read("graph.png").starts_with("\x89PNG"));
    EXPECT_NE(read("graph").find(" -> "), std::string::npos);
  }
}

TEST_F(Pictures, OfEveryClassAreReadAsAsciiDoc) {
  if (!std::filesystem::exists(ORVY_ASCIIDOCTOR))
    GTEST_SKIP() << "asciidoctor is not installed";
  const std::string Import = "import Memory SparcV8 Devices Board\n";
  const std::string List = Files.file("list.orvy", Import + "class-list");
  const std::string Run = ORVY_BUILD_ROOT "/bin/orvy " + List + " >" + Files.path("list");
  ASSERT_EQ(std::system(Run.c_str()), 0);
  std::istringstream Lines(read("list"));
  std::string Script = Import, Documents;
  for (std::string Line; std::getline(Lines, Line);)
    if (Line.starts_with("  ")) {
      const std::string Class = Line.substr(2, Line.find(' ', 2) - 2);
      const std::string File = Files.path(Class + ".adoc");
      Script += "class-generate-doc class=" + Class + " file=" + File + "\n";
      Documents += " " + File;
    }
  EXPECT_NE(Documents.find("/SparcV8.adoc"), std::string::npos);
  EXPECT_NE(Documents.find("/Simulator.adoc"), std::string::npos);
  expectAccepted(Script, ORVY_ASCIIDOCTOR " --failure-level=WARN" + Documents);
  EXPECT_NE(read("SparcV8.html").find("<table"), std::string::npos);
}

} // namespace
