// Debug information made by hand: what compilers do not make, and what damaged files hold.

#include "Dwarf/DwarfNames.h"
#include "Images/LoaderElf.h"

#include "Testing/DwarfUse.h"
#include "Testing/ElfBuilder.h"
#include "Testing/LogCapture.h"
#include "Testing/MemoryFile.h"
#include "Testing/Seed.h"
#include "Testing/TempDir.h"

#include "orvy/Support/Dwarf.h"
#include "orvy/Support/OutStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <random>

using namespace orvy;
using namespace orvy::dwarf;
using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using namespace std::string_literals;

namespace {

template <typename... Numbers> std::string bytes(Numbers... Values) {
  return {static_cast<char>(Values)...};
}
template <typename T> std::string big(T Value) {
  std::string Bytes;
  appendBig(Bytes, Value);
  return Bytes;
}
std::string word(uint32_t Value) {
  return big(Value);
}

/// A declaration; codes, attributes and forms below 128.
template <typename... Pairs>
std::string abbrev(int Code, int Tag, bool Children, Pairs... AttrsAndForms) {
  return bytes(Code, Tag, Children, AttrsAndForms..., 0, 0);
}

/// A unit with the header of the 32-bit format around its entries.
std::string unit(const std::string &Entries, uint32_t AbbrevOffset = 0) {
  return word(static_cast<uint32_t>(7 + Entries.size())) + bytes(0, 4) + word(AbbrevOffset) +
         bytes(4) + Entries;
}

std::string set(const std::string &Body) {
  return word(static_cast<uint32_t>(Body.size())) + Body;
}

/// 1 a unit with name and low and high address, 2 a function of such, 3 one with children.
const std::string Abbrevs = abbrev(1, DW_TAG_compile_unit, true, DW_AT_name, DW_FORM_string,
                                   DW_AT_low_pc, DW_FORM_addr, DW_AT_high_pc, DW_FORM_data4) +
                            abbrev(2, DW_TAG_subprogram, false, DW_AT_name, DW_FORM_string,
                                   DW_AT_low_pc, DW_FORM_addr, DW_AT_high_pc, DW_FORM_data4) +
                            abbrev(3, DW_TAG_subprogram, true) + bytes(0);

std::string named(int Code, const std::string &Name, uint32_t Low, uint32_t Size) {
  return bytes(Code) + Name + '\0' + word(Low) + word(Size);
}

class Dwarf : public ::testing::Test {
protected:
  ~Dwarf() override { orvy_disposeDwarf(Handle); }

  int load(const std::map<std::string, std::string> &Sections) {
    ElfBuilder Elf;
    for (const auto &[Name, Bytes] : Sections)
      Elf.section(Name, Bytes);
    orvy_disposeDwarf(Handle);
    Path = Files.file("image.elf", Elf.close().bytes());
    return orvy_loadDwarf(Path.c_str(), &Handle);
  }
  int loadInfo(const std::string &Info) {
    return load({{".debug_abbrev", Abbrevs}, {".debug_info", Info}});
  }
  DebugInfo &info() { return *reinterpret_cast<DebugInfo *>(Handle); }
  CompilationUnit &unitAt(size_t Index) { return *info().getCompUnits()[Index]; }
  const char *nameAt(uint64_t Addr) {
    CompilationUnit *Unit = info().getCompUnitForAddress(Addr);
    return Unit ? Unit->getName() : nullptr;
  }
  template <typename Print> std::string printed(Print P) {
    ::testing::internal::CaptureStdout();
    P();
    outs().flush();
    return ::testing::internal::GetCapturedStdout();
  }

  TempDir Files;
  LogCapture Log;
  std::string Path;
  orvy_Dwarf Handle = nullptr;
};

} // namespace

TEST_F(Dwarf, LoadsAbbreviationsAlone) {
  EXPECT_EQ(load({{".debug_abbrev", Abbrevs}}), 0);
  EXPECT_TRUE(info().getCompUnits().empty());
  EXPECT_EQ(info().SourceDirs, std::vector<std::string>{"./"});
  EXPECT_EQ(load({{".debug_info", ""}}), -1);
  EXPECT_EQ(Handle, nullptr);
  EXPECT_EQ(Log.count(":: '" + Path + "' could not read dwarf sections"), 1);
  EXPECT_EQ(orvy_loadDebugInfo("/nowhere", &Handle), -1);
  EXPECT_EQ(Log.count("'/nowhere' is not a readable elf-file"), 1);
  EXPECT_EQ(orvy_loadDebugInfo(Path.c_str(), nullptr), -1);
}

TEST_F(Dwarf, DamageAffectsOnlyWhatItHits) {
  const std::string Good = unit(named(1, "a.c", 0, 0) + bytes(0));
  auto Sectioned = [&](const char *Name, const std::string &Bytes) {
    std::map<std::string, std::string> Sections = {{".debug_abbrev", Abbrevs},
                                                   {".debug_info", Good}};
    Sections[Name] = Bytes;
    return Sections;
  };
  auto Formed = [&](int Form, const std::string &Value) {
    return std::map<std::string, std::string>{
        {".debug_abbrev",
         abbrev(1, DW_TAG_compile_unit, true, DW_AT_name, DW_FORM_string, 1, Form) + '\0'},
        {".debug_info", unit("\1a\0"s + Value + bytes(0))},
    };
  };
  const std::string Nine(9, '\x80');
  const std::string Head = bytes(0, 2) + word(0) + bytes(4, 0) + word(0); // padded to 16 bytes
  const std::string Names = bytes(0, 2) + word(0) + word(0) + word(11);
  const struct {
    const char *What;
    std::map<std::string, std::string> Sections;
    int Result;
    const char *Told; // of what is left out
  } Cases[] = {
      // clang-format off
      {"good", Sectioned(".debug_info", Good), 0, ""},
      {"filled with zeros",
       Sectioned(".debug_info", unit(named(1,"a.c", 0, 0) + bytes(0, 0, 0))), 0, ""},
      {"unit cut", Sectioned(".debug_info", Good.substr(0,Good.size() - 1)), -1,
       "unit at 0x0 of .debug_info is left out: length past the end of a section"},
      {"unit too short", Sectioned(".debug_info", word(0) + Good.substr(4)), -1,
       "unit at 0x0 of .debug_info is left out: "},
      {"rest after units", Sectioned(".debug_info", Good + "x"), 0,
       "unit at 0x19 of .debug_info is left out: "},
      {"children left open", Sectioned(".debug_info", unit(named(1,"a.c",0, 0)) + Good), 0,
       "unit at 0x0 of .debug_info is left out: children without end"},
      {"value past its unit",
       Sectioned(".debug_info", unit(named(1, "a.c", 0, 0).substr(0, 10)) + Good), 0,
       "unit at 0x0 of .debug_info is left out: entry at 0xb: "},
      {"text past its unit", Sectioned(".debug_info", Good + unit("\1a.c") + Good), 0,
       "unit at 0x19 of .debug_info is left out: entry at 0x24: "},
      {"unit without entries", Sectioned(".debug_info", unit(bytes(0)) + Good), 0,
       "unit at 0x0 of .debug_info is left out: its first entry is not that of a unit"},
      {"no unit but one without entries", Sectioned(".debug_info", unit(bytes(0))), -1, "0x0"},
      {"unknown unit entry", Sectioned(".debug_info", unit(bytes(9))), -1, "0x0"},
      {"no unit entry", Sectioned(".debug_info", unit(named(2, "f", 0, 0) + bytes(0))), -1, "0x0"},
      {"unit of another version",
       Sectioned(".debug_info", Good + word(8) + bytes(0, 6, 1, 4) + word(0)), 0,
       "unit at 0x19 of .debug_info is left out: DWARF version 6 is not read"},
      {"declarations cut", Sectioned(".debug_abbrev", Abbrevs.substr(0, 8)), -1, ""},
      {"declarations cut after those used",
       Sectioned(".debug_abbrev", Abbrevs.substr(0, 14)), 0,
       "what follows the declaration at 0x0 of .debug_abbrev is left out: "},
      {"exprloc", Formed(DW_FORM_exprloc, "\1x"), 0, ""},
      {"exprloc too long", Formed(DW_FORM_exprloc, "\x7fx"), -1, "0x0"},
      {"block of 2^63", Formed(DW_FORM_block, std::string(8,'\x80') + "\x7f"), -1, "0x0"},
      {"-2^63", Formed(DW_FORM_sdata, Nine + "\x7f"), 0, ""},
      {"2^64 - 1", Formed(DW_FORM_udata, std::string(9, '\xff') + "\1"), 0, ""},
      {"padded number", Formed(DW_FORM_sdata, Nine + Nine + '\0'), 0, ""},
      {"padded length", Formed(DW_FORM_exprloc, "\x81" + Nine + Nine + "\0x"s), 0, ""},
      {"length of 2^64", Formed(DW_FORM_block, Nine + "\2"), -1, "number of more than 64 bits"},
      {"number that takes the closing 0", Formed(DW_FORM_sdata, Nine + Nine), -1,
       "children without end"},
      {"unknown form", Formed(DW_FORM_addrx4 + 1, ""), -1, "unknown form 45"},
      {"form 0", Formed(0, ""), -1, "unknown form "},
      {"indirect form", Formed(DW_FORM_indirect, "\x0b\1"), -1, "indirect data not yet supported"},
      {"type unit cut", Sectioned(".debug_types", Good.substr(0, 20)), 0,
       "unit at 0x0 of .debug_types is left out: "},
      {"ranges", Sectioned(".debug_aranges", set(Head + word(1) + word(1) + big(0l))), 0, ""},
      {"ranges without end", Sectioned(".debug_aranges", set(Head + word(1) + word(1))), 0, ""},
      {"ranges after end", Sectioned(".debug_aranges",set(Head + big(0l) + big(0l))), 0,
       "set at 0x0 of .debug_aranges is left out: set does not end where its length says"},
      {"ranges cut", Sectioned(".debug_aranges", set(Head + word(1) + word(1) + word(0))), 0,
       "set at 0x0 of .debug_aranges"},
      {"ranges of segments",
       Sectioned(".debug_aranges", set(bytes(0,2) + word(0) + bytes(4,1) + word(0))), 0,
       "segments, or addresses of an odd size"},
      {"addresses of 3 bytes",
       Sectioned(".debug_aranges", set(bytes(0,2) + word(0) + bytes(3,0) + word(0))), 0,
       "segments, or addresses of an odd size"},
      {"wide ranges",
       Sectioned(".debug_aranges", word(~0u) + big(28l) + bytes(0, 2) + big(0l) + bytes(4, 0) +
                                       big(1l) + big(1l)), 0, "address range of more than 8 bytes"},
      {"names", Sectioned(".debug_pubnames", set(Names + "f\0"s + word(0))), 0, ""},
      {"name cut", Sectioned(".debug_pubnames", set(Names + "f")), 0,
       "set at 0x0 of .debug_pubnames"},
      {"name past its set", Sectioned(".debug_pubtypes", set(Names + "f") + "g\0"s), 0,
       "set at 0x0 of .debug_pubtypes"},
      // clang-format on
  };
  for (const auto &[What, Sections, Result, Told] : Cases) {
    Log.clear();
    EXPECT_EQ(load(Sections), Result) << What;
    EXPECT_EQ(Log.count("'" + Path + "' is not a readable elf-file"), -Result) << What;
    EXPECT_EQ(Log.count(" is left out: ") > 0, *Told != 0) << What;
    EXPECT_GE(Log.count(Told), 1) << What;
    if (Result == 0) {
      EXPECT_EQ(info().getCompUnitForName("").size(), 1u) << What;
    }
  }
  // A flood is cut.
  Log.clear();
  std::string Many;
  for (int Count = 0; Count < 25; ++Count)
    Many += unit(bytes(9));
  EXPECT_EQ(loadInfo(Many + Good), 0);
  EXPECT_EQ(Log.count(" is left out: "), 10);
  EXPECT_EQ(Log.count("'" + Path + "': .debug_info: 15 more places cannot be read"), 1);
}

TEST_F(Dwarf, ReadsNumbersOfEveryLength) {
  // The code, the length of the expression and the reference are padded to eleven bytes.
  const std::string Pad = std::string(9, '\x80') + '\0';
  ASSERT_EQ(
      load({
          {".debug_abbrev", abbrev(1, DW_TAG_compile_unit, false, DW_AT_name, DW_FORM_string, 1,
                                   DW_FORM_exprloc, 2, DW_FORM_sdata, 4, DW_FORM_ref_udata)},
          {".debug_info", unit("\x81" + Pad + "a\0"s + "\x82" + Pad + "xy" +
                               std::string(9, '\x80') + "\x7f" + "\x8b" + Pad)},
      }),
      0);
  DebugInfoEntry *Entry = unitAt(0).getUnitDIE();
  ASSERT_TRUE(Entry);
  EXPECT_EQ(Entry->getAbbrevCode(), 1u);
  EXPECT_THAT(Entry->find(1)->getExprLoc(), ElementsAre('x', 'y'));
  EXPECT_EQ(Entry->find(2)->getSize(), 10u);
  EXPECT_EQ(Entry->find(2)->getSectionOffset(), 11u + 11 + 2 + 11 + 2);
  EXPECT_EQ(Entry->find(4)->getRef(), Entry);
  EXPECT_EQ(unitAt(0).getDIEList().size(), 1u);
}

TEST_F(Dwarf, UnitsWithoutANameAreFoundByAddress) {
  ASSERT_EQ(
      load({
          {".debug_abbrev", abbrev(1, DW_TAG_compile_unit, false, DW_AT_name, DW_FORM_string) +
                                abbrev(2, DW_TAG_partial_unit, false, DW_AT_low_pc, DW_FORM_addr,
                                       DW_AT_high_pc, DW_FORM_data4)},
          {".debug_info", unit("\2" + word(0x100) + word(16)) + unit("\1a\0"s)},
      }),
      0);
  EXPECT_EQ(info().getCompUnitForAddress(0x108), &unitAt(0));
  EXPECT_EQ(nameAt(0x108), nullptr);
  EXPECT_EQ(info().getCompUnitForName("").size(), 1u);
}

TEST_F(Dwarf, ReadsTheWideFormatAndTablesThatRunOn) {
  std::string Wide = word(~0u) + big(uint64_t{11 + 14 + 4}) + bytes(0, 4) + big(uint64_t{0}) +
                     bytes(4) + "\1a.c\0"s + big(uint64_t{0x1000}) + word(16) + bytes(5, 6, 5, 0);
  ASSERT_EQ(load({{".debug_abbrev", Abbrevs + abbrev(5, DW_TAG_variable, false) + bytes(0)},
                  {".debug_info",
                   Wide.substr(0, 4) + big(uint64_t{Wide.size() - 12}) + Wide.substr(12)}}),
            0);
  CompilationUnit &Unit = unitAt(0);
  EXPECT_TRUE(Unit.is64Bit());
  EXPECT_EQ(Unit.getHeaderSize(), 23u);
  EXPECT_EQ(Unit.getTotalSize(), Wide.size());
  std::vector<uint64_t> Tags;
  for (DebugInfoEntry *Entry : Unit.getDIEList())
    Tags.push_back(Entry->getTag());
  EXPECT_THAT(Tags, ElementsAre(DW_TAG_compile_unit, DW_TAG_variable, 0, DW_TAG_variable));
  EXPECT_EQ(Unit.getBaseAddress(), 0u); // addresses are 4 bytes in every form
  EXPECT_EQ(Unit.getUnitDIE()->getChildren().size(), 4u);
}

TEST_F(Dwarf, FindsUnitsByAddressAndByTheEndOfTheirName) {
  ASSERT_EQ(
      load({{".debug_abbrev", Abbrevs},
            {".debug_info", unit(named(1, "/a//b/src/main.c", 0x1000, 0x100) + '\0') +
                                unit(named(1, "/a/c/main.c", 0x1100, 0x100) + '\0')},
            {".debug_aranges", set(bytes(0, 2) + word(0) + bytes(4, 0) + word(0) + word(0x5000) +
                                   word(16) + word(0x6000) + word(16) + big(0l))}}),
      0);
  EXPECT_STREQ(nameAt(0x5008), "/a//b/src/main.c");
  EXPECT_STREQ(nameAt(0x1100), "/a/c/main.c"); // from the units, on the first miss
  EXPECT_STREQ(nameAt(0x10ff), "/a//b/src/main.c");
  EXPECT_EQ(nameAt(0x5010), nullptr);
  EXPECT_EQ(nameAt(0xfff), nullptr);
  auto Count = [&](const char *Name) { return info().getCompUnitForName(Name).size(); };
  EXPECT_EQ(Count("main.c"), 2u);
  EXPECT_EQ(Count("src/main.c"), 1u);
  EXPECT_EQ(Count("/a/b/src/main.c"), 1u);
  EXPECT_EQ(Count("b/src"), 0u);
  EXPECT_EQ(orvy_dwarfGetBreakLoc(Handle, "main.c", 1), UINT64_MAX);
  EXPECT_EQ(orvy_dwarfGetBreakLoc(Handle, "src/main.c", 1), UINT64_MAX);
  EXPECT_EQ(Log.count("get break loc: CU count = 2"), 1);
  EXPECT_EQ(Log.count("CU lacks LNP"), 1);
}

TEST_F(Dwarf, GivesAnAddressToTheFirstFunctionInFileOrder) {
  ASSERT_EQ(loadInfo(unit(named(1, "a.c", 0x1000, 0x1000) + named(2, "inner", 0x1100, 0x100) +
                          named(2, "outer", 0x1000, 0x800) + named(2, "late", 0x1700, 0x200) +
                          named(2, "none", 0x1a00, 0) + named(2, "late", 0x1b00, 0x10) + '\0')),
            0);
  const std::pair<uint64_t, const char *> Cases[] = {
      {0x1000, "outer"}, {0x10ff, "outer"}, {0x1100, "inner"}, {0x11ff, "inner"}, {0x1200, "outer"},
      {0x1750, "outer"}, {0x1800, "late"},  {0x1900, nullptr}, {0x1a00, nullptr}, {0x3000, nullptr},
  };
  for (auto [Addr, Name] : Cases)
    EXPECT_STREQ(orvy_dwarfGetName(Handle, Addr), Name) << Addr;
  orvy_AddrRange Range{};
  uint64_t Low = 0, High = 0;
  EXPECT_EQ(orvy_dwarfGetNamedAddressRange(Handle, "late", &Range), 0);
  EXPECT_EQ(Range.Low, 0x1b00u); // the last of a name
  EXPECT_EQ(Range.High, 0x1b10u);
  EXPECT_EQ(orvy_debugGetAddressRange(Handle, "late", &Low, &High), 0);
  EXPECT_EQ(High, 0x10u); // as stored
  EXPECT_EQ(orvy_debugGetEntryPoint(Handle, "inner", &Low), 0);
  EXPECT_EQ(Low, 0x1100u);
  EXPECT_EQ(orvy_debugGetEntryPoint(Handle, "missing", &Low), 1);
  EXPECT_EQ(orvy_debugGetEntryPoint(nullptr, "inner", &Low), 1);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(orvy_dwarfGetAddressRange(Handle, 0x1900, &Range), 1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "no compile unit at Addr\ndid not find die for address\n");
}

TEST_F(Dwarf, ListsAnEntryWithItsValues) {
  ASSERT_EQ(
      load({{".debug_abbrev", abbrev(1, DW_TAG_compile_unit, true, DW_AT_name, DW_FORM_strp,
                                     DW_AT_language, DW_FORM_data1, DW_AT_low_pc, DW_FORM_addr,
                                     0x7f, DW_FORM_flag, DW_AT_type, DW_FORM_udata) +
                                  bytes(0)},
            {".debug_info", unit("\1"s + word(2) + "\x0c"s + word(0x1000) + "\1\5\7\0"s)},
            {".debug_str", "x\0a.c\0"s},
            {".debug_types", word(24) + bytes(0, 4) + word(0) + bytes(4) + big(7l) + word(30) +
                                 bytes(8, 0, 0, 0, 0)}}),
      0);
  EXPECT_EQ(printed([&] { info().printInfo(); }), R"(compilation unit: 64bit = 0
compilation unit: unit length = 21
compilation unit: version = 4
compilation unit: abbrev offset = 0
compilation unit: address size = 4
compilation unit: DIE count = 2
DIE size: 0
DIE tag: DW_TAG_compile_unit
  DW_AT_name: DW_FORM_strp = "a.c"
  DW_AT_language: DW_FORM_data1 = DW_LANG_C99
  DW_AT_low_pc: DW_FORM_addr = 0x1000
  DW_AT_call_origin: DW_FORM_flag = 1
  DW_AT_type: DW_FORM_udata = unprintable
  DIE size: 0
  no DIE abbrev found
  === NULL-DIE ===
type unit: 64bit = 0
type unit: unit length = 24
type unit: version = 4
type unit: abbrev offset = 0
type unit: address size = 4
type unit: type sig = 7
type unit: type offset = 30
type unit: DIE count = 1
DIE size: 0
no DIE abbrev found
)");
  EXPECT_EQ(printed([&] { info().printAbbrevs(); }),
            "abbrev: 1 DW_TAG_compile_unit\nabbrev: has children\nattr: DW_AT_name : DW_FORM_strp\n"
            "attr: DW_AT_language : DW_FORM_data1\nattr: DW_AT_low_pc : DW_FORM_addr\n"
            "attr: DW_AT_call_origin : DW_FORM_flag\nattr: DW_AT_type : DW_FORM_udata\n");
  EXPECT_THAT(printed([&] { info().print(); }),
              HasSubstr(".debug_abbrev: 16 B\n.debug_str: 6 B\n.debug_info: 25 B\n"));
  EXPECT_STREQ(unitAt(0).getLanguageName(), "DW_LANG_C99");
  EXPECT_EQ(info().getTypeUnits()[0]->getUnitDIE(), nullptr);
  EXPECT_EQ(TagNames.size() + AtNames.size() + FormNames.size() + LangNames.size(),
            74u + 144 + 25 + 38);
}

TEST_F(Dwarf, ReadsListsByTheirOwnBaseAndNoneOutsideTheSection) {
  ASSERT_EQ(
      load({{".debug_abbrev", abbrev(1, DW_TAG_compile_unit, true, DW_AT_name, DW_FORM_string,
                                     DW_AT_low_pc, DW_FORM_addr) +
                                  abbrev(2, DW_TAG_variable, false, DW_AT_ranges,
                                         DW_FORM_sec_offset, DW_AT_location, DW_FORM_sec_offset) +
                                  bytes(0)},
            {".debug_info", unit("\1a\0"s + word(0x100) + "\2"s + word(0) + word(0) + "\2"s +
                                 word(99) + word(99) + '\0')},
            {".debug_ranges", word(0x10) + word(0x20) + word(~0u) + word(0x9000) + word(0x30) +
                                  word(0x38) + big(0l)},
            {".debug_loc", word(8) + word(16) + "\0\1\x50"s + word(0) + word(4) + "\0\1\x53"s +
                               word(40) + word(48) + "\0\1\x54"s + big(0l)}}),
      0);
  DebugInfoEntry *Good = unitAt(0).getUnitDIE()->getFirstChild(), *Lost = Good->getNext();
  orvy_AddrRange Ranges[2] = {};
  EXPECT_EQ(orvy_dwarfGetDIERangeCount(Good), 2u);
  EXPECT_EQ(orvy_dwarfGetDIERanges(Good, 1, Ranges), UINT64_MAX);
  EXPECT_EQ(Ranges[0].High, 0u);
  EXPECT_EQ(orvy_dwarfGetDIERanges(Good, 2, Ranges), 2u);
  EXPECT_EQ(Ranges[0].High, 0x120u);
  EXPECT_EQ(Ranges[1].Low, 0x130u);
  EXPECT_EQ(orvy_dwarfGetDIERangeCount(Lost), 0u);
  auto At = [](DebugInfoEntry *E, uint64_t Pc) { return E->find(DW_AT_location)->getLocList(Pc); };
  EXPECT_THAT(At(Good, 0x108), ElementsAre(0x50));
  EXPECT_THAT(At(Good, 0x128), ElementsAre()) << "not searched after a range from the base on";
  EXPECT_THAT(At(Lost, 0x108), ElementsAre());
}

TEST_F(Dwarf, ReadsSourceAroundALine) {
  ASSERT_EQ(loadInfo(unit(named(1, "a.c", 0, 0) + '\0')), 0);
  std::string Source = Files.file("src/a.c", "1\r\n2\n3\n4\n5\n6\n7");
  auto Around = [&](const char *File, uint32_t Line, uint32_t Lines) {
    orvy_SourceLoc Loc{File, Line, 0};
    const char *Text = orvy_dwarfGetSourceLinesAroundLoc(Handle, &Loc, Lines);
    return std::string(Text ? Text : "none");
  };
  EXPECT_EQ(Around(Source.c_str(), 2, 1), "1\n2\n3\n");
  EXPECT_EQ(Around(Source.c_str(), 7, 2), "5\n6\n7");
  EXPECT_EQ(Around(Source.c_str(), 2, 2), "none");
  EXPECT_EQ(Around(Source.c_str(), 9, 1), "none");
  EXPECT_EQ(Around(nullptr, 2, 1), "none");
  EXPECT_EQ(Around("/dev/zero", 2, 1), "none");
  EXPECT_EQ(Around("a.c", 2, 0), "none");
  orvy_dwarfAddSourceDir(Handle, Files.path("src").c_str());
  EXPECT_EQ(Around("a.c", 2, 0), "2\n");
  orvy_dwarfAddSourceDirRemap(Handle, "/build", Files.path("src").c_str());
  EXPECT_EQ(Around("/build/a.c", 3, 0), "3\n");
  EXPECT_EQ(info().remapPath("/build/a.c"), Files.path("src//a.c"));
  ::testing::internal::CaptureStderr();
  orvy_dwarfAddSourceDirRemap(Handle, "build", "/x");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "added non absolute dwarf remap prefix, ignoring!\n");
  EXPECT_EQ(info().PathRemaps.size(), 1u);
}

TEST_F(Dwarf, ListsStructures) {
  ASSERT_EQ(load({{".debug_abbrev",
                   abbrev(1, DW_TAG_compile_unit, true, DW_AT_name, DW_FORM_string) +
                       abbrev(2, DW_TAG_structure_type, true, DW_AT_name, DW_FORM_string) +
                       abbrev(3, DW_TAG_member, false, DW_AT_name, DW_FORM_string, DW_AT_type,
                              DW_FORM_ref1) +
                       bytes(0)},
                  {".debug_info", unit("\1a\0\2node\0\3next\0\x0e\0\0"s)}}),
            0);
  DebugInfoEntry *Struct = unitAt(0).getUnitDIE()->getFirstChild();
  EXPECT_EQ(printed([&] { LanguagePrinter().printType(Struct); }),
            "struct node{\n  next : node;\n}\n");
  EXPECT_EQ(printed([&] { CLangPrinter().printType(Struct); }), "struct node{\n  node next;\n}\n");
  EXPECT_EQ(printed([&] { CLangPrinter().printType(unitAt(0).getUnitDIE()); }), "");
}

TEST_F(Dwarf, LoadsDeepTreesAndManyEntries) {
  const uint32_t Depth = 100'000;
  ASSERT_EQ(loadInfo(unit(named(1, "a.c", 0, 0) + std::string(Depth, '\3') +
                          std::string(Depth + 1, '\0'))),
            0);
  Silence Quiet;
  info().printInfo();
  EXPECT_EQ(orvy_dwarfGetDIEForName(Handle, "f"), nullptr);
  EXPECT_EQ(unitAt(0).getDIEList().size(), Depth + 1);
  // As many entries, each with as many attributes that take no bytes.
  std::string Many = Abbrevs.substr(0, Abbrevs.size() - 1) + bytes(4, DW_TAG_variable, 0);
  for (uint32_t Count = 0; Count < Depth; ++Count)
    Many += bytes(0x3f, DW_FORM_flag_present);
  EXPECT_EQ(load({{".debug_abbrev", Many + bytes(0, 0, 0)},
                  {".debug_info", unit(named(1, "a.c", 0, 0) + std::string(Depth, '\4') + '\0')}}),
            -1);
}

TEST_F(Dwarf, SurvivesRandomDamage) {
  std::mt19937 Random(testSeed());
  Silence Quiet;
  orvy_logSetLevel(ovLOG_Fatal);
  int Loaded = 0;
  for (const char *Name : {"hello", "timer", "compute"}) {
    std::string Image = ORVY_SOURCE_ROOT "/examples/images/"s + Name + ".elf";
    std::ifstream Stream(Image, std::ios::binary);
    const std::string Good{std::istreambuf_iterator<char>(Stream), {}};
    ElfFile Elf(Image);
    size_t First = Elf.findSection(".debug_info")->sh_offset;
    for (int Count = 0; Count < 3334; ++Count) {
      std::string Bad = Good;
      if (Count % 4 == 0)
        Bad.resize(First + Random() % (Bad.size() - First));
      for (unsigned Flips = Count % 4; Flips > 0; --Flips)
        Bad[First + Random() % (Bad.size() - First)] ^= static_cast<char>(1 << Random() % 8);
      MemoryFile File(Bad);
      if (orvy_loadDwarf(File.path().c_str(), &Handle) == 0 && ++Loaded)
        useDwarf(Handle, 20);
      orvy_disposeDwarf(std::exchange(Handle, nullptr));
    }
  }
  EXPECT_GT(Loaded, 1000);
  EXPECT_LT(Loaded, 9000);
}
