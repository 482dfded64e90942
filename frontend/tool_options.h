// The options of the tool as a whole, which come before -r and its report type.
#ifndef FRONTEND_TOOL_OPTIONS_H
#define FRONTEND_TOOL_OPTIONS_H

#include <getopt.h>

// The short form takes a word that nothing reads, --force takes none. Kept for compatibility.
inline constexpr char kToolShortOptions[] = "f:c:r:h";
inline constexpr option kToolLongOptions[] = {{"force", no_argument, nullptr, 'f'},
                                              {"cache", required_argument, nullptr, 'c'},
                                              {"report", required_argument, nullptr, 'r'},
                                              {"help", no_argument, nullptr, 'h'},
                                              {nullptr, 0, nullptr, 0}};

#endif
