#include "exporter/listen_sockets.h"

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

namespace exporter {

using nevra::FileDescriptor;

namespace {

constexpr int kFirstHanded = 3;

// A number in the environment; -1 when there is none.
int NumberIn(const char *variable)
{
   const char *text = std::getenv(variable);
   int number = -1;
   if (text != nullptr) {
      std::from_chars(text, text + std::strlen(text), number);
   }
   return number;
}

bool IsListening(int socket)
{
   int isListening = 0;
   socklen_t size = sizeof isListening;
   return getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &isListening, &size) == 0 && isListening != 0;
}

bool Fails(std::string *problem)
{
   *problem = std::strerror(errno);
   return false;
}

// Splits at the last colon. Brackets around an IPv6 address are taken off.
bool SplitAddress(const std::string &address, std::string *host, std::string *port)
{
   const size_t colon = address.rfind(':');
   if (colon == std::string::npos || colon + 1 == address.size()) {
      return false;
   }
   *host = address.substr(0, colon);
   *port = address.substr(colon + 1);
   if (host->starts_with('[') && host->ends_with(']')) {
      *host = host->substr(1, host->size() - 2);
   } else if (host->find(':') != std::string::npos) {
      return false;
   }
   uint16_t number = 0;
   const char *const end = port->data() + port->size();
   const auto [after, error] = std::from_chars(port->data(), end, number);
   return error == std::errc() && after == end;
}

bool Listen(const addrinfo &address, FileDescriptor *opened)
{
   FileDescriptor listener(
      socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, address.ai_protocol));
   const int on = 1;
   const int off = 0;
   if (!listener.IsOpen() || setsockopt(listener.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
      return false;
   }
   if (address.ai_family == AF_INET6) { // all addresses are those of IPv4, too
      setsockopt(listener.Get(), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
   }
   if (bind(listener.Get(), address.ai_addr, address.ai_addrlen) != 0 ||
       listen(listener.Get(), SOMAXCONN) != 0) {
      return false;
   }
   *opened = std::move(listener);
   return true;
}

} // namespace

bool TakeHandedSockets(std::vector<FileDescriptor> *sockets, std::string *problem)
{
   const bool isForThis = NumberIn("LISTEN_PID") == getpid();
   const int count = NumberIn("LISTEN_FDS");
   for (const char *variable : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) {
      unsetenv(variable);
   }
   for (int i = 0; isForThis && i < count; i++) {
      FileDescriptor handed(kFirstHanded + i);
      if (!IsListening(handed.Get())) {
         *problem = "descriptor " + std::to_string(handed.Release()) + " is no socket that listens";
         return false;
      }
      if (fcntl(handed.Get(), F_SETFD, FD_CLOEXEC) != 0 || fcntl(handed.Get(), F_SETFL, O_NONBLOCK) != 0) {
         return Fails(problem);
      }
      sockets->push_back(std::move(handed));
   }
   return true;
}

bool ListenOn(const std::string &address, std::vector<FileDescriptor> *sockets, std::string *problem)
{
   std::string host;
   std::string port;
   if (!SplitAddress(address, &host, &port)) {
      *problem = "is not HOST:PORT";
      return false;
   }
   addrinfo hints = {};
   hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
   hints.ai_socktype = SOCK_STREAM;
   addrinfo *found = nullptr;
   // No host is all addresses: one socket of IPv6 stands for them, or one of IPv4 where there is no IPv6.
   const int error = getaddrinfo(host.empty() ? "::" : host.c_str(), port.c_str(), &hints, &found);
   if (error != 0) {
      *problem = error == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(error);
      return false;
   }
   const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(found, freeaddrinfo);
   for (const addrinfo *one = found; one != nullptr; one = one->ai_next) {
      FileDescriptor listener;
      if (!Listen(*one, &listener)) {
         if (host.empty() && errno == EAFNOSUPPORT) {
            return ListenOn("0.0.0.0:" + port, sockets, problem);
         }
         return Fails(problem);
      }
      sockets->push_back(std::move(listener));
   }
   return true;
}

std::string AddressOf(int socket)
{
   sockaddr_storage address = {};
   socklen_t size = sizeof address;
   char host[NI_MAXHOST];
   char port[NI_MAXSERV];
   if (getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
       getnameinfo(reinterpret_cast<sockaddr *>(&address), size, host, sizeof host, port, sizeof port,
                   NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
      return "a socket";
   }
   const bool isSix = address.ss_family == AF_INET6;
   std::string text;
   text.append(isSix ? "[" : "").append(host).append(isSix ? "]:" : ":").append(port);
   return text;
}

} // namespace exporter
