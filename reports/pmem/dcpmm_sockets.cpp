#include "reports/pmem/dcpmm_sockets.h"

#include <cstdio>

#include "nevra/records.h"
#include "sysinfo/param_list.h"

namespace {

// A level of the PCI tree: the node that lists it, and what its messages say.
struct PciLevel {
   const NevraNode *node;
   const char *nodeName;
   const char *name;
   const char *listName;
};

constexpr uint32_t kLevelCount = 4;
constexpr PciLevel levels[kLevelCount] = {
   {&NEVRA_NODE_hardware_pci_seg, "NEVRA_NODE_hardware_pci_seg", "segment", "segList"},
   {&NEVRA_NODE_hardware_pci_seg_bus, "NEVRA_NODE_hardware_pci_seg_bus", "bus", "busList"},
   {&NEVRA_NODE_hardware_pci_seg_bus_slot, "NEVRA_NODE_hardware_pci_seg_bus_slot", "slot", "slotList"},
   {&NEVRA_NODE_hardware_pci_seg_bus_slot_func, "NEVRA_NODE_hardware_pci_seg_bus_slot_func", "func",
    "funcList"},
};

struct PciWalk {
   ParamListPtr address;         // segment, bus, slot, function: as many as there are levels above
   int64_t numbers[kLevelCount]; // the same
   std::vector<DcpmmSocket> *sockets;
};

// The first memory channel of a socket's first controller stands for the socket.
bool IsSocketDevice(int64_t slot, int64_t function, const PciConfigHeaderRecord &header)
{
   return slot == 10 && function == 2 && header.deviceID == 0x2042 && header.vendorID == 0x8086;
}

NevraStatus VisitFunction(PciWalk *walk)
{
   PciConfigHeaderRecord header = {};
   const NevraStatus status = Nevra_Get(NEVRA_NODE_hardware_pci_seg_bus_slot_func_pciConfigHeader,
                                        walk->address.get(), &header, sizeof header);
   if (status != NEVRA_OK) {
      std::printf("DCPMM Profiler Info: NEVRA_NODE_hardware_pci_seg_bus_slot_func_pciConfigHeader, Unable to "
                  "get pciConfiHeader");
      return status;
   }
   const int64_t *numbers = walk->numbers;
   if (IsSocketDevice(numbers[2], numbers[3], header)) {
      walk->sockets->push_back({numbers[0], numbers[1]});
   }
   return NEVRA_OK;
}

// The list of a level's instances; the first level has no address above it.
NevraStatus ListLevel(uint32_t depth, const PciWalk &walk, ParamListPtr *instances)
{
   const NevraStatus status =
      ListInstances(*levels[depth].node, depth == 0 ? nullptr : walk.address.get(), instances);
   if (status != NEVRA_OK) {
      std::printf("DCPMM Profiler Info: %s Failure", levels[depth].nodeName);
   }
   return status;
}

// Puts the number at `index` of the level's list into the address.
NevraStatus EnterInstance(uint32_t depth, const Nevra_ParamList *instances, uint32_t index, PciWalk *walk)
{
   const PciLevel &level = levels[depth];
   const Nevra_Param *param = Nevra_ParamListGetParam(instances, index);
   if (param == nullptr) {
      std::printf("DCPMM Profiler Info: %s, Unable to get %s param from %s", level.nodeName, level.name,
                  level.listName);
      return NEVRA_FAILURE;
   }
   walk->numbers[depth] = Nevra_ParamGetInt(param);
   const NevraStatus status = Nevra_ParamListAddInt(walk->address.get(), walk->numbers[depth]);
   if (status != NEVRA_OK) {
      std::printf("DCPMM Profiler Info: %s, Unable to add %s to paramList", level.nodeName, level.name);
   }
   return status;
}

NevraStatus LeaveInstance(uint32_t depth, PciWalk *walk)
{
   const NevraStatus status = Nevra_ParamListRemoveLastParam(walk->address.get());
   if (status != NEVRA_OK) {
      std::printf("DCPMM Profiler Info: %s, Unable to remove %s from paramList", levels[depth].nodeName,
                  levels[depth].name);
   }
   return status;
}

// Visits everything below the address, depth first.
NevraStatus WalkLevel(uint32_t depth, PciWalk *walk)
{
   if (depth == kLevelCount) {
      return VisitFunction(walk);
   }
   ParamListPtr instances;
   NevraStatus status = ListLevel(depth, *walk, &instances);
   if (status != NEVRA_OK) {
      return status;
   }
   const uint32_t count = Nevra_ParamListUsedCount(instances.get());
   for (uint32_t i = 0; i < count && status == NEVRA_OK; i++) {
      status = EnterInstance(depth, instances.get(), i, walk);
      if (status == NEVRA_OK) {
         status = WalkLevel(depth + 1, walk);
      }
      if (status == NEVRA_OK) {
         status = LeaveInstance(depth, walk);
      }
   }
   return status;
}

} // namespace

NevraStatus FindDcpmmSockets(std::vector<DcpmmSocket> *sockets)
{
   PciWalk walk = {CreateParamList(kLevelCount), {}, sockets};
   if (walk.address == nullptr) {
      std::printf("DCPMM Profiler Info: Nevra_ParamListCreate Failure");
      return NEVRA_OUT_OF_MEMORY;
   }
   return WalkLevel(0, &walk);
}
