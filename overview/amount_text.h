// Amounts of memory as people read them.
#ifndef OVERVIEW_AMOUNT_TEXT_H
#define OVERVIEW_AMOUNT_TEXT_H

#include <cstdint>
#include <optional>
#include <string>

#include "report/display_unit.h"

namespace overview {

// "812 KB", "12.5 MB", "1.5 GB": in the unit, or without one in that which leaves fewer than four digits
// before the point. At most kAmountWidth characters then.
std::string AmountText(int64_t kb, std::optional<DisplayUnit> unit = {});
inline constexpr int kAmountWidth = 9; // with a sign

// The same of a change: "+1.5 GB", "-12 KB".
std::string ChangeText(int64_t kb, std::optional<DisplayUnit> unit = {});

// How many hundredths of the whole a part is; 0 of nothing.
double PercentOf(double part, double whole);

// "98 %", "0.4 %": with a digit after the point where there is one before it.
std::string PercentText(double percent);

} // namespace overview

#endif
