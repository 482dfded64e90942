#include "export/growth.h"

#include <algorithm>
#include <cinttypes>
#include <cstdlib>
#include <cstring>

#include "export/run_report.h"
#include "nevra/shown_text.h"
#include "snapshot-tool/capture_time.h"

namespace {

constexpr GrowthSubject kSubjects[] = {{"vm", "vm-stats", "consumed"},
                                       {"group", "group-stats", "consumed", "uw"}, // no processes
                                       {"process", "uw-stats", "consumed"},
                                       {"heap", "heap-stats", "size"}};

// Takes the sizes of a report's rows.
struct SizesInHand {
   const GrowthSubject *subject;
   SizesByName *sizes;
   size_t name = 0; // positions of the two columns
   size_t size = 0;
};

size_t PositionOf(const ReportColumn *columns, const char *name)
{
   size_t position = 0;
   while (std::strcmp(columns[position].name, name) != 0) {
      position++;
   }
   return position;
}

void TakeHead(void *state, const TableHead &head)
{
   SizesInHand *inHand = static_cast<SizesInHand *>(state);
   inHand->name = PositionOf(head.columns, "name");
   inHand->size = PositionOf(head.columns, inHand->subject->column);
}

void TakeRow(void *state, RowKind kind, const CellValue *cells)
{
   const SizesInHand *inHand = static_cast<const SizesInHand *>(state);
   const CellValue &size = cells[inHand->size];
   if (kind != RowKind::Data || size.Kind() == CellKind::Missing) {
      return;
   }
   SizeOfName &of = (*inHand->sizes)[std::string(cells[inHand->name].Text())];
   of.kb += size.Integer();
   of.rows++;
}

// An amount as it is shown: whole kilobytes, or megabytes and gigabytes with one digit after the point.
std::string Amount(double kb, DisplayUnit unit, bool hasSign)
{
   const double divisor = unit == UNIT_MB ? 1024.0 : unit == UNIT_GB ? 1024.0 * 1024.0 : 1.0;
   char text[40];
   std::snprintf(text, sizeof text, hasSign ? "%+.*f" : "%.*f", unit == UNIT_KB ? 0 : 1, kb / divisor);
   return text;
}

// "3", or "2>3" when there were others before.
std::string RowsText(const Growth &growth)
{
   const std::string now = std::to_string(growth.now.rows);
   return growth.before.rows == growth.now.rows ? now : std::to_string(growth.before.rows) + '>' + now;
}

constexpr int kNameWidth = 30;

// Cut to the width, with dots in place of the middle: names differ at their ends.
std::string FittedName(const std::string &name)
{
   std::string shown = nevra::ShownText(name);
   if (shown.size() <= kNameWidth) {
      return shown;
   }
   size_t head = 14;
   size_t tail = shown.size() - (kNameWidth - 2 - head);
   while (head > 0 && (shown[head] & 0xc0) == 0x80) { // never within a character
      head--;
   }
   while (tail < shown.size() && (shown[tail] & 0xc0) == 0x80) {
      tail++;
   }
   return shown.substr(0, head) + ".." + shown.substr(tail);
}

} // namespace

const GrowthSubject *FindGrowthSubject(std::string_view word)
{
   const GrowthSubject *found = std::ranges::find(kSubjects, word, &GrowthSubject::word);
   return found != std::end(kSubjects) ? found : nullptr;
}

bool ReadSizes(const GrowthSubject &subject, SizesByName *sizes)
{
   SizesInHand inHand = {&subject, sizes};
   const TableOutput output = {.begin = TakeHead,
                               .row = TakeRow,
                               .section = [](void *, const char *) {},
                               .note = [](void *, const char *) {},
                               .end = [](void *) {},
                               .state = &inHand};
   std::vector<std::string> options = {"-u", "kb", "-s", std::string("name:") + subject.column};
   if (subject.leftOut != nullptr) {
      options.insert(options.end(), {"-e", subject.leftOut});
   }
   return RunReport(*FindReport(subject.report), options, output) == NEVRA_OK;
}

std::vector<Growth> CompareSizes(const SizesByName &before, const SizesByName &now)
{
   std::vector<Growth> growths;
   for (const auto &[name, size] : now) {
      const auto former = before.find(name);
      growths.push_back({name, former != before.end() ? former->second : SizeOfName(), size});
   }
   for (const auto &[name, size] : before) {
      if (!now.contains(name)) {
         growths.push_back({name, size, {}});
      }
   }
   std::erase_if(growths, [](const Growth &growth) { return growth.Change() == 0; });
   std::ranges::stable_sort(growths, std::greater(), &Growth::Change);
   return growths;
}

void PrintMoments(const Moment &before, const Moment &now, FILE *file)
{
   const std::string host = nevra::ShownText(before.host);
   const std::string hostNow = nevra::ShownText(now.host);
   std::fprintf(file, "host %s, %s to %s%s\n\n", host.c_str(), FormatCaptureTime(before.seconds).c_str(),
                FormatCaptureTime(now.seconds).c_str(), host == hostNow ? "" : (", host " + hostNow).c_str());
}

void PrintGrowth(const GrowthSubject &subject, const std::vector<Growth> &growths, size_t top,
                 DisplayUnit unit, FILE *file)
{
   std::fprintf(file, "%-*s %12s %12s %13s %8s\n", kNameWidth, subject.word, "before", "now",
                (std::string("grew ") + DisplayUnitName(unit)).c_str(), "number");
   const size_t shown = std::min(top, growths.size());
   for (size_t i = 0; i < shown; i++) {
      const Growth &growth = growths[i];
      std::fprintf(file, "%-*s %12s %12s %13s %8s\n", kNameWidth, FittedName(growth.name).c_str(),
                   Amount(static_cast<double>(growth.before.kb), unit, false).c_str(),
                   Amount(static_cast<double>(growth.now.kb), unit, false).c_str(),
                   Amount(static_cast<double>(growth.Change()), unit, true).c_str(),
                   RowsText(growth).c_str());
   }
   if (shown < growths.size()) {
      std::fprintf(file, "and %zu more that changed\n", growths.size() - shown);
   }
}
