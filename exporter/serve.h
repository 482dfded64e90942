// The program's loop.
#ifndef EXPORTER_SERVE_H
#define EXPORTER_SERVE_H

#include <chrono>
#include <string>
#include <vector>

#include "exporter/report_reader.h"

namespace exporter {

struct ServeRequest {
   ReadingChoices reading;
   std::vector<std::string> addresses; // unless the service manager hands over sockets
   std::string webConfig;              // a file; empty: neither TLS nor passwords
   std::chrono::milliseconds readingTimeout{8000};
   std::chrono::seconds clientTimeout{30};
};

// Serves until SIGTERM or SIGINT. Writes its messages itself and returns the exit status: 0 when it was
// ended, 1 when it could not start.
int Serve(const ServeRequest &request);

} // namespace exporter

#endif
