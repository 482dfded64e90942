// Column tables: what a report prints, one row per column.
//
// A table is an array of ReportColumn ended by a row whose name is null. Tables are static and belong to
// their report; the selection changes `width` and `shown` in place, once, before the first line is printed.
#ifndef REPORT_COLUMN_TABLE_H
#define REPORT_COLUMN_TABLE_H

#include <cstdint>
#include <string>

struct ReportColumn {
   const char *name;        // header text, and the word by which -s selects it
   const char *description; // printed by -v
   uint8_t width;           // characters; widened to the name's length by ApplyColumnSelection
   const char *format;      // printf suffix: "u", "d", "c" 32-bit, "lu", "ld" 64-bit, "s" text
   uint8_t totalled;        // has a value on the Total row
   uint8_t key;             // never removed by -s
   uint8_t shown;           // printed
};

// The row that ends a table.
inline constexpr ReportColumn kEndOfColumns = {nullptr, nullptr, 0, nullptr, 0, 0, 0};

// True when `name` is one of the ':'-separated words of `selection`, in any case. Only the first 511
// characters of the selection take part; a word that the cut goes through is compared as what is left of it.
bool IsColumnSelected(const char *selection, const char *name);

// Hides every shown column that is no key and not selected (null: none is hidden), and widens each column to
// its name. It never shows a hidden column. Warns about a selection of more than 512 characters.
void ApplyColumnSelection(ReportColumn *table, const char *selection);

// The shown names joined by ':'; "(all)" when every column is shown, "(none)" when none is.
std::string FormatSelectedColumns(const ReportColumn *table);

// Prints the description of every shown column.
void DescribeColumns(const ReportColumn *table);

#endif
