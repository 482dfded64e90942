#include "nevra/linux/host_nodes.h"

#include <algorithm>
#include <optional>

#include "nevra/linux/kernel_text.h"
#include "nevra/values.h"

namespace nevra {

// The columns add up: total is what is discarded, the kernel's code, data and heap, the memory map, reserved
// low memory, both kinds of clients and what is free. The clients' share is what the kernel does not break
// down further: page cache, buffers and drivers are the kernel's, anonymous memory, shared memory and huge
// pages the others'.
NevraStatus ReadComprehensive(LinuxHost &host, CompMemMapStats &record)
{
   if (host.Memory() == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   const MemInfo &memory = *host.Memory();
   const VmStat &vmstat = host.VmStatistics();
   const std::optional<std::string_view> map =
      host.Files().ReadAll(host.Proc(), "iomem", Missing::KernelAddresses);
   const IoMem ioMem = ParseIoMem(map.value_or(""));
   if (map.has_value() && ioMem.systemRamKB == 0) {
      host.Files().NotRead().Note(Missing::KernelAddresses, "its addresses are hidden");
   }
   const uint64_t rsvdLow = PagesToKB(host.Zones().reservedLowPages);
   const uint64_t heap = memory.KernelHeap();
   const uint64_t memmap = PagesToKB(vmstat.memmapPages);
   const uint64_t bootMemmap = PagesToKB(vmstat.memmapBootPages);

   record = {};
   const uint64_t total = std::max(ioMem.systemRamKB, memory.memTotal);
   record.total = total;
   record.managedByMemMap = memory.memTotal;
   record.kernelCode = ioMem.kernelCodeKB;
   record.dataAndHeap = AddClamped(ioMem.kernelDataKB, heap);
   record.buddyOvhd = AddClamped(memmap, bootMemmap);
   record.rsvdLow = rsvdLow;
   record.free = memory.memFree;

   const uint64_t unmanaged =
      AddClamped(AddClamped(ioMem.kernelCodeKB, ioMem.kernelDataKB), AddClamped(bootMemmap, rsvdLow));
   record.discarded = SubtractClamped(total, AddClamped(memory.memTotal, unmanaged));

   const uint64_t used = SubtractClamped(memory.memTotal, memory.memFree);
   const uint64_t clients = SubtractClamped(used, AddClamped(heap, memmap));
   const uint64_t others =
      std::min(AddClamped(AddClamped(memory.anonPages, memory.shmem), memory.hugetlb), clients);
   record.otherConsumed = others;
   record.orskaClientConsumed = clients - others;
   return NEVRA_OK;
}

NevraStatus ReadGlobalMemSched(LinuxHost &host, GlobalMemSchedInfo &record)
{
   if (host.Memory() == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   record = {};
   record.managedByMemSched = host.Memory()->memTotal;
   record.minFree =
      ParseNumber(host.Files().ReadRecord(host.Proc(), "sys/vm/min_free_kbytes").value_or("")).value_or(0);
   record.memState = static_cast<uint32_t>(host.Zones().state);
   return NEVRA_OK;
}

// The kernel counts the ways down. Every one was followed by a way back, but for the last when the host is
// still down there.
NevraStatus ReadStateTransitions(LinuxHost &host, std::string_view state, MemStateTransitions &record)
{
   const auto names = std::span(memStateNames).first<kMemStateCount>();
   const auto name = std::find(names.begin(), names.end(), state);
   if (name == names.end()) {
      return NEVRA_NOT_FOUND;
   }
   const VmStat &vmstat = host.VmStatistics();
   const MemState now = host.Zones().state;
   const auto waysBack = [now](uint64_t waysDown, MemState below) {
      const bool isStillBelow = now != MemState::Unknown && now >= below;
      return Narrow(SubtractClamped(waysDown, isStillBelow ? 1 : 0));
   };
   record = {};
   switch (static_cast<MemState>(name - names.begin())) {
   case MemState::Clear:
      record.numToLower = Narrow(vmstat.kswapdRuns);
      break;
   case MemState::Soft:
      record.numToHigher = waysBack(vmstat.kswapdRuns, MemState::Soft);
      record.numToLower = Narrow(vmstat.directReclaimStalls);
      break;
   case MemState::Hard:
      record.numToHigher = waysBack(vmstat.directReclaimStalls, MemState::Hard);
      break;
   default:
      break;
   }
   return NEVRA_OK;
}

// What merging has added and removed in total, and the shape of its tables, the kernel does not count.
NevraStatus ReadPageSharing(LinuxHost &host, PShareStats &record)
{
   if (!host.Files().Exists(host.Root(), "sys/kernel/mm/ksm/run")) {
      return NEVRA_NOT_FOUND;
   }
   const auto pages = [&host](const char *path) {
      const uint64_t count = ParseNumber(host.Files().ReadRecord(host.Root(), path).value_or("")).value_or(0);
      return MultiplyClamped(count, PageKB()) / kKBPerPage;
   };
   const uint64_t shared = pages("sys/kernel/mm/ksm/pages_shared");
   const uint64_t sharing = pages("sys/kernel/mm/ksm/pages_sharing");
   const uint64_t zero = pages("sys/kernel/mm/ksm/ksm_zero_pages");
   record.cow = AddClamped(shared, sharing);
   record.zero = zero;
   record.used = shared;
   record.reclaimed = AddClamped(sharing, zero);
   record.hintActive = pages("sys/kernel/mm/ksm/pages_unshared");
   return NEVRA_OK;
}

NevraStatus CountVms(LinuxHost &host, NumVMsRecord &record)
{
   record.numVMs = host.CountVms();
   return NEVRA_OK;
}

} // namespace nevra
