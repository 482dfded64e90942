// usage: make_manual NAME VERSION DATE SOURCE PAGE
// Makes the manual page NAME(8) from its source.
#include <cstdio>
#include <fstream>

#include "docs/man/manual_page.h"

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
   const std::string page = MakeManualPage(argv[1], source, {argv[2], argv[3]}, &errors);
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
