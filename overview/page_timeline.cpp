#include "overview/page_timeline.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <utility>

#include "overview/group_kind.h"
#include "overview/moment_choice.h"
#include "recorder/frame_choice.h"
#include "recorder/message.h"
#include "recorder/moment.h"
#include "snapshot-tool/progress.h"

namespace overview {

namespace {

using recorder::Complain;

// The groups of all moments, each by a number: few of a moment's are new.
class GroupNumbers {
 public:
   size_t NumberOf(const GroupRow &group)
   {
      const auto [found, isNew] = numbers.emplace(std::pair(group.gid, group.name), names.size());
      if (isNew) {
         names.push_back(group.name);
      }
      return found->second;
   }
   const std::vector<std::string> &Names() const { return names; }

 private:
   std::map<std::pair<uint64_t, std::string>, size_t> numbers;
   std::vector<std::string> names;
};

struct GroupSize {
   size_t number;
   int64_t kb;
};

// What is kept of every moment until it is known which series are plotted.
struct MomentFigures {
   std::vector<AccountItem> parts; // of the account by use, the first level only
   std::vector<GroupSize> groups;
};

// VMs as a whole, and groups without others in them that belong to no VM.
std::vector<GroupSize> PlottableGroups(const std::vector<GroupRow> &groups, GroupNumbers *numbers)
{
   std::set<uint64_t> parents;
   for (const GroupRow &group : groups) {
      parents.insert(static_cast<uint64_t>(group.parent));
   }
   const std::vector<bool> areBelowVms = AreBelowVms(groups);
   std::vector<GroupSize> sizes;
   for (size_t i = 0; i < groups.size(); i++) {
      const GroupRow &group = groups[i];
      const bool isOfInterest = KindOf(group) == GroupKind::Vm || !parents.contains(group.gid);
      if (!areBelowVms[i] && isOfInterest && group.consumed > 0) {
         sizes.push_back({numbers->NumberOf(group), static_cast<int64_t>(group.consumed)});
      }
   }
   return sizes;
}

MomentFigures FiguresOf(const Account &account, const std::vector<GroupRow> &groups, GroupNumbers *numbers)
{
   MomentFigures figures;
   for (const AccountItem &part : account.byUse.parts) {
      figures.parts.push_back({.name = part.name,
                               .explanation = {},
                               .kb = part.kb,
                               .isDifference = part.isDifference,
                               .parts = {},
                               .group = {}});
   }
   figures.groups = PlottableGroups(groups, numbers);
   return figures;
}

// A series for each part of the account, in the order in which they first come, from the last moment back.
void AddAccountSeries(const std::vector<MomentFigures> &moments, std::vector<TimelineSeries> *series)
{
   std::map<std::pair<std::string, bool>, size_t> positions;
   for (size_t i = moments.size(); i-- > 0;) {
      for (const AccountItem &part : moments[i].parts) {
         const auto [found, isNew] =
            positions.emplace(std::pair(part.name, part.isDifference), series->size());
         if (isNew) {
            series->push_back(
               {.name = part.name, .isGroup = false, .isDifference = part.isDifference, .kb = {}});
            series->back().kb.resize(moments.size());
         }
         (*series)[found->second].kb[i] = part.kb;
      }
   }
}

// The numbers of the groups that were largest at some moment, the largest first.
std::vector<size_t> LargestGroups(const std::vector<MomentFigures> &moments, size_t count)
{
   std::vector<int64_t> peaks(count, 0);
   for (const MomentFigures &moment : moments) {
      for (const GroupSize &group : moment.groups) {
         peaks[group.number] = std::max(peaks[group.number], group.kb);
      }
   }
   std::vector<size_t> numbers(count);
   std::iota(numbers.begin(), numbers.end(), size_t{0});
   std::ranges::stable_sort(numbers, std::greater(), [&peaks](size_t number) { return peaks[number]; });
   numbers.resize(std::min(count, kMostGroupSeries));
   return numbers;
}

void AddGroupSeries(const std::vector<MomentFigures> &moments, const std::vector<std::string> &names,
                    std::vector<TimelineSeries> *series)
{
   std::map<size_t, size_t> positions; // of the series, by the group's number
   for (const size_t number : LargestGroups(moments, names.size())) {
      positions.emplace(number, series->size());
      series->push_back({.name = names[number], .isGroup = true, .isDifference = false, .kb = {}});
      series->back().kb.resize(moments.size());
   }
   for (size_t i = 0; i < moments.size(); i++) {
      for (const GroupSize &group : moments[i].groups) {
         if (const auto found = positions.find(group.number); found != positions.end()) {
            (*series)[found->second].kb[i] = group.kb;
         }
      }
   }
}

bool FindFrames(const Stretch &stretch, recorder::Recording *recording, std::vector<size_t> *frames)
{
   int64_t from = std::numeric_limits<int64_t>::min();
   int64_t to = std::numeric_limits<int64_t>::max();
   if ((!stretch.from.empty() && !recorder::ReadTime(stretch.from, &from)) ||
       (!stretch.to.empty() && !recorder::ReadTime(stretch.to, &to)) ||
       !recorder::OpenRecording(stretch.folder, recording)) {
      return false;
   }
   *frames = FramesBetween(*recording, from, to);
   if (frames->empty()) {
      Complain(stretch.folder, "nothing is recorded between these times");
      return false;
   }
   return true;
}

// Reads a moment that answers, and gives its account.
Account ReadAccount(const AnsweringMoment &answering, HostMoment *moment)
{
   moment->of = answering;
   moment->rows = ReadHostRows();
   return MakeAccount(moment->rows, moment->Detail());
}

// How many moments are kept with their groups, if each has so many.
size_t MostFramesOf(size_t groups)
{
   return std::clamp(kMostFrameGroups / std::max<size_t>(groups, 1), size_t{2}, kMostFrames);
}

// Which moments are kept with their groups, as far as the first one tells how many they have.
std::set<size_t> FramePositions(size_t moments, size_t groups)
{
   const std::vector<size_t> positions = SpreadPositions(moments, MostFramesOf(groups));
   return {positions.begin(), positions.end()};
}

} // namespace

void BoundFrames(std::vector<TimelineFrame> *frames)
{
   size_t largest = 1;
   for (const TimelineFrame &frame : *frames) {
      largest = std::max(largest, frame.groups.size());
   }
   std::vector<TimelineFrame> kept;
   for (const size_t position : SpreadPositions(frames->size(), MostFramesOf(largest))) {
      kept.push_back(std::move((*frames)[position]));
   }
   *frames = std::move(kept);
}

std::vector<size_t> SpreadPositions(size_t total, size_t count)
{
   std::vector<size_t> positions;
   if (total <= count) {
      for (size_t i = 0; i < total; i++) {
         positions.push_back(i);
      }
      return positions;
   }
   for (size_t i = 0; i < count; i++) {
      positions.push_back(count > 1 ? i * (total - 1) / (count - 1) : total - 1);
   }
   return positions;
}

bool ReadTimeline(const Stretch &stretch, PageTimeline *timeline, std::string *first, std::string *last)
{
   recorder::Recording recording;
   std::vector<size_t> all;
   if (!FindFrames(stretch, &recording, &all)) {
      return false;
   }
   const std::vector<size_t> chosen = SpreadPositions(all.size(), kMostMoments);
   timeline->recorded = all.size();
   *first = TimeOf(recording.Frames()[all.front()]);
   *last = TimeOf(recording.Frames()[all.back()]);
   std::vector<MomentFigures> moments;
   GroupNumbers numbers;
   std::set<size_t> withGroups;
   Progress progress("reading");
   for (size_t i = 0; i < chosen.size(); i++) {
      progress.Update(i, chosen.size());
      AnsweringMoment answering;
      if (!AnswerFromFrame(&recording, all[chosen[i]], &answering)) {
         return false;
      }
      HostMoment moment;
      Account account = ReadAccount(answering, &moment);
      timeline->times.push_back(answering.moment.seconds);
      moments.push_back(FiguresOf(account, moment.rows.groups, &numbers));
      if (i == 0) {
         withGroups = FramePositions(chosen.size(), moment.rows.groups.size());
      }
      if (withGroups.contains(i)) {
         timeline->frames.push_back({i, std::move(account), std::move(moment.rows.groups)});
      }
   }
   BoundFrames(&timeline->frames); // later moments may have had more groups than the first
   AddAccountSeries(moments, &timeline->series);
   AddGroupSeries(moments, numbers.Names(), &timeline->series);
   return true;
}

} // namespace overview
