#include "snapshot-tool/run_hostmem.h"

#include <filesystem>

#include <unistd.h>

#include "snapshot-tool/capture_time.h"

std::string MomentOf(const nevra::SnapshotFile &file)
{
   const std::string host = *file.host != '\0' ? file.host : "without a name";
   return "host " + host + ", captured " + FormatCaptureTime(file.captured);
}

void BecomeHostmem(const std::string &snapshot, const std::vector<std::string> &arguments)
{
   std::vector<const char *> argv = {"hostmem", "-c", snapshot.c_str()};
   for (const std::string &argument : arguments) {
      argv.push_back(argument.c_str());
   }
   argv.push_back(nullptr);
   char **words = const_cast<char **>(argv.data()); // which exec does not write to
   std::error_code error;
   const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
   if (!error) {
      execv((self.parent_path() / "hostmem").c_str(), words);
   }
   execvp("hostmem", words);
}
