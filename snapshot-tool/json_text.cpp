#include "snapshot-tool/json_text.h"

#include <rapidjson/encodings.h>
#include <rapidjson/memorystream.h>

namespace {

struct NoOutput {
   using Ch = char;
   void Put(char) {}
};

int ValueOfDigit(char digit)
{
   if (digit >= '0' && digit <= '9') {
      return digit - '0';
   }
   if (digit >= 'a' && digit <= 'f') {
      return digit - 'a' + 10;
   }
   return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

} // namespace

bool IsUtf8(std::string_view text)
{
   // The reader's own check, so that what is written as a string is read back.
   rapidjson::MemoryStream stream(text.data(), text.size());
   NoOutput nowhere;
   while (stream.Tell() < text.size()) {
      if (!rapidjson::UTF8<>::Validate(stream, nowhere)) {
         return false;
      }
   }
   return true;
}

std::string HexOfBytes(std::string_view bytes)
{
   static constexpr char kDigits[] = "0123456789abcdef";
   std::string hex;
   hex.reserve(2 * bytes.size());
   for (const char byte : bytes) {
      hex += kDigits[static_cast<uint8_t>(byte) >> 4];
      hex += kDigits[static_cast<uint8_t>(byte) & 15];
   }
   return hex;
}

bool BytesOfHex(std::string_view hex, std::string *bytes)
{
   bytes->clear();
   for (size_t i = 0; i + 1 < hex.size(); i += 2) {
      const int high = ValueOfDigit(hex[i]);
      const int low = ValueOfDigit(hex[i + 1]);
      if (high < 0 || low < 0) {
         return false;
      }
      *bytes += static_cast<char>(high << 4 | low);
   }
   return hex.size() % 2 == 0;
}
