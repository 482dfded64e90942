// Real VMs, under an emulator that needs neither an image nor the processor's help.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/live/live_report.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kPatience = 20s;

// A VM that has no devices and nothing to start from; ended with this object at the latest.
class EmulatedGuest {
 public:
   EmulatedGuest(const std::string &name, const std::string &memory)
   {
      std::vector<std::string> words = {
         "qemu-system-x86_64", "-accel", "tcg",  "-display", "none", "-nodefaults",
         "-no-user-config",    "-m",     memory, "-name",    name};
      std::vector<char *> argv;
      for (std::string &word : words) {
         argv.push_back(word.data());
      }
      argv.push_back(nullptr);
      pid = fork();
      if (pid == 0) {
         prctl(PR_SET_PDEATHSIG, SIGKILL);
         const int nowhere = open("/dev/null", O_RDWR);
         dup2(nowhere, STDIN_FILENO);
         dup2(nowhere, STDOUT_FILENO);
         dup2(nowhere, STDERR_FILENO);
         execvp(argv[0], argv.data());
         _exit(127);
      }
   }
   ~EmulatedGuest()
   {
      End();
      Bury();
   }
   EmulatedGuest(const EmulatedGuest &) = delete;
   EmulatedGuest &operator=(const EmulatedGuest &) = delete;

   // Once ended it is a zombie until it is buried.
   void End() const
   {
      if (pid > 0) {
         kill(pid, SIGKILL);
         siginfo_t information;
         waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT);
      }
   }
   void Bury()
   {
      if (pid > 0) {
         waitpid(pid, nullptr, 0);
         pid = -1;
      }
   }
   bool HasEnded() const
   {
      siginfo_t information = {};
      waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT | WNOHANG);
      return information.si_pid != 0;
   }

   pid_t pid;
};

// Names of this run only: another run may have VMs at the same time.
std::string Unique(const std::string &name)
{
   return name + "-" + std::to_string(getpid());
}

bool HasEmulator()
{
   return std::system("command -v qemu-system-x86_64 >/dev/null") == 0;
}

LiveReport RunVmStats()
{
   return RunLiveReport("vm-stats", {"-x"});
}

// Waits until the guest's first instructions have taken memory. Null if that does not come.
std::unique_ptr<EmulatedGuest> StartGuest(const std::string &name, const std::string &memory)
{
   auto guest = std::make_unique<EmulatedGuest>(name, memory);
   for (const Clock::time_point end = Clock::now() + kPatience; Clock::now() < end && !guest->HasEnded();) {
      const LiveReport report = RunVmStats();
      const std::vector<std::string> *const row = report.Find("worldGrp", std::to_string(guest->pid));
      if (row != nullptr && report.Figure(*row, "mapped") > 0) {
         return guest;
      }
      std::this_thread::sleep_for(50ms);
   }
   ADD_FAILURE() << "the guest " << name << " did not appear; ended: " << guest->HasEnded();
   return nullptr;
}

struct GuestCase {
   std::string nameOption;
   std::string memoryOption;
   std::string shownName;
   int64_t memSizeKB;
   int64_t memSizeLimitKB;
};

void ExpectVmRow(const EmulatedGuest &guest, const GuestCase &expected)
{
   const LiveReport report = RunVmStats();
   const std::vector<std::string> *const row = report.Find("dname", expected.shownName);
   ASSERT_NE(row, nullptr) << expected.shownName;
   EXPECT_EQ(report.Text(*row, "name"), expected.shownName);
   EXPECT_EQ(report.Text(*row, "schedGrp"), ProcessGroup(guest.pid));
   EXPECT_EQ(report.Text(*row, "worldGrp"), std::to_string(guest.pid));
   EXPECT_EQ(report.Figure(*row, "memSize"), expected.memSizeKB);
   EXPECT_EQ(report.Figure(*row, "memSizeLimit"), expected.memSizeLimitKB);
   const int64_t mapped = report.Figure(*row, "mapped");
   EXPECT_GT(mapped, 0);
   EXPECT_LE(mapped, expected.memSizeKB);
   EXPECT_EQ(report.Figure(*row, "consumed"), mapped - report.Figure(*row, "sharedSaved"));
   EXPECT_LE(report.Figure(*row, "touched"), mapped);
   EXPECT_GT(report.Figure(*row, "ovhd"), 0);
}

void ExpectGroupRows(const EmulatedGuest &guest, const GuestCase &expected)
{
   const LiveReport report = RunLiveReport("group-stats");
   const std::vector<std::string> *const vm = report.Find("gid", ProcessGroup(guest.pid));
   const std::vector<std::string> *const vmm = report.Find("gid", VmmGroup(guest.pid));
   const std::vector<std::string> *const emulator = report.Find("gid", EmulatorGroup(guest.pid));
   ASSERT_TRUE(vm != nullptr && vmm != nullptr && emulator != nullptr) << expected.shownName;
   EXPECT_EQ(report.Text(*vm, "name"), expected.shownName);
   EXPECT_EQ(report.Figure(*vm, "memSize"), expected.memSizeKB);
   EXPECT_EQ(report.Text(*vm, "nChild"), "2");
   // A VM in the root cgroup is "pre" too.
   const std::string flags = report.Text(*vm, "flags");
   EXPECT_TRUE(flags == "vm" || flags == "pre:vm") << flags;
   EXPECT_EQ(report.Text(*vmm, "name"), "vmm");
   EXPECT_EQ(report.Figure(*vmm, "memSize"), expected.memSizeKB);
   EXPECT_EQ(report.Text(*emulator, "parGid"), ProcessGroup(guest.pid));
   EXPECT_GT(report.Figure(*emulator, "memSize"), expected.memSizeKB);
}

void ExpectUwRow(const EmulatedGuest &guest)
{
   const LiveReport report = RunLiveReport("uw-stats");
   const std::vector<std::string> *const emulator = report.Find("schedGrp", EmulatorGroup(guest.pid));
   ASSERT_NE(emulator, nullptr);
   EXPECT_EQ(report.Text(*emulator, "type"), "(all)");
   EXPECT_EQ(report.Find("schedGrp", ProcessGroup(guest.pid)), nullptr);
}

TEST(EmulatedGuest, IsShownByNameAndConfiguredMemory)
{
   if (!HasEmulator()) {
      GTEST_SKIP() << "qemu-system-x86_64 is not installed";
   }
   const std::string plain = Unique("plain");
   const std::string named = Unique("named");
   const std::string disguised = Unique("disguised");
   const GuestCase cases[] = {
      {plain, "96", plain, 96 * 1024, 96 * 1024},
      {"guest=" + named, "size=64M,slots=2,maxmem=256M", named, 64 * 1024, 256 * 1024},
      // The process of this one is called otherwise.
      {disguised + ",process=hm-guest", "48M", disguised, 48 * 1024, 48 * 1024},
   };
   for (const GuestCase &expected : cases) {
      SCOPED_TRACE(expected.nameOption);
      const std::unique_ptr<EmulatedGuest> guest = StartGuest(expected.nameOption, expected.memoryOption);
      ASSERT_NE(guest, nullptr);
      ExpectVmRow(*guest, expected);
      ExpectGroupRows(*guest, expected);
      ExpectUwRow(*guest);
   }
}

// One that has ended has no memory and no name left, though its parent has not taken notice yet.
TEST(EmulatedGuest, IsNoVmOnceItHasEnded)
{
   if (!HasEmulator()) {
      GTEST_SKIP() << "qemu-system-x86_64 is not installed";
   }
   const std::unique_ptr<EmulatedGuest> guest = StartGuest(Unique("ended"), "32");
   ASSERT_NE(guest, nullptr);
   guest->End();
   EXPECT_EQ(RunVmStats().Find("schedGrp", ProcessGroup(guest->pid)), nullptr);
   EXPECT_EQ(RunLiveReport("group-stats").Find("gid", VmmGroup(guest->pid)), nullptr);
}

// Ends at another moment of a running report each time.
TEST(EmulatedGuest, DisappearsWhileReportsRun)
{
   if (!HasEmulator()) {
      GTEST_SKIP() << "qemu-system-x86_64 is not installed";
   }
   for (const auto moment : {0ms, 1ms, 2ms, 3ms, 5ms, 9ms, 17ms, 27ms}) {
      const std::unique_ptr<EmulatedGuest> guest = StartGuest(Unique("killed"), "32");
      ASSERT_NE(guest, nullptr);
      const std::string group = ProcessGroup(guest->pid);
      std::atomic<bool> isGone = false;
      std::thread killer([&] {
         std::this_thread::sleep_for(moment);
         guest->End();
         guest->Bury();
         isGone = true;
      });
      for (bool wasGone = false; !wasGone;) {
         wasGone = isGone;
         const LiveReport vms = RunVmStats();
         const std::vector<std::string> *const row = vms.Find("schedGrp", group);
         if (row != nullptr) {
            EXPECT_FALSE(wasGone);
            EXPECT_EQ(vms.Text(*row, "dname"), Unique("killed"));
            EXPECT_EQ(vms.Figure(*row, "memSize"), 32 * 1024);
            EXPECT_GT(vms.Figure(*row, "mapped"), 0);
            EXPECT_LE(vms.Figure(*row, "mapped"), 32 * 1024);
         }
         RunLiveReport("group-stats");
         RunLiveReport("uw-stats");
      }
      killer.join();
   }
}

} // namespace
