// The profiler over recorded devices: two sockets whose configuration files are plain files, in place of /sys
// in a mount namespace of the run's own.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/nevra/linux/recorded_tree.h"

namespace {

struct Unit {
   int slot;
   int function;
   const char *label; // as the output file has it, up to the event
   bool isMesh;
};

constexpr Unit kUnits[] = {
   {10, 2, "IMC-0 \t Channel-0 \t ", false}, {10, 6, "IMC-0 \t Channel-1 \t ", false},
   {11, 2, "IMC-0 \t Channel-2 \t ", false}, {12, 2, "IMC-1 \t Channel-0 \t ", false},
   {12, 6, "IMC-1 \t Channel-1 \t ", false}, {13, 2, "IMC-1 \t Channel-2 \t ", false},
   {8, 0, "M2M-IMC-0 \t\t ", true},          {9, 0, "M2M-IMC-1 \t\t ", true},
};
constexpr const char *kBuses[] = {"3a", "ae"};

struct Event {
   const char *name;
   size_t low;
   size_t high;
};

// In the order in which they are read.
constexpr Event kChannelEvents[] = {{"UNC_M_PMM_RPQ_INSERTS", 0xb8, 0xbc},
                                    {"UNC_M_PMM_WPQ_INSERTS", 0xa0, 0xa4},
                                    {"UNC_M_CAS_COUNT_WR", 0xb0, 0xb4},
                                    {"UNC_M_CAS_COUNT_RD", 0xa8, 0xac}};
constexpr Event kMeshEvents[] = {{"UNC_M2M_TAG_HIT_NM_RD_HIT_CLEAN", 0x210, 0x214},
                                 {"UNC_M2M_TAG_HIT_NM_RD_HIT_DIRTY", 0x208, 0x20c},
                                 {"UNC_M2M_IMC_WRITES_NI", 0x218, 0x21c}};

void Put(std::string *config, size_t offset, uint32_t value)
{
   std::memcpy(config->data() + offset, &value, sizeof value);
}

uint32_t LowWord(size_t socket, size_t unit, size_t event)
{
   return static_cast<uint32_t>(0x10 + socket * 1000 + unit * 100 + event);
}

// The configuration space of a unit with its counters, before the run.
std::string ConfigOf(size_t socket, size_t unit)
{
   std::string config(4096, '\x5a');
   Put(&config, 0, kUnits[unit].slot == 10 && kUnits[unit].function == 2 ? 0x20428086 : 0x20668086);
   size_t event = 0;
   const auto count = [&](const Event &counted) {
      Put(&config, counted.low, LowWord(socket, unit, event++));
      Put(&config, counted.high, 0x12345); // of which the low half counts
   };
   if (kUnits[unit].isMesh) {
      std::for_each(std::begin(kMeshEvents), std::end(kMeshEvents), count);
   } else {
      std::for_each(std::begin(kChannelEvents), std::end(kChannelEvents), count);
   }
   return config;
}

// The same after the run: events programmed, frozen for the reading.
std::string ProgrammedConfigOf(size_t socket, size_t unit)
{
   std::string config = ConfigOf(socket, unit);
   if (kUnits[unit].isMesh) {
      Put(&config, 0x238, 0x40012c);
      Put(&config, 0x230, 0x40022c);
      Put(&config, 0x240, 0x408038);
      Put(&config, 0x258, 0x100);
   } else {
      Put(&config, 0xe4, 0x4000e3);
      Put(&config, 0xd8, 0x4000e7);
      Put(&config, 0xe0, 0x400c04);
      Put(&config, 0xdc, 0x400304);
      Put(&config, 0xf4, 0x100);
   }
   return config;
}

std::string ConfigPath(size_t socket, size_t unit)
{
   char name[64];
   std::snprintf(name, sizeof name, "sys/bus/pci/devices/0000:%s:%02x.%d/config", kBuses[socket],
                 kUnits[unit].slot, kUnits[unit].function);
   return name;
}

std::string ReadFile(const std::string &path)
{
   std::ifstream file(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

constexpr int kNoMeans = 77;

// Runs the profiler with the recorded devices in place of the host's, in the folder `folder`.
int RunProfiler(const std::string &recorded, const std::string &folder)
{
   const pid_t child = fork();
   if (child == 0) {
      if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
          mount((recorded + "/proc/cpuinfo").c_str(), "/proc/cpuinfo", nullptr, MS_BIND, nullptr) != 0 ||
          mount((recorded + "/sys").c_str(), "/sys", nullptr, MS_BIND, nullptr) != 0 ||
          chdir(folder.c_str()) != 0) {
         _exit(kNoMeans);
      }
      execl(HOSTMEM_PROGRAM, HOSTMEM_PROGRAM, "-r", "dcpmm-stats", "-t", "1", "-i", "1", nullptr);
      _exit(127);
   }
   int status = -1;
   waitpid(child, &status, 0);
   return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The lines of the counters that a run of one iteration writes.
std::string ExpectedCounts()
{
   std::string lines;
   for (size_t socket = 0; socket < std::size(kBuses); socket++) {
      for (size_t unit = 0; unit < std::size(kUnits); unit++) {
         size_t event = 0;
         const auto line = [&](const Event &counted) {
            const uint64_t counts = (uint64_t{0x2345} << 32) | LowWord(socket, unit, event++);
            lines += "\n  " + std::to_string(socket) + " \t " + kUnits[unit].label + counted.name +
                     (kUnits[unit].isMesh ? " \t " : " \t \t \t ") + std::to_string(counts);
         };
         if (kUnits[unit].isMesh) {
            std::for_each(std::begin(kMeshEvents), std::end(kMeshEvents), line);
         } else {
            std::for_each(std::begin(kChannelEvents), std::end(kChannelEvents), line);
         }
      }
   }
   return lines;
}

TEST(LiveProfiler, ProgramsRunsAndReadsTheRecordedSockets)
{
   RecordedTree tree;
   tree.File("proc/cpuinfo", "processor\t: 0\nvendor_id\t: GenuineIntel\ncpu family\t: 6\nmodel\t\t: 85\n\n");
   tree.Folder("sys/bus/nd/devices/nmem0");
   for (size_t socket = 0; socket < std::size(kBuses); socket++) {
      for (size_t unit = 0; unit < std::size(kUnits); unit++) {
         tree.File(ConfigPath(socket, unit), ConfigOf(socket, unit));
      }
   }
   tree.Folder("output");
   const int status = RunProfiler(tree.Root(), tree.Root() + "/output");
   if (status == kNoMeans) {
      GTEST_SKIP() << "folders cannot be mounted over /sys and /proc/cpuinfo";
   }
   ASSERT_EQ(status, 0);

   const std::filesystem::directory_iterator files(tree.Root() + "/output");
   ASSERT_NE(files, std::filesystem::directory_iterator());
   EXPECT_EQ(files->path().filename().string().rfind("dcpmm-stats-", 0), 0U) << files->path();
   EXPECT_NE(ReadFile(files->path()).find(ExpectedCounts()), std::string::npos) << ReadFile(files->path());
   for (size_t socket = 0; socket < std::size(kBuses); socket++) {
      for (size_t unit = 0; unit < std::size(kUnits); unit++) {
         EXPECT_TRUE(ReadFile(tree.Root() + "/" + ConfigPath(socket, unit)) ==
                     ProgrammedConfigOf(socket, unit))
            << ConfigPath(socket, unit);
      }
   }
}

} // namespace
