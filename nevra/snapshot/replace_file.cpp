#include "nevra/snapshot/replace_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nevra {

namespace {

constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU};
constexpr size_t kSignalCount = std::size(kEndingSignals);

// The temporary file, for the signal handler; empty when there is none.
char temporaryPath[PATH_MAX];

void RemoveAndEnd(int signal)
{
   unlink(temporaryPath);
   std::signal(signal, SIG_DFL);
   raise(signal);
}

// While one exists, a signal that ends the process removes the temporary file first, and a file that grows
// beyond the limit of its size is an error of the write and no signal.
class SignalGuard {
 public:
   SignalGuard()
   {
      struct sigaction guard = {};
      guard.sa_handler = RemoveAndEnd;
      for (size_t i = 0; i < kSignalCount; i++) {
         sigaction(kEndingSignals[i], nullptr, &former[i]);
         if (former[i].sa_handler == SIG_DFL) {
            sigaction(kEndingSignals[i], &guard, nullptr);
         }
      }
      struct sigaction ignored = {};
      ignored.sa_handler = SIG_IGN;
      sigaction(SIGXFSZ, &ignored, &formerOfSize);
   }
   ~SignalGuard()
   {
      for (size_t i = 0; i < kSignalCount; i++) {
         sigaction(kEndingSignals[i], &former[i], nullptr);
      }
      sigaction(SIGXFSZ, &formerOfSize, nullptr);
   }
   SignalGuard(const SignalGuard &) = delete;
   SignalGuard &operator=(const SignalGuard &) = delete;

 private:
   struct sigaction former[kSignalCount];
   struct sigaction formerOfSize;
};

bool SystemFails(std::string *problem)
{
   *problem = std::string("cannot be written: ") + std::strerror(errno);
   return false;
}

bool AlreadyExists(std::string *problem)
{
   *problem = "already exists; --force replaces it";
   return false;
}

// What is written between two reports of progress.
constexpr size_t kMostWritten = 4 << 20;

bool WriteParts(int descriptor, std::span<const std::span<const uint8_t>> parts,
                const std::function<void(uint64_t)> &progress)
{
   uint64_t done = 0;
   for (std::span<const uint8_t> rest : parts) {
      while (!rest.empty()) {
         const ssize_t written = write(descriptor, rest.data(), std::min(rest.size(), kMostWritten));
         if (written < 0 && errno != EINTR) {
            return false;
         }
         const size_t advance = static_cast<size_t>(std::max<ssize_t>(written, 0));
         rest = rest.subspan(advance);
         done += advance;
         if (progress) {
            progress(done);
         }
      }
   }
   return true;
}

int CreateTemporary(const std::filesystem::path &target)
{
   std::string pattern = target.parent_path() / ".";
   pattern.append(target.filename()).append(".XXXXXX");
   if (pattern.size() >= sizeof temporaryPath) {
      errno = ENAMETOOLONG;
      return -1;
   }
   // No signal between the file's creation and the note of its name.
   sigset_t ending;
   sigset_t former;
   sigemptyset(&ending);
   for (const int signal : kEndingSignals) {
      sigaddset(&ending, signal);
   }
   sigprocmask(SIG_BLOCK, &ending, &former);
   std::memcpy(temporaryPath, pattern.c_str(), pattern.size() + 1);
   const int descriptor = mkostemp(temporaryPath, O_CLOEXEC);
   if (descriptor < 0) {
      temporaryPath[0] = '\0';
   }
   const int error = errno;
   sigprocmask(SIG_SETMASK, &former, nullptr);
   errno = error;
   return descriptor;
}

// Gives the temporary file its name. Without `replaces`, whatever has that name stays, and errno is EEXIST.
bool Rename(const char *target, bool replaces)
{
   if (replaces) {
      return rename(temporaryPath, target) == 0;
   }
   if (renameat2(AT_FDCWD, temporaryPath, AT_FDCWD, target, RENAME_NOREPLACE) == 0) {
      return true;
   }
   // A file system that cannot do that can do this.
   return errno == EINVAL && link(temporaryPath, target) == 0 && unlink(temporaryPath) == 0;
}

// The rename itself is to outlive a power cut too. A folder that cannot be synced is no failure: the file is
// there.
void SyncFolder(const std::filesystem::path &target)
{
   const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
   const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
   if (descriptor >= 0) {
      fsync(descriptor);
      close(descriptor);
   }
}

} // namespace

bool CheckTarget(const char *path, IfExists ifExists, std::string *problem)
{
   struct stat facts;
   if (lstat(path, &facts) != 0) {
      return errno == ENOENT || SystemFails(problem);
   }
   if (!S_ISREG(facts.st_mode)) {
      *problem = "cannot be written: not a regular file";
      return false;
   }
   return ifExists == IfExists::Replace || AlreadyExists(problem);
}

bool ReplaceFile(const char *path, std::span<const std::span<const uint8_t>> parts, IfExists ifExists,
                 std::string *problem, const std::function<void(uint64_t)> &progress, mode_t mode)
{
   if (!CheckTarget(path, ifExists, problem)) {
      return false;
   }
   const SignalGuard guard;
   const int descriptor = CreateTemporary(path);
   if (descriptor < 0) {
      return SystemFails(problem);
   }
   bool done =
      WriteParts(descriptor, parts, progress) && fchmod(descriptor, mode) == 0 && fsync(descriptor) == 0;
   const int error = errno;
   if (close(descriptor) != 0) {
      done = false;
   } else {
      errno = error;
   }
   done = done && Rename(path, ifExists == IfExists::Replace);
   if (!done) {
      errno == EEXIST ? AlreadyExists(problem) : SystemFails(problem);
      unlink(temporaryPath);
   }
   temporaryPath[0] = '\0';
   if (done) {
      SyncFolder(path);
   }
   return done;
}

} // namespace nevra
