#include "nevra/linux/kernel_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h> // empty without the address sanitizer
#else
#define ASAN_POISON_MEMORY_REGION(address, size) (static_cast<void>(0))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) (static_cast<void>(0))
#endif

namespace nevra {

FileDescriptor &FileDescriptor::operator=(FileDescriptor &&other) noexcept
{
   if (this != &other) {
      Close();
      number = other.Release();
   }
   return *this;
}

void FileDescriptor::Close()
{
   if (number >= 0) {
      close(number);
      number = -1;
   }
}

int FileDescriptor::Release()
{
   const int released = number;
   number = -1;
   return released;
}

FileDescriptor OpenFolder(int directory, const char *path)
{
   return FileDescriptor(openat(directory, path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

const char *BelowRoot(const char *path)
{
   while (*path == '/') {
      path++;
   }
   return *path != '\0' ? path : ".";
}

bool Exists(int directory, const char *path)
{
   struct stat status;
   return fstatat(directory, path, &status, 0) == 0;
}

namespace {

bool IsWanted(int directory, const dirent &entry, EntryKind kind)
{
   if (std::strcmp(entry.d_name, ".") == 0 || std::strcmp(entry.d_name, "..") == 0) {
      return false;
   }
   if (kind == EntryKind::Any) {
      return true;
   }
   const unsigned char wanted = kind == EntryKind::Folders ? DT_DIR : DT_LNK;
   if (entry.d_type != DT_UNKNOWN) {
      return entry.d_type == wanted;
   }
   struct stat status;
   return fstatat(directory, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
          (kind == EntryKind::Folders ? S_ISDIR(status.st_mode) : S_ISLNK(status.st_mode));
}

} // namespace

std::vector<std::string> ListNames(int directory, const char *path, EntryKind kind, size_t limit)
{
   std::vector<std::string> names;
   FileDescriptor folder(openat(directory, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
   DIR *stream = folder.IsOpen() ? fdopendir(folder.Get()) : nullptr;
   if (stream == nullptr) {
      return names;
   }
   const std::unique_ptr<DIR, int (*)(DIR *)> closer(stream, closedir);
   const int number = folder.Release();
   while (names.size() < limit) {
      const dirent *entry = readdir(stream);
      if (entry == nullptr) {
         break;
      }
      if (IsWanted(number, *entry, kind)) {
         names.emplace_back(entry->d_name);
      }
   }
   return names;
}

std::optional<std::string_view> KernelFileReader::ReadRecord(int directory, const char *path)
{
   return Read(directory, path, kLargestFile, false);
}

std::optional<std::string_view> KernelFileReader::ReadAll(int directory, const char *path, size_t limit)
{
   return Read(directory, path, limit, true);
}

std::optional<std::string_view> KernelFileReader::Read(int directory, const char *path, size_t limit,
                                                       bool untilEnd)
{
   // Not blocking: in a recorded tree anything may stand where a file should be, a pipe too.
   const FileDescriptor file(openat(directory, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
   if (!file.IsOpen()) {
      return std::nullopt;
   }
   ASAN_UNPOISON_MEMORY_REGION(buffer.get(), capacity);
   size_t length = 0;
   for (;;) {
      if (length == capacity) {
         const size_t larger = std::max(kFirstRead, capacity * 2);
         std::unique_ptr<char[]> room(new char[larger]);
         std::copy_n(buffer.get(), length, room.get());
         buffer = std::move(room);
         capacity = larger;
      }
      const size_t wanted = std::min(capacity, limit) - length;
      if (wanted == 0) {
         break;
      }
      const ssize_t got = read(file.Get(), buffer.get() + length, wanted);
      if (got < 0 && errno == EINTR) {
         continue;
      }
      if (got < 0) {
         return std::nullopt;
      }
      length += static_cast<size_t>(got);
      if (got == 0 || (!untilEnd && static_cast<size_t>(got) < wanted)) {
         break;
      }
   }
   // The buffer is larger than the text; the sanitizer is to see who reads on.
   ASAN_POISON_MEMORY_REGION(buffer.get() + length, capacity - length);
   return std::string_view(buffer.get(), length);
}

} // namespace nevra
