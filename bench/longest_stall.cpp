// How long a report, or a capture, holds up a process that it looks at: a VM's, of so many GB in pages of 4
// KB, with a thread that maps a page, touches it and unmaps it over and over. The kernel walks the process's
// page tables for some figures, and whoever wants to change the mappings waits for that.
//
// usage: longest_stall BIN GIGABYTES     prints a table in Markdown
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/process.h"
#include "reports/report_list.h"

namespace {

constexpr size_t kPageBytes = 4096;
constexpr int kRuns = 3;

constexpr struct {
   const char *type;
   ReportSource source;
} kReports[] = {
#define REPORT_ROW(type, Entry, description, source) {type, ReportSource::source},
   REPORT_LIST(REPORT_ROW)
#undef REPORT_ROW
};

// What the process and the benchmark share.
struct Stalls {
   std::atomic<bool> isReady;
   std::atomic<uint64_t> longest; // nanoseconds
};

uint64_t Nanoseconds()
{
   const auto now = std::chrono::steady_clock::now().time_since_epoch();
   return static_cast<uint64_t>(std::chrono::nanoseconds(now).count());
}

[[noreturn]] void BeHeldUp(Stalls *stalls, size_t gigabytes)
{
   prctl(PR_SET_PDEATHSIG, SIGKILL);
   prctl(PR_SET_NAME, "qemu-system-x86");
   const size_t bytes = gigabytes << 30;
   void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
   if (memory == MAP_FAILED || madvise(memory, bytes, MADV_NOHUGEPAGE) != 0) {
      std::perror("longest_stall");
      _exit(1);
   }
   for (size_t at = 0; at < bytes; at += kPageBytes) {
      static_cast<volatile char *>(memory)[at] = 1;
   }
   stalls->isReady = true;
   for (;;) {
      const uint64_t start = Nanoseconds();
      void *page = mmap(nullptr, kPageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
      if (page == MAP_FAILED) {
         _exit(1);
      }
      *static_cast<volatile char *>(page) = 1;
      munmap(page, kPageBytes);
      const uint64_t taken = Nanoseconds() - start;
      if (taken > stalls->longest) {
         stalls->longest = taken;
      }
   }
}

void PrintRow(const std::string &name, Stalls &stalls, const std::vector<std::string> &command,
              const std::string &output)
{
   uint64_t longest = 0;
   double seconds = 0;
   for (int run = 0; run < kRuns; run++) {
      stalls.longest = 0;
      if (command.empty()) {
         sleep(1);
         seconds = 1;
      } else {
         const ProcessRun measured = RunProcess(command, output);
         if (command.size() > 1 && command[1] == "capture") {
            unlink(command.back().c_str()); // a capture replaces no file
         }
         if (measured.exitStatus != 0) {
            std::fprintf(stderr, "longest_stall: %s failed\n", name.c_str());
            std::exit(1);
         }
         seconds = std::max(seconds, measured.seconds);
      }
      longest = std::max<uint64_t>(longest, stalls.longest);
   }
   std::printf("| %s | %.1f | %.1f |\n", name.c_str(), seconds * 1e3, static_cast<double>(longest) / 1e6);
   std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
   const size_t gigabytes = argc == 3 ? std::strtoul(argv[2], nullptr, 10) : 0;
   if (gigabytes == 0) {
      std::fprintf(stderr, "usage: longest_stall BIN GIGABYTES\n");
      return 2;
   }
   void *shared = mmap(nullptr, sizeof(Stalls), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
   if (shared == MAP_FAILED) {
      std::perror("longest_stall");
      return 1;
   }
   Stalls &stalls = *new (shared) Stalls();
   const pid_t child = fork();
   if (child == 0) {
      BeHeldUp(&stalls, gigabytes);
   }
   while (!stalls.isReady) {
      if (waitpid(child, nullptr, WNOHANG) != 0) {
         return 1;
      }
      usleep(1000);
   }
   const std::string bin = std::string(argv[1]) + '/';
   std::printf("| | time, ms | longest stall, ms |\n|---|--:|--:|\n");
   PrintRow("nothing, for a second", stalls, {}, "");
   for (const auto &report : kReports) {
      if (report.source == ReportSource::LiveOnly) {
         continue; // it programs the hardware
      }
      PrintRow(std::string("`") + report.type + "`", stalls, {bin + "hostmem", "-r", report.type, "-q"},
               "/dev/null");
   }
   char folder[] = "/tmp/longest-stall-XXXXXX";
   if (mkdtemp(folder) == nullptr) {
      std::perror("longest_stall");
      return 1;
   }
   const std::string snapshot = std::string(folder) + "/snapshot";
   PrintRow("a capture", stalls, {bin + "hostmem-snapshot", "capture", "-o", snapshot}, "/dev/null");
   rmdir(folder);
   kill(child, SIGKILL);
   waitpid(child, nullptr, 0);
   return 0;
}
