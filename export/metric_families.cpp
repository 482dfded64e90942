#include "export/metric_families.h"

namespace {

using enum MetricType;
using enum Rest;
using enum Needs;

constexpr char kComp[] = "comp-stats";

constexpr char kEntriesHelp[] = "How often the memory came into a state.";

constexpr MetricFamily kHostFamilies[] = {
   {"hostmem_memory_physical_bytes", Gauge, "bytes", "Physical memory of the host.", kComp, "total"},
   {"hostmem_memory_discarded_bytes", Gauge, "bytes", "Memory that the kernel leaves unused.", kComp,
    "discarded"},
   {"hostmem_memory_managed_bytes", Gauge, "bytes", "Memory that the kernel manages.", kComp,
    "managedByMemMap"},
   {"hostmem_memory_reliable_bytes", Gauge, "bytes", "Reliable memory.", kComp, "reliableMem"},
   {"hostmem_memory_kernel_code_bytes", Gauge, "bytes", "Code of the kernel.", kComp, "kernelCode"},
   {"hostmem_memory_kernel_data_bytes", Gauge, "bytes", "Data and heaps of the kernel.", kComp,
    "dataAndHeap"},
   {"hostmem_memory_page_map_bytes", Gauge, "bytes", "What the kernel's map of the memory takes.", kComp,
    "buddyOvhd"},
   {"hostmem_memory_reserved_low_bytes", Gauge, "bytes", "Reserved low memory.", kComp, "rsvdLow"},
   {"hostmem_memory_scheduled_bytes", Gauge, "bytes", "Memory that is given to groups.", kComp,
    "managedByMemSched"},
   {"hostmem_memory_min_free_bytes", Gauge, "bytes", "What the kernel wants to keep free.", kComp, "minFree"},
   {"hostmem_memory_kernel_clients_bytes", Gauge, "bytes",
    "Consumed by clients of the kernel, caches included.", kComp, "orskaClientConsumed"},
   {"hostmem_memory_other_clients_bytes", Gauge, "bytes", "Consumed by VMs and processes.", kComp,
    "otherConsumed"},
   {"hostmem_memory_free_bytes", Gauge, "bytes", "Free memory.", kComp, "free"},
   {"hostmem_memory_state", StateSet, "", "How short of memory the host is.", kComp, "memState"},
   {"hostmem_memory_state_entries", Counter, "", kEntriesHelp, kComp, "numHigh", IsSum, Nothing,
    "state=\"high\""},
   {"hostmem_memory_state_entries", Counter, "", kEntriesHelp, kComp, "numClear", IsSum, Nothing,
    "state=\"clear\""},
   {"hostmem_memory_state_entries", Counter, "", kEntriesHelp, kComp, "numSoft", IsSum, Nothing,
    "state=\"soft\""},
   {"hostmem_memory_state_entries", Counter, "", kEntriesHelp, kComp, "numHard", IsSum, Nothing,
    "state=\"hard\""},
   {"hostmem_memory_state_entries", Counter, "", kEntriesHelp, kComp, "numLow", IsSum, Nothing,
    "state=\"low\""},
};

constexpr char kSharing[] = "pshare-stats";

constexpr MetricFamily kSharingFamilies[] = {
   {"hostmem_page_sharing_shared_bytes", Gauge, "bytes", "Memory of clients that is shared.", kSharing,
    "cow"},
   {"hostmem_page_sharing_single_reference_bytes", Gauge, "bytes",
    "Memory that is marked as shared and has one user.", kSharing, "cow1"},
   {"hostmem_page_sharing_zero_bytes", Gauge, "bytes", "Memory of clients that holds zeros.", kSharing,
    "zero"},
   {"hostmem_page_sharing_backing_bytes", Gauge, "bytes", "Machine memory behind shared memory.", kSharing,
    "used"},
   {"hostmem_page_sharing_reclaimed_bytes", Gauge, "bytes", "Machine memory that sharing saves.", kSharing,
    "reclaimed"},
   {"hostmem_page_sharing_added_bytes", Counter, "bytes", "Memory that was added to the shared.", kSharing,
    "totAdd"},
   {"hostmem_page_sharing_removed_bytes", Counter, "bytes", "Memory that was removed from the shared.",
    kSharing, "totRemove"},
};

constexpr char kHints[] = "pshareHint-stats";
constexpr MetricLabel kHintLabels[] = {{"type", "type"}};

constexpr MetricFamily kHintFamilies[] = {
   {"hostmem_page_sharing_hints_active_bytes", Gauge, "bytes", "Memory that is a candidate for sharing.",
    kHints, "active"},
   {"hostmem_page_sharing_hints_added_bytes", Counter, "bytes", "Memory that became a candidate.", kHints,
    "totAdd"},
   {"hostmem_page_sharing_hints_removed_bytes", Counter, "bytes", "Memory that is no candidate any longer.",
    kHints, "totRemove"},
};

constexpr char kPools[] = "lpool-stats";
constexpr MetricLabel kPoolLabels[] = {{"pool", "name"}, {"node", "nodeID"}};

constexpr MetricFamily kPoolFamilies[] = {
   {"hostmem_large_page_pool_size_bytes", Gauge, "bytes", "Large pages in the pool.", kPools, "nrLPages"},
   {"hostmem_large_page_pool_free_bytes", Gauge, "bytes", "What is free in the pool.", kPools,
    "nrFreeSPages"},
   {"hostmem_large_page_pool_allocations", Counter, "", "Pages that were allocated from the pool.", kPools,
    "nrSPageAllocs"},
   {"hostmem_large_page_pool_frees", Counter, "", "Pages that were given back to the pool.", kPools,
    "nrSPageFrees"},
   {"hostmem_large_page_pool_reap_attempts", Counter, "", "Attempts to take pages back.", kPools,
    "nrReapAttempts"},
   {"hostmem_large_page_pool_reaped_bytes", Counter, "bytes", "Memory that was taken back.", kPools,
    "nrSPagesReaped"},
   {"hostmem_large_page_pool_defrag_attempts", Counter, "", "Attempts to make large pages whole.", kPools,
    "nrDefragAttempts"},
   {"hostmem_large_page_pool_defrag_cancelled", Counter, "", "Attempts that were cancelled.", kPools,
    "nrDefragCancelled"},
   {"hostmem_large_page_pool_defrag_reaped", Counter, "", "Attempts that ended as the page was taken back.",
    kPools, "nrDefragReaped"},
   {"hostmem_large_page_pool_cache_hits", Counter, "", "Large pages that were found in the cache.", kPools,
    "nrCachehit"},
   {"hostmem_large_page_pool_defragged_bytes", Counter, "bytes", "Large pages that were made whole.", kPools,
    "nrLPagesDefragged"},
};

constexpr char kBuddies[] = "buddy-stats";
constexpr MetricLabel kBuddyLabels[] = {{"buddy", "name"}, {"node", "numaNode"}};
constexpr char kFreeHelp[] = "Free memory in buffers of a size.";
constexpr char kUsedHelp[] = "Used memory in buffers of a size.";

// A part for each size of buffers.
#define FREE(column, bytes)                                                                                  \
   {                                                                                                         \
      "hostmem_buddy_free_bytes", Gauge, "bytes", kFreeHelp, kBuddies, column "free", IsSum, Nothing,        \
         "buffer=\"" column "\"", bytes                                                                      \
   }
#define USED(column, bytes)                                                                                  \
   {                                                                                                         \
      "hostmem_buddy_used_bytes", Gauge, "bytes", kUsedHelp, kBuddies, column "used", IsSum, Nothing,        \
         "buffer=\"" column "\"", bytes                                                                      \
   }
#define EACH_BUFFER(FAMILY)                                                                                  \
   FAMILY("4KB", 0x1p12), FAMILY("8KB", 0x1p13), FAMILY("16KB", 0x1p14), FAMILY("32KB", 0x1p15),             \
      FAMILY("64KB", 0x1p16), FAMILY("128KB", 0x1p17), FAMILY("256KB", 0x1p18), FAMILY("512KB", 0x1p19),     \
      FAMILY("1MB", 0x1p20), FAMILY("2MB", 0x1p21), FAMILY("4MB", 0x1p22), FAMILY("8MB", 0x1p23),            \
      FAMILY("16MB", 0x1p24), FAMILY("32MB", 0x1p25), FAMILY("64MB", 0x1p26), FAMILY("128MB", 0x1p27),       \
      FAMILY("256MB", 0x1p28), FAMILY("512MB", 0x1p29), FAMILY("1GB", 0x1p30)

constexpr MetricFamily kBuddyFamilies[] = {EACH_BUFFER(FREE), EACH_BUFFER(USED)};

constexpr char kStores[] = "pmem-regionstore-stats";
constexpr MetricLabel kVolumeLabels[] = {{"volume", "uuid"}};

constexpr MetricFamily kVolumeFamilies[] = {
   {"hostmem_pmem_volume_size_bytes", Gauge, "bytes", "Persistent memory of the volume.", kStores,
    "total2MBlocks"},
   {"hostmem_pmem_volume_allocated_bytes", Gauge, "bytes", "What is allocated of the volume.", kStores,
    "alloc2MBlocks"},
   {"hostmem_pmem_volume_reserved_bytes", Gauge, "bytes", "What is reserved of the volume.", kStores,
    "resvd2MBlocks"},
   {"hostmem_pmem_volume_available_bytes", Gauge, "bytes", "What can be reserved of the volume.", kStores,
    "avail2MBlocks"},
   {"hostmem_pmem_volume_regions", Gauge, "", "Regions of the volume.", kStores, "totalRegions"},
   {"hostmem_pmem_volume_free_regions", Gauge, "", "Regions of the volume that are free.", kStores,
    "freeRegions"},
   {"hostmem_pmem_volume_clean", Gauge, "", "Whether the volume is clean: 1 or 0.", kStores, "isClean",
    IsNothing},
};

constexpr char kRegions[] = "pmem-region-stats";
constexpr MetricLabel kRegionLabels[] = {{"volume", "uuid"}, {"region", "regionUuid"}};

constexpr MetricFamily kRegionFamilies[] = {
   {"hostmem_pmem_region_size_bytes", Gauge, "bytes", "Size of the region.", kRegions, "size"},
   {"hostmem_pmem_region_reserved_bytes", Gauge, "bytes", "What is reserved for the region.", kRegions,
    "reserved"},
   {"hostmem_pmem_region_allocated_bytes", Gauge, "bytes", "What is allocated to the region.", kRegions,
    "allocated"},
   {"hostmem_pmem_region_opened", Gauge, "", "How often the region is open.", kRegions, "numOpened"},
   {"hostmem_pmem_region_data_losses", Counter, "", "How often the region lost data.", kRegions,
    "dataLossCounter"},
};

constexpr char kRegionNodes[] = "pmem-region-numa-stats";
constexpr MetricLabel kRegionNodeLabels[] = {
   {"volume", "uuid"}, {"region", "regionUuid"}, {"node", "numaNode"}};

constexpr MetricFamily kRegionNodeFamilies[] = {
   {"hostmem_pmem_region_node_allocated_bytes", Gauge, "bytes", "What a node gives to the region.",
    kRegionNodes, "num2MAllocated"},
};

constexpr char kVm[] = "vm-stats";
constexpr char kSwap[] = "swap-stats";
constexpr char kZip[] = "zip-stats";
constexpr char kLargePages[] = "lpage-stats";
constexpr char kGuest[] = "guest-stats";
constexpr MetricLabel kVmLabels[] = {{"vm", "name"}};
constexpr MetricLabel kVmInfoLabels[] = {{"group_id", "schedGrp"}, {"leader_id", "worldGrp"}};

constexpr MetricFamily kVmFamilies[] = {
   {"hostmem_vm", Info, "", "IDs of the VM.", kVm, nullptr},
   {"hostmem_vm_size_bytes", Gauge, "bytes", "Memory that the guest sees.", kVm, "memSize"},
   {"hostmem_vm_consumed_bytes", Gauge, "bytes", "Memory of the host that the guest consumes.", kVm,
    "consumed"},
   {"hostmem_vm_mapped_bytes", Gauge, "bytes", "Memory of the guest that memory of the host backs.", kVm,
    "mapped"},
   {"hostmem_vm_touched_bytes", Gauge, "bytes", "Memory that the guest uses actively.", kVm, "touched", IsSum,
    Walk},
   {"hostmem_vm_overhead_bytes", Gauge, "bytes", "What the host spends on running the VM.", kVm, "ovhd"},
   {"hostmem_vm_overhead_reserved_bytes", Gauge, "bytes", "What is reserved for running the VM.", kVm,
    "ovhdResv"},
   {"hostmem_vm_reservation_bytes", Gauge, "bytes", "Memory that is guaranteed to the guest.", kVm, "min"},
   {"hostmem_vm_limit_bytes", Gauge, "bytes", "Memory that the guest cannot exceed; absent without a limit.",
    kVm, "max", IsNothing},
   {"hostmem_vm_target_bytes", Gauge, "bytes", "How much memory the guest is to have.", kVm, "allocTgt",
    IsNothing},
   {"hostmem_vm_needed_bytes", Gauge, "bytes", "What the guest needs to run well.", kVm, "memNeeded"},
   {"hostmem_vm_under_pressure", Gauge, "", "Whether the guest is under pressure: 1 or 0.", kVm,
    "isUnderPressure", IsNothing},
   {"hostmem_vm_swapped_bytes", Gauge, "bytes", "Memory of the guest that the host has swapped out.", kVm,
    "swapped"},
   {"hostmem_vm_swap_target_bytes", Gauge, "bytes", "How much of the guest is to be swapped out.", kVm,
    "swapTgt"},
   {"hostmem_vm_compressed_bytes", Gauge, "bytes", "Memory of the guest that is compressed.", kVm, "zipped"},
   {"hostmem_vm_compression_saved_bytes", Gauge, "bytes", "Memory that compression saves.", kVm, "zipSaved"},
   {"hostmem_vm_ballooned_bytes", Gauge, "bytes", "Memory that the balloon has taken.", kVm, "ballooned"},
   {"hostmem_vm_balloon_target_bytes", Gauge, "bytes", "How much the balloon is to take.", kVm, "balloonTgt"},
   {"hostmem_vm_shared_bytes", Gauge, "bytes", "Memory of the guest that is shared.", kVm, "shared", IsSum,
    Walk},
   {"hostmem_vm_zero_bytes", Gauge, "bytes", "Shared memory that holds zeros.", kVm, "zero"},
   {"hostmem_vm_sharing_saved_bytes", Gauge, "bytes", "Memory that sharing saves.", kVm, "sharedSaved"},
   {"hostmem_vm_swapping", Gauge, "", "Whether the VM is being swapped out: 1 or 0.", kSwap, "isSwapping",
    IsNothing},
   {"hostmem_vm_swap_space_bytes", Gauge, "bytes", "Swap space of the VM.", kSwap, "totalReg"},
   {"hostmem_vm_swap_space_free_bytes", Gauge, "bytes", "Swap space of the VM that is free.", kSwap,
    "freeReg"},
   {"hostmem_vm_swap_read_bytes", Counter, "bytes", "Memory that was read from swap and kept there.", kSwap,
    "swapRead"},
   {"hostmem_vm_swapped_in_bytes", Counter, "bytes", "Memory that was swapped in.", kSwap, "swapIn"},
   {"hostmem_vm_swapped_out_bytes", Counter, "bytes", "Memory that was swapped out.", kSwap, "swapOut"},
   {"hostmem_vm_compression_cache_bytes", Gauge, "bytes", "Room for the VM's compressed memory.", kZip,
    "totalCache"},
   {"hostmem_vm_compression_cache_used_bytes", Gauge, "bytes", "What the VM's compressed memory takes.", kZip,
    "usedCache"},
   {"hostmem_vm_decompressed_bytes", Counter, "bytes", "Memory that was decompressed.", kZip, "unZipped"},
   {"hostmem_vm_large_pages_bytes", Gauge, "bytes", "Memory of the guest that large pages back.", kLargePages,
    "nrBackings"},
   {"hostmem_vm_large_page_allocations", Counter, "", "Large pages that were found for the guest.",
    kLargePages, "nrAllocSuccess"},
   {"hostmem_vm_large_pages_broken", Counter, "", "Large pages of the guest that were broken up.",
    kLargePages, "nrBroken"},
   {"hostmem_vm_large_page_failures", Counter, "", "Large pages that no memory was found for.", kLargePages,
    "nrFailNoMem"},
   {"hostmem_vm_guest_memory_bytes", Gauge, "bytes", "Memory that the guest reports.", kGuest, "memTotal"},
   {"hostmem_vm_guest_free_bytes", Gauge, "bytes", "Free memory that the guest reports.", kGuest, "memFree"},
   {"hostmem_vm_guest_needed_bytes", Gauge, "bytes", "Memory that the guest reports to need.", kGuest,
    "memNeeded"},
};

constexpr char kGroups[] = "group-stats";
constexpr MetricLabel kGroupLabels[] = {{"group", "name"}}; // its path
constexpr MetricLabel kGroupInfoLabels[] = {{"group_id", "gid"}, {"tag", "tag"}};

constexpr MetricFamily kRootFamilies[] = {
   {"hostmem_memory_used_bytes", Gauge, "bytes", "Memory that is not free.", kGroups, "consumed"},
   {"hostmem_memory_touched_bytes", Gauge, "bytes", "Memory that is used actively.", kGroups, "touched"},
   {"hostmem_memory_reserved_bytes", Gauge, "bytes", "What is guaranteed to the groups below the root.",
    kGroups, "conResv"},
   {"hostmem_memory_reservable_bytes", Gauge, "bytes", "What can still be guaranteed.", kGroups, "availResv"},
};

// The same figures of a group, by two names: one for the groups directly below the root, one for those in
// which no other is shown.
#define GROUP_FAMILIES(PREFIX)                                                                               \
   {PREFIX, Info, "", "ID and tag of the group.", kGroups, nullptr},                                         \
      {PREFIX "_consumed_bytes", Gauge, "bytes", "Memory that the group consumes.", kGroups, "consumed"},    \
      {PREFIX "_consumed_peak_bytes",                                                                        \
       Gauge,                                                                                                \
       "bytes",                                                                                              \
       "The most that the group has consumed.",                                                              \
       kGroups,                                                                                              \
       "consumedPeak",                                                                                       \
       IsNothing},                                                                                           \
      {PREFIX "_touched_bytes", Gauge, "bytes", "Memory that the group uses actively.", kGroups, "touched"}, \
      {PREFIX "_overhead_bytes",                                                                             \
       Gauge,                                                                                                \
       "bytes",                                                                                              \
       "Memory of the kernel that serves the group.",                                                        \
       kGroups,                                                                                              \
       "ovhd"},                                                                                              \
      {PREFIX "_reservation_bytes",                                                                          \
       Gauge,                                                                                                \
       "bytes",                                                                                              \
       "Memory that is guaranteed to the group.",                                                            \
       kGroups,                                                                                              \
       "min"},                                                                                               \
      {PREFIX "_limit_bytes",                                                                                \
       Gauge,                                                                                                \
       "bytes",                                                                                              \
       "What the group cannot exceed; absent without a limit.",                                              \
       kGroups,                                                                                              \
       "max",                                                                                                \
       IsNothing},                                                                                           \
      {PREFIX "_target_bytes",                                                                               \
       Gauge,                                                                                                \
       "bytes",                                                                                              \
       "How much memory the group is to have; 0: no target.",                                                \
       kGroups,                                                                                              \
       "allocTgt",                                                                                           \
       IsNothing},                                                                                           \
      {PREFIX "_sharing_saved_bytes",     Gauge,   "bytes",                                                  \
       "Memory that page sharing saves.", kGroups, "sharedSaved"},                                           \
   {                                                                                                         \
      PREFIX "_run_allowed_ratio", Gauge, "ratio", "Share of the time in which the group may run.", kGroups, \
         "throttlePct", IsNothing                                                                            \
   }

constexpr MetricFamily kTopGroupFamilies[] = {GROUP_FAMILIES("hostmem_top_group")};
constexpr MetricFamily kGroupFamilies[] = {GROUP_FAMILIES("hostmem_group")};

constexpr char kHeaps[] = "heap-stats";
constexpr MetricLabel kHeapLabels[] = {{"heap", "name"}};

constexpr MetricFamily kHeapFamilies[] = {
   {"hostmem_heap_size_bytes", Gauge, "bytes", "Memory of the heap.", kHeaps, "size"},
   {"hostmem_heap_available_bytes", Gauge, "bytes", "Memory of the heap that is free.", kHeaps, "avail"},
   {"hostmem_heap_overhead_bytes", Gauge, "bytes", "Memory of the heap that no allocation can use.", kHeaps,
    "dlMallocOvdh"},
};

constexpr char kUserWorlds[] = "uw-stats";
constexpr MetricLabel kProcessLabels[] = {{"process", "name"}};

constexpr MetricFamily kProcessFamilies[] = {
   {"hostmem_processes", Gauge, "", "Processes of the name.", kUserWorlds, nullptr},
   {"hostmem_process_consumed_bytes", Gauge, "bytes", "Memory that the processes consume.", kUserWorlds,
    "consumed"},
   {"hostmem_process_mapped_bytes", Gauge, "bytes", "Address space that memory backs.", kUserWorlds,
    "mapped"},
   {"hostmem_process_size_bytes", Gauge, "bytes", "Address space of the processes.", kUserWorlds, "memSize"},
   {"hostmem_process_touched_bytes", Gauge, "bytes", "Memory that the processes use actively.", kUserWorlds,
    "touched", IsSum, Walk},
   {"hostmem_process_swapped_bytes", Gauge, "bytes", "Memory of the processes that is swapped out.",
    kUserWorlds, "swapped"},
   {"hostmem_process_pinned_bytes", Gauge, "bytes", "Memory that is never swapped out.", kUserWorlds,
    "pinned"},
   {"hostmem_process_anonymous_bytes", Gauge, "bytes", "Memory of the processes that no file backs.",
    kUserWorlds, "pageable"},
   {"hostmem_process_shared_memory_bytes", Gauge, "bytes", "Shared memory that the processes map.",
    kUserWorlds, "shm"},
};

constexpr MetricFamily kHostInfoFamilies[] = {
   {"hostmem_host", Info, "", "The host that the figures are of.", nullptr, nullptr},
};

constexpr MetricFamily kReportFamilies[] = {
   {"hostmem_report_success", Gauge, "", "Whether the report came to its end: 1 or 0.", nullptr, nullptr,
    IsNothing},
   {"hostmem_report_duration_seconds", Gauge, "seconds", "How long the report took.", nullptr, nullptr,
    IsNothing},
};

constexpr MetricFamily kCollectionFamilies[] = {
   {"hostmem_series_dropped", Gauge, "", "Series that the cap on their number left out.", nullptr, nullptr,
    IsNothing},
};

constexpr MetricSubject kSubjects[] = {
   {SubjectRows::Single, nullptr, {}, {}, kHostFamilies, nullptr},
   {SubjectRows::Single, nullptr, {}, {}, kSharingFamilies, nullptr},
   {SubjectRows::ByLabels, nullptr, kHintLabels, {}, kHintFamilies, nullptr},
   {SubjectRows::Root, nullptr, {}, {}, kRootFamilies, nullptr},
   {SubjectRows::TopGroups, "gid", kGroupLabels, kGroupInfoLabels, kTopGroupFamilies,
    "hostmem_top_group_consumed_bytes"},
   {SubjectRows::ByKey, "schedGrp", kVmLabels, kVmInfoLabels, kVmFamilies, "hostmem_vm_consumed_bytes"},
   {SubjectRows::Groups, "gid", kGroupLabels, kGroupInfoLabels, kGroupFamilies,
    "hostmem_group_consumed_bytes"},
   {SubjectRows::ByLabels, nullptr, kPoolLabels, {}, kPoolFamilies, "hostmem_large_page_pool_size_bytes"},
   {SubjectRows::ByLabels, nullptr, kBuddyLabels, {}, kBuddyFamilies, nullptr},
   {SubjectRows::ByLabels, nullptr, kVolumeLabels, {}, kVolumeFamilies, "hostmem_pmem_volume_size_bytes"},
   {SubjectRows::ByLabels, nullptr, kRegionLabels, {}, kRegionFamilies, "hostmem_pmem_region_size_bytes"},
   {SubjectRows::ByLabels,
    nullptr,
    kRegionNodeLabels,
    {},
    kRegionNodeFamilies,
    "hostmem_pmem_region_node_allocated_bytes"},
   {SubjectRows::ByName, nullptr, kHeapLabels, {}, kHeapFamilies, "hostmem_heap_size_bytes"},
   {SubjectRows::ByName, nullptr, kProcessLabels, {}, kProcessFamilies, "hostmem_process_consumed_bytes"},
};

constexpr const MetricSubject &SubjectOf(std::span<const MetricFamily> families)
{
   const MetricSubject *subject = kSubjects;
   while (subject->families.data() != families.data()) {
      subject++;
   }
   return *subject;
}

} // namespace

std::span<const MetricSubject> MetricSubjects()
{
   return kSubjects;
}

constinit const MetricSubject &kVmMetrics = SubjectOf(kVmFamilies);
constinit const MetricSubject &kProcessMetrics = SubjectOf(kProcessFamilies);

constinit const MetricSubject kHostInfoMetrics = {SubjectRows::Single, nullptr, {}, {},
                                                  kHostInfoFamilies,   nullptr};
constinit const MetricSubject kReportMetrics = {SubjectRows::ByLabels, nullptr, {}, {},
                                                kReportFamilies,       nullptr};
constinit const MetricSubject kCollectionMetrics = {SubjectRows::Single, nullptr, {}, {},
                                                    kCollectionFamilies, nullptr};
