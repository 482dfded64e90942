#include "nevra/linux/memory_node_nodes.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "nevra/linux/kernel_text.h"
#include "nevra/values.h"

namespace nevra {

namespace {

constexpr std::string_view kHugePagesPrefix = "hugepages-";
constexpr std::string_view kTwoMegabytes = "2048kB";
constexpr std::string_view kTransparent = "thp";
constexpr uint64_t kSmallPerLarge = kKBPerLargePage / kKBPerPage;
constexpr size_t kMostPools = 64;
constexpr size_t kOrders = std::size(BuddyComprehensiveInfo{}.orders);

// ---- buddies

struct Buddy {
   std::string name;
   uint32_t node; // NUMA node
   bool isLow;
   uint64_t managedPages;
};

bool IsLowZone(std::string_view zone)
{
   return zone == "DMA" || zone == "DMA32";
}

std::vector<Buddy> BuddiesOf(LinuxHost &host)
{
   std::vector<Buddy> buddies;
   const std::vector<NodeMemory> &nodes = host.Zones().nodes;
   for (size_t memNode = 0; memNode < nodes.size(); memNode++) {
      for (const bool isLow : {true, false}) {
         const uint64_t managed = isLow ? nodes[memNode].managedLowPages : nodes[memNode].managedHighPages;
         if (managed > 0) {
            char name[32];
            std::snprintf(name, sizeof name, "memmap-%02zu-%s", memNode, isLow ? "lo" : "hi");
            buddies.push_back({name, nodes[memNode].node, isLow, managed});
         }
      }
   }
   return buddies;
}

// How far a buffer of the kernel's order 0 lies above one of 4 KB.
size_t OrderOfPage()
{
   size_t order = 0;
   while ((kKBPerPage << order) < PageKB()) {
      order++;
   }
   return order;
}

// Adds up "Node 0, zone   Normal   3577   2527 ...", one column an order; gives the free pages.
uint64_t AddFreeBuffers(std::string_view line, const Buddy &buddy, BuddyComprehensiveInfo &record)
{
   TakeWord(line);
   const std::optional<uint64_t> node = ParseNumber(TakeWord(line));
   TakeWord(line);
   if (node != buddy.node || IsLowZone(TakeWord(line)) != buddy.isLow) {
      return 0;
   }
   uint64_t freePages = 0;
   const size_t first = OrderOfPage();
   for (size_t order = 0; order + first < kOrders; order++) {
      const std::optional<uint64_t> count = ParseNumber(TakeWord(line));
      if (!count.has_value()) {
         break;
      }
      BuddyOrder &buffers = record.orders[order + first];
      buffers.numFree = Narrow(AddClamped(buffers.numFree, *count));
      freePages = AddClamped(freePages, MultiplyClamped(*count, uint64_t{1} << order));
   }
   return freePages;
}

// ---- large pages

std::string NodeFolder(LinuxHost &host, int64_t memNode)
{
   const uint32_t node = host.Zones().nodes[static_cast<size_t>(memNode)].node;
   return "sys/devices/system/node/node" + std::to_string(node);
}

bool HasMemNode(LinuxHost &host, int64_t memNode)
{
   return memNode >= 0 && static_cast<uint64_t>(memNode) < host.Zones().nodes.size();
}

uint64_t ReadPageCount(LinuxHost &host, const std::string &path)
{
   return ParseNumber(host.Files().ReadRecord(host.Root(), path.c_str()).value_or("")).value_or(0);
}

// The page size in the pool's name, "1048576kB".
std::optional<uint64_t> PageSizeOfPool(std::string_view name)
{
   const bool isSize = !name.starts_with("kB") && name.find_first_not_of("0123456789") == name.size() - 2;
   return isSize && name.ends_with("kB") ? ParseNumber(name) : std::nullopt;
}

void FillHugePages(LinuxHost &host, int64_t memNode, std::string_view pool, LPagePoolRecord &record)
{
   std::string folder = NodeFolder(host, memNode) + "/hugepages/";
   folder.append(kHugePagesPrefix).append(pool);
   const uint64_t pageKB = PageSizeOfPool(pool).value_or(0);
   const uint64_t pages = ReadPageCount(host, folder + "/nr_hugepages");
   const uint64_t freePages = ReadPageCount(host, folder + "/free_hugepages");
   record.nrLPages = Narrow(MultiplyClamped(pages, pageKB) / kKBPerLargePage);
   record.nrFreeSPages = Narrow(MultiplyClamped(freePages, pageKB) / kKBPerPage);
}

// "Node 0 AnonHugePages:      2048 kB"
uint64_t TransparentKB(LinuxHost &host, int64_t memNode)
{
   const std::string path = NodeFolder(host, memNode) + "/meminfo";
   std::string_view text = host.Files().ReadRecord(host.Root(), path.c_str()).value_or("");
   uint64_t kb = 0;
   while (!text.empty()) {
      std::string_view line = TakeLine(text);
      TakeWord(line);
      TakeWord(line);
      const std::string_view key = TakeWord(line);
      if (key == "AnonHugePages:" || key == "ShmemHugePages:" || key == "FileHugePages:") {
         kb = AddClamped(kb, ParseNumber(line).value_or(0));
      }
   }
   return kb;
}

void FillTransparent(LinuxHost &host, int64_t memNode, LPagePoolRecord &record)
{
   record.nrLPages = Narrow(TransparentKB(host, memNode) / kKBPerLargePage);
   if (memNode != 0) {
      return; // the counters below are the host's, and must not count once for every node
   }
   const LargePageCounters &counters = host.VmStatistics().largePages;
   record.nrSPageAllocs = MultiplyClamped(counters.allocated, kSmallPerLarge);
   record.nrReapAttempts = AddClamped(counters.splits, counters.splitFailures);
   record.nrSPagesReaped = MultiplyClamped(counters.splits, kSmallPerLarge);
   record.nrDefragAttempts = counters.compactStalls;
   record.nrDefragCancelled = counters.compactFailures;
   record.nrLPagesDefragged = counters.compactSuccesses;
}

std::vector<std::string> PoolsOf(LinuxHost &host, int64_t memNode)
{
   const std::string folder = NodeFolder(host, memNode) + "/hugepages";
   std::vector<std::string> pools;
   for (const std::string &entry :
        host.Files().ListNames(host.Root(), folder.c_str(), EntryKind::Folders, kMostPools)) {
      std::string_view name = entry;
      name.remove_prefix(name.starts_with(kHugePagesPrefix) ? kHugePagesPrefix.size() : 0);
      if (name.size() < entry.size() && name != kTwoMegabytes && PageSizeOfPool(name).has_value()) {
         pools.emplace_back(name);
      }
   }
   std::sort(pools.begin(), pools.end());
   if (host.Files().Exists(host.Root(), "sys/kernel/mm/transparent_hugepage/enabled")) {
      pools.emplace_back(kTransparent);
   }
   return pools;
}

} // namespace

NevraStatus ReadMemNodeCount(LinuxHost &host, MemInfoRecord &record)
{
   record.numMemNodes = Narrow(host.Zones().nodes.size());
   return record.numMemNodes > 0 ? NEVRA_OK : NEVRA_NOT_FOUND;
}

NevraStatus ReadMemNode(LinuxHost &host, int64_t memNode, MemNodeInfo &record)
{
   if (!HasMemNode(host, memNode)) {
      return NEVRA_NOT_FOUND;
   }
   const uint32_t node = host.Zones().nodes[static_cast<size_t>(memNode)].node;
   record.numaNode = static_cast<uint8_t>(std::min<uint32_t>(node, std::numeric_limits<uint8_t>::max()));
   return NEVRA_OK;
}

NevraStatus ListBuddies(LinuxHost &host, Nevra_ParamList &instances)
{
   if (!host.Files().Exists(host.Proc(), "buddyinfo")) {
      return NEVRA_NOT_FOUND;
   }
   for (const Buddy &buddy : BuddiesOf(host)) {
      const NevraStatus status = instances.IsFull() ? NEVRA_OK : instances.AddText(buddy.name);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus ReadBuddy(LinuxHost &host, std::string_view name, BuddyComprehensiveInfo &record)
{
   const std::vector<Buddy> buddies = BuddiesOf(host);
   const auto buddy = std::find_if(buddies.begin(), buddies.end(),
                                   [name](const Buddy &candidate) { return candidate.name == name; });
   std::optional<std::string_view> text = host.Files().ReadAll(host.Proc(), "buddyinfo", Missing::BuddyInfo);
   if (buddy == buddies.end() || !text.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   uint64_t freePages = 0;
   while (!text->empty()) {
      freePages = AddClamped(freePages, AddFreeBuffers(TakeLine(*text), *buddy, record));
   }
   // The kernel does not say in buffers of which order memory is used.
   const size_t order = OrderOfPage();
   if (order < kOrders) {
      record.orders[order].numUsed = Narrow(SubtractClamped(buddy->managedPages, freePages));
   }
   return NEVRA_OK;
}

NevraStatus ReadTwoMegabytePool(LinuxHost &host, int64_t memNode, LPagePoolRecord &record)
{
   if (!HasMemNode(host, memNode)) {
      return NEVRA_NOT_FOUND;
   }
   FillHugePages(host, memNode, kTwoMegabytes, record);
   return NEVRA_OK;
}

NevraStatus ListLargePagePools(LinuxHost &host, int64_t memNode, Nevra_ParamList &instances)
{
   if (!HasMemNode(host, memNode)) {
      return NEVRA_NOT_FOUND;
   }
   for (const std::string &name : PoolsOf(host, memNode)) {
      const NevraStatus status = instances.IsFull() ? NEVRA_OK : instances.AddText(name);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus ReadLargePagePool(LinuxHost &host, int64_t memNode, std::string_view name,
                              LPagePoolRecord &record)
{
   if (!HasMemNode(host, memNode)) {
      return NEVRA_NOT_FOUND;
   }
   const std::vector<std::string> pools = PoolsOf(host, memNode);
   if (std::find(pools.begin(), pools.end(), name) == pools.end()) {
      return NEVRA_NOT_FOUND;
   }
   if (name == kTransparent) {
      FillTransparent(host, memNode, record);
   } else {
      FillHugePages(host, memNode, name, record);
   }
   return NEVRA_OK;
}

} // namespace nevra
