// The rows of reports as CSV, quoted as in RFC 4180. It is read by programs, which get names as they are,
// control characters and all, but for bytes that are no UTF-8; people have the aligned table, and JSON
// escapes.
#ifndef EXPORT_CSV_WRITER_H
#define EXPORT_CSV_WRITER_H

#include <string>
#include <string_view>

#include "export/row_writer.h"

// A header line when the columns are others than those of the table before, units in parentheses: time, host,
// report, row, name, "memSize (KB)", ... Then a line for each row. Notes are for people and are left out.
class CsvWriter : public RowWriter {
 public:
   using RowWriter::RowWriter;

   void Begin(const TableHead &head) override;
   void Row(RowKind kind, const CellValue *cells, const double *rates) override;
   void Note(const char *) override {}
   void End() override {}
   void Finish() override {}

 private:
   std::string report;
   const ReportColumn *columns = nullptr;
   std::string header; // the last that was written
   std::string line;   // kept from row to row for its storage
};

// The text as a field: in quotes when it has to be, or is empty, so that it differs from no value.
void AppendCsvText(std::string *line, std::string_view text);

#endif
