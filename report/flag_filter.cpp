#include "report/flag_filter.h"

#include <cstring>

#include <strings.h>

const FlagName groupFlagNames[] = {{GROUP_PREDEFINED, "pre"},
                                   {GROUP_LEAF, "lf"},
                                   {GROUP_VM, "vm"},
                                   {GROUP_USER_WORLD, "uw"},
                                   {GROUP_SYSTEM_WORLD, "sys"},
                                   {GROUP_TEST_WORLD, "tw"},
                                   {GROUP_PROTECTED, "pr"},
                                   {GROUP_SELF_DESTRUCT, "sd"},
                                   {GROUP_NON_PERSISTENT, "np"},
                                   {GROUP_KERNEL_MEMORY, "ke"},
                                   {GROUP_USER_CREATED, "ug"},
                                   {GROUP_CONTAINER, "co"},
                                   {GROUP_SUB_CONTAINER, "sc"},
                                   {GROUP_VMM_SUB_CONTAINER, "vmm"},
                                   {GROUP_UW_SUB_CONTAINER, "usr"},
                                   {0, nullptr}};

const FlagName uwTypeNames[] = {{GROUP_USER_WORLD, "uw"}, {GROUP_VM, "vm"}, {0, nullptr}};

namespace {

const FlagName *FindFlag(const FlagName *table, const char *name)
{
   for (const FlagName *flag = table; flag->name != nullptr; flag++) {
      if (strcasecmp(name, flag->name) == 0) {
         return flag;
      }
   }
   return nullptr;
}

} // namespace

NevraStatus ParseFlagFilter(char *text, const FlagName *table, uint32_t *mask, bool isExclusion)
{
   if (text == nullptr) {
      *mask = isExclusion ? 0 : UINT32_MAX;
      return NEVRA_OK;
   }
   *mask = 0;
   for (char *word = std::strtok(text, ":"); word != nullptr; word = std::strtok(nullptr, ":")) {
      const FlagName *flag = FindFlag(table, word);
      if (flag == nullptr) {
         Warning("Invalid flag (%s) in filter\n", word);
         *mask = 0;
         return NEVRA_BAD_PARAMETER;
      }
      *mask |= flag->mask;
   }
   return NEVRA_OK;
}

std::string JoinFlags(uint32_t mask, const FlagName *table)
{
   std::string names;
   ForEachFlag(mask, table, [&](const char *name) {
      if (!names.empty()) {
         names += ':';
      }
      names += name;
   });
   return names;
}

std::string FormatFlagList(uint32_t mask, const FlagName *table)
{
   const FlagName *flag = table;
   while (flag->name != nullptr && (mask & flag->mask) != 0) {
      flag++;
   }
   if (flag->name == nullptr) {
      return "(all)";
   }
   std::string names = JoinFlags(mask, table);
   return names.empty() ? "(none)" : names;
}
