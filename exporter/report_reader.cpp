#include "exporter/report_reader.h"

#include <ctime>
#include <memory>
#include <utility>

#include <dlfcn.h>
#include <sys/utsname.h>

#include "export/answer_from_snapshot.h"
#include "export/metric_text.h"
#include "exporter/reader_message.h"
#include "nevra/linux/linux_source.h"
#include "nevra/operations.h"
#include "snapshot-tool/platform_source.h"

namespace exporter {

namespace {

bool AnswerFromPlatform(std::string *problem)
{
   std::unique_ptr<nevra::Source> source = OpenPlatformSource(problem);
   if (source == nullptr) {
      return false;
   }
   nevra::AnswerFrom(std::move(source));
   return true;
}

bool ChooseSource(const ReadingChoices &choices, std::string *host, std::string *problem)
{
   if (!choices.snapshot.empty()) {
      Moment moment;
      const bool isThere = AnswerFromSnapshotFile(choices.snapshot, &moment, problem);
      *host = moment.host;
      if (!isThere) {
         problem->insert(0, choices.snapshot + ": ");
      }
      return isThere;
   }
   if (!choices.root.empty()) {
      nevra::AnswerFrom(nevra::MakeLinuxSource(choices.root));
      *host = nevra::ReadHostName(choices.root);
      return true;
   }
   utsname system = {};
   uname(&system);
   *host = system.nodename;
   return AnswerFromPlatform(problem);
}

} // namespace

bool PrepareToRead(const ReadingChoices &choices, std::string *problem)
{
   if (!choices.snapshot.empty() || !choices.root.empty()) {
      return true;
   }
   // The readers find it loaded.
   if (dlopen("libnevra.so.1", RTLD_NOW | RTLD_LOCAL) == nullptr) {
      *problem = dlerror();
      return false;
   }
   return true;
}

void ReadReports(const ReadingChoices &choices, int pipe)
{
   const MessageWriter messages(pipe);
   std::string host;
   std::string problem;
   if (!ChooseSource(choices, &host, &problem)) {
      messages.Problem(problem);
      return;
   }
   messages.Host(host);
   std::string openMetrics;
   std::string text004;
   uint32_t report = 0;
   const size_t dropped = CollectMetrics(
      choices.metrics, {},
      [&](const MetricRows &rows) {
         openMetrics.clear();
         text004.clear();
         AppendMetrics(rows, MetricFormat::OpenMetrics, &openMetrics, &text004);
         messages.Families(openMetrics, text004);
      },
      [&](const ReportRun &run) {
         messages.Run({report++, run.success, run.seconds});
      });
   messages.End(dropped);
}

} // namespace exporter
