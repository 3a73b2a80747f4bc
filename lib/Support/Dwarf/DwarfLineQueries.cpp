// Queries on line-number programs: addresses, files and places of break points.

#include "orvy/Support/DwarfLines.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <optional>

using namespace orvy;
using namespace orvy::dwarf;

namespace {

constexpr uint64_t CompDir = 0x1b; // DW_AT_comp_dir

/// The number of keys at or below a value. The search has no conditional jumps, as they would be
/// unpredictable.
size_t countUpTo(const std::vector<uint64_t> &Keys, uint64_t Value) {
  const uint64_t *First = Keys.data();
  size_t Left = Keys.size();
  while (Left > 1) {
    size_t Half = Left / 2;
    First += First[Half] <= Value ? Half : 0;
    Left -= Half;
  }
  return static_cast<size_t>(First - Keys.data()) + (Left == 1 && *First <= Value);
}

/// The element with a DWARF number, which counts from 1; null if there is no such element.
template <typename T> const T *numbered(const std::vector<T> &Table, uint64_t Number) {
  return Number - 1 < Table.size() ? &Table[Number - 1] : nullptr;
}

const char *compilationDir(CompilationUnit *Unit) {
  DebugInfoEntry *Entry = Unit ? Unit->getUnitDIE() : nullptr;
  std::optional<Attribute> Dir = Entry ? Entry->find(CompDir) : std::nullopt;
  return Dir ? Dir->getCStr() : nullptr;
}

} // namespace

const LineNumberProgram::LineMatrixEntry *LineNumberProgram::findRow(uint64_t Address) const {
  size_t Rows = countUpTo(Addresses, Address);
  return Rows > 0 && Rows < Addresses.size() ? &Matrix[Rows - 1] : nullptr;
}

bool LineNumberProgram::getLocationForAddress(uint64_t Address, unsigned long &File,
                                              unsigned long &Line, unsigned long &Column) const {
  const LineMatrixEntry *Row = findRow(Address);
  if (!Row)
    return false;
  File = Row->File;
  Line = Row->Line;
  Column = Row->Column;
  return true;
}

bool LineNumberProgram::getISAForAddress(uint64_t Address, unsigned long &Isa) const {
  const LineMatrixEntry *Row = findRow(Address);
  if (!Row)
    return false;
  Isa = Row->Isa;
  return true;
}

const char *LineNumberProgram::getFileName(long File) const {
  const FileEntry *Entry = numbered(Files, static_cast<uint64_t>(File));
  return Entry ? Entry->Name : nullptr;
}

const char *LineNumberProgram::getFileDir(long File) const {
  const FileEntry *Entry = numbered(Files, static_cast<uint64_t>(File));
  if (!Entry)
    return nullptr;
  if (Entry->DirIndex == 0)
    return compilationDir(Unit);
  const char *const *Dir = numbered(IncludeDirs, Entry->DirIndex);
  return Dir ? *Dir : nullptr;
}

std::string LineNumberProgram::getFilePath(long File) const {
  const char *Name = getFileName(File);
  if (!Name)
    return {};
  const char *Dir = *Name == '/' ? nullptr : getFileDir(File);
  return fs::normalisePath(Dir ? (std::string(Dir) + "/" + Name).c_str() : Name);
}

long LineNumberProgram::findFileNumber(const std::string &Path) const {
  long Count = static_cast<long>(Files.size());
  for (long File = 1; File <= Count; ++File)
    if (getFilePath(File) == Path)
      return File;
  for (long File = 1; File <= Count; ++File)
    if (getFileName(File) == Path)
      return File;
  return 0;
}

const LineNumberProgram::LineMatrixEntry *LineNumberProgram::findBreakRow(uint64_t File,
                                                                          uint64_t Line) const {
  const LineMatrixEntry *Best = nullptr;
  for (const LineMatrixEntry &Row : Matrix) {
    bool Counts = Row.Line >= Line && Row.File == File && Row.IsStmt;
    // Line 0 means that the row has no line. Prefer any other row.
    if (Counts && (!Best || Best->Line == 0 || Row.Line < Best->Line))
      Best = &Row;
  }
  return Best;
}

bool LineNumberProgram::getBreakLocation(const char *File, long Line, long Column,
                                         unsigned long &Address) const {
  if (!File)
    return false;
  orvy_logDebugFunc(nullptr, "getBreakLocation %s:%d:%d", File, static_cast<int>(Line),
                    static_cast<int>(Column));
  long Number = findFileNumber(fs::normalisePath(File));
  const LineMatrixEntry *Row = Number ? findBreakRow(static_cast<uint64_t>(Number),
                                                     static_cast<uint64_t>(std::max(Line, 0L)))
                                      : nullptr;
  if (!Row)
    return false;
  Address = Row->Address;
  orvy_logDebugFunc(nullptr, "break location is = %x for line %d", static_cast<unsigned>(Address),
                    static_cast<int>(Line));
  return true;
}

void LineNumberProgram::print() const {
  for (const FileEntry &File : Files)
    errs() << "file " << File.Name << "\n";
  for (const LineMatrixEntry &Row : Matrix) {
    errs().setBase(OutStream::Hexadecimal) << Row.Address;
    errs() << " " << Row.File << "/" << getFileName(static_cast<long>(Row.File)) << ":" << Row.Line
           << ":" << Row.Column << " stmt:" << Row.IsStmt << " bb:" << Row.BasicBlock
           << " eseq:" << Row.EndSequence << " pend:" << Row.PrologueEnd
           << " epbeg:" << Row.EpilogueBegin << " isa:" << Row.Isa << " discr:" << Row.Discriminator
           << "\n";
  }
}
