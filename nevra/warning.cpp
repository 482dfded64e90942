// Diagnostics and text of the platform interface. Apart from the other operations, because the sources use
// them too, in whatever program they are.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string_view>

#include <unistd.h>

#include "nevra/nevra.h"
#include "nevra/shown_text.h"

namespace {

// What stands in a message may be a stranger's: the name of a file, a text in it. A message is one line: the
// newlines at the ends of its format are its own, any other is a stranger's too.
void MakeMessageShown(std::string_view format, std::span<char> text)
{
   const size_t before = std::min(format.find_first_not_of('\n'), format.size());
   const size_t after = format.size() - std::max(format.find_last_not_of('\n') + 1, before);
   nevra::MakeShown(text.subspan(before, text.size() - before - after));
}

void WriteMessage(const char *format, std::span<char> text)
{
   MakeMessageShown(format, text);
   while (!text.empty()) {
      const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
      if (written < 0) {
         if (errno == EINTR) {
            continue;
         }
         return;
      }
      text = text.subspan(static_cast<size_t>(written));
   }
}

} // namespace

extern "C" {

// Compiled into a library whose symbols are hidden unless they say otherwise.
__attribute__((visibility("default"))) void Warning(const char *format, ...)
{
   char text[1024];
   va_list arguments;
   va_start(arguments, format);
   va_list again;
   va_copy(again, arguments);
   const int length = std::vsnprintf(text, sizeof text, format, arguments);
   va_end(arguments);
   if (length >= 0 && static_cast<size_t>(length) < sizeof text) {
      WriteMessage(format, {text, static_cast<size_t>(length)});
   } else if (length >= 0) {
      const size_t size = static_cast<size_t>(length) + 1;
      std::unique_ptr<char[]> longText(new (std::nothrow) char[size]);
      if (longText != nullptr) {
         std::vsnprintf(longText.get(), size, format, again);
         WriteMessage(format, {longText.get(), size - 1});
      } else {
         WriteMessage(format, {text, sizeof text - 1});
      }
   }
   va_end(again);
}

__attribute__((visibility("default"))) char *Str_Strcpy(char *destination, const char *source, size_t size)
{
   if (size == 0) {
      return destination;
   }
   const size_t length = strnlen(source, size - 1);
   std::memcpy(destination, source, length);
   destination[length] = '\0';
   return destination;
}

} // extern "C"
