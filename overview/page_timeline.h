// A stretch of a recording, as the page shows it: figures of many moments, account and groups of some.
#ifndef OVERVIEW_PAGE_TIMELINE_H
#define OVERVIEW_PAGE_TIMELINE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "overview/account.h"
#include "overview/host_rows.h"

namespace overview {

// What a page holds at most of a recording.
inline constexpr size_t kMostMoments = 300; // evenly spread over the frames, the first and last included
inline constexpr size_t kMostFrames = 60;   // moments with account and groups
inline constexpr size_t kMostFrameGroups = 100'000; // groups of all of those
inline constexpr size_t kMostGroupSeries = 8;       // groups that are plotted: those that were largest

struct TimelineSeries {
   std::string name;
   bool isGroup = false; // a part of the account otherwise
   bool isDifference = false;
   std::vector<std::optional<int64_t>> kb; // one per moment; none when it was not there
};

struct TimelineFrame {
   size_t at = 0; // position in PageTimeline::times
   Account account;
   std::vector<GroupRow> groups;
};

struct PageTimeline {
   std::vector<int64_t> times; // seconds since 1970, UTC
   size_t recorded = 0;        // frames in the stretch
   std::vector<TimelineSeries> series;
   std::vector<TimelineFrame> frames; // the first moment and the last are among them
};

// Times as the command line has them; empty: the first, the last frame.
struct Stretch {
   std::string folder;
   std::string from;
   std::string to;
};

// Reads the moments of a stretch, which answer this process one after the other. `*first` and `*last` become
// its ends, as --at takes them. Complains and gives false when nothing is recorded in it, or a frame is
// damaged.
bool ReadTimeline(const Stretch &stretch, PageTimeline *timeline, std::string *first, std::string *last);

// Leaves out frames, evenly spread, until their groups are no more than kMostFrameGroups. The first and the
// last stay.
void BoundFrames(std::vector<TimelineFrame> *frames);

// `count` positions of `total`, evenly spread, the first and the last included.
std::vector<size_t> SpreadPositions(size_t total, size_t count);

} // namespace overview

#endif
