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
  /// Runs a script.
  void run(const std::string &Script) {
    const std::string Run = ORVY_BUILD_ROOT "/bin/orvy " + Files.file("run.orvy", Script);
    ASSERT_EQ(std::system((Run + " >/dev/null").c_str()), 0) << Script;
  }
  /// Runs a program on what a script made; false if it is not installed.
  static bool accepts(const std::string &Program, const std::string &Arguments) {
    if (!std::filesystem::exists(Program))
      return false;
    EXPECT_EQ(std::system((Program + Arguments + " >/dev/null").c_str()), 0) << Arguments;
    return true;
  }
  std::string read(const char *Name) const { return TempDir::contentsOf(Files.path(Name)); }

  TempDir Files;
};

TEST_F(Pictures, OfTheBoardAndOfNestedComponentsAreDrawn) {
  for (const char *System :
       {"source board.orvy\n", "import Board\nobject-create class=Unit name=u\n"}) {
    const std::string File = Files.path("graph");
    run(System + ("object-generate-graph file=" + File));
    EXPECT_NE(read("graph").find("irqctrl [label=\"irqCtrl\"];\n"), std::string::npos);
    if (accepts(ORVY_DOT, " -Tpng -O " + File)) {
      EXPECT_TRUE(read("graph.png").starts_with("\x89PNG"));
    }
  }
}

TEST_F(Pictures, OfEveryClassAreReadAsAsciiDoc) {
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
  run(Script);
  EXPECT_NE(read("SparcV8.adoc").find("| memorySpace | iref / MemAccessIface | "),
            std::string::npos);
  if (accepts(ORVY_ASCIIDOCTOR, " --failure-level=WARN" + Documents)) {
    EXPECT_NE(read("SparcV8.html").find("<table"), std::string::npos);
  }
}

} // namespace
