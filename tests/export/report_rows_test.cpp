// Every report's rows can be taken as they are: an output that only records them, and JSON, say the same as
// hostmem -q prints. (dcpmm_stats_test does this for the report that reads no snapshot.)
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>
#include <stdlib.h>

#include <gtest/gtest.h>

#include "export/row_writer.h"
#include "export/run_report.h"
#include "nevra/nevra.h"
#include "tests/shell/run_command.h"

namespace {

const std::string kSamples[] = {SAMPLES "/small-host.snapshot", SAMPLES "/hypervisor-host.snapshot"};

// What `hostmem -c SNAPSHOT -r REPORT -q OPTION...` prints.
std::string PrintedCsv(const std::string &snapshot, const std::string &report,
                       const std::vector<std::string> &options)
{
   std::string command = HOSTMEM " -c " + snapshot + " -r " + report + " -q";
   for (const std::string &option : options) {
      command += " '" + option + "'";
   }
   const CommandResult result = RunCommand(command + " 2>/dev/null");
   EXPECT_EQ(result.exitStatus, 0) << command;
   return result.output;
}

// ---- a recording output

// What happened, and the rows in the words of -q.
struct Recording {
   std::vector<std::string> events; // in order, repetitions left out
   std::string report;
   std::string text;
   size_t rows = 0;
   const ReportColumn *columns = nullptr;

   void Add(const char *event)
   {
      if (events.empty() || events.back() != event) {
         events.emplace_back(event);
      }
   }
};

std::string JoinFlags(const CellValue &value)
{
   std::string names;
   bool all = true;
   for (const FlagName *flag = value.Flags(); flag->name != nullptr; flag++) {
      const bool isSet = (value.Mask() & flag->mask) != 0;
      names += isSet ? (names.empty() ? "" : ":") + std::string(flag->name) : "";
      all = all && isSet;
   }
   return all ? "(all)" : names.empty() ? "(none)" : names;
}

std::string InWords(const ReportColumn &column, const CellValue &value)
{
   switch (value.Kind()) {
   case CellKind::Blank:
      return "";
   case CellKind::Text:
      return std::string(value.Text());
   case CellKind::Flag:
      return std::string(1, static_cast<char>(value.Integer()));
   case CellKind::FlagList:
      return JoinFlags(value);
   case CellKind::Signed:
      return std::to_string(static_cast<int64_t>(value.Integer()));
   case CellKind::Unsigned:
      return std::to_string(value.Integer());
   case CellKind::Missing:
      return std::string_view(column.format).ends_with('d') ? "-1" : "18446744073709551615";
   }
   return "?";
}

Recording &RecordingOf(void *state)
{
   return *static_cast<Recording *>(state);
}

void RecordBegin(void *state, const TableHead &head)
{
   Recording &recording = RecordingOf(state);
   recording.Add("begin");
   recording.report = head.report;
   recording.columns = head.columns;
   const char *separator = "";
   for (const ReportColumn *column = head.columns; column->name != nullptr; column++) {
      if (column->shown) {
         recording.text += separator + std::string(column->name);
         separator = ",";
      }
   }
   recording.text += '\n';
}

void RecordRow(void *state, RowKind kind, const CellValue *cells)
{
   Recording &recording = RecordingOf(state);
   recording.Add("row");
   recording.rows++;
   std::string line;
   const char *separator = "";
   for (size_t i = 0; recording.columns[i].name != nullptr; i++) {
      const ReportColumn &column = recording.columns[i];
      if (column.shown) {
         line += separator + (IsLeftOut(kind, column, cells[i]) ? "" : InWords(column, cells[i]));
         separator = ",";
      }
   }
   recording.text += line + '\n';
}

void RecordSection(void *state, const char *title)
{
   Recording &recording = RecordingOf(state);
   recording.Add("section");
   recording.text += title != nullptr ? title + std::string("\n") : "";
}

void RecordNote(void *state, const char *text)
{
   RecordingOf(state).Add("note");
   RecordingOf(state).text += text + std::string("\n");
}

TableOutput OutputTo(Recording *recording)
{
   return {
      RecordBegin, RecordRow, RecordSection, RecordNote, [](void *state) { RecordingOf(state).Add("end"); },
      recording};
}

class ReportRows : public testing::TestWithParam<const ReportEntry *> {};

std::string NameOfReport(const testing::TestParamInfo<const ReportEntry *> &info)
{
   std::string name = info.param->name;
   std::erase(name, '-');
   return name;
}

std::vector<const ReportEntry *> ReportsOfSnapshots()
{
   std::vector<const ReportEntry *> reports;
   for (const ReportEntry &report : Reports()) {
      if (report.source == ReportSource::LiveOrCache) {
         reports.push_back(&report);
      }
   }
   return reports;
}

// The option sets under which a report's rows differ.
std::vector<std::vector<std::string>> OptionsOf(const ReportEntry &report)
{
   std::vector<std::vector<std::string>> options = {{}, {"-v"}};
   const std::string letters = report.description->shortOptions;
   options.push_back({"-s", std::string(report.description->columns[1].name)});
   for (const char letter : {'x', 't'}) {
      if (letters.find(letter) != std::string::npos) {
         options.push_back({std::string("-") + letter});
      }
   }
   if (letters.find('u') != std::string::npos) {
      options.push_back({"-u", "mb"});
   }
   return options;
}

std::string OneLine(const std::vector<std::string> &options)
{
   std::string line = "options:";
   for (const std::string &option : options) {
      line += ' ' + option;
   }
   return line;
}

TEST_P(ReportRows, AreWhatCsvPrints)
{
   const ReportEntry &report = *GetParam();
   size_t rows = 0;
   for (const std::string &snapshot : kSamples) {
      ASSERT_EQ(Nevra_UseCache(snapshot.c_str(), 0), NEVRA_OK);
      for (const std::vector<std::string> &options : OptionsOf(report)) {
         SCOPED_TRACE(snapshot + ' ' + OneLine(options));
         Recording recording;
         EXPECT_EQ(RunReport(report, options, OutputTo(&recording)), NEVRA_OK);
         EXPECT_EQ(recording.text, PrintedCsv(snapshot, report.name, options));
         EXPECT_EQ(recording.report, report.name);
         ASSERT_GE(recording.events.size(), 2u);
         EXPECT_EQ(recording.events.front(), "begin");
         EXPECT_EQ(recording.events.back(), "end");
         rows += recording.rows;
      }
   }
   EXPECT_GT(rows, 0u) << "the samples show nothing of this report";
}

// ---- JSON

std::string JsonText(const ReportEntry &report, const std::vector<std::string> &options)
{
   char *bytes = nullptr;
   size_t size = 0;
   FILE *file = open_memstream(&bytes, &size);
   const std::unique_ptr<RowWriter> writer = MakeRowWriter(RowFormat::Json, file);
   EXPECT_EQ(RunReport(report, options, writer->AsOutput()), NEVRA_OK);
   writer->Finish();
   std::fclose(file);
   std::string text(bytes, size);
   free(bytes);
   return text;
}

std::string InWords(const ReportColumn &column, const FlagName *flags, const rapidjson::Value &value)
{
   if (value.IsNull()) {
      return std::string_view(column.format).ends_with('d') ? "-1" : "18446744073709551615";
   }
   if (value.IsBool()) {
      EXPECT_EQ(column.unit, Unit::YesNo) << column.name;
      return value.GetBool() ? "y" : "n";
   }
   if (value.IsString()) {
      EXPECT_TRUE(column.unit == Unit::Text || column.unit == Unit::BitMask) << column.name;
      return value.GetString();
   }
   if (value.IsArray()) {
      EXPECT_EQ(column.unit, Unit::FlagList) << column.name;
      uint32_t mask = 0;
      for (const rapidjson::Value &name : value.GetArray()) {
         for (const FlagName *flag = flags; flag->name != nullptr; flag++) {
            mask |= flag->name == std::string(name.GetString()) ? flag->mask : 0;
         }
      }
      return JoinFlags({mask, flags});
   }
   EXPECT_TRUE(value.IsNumber() && column.format[0] != 's') << column.name;
   return value.IsUint64() ? std::to_string(value.GetUint64()) : std::to_string(value.GetInt64());
}

// The table in the words of -q, without what it has besides rows.
std::string InWords(const ReportEntry &report, const rapidjson::Value &table)
{
   std::string text;
   const char *separator = "";
   for (const rapidjson::Value &column : table["columns"].GetArray()) {
      text += separator + std::string(column["name"].GetString());
      separator = ",";
   }
   text += '\n';
   for (const rapidjson::Value &row : table["rows"].GetArray()) {
      separator = "";
      for (const rapidjson::Value &shown : table["columns"].GetArray()) {
         const ReportColumn *column = report.description->columns;
         while (std::string(column->name) != shown["name"].GetString()) {
            column++;
         }
         text += separator;
         if (row.HasMember(column->name)) {
            text += InWords(*column, report.description->flagNames, row[column->name]);
         }
         separator = ",";
      }
      text += '\n';
   }
   return text;
}

TEST_P(ReportRows, AsJsonHaveTypedValuesThatSayWhatCsvPrints)
{
   const ReportEntry &report = *GetParam();
   for (const std::string &snapshot : kSamples) {
      ASSERT_EQ(Nevra_UseCache(snapshot.c_str(), 0), NEVRA_OK);
      for (const std::vector<std::string> &options : OptionsOf(report)) {
         if (options == std::vector<std::string>{"-v"} || options == std::vector<std::string>{"-t"}) {
            continue; // prints more than rows
         }
         SCOPED_TRACE(snapshot + ' ' + OneLine(options));
         rapidjson::Document document;
         document.Parse<rapidjson::kParseFullPrecisionFlag>(JsonText(report, options).c_str());
         ASSERT_FALSE(document.HasParseError());
         ASSERT_EQ(document.Size(), 1u);
         EXPECT_EQ(document[0]["report"].GetString(), std::string(report.name));
         EXPECT_TRUE(document[0]["complete"].GetBool());
         EXPECT_EQ(InWords(report, document[0]), PrintedCsv(snapshot, report.name, options));
      }
   }
}

INSTANTIATE_TEST_SUITE_P(AllReports, ReportRows, testing::ValuesIn(ReportsOfSnapshots()), NameOfReport);

TEST(ReportRowsOf, EighteenReportsReadSnapshots)
{
   EXPECT_EQ(ReportsOfSnapshots().size(), Reports().size() - 1);
}

} // namespace
