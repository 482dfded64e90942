// Reports run one after the other in one process.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <stdlib.h>

#include <gtest/gtest.h>

#include "export/row_writer.h"
#include "export/run_report.h"
#include "nevra/nevra.h"

namespace {

class RunReportTest : public testing::Test {
 protected:
   void SetUp() override { ASSERT_EQ(Nevra_UseCache(SAMPLES "/small-host.snapshot", 0), NEVRA_OK); }

   static std::string Run(const char *report, const std::vector<std::string> &options,
                          NevraStatus expected = NEVRA_OK)
   {
      char *bytes = nullptr;
      size_t size = 0;
      FILE *file = open_memstream(&bytes, &size);
      const std::unique_ptr<RowWriter> writer = MakeRowWriter(RowFormat::Csv, file);
      EXPECT_EQ(RunReport(*FindReport(report), options, writer->AsOutput()), expected);
      writer->Finish();
      std::fclose(file);
      std::string text(bytes, size);
      free(bytes);
      return text;
   }
};

TEST_F(RunReportTest, ASelectionLastsForOneRun)
{
   const std::string whole = Run("vm-stats", {});
   const std::string selected = Run("vm-stats", {"-s", "name:swapped"});
   EXPECT_EQ(selected.substr(0, selected.find('\n')), "time,host,report,row,name,swapped (KB)");
   EXPECT_EQ(Run("vm-stats", {}), whole);
   EXPECT_NE(Run("vm-stats", {"-x"}), whole);
   EXPECT_EQ(Run("vm-stats", {}), whole);
}

TEST_F(RunReportTest, TheScanOfOptionsBeginsAnew)
{
   const std::string megabytes = Run("comp-stats", {"-u", "mb", "-s", "free"});
   EXPECT_EQ(megabytes.substr(0, megabytes.find('\n')), "time,host,report,row,free (MB)");
   // A scan that ends within a word of several letters leaves its place there.
   Run("group-stats", {"-vl0"}, NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Run("comp-stats", {"-u", "mb", "-s", "free"}), megabytes);
}

TEST_F(RunReportTest, AFailureIsTheStatus)
{
   EXPECT_EQ(Run("vm-stats", {"-u", "xb"}, NEVRA_BAD_PARAMETER), "");
}

std::string Problem(const char *report, const std::vector<std::string> &options)
{
   return ProblemOfOptions(*FindReport(report), options);
}

TEST(ProblemOfOptions, FindsNoneInWhatAReportTakes)
{
   EXPECT_EQ(Problem("vm-stats", {}), "");
   EXPECT_EQ(Problem("vm-stats", {"-s", "NAME:swapped:", "-x", "--unit", "mb", "-l", "3"}), "");
   EXPECT_EQ(Problem("dcpmm-stats", {"-t", "5", "-i2"}), "");
}

TEST(ProblemOfOptions, NamesWhatAReportDoesNotTake)
{
   EXPECT_EQ(Problem("vm-stats", {"-s", "name:swaped"}), "vm-stats has no column swaped");
   EXPECT_EQ(Problem("comp-stats", {"-l", "3"}), "comp-stats has no such option, or it lacks its value: -l");
   EXPECT_EQ(Problem("comp-stats", {"-u"}), "comp-stats has no such option, or it lacks its value: -u");
   EXPECT_EQ(Problem("comp-stats", {"free"}), "not an option: free");
}

} // namespace
