#include "recorder/folder_storage.h"

#include <algorithm>
#include <cerrno>
#include <memory>
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

void Close(int *file)
{
   if (*file >= 0) {
      close(std::exchange(*file, -1));
   }
}

int ErrorOf(int result)
{
   return result == 0 ? 0 : errno;
}

struct CloseDirectory {
   void operator()(DIR *directory) const { closedir(directory); }
};

} // namespace

FolderStorage::~FolderStorage()
{
   CloseSegment();
   ReleaseFolder();
}

int FolderStorage::TakeFolder()
{
   if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
      return errno;
   }
   folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
   const int error = folder < 0 ? errno : LockFolder();
   if (error != 0) {
      ReleaseFolder();
   }
   return error;
}

int FolderStorage::LockFolder()
{
   lock = openat(folder, kLockName, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
   if (lock < 0) {
      return errno;
   }
   if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
      return errno == EWOULDBLOCK ? EBUSY : errno;
   }
   return 0;
}

void FolderStorage::ReleaseFolder()
{
   Close(&lock);
   Close(&folder);
}

bool FolderStorage::HasFolder()
{
   struct stat ours = {};
   struct stat there = {};
   return folder >= 0 && fstat(folder, &ours) == 0 && stat(path.c_str(), &there) == 0 &&
          ours.st_dev == there.st_dev && ours.st_ino == there.st_ino;
}

int FolderStorage::List(std::vector<StoredSegment> *segments)
{
   segments->clear();
   const int copy = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
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
          fstatat(folder, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode)) {
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
   for (auto &[sequence, segment_] : found) {
      segments->push_back(std::move(segment_));
   }
   return 0;
}

int FolderStorage::Remove(const std::string &name)
{
   return ErrorOf(unlinkat(folder, name.c_str(), 0));
}

int FolderStorage::Space(uint64_t *freeBytes, uint64_t *allBytes)
{
   struct statvfs space = {};
   if (fstatvfs(folder, &space) != 0) {
      return errno;
   }
   *freeBytes = uint64_t{space.f_bavail} * space.f_frsize;
   *allBytes = uint64_t{space.f_blocks} * space.f_frsize;
   return 0;
}

int FolderStorage::SyncFolder()
{
   return ErrorOf(fsync(folder));
}

int FolderStorage::CreateSegment(const std::string &name)
{
   segment =
      openat(folder, name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
   return segment < 0 ? errno : 0;
}

int FolderStorage::Append(std::span<const uint8_t> bytes)
{
   while (!bytes.empty()) {
      const ssize_t count = write(segment, bytes.data(), bytes.size());
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
   return ErrorOf(fdatasync(segment));
}

void FolderStorage::CloseSegment()
{
   Close(&segment);
}

bool FolderStorage::HasSegment()
{
   struct stat status = {};
   return segment >= 0 && fstat(segment, &status) == 0 && status.st_nlink > 0;
}

} // namespace recorder
