// The commands of the guide to incidents print what it shows, on the incident that it tells of.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/docs/document.h"
#include "tests/recorder/reading/made_recording.h"
#include "tests/shell/run_command.h"

namespace {

constexpr SampleHost kHazel = {LARGE_SAMPLE_HOST, "2026-03-17T03:00:00Z"};
constexpr int64_t kTwoOClock = 1773712800; // 2026-03-17T02:00:00Z

// An hour of hazel, up to the moment of the sample: build-02 grows all the time, five others a little, and
// from half past two on app-05 is swapped out.
void RecordTheIncident(MadeRecording *recording)
{
   const auto edit = [](const char *name, int64_t from, int64_t to) {
      const std::string before = std::string("\"") + name + "\": ";
      return std::pair(before + std::to_string(from) + ',', before + std::to_string(to) + ',');
   };
   for (int64_t minute = 0; minute <= 60; minute++) {
      // What a VM consumes is what is mapped but not shared.
      Edits edits = {edit("mapped", 11730144, 7030144 + 4700000 * minute / 60)};
      // app-05, build-01, db-04, dc-02, mail-02
      for (const int64_t mapped : {13026356, 11975376, 48106848, 6362816, 12819284}) {
         edits.push_back(edit("mapped", mapped, mapped - 20000 + 600 * minute));
      }
      const int64_t swapped = minute < 30 ? 0 : 578524 * (minute - 30) / 30;
      edits.push_back(edit("swapped", 578524, swapped));
      edits.push_back(edit("swapOut", 1735572, 1157048 + swapped));
      recording->Add(kTwoOClock + 60 * minute, edits);
   }
}

// How many bytes are stored depends on the compressor's version.
std::string WithoutStoredBytes(const std::string &text)
{
   const size_t line = text.find("\nbytes on disk ");
   return line == std::string::npos ? text : text.substr(0, line) + text.substr(text.find('\n', line + 1));
}

TEST(IncidentGuide, ItsCommandsPrintWhatItShows)
{
   MadeRecording recording(kHazel);
   RecordTheIncident(&recording);
   recording.Stop();
   const MadeRecording elsewhere; // a folder to work in
   std::filesystem::create_directory_symlink(recording.Folder(), elsewhere.Folder() + "/hazel");
   const std::vector<DocumentedCommand> examples = ReadCommands(INCIDENT_GUIDE);
   EXPECT_GE(examples.size(), 6u);
   for (const DocumentedCommand &example : examples) {
      const CommandResult run = RunCommand("cd " + elsewhere.Folder() +
                                           " && export TZ=UTC PATH=" BIN_FOLDER ":$PATH\n" + example.command);
      EXPECT_EQ(run.exitStatus, 0) << example.command;
      EXPECT_EQ(WithoutStoredBytes(run.output), WithoutStoredBytes(example.output)) << example.command;
   }
}

} // namespace
