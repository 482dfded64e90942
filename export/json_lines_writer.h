// The rows of reports as JSON lines.
#ifndef EXPORT_JSON_LINES_WRITER_H
#define EXPORT_JSON_LINES_WRITER_H

#include <string>

#include "export/json_value.h"
#include "export/row_writer.h"

// {"row": "header", "report", "columns": [...]} when the columns are others than those of the table before;
// {"row": "data", "report", "host", "time", COLUMN: VALUE, ...} for each row, and {"row": "note", "text"}.
// With `rowsOnly` neither headers nor notes.
class JsonLinesWriter : public RowWriter {
 public:
   explicit JsonLinesWriter(FILE *stream, bool onlyRows = false) : RowWriter(stream), rowsOnly(onlyRows) {}

   void Begin(const TableHead &head) override;
   void Row(RowKind kind, const CellValue *cells, const double *rates) override;
   void Note(const char *text) override;
   void End() override {}
   void Finish() override {}

 private:
   // Begins the object of a line.
   void StartLine(JsonWriter &out, const char *kind);
   void EndLine(JsonWriter &out);

   JsonBuffer buffer;
   bool rowsOnly;
   std::string report;
   const ReportColumn *columns = nullptr;
   std::string header; // the last that was written
};

#endif
