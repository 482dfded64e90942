// Where the memory went: that it adds up, always.
#include <algorithm>
#include <random>
#include <string>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "nevra/linux/host_memory.h"
#include "nevra/values.h"
#include "overview/account.h"
#include "overview/account_rows.h"
#include "overview/amount_text.h"
#include "overview/group_kind.h"
#include "overview/moment_choice.h"
#include "tests/overview/made_up_rows.h"

namespace {

using overview::Account;
using overview::AccountItem;
using overview::HostMoment;
using overview::HostRows;
using overview::KernelDetail;

std::string TextOf(const AccountItem &item, int depth = 0)
{
   std::string text = std::string(2 * depth, ' ') + item.name + " " + std::to_string(item.kb) + "\n";
   for (const AccountItem &part : item.parts) {
      text += TextOf(part, depth + 1);
   }
   return text;
}

size_t CountGroups(const AccountItem &item)
{
   size_t count = item.group.has_value() ? 1 : 0;
   for (const AccountItem &part : item.parts) {
      count += CountGroups(part);
   }
   return count;
}

// What is missing has another name than what is too much, and only differences are negative where no amount
// is.
void ExpectNamedDifferences(const AccountItem &item)
{
   for (const AccountItem &part : item.parts) {
      if (part.isDifference) {
         EXPECT_NE(part.kb, 0) << part.name;
         EXPECT_EQ(part.kb < 0, part.name == overview::kCountedTwice || part.name == overview::kBeyondTotal ||
                                   part.name == "changed meanwhile")
            << part.name << ' ' << part.kb;
      }
      ExpectNamedDifferences(part);
   }
}

TEST(Account, OfAnyFiguresAndAnyTreeAddsUp)
{
   std::mt19937_64 random(1);
   for (int run = 0; run < 3000; run++) {
      const HostRows rows = MakeUpRows(&random);
      const KernelDetail detail = MakeUpDetail(rows, &random);
      for (const KernelDetail *given : {static_cast<const KernelDetail *>(nullptr), &detail}) {
         const Account account = MakeAccount(rows, given);
         ASSERT_TRUE(AddsUp(account.byUse)) << TextOf(account.byUse);
         ASSERT_TRUE(AddsUp(account.byGroup)) << TextOf(account.byGroup);
         ASSERT_EQ(account.byUse.kb, static_cast<int64_t>(rows.host->total));
         ASSERT_EQ(CountGroups(account.byGroup), rows.groups.size());
         ExpectNamedDifferences(account.byUse);
         ExpectNamedDifferences(account.byGroup);
      }
   }
}

TEST(Account, OfTheChangeBetweenAnyTwoMomentsAddsUp)
{
   std::mt19937_64 random(2);
   for (int run = 0; run < 1000; run++) {
      const HostRows before = MakeUpRows(&random);
      const HostRows now = MakeUpRows(&random);
      const Account accountBefore = MakeAccount(before, nullptr);
      const Account account = MakeAccount(now, nullptr);
      const AccountItem byUse = ChangeOf(accountBefore.byUse, account.byUse);
      ASSERT_TRUE(AddsUp(byUse)) << TextOf(byUse);
      ASSERT_TRUE(AddsUp(ChangeOf(accountBefore.byGroup, account.byGroup)));
      ASSERT_EQ(static_cast<uint64_t>(byUse.kb), now.host->total - before.host->total);
      // The parts of now come first, in their order.
      ASSERT_GE(byUse.parts.size(), account.byUse.parts.size());
      for (size_t i = 0; i < account.byUse.parts.size(); i++) {
         ASSERT_EQ(byUse.parts[i].name, account.byUse.parts[i].name);
      }
   }
}

TEST(Account, AsFarAsItIsShownAddsUp)
{
   std::mt19937_64 random(3);
   for (int run = 0; run < 1000; run++) {
      const AccountItem whole = MakeAccount(MakeUpRows(&random), nullptr).byUse;
      for (const size_t most : {1, 2, 3, 6, 7, 12, 40}) {
         const std::vector<overview::AccountRow> rows = ChooseRows(whole, most);
         ASSERT_LE(rows.size(), most);
         uint64_t sum = 0;
         for (const overview::AccountRow &row : rows) {
            sum += row.depth == 0 ? static_cast<uint64_t>(row.kb) : 0;
         }
         ASSERT_EQ(sum, static_cast<uint64_t>(whole.parts.empty() ? 0 : whole.kb)) << most << '\n'
                                                                                   << TextOf(whole);
      }
   }
}

// The live source is the library beside the tests, wherever they run.
class OfThisHost : public ::testing::Test {
 protected:
   void SetUp() override { ASSERT_NE(dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL), nullptr) << dlerror(); }
};

TEST_F(OfThisHost, AccountAddsUpAndHoldsTheKernelsDetail)
{
   HostMoment moment;
   ASSERT_TRUE(ReadMoment({}, &moment));
   ASSERT_NE(moment.Detail(), nullptr);
   const Account account = MakeAccount(moment.rows, moment.Detail());
   EXPECT_TRUE(AddsUp(account.byUse)) << TextOf(account.byUse);
   EXPECT_TRUE(AddsUp(account.byGroup)) << TextOf(account.byGroup);
   EXPECT_TRUE(account.available.has_value());
   const AccountItem &whole = account.byUse;
   EXPECT_EQ(std::ranges::count(whole.parts, "caches and drivers", &AccountItem::name), 1) << TextOf(whole);
   // What is read at two moments differs by what a host does meanwhile, and by no more.
   for (const AccountItem &part : whole.parts) {
      for (const AccountItem &below : part.parts) {
         EXPECT_TRUE(below.name != "changed meanwhile" || below.kb > -whole.kb / 50) << TextOf(whole);
      }
   }
}

HostMoment SampleMoment(const std::string &name)
{
   HostMoment moment;
   EXPECT_TRUE(ReadMoment({.snapshot = SAMPLES "/" + name + ".snapshot", .folder = {}, .time = {}}, &moment));
   return moment;
}

TEST(Account, OfAHostWithoutDetailSaysWhoUsesIt)
{
   const HostMoment moment = SampleMoment("hypervisor-host");
   EXPECT_EQ(moment.Detail(), nullptr);
   EXPECT_EQ(TextOf(MakeAccount(moment.rows, nullptr).byUse), R"(memory 805306368
  in use 623213452
    VMs 607640460
    processes 1743376
    system worlds 2097152
    unaccounted 11732464
  kernel 13131776
    data and heap 11534336
      main 524288
      storage 266240
      network 184320
      worlds 98304
      filesystem 65536
      pmem 32768
      trace 16384
      timers 8192
      scratch 2048
      unaccounted 10336256
    page descriptors 1572864
    code 24576
  firmware 1048576
    discarded 393216
    low memory 655360
  free 166208628
  unaccounted 1703936
)");
}

TEST(Account, ByGroupIsTheTreeOfTheGroups)
{
   const AccountItem tree = MakeAccount(SampleMoment("small-host").rows, nullptr).byGroup;
   EXPECT_EQ(TextOf(tree), R"(host 7340032
  system 655360
    drivers 393216
    logger 98304
    unaccounted 163840
  machine 5767168
    birch 3932160
      vmm.birch 3801088
      emu.birch 131072
    rowan 1835008
      vmm.rowan 1736704
      emu.rowan 98304
  shell 16384
  unaccounted 901120
)");
   EXPECT_EQ(tree.parts[1].parts[0].explanation, "VM");
   EXPECT_EQ(tree.parts[1].parts[0].group, 21u);
}

TEST(Account, TakesOffWhatGroupsCountTogether)
{
   HostRows rows = PlainRows();
   rows.groups.push_back({.gid = 5, .parent = 0, .name = "vm", .consumed = 1000, .flags = GROUP_VM});
   rows.groups.push_back(
      {.gid = 6, .parent = 5, .name = "vmm", .consumed = 900, .flags = GROUP_VMM_SUB_CONTAINER});
   rows.groups.push_back(
      {.gid = 7, .parent = 5, .name = "emu", .consumed = 950, .flags = GROUP_VM | GROUP_USER_WORLD});
   EXPECT_EQ(TextOf(MakeAccount(rows, nullptr).byGroup.parts[0]), "vm 1000\n"
                                                                  "  vmm 900\n"
                                                                  "  emu 950\n"
                                                                  "  counted more than once -850\n");
   const overview::ConsumedByKind sums = SumByKind(rows.groups);
   EXPECT_EQ(sums.vms, 1000u);
   EXPECT_EQ(sums.processes, 0u);
}

constexpr char kMemInfo[] = "MemTotal:        8388608 kB\n"
                            "MemAvailable:    6000000 kB\n"
                            "Buffers:             100 kB\n"
                            "Cached:           901000 kB\n"
                            "SwapCached:           10 kB\n"
                            "AnonPages:        947152 kB\n"
                            "AnonHugePages:    400000 kB\n"
                            "Shmem:            101000 kB\n"
                            "Slab:             300000 kB\n"
                            "SReclaimable:     200000 kB\n"
                            "SUnreclaim:       100000 kB\n"
                            "KernelStack:       20000 kB\n"
                            "PageTables:        60000 kB\n"
                            "VmallocUsed:       50000 kB\n"
                            "Percpu:             4000 kB\n"
                            "HugePages_Total:     512\n"
                            "Hugetlb:         1049000 kB\n"
                            "Hugepagesize:       2048 kB\n";

constexpr char kDetailed[] = R"(memory 8388608
  VMs and processes 2097152
    anonymous 947152
      in large pages 400000
      in small pages 547152
    shared memory 101000
    large pages 1049000
      free 1048576
      in use 424
  caches and drivers 1048576
    page cache 800000
    buffers 100
    swap cache 10
    mapped by page 30000
    unaccounted 218466
  kernel 540672
    data and heap 524288
      slab 300000
        dentry 150000
        unaccounted 150000
      page tables 60000
      kernel stacks 20000
      per CPU 4000
      static data 140288
    code 16384
  free 4194304
  unaccounted 507904
)";

TEST(Account, IsTakenApartByTheKernelsDetail)
{
   HostRows rows = PlainRows();
   rows.heaps.push_back({.name = "dentry", .size = 150000});
   rows.pools.push_back({.name = "pshare-0", .size = 1 << 20, .free = 1 << 20});
   const KernelDetail detail(nevra::ParseKernelDetail(kMemInfo));
   const Account account = MakeAccount(rows, &detail);
   EXPECT_EQ(TextOf(account.byUse), kDetailed);
   EXPECT_EQ(account.available, 6000000);
}

TEST(Account, SaysWhatOfTheSlabCanBeHadWhereItsCachesAreHidden)
{
   const KernelDetail detail(nevra::ParseKernelDetail(kMemInfo));
   const AccountItem whole = MakeAccount(PlainRows(), &detail).byUse;
   EXPECT_EQ(TextOf(whole.parts[2].parts[0].parts[0]), "slab 300000\n"
                                                       "  reclaimable 200000\n"
                                                       "  not reclaimable 100000\n");
}

TEST(Account, DoesNotUseTheDetailOfAnotherHost)
{
   HostRows rows = PlainRows();
   rows.host->managedByMemMap++;
   const KernelDetail detail(nevra::ParseKernelDetail(kMemInfo));
   EXPECT_EQ(TextOf(MakeAccount(rows, &detail).byUse), TextOf(MakeAccount(rows, nullptr).byUse));
   EXPECT_EQ(MakeAccount(rows, &detail).available, std::nullopt);
}

TEST(KernelDetail, IsKeptWithASnapshot)
{
   HostMoment moment = SampleMoment("small-host");
   EXPECT_EQ(moment.Detail(), nullptr) << "of a host that does not run Linux";
   moment.of.detail = KernelDetail({{"MemTotal", moment.rows.host->managedByMemMap}, {"Slab", 7}});
   ASSERT_NE(moment.Detail(), nullptr);
   EXPECT_EQ(moment.Detail()->Of("Slab"), 7u);
   EXPECT_EQ(moment.Detail()->Of("PageTables"), 0u);
   EXPECT_FALSE(moment.Detail()->Has("PageTables"));
}

TEST(AmountText, HasFewDigitsAndAUnit)
{
   using overview::AmountText;
   EXPECT_EQ(AmountText(0), "0 KB");
   EXPECT_EQ(AmountText(999), "999 KB");
   EXPECT_EQ(AmountText(1000), "1.0 MB");
   EXPECT_EQ(AmountText(1023 * 1024), "1.0 GB");
   EXPECT_EQ(AmountText(805306368), "768.0 GB");
   EXPECT_EQ(AmountText(-805306368), "-768.0 GB");
   EXPECT_EQ(AmountText(INT64_MAX), "8192.0 EB");
   EXPECT_EQ(AmountText(1536, UNIT_KB), "1536 KB");
   EXPECT_EQ(AmountText(1536, UNIT_MB), "1.5 MB");
   EXPECT_EQ(AmountText(1536, UNIT_GB), "0.0 GB");
   EXPECT_EQ(overview::ChangeText(1536), "+1.5 MB");
   EXPECT_EQ(overview::ChangeText(-12), "-12 KB");
   EXPECT_EQ(overview::PercentText(9.94), "9.9 %");
   EXPECT_EQ(overview::PercentText(9.96), "10 %");
}

} // namespace
