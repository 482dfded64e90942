#include "report/flag_filter.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace {

struct Parsed {
   NevraStatus status;
   uint32_t mask;
   std::string warnings;
};

Parsed Parse(const char *text, const FlagName *table = groupFlagNames, bool isExclusion = false)
{
   Parsed parsed = {0, 0xdeadbeef, ""};
   std::string words = text != nullptr ? text : "";
   testing::internal::CaptureStderr();
   parsed.status =
      ParseFlagFilter(text != nullptr ? words.data() : nullptr, table, &parsed.mask, isExclusion);
   parsed.warnings = testing::internal::GetCapturedStderr();
   return parsed;
}

const std::pair<const char *, uint32_t> kGroupFlags[] = {
   {"pre", 0x1},  {"lf", 0x2},   {"vm", 0x4},    {"uw", 0x8},     {"sys", 0x10},
   {"tw", 0x20},  {"pr", 0x40},  {"sd", 0x80},   {"np", 0x100},   {"ke", 0x200},
   {"ug", 0x400}, {"co", 0x800}, {"sc", 0x1000}, {"vmm", 0x2000}, {"usr", 0x4000}};

TEST(GroupFlagNames, AreTheSchedulersInOrder)
{
   size_t i = 0;
   for (const auto &[name, mask] : kGroupFlags) {
      EXPECT_STREQ(groupFlagNames[i].name, name);
      EXPECT_EQ(groupFlagNames[i].mask, mask);
      EXPECT_EQ(Parse(name).mask, mask);
      EXPECT_EQ(FormatFlagList(mask, groupFlagNames), name);
      i++;
   }
   EXPECT_EQ(groupFlagNames[i].name, nullptr);
}

TEST(UwTypeNames, HaveStandAloneFirst)
{
   EXPECT_EQ(Parse("uw", uwTypeNames).mask, 0x8U);
   EXPECT_EQ(Parse("VM", uwTypeNames).mask, 0x4U);
   EXPECT_EQ(Parse("sys", uwTypeNames).warnings, "Invalid flag (sys) in filter\n");
   EXPECT_EQ(FormatFlagList(0xc, uwTypeNames), "(all)");
   EXPECT_EQ(FormatFlagList(0x4, uwTypeNames), "vm");
   EXPECT_EQ(uwTypeNames[2].name, nullptr);
}

TEST(ParseFlagFilter, IncludesEverythingAndExcludesNothingWithoutAText)
{
   EXPECT_EQ(Parse(nullptr, groupFlagNames, false).mask, 0xffffffffU);
   EXPECT_EQ(Parse(nullptr, groupFlagNames, true).mask, 0U);
}

TEST(ParseFlagFilter, OrsItsWordsInAnyCase)
{
   const Parsed parsed = Parse("vm:UW");
   EXPECT_EQ(parsed.status, 0U);
   EXPECT_EQ(parsed.mask, 0xcU);
   EXPECT_EQ(Parse("vm:vm:Vm").mask, 0x4U);
   EXPECT_EQ(Parse(":usr::pre:").mask, 0x4001U);
}

TEST(ParseFlagFilter, GivesNothingForColonsAlone)
{
   for (const bool isExclusion : {false, true}) {
      EXPECT_EQ(Parse(":", groupFlagNames, isExclusion).mask, 0U);
      EXPECT_EQ(Parse(":::", groupFlagNames, isExclusion).status, 0U);
      EXPECT_EQ(Parse("", groupFlagNames, isExclusion).mask, 0U);
   }
}

TEST(ParseFlagFilter, RefusesAnUnknownWord)
{
   const Parsed parsed = Parse("vm:foo:bar");
   EXPECT_EQ(parsed.status, 0xbad0007U);
   EXPECT_EQ(parsed.mask, 0U);
   EXPECT_EQ(parsed.warnings, "Invalid flag (foo) in filter\n");
   EXPECT_EQ(Parse("vmm2").warnings, "Invalid flag (vmm2) in filter\n");
   EXPECT_EQ(Parse(" vm").warnings, "Invalid flag ( vm) in filter\n");
   EXPECT_EQ(Parse("(all)").status, 0xbad0007U);
}

TEST(FormatFlagList, JoinsInTheOrderOfTheTable)
{
   EXPECT_EQ(FormatFlagList(0x2005, groupFlagNames), "pre:vm:vmm");
   EXPECT_EQ(FormatFlagList(0x7ffe, groupFlagNames), "lf:vm:uw:sys:tw:pr:sd:np:ke:ug:co:sc:vmm:usr");
}

TEST(FormatFlagList, SaysAllAndNone)
{
   EXPECT_EQ(FormatFlagList(0xffffffff, groupFlagNames), "(all)");
   EXPECT_EQ(FormatFlagList(0x7fff, groupFlagNames), "(all)");
   EXPECT_EQ(FormatFlagList(0, groupFlagNames), "(none)");
   EXPECT_EQ(FormatFlagList(0xffff8000, groupFlagNames), "(none)");
   const FlagName empty[] = {{0, nullptr}};
   EXPECT_EQ(FormatFlagList(5, empty), "(all)");
}

TEST(PassesFlagFilter, NeedsABitOfTheOneAndNoneOfTheOther)
{
   EXPECT_TRUE(PassesFlagFilter(0x4, 0xffffffff, 0));
   EXPECT_FALSE(PassesFlagFilter(0, 0xffffffff, 0)); // an entity without flags shares no bit
   EXPECT_FALSE(PassesFlagFilter(0x4, 0x8, 0));
   EXPECT_FALSE(PassesFlagFilter(0x6, 0xffffffff, 0x2));
   EXPECT_TRUE(PassesFlagFilter(0x6, 0x4, 0x8));
}

} // namespace
