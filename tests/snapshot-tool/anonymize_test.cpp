#include "snapshot-tool/anonymize.h"

#include <cstdio>
#include <cstring>
#include <set>

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

// A file with the text, open for reading.
FILE *FileOf(const std::string &text)
{
   FILE *file = std::tmpfile();
   std::fputs(text.c_str(), file);
   std::rewind(file);
   return file;
}

bool ReadNames(const std::string &json, Pseudonyms *pseudonyms)
{
   FILE *file = FileOf(json);
   const bool isRead = pseudonyms->Read(file);
   std::fclose(file);
   return isRead;
}

TEST(Pseudonyms, AreTheSameForTheSameNameAndKey)
{
   Pseudonyms one(std::string(32, 'k'));
   Pseudonyms other(std::string(32, 'k'));
   Pseudonyms otherKey(std::string(32, 'l'));
   EXPECT_EQ(one.Of(""), "");
   const std::string birch = one.Of("birch");
   EXPECT_THAT(birch, testing::MatchesRegex("n[a-z2-7]{6}"));
   EXPECT_NE(one.Of("rowan"), birch);
   other.Of("ash");
   EXPECT_EQ(other.Of("birch"), birch);
   EXPECT_NE(otherKey.Of("birch"), birch);
   EXPECT_NE(Pseudonyms().Of("birch"), Pseudonyms().Of("birch"));
}

TEST(Pseudonyms, AreOfOneNameEach)
{
   Pseudonyms pseudonyms(std::string(32, 'k'));
   std::set<std::string> met;
   for (int i = 0; i < 100000; i++) {
      met.insert(pseudonyms.Of(std::to_string(i)));
   }
   EXPECT_EQ(met.size(), 100000);
}

TEST(Pseudonyms, AreReadBack)
{
   Pseudonyms pseudonyms;
   for (const char *name : {"birch", "\x1b", "\xff\xfe", "key"}) {
      pseudonyms.Of(name);
   }
   Pseudonyms again;
   ASSERT_TRUE(ReadNames(pseudonyms.AsJson(), &again));
   EXPECT_EQ(again.AsJson(), pseudonyms.AsJson());
   EXPECT_EQ(again.Of("ash"), pseudonyms.Of("ash"));
   ASSERT_TRUE(ReadNames(Pseudonyms().AsJson(), &again));
}

TEST(Pseudonyms, AreReadFromNothingElse)
{
   const std::string key(64, 'a');
   Pseudonyms pseudonyms;
   const std::string before = pseudonyms.AsJson();
   for (const std::string &json :
        {std::string(), std::string("{}"), std::string("[]"), std::string(R"({"key": "aa"})"),
         R"({"key": ")" + key + R"(", "n1": "birch"})", R"({"key": ")" + key + R"(", "naaaaaa": ""})",
         R"({"key": ")" + key + R"("} {})", R"({"key": ")" + key + R"(", "naaaaaa": "a", "nbbbbbb": "a"})"}) {
      EXPECT_FALSE(ReadNames(json, &pseudonyms)) << json;
   }
   EXPECT_EQ(pseudonyms.AsJson(), before);
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
   const std::string json = Anonymized(
      R"({"notes": ["kernel release: 6.1.0", "not read: birch"], "kernelDetail": {"Slab": 7}, "nodes": {
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
   const std::string birch = '"' + pseudonyms.Of("birch") + '"';
   const std::string rowan = '"' + pseudonyms.Of("rowan") + '"';
   const std::string path = '"' + pseudonyms.Of("/vms/birch.conf") + '"';
   for (const std::string &line :
        {R"({"keys":[1],"name":)" + birch + "}", R"({"keys":[2],"name":)" + rowan + "}",
         R"({"keys":[1],"tag":)" + rowan + "}", std::string(R"({"keys":[1],"min":5})"),
         R"({"keys":[1],"displayName":)" + birch + R"(,"configPath":)" + path + "}",
         std::string(R"({"instances":["birch-heap"]})"), std::string(R"({"keys":["birch-heap"],"name":"a"})"),
         std::string(R"("kernel release: 6.1.0")"), std::string(R"("names: anonymized")"),
         std::string(R"("Slab": 7)")}) {
      EXPECT_THAT(json, testing::HasSubstr(line));
   }
   for (const char *name : {"rowan", "\"birch\"", "vms", "ash", "disk", "not read", "reserved"}) {
      EXPECT_THAT(json, testing::Not(testing::HasSubstr(name)));
   }
   // Keys and listings lead to each other still.
   const std::string ash = pseudonyms.Of("ash");
   const std::string disk = pseudonyms.Of("disk");
   EXPECT_THAT(json, testing::AnyOf(testing::HasSubstr(R"({"instances":[)" + rowan + ",\"" + ash + "\"]}"),
                                    testing::HasSubstr(R"({"instances":[")" + ash + "\"," + rowan + "]}")));
   EXPECT_THAT(json, testing::HasSubstr(R"({"keys":[)" + rowan + "]}"));
   EXPECT_THAT(json, testing::HasSubstr(R"({"keys":[")" + ash + R"("],"status":"0x1"})"));
   EXPECT_THAT(json, testing::HasSubstr(R"({"keys":[)" + rowan + R"(],"instances":[")" + disk + "\"]}"));
   EXPECT_THAT(json, testing::HasSubstr(R"({"keys":[")" + ash + R"("],"status":"0x2"})"));
}

} // namespace
