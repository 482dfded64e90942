#include "sysinfo/node_read.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "nevra/operations.h"
#include "nevra/records.h"
#include "tests/nevra/snapshot/fake_source.h"

namespace {

// The platform answers from a fake source; its questions are what has reached it.
class NodeReadTest : public testing::Test {
 protected:
   NodeReadTest()
   {
      auto made = std::make_unique<FakeSource>();
      source = made.get();
      nevra::AnswerFrom(std::move(made));
   }

   NevraStatus ReadPool(std::initializer_list<NodeKey> keys)
   {
      testing::internal::CaptureStderr();
      const NevraStatus status = ReadNode({.node = NEVRA_NODE_memory_lpage_nodeList_vmPools,
                                           .capacity = 2,
                                           .noRecord = {"no record: ", FailureMessage::Number}},
                                          keys, &record, sizeof record);
      said = testing::internal::GetCapturedStderr();
      return status;
   }

   FakeSource *source;
   LPagePoolRecord record = {};
   std::string said;
};

TEST_F(NodeReadTest, KeysReachTheNodeInTheirOrder)
{
   LPagePoolRecord pool = {};
   pool.nrLPages = 7;
   source->PutRecord(nevra::NodeId::memory_lpage_nodeList_vmPools, {3, "anon"}, pool);
   EXPECT_EQ(ReadPool({3, "anon"}), NEVRA_OK);
   EXPECT_EQ(+record.nrLPages, 7u);
   EXPECT_EQ(source->questions, std::vector<std::string>{"memory/lpage/nodeList/vmPools [3, anon]"});
   EXPECT_EQ(said, "");
}

TEST_F(NodeReadTest, RecordThatIsNotThereIsSaid)
{
   EXPECT_EQ(ReadPool({3, "none"}), NEVRA_NOT_FOUND);
   EXPECT_EQ(said, "no record: " + std::to_string(NEVRA_NOT_FOUND) + "\n");
}

// As a listing gives one that says success and has no text.
TEST_F(NodeReadTest, KeyWithoutTextIsRefusedBeforeTheNodeIsAsked)
{
   const char *const none = nullptr;
   EXPECT_EQ(ReadPool({3, {none, {"no key: ", FailureMessage::Reason}}}), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(said, "no key: Bad parameter\n");
   EXPECT_EQ(source->questions, std::vector<std::string>{});
   EXPECT_EQ(ReadPool({3, none}), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(said, "");
   EXPECT_EQ(source->questions, std::vector<std::string>{});
}

} // namespace
