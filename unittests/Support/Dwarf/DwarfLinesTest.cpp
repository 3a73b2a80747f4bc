#include "orvy/Support/DwarfLines.h"
#include "orvy/Support/Logging.h"

#include "Testing/ElfBuilder.h"
#include "Testing/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

using namespace orvy::dwarf;
using namespace std::string_literals;
using orvy::testing::appendBig;
using ::testing::ElementsAre;

namespace {

std::string bytesOf(const std::string &Hex) {
  std::string Result;
  std::istringstream In(Hex);
  for (unsigned Byte = 0; In >> std::hex >> Byte;)
    Result += static_cast<char>(Byte);
  return Result;
}

constexpr const char *At100 = "00 05 02 00 00 01 00 "; // DW_LNE_set_address
constexpr const char *End = " 00 01 01";
constexpr const char *Unterminated =
    "Line number program was not terminated by end sequence op\n"
    "this means that your compiler produces incorrect DWARF line\n"
    "number programs. We have assumed that we stop running when\n"
    "reaching the end anyway. This said, if you ever see this\n"
    "message, please contact KALVEX and mention which compiler you\n"
    "are using.\n";

/// A program with a header as compilers make it; what is set otherwise is written as it stands.
struct ProgramBytes {
  bool Is64Bit = false;
  uint16_t Version = 4;
  uint8_t MinInstrLength = 4, MaxOps = 1, DefaultIsStmt = 1, LineRange = 14, OpcodeBase = 13;
  std::string Lengths = bytesOf("00 01 01 01 01 00 00 00 01 00 00 01");
  std::string Dirs = "/src//inc\0rel\0"s;
  std::string Files = "main.c\0\0\0\0"
                      "a.h\0\1\0\0"
                      "b.h\0\2\0\0"
                      "/abs//c.c\0\1\2\3"
                      "d.h\0\11\0\0"s;
  uint64_t ExtraLength = 0, ExtraHeaderLength = 0;
  std::string Ops;

  explicit ProgramBytes(const std::string &Hex) : Ops(bytesOf(Hex)) {}

  std::string bytes() const {
    std::string Fields(1, static_cast<char>(MinInstrLength));
    if (Version > 3)
      Fields += static_cast<char>(MaxOps);
    for (int Field : {int{DefaultIsStmt}, -5, int{LineRange}, int{OpcodeBase}})
      Fields += static_cast<char>(Field);
    Fields += Lengths + Dirs + '\0' + Files + '\0';
    std::string Unit;
    appendBig(Unit, Version);
    appendWord(Unit, Fields.size() + ExtraHeaderLength);
    Unit += Fields + Ops;
    std::string Result = Is64Bit ? "\xff\xff\xff\xff"s : "";
    appendWord(Result, Unit.size() + ExtraLength);
    return Result + Unit;
  }

private:
  void appendWord(std::string &To, uint64_t Value) const {
    if (Is64Bit)
      appendBig(To, Value);
    else
      appendBig(To, static_cast<uint32_t>(Value));
  }
};

struct Loaded {
  DebugInfo Info;
  std::unique_ptr<LineNumberProgram> Program;
  std::string Errors;

  explicit Loaded(const std::string &Bytes, uint64_t Offset = 0) {
    Info.LineSec.assign(Bytes.begin(), Bytes.end());
    testing::internal::CaptureStderr();
    Program = LineNumberProgram::load(&Info, nullptr, Offset);
    Errors = testing::internal::GetCapturedStderr();
  }
  explicit Loaded(const ProgramBytes &Program) : Loaded(Program.bytes()) {}

  /// As "100 1:5:0 SE": address, file, line and column, then the flags that are set.
  std::string rows() const {
    std::string Text;
    for (const auto &Row : Program->getMatrix()) {
      char Numbers[100];
      std::snprintf(Numbers, sizeof Numbers, "%s%lx/%lu %lu:%ld:%lu ", Text.empty() ? "" : ", ",
                    Row.Address, Row.OpIndex, Row.File, static_cast<long>(Row.Line), Row.Column);
      Text += Numbers + ("S"s.substr(!Row.IsStmt) + "B"s.substr(!Row.BasicBlock)) +
              ("E"s.substr(!Row.EndSequence) + "P"s.substr(!Row.PrologueEnd)) +
              "L"s.substr(!Row.EpilogueBegin) + (Row.Isa ? "i" + std::to_string(Row.Isa) : "") +
              (Row.Discriminator ? "d" + std::to_string(Row.Discriminator) : "");
    }
    return Text;
  }

  /// "file:line:column" of an address; "none" if it is not covered.
  std::string lookUp(uint64_t Address) const {
    unsigned long File = 0, Line = 0, Column = 0;
    if (!Program->getLocationForAddress(Address, File, Line, Column))
      return "none";
    return std::to_string(File) + ":" + std::to_string(Line) + ":" + std::to_string(Column);
  }

  unsigned long breakAt(const char *File, long Line) const {
    unsigned long Address = 0;
    return Program->getBreakLocation(File, Line, 0, Address) ? Address : ~0ul;
  }
};

} // namespace

TEST(DwarfLines, OperationsMakeTheRowsWorkedOutByHand) {
  const struct {
    const char *Name;
    std::string Ops;
    const char *Rows;
  } Cases[] = {
      {"copy", "03 04 01", "100/0 1:5:0 S, 100/0 1:5:0 SE"},
      {"special", "4b", "110/0 1:2:0 S, 110/0 1:2:0 SE"},
      {"special, back", "0d", "100/0 1:-4:0 S, 100/0 1:-4:0 SE"},
      {"advance_pc", "02 83 01 01", "30c/0 1:1:0 S, 30c/0 1:1:0 SE"},
      {"advance_pc, around", "02 ff ff ff ff ff ff ff ff 7f", "fc/0 1:1:0 SE"},
      {"advance_line, back", "03 7e 01", "100/0 1:-1:0 S, 100/0 1:-1:0 SE"},
      {"const_add_pc", "08", "144/0 1:1:0 SE"},
      {"fixed_advance_pc", "09 ff ff", "100ff/0 1:1:0 SE"},
      {"registers", "04 02 05 07 06 07 0a 0b 0c 03 00 02 04 09 01 01",
       "100/0 2:1:7 BPLi3d9, 100/0 2:1:7 i3, 100/0 2:1:7 Ei3"},
      {"own extended", "00 04 80 01 02 03 01", "100/0 1:1:0 S, 100/0 1:1:0 SE"},
      {"own extended, empty", "00 00 80 01", "100/0 1:1:0 S, 100/0 1:1:0 SE"},
      {"second sequence", "00 01 01 01 01", "100/0 1:1:0 SE"},
  };
  for (const auto &[Name, Ops, Rows] : Cases) {
    Loaded Made(ProgramBytes(At100 + Ops + End));
    ASSERT_TRUE(Made.Program) << Name;
    EXPECT_EQ(Made.rows(), Rows) << Name;
    EXPECT_EQ(Made.Errors, "") << Name;
    testing::internal::CaptureStdout();
    Made.Program->run(true); // tells, and leaves the same
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Made.rows(), Rows) << Name;
  }
}

TEST(DwarfLines, HeadersOfEveryVersionAndFormatAreRead) {
  for (bool Is64Bit : {false, true})
    for (uint16_t Version : {2, 3, 4}) {
      std::string SetAddress = Is64Bit ? "00 09 02 00 00 00 00 00 00 01 00 " : At100;
      ProgramBytes Bytes(SetAddress + "4b" + End);
      Bytes.Is64Bit = Is64Bit;
      Bytes.Version = Version;
      Bytes.DefaultIsStmt = 0;
      std::string Text = "before" + Bytes.bytes() + "behind";
      Loaded Made(Text, 6);
      ASSERT_TRUE(Made.Program);
      EXPECT_EQ(Made.rows(), "110/0 1:2:0 , 110/0 1:2:0 E");
      EXPECT_EQ(Made.Program->getVersion(), Version);
      EXPECT_EQ(Made.Program->getTotalSize(), Text.size() - 12);
      EXPECT_EQ(Made.Program->getIncludeDirs().size() + Made.Program->getFiles().size(), 7u);
    }
}

TEST(DwarfLines, OperationsOfLaterVersionsAreSkippedByTheirLengths) {
  ProgramBytes Bytes(At100 + "0d 81 01 01 0e 01 0f"s + End); // 13 has two operands, 14 none
  Bytes.OpcodeBase = 15;
  Bytes.Lengths += bytesOf("02 00");
  EXPECT_EQ(Loaded(Bytes).rows(), "100/0 1:1:0 S, 100/0 1:-4:0 S, 100/0 1:-4:0 SE");
  ProgramBytes Few(At100 + "0a"s + End); // a special one: 10 is not a standard operation here
  Few.OpcodeBase = 10;
  Few.Lengths.resize(9);
  EXPECT_EQ(Loaded(Few).rows(), "100/0 1:-4:0 S, 100/0 1:-4:0 SE");
}

TEST(DwarfLines, SeveralOperationsMakeAnInstruction) {
  // 6 operations: one instruction of 8 bytes and 2 operations; then 1 more, and 3 more. An address,
  // absolute or relative, begins an instruction. const_add_pc is 17 operations, 4b is 4.
  ProgramBytes Bytes(At100 + "02 06 01 02 01 01 02 03 01 09 00 01 01 02 03 01 "s + At100 +
                     "01 08 01 4b" + End);
  Bytes.MinInstrLength = 8;
  Bytes.MaxOps = 4;
  EXPECT_EQ(Loaded(Bytes).rows(), "108/2 1:1:0 S, 108/3 1:1:0 S, 110/2 1:1:0 S, 111/0 1:1:0 S, "
                                  "111/3 1:1:0 S, 100/0 1:1:0 S, 120/1 1:1:0 S, 128/1 1:2:0 S, "
                                  "128/1 1:2:0 SE");
}

TEST(DwarfLines, ProgramsWithoutEndAreEndedWithAText) {
  Loaded Open(ProgramBytes(At100 + "01"s));
  EXPECT_EQ(Open.rows(), "100/0 1:1:0 S, 100/0 1:1:0 SE");
  EXPECT_EQ(Open.Errors, Unterminated);
  Loaded Empty(ProgramBytes(""));
  EXPECT_EQ(Empty.rows(), "0/0 1:1:0 SE");
  EXPECT_EQ(Empty.Errors, Unterminated);
  EXPECT_EQ(Empty.lookUp(0), "none");
}

TEST(DwarfLines, DamagedProgramsAreNotLoaded) {
  const ProgramBytes Good(At100 + "01"s + End);
  const auto Damaged = [&](auto Change) {
    ProgramBytes Bytes = Good;
    Change(Bytes);
    return Loaded(Bytes).Program == nullptr;
  };
  EXPECT_FALSE(Damaged([](ProgramBytes &) {}));
  EXPECT_TRUE(Damaged([](ProgramBytes &B) { B.Version = 1; }));
  EXPECT_TRUE(Damaged([](ProgramBytes &B) { B.Version = 5; }));
  EXPECT_TRUE(Damaged([](ProgramBytes &B) { B.LineRange = 0; }));
  EXPECT_TRUE(Damaged([](ProgramBytes &B) { B.MaxOps = 0; }));
  EXPECT_TRUE(Damaged([](ProgramBytes &B) { B.OpcodeBase = 0; }));
  EXPECT_TRUE(Damaged([](ProgramBytes &B) { B.ExtraHeaderLength = 1; }));
  EXPECT_TRUE(Damaged([](ProgramBytes &B) { B.Is64Bit = true, B.ExtraLength = UINT64_MAX / 2; }));
  EXPECT_TRUE(Damaged([](ProgramBytes &B) { B.Is64Bit = true, B.ExtraLength = UINT64_MAX - 99; }));
  EXPECT_TRUE(Damaged([](ProgramBytes &B) { B.Ops.resize(1), B.ExtraLength = 1; }));
  const std::string Bytes = Good.bytes();
  for (size_t Size = 0; Size < Bytes.size(); ++Size)
    EXPECT_EQ(Loaded(Bytes.substr(0, Size)).Program, nullptr) << Size;
  Loaded Made(Bytes);
  EXPECT_THROW(LineNumberProgram(&Made.Info, nullptr, Bytes.size(), false), int);
}

TEST(DwarfLines, TheLastRowOfAnAddressCoversUpToTheNext) {
  Loaded Made(ProgramBytes(At100 + "03 04 01 03 01 05 09 0c 02 01 02 02"s + End));
  EXPECT_EQ(Made.rows(), "100/0 1:5:0 S, 100/0 1:6:9 Si2, 108/0 1:6:9 SEi2");
  const struct {
    uint64_t Address;
    const char *Location;
  } Cases[] = {
      {0, "none"},      {0xff, "none"},  {0x100, "1:6:9"},
      {0x107, "1:6:9"}, {0x108, "none"}, {~0ul, "none"},
  };
  for (const auto &[Address, Location] : Cases)
    EXPECT_EQ(Made.lookUp(Address), Location) << Address;
  unsigned long Isa = 7;
  EXPECT_FALSE(Made.Program->getISAForAddress(0x108, Isa));
  EXPECT_EQ(Isa, 7u);
  EXPECT_TRUE(Made.Program->getISAForAddress(0x107, Isa));
  EXPECT_EQ(Isa, 2u);
}

TEST(DwarfLines, FilesHaveNamesDirectoriesAndPaths) {
  Loaded Made(ProgramBytes(At100 + "00 06 03 78 00 01 00 00"s + End));
  const LineNumberProgram &P = *Made.Program;
  const struct {
    long File;
    const char *Name, *Dir, *Path;
  } Cases[] = {
      {1, "main.c", nullptr, "main.c"}, {2, "a.h", "/src//inc", "/src/inc/a.h"},
      {3, "b.h", "rel", "rel/b.h"},     {4, "/abs//c.c", "/src//inc", "/abs/c.c"},
      {5, "d.h", nullptr, "d.h"},       {6, "x", "/src//inc", "/src/inc/x"},
      {0, nullptr, nullptr, ""},        {7, nullptr, nullptr, ""},
      {-1, nullptr, nullptr, ""},       {LONG_MIN, nullptr, nullptr, ""},
  };
  for (const auto &[File, Name, Dir, Path] : Cases) {
    EXPECT_STREQ(P.getFileName(File), Name) << File;
    EXPECT_STREQ(P.getFileDir(File), Dir) << File;
    EXPECT_EQ(P.getFilePath(File), Path) << File;
  }
}

TEST(DwarfLines, UnitsGiveTheirProgramAndItsFirstDirectory) {
  orvy::testing::LogCapture Log;
  DebugInfo Info;
  std::string Line = ProgramBytes(At100 + "4b"s + End + At100 + "01" + End).bytes();
  auto set = [&](void (DebugInfo::*Set)(Section &), const std::string &Bytes) {
    Section Moved(Bytes.begin(), Bytes.end());
    (Info.*Set)(Moved);
  };
  set(&DebugInfo::setAbbrevs,
      bytesOf("01 11 00 03 08 1b 08 10 06 00 00 00")); // name, directory, offset
  set(&DebugInfo::setInfo, bytesOf("00 00 00 14 00 03 00 00 00 00 04 01") + "m\0/comp\0\0\0\0\0"s +
                               bytesOf("00 00 00 15 00 03 00 00 00 00 04 01") +
                               "n\0/comp\0\0\0\0\1\0"s);
  set(&DebugInfo::setLine, Line);
  CompilationUnit *Unit = Info.getCompUnits()[0].get();
  LineNumberProgram *Program = Unit->getLineNumberProgram();
  ASSERT_TRUE(Program);
  EXPECT_EQ(Program, Info.getLineNumberProgram(Unit, 0)); // read once
  EXPECT_STREQ(Program->getFileDir(1), "/comp");
  EXPECT_EQ(Program->getFilePath(1), "/comp/main.c");
  EXPECT_EQ(Program->getFilePath(4), "/abs/c.c");
  EXPECT_EQ(Info.getCompUnits()[1]->getLineNumberProgram(), nullptr); // one byte off
  EXPECT_EQ(Info.getLineNumberProgram(Unit, ~0ul), nullptr);
  EXPECT_THAT(
      Log.take(),
      ElementsAre(
          ":warning:: '': unit 'm' has code in several sections, and lines are known for the "
          "first alone (0x110 to 0x110); so it is for all units of this image",
          ":warning:: '': line program at 0x1 of .debug_line (unit 'n') cannot be read",
          ":warning:: '': line program at 0xffffffffffffffff of .debug_line (unit 'm') "
          "cannot be read"));
}

TEST(DwarfLines, BreaksGoToTheNextLineThatHasAStatement) {
  // Lines of file 1: 10, 12, 12 of another file, 14 that is not a statement, 10 again, 0 and 20.
  Loaded Made(ProgramBytes(At100 +
                           "03 09 01 02 01 03 02 01 02 01 04 02 01 02 01 04 01 06 03 02 01 "
                           "02 01 06 03 7c 01 02 01 03 76 01 02 01 03 14 01 02 01"s +
                           End));
  ASSERT_EQ(Made.rows(), "100/0 1:10:0 S, 104/0 1:12:0 S, 108/0 2:12:0 S, 10c/0 1:14:0 , "
                         "110/0 1:10:0 S, 114/0 1:0:0 S, 118/0 1:20:0 S, 11c/0 1:20:0 SE");
  const struct {
    const char *File;
    long Line;
    unsigned long Address;
  } Cases[] = {
      {"main.c", 10, 0x100}, // the first of two
      {"main.c", 11, 0x104},       {"main.c", 12, 0x104},
      {"main.c", 13, 0x118}, // not the row that is not a statement
      {"main.c", 21, ~0ul},        {"main.c", 1, 0x100},
      {"main.c", 0, 0x118}, // whatever comes last after a row without line
      {"main.c", -5, 0x118},       {"/src/inc/a.h", 1, 0x108},
      {"/src//inc/a.h", 1, 0x108}, {"a.h", 12, 0x108}, // by its bare name
      {"inc/a.h", 12, ~0ul},       {"b.h", 1, ~0ul},   // known, without rows
      {"nowhere.c", 1, ~0ul},      {nullptr, 1, ~0ul},
  };
  for (const auto &[File, Line, Address] : Cases)
    EXPECT_EQ(Made.breakAt(File, Line), Address) << (File ? File : "null") << ":" << Line;
}

TEST(DwarfLines, BreaksAreToldInTheLog) {
  orvy::testing::LogCapture Log;
  orvy_logSetLevel(ovLOG_Debug);
  Loaded Made(ProgramBytes(At100 + "03 09 01"s + End));
  Made.breakAt("main.c", 3);
  orvy_logSetLevel(ovLOG_Info);
  EXPECT_EQ(Log.count("getBreakLocation main.c:3:0"), 1);
  EXPECT_EQ(Log.count("break location is = 100 for line 3"), 1);
}

TEST(DwarfLines, TellsWhatItReadsAndRuns) {
  ProgramBytes Bytes(At100 +
                     "01 02 02 03 7f 04 02 05 03 06 07 08 09 00 10 0a 0b 0c 01 00 02 04 05 "
                     "00 06 03 78 00 00 00 00 4b"s +
                     End);
  Loaded Made(Bytes);
  testing::internal::CaptureStdout();
  LineNumberProgram(&Made.Info, nullptr, 0, true);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Length: 126\nVersion: 4\nHeader Length: 78\nMin Instr Length: 4\n"
            "Max Ops Per Inst: 1\nDefault Is Statement: 1\nLine Base: -5\nLine Range: 14\n"
            "Opcode Base: 13, 0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0, 1\n"
            "Include Dirs:\n\t/src//inc\n\trel\n"
            "Files:\n\tmain.c 0 0 0\n\ta.h 1 0 0\n\tb.h 2 0 0\n\t/abs//c.c 1 2 3\n\td.h 9 0 0\n"
            "DW_LNS_set_address(0x100)\n"
            "DW_LNS_copy addr 0x100 index 0 line 1\n"
            "DW_LNS_advance_pc(2)\nDW_LNS_advance_line(-1)\nDW_LNS_set_file(2)\n"
            "DW_LNS_set_column(3)\nDW_LNS_negate_stmt\nDW_LNS_set_basic_block\n"
            "DW_LNS_const_add_pc\nDW_LNS_fixed_advance_pc(16)\nDW_LNS_set_prologue_end\n"
            "DW_LNS_set_epilogue_begin\nDW_LNS_set_isa(1)\nDW_LNS_set_discriminator(5)\n"
            "DW_LNS_define_file(\"x\")\n"
            "special op(62) addr 0x16c index 0 line 1\n"
            "DW_LNS_end_sequence\n");
  testing::internal::CaptureStderr();
  Made.Program->print();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "file main.c\nfile a.h\nfile b.h\nfile /abs//c.c\nfile d.h\nfile x\n"
            "0x100 1/main.c:1:0 stmt:1 bb:0 eseq:0 pend:0 epbeg:0 isa:0 discr:0\n"
            "0x16c 2/a.h:1:3 stmt:0 bb:1 eseq:0 pend:1 epbeg:1 isa:1 discr:5\n"
            "0x16c 2/a.h:1:3 stmt:0 bb:0 eseq:1 pend:0 epbeg:0 isa:1 discr:0\n");
}
