#include "export/metric_collector.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

#include <strings.h>

#include "export/group_paths.h"
#include "export/run_report.h"
#include "nevra/shown_text.h"

namespace {

constexpr char kGroupReport[] = "group-stats";
constexpr char kUserWorldReport[] = "uw-stats";
constexpr char kVmReport[] = "vm-stats";
// The largest ID that a report takes as an option.
constexpr uint64_t kLargestGroupOption = 0x7fffffff;

// A subject's rows while they are collected.
struct Collected {
   MetricRows rows;
   DistinctNames names = {};
   std::unordered_map<uint64_t, size_t> byKey = {};     // the row of an ID
   std::unordered_map<std::string, size_t> byName = {}; // that of a name
   std::vector<uint64_t> groups = {};                   // the group that each row is about, where it is one
};

size_t ColumnOf(const ReportColumn *columns, std::string_view name)
{
   size_t position = 0;
   while (columns[position].name != name) {
      position++;
   }
   return position;
}

// How many base units one of the column's is.
double BaseUnits(const ReportColumn &column, DisplayUnit shown)
{
   switch (column.unit) {
   case Unit::Memory:
      return shown == UNIT_GB      ? 0x1p30
             : shown == UNIT_MB    ? 0x1p20
             : shown == UNIT_PAGE  ? 0x1p12
             : shown == UNIT_BYTES ? 1
                                   : 0x1p10;
   case Unit::Pages4KB:
      return 0x1p12;
   case Unit::Blocks2MB:
      return 0x1p21;
   case Unit::Percent:
      return 1e-2;
   case Unit::Microseconds:
      return 1e-6;
   default:
      return 1;
   }
}

double StateOf(std::string_view text)
{
   for (size_t i = 0; i < std::size(kMemoryStates); i++) {
      if (text.size() == std::strlen(kMemoryStates[i]) &&
          strncasecmp(text.data(), kMemoryStates[i], text.size()) == 0) {
         return static_cast<double>(i);
      }
   }
   return kNoValue;
}

double ValueOf(const CellValue &cell)
{
   switch (cell.Kind()) {
   case CellKind::Signed:
      return static_cast<double>(static_cast<int64_t>(cell.Integer()));
   case CellKind::Unsigned:
      return static_cast<double>(cell.Integer());
   case CellKind::Flag:
      return cell.Integer() == 'y' ? 1 : 0;
   case CellKind::Text:
      return StateOf(cell.Text());
   default:
      return kNoValue;
   }
}

std::string TextOf(const CellValue &cell)
{
   switch (cell.Kind()) {
   case CellKind::Text:
      return nevra::ShownText(cell.Text());
   case CellKind::Signed:
      return std::to_string(static_cast<int64_t>(cell.Integer()));
   case CellKind::Unsigned:
      return std::to_string(cell.Integer());
   default:
      return {};
   }
}

// Takes the rows of one report for one subject.
class SubjectTap {
 public:
   SubjectTap(const char *report, bool hasWalked, Collected *into)
       : name(report), walked(hasWalked), collected(into)
   {
   }

   // A report may be run several times, each time on other groups.
   void Begin(const TableHead &head);
   // `place` is that of a group; null in other reports.
   void Row(const CellValue *cells, const GroupPaths::Place *place);

 private:
   struct Figure {
      size_t family;
      size_t column;
      double baseUnits;
   };

   size_t RowOf(const CellValue *cells, const GroupPaths::Place *place);
   size_t AddRow(const CellValue *cells, const std::string &first);
   std::string InfoOf(const CellValue *cells) const;
   bool IsAsked(const GroupPaths::Place *place) const;
   void AddValue(size_t row, size_t family, double value);

   const char *name;
   bool walked;
   Collected *collected;
   std::vector<size_t> labels; // columns
   std::vector<size_t> infos;
   size_t key = 0;
   std::vector<Figure> figures;
};

void SubjectTap::Begin(const TableHead &head)
{
   const MetricSubject &subject = *collected->rows.subject;
   labels.clear();
   infos.clear();
   figures.clear();
   for (const MetricLabel &label : subject.labels) {
      labels.push_back(ColumnOf(head.columns, label.column));
   }
   for (const MetricLabel &label : subject.infoLabels) {
      infos.push_back(ColumnOf(head.columns, label.column));
   }
   if (subject.key != nullptr) {
      key = ColumnOf(head.columns, subject.key);
   }
   for (size_t i = 0; i < subject.families.size(); i++) {
      const MetricFamily &family = subject.families[i];
      if (family.report == std::string_view(name) && family.column != nullptr &&
          (walked || family.needs == Needs::Nothing)) {
         const size_t column = ColumnOf(head.columns, family.column);
         figures.push_back({i, column, family.size * BaseUnits(head.columns[column], head.unit)});
      }
   }
}

bool SubjectTap::IsAsked(const GroupPaths::Place *place) const
{
   switch (collected->rows.subject->rows) {
   case SubjectRows::Root:
      return place->holds && place->depth == 0;
   case SubjectRows::TopGroups:
      return place->depth == 1 && !place->path.empty();
   case SubjectRows::Groups:
      return !place->path.empty();
   default:
      return true;
   }
}

std::string SubjectTap::InfoOf(const CellValue *cells) const
{
   std::string info;
   for (size_t i = 0; i < infos.size(); i++) {
      info += ',';
      info += LabelPair(collected->rows.subject->infoLabels[i].name, TextOf(cells[infos[i]]));
   }
   return info;
}

// `first` is the value of the first label, which is made distinct.
size_t SubjectTap::AddRow(const CellValue *cells, const std::string &first)
{
   const std::span<const MetricLabel> wanted = collected->rows.subject->labels;
   std::string label = collected->rows.before;
   if (wanted.empty()) {
      return collected->rows.Add(label.substr(0, label.size() - (label.empty() ? 0 : 1)));
   }
   std::string others;
   for (size_t i = 1; i < wanted.size(); i++) {
      others += ',';
      others += LabelPair(wanted[i].name, TextOf(cells[labels[i]]));
   }
   label += LabelPair(wanted.front().name, collected->names.Take(first, others)) + others;
   return collected->rows.Add(std::move(label), InfoOf(cells));
}

size_t SubjectTap::RowOf(const CellValue *cells, const GroupPaths::Place *place)
{
   const SubjectRows kind = collected->rows.subject->rows;
   if (place != nullptr && kind != SubjectRows::Root) {
      collected->groups.push_back(cells[key].Integer());
      return AddRow(cells, place->path);
   }
   if (collected->rows.subject->labels.empty()) {
      return collected->rows.Count() == 0 ? AddRow(cells, {}) : 0;
   }
   const std::string first = TextOf(cells[labels.front()]);
   if (kind == SubjectRows::ByKey) {
      const auto [at, isNew] = collected->byKey.try_emplace(cells[key].Integer());
      return isNew ? at->second = AddRow(cells, first) : at->second;
   }
   if (kind == SubjectRows::ByName) {
      const auto [at, isNew] = collected->byName.try_emplace(first);
      return isNew ? at->second = AddRow(cells, first) : at->second;
   }
   return AddRow(cells, first);
}

void SubjectTap::AddValue(size_t row, size_t family, double value)
{
   double &sum = collected->rows.ValuesOf(row)[family];
   const bool adds = collected->rows.subject->rows == SubjectRows::ByName && !std::isnan(sum);
   if (!std::isnan(value)) {
      sum = adds ? sum + value : value;
   }
}

void SubjectTap::Row(const CellValue *cells, const GroupPaths::Place *place)
{
   if (place != nullptr && !IsAsked(place)) {
      return;
   }
   const size_t row = RowOf(cells, place);
   const std::span<const MetricFamily> families = collected->rows.subject->families;
   for (size_t i = 0; i < families.size() && families[i].column == nullptr; i++) {
      if (families[i].type == MetricType::Info) {
         collected->rows.ValuesOf(row)[i] = 1;
      } else {
         AddValue(row, i, 1);
      }
   }
   for (const Figure &figure : figures) {
      const double value = ValueOf(cells[figure.column]) * figure.baseUnits;
      if (value >= 0 || families[figure.family].type != MetricType::Counter) {
         AddValue(row, figure.family, value);
      }
   }
}

// Takes the rows of one report for all subjects that it says something about.
class ReportTap {
 public:
   ReportTap(const char *report, GroupPaths *groupPaths) : paths(groupPaths)
   {
      isOfGroups = report == std::string_view(kGroupReport);
   }

   void Add(SubjectTap tap) { taps.push_back(std::move(tap)); }

   TableOutput AsOutput()
   {
      return {
         .begin = [](void *state, const TableHead &head) { static_cast<ReportTap *>(state)->Begin(head); },
         .row =
            [](void *state, RowKind kind, const CellValue *cells) {
               if (kind == RowKind::Data) {
                  static_cast<ReportTap *>(state)->Row(cells);
               }
            },
         .section = [](void *, const char *) {},
         .note = [](void *, const char *) {},
         .end = [](void *) {},
         .state = this};
   }

 private:
   void Begin(const TableHead &head)
   {
      if (isOfGroups) {
         columns = {ColumnOf(head.columns, "gid"), ColumnOf(head.columns, "parGid"),
                    ColumnOf(head.columns, "name"), ColumnOf(head.columns, "flags"),
                    ColumnOf(head.columns, "nChild")};
      }
      for (SubjectTap &tap : taps) {
         tap.Begin(head);
      }
   }

   void Row(const CellValue *cells)
   {
      const GroupPaths::Place *place = nullptr;
      if (isOfGroups) {
         place = paths->Add(GroupOf(cells));
         if (place == nullptr) {
            return;
         }
      }
      for (SubjectTap &tap : taps) {
         tap.Row(cells, place);
      }
   }

   GroupRow GroupOf(const CellValue *cells) const
   {
      const CellValue &id = cells[columns.id];
      const CellValue &parent = cells[columns.parent];
      return {.id = id.Integer(),
              .hasParent = parent.Kind() != CellKind::Missing && id.Integer() != 0,
              .parent = parent.Integer(),
              .name = cells[columns.name].Text(),
              .flags = cells[columns.flags].Mask(),
              .children = cells[columns.children].Integer()};
   }

   bool isOfGroups;
   GroupPaths *paths;
   struct {
      size_t id, parent, name, flags, children;
   } columns = {};
   std::vector<SubjectTap> taps;
};

bool IsWanted(const MetricChoices &choices, const MetricFamily &family)
{
   return choices.reports.empty() ||
          std::ranges::find(choices.reports, std::string_view(family.report)) != choices.reports.end();
}

bool IsWanted(const MetricChoices &choices, const MetricSubject &subject)
{
   return choices.hasProcesses || &subject != &kProcessMetrics;
}

bool IsAboutVms(const char *report)
{
   return std::ranges::any_of(kVmMetrics.families, [report](const MetricFamily &family) {
      return family.report == std::string_view(report);
   });
}

// How many of a subject's rows are shown one by one.
size_t MostShown(const MetricChoices &choices, const MetricSubject &subject)
{
   return &subject == &kVmMetrics        ? choices.topVms
          : &subject == &kProcessMetrics ? choices.topProcesses
                                         : std::numeric_limits<size_t>::max();
}

// Takes away the groups in which others are shown.
void DropInnerGroups(const GroupPaths &paths, Collected *collected)
{
   const MetricRows &rows = collected->rows;
   MetricRows outer = {.subject = rows.subject, .before = rows.before};
   for (size_t row = 0; row < rows.Count(); row++) {
      if (!paths.IsInner(collected->groups[row])) {
         const size_t to = outer.Add(rows.labels[row], rows.infos[row]);
         std::copy_n(rows.ValuesOf(row), rows.Width(), outer.ValuesOf(to));
      }
   }
   collected->rows = std::move(outer);
}

// One collection.
class Collection {
 public:
   Collection(const MetricChoices &wanted, const std::string &labels)
       : choices(wanted), paths(wanted.groupDepth)
   {
      for (const MetricSubject &subject : MetricSubjects()) {
         if (IsWanted(choices, subject)) {
            subjects.push_back({.rows = {.subject = &subject, .before = labels}});
         }
      }
   }

   size_t Run(const TakeMetricRows &takeRows, const TakeReportRun &takeRun);

 private:
   ReportRun RunOne(const char *report);
   static bool RunWith(const char *report, const std::vector<std::string> &options,
                       const TableOutput &output);
   bool RunOnVms(const char *report, const TableOutput &output);

   const MetricChoices &choices;
   GroupPaths paths;
   std::vector<Collected> subjects;
   bool areVmsKnown = false; // all of them
};

bool Collection::RunWith(const char *report, const std::vector<std::string> &options,
                         const TableOutput &output)
{
   return RunReport(*FindReport(report), options, output) == NEVRA_OK;
}

// Runs a report about VMs on those that are known, one by one: it would look at every process of the host to
// find them again. One that is gone meanwhile has no row.
bool Collection::RunOnVms(const char *report, const TableOutput &output)
{
   const auto vms =
      std::ranges::find(subjects, &kVmMetrics, [](const Collected &subject) { return subject.rows.subject; });
   bool done = true;
   for (const auto &[id, row] : std::map(vms->byKey.begin(), vms->byKey.end())) {
      if (id > kLargestGroupOption) {
         return RunWith(report, {}, output);
      }
      const NevraStatus status = RunReport(*FindReport(report), {"-g", std::to_string(id)}, output);
      done = done && (status == NEVRA_OK || status == NEVRA_NOT_FOUND);
   }
   return done;
}

ReportRun Collection::RunOne(const char *report)
{
   ReportTap tap(report, &paths);
   for (Collected &subject : subjects) {
      const auto isOfReport = [report](const MetricFamily &family) {
         return family.report == std::string_view(report);
      };
      if (std::ranges::any_of(subject.rows.subject->families, isOfReport)) {
         tap.Add(SubjectTap(report, choices.hasWalked, &subject));
      }
   }
   const std::string_view name = report;
   const auto start = std::chrono::steady_clock::now();
   const bool success =
      name == kGroupReport ? RunWith(report, {"-l", std::to_string(choices.groupDepth + 1)}, tap.AsOutput())
      : name == kUserWorldReport ? RunWith(report, {"-e", "vm"}, tap.AsOutput()) // whose memory is the VM's
      : areVmsKnown && IsAboutVms(report) ? RunOnVms(report, tap.AsOutput())
                                          : RunWith(report, {}, tap.AsOutput());
   areVmsKnown = areVmsKnown || (success && name == kVmReport);
   return {report, success, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()};
}

size_t Collection::Run(const TakeMetricRows &takeRows, const TakeReportRun &takeRun)
{
   const std::vector<const char *> reports = ReportsOf(choices);
   size_t budget = std::max(choices.maxSeries, kFewestSeries) - kSeriesOfExport - 2 * reports.size();
   size_t dropped = 0;
   std::vector<const char *> done;
   for (Collected &subject : subjects) {
      std::vector<ReportRun> runs;
      for (const MetricFamily &family : subject.rows.subject->families) {
         if (IsWanted(choices, family) && std::ranges::find(done, family.report) == done.end()) {
            done.push_back(family.report);
            runs.push_back(RunOne(family.report));
         }
      }
      if (subject.rows.subject->rows == SubjectRows::Groups) {
         DropInnerGroups(paths, &subject);
      }
      dropped += LimitRows(MostShown(choices, *subject.rows.subject), budget, &subject.rows);
      budget -= subject.rows.Series();
      if (subject.rows.Count() > 0) {
         takeRows(subject.rows);
      }
      std::ranges::for_each(runs, takeRun);
      subject = {.rows = {.subject = subject.rows.subject}};
   }
   return dropped;
}

} // namespace

std::vector<const char *> ReportsOf(const MetricChoices &choices)
{
   std::vector<const char *> reports;
   for (const MetricSubject &subject : MetricSubjects()) {
      for (const MetricFamily &family : subject.families) {
         if (IsWanted(choices, subject) && IsWanted(choices, family) &&
             std::ranges::find(reports, family.report) == reports.end()) {
            reports.push_back(family.report);
         }
      }
   }
   return reports;
}

size_t CollectMetrics(const MetricChoices &choices, const std::string &labels, const TakeMetricRows &takeRows,
                      const TakeReportRun &takeRun)
{
   return Collection(choices, labels).Run(takeRows, takeRun);
}
