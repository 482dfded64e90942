// Reports of one moment after the other in one process, and what grew between them.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <stdlib.h>

#include <gtest/gtest.h>

#include "export/answer_from_snapshot.h"
#include "export/growth.h"
#include "nevra/snapshot/snapshot_writer.h"

namespace {

constexpr char kSmallHost[] = SAMPLES "/small-host.snapshot";
constexpr char kLargeHost[] = SAMPLES "/hypervisor-host.snapshot";

std::vector<uint8_t> Contents(const char *path)
{
   std::ifstream file(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(file), {}};
}

SizesByName SizesOf(const char *subject)
{
   SizesByName sizes;
   EXPECT_TRUE(ReadSizes(*FindGrowthSubject(subject), &sizes));
   return sizes;
}

TEST(AnswerFromSnapshot, GoesFromMomentToMoment)
{
   Moment moment;
   std::string problem;
   const std::vector<uint8_t> small = Contents(kSmallHost);
   ASSERT_TRUE(AnswerFromSnapshot(small, &moment, &problem)) << problem;
   EXPECT_EQ(moment.host, "aspen");
   EXPECT_EQ(moment.seconds, 1768478400);
   EXPECT_EQ(SizesOf("vm").size(), 2u);
   ASSERT_TRUE(AnswerFromSnapshotFile(kLargeHost, &moment, &problem)) << problem;
   EXPECT_EQ(SizesOf("vm").size(), 40u);
   ASSERT_TRUE(AnswerFromSnapshot(small, &moment, &problem)) << problem;
   EXPECT_EQ(SizesOf("vm").size(), 2u);
}

TEST(AnswerFromSnapshot, KeepsTheSourceThatItHasWhenTheNextIsNone)
{
   Moment moment;
   std::string problem;
   ASSERT_TRUE(AnswerFromSnapshotFile(kSmallHost, &moment, &problem)) << problem;
   std::vector<uint8_t> cut = Contents(kLargeHost);
   cut.resize(cut.size() / 2);
   EXPECT_FALSE(AnswerFromSnapshot(cut, &moment, &problem));
   EXPECT_NE(problem, "");
   problem.clear();
   EXPECT_FALSE(AnswerFromSnapshotFile("/nowhere", &moment, &problem));
   EXPECT_NE(problem.find("No such file"), std::string::npos) << problem;
   EXPECT_EQ(SizesOf("vm").size(), 2u);
}

TEST(AnswerFromSnapshot, RefusesOtherDefinitions)
{
   nevra::SnapshotTree tree;
   tree.signature = std::string(32, '0');
   nevra::SnapshotImage image;
   std::string problem;
   ASSERT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   Moment moment;
   EXPECT_FALSE(AnswerFromSnapshot(BytesOfImage(image), &moment, &problem));
   EXPECT_EQ(problem, "taken with other node definitions than this program's");
}

std::string Table(const SizesByName &before, const SizesByName &now, size_t top = 20,
                  DisplayUnit unit = UNIT_KB)
{
   char *bytes = nullptr;
   size_t size = 0;
   FILE *file = open_memstream(&bytes, &size);
   PrintGrowth(*FindGrowthSubject("process"), CompareSizes(before, now), top, unit, file);
   std::fclose(file);
   std::string text(bytes, size);
   free(bytes);
   return text.substr(text.find('\n') + 1); // without the heading
}

TEST(Growth, IsSortedAndLeavesOutWhatStayed)
{
   EXPECT_EQ(Table({{"a", {100, 1}}, {"b", {50, 2}}, {"gone", {10, 1}}, {"same", {7, 1}}},
                   {{"a", {90, 1}}, {"b", {75, 3}}, {"new", {1, 1}}, {"same", {7, 1}}}),
             "b                                        50           75           +25      2>3\n"
             "new                                       0            1            +1      0>1\n"
             "a                                       100           90           -10        1\n"
             "gone                                     10            0           -10      1>0\n");
   EXPECT_EQ(Table({{"a", {1, 1}}}, {{"a", {1, 1}}}), "");
}

TEST(Growth, SaysHowManyAreNotShown)
{
   EXPECT_EQ(Table({}, {{"a", {3072, 1}}, {"b", {2048, 1}}, {"c", {1024, 1}}}, 1, UNIT_MB),
             "a                                       0.0          3.0          +3.0      0>1\n"
             "and 2 more that changed\n");
}

TEST(Growth, LinesKeepToEightyColumns)
{
   const std::string name = std::string(100, 'x') + "-end";
   const std::string table = Table({}, {{name, {uint64_t{1} << 36, 9999}}});
   EXPECT_EQ(table.find('\n'), 79u) << table;
   EXPECT_EQ(table.substr(0, 30), "xxxxxxxxxxxxxx..xxxxxxxxxx-end");
}

TEST(Growth, LongNamesAreNotCutWithinACharacter)
{
   std::string name;
   for (int i = 0; i < 40; i++) {
      name += "\xe2\x82\xac"; // the euro sign
   }
   const std::string table = Table({}, {{name, {1, 1}}});
   EXPECT_EQ(table.find('?'), std::string::npos);
   EXPECT_EQ(table.substr(0, 14), "\xe2\x82\xac\xe2\x82\xac\xe2\x82\xac\xe2\x82\xac..");
}

TEST(Growth, NamesCannotSteerATerminal)
{
   EXPECT_EQ(Table({}, {{"\x1b[2J", {1, 1}}}).substr(0, 5), "?[2J ");
}

TEST(Growth, KnowsItsSubjects)
{
   Moment moment;
   std::string problem;
   ASSERT_TRUE(AnswerFromSnapshotFile(kSmallHost, &moment, &problem)) << problem;
   EXPECT_EQ(SizesOf("vm")["rowan"].kb, 1736704u - 54272u); // mapped, less what sharing saves
   EXPECT_EQ(SizesOf("heap")["main"].kb, 1024u);
   EXPECT_EQ(SizesOf("group")["vmm.birch"].kb, 3712u * 1024);
   EXPECT_FALSE(SizesOf("process").empty());
   EXPECT_EQ(FindGrowthSubject("disk"), nullptr);
}

TEST(Growth, ProcessesAreNoGroups)
{
   Moment moment;
   std::string problem;
   ASSERT_TRUE(AnswerFromSnapshotFile(kLargeHost, &moment, &problem)) << problem;
   EXPECT_TRUE(SizesOf("process").contains("sshd"));
   EXPECT_FALSE(SizesOf("group").contains("sshd"));
}

} // namespace
