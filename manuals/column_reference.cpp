#include "manuals/column_reference.h"

#include <sstream>

#include "frontend/report_table.h"
#include "manuals/column_meaning.h"

namespace {

// The marks around text in a font: what begins it, and so ends it.
const char *MarkOfFont(char font)
{
   return font == 'B' ? "`" : font == 'I' ? "*" : "";
}

// A character escaped by two letters.
const char *Special(const std::string &name)
{
   constexpr struct {
      const char *name;
      const char *text;
   } kSpecials[] = {{"lq", "“"}, {"rq", "”"}, {"oq", "‘"}, {"cq", "’"}};
   for (const auto &special : kSpecials) {
      if (name == special.name) {
         return special.text;
      }
   }
   return "?";
}

const PageLine *FindLine(const std::vector<PageLine> &source, const char *directive)
{
   for (const PageLine &line : source) {
      if (line.directive == directive) {
         return &line;
      }
   }
   return nullptr;
}

void PrintReport(std::ostringstream &page, const ReportEntry &report, const std::vector<PageLine> &source)
{
   const PageSummary summary = Summarize(source);
   page << "\n## " << report.name << "\n\n" << MarkdownOf(Sentence(summary.title)) << "\n";
   if (!summary.privileges.empty()) {
      page << "\n*Root:* " << MarkdownOf(summary.privileges) << "\n";
   }
   page << "\n| column | unit | meaning | on Linux |\n|---|---|---|---|\n";
   const PageLine *block = FindLine(source, "columns");
   for (const ReportColumn *column = report.description->columns; column->name != nullptr; column++) {
      const PageEntry *entry = block != nullptr ? FindEntry(*block, column->name) : nullptr;
      const std::string onLinux = entry != nullptr ? entry->onLinux : "";
      page << "| `" << column->name << "` | " << UnitWord(column->unit) << " | "
           << MarkdownOf(ColumnMeaning(*column, entry)) << " | "
           << (onLinux.empty() ? "" : "always " + onLinux) << " |\n";
   }
}

} // namespace

std::string MarkdownOf(const std::string &roff)
{
   std::string text;
   const char *open = ""; // the mark of the present font
   for (size_t i = 0; i < roff.size(); i++) {
      const char next = i + 1 < roff.size() ? roff[i + 1] : '\0';
      if (roff[i] == '|') {
         text += "\\|";
      } else if (roff[i] == '\n') {
         text += ' ';
      } else if (roff[i] != '\\' || next == '\0') {
         text += roff[i];
      } else if (next == 'f' && i + 2 < roff.size()) {
         text += open;
         open = MarkOfFont(roff[i + 2]);
         text += open;
         i += 2;
      } else if (next == '(' && i + 3 < roff.size()) {
         text += Special(roff.substr(i + 2, 2));
         i += 3;
      } else if (next == '&') {
         i++;
      } else {
         text += next == 'e' ? '\\' : next;
         i++;
      }
   }
   return text + open;
}

std::string MakeColumnReference(const std::map<std::string, std::vector<PageLine>> &sources,
                                std::vector<std::string> *errors)
{
   std::ostringstream page;
   page
      << "# Columns\n\n"
         "Every column of every report: its unit, what it means, and what a Linux host shows in it if that "
         "is\n"
         "always the same. The build makes this page from the tables that the reports run by.\n\n"
         "The unit *memory* is that of `-u`, KB by default. `hostmem -r REPORT -v` prints the descriptions\n"
         "under a report. [linux.md](linux.md) names the kernel file that a column comes from. Words in\n"
         "capitals, such as `FLAGS`, are sections of the report's manual.\n\n";
   std::ostringstream sections;
   std::string separator;
   for (const ReportEntry &report : Reports()) {
      const auto source = sources.find("hostmem-" + std::string(report.name));
      if (source == sources.end()) {
         errors->push_back(std::string("no page for ") + report.name);
         continue;
      }
      std::string anchor = report.name;
      for (char &c : anchor) {
         c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
      page << separator << "[" << report.name << "](#" << anchor << ")";
      separator = ",\n";
      PrintReport(sections, report, source->second);
   }
   return page.str() + ".\n" + sections.str();
}
