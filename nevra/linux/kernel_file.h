// Reading files that the kernel generates when they are read, relative to a directory that is already open.
#ifndef NEVRA_LINUX_KERNEL_FILE_H
#define NEVRA_LINUX_KERNEL_FILE_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "nevra/linux/helper_reader.h"
#include "nevra/linux/missing.h"

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

// An absolute path as one that openat() resolves below the root folder: "." for "/".
const char *BelowRoot(const char *path);

// True for a folder that the running kernel fills with processes; a recorded one is not.
bool IsLiveProc(int folder);

enum class EntryKind { Folders, Links, Any };

// What opens resolve. The running host's own files are trusted to be what the kernel made them. A recorded
// tree can hold anything: links lead no further than to its root, and only regular files are read.
enum class Reach { Host, Tree };

// Host for "/".
Reach ReachOf(const std::string &rootFolder);

// Opens and reads. Whole files go into a buffer that the next read reuses.
//
// Every operation throws std::system_error when the process or the host is out of file descriptors, and
// std::bad_alloc when the kernel is out of memory: a file that cannot be opened for that is there, and must
// not be taken for absent.
class KernelFileReader {
 public:
   static constexpr size_t kFirstRead = size_t{16} << 10;
   static constexpr size_t kLargestFile = size_t{64} << 20;

   // What it waits for processes that hang, all in all.
   static constexpr std::chrono::milliseconds kLongestWaiting{5000};

   explicit KernelFileReader(Reach allowed = Reach::Host,
                             std::chrono::milliseconds longestWaiting = kLongestWaiting)
       : reach(allowed), waitingLeft(longestWaiting)
   {
   }

   // Not open, with errno set, when there is no such file or the kernel refuses. With O_PATH anything is
   // opened.
   FileDescriptor Open(int directory, const char *path, int flags);

   // Opens a folder. Does not follow a final symbolic link: the trees read here are walked by name, and a
   // link could lead out of them or round in a circle.
   FileDescriptor OpenFolder(int directory, const char *path, Missing what = Missing::Nothing);

   // True when the name exists.
   bool Exists(int directory, const char *path);

   // Where a symbolic link leads; empty when it may not be read.
   std::string ReadLink(int directory, const char *path, Missing what = Missing::Nothing);

   // The names in a folder without "." and "..", in the order in which the kernel lists them, at most `limit`
   // of them; empty when it cannot be read. Folders gives folders only, never links to some.
   std::vector<std::string> ListNames(int directory, const char *path, EntryKind kind, size_t limit,
                                      Missing what = Missing::Nothing);

   // The file's text, valid until the next read through this object; nothing when it is missing, refused or
   // not a file. What lies beyond `limit` bytes is cut off. `what` is noted when the file is there and was
   // not read, or not whole.
   //
   // ReadRecord is for files that the kernel returns in one piece, as most of those with figures are: it
   // takes a short read for the end and so saves a system call for each. ReadAll reads until the end.
   std::optional<std::string_view> ReadRecord(int directory, const char *path,
                                              Missing what = Missing::Nothing);
   std::optional<std::string_view> ReadAll(int directory, const char *path, Missing what = Missing::Nothing,
                                           size_t limit = kLargestFile);

   // Reads a file of any length in parts. `take` is given what has been read and not yet taken, and whether
   // the file ends there, and gives how many bytes it takes; reading stops when it gives kEnough. False when
   // the file cannot be read.
   static constexpr size_t kEnough = ~size_t{0};
   using Take = std::function<size_t(std::string_view text, bool isEnd)>;
   bool ReadInParts(int directory, const char *path, const Take &take, Missing what = Missing::Nothing);

   // The same for files of a process that waits for its memory lock, and may for ever. They are all below one
   // folder, which is /proc. False, and noted, when the kernel does not give the whole file within
   // `milliseconds`, or too much time has been lost so already, or there is nothing to read it safely with.
   // kPatient waits without regard to the time that has been lost.
   static constexpr int kPatient = 600'000;
   bool ReadInPartsWithin(int milliseconds, int proc, const char *path, const Take &take, Missing what);
   std::optional<std::string_view> ReadAllWithin(int milliseconds, int proc, const char *path, Missing what,
                                                 size_t limit = kLargestFile);

   // What was there and could not be read so far.
   MissingFigures &NotRead() { return notRead; }
   const MissingFigures &NotRead() const { return notRead; }

 private:
   std::optional<std::string_view> Read(int directory, const char *path, size_t limit, bool untilEnd,
                                        Missing what);
   FileDescriptor OpenFile(int directory, const char *path, Missing what);
   bool MakeRoom(size_t length);
   using Next = std::function<ssize_t(char *bytes, size_t size)>;
   bool TakeParts(const Next &next, const char *path, const Take &take, Missing what);
   void NoteFailure(int error, Missing what);

   Reach reach;
   MissingFigures notRead;
   std::optional<bool> mayHang; // whether the processes are live
   std::chrono::milliseconds waitingLeft;
   HelperReader helper;
   std::unique_ptr<char[]> buffer;
   size_t capacity = 0;
};

} // namespace nevra

#endif
