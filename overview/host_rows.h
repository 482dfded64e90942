// What the overview knows of a host at one moment: the rows of the reports that it is made of, by name.
//
// Nothing is computed here. A figure is a column of a report, in KB unless said otherwise; one that is not
// available, or that a report without rows did not give, is 0.
#ifndef OVERVIEW_HOST_ROWS_H
#define OVERVIEW_HOST_ROWS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "overview/collected_table.h"

namespace overview {

inline constexpr int64_t kNoLimit = -1;

// The row of comp-stats.
struct HostFigures {
   uint64_t total = 0;
   uint64_t discarded = 0;
   uint64_t managedByMemMap = 0;
   uint64_t kernelCode = 0;
   uint64_t dataAndHeap = 0;
   uint64_t buddyOvhd = 0;
   uint64_t rsvdLow = 0;
   uint64_t managedByMemSched = 0;
   uint64_t minFree = 0;
   uint64_t kernelClients = 0; // orskaClientConsumed
   uint64_t otherClients = 0;  // otherConsumed
   uint64_t free = 0;
   std::string memState; // "High", "Clear", "Soft", "Hard", "Low", "Unknown"
};

// A row of group-stats.
struct GroupRow {
   uint64_t gid = 0;
   int64_t parent = -1;
   std::string name;
   int64_t min = 0;
   int64_t max = kNoLimit;
   uint64_t conResv = 0;
   uint64_t memSize = 0;
   uint64_t eMin = 0;
   uint64_t consumed = 0;
   uint64_t consumedPeak = 0;
   uint64_t sharedSaved = 0;
   uint32_t flags = 0; // GROUP_VM, ... of nevra/values.h
   std::string tag;
};

// A row of vm-stats, with that of the same VM in swap-stats.
struct VmRow {
   uint64_t gid = 0;
   std::string name; // of the group
   std::string displayName;
   uint64_t memSize = 0;
   uint64_t consumed = 0;
   uint64_t ballooned = 0;
   uint64_t swapped = 0;
   uint64_t swapTarget = 0;
   bool isSwapping = false;
};

// A row of heap-stats.
struct HeapRow {
   std::string name;
   uint64_t size = 0;
   uint64_t used = 0;
   uint64_t shrinks = 0; // count
};

// A row of lpool-stats.
struct LargePagePool {
   std::string name;
   uint32_t node = 0;
   uint64_t size = 0; // nrLPages
   uint64_t free = 0; // nrFreeSPages
};

// The row of pshare-stats, and the total of pshareHint-stats.
struct PageSharing {
   uint64_t cow = 0;       // pages of clients that are shared
   uint64_t used = 0;      // memory that backs them
   uint64_t reclaimed = 0; // what sharing saves
   uint64_t hints = 0;     // candidates that are kept track of
};

// The buddies of one NUMA node, from buddy-stats.
struct MemoryNode {
   uint32_t numaNode = 0;
   uint64_t free = 0;
   uint64_t used = 0;
};

struct HostRows {
   // The reports as they came, in the order in which they ran. Those about VMs ran only if there are any.
   std::vector<CollectedTable> tables;

   std::optional<HostFigures> host; // none when comp-stats has no row
   std::vector<GroupRow> groups;    // in the order of the walk: a parent before its children
   std::vector<VmRow> vms;
   std::vector<HeapRow> heaps;
   std::vector<LargePagePool> pools;
   std::optional<PageSharing> sharing;
   std::vector<MemoryNode> nodes;

   // What could not be read, a line each: the messages of the reports, except those of reports about what
   // this host does not have.
   std::vector<std::string> notRead;
   // Whether a report failed for another reason than that.
   bool hasFailure = false;
};

// Runs the reports on the source that answers the process. None of them walks the page tables of a process
// other than a VM.
HostRows ReadHostRows();

} // namespace overview

#endif
