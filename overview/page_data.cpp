#include "overview/page_data.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <span>
#include <tuple>
#include <utility>

#include "export/json_value.h"
#include "frontend/report_table.h"
#include "overview/page_table.h"
#include "overview/page_text.h"
#include "report/flag_filter.h"
#include "snapshot-tool/capture_time.h"

namespace overview {

namespace {

void WriteMoment(JsonWriter &out, const HostMoment &moment)
{
   out.StartObject();
   WriteTextMember(out, "host", moment.of.moment.host);
   WriteTextMember(out, "time", FormatCaptureTime(moment.of.moment.seconds));
   WriteTextMember(out, "source", moment.of.source);
   WriteLines(out, "unread", moment.NotRead(), kMostNotRead);
   out.EndObject();
}

void WriteTitledAccount(JsonWriter &out, const char *title, const AccountItem &now, const AccountItem *before)
{
   out.StartObject();
   WriteTextMember(out, "title", title);
   out.Key("root");
   WriteAccount(out, now, before, kAccountBounds, true);
   out.EndObject();
}

void WriteAccounts(JsonWriter &out, const PageContent &content)
{
   const Account &now = content.now.account;
   const Account *before = content.before != nullptr ? &content.before->account : nullptr;
   out.StartArray();
   WriteTitledAccount(out, "By use", now.byUse, before != nullptr ? &before->byUse : nullptr);
   WriteTitledAccount(out, "By group", now.byGroup, before != nullptr ? &before->byGroup : nullptr);
   out.EndArray();
}

void WriteFindings(JsonWriter &out, std::span<const Finding> findings)
{
   out.StartArray();
   for (const Finding &finding : findings.first(std::min(findings.size(), kMostFindings))) {
      out.StartObject();
      WriteTextMember(out, "severity", SeverityWord(finding.severity));
      WriteTextMember(out, "rule", finding.rule);
      WriteTextMember(out, "subject", finding.subject);
      WriteTextMember(out, "text", finding.text);
      WriteTextMember(out, "command", finding.command);
      out.EndObject();
   }
   out.EndArray();
}

const CollectedTable *FindTable(const MomentReports *reports, const std::string &report)
{
   if (reports == nullptr) {
      return nullptr;
   }
   const auto found = std::ranges::find(reports->tables, report, &CollectedTable::report);
   return found != reports->tables.end() ? &*found : nullptr;
}

void WriteTables(JsonWriter &out, const PageContent &content)
{
   out.StartArray();
   for (const CollectedTable &table : content.now.tables) {
      WriteTable(out, table, FindTable(content.before, table.report), kMostRows);
   }
   out.EndArray();
}

// The timeline

void WriteSeries(JsonWriter &out, const TimelineSeries &series)
{
   out.StartObject();
   WriteTextMember(out, "name", series.name);
   WriteTextMember(out, "kind", series.isGroup ? "group" : "account");
   if (series.isDifference) {
      out.Key("isDifference");
      out.Bool(true);
   }
   out.Key("kb");
   out.StartArray();
   for (const std::optional<int64_t> &kb : series.kb) {
      if (kb.has_value()) {
         out.Int64(*kb);
      } else {
         out.Null();
      }
   }
   out.EndArray();
   out.EndObject();
}

// The groups of all frames, each of them once: its place, by what does not change while it lives.
class GroupPlaces {
 public:
   size_t PlaceOf(const GroupRow &group)
   {
      const auto [found, isNew] =
         places.emplace(std::make_tuple(group.gid, group.parent, group.name, group.flags), groups.size());
      if (isNew) {
         groups.push_back(&group);
      }
      return found->second;
   }

   void Write(JsonWriter &out) const
   {
      out.StartArray();
      for (const GroupRow *group : groups) {
         out.StartArray();
         WriteUnsigned(out, group->gid);
         WriteSigned(out, group->parent);
         WriteText(out, group->name);
         WriteText(out, JoinFlags(group->flags, groupFlagNames));
         out.EndArray();
      }
      out.EndArray();
   }

 private:
   std::map<std::tuple<uint64_t, int64_t, std::string, uint32_t>, size_t> places;
   std::vector<const GroupRow *> groups;
};

void WriteFrame(JsonWriter &out, const TimelineFrame &frame, const TimelineFrame &first, GroupPlaces *places)
{
   out.StartObject();
   out.Key("at");
   out.Uint64(frame.at);
   out.Key("accounts");
   out.StartArray();
   WriteAccount(out, frame.account.byUse, &first.account.byUse, kFrameBounds, false);
   WriteAccount(out, frame.account.byGroup, &first.account.byGroup, kFrameBounds, false);
   out.EndArray();
   out.Key("groups");
   out.StartArray();
   for (const GroupRow &group : frame.groups) {
      out.StartArray();
      out.Uint64(places->PlaceOf(group));
      out.Uint64(group.consumed);
      out.Uint64(group.memSize);
      out.EndArray();
   }
   out.EndArray();
   out.EndObject();
}

void WriteTimeline(JsonWriter &out, const PageTimeline &timeline)
{
   out.StartObject();
   out.Key("times");
   out.StartArray();
   for (const int64_t time : timeline.times) {
      out.Int64(time);
   }
   out.EndArray();
   out.Key("recorded");
   out.Uint64(timeline.recorded);
   out.Key("series");
   out.StartArray();
   for (const TimelineSeries &series : timeline.series) {
      WriteSeries(out, series);
   }
   out.EndArray();
   GroupPlaces places;
   out.Key("frames");
   out.StartArray();
   for (const TimelineFrame &frame : timeline.frames) {
      WriteFrame(out, frame, timeline.frames.front(), &places);
   }
   out.EndArray();
   out.Key("figures"); // of a group of a frame, after its place
   out.StartArray();
   out.String("consumed");
   out.String("memSize");
   out.EndArray();
   out.Key("groups");
   places.Write(out);
   out.EndObject();
}

// For amounts in KB; some reports have no option for the unit.
std::vector<std::string> OptionsOf(const ReportEntry &report)
{
   const bool hasUnit = std::strchr(report.description->shortOptions, 'u') != nullptr;
   return hasUnit ? std::vector<std::string>{"-u", "kb"} : std::vector<std::string>{};
}

// The tables of all reports: those that are there already, and the others read now.
std::vector<CollectedTable> CollectAll(std::vector<CollectedTable> known)
{
   std::vector<CollectedTable> tables;
   for (const ReportEntry &report : Reports()) {
      const auto found = std::ranges::find(known, report.name, &CollectedTable::report);
      if (found != known.end()) {
         tables.push_back(std::move(*found));
      } else if (report.source != ReportSource::LiveOnly) { // the profiler programs the host's counters
         tables.push_back(CollectReport(report.name, OptionsOf(report)));
      }
   }
   std::erase_if(tables, [](const CollectedTable &table) { return table.columns.empty(); });
   return tables;
}

} // namespace

bool ReadReports(const MomentChoice &choice, MomentReports *reports)
{
   if (!ReadMoment(choice, &reports->moment)) {
      return false;
   }
   reports->account = MakeAccount(reports->moment.rows, reports->moment.Detail());
   reports->tables = CollectAll(std::exchange(reports->moment.rows.tables, {}));
   return true;
}

std::string MakePageData(const PageContent &content)
{
   JsonBuffer buffer;
   JsonWriter out(buffer);
   out.StartObject();
   out.Key("format");
   out.Int(1);
   out.Key("program");
   out.String(content.program);
   out.Key("now");
   WriteMoment(out, content.now.moment);
   out.Key("before");
   if (content.before != nullptr) {
      WriteMoment(out, content.before->moment);
   } else {
      out.Null();
   }
   out.Key("accounts");
   WriteAccounts(out, content);
   out.Key("findings");
   WriteFindings(out, content.findings);
   out.Key("findingsLeftOut");
   out.Uint64(content.findings.size() - std::min(content.findings.size(), kMostFindings));
   out.Key("tables");
   WriteTables(out, content);
   out.Key("timeline");
   if (content.timeline != nullptr) {
      WriteTimeline(out, *content.timeline);
   } else {
      out.Null();
   }
   out.EndObject();
   return EscapeForScript({buffer.GetString(), buffer.GetSize()});
}

} // namespace overview
