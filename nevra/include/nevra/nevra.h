/*
 * The platform interface: how the tool reaches the kernel's node tree.
 *
 * A node is named by an identifier (NEVRA_NODE_...), and one of its instances is addressed by a list of
 * parameters, for example a scheduler group ID. Reading an instance fills a record of a fixed size
 * (nevra/records.h has the layouts); listing a node gives a parameter list of instance keys.
 *
 * Everything here is exported by one shared library, libnevra.so.1, with plain C linkage. Any library with
 * these symbols can stand in for any other: the platform's own, this project's stand-in, a scripted one in a
 * test. The dynamic linker chooses.
 *
 * Nothing here is safe to call from several threads at once.
 */
#ifndef NEVRA_NEVRA_H
#define NEVRA_NEVRA_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 0 for success, otherwise 0xbad0000 plus an index into the platform's catalogue of status messages. */
typedef uint32_t NevraStatus;

typedef struct NevraNodeDef NevraNodeDef;       /* opaque to the tool */
typedef const NevraNodeDef *NevraNode;          /* a node identifier */
typedef struct Nevra_ParamList Nevra_ParamList; /* opaque: typed entries in order */
typedef struct Nevra_Param Nevra_Param;         /* opaque: one entry of a list */

/* The statuses that callers test for, or that this project's library answers with. */
#define NEVRA_OK ((NevraStatus)0)
#define NEVRA_FAILURE ((NevraStatus)0xbad0001)
#define NEVRA_NOT_FOUND ((NevraStatus)0xbad0003) /* no such instance */
#define NEVRA_LIMIT_EXCEEDED ((NevraStatus)0xbad0006)
#define NEVRA_BAD_PARAMETER ((NevraStatus)0xbad0007)
#define NEVRA_METADATA_READ_ERROR                                                                            \
   ((NevraStatus)0xbad0008) /* a snapshot whose directory is damaged, or no snapshot at all */
#define NEVRA_IO_ERROR ((NevraStatus)0xbad000a)
#define NEVRA_READ_ERROR ((NevraStatus)0xbad000b) /* a snapshot node whose checksum does not hold */
#define NEVRA_WRITE_ERROR ((NevraStatus)0xbad000c)
#define NEVRA_OUT_OF_MEMORY ((NevraStatus)0xbad0014)
#define NEVRA_NO_PERMISSION ((NevraStatus)0xbad0016)
#define NEVRA_NOT_SUPPORTED ((NevraStatus)0xbad0017)
#define NEVRA_VERSION_MISMATCH                                                                               \
   ((NevraStatus)0xbad0018) /* node definitions or snapshot format of another version */
#define NEVRA_TOO_MANY_OPEN_FILES ((NevraStatus)0xbad0021)
#define NEVRA_NOT_INITIALIZED ((NevraStatus)0xbad0031)

/* The kinds of parameter list. */
enum {
   NEVRA_LIST_VALUES = 0,  /* the values handed to Nevra_Set */
   NEVRA_LIST_INSTANCE = 1 /* keys that address an instance, and instance keys that a listing gives */
};

/*
 * Node identifiers. After each: the keys of its record and the record's type, and what a listing of it
 * takes and gives.
 */

/* Scheduler groups. */
extern const NevraNode NEVRA_NODE_sched_groups_members_groups;     /* list: group -> child group IDs */
extern const NevraNode NEVRA_NODE_sched_groups_members_memClients; /* list: group -> memory client IDs */
extern const NevraNode NEVRA_NODE_sched_groups_groupName;          /* group: GroupNameRecord */
extern const NevraNode NEVRA_NODE_sched_groups_groupTag;           /* group: GroupTagRecord */
extern const NevraNode NEVRA_NODE_sched_groups_parentGroupID;      /* group: ParentGroupIDRecord */
extern const NevraNode NEVRA_NODE_sched_groups_groupFlags;         /* group: GroupFlagsRecord */
extern const NevraNode NEVRA_NODE_sched_groups_groupLeaderID;      /* group: GroupLeaderIDRecord */
extern const NevraNode NEVRA_NODE_sched_groups_memAllocationInKB;  /* group: GroupAllocRecord */
extern const NevraNode NEVRA_NODE_sched_groups_stats_capacity;     /* group: GroupCapacityRecord */
extern const NevraNode NEVRA_NODE_sched_groups_stats_memoryStats;  /* group: GroupMemoryStatsRecord */

/* Memory clients: the worlds that consume memory for a group. */
extern const NevraNode NEVRA_NODE_sched_memClients_kelmar_totalCommon; /* client: TotalCommonStatsRecord */
extern const NevraNode NEVRA_NODE_sched_memClients_kelmar_vmm;         /* group leader: VmmStatsRecord */
extern const NevraNode NEVRA_NODE_sched_memClients_kelmar_uw;          /* group leader: UwStatsRecord */
extern const NevraNode NEVRA_NODE_sched_memClients_kelmar_guest;       /* group leader: GuestStatsRecord */
extern const NevraNode NEVRA_NODE_sched_memClients_swapInfo;           /* VMM leader: SwapInfoRecord */
extern const NevraNode NEVRA_NODE_sched_memClients_memzipInfo;         /* group leader: MemzipInfoRecord */
extern const NevraNode NEVRA_NODE_sched_memClients_remapTypes;         /* client, type name: RemapStatsRecord;
                                                                          list: client -> type names */
extern const NevraNode NEVRA_NODE_worldGroups_vmmLeaderID;             /* group leader: VmmLeaderIDRecord */
extern const NevraNode NEVRA_NODE_vm_vmmGroupInfo;                     /* VMM leader: VmmGroupInfoRecord */

/* Host-wide memory. */
extern const NevraNode NEVRA_NODE_memory_comprehensive;             /* no key: CompMemMapStats */
extern const NevraNode NEVRA_NODE_memory_memInfo;                   /* no key: MemInfoRecord */
extern const NevraNode NEVRA_NODE_memory_memNodes;                  /* memory node: MemNodeInfo */
extern const NevraNode NEVRA_NODE_memory_pshare_stats;              /* no key: PShareStats */
extern const NevraNode NEVRA_NODE_memory_lpage_vmLPage;             /* VMM leader: VmLPageRecord */
extern const NevraNode NEVRA_NODE_memory_lpage_nodeList_psharePool; /* memory node: LPagePoolRecord */
extern const NevraNode NEVRA_NODE_memory_lpage_nodeList_vmPools;   /* memory node, pool name: LPagePoolRecord;
                                                                      list: memory node -> pool names */
extern const NevraNode NEVRA_NODE_sched_globalStats_memory_kelmar; /* no key: GlobalMemSchedInfo */
extern const NevraNode NEVRA_NODE_sched_globalStats_memory_stateTransitions; /* memory state's name:
                                                                                MemStateTransitions */
extern const NevraNode NEVRA_NODE_sched_globalStats_numVMs;                  /* no key: NumVMsRecord */

/* Allocators. */
extern const NevraNode NEVRA_NODE_system_buddy;               /* list: no key -> buddy names */
extern const NevraNode NEVRA_NODE_system_buddy_comprehensive; /* buddy name: BuddyComprehensiveInfo */
extern const NevraNode NEVRA_NODE_system_heaps;               /* list: no key -> heap names */
extern const NevraNode NEVRA_NODE_system_heaps_stats;         /* heap name: HeapStatsRecord */

/* Persistent memory. */
extern const NevraNode NEVRA_NODE_memory_pmem_volumes;         /* list: no key -> volume names */
extern const NevraNode NEVRA_NODE_memory_pmem_volumes_info;    /* volume: PMemVolumeInfoRecord */
extern const NevraNode NEVRA_NODE_memory_pmem_volumes_extents; /* volume, extent number: PMemExtentRecord;
                                                                  list: volume -> extent numbers */
extern const NevraNode NEVRA_NODE_memory_pmem_volumes_regionStore_info;    /* volume: PMemRegionStoreRecord */
extern const NevraNode NEVRA_NODE_memory_pmem_volumes_regionStore_isClean; /* volume: PMemCleanRecord */
extern const NevraNode NEVRA_NODE_memory_pmem_volumes_regionStore_regions; /* list: volume -> region names */
extern const NevraNode NEVRA_NODE_memory_pmem_volumes_regionStore_regions_info; /* volume, region:
                                                                                   PMemRegionRecord */
extern const NevraNode NEVRA_NODE_memory_pmem_volumes_regionStore_regions_numaAllocInfo;
/* volume, region, NUMA node: PMemRegionNumaRecord; list: volume, region -> NUMA nodes */

/* Hardware. */
extern const NevraNode NEVRA_NODE_hardware_cpu_cpuList;           /* CPU number: CpuInfoRecord */
extern const NevraNode NEVRA_NODE_hardware_nvd_dimm;              /* list: no key -> DIMM handles */
extern const NevraNode NEVRA_NODE_hardware_pci_seg;               /* list: no key -> segments */
extern const NevraNode NEVRA_NODE_hardware_pci_seg_bus;           /* list: segment -> buses */
extern const NevraNode NEVRA_NODE_hardware_pci_seg_bus_slot;      /* list: segment, bus -> slots */
extern const NevraNode NEVRA_NODE_hardware_pci_seg_bus_slot_func; /* list: segment, bus, slot -> functions */
extern const NevraNode NEVRA_NODE_hardware_pci_seg_bus_slot_func_pciConfigHeader;
/* segment, bus, slot, function: PciConfigHeaderRecord */
extern const NevraNode NEVRA_NODE_hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr;
/* segment, bus, slot, function, size in bytes, register: PciConfigRegRecord; can be set */

/*
 * Parameter lists.
 */

/* Makes an empty list with room for `capacity` entries; it grows when more are added. Null for an unknown
   kind or when memory is short. The caller owns the list. */
Nevra_ParamList *Nevra_ParamListCreate(int kind, uint32_t capacity);

/* As Nevra_ParamListCreate, with the storage for the texts of its entries reserved at once: the list that
   Nevra_GetInstanceList fills. It never takes more than `capacity` entries. */
Nevra_ParamList *Nevra_ParamListCreateAndAllocateParams(int kind, uint32_t capacity, size_t storageBytes);

/* Append an entry; a text is copied. "Limit exceeded" when the list is full, "Bad parameter" for null. */
NevraStatus Nevra_ParamListAddInt(Nevra_ParamList *list, int64_t value);
NevraStatus Nevra_ParamListAddString(Nevra_ParamList *list, const char *text);

/* Removes the last entry; "Not found" when there is none. */
NevraStatus Nevra_ParamListRemoveLastParam(Nevra_ParamList *list);

/* Frees a list and its entries. Null is ignored. */
void Nevra_ParamListDestroy(Nevra_ParamList *list);

/* The number of entries in use (not a status). */
uint32_t Nevra_ParamListUsedCount(const Nevra_ParamList *list);

/* The entry at `index`: "Not found" past the end, "Bad parameter" for an entry of another type or an integer
   that the asked width cannot hold. A text is owned by the list and lives as long as it. */
NevraStatus Nevra_ParamListGetInt64(const Nevra_ParamList *list, uint32_t index, int64_t *value);
NevraStatus Nevra_ParamListGetInt32(const Nevra_ParamList *list, uint32_t index, int32_t *value);
NevraStatus Nevra_ParamListGetUInt32(const Nevra_ParamList *list, uint32_t index, uint32_t *value);
NevraStatus Nevra_ParamListGetString(const Nevra_ParamList *list, uint32_t index, const char **text);

/* The entry itself, owned by the list, or null past the end. */
const Nevra_Param *Nevra_ParamListGetParam(const Nevra_ParamList *list, uint32_t index);

/* The integer value of an entry; 0 for a text. */
int64_t Nevra_ParamGetInt(const Nevra_Param *param);

/*
 * Nodes. "Not found" is the answer for an instance that does not exist, "Bad parameter" for parameters or a
 * record size that are not the node's. The lists given are never kept.
 */

/* Fills `record` with the addressed instance. A node without keys takes an empty list or null. */
NevraStatus Nevra_Get(NevraNode node, const Nevra_ParamList *params, void *record, size_t recordSize);

/* Writes the values to the addressed instance. The reserved arguments are 0. */
NevraStatus Nevra_Set(NevraNode node, const Nevra_ParamList *instance, const Nevra_ParamList *values,
                      int reserved1, int reserved2);

/* Lists the instances into the caller's list, as many as it holds. */
NevraStatus Nevra_GetInstanceList(NevraNode node, const Nevra_ParamList *params, Nevra_ParamList *list);

/* Lists the instances into a list that the caller then owns. `*list` is left untouched on failure. */
NevraStatus Nevra_GetInstanceListAlloc(NevraNode node, const Nevra_ParamList *params, Nevra_ParamList **list);

/* The same, sized at first for `expectedCount` instances. */
NevraStatus Nevra_GetInstanceListAllocHint(NevraNode node, const Nevra_ParamList *params,
                                           uint32_t expectedCount, Nevra_ParamList **list);

/* From here on every read of the process is answered from the snapshot file at `path`. `flags` is 0. */
NevraStatus Nevra_UseCache(const char *path, int flags);

/* 0 when the node definitions of this library are those of the kernel that answers; otherwise the buffer gets
   the kernel's build text and `*appBuild` this library's own (owned by the library). */
NevraStatus Nevra_CheckSig(char *kernelBuild, size_t kernelBuildSize, const char **appBuild);

/*
 * Diagnostics and text.
 */

/* Writes one message to standard error, in one write. This project's library writes '?' for every byte that
   could steer a terminal, newlines that are not at an end of the format included. */
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
void Warning(const char *format, ...);

/* Copies at most size - 1 characters and always terminates. Returns `destination`. */
char *Str_Strcpy(char *destination, const char *source, size_t size);

#ifdef __cplusplus
}
#endif

#endif
