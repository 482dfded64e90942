// What a program says that was built without the page.
#include <gtest/gtest.h>

#include "overview/html_page.h"

namespace {

TEST(OverviewWithoutPage, SaysSoInOneLine)
{
   EXPECT_FALSE(overview::HasPage());
   testing::internal::CaptureStderr();
   EXPECT_EQ(
      overview::WriteHtmlPage({.file = "/nonexistent/page.html", .now = {}, .before = {}, .stretch = {}}), 1);
   EXPECT_EQ(testing::internal::GetCapturedStderr(),
             std::string(program_invocation_short_name) +
                ": --html: this build has no page: node, npm, esbuild, tsc or d3-hierarchy was missing\n");
}

} // namespace
