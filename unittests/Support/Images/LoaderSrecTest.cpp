// S-records: lines of every kind, files that are cut or damaged.

#include "Testing/ImageTest.h"
#include "Testing/MemoryFile.h"
#include "Testing/SrecBuilder.h"

#include <filesystem>

using namespace orvy;
using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

namespace {

class Srecords : public ImageTest {
protected:
  /// Loads a file. Returns its start address.
  uint32_t load(std::string_view Text) {
    uint32_t Start = 0xdeadbeef;
    MemoryFile File(Text);
    EXPECT_EQ(orvy_loadSrecImageAndStartAddr(Mem, File.path().c_str(), &Start), 0);
    return Start;
  }

  static std::string counted(unsigned Invalid, unsigned Lines) {
    return ":info: mem : loaded SREC with " + std::to_string(Invalid) + " invalid lines out of " +
           std::to_string(Lines) + " lines";
  }
};

TEST_F(Srecords, LinesHaveTheTypeOfTheirDigitOrNone) {
  for (const char *Line : {"S00600004844521B", "S1031000EC", "S104100001EA", "S20410000005",
                           "S30540000000BA", "S30540000000ba", "S5030001FB", "S604000001FA",
                           "S70540000000BA", "S804100000EB", "S9031000EC", "S1021000"})
    EXPECT_EQ(srecLineType(Line), unsigned(Line[1] - '0')) << Line;
  for (const char *Line : {"", "S1030000", "S10310", "s1031000EC", " S1031000EC", "S1031000EC ",
                           "S1031000E", "S4031000EC", "SA031000EC", "S:031000EC", "S/031000EC",
                           "S103100GEC", "S103100-EC", "S1041000EC", "S1021000EC"})
    EXPECT_EQ(srecLineType(Line), 10u) << Line;
  EXPECT_EQ(srecLineType("S1041000EC\0\0"s), 10u);
  EXPECT_EQ(srecLineType("S1031000\xc5\xc3"), 10u);
  EXPECT_EQ(srecLineType(srecord('3', 4, 0, std::string(250, 'x'))), 3u) << "the longest";
  EXPECT_EQ(srecLineType(srecord('3', 4, 0, std::string(251, 'x'))), 10u);
}

TEST_F(Srecords, TheChecksumComplementsTheSumOfAllBytesBeforeIt) {
  EXPECT_TRUE(srecCrcCheck("S00600004844521B"));
  EXPECT_TRUE(srecCrcCheck("S1137AF00A0A0D0000000000000000000000000061"));
  EXPECT_TRUE(srecCrcCheck("S1137af00a0a0d0000000000000000000000000061"));
  EXPECT_TRUE(srecCrcCheck("S9030000FC"));
  EXPECT_FALSE(srecCrcCheck("S00600004844521A"));
  EXPECT_FALSE(srecCrcCheck("S0060000484452E4")) << "the sum itself";
  EXPECT_TRUE(srecCrcCheck("S1FF")) << "nothing to sum leaves all ones";
  EXPECT_FALSE(srecCrcCheck("S100"));
  EXPECT_TRUE(srecCrcCheck(srecord('3', 4, 0xfffffff0, std::string(250, '\xff'))));
  EXPECT_FALSE(srecCrcCheck(srecord('3', 4, 0xfffffff0, "x", {.Checksum = 1})));
}

TEST_F(Srecords, EveryDataRecordIsWrittenWhenItIsRead) {
  EXPECT_EQ(load("S00600004844521B\n"
                 "S104100001EA\n"
                 "S2061234560203590\n" // odd: invalid
                 "S20612345602035E\r\n"
                 "S30880000000AABBCC46\n"
                 "S1051000AbCdEE\r\r\n"
                 "S5030004F8\n"
                 "S1031000EC\n"
                 "S1022000\n"
                 "S7058000000179\n"
                 "S8041234565F\n"
                 "S9031004E8"),
            0x1004u)
      << "the last start address counts";
  EXPECT_THAT(Mem->take(), ElementsAre(wrote(0x1000, "\1"), wrote(0x123456, "\2\3"),
                                       wrote(0x80000000, "\xaa\xbb\xcc"), wrote(0x1000, "\xab\xcd"),
                                       wrote(0x1000, ""), wrote(0x2000, "")));
  EXPECT_THAT(Log.take(), ElementsAre(counted(1, 12), ":info: mem : start address is 0x00001004"));
}

TEST_F(Srecords, ShortRecordsHaveAsMuchAddressAsThereIs) {
  EXPECT_EQ(load("S2021234\nS3031234ff\nS7031234ff"), 0x1234ffu);
  EXPECT_THAT(Mem->take(), ElementsAre(wrote(0x1234, ""), wrote(0x1234ff, "")));
}

TEST_F(Srecords, InvalidLinesAreCountedAndSkipped) {
  EXPECT_EQ(load("\n"
                 "S104100001EA \n" +
                 srecord('1', 2, 0x1000, "x", {.Count = 1}) + "\n" +
                 srecord('1', 2, 0x1000, "x", {.Count = -1}) + "\n" + srecord('4', 2, 0x1000, "x") +
                 "\n" + srecord('1', 2, 0x1000, "x", {.Checksum = 1}) + "\n\n"),
            0u);
  EXPECT_THAT(Mem->take(), ElementsAre(wrote(0x1000, "x"))) << "checksums are not looked at";
  EXPECT_THAT(Log.take(), ElementsAre(counted(6, 7), ":info: mem : start address is 0x00000000"));
  load("");
  EXPECT_THAT(Log.take(), ElementsAre(counted(0, 0), ":info: mem : start address is 0x00000000"));
}

TEST_F(Srecords, AFileThatCannotBeOpenedLeavesTheStartAddress) {
  uint32_t Start = 7;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(orvy_loadSrecImageAndStartAddr(Mem, "/no/such", &Start), -1);
  EXPECT_EQ(orvy_loadSrecImage(Mem, nullptr, 0), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "could not open /no/such\ncould not open \n");
  EXPECT_EQ(Start, 7u);
  EXPECT_THAT(Log.take(), IsEmpty());

  EXPECT_EQ(orvy_loadSrecImage(Mem, Files.path().c_str(), 0), 0) << "a directory has no lines";
  EXPECT_EQ(Log.take()[0], counted(0, 0));
}

TEST_F(Srecords, LinesOfAnyLengthTakeNoMemory) {
  const std::string Longest = srecord('3', 4, 0x100, std::string(250, 'x'));
  const std::string Returns(10000, '\r');
  load(Longest + Returns + "\n" +        // valid: the returns end the line
       Longest + Returns + "x\n" +       // something follows them
       Longest + "\r0\n" +               //
       Longest + "00\n" +                // even, but longer than its count
       "S1031000EC" + Returns + "00\n" + //
       std::string(100000, 'S') + "\n");
  EXPECT_THAT(Mem->take(), ElementsAre(wrote(0x100, std::string(250, 'x'))));
  EXPECT_EQ(Log.take()[0], counted(5, 6));

  std::string Path = image("S104100001EA\n");
  std::filesystem::resize_file(Path, 64 << 20);
  PeakMemory::restart();
  uint64_t Before = PeakMemory::now();
  EXPECT_EQ(orvy_loadSrecImage(Mem, Path.c_str(), 0), 0);
  EXPECT_LE(PeakMemory::now() - Before, 16u);
  EXPECT_EQ(Log.take()[0], counted(1, 2));
}

TEST_F(Srecords, DamagedBytesNeverFailALoad) {
  const std::string Good = "S00600004844521B\nS104100001EA\nS20612345602035E\r\n"
                           "S30880000000AABBCC46\nS5030003F9\nS70580000000"
                           "7A\n";
  std::mt19937 Random = chance();
  for (int Round = 0; Round < 2000; ++Round) {
    std::string Text = Good;
    for (int Flip = 0; Flip <= Round % 4; ++Flip)
      Text[Random() % Text.size()] ^= static_cast<char>(1 + Random() % 255);
    load(Text);
    for (const Write &W : Mem->take())
      ASSERT_TRUE(W.Len <= 250 && W.Addr <= UINT32_MAX && W.Swap == 0) << Text;
    ASSERT_EQ(Log.take().size(), 2u) << Text;
  }
}

} // namespace
