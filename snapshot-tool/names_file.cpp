#include "snapshot-tool/names_file.h"

#include <cstdio>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "snapshot-tool/write_snapshot.h"

namespace {

struct CloseFile {
   void operator()(FILE *file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, CloseFile>;

// Null for what is no file of the caller's: who wrote it would know the key.
FilePtr OpenOwnFile(const std::string &path)
{
   const int descriptor = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
   if (descriptor < 0) {
      return nullptr;
   }
   struct stat facts;
   FILE *file = fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode) && facts.st_uid == geteuid()
                   ? fdopen(descriptor, "r")
                   : nullptr;
   if (file == nullptr) {
      close(descriptor);
   }
   return FilePtr(file);
}

} // namespace

bool OpenNames(Output *names, Pseudonyms *pseudonyms)
{
   if (names->path.empty()) {
      return true;
   }
   const FilePtr file = OpenOwnFile(names->path);
   if (file != nullptr && pseudonyms->Read(file.get())) {
      names->ifExists = nevra::IfExists::Replace;
   }
   return CheckOutput(names->path, names->ifExists);
}

bool WriteNames(const Output &names, const Pseudonyms &pseudonyms)
{
   return names.path.empty() || WriteText(pseudonyms.AsJson(), names.path, names.ifExists);
}
