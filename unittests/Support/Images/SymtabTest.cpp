#include "orvy/Support/Symtab.h"

#include "Testing/ElfBuilder.h"
#include "Testing/LogCapture.h"
#include "Testing/Seed.h"
#include "Testing/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

using namespace orvy;
using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::StrEq;

namespace {

const auto None = Pair(nullptr, nullptr);

/// An ELF file whose symbols are added one by one.
class Symbols {
public:
  Symbols() { add("", 0, 0, STT_NOTYPE, STB_LOCAL); }

  Symbols &add(std::string_view Name, uint32_t Addr, uint32_t Size, unsigned Type,
               unsigned Binding) {
    appendBig(Records, static_cast<uint32_t>(Strings.size()));
    appendBig(Records, Addr);
    appendBig(Records, Size);
    Records += static_cast<char>(Binding << 4 | Type);
    Records += std::string(3, '\0');
    Strings.append(Name).push_back('\0');
    return *this;
  }
  std::string file() const {
    ElfBuilder Elf;
    Elf.section(".strtab", Strings).section(".symtab", Records).close();
    return Elf.bytes();
  }

  std::string Records, Strings;
};

class SymtabFile : public ::testing::Test {
protected:
  ~SymtabFile() override { orvy_disposeSymtab(Table); }

  int load(const std::string &Bytes) {
    return orvy_loadSymtab(Files.file("image.elf", Bytes).c_str(), &Table);
  }
  std::string at(uint64_t Addr) {
    const char *File = "?", *Name = "?";
    orvy_symtabGetFuncName(Table, &File, &Name, Addr);
    return std::string(File ? File : "-") + ":" + (Name ? Name : "-");
  }

  TempDir Files;
  LogCapture Log;
  orvy_Symtab Table = nullptr;
};

} // namespace

TEST(Symtab, GivesAnAddressToTheNearestStartBelowOrToNone) {
  Symtab Table;
  Table.addGlobalFunc("short", 0x1000, 0x10);
  Table.addGlobalFunc("long", 0x1000, 0x20);
  Table.addGlobalFunc("outer", 0x2000, 0x100);
  Table.addGlobalFunc("label", 0x2040, 0);
  Table.addGlobalFunc("end", UINT64_MAX - 1, 2);
  for (int Round = 0; Round < 2; ++Round) {
    EXPECT_EQ(Table.globalFunctionNameForAddress(0xfff), nullptr);
    EXPECT_STREQ(Table.globalFunctionNameForAddress(0x1018), "long");
    EXPECT_EQ(Table.globalFunctionNameForAddress(0x1020), nullptr);
    EXPECT_STREQ(Table.globalFunctionNameForAddress(0x203f), "outer");
    EXPECT_EQ(Table.globalFunctionNameForAddress(0x2044), nullptr);
    EXPECT_STREQ(Table.globalFunctionNameForAddress(UINT64_MAX), "end");
    EXPECT_THAT(Table.getFunction(0x1018), Pair(nullptr, StrEq("long")));
    EXPECT_THAT(Table.getData(0x1018), None);
    Table.index();
  }
  Table.addGlobalFunc("short", 0x1000, 0x10);
  EXPECT_EQ(Table.globalFunctionNameForAddress(0x1018), nullptr);
}

TEST(Symtab, KeepsTheLastOfAName) {
  Symtab Table;
  Table.addGlobalData("x", 0x100, 0x10);
  Table.addGlobalData("x", 0x200, 0x10);
  EXPECT_EQ(Table.getObjectRange("x"), Symtab::Range(0x200, 0x10));
  EXPECT_EQ(Table.globalDataNameForAddress(0x104), nullptr); // x is elsewhere now
  EXPECT_STREQ(Table.globalDataNameForAddress(0x204), "x");
}

TEST(Symtab, PrefersLocalThenGlobalThenWeak) {
  Symtab Table;
  Table.addWeakFunc("weak", 0x100, 0x30);
  Table.addGlobalFunc("global", 0x100, 0x20);
  Table.addLocalFunc("a.c", "local", 0x100, 0x10);
  Table.addLocalFunc("b.c", "local", 0x500, 0x10);
  EXPECT_THAT(Table.getFunction(0x108), Pair(StrEq("a.c"), StrEq("local")));
  EXPECT_THAT(Table.getFunction(0x118), Pair(nullptr, StrEq("global")));
  EXPECT_THAT(Table.getFunction(0x128), Pair(nullptr, StrEq("weak")));
  EXPECT_THAT(Table.getFunction(0x130), None);
  EXPECT_EQ(Table.getFunctionRange("weak"), Symtab::Range(0x100, 0x30));
  EXPECT_EQ(Table.getFunctionRange("local"), Symtab::Range());
  EXPECT_EQ(Table.getLocalFunctionRange("b.c", "local"), Symtab::Range(0x500, 0x10));
  EXPECT_EQ(Table.getLocalObjectRange("b.c", "local"), Symtab::Range());
}

TEST(Symtab, FindsTheSameWithAndWithoutItsIndex) {
  std::mt19937 Random(testSeed());
  Symtab Plain, Indexed;
  for (int Count = 0; Count < 1000; ++Count) {
    std::string Name = std::to_string(Random() % 700);
    uint64_t Addr = Random() % 10000, Size = Random() % 40;
    Plain.addWeakData(Name, Addr, Size);
    Indexed.addWeakData(Name, Addr, Size);
  }
  Indexed.index();
  for (uint64_t Addr = 0; Addr < 10100; ++Addr)
    ASSERT_STREQ(Plain.weakDataNameForAddress(Addr), Indexed.weakDataNameForAddress(Addr)) << Addr;
}

TEST_F(SymtabFile, TakesFunctionsAndDataOfThreeBindings) {
  Symbols S;
  S.add("early", 0x10, 4, STT_FUNC, STB_LOCAL);
  S.add("main.c", 0, 0, STT_FILE, STB_LOCAL);
  S.add("helper", 0x20, 8, STT_FUNC, STB_LOCAL);
  S.add("other.c", 0, 0, STT_FILE, STB_GLOBAL);
  S.add("helper", 0x30, 8, STT_FUNC, STB_LOCAL);
  S.add("main", 0x40, 8, STT_FUNC, STB_GLOBAL);
  S.add("hook", 0x50, 8, STT_FUNC, STB_WEAK);
  S.add("odd", 0x60, 8, STT_FUNC, STB_LOPROC);
  S.add("label", 0x70, 8, STT_NOTYPE, STB_GLOBAL);
  S.add("table", 0x80, 8, STT_OBJECT, STB_GLOBAL);
  S.add("undefined", 0, 0, STT_FUNC, STB_GLOBAL);
  ASSERT_EQ(load(S.file()), 0);
  EXPECT_THAT(
      (std::vector{at(0x10), at(0x20), at(0x37), at(0x44), at(0x50), at(0x60), at(0x70), at(0x80)}),
      ElementsAre(Files.path("image.elf") + ":early", "main.c:helper", "other.c:helper", "-:main",
                  "-:hook", "-:-", "-:-", "-:-"));
  uint64_t Addr = 1, Size = 2;
  EXPECT_EQ(orvy_symtabGetGlobalFuncRange(Table, "undefined", &Addr, &Size), -1);
  EXPECT_EQ(orvy_symtabGetLocalObjRange(Table, "main.c", "table", &Addr, &Size), -1);
  EXPECT_EQ(Addr + Size, 3u);
  EXPECT_EQ(orvy_symtabGetGlobalObjRange(Table, "table", &Addr, &Size), 0);
  EXPECT_EQ(Addr, 0x80u);
  EXPECT_EQ(orvy_symtabGetLocalFuncRange(Table, "main.c", "helper", &Addr, &Size), 0);
  EXPECT_EQ(Addr, 0x20u);
  const char *File = "?", *Name = "?";
  orvy_symtabGetObjName(Table, &File, &Name, 0x87);
  EXPECT_EQ(File, nullptr);
  EXPECT_STREQ(Name, "table");
}

TEST_F(SymtabFile, MissesOrReportsWhatHasNoSymbols) {
  ElfBuilder Without;
  Without.section(".text", "x").close();
  EXPECT_EQ(load(Without.bytes()), -1);
  EXPECT_EQ(load(Symbols().add("", 0, 0, 0, 0).file().replace(0, 4, "nope")), -1);
  Symbols Damaged;
  Damaged.add("main", 0x40, 8, STT_FUNC, STB_GLOBAL).Strings.resize(1);
  EXPECT_EQ(load(Damaged.file()), -1);
  Symbols Cut;
  Cut.Records.pop_back();
  EXPECT_EQ(load(Cut.file()), -1);
  EXPECT_EQ(Table, nullptr);
  std::string Message = ":error:: '" + Files.path("image.elf") + "' is not a readable elf-file";
  EXPECT_THAT(Log.take(), ElementsAre(Message, Message, Message));
}
