#include "export/row_writer.h"

#include "export/csv_writer.h"
#include "export/json_document_writer.h"
#include "export/json_lines_writer.h"

namespace {

RowWriter *WriterOf(void *state)
{
   return static_cast<RowWriter *>(state);
}

void Row(void *state, RowKind kind, const CellValue *cells)
{
   WriterOf(state)->Row(kind, cells, nullptr);
}

} // namespace

TableOutput RowWriter::AsOutput()
{
   return {.begin = [](void *state, const TableHead &head) { WriterOf(state)->Begin(head); },
           .row = ::Row,
           .section = [](void *, const char *) {}, // the kind of a row says what it is
           .note = [](void *state, const char *text) { WriterOf(state)->Note(text); },
           .end = [](void *state) { WriterOf(state)->End(); },
           .state = this};
}

std::unique_ptr<RowWriter> MakeRowWriter(RowFormat format, FILE *stream)
{
   switch (format) {
   case RowFormat::Json:
      return std::make_unique<JsonDocumentWriter>(stream);
   case RowFormat::JsonLines:
      return std::make_unique<JsonLinesWriter>(stream);
   case RowFormat::JsonRows:
      return std::make_unique<JsonLinesWriter>(stream, true);
   case RowFormat::Csv:
      break;
   }
   return std::make_unique<CsvWriter>(stream);
}

const char *RowKindWord(RowKind kind)
{
   switch (kind) {
   case RowKind::Tag:
      return "tag";
   case RowKind::Total:
      return "total";
   case RowKind::Data:
      break;
   }
   return "data";
}

std::string ShownUnit(const ReportColumn &column, const TableHead &head, Counters counters)
{
   std::string unit;
   switch (column.unit) {
   case Unit::Text:
   case Unit::YesNo:
   case Unit::FlagList:
   case Unit::Id:
   case Unit::Number:
   case Unit::BitMask:
      return unit;
   case Unit::Memory:
      unit = head.unit == UNIT_PAGE ? "4 KB" : head.unit == UNIT_BYTES ? "bytes" : DisplayUnitName(head.unit);
      break;
   default:
      unit = UnitWord(column.unit);
      break;
   }
   return counters == Counters::PerSecond && column.role == Role::Counter ? unit + "/s" : unit;
}
