#include "nevra/linux/pmem_volumes.h"

#include <algorithm>
#include <utility>

#include "nevra/linux/kernel_text.h"
#include "nevra/shown_text.h"

namespace nevra {

namespace {

constexpr std::string_view kNamespace = "namespace";
constexpr size_t kMostDevices = size_t{1} << 16;
constexpr size_t kUuidLength = 36;

} // namespace

std::string PmemFilePath(const std::string &device, const char *file)
{
   return std::string(kPmemDevices) + "/" + device + "/" + file;
}

std::string ReadPmemText(int root, const std::string &device, const char *file, KernelFileReader &files,
                         Missing what)
{
   std::string_view text = files.ReadRecord(root, PmemFilePath(device, file).c_str(), what).value_or("");
   return std::string(TakeLine(text));
}

uint64_t ReadPmemNumber(int root, const std::string &device, const char *file, KernelFileReader &files)
{
   return ParseNumber(ReadPmemText(root, device, file, files)).value_or(0);
}

std::vector<std::string> PmemDevicesNamed(int root, std::string_view prefix, KernelFileReader &files)
{
   std::vector<std::string> devices;
   for (std::string &name : files.ListNames(root, kPmemDevices, EntryKind::Any, kMostDevices)) {
      const bool isOne = name.starts_with(prefix) && name.size() > prefix.size() &&
                         name.find_first_not_of("0123456789.", prefix.size()) == std::string::npos;
      if (isOne) {
         devices.push_back(std::move(name));
      }
   }
   std::sort(devices.begin(), devices.end());
   return devices;
}

PmemVolumes ReadPmemVolumes(int root, KernelFileReader &files)
{
   PmemVolumes found;
   const std::vector<std::string> devices = PmemDevicesNamed(root, kNamespace, files);
   for (const std::string &device : devices) {
      // A namespace of size 0 is a seed: one that can be made, not one that is there.
      const uint64_t bytes = ReadPmemNumber(root, device, "size", files);
      if (bytes == 0 || device.size() > kUuidLength) {
         continue;
      }
      std::string_view number = std::string_view(device).substr(kNamespace.size());
      const std::string region = "region" + std::string(TakeUntil(number, '.'));
      // What lies on the namespace has a UUID of its own, by which ndctl knows both.
      std::string holder = ReadPmemText(root, device, "holder", files);
      holder = holder.find('/') == std::string::npos ? holder : "";
      std::string uuid = holder.empty() ? "" : ReadPmemText(root, holder, "uuid", files);
      uuid = uuid.size() == kUuidLength ? uuid : ReadPmemText(root, device, "uuid", files);
      char name[kUuidLength + 1];
      StoreShownText(name, sizeof name, uuid);
      // A UUID names a volume when no other has it, and no device is named so.
      const bool isNamed = uuid.size() == kUuidLength && !found.byName.contains(std::string_view(name)) &&
                           !std::binary_search(devices.begin(), devices.end(), name);
      found.volumes.push_back({device, region, isNamed ? name : device, bytes, holder});
      found.byName.emplace(found.volumes.back().name, found.volumes.size() - 1);
   }
   return found;
}

const Volume *PmemVolumes::Find(std::string_view name) const
{
   const auto found = byName.find(name);
   return found != byName.end() ? &volumes[found->second] : nullptr;
}

} // namespace nevra
