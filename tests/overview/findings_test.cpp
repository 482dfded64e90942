// The findings: for each rule what it finds, and what it does not.
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "nevra/values.h"
#include "overview/findings.h"
#include "tests/overview/made_up_rows.h"

namespace {

using overview::FindFindings;
using overview::Finding;
using overview::HostRows;
using overview::Severity;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint64_t kMB = 1 << 10;
constexpr uint64_t kGB = 1 << 20;

std::vector<std::string> LinesOf(const std::vector<Finding> &findings)
{
   std::vector<std::string> lines;
   for (const Finding &finding : findings) {
      lines.push_back(std::string(SeverityWord(finding.severity)) + " " + finding.rule + ": " +
                      finding.subject + " " + finding.text + " (" + finding.command + ")");
   }
   return lines;
}

std::vector<std::string> Find(const HostRows &rows, const HostRows *before = nullptr,
                              const overview::KernelDetail *detail = nullptr)
{
   return LinesOf(FindFindings({.rows = rows, .detail = detail, .before = before}));
}

TEST(Findings, AreNoneOfAHostThatIsFine)
{
   EXPECT_THAT(Find(PlainRows()), IsEmpty());
   EXPECT_THAT(Find({}), IsEmpty());
}

TEST(Findings, HaveAMemoryStateBelowHigh)
{
   HostRows rows = PlainRows();
   rows.host->memState = "Clear";
   EXPECT_THAT(Find(rows), ElementsAre("note memory-state: memory state is Clear: 4.0 GB of 8.0 GB is free "
                                       "(hostmem -r comp-stats)"));
   rows.host->memState = "Soft";
   EXPECT_EQ(FindFindings({.rows = rows})[0].severity, Severity::Warning);
   for (const char *state : {"Hard", "Low"}) {
      rows.host->memState = state;
      EXPECT_EQ(FindFindings({.rows = rows})[0].severity, Severity::Critical) << state;
   }
   rows.host->memState = "Unknown";
   EXPECT_THAT(Find(rows), IsEmpty());
}

TEST(Findings, TakeAStateForANoteWhereMuchCanBeHad)
{
   HostRows rows = PlainRows();
   rows.host->memState = "Hard";
   rows.host->free = 50 * kMB;
   overview::KernelDetail detail;
   detail.Set("MemAvailable", 4 * kGB);
   EXPECT_THAT(
      Find(rows, nullptr, &detail),
      ElementsAre("note memory-state: memory state is Hard: 50.0 MB of 8.0 GB is free, 4.0 GB available "
                  "(hostmem -r comp-stats)"));
   detail.Set("MemAvailable", 500 * kMB);
   EXPECT_EQ(FindFindings({.rows = rows, .detail = &detail})[0].severity, Severity::Critical);
}

TEST(Findings, HaveAGroupNearItsLimit)
{
   HostRows rows = PlainRows();
   rows.groups.push_back({.gid = 7, .parent = 0, .name = "batch", .max = kGB, .consumed = 975 * kMB});
   EXPECT_THAT(Find(rows),
               ElementsAre("warning limit: batch uses 975.0 MB, 95 % of its limit of 1.0 GB (hostmem -r "
                           "group-stats -s name:max:consumed:consumedPeak -g 7 -l 1)"));
   rows.groups.back().consumed = 1020 * kMB;
   EXPECT_EQ(FindFindings({.rows = rows})[0].severity, Severity::Critical);
   rows.groups.back().consumed = 972 * kMB; // 94.9 %
   EXPECT_THAT(Find(rows), IsEmpty());
   rows.groups.back() = {
      .gid = 7, .parent = 0, .name = "batch", .max = overview::kNoLimit, .consumed = 9 * kGB};
   EXPECT_THAT(Find(rows), IsEmpty());
}

TEST(Findings, TakeAFullCgroupForANoteUnlessItsProcessesFillIt)
{
   HostRows rows = PlainRows();
   rows.groups.push_back({.gid = 7, .parent = 0, .name = "batch.slice", .max = kGB, .consumed = kGB});
   rows.groups.push_back({.gid = 8, .parent = 7, .name = "job", .consumed = 300 * kMB});
   rows.groups.push_back(
      {.gid = 9, .parent = 8, .name = "cc", .consumed = 200 * kMB, .flags = GROUP_USER_WORLD});
   rows.groups.push_back(
      {.gid = 10, .parent = 7, .name = "ld", .consumed = 100 * kMB, .flags = GROUP_USER_WORLD});
   const overview::KernelDetail detail; // of Linux
   EXPECT_THAT(Find(rows, nullptr, &detail),
               ElementsAre("note limit: batch.slice uses 1.0 GB, 100 % of its limit of 1.0 GB, page cache "
                           "included; its processes hold 300.0 MB (hostmem -r group-stats -s "
                           "name:max:consumed:consumedPeak -g 7 -l 1)"));
   EXPECT_EQ(FindFindings({.rows = rows})[0].severity, Severity::Critical) << "of another kernel";
   rows.groups.back().consumed = 900 * kMB;
   EXPECT_THAT(Find(rows, nullptr, &detail),
               ElementsAre("critical limit: batch.slice uses 1.0 GB, 100 % of its limit of 1.0 GB, page "
                           "cache included; its processes hold 1.0 GB (hostmem -r group-stats -s "
                           "name:max:consumed:consumedPeak -g 7 -l 1)"));
}

TEST(Findings, TakeAProcessOfLinuxAtItsLimitAsItIs)
{
   HostRows rows = PlainRows();
   rows.groups.push_back(
      {.gid = 9, .parent = 0, .name = "cc", .max = kGB, .consumed = kGB, .flags = GROUP_USER_WORLD});
   const overview::KernelDetail detail;
   EXPECT_THAT(Find(rows, nullptr, &detail),
               ElementsAre("critical limit: cc uses 1.0 GB, 100 % of its limit of 1.0 GB (hostmem -r "
                           "group-stats -s name:max:consumed:consumedPeak -g 9 -l 1)"));
}

TEST(Findings, HaveALimitOnceForAGroupAndWhatItHolds)
{
   HostRows rows = PlainRows();
   rows.groups.push_back({.gid = uint64_t{1} << 40, .parent = 0, .name = "vm", .max = kGB, .consumed = kGB});
   rows.groups.push_back({.gid = 8, .parent = int64_t{1} << 40, .name = "vmm", .max = kGB, .consumed = kGB});
   EXPECT_THAT(Find(rows),
               ElementsAre("critical limit: vm uses 1.0 GB, 100 % of its limit of 1.0 GB (hostmem -r "
                           "group-stats -s name:max:consumed:consumedPeak)"));
}

TEST(Findings, HaveAGroupThatHasReachedItsLimit)
{
   HostRows rows = PlainRows();
   rows.groups.push_back(
      {.gid = 7, .parent = 0, .name = "batch", .max = kGB, .consumed = 100 * kMB, .consumedPeak = kGB});
   EXPECT_THAT(Find(rows),
               ElementsAre("note peak: batch has reached its limit of 1.0 GB, and uses 100.0 MB now "
                           "(hostmem -r group-stats -s name:max:consumed:consumedPeak -g 7 -l 1)"));
   const overview::KernelDetail detail;
   EXPECT_THAT(Find(rows, nullptr, &detail),
               ElementsAre("note peak: batch has reached its limit of 1.0 GB, and uses 100.0 MB now, page "
                           "cache included (hostmem -r group-stats -s name:max:consumed:consumedPeak -g 7 "
                           "-l 1)"));
   rows.groups.back().consumedPeak = kGB - 1;
   EXPECT_THAT(Find(rows), IsEmpty());
}

TEST(Findings, HaveVmsThatAreSwappedTheWorstFirst)
{
   HostRows rows = PlainRows();
   rows.vms.push_back({.gid = 5, .name = "idle", .memSize = kGB});
   rows.vms.push_back({.gid = 6, .name = "a", .memSize = kGB, .swapped = 1 * kMB});
   rows.vms.push_back({.gid = 7, .name = "b", .memSize = kGB, .swapped = 512 * kMB, .isSwapping = true});
   EXPECT_THAT(Find(rows),
               ElementsAre("critical vm-swapped: b has 512.0 MB swapped, 50 % of its memory, and is "
                           "swapping (hostmem -r swap-stats)",
                           "warning vm-swapped: a has 1.0 MB swapped, 0.1 % of its memory (hostmem -r "
                           "swap-stats)"));
}

TEST(Findings, HaveVmsThatGaveMemoryToTheirBalloon)
{
   HostRows rows = PlainRows();
   rows.vms.push_back({.gid = 5, .name = "a", .memSize = kGB, .ballooned = 0});
   EXPECT_THAT(Find(rows), IsEmpty());
   rows.vms.back().ballooned = 128 * kMB;
   EXPECT_THAT(
      Find(rows),
      ElementsAre("warning vm-ballooned: a gave 128.0 MB to its balloon, 12 % of its memory (hostmem -r "
                  "vm-stats -s name:memSize:ballooned:balloonTgt)"));
}

TEST(Findings, HaveReservationsThatAreNotInEffect)
{
   HostRows rows = PlainRows();
   rows.groups.push_back({.gid = 7, .parent = 0, .name = "db", .min = kGB, .eMin = kGB});
   EXPECT_THAT(Find(rows), IsEmpty());
   rows.groups.back().eMin = 256 * kMB;
   EXPECT_THAT(Find(rows),
               ElementsAre("warning reservation: db reserves 1.0 GB, of which 256.0 MB is in effect "
                           "(hostmem -r group-stats -s name:min:eMin:conResv:availResv -g 7 -l 1)"));
}

TEST(Findings, HaveReservationsBeyondTheMemoryOfTheHost)
{
   HostRows rows = PlainRows();
   rows.groups.front().conResv = 8 * kGB;
   EXPECT_THAT(Find(rows), IsEmpty());
   rows.groups.front().conResv = 9 * kGB;
   EXPECT_THAT(Find(rows),
               ElementsAre("warning reservation: host its groups reserve 9.0 GB of 8.0 GB (hostmem -r "
                           "group-stats -s name:min:eMin:conResv:availResv)"));
}

TEST(Findings, HaveANodeThatIsShortWhileAnotherIsNot)
{
   HostRows rows = PlainRows();
   rows.nodes = {{.numaNode = 0, .free = 10 * kMB, .used = 4 * kGB},
                 {.numaNode = 1, .free = 2 * kGB, .used = 2 * kGB}};
   EXPECT_THAT(Find(rows),
               ElementsAre("warning numa: NUMA node 0 has 10.0 MB free, 0.2 %; node 1 has 2.0 GB (hostmem "
                           "-r buddy-stats)"));
   rows.nodes[0].free = kGB;
   EXPECT_THAT(Find(rows), IsEmpty());
   rows.nodes[0].free = 10 * kMB;
   overview::KernelDetail detail;
   detail.Set("MemAvailable", kGB);
   EXPECT_EQ(FindFindings({.rows = rows, .detail = &detail})[0].severity, Severity::Note)
      << "much of it is available";
   rows.nodes[1].free = 20 * kMB; // both are
   EXPECT_THAT(Find(rows), IsEmpty());
}

TEST(Findings, HaveNoNodeWithoutMemory)
{
   HostRows rows = PlainRows();
   rows.nodes = {{.numaNode = 0, .free = 0, .used = 0}, {.numaNode = 1, .free = 2 * kGB, .used = 2 * kGB}};
   EXPECT_THAT(Find(rows), IsEmpty());
}

TEST(Findings, HaveLargePagesThatNobodyUses)
{
   HostRows rows = PlainRows();
   rows.pools = {{.name = "pshare-0", .node = 0, .size = kGB, .free = 900 * kMB},
                 {.name = "thp", .node = 0, .size = 100 * kMB, .free = 0}};
   EXPECT_THAT(Find(rows),
               ElementsAre("warning large-pages: large pages 900.0 MB of the 1.1 GB set aside is not used, "
                           "11 % of the host (hostmem -r lpool-stats)"));
   rows.pools[0].free = 400 * kMB; // less than half
   EXPECT_THAT(Find(rows), IsEmpty());
   rows.pools = {{.name = "pshare-0", .node = 0, .size = 50 * kMB, .free = 50 * kMB}}; // of 8 GB
   EXPECT_THAT(Find(rows), IsEmpty());
}

TEST(Findings, HavePageSharingThatCostsMoreThanItSaves)
{
   HostRows rows = PlainRows();
   rows.sharing = {.cow = 0, .used = 0, .reclaimed = 1 * kMB, .hints = kGB};
   EXPECT_THAT(Find(rows),
               ElementsAre("warning page-sharing: page sharing saves 1.0 MB, and keeps track of 262144 "
                           "pages, about 16.0 MB (hostmem -r pshare-stats)"));
   rows.sharing->reclaimed = 17 * kMB;
   EXPECT_THAT(Find(rows), IsEmpty());
   rows.sharing = {.cow = 0, .used = 0, .reclaimed = 0, .hints = 10 * kMB}; // hardly begun
   EXPECT_THAT(Find(rows), IsEmpty());
}

TEST(Findings, HaveAHeapWithMostOfTheKernelsData)
{
   HostRows rows = PlainRows();
   rows.heaps = {{.name = "dentry", .size = 300 * kMB}, {.name = "inode", .size = 10 * kMB}};
   EXPECT_THAT(Find(rows),
               ElementsAre("note slab: dentry holds 300.0 MB, 59 % of the kernel's data (hostmem -r "
                           "heap-stats -s name:used:size)"));
   rows.heaps[0].size = 200 * kMB;
   EXPECT_THAT(Find(rows), IsEmpty());
   rows.host->dataAndHeap = 60 * kMB;
   rows.heaps[0].size = 50 * kMB; // less than a hundredth of the host
   EXPECT_THAT(Find(rows), IsEmpty());
}

TEST(Findings, HaveHeapsThatOnlyGrow)
{
   HostRows before = PlainRows();
   before.heaps = {{.name = "dentry", .size = 40 * kMB, .shrinks = 3}, {.name = "inode", .size = 1 * kMB}};
   HostRows now = before;
   EXPECT_THAT(Find(now, &before), IsEmpty());
   now.heaps[0].size = 60 * kMB;
   now.heaps[1].size = 3 * kMB; // three times as much, of little
   EXPECT_THAT(
      Find(now, &before),
      ElementsAre("warning heap-grows: dentry grew from 40.0 MB to 60.0 MB (hostmem -r heap-stats -s "
                  "name:used:size)"));
   EXPECT_THAT(Find(now), IsEmpty()) << "one moment does not show growth";
   now.heaps[0].shrinks = 4;
   EXPECT_THAT(Find(now, &before), IsEmpty());
}

TEST(Findings, OfAnyRowsHaveFiguresAndACommandTheMostSevereFirst)
{
   std::mt19937_64 random(7);
   for (int run = 0; run < 1000; run++) {
      const HostRows rows = MakeUpRows(&random);
      const HostRows before = MakeUpRows(&random);
      const overview::KernelDetail detail = MakeUpDetail(rows, &random);
      Severity last = Severity::Critical;
      for (const Finding &finding : FindFindings({.rows = rows, .detail = &detail, .before = &before})) {
         ASSERT_LE(finding.severity, last);
         last = finding.severity;
         ASSERT_NE(finding.text.find_first_of("0123456789"), std::string::npos) << finding.text;
         ASSERT_TRUE(finding.command.starts_with("hostmem -r ")) << finding.command;
      }
   }
}

} // namespace
