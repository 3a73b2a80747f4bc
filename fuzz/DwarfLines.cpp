// Line-number programs, and everything that is asked of them.

#include "Fuzz.h"

#include "orvy/Support/DwarfLines.h"

#include <iostream>

using namespace orvy;
using namespace orvy::dwarf;

namespace {

void ask(const LineNumberProgram &Program, size_t Size) {
  const auto &Rows = Program.getMatrix();
  fuzz::require(!Rows.empty() && Rows.back().EndSequence, "the last row ends the sequence");
  fuzz::require(Rows.size() <= Size + 1, "a byte makes one row at most");
  fuzz::require(Program.getFiles().size() * 4 <= Size, "a file has four bytes at least");
  unsigned long File = 0, Line = 0, Column = 0, Isa = 0, Address = 0;
  for (const auto &Row : Rows) {
    bool Found = Program.getLocationForAddress(Row.Address, File, Line, Column);
    fuzz::require(Found == Program.getISAForAddress(Row.Address, Isa), "both find the same row");
  }
  for (long Number = -1; Number < 5; ++Number) {
    std::string Path = Program.getFilePath(Number);
    Program.getFileDir(Number);
    if (Program.getFileName(Number) && Program.getBreakLocation(Path.c_str(), 1, 0, Address))
      Program.getLocationForAddress(Address, File, Line, Column);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  fuzz::memory(); // the log goes nowhere
  [[maybe_unused]] static auto *Errors = std::cerr.rdbuf(nullptr);
  [[maybe_unused]] static auto *Output = std::cout.rdbuf(nullptr);
  DebugInfo Info;
  Info.LineSec.assign(Data, Data + Size);
  if (auto Program = LineNumberProgram::load(&Info, nullptr, 0)) {
    ask(*Program, Size);
    size_t Rows = Program->getMatrix().size();
    Program->run(true);
    fuzz::require(Program->getMatrix().size() == Rows, "a program runs alike every time");
    Program->print();
  }
  return 0;
}
