#include "export/json_value.h"

#include <cmath>

#include "export/valid_utf8.h"
#include "nevra/shown_text.h"
#include "snapshot-tool/capture_time.h"

namespace {

// As a string of ASCII characters, none of which can steer a terminal.
void WriteEscaped(JsonWriter &out, std::string_view text)
{
   JsonBuffer buffer;
   rapidjson::Writer<JsonBuffer, rapidjson::UTF8<>, rapidjson::ASCII<>, JsonMemory> ascii(buffer);
   ascii.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
   std::string escaped;
   for (const char character : std::string_view(buffer.GetString(), buffer.GetSize())) {
      if (character == '\x7f') { // which the library takes for any other
         escaped += "\\u007f";
      } else {
         escaped += character;
      }
   }
   out.RawValue(escaped.data(), escaped.size(), rapidjson::kStringType);
}

void WriteFlags(JsonWriter &out, const CellValue &value)
{
   out.StartArray();
   ForEachFlag(value.Mask(), value.Flags(), [&](const char *name) { out.String(name); });
   out.EndArray();
}

const char *RoleWord(Role role)
{
   switch (role) {
   case Role::Gauge:
      return "gauge";
   case Role::Counter:
      return "counter";
   case Role::Label:
      break;
   }
   return "label";
}

} // namespace

void WriteJsonText(JsonWriter &out, std::string_view text)
{
   const std::string valid = ValidUtf8(text);
   if (nevra::IsShownText(valid)) {
      out.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
   } else {
      WriteEscaped(out, valid);
   }
}

void WriteJsonValue(JsonWriter &out, const CellValue &value)
{
   switch (value.Kind()) {
   case CellKind::Text:
      WriteJsonText(out, value.Text());
      break;
   case CellKind::Flag:
      out.Bool(value.Integer() == 'y');
      break;
   case CellKind::FlagList:
      WriteFlags(out, value);
      break;
   case CellKind::Signed:
      out.Int64(static_cast<int64_t>(value.Integer()));
      break;
   case CellKind::Unsigned:
      out.Uint64(value.Integer());
      break;
   case CellKind::Blank:
   case CellKind::Missing:
      out.Null();
      break;
   }
}

void WriteJsonMoment(JsonWriter &out, const Moment &moment)
{
   out.Key("host");
   WriteJsonText(out, moment.host);
   out.Key("time");
   out.String(FormatCaptureTime(moment.seconds).c_str());
}

void WriteJsonColumns(JsonWriter &out, const TableHead &head, Counters counters)
{
   out.StartArray();
   for (const ReportColumn *column = head.columns; column->name != nullptr; column++) {
      if (column->shown) {
         out.StartObject();
         out.Key("name");
         out.String(column->name);
         if (const std::string unit = ShownUnit(*column, head, counters); !unit.empty()) {
            out.Key("unit");
            out.String(unit.c_str());
         }
         out.Key("role");
         out.String(RoleWord(column->role));
         out.Key("description");
         out.String(column->description);
         out.EndObject();
      }
   }
   out.EndArray();
}

void WriteJsonCells(JsonWriter &out, const ReportColumn *columns, RowKind kind, const CellValue *cells,
                    const double *rates)
{
   for (size_t i = 0; columns[i].name != nullptr; i++) {
      if (!columns[i].shown || IsLeftOut(kind, columns[i], cells[i])) {
         continue;
      }
      out.Key(columns[i].name);
      if (rates == nullptr || columns[i].role != Role::Counter) {
         WriteJsonValue(out, cells[i]);
      } else if (std::isfinite(rates[i])) {
         out.Double(rates[i]);
      } else {
         out.Null();
      }
   }
}

void PutJson(JsonBuffer &buffer, FILE *file)
{
   std::fwrite(buffer.GetString(), 1, buffer.GetSize(), file);
   buffer.Clear();
}
