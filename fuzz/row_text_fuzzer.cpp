// Any name in the rows for machines: what a reader of CSV and of JSON gets back is the name, made UTF-8.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <rapidjson/document.h>

#include "export/csv_writer.h"
#include "export/json_value.h"
#include "export/valid_utf8.h"
#include "fuzz/fuzz_check.h"
#include "nevra/shown_text.h"
#include "snapshot-tool/json_text.h"

namespace {

// The text of one field.
std::string ReadField(std::string_view field)
{
   if (!field.starts_with('"')) {
      Require(field.find_first_of(",\"\r\n") == std::string_view::npos, "not quoted: " + std::string(field));
      return std::string(field);
   }
   Require(field.size() >= 2 && field.ends_with('"'), "not closed: " + std::string(field));
   field = field.substr(1, field.size() - 2);
   std::string text;
   for (size_t i = 0; i < field.size(); i++) {
      if (field[i] == '"') {
         i++;
         Require(i < field.size() && field[i] == '"', "a lone quote: " + std::string(field));
      }
      text += field[i];
   }
   return text;
}

std::string ReadJson(const JsonBuffer &buffer)
{
   rapidjson::Document document;
   document.Parse(buffer.GetString(), buffer.GetSize());
   Require(!document.HasParseError() && document.IsString(), std::string("no JSON: ") + buffer.GetString());
   return {document.GetString(), document.GetStringLength()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   const std::string text(reinterpret_cast<const char *>(data), size);
   const std::string valid = ValidUtf8(text);
   Require(IsUtf8(valid), "not UTF-8");
   Require(ValidUtf8(valid) == valid, "another the second time");
   Require(!IsUtf8(text) || valid == text, "valid, and changed");

   std::string field;
   AppendCsvText(&field, text);
   Require(ReadField(field) == valid, "another from CSV");

   JsonBuffer buffer;
   JsonWriter out(buffer);
   WriteJsonText(out, text);
   Require(ReadJson(buffer) == valid, "another from JSON");
   Require(nevra::IsShownText({buffer.GetString(), buffer.GetSize()}), "JSON that steers a terminal");
   return 0;
}
