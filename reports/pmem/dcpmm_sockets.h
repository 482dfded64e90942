// Finds the sockets whose memory controllers can be profiled.
#ifndef REPORTS_PMEM_DCPMM_SOCKETS_H
#define REPORTS_PMEM_DCPMM_SOCKETS_H

#include <vector>

#include "nevra/nevra.h"
#include "reports/pmem/dcpmm_units.h"

// Walks every PCI function of the host and appends the sockets in the order in which the walk meets them. The
// first failure is reported on standard output and ends the walk with its status.
NevraStatus FindDcpmmSockets(std::vector<DcpmmSocket> *sockets);

#endif
