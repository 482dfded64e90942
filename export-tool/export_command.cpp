#include "export-tool/export_command.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>

#include <sys/utsname.h>

#include "export/answer_from_snapshot.h"
#include "export/metric_options.h"
#include "export/run_report.h"
#include "nevra/operations.h"
#include "recorder/frame_choice.h"
#include "recorder/message.h"
#include "recorder/moment.h"
#include "snapshot-tool/platform_source.h"
#include "snapshot-tool/progress.h"

using recorder::Complain;
using recorder::kExitDone;
using recorder::kExitFailed;
using recorder::kExitTrouble;

namespace {

// Puts out the moment that answers the process.
using PutMoment = std::function<bool(const Moment &moment)>;

struct ChosenReport {
   const ReportEntry *report;
   const std::vector<std::string> *options;
};

// The text that is written, until it can take the place of a file at once.
class HeldText {
 public:
   HeldText() : stream(open_memstream(&bytes, &size)) {}
   ~HeldText()
   {
      Close();
      std::free(bytes);
   }
   HeldText(const HeldText &) = delete;
   HeldText &operator=(const HeldText &) = delete;

   FILE *Stream() { return stream; }
   // False when memory was short.
   bool Close()
   {
      const bool isWhole = stream != nullptr && !std::ferror(stream) && std::fflush(stream) == 0;
      if (stream != nullptr) {
         std::fclose(stream);
         stream = nullptr;
      }
      return isWhole;
   }
   std::span<const uint8_t> Bytes() const { return {reinterpret_cast<const uint8_t *>(bytes), size}; }

 private:
   char *bytes = nullptr;
   size_t size = 0;
   FILE *stream;
};

bool ChooseReports(const ExportRequest &request, std::vector<ChosenReport> *chosen)
{
   for (const ReportRequest &wanted : request.reports) {
      const ReportEntry *report = FindReport(wanted.report.c_str());
      if (report == nullptr || report->source == ReportSource::LiveOnly) {
         // The profiler programs the host's counters and says things meanwhile: hostmem -q has its rows.
         Complain(wanted.report, report == nullptr ? "no such report" : "is not exported");
         return false;
      }
      if (const std::string problem = ProblemOfOptions(*report, wanted.options); !problem.empty()) {
         Complain("-r", problem);
         return false;
      }
      chosen->push_back({report, &wanted.options});
   }
   if (chosen->empty()) {
      Complain("-r", "no report is given");
      return false;
   }
   if (request.format == RowFormat::Csv && chosen->size() > 1) {
      Complain("csv", "takes one report: each has columns of its own");
      return false;
   }
   return true;
}

// Puts out the reports of the moment that answers the process.
bool PutReports(const std::vector<ChosenReport> &reports, const Moment &moment, RowWriter *writer)
{
   bool done = true;
   writer->SetMoment(moment);
   for (const ChosenReport &chosen : reports) {
      if (RunReport(*chosen.report, *chosen.options, writer->AsOutput()) != NEVRA_OK) {
         Complain(chosen.report->name, "failed");
         done = false; // the others are put out all the same
      }
   }
   return done;
}

bool PutLive(const PutMoment &put)
{
   std::string problem;
   std::unique_ptr<nevra::Source> source = OpenPlatformSource(&problem);
   if (source == nullptr) {
      Complain("this host", problem);
      return false;
   }
   nevra::AnswerFrom(std::move(source));
   utsname system = {};
   uname(&system);
   return put({system.nodename, std::time(nullptr)});
}

bool PutSnapshots(const ExportRequest &request, const PutMoment &put)
{
   bool done = true;
   for (const std::string &path : request.snapshots) {
      Moment moment;
      std::string problem;
      if (!AnswerFromSnapshotFile(path, &moment, &problem)) {
         Complain(path, problem);
         done = false;
         continue;
      }
      done = put(moment) && done;
   }
   return done;
}

bool PutFrame(recorder::Recording *recording, size_t frame, std::vector<uint8_t> *snapshot,
              const PutMoment &put)
{
   Moment moment;
   std::string problem;
   if (!ReadFrame(recording, frame, snapshot)) {
      return false;
   }
   if (!AnswerFromSnapshot(*snapshot, &moment, &problem)) {
      Complain(TimeOf(recording->Frames()[frame]), problem);
      return false;
   }
   moment.seconds = SecondsOf(recording->Frames()[frame]);
   return put(moment);
}

bool PutRecording(const ExportRequest &request, const PutMoment &put)
{
   int64_t from = std::numeric_limits<int64_t>::min();
   int64_t to = std::numeric_limits<int64_t>::max();
   recorder::Recording recording;
   if ((!request.from.empty() && !recorder::ReadTime(request.from, &from)) ||
       (!request.to.empty() && !recorder::ReadTime(request.to, &to)) ||
       !OpenRecording(request.folder, &recording)) {
      return false;
   }
   const std::vector<size_t> frames = FramesBetween(recording, from, to);
   if (frames.empty()) {
      Complain(request.folder, "nothing is recorded between these times");
      return false;
   }
   bool done = true;
   std::vector<uint8_t> snapshot;
   Progress progress("exporting");
   for (size_t i = 0; i < frames.size(); i++) {
      progress.Update(i, frames.size());
      done = PutFrame(&recording, frames[i], &snapshot, put) && done;
   }
   return done;
}

// Puts out the moments that are asked for; `now` is for that of this host.
bool PutMoments(const ExportRequest &request, const PutMoment &put, const PutMoment &now)
{
   return !request.folder.empty()      ? PutRecording(request, put)
          : !request.snapshots.empty() ? PutSnapshots(request, put)
                                       : PutLive(now);
}

bool PutRows(const ExportRequest &request, const std::vector<ChosenReport> &reports, FILE *stream)
{
   const std::unique_ptr<RowWriter> writer =
      MakeRowWriter(request.rowsOnly ? RowFormat::JsonRows : request.format, stream);
   const PutMoment put = [&](const Moment &moment) { return PutReports(reports, moment, writer.get()); };
   const bool done = PutMoments(request, put, put);
   writer->Finish();
   return done;
}

bool ChooseMetrics(const ExportRequest &request, MetricRequest *metrics)
{
   for (const ReportRequest &wanted : request.reports) {
      std::string report = wanted.report;
      if (const std::string problem = ProblemOfReport(&report); !problem.empty()) {
         Complain(wanted.report, problem);
         return false;
      }
      if (!wanted.options.empty()) {
         Complain("-r", "a report has no options of its own here: " + wanted.options.front());
         return false;
      }
      metrics->choices.reports.push_back(report);
   }
   const bool isLive = request.folder.empty() && request.snapshots.empty();
   if (isLive) {
      AllowWalks(metrics->choices.hasWalked);
   }
   metrics->choices.hasWalked |= !isLive; // what was captured has cost what it costs
   return true;
}

bool PutMetrics(const ExportRequest &request, const MetricRequest &metrics, FILE *stream)
{
   MetricOutput output(metrics);
   const bool done = PutMoments(
      request, [&](const Moment &moment) { return output.PutMoment(moment); },
      [&](const Moment &moment) { return output.PutNow(moment); });
   output.Finish(stream);
   return done;
}

// Has `write` write to standard output, or to a file that takes the place of a former one when it is whole.
// `mode` says who may read the file.
int Export(const ExportRequest &request, mode_t mode, const std::function<bool(FILE *stream)> &write)
{
   if (request.output.empty()) {
      const bool done = write(stdout);
      return recorder::FinishOutput() && done ? kExitDone : kExitFailed;
   }
   std::string problem;
   if (!nevra::CheckTarget(request.output.c_str(), request.ifExists, &problem)) {
      Complain(request.output, problem);
      return kExitFailed;
   }
   HeldText text;
   if (text.Stream() == nullptr) {
      Complain(request.output, std::strerror(errno));
      return kExitFailed;
   }
   if (!write(text.Stream())) {
      Complain(request.output, "not written");
      return kExitFailed;
   }
   if (!text.Close()) {
      Complain(request.output, std::strerror(ENOMEM));
      return kExitFailed;
   }
   const std::span<const uint8_t> parts[] = {text.Bytes()};
   if (!nevra::ReplaceFile(request.output.c_str(), parts, request.ifExists, &problem, nullptr, mode)) {
      Complain(request.output, problem);
      return kExitFailed;
   }
   return kExitDone;
}

} // namespace

bool SplitReports(std::vector<std::string> *words, std::vector<ReportRequest> *reports)
{
   std::vector<std::string> before;
   for (size_t i = 0; i < words->size(); i++) {
      const std::string &word = (*words)[i];
      if (word == "-r" || word == "--report") {
         if (i + 1 == words->size()) {
            return false;
         }
         reports->push_back({(*words)[++i], {}});
      } else if (reports->empty()) {
         before.push_back(word);
      } else {
         reports->back().options.push_back(word);
      }
   }
   *words = std::move(before);
   return true;
}

int ExportCommand(const ExportRequest &request)
{
   std::vector<ChosenReport> reports;
   if (!ChooseReports(request, &reports)) {
      return kExitTrouble;
   }
   return Export(request, S_IRUSR | S_IWUSR, [&](FILE *stream) { return PutRows(request, reports, stream); });
}

int ExportMetricsCommand(const ExportRequest &request, const MetricRequest &wanted)
{
   MetricRequest metrics = wanted;
   if (!ChooseMetrics(request, &metrics)) {
      return kExitTrouble;
   }
   // For the collector that reads the file, which is another user.
   constexpr mode_t kForAll = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
   return Export(request, kForAll, [&](FILE *stream) { return PutMetrics(request, metrics, stream); });
}
