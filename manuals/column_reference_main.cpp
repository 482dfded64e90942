// usage: make_column_reference FOLDER PAGE
// Makes the page of all columns from the sources of the manual pages in the folder.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "manuals/column_reference.h"
#include "manuals/source_folder.h"

int main(int argc, char **argv)
{
   if (argc != 3) {
      std::fprintf(stderr, "usage: %s FOLDER PAGE\n", argv[0]);
      return 2;
   }
   std::vector<std::string> errors;
   const std::string page = MakeColumnReference(ReadSourceFolder(argv[1], &errors), &errors);
   for (const std::string &error : errors) {
      std::fprintf(stderr, "%s: %s\n", argv[1], error.c_str());
   }
   if (!errors.empty()) {
      return 1;
   }
   std::ofstream output(argv[2]);
   output << page;
   output.close();
   if (!output) {
      std::fprintf(stderr, "%s: cannot be written\n", argv[2]);
   }
   return output ? 0 : 1;
}
