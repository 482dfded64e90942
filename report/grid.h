// The grid: separator lines, the header line and data rows of a column table, aligned or as CSV.
//
// Cells are right-aligned. A value wider than its field takes the overflow from the next column's field (the
// carry), so that later columns come back onto the grid. Each line leaves in one write to standard output.
#ifndef REPORT_GRID_H
#define REPORT_GRID_H

#include <cstdint>
#include <string_view>

#include "report/column_table.h"
#include "report/output_line.h"
#include "report/table_output.h"

// The carry rule. Appends `text` as printf's "%*s" with the field width (width - *carry), which
// left-justifies when negative, and sets *carry to (*carry + characters appended - width) modulo 256.
void AppendGridCell(OutputLine &line, std::string_view text, uint8_t width, uint8_t *carry);

// Appends a value as it stands, whatever its column: a text, a number, a flag, the names of a flag list.
void AppendValue(OutputLine &line, const CellValue &value);

// Dashes under every shown column. Prints nothing in CSV mode.
void PrintSeparatorLine(const ReportColumn *table, bool csvMode);

void PrintHeaderLine(const ReportColumn *table, bool csvMode);

// Separator, header line, separator.
void PrintTableHead(const ReportColumn *table, bool csvMode);

// `values` has one value per column of the table, hidden columns included; the column's format says how a
// number is printed. On a Total row the columns that are not totalled print blank.
void PrintReportRow(const ReportColumn *table, bool csvMode, bool isTotalRow, const CellValue *values);

#endif
