// usage: make_manual NAME VERSION DATE SOURCE PAGE
// Makes the manual page NAME(8) from its source. The sources of the other pages are beside it, as NAME.8.in.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "manuals/manual_page.h"
#include "manuals/source_folder.h"

namespace {

// What the pages whose sources are in a folder say of themselves. A source that cannot be read is reported
// when its own page is made.
std::map<std::string, PageSummary> ReadSummaries(const std::filesystem::path &folder)
{
   std::vector<std::string> ignored;
   std::map<std::string, PageSummary> summaries;
   for (const auto &[name, source] : ReadSourceFolder(folder, &ignored)) {
      summaries[name] = Summarize(source);
   }
   return summaries;
}

} // namespace

int main(int argc, char **argv)
{
   if (argc != 6) {
      std::fprintf(stderr, "usage: %s NAME VERSION DATE SOURCE PAGE\n", argv[0]);
      return 2;
   }
   std::ifstream input(argv[4]);
   std::vector<PageLine> source;
   std::vector<std::string> errors(1);
   if (!input || !ReadPageSource(input, &source, errors.data())) {
      std::fprintf(stderr, "%s: %s\n", argv[4], input.is_open() ? errors[0].c_str() : "cannot be read");
      return 1;
   }
   errors.clear();
   const std::filesystem::path folder = std::filesystem::absolute(argv[4]).parent_path();
   const std::string page =
      MakeManualPage(argv[1], source, {argv[2], argv[3], ReadSummaries(folder)}, &errors);
   for (const std::string &error : errors) {
      std::fprintf(stderr, "%s: %s\n", argv[4], error.c_str());
   }
   if (!errors.empty()) {
      return 1;
   }
   std::ofstream output(argv[5]);
   output << page;
   output.close();
   if (!output) {
      std::fprintf(stderr, "%s: cannot be written\n", argv[5]);
   }
   return output ? 0 : 1;
}
