// Files that somebody made on purpose: every checksum holds, and the content is a lie.
#include <algorithm>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/records.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_format.h"
#include "nevra/snapshot/snapshot_verify.h"
#include "tests/nevra/snapshot/forged_snapshot.h"
#include "tests/nevra/snapshot/small_tree.h"

using nevra::NodeId;
using nevra::snapshot::NodeT;
using nevra::snapshot::SnapshotT;

namespace {

constexpr char kName[] = "sched/groups/groupName";
constexpr char kGroups[] = "sched/groups/members/groups";
constexpr char kPools[] = "memory/lpage/nodeList/vmPools";
constexpr char kStates[] = "sched/globalStats/memory/stateTransitions";

std::string Problem(const std::vector<uint8_t> &bytes)
{
   nevra::SnapshotFile file;
   std::string problem;
   return OpenSnapshotBytes(bytes, &file, &problem) == NEVRA_OK && VerifySnapshot(file, &problem) ? "sound"
                                                                                                  : problem;
}

std::string OpeningProblem(const std::vector<uint8_t> &bytes)
{
   nevra::SnapshotFile file;
   std::string problem;
   return OpenSnapshotBytes(bytes, &file, &problem) == NEVRA_OK ? "opens" : problem;
}

TEST(SnapshotHostile, ForgeryOfNothingIsSound)
{
   const std::vector<uint8_t> bytes = Forge([](SnapshotT *) {});
   EXPECT_EQ(Problem(bytes), "sound");
   EXPECT_EQ(AskEverything(*OpenBytes(bytes)), AskEverything(*OpenBytes(SmallSnapshot())));
}

TEST(SnapshotHostile, VectorsOfOtherLengthsThanTheDirectorySaysAreFoundAtOpening)
{
   const std::function<void(NodeT *)> lies[] = {
      [](NodeT *node) { node->record_count++; },
      [](NodeT *node) { node->record_size++; },
      [](NodeT *node) { node->records.pop_back(); },
      [](NodeT *node) { node->keys.push_back(100); },
      [](NodeT *node) { node->keys.clear(); },
      [](NodeT *node) { node->failed_count = 0; },
      [](NodeT *node) { node->failed_statuses.push_back(NEVRA_FAILURE); },
      [](NodeT *node) { node->list_count = 5; },
      [](NodeT *node) { node->list_count = UINT32_MAX; },
      [](NodeT *node) { node->list_starts.push_back(0); },
      [](NodeT *node) { node->value_count = 1; },
      [](NodeT *node) { node->list_failed_count = 1; },
      [](NodeT *node) { node->record_shape->mutate_count(0); },
      [](NodeT *node) { node->record_shape->mutate_count(7); },
      [](NodeT *node) { node->record_shape->mutate_texts(2); },
   };
   for (const auto &lie : lies) {
      EXPECT_EQ(OpeningProblem(Forge([&](SnapshotT *root) { lie(NodeOf(root, kName)); })),
                "damaged: the vectors of sched/groups/groupName are not as long as the directory says")
         << &lie - lies;
   }
}

TEST(SnapshotHostile, TextsOfOtherLengthsThanTheDirectorySaysAreFoundAtOpening)
{
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->text_count++; })),
             "damaged: the texts are not as long as the directory says");
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->text_bytes.pop_back(); })),
             "damaged: the texts are not as long as the directory says");
}

TEST(SnapshotHostile, NodeGivenTwiceIsFoundAtOpening)
{
   const auto bytes = Forge([](SnapshotT *root) { root->nodes.back()->path = root->nodes.front()->path; });
   EXPECT_EQ(OpeningProblem(bytes), "damaged: sched/groups/members/groups is there twice");
}

TEST(SnapshotHostile, PathThatSpeaksToTheTerminalIsFoundAtOpening)
{
   for (const std::string &path : {std::string("a\033[2Jb"), std::string(), std::string(256, 'a')}) {
      EXPECT_EQ(OpeningProblem(Forge([&](SnapshotT *root) { root->nodes[0]->path = path; })),
                "damaged: the path of a node is none");
   }
}

TEST(SnapshotHostile, MoreNodesThanThereCanBeAreFoundAtOpening)
{
   const auto bytes = Forge([](SnapshotT *root) {
      for (int i = 0; i < 1100; i++) {
         auto node = std::make_unique<NodeT>();
         node->path = "node" + std::to_string(i);
         node->record_shape = std::make_unique<nevra::snapshot::KeyShape>();
         node->list_shape = std::make_unique<nevra::snapshot::KeyShape>();
         root->nodes.push_back(std::move(node));
      }
   });
   EXPECT_EQ(OpeningProblem(bytes), "damaged: the directory is malformed");
}

TEST(SnapshotHostile, HeaderThatIsNoneIsFoundAtOpening)
{
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->definition_signature = "abc"; })),
             "damaged: the definition signature is none");
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->captured = -1; })),
             "damaged: the time of capture is none");
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->captured = 253402300800; })),
             "damaged: the time of capture is none");
}

TEST(SnapshotHostile, OtherFormatVersionIsAVersionMismatch)
{
   nevra::SnapshotFile file;
   std::string problem;
   EXPECT_EQ(OpenSnapshotBytes(Forge([](SnapshotT *root) { root->format_version = 2; }), &file, &problem),
             NEVRA_VERSION_MISMATCH);
   EXPECT_EQ(problem, "format version 2, but this build reads version 1");
}

TEST(SnapshotHostile, ListsThatPointOutsideTheirValuesAreRefused)
{
   const std::vector<std::vector<uint32_t>> lies = {{2, 0, 2}, {0, 2, 3}, {0, UINT32_MAX, 2}, {7, 7, 7}};
   for (const std::vector<uint32_t> &starts : lies) {
      const auto bytes = Forge([&](SnapshotT *root) { NodeOf(root, kGroups)->list_starts = starts; });
      const auto source = OpenBytes(bytes);
      testing::internal::CaptureStderr();
      const std::string first = AskList(*source, NodeId::sched_groups_members_groups, {0});
      const std::string second = AskList(*source, NodeId::sched_groups_members_groups, {3});
      EXPECT_EQ(second, Status(NEVRA_READ_ERROR));
      EXPECT_THAT(first, testing::AnyOf(Status(NEVRA_READ_ERROR), "0: 7 3"));
      EXPECT_EQ(testing::internal::GetCapturedStderr(),
                "small: damaged: sched/groups/members/groups: a list lies outside the values\n");
      EXPECT_EQ(Problem(bytes),
                "damaged: the lists of sched/groups/members/groups point outside their values "
                "or the texts");
   }
}

// The lists of 0 and 3 are asked for, by turns, until one is refused; gives the number of answers.
unsigned AnswersBeforeRefusal(nevra::Source &source, unsigned most)
{
   unsigned answers = 0;
   while (answers < most && AskList(source, NodeId::sched_groups_members_groups,
                                    {answers % 2 == 0 ? 0 : 3}) != Status(NEVRA_READ_ERROR)) {
      answers++;
   }
   return answers;
}

TEST(SnapshotHostile, GroupsThatListAGroupTwiceAreNotWalkedForEver)
{
   const auto source = OpenBytes(Forge([](SnapshotT *root) { NodeOf(root, kGroups)->list_values = {0, 0}; }));
   testing::internal::CaptureStderr();
   // Two lists, sixteen times each.
   EXPECT_EQ(AnswersBeforeRefusal(*source, 1000), 31U);
   EXPECT_EQ(AnswersBeforeRefusal(*source, 1000), 0U);
   EXPECT_EQ(testing::internal::GetCapturedStderr(),
             "small: sched/groups/members/groups: its tree has no end\n");
}

TEST(SnapshotHostile, GroupsThatAreListedOnceAreWalkedAsOftenAsAsked)
{
   EXPECT_EQ(AnswersBeforeRefusal(*OpenBytes(SmallSnapshot()), 1000), 1000U);
   // A group that is its own child is met once a level.
   EXPECT_EQ(AnswersBeforeRefusal(*OpenBytes(Forge([](SnapshotT *root) {
                NodeOf(root, kGroups)->list_values = {0, 3};
             })),
                                  1000),
             1000U);
}

TEST(SnapshotHostile, ListThatPointsOutsideTheTextsIsRefused)
{
   const auto bytes = Forge([](SnapshotT *root) { NodeOf(root, kPools)->list_values[1] = 1000; });
   const auto source = OpenBytes(bytes);
   testing::internal::CaptureStderr();
   EXPECT_EQ(AskList(*source, NodeId::memory_lpage_nodeList_vmPools, {0}), Status(NEVRA_READ_ERROR));
   EXPECT_EQ(testing::internal::GetCapturedStderr(),
             "small: damaged: memory/lpage/nodeList/vmPools: a list points outside the texts\n");
}

TEST(SnapshotHostile, TextsWithoutAnEndAreNotRead)
{
   const auto bytes = Forge([](SnapshotT *root) { root->text_bytes.back() = 'x'; });
   const auto source = OpenBytes(bytes);
   EXPECT_EQ(AskRecord(*source, NodeId::sched_globalStats_memory_stateTransitions, {"high"}),
             Status(NEVRA_NOT_FOUND));
   testing::internal::CaptureStderr();
   EXPECT_EQ(AskList(*source, NodeId::memory_lpage_nodeList_vmPools, {0}), Status(NEVRA_READ_ERROR));
   EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST(SnapshotHostile, TextOffsetsOutsideTheTextsAreNotRead)
{
   const auto bytes = Forge([](SnapshotT *root) {
      for (uint32_t &offset : root->text_offsets) {
         offset += 0x40000000;
      }
   });
   const auto source = OpenBytes(bytes);
   EXPECT_EQ(AskRecord(*source, NodeId::sched_globalStats_memory_stateTransitions, {"high"}),
             Status(NEVRA_NOT_FOUND));
   EXPECT_EQ(Problem(bytes), "damaged: text 0 lies outside the texts");
}

// A snapshot may come from anybody, and what is in it reaches a terminal.
TEST(SnapshotHostile, NamesAreReadWithoutWhatSteersATerminal)
{
   const auto bytes = Forge([](SnapshotT *root) {
      NodeT *node = NodeOf(root, kName);
      const std::string name = "a\x1b[2Jb\xff"
                               "c\xc2\x9bm";
      std::ranges::copy(name, node->records.begin() + node->record_size); // of group 0
   });
   const std::string record = AskRecord(*OpenBytes(bytes), NodeId::sched_groups_groupName, {0});
   EXPECT_STREQ(record.c_str(), "0: a?[2Jb?c??m");
   EXPECT_EQ(record.size(), GroupNameBytes("").size());
   EXPECT_EQ(AskRecord(*OpenBytes(bytes), NodeId::sched_groups_groupName, {3}),
             AskRecord(*OpenBytes(SmallSnapshot()), NodeId::sched_groups_groupName, {3}));
   EXPECT_EQ(Problem(bytes), "sound");
}

TEST(SnapshotHostile, NameWithoutAnEndIsCutOff)
{
   for (const auto &[filled, shown] : {std::pair('\x1b', '?'), {'g', 'g'}}) {
      const auto bytes =
         Forge([byte = filled](SnapshotT *root) { std::ranges::fill(NodeOf(root, kName)->records, byte); });
      EXPECT_EQ(AskRecord(*OpenBytes(bytes), NodeId::sched_groups_groupName, {0}),
                GroupNameBytes(std::string(sizeof(GroupNameRecord) - 1, shown).c_str()));
   }
}

TEST(SnapshotHostile, ListedNameThatSteersATerminalIsRefused)
{
   const auto bytes = Forge([](SnapshotT *root) { root->text_bytes[0] = '\x1b'; });
   const auto source = OpenBytes(bytes);
   testing::internal::CaptureStderr();
   EXPECT_EQ(AskList(*source, NodeId::memory_lpage_nodeList_vmPools, {0}), Status(NEVRA_READ_ERROR));
   EXPECT_EQ(testing::internal::GetCapturedStderr(),
             "small: damaged: memory/lpage/nodeList/vmPools: lists a name that is not fit to be shown\n");
}

TEST(SnapshotHostile, BuildTextIsReadWithoutWhatSteersATerminal)
{
   const auto bytes = Forge([](SnapshotT *root) { root->kernel_build = "1\x1b[2J"; });
   EXPECT_STREQ(OpenBytes(bytes)->KernelBuildText(), "1?[2J");
}

TEST(SnapshotHostile, TextsOutOfOrderAreFoundByVerification)
{
   EXPECT_EQ(Problem(Forge([](SnapshotT *root) { std::swap(root->text_offsets[1], root->text_offsets[2]); })),
             "damaged: text 2 is out of order");
   EXPECT_EQ(Problem(Forge([](SnapshotT *root) { root->text_offsets[1] = root->text_offsets[0]; })),
             "damaged: text 1 is out of order")
      << "the same text twice";
}

TEST(SnapshotHostile, KeysOutsideTheTextsAreFoundByVerification)
{
   EXPECT_EQ(
      Problem(Forge([](SnapshotT *root) { NodeOf(root, kStates)->keys.back() = 1000; })),
      "damaged: the keys of sched/globalStats/memory/stateTransitions are out of order or point outside "
      "the texts");
   EXPECT_EQ(
      Problem(Forge([](SnapshotT *root) { NodeOf(root, kPools)->failed_keys.back() = 1000; })),
      "damaged: the keys of memory/lpage/nodeList/vmPools are out of order or point outside the texts");
   EXPECT_EQ(Problem(Forge([](SnapshotT *root) { NodeOf(root, kGroups)->list_failed_keys[0] = 3; })),
             "damaged: the keys of sched/groups/members/groups are out of order or point outside the texts");
}

TEST(SnapshotHostile, ListsOutsideTheTextsAndListingsThatSucceededToFailAreFoundByVerification)
{
   EXPECT_EQ(Problem(Forge([](SnapshotT *root) { NodeOf(root, kPools)->list_values[1] = 1000; })),
             "damaged: the lists of memory/lpage/nodeList/vmPools point outside their values or the texts");
   EXPECT_EQ(
      Problem(Forge([](SnapshotT *root) { NodeOf(root, kGroups)->list_failed_statuses[0] = NEVRA_OK; })),
      "damaged: a failure of sched/groups/members/groups has the status of success");
}

TEST(SnapshotHostile, UnsortedKeysGiveNotFoundAndNeverAnotherInstance)
{
   const auto bytes = Forge([](SnapshotT *root) {
      std::vector<uint64_t> &keys = NodeOf(root, kName)->keys;
      std::reverse(keys.begin(), keys.end());
   });
   const auto source = OpenBytes(bytes);
   // Reversed, the keys are 7, 3, 0, -2 and the records those of -2, 0, 3, 7.
   EXPECT_THAT(AskRecord(*source, NodeId::sched_groups_groupName, {3}),
               testing::AnyOf(GroupNameBytes("host"), Status(NEVRA_NOT_FOUND)));
   EXPECT_EQ(Problem(bytes),
             "damaged: the keys of sched/groups/groupName are out of order or point outside the texts");
}

TEST(SnapshotHostile, FailureWithTheStatusOfSuccessIsAReadError)
{
   const auto bytes = Forge([](SnapshotT *root) { NodeOf(root, kName)->failed_statuses[0] = NEVRA_OK; });
   EXPECT_EQ(AskRecord(*OpenBytes(bytes), NodeId::sched_groups_groupName, {9}), Status(NEVRA_READ_ERROR));
   EXPECT_EQ(Problem(bytes), "damaged: a failure of sched/groups/groupName has the status of success");
}

TEST(SnapshotHostile, KeyThatIsBothReadAndFailedIsDamage)
{
   const auto bytes = Forge([](SnapshotT *root) { NodeOf(root, kName)->failed_keys[0] = 7; });
   EXPECT_EQ(Problem(bytes),
             "damaged: the keys of sched/groups/groupName are out of order or point outside the texts");
}

// ---- snapshots of a kernel with other definitions

constexpr char kOtherSignature[] = "0123456789abcdef0123456789abcdef";

TEST(SnapshotOfOtherDefinitions, OpensAndSaysSo)
{
   const auto source =
      OpenBytes(Forge([](SnapshotT *root) { root->definition_signature = kOtherSignature; }));
   ASSERT_NE(source, nullptr);
   EXPECT_STREQ(source->Signature(), kOtherSignature);
   EXPECT_STREQ(source->KernelBuildText(), "build 17");
}

TEST(SnapshotOfOtherDefinitions, NodesThatAreDefinedAlikeAnswer)
{
   const auto source =
      OpenBytes(Forge([](SnapshotT *root) { root->definition_signature = kOtherSignature; }));
   EXPECT_EQ(AskEverything(*source), AskEverything(*OpenBytes(SmallSnapshot())));
}

TEST(SnapshotOfOtherDefinitions, RecordOfTheSameSizeButOtherFieldsIsABadParameter)
{
   const auto source = OpenBytes(Forge([](SnapshotT *root) {
      root->definition_signature = kOtherSignature;
      NodeOf(root, kName)->definition++;
   }));
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {0}), Status(NEVRA_BAD_PARAMETER));
   EXPECT_EQ(AskList(*source, NodeId::sched_groups_members_groups, {0}), "0: 7 3");
}

TEST(SnapshotOfOtherDefinitions, RecordOfAnotherSizeIsABadParameterWhateverTheSignature)
{
   for (const char *signature : {nevra::DefinitionSignature(), kOtherSignature}) {
      const auto source = OpenBytes(Forge([&](SnapshotT *root) {
         root->definition_signature = signature;
         NodeT *node = NodeOf(root, kName);
         node->record_size += 4;
         node->records.resize(node->records.size() + 4 * node->record_count);
      }));
      ASSERT_NE(source, nullptr);
      EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {0}), Status(NEVRA_BAD_PARAMETER));
   }
}

TEST(SnapshotOfOtherDefinitions, KeysOfOtherTypesAreABadParameter)
{
   const auto source = OpenBytes(Forge([](SnapshotT *root) {
      NodeOf(root, kName)->record_shape->mutate_texts(1);
      NodeOf(root, kGroups)->lists_texts = true;
   }));
   ASSERT_NE(source, nullptr);
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {0}), Status(NEVRA_BAD_PARAMETER));
   EXPECT_EQ(AskList(*source, NodeId::sched_groups_members_groups, {0}), Status(NEVRA_BAD_PARAMETER));
}

TEST(SnapshotOfOtherDefinitions, UnknownNodesAreLeftAlone)
{
   const auto source = OpenBytes(Forge([](SnapshotT *root) { NodeOf(root, kName)->path = "sched/new"; }));
   ASSERT_NE(source, nullptr);
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {0}), Status(NEVRA_NOT_FOUND));
   EXPECT_EQ(AskList(*source, NodeId::sched_groups_members_groups, {0}), "0: 7 3");
}

} // namespace
