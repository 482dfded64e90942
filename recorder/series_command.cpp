#include <limits>
#include <memory>

#include "export/answer_from_snapshot.h"
#include "export/run_report.h"
#include "recorder/frame_choice.h"
#include "recorder/message.h"
#include "recorder/moment.h"
#include "recorder/reading_commands.h"
#include "recorder/series_writer.h"
#include "snapshot-tool/progress.h"

namespace recorder {

namespace {

struct Stretch {
   int64_t from = std::numeric_limits<int64_t>::min();
   int64_t to = std::numeric_limits<int64_t>::max();
};

bool ReadStretch(const SeriesRequest &request, Stretch *stretch)
{
   return (request.from.empty() || ReadTime(request.from, &stretch->from)) &&
          (request.to.empty() || ReadTime(request.to, &stretch->to));
}

// The report that is asked for; complains of a request that cannot be met.
const ReportEntry *CheckRequest(const SeriesRequest &request, std::vector<RowMatch> *matches)
{
   const ReportEntry *report = FindReport(request.report.c_str());
   if (report == nullptr || report->source == ReportSource::LiveOnly) {
      Complain(request.report, report == nullptr ? "no such report" : "reads no recording");
      return nullptr;
   }
   if (const std::string problem = ProblemOfOptions(*report, request.options); !problem.empty()) {
      Complain("-r", problem);
      return nullptr;
   }
   for (const std::string &text : request.matches) {
      if (!ParseRowMatch(text, &matches->emplace_back())) {
         Complain("--match", "not COLUMN=PATTERN: " + text);
         return nullptr;
      }
   }
   return report;
}

// One recording, read for one report.
class Series {
 public:
   Series(Recording *source, const ReportEntry *reportToRun, const SeriesRequest &request, SeriesWriter *to)
       : recording(source), report(reportToRun), options(request.options), writer(to)
   {
   }

   // Puts out the rows of one frame. False when it could not be read or reported.
   bool Put(size_t frame)
   {
      std::string problem;
      Moment moment;
      if (!ReadFrame(recording, frame, &snapshot)) {
         return false;
      }
      const Frame &facts = recording->Frames()[frame];
      if (!AnswerFromSnapshot(snapshot, &moment, &problem)) {
         Complain(TimeOf(facts), problem);
         return false;
      }
      const SegmentHeader &segment = recording->Segments()[facts.segment].header;
      writer->SetMoment({moment.host, SecondsOf(facts)}, facts.header.bootTime,
                        {segment.bootId.begin(), segment.bootId.end()});
      const NevraStatus status = RunReport(*report, options, writer->AsOutput());
      if (!writer->Problem().empty()) {
         Complain("--match", writer->Problem());
         return false;
      }
      if (status != NEVRA_OK) {
         Complain(TimeOf(facts), std::string(report->name) + " failed");
      }
      return status == NEVRA_OK;
   }

 private:
   Recording *recording;
   const ReportEntry *report;
   const std::vector<std::string> &options;
   SeriesWriter *writer;
   std::vector<uint8_t> snapshot; // kept for its storage
};

} // namespace

int SeriesCommand(const std::string &folder, const SeriesRequest &request)
{
   std::vector<RowMatch> matches;
   Stretch stretch;
   const ReportEntry *report = CheckRequest(request, &matches);
   if (report == nullptr || !ReadStretch(request, &stretch)) {
      return kExitTrouble;
   }
   Recording recording;
   if (!OpenRecording(folder, &recording)) {
      return kExitFailed;
   }
   const std::vector<size_t> frames = FramesBetween(recording, stretch.from, stretch.to);
   if (frames.empty()) {
      Complain(folder, "nothing is recorded between these times; there are frames from " +
                          TimeOf(recording.Frames().front()) + " to " + TimeOf(recording.Frames().back()));
      return kExitFailed;
   }
   const std::unique_ptr<RowWriter> out =
      MakeRowWriter(request.jsonLines ? RowFormat::JsonLines : RowFormat::Csv, stdout);
   SeriesWriter writer(out.get(), std::move(matches), request.rates ? Counters::PerSecond : Counters::Total);
   Series series(&recording, report, request, &writer);
   bool done = true;
   Progress progress("reading");
   if (request.rates && frames.front() > 0) { // for the rates of the first
      writer.SetSilent(true);
      done = series.Put(frames.front() - 1);
      writer.SetSilent(false);
   }
   for (size_t i = 0; i < frames.size() && writer.Problem().empty(); i++) {
      progress.Update(i, frames.size());
      done = series.Put(frames[i]) && done; // what can be read is shown
   }
   out->Finish();
   return FinishOutput() && done ? kExitDone : kExitFailed;
}

} // namespace recorder
