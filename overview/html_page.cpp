#include "overview/html_page.h"

#include <span>
#include <string_view>

#include "overview/findings.h"
#include "overview/page_bundle.h"
#include "overview/page_data.h"
#include "recorder/message.h"

namespace overview {

namespace {

using recorder::Complain;
using recorder::kExitDone;
using recorder::kExitFailed;

std::span<const uint8_t> BytesOf(std::string_view text)
{
   return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

bool WriteFile(const HtmlRequest &request, std::string_view data)
{
   const std::span<const uint8_t> parts[] = {BytesOf(kPageHead), BytesOf(data), BytesOf(kPageTail)};
   std::string problem;
   if (!nevra::ReplaceFile(request.file.c_str(), parts, request.ifExists, &problem)) {
      Complain(request.file, problem);
      return false;
   }
   return true;
}

} // namespace

bool HasPage()
{
   return !kPageHead.empty();
}

int WriteHtmlPage(const HtmlRequest &request)
{
   std::string problem;
   if (!HasPage()) {
      Complain("--html", "this build has no page: node, npm, esbuild, tsc or d3-hierarchy was missing");
      return kExitFailed;
   }
   if (!nevra::CheckTarget(request.file.c_str(), request.ifExists, &problem)) {
      Complain(request.file, problem);
      return kExitFailed;
   }
   MomentChoice choice = request.now;
   std::optional<MomentChoice> choiceBefore = request.before;
   PageTimeline timeline;
   if (request.stretch.has_value()) {
      choice = {.snapshot = {}, .folder = request.stretch->folder, .time = {}};
      choiceBefore = choice;
      if (!ReadTimeline(*request.stretch, &timeline, &choiceBefore->time, &choice.time)) {
         return kExitFailed;
      }
   }
   MomentReports now;
   MomentReports before;
   if ((choiceBefore.has_value() && !ReadReports(*choiceBefore, &before)) || !ReadReports(choice, &now)) {
      return kExitFailed;
   }
   const std::vector<Finding> findings =
      FindFindings({.rows = now.moment.rows,
                    .detail = now.moment.Detail(),
                    .before = choiceBefore.has_value() ? &before.moment.rows : nullptr,
                    .command = CommandOf(choice)});
   const std::string data = MakePageData({.program = "hostmem-overview " HOSTMEM_VERSION,
                                          .now = now,
                                          .before = choiceBefore.has_value() ? &before : nullptr,
                                          .findings = findings,
                                          .timeline = request.stretch.has_value() ? &timeline : nullptr});
   return WriteFile(request, data) ? kExitDone : kExitFailed;
}

} // namespace overview
