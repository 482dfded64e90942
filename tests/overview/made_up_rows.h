// Rows of hosts that nobody has.
#ifndef TESTS_OVERVIEW_MADE_UP_ROWS_H
#define TESTS_OVERVIEW_MADE_UP_ROWS_H

#include <random>

#include "overview/host_rows.h"
#include "overview/kernel_detail.h"
#include "overview/moment_choice.h"

// Figures of any size, up to all bits set; groups with parents that come before them, after them, that are
// not there or they themselves, deep and flat; names that strangers choose to do harm.
overview::HostRows MakeUpRows(std::mt19937_64 *random);

// Amounts that may or may not fit the rows.
overview::KernelDetail MakeUpDetail(const overview::HostRows &rows, std::mt19937_64 *random);

// A host of 8 GB without groups below its root, to which a test adds what it is about.
overview::HostRows PlainRows();

#endif
