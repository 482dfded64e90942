// Floor for the live reports: opens, reads and closes the files that it is given a list of, and lists the
// folders among them.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

int main(int argc, char **argv)
{
   if (argc != 2) {
      std::fprintf(stderr, "usage: %s LIST\n", argv[0]);
      return 2;
   }
   std::vector<std::string> paths;
   std::ifstream list(argv[1]);
   for (std::string path; std::getline(list, path);) {
      paths.push_back(path);
   }
   static char buffer[65536];
   for (const std::string &path : paths) {
      if (path.back() == '/') {
         if (DIR *folder = opendir(path.c_str())) {
            while (readdir(folder) != nullptr) {
            }
            closedir(folder);
         }
         continue;
      }
      const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
      if (file < 0) {
         continue; // it was gone, or refused, for the report too
      }
      while (read(file, buffer, sizeof buffer) > 0) {
      }
      close(file);
   }
   return 0;
}
