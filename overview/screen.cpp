#include "overview/screen.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "overview/account_rows.h"
#include "overview/amount_text.h"
#include "overview/bar.h"
#include "overview/top_list.h"
#include "snapshot-tool/capture_time.h"

namespace overview {

namespace {

enum class Colour : uint8_t { Plain, Heading, Faint, Bar, Good, Warning, Critical };

constexpr const char *CodeOf(Colour colour)
{
   switch (colour) {
   case Colour::Heading:
      return "1";
   case Colour::Faint:
      return "2";
   case Colour::Bar:
      return "36";
   case Colour::Good:
      return "32";
   case Colour::Warning:
      return "33";
   case Colour::Critical:
      return "1;31";
   case Colour::Plain:
      break;
   }
   return "";
}

Colour ColourOf(Severity severity)
{
   return severity == Severity::Critical  ? Colour::Critical
          : severity == Severity::Warning ? Colour::Warning
                                          : Colour::Faint;
}

Colour ColourOfState(std::string_view state)
{
   return state == "High"                       ? Colour::Good
          : state == "Hard" || state == "Low"   ? Colour::Critical
          : state == "Clear" || state == "Soft" ? Colour::Warning
                                                : Colour::Plain;
}

// The lines of a screen as they are written.
class Lines {
 public:
   explicit Lines(const ScreenStyle &of) : style(of) {}

   // Adds to the line what is as wide as it should be.
   Lines &Put(std::string_view text, Colour colour = Colour::Plain)
   {
      const bool isPainted = style.hasColours && colour != Colour::Plain;
      line += isPainted ? std::string("\033[") + CodeOf(colour) + "m" + std::string(text) + "\033[0m"
                        : std::string(text);
      return *this;
   }
   // The same of what may be a stranger's, cut or padded to columns.
   Lines &Put(std::string_view text, size_t columns, Colour colour = Colour::Plain, Align align = Align::Left)
   {
      return Put(FitText(text, columns, style.charset, align), colour);
   }
   Lines &PutName(std::string_view name, size_t columns, Colour colour = Colour::Plain)
   {
      return Put(FitName(name, columns, style.charset), colour);
   }
   void End()
   {
      if (!style.hasColours) {
         line.erase(std::min(line.find_last_not_of(' ') + 1, line.size()));
      }
      finished += line + "\n";
      line.clear();
      count++;
   }
   size_t Count() const { return count; }
   std::string Text() const { return finished; }

 private:
   const ScreenStyle &style;
   std::string line;
   std::string finished;
   size_t count = 0;
};

// Columns of the figures, as wide as the widest of them.
struct FigureColumns {
   size_t amount;
   size_t change;

   FigureColumns(const Overview &overview, std::optional<DisplayUnit> unit)
   {
      const int64_t total = overview.account.byUse.kb;
      amount = std::max<size_t>(8, AmountText(total, unit).size());
      change = unit.has_value() ? ChangeText(total, unit).size() : size_t{kAmountWidth};
   }
};

constexpr size_t kHighScreen = 45; // lines
constexpr size_t kLowScreen = 23;
constexpr size_t kLeastForAccount = 6;

// What is left of the columns or lines; none where there are not as many.
size_t Less(size_t room, size_t taken)
{
   return room - std::min(room, taken);
}

// " (+3)"; nothing for no others.
std::string AndOthers(size_t others)
{
   return others > 0 ? std::string(" (+").append(std::to_string(others)).append(")") : std::string();
}

class Screen {
 public:
   Screen(const Overview &of, const ScreenStyle &as)
       : overview(of), style(as), figures(of, as.unit), lines(as)
   {
   }

   std::string Make()
   {
      const size_t most = std::max(style.lines, kFewestLines) - 1;
      const Lists lists = MakeLists(most >= kHighScreen ? 10 : most < kLowScreen ? 3 : 5);
      PutHeader();
      lines.End();
      // An empty line, the lists with their headings, an empty line, who swaps, an empty line.
      const size_t below = lists.entries + 5;
      const size_t room = most - std::min(lines.Count() + below, most);
      const size_t least = std::min(kLeastForAccount, overview.account.byUse.parts.size());
      const FindingLines findings = ChooseFindings(Less(room, least));
      PutAccount(Less(room, std::max<size_t>(findings.size(), 1)));
      lines.End();
      PutLists(lists);
      lines.End();
      PutSwapped();
      lines.End();
      PutFindings(findings);
      return lines.Text();
   }

 private:
   std::string Amount(int64_t kb) const { return AmountText(kb, style.unit); }
   std::string Change(int64_t kb) const { return ChangeText(kb, style.unit); }

   void PutHeader()
   {
      const HostMoment &now = *overview.now;
      const std::string_view state = now.rows.host->memState;
      constexpr std::string_view kState = "memory state ";
      constexpr size_t kHost = 24;
      constexpr size_t kGaps = 6;
      const std::string time = FormatCaptureTime(now.of.moment.seconds);
      const size_t room = Less(style.columns, time.size() + kState.size() + state.size() + kGaps);
      const size_t host = std::min({ColumnsOf(TerminalText(now.of.moment.host, style.charset)), kHost, room});
      lines.PutName(now.of.moment.host, host, Colour::Heading)
         .Put("  ")
         .Put(time)
         .Put("  ")
         .PutName(now.of.source, room - host)
         .Put("  ")
         .Put(kState)
         .Put(state, ColourOfState(state));
      lines.End();
      lines.Put(Summary(), style.columns);
      lines.End();
      PutNotRead();
   }

   std::string Summary() const
   {
      const HostFigures &host = *overview.now->rows.host;
      std::string text = Amount(overview.account.byUse.kb) + " of memory, " +
                         Amount(static_cast<int64_t>(host.free)) + " free";
      if (overview.account.available.has_value()) {
         text += ", " + Amount(*overview.account.available) + " available without swapping";
      }
      if (overview.before != nullptr) {
         text += "; changes since " + FormatCaptureTime(overview.before->of.moment.seconds);
      }
      return text;
   }

   void PutNotRead()
   {
      const std::vector<std::string> notRead = overview.now->NotRead();
      if (!notRead.empty()) {
         const std::string more = AndOthers(notRead.size() - 1);
         lines.Put("not read: ", Colour::Warning)
            .Put(notRead.front(), style.columns - 10 - more.size())
            .Put(more);
         lines.End();
      }
   }

   // ---- the account

   // Of each item now, in KB.
   using Changes = std::unordered_map<const AccountItem *, int64_t>;

   void PutAccount(size_t most)
   {
      std::optional<Changes> changes;
      if (overview.accountBefore.has_value()) {
         changes.emplace();
         NoteChanges(overview.account.byUse, ChangeOf(overview.accountBefore->byUse, overview.account.byUse),
                     &*changes);
      }
      const std::vector<AccountRow> rows = ChooseRows(overview.account.byUse, most);
      size_t widest = figures.amount;
      for (const AccountRow &row : rows) {
         widest = std::max(widest, Amount(row.kb).size());
      }
      for (const AccountRow &row : rows) {
         PutAccountRow(row, widest, changes);
      }
   }

   void PutAccountRow(const AccountRow &row, size_t amount, const std::optional<Changes> &changes)
   {
      constexpr size_t kName = 24;
      constexpr size_t kPercent = 7;
      const size_t forChange = changes.has_value() ? figures.change + 1 : 0;
      const size_t room = Less(style.columns, 1 + amount + kPercent + forChange);
      const size_t name = std::min(kName, room);
      const size_t indent = std::min(2 * row.depth, name);
      const size_t bar = room - name;
      const int64_t whole = overview.account.byUse.kb;
      lines.Put(std::string(indent, ' ')).PutName(row.name, name - indent);
      lines.Put(Bar(row.kb, whole, bar, style.charset), row.isDifference ? Colour::Faint : Colour::Bar);
      lines.Put(" ").Put(Amount(row.kb), amount, Colour::Plain, Align::Right);
      const double percent = PercentOf(static_cast<double>(row.kb), static_cast<double>(whole));
      lines.Put(PercentText(percent), kPercent, Colour::Faint, Align::Right);
      if (changes.has_value()) {
         lines.Put(ChangeOfRow(*changes, row), forChange, Colour::Plain, Align::Right);
      }
      lines.End();
   }

   // "+1.5 GB"; nothing where it did not change.
   std::string ChangeOfRow(const Changes &changes, const AccountRow &row) const
   {
      uint64_t sum = 0;
      for (const AccountItem *item : row.items) {
         sum += static_cast<uint64_t>(changes.at(item));
      }
      return sum != 0 ? Change(static_cast<int64_t>(sum)) : std::string();
   }

   // An item's change has the same place: the parts of a change begin with those of now, in their order.
   static void NoteChanges(const AccountItem &now, const AccountItem &change, Changes *changes)
   {
      changes->emplace(&now, change.kb);
      for (size_t i = 0; i < now.parts.size(); i++) {
         NoteChanges(now.parts[i], change.parts[i], changes);
      }
   }

   // ---- the largest

   struct ListColumn {
      std::string heading;
      TopList list;
      bool areChanges;
   };

   struct Lists {
      std::array<ListColumn, 3> columns;
      size_t entries; // to show of each
   };

   ListColumn ListOf(GroupKind kind, const char *name) const
   {
      const std::vector<GroupRow> &now = overview.now->rows.groups;
      ListColumn column = {name, LargestOf(now, kind), overview.before != nullptr};
      column.heading.append(" ").append(std::to_string(column.list.count));
      if (overview.before != nullptr) {
         column.list.entries = GrowthOf(overview.before->rows.groups, now, kind).entries;
         column.heading += ", growth";
      } else if (column.list.kb > 0) {
         column.heading.append(", ").append(Amount(column.list.kb));
      }
      return column;
   }

   Lists MakeLists(size_t most) const
   {
      Lists lists = {{ListOf(GroupKind::Vm, "VMs"), ListOf(GroupKind::Group, "groups"),
                      ListOf(GroupKind::Process, "processes")},
                     1};
      for (const ListColumn &column : lists.columns) {
         lists.entries = std::max(lists.entries, std::min(column.list.entries.size(), most));
      }
      return lists;
   }

   void PutLists(const Lists &lists)
   {
      constexpr size_t kGap = 3;
      const size_t width = (style.columns - 2 * kGap) / 3;
      const std::string gap(kGap, ' ');
      for (size_t i = 0; i < lists.columns.size(); i++) {
         lines.Put(i > 0 ? gap : "").Put(lists.columns[i].heading, width, Colour::Heading);
      }
      lines.End();
      for (size_t entry = 0; entry < lists.entries; entry++) {
         for (size_t i = 0; i < lists.columns.size(); i++) {
            lines.Put(i > 0 ? gap : "");
            PutEntry(lists.columns[i], entry, width);
         }
         lines.End();
      }
   }

   void PutEntry(const ListColumn &column, size_t position, size_t width)
   {
      const std::vector<TopEntry> &entries = column.list.entries;
      if (position >= entries.size()) {
         lines.Put(position == 0 ? "none" : "", width, Colour::Faint);
         return;
      }
      const TopEntry &entry = entries[position];
      const size_t amount = std::min(column.areChanges ? figures.change : figures.amount, width - 1);
      lines.PutName(entry.name, width - 1 - amount).Put(" ");
      lines.Put(column.areChanges ? Change(entry.kb) : Amount(entry.kb), amount, Colour::Plain, Align::Right);
   }

   // ---- who swaps

   void PutSwapped()
   {
      std::vector<const VmRow *> vms;
      uint64_t sum = 0;
      for (const VmRow &vm : overview.now->rows.vms) {
         if (vm.swapped > 0) {
            vms.push_back(&vm);
            sum += vm.swapped;
         }
      }
      std::ranges::stable_sort(vms, std::greater(), &VmRow::swapped);
      lines.Put("swapped  ", Colour::Heading);
      std::string text = vms.empty() ? "no VM" : Amount(static_cast<int64_t>(sum));
      if (!vms.empty()) {
         text.append(" of ").append(std::to_string(vms.size())).append(vms.size() > 1 ? " VMs" : " VM");
         const auto swapping = std::ranges::count_if(vms, &VmRow::isSwapping);
         text.append(swapping > 0 ? ", " + std::to_string(swapping) + " swapping now" : "").append(": ");
      }
      for (size_t i = 0; i < std::min<size_t>(vms.size(), 5); i++) {
         text.append(i > 0 ? ", " : "").append(vms[i]->name).append(" ");
         text += Amount(static_cast<int64_t>(vms[i]->swapped));
      }
      const KernelDetail *detail = overview.now->Detail();
      if (detail != nullptr) {
         const uint64_t swap = detail->Of("SwapTotal");
         text += swap == 0 ? "; the host has no swap"
                           : "; " + Amount(static_cast<int64_t>(swap - detail->Of("SwapFree"))) +
                                " of the host's " + Amount(static_cast<int64_t>(swap));
      }
      lines.Put(text, style.columns - 9);
      lines.End();
   }

   // ---- the findings

   void PutFinding(const Finding &finding, size_t others)
   {
      const std::string more = AndOthers(others);
      lines.Put(FindingTag(finding.severity), 6, ColourOf(finding.severity));
      lines.Put(FindingText(finding), style.columns - 6 - more.size()).Put(more);
      lines.End();
   }

   static const char *FindingTag(Severity severity)
   {
      return severity == Severity::Critical ? "CRIT" : severity == Severity::Warning ? "warn" : "note";
   }

   static std::string FindingText(const Finding &finding) { return finding.subject + " " + finding.text; }

   // Findings to show, and how many others of the same rule each stands for.
   using FindingLines = std::vector<std::pair<const Finding *, size_t>>;

   // All, or where they are too many the first of each rule, and the last for all that have no line.
   FindingLines ChooseFindings(size_t most) const
   {
      FindingLines chosen;
      const bool areAll = overview.findings.size() <= most;
      for (const Finding &finding : overview.findings) {
         const auto known = std::ranges::find_if(
            chosen, [&](const auto &other) { return !areAll && other.first->rule == finding.rule; });
         if (known != chosen.end()) {
            known->second++;
         } else {
            chosen.emplace_back(&finding, 0);
         }
      }
      while (chosen.size() > std::max<size_t>(most, 1)) {
         const size_t left = chosen.back().second + 1;
         chosen.pop_back();
         chosen.back().second += left;
      }
      return chosen;
   }

   void PutFindings(const FindingLines &findings)
   {
      if (overview.findings.empty()) {
         lines.Put("no findings", Colour::Good);
         lines.End();
      }
      for (const auto &[finding, others] : findings) {
         PutFinding(*finding, others);
      }
   }

   const Overview &overview;
   const ScreenStyle &style;
   FigureColumns figures;
   Lines lines;
};

} // namespace

Overview MakeOverview(const HostMoment &now, const HostMoment *before, const MomentChoice &choice)
{
   // Only what is taken apart in the same way can be compared.
   const bool hasDetail = now.Detail() != nullptr && (before == nullptr || before->Detail() != nullptr);
   Overview overview = {.now = &now,
                        .before = before,
                        .account = MakeAccount(now.rows, hasDetail ? now.Detail() : nullptr),
                        .accountBefore = {},
                        .findings = {}};
   if (before != nullptr) {
      overview.accountBefore = MakeAccount(before->rows, hasDetail ? before->Detail() : nullptr);
   }
   overview.findings = FindFindings({.rows = now.rows,
                                     .detail = now.Detail(),
                                     .before = before != nullptr ? &before->rows : nullptr,
                                     .command = CommandOf(choice)});
   return overview;
}

std::string MakeScreen(const Overview &overview, const ScreenStyle &style)
{
   return Screen(overview, style).Make();
}

std::string MakeFindingList(const Overview &overview, const ScreenStyle &style)
{
   Lines lines(style);
   for (const Finding &finding : overview.findings) {
      lines.Put(SeverityWord(finding.severity), 10, ColourOf(finding.severity));
      lines.Put(TerminalText(finding.subject + " " + finding.text, style.charset));
      lines.End();
      lines.Put("          ").Put(TerminalText(finding.command, style.charset), Colour::Faint);
      lines.End();
   }
   if (overview.findings.empty()) {
      lines.Put("no findings", Colour::Good);
      lines.End();
   }
   for (const std::string &line : overview.now->NotRead()) {
      lines.Put("not read  ", Colour::Warning).Put(TerminalText(line, style.charset));
      lines.End();
   }
   return lines.Text();
}

} // namespace overview
