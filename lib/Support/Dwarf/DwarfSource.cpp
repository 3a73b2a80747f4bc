// Functions, source lines and source text, by address and by name.

#include "Base/InputFile.h"
#include "Dwarf/DwarfHandle.h"

#include "orvy/Support/DwarfLines.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>

using namespace orvy;
using namespace orvy::dwarf;

namespace {

constexpr uint64_t Missing = UINT64_MAX;

/// The row of a line program that covers an address.
struct Row {
  const LineNumberProgram *Program = nullptr; ///< null if there is no such row
  unsigned long File = 0, Line = 0, Column = 0;

  Row(orvy_Dwarf Dwarf, uint64_t Addr) {
    CompilationUnit *Unit = infoOf(Dwarf).getCompUnitForAddress(Addr);
    Program = Unit ? Unit->getLineNumberProgram() : nullptr;
    if (Program && !Program->getLocationForAddress(Addr, File, Line, Column))
      Program = nullptr;
  }
  const char *name() const {
    return Program ? Program->getFileName(static_cast<long>(File)) : nullptr;
  }
  std::string path() const {
    const char *Dir = Program->getFileDir(static_cast<long>(File));
    return fs::normalisePath((Dir ? std::string(Dir) + "/" + name() : name()).c_str());
  }
};

/// Name of the language of a unit; null if the unit has no language.
const char *languageName(CompilationUnit *Unit) try {
  return Unit ? Unit->getLanguageName() : nullptr;
} catch (int) {
  return nullptr;
}

/// Reads the lines of a text file in order.
class SourceReader {
public:
  explicit SourceReader(const std::string &Path) : File(Path.c_str()) {}
  bool isOpen() const { return File.isPlain(); }

  /// Skips lines. Returns false if the file has fewer.
  bool skip(uint64_t Lines) {
    while (Lines > 0) {
      int Character = next();
      if (Character < 0)
        return false;
      Lines -= Character == '\n';
    }
    return true;
  }
  /// Appends up to that many lines, without carriage returns.
  void read(uint64_t Lines, std::string &Text) {
    while (Lines > 0) {
      int Character = next();
      if (Character < 0)
        return;
      if (Character != '\r')
        Text += static_cast<char>(Character);
      Lines -= Character == '\n';
    }
  }

private:
  /// The next byte; -1 at the end.
  int next() {
    if (At == Buffer.size()) {
      Offset += Buffer.size();
      Buffer.resize(std::min<uint64_t>(File.size() - std::min(Offset, File.size()), 4096));
      At = 0;
      if (Buffer.empty() || !File.readAt(Offset, Buffer.data(), Buffer.size()))
        return -1;
    }
    return static_cast<unsigned char>(Buffer[At++]);
  }

  InputFile File;
  std::string Buffer;
  size_t At = 0;
  uint64_t Offset = 0; ///< position of the buffer in the file
};

/// Reads lines of a file. Returns false if the file ends before the first one.
bool readLines(SourceReader &Reader, uint64_t First, uint64_t Count, std::string &Text) {
  if (!Reader.skip(First - 1))
    return false;
  Reader.read(Count, Text);
  return true;
}

bool readAbsolute(const DebugInfo &Info, const char *File, uint64_t First, uint64_t Count,
                  std::string &Text) {
  std::string Path = Info.remapPath(File);
  SourceReader Reader(Path);
  if (!Reader.isOpen()) {
    orvy_logDebugFunc(nullptr, "could not open %s", Path.c_str());
    return false;
  }
  if (!readLines(Reader, First, Count, Text)) {
    orvy_logDebugFunc(nullptr, "got EOF before first line");
    return false;
  }
  orvy_logDebugFunc(nullptr, "found source in %s", Path.c_str());
  return true;
}

bool readRelative(const DebugInfo &Info, const char *File, uint64_t First, uint64_t Count,
                  std::string &Text) {
  for (const std::string &Dir : Info.SourceDirs) {
    SourceReader Reader(Dir + File);
    if (Reader.isOpen())
      return readLines(Reader, First, Count, Text);
  }
  return false;
}

/// The address for a break point at a line of a file. Logs the reason and returns Missing if there
/// is none.
uint64_t breakLocation(DebugInfo &Info, const char *File, uint32_t Line) {
  std::vector<CompilationUnit *> Units = Info.getCompUnitForName(File);
  if (Units.size() != 1) {
    orvy_logError(nullptr, "get break loc: CU count = %d", static_cast<int>(Units.size()));
    return Missing;
  }
  const LineNumberProgram *Program = Units[0]->getLineNumberProgram();
  if (!Program) {
    orvy_logError(nullptr, "CU lacks LNP");
    return Missing;
  }
  unsigned long Addr = Missing;
  std::string Name = fs::normalisePath(Units[0]->getName());
  if (!Program->getBreakLocation(Name.c_str(), Line, 0, Addr)) {
    orvy_logError(nullptr, "LNP could not compute break address");
    return Missing;
  }
  return Addr;
}

} // namespace

const char *orvy_dwarfGetName(orvy_Dwarf Dwarf, uint64_t Addr) {
  return infoOf(Dwarf).getFunctionNameForAddress(Addr);
}

void *orvy_dwarfGetDIEForAddr(orvy_Dwarf Dwarf, uint64_t Addr) {
  return infoOf(Dwarf).getFunctionDIEForAddress(Addr);
}

void *orvy_dwarfGetDIEForName(orvy_Dwarf Dwarf, const char *Name) {
  return infoOf(Dwarf).getFunctionDIEForName(Name);
}

void *orvy_dwarfGetCUForAddr(orvy_Dwarf Dwarf, uint64_t Addr) {
  return static_cast<Unit *>(infoOf(Dwarf).getCompUnitForAddress(Addr));
}

void *orvy_dwarfGetCUForDIE(void *Entry) {
  return entryOf(Entry).getUnit();
}

const char *orvy_dwarfGetCUName(void *Unit) {
  auto *Compiled = dynamic_cast<CompilationUnit *>(&unitOf(Unit));
  return Compiled ? Compiled->getName() : nullptr;
}

void orvy_dwarfPrintCU(void *Unit) {
  unitOf(Unit).print();
}

const char *orvy_dwarfGetDIEName(void *Entry) {
  return entryOf(Entry).getName();
}

uint64_t orvy_dwarfGetDIETag(void *Entry) {
  return entryOf(Entry).getTag();
}

const char *orvy_dwarfGetLanguageName(orvy_Dwarf Dwarf, uint64_t Addr) {
  return languageName(infoOf(Dwarf).getCompUnitForAddress(Addr));
}

uint64_t orvy_dwarfGetLine(orvy_Dwarf Dwarf, uint64_t Addr) {
  Row Found(Dwarf, Addr);
  return Found.Program ? Found.Line : Missing;
}

uint64_t orvy_dwarfGetCol(orvy_Dwarf Dwarf, uint64_t Addr) {
  Row Found(Dwarf, Addr);
  return Found.Program ? Found.Column : Missing;
}

const char *orvy_dwarfGetFile(orvy_Dwarf Dwarf, uint64_t Addr) {
  return Row(Dwarf, Addr).name();
}

orvy_SourceLoc orvy_dwarfGetSourceLocForAddr(orvy_Dwarf Dwarf, uint64_t Addr) {
  thread_local std::string File;
  Row Found(Dwarf, Addr);
  if (!Found.name())
    return {nullptr, 0, 0};
  File = Found.path();
  return {File.c_str(), static_cast<uint32_t>(Found.Line), static_cast<uint32_t>(Found.Column)};
}

const char *orvy_dwarfGetSourceLinesAroundLoc(orvy_Dwarf Dwarf, orvy_SourceLoc *Loc,
                                              uint32_t Lines) {
  thread_local std::string Text;
  Text.clear();
  if (!Loc->File || Loc->Line <= Lines)
    return nullptr;
  orvy_logDebugFunc(nullptr, "get source from %s", Loc->File);
  orvy_logDebugFunc(nullptr, "get source loc %d +/- %d", static_cast<int>(Loc->Line),
                    static_cast<int>(Lines));
  auto Read = fs::isAbsolutePath(Loc->File) ? readAbsolute : readRelative;
  uint64_t Count = uint64_t{Lines} * 2 + 1;
  return Read(infoOf(Dwarf), Loc->File, Loc->Line - Lines, Count, Text) ? Text.c_str() : nullptr;
}

const char *orvy_dwarfGetSourceLinesAroundAddr(orvy_Dwarf Dwarf, uint64_t Addr, uint32_t Lines) {
  orvy_SourceLoc Loc = orvy_dwarfGetSourceLocForAddr(Dwarf, Addr);
  return orvy_dwarfGetSourceLinesAroundLoc(Dwarf, &Loc, Lines);
}

void orvy_dwarfAddSourceDir(orvy_Dwarf Dwarf, const char *Path) {
  std::string Dir = Path;
  if (!Dir.ends_with('/'))
    Dir += '/';
  infoOf(Dwarf).SourceDirs.push_back(Dir);
}

void orvy_dwarfAddSourceDirRemap(orvy_Dwarf Dwarf, const char *From, const char *To) {
  if (fs::isAbsolutePath(From))
    infoOf(Dwarf).PathRemaps.emplace_back(From, To);
  else
    errs() << "added non absolute dwarf remap prefix, ignoring!\n";
}

uint64_t orvy_dwarfGetBreakLoc(orvy_Dwarf Dwarf, const char *File, uint32_t Line) {
  return breakLocation(infoOf(Dwarf), File, Line);
}
