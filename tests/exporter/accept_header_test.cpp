// Which format a client gets.
#include <gtest/gtest.h>

#include "exporter/accept_header.h"

namespace {

using exporter::ChooseFormat;

constexpr MetricFormat kOpenMetrics = MetricFormat::OpenMetrics;
constexpr MetricFormat kText = MetricFormat::Text004;

TEST(AcceptHeader, OfPrometheusPrefersOpenMetrics)
{
   EXPECT_EQ(
      ChooseFormat("application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;"
                   "q=0.75,text/plain;version=0.0.4;q=0.5,*/*;q=0.1"),
      kOpenMetrics);
   EXPECT_EQ(ChooseFormat("application/openmetrics-text; version=1.0.0; escaping=allow-utf-8; q=0.6, "
                          "text/plain;version=0.0.4;q=0.4"),
             kOpenMetrics);
   EXPECT_EQ(ChooseFormat("text/plain;version=0.0.4;q=0.5,application/openmetrics-text;version=1.0.0;q=0.3"),
             kText);
}

TEST(AcceptHeader, OfABrowserGetsText)
{
   EXPECT_EQ(ChooseFormat(""), kText);
   EXPECT_EQ(ChooseFormat("*/*"), kText);
   EXPECT_EQ(ChooseFormat("text/html,application/xhtml+xml,application/xml;q=0.9,*/*;q=0.8"), kText);
   EXPECT_EQ(ChooseFormat("image/png"), kText);
   EXPECT_EQ(ChooseFormat("text/*, application/*"), kText) << "which do not name it";
   EXPECT_EQ(ChooseFormat("text/*;q=0.4, application/*"), kOpenMetrics);
}

TEST(AcceptHeader, OfTwoWithOneRatingTheNamedOneIsTaken)
{
   EXPECT_EQ(ChooseFormat("application/openmetrics-text, text/plain"), kOpenMetrics);
   EXPECT_EQ(ChooseFormat("APPLICATION/OpenMetrics-Text, */*"), kOpenMetrics);
}

TEST(AcceptHeader, TheClosestRangeDecides)
{
   EXPECT_EQ(ChooseFormat("application/openmetrics-text;q=0, */*"), kText);
   EXPECT_EQ(
      ChooseFormat("application/openmetrics-text;version=1.0.0;q=0.2, application/openmetrics-text;q=0.9, "
                   "text/plain;q=0.5"),
      kText);
   EXPECT_EQ(ChooseFormat("text/plain;q=0, */*;q=0.1"), kOpenMetrics);
}

TEST(AcceptHeader, AnotherVersionIsAnotherFormat)
{
   EXPECT_EQ(ChooseFormat("application/openmetrics-text;version=0.0.1, text/plain;q=0.1"), kText);
   EXPECT_EQ(ChooseFormat("application/openmetrics-text;version=\"1.0.0\", text/plain;q=0.1"), kOpenMetrics);
}

TEST(AcceptHeader, WhatIsNoRatingMakesARangeNone)
{
   for (const char *rating : {"2", "-1", "nan", "inf", "0x1", "", "1e", "0.5x"}) {
      EXPECT_EQ(ChooseFormat(std::string("application/openmetrics-text;q=") + rating + ", text/plain;q=0.1"),
                kText)
         << rating;
   }
   EXPECT_EQ(ChooseFormat(",,;;=,\"unfinished, application/openmetrics-text"), kText);
}

} // namespace
