#include "export/json_lines_writer.h"

void JsonLinesWriter::StartLine(JsonWriter &out, const char *kind)
{
   out.StartObject();
   out.Key("row");
   out.String(kind);
   out.Key("report");
   out.String(report.c_str());
}

void JsonLinesWriter::EndLine(JsonWriter &out)
{
   out.EndObject();
   buffer.Put('\n');
   PutJson(buffer, file);
}

void JsonLinesWriter::Begin(const TableHead &head)
{
   report = head.report;
   columns = head.columns;
   if (rowsOnly) {
      return;
   }
   JsonWriter out(buffer);
   StartLine(out, "header");
   out.Key("columns");
   WriteJsonColumns(out, head, counters);
   if (std::string text(buffer.GetString(), buffer.GetSize()); text != header) {
      header = std::move(text);
      EndLine(out);
   } else {
      buffer.Clear();
   }
}

void JsonLinesWriter::Row(RowKind kind, const CellValue *cells, const double *rates)
{
   JsonWriter out(buffer);
   StartLine(out, RowKindWord(kind));
   WriteJsonMoment(out, moment);
   WriteJsonCells(out, columns, kind, cells, rates);
   EndLine(out);
}

void JsonLinesWriter::Note(const char *text)
{
   if (rowsOnly) {
      return;
   }
   JsonWriter out(buffer);
   StartLine(out, "note");
   WriteJsonMoment(out, moment);
   out.Key("text");
   WriteJsonText(out, text);
   EndLine(out);
}
