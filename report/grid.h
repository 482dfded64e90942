// The grid: separator lines, the header line and data rows of a column table, aligned or as CSV.
//
// Cells are right-aligned. A value wider than its field takes the overflow from the next column's field (the
// carry), so that later columns come back onto the grid. Each line leaves in one write to standard output.
#ifndef REPORT_GRID_H
#define REPORT_GRID_H

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "report/column_table.h"
#include "report/output_line.h"

// One value of a row; the column's format says which of the two it is and how wide. A null text is empty.
class CellValue {
 public:
   CellValue() = default; // for a cell that stays blank
   CellValue(const char *value) : text(value) {}
   CellValue(char value) : integer(static_cast<unsigned char>(value)) {}
   CellValue(uint32_t value) : integer(value) {}
   CellValue(int32_t value) : integer(static_cast<uint32_t>(value)) {}
   CellValue(uint64_t value) : integer(value) {}
   CellValue(int64_t value) : integer(static_cast<uint64_t>(value)) {}

   const char *Text() const { return text; }
   uint64_t Integer() const { return integer; }

 private:
   const char *text = nullptr;
   uint64_t integer = 0;
};

// 'y' for true, 'n' for false: how a flag column shows its value.
inline char YesNo(bool value)
{
   return value ? 'y' : 'n';
}

// The carry rule. Appends `text` as printf's "%*s" with the field width (width - *carry), which
// left-justifies when negative, and sets *carry to (*carry + characters appended - width) modulo 256.
void AppendGridCell(OutputLine &line, std::string_view text, uint8_t width, uint8_t *carry);

// Dashes under every shown column. Prints nothing in CSV mode.
void PrintSeparatorLine(const ReportColumn *table, bool csvMode);

void PrintHeaderLine(const ReportColumn *table, bool csvMode);

// Separator, header line, separator.
void PrintTableHead(const ReportColumn *table, bool csvMode);

// `values` has one value per column of the table, hidden columns included. On a Total row the columns that
// are not totalled print blank.
void PrintReportRow(const ReportColumn *table, bool csvMode, bool isTotalRow,
                    std::span<const CellValue> values);

inline void PrintReportRow(const ReportColumn *table, bool csvMode, bool isTotalRow,
                           std::initializer_list<CellValue> values)
{
   PrintReportRow(table, csvMode, isTotalRow, std::span<const CellValue>(values.begin(), values.size()));
}

#endif
