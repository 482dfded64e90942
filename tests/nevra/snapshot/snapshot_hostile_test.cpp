// Files that somebody made on purpose: every checksum holds, and the content is a lie.
#include <algorithm>
#include <cstring>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/kernel_detail.h"
#include "nevra/records.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_format.h"
#include "nevra/snapshot/snapshot_trailer.h"
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

using Change = std::function<void(SnapshotT *)>;
using Ask = std::function<std::string(nevra::Source &)>;

// Verification and the first read that needs what was changed refuse the file alike, and every later read,
// too.
void ExpectRefused(const Change &change, const std::string &problem, const Ask &ask)
{
   const std::vector<uint8_t> bytes = Forge(change);
   EXPECT_EQ(Problem(bytes), problem);
   const auto source = OpenBytes(bytes);
   ASSERT_NE(source, nullptr);
   testing::internal::CaptureStderr();
   EXPECT_EQ(ask(*source), Status(NEVRA_READ_ERROR));
   EXPECT_EQ(ask(*source), Status(NEVRA_READ_ERROR));
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "small: " + problem + '\n');
}

std::string AskGroups(nevra::Source &source)
{
   return AskList(source, NodeId::sched_groups_members_groups, {0});
}

std::string AskName(nevra::Source &source)
{
   return AskRecord(source, NodeId::sched_groups_groupName, {0});
}

std::string AskPools(nevra::Source &source)
{
   return AskList(source, NodeId::memory_lpage_nodeList_vmPools, {0});
}

std::string AskState(nevra::Source &source)
{
   return AskRecord(source, NodeId::sched_globalStats_memory_stateTransitions, {"high"});
}

TEST(SnapshotHostile, ForgeryOfNothingIsSound)
{
   const std::vector<uint8_t> bytes = Forge([](SnapshotT *) {});
   EXPECT_EQ(Problem(bytes), "sound");
   EXPECT_EQ(AskEverything(*OpenBytes(bytes)), AskEverything(*OpenBytes(SmallSnapshot())));
}

TEST(SnapshotHostile, VectorsThatCannotLieInTheFileAreFoundAtOpening)
{
   const std::function<void(NodeT *)> lies[] = {
      [](NodeT *node) { node->keys.clear(); },
      [](NodeT *node) { node->failed_count = 0; },
      [](NodeT *node) { node->list_count = 5; },
      [](NodeT *node) { node->list_count = UINT32_MAX; },
      [](NodeT *node) { node->list_starts.push_back(0); },
      [](NodeT *node) { node->value_count = 1; },
      [](NodeT *node) { node->list_failed_count = 1; },
      [](NodeT *node) { node->record_size = UINT32_MAX; },
      [](NodeT *node) { node->record_shape->mutate_count(0); },
      [](NodeT *node) { node->record_shape->mutate_count(7); },
      [](NodeT *node) { node->record_shape->mutate_texts(2); },
   };
   for (const auto &lie : lies) {
      EXPECT_EQ(OpeningProblem(Forge([&](SnapshotT *root) { lie(NodeOf(root, kName)); })),
                "damaged: sched/groups/groupName: vector outside the file or of the wrong length")
         << &lie - lies;
   }
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->text_size = 0; })),
             "damaged: texts: vector outside the file or of the wrong length");
}

TEST(SnapshotHostile, VectorsOfOtherLengthsThanTheDirectorySaysAreFoundByTheFirstRead)
{
   ExpectRefused(
      [](SnapshotT *root) {
         NodeT *node = NodeOf(root, kName);
         node->failed_statuses.push_back(NEVRA_FAILURE);
         node->failed_statuses.push_back(NEVRA_FAILURE);
      },
      "damaged: sched/groups/groupName: checksum mismatch", AskName);
   ExpectRefused([](SnapshotT *root) { root->text_size--; }, "damaged: texts: checksum mismatch", AskState);
}

// The checksum is over the length that the directory states and not over the one in front of the vector.
TEST(SnapshotHostile, LengthInFrontOfAVectorIsCheckedByTheFirstRead)
{
   std::vector<uint8_t> bytes = SmallSnapshot();
   const auto *node = nevra::snapshot::GetSnapshot(bytes.data())->nodes()->Get(0);
   const auto *length = reinterpret_cast<const uint8_t *>(node->list_values());
   bytes[static_cast<size_t>(length - bytes.data())]--;
   EXPECT_EQ(OpeningProblem(bytes), "opens");
   EXPECT_EQ(Problem(bytes), "damaged: sched/groups/members/groups: vector length mismatch");
   const auto source = OpenBytes(bytes);
   testing::internal::CaptureStderr();
   EXPECT_EQ(AskGroups(*source), Status(NEVRA_READ_ERROR));
   EXPECT_EQ(testing::internal::GetCapturedStderr(),
             "small: damaged: sched/groups/members/groups: vector length mismatch\n");
}

TEST(SnapshotHostile, DuplicateNodeIsFoundAtOpening)
{
   const auto bytes = Forge([](SnapshotT *root) { root->nodes.back()->path = root->nodes.front()->path; });
   EXPECT_EQ(OpeningProblem(bytes), "damaged: duplicate node sched/groups/members/groups");
}

TEST(SnapshotHostile, PathThatControlsTheTerminalIsFoundAtOpening)
{
   for (const std::string &path : {std::string("a\033[2Jb"), std::string(), std::string(256, 'a')}) {
      EXPECT_EQ(OpeningProblem(Forge([&](SnapshotT *root) { root->nodes[0]->path = path; })),
                "damaged: invalid node path");
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
   EXPECT_EQ(OpeningProblem(bytes), "damaged: malformed directory");
}

TEST(SnapshotHostile, InvalidHeaderIsFoundAtOpening)
{
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->definition_signature = "abc"; })),
             "damaged: invalid definition signature");
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->captured = -1; })),
             "damaged: invalid capture time");
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->captured = 253402300800; })),
             "damaged: invalid capture time");
   const std::string longText(256, 'a');
   EXPECT_EQ(OpeningProblem(Forge([&](SnapshotT *root) { root->host = longText; })),
             "damaged: host name or kernel build too long");
   EXPECT_EQ(OpeningProblem(Forge([&](SnapshotT *root) { root->kernel_build = longText; })),
             "damaged: host name or kernel build too long");
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->notes = std::string(65537, 'a'); })),
             "damaged: notes too long");
}

// The small snapshot, with a field of its header that lies far beyond the directory.
std::vector<uint8_t> ForgePlaceOfField(flatbuffers::voffset_t field)
{
   std::vector<uint8_t> bytes = SmallSnapshot();
   const auto *root =
      reinterpret_cast<const flatbuffers::Table *>(nevra::snapshot::GetSnapshot(bytes.data()));
   const size_t place = static_cast<size_t>(root->GetVTable() - bytes.data()) + field;
   flatbuffers::WriteScalar<flatbuffers::voffset_t>(bytes.data() + place, 0xfff8);
   nevra::SnapshotTrailer trailer;
   nevra::DecodeTrailer(std::span(bytes).last<nevra::kTrailerSize>(), &trailer);
   bytes.resize(bytes.size() - nevra::kTrailerSize);
   const auto fixed = nevra::EncodeTrailer(bytes, trailer.directorySize);
   bytes.insert(bytes.end(), fixed.begin(), fixed.end());
   return bytes;
}

// The sanitizers see who reads one before it is checked.
TEST(SnapshotHostile, FieldBeyondTheDirectoryIsFoundAtOpening)
{
   using nevra::snapshot::Snapshot;
   for (flatbuffers::voffset_t field = Snapshot::VT_FORMAT_VERSION; field <= Snapshot::VT_KERNEL_DETAIL;
        field += sizeof field) {
      EXPECT_EQ(OpeningProblem(ForgePlaceOfField(field)), "damaged: malformed directory") << field;
   }
}

TEST(SnapshotHostile, InvalidKernelDetailIsFoundAtOpening)
{
   for (const std::string &name : {std::string(), std::string("a b"), std::string("a:"),
                                   std::string("a\x1b[2J"), std::string("\xc2\x9b"), std::string("a\0b", 3),
                                   std::string(nevra::kMaxKernelFigureName + 1, 'a')}) {
      EXPECT_EQ(OpeningProblem(Forge([&](SnapshotT *root) { root->kernel_detail[1]->name = name; })),
                "damaged: kernel detail 1: invalid name or amount")
         << name;
   }
   EXPECT_EQ(OpeningProblem(
                Forge([](SnapshotT *root) { root->kernel_detail[2]->kb = nevra::kMaxKernelFigureKB + 1; })),
             "damaged: kernel detail 2: invalid name or amount");
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->kernel_detail[2]->name = "MemTotal"; })),
             "damaged: duplicate kernel detail MemTotal");
}

TEST(SnapshotHostile, MoreKernelDetailThanThereCanBeIsFoundAtOpening)
{
   const auto forge = [](size_t count) {
      return Forge([&](SnapshotT *root) {
         while (root->kernel_detail.size() < count) {
            auto figure = std::make_unique<nevra::snapshot::KernelFigureT>();
            figure->name = "Line" + std::to_string(root->kernel_detail.size());
            root->kernel_detail.push_back(std::move(figure));
         }
      });
   };
   EXPECT_EQ(Problem(forge(nevra::kMaxKernelFigures)), "sound");
   EXPECT_EQ(OpeningProblem(forge(nevra::kMaxKernelFigures + 1)), "damaged: malformed directory");
}

TEST(SnapshotHostile, OtherFormatVersionIsAVersionMismatch)
{
   for (const uint32_t version : {0U, 3U}) {
      nevra::SnapshotFile file;
      std::string problem;
      const auto bytes = Forge([&](SnapshotT *root) { root->format_version = version; });
      EXPECT_EQ(OpenSnapshotBytes(bytes, &file, &problem), NEVRA_VERSION_MISMATCH);
      EXPECT_EQ(problem,
                "format version " + std::to_string(version) + ", but this build reads versions 1 to 2");
   }
}

TEST(SnapshotHostile, ListStartsOutOfOrderAreRefused)
{
   const std::vector<std::vector<uint32_t>> lies = {{2, 0, 2}, {0, 2, 3}, {0, UINT32_MAX, 2},
                                                    {7, 7, 7}, {1, 1, 2}, {0, 1, 1}};
   for (const std::vector<uint32_t> &starts : lies) {
      ExpectRefused([&](SnapshotT *root) { NodeOf(root, kGroups)->list_starts = starts; },
                    "damaged: sched/groups/members/groups: list starts out of order", AskGroups);
   }
}

TEST(SnapshotHostile, ValuesWithoutListsAreRefused)
{
   ExpectRefused(
      [](SnapshotT *root) {
         NodeT *node = NodeOf(root, kGroups);
         node->list_count = 0;
         node->list_keys.clear();
         node->list_starts.clear();
      },
      "damaged: sched/groups/members/groups: list starts out of order", AskGroups);
}

TEST(SnapshotHostile, ListThatPointsOutsideTheTextsIsRefused)
{
   ExpectRefused([](SnapshotT *root) { NodeOf(root, kPools)->list_values[1] = 1000; },
                 "damaged: memory/lpage/nodeList/vmPools: list outside the texts", AskPools);
}

TEST(SnapshotHostile, TextsThatAreNotReadInOneSweepAreRefused)
{
   ExpectRefused([](SnapshotT *root) { root->text_bytes.back() = 'x'; },
                 "damaged: text 3: too long or not terminated", AskState);
   ExpectRefused(
      [](SnapshotT *root) {
         for (uint32_t &offset : root->text_offsets) {
            offset += 0x40000000;
         }
      },
      "damaged: text 0: does not follow the one before", AskState);
   ExpectRefused([](SnapshotT *root) { std::swap(root->text_offsets[1], root->text_offsets[2]); },
                 "damaged: text 1: does not follow the one before", AskState);
   ExpectRefused([](SnapshotT *root) { root->text_offsets[1] = root->text_offsets[0]; },
                 "damaged: text 1: does not follow the one before", AskState);
   ExpectRefused([](SnapshotT *root) { std::swap(root->text_bytes[0], root->text_bytes[5]); },
                 "damaged: text 1: out of order", AskState);
   ExpectRefused(
      [](SnapshotT *root) {
         root->text_bytes.push_back('\0');
         root->text_size++;
      },
      "damaged: texts: bytes after the last text", AskState);
}

// A snapshot may come from anybody, and what is in it reaches a terminal.
TEST(SnapshotHostile, NamesAreReadWithoutWhatSteersATerminal)
{
   const auto bytes = Forge([](SnapshotT *root) {
      NodeT *node = NodeOf(root, kName);
      const std::string name = "a\x1b[2Jb\xff"
                               "c\xc2\x9bm";
      std::ranges::copy(name, node->records.begin()); // of group 0
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
   ExpectRefused([](SnapshotT *root) { root->text_bytes[0] = '\x1b'; },
                 "damaged: text \"?non\": not printable", AskPools);
}

TEST(SnapshotHostile, BuildTextIsReadWithoutWhatSteersATerminal)
{
   const auto bytes = Forge([](SnapshotT *root) { root->kernel_build = "1\x1b[2J"; });
   EXPECT_STREQ(OpenBytes(bytes)->KernelBuildText(), "1?[2J");
}

TEST(SnapshotHostile, KeysOutsideTheTextsAreRefused)
{
   ExpectRefused([](SnapshotT *root) { NodeOf(root, kStates)->keys.back() = 1000; },
                 "damaged: sched/globalStats/memory/stateTransitions: key outside the texts", AskState);
   ExpectRefused([](SnapshotT *root) { NodeOf(root, kPools)->failed_keys.back() = 1000; },
                 "damaged: memory/lpage/nodeList/vmPools: key outside the texts", AskPools);
}

TEST(SnapshotHostile, KeysOutOfOrderAreRefused)
{
   ExpectRefused(
      [](SnapshotT *root) {
         std::vector<uint64_t> &keys = NodeOf(root, kName)->keys;
         std::reverse(keys.begin(), keys.end());
      },
      "damaged: sched/groups/groupName: keys out of order", AskName);
   ExpectRefused([](SnapshotT *root) { NodeOf(root, kName)->keys[1] = NodeOf(root, kName)->keys[0]; },
                 "damaged: sched/groups/groupName: keys out of order", AskName);
   ExpectRefused(
      [](SnapshotT *root) { std::swap(NodeOf(root, kPools)->keys[1], NodeOf(root, kPools)->keys[3]); },
      "damaged: memory/lpage/nodeList/vmPools: keys out of order", AskPools);
}

// The keys of groups are stored as 0, 7, 3, -2.
TEST(SnapshotHostile, OrderThatIsNoneIsRefused)
{
   ASSERT_EQ(Problem(Forge([](SnapshotT *root) {
                ASSERT_EQ(NodeOf(root, kName)->key_order, (std::vector<uint32_t>{3, 0, 2, 1}));
             })),
             "sound");
   for (const std::vector<uint32_t> &order : std::vector<std::vector<uint32_t>>{
           {0, 1, 2, 3}, {3, 0, 0, 1}, {3, 0, 2, 4}, {3, 0, 2, UINT32_MAX}, {1, 2, 0, 3}}) {
      ExpectRefused([&](SnapshotT *root) { NodeOf(root, kName)->key_order = order; },
                    "damaged: sched/groups/groupName: keys out of order", AskName);
   }
   ExpectRefused(
      [](SnapshotT *root) {
         NodeOf(root, kGroups)->list_order = {1, 0};
      },
      "damaged: sched/groups/members/groups: keys out of order", AskGroups);
   ExpectRefused([](SnapshotT *root) { NodeOf(root, kName)->key_order.clear(); },
                 "damaged: sched/groups/groupName: keys out of order", AskName);
   // Version 1 had none.
   EXPECT_EQ(OpeningProblem(Forge([](SnapshotT *root) { root->format_version = 1; })),
             "damaged: sched/groups/groupName: vector outside the file or of the wrong length");
}

TEST(SnapshotHostile, KeyThatIsBothReadAndFailedIsRefused)
{
   ExpectRefused([](SnapshotT *root) { NodeOf(root, kName)->failed_keys[0] = 7; },
                 "damaged: sched/groups/groupName: key answered twice", AskName);
   ExpectRefused([](SnapshotT *root) { NodeOf(root, kGroups)->list_failed_keys[0] = 3; },
                 "damaged: sched/groups/members/groups: key answered twice", AskGroups);
}

TEST(SnapshotHostile, FailureWithTheStatusOfSuccessIsRefused)
{
   ExpectRefused([](SnapshotT *root) { NodeOf(root, kName)->failed_statuses[0] = NEVRA_OK; },
                 "damaged: sched/groups/groupName: failure with the status of success", AskName);
   ExpectRefused([](SnapshotT *root) { NodeOf(root, kGroups)->list_failed_statuses[0] = NEVRA_OK; },
                 "damaged: sched/groups/members/groups: failure with the status of success", AskGroups);
}

// ---- small files that would make big work

void PutGroupLists(SnapshotT *root, const Lists &lists)
{
   PutLists(NodeOf(root, kGroups), lists);
}

TEST(SnapshotWork, ListsThatShareTheirValuesAreRefused)
{
   // 0, M, 0, M, ...: each list would be all values.
   ExpectRefused(
      [](SnapshotT *root) {
         NodeT *node = NodeOf(root, kGroups);
         Lists lists;
         for (uint64_t group = 0; group < 1000; group++) {
            lists.push_back({group, {group + 1}});
         }
         PutGroupLists(root, lists);
         for (size_t i = 0; i < node->list_starts.size(); i++) {
            node->list_starts[i] = i % 2 == 0 ? 0 : 1000;
         }
      },
      "damaged: sched/groups/members/groups: list starts out of order", AskGroups);
}

TEST(SnapshotWork, GroupThatIsListedTwiceIsRefused)
{
   const std::vector<Lists> trees = {
      {{0, {3, 3}}, {3, {}}},
      {{0, {3, 4}}, {3, {5}}, {4, {5}}, {5, {}}},
      {{0, {3, 4}}, {3, {}}, {4, {3}}},
   };
   const char *const groups[] = {"3", "5", "3"};
   for (size_t i = 0; i < trees.size(); i++) {
      ExpectRefused([&](SnapshotT *root) { PutGroupLists(root, trees[i]); },
                    std::string("damaged: sched/groups/members/groups: group ") + groups[i] +
                       " is listed twice",
                    AskGroups);
   }
   // They have no lists of their own.
   ExpectRefused(
      [](SnapshotT *root) {
         PutGroupLists(root, {{0, {7, 3, 5}}, {3, {9, 7}}});
      },
      "damaged: sched/groups/members/groups: group 7 is listed twice", AskGroups);
}

TEST(SnapshotWork, GroupThatIsItsOwnAncestorIsRefused)
{
   ExpectRefused(
      [](SnapshotT *root) {
         PutGroupLists(root, {{0, {0}}});
      },
      "damaged: sched/groups/members/groups: group 0 is below itself", AskGroups);
   ExpectRefused(
      [](SnapshotT *root) {
         PutGroupLists(root, {{0, {}}, {1, {2}}, {2, {3}}, {3, {1}}});
      },
      "damaged: sched/groups/members/groups: group 1 is below itself", AskGroups);
}

TEST(SnapshotWork, TreesInWhateverOrderTheirGroupsAreNumberedAreSound)
{
   // 1 is met as a root before it turns up below 5, and -2 is no descendant of 0.
   const auto bytes = Forge([](SnapshotT *root) {
      PutGroupLists(root,
                    {{static_cast<uint64_t>(-2), {}}, {0, {9}}, {1, {2, 3}}, {3, {}}, {5, {1}}, {9, {5, 4}}});
   });
   EXPECT_EQ(Problem(bytes), "sound");
   EXPECT_EQ(AskList(*OpenBytes(bytes), NodeId::sched_groups_members_groups, {9}), "0: 5 4");
}

TEST(SnapshotWork, ClientOfTwoGroupsIsRefused)
{
   ExpectRefused(
      [](SnapshotT *root) {
         PutGroupLists(root, {{0, {7}}, {3, {7}}});
         NodeOf(root, kGroups)->path = "sched/groups/members/memClients";
         root->definition_signature = nevra::DefinitionSignature();
      },
      "damaged: sched/groups/members/memClients: lists an instance twice",
      [](nevra::Source &source) { return AskList(source, NodeId::sched_groups_members_memClients, {0}); });
}

TEST(SnapshotWork, NameThatIsListedAgainAndAgainIsRefused)
{
   ExpectRefused(
      [](SnapshotT *root) {
         NodeT *node = NodeOf(root, kPools);
         node->list_values.assign(20000, 0);
         node->value_count = 20000;
         node->list_starts.back() = 20000;
      },
      "damaged: memory/lpage/nodeList/vmPools: lists an instance twice", AskPools);
}

TEST(SnapshotWork, TextsThatShareBytesAreRefused)
{
   ExpectRefused(
      [](SnapshotT *root) {
         // Each text would be the end of the one before.
         root->text_bytes.assign(201, 'a');
         root->text_bytes.back() = '\0';
         root->text_offsets.clear();
         for (uint32_t i = 0; i < 200; i++) {
            root->text_offsets.push_back(199 - i);
         }
         root->text_size = 201;
         root->text_count = 200;
      },
      "damaged: text 0: does not follow the one before", AskState);
}

TEST(SnapshotWork, TextLongerThanANameIsRefused)
{
   const auto lengthen = [](size_t length) {
      return [length](SnapshotT *root) {
         root->text_bytes.insert(root->text_bytes.end() - 1, length - 6, 'x'); // of "vmPool"
         root->text_size = static_cast<uint32_t>(root->text_bytes.size());
      };
   };
   EXPECT_EQ(Problem(Forge(lengthen(255))), "sound");
   ExpectRefused(lengthen(256), "damaged: text 3: too long or not terminated", AskState);
}

TEST(SnapshotWork, MoreMemoryNodesThanAHostCanHaveAreRefused)
{
   const auto claim = [](uint32_t count) {
      return [count](SnapshotT *root) {
         NodeT *node = NodeOf(root, "memory/comprehensive");
         MemInfoRecord info = {};
         info.numMemNodes = count;
         node->path = "memory/memInfo";
         node->record_size = sizeof info;
         node->records.resize(sizeof info);
         std::memcpy(node->records.data(), &info, sizeof info);
      };
   };
   EXPECT_EQ(Problem(Forge(claim(nevra::kMaxMemNodes))), "sound");
   ExpectRefused(claim(nevra::kMaxMemNodes + 1),
                 "damaged: memory/memInfo: more memory nodes than a host can have",
                 [](nevra::Source &source) { return AskRecord(source, NodeId::memory_memInfo, {}); });
}

// Nodes that have one vector between them would be read once each.
TEST(SnapshotWork, VectorOfTwoNodesIsFoundAtOpening)
{
   std::vector<uint8_t> bytes = SmallSnapshot();
   nevra::snapshot::Snapshot *root = nevra::snapshot::GetMutableSnapshot(bytes.data());
   auto *flags = root->mutable_nodes()->GetMutableObject(2);
   ASSERT_EQ(flags->path()->str(), "sched/groups/groupFlags");
   uint8_t *keys =
      reinterpret_cast<flatbuffers::Table *>(flags)->GetAddressOf(nevra::snapshot::Node::VT_KEYS);
   const auto *names = reinterpret_cast<const uint8_t *>(root->nodes()->Get(1)->keys());
   flatbuffers::WriteScalar(keys, static_cast<flatbuffers::uoffset_t>(names - keys));
   nevra::SnapshotTrailer trailer;
   const std::span<uint8_t> body = std::span(bytes).first(bytes.size() - nevra::kTrailerSize);
   ASSERT_TRUE(nevra::DecodeTrailer(std::span(bytes).last<nevra::kTrailerSize>(), &trailer));
   const auto sealed = nevra::EncodeTrailer(body, static_cast<size_t>(trailer.directorySize));
   std::ranges::copy(sealed, bytes.end() - nevra::kTrailerSize);
   EXPECT_EQ(OpeningProblem(bytes), "damaged: vectors overlap");
}

TEST(SnapshotWork, DirectoryThatIsMostOfTheFileIsFoundAtOpening)
{
   std::vector<uint8_t> bytes = SmallSnapshot();
   bytes.resize(2 << 20);
   const std::span<uint8_t> body = std::span(bytes).first(bytes.size() - nevra::kTrailerSize);
   const auto trailer = nevra::EncodeTrailer(body, body.size());
   std::ranges::copy(trailer, bytes.end() - nevra::kTrailerSize);
   EXPECT_EQ(OpeningProblem(bytes), "damaged: directory too large");
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
