// A pull reader for JSON: the caller says what is to come next, and takes it.
//
// Strings and numbers are read by the JSON library, which can only push a whole document; objects and arrays
// are walked here, so that a function per production of the readable form can read it. Nesting is thereby as
// deep as the caller's functions, whatever the text has. Memory is one string and one buffer.
#ifndef SNAPSHOT_TOOL_JSON_READER_H
#define SNAPSHOT_TOOL_JSON_READER_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include <rapidjson/reader.h>

#include "snapshot-tool/json_memory.h"

// Why a text is refused.
struct JsonError {
   std::string problem;
   std::string place = {}; // in the tree; added by the functions that it passes on its way out
};

// A whole number, as the JSON has it.
struct JsonNumber {
   bool isNegative;
   uint64_t bits; // two's complement when negative
};

// The characters of a file, for the JSON library.
class JsonInput {
 public:
   using Ch = char;

   explicit JsonInput(FILE *stream);

   Ch Peek() const { return next < end ? buffer[next] : '\0'; }
   Ch Take()
   {
      if (next == end) {
         return '\0';
      }
      const char taken = buffer[next++];
      line += taken == '\n';
      if (next == end) {
         Fill();
      }
      return taken;
   }
   size_t Tell() const { return before + next; }
   uint64_t Line() const { return line; }
   bool IsAtEnd() const { return next == end; }

   // The library's interface for parsing in place, which a file has no use for.
   static Ch *PutBegin() { return nullptr; }
   static void Put(Ch) {}
   static void Flush() {}
   static size_t PutEnd(Ch *) { return 0; }

 private:
   static constexpr size_t kBufferSize = 1 << 16;

   void Fill();

   FILE *file;
   std::unique_ptr<char[]> buffer;
   size_t next = 0;
   size_t end = 0;
   size_t before = 0; // bytes ahead of the buffer
   uint64_t line = 1;
};

// Every operation throws JsonError for what is not the JSON that it reads.
class JsonReader {
 public:
   explicit JsonReader(FILE *stream) : input(stream) {}

   // Whether the next value begins with the character: '{', '[' or '"'.
   bool NextIs(char first) { return SkipSpace() == first; }

   // Reads an object; readMember(name) reads the value of each member. The name is gone once it has begun to.
   template <typename ReadMember> void Object(ReadMember readMember)
   {
      Open('{', "an object");
      if (TakeIf('}')) {
         return;
      }
      do {
         const std::string_view name = String("a member name");
         Expect(':', "':'");
         readMember(name);
      } while (TakeIf(','));
      Expect('}', "',' or '}'");
   }

   // Reads an array; readElement(index) reads each element.
   template <typename ReadElement> void Array(ReadElement readElement)
   {
      Open('[', "an array");
      if (TakeIf(']')) {
         return;
      }
      size_t index = 0;
      do {
         readElement(index++);
      } while (TakeIf(','));
      Expect(']', "',' or ']'");
   }

   // Reads a string, which stays until the next one is read.
   std::string_view String(const char *expected = "a string");

   JsonNumber Number();

   // Nothing but white space is left.
   void End();

   uint64_t Line() const { return input.Line(); }
   size_t Tell() const { return input.Tell(); }

 private:
   // What the library makes of a string or a number.
   struct Scalar : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Scalar> {
      bool Int(int value) { return Int64(value); }
      bool Uint(unsigned value) { return Uint64(value); }
      bool Int64(int64_t value);
      bool Uint64(uint64_t value);
      static bool Double(double) { return false; }
      bool String(const char *characters, rapidjson::SizeType length, bool);

      std::string text;
      JsonNumber number = {};
   };

   char SkipSpace();
   bool TakeIf(char character);
   void Open(char bracket, const char *expected) { Expect(bracket, expected); }
   void Expect(char character, const char *expected);
   [[noreturn]] void FailExpecting(const char *expected);
   void ReadScalar();

   JsonInput input;
   rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> library;
   Scalar scalar;
};

#endif
