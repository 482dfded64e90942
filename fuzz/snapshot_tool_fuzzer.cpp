// Runs the subcommands of hostmem-snapshot on a readable form, whatever it is, and on the snapshot that it
// makes. Nothing that steers a terminal may come out, on either stream.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/captured_output.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/memory_folder.h"
#include "nevra/shown_text.h"
#include "snapshot-tool/commands.h"

namespace {

// Standard error while one exists, which is written past the C library.
class CapturedErrors {
 public:
   CapturedErrors() : saved(dup(STDERR_FILENO)), memory(memfd_create("errors", MFD_CLOEXEC))
   {
      Require(memory >= 0 && dup2(memory, STDERR_FILENO) >= 0, "no memory for the messages");
   }
   ~CapturedErrors()
   {
      if (saved >= 0) {
         dup2(saved, STDERR_FILENO);
         close(saved);
      } else {
         close(STDERR_FILENO); // as fuzz/run has it
      }
      close(memory);
   }
   CapturedErrors(const CapturedErrors &) = delete;
   CapturedErrors &operator=(const CapturedErrors &) = delete;

   std::string Text() const
   {
      std::string text(static_cast<size_t>(lseek(memory, 0, SEEK_END)), '\0');
      const ssize_t length = pread(memory, text.data(), text.size(), 0);
      Require(length == static_cast<ssize_t>(text.size()), "the messages cannot be read");
      return text;
   }

 private:
   int saved;
   int memory;
};

void RequireShownLines(std::string_view text, const char *command)
{
   while (!text.empty()) {
      const std::string_view line = text.substr(0, text.find('\n'));
      Require(nevra::IsShownText(line), std::string(command) + " steers the terminal: " + std::string(line));
      text.remove_prefix(std::min(line.size() + 1, text.size()));
   }
}

template <typename Command> int Run(const char *name, Command command)
{
   int status = 0;
   std::string output;
   std::string errors;
   {
      CapturedOutput out;
      const CapturedErrors err;
      status = command();
      output = out.Text();
      errors = err.Text();
   }
   RequireShownLines(output, name);
   RequireShownLines(errors, name);
   Require(errors.empty() || errors.ends_with('\n'), std::string(name) + ": a message without an end");
   return status;
}

// A folder with the input, its snapshot, and another snapshot to compare it with.
struct Files {
   MemoryFolder folder{"snapshot-tool"};
   std::string json = folder.Path() + "/input.json";
   std::string snapshot = folder.Path() + "/input.snapshot";
   std::string other = folder.Path() + "/other.snapshot";
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   static const Files files;
   std::ofstream(files.json, std::ios::binary)
      .write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
   unlink(files.snapshot.c_str());
   if (Run("import", [&] { return ImportCommand(files.json, {files.snapshot}); }) != kExitDone) {
      Run("info", [&] { return InfoCommand(files.json); });
      return 0;
   }
   Require(Run("verify", [&] { return VerifyCommand(files.snapshot); }) == kExitDone, "an unsound snapshot");
   Require(Run("info", [&] { return InfoCommand(files.snapshot); }) == kExitDone, "info fails");
   Require(Run("export", [&] { return ExportCommand(files.snapshot); }) == kExitDone, "export fails");
   if (access(files.other.c_str(), F_OK) == 0) {
      Require(Run("diff", [&] { return DiffCommand(files.snapshot, files.other); }) != kExitTrouble,
              "diff fails");
   }
   // The next input is compared with this one.
   rename(files.snapshot.c_str(), files.other.c_str());
   return 0;
}
