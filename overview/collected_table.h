// A report's table, kept: its columns, and its rows as typed values.
#ifndef OVERVIEW_COLLECTED_TABLE_H
#define OVERVIEW_COLLECTED_TABLE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "nevra/nevra.h"
#include "report/table_output.h"

namespace overview {

// A value of a row, which owns its text. Flags are the names of the list, joined by ':'; none gives an empty
// text.
struct Cell {
   CellKind kind = CellKind::Blank;
   uint64_t integer = 0; // as CellValue::Integer, of a list of flags their mask
   std::string text;     // of Text and FlagList
};

struct Column {
   std::string name;
   std::string description;
   std::string unitWord; // "KB", "count"; empty for a text or a flag
   Unit unit = Unit::Text;
   Role role = Role::Label;
   bool isTotalled = false;
   bool isShown = true; // what hostmem shows unless asked otherwise
};

struct CollectedRow {
   RowKind kind = RowKind::Data;
   std::vector<Cell> cells; // as many as there are columns
};

struct CollectedTable {
   std::string report; // "group-stats"
   std::string title;
   std::vector<Column> columns;
   std::vector<CollectedRow> rows;
   std::vector<std::string> notes;
   bool isComplete = false;
   NevraStatus status = NEVRA_OK;     // of the step that ended the report
   std::vector<std::string> messages; // what was said on standard error meanwhile, without newlines

   // The position of a column; npos when there is none.
   static constexpr size_t npos = SIZE_MAX;
   size_t Find(std::string_view column) const;
};

// Runs a report of hostmem on the source that answers the process, with the options that come after its name.
// What the run says on standard error is held and becomes the table's messages.
CollectedTable CollectReport(const char *report, const std::vector<std::string> &options);

} // namespace overview

#endif
