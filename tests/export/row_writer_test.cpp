// What the outputs for machines make of any value and any name.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include <stdlib.h>

#include <gtest/gtest.h>

#include "export/row_writer.h"
#include "export/valid_utf8.h"

namespace {

const FlagName kFlags[] = {{1, "lf"}, {2, "vm"}, {4, "uw"}, {0, nullptr}};

const ReportColumn kColumns[] = {
   {"name", "The name", 10, "s", kTotalled, kKey, kShown, Unit::Text, Role::Label},
   {"b", "A flag", 1, "c", kNotTotalled, kSelectable, kShown, Unit::YesNo, Role::Gauge},
   {"flags", "Some flags", 10, "s", kNotTotalled, kSelectable, kShown, Unit::FlagList, Role::Label},
   {"secret", "Not shown", 10, "lu", kTotalled, kSelectable, kHidden, Unit::Count, Role::Gauge},
   {"size", "Memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"delta", "Signed", 10, "ld", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"reads", "Goes up", 10, "lu", kTotalled, kSelectable, kShown, Unit::Pages4KB, Role::Counter},
   kEndOfColumns,
};

const BannerSetting kSettings[] = {{"Unit", "MB"}, {"No. of levels", uint32_t{12}}};

TableHead HeadIn(DisplayUnit unit)
{
   return {.report = "made-stats",
           .title = "MADE STATS",
           .ruleLength = 5,
           .columns = kColumns,
           .unit = unit,
           .settings = kSettings};
}

void PutRows(RowWriter &writer, const char *name, const double *rates)
{
   PutRow(TableOutput{.row =
                         [](void *state, RowKind kind, const CellValue *cells) {
                            static_cast<RowWriter *>(state)->Row(kind, cells, nullptr);
                         },
                      .state = &writer},
          RowKind::Data, kColumns, name, 'y', CellValue(3, kFlags), uint64_t{7}, UINT64_MAX - 1, int64_t{-5},
          uint64_t{100});
   const CellValue total[] = {"Total",      'n',        {0, kFlags},  uint64_t{7},
                              NotAvailable, int64_t{0}, uint64_t{101}};
   writer.Row(RowKind::Total, total, rates);
}

struct Written {
   RowFormat format;
   const char *name = "elm";
   DisplayUnit unit = UNIT_MB;
   const double *rates = nullptr;
   bool ends = true;
   int tables = 1;
};

std::string Write(const Written &wanted)
{
   char *bytes = nullptr;
   size_t size = 0;
   FILE *file = open_memstream(&bytes, &size);
   const std::unique_ptr<RowWriter> writer = MakeRowWriter(wanted.format, file);
   writer->SetMoment({"host,1", 1000000000});
   writer->SetCounters(wanted.rates != nullptr ? Counters::PerSecond : Counters::Total);
   for (int i = 0; i < wanted.tables; i++) {
      writer->Begin(HeadIn(wanted.unit));
      PutRows(*writer, wanted.name, wanted.rates);
      writer->Note("A note");
      if (wanted.ends) {
         writer->End();
      }
   }
   writer->Finish();
   std::fclose(file);
   std::string text(bytes, size);
   free(bytes);
   return text;
}

constexpr char kCsvHeader[] = "time,host,report,row,name,b,flags,size (MB),delta (count),reads (4 KB)\n";

TEST(CsvWriter, QuotesWhatHasToBe)
{
   EXPECT_EQ(Write({RowFormat::Csv, "a,\"b"}),
             std::string(kCsvHeader) +
                "2001-09-09T01:46:40Z,\"host,1\",made-stats,data,\"a,\"\"b\",true,lf:vm,18446744073709551614,"
                "-5,100\n"
                "2001-09-09T01:46:40Z,\"host,1\",made-stats,total,Total,,,,0,101\n");
}

TEST(CsvWriter, KeepsLinesAndSpacesOfNamesInQuotes)
{
   for (const auto &[name, field] : {std::pair{"two\nlines", "\"two\nlines\""},
                                     {"a\rb", "\"a\rb\""},
                                     {" x", "\" x\""},
                                     {"x ", "\"x \""},
                                     {"", "\"\""},
                                     {"plain", "plain"}}) {
      EXPECT_NE(Write({RowFormat::Csv, name}).find(",data," + std::string(field) + ",true,"),
                std::string::npos)
         << name;
   }
}

TEST(CsvWriter, WritesTheHeaderAgainOnlyWhenItChanges)
{
   const std::string text = Write({.format = RowFormat::Csv, .tables = 3});
   EXPECT_EQ(text.find(kCsvHeader), 0u);
   EXPECT_EQ(text.find("time,", 1), std::string::npos);
}

TEST(CsvWriter, ShowsRatesOfCountersOnly)
{
   const double rates[] = {9, 9, 9, 9, 9, 9, 0.25};
   const std::string text = Write({.format = RowFormat::Csv, .unit = UNIT_PAGE, .rates = rates});
   EXPECT_EQ(text.find("time,host,report,row,name,b,flags,size (4 KB),delta (count),reads (4 KB/s)\n"), 0u);
   EXPECT_NE(text.find("total,Total,,,,0,0.25\n"), std::string::npos) << text;
   const double unknown[] = {0, 0, 0, 0, 0, 0, std::nan("")};
   EXPECT_NE(Write({.format = RowFormat::Csv, .rates = unknown}).find("total,Total,,,,0,\n"),
             std::string::npos);
}

constexpr char kJsonColumns[] = R"([{"name":"name","role":"label","description":"The name"},)"
                                R"({"name":"b","role":"gauge","description":"A flag"},)"
                                R"({"name":"flags","role":"label","description":"Some flags"},)"
                                R"({"name":"size","unit":"MB","role":"gauge","description":"Memory"},)"
                                R"({"name":"delta","unit":"count","role":"gauge","description":"Signed"},)"
                                R"({"name":"reads","unit":"4 KB","role":"counter","description":"Goes up"}])";

TEST(JsonLinesWriter, HasAnObjectALine)
{
   const std::string labels = R"("report":"made-stats","host":"host,1","time":"2001-09-09T01:46:40Z")";
   const std::string rows = R"({"row":"data",)" + labels +
                            R"(,"name":"a,\"b","b":true,"flags":["lf","vm"],"size":18446744073709551614,)"
                            R"("delta":-5,"reads":100})"
                            "\n"
                            R"({"row":"total",)" +
                            labels +
                            R"(,"name":"Total","size":null,"delta":0,"reads":101})"
                            "\n"
                            R"({"row":"note",)" +
                            labels +
                            R"(,"text":"A note"})"
                            "\n";
   EXPECT_EQ(Write({.format = RowFormat::JsonLines, .name = "a,\"b", .tables = 2}),
             std::string(R"({"row":"header","report":"made-stats","columns":)") + kJsonColumns + "}\n" +
                rows + rows);
}

TEST(JsonLinesWriter, ShowsRatesOfCountersOnly)
{
   const double rates[] = {9, 9, 9, 9, 9, 9, 1.5};
   const std::string text = Write({.format = RowFormat::JsonLines, .rates = rates});
   EXPECT_NE(text.find(R"("unit":"4 KB/s","role":"counter")"), std::string::npos) << text;
   EXPECT_NE(text.find(R"("name":"Total","size":null,"delta":0,"reads":1.5})"), std::string::npos) << text;
   const double unknown[] = {0, 0, 0, 0, 0, 0, std::nan("")};
   EXPECT_NE(Write({.format = RowFormat::JsonLines, .rates = unknown}).find(R"("reads":null})"),
             std::string::npos);
}

std::string JsonTable(const char *complete)
{
   return std::string(R"({"report":"made-stats","title":"MADE STATS","host":"host,1",)") +
          R"("time":"2001-09-09T01:46:40Z","settings":{"Unit":"MB","No. of levels":12},"columns":)" +
          kJsonColumns + R"(,"rows":[)" + "\n" +
          R"({"row":"data","name":"elm","b":true,"flags":["lf","vm"],"size":18446744073709551614,"delta":-5,)"
          R"("reads":100},)"
          "\n" +
          R"({"row":"total","name":"Total","size":null,"delta":0,"reads":101}],"notes":["A note"],)" +
          R"("complete":)" + complete + "}";
}

TEST(JsonDocumentWriter, IsOneArrayOfTables)
{
   EXPECT_EQ(Write({.format = RowFormat::Json, .tables = 2}),
             "[\n" + JsonTable("true") + ",\n" + JsonTable("true") + "\n]\n");
   EXPECT_EQ(Write({.format = RowFormat::Json, .tables = 0}), "[\n]\n");
}

TEST(JsonDocumentWriter, ClosesATableThatItsReportLeftOpenAndSaysSo)
{
   EXPECT_EQ(Write({.format = RowFormat::Json, .ends = false, .tables = 2}),
             "[\n" + JsonTable("false") + ",\n" + JsonTable("false") + "\n]\n");
}

TEST(RowWriters, MakeNamesUtf8)
{
   for (const RowFormat format : {RowFormat::Csv, RowFormat::Json, RowFormat::JsonLines}) {
      const std::string text = Write({format, "a\xff\xc3(\xe2\x82"});
      EXPECT_NE(text.find("a\xef\xbf\xbd\xef\xbf\xbd(\xef\xbf\xbd\xef\xbf\xbd"), std::string::npos) << text;
   }
}

TEST(RowWriters, EscapeInJsonWhatCouldSteerATerminal)
{
   for (const RowFormat format : {RowFormat::Json, RowFormat::JsonLines}) {
      const std::string text = Write({format, "\x1b[2J\x7f\xc2\x9b\xe2\x80\xae"});
      EXPECT_NE(text.find(R"("\u001B[2J\u007f\u009B\u202E")"), std::string::npos) << text;
   }
}

TEST(ValidUtf8, LeavesWhatIsValid)
{
   for (const char *text : {"", "plain", "\xc3\xa9t\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x90\xa7"}) {
      EXPECT_EQ(ValidUtf8(text), text);
   }
}

TEST(ValidUtf8, ReplacesEachByteThatIsPartOfNoCharacter)
{
   constexpr char kReplacement[] = "\xef\xbf\xbd";
   for (const char *text : {"\x80", "\xc0\xaf", "\xed\xa0\x80", "\xf5\x80\x80\x80", "\xc3", "\xf0\x9f\x90"}) {
      std::string expected;
      for (size_t i = 0; i < std::string(text).size(); i++) {
         expected += kReplacement;
      }
      EXPECT_EQ(ValidUtf8(text), expected);
   }
}

} // namespace
