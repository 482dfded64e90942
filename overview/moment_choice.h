// Which moment an overview is of, and how this process gets to answer with it.
#ifndef OVERVIEW_MOMENT_CHOICE_H
#define OVERVIEW_MOMENT_CHOICE_H

#include <optional>
#include <string>
#include <vector>

#include "export/row_writer.h"
#include "overview/host_rows.h"
#include "overview/kernel_detail.h"
#include "recorder/recording.h"

namespace overview {

// As the command line has it: this host, a snapshot, or a time in a recording. The last frame at or before a
// time is meant, without a time the last of all.
struct MomentChoice {
   std::string snapshot; // a file; empty: none
   std::string folder;   // of a recording; empty: none
   std::string time;     // with a folder
};

// The command that shows reports of the moment: "hostmem", "hostmem -c FILE" or "hostmem-record report ...",
// as a shell takes it.
std::string CommandOf(const MomentChoice &choice);

// A moment that answers the reports of this process, until another is chosen.
struct AnsweringMoment {
   Moment moment;
   std::string source;               // "this host", or the file or folder
   std::vector<std::string> notRead; // what a snapshot says that its capture could not read
   std::optional<KernelDetail> detail;
};

// Makes the moment the source of this process. Complains and gives false when there is none.
bool AnswerFromMoment(const MomentChoice &choice, AnsweringMoment *moment);

// Makes a frame of an open recording the source of this process. The source of the moment stays without a
// name. Complains and gives false when the frame is damaged.
bool AnswerFromFrame(recorder::Recording *recording, size_t frame, AnsweringMoment *moment);

// A moment with the rows that the overview is made of.
struct HostMoment {
   AnsweringMoment of;
   HostRows rows;

   // The detail, if it is of this host.
   const KernelDetail *Detail() const;
   // All that could not be read, a line each.
   std::vector<std::string> NotRead() const;
};

// Chooses the moment and reads its rows. Complains and gives false when comp-stats or group-stats, without
// which there is no overview, cannot be read.
bool ReadMoment(const MomentChoice &choice, HostMoment *moment);

} // namespace overview

#endif
