#include "nevra/linux/kernel_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
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

Reach ReachOf(const std::string &rootFolder)
{
   return rootFolder.find_first_not_of('/') == std::string::npos ? Reach::Host : Reach::Tree;
}

const char *BelowRoot(const char *path)
{
   while (*path == '/') {
      path++;
   }
   return *path != '\0' ? path : ".";
}

bool IsLiveProc(int folder)
{
   struct statfs fileSystem;
   return fstatfs(folder, &fileSystem) == 0 && fileSystem.f_type == PROC_SUPER_MAGIC;
}

namespace {

// One folder after the other, without following any link: for kernels that cannot be told to stay below a
// folder.
int OpenWithoutLinks(int directory, const char *path, int flags)
{
   FileDescriptor folder;
   int at = directory;
   std::string_view rest = path;
   for (;;) {
      const size_t slash = rest.find('/');
      const std::string name(rest.substr(0, slash));
      if (name == "..") {
         errno = EXDEV;
         return -1;
      }
      if (slash == std::string_view::npos) {
         return openat(at, name.c_str(), flags | O_NOFOLLOW);
      }
      rest.remove_prefix(slash + 1);
      folder = FileDescriptor(
         openat(at, name.empty() ? "." : name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      if (!folder.IsOpen()) {
         return -1;
      }
      at = folder.Get();
   }
}

int OpenBelow(int directory, const char *path, int flags)
{
   open_how how = {};
   how.flags = static_cast<unsigned>(flags);
   how.resolve = RESOLVE_IN_ROOT;
   const long number = syscall(SYS_openat2, directory, path, &how, sizeof how);
   // A sandbox that does not know the call answers EPERM.
   return number >= 0 || (errno != ENOSYS && errno != EPERM) ? static_cast<int>(number)
                                                             : OpenWithoutLinks(directory, path, flags);
}

// Such a failure says nothing about the file.
void ThrowWhenShort(int error, const char *path)
{
   if (error == EMFILE || error == ENFILE) {
      throw std::system_error(error, std::generic_category(), path);
   }
   if (error == ENOMEM) {
      throw std::bad_alloc();
   }
}

// The file, or the process that it is about, is not there, or has no such figures.
bool IsAbsence(int error)
{
   switch (error) {
   case ENOENT:
   case ENOTDIR:
   case EISDIR:
   case ELOOP:
   case EXDEV:
   case ESRCH:
   case ENODEV:
   case ENXIO:
   case EINVAL:
   case EOPNOTSUPP:
   case EBADF: // below a folder that is not there
      return true;
   default:
      return false;
   }
}

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

class StopAtEnd {
 public:
   explicit StopAtEnd(HelperReader &reader) : helper(reader) {}
   ~StopAtEnd() { helper.Stop(); }
   StopAtEnd(const StopAtEnd &) = delete;
   StopAtEnd &operator=(const StopAtEnd &) = delete;

 private:
   HelperReader &helper;
};

// Where what is left of a text begins the next part, it moves to the front.
size_t MoveToFront(char *text, size_t length, size_t taken)
{
   std::memmove(text, text + taken, length - taken);
   return length - taken;
}

} // namespace

FileDescriptor KernelFileReader::Open(int directory, const char *path, int flags)
{
   flags |= O_CLOEXEC;
   FileDescriptor file(reach == Reach::Host ? openat(directory, path, flags)
                                            : OpenBelow(directory, path, flags));
   if (!file.IsOpen()) {
      const int error = errno;
      ThrowWhenShort(error, path);
      errno = error;
   }
   return file;
}

void KernelFileReader::NoteFailure(int error, Missing what)
{
   if (error == ETIMEDOUT) {
      notRead.Note(what, "a process hangs");
   } else if (!IsAbsence(error)) {
      notRead.Note(what, std::generic_category().message(error));
   }
}

FileDescriptor KernelFileReader::OpenFolder(int directory, const char *path, Missing what)
{
   FileDescriptor folder = Open(directory, path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
   if (!folder.IsOpen()) {
      NoteFailure(errno, what);
   }
   return folder;
}

bool KernelFileReader::Exists(int directory, const char *path)
{
   if (reach == Reach::Tree) {
      return Open(directory, path, O_PATH).IsOpen();
   }
   struct stat status;
   return fstatat(directory, path, &status, 0) == 0;
}

std::string KernelFileReader::ReadLink(int directory, const char *path, Missing what)
{
   char target[4096];
   ssize_t length;
   if (reach == Reach::Tree) {
      const FileDescriptor link = Open(directory, path, O_PATH | O_NOFOLLOW);
      length = link.IsOpen() ? readlinkat(link.Get(), "", target, sizeof target) : -1;
   } else {
      length = readlinkat(directory, path, target, sizeof target);
   }
   if (length < 0) {
      NoteFailure(errno, what);
      return {};
   }
   return std::string(target, static_cast<size_t>(length));
}

std::vector<std::string> KernelFileReader::ListNames(int directory, const char *path, EntryKind kind,
                                                     size_t limit, Missing what)
{
   std::vector<std::string> names;
   FileDescriptor folder = Open(directory, path, O_RDONLY | O_DIRECTORY);
   if (!folder.IsOpen()) {
      NoteFailure(errno, what);
      return names;
   }
   DIR *stream = fdopendir(folder.Get());
   if (stream == nullptr) {
      ThrowWhenShort(errno, path);
      return names;
   }
   const std::unique_ptr<DIR, int (*)(DIR *)> closer(stream, closedir);
   const int number = folder.Release();
   while (names.size() < limit) {
      errno = 0;
      const dirent *entry = readdir(stream);
      if (entry == nullptr) {
         NoteFailure(errno != 0 ? errno : ENOENT, what);
         break;
      }
      if (IsWanted(number, *entry, kind)) {
         names.emplace_back(entry->d_name);
      }
   }
   return names;
}

FileDescriptor KernelFileReader::OpenFile(int directory, const char *path, Missing what)
{
   // Not blocking: in a recorded tree anything may be where a file should be, a pipe too.
   FileDescriptor file = Open(directory, path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
   if (!file.IsOpen()) {
      NoteFailure(errno, what);
   }
   if (file.IsOpen() && reach == Reach::Tree) {
      struct stat status;
      if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
         file.Close();
         notRead.Note(what, "not a regular file");
      }
   }
   return file;
}

// False when the buffer cannot become any larger.
bool KernelFileReader::MakeRoom(size_t length)
{
   if (length < capacity) {
      return true;
   }
   if (capacity >= kLargestFile) {
      return false;
   }
   const size_t larger = std::max(kFirstRead, capacity * 2);
   std::unique_ptr<char[]> room(new char[larger]);
   std::copy_n(buffer.get(), length, room.get());
   buffer = std::move(room);
   capacity = larger;
   return true;
}

std::optional<std::string_view> KernelFileReader::ReadRecord(int directory, const char *path, Missing what)
{
   return Read(directory, path, kLargestFile, false, what);
}

std::optional<std::string_view> KernelFileReader::ReadAll(int directory, const char *path, Missing what,
                                                          size_t limit)
{
   return Read(directory, path, limit, true, what);
}

std::optional<std::string_view> KernelFileReader::Read(int directory, const char *path, size_t limit,
                                                       bool untilEnd, Missing what)
{
   const FileDescriptor file = OpenFile(directory, path, what);
   if (!file.IsOpen()) {
      return std::nullopt;
   }
   ASAN_UNPOISON_MEMORY_REGION(buffer.get(), capacity);
   size_t length = 0;
   for (;;) {
      const size_t wanted = MakeRoom(length) ? std::min(capacity, limit) - length : 0;
      if (wanted == 0) {
         char more;
         if (what != Missing::Nothing && read(file.Get(), &more, 1) > 0) {
            notRead.Note(what, "too long");
         }
         break;
      }
      const ssize_t got = read(file.Get(), buffer.get() + length, wanted);
      if (got < 0 && errno == EINTR) {
         continue;
      }
      if (got < 0) {
         ThrowWhenShort(errno, path);
         NoteFailure(errno, what);
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

bool KernelFileReader::TakeParts(const Next &next, const char *path, const Take &take, Missing what)
{
   ASAN_UNPOISON_MEMORY_REGION(buffer.get(), capacity);
   size_t length = 0;
   for (;;) {
      if (!MakeRoom(length)) {
         notRead.Note(what, "too long"); // and nobody takes any of it
         return true;
      }
      const ssize_t got = next(buffer.get() + length, capacity - length);
      if (got < 0 && errno == EINTR) {
         continue;
      }
      if (got < 0) {
         ThrowWhenShort(errno, path);
         NoteFailure(errno, what);
         return false;
      }
      length += static_cast<size_t>(got);
      const size_t taken = take({buffer.get(), length}, got == 0);
      if (taken == kEnough || got == 0) {
         return true;
      }
      length = MoveToFront(buffer.get(), length, std::min(taken, length));
   }
}

bool KernelFileReader::ReadInParts(int directory, const char *path, const Take &take, Missing what)
{
   const FileDescriptor file = OpenFile(directory, path, what);
   return file.IsOpen() &&
          TakeParts([&file](char *bytes, size_t size) { return read(file.Get(), bytes, size); }, path, take,
                    what);
}

bool KernelFileReader::ReadInPartsWithin(int milliseconds, int proc, const char *path, const Take &take,
                                         Missing what)
{
   if (!mayHang.has_value()) {
      mayHang = IsLiveProc(proc);
   }
   if (!*mayHang) {
      return ReadInParts(proc, path, take, what);
   }
   const bool isPatient = milliseconds >= kPatient;
   if (!isPatient && waitingLeft.count() <= 0) {
      notRead.Note(Missing::HangingProcesses, "too long a wait for processes that hang");
      return false;
   }
   const int wait =
      isPatient ? milliseconds : static_cast<int>(std::min<int64_t>(milliseconds, waitingLeft.count()));
   if (!helper.Begin(proc, path, wait)) {
      const int error = errno;
      if (error != ENOMEM) { // the kernel may have none for a process and all for a file
         ThrowWhenShort(error, path);
      }
      notRead.Note(what, "no helper process: " + std::generic_category().message(error));
      return false;
   }
   const StopAtEnd stop(helper);
   const auto next = [&](char *bytes, size_t size) {
      const ssize_t got = helper.Next(bytes, size);
      if (got < 0 && errno == ETIMEDOUT && !isPatient) {
         waitingLeft -= std::chrono::milliseconds(wait);
      }
      return got;
   };
   return TakeParts(next, path, take, what);
}

std::optional<std::string_view> KernelFileReader::ReadAllWithin(int milliseconds, int proc, const char *path,
                                                                Missing what, size_t limit)
{
   std::string_view whole;
   const auto take = [&](std::string_view text, bool isEnd) -> size_t {
      whole = text.substr(0, limit);
      return isEnd || text.size() >= limit ? kEnough : 0;
   };
   return ReadInPartsWithin(milliseconds, proc, path, take, what) ? std::optional(whole) : std::nullopt;
}

} // namespace nevra
