#include "report/banner.h"

#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <string>

const char *CurrentTimeText()
{
   const time_t now = time(nullptr);
   const char *text = ctime(&now);
   return text != nullptr ? text : "\n"; // a clock past the calendar's last year
}

void PrintBannerTitle(const char *title, int ruleLength)
{
   std::printf("\n %s: %s", title, CurrentTimeText());
   std::printf(" %s\n", std::string(static_cast<size_t>(ruleLength), '-').c_str());
}

void PrintBannerStartGroup(uint64_t groupID)
{
   std::printf("   Start Group ID   : %" PRIu64 "\n", groupID);
}

void PrintBannerLevels(uint32_t levels)
{
   std::printf("   No. of levels    : %u\n", levels);
}

void PrintBannerUnit(DisplayUnit unit)
{
   PrintBannerUnit(DisplayUnitName(unit));
}

void PrintBannerUnit(const char *unitName)
{
   std::printf("   Unit             : %s\n", unitName);
}

void PrintBannerFilters(uint32_t inclusionMask, uint32_t exclusionMask, const FlagName *table)
{
   std::printf("   Inclusion filter : %s\n", FormatFlagList(inclusionMask, table).c_str());
   std::printf("   Exclusion filter : %s\n", FormatFlagList(exclusionMask, table).c_str());
}

void PrintBannerSelectedColumns(const ReportColumn *table)
{
   std::printf("   Selected columns : %s\n\n", FormatSelectedColumns(table).c_str());
}
