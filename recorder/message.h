// Messages of the programs that read recordings.
#ifndef RECORDER_MESSAGE_H
#define RECORDER_MESSAGE_H

#include <string>

#include "recorder/commands.h"

namespace recorder {

// Writes "PROGRAM: SUBJECT: problem" to standard error.
void Complain(const std::string &subject, const std::string &problem);

// Flushes standard output; complains when not all of it could be written.
bool FinishOutput();

} // namespace recorder

#endif
