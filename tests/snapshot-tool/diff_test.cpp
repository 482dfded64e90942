#include "snapshot-tool/snapshot_diff.h"

#include <functional>

#include <gtest/gtest.h>

#include "tests/nevra/snapshot/forged_snapshot.h"
#include "tests/nevra/snapshot/small_tree.h"
#include "tests/snapshot-tool/json_kit.h"

namespace {

std::string Diff(const std::string &left, const std::string &right)
{
   std::vector<uint8_t> leftSnapshot;
   std::vector<uint8_t> rightSnapshot;
   EXPECT_EQ(Import(left, &leftSnapshot), "");
   EXPECT_EQ(Import(right, &rightSnapshot), "");
   const nevra::SnapshotFile leftFile = Open(leftSnapshot);
   const nevra::SnapshotFile rightFile = Open(rightSnapshot);
   return Written([&](FILE *output) {
      Progress progress("comparing", stderr, false, std::chrono::steady_clock::now);
      DiffSnapshots(leftFile, rightFile, output, &progress);
   });
}

std::string Node(const std::string &path, const std::string &content)
{
   return "{\"nodes\": {\"" + path + "\": {" + content + "}}}";
}

TEST(Diff, SameTreesDoNotDiffer)
{
   const std::string json = Export(SmallSnapshot());
   EXPECT_EQ(Diff(json, json), "");
}

TEST(Diff, TimeOfCaptureIsNoDifference)
{
   EXPECT_EQ(Diff(R"({"captured": "2026-01-01T00:00:00Z"})", "{}"), "");
}

TEST(Diff, HeadersAreCompared)
{
   EXPECT_EQ(Diff(R"({"host": "elm", "kernelBuild": "1"})", R"({"host": "oak", "kernelBuild": "2"})"),
             "kernelBuild: \"1\" -> \"2\"\nhost: \"elm\" -> \"oak\"\n");
}

TEST(Diff, KernelDetailIsCompared)
{
   EXPECT_EQ(Diff(R"({"kernelDetail": {"MemTotal": 9, "MemFree": 4, "Bounce": 0}})",
                  R"({"kernelDetail": {"Zswap": 1, "MemFree": 5, "MemTotal": 9}})"),
             "kernelDetail MemFree: 4 -> 5\n"
             "kernelDetail Bounce: only in A\n"
             "kernelDetail Zswap: only in B\n");
   EXPECT_EQ(Diff(R"({"kernelDetail": {"MemTotal": 9, "MemFree": 4}})", "{}"), "kernelDetail: only in A\n");
   EXPECT_EQ(Diff("{}", R"({"kernelDetail": {"MemTotal": 9, "MemFree": 4}})"), "kernelDetail: only in B\n");
}

TEST(Diff, FieldsAreShownWithBothValues)
{
   const char *path = "sched/groups/memAllocationInKB";
   EXPECT_EQ(
      Diff(Node(path, R"("records": [{"keys": [1], "min": -1, "shares": 5}, {"keys": [2]}])"),
           Node(path,
                R"("records": [{"keys": [1], "min": 7, "shares": 5, "reserved32": "01"}, {"keys": [2]}])")),
      "sched/groups/memAllocationInKB [1] min: -1 -> 7\n"
      "sched/groups/memAllocationInKB [1] reserved32: \"\" -> \"01\"\n");
}

TEST(Diff, ElementsOfArraysAreNamed)
{
   const char *path = "system/buddy/comprehensive";
   EXPECT_EQ(Diff(Node(path, R"("records": [{"keys": ["low"], "orders": [{}, {"numFree": 3}]}])"),
                  Node(path, R"("records": [{"keys": ["low"], "orders": [{}, {"numFree": 4}]}])")),
             "system/buddy/comprehensive [\"low\"] orders[1].numFree: 3 -> 4\n");
}

TEST(Diff, InstancesOfOneSideAreNamedWhateverNumbersTheirTextsHave)
{
   const char *path = "system/heaps/stats";
   EXPECT_EQ(Diff(Node(path, R"("records": [{"keys": ["a"]}, {"keys": ["c"]}, {"keys": ["d"], "size": 1}])"),
                  Node(path, R"("records": [{"keys": ["b"]}, {"keys": ["c"]}, {"keys": ["d"], "size": 2}])")),
             "system/heaps/stats [\"a\"]: only in A\n"
             "system/heaps/stats [\"b\"]: only in B\n"
             "system/heaps/stats [\"d\"] size: 1 -> 2\n");
}

TEST(Diff, FailuresAreShownByTheirStatus)
{
   const char *path = "sched/groups/groupName";
   EXPECT_EQ(
      Diff(
         Node(path, R"("records": [{"keys": [1]}], "failures": [{"keys": [2], "status": "0xbad0001"}])"),
         Node(path,
              R"("failures": [{"keys": [1], "status": "0xbad0003"}, {"keys": [2], "status": "0xbad0001"}])")),
      "sched/groups/groupName [1]: status 0x0 -> status 0xbad0003\n");
}

TEST(Diff, ListsAreComparedInTheirOrder)
{
   const char *path = "sched/groups/members/groups";
   EXPECT_EQ(
      Diff(Node(path, R"("lists": [{"keys": [0], "instances": [1, 2]}, {"keys": [1], "instances": []}])"),
           Node(path, R"("lists": [{"keys": [0], "instances": [2, 1]}])")),
      "sched/groups/members/groups [0] instances: [1,2] -> [2,1]\n"
      "sched/groups/members/groups [1] instances: only in A\n");
}

TEST(Diff, NodesOfOneSideAreNamed)
{
   EXPECT_EQ(Diff(Node("sched/globalStats/numVMs", R"("records": [{}])"),
                  Node("system/heaps", R"("lists": [{"instances": []}])")),
             "sched/globalStats/numVMs: only in A\nsystem/heaps: only in B\n");
}

TEST(Diff, FailedListingsAreShownByTheirStatus)
{
   const char *path = "sched/groups/members/groups";
   EXPECT_EQ(Diff(Node(path, R"("lists": [{"keys": [0], "instances": [1]}],
                              "listFailures": [{"keys": [1], "status": 1}, {"keys": [2], "status": 1}])"),
                  Node(path, R"("lists": [{"keys": [1], "instances": []}],
                              "listFailures": [{"keys": [0], "status": 1}, {"keys": [3], "status": 1}])")),
             "sched/groups/members/groups [0] instances: status 0x0 -> status 0x1\n"
             "sched/groups/members/groups [1] instances: status 0x1 -> status 0x0\n"
             "sched/groups/members/groups [2] instances: only in A\n"
             "sched/groups/members/groups [3] instances: only in B\n");
}

// ---- nodes that this build does not know

std::string DiffOfForgeries(const std::function<void(nevra::snapshot::NodeT *)> &left,
                            const std::function<void(nevra::snapshot::NodeT *)> &right)
{
   const auto forge = [](const std::function<void(nevra::snapshot::NodeT *)> &change) {
      return Forge(
         [&](nevra::snapshot::SnapshotT *root) { change(NodeOf(root, "sched/groups/groupFlags")); });
   };
   const nevra::SnapshotFile leftFile = Open(forge(left));
   const nevra::SnapshotFile rightFile = Open(forge(right));
   return Written([&](FILE *output) {
      Progress progress("comparing", stderr, false, std::chrono::steady_clock::now);
      DiffSnapshots(leftFile, rightFile, output, &progress);
   });
}

TEST(Diff, RecordsOfUnknownNodesAreBytes)
{
   // Of the groups -2, 0, 3 and 7, in this order.
   const auto unknown = [](nevra::snapshot::NodeT *node) { node->path = "sched/new"; };
   const auto changed = [](nevra::snapshot::NodeT *node) {
      node->path = "sched/new";
      node->records[2 * 4 + 1] = 0xab;
   };
   EXPECT_EQ(DiffOfForgeries(unknown, unknown), "");
   EXPECT_EQ(DiffOfForgeries(unknown, changed), "sched/new [3]: 04000000 -> 04ab0000\n");
}

TEST(Diff, NodesThatAreDefinedOtherwiseAreNotCompared)
{
   const auto same = [](nevra::snapshot::NodeT *) {};
   const std::function<void(nevra::snapshot::NodeT *)> others[] = {
      [](nevra::snapshot::NodeT *node) { node->definition++; },
      [](nevra::snapshot::NodeT *node) {
         node->record_size = 8;
         node->records.resize(2 * node->records.size());
      },
      [](nevra::snapshot::NodeT *node) { node->record_shape->mutate_texts(1); },
      [](nevra::snapshot::NodeT *node) { node->list_shape->mutate_count(1); },
      [](nevra::snapshot::NodeT *node) { node->lists_texts = !node->lists_texts; },
   };
   for (const auto &other : others) {
      EXPECT_EQ(DiffOfForgeries(same, other), "sched/groups/groupFlags: defined otherwise\n");
   }
}

} // namespace
