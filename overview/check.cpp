#include "overview/check.h"

#include <algorithm>

#include "overview/amount_text.h"

namespace overview {

namespace {

constexpr const char *kStatusWords[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};

// A bar would begin what is for graphs.
std::string WithoutBars(std::string text)
{
   std::ranges::replace(text, '|', '?');
   return text;
}

std::string Figures(const Overview &overview)
{
   const std::string total = std::to_string(overview.account.byUse.kb);
   std::string text = "free=" + std::to_string(overview.now->rows.host->free) + "KB;;;0;" + total;
   if (overview.account.available.has_value()) {
      text += " available=" + std::to_string(*overview.account.available) + "KB;;;0;" + total;
   }
   return text;
}

} // namespace

int CheckStatus(const Overview &overview)
{
   // The most severe come first.
   const Severity worst = overview.findings.empty() ? Severity::Note : overview.findings.front().severity;
   return worst == Severity::Critical     ? kCheckCritical
          : worst == Severity::Warning    ? kCheckWarning
          : overview.now->rows.hasFailure ? kCheckUnknown
                                          : kCheckOk;
}

std::string CheckLine(const Overview &overview, Charset charset)
{
   const int status = CheckStatus(overview);
   std::string text = "HOSTMEM ";
   text.append(kStatusWords[status]).append(" - ");
   if (status == kCheckOk) {
      text += AmountText(static_cast<int64_t>(overview.now->rows.host->free)) + " of " +
              AmountText(overview.account.byUse.kb) + " free";
   } else if (status == kCheckUnknown) {
      text += "not read: " + WithoutBars(TerminalText(overview.now->rows.notRead.front(), charset));
   } else {
      const Finding &first = overview.findings.front();
      const auto others = std::ranges::count_if(
         overview.findings, [](const Finding &finding) { return finding.severity != Severity::Note; });
      text += WithoutBars(TerminalText(first.subject + " " + first.text, charset));
      text += others > 1 ? " (+" + std::to_string(others - 1) + ")" : "";
   }
   return text + " | " + Figures(overview);
}

} // namespace overview
