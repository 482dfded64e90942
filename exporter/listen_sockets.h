// The sockets that clients connect to.
#ifndef EXPORTER_LISTEN_SOCKETS_H
#define EXPORTER_LISTEN_SOCKETS_H

#include <string>
#include <vector>

#include "nevra/linux/kernel_file.h"

namespace exporter {

// Those that the service manager has opened and handed over; none when it has not. False when one of them is
// no socket that listens, and `*problem` says so. Later calls, and programs that this one starts, get none.
bool TakeHandedSockets(std::vector<nevra::FileDescriptor> *sockets, std::string *problem);

// Listens on HOST:PORT: a name, an IPv4 address, an IPv6 address in brackets, or nothing for all addresses;
// port 0 is one that is free. What a name stands for is listened on as a whole.
bool ListenOn(const std::string &address, std::vector<nevra::FileDescriptor> *sockets, std::string *problem);

// The address of a socket as ADDRESS:PORT.
std::string AddressOf(int socket);

} // namespace exporter

#endif
