#include "recorder/folder_storage.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <tuple>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "recorder/segment_format.h"

namespace recorder {

namespace {

constexpr char kLockName[] = "lock";

int ErrorOf(int result)
{
   return result == 0 ? 0 : errno;
}

struct CloseDirectory {
   void operator()(DIR *directory) const { closedir(directory); }
};

} // namespace

int FolderStorage::TakeFolder()
{
   if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
      return errno;
   }
   folder = nevra::FileDescriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
   const int error = folder.IsOpen() ? LockFolder() : errno;
   if (error != 0) {
      ReleaseFolder();
   }
   return error;
}

int FolderStorage::LockFolder()
{
   lock =
      nevra::FileDescriptor(openat(folder.Get(), kLockName, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
   if (!lock.IsOpen()) {
      return errno;
   }
   if (flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
      return errno == EWOULDBLOCK ? EBUSY : errno;
   }
   return 0;
}

void FolderStorage::ReleaseFolder()
{
   lock.Close();
   folder.Close();
}

bool FolderStorage::HasFolder()
{
   struct stat ours = {};
   struct stat there = {};
   return folder.IsOpen() && fstat(folder.Get(), &ours) == 0 && stat(path.c_str(), &there) == 0 &&
          ours.st_dev == there.st_dev && ours.st_ino == there.st_ino;
}

int FolderStorage::List(std::vector<StoredSegment> *segments)
{
   segments->clear();
   const int copy = openat(folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
   const std::unique_ptr<DIR, CloseDirectory> directory(copy >= 0 ? fdopendir(copy) : nullptr);
   if (directory == nullptr) {
      const int error = errno;
      if (copy >= 0) {
         close(copy);
      }
      return error;
   }
   errno = 0;
   std::vector<std::pair<uint64_t, StoredSegment>> found;
   while (const dirent *entry = readdir(directory.get())) {
      uint64_t sequence = 0;
      struct stat status = {};
      if (ParseSegmentName(entry->d_name, &sequence) &&
          fstatat(folder.Get(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
          S_ISREG(status.st_mode)) {
         found.emplace_back(sequence,
                            StoredSegment{entry->d_name, static_cast<uint64_t>(status.st_size),
                                          status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec});
      }
      errno = 0;
   }
   if (errno != 0) {
      return errno;
   }
   std::ranges::sort(found, {}, [](const auto &one) { return std::tie(one.first, one.second.name); });
   for (auto &[sequence, one] : found) {
      segments->push_back(std::move(one));
   }
   return 0;
}

int FolderStorage::Remove(const std::string &name)
{
   return ErrorOf(unlinkat(folder.Get(), name.c_str(), 0));
}

int FolderStorage::Space(uint64_t *freeBytes, uint64_t *allBytes)
{
   struct statvfs space = {};
   if (fstatvfs(folder.Get(), &space) != 0) {
      return errno;
   }
   *freeBytes = uint64_t{space.f_bavail} * space.f_frsize;
   *allBytes = uint64_t{space.f_blocks} * space.f_frsize;
   return 0;
}

int FolderStorage::SyncFolder()
{
   return ErrorOf(fsync(folder.Get()));
}

int FolderStorage::CreateSegment(const std::string &name)
{
   segment = nevra::FileDescriptor(openat(
      folder.Get(), name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
   return segment.IsOpen() ? 0 : errno;
}

int FolderStorage::Append(std::span<const uint8_t> bytes)
{
   while (!bytes.empty()) {
      const ssize_t count = write(segment.Get(), bytes.data(), bytes.size());
      if (count < 0 && errno == EINTR) {
         continue;
      }
      if (count <= 0) {
         return count < 0 ? errno : EIO;
      }
      bytes = bytes.subspan(static_cast<size_t>(count));
   }
   return 0;
}

int FolderStorage::SyncSegment()
{
   return ErrorOf(fdatasync(segment.Get()));
}

void FolderStorage::CloseSegment()
{
   segment.Close();
}

bool FolderStorage::HasSegment()
{
   struct stat status = {};
   return segment.IsOpen() && fstat(segment.Get(), &status) == 0 && status.st_nlink > 0;
}

} // namespace recorder
