#include "nevra/linux/pci_devices.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "nevra/linux/kernel_text.h"

namespace nevra {

namespace {

constexpr size_t kMostPciDevices = size_t{1} << 16;

// "0000:3f:0a.2"
std::optional<PciAddress> ParsePciAddress(std::string_view name)
{
   const std::string_view parts[] = {TakeUntil(name, ':'), TakeUntil(name, ':'), TakeUntil(name, '.'), name};
   PciAddress address{};
   for (size_t i = 0; i < kPciAddressParts; i++) {
      const std::optional<uint64_t> number = ParseHexNumber(parts[i]);
      if (!number.has_value() || *number > INT32_MAX) {
         return std::nullopt;
      }
      address[i] = static_cast<uint32_t>(*number);
   }
   return address;
}

} // namespace

std::vector<PciAddress> ReadPciAddresses(int root, KernelFileReader &files)
{
   std::vector<PciAddress> addresses;
   for (const std::string &name : files.ListNames(root, kPciDevices, EntryKind::Any, kMostPciDevices)) {
      if (const std::optional<PciAddress> address = ParsePciAddress(name)) {
         addresses.push_back(*address);
      }
   }
   std::sort(addresses.begin(), addresses.end());
   addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
   return addresses;
}

} // namespace nevra
