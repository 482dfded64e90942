// The command line of hostmem-overview.
#include <cstdio>
#include <new>

#include <CLI/CLI.hpp>

#include "nevra/nevra.h"
#include "nevra/shown_text.h"
#include "overview/account.h"
#include "overview/amount_text.h"
#include "overview/findings.h"
#include "overview/moment_choice.h"
#include "recorder/message.h"

namespace {

using recorder::kExitDone;
using recorder::kExitFailed;
using recorder::kExitTrouble;

void Print(const overview::AccountItem &item, int depth)
{
   std::printf("%*s%s %s\n", 2 * depth, "", nevra::ShownText(item.name).c_str(),
               overview::AmountText(item.kb).c_str());
   for (const overview::AccountItem &part : item.parts) {
      Print(part, depth + 1);
   }
}

int Run(int argc, char **argv)
{
   CLI::App app("Shows where the memory of a host went, who grew and who is short.", "hostmem-overview");
   overview::MomentChoice choice;
   CLI::Option *snapshot =
      app.add_option("-c,--cache", choice.snapshot, "Snapshot to show instead of this host");
   CLI::Option *folder =
      app.add_option("--dir", choice.folder, "Recording to show a moment of")->excludes(snapshot);
   app.add_option("--at", choice.time, "With --dir: TIME to show (default: the last)")->needs(folder);
   try {
      app.parse(argc, argv);
   } catch (const CLI::ParseError &error) {
      return app.exit(error) == 0 ? kExitDone : kExitTrouble;
   }
   overview::HostMoment moment;
   if (!ReadMoment(choice, &moment)) {
      return kExitFailed;
   }
   const overview::Account account = MakeAccount(moment.rows, moment.Detail());
   Print(account.byUse, 0);
   Print(account.byGroup, 0);
   for (const overview::Finding &finding : overview::FindFindings(
           {.rows = moment.rows, .detail = moment.Detail(), .command = CommandOf(choice)})) {
      std::printf("%s: %s %s (%s)\n", SeverityWord(finding.severity),
                  nevra::ShownText(finding.subject).c_str(), finding.text.c_str(), finding.command.c_str());
   }
   for (const std::string &line : moment.NotRead()) {
      std::printf("not read: %s\n", nevra::ShownText(line).c_str());
   }
   return kExitDone;
}

} // namespace

int main(int argc, char **argv)
{
   try {
      return Run(argc, argv);
   } catch (const std::exception &error) {
      Warning("hostmem-overview: %s\n", error.what());
   }
   return kExitFailed;
}
