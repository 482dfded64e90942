// The screen: what it shows, and that it stays within its lines and columns.
#include <clocale>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "nevra/shown_text.h"
#include "nevra/values.h"
#include "overview/check.h"
#include "overview/screen.h"
#include "tests/overview/made_up_rows.h"
#include "tests/shell/run_command.h"

namespace {

using overview::Charset;
using overview::HostMoment;
using overview::HostRows;
using overview::ScreenStyle;

class Screen : public ::testing::Test {
 protected:
   void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

std::string WithoutColours(const std::string &line)
{
   std::string plain;
   for (size_t i = 0; i < line.size(); i++) {
      if (line[i] == '\033') {
         i = line.find('m', i);
      } else {
         plain += line[i];
      }
   }
   return plain;
}

void ExpectToFit(const std::string &screen, const ScreenStyle &style)
{
   const std::vector<std::string> lines = SplitLines(screen);
   ASSERT_LT(lines.size(), style.lines) << screen;
   for (const std::string &line : lines) {
      const std::string plain = style.hasColours ? WithoutColours(line) : line;
      ASSERT_TRUE(nevra::IsShownText(plain)) << screen;
      ASSERT_LE(overview::ColumnsOf(plain), style.columns) << screen;
   }
}

HostMoment SampleMoment(const std::string &name)
{
   HostMoment moment;
   EXPECT_TRUE(ReadMoment({.snapshot = SAMPLES "/" + name + ".snapshot", .folder = {}, .time = {}}, &moment));
   moment.of.source = name + ".snapshot";
   return moment;
}

std::string ScreenOf(const HostMoment &now, const ScreenStyle &style, const HostMoment *before = nullptr)
{
   return MakeScreen(MakeOverview(now, before, {}), style);
}

TEST_F(Screen, ShowsAHostAtAGlance)
{
   EXPECT_EQ(ScreenOf(SampleMoment("hypervisor-host"), {.charset = Charset::Utf8}),
             R"(hazel  2026-03-17T03:00:00Z  hypervisor-host.snapshot         memory state Clear
768.0 GB of memory, 158.5 GB free

in use                  ███████████████████████████████          594.3 GB   77 %
  VMs                   ██████████████████████████████▏          579.5 GB   75 %
  3 others              ▊                                         14.9 GB  1.9 %
free                    ████████▎                                158.5 GB   21 %
kernel                  ▋                                         12.5 GB  1.6 %
firmware                ▏                                          1.0 GB  0.1 %
unaccounted             ▏                                          1.6 GB  0.2 %

VMs 40, 579.5 GB           groups 5                   processes 16, 1.7 GB
db-01            59.1 GB   machine         579.5 GB   managerd        640.4 MB
db-02            50.6 GB   system           21.0 GB   agentd          310.7 MB
db-03            46.4 GB   daemons           4.0 GB   stord           220.7 MB
db-05            45.5 GB   user              2.0 GB   monitord        181.0 MB
db-06            44.8 GB   test                0 KB   backup           76.0 MB

swapped  743.1 MB of 2 VMs, 2 swapping now: app-05 565.0 MB, vdi-03 178.1 MB

warn  vdi-03 has 178.1 MB swapped, 4.3 % of its memory, and is swapping     (+1)
warn  app-02 gave 2.0 GB to its balloon, 12 % of its memory                 (+5)
note  memory state is Clear: 158.5 GB of 768.0 GB is free
)");
}

TEST_F(Screen, HasTheLinesAndColumnsOfTheTerminal)
{
   for (const char *name : {"small-host", "hypervisor-host"}) {
      const HostMoment now = SampleMoment(name);
      for (const size_t columns : {60, 80, 81, 132, 300}) {
         for (const size_t lines : {20, 24, 25, 40, 60, 200}) {
            for (const bool hasColours : {false, true}) {
               const ScreenStyle style = {
                  .columns = columns, .lines = lines, .hasColours = hasColours, .charset = Charset::Utf8};
               ExpectToFit(ScreenOf(now, style), style);
               ExpectToFit(ScreenOf(now, style, &now), style);
            }
         }
      }
   }
}

TEST_F(Screen, ShowsTheWorstOnALowAndNarrowTerminal)
{
   HostMoment now = SampleMoment("small-host");
   now.of.moment.host = "a-host-whose-name-is-long-01";
   EXPECT_EQ(ScreenOf(now, {.columns = 60, .lines = 20}),
             R"(a-host-..long-01  2026-01-15T12:00:00Z    memory state Clear
8.0 GB of memory, 1.0 GB free

in use                  ################       6.5 GB   81 %
free                    ###                    1.0 GB   12 %
kernel                  #                    244.0 MB  3.0 %
firmware                #                      2.0 MB  0.0 %
unaccounted             #                    266.0 MB  3.2 %

VMs 2, 5.5 GB        groups 2             processes 2, 112..
birch       3.8 GB   machine     5.5 GB   logger     96.0 MB
rowan       1.8 GB   system    640.0 MB   shell      16.0 MB

swapped  12.0 MB of 1 VM, 1 swapping now: rowan 12.0 MB

CRIT  emu.birch uses 128.0 MB, 100 % of its limit of 128.0..
warn  rowan has 12.0 MB swapped, 0.6 % of its memory, and ..
warn  rowan gave 64.0 MB to its balloon, 3.1 % of its memory
note  memory state is Clear: 1.0 GB of 8.0 GB is free   (+2)
)");
}

TEST_F(Screen, HasThemForAnyHostAndAnyNames)
{
   std::mt19937_64 random(11);
   for (int run = 0; run < 40; run++) {
      HostMoment before = {.of = {.moment = {"former", 0}, .source = "file", .notRead = {}, .detail = {}},
                           .rows = MakeUpRows(&random)};
      HostMoment now = {
         .of = {.moment = {"\033]0;host\007 日本語 a host with a long name, longer than most", 1},
                .source = std::string(200, '/') + "\n\u202e日本語",
                .notRead = {"a note that was kept\n"},
                .detail = {}},
         .rows = MakeUpRows(&random)};
      now.of.detail = MakeUpDetail(now.rows, &random);
      for (const Charset charset : {Charset::Ascii, Charset::Utf8}) {
         for (const std::optional<DisplayUnit> unit :
              {std::optional<DisplayUnit>(), std::optional(UNIT_KB)}) {
            for (const size_t columns : {60, 80, 200}) {
               const ScreenStyle style = {.columns = columns,
                                          .lines = columns == 60 ? size_t{20} : size_t{24},
                                          .hasColours = run % 2 == 0,
                                          .charset = charset,
                                          .unit = unit};
               ExpectToFit(ScreenOf(now, style), style);
               ExpectToFit(ScreenOf(now, style, &before), style);
            }
            const std::string list = MakeFindingList(MakeOverview(now, &before, {}), {});
            for (const std::string &line : SplitLines(list)) {
               ASSERT_TRUE(nevra::IsShownText(line)) << line;
            }
            const std::string check = CheckLine(MakeOverview(now, &before, {}), charset);
            ASSERT_TRUE(nevra::IsShownText(check)) << check;
            ASSERT_EQ(check.find('|'), check.rfind('|')) << check;
         }
      }
   }
}

TEST_F(Screen, IsAsciiWithoutUtf8)
{
   const std::string screen = ScreenOf(SampleMoment("hypervisor-host"), {});
   EXPECT_EQ(screen.find_first_of("\x80\xe2\xff"), std::string::npos);
   EXPECT_NE(screen.find("in use                  ###############################"), std::string::npos)
      << screen;
}

TEST_F(Screen, HasColoursOnlyWhereTheyAreWanted)
{
   const HostMoment now = SampleMoment("small-host");
   EXPECT_EQ(ScreenOf(now, {}).find('\033'), std::string::npos);
   const std::string screen = ScreenOf(now, {.hasColours = true});
   EXPECT_NE(screen.find("\033[1;31mCRIT  \033[0m"), std::string::npos) << screen;
   std::string plain;
   for (const std::string &line : SplitLines(screen)) {
      plain += WithoutColours(line);
      plain.erase(plain.find_last_not_of(' ') + 1);
      plain += "\n";
   }
   EXPECT_EQ(plain, ScreenOf(now, {}));
}

TEST_F(Screen, ShowsWhatChangedSinceAMomentBefore)
{
   const HostMoment before = SampleMoment("small-host");
   HostMoment now = SampleMoment("small-host");
   now.of.moment.seconds += 3600;
   now.rows.host->free -= 100 << 10;
   now.rows.host->otherClients += 100 << 10;
   now.rows.groups[5].consumed += 90 << 10;     // birch
   now.rows.groups.back().consumed += 10 << 10; // shell
   now.rows.groups.push_back(
      {.gid = 99, .parent = 0, .name = "new", .consumed = 512, .flags = GROUP_USER_WORLD});
   EXPECT_EQ(ScreenOf(now, {.charset = Charset::Utf8}, &before),
             R"(aspen  2026-01-15T13:00:00Z  small-host.snapshot              memory state Clear
8.0 GB of memory, 924.0 MB free; changes since 2026-01-15T12:00:00Z

in use                  ████████████████████████▊        6.6 GB   82 % +100.0 MB
  VMs                   █████████████████████            5.6 GB   70 %  +90.0 MB
  3 others              ███▊                             1.0 GB   13 %  +10.0 MB
free                    ███▍                           924.0 MB   11 % -100.0 MB
kernel                  ▉                              244.0 MB  3.0 %
firmware                ▏                                2.0 MB  0.0 %
unaccounted             █                              266.0 MB  3.2 %

VMs 2, growth              groups 2, growth           processes 3, growth
birch           +90.0 MB   none                       shell           +10.0 MB
                                                      new              +512 KB

swapped  12.0 MB of 1 VM, 1 swapping now: rowan 12.0 MB

CRIT  emu.birch uses 128.0 MB, 100 % of its limit of 128.0 MB
warn  birch uses 3.8 GB, 96 % of its limit of 4.0 GB
warn  rowan has 12.0 MB swapped, 0.6 % of its memory, and is swapping
warn  rowan gave 64.0 MB to its balloon, 3.1 % of its memory
note  memory state is Clear: 924.0 MB of 8.0 GB is free
note  rowan has reached its limit of 2.0 GB, and uses 1.8 GB now
)");
}

TEST_F(Screen, ShowsWhatCouldNotBeRead)
{
   HostMoment now = SampleMoment("small-host");
   now.of.notRead = {"/proc/slabinfo: Permission denied; heaps are not shown", "another"};
   const std::vector<std::string> lines = SplitLines(ScreenOf(now, {}));
   EXPECT_EQ(lines[2], "not read: /proc/slabinfo: Permission denied; heaps are not shown            (+1)");
   const std::string list = MakeFindingList(MakeOverview(now, nullptr, {}), {});
   EXPECT_NE(list.find("\nnot read  another\n"), std::string::npos) << list;
}

TEST_F(Screen, TakesTheUnitThatIsAskedFor)
{
   const std::vector<std::string> lines =
      SplitLines(ScreenOf(SampleMoment("hypervisor-host"), {.unit = UNIT_KB}));
   EXPECT_EQ(lines[1], "805306368 KB of memory, 166208628 KB free");
   EXPECT_EQ(lines[3], "in use                  ############################         623213452 KB   77 %");
}

// The heaps come from a file, and there may be as many as it has room for.
TEST_F(Screen, SumsTheChangesOfManyHeapsInOneRow)
{
   HostMoment now = {.of = {.moment = {"host", 0}, .source = "file", .notRead = {}, .detail = {}},
                     .rows = PlainRows()};
   for (int i = 0; i < 100'000; i++) {
      now.rows.heaps.push_back({.name = std::to_string(i), .size = 1});
   }
   HostMoment before = now;
   now.rows.heaps.back().size = 8;
   const std::string screen = ScreenOf(now, {.lines = 60}, &before);
   EXPECT_NE(screen.find("\n    99996 others "), std::string::npos) << screen;
   EXPECT_NE(screen.find(" +7 KB\n"), std::string::npos) << screen;
}

TEST_F(Screen, ShowsWhatIsBeyondTheTotalInFull)
{
   HostMoment now = {.of = {.moment = {"host", 0}, .source = "file", .notRead = {}, .detail = {}},
                     .rows = PlainRows()};
   now.rows.host->buddyOvhd = 900 << 10;
   const std::string screen = ScreenOf(now, {});
   EXPECT_NE(
      screen.find("\nbeyond the total                                                -404.0 MB -4.9 %\n"),
      std::string::npos)
      << screen;
}

TEST_F(Screen, SaysThatNothingWasFound)
{
   HostMoment now = {.of = {.moment = {"host", 0}, .source = "file", .notRead = {}, .detail = {}},
                     .rows = PlainRows()};
   const std::vector<std::string> lines = SplitLines(ScreenOf(now, {}));
   EXPECT_EQ(lines.back(), "no findings");
   EXPECT_EQ(MakeFindingList(MakeOverview(now, nullptr, {}), {}), "no findings\n");
}

TEST_F(Screen, CountsTheFindingsThatHaveNoLine)
{
   HostMoment now = {.of = {.moment = {"host", 0}, .source = "file", .notRead = {}, .detail = {}},
                     .rows = PlainRows()};
   now.of.notRead = {"one line less for findings"};
   now.rows.host->memState = "Clear";
   for (const uint64_t gid : {1, 2, 3}) {
      now.rows.vms.push_back({.gid = gid, .name = "vm", .memSize = 1 << 20, .swapped = 1 << 10});
   }
   now.rows.vms.front().ballooned = 1 << 10;
   now.rows.groups.front().conResv = 9 << 20;
   now.rows.pools = {{.name = "pool", .node = 0, .size = 1 << 20, .free = 1 << 20}};
   now.rows.heaps = {{.name = "heap", .size = 400 << 10}};
   now.rows.groups.push_back(
      {.gid = 9, .parent = 0, .name = "group", .max = 1 << 20, .consumedPeak = 1 << 20});
   const std::vector<std::string> lines = SplitLines(ScreenOf(now, {.lines = 20}));
   EXPECT_EQ(lines[lines.size() - 5],
             "warn  vm has 1.0 MB swapped, 0.1 % of its memory                            (+2)");
   EXPECT_EQ(lines[lines.size() - 4], "warn  vm gave 1.0 MB to its balloon, 0.1 % of its memory");
   EXPECT_EQ(lines.back(),
             "note  memory state is Clear: 4.0 GB of 8.0 GB is free                       (+2)");
}

TEST_F(Screen, ListsFindingsUncut)
{
   HostMoment now = {.of = {.moment = {"host", 0}, .source = "file", .notRead = {}, .detail = {}},
                     .rows = PlainRows()};
   const std::string name(63, 'n');
   now.rows.vms.push_back({.gid = 1, .name = name, .memSize = 1 << 20, .swapped = 1 << 10});
   EXPECT_EQ(MakeFindingList(MakeOverview(now, nullptr, {}), {.columns = 60}),
             "warning   " + name +
                " has 1.0 MB swapped, 0.1 % of its memory\n          hostmem -r swap-stats\n");
}

TEST(CheckLine, IsUnknownWhereAReportFailedAndTheOthersGiveNoWarning)
{
   HostMoment now = {.of = {.moment = {"host", 0}, .source = "file", .notRead = {}, .detail = {}},
                     .rows = PlainRows()};
   now.rows.notRead = {"a|b: not read"};
   EXPECT_EQ(CheckStatus(MakeOverview(now, nullptr, {})), 0) << "the host does not show it to all";
   now.rows.hasFailure = true;
   EXPECT_EQ(CheckLine(MakeOverview(now, nullptr, {}), Charset::Ascii),
             "HOSTMEM UNKNOWN - not read: a?b: not read | free=4194304KB;;;0;8388608");
   EXPECT_EQ(CheckStatus(MakeOverview(now, nullptr, {})), 3);
   now.rows.host->memState = "Soft";
   EXPECT_EQ(CheckStatus(MakeOverview(now, nullptr, {})), 1);
}

TEST(CheckLine, SaysTheWorstAndHowManyOthersThereAre)
{
   HostMoment now = {.of = {.moment = {"host", 0}, .source = "file", .notRead = {}, .detail = {}},
                     .rows = PlainRows()};
   EXPECT_EQ(CheckLine(MakeOverview(now, nullptr, {}), Charset::Ascii),
             "HOSTMEM OK - 4.0 GB of 8.0 GB free | free=4194304KB;;;0;8388608");
   EXPECT_EQ(CheckStatus(MakeOverview(now, nullptr, {})), 0);
   now.rows.host->memState = "Clear";
   EXPECT_EQ(CheckStatus(MakeOverview(now, nullptr, {})), 0) << "a note asks for nothing";
   now.rows.vms.push_back({.gid = 1, .name = "a|b", .memSize = 1 << 20, .swapped = 1 << 10});
   now.rows.vms.push_back({.gid = 2, .name = "c", .memSize = 1 << 20, .swapped = 1 << 9});
   EXPECT_EQ(
      CheckLine(MakeOverview(now, nullptr, {}), Charset::Ascii),
      "HOSTMEM WARNING - a?b has 1.0 MB swapped, 0.1 % of its memory (+1) | free=4194304KB;;;0;8388608");
   EXPECT_EQ(CheckStatus(MakeOverview(now, nullptr, {})), 1);
   now.rows.host->memState = "Low";
   EXPECT_EQ(CheckStatus(MakeOverview(now, nullptr, {})), 2);
}

} // namespace
