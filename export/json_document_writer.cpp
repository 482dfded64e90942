#include "export/json_document_writer.h"

namespace {

void WriteSettings(JsonWriter &out, const TableHead &head)
{
   out.StartObject();
   for (const BannerSetting &setting : head.settings) {
      out.Key(setting.name);
      WriteJsonValue(out, setting.value);
   }
   out.EndObject();
}

} // namespace

JsonDocumentWriter::JsonDocumentWriter(FILE *stream) : RowWriter(stream)
{
   std::fputs("[", file);
}

void JsonDocumentWriter::Begin(const TableHead &head)
{
   CloseTable(false);
   std::fputs(hasTables ? ",\n" : "\n", file);
   hasTables = true;
   hasRows = false;
   columns = head.columns;

   JsonWriter out(buffer);
   out.StartObject();
   out.Key("report");
   out.String(head.report);
   out.Key("title");
   out.String(head.title);
   WriteJsonMoment(out, moment);
   out.Key("settings");
   WriteSettings(out, head);
   out.Key("columns");
   WriteJsonColumns(out, head, counters);
   PutJson(buffer, file);
   std::fputs(",\"rows\":[", file); // the object goes on with what comes
}

void JsonDocumentWriter::Row(RowKind kind, const CellValue *cells, const double *rates)
{
   std::fputs(hasRows ? ",\n" : "\n", file);
   hasRows = true;
   JsonWriter out(buffer);
   out.StartObject();
   out.Key("row");
   out.String(RowKindWord(kind));
   WriteJsonCells(out, columns, kind, cells, rates);
   out.EndObject();
   PutJson(buffer, file);
}

void JsonDocumentWriter::End()
{
   CloseTable(true);
}

void JsonDocumentWriter::CloseTable(bool complete)
{
   if (columns == nullptr) {
      return;
   }
   std::fputs("],\"notes\":", file);
   JsonWriter out(buffer);
   out.StartArray();
   for (const std::string &note : notes) {
      WriteJsonText(out, note);
   }
   out.EndArray();
   PutJson(buffer, file);
   std::fprintf(file, ",\"complete\":%s}", complete ? "true" : "false");
   columns = nullptr;
   notes.clear();
}

void JsonDocumentWriter::Finish()
{
   CloseTable(false);
   std::fputs("\n]\n", file);
}
