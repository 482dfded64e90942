// Reading files that the kernel generates when they are read, relative to a directory that is already open.
#ifndef NEVRA_LINUX_KERNEL_FILE_H
#define NEVRA_LINUX_KERNEL_FILE_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nevra {

// Owns a file descriptor; -1 is none.
class FileDescriptor {
 public:
   FileDescriptor() = default;
   explicit FileDescriptor(int descriptor) : number(descriptor) {}
   FileDescriptor(FileDescriptor &&other) noexcept : number(other.Release()) {}
   FileDescriptor &operator=(FileDescriptor &&other) noexcept;
   FileDescriptor(const FileDescriptor &) = delete;
   FileDescriptor &operator=(const FileDescriptor &) = delete;
   ~FileDescriptor() { Close(); }

   int Get() const { return number; }
   bool IsOpen() const { return number >= 0; }
   void Close();
   int Release();

 private:
   int number = -1;
};

// Opens a folder; not open when there is none, or when the kernel refuses. Does not follow a final symbolic
// link: the trees read here are walked by name, and a link could lead out of them or round in a circle.
FileDescriptor OpenFolder(int directory, const char *path);

// An absolute path as one that openat() resolves below the root folder: "." for "/".
const char *BelowRoot(const char *path);

// True when the name exists.
bool Exists(int directory, const char *path);

enum class EntryKind { Folders, Links, Any };

// The names in a folder without "." and "..", in the order in which the kernel lists them, at most `limit` of
// them; empty when it cannot be read. Folders gives folders only, never links to some.
std::vector<std::string> ListNames(int directory, const char *path, EntryKind kind, size_t limit);

// Reads whole files into a buffer that the next read reuses.
class KernelFileReader {
 public:
   static constexpr size_t kFirstRead = size_t{16} << 10;
   static constexpr size_t kLargestFile = size_t{16} << 20;

   // The file's text, valid until the next read through this object; nothing when it is missing, refused or
   // not a file. What lies beyond `limit` bytes is cut off.
   //
   // ReadRecord is for files that the kernel returns in one piece, as most of those with figures are: it
   // takes a short read for the end and so saves a system call for each. ReadAll reads until the end.
   std::optional<std::string_view> ReadRecord(int directory, const char *path);
   std::optional<std::string_view> ReadAll(int directory, const char *path, size_t limit = kLargestFile);

 private:
   std::optional<std::string_view> Read(int directory, const char *path, size_t limit, bool untilEnd);

   std::unique_ptr<char[]> buffer;
   size_t capacity = 0;
};

} // namespace nevra

#endif
