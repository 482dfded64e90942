// Writes kernel files, or what a command prints, to standard output: "LABEL NAME SIZE", the bytes, a newline.
// A file that cannot be read is left out. usage: record files LABEL PATTERN...
//        record run LABEL NAME COMMAND...
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <glob.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool ReadUntilEnd(int file, std::string &text)
{
   char buffer[65536];
   for (;;) {
      const ssize_t length = read(file, buffer, sizeof buffer);
      if (length <= 0) {
         return length == 0;
      }
      text.append(buffer, static_cast<size_t>(length));
   }
}

void Emit(const char *label, const char *name, const std::string &text)
{
   std::printf("%s %s %zu\n", label, name, text.size());
   std::fwrite(text.data(), 1, text.size(), stdout);
   std::putchar('\n');
}

void RecordFiles(const char *label, char **patterns)
{
   for (; *patterns != nullptr; patterns++) {
      glob_t found = {};
      glob(*patterns, 0, nullptr, &found);
      for (size_t i = 0; i < found.gl_pathc; i++) {
         std::string text;
         const int file = open(found.gl_pathv[i], O_RDONLY | O_NONBLOCK);
         if (file >= 0 && ReadUntilEnd(file, text)) {
            Emit(label, found.gl_pathv[i], text);
         }
         close(file);
      }
      globfree(&found);
   }
}

bool RecordRun(const char *label, const char *name, char **command)
{
   int ends[2];
   if (pipe(ends) != 0) {
      return false;
   }
   const pid_t child = fork();
   if (child == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]);
      close(ends[1]);
      execv(command[0], command);
      _exit(127);
   }
   close(ends[1]);
   std::string text;
   ReadUntilEnd(ends[0], text);
   close(ends[0]);
   int status = 0;
   waitpid(child, &status, 0);
   Emit(label, name, text);
   return status == 0;
}

} // namespace

int main(int argc, char **argv)
{
   const std::string mode = argc > 3 ? argv[1] : "";
   if (mode == "files") {
      RecordFiles(argv[2], argv + 3);
      return 0;
   }
   return mode == "run" && argc > 4 && RecordRun(argv[2], argv[3], argv + 4) ? 0 : 1;
}
