// The output for scripts: a header line and the rows, without banner and rules. Texts are not quoted.
#include <cstdio>

#include "report/grid.h"
#include "report/table_output.h"

namespace {

const ReportColumn *columns; // of the current table

void Begin(void *, const TableHead &head)
{
   columns = head.columns;
   PrintHeaderLine(columns, true);
}

void Row(void *, RowKind kind, const CellValue *cells)
{
   PrintReportRow(columns, true, kind == RowKind::Total, cells);
}

void Section(void *, const char *title)
{
   if (title != nullptr) {
      std::puts(title);
   }
}

void Note(void *, const char *text)
{
   std::puts(text);
}

void End(void *) {}

} // namespace

const TableOutput kCsvTable = {Begin, Row, Section, Note, End, nullptr};
