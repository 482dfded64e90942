// The data of the page: all that it shows, as JSON.
//
// overview/page/model.ts has its types. Amounts of memory are in KB. Rows are arrays without names, so that
// ten thousand groups stay small. Names come from strangers: they pass nevra/shown_text.h, and nothing in the
// JSON can end the script element that it is in.
#ifndef OVERVIEW_PAGE_DATA_H
#define OVERVIEW_PAGE_DATA_H

#include <cstddef>
#include <string>
#include <vector>

#include "overview/account.h"
#include "overview/collected_table.h"
#include "overview/findings.h"
#include "overview/moment_choice.h"
#include "overview/page_account.h"
#include "overview/page_timeline.h"

namespace overview {

// What one page holds at most. What is left out is said there, or is together in one part.
inline constexpr size_t kMostRows = 20'000; // of a report
inline constexpr AccountBounds kAccountBounds = {.parts = 50, .items = 5'000};
inline constexpr AccountBounds kFrameBounds = {.parts = 20, .items = 200}; // of a moment of a recording
inline constexpr size_t kMostFindings = 500;                               // the most severe ones
inline constexpr size_t kMostNotRead = 200;                                // lines

// A moment with all of its reports.
struct MomentReports {
   HostMoment moment;
   Account account;
   std::vector<CollectedTable> tables; // in the order of the reports, as far as they have a table
};

// Chooses the moment, and reads all reports but those that program the host's counters. Complains and gives
// false when there is no such moment or no overview of it.
bool ReadReports(const MomentChoice &choice, MomentReports *reports);

struct PageContent {
   const char *program; // with its version
   const MomentReports &now;
   const MomentReports *before = nullptr;
   const std::vector<Finding> &findings;
   const PageTimeline *timeline = nullptr;
};

// The JSON, fit for a script element.
std::string MakePageData(const PageContent &content);

} // namespace overview

#endif
