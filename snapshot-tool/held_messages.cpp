#include "snapshot-tool/held_messages.h"

#include <algorithm>
#include <new>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "nevra/nevra.h"

HeldMessages::HeldMessages(const char *name)
    : program(name), memory(memfd_create("messages", MFD_CLOEXEC)), stream(stderr)
{
   const int former = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
   FILE *formerStream = memory >= 0 && former >= 0 ? fdopen(former, "w") : nullptr;
   if (formerStream != nullptr) {
      std::fflush(stderr);
      dup2(memory, STDERR_FILENO);
      stream = formerStream;
   } else if (former >= 0) {
      close(former);
   }
}

HeldMessages::~HeldMessages()
{
   if (stream != stderr) {
      std::fflush(stderr);
      dup2(fileno(stream), STDERR_FILENO);
      std::fclose(stream);
   }
   if (memory >= 0) {
      if (!isTaken) {
         Say();
      }
      close(memory);
   }
}

std::vector<std::string> HeldMessages::Take()
{
   isTaken = true;
   return Lines();
}

void HeldMessages::Say() const noexcept
{
   try {
      for (const std::string &line : Lines()) {
         Warning("%s: %s\n", program, line.c_str());
      }
   } catch (const std::bad_alloc &) {
      // Whoever gave up on the messages says so.
   }
}

std::vector<std::string> HeldMessages::Lines() const
{
   constexpr off_t kMost = 1 << 16;
   std::string held(static_cast<size_t>(std::clamp<off_t>(lseek(memory, 0, SEEK_END), 0, kMost)), '\0');
   held.resize(static_cast<size_t>(std::max<ssize_t>(pread(memory, held.data(), held.size(), 0), 0)));
   std::vector<std::string> lines;
   for (std::string_view rest = held; !rest.empty();) {
      const size_t length = std::min(rest.find('\n'), rest.size());
      if (length > 0) {
         lines.emplace_back(rest.substr(0, length));
      }
      rest.remove_prefix(std::min(length + 1, rest.size()));
   }
   return lines;
}
