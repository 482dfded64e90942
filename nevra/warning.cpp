// Diagnostics and text of the platform interface. Apart from the other operations, because the sources use
// them too, in whatever program they are.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include <unistd.h>

#include "nevra/nevra.h"

namespace {

void WriteToStandardError(const char *text, size_t length)
{
   while (length > 0) {
      const ssize_t written = write(STDERR_FILENO, text, length);
      if (written < 0) {
         if (errno == EINTR) {
            continue;
         }
         return;
      }
      text += written;
      length -= static_cast<size_t>(written);
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
      WriteToStandardError(text, static_cast<size_t>(length));
   } else if (length >= 0) {
      const size_t size = static_cast<size_t>(length) + 1;
      std::unique_ptr<char[]> longText(new (std::nothrow) char[size]);
      if (longText != nullptr) {
         std::vsnprintf(longText.get(), size, format, again);
         WriteToStandardError(longText.get(), size - 1);
      } else {
         WriteToStandardError(text, sizeof text - 1);
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
