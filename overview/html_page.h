// hostmem-overview --html: one file with the page and its data, which needs nothing else.
#ifndef OVERVIEW_HTML_PAGE_H
#define OVERVIEW_HTML_PAGE_H

#include <optional>
#include <string>

#include "nevra/snapshot/replace_file.h"
#include "overview/moment_choice.h"
#include "overview/page_timeline.h"

namespace overview {

struct HtmlRequest {
   std::string file;
   nevra::IfExists ifExists = nevra::IfExists::Keep;
   MomentChoice now;
   std::optional<MomentChoice> before;
   std::optional<Stretch> stretch; // of a recording; its ends take the place of the two moments
};

// Whether the page was built into this program.
bool HasPage();

// Writes the page. Writes its messages itself and returns the exit status: 0 when done, 1 when something
// failed; what was at the place of the file is then as it was.
int WriteHtmlPage(const HtmlRequest &request);

} // namespace overview

#endif
