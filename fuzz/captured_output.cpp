#include "fuzz/captured_output.h"

#include <algorithm>

CapturedOutput::CapturedOutput(size_t mostBytes) : capacity(mostBytes), standardOutput(stdout)
{
   stream = fopencookie(this, "w", {.read = nullptr, .write = Write, .seek = nullptr, .close = nullptr});
   stdout = stream;
}

CapturedOutput::~CapturedOutput()
{
   std::fclose(stream);
   stdout = standardOutput;
}

const std::string &CapturedOutput::Text()
{
   std::fflush(stream);
   return text;
}

// A cookie's write says 0 for a failure.
ssize_t CapturedOutput::Write(void *cookie, const char *bytes, size_t count)
{
   CapturedOutput &output = *static_cast<CapturedOutput *>(cookie);
   const size_t written = std::min(count, output.capacity - output.text.size());
   output.text.append(bytes, written);
   return static_cast<ssize_t>(written);
}
