#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/records.h"
#include "tests/nevra/snapshot/small_tree.h"
#include "tests/snapshot-tool/json_kit.h"

using nevra::Definition;
using nevra::NodeId;

namespace {

std::string Problem(const std::string &json)
{
   std::vector<uint8_t> snapshot;
   return Import(json, &snapshot);
}

// The problem of one node's content.
std::string NodeProblem(const std::string &node, const std::string &content)
{
   return Problem("{\"nodes\": {\"" + node + "\": {" + content + "}}}");
}

std::string RecordProblem(const std::string &node, const std::string &fields)
{
   return NodeProblem(node, "\"records\": [{" + fields + "}]");
}

constexpr char kName[] = "sched/groups/groupName";
constexpr char kAlloc[] = "sched/groups/memAllocationInKB";
constexpr char kChildren[] = "sched/groups/members/groups";

TEST(Export, IsReadable)
{
   nevra::SnapshotTree tree;
   tree.signature = "0123456789abcdef0123456789abcdef";
   tree.kernelBuild = "build 17";
   tree.host = "elm";
   tree.captured = 1700000000;
   GroupNameRecord name = {};
   std::strcpy(name.name, "host");
   const uint64_t group = 0;
   AddRecord(&tree, Definition(NodeId::sched_groups_groupName), {&group, 1}, &name);
   const uint64_t other = 5;
   AddFailure(&tree, Definition(NodeId::sched_groups_groupName), {&other, 1}, NEVRA_FAILURE);
   const uint64_t children[] = {2, 1};
   AddList(&tree, Definition(NodeId::sched_groups_members_groups), {&group, 1}, children);
   NumVMsRecord vms = {3};
   AddRecord(&tree, Definition(NodeId::sched_globalStats_numVMs), {}, &vms);
   BuddyComprehensiveInfo buddy = {};
   buddy.orders[1].numFree = 7;
   buddy.reserved0[1] = 0xab;
   const uint64_t low = InternText(&tree, "memmap-00-lo");
   AddRecord(&tree, Definition(NodeId::system_buddy_comprehensive), {&low, 1}, &buddy);
   AddListFailure(&tree, Definition(NodeId::system_heaps), {}, NEVRA_NOT_FOUND);
   nevra::SnapshotImage image;
   std::string problem;
   ASSERT_TRUE(MakeSnapshotImage(&tree, &image, &problem));
   EXPECT_EQ(Export(BytesOfImage(image)), R"({
  "definitionSignature": "0123456789abcdef0123456789abcdef",
  "kernelBuild": "build 17",
  "host": "elm",
  "captured": "2023-11-14T22:13:20Z",
  "nodes": {
    "sched/groups/members/groups": {
      "lists": [
        {"keys":[0],"instances":[2,1]}
      ]
    },
    "sched/groups/groupName": {
      "records": [
        {"keys":[0],"name":"host"}
      ],
      "failures": [
        {"keys":[5],"status":"0xbad0001"}
      ]
    },
    "sched/globalStats/numVMs": {
      "records": [
        {"numVMs":3}
      ]
    },
    "system/buddy/comprehensive": {
      "records": [
        {"keys":["memmap-00-lo"],"reserved0":"00ab","orders":[{},{"numFree":7}]}
      ]
    },
    "system/heaps": {
      "listFailures": [
        {"status":"0xbad0003"}
      ]
    }
  }
}
)");
}

TEST(Import, OfAnExportGivesTheSameBytes)
{
   std::vector<uint8_t> snapshot;
   ASSERT_EQ(Import(Export(SmallSnapshot()), &snapshot), "");
   EXPECT_EQ(snapshot, SmallSnapshot());
}

TEST(Import, TextsThatAreNoUtf8OrHaveNoEndComeBack)
{
   nevra::SnapshotTree tree;
   tree.signature = nevra::DefinitionSignature();
   tree.host = "h\xffst";
   HeapStatsRecord heap = {};
   std::memset(heap.name, 'x', sizeof heap.name);
   uint64_t key = InternText(&tree, "unterminated");
   AddRecord(&tree, Definition(NodeId::system_heaps_stats), {&key, 1}, &heap);
   std::strcpy(heap.name, "end");
   key = InternText(&tree, "\xc3(");
   AddRecord(&tree, Definition(NodeId::system_heaps_stats), {&key, 1}, &heap);
   std::memset(heap.name, 0, sizeof heap.name);
   std::strcpy(heap.name, "quote \" control \x01 latin \xe9");
   key = InternText(&tree, "tab\tand \xe2\x82\xac");
   AddRecord(&tree, Definition(NodeId::system_heaps_stats), {&key, 1}, &heap);
   AddList(&tree, Definition(NodeId::system_heaps), {}, {&key, 1});
   nevra::SnapshotImage image;
   std::string problem;
   ASSERT_TRUE(MakeSnapshotImage(&tree, &image, &problem));
   std::vector<uint8_t> again;
   ASSERT_EQ(Import(Export(BytesOfImage(image)), &again), "");
   EXPECT_EQ(again, BytesOfImage(image));
}

TEST(Import, WhatIsLeftOutIsThisBuildsOrZero)
{
   std::vector<uint8_t> snapshot;
   ASSERT_EQ(Import("{}", &snapshot), "");
   const nevra::SnapshotFile file = Open(snapshot);
   EXPECT_STREQ(file.signature, nevra::DefinitionSignature());
   EXPECT_STREQ(file.kernelBuild, nevra::DefinitionBuildText());
   EXPECT_STREQ(file.host, "");
   EXPECT_EQ(file.captured, 0);
}

TEST(Import, NumbersAreExactOverTheWholeRange)
{
   std::vector<uint8_t> snapshot;
   ASSERT_EQ(Import(R"({"nodes": {
      "sched/groups/memAllocationInKB": {"records": [
         {"keys": [-9223372036854775808], "min": -9223372036854775808, "max": 9223372036854775807, "shares": -1}]},
      "sched/groups/stats/capacity": {"records": [
         {"keys": [9223372036854775807], "conResv": 18446744073709551615, "availResv": 9007199254740993}]}}})",
                    &snapshot),
             "");
   const std::string json = Export(snapshot);
   EXPECT_THAT(json, testing::HasSubstr("{\"keys\":[-9223372036854775808],\"min\":-9223372036854775808,"
                                        "\"max\":9223372036854775807,\"shares\":-1}"));
   EXPECT_THAT(json, testing::HasSubstr("{\"keys\":[9223372036854775807],\"conResv\":18446744073709551615,"
                                        "\"availResv\":9007199254740993}"));
}

TEST(Import, StatusMayBeANumber)
{
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"keys": [1], "status": 195887107}])"), "");
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"keys": [1], "status": "0xbad0003"}])"), "");
}

// ---- refusals

TEST(ImportRefuses, WhatIsNoJson)
{
   EXPECT_EQ(Problem("{\n\"host\": \"elm\",\n}"), "line 3: Missing a name for object member.");
   EXPECT_EQ(Problem("{} x"), "line 1: The document root must not be followed by other values.");
   EXPECT_EQ(Problem(std::string("{}\0x", 4)), "line 1: there is a NUL");
   EXPECT_EQ(Problem("{\"host\": \"\xff\"}"), "line 1: Invalid encoding in string.");
   EXPECT_EQ(Problem(" "), "line 1: The document is empty.");
}

TEST(ImportRefuses, OtherRoots)
{
   EXPECT_EQ(Problem("[]"), "line 1: an array has no meaning here");
   EXPECT_EQ(Problem("17"), "line 1: a number has no meaning here");
   EXPECT_EQ(Problem("null"), "line 1: null has no meaning here");
   EXPECT_EQ(Problem(std::string(100000, '[')), "line 1: an array has no meaning here");
}

TEST(ImportRefuses, ValuesOfAnotherKindWhereverTheyStand)
{
   EXPECT_EQ(Problem(R"({"host": true})"), "line 1: true and false have no meaning here");
   EXPECT_EQ(Problem(R"({"nodes": "none"})"), "line 1: a text has no meaning here");
   EXPECT_EQ(Problem(R"({"captured": {"hex": "00"}})"), "line 1: an object has no meaning here");
   EXPECT_EQ(Problem(R"({"host": ["elm"]})"), "line 1: an array has no meaning here");
   EXPECT_EQ(NodeProblem(kName, R"("records": ["x"])"),
             "line 1: sched/groups/groupName, records[0]: a text has no meaning here");
   EXPECT_EQ(NodeProblem(kName, R"("records": [7])"),
             "line 1: sched/groups/groupName, records[0]: a number has no meaning here");
   EXPECT_EQ(NodeProblem(kName, R"("records": [[]])"),
             "line 1: sched/groups/groupName, records[0]: an array has no meaning here");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [[]])"),
             "line 1: sched/groups/groupName, records[0], keys: an array has no meaning here");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [{"hex": "00"}])"),
             "line 1: sched/groups/groupName, records[0], keys: an object has no meaning here");
   EXPECT_EQ(RecordProblem("system/heaps/stats", R"("keys": ["a", {"hex": "00"}])"),
             "line 1: system/heaps/stats, records[0], keys: an object has no meaning here");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": ["x"])"),
             "line 1: sched/groups/groupName, records[0], name: an array has no meaning here");
   EXPECT_EQ(RecordProblem("system/buddy/comprehensive", R"("keys": ["b"], "orders": ["x"])"),
             "line 1: system/buddy/comprehensive, records[0], orders[0]: a text has no meaning here");
   EXPECT_EQ(
      RecordProblem("system/buddy/comprehensive", R"("keys": ["b"], "orders": [{"numFree": [1]}])"),
      "line 1: system/buddy/comprehensive, records[0], orders[0], numFree: an array has no meaning here");
   EXPECT_EQ(
      RecordProblem("system/buddy/comprehensive", R"("keys": ["b"], "orders": [{"numFree": "1"}])"),
      "line 1: system/buddy/comprehensive, records[0], orders[0], numFree: a text has no meaning here");
   EXPECT_EQ(
      RecordProblem("system/buddy/comprehensive", R"("keys": ["b"], "orders": [{"numFree": {}}])"),
      "line 1: system/buddy/comprehensive, records[0], orders[0], numFree: an object has no meaning here");
}

TEST(ImportRefuses, HexThatIsMoreOrLessThanOneText)
{
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {"hex": "00", "hex": "00"})"),
             "line 1: sched/groups/groupName, records[0]: hex is given twice");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {"text": "00"})"),
             "line 1: sched/groups/groupName, records[0]: there is no member text");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {"hex": 0})"),
             "line 1: sched/groups/groupName, records[0]: a number has no meaning here");
   for (const char *hex : {"1", "123", "0x", "g0", "0/", "0:", "`0", "G0", "0@", "\u00e9"}) {
      EXPECT_EQ(
         RecordProblem(kAlloc, std::string(R"("keys": [0], "reserved32": ")") + hex + '"'),
         "line 1: sched/groups/memAllocationInKB, records[0], reserved32: not pairs of hexadecimal digits")
         << hex;
   }
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "reserved32": "09afAF9f")"), "");
}

TEST(ImportRefuses, HeadersThatAreNone)
{
   EXPECT_EQ(Problem(R"({"hosts": "elm"})"), "line 1: there is no member hosts");
   EXPECT_EQ(Problem(R"({"host": "elm", "host": "elm"})"), "line 1: host is given twice");
   EXPECT_EQ(Problem(R"({"host": 1})"), "line 1: a number has no meaning here");
   EXPECT_EQ(Problem(R"({"host": "a\u0000b"})"), "line 1: host has no NUL");
   EXPECT_EQ(Problem(R"({"definitionSignature": "abc"})"),
             "line 1: definitionSignature is 32 hexadecimal digits, in lower case");
   EXPECT_EQ(Problem(R"({"captured": "yesterday"})"),
             "line 1: captured is a time like \"2026-01-31T23:59:59Z\"");
}

TEST(ImportRefuses, UnknownNodesAndMembers)
{
   EXPECT_EQ(NodeProblem("sched/group", ""), "line 1: there is no node sched/group");
   EXPECT_EQ(Problem(R"({"nodes": {"system/heaps": {}, "system/heaps": {}}})"),
             "line 1: system/heaps is given twice");
   EXPECT_EQ(NodeProblem(kName, R"("record": [])"),
             "line 1: sched/groups/groupName: there is no member record");
   EXPECT_EQ(NodeProblem(kName, R"("lists": [])"), "line 1: sched/groups/groupName: the node has no listing");
   EXPECT_EQ(NodeProblem(kChildren, R"("records": [])"),
             "line 1: sched/groups/members/groups: the node has no records");
   EXPECT_EQ(NodeProblem(kName, R"("records": [], "records": [])"),
             "line 1: sched/groups/groupName: records is given twice");
   EXPECT_EQ(NodeProblem(kName, R"("records": {})"),
             "line 1: sched/groups/groupName: an object has no meaning here");
}

TEST(ImportRefuses, UnknownAndRepeatedFields)
{
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "nam": "x")"),
             "line 1: sched/groups/groupName, records[0]: GroupNameRecord has no field nam");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": "x", "name": "y")"),
             "line 1: sched/groups/groupName, records[0]: name is given twice");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "keys": [1])"),
             "line 1: sched/groups/groupName, records[0]: keys is given twice");
   EXPECT_EQ(NodeProblem(kName, "\"records\": [{\"keys\": [0]},\n{\"keys\": [1], \"instances\": []}]"),
             "line 2: sched/groups/groupName, records[1]: GroupNameRecord has no field instances");
}

TEST(ImportRefuses, TextsThatDoNotFit)
{
   EXPECT_EQ(RecordProblem(kName, "\"keys\": [0], \"name\": \"" + std::string(63, 'x') + '"'), "");
   EXPECT_EQ(RecordProblem(kName, "\"keys\": [0], \"name\": \"" + std::string(64, 'x') + '"'),
             "line 1: sched/groups/groupName, records[0], name: longer than 63 bytes");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": "a\u0000b")"),
             "line 1: sched/groups/groupName, records[0], name: a text has no NUL");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": 7)"),
             "line 1: sched/groups/groupName, records[0], name: a number has no meaning here");
   EXPECT_EQ(RecordProblem(kName, "\"keys\": [0], \"name\": {\"hex\": \"" + std::string(130, '1') + "\"}"),
             "line 1: sched/groups/groupName, records[0], name: longer than 64 bytes");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {"hex": "1g"})"),
             "line 1: sched/groups/groupName, records[0]: not pairs of hexadecimal digits");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {})"),
             "line 1: sched/groups/groupName, records[0]: hex is missing");
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "reserved32": "0102030405")"),
             "line 1: sched/groups/memAllocationInKB, records[0], reserved32: longer than 4 bytes");
}

TEST(ImportRefuses, NumbersThatDoNotFit)
{
   EXPECT_EQ(
      RecordProblem("sched/groups/groupFlags", R"("keys": [0], "flags": 4294967296)"),
      "line 1: sched/groups/groupFlags, records[0], flags: out of range: the field is an unsigned number of "
      "32 bits");
   EXPECT_EQ(
      RecordProblem("sched/groups/groupFlags", R"("keys": [0], "flags": -1)"),
      "line 1: sched/groups/groupFlags, records[0], flags: out of range: the field is an unsigned number of "
      "32 bits");
   EXPECT_EQ(
      RecordProblem("sched/memClients/kelmar/uw", R"("keys": [0], "shares": 2147483648)"),
      "line 1: sched/memClients/kelmar/uw, records[0], shares: out of range: the field is a signed number of "
      "32 bits");
   EXPECT_EQ(
      RecordProblem("sched/memClients/kelmar/uw", R"("keys": [0], "shares": -2147483649)"),
      "line 1: sched/memClients/kelmar/uw, records[0], shares: out of range: the field is a signed number of "
      "32 bits");
   EXPECT_EQ(RecordProblem("sched/memClients/kelmar/uw", R"("keys": [0], "shares": -2147483648)"), "");
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "min": 9223372036854775808)"),
             "line 1: sched/groups/memAllocationInKB, records[0], min: out of range: the field is a signed "
             "number of "
             "64 bits");
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "min": 18446744073709551616)"),
             "line 1: sched/groups/memAllocationInKB, records[0], min: not a whole number of 64 bits");
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "min": 1.5)"),
             "line 1: sched/groups/memAllocationInKB, records[0], min: not a whole number of 64 bits");
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "min": "1")"),
             "line 1: sched/groups/memAllocationInKB, records[0], min: a text has no meaning here");
}

TEST(ImportRefuses, ArraysThatDoNotFit)
{
   constexpr char kBuddy[] = "system/buddy/comprehensive";
   std::string orders = "{}";
   for (int i = 1; i < 19; i++) {
      orders += ", {}";
   }
   EXPECT_EQ(RecordProblem(kBuddy, "\"keys\": [\"b\"], \"orders\": [" + orders + "]"), "");
   EXPECT_EQ(RecordProblem(kBuddy, "\"keys\": [\"b\"], \"orders\": [" + orders + ", {}]"),
             "line 1: system/buddy/comprehensive, records[0], orders[19]: there are only 19");
   EXPECT_EQ(
      RecordProblem(kBuddy, R"("keys": ["b"], "orders": [{}, {"numFree": -1}])"),
      "line 1: system/buddy/comprehensive, records[0], orders[1], numFree: out of range: the field is an "
      "unsigned number of 32 bits");
   EXPECT_EQ(RecordProblem(kBuddy, R"("keys": ["b"], "orders": {})"),
             "line 1: system/buddy/comprehensive, records[0], orders: an object has no meaning here");
   EXPECT_EQ(RecordProblem(kBuddy, R"("keys": ["b"], "orders": [1])"),
             "line 1: system/buddy/comprehensive, records[0], orders[0]: a number has no meaning here");
}

TEST(ImportRefuses, KeysThatAreNotTheNodes)
{
   EXPECT_EQ(RecordProblem(kName, R"("name": "x")"),
             "line 1: sched/groups/groupName, records[0]: there are 0 keys instead of 1");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [1, 2])"),
             "line 1: sched/groups/groupName, records[0], keys: there are more than 1 keys");
   EXPECT_EQ(RecordProblem(kName, R"("keys": ["host"])"),
             "line 1: sched/groups/groupName, records[0], keys: group is a number");
   EXPECT_EQ(RecordProblem("system/heaps/stats", R"("keys": [1])"),
             "line 1: system/heaps/stats, records[0], keys: heap is a text");
   EXPECT_EQ(RecordProblem("system/heaps/stats", R"("keys": ["a\u0000b"])"),
             "line 1: system/heaps/stats, records[0], keys: a key has no NUL");
   EXPECT_EQ(
      RecordProblem(kName, R"("keys": [9223372036854775808])"),
      "line 1: sched/groups/groupName, records[0], keys: out of range: a key is a signed number of 64 bits");
   EXPECT_EQ(RecordProblem(kName, R"("keys": 1)"),
             "line 1: sched/groups/groupName, records[0]: a number has no meaning here");
}

TEST(ImportRefuses, ListsAndFailuresThatAreNone)
{
   EXPECT_EQ(NodeProblem(kChildren, R"("lists": [{"keys": [0]}])"),
             "line 1: sched/groups/members/groups, lists[0]: the instances are missing");
   EXPECT_EQ(NodeProblem(kChildren, R"("lists": [{"keys": [0], "instances": ["a"]}])"),
             "line 1: sched/groups/members/groups, lists[0], instances: group is a number");
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"keys": [0]}])"),
             "line 1: sched/groups/groupName, failures[0]: the status is missing");
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"keys": [0], "status": 0}])"),
             "line 1: sched/groups/groupName, failures[0]: the status of a failure is a number from 1 to "
             "0xffffffff");
   EXPECT_EQ(
      NodeProblem(kName, R"("failures": [{"keys": [0], "status": "bad"}])"),
      "line 1: sched/groups/groupName, failures[0]: a status is a number, or a text like \"0xbad0003\"");
   for (const char *status : {"-1", "4294967296", "\"0x\"", "\"0x1g\"", "\"0x10000000000000000\""}) {
      EXPECT_THAT(NodeProblem(kName, std::string(R"("failures": [{"keys": [0], "status": )") + status + "}]"),
                  testing::StartsWith("line 1: sched/groups/groupName, failures[0]: "))
         << status;
   }
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"status": 1, "keys": [0], "status": 1}])"),
             "line 1: sched/groups/groupName, failures[0]: status is given twice");
   EXPECT_EQ(NodeProblem(kName, R"("records": [{"keys": [0], "status": 1}])"),
             "line 1: sched/groups/groupName, records[0]: GroupNameRecord has no field status");
   EXPECT_EQ(NodeProblem(kChildren, R"("lists": [{"keys": [0], "instances": [], "status": 1}])"),
             "line 1: sched/groups/members/groups, lists[0]: there is no member status");
   EXPECT_EQ(NodeProblem(kChildren, R"("listFailures": [{"keys": [0], "status": "0xbad0003"}])"), "");
   EXPECT_EQ(NodeProblem(kChildren, R"("listFailures": [{"keys": [0]}])"),
             "line 1: sched/groups/members/groups, listFailures[0]: the status is missing");
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"keys": [0], "name": "x"}])"),
             "line 1: sched/groups/groupName, failures[0]: there is no member name");
}

TEST(ImportRefuses, InstancesThatAreAnsweredTwice)
{
   EXPECT_EQ(NodeProblem(kName, R"("records": [{"keys": [5]}, {"keys": [1]}, {"keys": [5]}])"),
             "sched/groups/groupName is answered twice for [5]");
   EXPECT_EQ(NodeProblem(kName, R"("records": [{"keys": [5]}], "failures": [{"keys": [5], "status": 1}])"),
             "sched/groups/groupName is answered twice for [5]");
}

} // namespace
