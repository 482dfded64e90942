// Typed queries of one scheduler group or one memory client.
//
// Each reads one node instance keyed by a single integer into the caller's record and returns the platform's
// status. Failures are reported here, under the query's name; "Not found" is passed on without a message
// where it is an expected answer.
#ifndef REPORT_GROUP_QUERIES_H
#define REPORT_GROUP_QUERIES_H

#include <cstddef>
#include <cstdint>

#include "nevra/nevra.h"
#include "nevra/records.h"

// The one-key read behind the group queries. "Failure" when no parameter list can be made; the status of the
// read comes back without a message.
NevraStatus GroupNodeGet(uint64_t groupID, NevraNode node, void *record, size_t recordSize);

// The same for memory-client nodes; differs in its messages.
NevraStatus MemClientNodeGet(int64_t clientID, NevraNode node, void *record, size_t recordSize);

// The same for the statistics of a memory client: a failure is reported under the operation's name, but for
// "Not found".
NevraStatus MemClientStatsGet(int64_t clientID, NevraNode node, const char *operation, void *record,
                              size_t recordSize);

// Texts come back terminated whatever the platform answered. Every failure is reported.
NevraStatus Kelmar_GroupGetName(uint64_t groupID, GroupNameRecord *name);
NevraStatus Kelmar_GroupGetTag(uint64_t groupID, GroupTagRecord *tag);

// Silent about "Not found".
NevraStatus Kelmar_GroupGetParentID(uint64_t groupID, int64_t *parentID);

// Silent about "Not found" and "Not initialized".
NevraStatus Kelmar_GroupGetFlags(uint64_t groupID, uint32_t *flags);

// The leader world's ID, zeroed first. Only VM and user-world groups have a leader: any other group gives
// "Bad parameter" without a message. Every failure of the leader's read is reported.
NevraStatus Kelmar_GroupGetGroupLeaderID(uint64_t groupID, uint32_t *leaderID);

// Silent about "Not found".
NevraStatus Kelmar_GroupGetAlloc(uint64_t groupID, GroupAllocRecord *alloc);
NevraStatus KelmarGroupGetMemoryStats(uint64_t groupID, GroupMemoryStatsRecord *stats);
NevraStatus Kelmar_MemClientGetTotalCommonStats(uint32_t clientID, TotalCommonStatsRecord *stats);
NevraStatus Kelmar_GetVmmLeaderID(uint32_t groupLeaderID, uint32_t *vmmLeaderID);

// The allocation of a VM, KB and shares: min and max are the VMM sub-container's, shares and minLimit those
// of the VM group itself. "Not found", silently, when the VM has no VMM sub-container.
struct VmmAlloc {
   int64_t min;
   int64_t max;
   int64_t shares;
   int64_t minLimit;
};

NevraStatus Kelmar_GroupGetVMMAlloc(uint64_t vmGroupID, VmmAlloc *alloc);

#endif
