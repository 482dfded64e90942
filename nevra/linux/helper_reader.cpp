#include "nevra/linux/helper_reader.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nevra {

namespace {

constexpr size_t kLongestPath = 64;
constexpr size_t kPartBytes = size_t{64} << 10;

// Goes before each part of a file: `length` bytes follow. The last one has none; with an error the read
// failed.
struct PartHead {
   int32_t error;
   uint32_t length;
};

bool Send(int channel, const void *bytes, size_t size)
{
   const char *at = static_cast<const char *>(bytes);
   while (size > 0) {
      const ssize_t sent = send(channel, at, size, MSG_NOSIGNAL);
      if (sent < 0 && errno == EINTR) {
         continue;
      }
      if (sent <= 0) {
         return false;
      }
      at += sent;
      size -= static_cast<size_t>(sent);
   }
   return true;
}

bool SendFile(int channel, int directory, const char *path, char *part)
{
   const int file = openat(directory, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
   PartHead head = {file < 0 ? errno : 0, 0};
   bool isHeard = true;
   while (isHeard && head.error == 0) {
      const ssize_t got = read(file, part, kPartBytes);
      if (got < 0 && errno == EINTR) {
         continue;
      }
      if (got <= 0) {
         head.error = got < 0 ? errno : 0;
         break;
      }
      head.length = static_cast<uint32_t>(got);
      isHeard = Send(channel, &head, sizeof head) && Send(channel, part, head.length);
   }
   if (file >= 0) {
      close(file);
   }
   head.length = 0;
   return isHeard && Send(channel, &head, sizeof head);
}

// Nothing of the parent's stays open in the helper: one that hangs must not keep a pipe open that somebody
// reads.
void CloseAllBut(int channel, int directory)
{
   const int first = std::min(channel, directory);
   const int second = std::max(channel, directory);
   const auto closeRange = [](int from, int to) {
      if (from <= to && close_range(static_cast<unsigned>(from), static_cast<unsigned>(to), 0) != 0) {
         const int most = static_cast<int>(std::min<long>(sysconf(_SC_OPEN_MAX), 1 << 16));
         for (int number = from; number <= std::min(to, most); number++) {
            close(number);
         }
      }
   };
   closeRange(0, first - 1);
   closeRange(first + 1, second - 1);
   closeRange(second + 1, std::numeric_limits<int>::max());
}

[[noreturn]] void Serve(int channel, int directory, pid_t parent)
{
   static char part[kPartBytes];
   prctl(PR_SET_PDEATHSIG, SIGKILL);
   CloseAllBut(channel, directory);
   char path[kLongestPath];
   while (getppid() == parent && recv(channel, path, sizeof path, MSG_WAITALL) == sizeof path &&
          SendFile(channel, directory, path, part)) {
   }
   _exit(0);
}

// The helpers that were killed. One that hangs in the kernel ends when it comes back, and is a zombie until
// it has been waited for.
class KilledHelpers {
 public:
   void Take(std::list<pid_t> &helper)
   {
      const std::lock_guard lock(mutex);
      killed.splice(killed.end(), helper);
   }

   void Reap()
   {
      const std::lock_guard lock(mutex);
      killed.remove_if([](pid_t helper) { return waitpid(helper, nullptr, WNOHANG) != 0; });
   }

 private:
   std::mutex mutex;
   std::list<pid_t> killed;
};

// Never destroyed: a reader may live as long as the program.
KilledHelpers &Killed()
{
   alignas(KilledHelpers) static std::byte room[sizeof(KilledHelpers)];
   static KilledHelpers *const killed = new (room) KilledHelpers;
   return *killed;
}

} // namespace

HelperReader::~HelperReader()
{
   if (channel >= 0 && !isReading) {
      close(channel);
      channel = -1;
      kill(helper.front(), SIGKILL);
      waitpid(helper.front(), nullptr, 0); // it waits for a request, and ends at once
      helper.clear();
   }
   Abandon();
   Killed().Reap();
}

bool HelperReader::Start(int directory)
{
   Killed().Reap();
   std::list<pid_t> started(1);
   int ends[2];
   if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
      return false;
   }
   const pid_t parent = getpid();
   const pid_t child = fork();
   if (child == 0) {
      Serve(ends[1], directory, parent);
   }
   const int error = errno;
   close(ends[1]);
   if (child < 0) {
      close(ends[0]);
      errno = error;
      return false;
   }
   started.front() = child;
   helper = std::move(started);
   channel = ends[0];
   return true;
}

void HelperReader::Abandon()
{
   if (channel >= 0) {
      close(channel);
      channel = -1;
      kill(helper.front(), SIGKILL);
      Killed().Take(helper);
   }
   isReading = false;
   pending = 0;
}

bool HelperReader::Begin(int directory, const char *path, int milliseconds)
{
   Stop();
   deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
   char request[kLongestPath] = {};
   std::strncpy(request, path, sizeof request - 1);
   if (channel >= 0 && Send(channel, request, sizeof request)) {
      isReading = true;
      return true;
   }
   Abandon();
   isReading = Start(directory) && Send(channel, request, sizeof request);
   return isReading;
}

ssize_t HelperReader::Receive(void *bytes, size_t size)
{
   pollfd waited = {channel, POLLIN, 0};
   int ready;
   do {
      const auto left =
         std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      ready = poll(&waited, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
   } while (ready < 0 && errno == EINTR);
   if (ready == 0) {
      errno = ETIMEDOUT;
   }
   return ready > 0 ? recv(channel, bytes, size, 0) : -1;
}

ssize_t HelperReader::Next(char *bytes, size_t size)
{
   if (!isReading) {
      return 0;
   }
   if (pending == 0) {
      PartHead head = {};
      char *at = reinterpret_cast<char *>(&head);
      for (size_t got = 0; got < sizeof head;) {
         const ssize_t received = Receive(at + got, sizeof head - got);
         if (received <= 0) {
            const int error = received == 0 ? EIO : errno;
            Abandon();
            errno = error;
            return -1;
         }
         got += static_cast<size_t>(received);
      }
      pending = head.length;
      if (pending == 0) {
         isReading = false;
         errno = head.error;
         return head.error == 0 ? 0 : -1;
      }
   }
   const ssize_t received = Receive(bytes, std::min<size_t>(size, pending));
   if (received <= 0) {
      const int error = received == 0 ? EIO : errno;
      Abandon();
      errno = error;
      return -1;
   }
   pending -= static_cast<uint32_t>(received);
   return received;
}

void HelperReader::Stop()
{
   if (isReading) {
      Abandon();
   }
}

} // namespace nevra
