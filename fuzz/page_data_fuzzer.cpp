// Any names and figures in the data of the page: its element cannot end early, and what the page's parser
// gets back is the rows.
//
// The input is a row for each of its pieces: a byte with the length of a name, and the name. Its first byte
// says how many of the rows are of the moment before.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

#include "export/valid_utf8.h"
#include "fuzz/fuzz_check.h"
#include "nevra/shown_text.h"
#include "overview/page_data.h"
#include "overview/page_text.h"

namespace {

using overview::CollectedRow;
using overview::CollectedTable;
using rapidjson::Value;

constexpr size_t kMostPieces = 1000;

std::vector<std::string> Pieces(std::string_view input)
{
   std::vector<std::string> pieces;
   while (!input.empty() && pieces.size() < kMostPieces) {
      const size_t length = static_cast<unsigned char>(input.front());
      input.remove_prefix(1);
      pieces.emplace_back(input.substr(0, length));
      input.remove_prefix(std::min(length, input.size()));
   }
   return pieces;
}

// The first eight bytes of the name.
uint64_t FigureOf(const std::string &name)
{
   uint64_t figure = 0;
   std::memcpy(&figure, name.data(), std::min(name.size(), sizeof figure));
   return figure;
}

CollectedTable MakeTable(const std::vector<std::string> &names)
{
   CollectedTable table;
   table.report = "made-stats";
   table.columns = {{.name = "name", .description = {}, .unitWord = {}},
                    {.name = "size", .description = {}, .unitWord = "KB", .role = Role::Gauge},
                    {.name = "limit", .description = {}, .unitWord = "KB", .role = Role::Gauge}};
   for (const std::string &name : names) {
      const uint64_t figure = FigureOf(name);
      table.rows.push_back({RowKind::Data,
                            {{.kind = CellKind::Text, .integer = 0, .text = name},
                             {.kind = CellKind::Unsigned, .integer = figure, .text = {}},
                             {.kind = CellKind::Signed, .integer = figure, .text = {}}}});
   }
   table.notes = names;
   return table;
}

overview::MomentReports MakeMoment(const std::vector<std::string> &names)
{
   overview::MomentReports reports;
   for (const std::string &name : names) {
      const int64_t kb = static_cast<int64_t>(FigureOf(name));
      overview::AccountItem part;
      part.name = name;
      part.explanation = name;
      part.kb = kb;
      overview::AccountItem &whole = reports.account.byUse;
      whole.kb = overview::SumOfAmounts(whole.kb, kb);
      whole.parts.push_back(std::move(part));
      reports.moment.of.moment.host = name;
      reports.moment.of.source = name;
   }
   reports.moment.of.notRead = names;
   reports.tables.push_back(MakeTable(names));
   return reports;
}

overview::PageTimeline MakeTimeline(const std::vector<std::string> &names)
{
   overview::PageTimeline timeline;
   timeline.times = {0};
   timeline.frames.emplace_back();
   for (const std::string &name : names) {
      const uint64_t figure = FigureOf(name);
      timeline.series.push_back({.name = name, .kb = {static_cast<int64_t>(figure)}});
      timeline.frames.back().groups.push_back({.gid = figure,
                                               .parent = static_cast<int64_t>(figure),
                                               .name = name,
                                               .consumed = figure,
                                               .flags = static_cast<uint32_t>(figure)});
   }
   return timeline;
}

std::vector<overview::Finding> MakeFindings(const std::vector<std::string> &names)
{
   std::vector<overview::Finding> findings;
   findings.reserve(names.size());
   for (const std::string &name : names) {
      findings.push_back({.rule = "rule", .subject = name, .text = name, .command = name});
   }
   return findings;
}

// What a browser would take for the end of the element, or for the beginning of what hides it.
void RequireSafeInside(const std::string &json)
{
   Require(json.find_first_of("<>&") == std::string::npos, "markup in " + json);
   Require(json.find("\xe2\x80\xa8") == std::string::npos && json.find("\xe2\x80\xa9") == std::string::npos,
           "a line separator in " + json);
   Require(nevra::IsShownText(json), "what could steer a terminal in " + json);
}

const Value &Member(const Value &of, const char *name)
{
   const auto found = of.FindMember(name);
   Require(found != of.MemberEnd(), std::string("no ") + name);
   return found->value;
}

void RequireText(const Value &value, const std::string &name)
{
   const std::string shown =
      nevra::ShownText(ValidUtf8(std::string_view(name).substr(0, overview::kLongestText)));
   Require(value.IsString() && shown == std::string_view(value.GetString(), value.GetStringLength()),
           "another text: " + name);
}

// A number that the page's parser does not round, or the digits.
void RequireNumber(const Value &value, const std::string &digits)
{
   constexpr int64_t kLargestExact = (int64_t{1} << 53) - 1;
   const bool isExact =
      value.IsInt64() && value.GetInt64() <= kLargestExact && value.GetInt64() >= -kLargestExact;
   Require(isExact || value.IsString(), "rounded: " + digits);
   Require((isExact ? std::to_string(value.GetInt64()) : value.GetString()) == digits,
           "another number: " + digits);
}

void RequireRow(const Value &row, const std::string &name)
{
   Require(row.IsArray() && row.Size() == 3, "no row: " + name);
   RequireText(row[0], name);
   RequireNumber(row[1], std::to_string(FigureOf(name)));
   RequireNumber(row[2], std::to_string(static_cast<int64_t>(FigureOf(name))));
}

void RequireTable(const Value &table, const std::vector<std::string> &now,
                  const std::vector<std::string> &before)
{
   const Value &rows = Member(table, "rows");
   const Value &former = Member(table, "before");
   Require(rows.Size() == now.size() && former.Size() == now.size(), "another number of rows");
   size_t known = 0;
   for (rapidjson::SizeType i = 0; i < rows.Size(); i++) {
      RequireRow(rows[i], now[i]);
      if (!former[i].IsNull()) { // of one name, with which the figures go
         Require(former[i].IsInt() && former[i].GetInt() == 0, "another row before: " + now[i]);
         known++;
      }
   }
   Require(Member(table, "gone").Size() + known == before.size(), "rows that were there are lost");
}

void RequireFindings(const Value &data, const std::vector<std::string> &names)
{
   const Value &findings = Member(data, "findings");
   const size_t leftOut = static_cast<size_t>(Member(data, "findingsLeftOut").GetUint64());
   Require(findings.Size() + leftOut == names.size(), "another number of findings");
   for (rapidjson::SizeType i = 0; i < findings.Size(); i++) {
      RequireText(Member(findings[i], "subject"), names[i]);
      RequireText(Member(findings[i], "command"), names[i]);
   }
}

void RequireTimeline(const Value &timeline, const std::vector<std::string> &names)
{
   const Value &groups = Member(timeline, "groups");
   const Value &places = Member(Member(timeline, "frames")[0], "groups");
   Require(places.Size() == names.size(), "another number of groups");
   for (rapidjson::SizeType i = 0; i < places.Size(); i++) {
      const Value &group = groups[static_cast<rapidjson::SizeType>(places[i][0].GetUint64())];
      RequireNumber(group[0], std::to_string(FigureOf(names[i])));
      RequireText(group[2], names[i]);
      RequireText(Member(Member(timeline, "series")[i], "name"), names[i]);
   }
}

// The parts add up, whatever was folded.
void RequireSum(const Value &item)
{
   uint64_t sum = 0;
   for (const Value &part : Member(item, "parts").GetArray()) {
      sum += static_cast<uint64_t>(Member(part, "kb").GetInt64());
   }
   Require(sum == static_cast<uint64_t>(Member(item, "kb").GetInt64()), "parts that do not add up");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   if (size == 0) {
      return 0;
   }
   const std::vector<std::string> all = Pieces({reinterpret_cast<const char *>(data) + 1, size - 1});
   const auto split = all.begin() + static_cast<ptrdiff_t>(all.size() * data[0] / 256);
   const std::vector<std::string> before(all.begin(), split);
   const std::vector<std::string> now(split, all.end());
   const overview::MomentReports reports = MakeMoment(now);
   const overview::MomentReports reportsBefore = MakeMoment(before);
   const overview::PageTimeline timeline = MakeTimeline(now);
   const std::string json = overview::MakePageData({.program = "fuzzer",
                                                    .now = reports,
                                                    .before = &reportsBefore,
                                                    .findings = MakeFindings(now),
                                                    .timeline = &timeline});
   RequireSafeInside(json);
   rapidjson::Document document;
   document.Parse(json.data(), json.size());
   Require(!document.HasParseError(), "no JSON: " + json);
   RequireTable(Member(document, "tables")[0], now, before);
   RequireFindings(document, now);
   RequireTimeline(Member(document, "timeline"), now);
   if (!now.empty()) {
      RequireText(Member(Member(document, "now"), "host"), now.back());
      RequireSum(Member(Member(document, "accounts")[0], "root"));
   }
   return 0;
}
