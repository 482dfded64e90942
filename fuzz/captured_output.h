// What is printed to standard output while it is captured: it goes to memory, without a system call.
#ifndef FUZZ_CAPTURED_OUTPUT_H
#define FUZZ_CAPTURED_OUTPUT_H

#include <cstdio>
#include <string>

class CapturedOutput {
 public:
   // More than so many bytes find no room, as on a full disk.
   explicit CapturedOutput(size_t mostBytes = size_t{1} << 30);
   ~CapturedOutput();
   CapturedOutput(const CapturedOutput &) = delete;
   CapturedOutput &operator=(const CapturedOutput &) = delete;

   // All that was printed so far.
   const std::string &Text();

 private:
   static ssize_t Write(void *cookie, const char *bytes, size_t count);

   std::string text;
   size_t capacity;
   FILE *stream;
   FILE *standardOutput;
};

#endif
