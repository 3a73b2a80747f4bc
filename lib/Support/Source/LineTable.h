// LineTable.h - the complete table of source lines of one line-number program, of DWARF 2 to 5.
//
// It holds all sequences of the program, as one unit has of code in several sections.

#ifndef ORVY_LIB_LINETABLE_H
#define ORVY_LIB_LINETABLE_H

#include "orvy/Support/Dwarf.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orvy::source {

/// From an address up to that of the next row: a place in the source.
struct LineRow {
  uint64_t Address;
  uint32_t File; ///< index of LineTable::getFiles
  uint32_t Line; ///< 0 for code that belongs to no line
  uint32_t Column : 29;
  uint32_t IsStatement : 1;
  uint32_t EndsPrologue : 1;
  uint32_t EndsSequence : 1; ///< the address is one past the last; the place means nothing
};

/// Rows of ascending addresses; the last one ends the sequence.
struct LineSequence {
  uint64_t Low, High;
  uint32_t First, End; ///< indices of LineTable::getRows
};

class LineTable {
public:
  /// Reads the program at an offset of ".debug_line".
  /// @param CompDir  directory of the unit; null if not known
  /// Throws for a header that cannot be read; the rows in front of damage inside the program are
  /// kept.
  LineTable(const dwarf::DebugInfo &Info, uint64_t Offset, const char *CompDir);

  /// Normalised paths; the directory of the unit stands before relative ones.
  const std::vector<std::string> &getFiles() const { return Files; }
  const std::vector<LineRow> &getRows() const { return Rows; }
  const std::vector<LineSequence> &getSequences() const { return Sequences; }
  /// The index of the file that the entries of the unit call by a number; SIZE_MAX if there is none.
  size_t fileOf(uint64_t Number) const;

private:
  class Reader;

  std::vector<std::string> Files;
  std::vector<LineRow> Rows;
  std::vector<LineSequence> Sequences;
  uint64_t FirstFile = 1; ///< number of the first file: 0 from version 5 on
};

} // namespace orvy::source

#endif
