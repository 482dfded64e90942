#include "snapshot-tool/json_reader.h"

#include <rapidjson/error/en.h>

JsonInput::JsonInput(FILE *stream) : file(stream), buffer(std::make_unique<char[]>(kBufferSize))
{
   Fill();
}

void JsonInput::Fill()
{
   before += end;
   next = 0;
   end = std::fread(buffer.get(), 1, kBufferSize, file);
}

bool JsonReader::Scalar::Int64(int64_t value)
{
   number = {value < 0, static_cast<uint64_t>(value)};
   return true;
}

bool JsonReader::Scalar::Uint64(uint64_t value)
{
   number = {false, value};
   return true;
}

bool JsonReader::Scalar::String(const char *characters, rapidjson::SizeType length, bool)
{
   text.assign(characters, length);
   return true;
}

// The character after it, '\0' at the end.
char JsonReader::SkipSpace()
{
   char next = input.Peek();
   while (next == ' ' || next == '\n' || next == '\r' || next == '\t') {
      input.Take();
      next = input.Peek();
   }
   return next;
}

bool JsonReader::TakeIf(char character)
{
   if (SkipSpace() != character) {
      return false;
   }
   input.Take();
   return true;
}

void JsonReader::Expect(char character, const char *expected)
{
   if (!TakeIf(character)) {
      FailExpecting(expected);
   }
}

namespace {

// What begins with the character.
std::string NameOfValue(char first)
{
   switch (first) {
   case '{':
      return "an object";
   case '[':
      return "an array";
   case '"':
      return "a string";
   case 't':
   case 'f':
      return "a boolean";
   case 'n':
      return "null";
   default:
      return first == '-' || (first >= '0' && first <= '9') ? "a number" : std::string("'") + first + "'";
   }
}

} // namespace

void JsonReader::FailExpecting(const char *expected)
{
   const char next = SkipSpace();
   const std::string found = next != '\0' ? NameOfValue(next) : input.IsAtEnd() ? "the end" : "NUL";
   throw JsonError{std::string("expected ") + expected + ", found " + found};
}

void JsonReader::ReadScalar()
{
   constexpr unsigned kFlags = rapidjson::kParseValidateEncodingFlag | rapidjson::kParseStopWhenDoneFlag;
   const rapidjson::ParseResult result = library.Parse<kFlags>(input, scalar);
   if (result.Code() == rapidjson::kParseErrorTermination) {
      throw JsonError{"not an integer of 64 bits"};
   }
   if (result.IsError()) {
      throw JsonError{rapidjson::GetParseError_En(result.Code())};
   }
}

std::string_view JsonReader::String(const char *expected)
{
   if (!NextIs('"')) {
      FailExpecting(expected);
   }
   ReadScalar();
   return scalar.text;
}

JsonNumber JsonReader::Number()
{
   const char next = SkipSpace();
   if (next != '-' && (next < '0' || next > '9')) {
      FailExpecting("a number");
   }
   ReadScalar();
   return scalar.number;
}

void JsonReader::End()
{
   if (SkipSpace() != '\0' || !input.IsAtEnd()) {
      FailExpecting("the end");
   }
}
