#include "nevra/linux/pmem_nodes.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "nevra/linux/kernel_text.h"
#include "nevra/shown_text.h"

namespace nevra {

namespace {

constexpr char kDevices[] = "sys/bus/nd/devices";
constexpr std::string_view kNamespace = "namespace";
constexpr std::string_view kDimm = "nmem";
constexpr size_t kMostDevices = 4096;
constexpr size_t kUuidLength = 36;
constexpr uint64_t kBlockBytes = uint64_t{2} << 20;
constexpr uint64_t kPageBytes = 4096;

// Region flags.
constexpr uint32_t kAllocated = 0x1;
constexpr uint32_t kReadOnly = 0x8;
constexpr uint32_t kBlockDevice = 0x10;

struct Volume {
   std::string device; // namespace0.1
   std::string region; // region0
   std::string name;
   uint64_t bytes;
};

std::string Path(const std::string &device, const char *file)
{
   return std::string(kDevices) + "/" + device + "/" + file;
}

// The first line of one of a device's files; empty where there is none.
std::string ReadDeviceText(LinuxHost &host, const std::string &device, const char *file,
                           Missing what = Missing::Nothing)
{
   std::string_view text =
      host.Files().ReadRecord(host.Root(), Path(device, file).c_str(), what).value_or("");
   return std::string(TakeLine(text));
}

uint64_t ReadDeviceNumber(LinuxHost &host, const std::string &device, const char *file)
{
   return ParseNumber(ReadDeviceText(host, device, file)).value_or(0);
}

// The bad blocks of a device, "sector count" lines: how many there are.
uint64_t CountBadBlocks(LinuxHost &host, const std::string &device)
{
   std::string_view text = host.Files().ReadAll(host.Root(), Path(device, "badblocks").c_str()).value_or("");
   uint64_t count = 0;
   while (!text.empty()) {
      std::string_view line = TakeLine(text);
      TakeWord(line);
      count = AddClamped(count, ParseNumber(line).value_or(0));
   }
   return count;
}

std::optional<uint32_t> NumaNodeOf(LinuxHost &host, const std::string &device)
{
   const std::optional<int64_t> node = ParseSignedNumber(ReadDeviceText(host, device, "numa_node"));
   const bool isKnown = node.has_value() && *node >= 0 && *node < 1024;
   return isKnown ? std::optional(static_cast<uint32_t>(*node)) : std::nullopt;
}

// Numbers and dots after the prefix.
std::vector<std::string> DevicesNamed(LinuxHost &host, std::string_view prefix)
{
   std::vector<std::string> devices;
   for (std::string &name : host.Files().ListNames(host.Root(), kDevices, EntryKind::Any, kMostDevices)) {
      const bool isOne = name.starts_with(prefix) && name.size() > prefix.size() &&
                         name.find_first_not_of("0123456789.", prefix.size()) == std::string::npos;
      if (isOne) {
         devices.push_back(std::move(name));
      }
   }
   std::sort(devices.begin(), devices.end());
   return devices;
}

// Whether a UUID names a volume: no other has it, and no device is named so.
bool IsNameLeft(const std::vector<Volume> &volumes, const std::vector<std::string> &devices,
                std::string_view uuid)
{
   return std::ranges::find(devices, uuid) == devices.end() &&
          std::ranges::find(volumes, uuid, &Volume::name) == volumes.end();
}

std::vector<Volume> ReadVolumes(LinuxHost &host)
{
   std::vector<Volume> volumes;
   const std::vector<std::string> devices = DevicesNamed(host, kNamespace);
   for (const std::string &device : devices) {
      // A namespace of size 0 is a seed: one that can be made, not one that is there.
      const uint64_t bytes = ReadDeviceNumber(host, device, "size");
      if (bytes == 0 || device.size() > kUuidLength) {
         continue;
      }
      std::string_view number = std::string_view(device).substr(kNamespace.size());
      const std::string region = "region" + std::string(TakeUntil(number, '.'));
      const std::string uuid = ReadDeviceText(host, device, "uuid");
      char name[kUuidLength + 1];
      StoreShownText(name, sizeof name, uuid);
      const bool hasUuid = uuid.size() == kUuidLength && IsNameLeft(volumes, devices, name);
      volumes.push_back({device, region, hasUuid ? name : device, bytes});
   }
   return volumes;
}

std::optional<Volume> FindVolume(LinuxHost &host, std::string_view name)
{
   for (Volume &volume : ReadVolumes(host)) {
      if (volume.name == name) {
         return std::optional(std::move(volume));
      }
   }
   return std::nullopt;
}

std::optional<Volume> FindVolumeInRegion(LinuxHost &host, std::string_view name, std::string_view region)
{
   std::optional<Volume> volume = FindVolume(host, name);
   return volume.has_value() && volume->region == region ? volume : std::nullopt;
}

} // namespace

NevraStatus ListVolumes(LinuxHost &host, Nevra_ParamList &instances)
{
   if (!host.Files().Exists(host.Root(), kDevices)) {
      return NEVRA_NOT_FOUND;
   }
   for (const Volume &volume : ReadVolumes(host)) {
      const NevraStatus status = instances.IsFull() ? NEVRA_OK : instances.AddText(volume.name);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus ReadVolumeInfo(LinuxHost &host, std::string_view volumeName, PMemVolumeInfoRecord &)
{
   return FindVolume(host, volumeName).has_value() ? NEVRA_OK : NEVRA_NOT_FOUND;
}

NevraStatus ReadRegionStore(LinuxHost &host, std::string_view volumeName, PMemRegionStoreRecord &record)
{
   const std::optional<Volume> volume = FindVolume(host, volumeName);
   if (!volume.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   record.total2MBlocks = volume->bytes / kBlockBytes;
   record.allocated2MBlocks = volume->bytes / kBlockBytes;
   record.available2MBlocks = ReadDeviceNumber(host, volume->region, "available_size") / kBlockBytes;
   record.totalRegions = 1;
   return NEVRA_OK;
}

NevraStatus ReadVolumeCleanness(LinuxHost &host, std::string_view volumeName, PMemCleanRecord &record)
{
   const std::optional<Volume> volume = FindVolume(host, volumeName);
   if (!volume.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   record.isClean = CountBadBlocks(host, volume->region) == 0 ? 1 : 0;
   return NEVRA_OK;
}

NevraStatus ListExtents(LinuxHost &host, std::string_view volumeName, Nevra_ParamList &instances)
{
   const std::optional<Volume> volume = FindVolume(host, volumeName);
   if (!volume.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   const bool hasAddress =
      ParseHexNumber(ReadDeviceText(host, volume->device, "resource", Missing::Extents)).value_or(0) > 0;
   return hasAddress && !instances.IsFull() ? instances.AddInt(0) : NEVRA_OK;
}

NevraStatus ReadExtent(LinuxHost &host, std::string_view volumeName, int64_t extent, PMemExtentRecord &record)
{
   const std::optional<Volume> volume = extent == 0 ? FindVolume(host, volumeName) : std::nullopt;
   const uint64_t address =
      volume.has_value()
         ? ParseHexNumber(ReadDeviceText(host, volume->device, "resource", Missing::Extents)).value_or(0)
         : 0;
   if (address == 0) {
      return NEVRA_NOT_FOUND;
   }
   record.endBlk = SubtractClamped(volume->bytes / kPageBytes, 1);
   record.startMPN = address / kPageBytes;
   record.endMPN = AddClamped(address / kPageBytes, record.endBlk);
   record.numaNode = NumaNodeOf(host, volume->region).value_or(0);
   return NEVRA_OK;
}

NevraStatus ListRegions(LinuxHost &host, std::string_view volumeName, Nevra_ParamList &instances)
{
   const std::optional<Volume> volume = FindVolume(host, volumeName);
   if (!volume.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   return instances.IsFull() ? NEVRA_OK : instances.AddText(volume->region);
}

NevraStatus ReadRegion(LinuxHost &host, std::string_view volumeName, std::string_view region,
                       PMemRegionRecord &record)
{
   const std::optional<Volume> volume = FindVolumeInRegion(host, volumeName, region);
   if (!volume.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   const uint64_t bytes = ReadDeviceNumber(host, volume->region, "size");
   const uint64_t allocated =
      SubtractClamped(bytes, ReadDeviceNumber(host, volume->region, "available_size"));
   const std::string mode = ReadDeviceText(host, volume->device, "mode");
   const bool isBlockDevice =
      mode == "raw" || mode == "sector" || mode == "safe" || mode == "memory" || mode == "fsdax";
   record.size = bytes;
   record.reserved2MBlocks = allocated / kBlockBytes;
   record.allocated2MBlocks = allocated / kBlockBytes;
   record.flags = (allocated > 0 ? kAllocated : 0) |
                  (ReadDeviceNumber(host, volume->region, "read_only") == 1 ? kReadOnly : 0) |
                  (isBlockDevice ? kBlockDevice : 0);
   record.dataLossCounter =
      static_cast<uint32_t>(std::min<uint64_t>(CountBadBlocks(host, volume->region), UINT32_MAX));
   record.openCount = ReadDeviceText(host, volume->device, "holder").empty() ? 0 : 1;
   const std::optional<uint32_t> node = NumaNodeOf(host, volume->region);
   record.numaAffinityMask = node.has_value() && *node < 64 ? uint64_t{1} << *node : 0;
   return NEVRA_OK;
}

NevraStatus ListRegionNodes(LinuxHost &host, std::string_view volumeName, std::string_view region,
                            Nevra_ParamList &instances)
{
   const std::optional<Volume> volume = FindVolumeInRegion(host, volumeName, region);
   if (!volume.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   const std::optional<uint32_t> node = NumaNodeOf(host, volume->region);
   return node.has_value() && !instances.IsFull() ? instances.AddInt(*node) : NEVRA_OK;
}

NevraStatus ReadRegionNode(LinuxHost &host, std::string_view volumeName, std::string_view region,
                           int64_t node, PMemRegionNumaRecord &record)
{
   const std::optional<Volume> volume = FindVolumeInRegion(host, volumeName, region);
   const std::optional<uint32_t> own = volume.has_value() ? NumaNodeOf(host, volume->region) : std::nullopt;
   if (!own.has_value() || *own != node) {
      return NEVRA_NOT_FOUND;
   }
   record.numaNode = *own;
   record.num2MAllocated = volume->bytes / kBlockBytes;
   return NEVRA_OK;
}

NevraStatus ListDimms(LinuxHost &host, Nevra_ParamList &instances)
{
   std::set<uint64_t> numbers;
   for (const std::string &device : DevicesNamed(host, kDimm)) {
      numbers.insert(ParseNumber(std::string_view(device).substr(kDimm.size())).value_or(0));
   }
   for (const uint64_t number : numbers) {
      const bool isListed = number <= INT32_MAX && !instances.IsFull();
      const NevraStatus status = isListed ? instances.AddInt(static_cast<int64_t>(number)) : NEVRA_OK;
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

} // namespace nevra
