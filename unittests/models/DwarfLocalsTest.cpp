// Variables of a compiled program are found where its instructions have put them.

#include "models/Board.h"

#include "Testing/LogCapture.h"
#include "Testing/TempDir.h"

#include <cstdlib>
#include <unistd.h>

using namespace orvy::testing;

namespace {

constexpr char Source[] = R"(__attribute__((noinline, noclone)) int twice(int X) { return 2 * X; }
int Global[4] = {10, 20, 30, 40};
__attribute__((noinline, noclone)) int locals(int X) {
  static int Calls = 7;
  int Sum = 0;
  int Kept[4];
  for (int I = 0; I < 4; ++I) {
    Kept[I] = Global[I] + X;
    Sum += Kept[I];
  }
  __asm__ volatile("nop" : : "r"(Sum), "r"(Kept) : "memory");
  Calls += Sum;
  return FRAME(Sum + Calls);
}
void start(void) { locals(5); for (;;); }
)";
constexpr uint32_t StopLine = 11;

struct Build {
  const char *Name;
  const char *Flags;
  orvy_DwarfLocKind Sum; ///< where it is kept
};

void PrintTo(const Build &B, std::ostream *Out) {
  *Out << B.Name;
}

class DwarfLocals : public ::testing::TestWithParam<Build> {
protected:
  ~DwarfLocals() override { orvy_disposeDwarf(Dwarf); }

  /// Compiles the program and runs it up to the line at which all variables have their values.
  void runToStop() {
    std::string Image = Files.path("locals.elf"), File = Files.file("locals.c", Source);
    std::string Command = std::string(ORVY_SPARC_GCC " -m32 -mcpu=v8 -gdwarf-4 ") +
                          GetParam().Flags +
                          " -ffreestanding -fno-pic -no-pie -fno-stack-protector -nostdlib -static "
                          "-Wl,-e,start -Wl,-Ttext=0x40000000 -Wl,-z,max-page-size=4096 "
                          "-Wl,--no-warn-rwx-segments -o " +
                          Image + " " + File;
    ASSERT_EQ(std::system(Command.c_str()), 0);
    uint64_t Start = 0;
    ASSERT_EQ(orvy_loadElfImageAndStartAddr(B.Space, Image.c_str(), &Start), 0);
    ASSERT_EQ(orvy_loadDwarf(Image.c_str(), &Dwarf), 0);
    Stop = orvy_dwarfGetBreakLoc(Dwarf, File.c_str(), StopLine);
    ASSERT_NE(Stop, UINT64_MAX);
    orvy_cpuReset(Cpu, ovRK_Cold);
    orvy_cpuSetPc(Cpu, Start);
    orvy_cpuSetReg(Cpu, 14, Board::RamBase + 0x100000);
    for (int Steps = 0; Steps < 1000 && orvy_cpuGetPc(Cpu) != Stop; ++Steps)
      orvy_cpuStep(Cpu, 1);
    ASSERT_EQ(orvy_cpuGetPc(Cpu), Stop);
  }
  orvy_DwarfLoc locate(const char *Name) {
    ::testing::internal::CaptureStderr();
    orvy_DwarfLoc Loc = orvy_dwarfComputeLocOnCpu(Dwarf, Cpu, Stop, Name);
    Said = ::testing::internal::GetCapturedStderr();
    return Loc;
  }
  uint64_t valueAt(orvy_DwarfLoc Loc) {
    return Loc.Kind == ovDL_Register ? orvy_cpuGetReg(Cpu, static_cast<uint32_t>(Loc.Value))
                                     : B.word(Loc.Value);
  }

  Board B;
  LogCapture Log;
  TempDir Files;
  void *Cpu = B.Cpus[0];
  orvy_Dwarf Dwarf = nullptr;
  uint64_t Stop = 0;
  std::string Said;
};

} // namespace

TEST_P(DwarfLocals, AreFoundWhereTheProgramKeepsThem) {
  if (access(ORVY_SPARC_GCC, X_OK) != 0)
    GTEST_SKIP() << "needs the package gcc-sparc64-linux-gnu (scripts/setup --tests)";
  ASSERT_NO_FATAL_FAILURE(runToStop());
  orvy_DwarfLoc Sum = locate("Sum");
  ASSERT_EQ(Sum.Kind, GetParam().Sum) << Said;
  EXPECT_EQ(valueAt(Sum), 120u);
  const char *Form = Sum.Kind == ovDL_Register ? "Sum in loclist\n" : "Sum in exprloc\n";
  EXPECT_NE(Said.find(std::string("found variable for name ") + Form), Said.npos) << Said;
  orvy_DwarfLoc Kept = locate("Kept");
  ASSERT_EQ(Kept.Kind, ovDL_Memory) << Said;
  EXPECT_NE(Said.find("found frame location in exprloc\n  expression: 0x9c,\n"), Said.npos) << Said;
  EXPECT_EQ(B.word(Kept.Value + 8), 35u);
  orvy_DwarfLoc Calls = locate("Calls");
  ASSERT_EQ(Calls.Kind, ovDL_Memory);
  EXPECT_EQ(B.word(Calls.Value), 7u);
  EXPECT_EQ(locate("I").Kind, ovDL_None); // of an inner block
  // Without a processor there is what needs none.
  EXPECT_EQ(orvy_dwarfComputeLoc(Dwarf, Stop, "Calls").Value, Calls.Value);
  EXPECT_EQ(orvy_dwarfComputeLoc(Dwarf, Stop, "Kept").Kind, ovDL_None);
  EXPECT_EQ(orvy_dwarfComputeLoc(Dwarf, 0, "Calls").Kind, ovDL_None);
}

INSTANTIATE_TEST_SUITE_P(Builds, DwarfLocals,
                         ::testing::Values(Build{"Plain", "-O0 '-DFRAME(X)=X'", ovDL_Memory},
                                           Build{"Leaf", "-O2 '-DFRAME(X)=X'", ovDL_Register},
                                           Build{"Window", "-O2 '-DFRAME(X)=twice(X)+X'",
                                                 ovDL_Register}),
                         [](const auto &Info) { return std::string(Info.param.Name); });
