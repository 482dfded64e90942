// Tests of hostmem against a scripted platform.
//
// A Scenario says how the platform answers; RunHostmem runs the real executable on it as a process of its own
// and returns everything that it did: both outputs, the exit status, and the trace of all platform calls.
//
//    Scenario scenario;
//    scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED).Children({1});
//    scenario.Group(1).Name("vm.1").Parent(0).Flags(GROUP_VM).Alloc({.min = 5, .max = -1});
//    scenario.Record(NodeId::memory_memInfo, {}, MemInfoRecord{.numMemNodes = 2});
//    scenario.List(NodeId::system_heaps, {}, {"main", "net"});
//    scenario.FailRead(NodeId::system_heaps_stats, {"net"}, 0xbad0007);
//    scenario.Fail("Nevra_ParamListAddInt", 3, 0xbad0014);   // the third call
//    RunResult run = RunHostmem(scenario, {"-r", "heap-stats", "-q"});
//    EXPECT_EQ(run.out, "...");
//    EXPECT_THAT(run, RanCleanly());                          // no leak, no misuse, no crash
//
// An instance that no statement mentions does not exist: reads and listings of it are "Not found", and their
// trace line ends in "unscripted". A second answer for the same instance (ThenRecord, ThenList, ...) is given
// to the second read, and so on; the last answer is repeated.
//
// Trace lines look like this; "#1" is a list, named by the lowest number that no living list has, so that
// the same read looks the same wherever it happens. trace_lines.h builds the usual sequences.
//
//    Nevra_ParamListCreate(1, 2) = #1              (or "= null")
//    Nevra_ParamListAddInt(#1, 5) = 0
//    Nevra_Get(sched_groups_groupName, #1 [5], 64) = 0xbad0003
//    Nevra_ParamListRemoveLastParam(#1) = 0
//    Nevra_ParamListDestroy(#1)
//    Nevra_GetInstanceListAlloc(sched_groups_members_groups, #1 [0]) = 0 #2 [1, 4]
//    Nevra_ParamListUsedCount(#2) = 2
//    Nevra_ParamListGetInt64(#2, 0) = 0 1
//    Nevra_ParamListGetString(#2, 0) = 0 "text"
//    Warning("text\n")
//    sleep(5)
//
// Lines that begin with "!! " report a misuse of the platform: a list used or destroyed after its
// destruction, a null list, a wrong record size, an entry past the end or of another type, a leaked list.
#ifndef TESTS_SCRIPTED_SCENARIO_H
#define TESTS_SCRIPTED_SCENARIO_H

#include <chrono>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/definitions.h"
#include "nevra/nevra.h"
#include "nevra/records.h"
#include "report/flag_filter.h"

namespace scripted {

using nevra::NodeId;

// One key of an instance: an integer or a text.
class Key {
 public:
   template <std::integral Integer>
   Key(Integer value) : word('i' + std::to_string(static_cast<int64_t>(value)))
   {
   }
   Key(std::string_view text);
   Key(const std::string &text) : Key(std::string_view(text)) {}
   Key(const char *text) : Key(std::string_view(text)) {}

   const std::string &Word() const { return word; } // as the script file has it

 private:
   std::string word;
};

using Keys = std::vector<Key>;

// Makes a record's text field: at most the field's size, not terminated when it fills it.
template <size_t Size> void SetText(char (&field)[Size], std::string_view text)
{
   std::memset(field, 0, Size);
   std::memcpy(field, text.data(), text.size() < Size ? text.size() : Size);
}

class GroupScript;

class Scenario {
 public:
   // ---- records: the answers to Nevra_Get

   template <typename RecordType>
   requires std::is_trivially_copyable_v<RecordType> Scenario &Record(NodeId node, const Keys &keys,
                                                                      const RecordType &record)
   {
      return RecordBytes(node, keys, {reinterpret_cast<const char *>(&record), sizeof record});
   }
   template <typename RecordType>
   requires std::is_trivially_copyable_v<RecordType> Scenario &ThenRecord(NodeId node, const Keys &keys,
                                                                          const RecordType &record)
   {
      return ThenRecordBytes(node, keys, {reinterpret_cast<const char *>(&record), sizeof record});
   }
   Scenario &RecordBytes(NodeId node, const Keys &keys, std::string_view bytes);
   Scenario &ThenRecordBytes(NodeId node, const Keys &keys, std::string_view bytes);
   Scenario &FailRead(NodeId node, const Keys &keys, NevraStatus status);
   Scenario &ThenFailRead(NodeId node, const Keys &keys, NevraStatus status);

   // ---- listings: the answers to all three listing operations

   Scenario &List(NodeId node, const Keys &keys, const Keys &instances);
   Scenario &ThenList(NodeId node, const Keys &keys, const Keys &instances);
   Scenario &FailList(NodeId node, const Keys &keys, NevraStatus status);
   Scenario &ThenFailList(NodeId node, const Keys &keys, NevraStatus status);

   // ---- scheduler groups

   // A group with every record in place: no name, no tag, parent -1, no flags, all figures 0, no children.
   // Called again for the same group, it continues with that group.
   GroupScript Group(int64_t groupID);

   // ---- single faults

   // The call-th call (from 1) of an operation fails with the status; a create, or a get of an entry as such,
   // gives null instead. With NEVRA_OK a read, a listing or a get reports success but returns nothing: the
   // record, the list or the entry is left as it was.
   Scenario &Fail(std::string_view operation, unsigned call, NevraStatus status = NEVRA_FAILURE);

   // ---- the rest

   // Instances that no other statement mentions answer at random: any bytes, short listings, some failures;
   // the same for the same seed. For runs that only check that the tool survives any answer.
   Scenario &AnswerAtRandom(uint64_t seed);

   Scenario &SignatureMismatch(NevraStatus status, std::string_view kernelBuild, std::string_view appBuild);
   Scenario &CacheStatus(NevraStatus status);
   Scenario &Time(int64_t seconds); // since the epoch, UTC; kScriptedTimeText without this

   // The text of the script file.
   std::string Text() const;

 private:
   friend class GroupScript;

   Scenario &Answer(const char *statement, NodeId node, const Keys &keys, const std::string &answer,
                    bool further);

   std::map<std::string, std::vector<std::string>> answers; // by statement, node and keys
   std::vector<std::string> statements;                     // all others
   std::vector<int64_t> groups;
};

// What the clock shows when a scenario does not say otherwise, as ctime formats it, without the newline.
inline constexpr int64_t kScriptedTime = 1700000000;
inline constexpr char kScriptedTimeText[] = "Tue Nov 14 22:13:20 2023";

// One group of a scenario. A handle: the scenario must outlive it.
class GroupScript {
 public:
   GroupScript(Scenario *owner, int64_t id) : scenario(owner), groupID(id) {}

   GroupScript &Name(std::string_view name);
   GroupScript &Tag(std::string_view tag);
   GroupScript &Parent(int64_t parentID);
   GroupScript &Flags(uint32_t flags);
   GroupScript &Alloc(const GroupAllocRecord &alloc);
   GroupScript &Capacity(const GroupCapacityRecord &capacity);
   GroupScript &MemoryStats(const GroupMemoryStatsRecord &stats);
   GroupScript &Children(const Keys &childIDs);
   GroupScript &Leader(uint32_t leaderID);                          // group -> its leader world
   GroupScript &VmmLeader(uint32_t leaderID, uint32_t vmmLeaderID); // Leader, and leader -> VMM leader
   GroupScript &MemClients(const Keys &clientIDs);
   GroupScript &FailRead(NodeId node, NevraStatus status); // of a node keyed by the group
   GroupScript &FailChildren(NevraStatus status);

 private:
   Scenario *scenario;
   int64_t groupID;
};

// A record whose fields all differ: field k (from 0, structures' fields in turn) holds start + k times step,
// cut to its width; a text holds its field's name. Bytes that no report reads are 0xee.
void FillRecord(const nevra::RecordLayout &layout, void *record, uint64_t start, uint64_t step);
template <typename RecordType> RecordType FilledRecord(NodeId node, uint64_t start = 1, uint64_t step = 1)
{
   RecordType record;
   EXPECT_EQ(nevra::Definition(node).record->size, sizeof record);
   FillRecord(*nevra::Definition(node).record, &record, start, step);
   return record;
}

// ---- running

// How the scripted platform takes the place of the library.
enum class Interposition { LibraryPath, Preload };

struct RunOptions {
   Interposition interposition = Interposition::LibraryPath;
   std::chrono::milliseconds timeout{20000};
   std::string workingDirectory;         // empty: the test's own
   std::vector<std::string> environment; // "NAME=value" besides the usual
   std::string program;                  // argv[0]; empty: the path of what is run
   std::string executable;               // another program that uses the platform; empty: hostmem
   int standardOutput = -1;              // a descriptor to write to; -1: a pipe, whose text is gathered
   std::vector<int> closedStreams;       // standard streams that are not open
};

struct RunResult {
   std::string out; // standard output
   std::string err; // standard error
   int exitStatus = -1;
   int signal = 0; // that ended the process; 0 for none
   bool timedOut = false;
   bool traceEnded = false;         // the process came to its end in an orderly way
   std::vector<std::string> trace;  // without the misuse lines and the end
   std::vector<std::string> misuse; // leaks included
   int leaks = 0;                   // lists never destroyed
   std::vector<std::string> arguments;

   std::vector<std::string> OutLines() const;
   std::vector<std::string> ErrLines() const;
   // The trace lines of the named operations, of node reads and listings by default.
   std::vector<std::string> Calls(const std::vector<std::string> &operations = {
                                     "Nevra_Get", "Nevra_Set", "Nevra_GetInstanceList",
                                     "Nevra_GetInstanceListAlloc", "Nevra_GetInstanceListAllocHint"}) const;
   // How often an operation was called.
   unsigned Count(std::string_view operation) const;
};

// Runs hostmem with these arguments on the scenario.
RunResult RunHostmem(const Scenario &scenario, const std::vector<std::string> &arguments,
                     const RunOptions &options = {});

// Every list freed, nothing misused, no crash, exit status 0 or 1.
MATCHER(RanCleanly, "ran cleanly")
{
   *result_listener << "exit status " << arg.exitStatus << ", signal " << arg.signal << ", standard error:\n"
                    << arg.err;
   for (const std::string &line : arg.misuse) {
      *result_listener << line << '\n';
   }
   return arg.misuse.empty() && arg.signal == 0 && !arg.timedOut && arg.traceEnded &&
          (arg.exitStatus == 0 || arg.exitStatus == 1);
}

std::vector<std::string> SplitLines(std::string_view text);
std::string JoinLines(const std::vector<std::string> &lines);

// ---- fault injection

// One call that is made to fail.
struct Fault {
   std::string operation;
   unsigned call;      // the number of the call, from 1
   NevraStatus status; // NEVRA_FAILURE for operations that give null instead
   size_t traceIndex;  // of the call in the clean run's trace
   std::string line;   // that line

   // Whether the failing call was about this node.
   bool Concerns(NodeId node) const;
};

// What a faulty run is expected to show; what is not set is not compared.
struct ExpectedFault {
   std::optional<int> exitStatus;
   std::optional<std::string> err;
   std::optional<std::string> out;
};

// The statuses with which each call is made to fail. Under the address sanitizer, where a process takes
// fifteen times as long to start, each call fails with only one, in turn "Not found", which several reads
// ignore, and one that none ignores.
#ifdef __SANITIZE_ADDRESS__
inline const std::vector<NevraStatus> kFaultStatuses = {0xbad0003, 0xbad0007};
inline constexpr bool kAreFaultsSampled = true;
#else
inline const std::vector<NevraStatus> kFaultStatuses = {0xbad0001, 0xbad0003, 0xbad0007, 0xbad0014,
                                                        0xbad0031};
inline constexpr bool kAreFaultsSampled = false;
#endif
inline const unsigned kFaultsPerCall = kAreFaultsSampled ? 1 : static_cast<unsigned>(kFaultStatuses.size());

// The operations that are made to fail. GetParam and the creates give null.
inline const std::vector<std::string> kFallibleOperations = {"Nevra_ParamListCreate",
                                                             "Nevra_ParamListCreateAndAllocateParams",
                                                             "Nevra_ParamListAddInt",
                                                             "Nevra_ParamListAddString",
                                                             "Nevra_ParamListRemoveLastParam",
                                                             "Nevra_ParamListGetInt64",
                                                             "Nevra_ParamListGetInt32",
                                                             "Nevra_ParamListGetUInt32",
                                                             "Nevra_ParamListGetString",
                                                             "Nevra_ParamListGetParam",
                                                             "Nevra_Get",
                                                             "Nevra_Set",
                                                             "Nevra_GetInstanceList",
                                                             "Nevra_GetInstanceListAlloc",
                                                             "Nevra_GetInstanceListAllocHint"};

// Runs the scenario once without a fault, then once for each call of that run that can fail and each status
// (or one status in turn), with that call failing. Checks that every run is clean, that all calls before the
// fault are those of the first run, and what `expect` asks for, if given.
// Returns the number of faulty runs: one for each call that gives null, kFaultsPerCall for each other.
unsigned CheckEveryFault(const Scenario &scenario, const std::vector<std::string> &arguments,
                         const std::function<ExpectedFault(const Fault &)> &expect = nullptr,
                         const RunOptions &options = {});

} // namespace scripted

#endif
