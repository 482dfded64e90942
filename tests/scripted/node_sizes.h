// Every node by its identifier, with the size of its record in bytes; 0 for a node that is only listed.
//
// The scripted platform's own idea of the node tree, stated apart from the library's definitions on purpose:
// a tool that reads with a wrong record size is noticed, and so is a definition that drifts.
#ifndef TESTS_SCRIPTED_NODE_SIZES_H
#define TESTS_SCRIPTED_NODE_SIZES_H

#define SCRIPTED_NODES(NODE)                                                                                 \
   NODE(sched_groups_members_groups, 0)                                                                      \
   NODE(sched_groups_members_memClients, 0)                                                                  \
   NODE(sched_groups_groupName, 64)                                                                          \
   NODE(sched_groups_groupTag, 8)                                                                            \
   NODE(sched_groups_parentGroupID, 8)                                                                       \
   NODE(sched_groups_groupFlags, 4)                                                                          \
   NODE(sched_groups_groupLeaderID, 4)                                                                       \
   NODE(sched_groups_memAllocationInKB, 36)                                                                  \
   NODE(sched_groups_stats_capacity, 24)                                                                     \
   NODE(sched_groups_stats_memoryStats, 320)                                                                 \
   NODE(sched_memClients_kelmar_totalCommon, 264)                                                            \
   NODE(sched_memClients_kelmar_vmm, 336)                                                                    \
   NODE(sched_memClients_kelmar_uw, 360)                                                                     \
   NODE(sched_memClients_kelmar_guest, 48)                                                                   \
   NODE(sched_memClients_swapInfo, 220)                                                                      \
   NODE(sched_memClients_memzipInfo, 136)                                                                    \
   NODE(sched_memClients_remapTypes, 80)                                                                     \
   NODE(worldGroups_vmmLeaderID, 4)                                                                          \
   NODE(vm_vmmGroupInfo, 3268)                                                                               \
   NODE(memory_comprehensive, 88)                                                                            \
   NODE(memory_memInfo, 48)                                                                                  \
   NODE(memory_memNodes, 28)                                                                                 \
   NODE(memory_pshare_stats, 208)                                                                            \
   NODE(memory_lpage_vmLPage, 200)                                                                           \
   NODE(memory_lpage_nodeList_psharePool, 96)                                                                \
   NODE(memory_lpage_nodeList_vmPools, 96)                                                                   \
   NODE(sched_globalStats_memory_kelmar, 352)                                                                \
   NODE(sched_globalStats_memory_stateTransitions, 32)                                                       \
   NODE(sched_globalStats_numVMs, 4)                                                                         \
   NODE(system_buddy, 0)                                                                                     \
   NODE(system_buddy_comprehensive, 236)                                                                     \
   NODE(system_heaps, 0)                                                                                     \
   NODE(system_heaps_stats, 148)                                                                             \
   NODE(memory_pmem_volumes, 0)                                                                              \
   NODE(memory_pmem_volumes_info, 40)                                                                        \
   NODE(memory_pmem_volumes_extents, 40)                                                                     \
   NODE(memory_pmem_volumes_regionStore_info, 52)                                                            \
   NODE(memory_pmem_volumes_regionStore_isClean, 1)                                                          \
   NODE(memory_pmem_volumes_regionStore_regions, 0)                                                          \
   NODE(memory_pmem_volumes_regionStore_regions_info, 84)                                                    \
   NODE(memory_pmem_volumes_regionStore_regions_numaAllocInfo, 12)                                           \
   NODE(hardware_cpu_cpuList, 228)                                                                           \
   NODE(hardware_nvd_dimm, 0)                                                                                \
   NODE(hardware_pci_seg, 0)                                                                                 \
   NODE(hardware_pci_seg_bus, 0)                                                                             \
   NODE(hardware_pci_seg_bus_slot, 0)                                                                        \
   NODE(hardware_pci_seg_bus_slot_func, 0)                                                                   \
   NODE(hardware_pci_seg_bus_slot_func_pciConfigHeader, 164)                                                 \
   NODE(hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr, 4)

#endif
