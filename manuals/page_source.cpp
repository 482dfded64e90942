#include "manuals/page_source.h"

#include <algorithm>
#include <istream>
#include <iterator>
#include <string_view>

namespace {

constexpr const char *kBlocks[] = {"columns", "flags", "example", "privileges"};

std::string Trim(const std::string &text)
{
   const size_t first = text.find_first_not_of(" \t");
   const size_t last = text.find_last_not_of(" \t");
   return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

PageEntry ParseEntry(const std::string &line)
{
   constexpr std::string_view kOnLinux = "{Linux: ";
   const size_t bar = line.find('|');
   PageEntry entry = {Trim(line.substr(0, bar)), "",
                      bar != std::string::npos ? Trim(line.substr(bar + 1)) : ""};
   const size_t end = entry.text.find('}');
   if (entry.text.starts_with(kOnLinux) && end != std::string::npos) {
      entry.onLinux = entry.text.substr(kOnLinux.size(), end - kOnLinux.size());
      entry.text = Trim(entry.text.substr(end + 1));
   }
   return entry;
}

bool ReadBlock(std::istream &input, PageLine *block, std::string *error)
{
   std::string line;
   while (std::getline(input, line)) {
      if (line == "@end") {
         return true;
      }
      if (block->directive == "example" || block->directive == "privileges") {
         block->lines.push_back(line);
      } else if (!Trim(line).empty()) {
         block->entries.push_back(ParseEntry(line));
      }
   }
   *error = "@" + block->directive + " has no @end";
   return false;
}

} // namespace

bool ReadPageSource(std::istream &input, std::vector<PageLine> *lines, std::string *error)
{
   std::string line;
   while (std::getline(input, line)) {
      if (line.empty() || line[0] != '@') {
         lines->push_back({"", line, {}, {}});
         continue;
      }
      const size_t blank = std::min(line.find(' '), line.size());
      PageLine directive = {line.substr(1, blank - 1), Trim(line.substr(blank)), {}, {}};
      const bool isBlock =
         std::find(std::begin(kBlocks), std::end(kBlocks), directive.directive) != std::end(kBlocks);
      if (isBlock && !ReadBlock(input, &directive, error)) {
         return false;
      }
      lines->push_back(directive);
   }
   return true;
}

PageSummary Summarize(const std::vector<PageLine> &source)
{
   PageSummary summary;
   for (const PageLine &line : source) {
      if (line.directive == "title") {
         summary.title = line.text;
      } else if (line.directive == "privileges") {
         for (const std::string &text : line.lines) {
            summary.privileges += (summary.privileges.empty() ? "" : " ") + text;
         }
      }
   }
   return summary;
}
