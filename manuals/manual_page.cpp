#include "manuals/manual_page.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <sstream>

#include "frontend/report_table.h"
#include "manuals/column_meaning.h"
#include "manuals/option_help.h"

namespace {

constexpr char kPagePrefix[] = "hostmem-";

// Everything that the sections are made from.
struct Page {
   std::string name;
   const char *report = nullptr; // null: the page is that of a program
   ReportDescription description = {};
   bool isLiveOnly = false;
   const PageEdition *edition = nullptr;
   std::vector<PageEntry> columns = {}; // those of @columns
   std::vector<std::string> *errors = nullptr;
   std::ostringstream roff;
};

// Compares the names that a block has entries for with those of the table that it explains.
void CheckEntries(Page *page, const PageLine &block, const std::vector<std::string> &names)
{
   for (const std::string &name : names) {
      const auto isOne = [&name](const PageEntry &entry) { return entry.name == name; };
      const auto count = std::count_if(block.entries.begin(), block.entries.end(), isOne);
      if (count != 1) {
         page->errors->push_back("@" + block.directive + ": " + std::to_string(count) + " entries for " +
                                 name);
      }
   }
   for (const PageEntry &entry : block.entries) {
      if (std::find(names.begin(), names.end(), entry.name) == names.end()) {
         page->errors->push_back("@" + block.directive + ": nothing is called " + entry.name);
      }
   }
}

// ---- title, name and synopsis

std::string Synopsis(const ListedOption &option, const OptionHelp &help)
{
   const std::string form =
      option.letter != 0 ? std::string("\\-") + option.letter : std::string("\\-\\-") + option.longName;
   return "[\\fB" + form + "\\fP" +
          (option.takesArgument ? std::string("\\ \\fI") + help.argument + "\\fP" : "") + "]";
}

// The options of the report in the order of the help.
std::vector<std::pair<ListedOption, const OptionHelp *>> OptionsWithHelp(Page *page)
{
   std::vector<std::pair<ListedOption, const OptionHelp *>> options;
   for (const ListedOption &option : ListOptions(page->description)) {
      const OptionHelp *help = FindOptionHelp(page->report, option.letter, option.longName);
      if (help == nullptr || (help->argument != nullptr) != option.takesArgument) {
         page->errors->push_back("no help for an option: " + std::string(1, option.letter) + " " +
                                 (option.longName != nullptr ? option.longName : ""));
      } else {
         options.emplace_back(option, help);
      }
   }
   std::sort(options.begin(), options.end(),
             [](const auto &a, const auto &b) { return a.second < b.second; });
   return options;
}

void PrintTitle(Page *page, const std::string &title)
{
   std::string capitals = page->name;
   std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                  [](unsigned char c) { return std::toupper(c); });
   // A long title would meet a middle that is longer than this at 80 columns.
   page->roff << ".TH " << capitals << " 8 " << page->edition->date << " \"hostmem " << page->edition->version
              << "\" hostmem\n"
              << ".nh\n.ad l\n.SH NAME\n"
              << Escape(page->name) << " \\- " << title << "\n";
   if (page->report == nullptr) {
      return;
   }
   const char *cache = page->isLiveOnly ? "" : "[\\fB\\-c\\fP\\ \\fIfile\\fP]\n";
   page->roff << ".SH SYNOPSIS\n.B hostmem\n[\\fB\\-\\-force\\fP]\n"
              << cache << "\\fB\\-r\\ " << Escape(page->report) << "\\fP\n";
   for (const auto &[option, help] : OptionsWithHelp(page)) {
      page->roff << Synopsis(option, *help) << "\n";
   }
}

// ---- options

void PrintOptions(Page *page)
{
   page->roff << ".SH OPTIONS\n";
   for (const auto &[option, help] : OptionsWithHelp(page)) {
      const std::string argument = option.takesArgument ? std::string("\\fI") + help->argument + "\\fP" : "";
      page->roff << ".TP\n";
      if (option.letter != 0) {
         page->roff << "\\fB\\-" << option.letter << "\\fP" << (argument.empty() ? "" : " " + argument)
                    << (option.longName != nullptr ? ", " : "");
      }
      if (option.longName != nullptr) {
         page->roff << "\\fB\\-\\-" << option.longName << "\\fP" << (argument.empty() ? "" : "=" + argument);
      }
      page->roff << "\n" << help->text << "\n";
   }
   page->roff << ".PP\n"
                 "A long option may be cut to any start of its name that no other has, and of an option "
                 "given twice the\n"
                 "last one counts.\n";
   if (!page->isLiveOnly) {
      page->roff << "The options\n.BR \\-c ,\n.B \\-f\nand\n.B \\-h\nof\n.BR hostmem (8)\ncome before\n.BR "
                    "\\-r ;\nafter it they are ignored without a message.\n";
   }
}

// ---- tables

void PrintTableStart(Page *page, int columnCount, const char *heads)
{
   // Without keeps, which leave a blank line where a page of paper would end.
   page->roff << ".TS\nnokeep;\n";
   for (int i = 1; i < columnCount; i++) {
      page->roff << "lb ";
   }
   page->roff << "lbx\nlb ";
   for (int i = 2; i < columnCount; i++) {
      page->roff << "l ";
   }
   page->roff << "lx.\n" << heads << "\n_\n";
}

void PrintTextBlock(Page *page, const std::string &text)
{
   page->roff << "T{\n" << text << "\nT}\n";
}

void PrintColumns(Page *page, const PageLine &block)
{
   std::vector<std::string> names;
   for (const ReportColumn *column = page->description.columns; column->name != nullptr; column++) {
      names.emplace_back(column->name);
   }
   CheckEntries(page, block, names);
   page->columns = block.entries;
   const bool hasTotals = page->description.hasTotalRow;
   PrintTableStart(page, hasTotals ? 4 : 3,
                   hasTotals ? "Column\tUnit\tTotal\tMeaning" : "Column\tUnit\tMeaning");
   for (const ReportColumn *column = page->description.columns; column->name != nullptr; column++) {
      const PageEntry *entry = FindEntry(block, column->name);
      page->roff << Escape(column->name) << "\t" << UnitWord(column->unit) << "\t";
      if (hasTotals) {
         page->roff << (column->totalled != 0 ? "yes" : "\\-") << "\t";
      }
      const std::string onLinux = entry != nullptr ? entry->onLinux : "";
      PrintTextBlock(page, ColumnMeaning(*column, entry) +
                              (onLinux.empty() ? "" : "\nAlways " + Escape(onLinux) + " on Linux."));
   }
   page->roff << ".TE\n";
}

// The columns that show one value on Linux, under that value.
void PrintOnLinux(Page *page)
{
   std::map<std::string, std::string> columnsByValue;
   for (const PageEntry &entry : page->columns) {
      if (!entry.onLinux.empty()) {
         std::string &columns = columnsByValue[entry.onLinux];
         columns += (columns.empty() ? "" : ", ") + Escape(entry.name);
      }
   }
   page->roff << ".SH ON LINUX\nLive on Linux, ";
   if (columnsByValue.empty()) {
      page->roff << "every column comes from a figure of the kernel.\n";
   } else {
      page->roff << "some columns show the same value in every row, as the kernel has no such figure:\n";
      for (const auto &[value, columns] : columnsByValue) {
         page->roff << ".TP\n.B " << Escape(value) << "\n" << columns << "\n";
      }
      page->roff << ".PP\n";
   }
   page->roff
      << "The kernel file that each of the others comes from is in\n.IR /usr/share/doc/hostmem/linux.md .\n";
}

void PrintPrivileges(Page *page, const PageLine &block)
{
   page->roff << ".SH PRIVILEGES\n";
   for (const std::string &line : block.lines) {
      page->roff << line << "\n";
   }
   const bool needsNone = block.lines == std::vector<std::string>{"None."};
   if (page->report != nullptr && !needsNone) {
      page->roff << "See\n.B PRIVILEGES\nin\n.BR hostmem (8)\nfor the capabilities that are enough.\n";
   }
}

void PrintFlagNames(Page *page, const std::vector<std::string> &names)
{
   for (size_t i = 0; i < names.size(); i++) {
      page->roff << ".BR " << Escape(names[i]) << (i + 1 < names.size() ? " ," : " .") << "\n";
   }
}

void PrintFlags(Page *page, const PageLine &block)
{
   std::vector<std::string> names;
   for (const FlagName *flag = page->description.flagNames; flag != nullptr && flag->name != nullptr;
        flag++) {
      names.emplace_back(flag->name);
   }
   if (block.entries.empty()) {
      PrintFlagNames(page, names);
      return;
   }
   CheckEntries(page, block, names);
   PrintTableStart(page, 2, "Name\tMeaning");
   for (const std::string &name : names) {
      const PageEntry *entry = FindEntry(block, name);
      page->roff << Escape(name) << "\t";
      PrintTextBlock(page, entry != nullptr ? entry->text : "");
   }
   page->roff << ".TE\n";
}

// Each report with what its page says of it.
void PrintReports(Page *page, const PageLine &line, const char *heads,
                  std::string (*text)(const PageSummary &summary))
{
   PrintTableStart(page, 2, heads);
   for (const ReportEntry &report : Reports()) {
      const auto summary = page->edition->pages.find(kPagePrefix + std::string(report.name));
      if (summary == page->edition->pages.end() || text(summary->second).empty()) {
         page->errors->push_back("@" + line.directive + ": no page for " + report.name);
         continue;
      }
      page->roff << Escape(report.name) << "\t";
      PrintTextBlock(page, text(summary->second));
   }
   page->roff << ".TE\n";
}

std::string TitleAsSentence(const PageSummary &summary)
{
   return Sentence(summary.title);
}

std::string Privileges(const PageSummary &summary)
{
   return summary.privileges;
}

// ---- the end of a page

void PrintExample(Page *page, const PageLine &block)
{
   page->roff << ".PP\n.EX\n";
   for (const std::string &line : block.lines) {
      const bool isCommand = line.starts_with("$ ") || line.starts_with("> ");
      page->roff << (isCommand ? line.substr(0, 2) + "\\fB" + Escape(line.substr(2)) + "\\fP" : Escape(line))
                 << "\n";
   }
   page->roff << ".EE\n";
}

void PrintExitStatus(Page *page)
{
   page->roff << ".SH EXIT STATUS\n.TP\n.B 0\nThe report came to its end.\n.TP\n.B 1\n"
                 "It did not: a message on standard error says why, except where a read answers \\(lqNot "
                 "found\\(rq.\n"
                 "The statuses of what comes before a report are in\n.BR hostmem (8).\n";
}

void PrintSeeAlso(Page *page, const std::string &pages)
{
   page->roff << ".SH SEE ALSO\n";
   std::vector<std::string> names;
   std::istringstream words(pages);
   for (std::string word; words >> word;) {
      names.push_back(word);
   }
   if (page->name != "hostmem") {
      names.insert(names.begin(), "hostmem");
   }
   for (size_t i = 0; i < names.size(); i++) {
      page->roff << ".BR \\%" << Escape(names[i]) << " (8)" << (i + 1 < names.size() ? "," : "") << "\n";
   }
}

void PrintLine(Page *page, const PageLine &line)
{
   const std::string &directive = line.directive;
   if (directive.empty()) {
      page->roff << line.text << "\n";
   } else if (directive == "title") {
      PrintTitle(page, line.text);
   } else if (directive == "options") {
      PrintOptions(page);
   } else if (directive == "columns") {
      PrintColumns(page, line);
   } else if (directive == "flags") {
      PrintFlags(page, line);
   } else if (directive == "reports") {
      PrintReports(page, line, "Report\tWhat it shows", TitleAsSentence);
   } else if (directive == "all-privileges") {
      PrintReports(page, line, "Report\tWhat needs root, live on Linux", Privileges);
   } else if (directive == "on-linux") {
      PrintOnLinux(page);
   } else if (directive == "privileges") {
      PrintPrivileges(page, line);
   } else if (directive == "example") {
      PrintExample(page, line);
   } else if (directive == "exit-status") {
      PrintExitStatus(page);
   } else if (directive == "see-also") {
      PrintSeeAlso(page, line.text);
   } else {
      page->errors->push_back("unknown directive @" + directive);
   }
}

} // namespace

std::string MakeManualPage(const std::string &name, const std::vector<PageLine> &source,
                           const PageEdition &edition, std::vector<std::string> *errors)
{
   Page page;
   page.name = name;
   page.edition = &edition;
   page.errors = errors;
   const ReportEntry *report =
      name.starts_with(kPagePrefix) ? FindReport(name.c_str() + sizeof kPagePrefix - 1) : nullptr;
   if (report != nullptr) {
      page.report = report->name;
      page.description = *report->description;
      page.isLiveOnly = report->source == ReportSource::LiveOnly;
   }
   page.roff << "'\\\" t\n";
   for (const PageLine &line : source) {
      PrintLine(&page, line);
   }
   return page.roff.str();
}
