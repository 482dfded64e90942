// An overview on one screen of a terminal.
#ifndef OVERVIEW_SCREEN_H
#define OVERVIEW_SCREEN_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "overview/account.h"
#include "overview/display_text.h"
#include "overview/findings.h"
#include "overview/moment_choice.h"
#include "report/display_unit.h"

namespace overview {

struct ScreenStyle {
   size_t columns = 80;
   size_t lines = 24; // of the terminal; the last one is left to the shell
   bool hasColours = false;
   Charset charset = Charset::Ascii;
   std::optional<DisplayUnit> unit; // none: each amount in that which suits it
};
inline constexpr size_t kFewestColumns = 60;
inline constexpr size_t kFewestLines = 20;

// What is shown: a moment, and one before it or null.
struct Overview {
   const HostMoment *now = nullptr;
   const HostMoment *before = nullptr;
   Account account;
   std::optional<Account> accountBefore;
   std::vector<Finding> findings;
};

// The overview of a moment. Both must outlive it; `before` may be null, and `choice` is that of `now`.
Overview MakeOverview(const HostMoment &now, const HostMoment *before, const MomentChoice &choice);

// Lines with newlines: as many columns and lines as the terminal has, at most.
std::string MakeScreen(const Overview &overview, const ScreenStyle &style);

// Every finding with the command that shows more, and all that could not be read. Nothing of it is cut: the
// list is as long and as wide as it takes.
std::string MakeFindingList(const Overview &overview, const ScreenStyle &style);

} // namespace overview

#endif
