#include "manuals/source_folder.h"

#include <fstream>
#include <system_error>

std::map<std::string, std::vector<PageLine>> ReadSourceFolder(const std::filesystem::path &folder,
                                                              std::vector<std::string> *errors)
{
   constexpr std::string_view kSuffix = ".8.in";
   std::map<std::string, std::vector<PageLine>> sources;
   std::error_code problem;
   for (const auto &entry : std::filesystem::directory_iterator(folder, problem)) {
      const std::string name = entry.path().filename();
      if (!name.ends_with(kSuffix)) {
         continue;
      }
      std::ifstream input(entry.path());
      std::string error = "cannot be read";
      std::vector<PageLine> source;
      if (!input || !ReadPageSource(input, &source, &error)) {
         errors->push_back(name + ": " + error);
      }
      sources[name.substr(0, name.size() - kSuffix.size())] = source;
   }
   if (problem) {
      errors->push_back(problem.message());
   }
   return sources;
}
