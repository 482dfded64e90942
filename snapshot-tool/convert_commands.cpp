// export and import.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include <sys/stat.h>

#include "nevra/snapshot/snapshot_writer.h"
#include "snapshot-tool/anonymize.h"
#include "snapshot-tool/commands.h"
#include "snapshot-tool/json_export.h"
#include "snapshot-tool/json_import.h"
#include "snapshot-tool/message.h"
#include "snapshot-tool/names_file.h"
#include "snapshot-tool/write_snapshot.h"

namespace {

struct CloseFile {
   void operator()(FILE *file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, CloseFile>;

// The size of a regular file, else 0.
uint64_t SizeOf(FILE *file)
{
   struct stat facts;
   return fstat(fileno(file), &facts) == 0 && S_ISREG(facts.st_mode) ? static_cast<uint64_t>(facts.st_size)
                                                                     : 0;
}

bool Import(FILE *input, const std::string &name, nevra::SnapshotTree *tree)
{
   Progress progress("importing");
   std::string problem;
   if (!ImportSnapshot(input, SizeOf(input), &progress, tree, &problem)) {
      Complain(name, problem);
      return false;
   }
   return true;
}

// Takes the place of the file with one that has no names, in memory.
bool AnonymizeFile(nevra::SnapshotFile *file, Pseudonyms *pseudonyms, std::string *problem)
{
   nevra::SnapshotTree tree = TreeOf(*file);
   tree.host = pseudonyms->Of(tree.host);
   Anonymize(&tree, pseudonyms);
   nevra::SnapshotImage image;
   return MakeSnapshotImage(&tree, &image, problem) &&
          OpenSnapshotBytes(BytesOfImage(image), file, problem) == NEVRA_OK;
}

} // namespace

int ExportCommand(const std::string &path, const Anonymity &anonymity)
{
   Output names = anonymity.names;
   Pseudonyms pseudonyms;
   if (!OpenNames(&names, &pseudonyms)) {
      return kExitFailed;
   }
   nevra::SnapshotFile file;
   if (!OpenForCommand(path, true, &file)) {
      return kExitFailed;
   }
   std::string problem;
   // What this build defines otherwise is refused below.
   if (anonymity.isWanted &&
       std::ranges::all_of(file.nodes, [](const auto &node) { return node.fit.everything; })) {
      if (!AnonymizeFile(&file, &pseudonyms, &problem)) {
         Complain(path, problem);
         return kExitFailed;
      }
      if (!WriteNames(names, pseudonyms)) {
         return kExitFailed;
      }
   }
   Progress progress("exporting");
   if (!ExportSnapshot(file, stdout, &progress, &problem)) {
      Complain(path, problem);
      return kExitFailed;
   }
   return kExitDone;
}

int ImportCommand(const std::string &path, const Output &output)
{
   if (!CheckOutput(output.path, output.ifExists)) {
      return kExitFailed;
   }
   nevra::SnapshotTree tree;
   if (path == "-") {
      if (!Import(stdin, "standard input", &tree)) {
         return kExitFailed;
      }
   } else {
      const FilePtr input(std::fopen(path.c_str(), "rbe"));
      if (input == nullptr) {
         Complain(path, std::string("cannot be read: ") + std::strerror(errno));
         return kExitFailed;
      }
      if (!Import(input.get(), path, &tree)) {
         return kExitFailed;
      }
   }
   return WriteSnapshot(&tree, path, output.path, output.ifExists) ? kExitDone : kExitFailed;
}
