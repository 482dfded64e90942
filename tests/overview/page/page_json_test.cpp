// What stands in the page of texts, accounts, tables and moments of a recording.
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "overview/page_account.h"
#include "overview/page_data.h"
#include "overview/page_table.h"
#include "overview/page_text.h"
#include "overview/page_timeline.h"
#include "tests/overview/page/json_at.h"

namespace {

using overview::AccountItem;
using overview::Cell;
using overview::CollectedTable;

std::string Written(const std::function<void(JsonWriter &)> &write)
{
   JsonBuffer buffer;
   JsonWriter out(buffer);
   write(out);
   return {buffer.GetString(), buffer.GetSize()};
}

std::string TextWritten(std::string_view text)
{
   return Written([text](JsonWriter &out) { overview::WriteText(out, text); });
}

TEST(PageText, NothingInItEndsAScriptElement)
{
   EXPECT_EQ(overview::EscapeForScript("{\"a\":\"</script><!--&amp;\"}"),
             "{\"a\":\"\\u003c/script\\u003e\\u003c!--\\u0026amp;\"}");
   EXPECT_EQ(overview::EscapeForScript("\xe2\x80\xa8|\xe2\x80\xa9|\xe2\x80\xaa|\xe2\x80"),
             "\\u2028|\\u2029|\xe2\x80\xaa|\xe2\x80");
   EXPECT_EQ(overview::EscapeForScript(""), "");
}

TEST(PageText, IsFitToBeShown)
{
   EXPECT_EQ(TextWritten("elm \"<b>\""), "\"elm \\\"<b>\\\"\"");
   EXPECT_EQ(TextWritten("a\x1b[2J\nb"), "\"a?[2J?b\"");
   EXPECT_EQ(TextWritten("\xe2\x80\xae"
                         "abc"),
             "\"???abc\"");
   EXPECT_EQ(TextWritten("\xff"), "\"\xef\xbf\xbd\"");
}

TEST(PageText, IsCutBetweenCharacters)
{
   const std::string text = std::string(overview::kLongestText - 1, 'x') + "\xc3\xa4 and more";
   EXPECT_EQ(TextWritten(text), '"' + std::string(overview::kLongestText - 1, 'x') + "\xef\xbf\xbd\"");
}

TEST(PageText, IntegersThatJavaScriptWouldRoundAreTexts)
{
   const auto written = [](uint64_t value) {
      return Written([value](JsonWriter &out) { overview::WriteUnsigned(out, value); });
   };
   const auto writtenSigned = [](int64_t value) {
      return Written([value](JsonWriter &out) { overview::WriteSigned(out, value); });
   };
   EXPECT_EQ(written(9007199254740991), "9007199254740991");
   EXPECT_EQ(written(9007199254740992), "\"9007199254740992\"");
   EXPECT_EQ(written(UINT64_MAX), "\"18446744073709551615\"");
   EXPECT_EQ(writtenSigned(-9007199254740991), "-9007199254740991");
   EXPECT_EQ(writtenSigned(-9007199254740992), "\"-9007199254740992\"");
   EXPECT_EQ(writtenSigned(INT64_MIN), "\"-9223372036854775808\"");
}

// The account

AccountItem Item(const std::string &name, int64_t kb, std::vector<AccountItem> parts = {})
{
   AccountItem item;
   item.name = name;
   item.kb = kb;
   item.parts = std::move(parts);
   return item;
}

std::string AccountWritten(const AccountItem &now, const AccountItem *before = nullptr,
                           overview::AccountBounds bounds = {.parts = 50, .items = 1000})
{
   return Written([&](JsonWriter &out) { overview::WriteAccount(out, now, before, bounds, true); });
}

TEST(PageAccount, HasPartsWithExplanationsAndDifferences)
{
   AccountItem rest = Item("unaccounted", -2);
   rest.isDifference = true;
   AccountItem group = Item("elm", 12);
   group.group = 7;
   group.explanation = "VM";
   EXPECT_EQ(AccountWritten(Item("host", 10, {group, rest})),
             R"({"name":"host","kb":10,"parts":[{"name":"elm","explanation":"VM","kb":12,"group":7},)"
             R"({"name":"unaccounted","kb":-2,"isDifference":true}]})");
}

TEST(PageAccount, HasWhatItWasBeforeAndWhatHasGone)
{
   const AccountItem before = Item("host", 30, {Item("oak", 10), Item("elm", 20)});
   const AccountItem now = Item("host", 33, {Item("elm", 25), Item("ash", 8)});
   EXPECT_EQ(AccountWritten(now, &before),
             R"({"name":"host","kb":33,"before":30,"parts":[{"name":"elm","kb":25,"before":20},)"
             R"({"name":"ash","kb":8,"before":0},{"name":"oak","kb":0,"before":10}]})");
}

TEST(PageAccount, WhatHadNoPartsBeforeHasNoChangesOfThem)
{
   const AccountItem before = Item("host", 30);
   EXPECT_EQ(AccountWritten(Item("host", 33, {Item("elm", 25), Item("ash", 8)}), &before),
             R"({"name":"host","kb":33,"before":30,"parts":[{"name":"elm","kb":25},{"name":"ash","kb":8}]})");
}

TEST(PageAccount, TheSmallestOfTooManyAreTogether)
{
   const AccountItem now =
      Item("host", 106, {Item("a", 1), Item("b", 100), Item("c", 2), Item("d", -7), Item("e", 10)});
   EXPECT_EQ(AccountWritten(now, nullptr, {.parts = 3, .items = 1000}),
             R"({"name":"host","kb":106,"parts":[{"name":"b","kb":100},{"name":"e","kb":10},)"
             R"({"name":"3 others","explanation":"the smallest ones together","kb":-4}]})");
}

TEST(PageAccount, ItemsBeyondTheBoundHaveNoParts)
{
   const AccountItem now = Item("host", 3, {Item("a", 1, {Item("a1", 1)}), Item("b", 2, {Item("b1", 2)})});
   EXPECT_EQ(AccountWritten(now, nullptr, {.parts = 50, .items = 3}),
             R"({"name":"host","kb":3,"parts":[{"name":"a","kb":1},{"name":"b","kb":2}]})");
}

AccountItem RandomAccount(std::mt19937 *random, int levels)
{
   AccountItem item = Item("item " + std::to_string((*random)() % 20), 0);
   const size_t parts = levels > 0 ? (*random)() % 9 : 0;
   for (size_t i = 0; i < parts; i++) {
      item.parts.push_back(RandomAccount(random, levels - 1));
      item.kb += item.parts.back().kb;
   }
   if (parts == 0) {
      item.kb = static_cast<int64_t>((*random)() % 1000) - 200;
   }
   return item;
}

// Items below are counted in `*items`.
void ExpectSums(const rapidjson::Value &item, size_t *items)
{
   (*items)++;
   if (!item.HasMember("parts")) {
      return;
   }
   int64_t kb = 0;
   int64_t before = 0;
   bool isBeforeKnown = true;
   for (const rapidjson::Value &part : JsonAt(item, "/parts").GetArray()) {
      kb += JsonAt(part, "/kb").GetInt64();
      isBeforeKnown = isBeforeKnown && part.HasMember("before");
      before += isBeforeKnown ? JsonAt(part, "/before").GetInt64() : 0;
      ExpectSums(part, items);
   }
   EXPECT_EQ(kb, JsonAt(item, "/kb").GetInt64());
   if (isBeforeKnown) {
      EXPECT_EQ(before, JsonAt(item, "/before").GetInt64());
   }
}

TEST(PageAccount, AddsUpAtBothMomentsWhateverIsFolded)
{
   std::mt19937 random(1);
   for (int i = 0; i < 100; i++) {
      const AccountItem now = RandomAccount(&random, 4);
      const AccountItem before = RandomAccount(&random, 4);
      const overview::AccountBounds bounds = {.parts = 2 + random() % 8, .items = 1 + random() % 300};
      rapidjson::Document written;
      written.Parse(AccountWritten(now, &before, bounds).c_str());
      ASSERT_FALSE(written.HasParseError());
      size_t items = 0;
      ExpectSums(written, &items);
      EXPECT_LE(items, bounds.items);
   }
}

// Tables

Cell TextCell(const char *text)
{
   return {.kind = CellKind::Text, .integer = 0, .text = text};
}

Cell NumberCell(uint64_t value)
{
   return {.kind = CellKind::Unsigned, .integer = value, .text = {}};
}

CollectedTable MadeTable(const std::vector<std::pair<const char *, uint64_t>> &rows)
{
   CollectedTable table;
   table.report = "made-stats";
   table.title = "MADE STATS";
   table.columns = {
      {.name = "name", .description = "The name", .unitWord = {}, .unit = Unit::Text, .role = Role::Label},
      {.name = "size", .description = "Memory", .unitWord = "KB", .unit = Unit::Memory, .role = Role::Gauge}};
   for (const auto &[name, size] : rows) {
      table.rows.push_back({RowKind::Data, {TextCell(name), NumberCell(size)}});
   }
   table.isComplete = true;
   return table;
}

std::string TableWritten(const CollectedTable &now, const CollectedTable *before = nullptr, size_t most = 100)
{
   return Written([&](JsonWriter &out) { overview::WriteTable(out, now, before, most); });
}

constexpr char kHead[] = R"({"report":"made-stats","title":"MADE STATS","columns":[)"
                         R"({"name":"name","unit":"","role":"label","description":"The name"},)"
                         R"({"name":"size","unit":"KB","role":"gauge","description":"Memory"}],)";

TEST(PageTable, RowsAreArrays)
{
   CollectedTable table = MadeTable({{"elm", 5}});
   table.rows.push_back(
      {RowKind::Data, {TextCell("oak"), {.kind = CellKind::Missing, .integer = UINT64_MAX, .text = {}}}});
   table.rows.push_back({RowKind::Total, {TextCell("Total"), NumberCell(5)}});
   table.columns[1].isTotalled = true;
   table.notes = {"a note"};
   table.isComplete = false;
   EXPECT_EQ(TableWritten(table), std::string(kHead) +
                                     R"("footer":[{"kind":"total","cells":["",5]}],"notes":["a note"],)"
                                     R"("complete":false,"rows":[["elm",5],["oak",null]],"leftOut":0})");
}

TEST(PageTable, ColumnsThatAreNotShownAreLeftOut)
{
   CollectedTable table = MadeTable({{"elm", 5}});
   table.columns[0].isShown = false;
   EXPECT_EQ(TableWritten(table), R"({"report":"made-stats","title":"MADE STATS","columns":[)"
                                  R"({"name":"size","unit":"KB","role":"gauge","description":"Memory"}],)"
                                  R"("footer":[],"notes":[],"complete":true,"rows":[[5]],"leftOut":0})");
}

TEST(PageTable, RowsAreComparedByWhatSaysWhomTheyAreAbout)
{
   const CollectedTable before = MadeTable({{"gone", 1}, {"same", 2}, {"grew", 3}});
   EXPECT_EQ(TableWritten(MadeTable({{"grew", 9}, {"new", 4}, {"same", 2}}), &before),
             std::string(kHead) + R"("footer":[],"notes":[],"complete":true,)"
                                  R"("rows":[["grew",9],["new",4],["same",2]],"leftOut":0,)"
                                  R"("before":[["grew",3],null,0],"gone":[["gone",1]]})");
}

TEST(PageTable, OfRowsWithOneNameTheFirstIsTheFirst)
{
   const CollectedTable before = MadeTable({{"elm", 1}, {"elm", 2}, {"elm", 3}});
   EXPECT_EQ(TableWritten(MadeTable({{"elm", 1}, {"elm", 5}}), &before),
             std::string(kHead) + R"("footer":[],"notes":[],"complete":true,"rows":[["elm",1],["elm",5]],)"
                                  R"("leftOut":0,"before":[0,["elm",2]],"gone":[["elm",3]]})");
}

TEST(PageTable, RowsBeyondTheBoundAreCounted)
{
   const CollectedTable before = MadeTable({{"a", 1}, {"b", 2}, {"c", 3}, {"x", 1}, {"y", 1}, {"z", 1}});
   EXPECT_EQ(TableWritten(MadeTable({{"a", 1}, {"b", 2}, {"c", 3}}), &before, 2),
             std::string(kHead) + R"("footer":[],"notes":[],"complete":true,"rows":[["a",1],["b",2]],)"
                                  R"("leftOut":1,"before":[0,0],"gone":[["x",1],["y",1]]})");
}

TEST(PageTable, AReportWithoutATableBeforeIsNotCompared)
{
   const CollectedTable before;
   EXPECT_EQ(TableWritten(MadeTable({{"elm", 5}}), &before), TableWritten(MadeTable({{"elm", 5}})));
}

// The findings

TEST(PageData, SaysHowManyFindingsAreLeftOut)
{
   const overview::MomentReports now;
   const std::vector<overview::Finding> findings(overview::kMostFindings + 2);
   rapidjson::Document data;
   data.Parse(overview::MakePageData({.program = "test", .now = now, .findings = findings}).c_str());
   ASSERT_FALSE(data.HasParseError());
   EXPECT_EQ(JsonAt(data, "/findings").Size(), overview::kMostFindings);
   EXPECT_EQ(JsonAt(data, "/findingsLeftOut").GetUint64(), 2u);
}

// The positions of a timeline

TEST(PageTimeline, LaterFramesOfManyGroupsAreFewer)
{
   std::vector<overview::TimelineFrame> frames(60);
   for (size_t i = 0; i < frames.size(); i++) {
      frames[i].at = i;
      frames[i].groups.resize(i < 30 ? 1 : 25'000);
   }
   overview::BoundFrames(&frames);
   ASSERT_EQ(frames.size(), 4u);
   EXPECT_EQ(frames.front().at, 0u);
   EXPECT_EQ(frames.back().at, 59u);
   EXPECT_EQ(frames.back().groups.size(), 25'000u);
}

TEST(PageTimeline, PositionsAreSpreadFromTheFirstToTheLast)
{
   using Positions = std::vector<size_t>;
   EXPECT_EQ(overview::SpreadPositions(3, 5), (Positions{0, 1, 2}));
   EXPECT_EQ(overview::SpreadPositions(5, 5), (Positions{0, 1, 2, 3, 4}));
   EXPECT_EQ(overview::SpreadPositions(101, 5), (Positions{0, 25, 50, 75, 100}));
   EXPECT_EQ(overview::SpreadPositions(100, 2), (Positions{0, 99}));
   EXPECT_EQ(overview::SpreadPositions(0, 5), Positions());
}

} // namespace
