#include "recorder/host_sampler.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/nevra/linux/recorded_tree.h"

namespace {

// Each snapshot's library is a new one and knows nothing of the helpers that the former one started.
TEST(HostSampler, ReapsChildrenThatALibraryLeft)
{
   RecordedTree tree;
   tree.HostMemory();
   const pid_t child = fork();
   if (child == 0) {
      _exit(0);
   }
   siginfo_t end = {};
   ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOWAIT), 0);
   recorder::HostSampler sampler(tree.Root(), [](const std::string &) {});
   std::vector<uint8_t> snapshot;
   std::string problem;
   EXPECT_TRUE(sampler.Sample(
      0, [] {}, &snapshot, &problem))
      << problem;
   EXPECT_EQ(waitpid(child, nullptr, WNOHANG), -1);
   EXPECT_EQ(errno, ECHILD);
}

} // namespace
