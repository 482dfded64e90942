#include "export/csv_writer.h"

#include <charconv>
#include <cmath>

#include "export/valid_utf8.h"
#include "snapshot-tool/capture_time.h"

namespace {

template <typename Number> void AppendNumber(std::string *line, Number number)
{
   char digits[32];
   line->append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

void AppendValue(std::string *line, const CellValue &value)
{
   switch (value.Kind()) {
   case CellKind::Text:
      AppendCsvText(line, value.Text());
      break;
   case CellKind::Flag:
      *line += value.Integer() == 'y' ? "true" : "false";
      break;
   case CellKind::FlagList:
      AppendCsvText(line, JoinFlags(value.Mask(), value.Flags()));
      break;
   case CellKind::Signed:
      AppendNumber(line, static_cast<int64_t>(value.Integer()));
      break;
   case CellKind::Unsigned:
      AppendNumber(line, value.Integer());
      break;
   case CellKind::Blank:
   case CellKind::Missing:
      break;
   }
}

} // namespace

void AppendCsvText(std::string *line, std::string_view text)
{
   const std::string valid = ValidUtf8(text);
   if (!valid.empty() && valid.find_first_of(",\"\r\n") == std::string::npos && valid.front() != ' ' &&
       valid.back() != ' ') {
      *line += valid;
      return;
   }
   *line += '"';
   for (const char character : valid) {
      *line += character;
      if (character == '"') {
         *line += character;
      }
   }
   *line += '"';
}

void CsvWriter::Begin(const TableHead &head)
{
   report = head.report;
   columns = head.columns;
   line = "time,host,report,row";
   for (const ReportColumn *column = columns; column->name != nullptr; column++) {
      if (column->shown) {
         const std::string unit = ShownUnit(*column, head, counters);
         line += ',';
         std::string name = column->name;
         if (!unit.empty()) {
            name.append(" (").append(unit).append(")");
         }
         AppendCsvText(&line, name);
      }
   }
   line += '\n';
   if (line != header) {
      header = line;
      std::fwrite(line.data(), 1, line.size(), file);
   }
}

void CsvWriter::Row(RowKind kind, const CellValue *cells, const double *rates)
{
   line = FormatCaptureTime(moment.seconds);
   for (const std::string_view label :
        {std::string_view(moment.host), std::string_view(report), std::string_view(RowKindWord(kind))}) {
      line += ',';
      AppendCsvText(&line, label);
   }
   for (size_t i = 0; columns[i].name != nullptr; i++) {
      if (!columns[i].shown) {
         continue;
      }
      line += ',';
      if (IsLeftOut(kind, columns[i], cells[i])) {
         continue;
      }
      if (rates == nullptr || columns[i].role != Role::Counter) {
         AppendValue(&line, cells[i]);
      } else if (std::isfinite(rates[i])) {
         AppendNumber(&line, rates[i]);
      }
   }
   line += '\n';
   std::fwrite(line.data(), 1, line.size(), file);
}
