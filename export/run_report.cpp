#include "export/run_report.h"

#include <algorithm>
#include <string_view>

#include <getopt.h>
#include <strings.h>

namespace {

// The columns of a report, as they were, for when this goes away.
class ColumnsKept {
 public:
   explicit ColumnsKept(const ReportEntry &report)
       // The tables belong to their reports, which change them; only the descriptions show them as constant.
       : columns(const_cast<ReportColumn *>(report.description->columns))
   {
      for (const ReportColumn *column = columns; column->name != nullptr; column++) {
         former.push_back(*column);
      }
   }
   ~ColumnsKept() { std::ranges::copy(former, columns); }
   ColumnsKept(const ColumnsKept &) = delete;
   ColumnsKept &operator=(const ColumnsKept &) = delete;

 private:
   ReportColumn *columns;
   std::vector<ReportColumn> former;
};

// The words of a command line, to be split and changed by who reads them.
class CommandLine {
 public:
   CommandLine(const ReportEntry &report, const std::vector<std::string> &options)
   {
      words.emplace_back(report.name); // where a program has its own name
      words.insert(words.end(), options.begin(), options.end());
      for (std::string &word : words) {
         pointers.push_back(word.data());
      }
      pointers.push_back(nullptr);
   }
   ~CommandLine() = default;
   CommandLine(const CommandLine &) = delete;
   CommandLine &operator=(const CommandLine &) = delete;

   int Count() const { return static_cast<int>(words.size()); }
   char **Words() { return pointers.data(); }

 private:
   std::vector<std::string> words;
   std::vector<char *> pointers;
};

void BeginScan()
{
   opterr = 0;
   optind = 0; // from the first word, with nothing kept of the scan before
}

bool HasColumn(const ReportEntry &report, std::string_view name)
{
   for (const ReportColumn *column = report.description->columns; column->name != nullptr; column++) {
      if (name.size() == std::string_view(column->name).size() &&
          strncasecmp(column->name, name.data(), name.size()) == 0) {
         return true;
      }
   }
   return false;
}

std::string UnknownColumn(const ReportEntry &report, std::string_view selection)
{
   while (!selection.empty()) {
      const size_t length = std::min(selection.find(':'), selection.size());
      const std::string_view name = selection.substr(0, length);
      if (!name.empty() && !HasColumn(report, name)) {
         return std::string(name);
      }
      selection.remove_prefix(std::min(length + 1, selection.size()));
   }
   return {};
}

} // namespace

NevraStatus RunReport(const ReportEntry &report, const std::vector<std::string> &options,
                      const TableOutput &output)
{
   const ColumnsKept kept(report);
   std::vector<std::string> words = {"-q"};
   words.insert(words.end(), options.begin(), options.end());
   CommandLine line(report, words);
   BeginScan();
   return report.run({report.name, line.Count(), line.Words(), {.table = &output, .csv = &output}});
}

std::string ProblemOfOptions(const ReportEntry &report, const std::vector<std::string> &options)
{
   CommandLine line(report, options);
   BeginScan();
   int letter;
   while ((letter = getopt_long(line.Count(), line.Words(), report.description->shortOptions,
                                report.description->longOptions, nullptr)) != -1) {
      if (letter == '?') {
         return std::string(report.name) +
                " has no such option, or it lacks its value: " + line.Words()[std::max(optind - 1, 1)];
      }
      if (letter == 's') {
         if (const std::string name = UnknownColumn(report, optarg); !name.empty()) {
            return std::string(report.name) + " has no column " + name;
         }
      }
   }
   return optind < line.Count() ? std::string("not an option: ") + line.Words()[optind] : std::string();
}
