#include "snapshot-tool/anonymize.h"

#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/records.h"
#include "tests/nevra/snapshot/small_tree.h"
#include "tests/snapshot-tool/json_kit.h"

using nevra::Definition;
using nevra::NodeId;

namespace {

std::string Anonymized(const std::string &json, Pseudonyms *pseudonyms)
{
   std::vector<uint8_t> snapshot;
   EXPECT_EQ(Import(json, &snapshot), "");
   nevra::SnapshotTree tree = TreeOf(Open(snapshot));
   Anonymize(&tree, pseudonyms);
   nevra::SnapshotImage image;
   std::string problem;
   EXPECT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   return Export(BytesOfImage(image));
}

TEST(Pseudonyms, AreTheSameForTheSameName)
{
   Pseudonyms pseudonyms;
   EXPECT_EQ(pseudonyms.Of("birch"), "n1");
   EXPECT_EQ(pseudonyms.Of("rowan"), "n2");
   EXPECT_EQ(pseudonyms.Of("birch"), "n1");
   EXPECT_EQ(pseudonyms.Of(""), "");
   for (int i = 3; i <= 10; i++) {
      pseudonyms.Of("\x1b" + std::to_string(i));
   }
   EXPECT_THAT(
      pseudonyms.AsJson(),
      testing::StartsWith("{\n  \"n1\": \"birch\",\n  \"n2\": \"rowan\",\n  \"n3\": \"\\u001B3\",\n"));
   EXPECT_THAT(pseudonyms.AsJson(), testing::EndsWith("\"n10\": \"\\u001B10\"\n}\n"));
   EXPECT_EQ(Pseudonyms().AsJson(), "{\n}\n");
}

TEST(Anonymize, ATreeOfAFileIsTheFilesAgain)
{
   nevra::SnapshotTree tree = TreeOf(Open(SmallSnapshot()));
   nevra::SnapshotImage image;
   std::string problem;
   ASSERT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   EXPECT_EQ(BytesOfImage(image), SmallSnapshot());
}

TEST(Anonymize, NamesGoAndFiguresStay)
{
   Pseudonyms pseudonyms;
   const std::string json = Anonymized(R"({"notes": ["kernel release: 6.1.0", "not read: birch"], "nodes": {
      "sched/groups/groupName": {"records": [{"keys": [1], "name": "birch"}, {"keys": [2], "name": "rowan"}]},
      "sched/groups/groupTag": {"records": [{"keys": [1], "tag": "rowan"}]},
      "sched/groups/memAllocationInKB": {"records": [{"keys": [1], "min": 5, "reserved32": "6269"}]},
      "vm/vmmGroupInfo": {"records": [{"keys": [1], "displayName": "birch", "configPath": "/vms/birch.conf"}]},
      "system/heaps": {"lists": [{"instances": ["birch-heap"]}]},
      "system/heaps/stats": {"records": [{"keys": ["birch-heap"], "name": {"hex": "6100626972"}}]},
      "memory/pmem/volumes": {"lists": [{"instances": ["rowan", "ash"]}]},
      "memory/pmem/volumes/info": {"records": [{"keys": ["rowan"]}], "failures": [{"keys": ["ash"], "status": 1}]},
      "memory/pmem/volumes/regionStore/regions": {"lists": [{"keys": ["rowan"], "instances": ["disk"]}],
         "listFailures": [{"keys": ["ash"], "status": 2}]}}})",
                                       &pseudonyms);
   for (const char *line :
        {R"({"keys":[1],"name":"n1"})", R"({"keys":[2],"name":"n2"})", R"({"keys":[1],"tag":"n2"})",
         R"({"keys":[1],"min":5})", R"({"keys":[1],"displayName":"n1","configPath":"n3"})",
         R"({"instances":["birch-heap"]})", R"({"keys":["birch-heap"],"name":"a"})",
         R"("kernel release: 6.1.0")", R"("names: anonymized")"}) {
      EXPECT_THAT(json, testing::HasSubstr(line));
   }
   for (const char *name : {"rowan", "\"birch\"", "vms", "ash", "disk", "not read", "reserved"}) {
      EXPECT_THAT(json, testing::Not(testing::HasSubstr(name)));
   }
   // Keys and listings lead to each other still.
   const std::string ash = pseudonyms.Of("ash");
   const std::string disk = pseudonyms.Of("disk");
   EXPECT_THAT(json, testing::HasSubstr(R"({"instances":["n2",")" + ash + "\"]}"));
   EXPECT_THAT(json, testing::HasSubstr(R"({"keys":["n2"]})"));
   EXPECT_THAT(json, testing::HasSubstr(R"({"keys":[")" + ash + R"("],"status":"0x1"})"));
   EXPECT_THAT(json, testing::HasSubstr(R"({"keys":["n2"],"instances":[")" + disk + "\"]}"));
   EXPECT_THAT(json, testing::HasSubstr(R"({"keys":[")" + ash + R"("],"status":"0x2"})"));
}

} // namespace
