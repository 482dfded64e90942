#include "overview/collected_table.h"

#include <algorithm>
#include <utility>

#include "export/row_writer.h"
#include "export/run_report.h"
#include "report/flag_filter.h"
#include "snapshot-tool/held_messages.h"

namespace overview {

namespace {

Cell KeepCell(const CellValue &value)
{
   switch (value.Kind()) {
   case CellKind::Text:
      return {.kind = CellKind::Text, .text = std::string(value.Text())};
   case CellKind::FlagList:
      return {
         .kind = CellKind::FlagList, .integer = value.Mask(), .text = JoinFlags(value.Mask(), value.Flags())};
   case CellKind::Blank:
      return {};
   default:
      return {.kind = value.Kind(), .integer = value.Integer(), .text = {}};
   }
}

CollectedTable *TableOf(void *state)
{
   return static_cast<CollectedTable *>(state);
}

void KeepHead(void *state, const TableHead &head)
{
   CollectedTable *table = TableOf(state);
   table->title = head.title;
   for (const ReportColumn *column = head.columns; column->name != nullptr; column++) {
      table->columns.push_back({.name = column->name,
                                .description = column->description,
                                .unitWord = ShownUnit(*column, head, Counters::Total),
                                .unit = column->unit,
                                .role = column->role,
                                .isTotalled = column->totalled != 0,
                                .isShown = column->shown != 0});
   }
}

void KeepRow(void *state, RowKind kind, const CellValue *cells)
{
   CollectedTable *table = TableOf(state);
   CollectedRow row = {kind, {}};
   row.cells.reserve(table->columns.size());
   for (size_t i = 0; i < table->columns.size(); i++) {
      row.cells.push_back(KeepCell(cells[i]));
   }
   table->rows.push_back(std::move(row));
}

} // namespace

size_t CollectedTable::Find(std::string_view column) const
{
   const auto found = std::ranges::find(columns, column, &Column::name);
   return found != columns.end() ? static_cast<size_t>(found - columns.begin()) : npos;
}

CollectedTable CollectReport(const char *report, const std::vector<std::string> &options)
{
   CollectedTable table;
   table.report = report;
   const TableOutput output = {
      .begin = KeepHead,
      .row = KeepRow,
      .section = [](void *, const char *) {},
      .note = [](void *state, const char *text) { TableOf(state)->notes.emplace_back(text); },
      .end = [](void *state) { TableOf(state)->isComplete = true; },
      .state = &table};
   HeldMessages held("hostmem-overview");
   table.status = RunReport(*FindReport(report), options, output);
   table.messages = held.Take();
   return table;
}

} // namespace overview
