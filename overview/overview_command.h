// What hostmem-overview does.
#ifndef OVERVIEW_OVERVIEW_COMMAND_H
#define OVERVIEW_OVERVIEW_COMMAND_H

#include <optional>
#include <string>

#include "nevra/snapshot/replace_file.h"
#include "overview/moment_choice.h"
#include "report/display_unit.h"

namespace overview {

enum class Form : uint8_t { Screen, Findings, Check };

struct OverviewRequest {
   MomentChoice moment;
   std::string against; // a file, or with a folder a time in it; empty: none
   Form form = Form::Screen;
   std::optional<DisplayUnit> unit;
   size_t columns = 0; // 0: as the terminal has them
   size_t lines = 0;
   std::string html; // file for the page; empty: none is asked for
   nevra::IfExists ifHtmlExists = nevra::IfExists::Keep;
   std::string from; // with a page and a folder: TIMEs between which the recording is shown; empty: no bound
   std::string to;
};

// Writes the overview to standard output, or the page. Writes its messages itself and returns the exit
// status: 0 when done, 1 when something could not be read, or that of a check.
int OverviewCommand(const OverviewRequest &request);

} // namespace overview

#endif
