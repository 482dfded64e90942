// The part of the command line of hostmem-record that reads recordings.
#ifndef RECORDER_READING_COMMAND_LINE_H
#define RECORDER_READING_COMMAND_LINE_H

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace recorder {

bool HasSubcommand(const CLI::App &app, const std::string &name);

// Adds the subcommands that read. One that is chosen sets `*action`, which does it and returns the exit
// status; both arguments must outlive the parsing, and `folder` is where a recording is without --dir.
void AddReadingCommands(CLI::App *app, const std::string &folder, std::function<int()> *action);

} // namespace recorder

#endif
