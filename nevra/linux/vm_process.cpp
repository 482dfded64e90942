#include "nevra/linux/vm_process.h"

#include <array>
#include <cctype>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "nevra/linux/kernel_text.h"

namespace nevra {

namespace {

constexpr std::string_view kEmulatorPrefix = "qemu-system-";
constexpr std::string_view kVmDescriptor = "anon_inode:kvm-vm";
// A VM's descriptor is among the first that its process opens; a busy server holds a hundred thousand.
constexpr size_t kMostDescriptors = 1024;
constexpr size_t kLongestCommand = size_t{1} << 20;

// An emulator may give itself another name ("-name guest=a,process=b"), but not to its program.
bool RunsEmulator(const Process &process, Missing what, KernelFileReader &files)
{
   const std::string path =
      files.ReadLink(process.proc, ProcessPath(process.pid, "exe").Text(), what);
   return std::string_view(path).substr(path.rfind('/') + 1).starts_with(kEmulatorPrefix);
}

bool HoldsVmDescriptor(const Process &process, KernelFileReader &files)
{
   const FileDescriptor folder =
      files.OpenFolder(process.proc, ProcessPath(process.pid, "fd").Text(), Missing::ProcessMarks);
   if (!folder.IsOpen()) {
      return false;
   }
   for (const std::string &name : files.ListNames(folder.Get(), ".", EntryKind::Links, kMostDescriptors)) {
      if (files.ReadLink(folder.Get(), name.c_str()) == kVmDescriptor) {
         return true;
      }
   }
   return false;
}

// "4096", "4G", "512M": megabytes where there is no unit. Anybody can write anything there: what no processor
// can address is not believed, so that it cannot make a sum overflow.
std::optional<uint64_t> ParseMemoryKB(std::string_view text)
{
   constexpr uint64_t kLargestKB = uint64_t{1} << 42; // physical addresses of 52 bits
   const std::optional<uint64_t> number = ParseNumber(text);
   const size_t unitAt = text.find_first_not_of("0123456789");
   const char unit = unitAt != std::string_view::npos ? text[unitAt] : 'M';
   const size_t power =
      std::string_view("BKMGT").find(static_cast<char>(std::toupper(static_cast<unsigned char>(unit))));
   if (!number.has_value() || power == std::string_view::npos) {
      return std::nullopt;
   }
   const uint64_t kb =
      power == 0 ? *number / 1024 : MultiplyClamped(*number, uint64_t{1} << (10 * (power - 1)));
   return kb <= kLargestKB ? std::optional(kb) : std::nullopt;
}

// The value of `key` in "value,key=value,...", whose first part may go without its key. A doubled comma is a
// comma of the value.
std::optional<std::string> FindOption(std::string_view options, std::string_view key, bool isFirstKey)
{
   bool isFirst = true;
   while (!options.empty()) {
      std::string part;
      for (;;) {
         const size_t length = options.find(',');
         part += options.substr(0, length);
         options = length == std::string_view::npos ? std::string_view() : options.substr(length + 1);
         if (length == std::string_view::npos || !options.starts_with(',')) {
            break;
         }
         part += ',';
         options.remove_prefix(1);
      }
      const size_t equals = part.find('=');
      if (equals == std::string::npos && isFirst && isFirstKey) {
         return part;
      }
      if (equals != std::string::npos && std::string_view(part).substr(0, equals) == key) {
         return part.substr(equals + 1);
      }
      isFirst = false;
   }
   return std::nullopt;
}

} // namespace

bool MayRunVms(int root, KernelFileReader &files)
{
   if (!files.Exists(root, "dev/kvm")) {
      return false;
   }
   // The processor's module is held by each VM. Where it is built in, nobody counts.
   bool isCounted = false;
   for (const char *path : {"sys/module/kvm_intel/refcnt", "sys/module/kvm_amd/refcnt"}) {
      const std::optional<std::string_view> text = files.ReadRecord(root, path);
      const std::optional<uint64_t> count = text.has_value() ? ParseNumber(*text) : std::nullopt;
      if (count.value_or(0) > 0) {
         return true;
      }
      isCounted = isCounted || count.has_value();
   }
   return !isCounted;
}

bool IsVm(const Process &process, bool mayRunVms, KernelFileReader &files)
{
   // A VM that has ended and waits for its parent has no memory left, nor a command to tell its name.
   if (process.status.isKernelThread || process.status.vmSize == 0) {
      return false;
   }
   return process.status.name.starts_with(kEmulatorPrefix) ||
          (process.status.threads > 1 &&
           (RunsEmulator(process, mayRunVms ? Missing::ProcessMarks : Missing::Nothing, files) || (mayRunVms && HoldsVmDescriptor(process, files))));
}

VmCommand ParseVmCommand(std::string_view words)
{
   VmCommand command;
   while (!words.empty()) {
      std::string_view option = TakeUntil(words, '\0');
      if (option.starts_with("--")) {
         option.remove_prefix(1);
      }
      const bool takesWord = option == "-name" || option == "-m" || option == "-readconfig";
      const std::string_view value = takesWord ? TakeUntil(words, '\0') : std::string_view();
      if (option == "-name") {
         command.name = FindOption(value, "guest", true).value_or("");
      } else if (option == "-m") {
         command.memoryKB = ParseMemoryKB(FindOption(value, "size", true).value_or(""));
         command.largestMemoryKB = ParseMemoryKB(FindOption(value, "maxmem", false).value_or(""));
      } else if (option == "-readconfig") {
         command.configPath = value;
      }
   }
   return command;
}

VmCommand ReadVmCommand(const Process &process, KernelFileReader &files)
{
   const std::optional<std::string_view> words = files.ReadAll(
      process.proc, ProcessPath(process.pid, "cmdline").Text(), Missing::CommandLines, kLongestCommand);
   return words.has_value() ? ParseVmCommand(*words) : VmCommand();
}

} // namespace nevra
