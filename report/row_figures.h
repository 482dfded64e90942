// The 64-bit figures of a row, named as members: a report states in one table which of them it sums into its
// totals and in another which of them it converts to the display unit.
#ifndef REPORT_ROW_FIGURES_H
#define REPORT_ROW_FIGURES_H

#include <cstddef>
#include <cstdint>

#include "report/display_unit.h"

// Adds the row's figures, modulo 2^64: a figure that is not available is added as the number it reads.
template <typename Row, size_t N>
void AddFigures(Row *totals, const Row &row, uint64_t Row::*const (&figures)[N])
{
   for (uint64_t Row::*figure : figures) {
      totals->*figure += row.*figure;
   }
}

// Converts the row's figures from KB, in place.
template <typename Row, size_t N>
void ConvertFigures(Row *row, DisplayUnit unit, uint64_t Row::*const (&figures)[N])
{
   for (uint64_t Row::*figure : figures) {
      row->*figure = ConvertKB(row->*figure, unit);
   }
}

#endif
