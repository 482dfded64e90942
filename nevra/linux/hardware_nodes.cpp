#include "nevra/linux/hardware_nodes.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "nevra/linux/kernel_text.h"
#include "nevra/linux/pci_devices.h"

namespace nevra {

namespace {

constexpr int64_t kConfigBytes = 4096;
// The path of the function's configuration space; empty for keys that address none.
std::string ConfigPath(const Nevra_ParamList &keys)
{
   for (uint32_t i = 0; i < kPciAddressParts; i++) {
      if (keys[i].integer < 0 || keys[i].integer > INT32_MAX) {
         return {};
      }
   }
   char path[96];
   std::snprintf(path, sizeof path, "%s/%04x:%02x:%02x.%x/config", kPciDevices,
                 static_cast<unsigned>(keys[0].integer), static_cast<unsigned>(keys[1].integer),
                 static_cast<unsigned>(keys[2].integer), static_cast<unsigned>(keys[3].integer));
   return path;
}

FileDescriptor OpenConfig(LinuxHost &host, const Nevra_ParamList &keys, int access)
{
   const std::string path = ConfigPath(keys);
   return path.empty() ? FileDescriptor() : host.Files().Open(host.Root(), path.c_str(), access | O_NONBLOCK);
}

bool IsRegister(const Nevra_ParamList &keys)
{
   const int64_t size = keys[4].integer;
   const int64_t address = keys[5].integer;
   return (size == 1 || size == 2 || size == 4) && address >= 0 && address <= kConfigBytes - size;
}

} // namespace

NevraStatus ReadCpuModel(LinuxHost &host, int64_t cpu, CpuInfoRecord &record)
{
   std::optional<std::string_view> text = host.Files().ReadAll(host.Proc(), "cpuinfo");
   bool isTheOne = false;
   while (text.has_value() && !text->empty()) {
      // "processor\t: 0", "model\t\t: 85", "model name\t: ..."
      std::string_view line = TakeLine(*text);
      std::string_view key = TakeUntil(line, ':');
      key = key.substr(0, key.find_last_not_of(" \t") + 1);
      const std::optional<uint64_t> number = ParseNumber(line);
      if (key == "processor") {
         if (isTheOne) {
            break;
         }
         isTheOne = number.has_value() && cpu >= 0 && *number == static_cast<uint64_t>(cpu);
      } else if (isTheOne && key == "model") {
         record.model = static_cast<uint8_t>(std::min<uint64_t>(number.value_or(0), UINT8_MAX));
         break;
      }
   }
   return isTheOne ? NEVRA_OK : NEVRA_NOT_FOUND;
}

// The addresses are in order: equal numbers follow one another.
NevraStatus ListPci(LinuxHost &host, const Nevra_ParamList &keys, Nevra_ParamList &instances)
{
   std::optional<uint32_t> last;
   for (const PciAddress &address : host.PciAddresses()) {
      bool isBelow = keys.Used() < kPciAddressParts;
      for (uint32_t i = 0; isBelow && i < keys.Used(); i++) {
         isBelow = keys[i].integer == address[i];
      }
      if (!isBelow || address[keys.Used()] == last) {
         continue;
      }
      last = address[keys.Used()];
      const NevraStatus status = instances.IsFull() ? NEVRA_OK : instances.AddInt(*last);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return last.has_value() ? NEVRA_OK : NEVRA_NOT_FOUND;
}

NevraStatus ReadPciHeader(LinuxHost &host, const Nevra_ParamList &keys, PciConfigHeaderRecord &record)
{
   const FileDescriptor config = OpenConfig(host, keys, O_RDONLY);
   unsigned char bytes[sizeof record] = {};
   const ssize_t got = config.IsOpen() ? pread(config.Get(), bytes, sizeof bytes, 0) : -1;
   // Without privileges the kernel shows 64 bytes.
   if (got < 4) {
      return NEVRA_NOT_FOUND;
   }
   std::memcpy(&record, bytes, sizeof record);
   return NEVRA_OK;
}

NevraStatus ReadPciRegister(LinuxHost &host, const Nevra_ParamList &keys, PciConfigRegRecord &record)
{
   if (!IsRegister(keys)) {
      return NEVRA_BAD_PARAMETER;
   }
   const FileDescriptor config = OpenConfig(host, keys, O_RDONLY);
   const size_t size = static_cast<size_t>(keys[4].integer);
   uint32_t value = 0;
   const ssize_t got = config.IsOpen() ? pread(config.Get(), &value, size, keys[5].integer) : -1;
   if (got != static_cast<ssize_t>(size)) {
      return NEVRA_NOT_FOUND;
   }
   record.value = value;
   return NEVRA_OK;
}

NevraStatus WritePciRegister(LinuxHost &host, const Nevra_ParamList &keys, int64_t value)
{
   const bool fits =
      IsRegister(keys) && value >= 0 && static_cast<uint64_t>(value) < uint64_t{1} << (8 * keys[4].integer);
   if (!fits) {
      return NEVRA_BAD_PARAMETER;
   }
   const FileDescriptor config = OpenConfig(host, keys, O_WRONLY);
   if (!config.IsOpen()) {
      return errno == EACCES || errno == EPERM || errno == EROFS ? NEVRA_NO_PERMISSION : NEVRA_NOT_FOUND;
   }
   const size_t size = static_cast<size_t>(keys[4].integer);
   const uint32_t bytes = static_cast<uint32_t>(value);
   const ssize_t written = pwrite(config.Get(), &bytes, size, keys[5].integer);
   if (written == static_cast<ssize_t>(size)) {
      return NEVRA_OK;
   }
   return written < 0 && errno == EPERM ? NEVRA_NO_PERMISSION : NEVRA_WRITE_ERROR;
}

} // namespace nevra
