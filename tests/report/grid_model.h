// The grid as printf makes it: what the grid is compared with, cell by cell.
#ifndef TESTS_REPORT_GRID_MODEL_H
#define TESTS_REPORT_GRID_MODEL_H

#include <cstdint>
#include <span>
#include <string>

#include "report/column_table.h"
#include "report/grid.h"

// One cell of text, as printf's "%*s" lays it out.
std::string ModelCell(const std::string &text, uint8_t width, uint8_t *carry);

// What a row has in one column: a text or a number, as the column's format says.
struct ModelValue {
   uint64_t integer = 0;
   std::string text;
};

// The value as a report hands it over.
CellValue AsCell(const char *format, const ModelValue &value);

// The lines with their newlines. Tables end as the grid's do; `values` has one per column.
std::string ModelRow(const ReportColumn *table, bool csvMode, bool isTotalRow,
                     std::span<const ModelValue> values);
std::string ModelHeader(const ReportColumn *table, bool csvMode);
std::string ModelSeparator(const ReportColumn *table); // CSV has none

#endif
