// diff --by.
#ifndef SNAPSHOT_TOOL_GROWTH_COMMAND_H
#define SNAPSHOT_TOOL_GROWTH_COMMAND_H

#include <cstddef>
#include <string>

struct GrowthRequest {
   std::string by;
   size_t top = 20;
   std::string unit = "mb";
};

// Shows who uses more memory in one snapshot than in another. The exit status is that of diff: kExitFailed
// when anyone does, or uses less.
int GrowthCommand(const std::string &before, const std::string &now, const GrowthRequest &request);

#endif
