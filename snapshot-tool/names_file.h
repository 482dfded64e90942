// The file that holds the names behind pseudonyms, and their key.
#ifndef SNAPSHOT_TOOL_NAMES_FILE_H
#define SNAPSHOT_TOOL_NAMES_FILE_H

#include "snapshot-tool/anonymize.h"
#include "snapshot-tool/commands.h"

// Goes on with the key and the names of the file, if it is there and is the caller's; it will be replaced
// then. Nothing happens without a path. Complains when no such file can be written.
bool OpenNames(Output *names, Pseudonyms *pseudonyms);

// Writes it; complains on failure. Nothing happens without a path.
bool WriteNames(const Output &names, const Pseudonyms &pseudonyms);

#endif
