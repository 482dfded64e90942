// Rows of metrics: labels, names that are alike, and what becomes of those that are too many.
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "export/group_paths.h"
#include "export/metric_history.h"
#include "export/metric_rows.h"
#include "export/metric_text.h"
#include "nevra/include/nevra/values.h"

namespace {

using testing::ElementsAre;

constexpr MetricLabel kLabels[] = {{"cup", "name"}};
constexpr MetricFamily kFamilies[] = {
   {"cups", MetricType::Info, "", "Which one.", "r", nullptr},
   {"cup_tea_bytes", MetricType::Gauge, "bytes", "Tea in it.", "r", "tea"},
   {"cup_limit_bytes", MetricType::Gauge, "bytes", "Its size.", "r", "limit", Rest::IsNothing},
   {"cup_refills", MetricType::Counter, "", "How often.", "r", "once", Rest::IsSum, Needs::Nothing,
    "size=\"small\""},
   {"cup_refills", MetricType::Counter, "", "How often.", "r", "more", Rest::IsSum, Needs::Nothing,
    "size=\"large\""},
};
constexpr MetricSubject kCups = {SubjectRows::ByLabels, nullptr, kLabels, {}, kFamilies, "cup_tea_bytes"};

// Cups with so much tea each.
MetricRows Cups(const std::vector<double> &tea)
{
   MetricRows rows = {.subject = &kCups};
   for (size_t i = 0; i < tea.size(); i++) {
      const std::string number = std::to_string(i);
      double *values = rows.ValuesOf(rows.Add(LabelPair("cup", number), ",id=\"" + number + "\""));
      values[0] = 1;
      values[1] = tea[i];
      values[2] = 300;
      values[3] = static_cast<double>(i);
   }
   return rows;
}

std::string TextOf(const MetricRows &rows, MetricFormat format)
{
   std::string text;
   AppendMetrics(rows, format, &text);
   return text;
}

TEST(LabelPair, EscapesWhatWouldEndTheValueAndShowsNothingThatSteersATerminal)
{
   EXPECT_EQ(LabelPair("vm", R"(a,"b"\)"), R"(vm="a,\"b\"\\")");
   EXPECT_EQ(LabelPair("vm", "a\nb\x1b[2J\xff\xc3\xa9"), "vm=\"a?b?[2J?\xc3\xa9\"");
   EXPECT_EQ(LabelPair("vm", ""), "vm=\"\"");
}

TEST(DistinctNames, NumberThoseThatAreAlike)
{
   DistinctNames names;
   EXPECT_EQ(names.Take("web"), "web");
   EXPECT_EQ(names.Take("web#2"), "web#2");
   EXPECT_EQ(names.Take("web"), "web#3") << "as the second one is another's name";
   EXPECT_EQ(names.Take("web"), "web#4");
   EXPECT_EQ(names.Take("web", "node"), "web") << "told apart already";
   EXPECT_EQ(names.Take("other"), "other#2") << "which is the name of the rest";
}

TEST(MetricText, HasAFamilyOnceWithItsUnitAndItsParts)
{
   EXPECT_EQ(TextOf(Cups({1536, 0.5}), MetricFormat::OpenMetrics),
             "# HELP cups Which one.\n"
             "# TYPE cups info\n"
             "cups_info{cup=\"0\",id=\"0\"} 1\n"
             "cups_info{cup=\"1\",id=\"1\"} 1\n"
             "# HELP cup_tea_bytes Tea in it.\n"
             "# TYPE cup_tea_bytes gauge\n"
             "# UNIT cup_tea_bytes bytes\n"
             "cup_tea_bytes{cup=\"0\"} 1536\n"
             "cup_tea_bytes{cup=\"1\"} 0.5\n"
             "# HELP cup_limit_bytes Its size.\n"
             "# TYPE cup_limit_bytes gauge\n"
             "# UNIT cup_limit_bytes bytes\n"
             "cup_limit_bytes{cup=\"0\"} 300\n"
             "cup_limit_bytes{cup=\"1\"} 300\n"
             "# HELP cup_refills How often.\n"
             "# TYPE cup_refills counter\n"
             "cup_refills_total{cup=\"0\",size=\"small\"} 0\n"
             "cup_refills_total{cup=\"1\",size=\"small\"} 1\n");
}

TEST(MetricText, Of004NamesTheSamplesInTheHead)
{
   EXPECT_EQ(TextOf(Cups({1e30}), MetricFormat::Text004), "# HELP cups_info Which one.\n"
                                                          "# TYPE cups_info gauge\n"
                                                          "cups_info{cup=\"0\",id=\"0\"} 1\n"
                                                          "# HELP cup_tea_bytes Tea in it.\n"
                                                          "# TYPE cup_tea_bytes gauge\n"
                                                          "cup_tea_bytes{cup=\"0\"} 1e+30\n"
                                                          "# HELP cup_limit_bytes Its size.\n"
                                                          "# TYPE cup_limit_bytes gauge\n"
                                                          "cup_limit_bytes{cup=\"0\"} 300\n"
                                                          "# HELP cup_refills_total How often.\n"
                                                          "# TYPE cup_refills_total counter\n"
                                                          "cup_refills_total{cup=\"0\",size=\"small\"} 0\n");
}

TEST(LimitRows, KeepsTheLargestAndAddsUpTheRest)
{
   MetricRows rows = Cups({1, 40, 2, 30});
   EXPECT_EQ(LimitRows(2, 1000, &rows), 0u) << "the cap had no part in it";
   EXPECT_THAT(rows.labels, ElementsAre("cup=\"1\"", "cup=\"3\"", "cup=\"other\""));
   EXPECT_EQ(rows.ValuesOf(2)[1], 3);
   EXPECT_EQ(rows.ValuesOf(2)[3], 2);
   EXPECT_TRUE(std::isnan(rows.ValuesOf(2)[0])) << "the rest has no ID";
   EXPECT_TRUE(std::isnan(rows.ValuesOf(2)[2])) << "and no limit";
}

TEST(LimitRows, StaysWithinTheBudgetAndSaysWhatThatCost)
{
   MetricRows rows = Cups({1, 40, 2, 30}); // four series each
   EXPECT_EQ(LimitRows(1000, 10, &rows), 8u);
   EXPECT_THAT(rows.labels, ElementsAre("cup=\"1\"", "cup=\"3\"", "cup=\"other\""));
   EXPECT_EQ(rows.Series(), 10u);
   rows = Cups({1, 40, 2, 30});
   EXPECT_EQ(LimitRows(1000, 2, &rows), 16u);
   EXPECT_THAT(rows.labels, ElementsAre("cup=\"other\""));
   rows = Cups({1, 40, 2, 30});
   EXPECT_EQ(LimitRows(1000, 1, &rows), 16u);
   EXPECT_THAT(rows.labels, ElementsAre());
   rows = Cups({1, 40, 2, 30});
   EXPECT_EQ(LimitRows(4, 16, &rows), 0u);
   EXPECT_EQ(rows.Count(), 4u);
}

TEST(MetricHistory, PutsASeriesTogetherOldestFirst)
{
   MetricHistory history;
   history.Add(120, Cups({3}));
   history.Add(60, Cups({1, 2}));
   history.Add(60, Cups({8})); // a second time
   std::string text;
   history.Append(MetricFormat::OpenMetrics, &text);
   const size_t tea = text.find("cup_tea_bytes{");
   EXPECT_EQ(text.substr(tea, text.find('#', tea) - tea), "cup_tea_bytes{cup=\"0\"} 1 60\n"
                                                          "cup_tea_bytes{cup=\"0\"} 3 120\n"
                                                          "cup_tea_bytes{cup=\"1\"} 2 60\n");
   text.clear();
   history.Append(MetricFormat::Text004, &text);
   EXPECT_NE(text.find("cup_tea_bytes{cup=\"0\"} 1 60000\n"), std::string::npos) << text;
}

GroupRow Group(uint64_t id, uint64_t parent, const char *name, uint32_t flags = 0, uint64_t children = 0)
{
   return {
      .id = id, .hasParent = id != 0, .parent = parent, .name = name, .flags = flags, .children = children};
}

TEST(GroupPaths, AreThoseOfTheGroupsThatHoldOthers)
{
   GroupPaths paths(2);
   EXPECT_EQ(paths.Add(Group(0, 0, "host"))->depth, 0u);
   EXPECT_EQ(paths.Add(Group(1, 0, "machine"))->path, "/machine");
   EXPECT_EQ(paths.Add(Group(2, 1, "web"))->path, "/machine/web");
   EXPECT_EQ(paths.Add(Group(3, 1, "web"))->path, "/machine/web#2");
   EXPECT_EQ(paths.Add(Group(4, 2, "deep"))->path, "") << "deeper than asked for";
   EXPECT_EQ(paths.Add(Group(5, 0, "sshd", GROUP_USER_WORLD))->path, "");
   EXPECT_EQ(paths.Add(Group(6, 0, "vm", GROUP_VM, 2))->path, "");
   EXPECT_EQ(paths.Add(Group(7, 6, "inside"))->path, "") << "what a VM is made of";
   EXPECT_EQ(paths.Add(Group(8, 99, "lost"))->path, "/lost");
   EXPECT_EQ(paths.Add(Group(1, 0, "again")), nullptr);
   EXPECT_TRUE(paths.IsInner(1));
   EXPECT_FALSE(paths.IsInner(2));
}

} // namespace
