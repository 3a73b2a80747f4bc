// What compilers make is loaded as their own tools lay it out, in every format.

#include "Testing/LogCapture.h"
#include "Testing/TempDir.h"

#include "orvy/Support/Orvy.h"

#include "gtest/gtest.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <unistd.h>

using namespace orvy::testing;

namespace {

struct Compiler {
  const char *Name;
  const char *Gcc;
  const char *Flags;
  const char *Package;
};

void PrintTo(const Compiler &C, std::ostream *Out) {
  *Out << C.Name;
}

constexpr Compiler Compilers[] = {
    {"Sparc", ORVY_SPARC_GCC, "-m32 -mcpu=v8", "gcc-sparc64-linux-gnu"},
    {"PowerPC", ORVY_POWERPC_GCC, "", "gcc-powerpc-linux-gnu"},
};

constexpr uint32_t Low = 0x1000, Middle = 0x200000, High = 0x40000000;
constexpr uint32_t ClearedSize = 64;
constexpr char Untouched = '\xa5';

class CompiledImage : public testing::TestWithParam<Compiler> {
protected:
  void SetUp() override {
    if (access(GetParam().Gcc, X_OK) != 0)
      GTEST_SKIP() << "needs the package " << GetParam().Package << " (scripts/setup --tests)";
    ASSERT_EQ(0, orvy_loadPlugin(ORVY_BUILD_ROOT "/lib/libORVYMemory.so"));
    Space = orvy_createObject("MemorySpace", "space", nullptr);
    const orvy_CreateArg Size[] = {{"size", {.Typ = ovTY_U64, .u64 = 0x400000}}, {nullptr, {}}};
    for (uint32_t Base : {0u, High}) {
      void *Ram = orvy_createObject("Ram", ("ram" + std::to_string(Base)).c_str(), Size);
      ASSERT_EQ(0u, orvy_memoryMap(Space, Base, 0x400000, Ram, 0));
    }
  }
  void TearDown() override { orvy_objsysClear(); }

  /// Compiles the program for an address.
  std::string compile(uint32_t Origin) {
    std::ostringstream Command;
    Command << GetParam().Gcc << ' ' << GetParam().Flags
            << " -O2 -ffreestanding -fno-pic -no-pie -fno-asynchronous-unwind-tables -nostdlib "
               "-static -Wl,--build-id=none -Wl,--no-warn-rwx-segments -Wl,--defsym=Origin="
            << Origin << " -T " << Sources << "program.ld " << Sources << "program.c";
    return make(Command.str() + " -o ", "program.elf");
  }

  /// Converts an image as objcopy is told to.
  std::string convert(const std::string &Image, const std::string &How, const char *Name) {
    std::string Gcc = GetParam().Gcc;
    return make(Gcc.substr(0, Gcc.size() - 3) + "objcopy " + How + ' ' + Image + ' ', Name);
  }

  /// Loads an image for an address into zeros and, from the second segment on, untouched bytes.
  /// Returns what lies there then.
  std::string load(const std::string &Image, uint32_t Origin, uint64_t *Start = nullptr) {
    uint64_t Ignored;
    std::string Bytes(DataOffset, '\0');
    Bytes.resize(MemorySize, Untouched);
    orvy_memoryWrite(Space, Origin, Bytes.data(), MemorySize, 0);
    EXPECT_EQ(0, orvy_loadImageAndStartAddr(Space, Image.c_str(), Start ? Start : &Ignored));
    EXPECT_EQ(MemorySize, orvy_memoryRead(Space, Bytes.data(), Origin, MemorySize, 0));
    return Bytes;
  }

  /// The kinds of data records in a file: "1", "23" and so on.
  static std::string kinds(const std::string &Srec) {
    std::string Digits;
    std::ifstream File(Srec);
    for (std::string Line; std::getline(File, Line);)
      if (Line[1] >= '1' && Line[1] <= '3' && Digits.find(Line[1]) == Digits.npos)
        Digits += Line[1];
    return Digits;
  }

  static constexpr uint32_t DataOffset = 0x1000, MemorySize = 0x1800;
  LogCapture Log;
  void *Space = nullptr;

private:
  std::string make(const std::string &Command, const char *Name) {
    std::string Log = Files.path("log"), Result = Files.path(Name);
    EXPECT_EQ(0, std::system((Command + Result + " >" + Log + " 2>&1").c_str()))
        << Command << '\n'
        << TempDir::contentsOf(Log);
    return Result;
  }

  static inline const std::string Sources = ORVY_SOURCE_ROOT "/unittests/models/images/";
  TempDir Files;
};

TEST_P(CompiledImage, IsLoadedAsItsOwnToolsLayItOutFromEveryFormat) {
  const struct {
    uint32_t Origin;
    std::vector<std::pair<const char *, const char *>> Records; ///< options and kinds
  } Rows[] = {
      {Low, {{"", "1"}, {"--srec-len=1", "1"}, {"--srec-len=255", "1"}, {"--srec-forceS3", "3"}}},
      {Middle, {{"", "2"}, {"--srec-len=64", "2"}, {"--srec-forceS3 --srec-len=250", "3"}}},
      {High, {{"", "3"}, {"--srec-len=7", "3"}}},
  };
  for (const auto &[Origin, Records] : Rows) {
    SCOPED_TRACE(Origin);
    const std::string Elf = compile(Origin), Binary = convert(Elf, "-O binary", "program.bin");
    const std::string Raw = TempDir::contentsOf(Binary);
    ASSERT_GT(Raw.size(), DataOffset);
    ASSERT_LT(Raw.size(), MemorySize - 2 * ClearedSize);
    uint64_t Start = 0;
    std::string Memory = load(Elf, Origin, &Start);
    EXPECT_EQ(Memory.substr(0, Raw.size()), Raw);
    EXPECT_EQ(Memory.substr(Raw.size(), ClearedSize), std::string(ClearedSize, '\0'));
    EXPECT_EQ(Memory[Raw.size() + ClearedSize + 8], Untouched);
    EXPECT_GE(Start, Origin);
    EXPECT_LT(Start, Origin + DataOffset);
    for (auto [How, Kinds] : Records) {
      SCOPED_TRACE(How);
      std::string Srec = convert(Elf, std::string("-O srec ") + How, "program.srec");
      EXPECT_EQ(kinds(Srec), Kinds);
      uint64_t Again = 0;
      Memory = load(Srec, Origin, &Again);
      EXPECT_EQ(Memory.substr(0, Raw.size()), Raw);
      EXPECT_EQ(Memory[Raw.size()], Untouched) << "records hold no zeros for what is cleared";
      EXPECT_EQ(Again, Start);
    }
    load(Elf, Origin + 4); // other bytes
    ASSERT_EQ(0, orvy_loadRelocatedImage(Space, Binary.c_str(), Origin));
    Memory.resize(Raw.size());
    orvy_memoryRead(Space, Memory.data(), Origin, uint32_t(Raw.size()), 0);
    EXPECT_EQ(Memory, Raw);
  }
}

INSTANTIATE_TEST_SUITE_P(Compilers, CompiledImage, testing::ValuesIn(Compilers),
                         [](const auto &Info) { return Info.param.Name; });

} // namespace
