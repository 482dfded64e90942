#include "overview/moment_choice.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>

#include <sys/utsname.h>

#include "export/answer_from_snapshot.h"
#include "nevra/operations.h"
#include "recorder/frame_choice.h"
#include "recorder/message.h"
#include "recorder/moment.h"
#include "snapshot-tool/capture_notes.h"
#include "snapshot-tool/platform_source.h"

namespace overview {

namespace {

using recorder::Complain;

std::optional<KernelDetail> DetailOf(const nevra::KernelFigures &figures)
{
   return figures.empty() ? std::nullopt : std::optional<KernelDetail>(figures);
}

bool AnswerFromThisHost(AnsweringMoment *moment)
{
   std::string problem;
   std::unique_ptr<nevra::Source> source = OpenPlatformSource(&problem);
   if (source == nullptr) {
      Complain("this host", problem);
      return false;
   }
   const nevra::KernelFigures detail = source->KernelDetail();
   nevra::AnswerFrom(std::move(source));
   utsname system = {};
   uname(&system);
   moment->moment = {system.nodename, std::time(nullptr)};
   moment->source = "this host";
   moment->detail = DetailOf(detail);
   return true;
}

// The lines "not read: ..." of a snapshot's notes.
std::vector<std::string> NotReadOf(std::string_view notes)
{
   std::vector<std::string> lines;
   while (!notes.empty()) {
      const std::string_view line = notes.substr(0, notes.find('\n'));
      if (line.starts_with(kNotReadNote)) {
         lines.emplace_back(line.substr(kNotReadNote.size()));
      }
      notes.remove_prefix(std::min(line.size() + 1, notes.size()));
   }
   return lines;
}

bool AnswerFromFile(const std::string &path, AnsweringMoment *moment)
{
   std::string problem;
   SnapshotFacts facts;
   if (!AnswerFromSnapshotFile(path, &moment->moment, &problem, &facts)) {
      Complain(path, problem);
      return false;
   }
   moment->source = path;
   moment->notRead = NotReadOf(facts.notes);
   moment->detail = DetailOf(facts.kernelDetail);
   return true;
}

bool ChooseLatest(const recorder::Recording &recording, const MomentChoice &choice, size_t *frame)
{
   if (!choice.time.empty()) {
      return ChooseFrame(choice.folder, recording, choice.time, frame);
   }
   *frame = FrameAt(recording, std::numeric_limits<int64_t>::max()).value_or(0);
   return true;
}

bool AnswerFromRecording(const MomentChoice &choice, AnsweringMoment *moment)
{
   recorder::Recording recording;
   size_t frame;
   if (!recorder::OpenRecording(choice.folder, &recording) || !ChooseLatest(recording, choice, &frame) ||
       !AnswerFromFrame(&recording, frame, moment)) {
      return false;
   }
   moment->source = choice.folder;
   return true;
}

// The text as one word of a shell.
std::string ShellWord(const std::string &text)
{
   const auto isPlain = [](char c) {
      return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
             std::string_view("/._-+:@%=,").find(c) != std::string_view::npos;
   };
   if (!text.empty() && std::ranges::all_of(text, isPlain)) {
      return text;
   }
   std::string word = "'";
   for (const char c : text) {
      word.append(c == '\'' ? "'\\''" : std::string(1, c));
   }
   return word + "'";
}

} // namespace

std::string CommandOf(const MomentChoice &choice)
{
   if (!choice.folder.empty()) {
      return "hostmem-record report --dir " + ShellWord(choice.folder) + " " +
             ShellWord(choice.time.empty() ? "now" : choice.time);
   }
   return choice.snapshot.empty() ? "hostmem" : "hostmem -c " + ShellWord(choice.snapshot);
}

bool AnswerFromFrame(recorder::Recording *recording, size_t frame, AnsweringMoment *moment)
{
   std::vector<uint8_t> snapshot;
   if (!recorder::ReadFrame(recording, frame, &snapshot)) {
      return false;
   }
   std::string problem;
   SnapshotFacts facts;
   if (!AnswerFromSnapshot(snapshot, &moment->moment, &problem, &facts)) {
      Complain(TimeOf(recording->Frames()[frame]), problem);
      return false;
   }
   moment->moment.seconds = SecondsOf(recording->Frames()[frame]);
   moment->notRead = NotReadOf(facts.notes);
   moment->detail = DetailOf(facts.kernelDetail);
   return true;
}

bool AnswerFromMoment(const MomentChoice &choice, AnsweringMoment *moment)
{
   return !choice.folder.empty()     ? AnswerFromRecording(choice, moment)
          : !choice.snapshot.empty() ? AnswerFromFile(choice.snapshot, moment)
                                     : AnswerFromThisHost(moment);
}

const KernelDetail *HostMoment::Detail() const
{
   const bool fits = of.detail.has_value() && rows.host.has_value() && IsDetailOf(*rows.host, *of.detail);
   return fits ? &*of.detail : nullptr;
}

std::vector<std::string> HostMoment::NotRead() const
{
   std::vector<std::string> lines = of.notRead;
   lines.insert(lines.end(), rows.notRead.begin(), rows.notRead.end());
   return lines;
}

bool ReadMoment(const MomentChoice &choice, HostMoment *moment)
{
   if (!AnswerFromMoment(choice, &moment->of)) {
      return false;
   }
   moment->rows = ReadHostRows();
   if (moment->rows.host.has_value() && !moment->rows.groups.empty()) {
      return true;
   }
   for (const std::string &line : moment->NotRead()) {
      Complain(moment->of.source, line);
   }
   Complain(moment->of.source,
            moment->rows.host.has_value() ? "has no groups" : "does not say how much memory there is");
   return false;
}

} // namespace overview
