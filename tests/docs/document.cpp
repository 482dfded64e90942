#include "tests/docs/document.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>

namespace {

constexpr char kFence[] = "```";

struct Block {
   std::string kind; // empty: not said
   std::vector<std::string> lines;
   size_t firstLine;
};

struct Page {
   std::vector<Block> blocks;
   std::vector<std::string> text; // outside of blocks
};

Page ReadPage(const std::string &path)
{
   Page page;
   std::ifstream file(path);
   bool isInBlock = false;
   size_t number = 0;
   for (std::string line; std::getline(file, line);) {
      number++;
      if (line.starts_with(kFence)) {
         isInBlock = !isInBlock;
         if (isInBlock) {
            page.blocks.push_back({line.substr(sizeof kFence - 1), {}, number + 1});
         }
      } else if (isInBlock) {
         page.blocks.back().lines.push_back(line);
      } else {
         page.text.push_back(line);
      }
   }
   return page;
}

void AddFromConsole(const Block &block, std::vector<DocumentedCommand> *commands)
{
   for (size_t i = 0; i < block.lines.size(); i++) {
      const std::string &line = block.lines[i];
      if (line.starts_with("$ ")) {
         commands->push_back({line.substr(2), true, "", block.firstLine + i});
      } else if (commands->empty()) {
         continue;
      } else if (line.starts_with("> ") && commands->back().output.empty()) {
         commands->back().command += "\n" + line.substr(2);
      } else {
         commands->back().output += line + "\n";
      }
   }
}

void AddFromShell(const Block &block, std::vector<DocumentedCommand> *commands)
{
   bool goesOn = false;
   for (size_t i = 0; i < block.lines.size(); i++) {
      const std::string &line = block.lines[i];
      if (goesOn) {
         commands->back().command += "\n" + line;
      } else if (!line.empty()) {
         commands->push_back({line, false, "", block.firstLine + i});
      }
      goesOn = line.ends_with('\\') || line.ends_with('|');
   }
}

// As forges make them: small letters, digits, hyphens and underscores stay, blanks become hyphens.
std::string AnchorOf(const std::string &heading)
{
   std::string anchor;
   for (const char c : heading) {
      if (c == ' ') {
         anchor += '-';
      } else if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_') {
         anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
   }
   return anchor;
}

} // namespace

std::vector<DocumentedCommand> ReadCommands(const std::string &path)
{
   std::vector<DocumentedCommand> commands;
   for (const Block &block : ReadPage(path).blocks) {
      if (block.kind == "console") {
         AddFromConsole(block, &commands);
      } else if (block.kind == "sh") {
         AddFromShell(block, &commands);
      }
   }
   return commands;
}

std::vector<std::string> ReadInlineCode(const std::string &path, const std::string &start)
{
   std::vector<std::string> found;
   for (const std::string &line : ReadPage(path).text) {
      for (size_t first = line.find('`'); first != std::string::npos;) {
         const size_t last = std::min(line.find('`', first + 1), line.size());
         const std::string code = line.substr(first + 1, last - first - 1);
         if (code.starts_with(start)) {
            found.push_back(code);
         }
         first = line.find('`', std::min(last + 1, line.size()));
      }
   }
   return found;
}

std::vector<std::string> FindUnmarkedCommands(const std::string &path)
{
   std::vector<std::string> found;
   for (const Block &block : ReadPage(path).blocks) {
      for (const std::string &line : block.lines) {
         for (const char *start : {"$ ", "hostmem ", "hostmem-", "build/release/", "make", "sudo "}) {
            if (block.kind.empty() && line.starts_with(start)) {
               found.push_back(line);
            }
         }
      }
   }
   return found;
}

std::vector<std::string> ReadLinks(const std::string &path)
{
   std::vector<std::string> links;
   for (const std::string &line : ReadPage(path).text) {
      for (size_t start = line.find("]("); start != std::string::npos; start = line.find("](", start + 1)) {
         links.push_back(line.substr(start + 2, line.find(')', start) - start - 2));
      }
   }
   return links;
}

std::vector<std::string> ReadAnchors(const std::string &path)
{
   std::vector<std::string> anchors;
   std::map<std::string, int> count;
   for (const std::string &line : ReadPage(path).text) {
      const size_t start = line.find_first_not_of('#');
      if (start != 0 && start != std::string::npos && line[start] == ' ') {
         const std::string anchor = AnchorOf(line.substr(start + 1));
         const int before = count[anchor]++;
         anchors.push_back(before == 0 ? anchor : anchor + "-" + std::to_string(before));
      }
   }
   return anchors;
}

std::string WithoutTimes(const std::string &output)
{
   constexpr char kBeforeTime[] = " STATS: ";
   std::string text;
   size_t start = 0;
   while (start < output.size()) {
      const size_t end = std::min(output.find('\n', start), output.size());
      std::string line = output.substr(start, end - start);
      const size_t time = line.find(kBeforeTime);
      line.resize(time == std::string::npos ? line.size() : time + sizeof kBeforeTime - 1);
      text += line + "\n";
      start = end + 1;
   }
   return text;
}
