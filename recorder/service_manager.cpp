#include "recorder/service_manager.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace recorder {

void NotifyServiceManager(const std::string &lines)
{
   const char *path = std::getenv("NOTIFY_SOCKET");
   sockaddr_un address = {};
   if (path == nullptr || (path[0] != '/' && path[0] != '@') ||
       std::strlen(path) >= sizeof address.sun_path) {
      return;
   }
   address.sun_family = AF_UNIX;
   std::memcpy(address.sun_path, path, std::strlen(path));
   if (path[0] == '@') {
      address.sun_path[0] = '\0'; // a socket without a file
   }
   const int channel = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   if (channel < 0) {
      return;
   }
   const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
   // A manager that does not take it would not take a complaint either.
   [[maybe_unused]] const ssize_t sent =
      sendto(channel, lines.data(), lines.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
             reinterpret_cast<const sockaddr *>(&address), length);
   close(channel);
}

} // namespace recorder
