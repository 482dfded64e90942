#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iterator>

#include <sys/utsname.h>
#include <unistd.h>

#include "nevra/linux/linux_source.h"
#include "nevra/snapshot/capture.h"
#include "nevra/snapshot/snapshot_format.h"
#include "snapshot-tool/anonymize.h"
#include "snapshot-tool/capture_notes.h"
#include "snapshot-tool/capture_time.h"
#include "snapshot-tool/commands.h"
#include "snapshot-tool/held_messages.h"
#include "snapshot-tool/message.h"
#include "snapshot-tool/names_file.h"
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

// Who captured what. Of a recorded tree only what it says itself, so that it gives the same bytes again.
void DescribeCapture(const std::string &root, nevra::SnapshotTree *tree)
{
   utsname system = {};
   uname(&system);
   tree->host = root.empty() ? system.nodename : nevra::ReadHostName(root);
   tree->captured = CaptureTime();
   const std::string release = root.empty() ? system.release : nevra::ReadKernelRelease(root);
   tree->notes = "captured by: hostmem-snapshot " HOSTMEM_VERSION;
   if (!release.empty()) {
      tree->notes += "\nkernel release: " + release;
   }
   if (root.empty()) {
      tree->notes += "\nuser ID: " + std::to_string(geteuid());
   }
}

bool CaptureHost(nevra::Source &source, nevra::SnapshotTree *tree, FILE *terminal, std::string *problem)
{
   Progress progress("capturing", terminal, isatty(fileno(terminal)) != 0, std::chrono::steady_clock::now);
   return CaptureTree(
      source, tree, [&](uint64_t answers) { progress.Update(answers, 0); }, problem,
      nevra::kMaxSnapshotBytes);
}

// Opens the source and asks it everything. What it cannot read is said afterwards, and noted.
bool Capture(const std::string &root, nevra::SnapshotTree *tree, std::string *problem)
{
   bool done = false;
   std::vector<std::string> unreadable;
   {
      HeldMessages held("hostmem-snapshot");
      const std::unique_ptr<nevra::Source> source = OpenSource(root, problem);
      if (source != nullptr) {
         done = CaptureHost(*source, tree, held.Stream(), problem);
         if (!done) {
            *problem = (root.empty() ? "/" : root) + ": " + *problem;
         }
         unreadable.assign(source->Unreadable().begin(), source->Unreadable().end());
      }
      std::ranges::move(held.Take(), std::back_inserter(unreadable));
   }
   for (const std::string &line : unreadable) {
      Warning("hostmem-snapshot: %s\n", line.c_str());
      NoteUnreadable(line, &tree->notes);
   }
   return done;
}

// Where a file lies, whichever way its name leads there.
std::filesystem::path Located(const std::filesystem::path &path)
{
   std::error_code error;
   const std::filesystem::path folder =
      std::filesystem::weakly_canonical(std::filesystem::absolute(path, error).parent_path(), error);
   return folder / path.filename();
}

} // namespace

int CaptureCommand(const std::string &root, const Output &output, const Anonymity &anonymity)
{
   nevra::SnapshotTree tree;
   DescribeCapture(root, &tree);
   Output names = anonymity.names;
   Pseudonyms pseudonyms;
   if (!OpenNames(&names, &pseudonyms)) {
      return kExitFailed;
   }
   if (anonymity.isWanted) {
      tree.host = pseudonyms.Of(tree.host); // the name of the file has it too
   }
   const std::string path = output.path.empty() ? DefaultOutput(tree) : output.path;
   if (!names.path.empty() && Located(names.path) == Located(path)) {
      Warning("hostmem-snapshot: --names: %s is the snapshot\n", names.path.c_str());
      Warning("Run with --help for more information.\n");
      return kExitTrouble;
   }
   if (!CheckOutput(path, output.ifExists)) {
      return kExitFailed;
   }
   std::string problem;
   if (!Capture(root, &tree, &problem)) {
      Warning("hostmem-snapshot: %s\n", problem.c_str());
      return kExitFailed;
   }
   if (anonymity.isWanted) {
      Anonymize(&tree, &pseudonyms);
   }
   if (!WriteNames(names, pseudonyms)) {
      return kExitFailed;
   }
   if (!WriteSnapshot(&tree, root.empty() ? "/" : root, path, output.ifExists)) {
      return kExitFailed;
   }
   if (output.path.empty()) {
      std::printf("%s\n", path.c_str());
   }
   return FinishOutput() ? kExitDone : kExitFailed;
}
