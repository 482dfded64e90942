// Messages of the subcommands that read.
#ifndef RECORDER_MESSAGE_H
#define RECORDER_MESSAGE_H

#include <string>

#include "recorder/commands.h"

namespace recorder {

// Writes "hostmem-record: SUBJECT: problem" to standard error.
void Complain(const std::string &subject, const std::string &problem);

// Flushes standard output; complains when not all of it could be written.
bool FinishOutput();

} // namespace recorder

#endif
