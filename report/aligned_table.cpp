// The output for people: a banner, then the rows on a grid between rules.
#include <cstdio>

#include "report/banner.h"
#include "report/grid.h"
#include "report/table_output.h"

namespace {

// The state of the current table.
struct AlignedTable {
   const ReportColumn *columns;
   bool isOpen; // the rule under the last row is still to come
};

AlignedTable aligned;

void CloseTable()
{
   if (aligned.isOpen) {
      PrintSeparatorLine(aligned.columns, false);
      aligned.isOpen = false;
   }
}

void Begin(void *, const TableHead &head)
{
   aligned = {head.columns, true};
   PrintBanner(head);
   PrintTableHead(head.columns, false);
}

void Row(void *, RowKind kind, const CellValue *cells)
{
   PrintReportRow(aligned.columns, false, kind == RowKind::Total, cells);
}

void Section(void *, const char *title)
{
   PrintSeparatorLine(aligned.columns, false);
   if (title != nullptr) {
      std::puts(title);
   }
}

void Note(void *, const char *text)
{
   CloseTable();
   std::puts(text);
}

void End(void *)
{
   CloseTable();
}

} // namespace

const TableOutput kAlignedTable = {Begin, Row, Section, Note, End, nullptr};
