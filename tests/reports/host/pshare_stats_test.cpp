// pshare-stats and pshareHint-stats, which read the same node.
#include <gtest/gtest.h>

#include "tests/scripted/scenario.h"

using namespace scripted;

namespace {

constexpr PShareStats kStats = {.cow = 1000,
                                .cow1 = 0,
                                .zero = 1,
                                .used = 262144,
                                .reclaimed = 262145,
                                .totAdd = 257,
                                .totRemove = 4611686018427387904, // 2^62: four times that is 0
                                .hintActive = 77,
                                .hintTotAdd = 100,
                                .hintTotRemove = 40,
                                .lpageHintTotAdd = 30,
                                .lpageHintTotRemove = 10,
                                .peakChainLength = 12,
                                .peakChainIndex = 18446744073709551615U,
                                .peakRefCount = 4321};

Scenario With(const PShareStats &stats)
{
   Scenario scenario;
   scenario.Record(NodeId::memory_pshare_stats, {}, stats);
   return scenario;
}

RunResult RunPShare(const std::vector<std::string> &options = {}, const PShareStats &stats = kStats)
{
   std::vector<std::string> arguments = {"-r", "pshare-stats"};
   arguments.insert(arguments.end(), options.begin(), options.end());
   return RunHostmem(With(stats), arguments);
}

RunResult RunHints(const std::vector<std::string> &options = {}, const PShareStats &stats = kStats)
{
   std::vector<std::string> arguments = {"-r", "pshareHint-stats"};
   arguments.insert(arguments.end(), options.begin(), options.end());
   return RunHostmem(With(stats), arguments);
}

const std::string kReadTrace = "Nevra_CheckSig(21) = 0\n"
                               "Nevra_ParamListCreate(1, 1) = #1\n"
                               "Nevra_Get(memory_pshare_stats, #1 [], 208) = 0\n"
                               "Nevra_ParamListDestroy(#1)\n";

TEST(PShareStats, PrintsBannerAndOneRow)
{
   const RunResult run = RunPShare();
   EXPECT_EQ(run.out, "\n PSHARE STATS: Tue Nov 14 22:13:20 2023\n"
                      " --------------------------------------\n"
                      "   Unit              : KB\n"
                      "   Peak chain length : 12\n"
                      "   Peak chain index  : 18446744073709551615\n"
                      "   Peak ref.  count  : 4321\n"
                      "   Selected columns  : (all)\n"
                      "\n"
                      "----------------------------------------------------------------------------\n"
                      "       cow       cow1       zero       used  reclaimed     totAdd  totRemove\n"
                      "----------------------------------------------------------------------------\n"
                      "      4000          0          4    1048576    1048580       1028          0\n"
                      "----------------------------------------------------------------------------\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(PShareStats, ReadsItsNodeOnceWithAnEmptyList)
{
   EXPECT_EQ(JoinLines(RunPShare({"-q"}).trace), kReadTrace);
}

TEST(PShareStats, ConvertsPagesToEveryUnit)
{
   const std::string header = "cow,cow1,zero,used,reclaimed,totAdd,totRemove\n";
   EXPECT_EQ(RunPShare({"-q", "-u", "kb"}).out, header + "4000,0,4,1048576,1048580,1028,0\n");
   EXPECT_EQ(RunPShare({"-q", "-u", "MB"}).out, header + "4,0,1,1024,1025,2,0\n");
   EXPECT_EQ(RunPShare({"-q", "-u", "gb"}).out, header + "1,0,1,1,2,1,0\n");
   EXPECT_EQ(RunPShare({"-q", "--unit=pg"}).out, header + "1000,0,1,262144,262145,257,0\n");
}

TEST(PShareStats, ConvertsAnAllOnesCountLikeAnyOther)
{
   const PShareStats stats = {.cow = UINT64_MAX};
   EXPECT_EQ(RunPShare({"-q", "-s", "cow"}, stats).out, "cow\n18446744073709551612\n");
   EXPECT_EQ(RunPShare({"-q", "-s", "cow", "-u", "mb"}, stats).out, "cow\n0\n");
}

TEST(PShareStats, NamesTheUnitInTheBanner)
{
   EXPECT_EQ(RunPShare({"-u", "pg"}).OutLines()[3], "   Unit              : Page (4K)");
   EXPECT_EQ(RunPShare({"-u", "gb"}).OutLines()[3], "   Unit              : GB");
}

TEST(PShareStats, SelectsAndDescribesColumns)
{
   const RunResult run = RunPShare({"-v", "-s", "totAdd:COW1:zebra"});
   EXPECT_EQ(run.out, "\n PSHARE STATS: Tue Nov 14 22:13:20 2023\n"
                      " --------------------------------------\n"
                      "   Unit              : KB\n"
                      "   Peak chain length : 12\n"
                      "   Peak chain index  : 18446744073709551615\n"
                      "   Peak ref.  count  : 4321\n"
                      "   Selected columns  : cow1:totAdd\n"
                      "\n"
                      "---------------------\n"
                      "      cow1     totAdd\n"
                      "---------------------\n"
                      "         0       1028\n"
                      "---------------------\n"
                      "Description of report header labels:\n"
                      "                cow1: Client's COWed memory with single ref\n"
                      "              totAdd: Total client memory added to pshare table\n");
}

TEST(PShareStats, DescribesColumnsInCsvModeToo)
{
   EXPECT_EQ(RunPShare({"-q", "--verbose"}).out,
             "cow,cow1,zero,used,reclaimed,totAdd,totRemove\n"
             "4000,0,4,1048576,1048580,1028,0\n"
             "Description of report header labels:\n"
             "                 cow: Client memory marked copy-on-write\n"
             "                cow1: Client's COWed memory with single ref\n"
             "                zero: Zeroed client memory\n"
             "                used: Machine memory used for backing COWed client memory\n"
             "           reclaimed: Machine memory reclaimed via pshare\n"
             "              totAdd: Total client memory added to pshare table\n"
             "           totRemove: Total client memory removed from pshare table\n");
}

TEST(PShareStats, IgnoresUnknownOptionsAndTakesTheLastOfEach)
{
   EXPECT_EQ(RunPShare({"-x", "--gid", "-q", "-u", "zz", "-u", "pg", "-s", "cow", "-s", "used"}).out,
             "used\n262144\n");
}

TEST(PShareStats, WarnsOnceAboutAnOverlongSelection)
{
   EXPECT_EQ(RunPShare({"-q", "-s", std::string(513, 'x')}).err,
             "Selected columns is too long, selection might be ignored.\n");
}

TEST(PShareStats, RefusesBytesBeforeItReads)
{
   for (const char *report : {"pshare-stats", "pshareHint-stats"}) {
      const RunResult run = RunHostmem(With(kStats), {"-r", report, "-u", "b"});
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "Invalid unit specified. Choose from {mb, kb, pg}\n");
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_TRUE(run.Calls().empty());
   }
}

TEST(PShareStats, PrintsNothingWhenTheReadFails)
{
   const auto expect = [](const char *reader) {
      return [reader](const Fault &fault) {
         const bool noList = fault.operation == "Nevra_ParamListCreate";
         return ExpectedFault{1, noList ? std::string(reader) + ": Nevra_ParamListCreate() failure\n" : "",
                              ""};
      };
   };
   const unsigned faults = 1 /* create */ + kFaultsPerCall /* the read */;
   EXPECT_EQ(CheckEveryFault(With(kStats), {"-r", "pshare-stats"}, expect("KelmarPShareGetStats")), faults);
   EXPECT_EQ(CheckEveryFault(With(kStats), {"-r", "pshareHint-stats"}, expect("KelmarPShareHintGetStats")),
             faults);
}

TEST(PShareHintStats, PrintsRegularLargePageAndTotalRow)
{
   const RunResult run = RunHints({"-u", "pg"});
   EXPECT_EQ(run.out, "\n PSHARE HINT STATS: Tue Nov 14 22:13:20 2023\n"
                      " -------------------------------------------\n"
                      "   Unit             : Page (4K)\n"
                      "   Selected columns : (all)\n"
                      "\n"
                      "----------------------------------------------------------\n"
                      "      type          totAdd       totRemove          active\n"
                      "----------------------------------------------------------\n"
                      "   regular              70              30              40\n"
                      "     lpage              30              10              20\n"
                      "----------------------------------------------------------\n"
                      "     Total             100              40              77\n"
                      "----------------------------------------------------------\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(JoinLines(run.trace), kReadTrace);
   EXPECT_THAT(run, RanCleanly());
}

TEST(PShareHintStats, ConvertsPages)
{
   EXPECT_EQ(RunHints({"-q"}).out, "type,totAdd,totRemove,active\n"
                                   "regular,280,120,160\n"
                                   "lpage,120,40,80\n"
                                   "Total,400,160,308\n");
}

TEST(PShareHintStats, WrapsWhenMoreWasRemovedThanAddedAndShowsTheKernelsActiveCount)
{
   const PShareStats stats = {
      .hintActive = 5, .hintTotAdd = 10, .hintTotRemove = 2, .lpageHintTotAdd = 3, .lpageHintTotRemove = 4};
   EXPECT_EQ(RunHints({"-q", "-u", "kb"}, stats).out, "type,totAdd,totRemove,active\n"
                                                      "regular,28,18446744073709551608,36\n"
                                                      "lpage,12,16,18446744073709551612\n"
                                                      "Total,40,8,20\n");
}

TEST(PShareHintStats, HidesTheTypeUnlessItIsSelected)
{
   EXPECT_EQ(RunHints({"-q", "-s", "totAdd", "-v"}).out, "totAdd\n280\n120\n400\n"
                                                         "Description of report header labels:\n"
                                                         "              totAdd: Total hints added\n");
}

// The selection is applied before and after the read. Kept for compatibility.
TEST(PShareHintStats, WarnsTwiceAboutAnOverlongSelection)
{
   const std::string warning = "Selected columns is too long, selection might be ignored.\n";
   const RunResult run = RunHints({"-q", "-s", std::string(513, 'x')});
   EXPECT_EQ(run.err, warning + warning);
   EXPECT_EQ(run.Calls({"Nevra_Get", "Warning"}),
             (std::vector<std::string>{
                "Warning(\"Selected columns is too long, selection might be ignored.\\n\")",
                "Nevra_Get(memory_pshare_stats, #1 [], 208) = 0",
                "Warning(\"Selected columns is too long, selection might be ignored.\\n\")"}));
}

} // namespace
