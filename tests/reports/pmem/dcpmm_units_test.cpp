#include "reports/pmem/dcpmm_units.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

const std::vector<DcpmmSocket> kSockets = {{0, 24}};

TEST(DcpmmUnits, RefuseAnUnknownControlEvent)
{
   testing::internal::CaptureStdout();
   EXPECT_EQ(DcpmmProgramEvent(kSockets[0], {10, 2}, "NO_EVENT"), NEVRA_FAILURE);
   std::fflush(stdout);
   EXPECT_EQ(testing::internal::GetCapturedStdout(), "KelmarDCPMMProgramEvent: Invalid eventName NO_EVENT\n");
}

TEST(DcpmmUnits, RefuseAnUnknownCounter)
{
   testing::internal::CaptureStdout();
   EXPECT_EQ(DcpmmReadCounter(kSockets[0], {10, 2}, "NO_COUNTER", {&kSockets, nullptr}), NEVRA_FAILURE);
   std::fflush(stdout);
   EXPECT_EQ(testing::internal::GetCapturedStdout(), "KelmarDCPMMReadCounters: Invalid event NO_COUNTER\n");
}

} // namespace
