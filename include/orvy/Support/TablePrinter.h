// TablePrinter.h - a text table built in memory: header, ruler, rows.
//
//     TablePrinter Table(2, " | ", " : ");
//     Table.setBodyAlignment(0, TablePrinter::Right);
//     Table << "Name" << "Value";        // the first row is the header
//     Table << "speed" << 50;
//     std::string Text;
//     Table >> Text;

#ifndef ORVY_SUPPORT_TABLEPRINTER_H
#define ORVY_SUPPORT_TABLEPRINTER_H

#include "orvy/Support/Export.h"

#include <concepts>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::utils {

/// Collects cells row by row and renders them in columns as wide as their longest cell.
class TablePrinter {
public:
  enum Alignment : int32_t { Left = 1, Right = 2 };
  enum Base : int32_t { Binary = 1, Octal = 2, Decimal = 3, Hexadecimal = 4 };

  /// A table of Columns columns, at least one, all left-aligned and with decimal numbers.
  ORVY_API TablePrinter(int32_t Columns, std::string HeaderSeparator, std::string RowSeparator);

  // The column of these must be one of the table.
  ORVY_API void setHeaderAlignment(int32_t Column, Alignment Align);
  ORVY_API void setBodyAlignment(int32_t Column, Alignment Align);
  ORVY_API void setColumnBase(int32_t Column, Base NumberBase);

  /// Base of the number in the next cell, instead of the column's.
  TablePrinter &setNextBase(Base NumberBase) { return NextBase = NumberBase, *this; }
  void setRuler(char Character) { Ruler = Character; }

  // Each of these adds a cell.
  ORVY_API TablePrinter &operator<<(const char *Text);
  ORVY_API TablePrinter &operator<<(const std::string &Text);
  ORVY_API TablePrinter &operator<<(unsigned long Value);
  ORVY_API TablePrinter &operator<<(long Value);
  ORVY_API TablePrinter &operator<<(bool Value);
  ORVY_API TablePrinter &operator<<(double Value);
  template <std::integral T> TablePrinter &operator<<(T Value) {
    if constexpr (std::signed_integral<T>)
      return *this << static_cast<long>(Value);
    else
      return *this << static_cast<unsigned long>(Value);
  }

  /// Renders the table into Text, whose former content goes. The table stays as it is.
  ORVY_API TablePrinter &operator>>(std::string &Text);

private:
  void addCell(std::string Text);
  void incrementColumn();
  int32_t numberBase() const;
  void renderHeader(std::string &Text) const;
  void renderRuler(std::string &Text) const;
  void renderRow(const std::vector<std::string> &Row, std::string &Text) const;
  void renderCell(std::string_view Cell, int32_t Column, int32_t Align, std::string &Text) const;

  int32_t Columns;
  int32_t NextBase = 0;
  bool InBody = false;
  int32_t CurrentColumn = 0;
  int32_t CurrentRow = 0;
  std::vector<int32_t> Widths;
  std::vector<int32_t> ColumnBases;
  std::vector<int32_t> BodyAlignment;
  std::vector<int32_t> HeaderAlignment;
  std::vector<std::string> HeaderCells;
  char Ruler = '-';
  std::vector<std::vector<std::string>> Rows;
  std::string HeaderSeparator;
  std::string RowSeparator;
};

} // namespace orvy::utils

#endif
