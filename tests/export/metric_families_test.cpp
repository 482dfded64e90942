// The table of metrics: what it says fits the columns that it names.
#include <cctype>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "export/metric_families.h"
#include "frontend/report_table.h"

namespace {

const ReportColumn *FindColumn(const MetricFamily &family)
{
   const ReportEntry *report = FindReport(family.report);
   if (report == nullptr || family.column == nullptr) {
      return nullptr;
   }
   const ReportColumn *column = report->description->columns;
   while (column->name != nullptr && std::string_view(column->name) != family.column) {
      column++;
   }
   return column->name != nullptr ? column : nullptr;
}

const char *BaseUnitOf(const MetricFamily &family, const ReportColumn &column)
{
   switch (column.unit) {
   case Unit::Memory:
   case Unit::Bytes:
   case Unit::Pages4KB:
   case Unit::Blocks2MB:
      return "bytes";
   case Unit::Percent:
      return "ratio";
   case Unit::Microseconds:
      return "seconds";
   case Unit::Count:
      return family.size > 1 ? "bytes" : ""; // of buffers
   default:
      return "";
   }
}

template <typename Check> void ForEachFamily(Check check)
{
   for (const MetricSubject &subject : MetricSubjects()) {
      for (const MetricFamily &family : subject.families) {
         SCOPED_TRACE(family.name);
         check(family);
      }
   }
}

TEST(MetricFamilies, ComeFromColumnsThatExist)
{
   ForEachFamily([](const MetricFamily &family) {
      ASSERT_NE(FindReport(family.report), nullptr);
      EXPECT_EQ(FindColumn(family) != nullptr, family.column != nullptr);
   });
   for (const MetricSubject &subject : MetricSubjects()) {
      for (const auto &labels : {subject.labels, subject.infoLabels}) {
         for (const MetricLabel &label : labels) {
            MetricFamily family = subject.families.front();
            family.column = label.column;
            EXPECT_NE(FindColumn(family), nullptr) << family.report << " " << label.column;
         }
      }
   }
}

TEST(MetricFamilies, AreInTheBaseUnitOfTheirColumn)
{
   ForEachFamily([](const MetricFamily &family) {
      if (const ReportColumn *column = FindColumn(family); column != nullptr) {
         EXPECT_STREQ(family.unit, BaseUnitOf(family, *column));
      }
      EXPECT_TRUE(
         std::string(family.name).ends_with(*family.unit != '\0' ? std::string("_") + family.unit : ""));
   });
}

TEST(MetricFamilies, AreCountersWhereTheColumnIsOne)
{
   ForEachFamily([](const MetricFamily &family) {
      if (const ReportColumn *column = FindColumn(family); column != nullptr) {
         EXPECT_EQ(family.type == MetricType::Counter, column->role == Role::Counter);
      }
   });
}

TEST(MetricFamilies, HaveNamesOfTheirOwn)
{
   std::set<std::string> names;
   std::string last;
   ForEachFamily([&](const MetricFamily &family) {
      const std::string name = family.name;
      EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_"), std::string::npos);
      EXPECT_TRUE(name.starts_with("hostmem_"));
      for (const char *kept : {"_total", "_info", "_created", "_count", "_sum", "_bucket"}) {
         EXPECT_FALSE(name.ends_with(kept)) << "which is the ending of a sample";
      }
      if (*family.label != '\0') { // a part
         EXPECT_TRUE(name == last || !names.contains(name)) << "parts stand side by side";
      } else {
         EXPECT_FALSE(names.contains(name));
      }
      names.insert(name);
      last = name;
   });
}

TEST(MetricFamilies, ExplainThemselves)
{
   ForEachFamily([](const MetricFamily &family) {
      const std::string_view help = family.help;
      ASSERT_FALSE(help.empty());
      EXPECT_TRUE(std::isupper(static_cast<unsigned char>(help.front())));
      EXPECT_EQ(help.back(), '.');
      EXPECT_EQ(help.find_first_of("\\\n\""), std::string_view::npos);
   });
}

TEST(MetricFamilies, AreOnTheirPage)
{
   std::ostringstream page;
   page << std::ifstream(METRICS_PAGE).rdbuf();
   ForEachFamily([&](const MetricFamily &family) {
      const char *ending = family.type == MetricType::Counter ? "_total"
                           : family.type == MetricType::Info  ? "_info"
                                                              : "";
      const size_t line = page.str().find(std::string("| `") + family.name + ending + "` |");
      ASSERT_NE(line, std::string::npos);
      const std::string entry = page.str().substr(line, page.str().find('\n', line) - line);
      EXPECT_NE(entry.find(std::string("`") + family.report + "`"), std::string::npos) << entry;
      EXPECT_NE(entry.find(family.help), std::string::npos) << entry;
      if (family.column != nullptr) {
         EXPECT_NE(entry.find(std::string("`") + family.column + "`"), std::string::npos) << entry;
      }
   });
}

TEST(MetricSubjects, AreMeasuredByAFigureOfTheirs)
{
   for (const MetricSubject &subject : MetricSubjects()) {
      if (subject.largest != nullptr) {
         bool isThere = false;
         for (const MetricFamily &family : subject.families) {
            isThere |= std::string_view(family.name) == subject.largest && family.type == MetricType::Gauge;
         }
         EXPECT_TRUE(isThere) << subject.largest;
         EXPECT_FALSE(subject.labels.empty()) << "or the rest has no name";
      }
   }
}

} // namespace
