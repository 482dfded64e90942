#include "export/clickhouse_schema.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;

constexpr char kMoment[] =
   "(\n"
   "   `host` LowCardinality(String) COMMENT 'Host that the row is of',\n"
   "   `time` DateTime('UTC') COMMENT 'Moment that the row is of',\n"
   "   `report` LowCardinality(String) COMMENT 'Report that the row is from',\n"
   "   `row` Enum8('data' = 1, 'tag' = 2, 'total' = 3) COMMENT 'Kind of row: of one thing, of all with one "
   "tag, of all',\n";

constexpr char kEngine[] = ")\n"
                           "ENGINE = MergeTree\n"
                           "PARTITION BY toDate(time)\n"
                           "ORDER BY (host, time, row);\n";

constexpr char kZipColumns[] =
   "   `name` LowCardinality(String) COMMENT 'Virtual machine name',\n"
   "   `schedGrp` Nullable(UInt64) COMMENT 'Scheduler group ID',\n"
   "   `parSchedGroup` Nullable(UInt64) COMMENT 'Parent scheduler group ID',\n"
   "   `worldGrp` Nullable(Int32) COMMENT 'World group ID',\n"
   "   `totalCache` Nullable(UInt64) COMMENT 'Total compression cache configured (KB)',\n"
   "   `maxCache` Nullable(UInt64) COMMENT 'Maximum compression cache (KB)',\n"
   "   `usedCache` Nullable(UInt64) COMMENT 'Total compression cache used (KB)',\n"
   "   `zipped` Nullable(UInt64) COMMENT 'Total memory compressed (KB)',\n"
   "   `unZipped` Nullable(UInt64) COMMENT 'Total memory decompressed (KB)',\n"
   "   `zipRejected` Nullable(UInt64) COMMENT 'Total memory rejected (KB)',\n"
   "   `nrFreeHalf` Nullable(UInt64) COMMENT 'Total free half pages (count)',\n"
   "   `nrFreeQuarter` Nullable(UInt64) COMMENT 'Total free quarter pages (count)',\n"
   "   `avgZipTime` Nullable(UInt64) COMMENT 'Average compression time in usec (microseconds)',\n"
   "   `avgUnzipTime` Nullable(UInt64) COMMENT 'Average decompression time in usec (microseconds)'\n";

std::string TableOf(const char *report, const char *cluster = "")
{
   return ClickHouseTable(*FindReport(report), cluster);
}

TEST(ClickHouseSchema, HasAColumnForEachOfTheReport)
{
   EXPECT_EQ(TableOf("zip-stats"),
             std::string("CREATE TABLE IF NOT EXISTS hostmem.zip_stats\n") + kMoment + kZipColumns + kEngine);
}

TEST(ClickHouseSchema, SpreadsATableOverACluster)
{
   EXPECT_EQ(TableOf("zip-stats", "my-fleet"),
             std::string("CREATE TABLE IF NOT EXISTS hostmem.zip_stats_local\n") + kMoment + kZipColumns +
                kEngine +
                "CREATE TABLE IF NOT EXISTS hostmem.zip_stats AS hostmem.zip_stats_local\n"
                "ENGINE = Distributed('my-fleet', hostmem, zip_stats_local, cityHash64(host));\n");
}

TEST(ClickHouseSchema, HasATypeForEachKindOfValue)
{
   EXPECT_THAT(TableOf("vm-stats"),
               HasSubstr("   `b` Nullable(UInt8) COMMENT 'Is balloon driver active?',\n"));
   const std::string groups = TableOf("group-stats");
   EXPECT_THAT(groups, HasSubstr("   `flags` Array(String) COMMENT 'Group flags',\n"));
   EXPECT_THAT(groups, HasSubstr("   `parGid` Nullable(Int64) COMMENT 'Parent group ID',\n"));
   EXPECT_THAT(groups, HasSubstr("   `throttlePct` Nullable(UInt32) COMMENT '% of possible time"));
   EXPECT_THAT(TableOf("pmem-region-stats"), HasSubstr("LowCardinality(String)"));
}

TEST(ClickHouseSchema, HasTheColumnsThatOnlyAnOptionShows)
{
   EXPECT_THAT(TableOf("vm-stats"),
               HasSubstr("   `dname` LowCardinality(String) COMMENT 'Virtual machine display name',\n"));
}

TEST(ClickHouseSchema, KeepsTheQuotesOfADescription)
{
   EXPECT_THAT(TableOf("pshare-stats"), HasSubstr("COMMENT 'Client\\'s COWed memory"));
}

TEST(ClickHouseSchema, TakesNamesOfClustersOnly)
{
   EXPECT_TRUE(IsClusterName("my-fleet_2.eu"));
   for (const char *text : {"", "a'b", "a b", "a\\", "a;b", "\xc3\xa9"}) {
      EXPECT_FALSE(IsClusterName(text)) << text;
   }
}

} // namespace
