#include "report/banner.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "report/grid.h"
#include "report/output_line.h"

namespace {

constexpr char kSelectedColumns[] = "Selected columns";

void PrintSetting(size_t nameWidth, const char *name, std::string_view value)
{
   std::printf("   %-*s : %.*s\n", static_cast<int>(nameWidth), name, static_cast<int>(value.size()),
               value.data());
}

} // namespace

const char *CurrentTimeText()
{
   const time_t now = time(nullptr);
   const char *text = ctime(&now);
   return text != nullptr ? text : "\n"; // a clock past the calendar's last year
}

void PrintBanner(const TableHead &head)
{
   std::printf("\n %s: %s", head.title, CurrentTimeText());
   std::printf(" %s\n", std::string(static_cast<size_t>(head.ruleLength), '-').c_str());
   size_t nameWidth = std::strlen(kSelectedColumns);
   for (const BannerSetting &setting : head.settings) {
      nameWidth = std::max(nameWidth, std::strlen(setting.name));
   }
   for (const BannerSetting &setting : head.settings) {
      OutputLine value;
      AppendValue(value, setting.value);
      PrintSetting(nameWidth, setting.name, value.View());
   }
   PrintSetting(nameWidth, kSelectedColumns, FormatSelectedColumns(head.columns));
   std::putchar('\n');
}
