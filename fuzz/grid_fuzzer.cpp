// Prints tables of any columns, widths and values, after any selection of columns: everything comes out as
// printf lays it out.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>
#include <strings.h>

#include "fuzz/captured_output.h"
#include "fuzz/fuzz_check.h"
#include "report/column_table.h"
#include "report/grid.h"
#include "tests/report/grid_model.h"

namespace {

constexpr size_t kMostColumns = 12;
constexpr size_t kMostRows = 4;

struct Table {
   std::deque<std::string> names;
   std::vector<ReportColumn> columns;
};

// A text of one line, as names and values are.
std::string TakeText(FuzzedDataProvider &input, size_t longest)
{
   std::string text = input.ConsumeRandomLengthString(longest);
   std::erase(text, '\0');
   std::ranges::replace(text, '\n', '.');
   return text;
}

void TakeTable(FuzzedDataProvider &input, Table *table)
{
   static constexpr const char *kFormats[] = {"u", "d", "c", "lu", "ld", "s"};
   const size_t count = input.ConsumeIntegralInRange<size_t>(0, kMostColumns);
   for (size_t i = 0; i < count; i++) {
      const std::string &name = table->names.emplace_back(TakeText(input, 300));
      const uint8_t flags = input.ConsumeIntegral<uint8_t>();
      table->columns.push_back({name.c_str(), "what it is", input.ConsumeIntegral<uint8_t>(),
                                kFormats[input.ConsumeIntegralInRange<size_t>(0, 5)],
                                static_cast<uint8_t>(flags & 1), static_cast<uint8_t>(flags >> 1 & 1),
                                static_cast<uint8_t>((flags >> 2 & 3) != 0)});
   }
   table->columns.push_back(kEndOfColumns);
}

// Words between colons: names of the table, others, and some that bring the text to where it is cut off.
std::string TakeSelection(FuzzedDataProvider &input, const Table &table)
{
   std::string selection;
   const size_t words = input.ConsumeIntegralInRange<size_t>(0, 8);
   for (size_t i = 0; i < words; i++) {
      const uint8_t kind = input.ConsumeIntegral<uint8_t>();
      if (kind < 128 && !table.names.empty()) {
         selection += table.names[kind % table.names.size()];
      } else if (kind < 192) {
         selection += TakeText(input, 40);
      } else {
         const size_t length = 490 + kind % 32;
         selection.append(length - std::min(length, selection.size()), 'x');
      }
      selection += i + 1 < words ? ":" : "";
   }
   return selection;
}

// The words of a selection of which 511 characters count.
bool ModelIsSelected(const std::string &selection, const char *name)
{
   std::string rest = selection.substr(0, 511);
   while (!rest.empty()) {
      const size_t end = std::min(rest.find(':'), rest.size());
      const std::string word = rest.substr(0, end);
      rest.erase(0, end + 1);
      if (!word.empty() && strcasecmp(word.c_str(), name) == 0) {
         return true;
      }
   }
   return false;
}

void CheckSelection(FuzzedDataProvider &input, Table *table)
{
   const bool hasSelection = input.ConsumeBool();
   const std::string selection = TakeSelection(input, *table);
   const std::vector<ReportColumn> before = table->columns;
   ApplyColumnSelection(table->columns.data(), hasSelection ? selection.c_str() : nullptr);
   std::string shown;
   bool allShown = true;
   for (size_t i = 0; i + 1 < before.size(); i++) {
      const ReportColumn &column = table->columns[i];
      const std::string name = before[i].name;
      const bool isKept = !hasSelection || before[i].key != 0 || ModelIsSelected(selection, before[i].name);
      Require(column.shown == (before[i].shown != 0 && isKept ? 1 : 0), "the selection of " + name);
      Require(column.width == std::max<size_t>(before[i].width, name.size() % 256), "the width of " + name);
      allShown = allShown && column.shown != 0;
      shown += column.shown != 0 ? (shown.empty() ? "" : ":") + name : "";
   }
   const std::string expected = allShown ? "(all)" : shown.empty() ? "(none)" : shown;
   Require(FormatSelectedColumns(table->columns.data()) == expected, "the shown columns: " + expected);
}

std::string ModelDescription(const std::vector<ReportColumn> &columns)
{
   std::string text = "Description of report header labels:\n";
   for (const ReportColumn &column : columns) {
      if (column.name != nullptr && column.shown != 0) {
         const std::string name = column.name;
         text += std::string(name.size() < 20 ? 20 - name.size() : 0, ' ') + name + ": what it is\n";
      }
   }
   return text;
}

std::vector<ModelValue> TakeValues(FuzzedDataProvider &input, const std::vector<ReportColumn> &columns)
{
   std::vector<ModelValue> values(columns.size() - 1);
   for (size_t i = 0; i < values.size(); i++) {
      if (columns[i].format[0] == 's') {
         values[i].text = TakeText(input, 600);
      } else {
         values[i].integer = input.ConsumeIntegral<uint64_t>() >> (input.ConsumeIntegral<uint8_t>() % 64);
      }
   }
   return values;
}

void CheckRows(FuzzedDataProvider &input, const std::vector<ReportColumn> &columns)
{
   std::string expected;
   CapturedOutput output;
   for (const bool csvMode : {false, true}) {
      PrintTableHead(columns.data(), csvMode);
      const std::string separator = csvMode ? "" : ModelSeparator(columns.data());
      expected += separator;
      expected += ModelHeader(columns.data(), csvMode);
      expected += separator;
   }
   for (size_t row = 0; row < kMostRows && input.remaining_bytes() > 0; row++) {
      const std::vector<ModelValue> values = TakeValues(input, columns);
      std::vector<CellValue> cells;
      for (size_t i = 0; i < values.size(); i++) {
         cells.push_back(AsCell(columns[i].format, values[i]));
      }
      const bool csvMode = input.ConsumeBool();
      const bool isTotalRow = input.ConsumeBool();
      PrintReportRow(columns.data(), csvMode, isTotalRow, cells.data());
      expected += ModelRow(columns.data(), csvMode, isTotalRow, values);
   }
   DescribeColumns(kCsvTable, columns.data());
   expected += ModelDescription(columns);
   Require(output.Text() == expected, "printed:\n" + output.Text() + "\nexpected:\n" + expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   FuzzedDataProvider input(data, size);
   Table table;
   TakeTable(input, &table);
   CheckSelection(input, &table);
   CheckRows(input, table.columns);
   return 0;
}
