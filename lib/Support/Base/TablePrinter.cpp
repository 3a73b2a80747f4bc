#include "orvy/Support/TablePrinter.h"

#include "Base/InternalError.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdio>
#include <utility>

using orvy::utils::TablePrinter;

static std::string digits(unsigned long Value, int Radix) {
  char Text[64];
  return {Text, std::to_chars(Text, std::end(Text), Value, Radix).ptr};
}

// The low Count bits; those above bit 63 are clear.
static std::string bits(unsigned long Value, int Count) {
  std::string Text = "0b";
  for (int Bit = Count - 1; Bit >= 0; --Bit)
    Text += Bit < 64 && (Value >> Bit & 1) ? '1' : '0';
  return Text;
}

static std::string unsignedText(unsigned long Value, int32_t Base) {
  switch (Base) {
  case TablePrinter::Binary:
    return bits(Value, std::bit_width(Value) + 2);
  case TablePrinter::Octal:
    return "0o" + digits(Value, 8);
  case TablePrinter::Decimal:
    return digits(Value, 10);
  case TablePrinter::Hexadecimal:
    return "0x" + digits(Value, 16);
  }
  ORVY_INTERNAL_ERROR("unknown base of a table");
}

static std::string signedText(long Value, int32_t Base) {
  const auto Bits = static_cast<unsigned long>(Value);
  if (Base == TablePrinter::Decimal)
    return std::to_string(Value);
  if (Base != TablePrinter::Binary)
    return unsignedText(Bits, Base);
  // The sign bit and what differs from it; zero is its own sign bit.
  return bits(Bits, std::bit_width(Value < 0 ? ~Bits : Bits) + 1);
}

TablePrinter::TablePrinter(int32_t Columns, std::string HeaderSeparator, std::string RowSeparator)
    : Columns(Columns), HeaderSeparator(std::move(HeaderSeparator)),
      RowSeparator(std::move(RowSeparator)) {
  ORVY_REQUIRE(Columns > 0);
  Widths.assign(Columns, 0);
  ColumnBases.assign(Columns, Decimal);
  BodyAlignment.assign(Columns, Left);
  HeaderAlignment.assign(Columns, Left);
  HeaderCells.resize(Columns);
}

void TablePrinter::setHeaderAlignment(int32_t Column, Alignment Align) {
  ORVY_REQUIRE(Column >= 0 && Column < Columns);
  HeaderAlignment[Column] = Align;
}

void TablePrinter::setBodyAlignment(int32_t Column, Alignment Align) {
  ORVY_REQUIRE(Column >= 0 && Column < Columns);
  BodyAlignment[Column] = Align;
}

void TablePrinter::setColumnBase(int32_t Column, Base NumberBase) {
  ORVY_REQUIRE(Column >= 0 && Column < Columns);
  ColumnBases[Column] = NumberBase;
}

TablePrinter &TablePrinter::operator<<(const char *Text) {
  addCell(Text ? Text : "(null)");
  return *this;
}

TablePrinter &TablePrinter::operator<<(const std::string &Text) {
  addCell(Text);
  return *this;
}

TablePrinter &TablePrinter::operator<<(unsigned long Value) {
  addCell(unsignedText(Value, numberBase()));
  return *this;
}

TablePrinter &TablePrinter::operator<<(long Value) {
  addCell(signedText(Value, numberBase()));
  return *this;
}

TablePrinter &TablePrinter::operator<<(bool Value) {
  addCell(Value ? "true" : "false");
  return *this;
}

TablePrinter &TablePrinter::operator<<(double Value) {
  char Text[32];
  std::snprintf(Text, sizeof Text, "%g", Value);
  addCell(Text);
  return *this;
}

int32_t TablePrinter::numberBase() const {
  return NextBase ? NextBase : ColumnBases[CurrentColumn];
}

void TablePrinter::addCell(std::string Text) {
  Widths[CurrentColumn] = std::max(Widths[CurrentColumn], static_cast<int32_t>(Text.size()));
  if (InBody && CurrentColumn == 0)
    Rows.emplace_back(Columns);
  (InBody ? Rows.back() : HeaderCells)[CurrentColumn] = std::move(Text);
  incrementColumn();
  NextBase = 0;
}

void TablePrinter::incrementColumn() {
  if (++CurrentColumn < Columns)
    return;
  CurrentColumn = 0;
  if (InBody)
    ++CurrentRow;
  InBody = true;
}

TablePrinter &TablePrinter::operator>>(std::string &Text) {
  Text.clear();
  renderHeader(Text);
  renderRuler(Text);
  for (const auto &Row : Rows)
    renderRow(Row, Text);
  return *this;
}

void TablePrinter::renderHeader(std::string &Text) const {
  for (int32_t Column = 0; Column < Columns; ++Column) {
    Text += Column ? HeaderSeparator : "";
    renderCell(HeaderCells[Column], Column, HeaderAlignment[Column] == Right ? Right : Left, Text);
  }
  Text += '\n';
}

void TablePrinter::renderRuler(std::string &Text) const {
  for (int32_t Column = 0; Column < Columns; ++Column) {
    const bool Ragged = Column == Columns - 1 && HeaderAlignment[Column] < Right;
    Text += Column ? HeaderSeparator : "";
    Text.append(Ragged ? HeaderCells[Column].size() : Widths[Column], Ruler);
  }
  Text += '\n';
}

void TablePrinter::renderRow(const std::vector<std::string> &Row, std::string &Text) const {
  for (int32_t Column = 0; Column < Columns; ++Column) {
    Text += Column ? RowSeparator : "";
    renderCell(Row[Column], Column, BodyAlignment[Column], Text);
  }
  Text += '\n';
}

// A left-aligned cell at the end of its line carries no trailing blanks.
void TablePrinter::renderCell(std::string_view Cell, int32_t Column, int32_t Align,
                              std::string &Text) const {
  const size_t Padding = Widths[Column] - Cell.size();
  if (Align != Left)
    Text.append(Padding, ' ');
  Text += Cell;
  if (Align == Left && Column != Columns - 1)
    Text.append(Padding, ' ');
}
