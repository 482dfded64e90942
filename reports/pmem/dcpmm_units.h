// The event counters of a socket's memory controllers: programming and reading them through PCI
// configuration registers.
//
// A socket has six memory-controller channels (IMC) and two mesh-to-memory units (M2M), told apart by slot
// and function. Every message goes to standard output.
#ifndef REPORTS_PMEM_DCPMM_UNITS_H
#define REPORTS_PMEM_DCPMM_UNITS_H

#include <cstdint>
#include <cstdio>
#include <vector>

#include "nevra/nevra.h"
#include "report/table_output.h"

// Where a socket's units are; its number is its place in the table of sockets.
struct DcpmmSocket {
   int64_t segment;
   int64_t bus;
};

// Slot and function of a unit, the same on every socket.
struct DcpmmUnit {
   uint32_t slot;
   uint32_t function;
};

inline constexpr DcpmmUnit kDcpmmUnits[] = {{10, 2}, {10, 6}, {11, 2}, {12, 2},
                                            {12, 6}, {13, 2}, {8, 0},  {9, 0}};

// Where the counts go.
struct DcpmmOutput {
   const std::vector<DcpmmSocket> *sockets;
   FILE *file;              // null with -q
   const TableOutput *rows; // get the counts where there is no file
};

// The columns of the rows.
extern ReportColumn dcpmmColumns[6];

// Writes the value of a control event, named in any case, to its register. Every failure is reported:
// "Failure" for an unknown name, "Out of memory" when a list cannot be made, else the platform's status.
NevraStatus DcpmmProgramEvent(const DcpmmSocket &socket, const DcpmmUnit &unit, const char *eventName);

// Stops the unit's counters.
NevraStatus DcpmmFreezeUnit(const DcpmmSocket &socket, const DcpmmUnit &unit);

// Chooses what the unit's counters count. The first failure ends it.
NevraStatus DcpmmProgramAllUnits(const DcpmmSocket &socket, const DcpmmUnit &unit);

// Sets the unit's counters to 0 and starts them.
NevraStatus DcpmmResetUnit(const DcpmmSocket &socket, const DcpmmUnit &unit);

// Reads the counter of an event, named in any case, and puts it out. Statuses as DcpmmProgramEvent; "Failure"
// too when no socket has the bus.
NevraStatus DcpmmReadCounter(const DcpmmSocket &socket, const DcpmmUnit &unit, const char *eventName,
                             const DcpmmOutput &output);

// Freezes the unit, then reads all its counters. The first failure ends it.
NevraStatus DcpmmReadAllCounters(const DcpmmSocket &socket, const DcpmmUnit &unit, const DcpmmOutput &output);

#endif
