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
   key = InternText(&tree, "not UTF-8");
   AddRecord(&tree, Definition(NodeId::system_heaps_stats), {&key, 1}, &heap);
   std::memset(heap.name, 0, sizeof heap.name);
   std::strcpy(heap.name, "quote \" control \x01 latin \xe9");
   key = InternText(&tree, "euro \xe2\x82\xac");
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

TEST(Import, NotesComeBackLineByLine)
{
   for (const char *notes : {"[\"one: 1\"]", "[\"one: 1\", \"two\"]", "[\"\", \"\"]",
                             "[\"a\", {\"hex\": \"ff1b\"}, \"\\u001b\", \"\"]"}) {
      std::vector<uint8_t> first;
      ASSERT_EQ(Import(std::string("{\"notes\": ") + notes + "}", &first), "");
      std::vector<uint8_t> second;
      ASSERT_EQ(Import(Export(first), &second), "");
      EXPECT_EQ(first, second) << Export(first);
   }
   std::vector<uint8_t> snapshot;
   ASSERT_EQ(Import(R"({"notes": ["one: 1", "two"]})", &snapshot), "");
   EXPECT_STREQ(Open(snapshot).notes, "one: 1\ntwo");
   EXPECT_THAT(Export(snapshot), testing::HasSubstr("  \"notes\": [\n    \"one: 1\",\n    \"two\"\n  ],\n"));
   std::vector<uint8_t> without;
   ASSERT_EQ(Import("{}", &without), "");
   EXPECT_STREQ(Open(without).notes, "");
   EXPECT_THAT(Export(without), testing::Not(testing::HasSubstr("notes")));
   ASSERT_EQ(Import(R"({"notes": []})", &snapshot), "");
   EXPECT_EQ(snapshot, without);
   EXPECT_EQ(Problem(R"({"notes": "one"})"), "line 1: notes: expected an array, found a string");
   EXPECT_EQ(Problem(R"({"notes": ["a\u0000"]})"), "line 1: notes[0]: contains NUL");
   EXPECT_EQ(Problem("{\"notes\": [\"" + std::string(65536, 'x') + "\"]}"), "");
   EXPECT_EQ(Problem("{\"notes\": [\"" + std::string(65537, 'x') + "\"]}"),
             "line 1: notes[0]: longer than 65536 bytes");
}

TEST(Import, KernelDetailComesBackInItsOrder)
{
   std::vector<uint8_t> snapshot;
   ASSERT_EQ(Import(R"!({"kernelDetail": {"MemTotal": 16, "Active(anon)": 0, "Above": 9007199254740992}})!",
                    &snapshot),
             "");
   EXPECT_EQ(Open(snapshot).kernelDetail,
             (nevra::KernelFigures{{"MemTotal", 16}, {"Active(anon)", 0}, {"Above", 9007199254740992}}));
   EXPECT_THAT(Export(snapshot), testing::HasSubstr("  \"kernelDetail\": {\n"
                                                    "    \"MemTotal\": 16,\n"
                                                    "    \"Active(anon)\": 0,\n"
                                                    "    \"Above\": 9007199254740992\n"
                                                    "  },\n"));
   std::vector<uint8_t> again;
   ASSERT_EQ(Import(Export(snapshot), &again), "");
   EXPECT_EQ(again, snapshot);
   ASSERT_EQ(Import(R"({"kernelDetail": {}})", &again), "");
   EXPECT_THAT(Export(again), testing::Not(testing::HasSubstr("kernelDetail")));
}

TEST(Import, KernelDetailThatASnapshotCannotHoldIsNamed)
{
   const auto problem = [](const std::string &detail) {
      return Problem("{\"kernelDetail\": " + detail + "}");
   };
   EXPECT_EQ(problem("[]"), "line 1: kernelDetail: expected an object, found an array");
   EXPECT_EQ(problem(R"({"": 1})"), "line 1: kernelDetail: invalid name \"\"");
   EXPECT_EQ(problem(R"({"a b": 1})"), "line 1: kernelDetail: invalid name \"a b\"");
   EXPECT_EQ(problem(R"({"Slab": 1, "Slab": 1})"), "line 1: kernelDetail: duplicate member \"Slab\"");
   for (const char *number : {"-1", "9007199254740993", "18446744073709551615"}) {
      EXPECT_EQ(problem(std::string("{\"Slab\": ") + number + "}"),
                "line 1: kernelDetail: Slab: out of range 0 to 9007199254740992");
   }
   EXPECT_EQ(problem(R"({"Slab": "1"})"), "line 1: kernelDetail: expected a number, found a string");
   std::string many = "{";
   for (int i = 0; i < 256; i++) {
      many += "\"Line" + std::to_string(i) + "\": 1, ";
   }
   EXPECT_EQ(problem(many + "\"Line256\": 1}"), "line 1: kernelDetail: more than 256 members");
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
   EXPECT_EQ(Problem("{\n\"host\": \"elm\",\n}"), "line 3: expected a member name, found '}'");
   EXPECT_EQ(Problem(R"({"host" "elm"})"), "line 1: expected ':', found a string");
   EXPECT_EQ(Problem(R"({"host": "elm" "captured"})"), "line 1: expected ',' or '}', found a string");
   EXPECT_EQ(Problem(R"({"host": "elm")"), "line 1: expected ',' or '}', found the end");
   EXPECT_EQ(Problem(R"({"host": "elm)"), "line 1: host: Missing a closing quotation mark in string.");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0})"),
             "line 1: sched/groups/groupName, records[0], keys: expected ',' or ']', found '}'");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [01])"),
             "line 1: sched/groups/groupName, records[0], keys: expected ',' or ']', found a number");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [-])"),
             "line 1: sched/groups/groupName, records[0], keys[0]: Invalid value.");
   EXPECT_EQ(Problem("{} x"), "line 1: expected the end, found 'x'");
   EXPECT_EQ(Problem(std::string("{}\0x", 4)), "line 1: expected the end, found NUL");
   EXPECT_EQ(Problem("{\"host\": \"\xff\"}"), "line 1: host: Invalid encoding in string.");
   EXPECT_EQ(Problem(" "), "line 1: expected an object, found the end");
}

TEST(ImportRefuses, OtherRoots)
{
   EXPECT_EQ(Problem("[]"), "line 1: expected an object, found an array");
   EXPECT_EQ(Problem("17"), "line 1: expected an object, found a number");
   EXPECT_EQ(Problem("null"), "line 1: expected an object, found null");
   EXPECT_EQ(Problem(std::string(100000, '[')), "line 1: expected an object, found an array");
}

TEST(ImportRefuses, ValuesOfAnotherKindWhereverTheyStand)
{
   EXPECT_EQ(Problem(R"({"host": true})"), "line 1: host: expected a string, found a boolean");
   EXPECT_EQ(Problem(R"({"nodes": "none"})"), "line 1: expected an object, found a string");
   EXPECT_EQ(Problem(R"({"captured": {"hex": "00"}})"),
             "line 1: captured: expected a string, found an object");
   EXPECT_EQ(Problem(R"({"host": ["elm"]})"), "line 1: host: expected a string, found an array");
   EXPECT_EQ(NodeProblem(kName, R"("records": ["x"])"),
             "line 1: sched/groups/groupName, records[0]: expected an object, found a string");
   EXPECT_EQ(NodeProblem(kName, R"("records": [7])"),
             "line 1: sched/groups/groupName, records[0]: expected an object, found a number");
   EXPECT_EQ(NodeProblem(kName, R"("records": [[]])"),
             "line 1: sched/groups/groupName, records[0]: expected an object, found an array");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [[]])"),
             "line 1: sched/groups/groupName, records[0], keys[0]: expected a number, found an array");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [{"hex": "00"}])"),
             "line 1: sched/groups/groupName, records[0], keys[0]: expected a number, found an object");
   EXPECT_EQ(RecordProblem("system/heaps/stats", R"("keys": ["a", {"hex": "00"}])"),
             "line 1: system/heaps/stats, records[0], keys[1]: more keys than the node has");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": ["x"])"),
             "line 1: sched/groups/groupName, records[0], name: expected a string, found an array");
   EXPECT_EQ(RecordProblem("system/buddy/comprehensive", R"("keys": ["b"], "orders": ["x"])"),
             "line 1: system/buddy/comprehensive, records[0], orders[0]: expected an object, found a string");
   EXPECT_EQ(RecordProblem("system/buddy/comprehensive", R"("keys": ["b"], "orders": [{"numFree": [1]}])"),
             "line 1: system/buddy/comprehensive, records[0], orders[0], numFree: expected a number, found "
             "an array");
   EXPECT_EQ(RecordProblem("system/buddy/comprehensive", R"("keys": ["b"], "orders": [{"numFree": "1"}])"),
             "line 1: system/buddy/comprehensive, records[0], orders[0], numFree: expected a number, found a "
             "string");
   EXPECT_EQ(RecordProblem("system/buddy/comprehensive", R"("keys": ["b"], "orders": [{"numFree": {}}])"),
             "line 1: system/buddy/comprehensive, records[0], orders[0], numFree: expected a number, found "
             "an object");
}

TEST(ImportRefuses, HexThatIsMoreOrLessThanOneText)
{
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {"hex": "00", "hex": "00"})"),
             "line 1: sched/groups/groupName, records[0], name: duplicate member \"hex\"");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {"text": "00"})"),
             "line 1: sched/groups/groupName, records[0], name: unknown member \"text\"");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {"hex": 0})"),
             "line 1: sched/groups/groupName, records[0], name: expected a string, found a number");
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
   EXPECT_EQ(Problem(R"({"hosts": "elm"})"), "line 1: unknown member \"hosts\"");
   EXPECT_EQ(Problem(R"({"host": "elm", "host": "elm"})"), "line 1: duplicate member \"host\"");
   EXPECT_EQ(Problem(R"({"host": 1})"), "line 1: host: expected a string, found a number");
   EXPECT_EQ(Problem(R"({"host": "a\u0000b"})"), "line 1: host: contains NUL");
   EXPECT_EQ(Problem(R"({"definitionSignature": "abc"})"),
             "line 1: definitionSignature: not 32 hexadecimal digits in lower case");
   EXPECT_EQ(Problem(R"({"captured": "yesterday"})"),
             "line 1: captured: not a time like \"2026-01-31T23:59:59Z\"");
}

TEST(ImportRefuses, UnknownNodesAndMembers)
{
   EXPECT_EQ(NodeProblem("sched/group", ""), "line 1: unknown node \"sched/group\"");
   EXPECT_EQ(Problem(R"({"nodes": {"system/heaps": {}, "system/heaps": {}}})"),
             "line 1: duplicate node \"system/heaps\"");
   EXPECT_EQ(NodeProblem(kName, R"("record": [])"),
             "line 1: sched/groups/groupName: unknown member \"record\"");
   EXPECT_EQ(NodeProblem(kName, R"("lists": [])"), "line 1: sched/groups/groupName: the node has no listing");
   EXPECT_EQ(NodeProblem(kChildren, R"("records": [])"),
             "line 1: sched/groups/members/groups: the node has no records");
   EXPECT_EQ(NodeProblem(kName, R"("records": [], "records": [])"),
             "line 1: sched/groups/groupName: duplicate member \"records\"");
   EXPECT_EQ(NodeProblem(kName, R"("records": {})"),
             "line 1: sched/groups/groupName, records: expected an array, found an object");
}

TEST(ImportRefuses, UnknownAndRepeatedFields)
{
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "nam": "x")"),
             "line 1: sched/groups/groupName, records[0]: unknown field \"nam\" of GroupNameRecord");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": "x", "name": "y")"),
             "line 1: sched/groups/groupName, records[0]: duplicate member \"name\"");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "keys": [1])"),
             "line 1: sched/groups/groupName, records[0]: duplicate member \"keys\"");
   EXPECT_EQ(NodeProblem(kName, "\"records\": [{\"keys\": [0]},\n{\"keys\": [1], \"instances\": []}]"),
             "line 2: sched/groups/groupName, records[1]: unknown field \"instances\" of GroupNameRecord");
}

TEST(ImportRefuses, TextsThatDoNotFit)
{
   EXPECT_EQ(RecordProblem(kName, "\"keys\": [0], \"name\": \"" + std::string(63, 'x') + '"'), "");
   EXPECT_EQ(RecordProblem(kName, "\"keys\": [0], \"name\": \"" + std::string(64, 'x') + '"'),
             "line 1: sched/groups/groupName, records[0], name: longer than 63 bytes");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": "a\u0000b")"),
             "line 1: sched/groups/groupName, records[0], name: contains NUL");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": 7)"),
             "line 1: sched/groups/groupName, records[0], name: expected a string, found a number");
   EXPECT_EQ(RecordProblem(kName, "\"keys\": [0], \"name\": {\"hex\": \"" + std::string(130, '1') + "\"}"),
             "line 1: sched/groups/groupName, records[0], name: longer than 64 bytes");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {"hex": "1g"})"),
             "line 1: sched/groups/groupName, records[0], name: not pairs of hexadecimal digits");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [0], "name": {})"),
             "line 1: sched/groups/groupName, records[0], name: missing member \"hex\"");
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "reserved32": "0102030405")"),
             "line 1: sched/groups/memAllocationInKB, records[0], reserved32: longer than 4 bytes");
}

TEST(ImportRefuses, NumbersThatDoNotFit)
{
   EXPECT_EQ(
      RecordProblem("sched/groups/groupFlags", R"("keys": [0], "flags": 4294967296)"),
      "line 1: sched/groups/groupFlags, records[0], flags: out of range of an unsigned integer of 32 bits");
   EXPECT_EQ(
      RecordProblem("sched/groups/groupFlags", R"("keys": [0], "flags": -1)"),
      "line 1: sched/groups/groupFlags, records[0], flags: out of range of an unsigned integer of 32 bits");
   EXPECT_EQ(
      RecordProblem("sched/memClients/kelmar/uw", R"("keys": [0], "shares": 2147483648)"),
      "line 1: sched/memClients/kelmar/uw, records[0], shares: out of range of a signed integer of 32 bits");
   EXPECT_EQ(
      RecordProblem("sched/memClients/kelmar/uw", R"("keys": [0], "shares": -2147483649)"),
      "line 1: sched/memClients/kelmar/uw, records[0], shares: out of range of a signed integer of 32 bits");
   EXPECT_EQ(RecordProblem("sched/memClients/kelmar/uw", R"("keys": [0], "shares": -2147483648)"), "");
   EXPECT_EQ(
      RecordProblem(kAlloc, R"("keys": [0], "min": 9223372036854775808)"),
      "line 1: sched/groups/memAllocationInKB, records[0], min: out of range of a signed integer of 64 bits");
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "min": 18446744073709551616)"),
             "line 1: sched/groups/memAllocationInKB, records[0], min: not an integer of 64 bits");
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "min": 1.5)"),
             "line 1: sched/groups/memAllocationInKB, records[0], min: not an integer of 64 bits");
   EXPECT_EQ(RecordProblem(kAlloc, R"("keys": [0], "min": "1")"),
             "line 1: sched/groups/memAllocationInKB, records[0], min: expected a number, found a string");
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
             "line 1: system/buddy/comprehensive, records[0], orders[19]: more elements than the field has");
   EXPECT_EQ(RecordProblem(kBuddy, R"("keys": ["b"], "orders": [{}, {"numFree": -1}])"),
             "line 1: system/buddy/comprehensive, records[0], orders[1], numFree: out of range of an "
             "unsigned integer of 32 bits");
   EXPECT_EQ(RecordProblem(kBuddy, R"("keys": ["b"], "orders": {})"),
             "line 1: system/buddy/comprehensive, records[0], orders: expected an array, found an object");
   EXPECT_EQ(RecordProblem(kBuddy, R"("keys": ["b"], "orders": [1])"),
             "line 1: system/buddy/comprehensive, records[0], orders[0]: expected an object, found a number");
}

TEST(ImportRefuses, KeysThatAreNotTheNodes)
{
   EXPECT_EQ(RecordProblem(kName, R"("name": "x")"),
             "line 1: sched/groups/groupName, records[0]: the number of keys is 0, expected 1");
   EXPECT_EQ(RecordProblem(kName, R"("keys": [1, 2])"),
             "line 1: sched/groups/groupName, records[0], keys[1]: more keys than the node has");
   EXPECT_EQ(RecordProblem(kName, R"("keys": ["host"])"),
             "line 1: sched/groups/groupName, records[0], keys[0]: expected a number, found a string");
   EXPECT_EQ(RecordProblem("system/heaps/stats", R"("keys": [1])"),
             "line 1: system/heaps/stats, records[0], keys[0]: expected a string, found a number");
   EXPECT_EQ(RecordProblem("system/heaps/stats", R"("keys": ["a\u0000b"])"),
             "line 1: system/heaps/stats, records[0], keys[0]: contains NUL");
   EXPECT_EQ(
      RecordProblem(kName, R"("keys": [9223372036854775808])"),
      "line 1: sched/groups/groupName, records[0], keys[0]: out of range of a signed integer of 64 bits");
   EXPECT_EQ(RecordProblem(kName, R"("keys": 1)"),
             "line 1: sched/groups/groupName, records[0], keys: expected an array, found a number");
}

TEST(ImportRefuses, ListsAndFailuresThatAreNone)
{
   EXPECT_EQ(NodeProblem(kChildren, R"("lists": [{"keys": [0]}])"),
             "line 1: sched/groups/members/groups, lists[0]: missing member \"instances\"");
   EXPECT_EQ(
      NodeProblem(kChildren, R"("lists": [{"keys": [0], "instances": ["a"]}])"),
      "line 1: sched/groups/members/groups, lists[0], instances[0]: expected a number, found a string");
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"keys": [0]}])"),
             "line 1: sched/groups/groupName, failures[0]: missing member \"status\"");
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"keys": [0], "status": 0}])"),
             "line 1: sched/groups/groupName, failures[0], status: out of range 1 to 0xffffffff");
   EXPECT_EQ(
      NodeProblem(kName, R"("failures": [{"keys": [0], "status": "bad"}])"),
      "line 1: sched/groups/groupName, failures[0], status: neither a number nor a text like \"0xbad0003\"");
   for (const char *status : {"-1", "4294967296", "\"0x\"", "\"0x1g\"", "\"0x10000000000000000\""}) {
      EXPECT_THAT(NodeProblem(kName, std::string(R"("failures": [{"keys": [0], "status": )") + status + "}]"),
                  testing::StartsWith("line 1: sched/groups/groupName, failures[0], status: "))
         << status;
   }
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"status": 1, "keys": [0], "status": 1}])"),
             "line 1: sched/groups/groupName, failures[0]: duplicate member \"status\"");
   EXPECT_EQ(NodeProblem(kName, R"("records": [{"keys": [0], "status": 1}])"),
             "line 1: sched/groups/groupName, records[0]: unknown field \"status\" of GroupNameRecord");
   EXPECT_EQ(NodeProblem(kChildren, R"("lists": [{"keys": [0], "instances": [], "status": 1}])"),
             "line 1: sched/groups/members/groups, lists[0]: unknown member \"status\"");
   EXPECT_EQ(NodeProblem(kChildren, R"("listFailures": [{"keys": [0], "status": "0xbad0003"}])"), "");
   EXPECT_EQ(NodeProblem(kChildren, R"("listFailures": [{"keys": [0]}])"),
             "line 1: sched/groups/members/groups, listFailures[0]: missing member \"status\"");
   EXPECT_EQ(NodeProblem(kName, R"("failures": [{"keys": [0], "name": "x"}])"),
             "line 1: sched/groups/groupName, failures[0]: unknown member \"name\"");
}

TEST(ImportRefuses, InstancesThatAreAnsweredTwice)
{
   EXPECT_EQ(NodeProblem(kName, R"("records": [{"keys": [5]}, {"keys": [1]}, {"keys": [5]}])"),
             "sched/groups/groupName: duplicate instance [5]");
   EXPECT_EQ(NodeProblem(kName, R"("records": [{"keys": [5]}], "failures": [{"keys": [5], "status": 1}])"),
             "sched/groups/groupName: duplicate instance [5]");
}

} // namespace
