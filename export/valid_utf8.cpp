#include "export/valid_utf8.h"

#include <rapidjson/encodings.h>
#include <rapidjson/memorystream.h>

namespace {

struct NoOutput {
   using Ch = char;
   void Put(char) {}
};

} // namespace

std::string ValidUtf8(std::string_view text)
{
   std::string valid;
   while (!text.empty()) {
      rapidjson::MemoryStream stream(text.data(), text.size());
      NoOutput nowhere;
      // At the end of a text that breaks off, the stream reads as zeros, which continue no character.
      const bool isCharacter = rapidjson::UTF8<>::Validate(stream, nowhere);
      const size_t length = isCharacter ? stream.Tell() : 1;
      valid += isCharacter ? text.substr(0, length) : "\xef\xbf\xbd";
      text.remove_prefix(length);
   }
   return valid;
}
