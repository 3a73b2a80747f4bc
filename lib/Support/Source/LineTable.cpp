#include "Source/LineTable.h"

#include "Dwarf/DwarfForms.h"
#include "Dwarf/DwarfNames.h"

#include "orvy/Support/FileSystem.h"

#include <algorithm>
#include <stdexcept>

using namespace orvy;
using namespace orvy::source;
using dwarf::readSLEB128;
using dwarf::readULEB128;
using utils::VectorStream;

namespace {

constexpr uint64_t MaxFiles = 100000; // in one program

/// Operations (DWARF 5, 6.2.5).
enum : uint8_t {
  ExtendedOp = 0,
  Copy,
  AdvancePc,
  AdvanceLine,
  SetFile,
  SetColumn,
  NegateStatement,
  SetBasicBlock,
  ConstAddPc,
  FixedAdvancePc,
  SetPrologueEnd,
  SetEpilogueBegin,
  SetIsa,
  EndSequence = 1, // extended
  SetAddress = 2,
  DefineFile = 3
};

/// Contents of the fields of a file or directory (DWARF 5, 6.2.4.1).
enum : uint64_t { ContentPath = 1, ContentDirectory = 2 };

bool isAbsolute(const std::string &Path) {
  return !Path.empty() && Path.front() == '/';
}

std::string joined(const std::string &Directory, const std::string &Name) {
  return isAbsolute(Name) || Directory.empty() ? Name : Directory + "/" + Name;
}

} // namespace

/// Reads a header and runs the program.
class LineTable::Reader {
public:
  Reader(LineTable &Into, const dwarf::DebugInfo &Info, uint64_t Offset, const char *CompDir)
      : Into(Into), Info(Info), VS(Info.LineSec, Offset), CompDir(CompDir ? CompDir : "") {
    VS.BigEndian = true;
  }

  void readHeader();
  void run();

private:
  struct Registers {
    uint64_t Address = 0;
    uint64_t OpIndex = 0;
    uint64_t File = 1;
    uint64_t Line = 1;
    uint64_t Column = 0;
    bool IsStatement = false;
    bool EndsPrologue = false;
  };

  void readOldTables();
  void readTables();
  std::vector<std::string> readEntries(const std::vector<std::string> *Directories);
  std::string readText(uint64_t Form);
  uint64_t readNumber(uint64_t Form);
  void addFile(const std::string &Name, uint64_t Directory);

  void advance(uint64_t Operations);
  void append(bool EndsSequence);
  void endSequence();
  void standard(uint8_t Opcode);
  void extended();
  void special(uint8_t Opcode);

  LineTable &Into;
  const dwarf::DebugInfo &Info;
  VectorStream VS;
  const std::string CompDir;
  std::vector<std::string> Directories;
  uint64_t ProgramStart = 0, End = 0;
  uint16_t Version = 0;
  uint8_t MinLength = 1, MaxOps = 1, LineRange = 1, OpcodeBase = 1;
  int8_t LineBase = 0;
  bool IsStatementAtStart = false;
  std::vector<uint8_t> OperandCounts;
  Registers At;
  uint32_t SequenceStart = 0;
};

void LineTable::Reader::readHeader() {
  uint64_t Length = 0, HeaderLength = 0;
  uint8_t IsStatement = 0, AddressSize = 0, SegmentSize = 0;
  End = dwarf::readLength(VS, Length);
  VS.endReadsAt(End);
  VS >> Version;
  if (Version < 2 || Version > 5)
    throw std::runtime_error("line table of version " + std::to_string(Version));
  if (Version == 5)
    VS >> AddressSize >> SegmentSize;
  VS >> VectorStream::Word >> HeaderLength;
  if (HeaderLength > VS.getLeft())
    throw std::out_of_range("header of a line table past its end");
  ProgramStart = VS.getOffset() + HeaderLength;
  VS >> MinLength;
  if (Version >= 4)
    VS >> MaxOps;
  VS >> IsStatement >> LineBase >> LineRange >> OpcodeBase;
  if (MaxOps == 0 || LineRange == 0 || OpcodeBase == 0)
    throw std::runtime_error("line table with a zero in its header");
  IsStatementAtStart = IsStatement != 0;
  OperandCounts.resize(OpcodeBase - 1u);
  for (uint8_t &Count : OperandCounts)
    VS >> Count;
  Version == 5 ? readTables() : readOldTables();
}

void LineTable::Reader::readOldTables() {
  Directories.push_back(CompDir);
  for (const char *Name = VS.readText(); *Name; Name = VS.readText())
    Directories.push_back(joined(CompDir, Name));
  for (const char *Name = VS.readText(); *Name; Name = VS.readText()) {
    const uint64_t Directory = readULEB128(VS);
    readULEB128(VS); // time
    readULEB128(VS); // length
    addFile(Name, Directory);
  }
}

void LineTable::Reader::readTables() {
  Into.FirstFile = 0;
  Directories = readEntries(nullptr);
  for (const std::string &Path : readEntries(&Directories))
    Into.Files.push_back(fs::normalisePath(Path.c_str()));
}

/// Reads the directories, or the files with the directories given.
std::vector<std::string>
LineTable::Reader::readEntries(const std::vector<std::string> *InDirectories) {
  uint8_t FormatCount = 0;
  VS >> FormatCount;
  std::vector<std::pair<uint64_t, uint64_t>> Format(FormatCount);
  for (auto &[Content, Form] : Format) {
    Content = readULEB128(VS);
    Form = readULEB128(VS);
  }
  const uint64_t Count = readULEB128(VS);
  if (Count > MaxFiles || (Count && Format.empty()))
    throw std::runtime_error("too many files in a line table");
  std::vector<std::string> Entries;
  for (uint64_t Index = 0; Index < Count; ++Index) {
    std::string Path;
    uint64_t Directory = 0;
    for (const auto &[Content, Form] : Format)
      if (Content == ContentPath)
        Path = readText(Form);
      else if (Content == ContentDirectory)
        Directory = readNumber(Form);
      else
        dwarf::skipValue(VS, Form);
    // Entry 0 of the directories is that of the unit, to which the others are relative.
    if (!InDirectories)
      Entries.push_back(Entries.empty() ? joined(CompDir, Path) : joined(Entries[0], Path));
    else
      Entries.push_back(
          Directory < InDirectories->size() ? joined((*InDirectories)[Directory], Path) : Path);
  }
  return Entries;
}

std::string LineTable::Reader::readText(uint64_t Form) {
  if (Form == dwarf::DW_FORM_string)
    return VS.readText();
  if (Form != dwarf::DW_FORM_line_strp && Form != dwarf::DW_FORM_strp)
    throw std::runtime_error("form " + std::to_string(Form) + " of a file name");
  uint64_t Offset = 0;
  VS >> VectorStream::Word >> Offset;
  const dwarf::Section &Texts = Form == dwarf::DW_FORM_strp ? Info.StrSec : Info.LineStrSec;
  return VectorStream(Texts, Offset).readText();
}

uint64_t LineTable::Reader::readNumber(uint64_t Form) {
  uint8_t Byte = 0;
  uint16_t Half = 0;
  uint32_t Word = 0;
  switch (Form) {
  case dwarf::DW_FORM_udata:
    return readULEB128(VS);
  case dwarf::DW_FORM_data1:
    VS >> Byte;
    return Byte;
  case dwarf::DW_FORM_data2:
    VS >> Half;
    return Half;
  case dwarf::DW_FORM_data4:
    VS >> Word;
    return Word;
  default:
    throw std::runtime_error("form " + std::to_string(Form) + " of a directory number");
  }
}

void LineTable::Reader::addFile(const std::string &Name, uint64_t Directory) {
  if (Into.Files.size() >= MaxFiles)
    throw std::runtime_error("too many files in a line table");
  const std::string Path =
      Directory < Directories.size() ? joined(Directories[Directory], Name) : Name;
  Into.Files.push_back(fs::normalisePath(Path.c_str()));
}

void LineTable::Reader::run() {
  VS.seek(ProgramStart);
  At = {};
  At.IsStatement = IsStatementAtStart;
  while (VS.getOffset() < End) {
    uint8_t Opcode = 0;
    VS >> Opcode;
    if (Opcode >= OpcodeBase)
      special(Opcode);
    else if (Opcode == ExtendedOp)
      extended();
    else
      standard(Opcode);
  }
}

void LineTable::Reader::advance(uint64_t Operations) {
  const uint64_t Total = At.OpIndex + Operations;
  At.Address = (At.Address + MinLength * (Total / MaxOps)) & UINT32_MAX;
  At.OpIndex = Total % MaxOps;
}

void LineTable::Reader::append(bool EndsSequence) {
  Into.Rows.push_back({At.Address, static_cast<uint32_t>(Into.fileOf(At.File)),
                       static_cast<uint32_t>(At.Line), static_cast<uint32_t>(At.Column) & 0xffffff,
                       At.IsStatement, At.EndsPrologue, EndsSequence});
  At.EndsPrologue = false;
}

/// Keeps the rows of a sequence, unless they make no sense: without code, or not in order. A linker
/// that drops a section leaves its sequence at address 0.
void LineTable::Reader::endSequence() {
  append(true);
  const auto First = Into.Rows.begin() + SequenceStart;
  const uint64_t Low = First->Address, High = Into.Rows.back().Address;
  if (Low < High && Low != 0 && std::is_sorted(First, Into.Rows.end(), [](auto &A, auto &B) {
        return A.Address < B.Address;
      }))
    Into.Sequences.push_back({Low, High, SequenceStart, static_cast<uint32_t>(Into.Rows.size())});
  else
    Into.Rows.resize(SequenceStart);
  SequenceStart = static_cast<uint32_t>(Into.Rows.size());
  At = {};
  At.IsStatement = IsStatementAtStart;
}

void LineTable::Reader::special(uint8_t Opcode) {
  const auto Adjusted = static_cast<uint8_t>(Opcode - OpcodeBase);
  advance(Adjusted / LineRange);
  At.Line += static_cast<uint64_t>(LineBase + Adjusted % LineRange);
  append(false);
}

void LineTable::Reader::standard(uint8_t Opcode) {
  uint16_t Bytes = 0;
  switch (Opcode) {
  case Copy:
    return append(false);
  case AdvancePc:
    return advance(readULEB128(VS));
  case AdvanceLine:
    At.Line += static_cast<uint64_t>(readSLEB128(VS));
    return;
  case SetFile:
    At.File = readULEB128(VS);
    return;
  case SetColumn:
    At.Column = readULEB128(VS);
    return;
  case NegateStatement:
    At.IsStatement = !At.IsStatement;
    return;
  case ConstAddPc:
    return advance((255u - OpcodeBase) / LineRange);
  case FixedAdvancePc:
    VS >> Bytes;
    At.Address = (At.Address + Bytes) & UINT32_MAX;
    At.OpIndex = 0;
    return;
  case SetPrologueEnd:
    At.EndsPrologue = true;
    return;
  default: // has no effect on the rows, or is not known
    for (uint8_t Left = OperandCounts[Opcode - 1u]; Left > 0; --Left)
      readULEB128(VS);
  }
}

void LineTable::Reader::extended() {
  const uint64_t Length = readULEB128(VS), Start = VS.getOffset();
  uint8_t Opcode = 0;
  if (Length == 0)
    return;
  VS >> Opcode;
  if (Opcode == EndSequence) {
    endSequence();
  } else if (Opcode == SetAddress) {
    uint32_t Word = 0;
    VS >> Word;
    At.Address = Word;
    At.OpIndex = 0;
  } else if (Opcode == DefineFile) {
    const std::string Name = VS.readText();
    addFile(Name, readULEB128(VS));
  }
  if (Length > End - Start)
    throw std::out_of_range("operation past the end of a line table");
  if (Start + Length < End)
    VS.seek(Start + Length);
}

LineTable::LineTable(const dwarf::DebugInfo &Info, uint64_t Offset, const char *CompDir) {
  Reader In(*this, Info, Offset, CompDir);
  In.readHeader();
  try {
    In.run();
  } catch (...) { // damage inside the program; both exceptions and integers are thrown
    Rows.resize(Sequences.empty() ? 0 : Sequences.back().End);
  }
}

size_t LineTable::fileOf(uint64_t Number) const {
  return Number >= FirstFile && Number - FirstFile < Files.size() ? Number - FirstFile : SIZE_MAX;
}
