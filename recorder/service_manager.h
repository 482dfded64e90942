// Tells the service manager how the recorder is: the protocol of systemd's NOTIFY_SOCKET.
#ifndef RECORDER_SERVICE_MANAGER_H
#define RECORDER_SERVICE_MANAGER_H

#include <string>

namespace recorder {

// Sends lines such as "READY=1" or "WATCHDOG=1". Does nothing when nobody listens.
void NotifyServiceManager(const std::string &lines);

} // namespace recorder

#endif
