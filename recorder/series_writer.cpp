#include "recorder/series_writer.h"

#include <limits>
#include <utility>

#include <fnmatch.h>

namespace recorder {

namespace {

// A label as a text.
std::string TextOf(const CellValue &value)
{
   switch (value.Kind()) {
   case CellKind::Text:
      return std::string(value.Text());
   case CellKind::Flag:
      return std::string(1, static_cast<char>(value.Integer()));
   case CellKind::FlagList:
      return FormatFlagList(value.Mask(), value.Flags());
   case CellKind::Signed:
      return std::to_string(static_cast<int64_t>(value.Integer()));
   case CellKind::Unsigned:
      return std::to_string(value.Integer());
   case CellKind::Blank:
   case CellKind::Missing:
      break;
   }
   return {};
}

// The columns that a table begins with and that say whom its rows are about.
std::vector<size_t> LeadingLabels(const ReportColumn *columns)
{
   std::vector<size_t> positions;
   for (size_t i = 0; columns[i].name != nullptr; i++) {
      if (!columns[i].shown) {
         continue;
      }
      if (!SaysWhom(columns[i].unit, columns[i].role)) {
         break;
      }
      positions.push_back(i);
   }
   return positions;
}

} // namespace

bool ParseRowMatch(const std::string &text, RowMatch *match)
{
   const size_t equals = text.find('=');
   if (equals == std::string::npos || equals == 0) {
      return false;
   }
   *match = {text.substr(0, equals), text.substr(equals + 1)};
   return true;
}

SeriesWriter::SeriesWriter(RowWriter *next, std::vector<RowMatch> matches, Counters counters)
    : writer(next), rowMatches(std::move(matches)), shown(counters)
{
   writer->SetCounters(counters);
}

void SeriesWriter::SetMoment(const Moment &moment, int64_t bootTime, const std::string &boot)
{
   writer->SetMoment(moment);
   elapsed = boot == bootOfTime ? static_cast<double>(bootTime - time) / 1e9 : 0;
   time = bootTime;
   bootOfTime = boot;
   before = std::exchange(now, {});
}

TableOutput SeriesWriter::AsOutput()
{
   return {.begin = [](void *state, const TableHead &head) { Of(state)->Begin(head); },
           .row = [](void *state, RowKind kind, const CellValue *cells) { Of(state)->Row(kind, cells); },
           .section = [](void *, const char *) {},
           .note = [](void *, const char *) {}, // the same at every moment
           .end = [](void *state) { Of(state)->End(); },
           .state = this};
}

void SeriesWriter::Begin(const TableHead &head)
{
   columns = head.columns;
   keyPositions = LeadingLabels(columns);
   matchPositions.clear();
   for (const RowMatch &match : rowMatches) {
      size_t position = 0;
      while (columns[position].name != nullptr && match.column != columns[position].name) {
         position++;
      }
      if (columns[position].name == nullptr || !columns[position].shown) {
         problem = std::string(head.report) + " shows no column " + match.column + " to match with";
         return;
      }
      matchPositions.push_back(position);
   }
   if (!isSilent) {
      writer->Begin(head);
   }
}

void SeriesWriter::End()
{
   if (!isSilent) {
      writer->End();
   }
}

bool SeriesWriter::Matches(const CellValue *cells)
{
   for (size_t i = 0; i < rowMatches.size(); i++) {
      if (fnmatch(rowMatches[i].pattern.c_str(), TextOf(cells[matchPositions[i]]).c_str(), 0) != 0) {
         return false;
      }
   }
   return true;
}

// The labels that the row begins with. Of rows with the same, the first is the first at every moment.
std::string SeriesWriter::KeyOf(const CellValue *cells)
{
   std::string key;
   for (const size_t position : keyPositions) {
      key += TextOf(cells[position]) + '\0';
   }
   size_t same = 0;
   std::string unique = key;
   while (now.contains(unique)) {
      unique = key + std::to_string(++same);
   }
   return unique;
}

void SeriesWriter::TakeRates(const CellValue *cells)
{
   const std::string key = KeyOf(cells);
   const auto former = before.find(key);
   std::vector<uint64_t> &counts = now[key];
   rates.clear();
   for (size_t i = 0; columns[i].name != nullptr; i++) {
      const uint64_t count = cells[i].Integer();
      counts.push_back(count);
      double rate = std::numeric_limits<double>::quiet_NaN();
      // One that went down began anew.
      if (elapsed > 0 && former != before.end() && count >= former->second[i]) {
         rate = static_cast<double>(count - former->second[i]) / elapsed;
      }
      rates.push_back(rate);
   }
}

void SeriesWriter::Row(RowKind kind, const CellValue *cells)
{
   if (kind != RowKind::Data || !problem.empty() || !Matches(cells)) {
      return;
   }
   if (shown == Counters::PerSecond) {
      TakeRates(cells);
   }
   if (!isSilent) {
      writer->Row(kind, cells, shown == Counters::PerSecond ? rates.data() : nullptr);
   }
}

} // namespace recorder
