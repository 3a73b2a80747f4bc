// Line-number programs of compilers have the rows that binutils reads in them.

#include "Testing/TempDir.h"

#include "orvy/Support/DwarfLines.h"

#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <tuple>
#include <unistd.h>

using namespace orvy::dwarf;
using namespace orvy::testing;

namespace {

constexpr const char *Header = "static inline int twice(int X) {\n"
                               "  return X * 2;\n"
                               "}\n";
constexpr const char *Source = "#include \"twice.h\"\n"
                               "int Sum;\n"
                               "static int __attribute__((noinline)) sum(int Count) {\n"
                               "  int Result = 0;\n"
                               "  for (int At = 0; At < Count; ++At)\n"
                               "    Result += twice(At);\n"
                               "  // not much of a line\n"
                               "\n"
                               "  return Result;\n"
                               "}\n"
                               "int start(int Count) {\n"
                               "  Sum = sum(Count) +\n"
                               "        sum(Count + 1);\n"
                               "  if (Sum > 3)\n"
                               "    Sum -= 3;\n"
                               "  return Sum;\n"
                               "}\n";

/// A row as readelf decodes it. The last of a sequence has no line.
struct Row {
  std::string File;
  uint64_t Line, Address;
  bool IsStmt;
  bool operator==(const Row &) const = default;
};

void PrintTo(const Row &R, std::ostream *Out) {
  *Out << R.File << ':' << R.Line << " 0x" << std::hex << R.Address << std::dec
       << (R.IsStmt ? " stmt" : "");
}

using Build = std::tuple<const char *, const char *, const char *>; // compiler, version, level

std::string nameOf(const ::testing::TestParamInfo<Build> &Info) {
  auto [Compiler, Version, Level] = Info.param;
  return std::string(Compiler) + Version + (Level + 1);
}

class CompiledLines : public ::testing::TestWithParam<Build> {
protected:
  void SetUp() override {
    auto [Compiler, Version, Level] = GetParam();
    std::string Gcc = std::string(Compiler) == "Sparc" ? ORVY_SPARC_GCC : ORVY_POWERPC_GCC;
    if (access(Gcc.c_str(), X_OK) != 0)
      GTEST_SKIP() << "needs the compiler for " << Compiler << " (scripts/setup --tests)";
    Files.file("twice.h", Header);
    std::string Path = Files.file("sums.c", Source);
    Image = Files.path("image.elf");
    std::string Command = Gcc + (std::string(Compiler) == "Sparc" ? " -m32" : "") + " -gdwarf-" +
                          Version + " " + Level +
                          " -ffreestanding -fno-pic -no-pie -nostdlib -static -Wl,-e,start -o " +
                          Image + " " + Path;
    ASSERT_EQ(std::system(Command.c_str()), 0) << Command;
    Info = DebugInfo::load(Image.c_str());
    ASSERT_TRUE(Info);
    ASSERT_EQ(Info->getCompUnits().size(), 1u);
    Program = Info->getCompUnits()[0]->getLineNumberProgram();
    ASSERT_TRUE(Program);
  }

  /// The rows of the first sequence in the words of readelf.
  std::vector<Row> told() {
    std::vector<Row> Rows;
    FILE *Pipe = popen(("readelf -W --debug-dump=decodedline " + Image).c_str(), "r");
    for (char Line[512]; fgets(Line, sizeof Line, Pipe);) {
      char File[200], Number[20], Address[20];
      if (std::sscanf(Line, "%199s %19[0-9-] 0x%19s", File, Number, Address) != 3)
        continue; // as the line of a unit, whose path may hold anything
      bool IsStmt = std::string(Line).find(" x") != std::string::npos;
      Rows.push_back({File, strtoull(Number, nullptr, 10), strtoull(Address, nullptr, 16), IsStmt});
      if (*Number == '-')
        break;
    }
    while (fgetc(Pipe) != EOF)
      continue;
    pclose(Pipe);
    return Rows;
  }

  std::vector<Row> read() {
    std::vector<Row> Rows;
    for (const auto &R : Program->getMatrix()) {
      const char *File = Program->getFileName(static_cast<long>(R.File));
      Rows.push_back({File ? File : "none", R.EndSequence ? 0 : R.Line, R.Address,
                      R.IsStmt && !R.EndSequence});
    }
    return Rows;
  }

  TempDir Files;
  std::string Image;
  std::unique_ptr<DebugInfo> Info;
  LineNumberProgram *Program = nullptr;
};

} // namespace

TEST_P(CompiledLines, AreThoseThatBinutilsReads) {
  std::vector<Row> Told = told();
  ASSERT_GT(Told.size(), 10u);
  EXPECT_EQ(read(), Told);
}

TEST_P(CompiledLines, AnswerForEveryAddressAndLine) {
  std::vector<Row> Told = told();
  uint64_t End = Told.back().Address;
  Told.pop_back();
  std::map<uint64_t, Row> Last;            // by address
  std::map<uint64_t, uint64_t> Statements; // address of the first of each line of the source
  for (const Row &R : Told) {
    Last.insert_or_assign(R.Address, R);
    if (R.IsStmt && R.File == "sums.c")
      Statements.try_emplace(R.Line, R.Address);
  }
  for (uint64_t Address = Told[0].Address; Address < End; ++Address) {
    unsigned long File = 0, Line = 0, Column = 0;
    ASSERT_TRUE(Program->getLocationForAddress(Address, File, Line, Column));
    const Row &Expected = std::prev(Last.upper_bound(Address))->second;
    EXPECT_EQ(Line, Expected.Line) << std::hex << Address;
    EXPECT_EQ(Program->getFileName(static_cast<long>(File)), Expected.File);
  }
  const std::string Path = Files.path("sums.c");
  for (long Line = 1; Line <= 18; ++Line) {
    unsigned long Address = 0;
    auto Next = Statements.lower_bound(static_cast<uint64_t>(Line));
    EXPECT_EQ(Program->getBreakLocation(Path.c_str(), Line, 0, Address), Next != Statements.end());
    EXPECT_EQ(Address, Next == Statements.end() ? 0 : Next->second) << Line;
  }
}

INSTANTIATE_TEST_SUITE_P(Builds, CompiledLines,
                         ::testing::Combine(::testing::Values("Sparc", "PowerPC"),
                                            ::testing::Values("2", "3", "4"),
                                            ::testing::Values("-O0", "-O2")),
                         nameOf);
