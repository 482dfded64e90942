#include "manuals/column_meaning.h"

#include <cctype>

std::string Escape(const std::string &text)
{
   std::string roff = !text.empty() && (text[0] == '.' || text[0] == '\'') ? "\\&" : "";
   for (const char c : text) {
      roff += c == '-' ? "\\-" : c == '\\' ? "\\e" : std::string(1, c);
   }
   return roff;
}

std::string Sentence(std::string text)
{
   text.erase(text.find_last_not_of(' ') + 1);
   text = Escape(text);
   text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
   return text.find_last_of(".?") == text.size() - 1 ? text : text + ".";
}

const PageEntry *FindEntry(const PageLine &block, const std::string &name)
{
   for (const PageEntry &entry : block.entries) {
      if (entry.name == name) {
         return &entry;
      }
   }
   return nullptr;
}

std::string ColumnMeaning(const ReportColumn &column, const PageEntry *entry)
{
   std::string text = Sentence(column.description);
   if (entry != nullptr && !entry->text.empty()) {
      text += "\n" + entry->text;
   }
   if (column.key != 0) {
      text += "\nA key column: always shown.";
   }
   if (column.shown == 0) {
      text += "\nHidden unless \\fB\\-x\\fP is given.";
   }
   return text;
}
