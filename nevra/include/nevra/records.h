// The records of the node tree: the wire format between the tool and the platform.
//
// Every record is a packed little-endian structure, laid out here and nowhere else: reports read through it,
// the sources fill through it, and the snapshot tool takes its field names from it. A row of a field list is
//
//    FIELD(kind, name, count, description)
//
// with kind U8, U16, U32, U64 (unsigned), I32, I64 (signed), TEXT (a terminated text of at most count - 1
// characters), BYTES (count bytes that no report reads) or a structure's name, repeated count times. Memory is
// in KB unless the description says otherwise; all ones means "not available" or "no limit".
#ifndef NEVRA_RECORDS_H
#define NEVRA_RECORDS_H

#include <bit>
#include <cstddef>
#include <cstdint>

static_assert(std::endian::native == std::endian::little, "records are read in place, as little-endian");

// clang-format off

// ---- scheduler groups

#define NEVRA_FIELDS_GroupNameRecord(FIELD) \
   FIELD(TEXT, name, 64, "group name")

#define NEVRA_FIELDS_GroupTagRecord(FIELD) \
   FIELD(TEXT, tag, 8, "group tag")

#define NEVRA_FIELDS_ParentGroupIDRecord(FIELD) \
   FIELD(I64, parentGroupID, 1, "group ID of the parent; -1 for the root")

#define NEVRA_FIELDS_GroupFlagsRecord(FIELD) \
   FIELD(U32, flags, 1, "group flags")

#define NEVRA_FIELDS_GroupLeaderIDRecord(FIELD) \
   FIELD(U32, leaderID, 1, "world ID of the group's leader")

#define NEVRA_FIELDS_GroupAllocRecord(FIELD) \
   FIELD(I64, min, 1, "configured reservation, KB") \
   FIELD(I64, max, 1, "configured limit, KB") \
   FIELD(I64, shares, 1, "configured shares") \
   FIELD(I64, minLimit, 1, "configured limit of the reservation, KB") \
   FIELD(BYTES, reserved32, 4, "")

#define NEVRA_FIELDS_GroupCapacityRecord(FIELD) \
   FIELD(BYTES, reserved0, 8, "") \
   FIELD(U64, conResv, 1, "reservation consumed by children, KB") \
   FIELD(U64, availResv, 1, "reservation available to the group, KB")

#define NEVRA_FIELDS_GroupMemoryStatsRecord(FIELD) \
   FIELD(BYTES, reserved0, 4, "") \
   FIELD(U64, memSize, 1, "memory size, KB") \
   FIELD(BYTES, reserved12, 8, "") \
   FIELD(U64, ovhdResv, 1, "reserved overhead memory, KB") \
   FIELD(U64, ovhd, 1, "consumed overhead memory, KB") \
   FIELD(BYTES, reserved36, 24, "") \
   FIELD(U64, sharedSaved, 1, "memory saved by page sharing, KB") \
   FIELD(BYTES, reserved68, 40, "") \
   FIELD(U64, consumed, 1, "memory consumed, KB") \
   FIELD(BYTES, reserved116, 24, "") \
   FIELD(U64, touched, 1, "memory touched, KB") \
   FIELD(BYTES, reserved148, 8, "") \
   FIELD(U64, bMin, 1, "base reservation, KB") \
   FIELD(U64, bMax, 1, "base limit, KB") \
   FIELD(U64, bShares, 1, "base shares") \
   FIELD(U64, fShares, 1, "flattened base shares") \
   FIELD(U64, iMin, 1, "implicit reservation, KB") \
   FIELD(U64, eMin, 1, "effective reservation, KB") \
   FIELD(U64, bActive, 1, "base activeness, KB") \
   FIELD(U64, allocTgt, 1, "allocation target, KB") \
   FIELD(U64, memNeeded, 1, "memory the guest needs for optimal performance, KB") \
   FIELD(U64, pressureLimit, 1, "reclamation limit before the guest is under pressure, KB") \
   FIELD(U8, isUnderPressure, 1, "non-zero: the guest is under pressure") \
   FIELD(I64, mps, 1, "memory per share, KB") \
   FIELD(U64, rMinPeak, 1, "peak of the requested reservation, KB") \
   FIELD(BYTES, reserved253, 8, "") \
   FIELD(U64, eMinPeak, 1, "peak of the effective reservation, KB") \
   FIELD(BYTES, reserved269, 8, "") \
   FIELD(U64, consumedPeak, 1, "peak of the memory consumed, KB") \
   FIELD(BYTES, reserved285, 8, "") \
   FIELD(U64, memSizePeak, 1, "peak of the memory size, KB") \
   FIELD(BYTES, reserved301, 8, "") \
   FIELD(U8, throttlePct, 1, "% of possible time that the guest may run") \
   FIELD(U64, rMinChildPeak, 1, "peak of the reservation requested for subgroups, KB") \
   FIELD(BYTES, reserved318, 2, "")

// ---- memory clients

#define NEVRA_FIELDS_TotalCommonStatsRecord(FIELD) \
   FIELD(BYTES, reserved0, 264, "")

#define NEVRA_FIELDS_VmmStatsRecord(FIELD) \
   FIELD(BYTES, reserved0, 28, "") \
   FIELD(U64, memSizeLimit, 1, "upper bound of the guest physical memory, KB") \
   FIELD(U64, memSize, 1, "guest physical memory, KB") \
   FIELD(U64, touched, 1, "guest memory actively used, KB") \
   FIELD(BYTES, reserved52, 16, "") \
   FIELD(U64, allocTgt, 1, "allocation target, KB") \
   FIELD(BYTES, reserved76, 24, "") \
   FIELD(U64, vpmemRO, 1, "persistent memory cached read-only, KB") \
   FIELD(BYTES, reserved108, 16, "") \
   FIELD(U64, vpmemUC, 1, "persistent memory not yet cached, KB") \
   FIELD(U64, llswapped, 1, "memory swapped to llswap, KB") \
   FIELD(U64, zipSaved, 1, "memory saved by compression, KB") \
   FIELD(U64, shared, 1, "mapped memory shared copy-on-write, KB") \
   FIELD(U64, zero, 1, "shared memory that is zero-filled, KB") \
   FIELD(U64, llswapUsed, 1, "space used in llswap, KB") \
   FIELD(U64, mapped, 1, "guest memory backed by host memory, KB") \
   FIELD(U64, zipped, 1, "guest memory that is compressed, KB") \
   FIELD(U64, vpmemRW, 1, "persistent memory cached read-write, KB") \
   FIELD(U64, sharedSaved, 1, "memory saved by page sharing, KB") \
   FIELD(BYTES, reserved204, 8, "") \
   FIELD(U64, swapTgt, 1, "swap target, KB") \
   FIELD(BYTES, reserved220, 8, "") \
   FIELD(U64, swapScope, 1, "swap scope") \
   FIELD(U8, useReliableMem, 1, "non-zero: uses reliable memory") \
   FIELD(BYTES, reserved237, 35, "") \
   FIELD(U8, balloonActive, 1, "non-zero: the balloon driver is active") \
   FIELD(U64, ballooned, 1, "balloon size, KB") \
   FIELD(U64, balloonTgt, 1, "balloon target, KB") \
   FIELD(BYTES, reserved289, 47, "")

#define NEVRA_FIELDS_UwStatsRecord(FIELD) \
   FIELD(I64, min, 1, "configured reservation, KB") \
   FIELD(I64, max, 1, "configured limit, KB") \
   FIELD(I64, minLimit, 1, "configured limit of the reservation, KB") \
   FIELD(I32, shares, 1, "configured shares") \
   FIELD(I32, memSizeLimit, 1, "limit of the address-space size, KB") \
   FIELD(BYTES, reserved32, 4, "") \
   FIELD(U64, memSize, 1, "address-space size, KB") \
   FIELD(U64, touched, 1, "memory touched, KB") \
   FIELD(BYTES, reserved52, 16, "") \
   FIELD(U64, allocTgt, 1, "allocation target, KB") \
   FIELD(BYTES, reserved76, 48, "") \
   FIELD(U64, vpmemUC, 1, "persistent memory not yet cached, KB") \
   FIELD(BYTES, reserved132, 40, "") \
   FIELD(U64, mapped, 1, "address space backed by physical memory, KB") \
   FIELD(BYTES, reserved180, 8, "") \
   FIELD(U64, vpmemRW, 1, "persistent memory cached read-write, KB") \
   FIELD(U64, sharedSaved, 1, "memory saved by page sharing, KB") \
   FIELD(BYTES, reserved204, 8, "") \
   FIELD(U64, swapTgt, 1, "swap target, KB") \
   FIELD(BYTES, reserved220, 8, "") \
   FIELD(U64, swapScope, 1, "swap scope") \
   FIELD(U8, useReliableMem, 1, "non-zero: uses reliable memory") \
   FIELD(BYTES, reserved237, 27, "") \
   FIELD(U64, totalResv, 1, "total reservation, KB") \
   FIELD(U64, pinnedResv, 1, "memory reserved for pinning, KB") \
   FIELD(U64, memBStore, 1, "memory backing store, KB") \
   FIELD(U64, swapBStore, 1, "swap backing store, KB") \
   FIELD(U64, swappable, 1, "non-shared mapped memory that can be reclaimed, KB") \
   FIELD(U64, shm, 1, "shared-memory segments, KB") \
   FIELD(U64, cow, 1, "copy-on-write memory, KB") \
   FIELD(U64, pageable, 1, "accounted pageable memory, KB") \
   FIELD(U64, pageableUnacct, 1, "unaccounted pageable memory, KB") \
   FIELD(U64, swapped, 1, "memory swapped out, KB") \
   FIELD(U64, pinned, 1, "non-swappable mapped memory, KB") \
   FIELD(U64, prealloced, 1, "preallocated memory, KB")

#define NEVRA_FIELDS_GuestStatsRecord(FIELD) \
   FIELD(U64, memTotal, 1, "total memory, KB") \
   FIELD(U32, lpageTotal, 1, "large pages available to applications") \
   FIELD(U64, memNeeded, 1, "memory the workload needs, KB") \
   FIELD(U64, memNeededResv, 1, "buffer included in memNeeded, KB") \
   FIELD(U64, memFree, 1, "free memory, KB") \
   FIELD(U64, pageSize, 1, "page size, KB") \
   FIELD(U32, pageInRate, 1, "pages swapped in per second")

#define NEVRA_FIELDS_SwapInfoRecord(FIELD) \
   FIELD(U8, isSwapping, 1, "non-zero: swapping out now") \
   FIELD(U64, swapTgt, 1, "swap target, KB") \
   FIELD(U64, swapped, 1, "memory swapped, KB") \
   FIELD(U64, swapRead, 1, "memory read from swap and not released, KB") \
   FIELD(U64, swapIn, 1, "memory swapped in and released, KB") \
   FIELD(U64, swapOut, 1, "memory swapped out, KB") \
   FIELD(BYTES, reserved41, 16, "") \
   FIELD(U64, gblSwapRead, 1, "memory read from the global swap file, KB") \
   FIELD(U64, gblSwapIn, 1, "memory swapped in from the global swap file, KB") \
   FIELD(U64, gblSwapOut, 1, "memory swapped out to the global swap file, KB") \
   FIELD(U64, COWSwapper, 1, "copy-on-write memory swapped out, KB") \
   FIELD(U64, discarded, 1, "swapped memory discarded, KB") \
   FIELD(U32, vmmSwapOn, 1, "times the VMM swapper was turned on") \
   FIELD(U32, orskaSwapOn, 1, "times the kernel swapper was turned on") \
   FIELD(U32, curSwapper, 1, "0: the VMM swapper is active; else the kernel's") \
   FIELD(BYTES, reserved109, 28, "") \
   FIELD(U64, totalReg, 1, "space in the regular swap file, KB") \
   FIELD(U64, freeReg, 1, "free space in the regular swap file, KB") \
   FIELD(U64, cptTgt, 1, "checkpoint memory to read, KB") \
   FIELD(U64, cptRead, 1, "checkpoint memory read, KB") \
   FIELD(U64, cptWritten, 1, "checkpoint memory written, KB") \
   FIELD(U64, totalMig, 1, "space in the migration swap file, KB") \
   FIELD(U64, freeMig, 1, "free space in the migration swap file, KB") \
   FIELD(U32, cacheUsage, 1, "swap slot cache usage, KB") \
   FIELD(BYTES, reserved197, 12, "") \
   FIELD(U64, swapoutReady, 1, "ready time of the swap-out client") \
   FIELD(BYTES, reserved217, 3, "")

#define NEVRA_FIELDS_MemzipInfoRecord(FIELD) \
   FIELD(U64, totalCache, 1, "compression cache configured, KB") \
   FIELD(U64, usedCache, 1, "compression cache used, KB") \
   FIELD(U64, maxCache, 1, "maximum compression cache, KB") \
   FIELD(U32, nrFreeHalf, 1, "free half pages") \
   FIELD(U32, nrFreeQuarter, 1, "free quarter pages") \
   FIELD(U64, zipped, 1, "memory compressed, KB") \
   FIELD(U64, unZipped, 1, "memory decompressed, KB") \
   FIELD(BYTES, reserved48, 8, "") \
   FIELD(U64, zipRejected, 1, "memory rejected, KB") \
   FIELD(BYTES, reserved64, 16, "") \
   FIELD(U64, avgZipTime, 1, "average compression time, microseconds") \
   FIELD(BYTES, reserved88, 16, "") \
   FIELD(U64, avgUnzipTime, 1, "average decompression time, microseconds") \
   FIELD(BYTES, reserved112, 24, "")

#define NEVRA_FIELDS_RemapStatsRecord(FIELD) \
   FIELD(U64, added, 1, "4 KB pages ever added") \
   FIELD(U64, filtered, 1, "4 KB pages ever filtered") \
   FIELD(U64, prepared, 1, "4 KB pages ever prepared") \
   FIELD(U64, staged, 1, "4 KB pages ever staged") \
   FIELD(U64, canceled, 1, "4 KB pages ever canceled") \
   FIELD(U64, remapped, 1, "4 KB pages ever remapped") \
   FIELD(U64, cUnprepared, 1, "4 KB pages currently unprepared") \
   FIELD(U64, cPrepared, 1, "4 KB pages currently prepared") \
   FIELD(U64, cStaged, 1, "4 KB pages currently staged") \
   FIELD(BYTES, reserved72, 8, "")

#define NEVRA_FIELDS_VmmLeaderIDRecord(FIELD) \
   FIELD(U32, vmmLeaderID, 1, "world ID of the VMM's leader")

#define NEVRA_FIELDS_VmmGroupInfoRecord(FIELD) \
   FIELD(BYTES, reserved0, 260, "") \
   FIELD(TEXT, displayName, 1024, "display name of the VM") \
   FIELD(TEXT, configPath, 1984, "path of the VM's configuration")

// ---- host-wide memory

#define NEVRA_FIELDS_CompMemMapStats(FIELD) \
   FIELD(U64, total, 1, "physical memory of the host, KB") \
   FIELD(U64, managedByMemMap, 1, "memory managed by the memory map, KB") \
   FIELD(U64, reliableMem, 1, "reliable memory, KB") \
   FIELD(U64, discarded, 1, "memory discarded by the kernel, KB") \
   FIELD(U64, buddyOvhd, 1, "overhead of the memory map's buddies, KB") \
   FIELD(U64, kernelCode, 1, "kernel code, KB") \
   FIELD(U64, dataAndHeap, 1, "kernel data and heap, KB") \
   FIELD(U64, orskaClientConsumed, 1, "consumed by kernel clients, KB") \
   FIELD(U64, otherConsumed, 1, "consumed by other clients, KB") \
   FIELD(U64, rsvdLow, 1, "reserved low memory, KB") \
   FIELD(U64, free, 1, "free memory, KB")

#define NEVRA_FIELDS_GlobalMemSchedInfo(FIELD) \
   FIELD(BYTES, reserved0, 12, "") \
   FIELD(U64, managedByMemSched, 1, "memory managed by the memory scheduler, KB") \
   FIELD(BYTES, reserved20, 16, "") \
   FIELD(U64, minFree, 1, "minimum free memory, KB") \
   FIELD(BYTES, reserved44, 24, "") \
   FIELD(U32, memState, 1, "memory state: 0 high, 1 clear, 2 soft, 3 hard, 4 low") \
   FIELD(BYTES, reserved72, 280, "")

#define NEVRA_FIELDS_MemStateTransitions(FIELD) \
   FIELD(BYTES, reserved0, 4, "") \
   FIELD(U32, numToHigher, 1, "times the host left this state for the next one toward high") \
   FIELD(BYTES, reserved8, 12, "") \
   FIELD(U32, numToLower, 1, "times the host left this state for the next one toward low") \
   FIELD(BYTES, reserved24, 8, "")

#define NEVRA_FIELDS_NumVMsRecord(FIELD) \
   FIELD(U32, numVMs, 1, "VMs running")

#define NEVRA_FIELDS_MemInfoRecord(FIELD) \
   FIELD(BYTES, reserved0, 12, "") \
   FIELD(U32, numMemNodes, 1, "memory nodes") \
   FIELD(BYTES, reserved16, 32, "")

#define NEVRA_FIELDS_MemNodeInfo(FIELD) \
   FIELD(U8, numaNode, 1, "NUMA node of the memory node") \
   FIELD(BYTES, reserved1, 27, "")

#define NEVRA_FIELDS_PShareStats(FIELD) \
   FIELD(U64, cow, 1, "client memory marked copy-on-write, 4 KB pages") \
   FIELD(U64, cow1, 1, "copy-on-write memory with a single reference, 4 KB pages") \
   FIELD(U64, zero, 1, "zeroed client memory, 4 KB pages") \
   FIELD(BYTES, reserved24, 8, "") \
   FIELD(U64, used, 1, "memory that backs the copy-on-write memory, 4 KB pages") \
   FIELD(U64, reclaimed, 1, "memory reclaimed by sharing, 4 KB pages") \
   FIELD(U64, totAdd, 1, "memory added to the sharing table, 4 KB pages") \
   FIELD(U64, totRemove, 1, "memory removed from the sharing table, 4 KB pages") \
   FIELD(U64, hintActive, 1, "active hints, 4 KB pages") \
   FIELD(U64, hintTotAdd, 1, "hints added, 4 KB pages") \
   FIELD(U64, hintTotRemove, 1, "hints removed, 4 KB pages") \
   FIELD(U64, lpageHintTotAdd, 1, "large-page hints added, 4 KB pages") \
   FIELD(U64, lpageHintTotRemove, 1, "large-page hints removed, 4 KB pages") \
   FIELD(BYTES, reserved104, 64, "") \
   FIELD(U64, peakChainLength, 1, "longest hash chain seen") \
   FIELD(U64, peakChainIndex, 1, "index of that chain") \
   FIELD(U64, peakRefCount, 1, "highest reference count of a shared page") \
   FIELD(BYTES, reserved192, 16, "")

#define NEVRA_FIELDS_VmLPageRecord(FIELD) \
   FIELD(U32, nrBackings2M, 1, "current backings, 2 MB large pages") \
   FIELD(U64, nrAllocSuccess, 1, "backing attempts succeeded") \
   FIELD(U64, nrFailNoMem, 1, "backing attempts failed for lack of memory") \
   FIELD(U64, nrFailPinned, 1, "backing attempts failed due to pinning") \
   FIELD(U64, nrFailSwapped, 1, "backing attempts failed to avoid swap-ins") \
   FIELD(BYTES, reserved36, 16, "") \
   FIELD(U64, nrFailPinnedLate, 1, "backing attempts failed due to late pinning") \
   FIELD(BYTES, reserved60, 24, "") \
   FIELD(U32, nrLockSuccessFirst, 1, "locking successes, first part") \
   FIELD(U64, nrBroken, 1, "backings broken") \
   FIELD(U32, maxSwapThreshold, 1, "swap-in threshold") \
   FIELD(BYTES, reserved100, 4, "") \
   FIELD(U32, nrBackings1G, 1, "current backings, units of 512 large pages") \
   FIELD(BYTES, reserved108, 32, "") \
   FIELD(U32, nrLockSuccessSecond, 1, "locking successes, second part") \
   FIELD(BYTES, reserved144, 56, "")

#define NEVRA_FIELDS_LPagePoolRecord(FIELD) \
   FIELD(U32, nrLPages, 1, "large pages in the pool") \
   FIELD(U32, nrFreeSPages, 1, "small pages free") \
   FIELD(U64, nrSPageAllocs, 1, "small pages allocated") \
   FIELD(U64, nrSPageFrees, 1, "small pages freed") \
   FIELD(U64, nrReapAttempts, 1, "reap attempts") \
   FIELD(U64, nrSPagesReaped, 1, "small pages reaped") \
   FIELD(U64, nrDefragAttempts, 1, "defragmentation attempts") \
   FIELD(BYTES, reserved48, 8, "") \
   FIELD(U64, nrDefragCancelled, 1, "defragmentation attempts cancelled") \
   FIELD(U64, nrDefragReaped, 1, "defragmentation attempts reaped") \
   FIELD(U64, nrLPagesDefragged, 1, "large pages defragmented") \
   FIELD(U64, peakDefragAttempts, 1, "most defragmentation attempts for one large page") \
   FIELD(U64, nrCachehit, 1, "hits in the large-page victim cache")

// ---- allocators

#define NEVRA_FIELDS_BuddyOrder(FIELD) \
   FIELD(U32, numFree, 1, "free buffers of this order") \
   FIELD(U32, numUsed, 1, "used buffers of this order") \
   FIELD(BYTES, reserved8, 4, "")

#define NEVRA_FIELDS_BuddyComprehensiveInfo(FIELD) \
   FIELD(BYTES, reserved0, 8, "") \
   FIELD(BuddyOrder, orders, 19, "order k: buffers of 4 KB x 2^k")

#define NEVRA_FIELDS_HeapStatsRecord(FIELD) \
   FIELD(TEXT, name, 36, "heap name") \
   FIELD(U8, dynGrow, 1, "dynamically growable") \
   FIELD(BYTES, reserved37, 4, "") \
   FIELD(U32, lowerLimit, 1, "lower limit") \
   FIELD(U32, upperLimit, 1, "upper limit") \
   FIELD(U8, reserved, 1, "reserved") \
   FIELD(BYTES, reserved50, 8, "") \
   FIELD(I32, numRanges, 1, "ranges") \
   FIELD(U32, overhead, 1, "allocator overhead, bytes") \
   FIELD(U32, size, 1, "current size, bytes") \
   FIELD(U32, initial, 1, "initial size, bytes") \
   FIELD(BYTES, reserved74, 4, "") \
   FIELD(U32, avail, 1, "available now, bytes") \
   FIELD(BYTES, reserved82, 4, "") \
   FIELD(U32, pctFreeOfCur, 1, "% free of the current size") \
   FIELD(BYTES, reserved90, 4, "") \
   FIELD(U32, max, 1, "maximum size, bytes") \
   FIELD(U32, maxAvail, 1, "maximum available, bytes") \
   FIELD(U32, pctFreeOfMax, 1, "% free of the maximum") \
   FIELD(U32, lowPctFreeOfMax, 1, "lowest % free of the maximum") \
   FIELD(BYTES, reserved110, 4, "") \
   FIELD(U32, numSuccAllocs, 1, "allocations succeeded") \
   FIELD(U32, numFailAllocs, 1, "allocations failed") \
   FIELD(BYTES, reserved122, 4, "") \
   FIELD(U32, avgAllocSize, 1, "average allocation size, bytes") \
   FIELD(U32, numReqsPerGrowth, 1, "requests per growth operation") \
   FIELD(I32, numGrowthOps, 1, "growth operations") \
   FIELD(U32, numShrinkOps, 1, "shrink operations") \
   FIELD(BYTES, reserved142, 6, "")

// ---- persistent memory

#define NEVRA_FIELDS_PMemVolumeInfoRecord(FIELD) \
   FIELD(BYTES, reserved0, 40, "")

#define NEVRA_FIELDS_PMemRegionStoreRecord(FIELD) \
   FIELD(U64, allocated2MBlocks, 1, "2 MB blocks allocated") \
   FIELD(U64, reserved2MBlocks, 1, "2 MB blocks reserved") \
   FIELD(U64, available2MBlocks, 1, "2 MB blocks that can be reserved") \
   FIELD(U32, totalRegions, 1, "regions") \
   FIELD(BYTES, reserved28, 4, "") \
   FIELD(U32, freeRegions, 1, "free regions") \
   FIELD(U64, total2MBlocks, 1, "2 MB blocks") \
   FIELD(BYTES, reserved44, 8, "")

#define NEVRA_FIELDS_PMemCleanRecord(FIELD) \
   FIELD(U8, isClean, 1, "non-zero: the region store is clean")

#define NEVRA_FIELDS_PMemRegionRecord(FIELD) \
   FIELD(BYTES, reserved0, 37, "") \
   FIELD(U64, size, 1, "region size, bytes") \
   FIELD(U64, reserved2MBlocks, 1, "2 MB blocks reserved") \
   FIELD(U32, flags, 1, "region flags") \
   FIELD(U32, dataLossCounter, 1, "data loss counter") \
   FIELD(U32, openCount, 1, "open count") \
   FIELD(U64, allocated2MBlocks, 1, "2 MB blocks allocated") \
   FIELD(U16, managementTag, 1, "management tag") \
   FIELD(U64, numaAffinityMask, 1, "NUMA affinity mask") \
   FIELD(BYTES, reserved83, 1, "")

#define NEVRA_FIELDS_PMemExtentRecord(FIELD) \
   FIELD(U64, startBlk, 1, "first block number") \
   FIELD(U64, endBlk, 1, "last block number") \
   FIELD(U64, startMPN, 1, "first machine page number") \
   FIELD(U64, endMPN, 1, "last machine page number") \
   FIELD(U64, numaNode, 1, "NUMA node")

#define NEVRA_FIELDS_PMemRegionNumaRecord(FIELD) \
   FIELD(U32, numaNode, 1, "NUMA node") \
   FIELD(U64, num2MAllocated, 1, "2 MB blocks allocated")

// ---- hardware

#define NEVRA_FIELDS_CpuInfoRecord(FIELD) \
   FIELD(BYTES, reserved0, 1, "") \
   FIELD(U8, model, 1, "CPU model number") \
   FIELD(BYTES, reserved2, 226, "")

#define NEVRA_FIELDS_PciConfigHeaderRecord(FIELD) \
   FIELD(U16, vendorID, 1, "vendor ID") \
   FIELD(U16, deviceID, 1, "device ID") \
   FIELD(BYTES, reserved4, 160, "")

#define NEVRA_FIELDS_PciConfigRegRecord(FIELD) \
   FIELD(U32, value, 1, "register value")

// Every record with its size in bytes.
#define NEVRA_RECORDS(RECORD) \
   RECORD(GroupNameRecord, 64) \
   RECORD(GroupTagRecord, 8) \
   RECORD(ParentGroupIDRecord, 8) \
   RECORD(GroupFlagsRecord, 4) \
   RECORD(GroupLeaderIDRecord, 4) \
   RECORD(GroupAllocRecord, 36) \
   RECORD(GroupCapacityRecord, 24) \
   RECORD(GroupMemoryStatsRecord, 320) \
   RECORD(TotalCommonStatsRecord, 264) \
   RECORD(VmmStatsRecord, 336) \
   RECORD(UwStatsRecord, 360) \
   RECORD(GuestStatsRecord, 48) \
   RECORD(SwapInfoRecord, 220) \
   RECORD(MemzipInfoRecord, 136) \
   RECORD(RemapStatsRecord, 80) \
   RECORD(VmmLeaderIDRecord, 4) \
   RECORD(VmmGroupInfoRecord, 3268) \
   RECORD(CompMemMapStats, 88) \
   RECORD(GlobalMemSchedInfo, 352) \
   RECORD(MemStateTransitions, 32) \
   RECORD(NumVMsRecord, 4) \
   RECORD(MemInfoRecord, 48) \
   RECORD(MemNodeInfo, 28) \
   RECORD(PShareStats, 208) \
   RECORD(VmLPageRecord, 200) \
   RECORD(LPagePoolRecord, 96) \
   RECORD(BuddyOrder, 12) \
   RECORD(BuddyComprehensiveInfo, 236) \
   RECORD(HeapStatsRecord, 148) \
   RECORD(PMemVolumeInfoRecord, 40) \
   RECORD(PMemRegionStoreRecord, 52) \
   RECORD(PMemCleanRecord, 1) \
   RECORD(PMemRegionRecord, 84) \
   RECORD(PMemExtentRecord, 40) \
   RECORD(PMemRegionNumaRecord, 12) \
   RECORD(CpuInfoRecord, 228) \
   RECORD(PciConfigHeaderRecord, 164) \
   RECORD(PciConfigRegRecord, 4)

#define NEVRA_MEMBER_U8(name, count) uint8_t name;
#define NEVRA_MEMBER_U16(name, count) uint16_t name;
#define NEVRA_MEMBER_U32(name, count) uint32_t name;
#define NEVRA_MEMBER_U64(name, count) uint64_t name;
#define NEVRA_MEMBER_I32(name, count) int32_t name;
#define NEVRA_MEMBER_I64(name, count) int64_t name;
#define NEVRA_MEMBER_TEXT(name, count) char name[count];
#define NEVRA_MEMBER_BYTES(name, count) unsigned char name[count];
#define NEVRA_MEMBER_BuddyOrder(name, count) BuddyOrder name[count];
#define NEVRA_MEMBER(kind, name, count, description) NEVRA_MEMBER_##kind(name, count)
#define NEVRA_STRUCTURE(Record, bytes) \
   struct Record { NEVRA_FIELDS_##Record(NEVRA_MEMBER) }; \
   static_assert(sizeof(Record) == (bytes));

#pragma pack(push, 1)
NEVRA_RECORDS(NEVRA_STRUCTURE)
#pragma pack(pop)

// The offsets that readers of the raw bytes rely on.
#define NEVRA_OFFSET(Record, field, offset) static_assert(offsetof(Record, field) == (offset));

NEVRA_OFFSET(GroupAllocRecord, min, 0)
NEVRA_OFFSET(GroupAllocRecord, max, 8)
NEVRA_OFFSET(GroupAllocRecord, shares, 16)
NEVRA_OFFSET(GroupAllocRecord, minLimit, 24)

NEVRA_OFFSET(GroupCapacityRecord, conResv, 8)
NEVRA_OFFSET(GroupCapacityRecord, availResv, 16)

NEVRA_OFFSET(GroupMemoryStatsRecord, memSize, 4)
NEVRA_OFFSET(GroupMemoryStatsRecord, ovhdResv, 20)
NEVRA_OFFSET(GroupMemoryStatsRecord, ovhd, 28)
NEVRA_OFFSET(GroupMemoryStatsRecord, sharedSaved, 60)
NEVRA_OFFSET(GroupMemoryStatsRecord, consumed, 108)
NEVRA_OFFSET(GroupMemoryStatsRecord, touched, 140)
NEVRA_OFFSET(GroupMemoryStatsRecord, bMin, 156)
NEVRA_OFFSET(GroupMemoryStatsRecord, bMax, 164)
NEVRA_OFFSET(GroupMemoryStatsRecord, bShares, 172)
NEVRA_OFFSET(GroupMemoryStatsRecord, fShares, 180)
NEVRA_OFFSET(GroupMemoryStatsRecord, iMin, 188)
NEVRA_OFFSET(GroupMemoryStatsRecord, eMin, 196)
NEVRA_OFFSET(GroupMemoryStatsRecord, bActive, 204)
NEVRA_OFFSET(GroupMemoryStatsRecord, allocTgt, 212)
NEVRA_OFFSET(GroupMemoryStatsRecord, memNeeded, 220)
NEVRA_OFFSET(GroupMemoryStatsRecord, pressureLimit, 228)
NEVRA_OFFSET(GroupMemoryStatsRecord, isUnderPressure, 236)
NEVRA_OFFSET(GroupMemoryStatsRecord, mps, 237)
NEVRA_OFFSET(GroupMemoryStatsRecord, rMinPeak, 245)
NEVRA_OFFSET(GroupMemoryStatsRecord, eMinPeak, 261)
NEVRA_OFFSET(GroupMemoryStatsRecord, consumedPeak, 277)
NEVRA_OFFSET(GroupMemoryStatsRecord, memSizePeak, 293)
NEVRA_OFFSET(GroupMemoryStatsRecord, throttlePct, 309)
NEVRA_OFFSET(GroupMemoryStatsRecord, rMinChildPeak, 310)

NEVRA_OFFSET(VmmStatsRecord, memSizeLimit, 28)
NEVRA_OFFSET(VmmStatsRecord, memSize, 36)
NEVRA_OFFSET(VmmStatsRecord, touched, 44)
NEVRA_OFFSET(VmmStatsRecord, allocTgt, 68)
NEVRA_OFFSET(VmmStatsRecord, vpmemRO, 100)
NEVRA_OFFSET(VmmStatsRecord, vpmemUC, 124)
NEVRA_OFFSET(VmmStatsRecord, llswapped, 132)
NEVRA_OFFSET(VmmStatsRecord, zipSaved, 140)
NEVRA_OFFSET(VmmStatsRecord, shared, 148)
NEVRA_OFFSET(VmmStatsRecord, zero, 156)
NEVRA_OFFSET(VmmStatsRecord, llswapUsed, 164)
NEVRA_OFFSET(VmmStatsRecord, mapped, 172)
NEVRA_OFFSET(VmmStatsRecord, zipped, 180)
NEVRA_OFFSET(VmmStatsRecord, vpmemRW, 188)
NEVRA_OFFSET(VmmStatsRecord, sharedSaved, 196)
NEVRA_OFFSET(VmmStatsRecord, swapTgt, 212)
NEVRA_OFFSET(VmmStatsRecord, swapScope, 228)
NEVRA_OFFSET(VmmStatsRecord, useReliableMem, 236)
NEVRA_OFFSET(VmmStatsRecord, balloonActive, 272)
NEVRA_OFFSET(VmmStatsRecord, ballooned, 273)
NEVRA_OFFSET(VmmStatsRecord, balloonTgt, 281)

NEVRA_OFFSET(UwStatsRecord, min, 0)
NEVRA_OFFSET(UwStatsRecord, max, 8)
NEVRA_OFFSET(UwStatsRecord, minLimit, 16)
NEVRA_OFFSET(UwStatsRecord, shares, 24)
NEVRA_OFFSET(UwStatsRecord, memSizeLimit, 28)
NEVRA_OFFSET(UwStatsRecord, memSize, 36)
NEVRA_OFFSET(UwStatsRecord, touched, 44)
NEVRA_OFFSET(UwStatsRecord, allocTgt, 68)
NEVRA_OFFSET(UwStatsRecord, vpmemUC, 124)
NEVRA_OFFSET(UwStatsRecord, mapped, 172)
NEVRA_OFFSET(UwStatsRecord, vpmemRW, 188)
NEVRA_OFFSET(UwStatsRecord, sharedSaved, 196)
NEVRA_OFFSET(UwStatsRecord, swapTgt, 212)
NEVRA_OFFSET(UwStatsRecord, swapScope, 228)
NEVRA_OFFSET(UwStatsRecord, useReliableMem, 236)
NEVRA_OFFSET(UwStatsRecord, totalResv, 264)
NEVRA_OFFSET(UwStatsRecord, pinnedResv, 272)
NEVRA_OFFSET(UwStatsRecord, memBStore, 280)
NEVRA_OFFSET(UwStatsRecord, swapBStore, 288)
NEVRA_OFFSET(UwStatsRecord, swappable, 296)
NEVRA_OFFSET(UwStatsRecord, shm, 304)
NEVRA_OFFSET(UwStatsRecord, cow, 312)
NEVRA_OFFSET(UwStatsRecord, pageable, 320)
NEVRA_OFFSET(UwStatsRecord, pageableUnacct, 328)
NEVRA_OFFSET(UwStatsRecord, swapped, 336)
NEVRA_OFFSET(UwStatsRecord, pinned, 344)
NEVRA_OFFSET(UwStatsRecord, prealloced, 352)

NEVRA_OFFSET(GuestStatsRecord, memTotal, 0)
NEVRA_OFFSET(GuestStatsRecord, lpageTotal, 8)
NEVRA_OFFSET(GuestStatsRecord, memNeeded, 12)
NEVRA_OFFSET(GuestStatsRecord, memNeededResv, 20)
NEVRA_OFFSET(GuestStatsRecord, memFree, 28)
NEVRA_OFFSET(GuestStatsRecord, pageSize, 36)
NEVRA_OFFSET(GuestStatsRecord, pageInRate, 44)

NEVRA_OFFSET(SwapInfoRecord, isSwapping, 0)
NEVRA_OFFSET(SwapInfoRecord, swapTgt, 1)
NEVRA_OFFSET(SwapInfoRecord, swapped, 9)
NEVRA_OFFSET(SwapInfoRecord, swapRead, 17)
NEVRA_OFFSET(SwapInfoRecord, swapIn, 25)
NEVRA_OFFSET(SwapInfoRecord, swapOut, 33)
NEVRA_OFFSET(SwapInfoRecord, gblSwapRead, 57)
NEVRA_OFFSET(SwapInfoRecord, gblSwapIn, 65)
NEVRA_OFFSET(SwapInfoRecord, gblSwapOut, 73)
NEVRA_OFFSET(SwapInfoRecord, COWSwapper, 81)
NEVRA_OFFSET(SwapInfoRecord, discarded, 89)
NEVRA_OFFSET(SwapInfoRecord, vmmSwapOn, 97)
NEVRA_OFFSET(SwapInfoRecord, orskaSwapOn, 101)
NEVRA_OFFSET(SwapInfoRecord, curSwapper, 105)
NEVRA_OFFSET(SwapInfoRecord, totalReg, 137)
NEVRA_OFFSET(SwapInfoRecord, freeReg, 145)
NEVRA_OFFSET(SwapInfoRecord, cptTgt, 153)
NEVRA_OFFSET(SwapInfoRecord, cptRead, 161)
NEVRA_OFFSET(SwapInfoRecord, cptWritten, 169)
NEVRA_OFFSET(SwapInfoRecord, totalMig, 177)
NEVRA_OFFSET(SwapInfoRecord, freeMig, 185)
NEVRA_OFFSET(SwapInfoRecord, cacheUsage, 193)
NEVRA_OFFSET(SwapInfoRecord, swapoutReady, 209)

NEVRA_OFFSET(MemzipInfoRecord, totalCache, 0)
NEVRA_OFFSET(MemzipInfoRecord, usedCache, 8)
NEVRA_OFFSET(MemzipInfoRecord, maxCache, 16)
NEVRA_OFFSET(MemzipInfoRecord, nrFreeHalf, 24)
NEVRA_OFFSET(MemzipInfoRecord, nrFreeQuarter, 28)
NEVRA_OFFSET(MemzipInfoRecord, zipped, 32)
NEVRA_OFFSET(MemzipInfoRecord, unZipped, 40)
NEVRA_OFFSET(MemzipInfoRecord, zipRejected, 56)
NEVRA_OFFSET(MemzipInfoRecord, avgZipTime, 80)
NEVRA_OFFSET(MemzipInfoRecord, avgUnzipTime, 104)

NEVRA_OFFSET(RemapStatsRecord, added, 0)
NEVRA_OFFSET(RemapStatsRecord, filtered, 8)
NEVRA_OFFSET(RemapStatsRecord, prepared, 16)
NEVRA_OFFSET(RemapStatsRecord, staged, 24)
NEVRA_OFFSET(RemapStatsRecord, canceled, 32)
NEVRA_OFFSET(RemapStatsRecord, remapped, 40)
NEVRA_OFFSET(RemapStatsRecord, cUnprepared, 48)
NEVRA_OFFSET(RemapStatsRecord, cPrepared, 56)
NEVRA_OFFSET(RemapStatsRecord, cStaged, 64)

NEVRA_OFFSET(VmmGroupInfoRecord, displayName, 260)
NEVRA_OFFSET(VmmGroupInfoRecord, configPath, 1284)

NEVRA_OFFSET(CompMemMapStats, total, 0)
NEVRA_OFFSET(CompMemMapStats, managedByMemMap, 8)
NEVRA_OFFSET(CompMemMapStats, reliableMem, 16)
NEVRA_OFFSET(CompMemMapStats, discarded, 24)
NEVRA_OFFSET(CompMemMapStats, buddyOvhd, 32)
NEVRA_OFFSET(CompMemMapStats, kernelCode, 40)
NEVRA_OFFSET(CompMemMapStats, dataAndHeap, 48)
NEVRA_OFFSET(CompMemMapStats, orskaClientConsumed, 56)
NEVRA_OFFSET(CompMemMapStats, otherConsumed, 64)
NEVRA_OFFSET(CompMemMapStats, rsvdLow, 72)
NEVRA_OFFSET(CompMemMapStats, free, 80)

NEVRA_OFFSET(GlobalMemSchedInfo, managedByMemSched, 12)
NEVRA_OFFSET(GlobalMemSchedInfo, minFree, 36)
NEVRA_OFFSET(GlobalMemSchedInfo, memState, 68)

NEVRA_OFFSET(MemStateTransitions, numToHigher, 4)
NEVRA_OFFSET(MemStateTransitions, numToLower, 20)

NEVRA_OFFSET(MemInfoRecord, numMemNodes, 12)
NEVRA_OFFSET(MemNodeInfo, numaNode, 0)

NEVRA_OFFSET(PShareStats, cow, 0)
NEVRA_OFFSET(PShareStats, cow1, 8)
NEVRA_OFFSET(PShareStats, zero, 16)
NEVRA_OFFSET(PShareStats, used, 32)
NEVRA_OFFSET(PShareStats, reclaimed, 40)
NEVRA_OFFSET(PShareStats, totAdd, 48)
NEVRA_OFFSET(PShareStats, totRemove, 56)
NEVRA_OFFSET(PShareStats, hintActive, 64)
NEVRA_OFFSET(PShareStats, hintTotAdd, 72)
NEVRA_OFFSET(PShareStats, hintTotRemove, 80)
NEVRA_OFFSET(PShareStats, lpageHintTotAdd, 88)
NEVRA_OFFSET(PShareStats, lpageHintTotRemove, 96)
NEVRA_OFFSET(PShareStats, peakChainLength, 168)
NEVRA_OFFSET(PShareStats, peakChainIndex, 176)
NEVRA_OFFSET(PShareStats, peakRefCount, 184)

NEVRA_OFFSET(VmLPageRecord, nrBackings2M, 0)
NEVRA_OFFSET(VmLPageRecord, nrAllocSuccess, 4)
NEVRA_OFFSET(VmLPageRecord, nrFailNoMem, 12)
NEVRA_OFFSET(VmLPageRecord, nrFailPinned, 20)
NEVRA_OFFSET(VmLPageRecord, nrFailSwapped, 28)
NEVRA_OFFSET(VmLPageRecord, nrFailPinnedLate, 52)
NEVRA_OFFSET(VmLPageRecord, nrLockSuccessFirst, 84)
NEVRA_OFFSET(VmLPageRecord, nrBroken, 88)
NEVRA_OFFSET(VmLPageRecord, maxSwapThreshold, 96)
NEVRA_OFFSET(VmLPageRecord, nrBackings1G, 104)
NEVRA_OFFSET(VmLPageRecord, nrLockSuccessSecond, 140)

NEVRA_OFFSET(LPagePoolRecord, nrLPages, 0)
NEVRA_OFFSET(LPagePoolRecord, nrFreeSPages, 4)
NEVRA_OFFSET(LPagePoolRecord, nrSPageAllocs, 8)
NEVRA_OFFSET(LPagePoolRecord, nrSPageFrees, 16)
NEVRA_OFFSET(LPagePoolRecord, nrReapAttempts, 24)
NEVRA_OFFSET(LPagePoolRecord, nrSPagesReaped, 32)
NEVRA_OFFSET(LPagePoolRecord, nrDefragAttempts, 40)
NEVRA_OFFSET(LPagePoolRecord, nrDefragCancelled, 56)
NEVRA_OFFSET(LPagePoolRecord, nrDefragReaped, 64)
NEVRA_OFFSET(LPagePoolRecord, nrLPagesDefragged, 72)
NEVRA_OFFSET(LPagePoolRecord, peakDefragAttempts, 80)
NEVRA_OFFSET(LPagePoolRecord, nrCachehit, 88)

NEVRA_OFFSET(BuddyOrder, numFree, 0)
NEVRA_OFFSET(BuddyOrder, numUsed, 4)
NEVRA_OFFSET(BuddyComprehensiveInfo, orders, 8)

NEVRA_OFFSET(HeapStatsRecord, name, 0)
NEVRA_OFFSET(HeapStatsRecord, dynGrow, 36)
NEVRA_OFFSET(HeapStatsRecord, lowerLimit, 41)
NEVRA_OFFSET(HeapStatsRecord, upperLimit, 45)
NEVRA_OFFSET(HeapStatsRecord, reserved, 49)
NEVRA_OFFSET(HeapStatsRecord, numRanges, 58)
NEVRA_OFFSET(HeapStatsRecord, overhead, 62)
NEVRA_OFFSET(HeapStatsRecord, size, 66)
NEVRA_OFFSET(HeapStatsRecord, initial, 70)
NEVRA_OFFSET(HeapStatsRecord, avail, 78)
NEVRA_OFFSET(HeapStatsRecord, pctFreeOfCur, 86)
NEVRA_OFFSET(HeapStatsRecord, max, 94)
NEVRA_OFFSET(HeapStatsRecord, maxAvail, 98)
NEVRA_OFFSET(HeapStatsRecord, pctFreeOfMax, 102)
NEVRA_OFFSET(HeapStatsRecord, lowPctFreeOfMax, 106)
NEVRA_OFFSET(HeapStatsRecord, numSuccAllocs, 114)
NEVRA_OFFSET(HeapStatsRecord, numFailAllocs, 118)
NEVRA_OFFSET(HeapStatsRecord, avgAllocSize, 126)
NEVRA_OFFSET(HeapStatsRecord, numReqsPerGrowth, 130)
NEVRA_OFFSET(HeapStatsRecord, numGrowthOps, 134)
NEVRA_OFFSET(HeapStatsRecord, numShrinkOps, 138)

NEVRA_OFFSET(PMemRegionStoreRecord, allocated2MBlocks, 0)
NEVRA_OFFSET(PMemRegionStoreRecord, reserved2MBlocks, 8)
NEVRA_OFFSET(PMemRegionStoreRecord, available2MBlocks, 16)
NEVRA_OFFSET(PMemRegionStoreRecord, totalRegions, 24)
NEVRA_OFFSET(PMemRegionStoreRecord, freeRegions, 32)
NEVRA_OFFSET(PMemRegionStoreRecord, total2MBlocks, 36)
NEVRA_OFFSET(PMemCleanRecord, isClean, 0)
NEVRA_OFFSET(PMemRegionRecord, size, 37)
NEVRA_OFFSET(PMemRegionRecord, reserved2MBlocks, 45)
NEVRA_OFFSET(PMemRegionRecord, flags, 53)
NEVRA_OFFSET(PMemRegionRecord, dataLossCounter, 57)
NEVRA_OFFSET(PMemRegionRecord, openCount, 61)
NEVRA_OFFSET(PMemRegionRecord, allocated2MBlocks, 65)
NEVRA_OFFSET(PMemRegionRecord, managementTag, 73)
NEVRA_OFFSET(PMemRegionRecord, numaAffinityMask, 75)
NEVRA_OFFSET(PMemExtentRecord, startBlk, 0)
NEVRA_OFFSET(PMemExtentRecord, endBlk, 8)
NEVRA_OFFSET(PMemExtentRecord, startMPN, 16)
NEVRA_OFFSET(PMemExtentRecord, endMPN, 24)
NEVRA_OFFSET(PMemExtentRecord, numaNode, 32)
NEVRA_OFFSET(PMemRegionNumaRecord, numaNode, 0)
NEVRA_OFFSET(PMemRegionNumaRecord, num2MAllocated, 4)

NEVRA_OFFSET(CpuInfoRecord, model, 1)
NEVRA_OFFSET(PciConfigHeaderRecord, vendorID, 0)
NEVRA_OFFSET(PciConfigHeaderRecord, deviceID, 2)

// clang-format on

#endif
