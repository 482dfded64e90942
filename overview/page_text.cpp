#include "overview/page_text.h"

#include <algorithm>

#include "export/valid_utf8.h"
#include "nevra/shown_text.h"

namespace overview {

namespace {

// The largest integer up to which a number of JavaScript has every one.
constexpr uint64_t kLargestExact = (uint64_t{1} << 53) - 1;

// What stands for the bytes at the beginning of a text; null for those that stay as they are. `*length` is
// how many there are.
const char *EscapeAt(std::string_view text, size_t *length)
{
   *length = 1;
   switch (text.front()) {
   case '<':
      return "\\u003c";
   case '>':
      return "\\u003e";
   case '&':
      return "\\u0026";
   default:
      break;
   }
   *length = 3;
   return text.starts_with("\xe2\x80\xa8")   ? "\\u2028"
          : text.starts_with("\xe2\x80\xa9") ? "\\u2029"
                                             : nullptr;
}

} // namespace

void WriteText(JsonWriter &out, std::string_view text)
{
   // The cut may go through a character.
   const std::string shown = nevra::ShownText(ValidUtf8(text.substr(0, kLongestText)));
   out.String(shown.data(), static_cast<rapidjson::SizeType>(shown.size()));
}

void WriteTextMember(JsonWriter &out, const char *name, std::string_view text)
{
   out.Key(name);
   WriteText(out, text);
}

void WriteLines(JsonWriter &out, const char *name, std::span<const std::string> lines, size_t most)
{
   out.Key(name);
   out.StartArray();
   for (const std::string &line : lines.first(std::min(lines.size(), most))) {
      WriteText(out, line);
   }
   out.EndArray();
}

void WriteUnsigned(JsonWriter &out, uint64_t value)
{
   if (value <= kLargestExact) {
      out.Uint64(value);
   } else {
      WriteText(out, std::to_string(value));
   }
}

void WriteSigned(JsonWriter &out, int64_t value)
{
   if (value >= 0) {
      WriteUnsigned(out, static_cast<uint64_t>(value));
   } else if (value >= -static_cast<int64_t>(kLargestExact)) {
      out.Int64(value);
   } else {
      WriteText(out, std::to_string(value));
   }
}

std::string EscapeForScript(std::string_view json)
{
   std::string escaped;
   escaped.reserve(json.size() + json.size() / 16);
   while (!json.empty()) {
      size_t length;
      const char *escape = EscapeAt(json, &length);
      if (escape == nullptr) {
         length = 1;
         escaped += json.front();
      } else {
         escaped += escape;
      }
      json.remove_prefix(length);
   }
   return escaped;
}

} // namespace overview
