#include "exporter/reader_process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace exporter {

using nevra::FileDescriptor;

namespace {

// What a reader may take. A host with a hundred thousand processes takes a tenth of it.
constexpr rlim_t kMostMemory = rlim_t{1} << 30;
constexpr size_t kMostSaid = 64 << 10;
constexpr int kReaderPipe = 3; // the descriptor that it writes to

// The process's own, from here on.
[[noreturn]] void BecomeReader(const ReadingChoices &choices, int writeEnd, int messages)
{
   setpgid(0, 0); // with those that it starts itself
   prctl(PR_SET_PDEATHSIG, SIGKILL);
   sigset_t none;
   sigemptyset(&none);
   sigprocmask(SIG_SETMASK, &none, nullptr);
   std::signal(SIGPIPE, SIG_DFL);
   if (dup2(messages, STDERR_FILENO) < 0 || dup2(writeEnd, kReaderPipe) < 0 ||
       fcntl(kReaderPipe, F_SETFD, FD_CLOEXEC) != 0) {
      _exit(EXIT_FAILURE);
   }
   // The server's connections end when the server ends them.
   close_range(kReaderPipe + 1, ~0U, 0);
#ifndef __SANITIZE_ADDRESS__ // which takes all address space there is
   const rlimit memory = {kMostMemory, kMostMemory};
   setrlimit(RLIMIT_DATA, &memory);
#endif
   try {
      ReadReports(choices, kReaderPipe);
   } catch (const std::exception &) {
      _exit(EXIT_FAILURE); // short of memory
   }
   _exit(EXIT_SUCCESS);
}

std::vector<std::string> LinesOf(int file)
{
   std::string text(kMostSaid, '\0');
   const ssize_t size = pread(file, text.data(), text.size(), 0);
   std::vector<std::string> lines;
   std::string_view rest(text.data(), size > 0 ? static_cast<size_t>(size) : 0);
   while (!rest.empty()) {
      const size_t length = std::min(rest.find('\n'), rest.size());
      lines.emplace_back(rest.substr(0, length));
      rest.remove_prefix(std::min(length + 1, rest.size()));
   }
   return lines;
}

} // namespace

ReaderProcess::~ReaderProcess()
{
   Stop();
}

bool ReaderProcess::Start(const ReadingChoices &choices)
{
   int ends[2];
   messages = FileDescriptor(memfd_create("reader-messages", MFD_CLOEXEC));
   if (!messages.IsOpen() || pipe2(ends, O_CLOEXEC) != 0) {
      return false;
   }
   pipe = FileDescriptor(ends[0]);
   const FileDescriptor writeEnd(ends[1]);
   fcntl(pipe.Get(), F_SETFL, O_NONBLOCK);
   received = 0;
   pid = fork();
   if (pid == 0) {
      BecomeReader(choices, writeEnd.Get(), messages.Get());
   }
   if (pid < 0) {
      pipe.Close();
      messages.Close();
      return false;
   }
   setpgid(pid, pid); // whoever is first
   return true;
}

bool ReaderProcess::Receive(Reading *reading)
{
   std::array<char, 64 << 10> bytes;
   for (;;) {
      const ssize_t count = read(pipe.Get(), bytes.data(), bytes.size());
      if (count < 0) {
         return errno != EAGAIN && errno != EINTR;
      }
      received += static_cast<size_t>(count);
      if (count == 0 || received > limit ||
          !parser.Take({bytes.data(), static_cast<size_t>(count)}, reading) || reading->isComplete) {
         return true;
      }
   }
}

std::vector<std::string> ReaderProcess::Stop()
{
   if (pid <= 0) {
      return {};
   }
   kill(-pid, SIGKILL);
   kill(pid, SIGKILL);
   ended.push_back(pid);
   pid = -1;
   pipe.Close();
   parser = {}; // with what it holds of a message as large as the text
   std::vector<std::string> lines = LinesOf(messages.Get());
   messages.Close();
   Reap();
   return lines;
}

size_t ReaderProcess::Reap()
{
   std::erase_if(ended, [](pid_t one) { return waitpid(one, nullptr, WNOHANG) != 0; });
   return ended.size();
}

} // namespace exporter
