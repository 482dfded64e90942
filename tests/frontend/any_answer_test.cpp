// Every report on a platform that answers at random: whatever it says, a report comes to its end, frees its
// lists, and does the same again for the same answers.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "reports/report_list.h"
#include "tests/scripted/scenario.h"

using namespace scripted;

namespace {

// Answers that would make a report run very long are not left to chance.
Scenario AnyHost(uint64_t seed)
{
   Scenario scenario;
   scenario.AnswerAtRandom(seed);
   scenario.Record(NodeId::memory_memInfo, {}, MemInfoRecord{.numMemNodes = static_cast<uint32_t>(seed % 4)});
   CpuInfoRecord cpu = {};
   cpu.model = seed % 4 == 3 ? 84 : 85;
   for (int64_t i = 0; i < 2; i++) {
      scenario.Record(NodeId::hardware_cpu_cpuList, {i}, cpu);
   }
   return scenario;
}

class AnyAnswer : public testing::TestWithParam<const char *> {
 protected:
   void SetUp() override
   {
      std::string name = testing::TempDir() + "any-answer.XXXXXX";
      ASSERT_NE(mkdtemp(name.data()), nullptr);
      options.workingDirectory = name;
   }
   void TearDown() override { std::filesystem::remove_all(options.workingDirectory); }

   RunOptions options;
};

TEST_P(AnyAnswer, IsBorne)
{
   const std::vector<std::vector<std::string>> kOptions = {
      {}, {"-q", "-u", "mb"}, {"-v", "-u", "pg", "-t", "-x"}, {"-u", "gb", "-g", "5"}};
   for (uint64_t seed = 0; seed < 24; seed++) {
      std::vector<std::string> arguments = {"-r", GetParam(), "-l", "4"};
      const std::vector<std::string> &more = kOptions[seed % kOptions.size()];
      arguments.insert(arguments.end(), more.begin(), more.end());
      SCOPED_TRACE("seed " + std::to_string(seed));
      const RunResult run = RunHostmem(AnyHost(seed), arguments, options);
      EXPECT_THAT(run, RanCleanly());
      const RunResult again = RunHostmem(AnyHost(seed), arguments, options);
      EXPECT_EQ(run.out, again.out);
      EXPECT_EQ(run.err, again.err);
      EXPECT_EQ(run.trace, again.trace);
   }
}

// A getter that says success and gives no text.
TEST_P(AnyAnswer, IsBorneWithoutItsTexts)
{
   for (uint64_t seed = 0; seed < 8; seed++) {
      Scenario scenario = AnyHost(seed);
      for (unsigned text = 1; text <= 20; text += 2) {
         scenario.Fail("Nevra_ParamListGetString", text, NEVRA_OK);
      }
      SCOPED_TRACE("seed " + std::to_string(seed));
      EXPECT_THAT(RunHostmem(scenario, {"-r", GetParam(), "-l", "4"}, options), RanCleanly());
   }
}

constexpr const char *kReports[] = {
#define REPORT_TYPE(type, Entry, description, source) type,
   REPORT_LIST(REPORT_TYPE)
#undef REPORT_TYPE
};

INSTANTIATE_TEST_SUITE_P(Reports, AnyAnswer, testing::ValuesIn(kReports), [](const auto &report) {
   std::string name = report.param;
   std::replace(name.begin(), name.end(), '-', '_');
   return name;
});

} // namespace
