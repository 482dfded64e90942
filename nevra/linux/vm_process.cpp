#include "nevra/linux/vm_process.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "nevra/linux/kernel_text.h"

namespace nevra {

namespace {

constexpr std::string_view kEmulatorPrefix = "qemu-system-";
constexpr std::string_view kVmDescriptor = "anon_inode:kvm-vm";
// A VM's descriptor is among the first that its process opens; a busy server holds a hundred thousand.
constexpr size_t kMostDescriptors = 1024;
constexpr int kPatienceForCommand = 250; // milliseconds
constexpr size_t kLongestCommand = size_t{1} << 20;

// An emulator may give itself another name ("-name guest=a,process=b"), but not to its program.
bool RunsEmulator(const Process &process, Missing what, KernelFileReader &files)
{
   const std::string path = files.ReadLink(process.proc, ProcessPath(process.pid, "exe").Text(), what);
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

// "4096", "4G", "0.5G": a number and the unit that it is in. Anybody can write anything there: what no
// processor can address is not believed, so that it cannot make a sum overflow.
std::optional<uint64_t> ParseMemoryKB(std::string_view text, char unit)
{
   constexpr uint64_t kLargestKB = uint64_t{1} << 42; // physical addresses of 52 bits
   const std::optional<uint64_t> whole = ParseNumber(text);
   size_t unitAt = std::min(text.find_first_not_of("0123456789"), text.size());
   // The fraction in billionths: finer ones are less than a KB of any unit.
   constexpr uint64_t kBillion = 1000000000;
   uint64_t fraction = 0;
   if (unitAt < text.size() && text[unitAt] == '.') {
      uint64_t place = kBillion;
      for (unitAt++; unitAt < text.size() && std::isdigit(static_cast<unsigned char>(text[unitAt]));
           unitAt++) {
         place /= 10;
         fraction += static_cast<uint64_t>(text[unitAt] - '0') * place;
      }
   }
   unit = unitAt < text.size() ? text[unitAt] : unit;
   const size_t power =
      std::string_view("BKMGT").find(static_cast<char>(std::toupper(static_cast<unsigned char>(unit))));
   if (!whole.has_value() || power == std::string_view::npos) {
      return std::nullopt;
   }
   const uint64_t unitKB = power == 0 ? 0 : uint64_t{1} << (10 * (power - 1));
   const uint64_t kb =
      power == 0 ? *whole / 1024 : AddClamped(MultiplyClamped(*whole, unitKB), fraction * unitKB / kBillion);
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

// The value of a key in an option's value of either form: "type,key=value" or {"key":"value","other":1}.
std::optional<std::string> FindValue(std::string_view options, const std::string &key)
{
   if (!options.starts_with('{')) {
      return FindOption(options, key, false);
   }
   const std::string quoted = "\"" + key + "\":";
   const size_t at = options.find(quoted);
   if (at == std::string_view::npos) {
      return std::nullopt;
   }
   std::string_view value = options.substr(at + quoted.size());
   const bool isText = value.starts_with('"');
   value.remove_prefix(isText ? 1 : 0);
   return std::string(value.substr(0, value.find_first_of(isText ? "\"" : ",}")));
}

// A memory backend, and what it is for.
struct Backend {
   std::string id;
   uint64_t sizeKB;
};

// What the command line says about memory, before it is put together.
struct MemoryOptions {
   std::vector<Backend> backends;
   bool isMadeOfBackends = false;             // else the emulator makes memory of the size of -m
   std::vector<std::string> persistentMemory; // backends of devices that keep what is written to them

   void Take(std::string_view option, std::string_view value);
   std::vector<uint64_t> PiecesKB(std::optional<uint64_t> memoryKB) const;
};

void MemoryOptions::Take(std::string_view option, std::string_view value)
{
   const bool isJson = value.starts_with('{');
   if (option == "-object") {
      const std::string type =
         FindValue(value, "qom-type").value_or(std::string(value.substr(0, value.find(','))));
      const std::optional<uint64_t> sizeKB = ParseMemoryKB(FindValue(value, "size").value_or(""), 'B');
      if (type.starts_with("memory-backend-") && sizeKB.has_value()) {
         backends.push_back({FindValue(value, "id").value_or(""), *sizeKB});
      }
   } else if (option == "-numa") {
      isMadeOfBackends = isMadeOfBackends || FindValue(value, "memdev").has_value();
   } else if (option == "-machine" || option == "-M") {
      isMadeOfBackends = isMadeOfBackends || FindValue(value, "memory-backend").has_value();
   } else if (option == "-device") {
      const std::string driver =
         isJson ? FindValue(value, "driver").value_or("") : FindOption(value, "driver", true).value_or("");
      if (driver == "nvdimm" || driver.starts_with("virtio-pmem")) {
         persistentMemory.push_back(FindValue(value, "memdev").value_or(""));
      }
   }
}

std::vector<uint64_t> MemoryOptions::PiecesKB(std::optional<uint64_t> memoryKB) const
{
   std::vector<uint64_t> pieces;
   for (const Backend &backend : backends) {
      if (std::ranges::find(persistentMemory, backend.id) == persistentMemory.end()) {
         pieces.push_back(backend.sizeKB);
      }
   }
   if (memoryKB.has_value() && !isMadeOfBackends) {
      pieces.push_back(*memoryKB);
   }
   return pieces;
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
           (RunsEmulator(process, mayRunVms ? Missing::ProcessMarks : Missing::Nothing, files) ||
            (mayRunVms && HoldsVmDescriptor(process, files))));
}

VmCommand ParseVmCommand(std::string_view words)
{
   constexpr std::string_view kWithValue[] = {"-name", "-m",       "-readconfig", "-object",
                                              "-numa", "-machine", "-M",          "-device"};
   VmCommand command;
   MemoryOptions memory;
   while (!words.empty()) {
      std::string_view option = TakeUntil(words, '\0');
      if (option.starts_with("--")) {
         option.remove_prefix(1);
      }
      const bool takesWord = std::ranges::find(kWithValue, option) != std::end(kWithValue);
      const std::string_view value = takesWord ? TakeUntil(words, '\0') : std::string_view();
      if (option == "-name") {
         command.name = FindOption(value, "guest", true).value_or("");
      } else if (option == "-m") {
         command.memoryKB = ParseMemoryKB(FindOption(value, "size", true).value_or(""), 'M');
         command.largestMemoryKB = ParseMemoryKB(FindOption(value, "maxmem", false).value_or(""), 'M');
      } else if (option == "-readconfig") {
         command.configPath = value;
      } else {
         memory.Take(option, value);
      }
   }
   command.piecesKB = memory.PiecesKB(command.memoryKB);
   return command;
}

VmCommand ReadVmCommand(const Process &process, KernelFileReader &files)
{
   const std::optional<std::string_view> words =
      files.ReadAllWithin(kPatienceForCommand, process.proc, ProcessPath(process.pid, "cmdline").Text(),
                          Missing::CommandLines, kLongestCommand);
   return words.has_value() ? ParseVmCommand(*words) : VmCommand();
}

} // namespace nevra
