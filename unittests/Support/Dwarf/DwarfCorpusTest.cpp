// What compilers make is read as binutils reads it: entries, attributes, forms, addresses, names,
// ranges, locations, lines and symbols.

#include "Dwarf/DwarfNames.h"

#include "Testing/LogCapture.h"
#include "Testing/TempDir.h"

#include "orvy/Support/Dwarf.h"
#include "orvy/Support/DwarfLines.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Symtab.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <unistd.h>

using namespace orvy;
using namespace orvy::dwarf;
using namespace orvy::testing;

namespace {

struct Build {
  const char *Name;
  const char *Gcc;
  const char *Flags;
};

void PrintTo(const Build &B, std::ostream *Out) {
  *Out << B.Name;
}

#define SPARC ORVY_SPARC_GCC, "-m32 "
#define POWERPC ORVY_POWERPC_GCC, ""
#define M68K ORVY_M68K_GCC, ""
#define MIPS ORVY_MIPS_GCC, "-mno-abicalls "

constexpr Build Builds[] = {
    {"Sparc2", SPARC "-gdwarf-2 -gstrict-dwarf -O0"},
    {"Sparc3", SPARC "-gdwarf-3 -O2"},
    {"Sparc4", SPARC "-gdwarf-4 -O0 -gpubnames"},
    {"Sparc4O2", SPARC "-gdwarf-4 -O2 -fdebug-types-section -gpubnames"},
    {"SparcRaw", SPARC "-gdwarf-4 -O2 -ffunction-sections"},
    {"PowerPC2", POWERPC "-gdwarf-2 -O2"},
    {"PowerPC3", POWERPC "-gdwarf-3 -O0 -fdebug-types-section"},
    {"PowerPC4", POWERPC "-gdwarf-4 -O2 -fdebug-types-section"},
    {"M68k4", M68K "-gdwarf-4 -O2"},
    {"M68k2", M68K "-gdwarf-2 -O0"},
    {"Mips4", MIPS "-gdwarf-4 -O2"},
    {"Mips3", MIPS "-gdwarf-3 -O0"},
};

using Lines = std::vector<std::string>;

/// What a command writes, by lines.
Lines output(const std::string &Command) {
  Lines Result;
  FILE *Pipe = popen((Command + " 2>&1").c_str(), "r");
  char *Line = nullptr;
  size_t Room = 0;
  for (ssize_t Length; (Length = getline(&Line, &Room, Pipe)) > 0;)
    Result.emplace_back(Line, static_cast<size_t>(Length) - 1);
  free(Line);
  EXPECT_EQ(pclose(Pipe), 0) << Command;
  return Result;
}

/// What binutils knows and the name tables do not, or spell in their own way.
std::string ownSpelling(const std::string &Name) {
  if (Name == "DW_AT_linkage_name")
    return "DW_AT_lingage_name";
  for (const char *Unnamed : {"DW_AT_GNU_locviews", "DW_AT_GNU_entry_view", "DW_AT_GNU_pubnames"})
    if (Name == Unnamed)
      return "?";
  return Name;
}

std::string nameOf(const NumberNames &Names, uint64_t Number) {
  const char *Name = Names.find(Number);
  return Name ? Name : "?";
}

/// An attribute as readelf tells of it, with its value in the text that stands for the form.
struct ToldAttribute {
  unsigned Offset = 0;
  std::string Name, Form, Value;
  long long number() const { return static_cast<long long>(strtoull(Value.c_str(), nullptr, 0)); }
};

struct ToldEntry {
  unsigned Depth = 0, Offset = 0, Code = 0, Unit = 0;
  std::string Tag;
  std::vector<ToldAttribute> Attributes;

  const ToldAttribute *find(const char *Name) const {
    for (const ToldAttribute &A : Attributes)
      if (A.Name == Name)
        return &A;
    return nullptr;
  }
  std::string name() const {
    const ToldAttribute *Name = find("DW_AT_name");
    if (!Name)
      return "";
    size_t Indirect = Name->Form == "DW_FORM_strp" ? Name->Value.find("): ") + 3 : 0;
    return Name->Value.substr(Indirect);
  }
};

std::vector<ToldEntry> toldEntries(const std::string &Path) {
  std::vector<ToldEntry> Entries;
  unsigned Unit = 0;
  for (const std::string &Line : output("readelf -W --debug-dump=info " + Path)) {
    ToldEntry E;
    ToldAttribute A;
    char Text[64] = "";
    int Used = 0;
    if (sscanf(Line.c_str(), " Compilation Unit @ offset %x:", &Unit) == 1)
      continue;
    if (sscanf(Line.c_str(), " <%x><%x>: Abbrev Number: %u (%63[^)]", &E.Depth, &E.Offset, &E.Code,
               Text) >= 3) {
      E.Unit = Unit;
      E.Tag = Text;
      Entries.push_back(E);
    } else if (sscanf(Line.c_str(), " <%x> %63[^: ]%n", &A.Offset, Text, &Used) == 2) {
      A.Name = Text;
      size_t Form = Line.find(": (", static_cast<size_t>(Used)) + 3, End = Line.find(')', Form);
      A.Form = "DW_FORM_" + Line.substr(Form, End - Form);
      A.Value = Line.substr(End + 2);
      Entries.back().Attributes.push_back(A);
    }
  }
  return Entries;
}

/// A value as a number where its form holds one.
long long numberOf(const Attribute &A) {
  uint64_t Unsigned = 0;
  int64_t Signed = 0;
  size_t Bytes = 0;
  switch (A.getForm()) {
  case DW_FORM_addr:
  case DW_FORM_sec_offset:
    return static_cast<long long>(A.getAddr());
  case DW_FORM_flag:
    return A.getU8();
  case DW_FORM_flag_present:
    return 1;
  case DW_FORM_udata: // which getUnsigned does not read
    EXPECT_EQ(A.getUnsigned(), UINT64_MAX);
    utils::decodeULEB128(A.getSize(), A.getData(), Unsigned, Bytes);
    return static_cast<long long>(Unsigned);
  case DW_FORM_sdata:
    utils::decodeSLEB128(A.getSize(), A.getData(), Signed, Bytes);
    return Signed;
  default:
    return A.getSigned();
  }
}

std::string blockText(const std::vector<uint8_t> &Bytes) {
  std::ostringstream Text;
  Text << Bytes.size() << " byte block: " << std::hex;
  for (uint8_t Byte : Bytes)
    Text << unsigned{Byte} << ' ';
  return Text.str();
}

void expectValue(const Attribute &A, const ToldAttribute &Told) {
  SCOPED_TRACE(Told.Name + " at " + std::to_string(Told.Offset) + ": " + Told.Value);
  switch (A.getForm()) {
  case DW_FORM_string:
    EXPECT_EQ(A.getCStr(), Told.Value);
    break;
  case DW_FORM_strp:
    EXPECT_EQ(A.getCStr(), Told.Value.substr(Told.Value.find("): ") + 3));
    break;
  case DW_FORM_ref_addr:
  case DW_FORM_ref1:
  case DW_FORM_ref2:
  case DW_FORM_ref4:
  case DW_FORM_ref8:
  case DW_FORM_ref_udata:
    ASSERT_TRUE(A.getRef());
    EXPECT_EQ(A.getRef()->getOffset(), strtoull(Told.Value.c_str() + 1, nullptr, 16));
    break;
  case DW_FORM_ref_sig8:
    EXPECT_EQ(A.getU64(), strtoull(Told.Value.c_str() + Told.Value.find("0x"), nullptr, 16));
    EXPECT_EQ(A.getRef(), nullptr);
    break;
  case DW_FORM_exprloc:
    EXPECT_TRUE(Told.Value.starts_with(blockText(A.getExprLoc())));
    break;
  case DW_FORM_block:
  case DW_FORM_block1:
  case DW_FORM_block2:
  case DW_FORM_block4:
    EXPECT_TRUE(Told.Value.starts_with(blockText(A.getBlock())));
    break;
  default:
    EXPECT_EQ(numberOf(A), Told.number());
  }
}

class Corpus : public ::testing::TestWithParam<Build> {
protected:
  ~Corpus() override {
    orvy_disposeDwarf(Dwarf);
    orvy_disposeSymtab(Symbols);
  }

  void build(const std::string &Sources, const std::string &Flags) {
    Image = Files.path("image.elf");
    output(std::string(GetParam().Gcc) + " " + Flags +
           " -ffreestanding -fno-pic -no-pie -fno-stack-protector -nostdlib -static "
           "-Wl,-e,start -Wl,--no-warn-rwx-segments -o " +
           Image + " " + Sources);
    ASSERT_EQ(orvy_loadDwarf(Image.c_str(), &Dwarf), 0);
    ASSERT_EQ(orvy_loadSymtab(Image.c_str(), &Symbols), 0);
    Told = toldEntries(Image);
    ASSERT_GT(Told.size(), 50u);
  }
  bool hasCompiler() { return access(GetParam().Gcc, X_OK) == 0; }
  DebugInfo &info() { return *reinterpret_cast<DebugInfo *>(Dwarf); }
  Lines dump(const char *What) {
    return output(std::string("readelf -W --debug-dump=") + What + " " + Image);
  }

  /// The bytes of a section.
  std::vector<uint8_t> section(const std::string &Name) {
    std::vector<uint8_t> Bytes;
    for (const std::string &Line : output("readelf -x " + Name + " " + Image))
      if (Line.starts_with("  0x")) // an address, four words, and the same as text
        for (size_t At = 13; At + 1 < 13 + 36 && Line[At] != ' '; At += Line[At + 2] == ' ' ? 3 : 2)
          Bytes.push_back(static_cast<uint8_t>(std::stoul(Line.substr(At, 2), nullptr, 16)));
    return Bytes;
  }

  void expectEntry(DebugInfoEntry &Entry, unsigned Depth);
  void expectEntries();
  void expectAbbrevs();
  void expectFunctions();
  void expectTables();
  void expectRanges();
  void expectLocations();
  void expectLines();
  void expectSymbols();

  TempDir Files;
  LogCapture Log;
  std::string Image;
  orvy_Dwarf Dwarf = nullptr;
  orvy_Symtab Symbols = nullptr;
  std::vector<ToldEntry> Told;
  size_t Next = 0; ///< of what is told
};

void Corpus::expectEntry(DebugInfoEntry &Entry, unsigned Depth) {
  ASSERT_LT(Next, Told.size());
  const ToldEntry &E = Told[Next++];
  SCOPED_TRACE("entry at " + std::to_string(E.Offset));
  ASSERT_EQ(Entry.getOffset(), E.Offset);
  EXPECT_EQ(Entry.isNull(), E.Code == 0);
  EXPECT_EQ(Depth, E.Depth);
  if (Entry.isNull())
    return;
  EXPECT_EQ(Entry.getAbbrevCode(), E.Code);
  EXPECT_EQ(nameOf(TagNames, Entry.getTag()), E.Tag);
  EXPECT_EQ(Entry.getUnit()->getDIEWithSectionOffset(E.Offset), &Entry);
  auto A = E.Attributes.begin();
  for (const Attribute &Own : Entry.attributes()) {
    ASSERT_NE(A, E.Attributes.end());
    EXPECT_EQ(Own.getSectionOffset(), A->Offset);
    EXPECT_EQ(nameOf(AtNames, Own.getName()), ownSpelling(A->Name));
    EXPECT_EQ(nameOf(FormNames, Own.getForm()), A->Form);
    expectValue(Own, *A++);
  }
  EXPECT_EQ(A, E.Attributes.end());
  for (DebugInfoEntry *Child : Entry.getChildren()) {
    EXPECT_EQ(Child->getParent(), &Entry);
    expectEntry(*Child, Depth + 1);
  }
}

void Corpus::expectEntries() {
  for (const auto &Unit : info().getCompUnits())
    expectEntry(*Unit->getUnitDIE(), 0);
  for (const auto &Unit : info().getTypeUnits())
    expectEntry(**Unit->getDIEList().begin(), 0);
  EXPECT_EQ(Next, Told.size());
}

void Corpus::expectAbbrevs() {
  Lines Expected, Found;
  for (const std::string &Line : dump("abbrev")) {
    unsigned Code = 0;
    char First[64], Second[64];
    if (sscanf(Line.c_str(), " %u %63s [%63[^]]", &Code, First, Second) == 3)
      Expected.push_back(std::to_string(Code) + " " + First + " " + Second);
    else if (sscanf(Line.c_str(), " DW_AT_%63s DW_FORM_%63s", First, Second) == 2)
      Expected.push_back(ownSpelling(std::string("DW_AT_") + First) + " DW_FORM_" + Second);
  }
  for (const DebugAbbrev &A : info().Abbrevs) {
    Found.push_back(std::to_string(A.Code) + " " + nameOf(TagNames, A.Tag) +
                    (A.HasChildren ? " has children" : " no children"));
    for (auto [Name, Form] : A.Attrs)
      Found.push_back(nameOf(AtNames, Name) + " " + nameOf(FormNames, Form));
  }
  EXPECT_EQ(Found, Expected);
}

void Corpus::expectFunctions() {
  struct Function {
    uint64_t Low, High;
    const ToldEntry *Entry;
  };
  std::vector<Function> Functions;
  for (const ToldEntry &E : Told)
    if (const ToldAttribute *Low = E.find("DW_AT_low_pc"), *High = E.find("DW_AT_high_pc");
        E.Tag == "DW_TAG_subprogram" && Low && High) {
      auto From = static_cast<uint64_t>(Low->number()), To = static_cast<uint64_t>(High->number());
      Functions.push_back({From, To < From ? From + To : To, &E});
    }
  ASSERT_GE(Functions.size(), 6u);
  for (const Function &F : Functions) {
    for (uint64_t Addr : {F.Low, (F.Low + F.High) / 2, F.High - 1}) {
      auto *Entry = static_cast<DebugInfoEntry *>(orvy_dwarfGetDIEForAddr(Dwarf, Addr));
      ASSERT_TRUE(Entry) << Addr;
      EXPECT_EQ(Entry->getOffset(), F.Entry->Offset);
      const char *Name = orvy_dwarfGetName(Dwarf, Addr);
      EXPECT_EQ(Name ? Name : "", F.Entry->name());
    }
    orvy_AddrRange Range{};
    if (F.Entry->name().empty())
      continue;
    EXPECT_EQ(orvy_dwarfGetNamedAddressRange(Dwarf, F.Entry->name().c_str(), &Range), 0);
    EXPECT_EQ(std::pair(Range.Low, Range.High), std::pair(F.Low, F.High)) << F.Entry->name();
  }
}

/// Address ranges and public names, as they are listed.
void Corpus::expectTables() {
  std::map<std::pair<unsigned, unsigned>, unsigned> Ranges;
  std::map<std::string, std::pair<unsigned, unsigned>> Names;
  unsigned Unit = 0, First = 0, Second = 0;
  char Text[128];
  for (const std::string &Line : dump("aranges")) {
    sscanf(Line.c_str(), " Offset into .debug_info: %i", reinterpret_cast<int *>(&Unit));
    if (sscanf(Line.c_str(), " %8x %8x", &First, &Second) == 2 && (First || Second))
      Ranges[{First, Second}] = Unit;
  }
  for (const std::string &Line : dump("pubnames")) {
    sscanf(Line.c_str(), " Offset into .debug_info section: %i", reinterpret_cast<int *>(&Unit));
    if (Line.starts_with("    ") && sscanf(Line.c_str(), " %x %127s", &First, Text) == 2)
      Names[Text] = {Unit, First};
  }
  std::ostringstream Expected;
  Expected << "address range table: " << Ranges.size() << " entries\n";
  for (auto [Range, Offset] : Ranges)
    Expected << std::hex << "0x" << Range.first << "-0x" << Range.first + Range.second << std::dec
             << " info offset: " << Offset << "\n";
  Expected << "-- PUBNAMES--\n";
  for (const auto &[Name, Offsets] : Names)
    Expected << Name << ": " << Offsets.first << " " << Offsets.second << "\n";
  Expected << "-- END --\n";
  ::testing::internal::CaptureStdout();
  info().printAddressRanges();
  info().printPubnames();
  outs().flush();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), Expected.str());
}

void Corpus::expectRanges() {
  std::map<unsigned, std::vector<std::pair<uint64_t, uint64_t>>> Lists;
  unsigned Offset = 0, Low = 0, High = 0;
  for (const std::string &Line : dump("Ranges"))
    if (sscanf(Line.c_str(), " %8x %8x %8x", &Offset, &Low, &High) == 3)
      Lists[Offset].emplace_back(Low, High);
  for (const ToldEntry &E : Told) {
    const ToldAttribute *Ranges = E.find("DW_AT_ranges");
    if (!Ranges)
      continue;
    DebugInfoEntry *Entry = info().getCompUnitAt(E.Unit)->getDIEWithSectionOffset(E.Offset);
    const auto &List = Lists[static_cast<unsigned>(Ranges->number())];
    std::vector<orvy_AddrRange> Found(List.size() + 1);
    ASSERT_EQ(orvy_dwarfGetDIERangeCount(Entry), List.size());
    ASSERT_EQ(orvy_dwarfGetDIERanges(Entry, Found.size(), Found.data()), List.size());
    for (size_t Index = 0; Index < List.size(); ++Index)
      EXPECT_EQ(std::pair(Found[Index].Low, Found[Index].High), List[Index]);
    EXPECT_EQ(orvy_dwarfGetDIERanges(Entry, List.size() - 1, Found.data()), UINT64_MAX);
  }
}

void Corpus::expectLocations() {
  struct Place {
    unsigned Offset, Low, High;
  };
  std::vector<Place> Places; // with the end of each list as one of no addresses
  unsigned Offset = 0, First = 0, Low = 0, High = 0;
  char Text[8];
  for (const std::string &Line : dump("loc"))
    if (sscanf(Line.c_str(), " %8x %4s", &First, Text) == 2 && !strcmp(Text, "<End"))
      Places.push_back({First, 0, 0});
    else if (sscanf(Line.c_str(), " %8x v%*x v%*x views at %*x %3s", &First, Text) == 2)
      Offset = First; // of what is on the next line
    else if (Line.starts_with("         ") && sscanf(Line.c_str(), " %8x %8x", &Low, &High) == 2)
      Places.push_back({Offset, Low, High});
    else if (sscanf(Line.c_str(), " %8x %8x %8x", &First, &Low, &High) == 3)
      Places.push_back({First, Low, High});
  const std::vector<uint8_t> Bytes = section(".debug_loc");
  size_t Found = 0;
  for (const ToldEntry &E : Told) {
    const ToldAttribute *Location = E.find("DW_AT_location");
    if (!Location || Location->Value.find("location list") == std::string::npos)
      continue;
    CompilationUnit *Unit = info().getCompUnitAt(E.Unit);
    Attribute Own = *Unit->getDIEWithSectionOffset(E.Offset)->find(DW_AT_location);
    auto At = std::ranges::find(Places, static_cast<unsigned>(Location->number()), &Place::Offset);
    for (bool Ended = false; At != Places.end() && At->High && !Ended; ++At) {
      bool Reached = At->Low < At->High && Own.getForm() == DW_FORM_sec_offset;
      // An expression is what is left to the next one but two addresses and its length.
      std::vector<uint8_t> Expression;
      if (Reached)
        Expression.assign(Bytes.begin() + At->Offset + 10, Bytes.begin() + (At + 1)->Offset);
      EXPECT_EQ(Own.getLocList(At->Low), Expression) << E.Offset << " " << At->Low;
      Found += !Expression.empty();
      Ended = At->Low == Unit->getBaseAddress(); // a list is not searched after such a range
    }
  }
  bool HasLists = strstr(GetParam().Flags, "-gdwarf-4 -O2");
  EXPECT_EQ(Found > 5, HasLists) << Found;
}

/// A row of a line-number program. The last of a sequence has no line.
struct Row {
  std::string File;
  uint64_t Line, Address;
  bool IsStmt;
  bool operator==(const Row &) const = default;
};

/// What addresses and lines lead to by the rows of a program.
void expectLookups(const LineNumberProgram &Program, const std::vector<Row> &Rows,
                   const std::string &Source) {
  std::map<uint64_t, Row> Last;            // by address
  std::map<uint64_t, uint64_t> Statements; // address of the first of each line of the source
  for (const Row &R : Rows) {
    Last.insert_or_assign(R.Address, R);
    if (R.IsStmt && Source.ends_with("/" + R.File))
      Statements.try_emplace(R.Line, R.Address);
  }
  for (uint64_t Address = Rows[0].Address; Address < Rows.back().Address; ++Address) {
    unsigned long File = 0, Line = 0, Column = 0;
    ASSERT_TRUE(Program.getLocationForAddress(Address, File, Line, Column));
    const Row &Covering = std::prev(Last.upper_bound(Address))->second;
    EXPECT_EQ(Line, Covering.Line) << Address;
    EXPECT_EQ(Program.getFileName(static_cast<long>(File)), Covering.File);
  }
  for (long Line = 1; Line <= 70; ++Line) {
    unsigned long Address = 0;
    auto Next = Statements.lower_bound(static_cast<uint64_t>(Line));
    EXPECT_EQ(Program.getBreakLocation(Source.c_str(), Line, 0, Address), Next != Statements.end());
    EXPECT_EQ(Address, Next == Statements.end() ? 0 : Next->second) << Line;
  }
}

/// The rows of the first sequence of each unit.
void Corpus::expectLines() {
  std::vector<std::vector<Row>> Expected;
  for (const std::string &Line : dump("decodedline")) {
    char File[200], Number[20], Address[20];
    if (Line.starts_with("CU: "))
      Expected.emplace_back();
    else if (sscanf(Line.c_str(), "%199s %19[0-9-] 0x%19s", File, Number, Address) == 3 &&
             (Expected.back().empty() || Expected.back().back().Line != 0))
      Expected.back().push_back({File, strtoull(Number, nullptr, 10),
                                 strtoull(Address, nullptr, 16), Line.ends_with("x")});
  }
  ASSERT_EQ(info().getCompUnits().size(), Expected.size());
  for (size_t Index = 0; Index < Expected.size(); ++Index) {
    const auto &Unit = info().getCompUnits()[Index];
    const LineNumberProgram *Program = Unit->getLineNumberProgram();
    ASSERT_TRUE(Program);
    std::vector<Row> Found;
    for (const auto &R : Program->getMatrix()) {
      const char *File = Program->getFileName(static_cast<long>(R.File));
      Found.push_back({File ? File : "none", R.EndSequence ? 0 : R.Line, R.Address,
                       R.IsStmt && !R.EndSequence});
    }
    EXPECT_TRUE(Found == Expected[Index]) << Unit->getName();
    EXPECT_GT(Found.size(), 5u);
    expectLookups(*Program, Expected[Index], Unit->getName());
  }
}

/// Symbols by the rule of the nearest start, from a list in file order.
void Corpus::expectSymbols() {
  struct Symbol {
    unsigned Value, Size;
    std::string Type, Bind, Name, File;
  };
  std::vector<Symbol> All;
  std::string File;
  for (const std::string &Line : output("readelf -sW " + Image)) {
    Symbol S{};
    char Type[32], Bind[32], Name[128] = "";
    if (sscanf(Line.c_str(), " %*u: %x %i %31s %31s %*s %*s %127s", &S.Value,
               reinterpret_cast<int *>(&S.Size), Type, Bind, Name) < 4)
      continue;
    if (!strcmp(Type, "FILE"))
      File = Name;
    S.Type = Type;
    S.Bind = Bind;
    S.Name = Name;
    S.File = File;
    All.push_back(S);
  }
  auto Covering = [&](const std::string &Type, uint64_t Addr) {
    for (const char *Bind : {"LOCAL", "GLOBAL", "WEAK"}) {
      const Symbol *Nearest = nullptr;
      for (const Symbol &S : All)
        if (S.Type == Type && S.Bind == Bind && S.Value <= Addr &&
            (!Nearest || S.Value >= Nearest->Value))
          Nearest = &S;
      if (Nearest && Addr - Nearest->Value < Nearest->Size)
        return (Bind[0] == 'L' ? Nearest->File : "") + ":" + Nearest->Name;
    }
    return std::string(":");
  };
  int Functions = 0;
  for (const Symbol &S : All) {
    bool IsFunction = S.Type == "FUNC";
    if (!IsFunction && S.Type != "OBJECT")
      continue;
    Functions += IsFunction;
    for (uint64_t Addr : {uint64_t{S.Value} - 1, uint64_t{S.Value}, uint64_t{S.Value} + S.Size}) {
      const char *Found[2];
      (IsFunction ? orvy_symtabGetFuncName : orvy_symtabGetObjName)(Symbols, &Found[0], &Found[1],
                                                                    Addr);
      EXPECT_EQ(std::string(Found[0] ? Found[0] : "") + ":" + (Found[1] ? Found[1] : ""),
                Covering(S.Type, Addr));
    }
  }
  EXPECT_GE(Functions, 6);
}

TEST_P(Corpus, IsReadAsBinutilsReadsIt) {
  if (!hasCompiler())
    GTEST_SKIP() << "needs " << GetParam().Name << "'s compiler (scripts/setup --tests)";
  const std::string Programs = ORVY_SOURCE_ROOT "/unittests/Support/programs/";
  ASSERT_NO_FATAL_FAILURE(build(Programs + "shapes.c " + Programs + "sums.c", GetParam().Flags));
  expectEntries();
  expectAbbrevs();
  expectTables();
  expectFunctions();
  expectRanges();
  expectLocations();
  expectLines();
  expectSymbols();
}

INSTANTIATE_TEST_SUITE_P(Builds, Corpus, ::testing::ValuesIn(Builds),
                         [](const auto &Info) { return std::string(Info.param.Name); });

/// Two thousand functions with types of their own.
class LargeCorpus : public Corpus {};

TEST_P(LargeCorpus, IsReadAsBinutilsReadsIt) {
  if (!hasCompiler())
    GTEST_SKIP() << "needs the package gcc-sparc64-linux-gnu (scripts/setup --tests)";
  std::ostringstream Source;
  for (int Index = 0; Index < 2000; ++Index)
    Source << "struct S" << Index << " { int A, B; struct S" << Index << " *Next; };\nint f"
           << Index << "(struct S" << Index << " *S, int X) { int Y = X + " << Index
           << "; for (int K = 0; K < X; ++K) { int Z = S->A; Y += Z; } return Y; }\n";
  Source << "void start(void) {}\n";
  ASSERT_NO_FATAL_FAILURE(build(Files.file("large.c", Source.str()), GetParam().Flags));
  EXPECT_GT(Told.size(), 30000u);
  expectEntries();
  expectFunctions();
}

INSTANTIATE_TEST_SUITE_P(Builds, LargeCorpus, ::testing::Values(Build{"Sparc", SPARC "-gdwarf-4"}),
                         [](const auto &Info) { return std::string(Info.param.Name); });

} // namespace
