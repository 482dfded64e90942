// Runs one group query, or a walk of the group tree, on the platform that the linker finds, and prints what
// came of it: query_program QUERY ID, or query_program walk START LEVELS CSV [GROUP STATUS]... with the
// statuses that the visit returns.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "report/group_queries.h"
#include "report/group_tree.h"

namespace {

using Verdicts = std::map<uint64_t, NevraStatus>;

NevraStatus Visit(uint64_t groupID, uint32_t childCount, uint8_t csvMode, void *context)
{
   std::printf("visit %" PRIu64 " %u %u\n", groupID, childCount, csvMode);
   const Verdicts &verdicts = *static_cast<Verdicts *>(context);
   const auto verdict = verdicts.find(groupID);
   return verdict != verdicts.end() ? verdict->second : NEVRA_OK;
}

NevraStatus Walk(int argc, char **argv)
{
   Verdicts verdicts;
   for (int i = 5; i + 1 < argc; i += 2) {
      verdicts[std::strtoull(argv[i], nullptr, 10)] =
         static_cast<NevraStatus>(std::strtoul(argv[i + 1], nullptr, 0));
   }
   return TraverseGroups(std::strtoull(argv[2], nullptr, 10),
                         static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10)),
                         static_cast<uint8_t>(std::strtoul(argv[4], nullptr, 10)), Visit, &verdicts);
}

NevraStatus Query(const std::string &query, int64_t id)
{
   const uint64_t groupID = static_cast<uint64_t>(id);
   NevraStatus status = NEVRA_OK;
   if (query == "name") {
      GroupNameRecord record;
      status = Kelmar_GroupGetName(groupID, &record);
      if (status == NEVRA_OK) {
         std::printf("%s\n", record.name);
      }
   } else if (query == "tag") {
      GroupTagRecord record;
      status = Kelmar_GroupGetTag(groupID, &record);
      if (status == NEVRA_OK) {
         std::printf("%s\n", record.tag);
      }
   } else if (query == "parent") {
      int64_t parentID = 0;
      status = Kelmar_GroupGetParentID(groupID, &parentID);
      std::printf("%" PRId64 "\n", parentID);
   } else if (query == "flags") {
      uint32_t flags = 0;
      status = Kelmar_GroupGetFlags(groupID, &flags);
      std::printf("%#x\n", flags);
   } else if (query == "leader") {
      uint32_t leaderID = 77;
      status = Kelmar_GroupGetGroupLeaderID(groupID, &leaderID);
      std::printf("%u\n", leaderID);
   } else if (query == "alloc") {
      GroupAllocRecord alloc = {};
      status = Kelmar_GroupGetAlloc(groupID, &alloc);
      std::printf("%" PRId64 " %" PRId64 " %" PRId64 " %" PRId64 "\n", int64_t{alloc.min}, int64_t{alloc.max},
                  int64_t{alloc.shares}, int64_t{alloc.minLimit});
   } else if (query == "memoryStats") {
      GroupMemoryStatsRecord stats = {};
      status = KelmarGroupGetMemoryStats(groupID, &stats);
      std::printf("%" PRIu64 "\n", uint64_t{stats.consumed});
   } else if (query == "totalCommon") {
      TotalCommonStatsRecord stats = {};
      status = Kelmar_MemClientGetTotalCommonStats(static_cast<uint32_t>(id), &stats);
   } else if (query == "vmmLeader") {
      uint32_t leaderID = 0;
      status = Kelmar_GetVmmLeaderID(static_cast<uint32_t>(id), &leaderID);
      std::printf("%u\n", leaderID);
   } else if (query == "vmmAlloc") {
      VmmAlloc alloc = {};
      status = Kelmar_GroupGetVMMAlloc(groupID, &alloc);
      std::printf("%" PRId64 " %" PRId64 " %" PRId64 " %" PRId64 "\n", alloc.min, alloc.max, alloc.shares,
                  alloc.minLimit);
   } else if (query == "memClient") {
      UwStatsRecord stats;
      status = MemClientNodeGet(id, NEVRA_NODE_sched_memClients_kelmar_uw, &stats, sizeof stats);
   } else if (query == "group") {
      GroupCapacityRecord capacity;
      status = GroupNodeGet(groupID, NEVRA_NODE_sched_groups_stats_capacity, &capacity, sizeof capacity);
   } else {
      std::printf("no such query\n");
   }
   return status;
}

} // namespace

int main(int argc, char **argv)
{
   if (argc < 3) {
      return 2;
   }
   const std::string query = argv[1];
   const NevraStatus status =
      query == "walk" ? Walk(argc, argv) : Query(query, std::strtoll(argv[2], nullptr, 10));
   std::printf("status %#x\n", status);
   return 0;
}
