#include "overview/amount_text.h"

#include <cmath>
#include <cstdio>
#include <iterator>

namespace overview {

namespace {

constexpr const char *kUnits[] = {"KB", "MB", "GB", "TB", "PB", "EB"};

std::string Format(const char *format, int digits, double value, const char *unit)
{
   char text[64];
   std::snprintf(text, sizeof text, format, digits, value, unit);
   return text;
}

// The unit in which there are fewer than four digits before the point, after rounding.
size_t UnitFor(double kb)
{
   size_t unit = 0;
   while (std::abs(std::ldexp(kb, -10 * static_cast<int>(unit))) >= 999.95 && unit + 1 < std::size(kUnits)) {
      unit++;
   }
   return unit;
}

std::string InUnit(int64_t kb, std::optional<DisplayUnit> asked, const char *format)
{
   const double amount = static_cast<double>(kb);
   const size_t unit = asked == UNIT_GB ? 2 : asked == UNIT_MB ? 1 : asked.has_value() ? 0 : UnitFor(amount);
   return Format(format, unit == 0 ? 0 : 1, std::ldexp(amount, -10 * static_cast<int>(unit)), kUnits[unit]);
}

} // namespace

std::string AmountText(int64_t kb, std::optional<DisplayUnit> unit)
{
   return InUnit(kb, unit, "%.*f %s");
}

std::string ChangeText(int64_t kb, std::optional<DisplayUnit> unit)
{
   return InUnit(kb, unit, "%+.*f %s");
}

double PercentOf(double part, double whole)
{
   return whole > 0 ? part * 100 / whole : 0;
}

std::string PercentText(double percent)
{
   return Format("%.*f %s", std::abs(percent) < 9.95 ? 1 : 0, percent, "%");
}

} // namespace overview
