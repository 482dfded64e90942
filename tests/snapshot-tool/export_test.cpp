// Exports of snapshots that this build did not make.
#include <functional>

#include <gtest/gtest.h>

#include "nevra/snapshot/snapshot_verify.h"
#include "tests/nevra/snapshot/forged_snapshot.h"
#include "tests/snapshot-tool/json_kit.h"

using nevra::snapshot::SnapshotT;

namespace {

std::string ExportProblem(const std::vector<uint8_t> &snapshot)
{
   const nevra::SnapshotFile file = Open(snapshot);
   std::string problem;
   EXPECT_TRUE(VerifySnapshot(file, &problem)) << problem;
   const std::string written = Written([&](FILE *output) {
      Progress progress("exporting", stderr, false, std::chrono::steady_clock::now);
      EXPECT_FALSE(ExportSnapshot(file, output, &progress, &problem));
   });
   EXPECT_EQ(written, "");
   return problem;
}

TEST(ExportRefuses, NodesThatThisBuildDefinesOtherwise)
{
   // Under this build's signature, all definitions are this build's.
   EXPECT_EQ(ExportProblem(Forge([](SnapshotT *root) {
                root->definition_signature = "0123456789abcdef0123456789abcdef";
                NodeOf(root, "sched/groups/groupName")->definition++;
             })),
             "cannot be exported: this build defines sched/groups/groupName otherwise");
   EXPECT_EQ(
      ExportProblem(Forge([](SnapshotT *root) { NodeOf(root, "sched/groups/groupName")->path = "new"; })),
      "cannot be exported: this build defines new otherwise");
}

TEST(ExportRefuses, RecordsOfANodeThatHasNone)
{
   EXPECT_EQ(ExportProblem(Forge(
                [](SnapshotT *root) { NodeOf(root, "sched/groups/members/groups")->record_count = 1; })),
             "cannot be exported: this build defines sched/groups/members/groups otherwise");
}

TEST(ExportRefuses, ListsOfANodeThatHasNone)
{
   EXPECT_EQ(ExportProblem(Forge([](SnapshotT *root) {
                nevra::snapshot::NodeT *node = NodeOf(root, "sched/groups/groupName");
                node->list_count = 1;
                node->list_starts = {0, 0};
             })),
             "cannot be exported: this build defines sched/groups/groupName otherwise");
}

TEST(ExportRefuses, NodesThatTheirDefinitionDoesNotBearOut)
{
   const std::function<void(nevra::snapshot::NodeT *)> lies[] = {
      [](nevra::snapshot::NodeT *node) {
         node->record_size += 4;
         node->records.resize(node->records.size() + 4 * node->record_count);
      },
      [](nevra::snapshot::NodeT *node) { node->list_shape->mutate_count(node->list_shape->count() + 1); },
      [](nevra::snapshot::NodeT *node) { node->lists_texts = !node->lists_texts; },
   };
   for (const auto &lie : lies) {
      EXPECT_EQ(ExportProblem(Forge([&](SnapshotT *root) { lie(NodeOf(root, "sched/groups/groupName")); })),
                "cannot be exported: this build defines sched/groups/groupName otherwise");
   }
}

TEST(Export, KeepsTheSignatureOfAKernelWhoseNodesAreDefinedAlike)
{
   const std::vector<uint8_t> snapshot =
      Forge([](SnapshotT *root) { root->definition_signature = "0123456789abcdef0123456789abcdef"; });
   std::vector<uint8_t> again;
   ASSERT_EQ(Import(Export(snapshot), &again), "");
   EXPECT_STREQ(Open(again).signature, "0123456789abcdef0123456789abcdef");
}

TEST(Export, EveryFieldOfARecordHasItsPlaceInTheImportsNotes)
{
   // The import notes the members of an entry in 64 bits, "keys" among them.
   for (const NevraNodeDef &node : nevra::Definitions()) {
      EXPECT_LT(node.record != nullptr ? node.record->fields.size() : 0, 64u) << node.path;
   }
}

} // namespace
