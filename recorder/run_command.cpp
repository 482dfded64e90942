#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fstream>
#include <new>
#include <system_error>

#include <malloc.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "nevra/linux/kernel_file.h"
#include "nevra/nevra.h"
#include "recorder/commands.h"
#include "recorder/folder_storage.h"
#include "recorder/frame_schedule.h"
#include "recorder/host_sampler.h"
#include "recorder/pressure_watch.h"
#include "recorder/service_manager.h"

namespace recorder {

namespace {

constexpr int64_t kSecond = 1'000'000'000;

int64_t ReadClock(clockid_t clock)
{
   timespec time = {};
   clock_gettime(clock, &time);
   // A clock may be set beyond the years that 64 bits have the nanoseconds of.
   constexpr int64_t kLast = int64_t{9'000'000'000};
   return std::clamp(int64_t{time.tv_sec}, -kLast, kLast) * kSecond + time.tv_nsec;
}

FrameTime Now()
{
   return {ReadClock(CLOCK_REALTIME), ReadClock(CLOCK_BOOTTIME)};
}

// "4f1c..." with dashes, as bytes; zeros where the kernel has none.
std::array<uint8_t, 16> ReadBootId(const std::string &root)
{
   std::array<uint8_t, 16> id = {};
   std::ifstream file(root + "/proc/sys/kernel/random/boot_id");
   size_t digits = 0;
   for (char character = 0; digits < 2 * id.size() && file.get(character);) {
      constexpr std::string_view kDigits = "0123456789abcdef";
      const size_t value = kDigits.find(character);
      if (value != std::string_view::npos) {
         id[digits / 2] = static_cast<uint8_t>(id[digits / 2] << 4 | value);
         digits++;
      }
   }
   return id;
}

// Signals are read from a file, between frames.
int OpenSignals()
{
   sigset_t signals;
   sigemptyset(&signals);
   for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1}) {
      sigaddset(&signals, signal);
   }
   sigprocmask(SIG_BLOCK, &signals, nullptr);
   return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

// What the recorder needs must be there when nothing else is.
void LockMemory()
{
   // Memory that was needed once is kept for the next frame, instead of asking for it again under pressure.
   mallopt(M_TRIM_THRESHOLD, INT_MAX);
   mallopt(M_MMAP_MAX, 0);
   if (mlockall(MCL_CURRENT | MCL_FUTURE | MCL_ONFAULT) != 0) {
      Complain(std::string("memory cannot be locked: ") + std::strerror(errno) +
               "; under pressure, frames may come late");
   }
}

class Recorder {
 public:
   explicit Recorder(const RunOptions &options)
       : storage(options.folder), writer(&storage, options.limits, ReadBootId(options.root), Complain),
         sampler(options.root, Complain), watch(options.root.empty() ? "/" : options.root),
         schedule(options.interval, Now())
   {
   }

   int Run(const std::string &folder);

 private:
   bool HandleSignals();
   void TakeFrame(uint32_t reasons);
   void Wait();
   void CheckOoms(FrameTime now);

   FolderStorage storage;
   RecordingWriter writer;
   HostSampler sampler;
   PressureWatch watch;
   FrameSchedule schedule;
   nevra::FileDescriptor signals;
   int64_t nextCheck = 0;
   std::string lastProblem;
   std::string lastWatchProblem;
};

int Recorder::Run(const std::string &folder)
{
   std::string problem;
   if (!sampler.CanSample(&problem)) {
      Complain(problem);
      return kExitFailed;
   }
   signals = nevra::FileDescriptor(OpenSignals());
   const int error = writer.Open(Now());
   if (error != 0) {
      Complain(folder + ": " +
               (error == EBUSY ? "another recorder writes to it"
                               : std::string("cannot be written to: ") + std::strerror(error)));
      return kExitFailed;
   }
   LockMemory();
   NotifyServiceManager("READY=1\nWATCHDOG=1");
   while (HandleSignals()) {
      const FrameTime now = Now();
      CheckOoms(now);
      const uint32_t reasons = schedule.Due(now);
      if (reasons != 0) {
         TakeFrame(reasons);
      } else {
         Wait();
      }
      NotifyServiceManager("WATCHDOG=1");
   }
   NotifyServiceManager("STOPPING=1");
   return writer.Seal() ? kExitDone : kExitFailed;
}

// False when it is time to end.
bool Recorder::HandleSignals()
{
   signalfd_siginfo signal = {};
   while (read(signals.Get(), &signal, sizeof signal) == ssize_t{sizeof signal}) {
      if (signal.ssi_signo != SIGUSR1) {
         return false;
      }
      schedule.Ask(kReasonRequest, Now());
   }
   return true;
}

void Recorder::CheckOoms(FrameTime now)
{
   if (now.boot < nextCheck) {
      return;
   }
   nextCheck = now.boot + kSecond;
   std::string problem;
   try {
      if (watch.HasOomRisen()) {
         schedule.Ask(kReasonOom, now);
      }
   } catch (const std::bad_alloc &) {
      problem = "out of memory";
   } catch (const std::system_error &error) {
      problem = error.what();
   }
   // The next check finds what has risen meanwhile.
   if (!problem.empty() && problem != lastWatchProblem) {
      Complain("the counts of processes killed cannot be read: " + problem);
   }
   lastWatchProblem = problem;
}

void Recorder::TakeFrame(uint32_t reasons)
{
   std::vector<uint8_t> snapshot;
   std::string problem;
   const FrameTime now = Now();
   try {
      int64_t nextNotice = now.boot + kSecond;
      const auto onProgress = [&] {
         const int64_t boot = ReadClock(CLOCK_BOOTTIME);
         if (boot >= nextNotice) {
            nextNotice = boot + kSecond;
            NotifyServiceManager("WATCHDOG=1");
         }
      };
      if (sampler.Sample(now.wall / kSecond, onProgress, &snapshot, &problem)) {
         writer.Append(std::move(snapshot), reasons, now);
      }
   } catch (const std::bad_alloc &) {
      problem = "out of memory";
   } catch (const std::system_error &error) {
      problem = error.what();
   }
   // A host that is short of everything is what the next frames are for.
   if (!problem.empty() && problem != lastProblem) {
      Complain("a snapshot cannot be taken: " + problem);
   }
   lastProblem = problem;
}

void Recorder::Wait()
{
   pollfd files[] = {{signals.Get(), POLLIN, 0}, {watch.TriggerFile(), POLLPRI, 0}};
   const FrameTime now = Now();
   const int64_t wait = schedule.Wait(now);
   const timespec timeout = {wait / kSecond, wait % kSecond};
   if (ppoll(files, 2, &timeout, nullptr) <= 0) {
      return;
   }
   // A trigger that the kernel has given up has an event forever, POLLPRI among the rest.
   if ((files[1].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
      watch.CloseTrigger();
   } else if ((files[1].revents & POLLPRI) != 0) {
      schedule.Ask(kReasonPressure, Now());
   }
}

} // namespace

void Complain(const std::string &problem)
{
   Warning("hostmem-record: %s\n", problem.c_str());
}

int RunCommand(const RunOptions &options)
{
   Recorder recorder(options);
   return recorder.Run(options.folder);
}

} // namespace recorder
