// Which format a file is taken for, and raw bytes.

#include "Testing/ElfBuilder.h"
#include "Testing/ImageTest.h"
#include "Testing/SrecBuilder.h"

#include <filesystem>
#include <sys/stat.h>

using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Images : public ImageTest {};

TEST_F(Images, AKnownExtensionDecidesWithoutAFile) {
  const std::pair<orvy_FileType, std::vector<const char *>> Rows[] = {
      {ovFT_Srec, {"a.s19", "a.s28", "a.s37", "a.s1", "a.s2", "a.s3", "a.srec", "a.SX", "a.mot"}},
      {ovFT_Elf, {"no/such.elf", ".elf", "a.bin.elf"}},
      {ovFT_Binary, {"a.bin", "a.dat", "dir.elf/file", "a.S19", "a.sx", "a.", "no/such", ""}},
  };
  for (const auto &[Type, Paths] : Rows)
    for (const char *Path : Paths)
      EXPECT_EQ(orvy_identifyImageFormat(Path), Type) << Path;
  EXPECT_EQ(orvy_identifyImageFormat(nullptr), ovFT_Binary);
}

TEST_F(Images, OtherwiseTheFirstBytesDecide) {
  constexpr std::string_view Elf = "\177ELF\1";
  const struct {
    const char *Name;
    std::string_view Bytes;
    orvy_FileType Type;
  } Rows[] = {
      {"plain", Elf, ovFT_Elf},        {"image.ELF", Elf, ovFT_Elf},
      {"out.v2/image", Elf, ovFT_Elf}, {"four", Elf.substr(0, 4), ovFT_Binary},
      {"fourS", "S123", ovFT_Binary},  {"record", "Sxyz?", ovFT_Srec},
      {"small", "s1234", ovFT_Binary}, {"almost", "\177ELf\1", ovFT_Binary},
      {"empty", "", ovFT_Binary},      {"elf-inside.bin", Elf, ovFT_Binary},
  };
  for (auto [Name, Bytes, Type] : Rows) {
    std::string Path = image(Bytes, Name);
    EXPECT_EQ(orvy_identifyImageFormat(Path.c_str()), Type) << Name;
    EXPECT_EQ(orvy_imageIsELF(Path.c_str()), Type == ovFT_Elf) << Name;
  }
  EXPECT_EQ(orvy_identifyImageFormat(Files.path().c_str()), ovFT_Binary) << "a directory";
}

TEST_F(Images, RawBytesMakeOneWriteAtTheGivenAddress) {
  std::string Path = image("raw bytes");
  EXPECT_EQ(orvy_loadBinaryImage(Mem, Path.c_str(), 0x123456789abcdef0), 0);
  EXPECT_EQ(orvy_loadRelocatedImage(Mem, Path.c_str(), 0x40000000), 0);
  EXPECT_EQ(orvy_loadImage(Mem, Path.c_str()), 0);
  uint64_t Start = 99;
  EXPECT_EQ(orvy_loadImageAndStartAddr(Mem, Path.c_str(), &Start), 0);
  EXPECT_EQ(Start, 0u);
  EXPECT_THAT(Mem->take(),
              ElementsAre(wrote(0x123456789abcdef0, "raw bytes"), wrote(0x40000000, "raw bytes"),
                          wrote(0, "raw bytes"), wrote(0, "raw bytes")));
  EXPECT_EQ(orvy_loadBinaryImage(Mem, image("").c_str(), 8), 0);
  EXPECT_THAT(Mem->take(), ElementsAre(wrote(8, ""))) << "an empty file is written all the same";
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Images, OtherFormatsKeepTheirOwnAddresses) {
  std::string Elf = image(ElfBuilder().segment(0x2000, "elf").close().bytes(), "elf");
  std::string Srec = image(srecord('1', 2, 0x1000, "srec"), "srec");
  for (const std::string &Path : {Elf, Srec}) {
    EXPECT_EQ(orvy_loadImage(Mem, Path.c_str()), 0);
    EXPECT_EQ(orvy_loadRelocatedImage(Mem, Path.c_str(), 0x40000000), 0);
  }
  EXPECT_EQ(orvy_loadElfImage(Mem, Elf.c_str(), 0x40000000), 0);
  EXPECT_EQ(orvy_loadSrecImage(Mem, Srec.c_str(), 0x40000000), 0);
  EXPECT_THAT(Mem->take(),
              ElementsAre(wrote(0x2000, "elf"), wrote(0x2000, "elf"), wrote(0x1000, "srec"),
                          wrote(0x1000, "srec"), wrote(0x2000, "elf"), wrote(0x1000, "srec")));
  std::string Raw = image("\177ELF raw", "elf.bin");
  EXPECT_EQ(orvy_loadImage(Mem, Raw.c_str()), 0);
  EXPECT_THAT(Mem->take(), ElementsAre(wrote(0, "\177ELF raw")));
}

TEST_F(Images, StartAddressesAreWidenedWithoutSign) {
  ElfBuilder Elf;
  Elf.Header.e_entry = 0xfffffff0;
  uint64_t Start = 0;
  EXPECT_EQ(orvy_loadImageAndStartAddr(Mem, image(Elf.bytes()).c_str(), &Start), 0);
  EXPECT_EQ(Start, 0xfffffff0u);
  std::string Srec = image(srecord('7', 4, 0x80000000, ""));
  EXPECT_EQ(orvy_loadImageAndStartAddr(Mem, Srec.c_str(), &Start), 0);
  EXPECT_EQ(Start, 0x80000000u);
}

TEST_F(Images, AMissingFileIsReportedByItsFormat) {
  uint64_t Start;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(orvy_loadImage(Mem, "/no/such"), -1);
  EXPECT_EQ(orvy_loadBinaryImage(Mem, "/no/such.elf", 0), -1);
  EXPECT_EQ(orvy_loadImageAndStartAddr(Mem, "/no/such.bin", &Start), -1);
  EXPECT_EQ(orvy_loadBinaryImage(Mem, nullptr, 0), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(Log.take(), IsEmpty());

  EXPECT_EQ(orvy_loadRelocatedImage(Mem, "/no/such.elf", 0), -1);
  EXPECT_THAT(Log.take(), ElementsAre(":error: mem : '/no/such.elf' is not a readable elf-file"));

  ::testing::internal::CaptureStdout();
  EXPECT_EQ(orvy_loadImageAndStartAddr(Mem, "/no/such.srec", &Start), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "could not open /no/such.srec\n");
  EXPECT_THAT(Log.take(), IsEmpty());
  EXPECT_THAT(Mem->take(), IsEmpty());
}

TEST_F(Images, WhatHasNoSizeIsNotARawImage) {
  std::string Pipe = Files.path("pipe");
  ASSERT_EQ(mkfifo(Pipe.c_str(), 0600), 0);
  for (const std::string &Path : {Files.path(), Pipe, std::string("/dev/zero")})
    EXPECT_EQ(orvy_loadImage(Mem, Path.c_str()), -1) << Path;
  EXPECT_THAT(Log.take(), IsEmpty());

  std::string Huge = image("");
  std::filesystem::resize_file(Huge, uint64_t{1} << 32);
  EXPECT_EQ(orvy_loadImage(Mem, Huge.c_str()), -1);
  EXPECT_THAT(Log.take(), ElementsAre(":error: mem : '" + Huge + "' is larger than 4 GiB"));
  EXPECT_THAT(Mem->take(), IsEmpty());
}

TEST_F(Images, AnObjectThatIsNotAMemoryIsReportedButNotByTheResult) {
  orvy_registerClass(
      "Bare",
      [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, sizeof(orvy_Object)); },
      std::free);
  void *Bare = orvy_createObject("Bare", "bare", nullptr);
  EXPECT_EQ(orvy_loadImage(Bare, image("raw bytes").c_str()), 0);
  EXPECT_THAT(Log.take(), ElementsAre(":error: bare : could not find interface memif"));
}

} // namespace
