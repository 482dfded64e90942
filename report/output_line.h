// A line of output on its way to standard output.
//
// A report of 100,000 rows appends millions of short texts; the storage is kept from line to line, and short
// texts are copied in line.
#ifndef REPORT_OUTPUT_LINE_H
#define REPORT_OUTPUT_LINE_H

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

class OutputLine {
 public:
   void Clear() { length = 0; }
   std::string_view View() const { return {storage.get(), length}; }

   void Append(char character) { *Extend(1) = character; }

   void Append(std::string_view text)
   {
      char *to = Extend(text.size());
      const char *from = text.data();
      const size_t size = text.size();
      // Two copies that overlap take any size between one and two of theirs.
      if (size > 16) {
         std::memcpy(to, from, size);
      } else if (size >= 8) {
         CopyEnds<uint64_t>(to, from, size);
      } else if (size >= 4) {
         CopyEnds<uint32_t>(to, from, size);
      } else if (size >= 2) {
         CopyEnds<uint16_t>(to, from, size);
      } else if (size == 1) {
         *to = *from;
      }
   }

   template <std::integral Integer> void Append(Integer number)
   {
      char *to = Extend(0);
      length += static_cast<size_t>(std::to_chars(to, to + kSlack, number).ptr - to);
   }

   void AppendRepeated(size_t count, char character)
   {
      char *to = Extend(count);
      if (count <= kSlack) {
         std::memset(to, character,
                     kSlack); // a size that the compiler knows; what is too much is overwritten
      } else {
         std::memset(to, character, count);
      }
   }

   // Writes the line with a newline, in one write to standard output.
   void Write();

 private:
   static constexpr size_t kSlack = 32; // room that is always there after the end

   template <typename Word> static void CopyEnds(char *to, const char *from, size_t size)
   {
      std::memcpy(to, from, sizeof(Word));
      std::memcpy(to + size - sizeof(Word), from + size - sizeof(Word), sizeof(Word));
   }

   // Makes the line longer; the place of the new bytes.
   char *Extend(size_t bytes)
   {
      if (capacity - length < bytes + kSlack) {
         Grow(bytes);
      }
      char *end = storage.get() + length;
      length += bytes;
      return end;
   }

   void Grow(size_t bytes);

   std::unique_ptr<char[]> storage;
   size_t capacity = 0;
   size_t length = 0;
};

#endif
