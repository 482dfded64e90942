#include "nevra/snapshot/file_map.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace nevra {

namespace {

// What the signal handler knows of a map. It may run at any time, so that it takes no lock: `start` is
// written last and cleared first.
struct Guard {
   std::atomic<uintptr_t> start;
   uintptr_t end;
   const char *message;
   size_t messageSize;
};

// More snapshots than a program has open at once; further ones are not guarded.
Guard guards[16];
std::mutex guardsMutex;
unsigned guardCount;
bool isHandlerInstalled; // though another may have been installed on top of it since
struct sigaction formerAction;
std::atomic<int> exitStatus = 1;

void PassOn(int signal, siginfo_t *info, void *context)
{
   if ((formerAction.sa_flags & SA_SIGINFO) != 0) {
      formerAction.sa_sigaction(signal, info, context);
   } else if (formerAction.sa_handler != SIG_DFL && formerAction.sa_handler != SIG_IGN) {
      formerAction.sa_handler(signal);
   } else {
      // What raised the signal is repeated, and ends as it would have.
      sigaction(SIGBUS, &formerAction, nullptr);
      if (info->si_code <= 0) {
         raise(signal);
      }
   }
}

void OnBusError(int signal, siginfo_t *info, void *context)
{
   const auto address = reinterpret_cast<uintptr_t>(info->si_addr);
   for (const Guard &guard : guards) {
      const uintptr_t start = guard.start.load(std::memory_order_acquire);
      if (start != 0 && address >= start && address < guard.end) {
         // Nothing can be done about a failing write any more.
         [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, guard.message, guard.messageSize);
         _exit(exitStatus.load(std::memory_order_relaxed));
      }
   }
   PassOn(signal, info, context);
}

// When somebody else's handler was installed on top of this one, that one passes signals on to this one.
// Installed once more, on top of that, each would pass them on to the other for ever.
void InstallHandler()
{
   if (isHandlerInstalled) {
      return;
   }
   isHandlerInstalled = true;
   struct sigaction action = {};
   action.sa_sigaction = OnBusError;
   action.sa_flags = SA_SIGINFO | SA_ONSTACK;
   sigemptyset(&action.sa_mask);
   sigaction(SIGBUS, &action, &formerAction);
}

void RemoveHandler()
{
   struct sigaction current;
   if (sigaction(SIGBUS, nullptr, &current) == 0 && (current.sa_flags & SA_SIGINFO) != 0 &&
       current.sa_sigaction == OnBusError) {
      sigaction(SIGBUS, &formerAction, nullptr);
      isHandlerInstalled = false;
   }
}

Guard *StartGuard(uintptr_t start, size_t size, const std::string &message)
{
   const std::lock_guard lock(guardsMutex);
   for (Guard &guard : guards) {
      if (guard.start.load(std::memory_order_relaxed) == 0) {
         guard.end = start + size;
         guard.message = message.data();
         guard.messageSize = message.size();
         guard.start.store(start, std::memory_order_release);
         if (guardCount++ == 0) {
            InstallHandler();
         }
         return &guard;
      }
   }
   return nullptr;
}

void EndGuard(Guard *guard)
{
   const std::lock_guard lock(guardsMutex);
   guard->start.store(0, std::memory_order_release);
   if (--guardCount == 0) {
      RemoveHandler();
   }
}

// Releases a map.
struct Unmap {
   void *address;
   size_t size;
   std::shared_ptr<std::string> message;
   Guard *guard;

   void operator()(const uint8_t *) const
   {
      if (guard != nullptr) {
         EndGuard(guard);
      }
      munmap(address, size);
   }
};

} // namespace

void SetExitStatusOfCutFile(int status)
{
   exitStatus.store(status, std::memory_order_relaxed);
}

std::shared_ptr<const uint8_t> MapFile(int descriptor, size_t size, const char *name)
{
   // The file takes the place of all pages but the last, which stays zero even if the file grows.
   const size_t room = size + static_cast<size_t>(sysconf(_SC_PAGESIZE));
   void *address = mmap(nullptr, room, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
   if (address == MAP_FAILED) {
      return nullptr;
   }
   if (mmap(address, size, PROT_READ, MAP_PRIVATE | MAP_FIXED, descriptor, 0) == MAP_FAILED) {
      const int error = errno;
      munmap(address, room);
      errno = error;
      return nullptr;
   }
   const auto message = std::make_shared<std::string>(std::string(name) + ": changed while it was read\n");
   Guard *guard = StartGuard(reinterpret_cast<uintptr_t>(address), size, *message);
   return {static_cast<const uint8_t *>(address), Unmap{address, room, message, guard}};
}

} // namespace nevra
