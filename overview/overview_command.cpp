#include "overview/overview_command.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

#include "overview/check.h"
#include "overview/html_page.h"
#include "overview/screen.h"
#include "recorder/message.h"

namespace overview {

namespace {

using recorder::kExitDone;
using recorder::kExitFailed;

// Whether the terminal knows colours, and its user wants them.
bool AreColoursWanted()
{
   const char *noColour = std::getenv("NO_COLOR");
   const char *terminal = std::getenv("TERM");
   return (noColour == nullptr || *noColour == '\0') && terminal != nullptr && *terminal != '\0' &&
          std::strcmp(terminal, "dumb") != 0;
}

ScreenStyle StyleOf(const OverviewRequest &request)
{
   const bool isTerminal = isatty(STDOUT_FILENO) != 0;
   ScreenStyle style = {.hasColours = isTerminal && AreColoursWanted(),
                        .charset = UseLocaleOfEnvironment(),
                        .unit = request.unit};
   winsize size = {};
   if (isTerminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
      style.columns = size.ws_col;
      style.lines = size.ws_row;
   }
   style.columns = request.columns > 0 ? request.columns : std::max(style.columns, kFewestColumns);
   style.lines = request.lines > 0 ? request.lines : std::max(style.lines, kFewestLines);
   return style;
}

std::optional<MomentChoice> ChoiceBefore(const OverviewRequest &request)
{
   if (request.against.empty()) {
      return std::nullopt;
   }
   if (!request.moment.folder.empty()) {
      return MomentChoice{.snapshot = {}, .folder = request.moment.folder, .time = request.against};
   }
   return MomentChoice{.snapshot = request.against, .folder = {}, .time = {}};
}

int PageCommand(const OverviewRequest &request)
{
   HtmlRequest page = {.file = request.html,
                       .ifExists = request.ifHtmlExists,
                       .now = request.moment,
                       .before = ChoiceBefore(request),
                       .stretch = {}};
   if (!request.from.empty() || !request.to.empty()) {
      page.stretch = {.folder = request.moment.folder, .from = request.from, .to = request.to};
   }
   return WriteHtmlPage(page);
}

} // namespace

int OverviewCommand(const OverviewRequest &request)
{
   if (!request.html.empty()) {
      return PageCommand(request);
   }
   const bool isCheck = request.form == Form::Check;
   const std::optional<MomentChoice> choiceBefore = ChoiceBefore(request);
   HostMoment before;
   HostMoment now;
   // The moment that is shown is read last, and goes on answering.
   if ((choiceBefore.has_value() && !ReadMoment(*choiceBefore, &before)) ||
       !ReadMoment(request.moment, &now)) {
      if (isCheck) {
         std::puts("HOSTMEM UNKNOWN - the memory of the host could not be read");
      }
      return isCheck ? kCheckUnknown : kExitFailed;
   }
   const ScreenStyle style = StyleOf(request);
   const Overview overview = MakeOverview(now, choiceBefore.has_value() ? &before : nullptr, request.moment);
   if (isCheck) {
      std::puts(CheckLine(overview, style.charset).c_str());
      return recorder::FinishOutput() ? CheckStatus(overview) : kCheckUnknown;
   }
   const std::string text =
      request.form == Form::Findings ? MakeFindingList(overview, style) : MakeScreen(overview, style);
   std::fputs(text.c_str(), stdout);
   return recorder::FinishOutput() && !now.rows.hasFailure && !before.rows.hasFailure ? kExitDone
                                                                                      : kExitFailed;
}

} // namespace overview
