// A program that misuses the platform in the way that its argument names.
#include <cstdint>
#include <cstring>

#include "nevra/nevra.h"

namespace {

void Misuse(const char *how, Nevra_ParamList *list)
{
   int64_t value;
   const char *text;
   char record[64];
   if (std::strcmp(how, "leak") == 0) {
      Nevra_ParamListCreate(NEVRA_LIST_INSTANCE, 2);
   } else if (std::strcmp(how, "destroy-twice") == 0) {
      Nevra_ParamListDestroy(list);
   } else if (std::strcmp(how, "use-after-destroy") == 0) {
      Nevra_ParamListDestroy(list);
      Nevra_ParamListUsedCount(list);
   } else if (std::strcmp(how, "null-list") == 0) {
      Nevra_ParamListUsedCount(nullptr);
   } else if (std::strcmp(how, "destroy-null") == 0) {
      Nevra_ParamListDestroy(nullptr);
   } else if (std::strcmp(how, "past-the-end") == 0) {
      Nevra_ParamListGetInt64(list, 1, &value);
   } else if (std::strcmp(how, "another-type") == 0) {
      Nevra_ParamListGetString(list, 0, &text);
   } else if (std::strcmp(how, "record-size") == 0) {
      Nevra_Get(NEVRA_NODE_sched_groups_groupTag, list, record, sizeof record);
   } else if (std::strcmp(how, "value-list") == 0) {
      Nevra_Set(NEVRA_NODE_hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr, list, list, 0, 0);
   } else if (std::strcmp(how, "remove-from-empty") == 0) {
      Nevra_ParamListRemoveLastParam(list);
      Nevra_ParamListRemoveLastParam(list);
   }
   if (std::strcmp(how, "use-after-destroy") != 0) {
      Nevra_ParamListDestroy(list);
   }
}

} // namespace

int main(int argc, char **argv)
{
   Nevra_ParamList *list = Nevra_ParamListCreate(NEVRA_LIST_INSTANCE, 2);
   Nevra_ParamListAddInt(list, 1);
   Misuse(argc > 1 ? argv[1] : "", list);
   return 0;
}
