#include "nevra/linux/pmem_nodes.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "nevra/linux/kernel_text.h"
#include "nevra/linux/pmem_volumes.h"
#include "nevra/values.h"

namespace nevra {

namespace {

constexpr std::string_view kDimm = "nmem";
constexpr uint64_t kBlockBytes = uint64_t{2} << 20;
constexpr uint64_t kPageBytes = 4096;

uint64_t ReadDeviceNumber(LinuxHost &host, const std::string &device, const char *file)
{
   return ReadPmemNumber(host.Root(), device, file, host.Files());
}

std::string ReadDeviceText(LinuxHost &host, const std::string &device, const char *file,
                           Missing what = Missing::Nothing)
{
   return ReadPmemText(host.Root(), device, file, host.Files(), what);
}

// The bad blocks of a device, "sector count" lines: how many there are.
uint64_t CountBadBlocks(LinuxHost &host, const std::string &device)
{
   std::string_view text =
      host.Files().ReadAll(host.Root(), PmemFilePath(device, "badblocks").c_str()).value_or("");
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

bool IsMounted(LinuxHost &host, std::string_view deviceNumber)
{
   std::optional<std::string_view> text = host.Files().ReadAll(host.Proc(), "self/mountinfo");
   while (text.has_value() && !text->empty()) {
      std::string_view line = TakeLine(*text);
      TakeWord(line);
      TakeWord(line);
      if (TakeWord(line) == deviceNumber) {
         return true;
      }
   }
   return false;
}

bool IsSwap(LinuxHost &host, const std::string &disk)
{
   std::optional<std::string_view> text = host.Files().ReadAll(host.Proc(), "swaps");
   while (text.has_value() && !text->empty()) {
      std::string_view line = TakeLine(*text);
      if (TakeWord(line) == "/dev/" + disk) {
         return true;
      }
   }
   return false;
}

// Whether a disk, or a partition, is mounted, swapped to, or a part of another disk. The kernel does not say
// who else has it open.
bool IsDiskUsed(LinuxHost &host, const std::string &folder, const std::string &disk)
{
   const std::string path = folder + "/" + disk;
   std::string_view text = host.Files().ReadRecord(host.Root(), (path + "/dev").c_str()).value_or("");
   const std::string number(TakeLine(text));
   return IsSwap(host, disk) || (!number.empty() && IsMounted(host, number)) ||
          !host.Files().ListNames(host.Root(), (path + "/holders").c_str(), EntryKind::Any, 1).empty();
}

bool IsUsed(LinuxHost &host, const Volume &volume)
{
   constexpr size_t kMostDisks = 4096;
   // A namespace that something lies on has its disk there.
   const std::string disks = PmemFilePath(volume.holder.empty() ? volume.device : volume.holder, "block");
   for (const std::string &disk :
        host.Files().ListNames(host.Root(), disks.c_str(), EntryKind::Folders, kMostDisks)) {
      if (IsDiskUsed(host, disks, disk)) {
         return true;
      }
      const std::string folder = disks + "/" + disk;
      for (const std::string &part :
           host.Files().ListNames(host.Root(), folder.c_str(), EntryKind::Folders, kMostDisks)) {
         if (part.starts_with(disk) && IsDiskUsed(host, folder, part)) {
            return true;
         }
      }
   }
   return false;
}

const Volume *FindVolumeInRegion(LinuxHost &host, std::string_view name, std::string_view region)
{
   const Volume *volume = host.Volumes().Find(name);
   return volume != nullptr && volume->region == region ? volume : nullptr;
}

} // namespace

NevraStatus ListVolumes(LinuxHost &host, Nevra_ParamList &instances)
{
   if (!host.Files().Exists(host.Root(), kPmemDevices)) {
      return NEVRA_NOT_FOUND;
   }
   for (const Volume &volume : host.Volumes().volumes) {
      const NevraStatus status = instances.IsFull() ? NEVRA_OK : instances.AddText(volume.name);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus ReadVolumeInfo(LinuxHost &host, std::string_view volumeName, PMemVolumeInfoRecord &)
{
   return host.Volumes().Find(volumeName) != nullptr ? NEVRA_OK : NEVRA_NOT_FOUND;
}

NevraStatus ReadRegionStore(LinuxHost &host, std::string_view volumeName, PMemRegionStoreRecord &record)
{
   const Volume *volume = host.Volumes().Find(volumeName);
   if (volume == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   record.total2MBlocks = volume->bytes / kBlockBytes;
   record.allocated2MBlocks = volume->bytes / kBlockBytes;
   record.totalRegions = 1;
   return NEVRA_OK;
}

NevraStatus ReadVolumeCleanness(LinuxHost &host, std::string_view volumeName, PMemCleanRecord &record)
{
   const Volume *volume = host.Volumes().Find(volumeName);
   if (volume == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   record.isClean = CountBadBlocks(host, volume->region) == 0 ? 1 : 0;
   return NEVRA_OK;
}

NevraStatus ListExtents(LinuxHost &host, std::string_view volumeName, Nevra_ParamList &instances)
{
   const Volume *volume = host.Volumes().Find(volumeName);
   if (volume == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   const bool hasAddress =
      ParseHexNumber(ReadDeviceText(host, volume->device, "resource", Missing::Extents)).value_or(0) > 0;
   return hasAddress && !instances.IsFull() ? instances.AddInt(0) : NEVRA_OK;
}

NevraStatus ReadExtent(LinuxHost &host, std::string_view volumeName, int64_t extent, PMemExtentRecord &record)
{
   const Volume *volume = extent == 0 ? host.Volumes().Find(volumeName) : nullptr;
   const uint64_t address =
      volume != nullptr
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
   const Volume *volume = host.Volumes().Find(volumeName);
   if (volume == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   return instances.IsFull() ? NEVRA_OK : instances.AddText(volume->region);
}

NevraStatus ReadRegion(LinuxHost &host, std::string_view volumeName, std::string_view region,
                       PMemRegionRecord &record)
{
   const Volume *volume = FindVolumeInRegion(host, volumeName, region);
   if (volume == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   const uint64_t bytes = ReadDeviceNumber(host, volume->region, "size");
   // Its part of the region: what others have there is theirs.
   const uint64_t allocated = volume->bytes;
   const std::string mode = ReadDeviceText(host, volume->device, "mode");
   const bool isBlockDevice =
      mode == "raw" || mode == "sector" || mode == "safe" || mode == "memory" || mode == "fsdax";
   record.size = bytes;
   record.reserved2MBlocks = allocated / kBlockBytes;
   record.allocated2MBlocks = allocated / kBlockBytes;
   record.flags = (allocated > 0 ? REGION_ALLOCATED : 0) |
                  (ReadDeviceNumber(host, volume->region, "read_only") == 1 ? REGION_READ_ONLY : 0) |
                  (isBlockDevice ? REGION_BLOCK_DEVICE : 0);
   record.dataLossCounter =
      static_cast<uint32_t>(std::min<uint64_t>(CountBadBlocks(host, volume->region), UINT32_MAX));
   record.openCount = IsUsed(host, *volume) ? 1 : 0;
   const std::optional<uint32_t> node = NumaNodeOf(host, volume->region);
   record.numaAffinityMask = node.has_value() && *node < 64 ? uint64_t{1} << *node : 0;
   return NEVRA_OK;
}

NevraStatus ListRegionNodes(LinuxHost &host, std::string_view volumeName, std::string_view region,
                            Nevra_ParamList &instances)
{
   const Volume *volume = FindVolumeInRegion(host, volumeName, region);
   if (volume == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   const std::optional<uint32_t> node = NumaNodeOf(host, volume->region);
   return node.has_value() && !instances.IsFull() ? instances.AddInt(*node) : NEVRA_OK;
}

NevraStatus ReadRegionNode(LinuxHost &host, std::string_view volumeName, std::string_view region,
                           int64_t node, PMemRegionNumaRecord &record)
{
   const Volume *volume = FindVolumeInRegion(host, volumeName, region);
   const std::optional<uint32_t> own = volume != nullptr ? NumaNodeOf(host, volume->region) : std::nullopt;
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
   for (const std::string &device : PmemDevicesNamed(host.Root(), kDimm, host.Files())) {
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
