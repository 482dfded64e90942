#include "reports/pmem/pmem_row.h"

#include <string>

#include "report/banner.h"
#include "report/grid.h"

namespace {

ReportColumn regionStoreColumns[] = {
   {"uuid", "Volume UUID", 40, "s", 1, 0, 1},
   {"alloc2MBlocks", "Allocated 2M Blocks", 10, "lu", 0, 0, 1},
   {"resvd2MBlocks", "Reserved 2M Blocks", 10, "lu", 0, 0, 1},
   {"avail2MBlocks", "Available Reservable 2M Blocks", 10, "lu", 1, 0, 1},
   {"totalRegions", "Total regions in the region store", 10, "lu", 1, 0, 1},
   {"freeRegions", "Free regions in the region store", 10, "lu", 1, 0, 1},
   {"total2MBlocks", "Total 2M Blocks", 10, "lu", 1, 0, 1},
   {"isClean", "Is region store clean ?", 4, "c", 1, 0, 1},
   kEndOfColumns,
};

ReportColumn regionColumns[] = {
   {"uuid", "Volume UUID", 40, "s", 1, 0, 1},
   {"regionUuid", "Region UUID", 40, "s", 1, 0, 1},
   {"size", "Region memory size", 14, "lu", 1, 0, 1},
   {"reserved", "Reserved 2M blocks", 10, "lu", 1, 0, 1},
   {"flags", "Flags", 40, "s", 1, 0, 1},
   {"dataLossCounter", "Data Loss Counter", 10, "lu", 1, 0, 1},
   {"numOpened", "Open count", 10, "lu", 1, 0, 1},
   {"allocated", "Allocated 2m blocks", 10, "lu", 1, 0, 1},
   {"managementTag", "Management Tag", 10, "ld", 1, 0, 1},
   {"numaAffinityMask", "NUMA affinity mask", 20, "s", 1, 0, 1},
   kEndOfColumns,
};

ReportColumn extentColumns[] = {
   {"uuid", "Volume UUID", 40, "s", 1, 0, 1},
   {"extentID", "Extent Number", 10, "lu", 1, 0, 1},
   {"numaNode", "NUMA Node of this extent", 10, "lu", 1, 0, 1},
   {"startBlk", "Starting blocknum of extent", 10, "lu", 1, 0, 1},
   {"endBlk", "Ending blocknum of extent", 10, "lu", 1, 0, 1},
   {"startMPN", "Starting MPN of extent", 10, "lu", 1, 0, 1},
   {"endMPN", "Ending MPN of extent", 10, "lu", 1, 0, 1},
   kEndOfColumns,
};

ReportColumn regionNumaColumns[] = {
   {"uuid", "Volume UUID", 40, "s", 1, 0, 1},
   {"regionUuid", "Region UUID", 40, "s", 1, 0, 1},
   {"numaNode", "NUMA node", 10, "d", 1, 0, 1},
   {"num2MAllocated", "Number of 2M blocks allocated", 10, "lu", 1, 0, 1},
   kEndOfColumns,
};

const char *BannerWord(uint32_t mode)
{
   switch (mode) {
   case PMEM_REGIONSTORE:
      return "REGIONSTORE";
   case PMEM_REGION:
      return "REGION";
   case PMEM_EXTENT:
      return "EXTENT";
   case PMEM_REGION_NUMA:
      return "REGION NUMA";
   default:
      return "UNSUPPORTED";
   }
}

} // namespace

// "noFlags" has no bit and so is never printed: no region shows "(all)", and one without flags shows
// "(none)".
const FlagName regionFlagNames[] = {
   {0, "noFlags"},     {0x1, "allocated"},    {0x2, "dangling"}, {0x4, "locked"},  {0x8, "readOnly"},
   {0x10, "blockDev"}, {0x20, "persistResv"}, {0x40, "system"},  {0x80, "zombie"}, {0, nullptr}};

ReportColumn *PMemColumns(uint32_t mode)
{
   static constexpr ReportColumn *columns[kPmemModeCount] = {regionStoreColumns, regionColumns, extentColumns,
                                                             regionNumaColumns};
   return columns[mode];
}

void PMemPrintBanner(uint32_t mode, bool csvMode, DisplayUnit unit)
{
   const ReportColumn *columns = PMemColumns(mode);
   if (!csvMode) {
      PrintBannerTitle((std::string("PERSISTENT MEMORY ") + BannerWord(mode) + " STATS").c_str(), 49);
      PrintBannerUnit(unit);
      PrintBannerSelectedColumns(columns);
   }
   PrintTableHead(columns, csvMode);
}

void PMemPrintRow(const PMemRow &row, bool csvMode, uint32_t mode)
{
   const uint64_t *values = row.values;
   const ReportColumn *columns = PMemColumns(mode);
   switch (mode) {
   case PMEM_REGIONSTORE:
      PrintReportRow(
         columns, csvMode, false,
         {row.volume, values[0], values[1], values[2], values[3], values[4], values[5], row.isClean});
      break;
   case PMEM_REGION: {
      const std::string flags = FormatFlagList(row.flags, regionFlagNames);
      PrintReportRow(columns, csvMode, false,
                     {row.volume, row.region, values[0], values[1], flags.c_str(), values[2], values[3],
                      values[4], int64_t{row.managementTag}, row.numaAffinityMask});
      break;
   }
   case PMEM_EXTENT:
      PrintReportRow(columns, csvMode, false,
                     {row.volume, values[0], values[1], values[2], values[3], values[4], values[5]});
      break;
   case PMEM_REGION_NUMA:
      PrintReportRow(columns, csvMode, false, {row.volume, row.region, values[0], values[1]});
      break;
   default:
      break;
   }
}
