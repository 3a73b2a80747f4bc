// DwarfLines.h - the line-number programs of an image: which source line an address belongs to, and
// which address a break point for a source line.
//
// Reads versions 2, 3 and 4 of the format (DWARF 4, 6.2), big-endian. File numbers count from 1. A
// program does not change once it is built, and lives no longer than its debug information.

#ifndef ORVY_SUPPORT_DWARFLINES_H
#define ORVY_SUPPORT_DWARFLINES_H

#include "orvy/Support/Dwarf.h"
#include "orvy/Support/Export.h"
#include "orvy/Support/VectorStream.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace orvy::dwarf {

class LineNumberProgram {
public:
  /// A row of the matrix, and the registers that make rows (DWARF 4, 6.2.2).
  struct LineMatrixEntry {
    uint64_t Address = 0;
    uint64_t OpIndex = 0;
    uint64_t File = 1;
    uint64_t Line = 1;
    uint64_t Column = 0;
    bool IsStmt = false;
    bool BasicBlock = false;
    bool EndSequence = false;
    bool PrologueEnd = false;
    bool EpilogueBegin = false;
    uint64_t Isa = 0;
    uint64_t Discriminator = 0;

    /// Whether an address lies before a row.
    static bool compWithAddr(uint64_t Address, const LineMatrixEntry &Entry) {
      return Address < Entry.Address;
    }
  };
  static_assert(sizeof(LineMatrixEntry) == 64, "a row is a cache line");

  struct FileEntry {
    const char *Name;      ///< in the section
    uint64_t DirIndex;     ///< 0 for the compilation directory
    uint64_t ModifiedTime; ///< as the compiler counts; 0 if not known
    uint64_t Length;       ///< bytes; 0 if not known
  };

  /**
   * Reads the program at an offset of ".debug_line" and runs it.
   *
   * Throws the integer 42 for an offset outside the section and for a header that is not of version
   * 2 to 4 or contradicts itself, std::out_of_range where the section ends too early.
   * @param Unit    the unit that asks; its DW_AT_comp_dir is directory 0
   * @param Verbose tells of every field and operation on the standard output
   */
  ORVY_API LineNumberProgram(DebugInfo *Info, CompilationUnit *Unit, unsigned long Offset,
                             bool Verbose);
  LineNumberProgram(const LineNumberProgram &) = delete;
  LineNumberProgram &operator=(const LineNumberProgram &) = delete;

  /// The program at an offset; null if it cannot be read.
  ORVY_API static std::unique_ptr<LineNumberProgram> load(DebugInfo *Info, CompilationUnit *Unit,
                                                          uint64_t Offset);

  /// Fills the matrix anew, up to the end of the first sequence. A program that ends without one
  /// gets it, with a text on the error stream. Throws as construction does.
  ORVY_API void run(bool Verbose);
  /// Appends a copy of the registers to the matrix.
  ORVY_API void appendMatrixRow();

  bool isStandardOp(unsigned char Opcode) const { return Opcode > 0 && Opcode < Head.OpcodeBase; }
  bool isExtendedOp(unsigned char Opcode) const { return Opcode == 0; }
  bool isSpecialOp(unsigned char Opcode) const { return Opcode >= Head.OpcodeBase; }

  /// The place in the source that an address belongs to: of several rows at one address the last.
  /// @return whether a row covers it; otherwise the results are untouched
  ORVY_API bool getLocationForAddress(uint64_t Address, unsigned long &File, unsigned long &Line,
                                      unsigned long &Column) const;
  /// The instruction set at an address, in the same way.
  ORVY_API bool getISAForAddress(uint64_t Address, unsigned long &Isa) const;

  /// Name of a file as the table has it; null for a number that has no entry.
  ORVY_API const char *getFileName(long File) const;
  /// Directory of a file; null for a number that has no entry, and if it is not known.
  ORVY_API const char *getFileDir(long File) const;
  /// Normalised path of a file: its directory and name, the name alone where that is absolute or
  /// the directory is not known. Empty for a number that has no entry.
  ORVY_API std::string getFilePath(long File) const;

  /**
   * Where a break point for a line belongs: at the first statement of the line, else of the next
   * line below it that has one.
   * @param File path, or else name, of a file as the table has it
   * @param Column does not count
   * @return whether there is such a file and line; otherwise Address is untouched
   */
  ORVY_API bool getBreakLocation(const char *File, long Line, long Column,
                                 unsigned long &Address) const;

  /// Writes files and rows to the error stream.
  ORVY_API void print() const;

  DebugInfo *getDebugInfo() const { return Info; }
  CompilationUnit *getUnit() const { return Unit; }
  uint64_t getOffset() const { return ProgramOffset; } ///< of the header in ".debug_line"
  uint64_t getTotalSize() const { return Head.UnitLength + (Head.Is64Bit ? 12 : 4); }
  uint16_t getVersion() const { return Head.Version; }
  const std::vector<const char *> &getIncludeDirs() const { return IncludeDirs; }
  const std::vector<FileEntry> &getFiles() const { return Files; }
  /// The rows in execution order.
  const std::vector<LineMatrixEntry> &getMatrix() const { return Matrix; }
  /// Whether the program goes on after the first sequence: those rows are not in the matrix.
  bool hasMoreSequences() const { return MoreSequences; }

private:
  struct Header {
    bool Is64Bit = false;
    uint64_t UnitLength = 0;
    uint16_t Version = 0;
    uint64_t HeaderLength = 0;
    uint8_t MinInstrLength = 0;
    uint8_t MaxOpsPerInstr = 1;
    uint8_t DefaultIsStmt = 0;
    int8_t LineBase = 0;
    uint8_t LineRange = 0;
    uint8_t OpcodeBase = 0;
    std::vector<uint8_t> OpcodeLengths; ///< operands of the standard opcodes from 1 up
  };
  class Machine;

  void readLengths(utils::VectorStream &VS);
  uint64_t readFields(utils::VectorStream &VS);
  void readTables(utils::VectorStream &VS);
  void printHeader() const;

  void advance(uint64_t Operations);
  void finishRow();
  void endSequence();
  void resetRegisters();

  const FileEntry *findFile(long File) const;
  const LineMatrixEntry *findRow(uint64_t Address) const;
  long findFileNumber(const std::string &Path) const;
  const LineMatrixEntry *findBreakRow(uint64_t File, uint64_t Line) const;

  DebugInfo *Info;
  CompilationUnit *Unit;
  Header Head;
  bool MoreSequences = false;
  std::vector<const char *> IncludeDirs;
  std::vector<FileEntry> Files;
  size_t HeaderFiles = 0; ///< files that the header has; the program may define more
  uint64_t ProgramOffset;
  uint64_t m_InstrOffset = 0; ///< of the first instruction in the section
  uint64_t EndOffset = 0;
  std::vector<LineMatrixEntry> Matrix;
  std::vector<uint64_t> Addresses; ///< of the rows: what is searched stays dense
  LineMatrixEntry Registers;
};

} // namespace orvy::dwarf

#endif
