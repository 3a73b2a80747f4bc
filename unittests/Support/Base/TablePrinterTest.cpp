#include "orvy/Support/TablePrinter.h"

#include <gmock/gmock.h>

using orvy::utils::TablePrinter;

namespace {

std::string render(TablePrinter &Table) {
  std::string Text = "replaced";
  Table >> Text;
  return Text;
}

// The text of the one number put in a table of one column.
template <typename T> std::string cell(TablePrinter::Base Base, T Value) {
  TablePrinter Table(1, "", "");
  Table << "";
  Table.setNextBase(Base) << Value;
  std::string Text = render(Table);
  return Text.substr(2, Text.size() - 3); // behind the header's and the ruler's line ends
}

TEST(TablePrinter, AlignsColumnsAndLeavesTheLastOneRagged) {
  TablePrinter Table(3, " | ", " : ");
  Table.setBodyAlignment(0, TablePrinter::Right);
  Table << "Name"
        << "Type"
        << "Doc";
  Table << "control"
        << "u32"
        << "what it does";
  Table << "x"
        << "a-long-type"
        << "";
  EXPECT_EQ(render(Table), "Name    | Type        | Doc\n"
                           "------- | ----------- | ---\n"
                           "control : u32         : what it does\n"
                           "      x : a-long-type : \n");
}

TEST(TablePrinter, AlignsOnTheRightInEveryColumn) {
  TablePrinter Table(2, " ", " ");
  for (int Column = 0; Column < 2; ++Column) {
    Table.setHeaderAlignment(Column, TablePrinter::Right);
    Table.setBodyAlignment(Column, TablePrinter::Right);
  }
  Table.setRuler('=');
  Table << "a"
        << "b"
        << "123"
        << "4567";
  EXPECT_EQ(render(Table), "  a    b\n=== ====\n123 4567\n");
}

TEST(TablePrinter, ShowsWhatIsFilledInSoFar) {
  TablePrinter Table(2, "|", "|");
  Table << "h";
  EXPECT_EQ(render(Table), "h|\n-|\n");
  Table << "head";
  EXPECT_EQ(render(Table), "h|head\n-|----\n") << "no body rows";
  Table << "b";
  EXPECT_EQ(render(Table), "h|head\n-|----\nb|\n") << "an unfinished row";
  EXPECT_EQ(render(Table), render(Table));
}

TEST(TablePrinter, WritesUnsignedNumbersInABase) {
  EXPECT_EQ(cell(TablePrinter::Hexadecimal, 0xABCDul), "0xabcd");
  EXPECT_EQ(cell(TablePrinter::Decimal, ~0ul), "18446744073709551615");
  EXPECT_EQ(cell(TablePrinter::Octal, 8ul), "0o10");
  EXPECT_EQ(cell(TablePrinter::Binary, 0ul), "0b00");
  EXPECT_EQ(cell(TablePrinter::Binary, 5ul), "0b00101");
  EXPECT_EQ(cell(TablePrinter::Binary, ~0ul), "0b00" + std::string(64, '1'));
}

TEST(TablePrinter, WritesSignedNumbersInABase) {
  EXPECT_EQ(cell(TablePrinter::Hexadecimal, -1l), "0xffffffffffffffff");
  EXPECT_EQ(cell(TablePrinter::Decimal, -12l), "-12");
  EXPECT_EQ(cell(TablePrinter::Octal, 9l), "0o11");
  EXPECT_EQ(cell(TablePrinter::Binary, 5l), "0b0101");
  EXPECT_EQ(cell(TablePrinter::Binary, -2l), "0b10");
  EXPECT_EQ(cell(TablePrinter::Binary, 0l), "0b0");
  EXPECT_EQ(cell(TablePrinter::Binary, -1l), "0b1");
  EXPECT_EQ(cell(TablePrinter::Binary, INT64_MIN), "0b1" + std::string(63, '0'));
}

TEST(TablePrinter, TakesTheNextBaseForOneCellAndThenTheColumns) {
  TablePrinter Table(2, " ", " ");
  Table.setColumnBase(1, TablePrinter::Hexadecimal);
  Table << "a"
        << "b";
  Table.setNextBase(TablePrinter::Octal) << 8 << 255u;
  Table.setNextBase(TablePrinter::Octal) << "text" << 255u;
  Table << true << 0.1 << false << 1e10;
  EXPECT_EQ(render(Table), "a     b\n"
                           "----- -\n"
                           "0o10  0xff\n"
                           "text  0xff\n"
                           "true  0.1\n"
                           "false 1e+10\n");
}

TEST(TablePrinterDeathTest, ABaseOrColumnThatDoesNotExistIsAFaultOfTheProgram) {
  TablePrinter Table(1, "", "");
  EXPECT_DEATH(Table.setNextBase(static_cast<TablePrinter::Base>(5)) << 1ul, "internal error");
  EXPECT_DEATH(Table.setColumnBase(1, TablePrinter::Octal), "internal error");
  EXPECT_DEATH(TablePrinter(0, "", ""), "internal error");
}

} // namespace
