#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

#include <sys/utsname.h>

#include "nevra/linux/linux_source.h"
#include "nevra/snapshot/capture.h"
#include "nevra/snapshot/snapshot_format.h"
#include "snapshot-tool/capture_time.h"
#include "snapshot-tool/commands.h"
#include "snapshot-tool/message.h"
#include "snapshot-tool/platform_source.h"
#include "snapshot-tool/progress.h"
#include "snapshot-tool/write_snapshot.h"

namespace {

// Now, or what SOURCE_DATE_EPOCH says, so that a capture of a recorded tree can be repeated byte by byte.
int64_t CaptureTime()
{
   const char *fixed = std::getenv("SOURCE_DATE_EPOCH");
   if (fixed != nullptr) {
      int64_t seconds = 0;
      const auto result = std::from_chars(fixed, fixed + std::strlen(fixed), seconds);
      if (result.ec == std::errc() && *result.ptr == '\0' && seconds >= 0 &&
          seconds <= nevra::kMaxCaptureTime) {
         return seconds;
      }
   }
   return std::time(nullptr);
}

// HOST-TIME.snapshot in this folder, for example "elm-20260131T235959Z.snapshot".
std::string DefaultOutput(const nevra::SnapshotTree &tree)
{
   std::string name = tree.host.empty() ? "host" : tree.host;
   for (char &character : name) {
      const bool isPlain = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                           (character >= '0' && character <= '9') || character == '-' || character == '_';
      character = isPlain ? character : '_';
   }
   std::string time = FormatCaptureTime(tree.captured);
   std::erase(time, '-');
   std::erase(time, ':');
   return name + '-' + time + ".snapshot";
}

// The name that the host gives itself; empty when it gives none.
std::string HostName(const std::string &root)
{
   utsname names;
   return !root.empty() ? nevra::ReadHostName(root) : uname(&names) == 0 ? names.nodename : "";
}

// This host without a root, else the recorded tree. Null, with `*problem`, when there is none.
std::unique_ptr<nevra::Source> OpenSource(const std::string &root, std::string *problem)
{
   if (root.empty()) {
      return OpenPlatformSource(problem);
   }
   std::error_code error;
   if (!std::filesystem::is_directory(root, error)) {
      *problem = root + ": " + (error ? error.message() : "not a folder");
      return nullptr;
   }
   return nevra::MakeLinuxSource(root);
}

bool CaptureHost(nevra::Source &source, nevra::SnapshotTree *tree, std::string *problem)
{
   Progress progress("capturing");
   const bool done = CaptureTree(
      source, tree, [&](uint64_t answers) { progress.Update(answers, 0); }, problem,
      nevra::kMaxSnapshotBytes);
   for (const std::string &line : source.Unreadable()) {
      Warning("hostmem-snapshot: %s\n", line.c_str());
   }
   return done;
}

} // namespace

int CaptureCommand(const std::string &root, const Output &output)
{
   std::string problem;
   const std::unique_ptr<nevra::Source> source = OpenSource(root, &problem);
   if (source == nullptr) {
      Warning("hostmem-snapshot: %s\n", problem.c_str());
      return kExitFailed;
   }
   nevra::SnapshotTree tree;
   tree.host = HostName(root);
   tree.captured = CaptureTime();
   const std::string path = output.path.empty() ? DefaultOutput(tree) : output.path;
   if (!CheckOutput(path, output.ifExists)) {
      return kExitFailed;
   }
   const std::string origin = root.empty() ? "/" : root;
   if (!CaptureHost(*source, &tree, &problem)) {
      Complain(origin, problem);
      return kExitFailed;
   }
   if (!WriteSnapshot(&tree, origin, path, output.ifExists)) {
      return kExitFailed;
   }
   if (output.path.empty()) {
      std::printf("%s\n", path.c_str());
   }
   return FinishOutput() ? kExitDone : kExitFailed;
}
