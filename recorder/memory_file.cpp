#include "recorder/memory_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace recorder {

namespace {

bool WriteAll(int file, std::span<const uint8_t> bytes)
{
   while (!bytes.empty()) {
      const ssize_t written = write(file, bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) {
         continue;
      }
      if (written < 0) {
         return false;
      }
      bytes = bytes.subspan(static_cast<size_t>(written));
   }
   return true;
}

} // namespace

std::string MakeMemoryFile(std::span<const uint8_t> bytes)
{
   const int file = memfd_create("snapshot", MFD_ALLOW_SEALING);
   if (file < 0) {
      return {};
   }
   if (!WriteAll(file, bytes) ||
       fcntl(file, F_ADD_SEALS, F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE) != 0) {
      close(file);
      return {};
   }
   return "/proc/self/fd/" + std::to_string(file);
}

} // namespace recorder
