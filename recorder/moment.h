// Moments of a recording, as the subcommands take them.
#ifndef RECORDER_MOMENT_H
#define RECORDER_MOMENT_H

#include <cstdint>
#include <string>
#include <vector>

#include "recorder/recording.h"

namespace recorder {

// Each complains on failure.

// Opens the recording in a folder.
bool OpenRecording(const std::string &folder, Recording *recording);

// Reads a TIME of the command line.
bool ReadTime(const std::string &text, int64_t *seconds);

// The last frame at or before a TIME.
bool ChooseFrame(const std::string &folder, const Recording &recording, const std::string &time,
                 size_t *frame);

// The snapshot of a frame.
bool ReadFrame(Recording *recording, size_t frame, std::vector<uint8_t> *snapshot);

} // namespace recorder

#endif
