// The rows of reports as one JSON array, an object per table.
#ifndef EXPORT_JSON_DOCUMENT_WRITER_H
#define EXPORT_JSON_DOCUMENT_WRITER_H

#include <string>
#include <vector>

#include "export/json_value.h"
#include "export/row_writer.h"

// Each table is {"report", "title", "host", "time", "settings": {...}, "columns": [...], "rows": [...],
// "notes": [...], "complete"}; a row is {"row": "data", COLUMN: VALUE, ...}, on a line of its own.
class JsonDocumentWriter : public RowWriter {
 public:
   explicit JsonDocumentWriter(FILE *stream);

   void Begin(const TableHead &head) override;
   void Row(RowKind kind, const CellValue *cells, const double *rates) override;
   void Note(const char *text) override { notes.emplace_back(text); }
   void End() override;
   void Finish() override;

 private:
   // `complete`: the report came to its end.
   void CloseTable(bool complete);

   JsonBuffer buffer;
   const ReportColumn *columns = nullptr; // of the table that is open
   std::vector<std::string> notes;
   bool hasTables = false;
   bool hasRows = false;
};

#endif
