#include "sysinfo/status.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

constexpr NevraStatus kBase = 0xbad0000;
constexpr NevraStatus kRowCount = 359;

TEST(ReturnStatusToString, GivesThePlatformsTexts)
{
   const std::map<NevraStatus, std::string> kRows = {
      {0, "Success"},
      {1, "Failure"},
      {2, "Would block"},
      {3, "Not found"},
      {4, "Busy"},
      {5, "Already exists"},
      {6, "Limit exceeded"},
      {7, "Bad parameter"},
      {8, "Metadata read error"},
      {9, "Metadata write error"},
      {10, "I/O error"},
      {11, "Read error"},
      {12, "Write error"},
      {13, "Invalid name"},
      {14, "Invalid handle"},
      {20, "Out of memory"},
      {21, "Out of memory (ok to retry)"},
      {49, "Not initialized"},
      {356, "Quota Limit exceeded"},
      {357, "Invalid error code"},
      {358, "Generic service console error"},
   };
   for (const auto &[index, text] : kRows) {
      EXPECT_EQ(ORSKA_ReturnStatusToString(kBase + index), text) << index;
   }
}

TEST(ReturnStatusToString, TakesASmallNumberAsAnIndex)
{
   for (NevraStatus index = 0; index < kRowCount; index++) {
      EXPECT_STREQ(ORSKA_ReturnStatusToString(index), ORSKA_ReturnStatusToString(kBase + index)) << index;
   }
   EXPECT_STREQ(ORSKA_ReturnStatusToString(7), "Bad parameter");
}

TEST(ReturnStatusToString, GivesSuccessForZeroAndForTheBase)
{
   EXPECT_STREQ(ORSKA_ReturnStatusToString(0), "Success");
   EXPECT_STREQ(ORSKA_ReturnStatusToString(0xbad0000), "Success");
}

TEST(ReturnStatusToString, KnowsNoStatusOutsideTheCatalogue)
{
   for (const NevraStatus status :
        {NevraStatus{359}, NevraStatus{360}, NevraStatus{0x7fff}, NevraStatus{0xbacffff},
         NevraStatus{0xbad0167}, NevraStatus{0xbad0168}, NevraStatus{0xbadffff}, NevraStatus{0x2bacffff}}) {
      EXPECT_STREQ(ORSKA_ReturnStatusToString(status), "Unknown status") << std::hex << status;
   }
   EXPECT_STREQ(ORSKA_ReturnStatusToString(358), "Generic service console error");
   EXPECT_STREQ(ORSKA_ReturnStatusToString(0xbad0166), "Generic service console error");
}

TEST(ReturnStatusToString, LeavesTheServiceConsolesStatusesAlone)
{
   for (const NevraStatus status : {0x2bad0000U, 0x2bad0001U, 0x2badffffU, 0x80000000U, 0xffffffffU}) {
      EXPECT_STREQ(ORSKA_ReturnStatusToString(status), "Opaque service console status") << std::hex << status;
   }
}

TEST(ReturnStatusToString, HasAMessageOfItsOwnForEveryRow)
{
   std::set<std::string> texts;
   for (NevraStatus index = 0; index < kRowCount; index++) {
      const char *row = ORSKA_ReturnStatusToString(kBase + index);
      ASSERT_NE(row, nullptr);
      const std::string text = row;
      EXPECT_NE(text, "Unknown status") << index;
      EXPECT_GT(text.size(), 3U) << index;
      EXPECT_TRUE(std::isalpha(static_cast<unsigned char>(text.front()))) << text;
      EXPECT_TRUE(std::none_of(text.begin(), text.end(), [](char c) { return std::iscntrl(c); })) << text;
      EXPECT_TRUE(std::none_of(text.begin(), text.end(), [](char c) { return std::isdigit(c); })) << text;
      std::string folded;
      std::transform(text.begin(), text.end(), std::back_inserter(folded),
                     [](char c) { return static_cast<char>(std::tolower(c)); });
      EXPECT_TRUE(texts.insert(folded).second) << "a copy: " << text;
   }
}

} // namespace
