// Files of earlier format versions. version1.snapshot is the small tree as version 1 had it.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_source.h"
#include "nevra/snapshot/snapshot_verify.h"
#include "tests/nevra/snapshot/small_tree.h"

namespace {

std::vector<uint8_t> Version1()
{
   std::ifstream file(VERSION_1_SNAPSHOT, std::ios::binary);
   return {std::istreambuf_iterator<char>(file), {}};
}

TEST(SnapshotVersion1, IsSoundAndSaysSo)
{
   nevra::SnapshotFile file;
   std::string problem;
   ASSERT_EQ(OpenSnapshotFile(VERSION_1_SNAPSHOT, &file, &problem), NEVRA_OK) << problem;
   EXPECT_EQ(file.version, 1U);
   EXPECT_TRUE(VerifySnapshot(file, &problem)) << problem;
   ASSERT_EQ(OpenSnapshotBytes(SmallSnapshot(), &file, &problem), NEVRA_OK) << problem;
   EXPECT_EQ(file.version, 2U);
}

TEST(SnapshotVersion1, AnswersAsTheSameTreeDoesToday)
{
   std::unique_ptr<nevra::Source> source;
   ASSERT_EQ(nevra::OpenSnapshotSource(VERSION_1_SNAPSHOT, &source), NEVRA_OK);
   EXPECT_EQ(AskEverything(*source), AskEverything(*OpenBytes(SmallSnapshot())));
   EXPECT_EQ(AskRecord(*source, nevra::NodeId::sched_groups_groupName, {-2}), GroupNameBytes("below"));
   EXPECT_EQ(AskList(*source, nevra::NodeId::sched_groups_members_groups, {0}), "0: 7 3");
}

TEST(SnapshotVersion1, FlippedBitIsFound)
{
   const std::vector<uint8_t> whole = Version1();
   std::vector<uint8_t> bytes = whole;
   for (size_t i = 0; i < whole.size(); i++) {
      bytes[i] = static_cast<uint8_t>(whole[i] ^ 1);
      nevra::SnapshotFile file;
      std::string problem;
      ASSERT_FALSE(OpenSnapshotBytes(bytes, &file, &problem) == NEVRA_OK && VerifySnapshot(file, &problem))
         << i;
      bytes[i] = whole[i];
   }
}

} // namespace
