// ELF files: good ones, ones that lie, and ones that are cut or damaged.

#include "Images/LoaderElf.h"
#include "Images/ElfMachines.h"
#include "Testing/ElfBuilder.h"
#include "Testing/ImageTest.h"
#include "Testing/MemoryFile.h"

#include <functional>
#include <set>

using namespace orvy;
using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

namespace {

using Ranges = std::set<std::pair<uint64_t, uint64_t>>;

/// What the reader says of a file: why it cannot be opened, or nothing.
std::string opening(const std::string &Path) {
  try {
    ElfFile File(Path);
    return "";
  } catch (const std::exception &Error) {
    return Error.what();
  }
}

/// "1", "0", or why the question cannot be answered.
std::string debugInformation(const std::string &Path) {
  try {
    return std::to_string(orvy_elfHasDwarf(Path.c_str()));
  } catch (const std::exception &Error) {
    return Error.what();
  }
}

class Elf : public ImageTest {
protected:
  int load(const ElfBuilder &File) { return load(image(File.bytes())); }
  int load(const std::string &Path) {
    Start = 0xdeadbeef;
    return orvy_loadElfImageAndStartAddr(Mem, Path.c_str(), &Start);
  }

  static std::string unreadable(const std::string &Path) {
    return ":error: mem : '" + Path + "' is not a readable elf-file";
  }

  /// Two segments and a few sections.
  static ElfBuilder typical() {
    ElfBuilder File;
    File.Header.e_entry = 0x40000004;
    File.segment(0x40000000, "sixteen bytes...", 64).segment(0x40001000, "eight...");
    File.section(".text", "code").section(".debug_info", "units").section(".debug_line", "");
    return File.close();
  }

  uint64_t Start = 0;
};

TEST_F(Elf, EverySegmentGoesToItsPhysicalAddressFilledUpWithZeros) {
  ElfBuilder File;
  File.Header.e_entry = 0x40000004;
  File.segment(0x40000000, "sixteen bytes...", 64)
      .segment(0x1000, "a note", 6, PT_NOTE)
      .segment(0, "", 0, PT_GNU_STACK)
      .segment(0x2000, "cut short", 3)
      .segment(0xfffffff0, "", 0x20)
      .close();
  File.Segments[0].p_vaddr = 0xc0000000;
  EXPECT_EQ(load(File), 0);
  EXPECT_EQ(Start, 0x40000004u);
  EXPECT_THAT(Mem->take(),
              ElementsAre(wrote(0x40000000, "sixteen bytes..." + std::string(48, '\0')),
                          wrote(0x1000, "a note"), wrote(0, ""), wrote(0x2000, "cut"),
                          wrote(0xfffffff0, std::string(32, '\0'))));
  EXPECT_THAT(
      Log.take(),
      ElementsAre(":info: mem : loading big-endian SPARCv8 32-bit",
                  ":info: mem : loading segment 1/5 va = 0xc0000000 - 0xc0000040 pa = 0x40000000 - "
                  "0x40000040",
                  ":info: mem : loading segment 2/5 va = 0x00001000 - 0x00001006 pa = 0x00001000 - "
                  "0x00001006",
                  ":info: mem : loading segment 3/5 va = 0x00000000 - 0x00000000 pa = 0x00000000 - "
                  "0x00000000",
                  ":info: mem : loading segment 4/5 va = 0x00002000 - 0x00002003 pa = 0x00002000 - "
                  "0x00002003",
                  ":info: mem : loading segment 5/5 va = 0xfffffff0 - 0x00000010 pa = 0xfffffff0 - "
                  "0x00000010"));
}

TEST_F(Elf, ZerosOfThreadLocalStorageDoNotOverwriteOtherSegments) {
  const std::string Data = "tlsdata.arraysof";
  const struct {
    const char *What;
    uint32_t Addr, Size, MemSize; // of the thread-local storage
    uint32_t Written;
  } Cases[] = {
      {"data after it", 0x1000, 8, 12, 8},  {"data after some zeros", 0xff0, 8, 17, 8},
      {"zeros alone", 0x1004, 0, 4, 0},     {"memory of its own", 0x2000, 8, 12, 12},
      {"up to the data", 0xff0, 8, 16, 16}, {"zeros of another", 0x1008, 8, 24, 24},
      {"no zeros", 0x1000, 16, 16, 16},     {"cut short", 0x1000, 16, 4, 4},
  };
  for (const auto &Case : Cases) {
    SCOPED_TRACE(Case.What);
    ElfBuilder File;
    File.segment(0x1000, Data, 64)
        .segment(Case.Addr, Data.substr(0, Case.Size), Case.MemSize, PT_TLS)
        .segment(0x3000, "x")
        .close();
    EXPECT_EQ(load(File), 0);
    std::string Bytes = Data.substr(0, Case.Size);
    Bytes.resize(Case.Written);
    EXPECT_THAT(Mem->take(), ElementsAre(wrote(0x1000, Data + std::string(48, '\0')),
                                         wrote(Case.Addr, Bytes), wrote(0x3000, "x")));
    bool LeftOut = Case.Written < Case.MemSize;
    EXPECT_EQ(Log.count("segment 2 is thread-local storage: its zeros at pa = 0x"), LeftOut);
    EXPECT_EQ(Log.count("are left out, segment 1 has data there"), LeftOut);
    Log.clear();
  }
}

TEST_F(Elf, EmptyContentsMayLieAnywhere) {
  ElfBuilder File;
  File.segment(0x1000, "", 8).close();
  File.Segments[0].p_offset = 0x10000;
  EXPECT_EQ(load(File), 0);
  EXPECT_THAT(Mem->take(), ElementsAre(wrote(0x1000, std::string(8, '\0'))));
  EXPECT_EQ(getELFRanges(image(File.bytes()).c_str()), (Ranges{{0x1000, 0x1008}}));
}

/// Each lie in its own copy of a good file; none of them costs memory that the file does not fill.
TEST_F(Elf, OnlyWhatTheLoaderNeedsIsReadAndWhatItFindsIsReported) {
  const struct {
    const char *Error; ///< where it is opened
    int Result;
    size_t Writes; ///< those before a failure stay
    std::function<void(ElfBuilder &)> lie;
  } Rows[] = {
      {"", 0, 2, [](auto &F) { F.Header.e_phentsize = F.Header.e_shentsize = 7; }},
      {"", 0, 2, [](auto &F) { F.Header.e_type = ET_REL; }},
      {"", 0, 2, [](auto &F) { F.Header.e_type = ET_DYN; }},
      {"", 0, 2, [](auto &F) { F.Header.e_version = 9; }},
      {"", 0, 2, [](auto &F) { F.Header.e_flags = 0xffffffff; }},
      {"", 0, 2, [](auto &F) { F.Header.e_shnum = F.Header.e_shstrndx = 0; }},
      {"", 0, 2, [](auto &F) { F.Header.e_shnum = 0xffff; }},
      {"", 0, 2, [](auto &F) { F.Segments[0].p_align = 3; }},
      {"", 0, 2, [](auto &F) { F.Segments[0].p_memsz = 0xffffffff; }},
      {"", 0, 2, [](auto &F) { F.Sections[1].sh_size = 0xffffffff; }},
      {"", 0, 2, [](auto &F) { F.Sections.back().sh_size = 0; }},
      {"", 0, 2,
       [](auto &F) { F.Sections.back().sh_size = 0, F.Sections.back().sh_offset = 0xffffffff; }},
      {"", 0, 2, [](auto &F) { F.Sections.back().sh_type = SHT_NOBITS; }},
      {"", 0, 2,
       [](auto &F) { F.Sections.back().sh_size = -1, F.Sections.back().sh_type = SHT_NOBITS; }},
      {"", -1, 0, [](auto &F) { F.Header.e_phoff += 0x1000; }},
      {"", -1, 2, [](auto &F) { F.Header.e_phnum = 0xffff; }},
      {"", -1, 0, [](auto &F) { F.Segments[0].p_filesz = -1; }},
      {"", -1, 0, [](auto &F) { F.Segments[0].p_memsz = F.Segments[0].p_filesz = -1; }},
      {"", -1, 0, [](auto &F) { F.Segments[0].p_offset = -1; }},
      {"", -1, 1, [](auto &F) { F.Segments[1].p_filesz = 0x10000; }},
      {"Invalid ELF magic", -1, 0, [](auto &F) { F.Header.e_ident[0] = 0x7e; }},
      {"Invalid ELF magic", -1, 0, [](auto &F) { F.Header.e_ident[3] = 'f'; }},
      {"Only 32 bit supported", -1, 0, [](auto &F) { F.Header.e_ident[4] = ELFCLASS64; }},
      {"Only 32 bit supported", -1, 0, [](auto &F) { F.Header.e_ident[4] = 0; }},
      {"Only big-endian supported at present", -1, 0,
       [](auto &F) { F.Header.e_ident[5] = ELFDATA2LSB; }},
      {"Only big-endian supported at present", -1, 0, [](auto &F) { F.Header.e_ident[5] = 3; }},
      {"Could not read section header", -1, 0, [](auto &F) { F.Header.e_shoff += 1; }},
      {"Could not read section header", -1, 0, [](auto &F) { F.Header.e_shoff = 0xffffffff; }},
      {"Could not read section", -1, 0, [](auto &F) { F.Sections.back().sh_size = -1; }},
      {"Could not read section", -1, 0, [](auto &F) { F.Sections.back().sh_offset = -1; }},
      {"Section name string table not 0-terminated", -1, 0,
       [](auto &F) { --F.Sections.back().sh_size; }},
      {"Section name string table out of bounds", -1, 0, [](auto &F) { ++F.Header.e_shstrndx; }},
      {"Section name string table out of bounds", -1, 0,
       [](auto &F) { F.Header.e_shstrndx = 0xffff; }},
      {"Section name string table out of bounds", -1, 0, [](auto &F) { F.Header.e_shnum = 0; }},
  };
  for (const auto &Row : Rows) {
    const auto &[Error, Result, Writes, lie] = Row;
    SCOPED_TRACE(&Row - Rows);
    ElfBuilder File = typical();
    lie(File);
    const std::string Path = image(File.bytes());
    PeakMemory::restart();
    const uint64_t Before = PeakMemory::now();
    EXPECT_EQ(opening(Path), Error);
    EXPECT_EQ(load(Path), Result);
    EXPECT_EQ(Start, *Error ? 0xdeadbeef : 0x40000004u);
    EXPECT_EQ(Mem->take().size(), Writes);
    const std::vector<std::string> Lines = Log.take();
    EXPECT_EQ(Lines.back() == unreadable(Path), Result != 0);
    EXPECT_EQ(Lines.size() == 1, *Error != 0);
    EXPECT_EQ(getELFRanges(Path.c_str()).size(), Result ? 0 : 2);
    if (const std::string Told = debugInformation(Path); *Error) {
      EXPECT_EQ(Told, Error);
    }
    EXPECT_LE(PeakMemory::now() - Before, PeakMemory::allowed());
  }
}

TEST_F(Elf, AFileThatCannotBeOpenedIsNamed) {
  EXPECT_EQ(opening("/no/such"), "/no/such");
  EXPECT_EQ(opening(Files.path()), "Unreadable Header") << "a directory";
  EXPECT_EQ(load("/no/such"), -1);
  EXPECT_EQ(orvy_loadElfImage(Mem, nullptr, 0), -1);
  EXPECT_THAT(Log.take(), ElementsAre(unreadable("/no/such"), unreadable("(null)")));
  EXPECT_THAT(getELFRanges("/no/such"), IsEmpty());
  EXPECT_THAT(getELFRanges(nullptr), IsEmpty());
}

TEST_F(Elf, TheMachineMustBeAKnownOne) {
  for (auto [Number, Name] : {std::pair{0, "No machine"}, {20, "PowerPC"}, {243, "RISC-V"}}) {
    ElfBuilder File;
    File.Header.e_machine = static_cast<uint16_t>(Number);
    EXPECT_EQ(load(File), 0);
    EXPECT_THAT(Log.take(), ElementsAre(":info: mem : loading big-endian "s + Name + " 32-bit"));
  }
  ElfBuilder File = typical();
  File.Header.e_machine = 11;
  std::string Path = image(File.bytes());
  EXPECT_EQ(load(Path), -1);
  EXPECT_EQ(Start, 0x40000004u) << "the start address is known by then";
  EXPECT_THAT(Mem->take(), IsEmpty());
  EXPECT_THAT(Log.take(), ElementsAre(unreadable(Path)));
  EXPECT_EQ(getELFRanges(Path.c_str()).size(), 2u) << "ranges are the same for any machine";

  const std::pair<uint16_t, uint16_t> Known[] = {
      {0, 10},    {15, 15},   {17, 23},   {36, 120},  {131, 144},
      {160, 181}, {183, 183}, {185, 224}, {243, 243},
  };
  for (unsigned Number = 0; Number <= UINT16_MAX; ++Number) {
    bool Expected = std::any_of(std::begin(Known), std::end(Known), [&](auto Range) {
      return Number >= Range.first && Number <= Range.second;
    });
    EXPECT_EQ(elf::machineName(static_cast<uint16_t>(Number)) != nullptr, Expected) << Number;
  }
}

TEST_F(Elf, RangesAreOrderedDistinctAndDoNotWrap) {
  ElfBuilder File;
  File.segment(0xffffff00, "", 0x200)
      .segment(0x2000, "data", 8)
      .segment(0x1000, "text")
      .segment(0x2000, "da", 8)
      .segment(0x2000, "cut short", 4)
      .segment(0, "", 0, PT_NOTE)
      .close();
  EXPECT_EQ(getELFRanges(image(File.bytes()).c_str()), (Ranges{{0, 0},
                                                               {0x1000, 0x1004},
                                                               {0x2000, 0x2004},
                                                               {0x2000, 0x2008},
                                                               {0xffffff00, 0x100000100}}));
  EXPECT_THAT(Mem->take(), IsEmpty());
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST_F(Elf, DebugInformationIsASectionOfThatName) {
  auto inSections = [&](std::initializer_list<const char *> Names) {
    ElfBuilder File;
    for (const char *Name : Names)
      File.section(Name, "x");
    return debugInformation(image(File.close().bytes()));
  };
  EXPECT_EQ(inSections({".text", ".debug_info"}), "1");
  EXPECT_EQ(inSections({".text", ".debug_info2", ".debug_inf", "debug_info"}), "0");
  EXPECT_EQ(inSections({}), "0");

  ElfBuilder Tail; // names may share their ends
  Tail.section(".rela.debug_info", "x").close();
  Tail.Sections[1].sh_name += 5;
  EXPECT_EQ(debugInformation(image(Tail.bytes())), "1");
  Tail.Sections[1].sh_name = 0x10000;
  EXPECT_EQ(debugInformation(image(Tail.bytes())), "0");

  ElfBuilder First; // the name at index 0 is not a name
  First.Names = ".debug_info"s + '\0';
  First.section("", "x").close();
  First.Sections[1].sh_name = 0;
  EXPECT_EQ(debugInformation(image(First.bytes())), "0");
}

TEST_F(Elf, SectionHeadersPastTheEndMatterOnlyOnceTheyAreReached) {
  ElfBuilder File = typical();
  File.Header.e_shnum = 0xffff;
  EXPECT_EQ(debugInformation(image(File.bytes())), "1") << "found before the end";
  File.Sections[2].sh_name = 0;
  EXPECT_EQ(debugInformation(image(File.bytes())), "Could not read section header");
  EXPECT_EQ(load(File), 0);

  File.Sections.back().sh_type = SHT_NOBITS; // names all the same, of zeros
  EXPECT_EQ(debugInformation(image(File.bytes())), "Could not read section header");
  File.Sections.back().sh_size = 0;
  EXPECT_EQ(debugInformation(image(File.bytes())), "0");
}

TEST_F(Elf, SectionsAreReadAsWholeElements) {
  const std::string Symbols = "\0\0\0\1\0\0\x10\0\0\0\0\x20\x12\0\0\3"s;
  ElfBuilder Builder;
  Builder.section(".symtab", Symbols, SHT_SYMTAB).section(".bss", "", SHT_NOBITS).close();
  Builder.Sections[2].sh_size = 32;
  Builder.Sections[2].sh_offset = 0xffffff00;
  ElfFile File(image(Builder.bytes()));

  std::vector<char> Bytes(99);
  File.sectionData(File.section(1), Bytes);
  EXPECT_EQ(std::string(Bytes.begin(), Bytes.end()), Symbols);
  std::vector<Elf32_Sym> Table;
  File.sectionData(File.section(1), Table);
  ASSERT_EQ(Table.size(), 1u);
  EXPECT_EQ(Table[0].st_value, 0x00100000u) << "contents stay as they are in the file";
  File.sectionData(File.section(2), Table);
  ASSERT_EQ(Table.size(), 2u);
  EXPECT_EQ(Table[1].st_size, 0u);

  Elf32_Shdr Section = File.section(1);
  for (uint32_t Size : {15u, 17u, 0x10000u, 0xfffffff0u}) {
    Section.sh_size = Size;
    EXPECT_THROW(File.sectionData(Section, Table), std::runtime_error) << Size;
  }
  Section.sh_size = 0xfffffff0;
  Section.sh_type = SHT_NOBITS;
  EXPECT_THROW(File.sectionData(Section, Table), std::runtime_error) << "more than the file";
}

TEST_F(Elf, ManySegmentsAreLoadedInOrder) {
  ElfBuilder File;
  for (uint32_t Index = 0; Index < 0xffff; ++Index)
    File.segment(Index, "");
  File.close();
  for (uint32_t Index = 0; Index < 0xffff; ++Index)
    File.Segments[Index].p_memsz = File.Segments[Index].p_filesz = 1,
    File.Segments[Index].p_offset = 0;
  EXPECT_EQ(load(File), 0);
  std::vector<Write> Writes = Mem->take();
  ASSERT_EQ(Writes.size(), 0xffffu);
  EXPECT_EQ(Writes.back().Addr, 0xfffeu);
}

TEST_F(Elf, OfACutFileWithoutSectionsTheWholeSegmentsAreLoaded) {
  ElfBuilder File;
  File.segment(0x1000, "sixteen bytes...").segment(0x2000, "eight...").close();
  const std::string Whole = File.bytes();
  ASSERT_EQ(Whole.size(), 140u); // header 52, program headers to 116, contents to 132 and 140
  for (size_t Length = 0; Length <= Whole.size(); ++Length) {
    SCOPED_TRACE(Length);
    MemoryFile Image(Whole.substr(0, Length));
    std::string Path = Image.path();
    EXPECT_EQ(opening(Path), Length < 52 ? "Unreadable Header" : "");
    EXPECT_EQ(load(Path), Length == 140 ? 0 : -1);
    EXPECT_EQ(Mem->take().size(), Length < 132 ? 0u : Length < 140 ? 1u : 2u);
    EXPECT_EQ(getELFRanges(Path.c_str()).size(), Length == 140 ? 2u : 0u);
    EXPECT_EQ(Log.take().back() == unreadable(Path), Length < 140);
  }
}

TEST_F(Elf, DamagedBytesGiveAStatedResult) {
  const std::set<std::string> Said = {"0",
                                      "1",
                                      "Invalid ELF magic",
                                      "Only 32 bit supported",
                                      "Only big-endian supported at present",
                                      "Could not read section header",
                                      "Could not read section",
                                      "Section name string table not 0-terminated",
                                      "Section name string table out of bounds"};
  const std::string Good = typical().bytes();
  std::mt19937 Random = chance();
  PeakMemory::restart();
  uint64_t Before = PeakMemory::now();
  for (unsigned Round = 0; Round < 3 * Good.size(); ++Round) {
    std::string Bytes = Good;
    Bytes[Round % Good.size()] ^= static_cast<char>(1 + Random() % 255);
    for (unsigned More = Round / Good.size(); More > 0; --More)
      Bytes[Random() % Good.size()] ^= static_cast<char>(1 + Random() % 255);
    SCOPED_TRACE(Round);
    MemoryFile Image(Bytes);
    std::string Path = Image.path();
    int Result = load(Path);
    size_t Writes = Mem->take().size();
    std::vector<std::string> Lines = Log.take();
    if (Result == 0) {
      ASSERT_EQ(Lines.size(), Writes + 1);
      ASSERT_EQ(getELFRanges(Path.c_str()).empty(), Writes == 0);
    } else {
      ASSERT_EQ(Result, -1);
      ASSERT_EQ(Lines.back(), unreadable(Path));
    }
    ASSERT_TRUE(Said.contains(debugInformation(Path))) << debugInformation(Path);
  }
  EXPECT_LE(PeakMemory::now() - Before, PeakMemory::allowed());
}

} // namespace
