// The command line of hostmem-exporter.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>

#include <CLI/CLI.hpp>

#include "export/metric_options.h"
#include "exporter/serve.h"
#include "nevra/nevra.h"

namespace {

constexpr int kExitTrouble = 2;
constexpr char kDefaultAddress[] = "127.0.0.1:9947";

int RefuseCommandLine(const std::string &problem)
{
   Warning("hostmem-exporter: %s\n", problem.c_str());
   Warning("Run with --help for more information.\n");
   return kExitTrouble;
}

// What the command line has as numbers.
struct Times {
   unsigned client = 30;
   double reading = 8;
};

void AddOptions(CLI::App *app, exporter::ServeRequest *request, Times *times)
{
   app->add_option("--web.listen-address", request->addresses, "Addresses to listen on")
      ->type_name("HOST:PORT")
      ->default_str(kDefaultAddress);
   app->add_option("--web.config.file", request->webConfig, "TLS and passwords")->type_name("FILE");
   app->add_option("--web.timeout", times->client, "Seconds that a client may be silent")
      ->type_name("SECONDS")
      ->check(CLI::Range(1U, 3600U))
      ->capture_default_str();
   app->add_option("--scrape-timeout", times->reading, "Seconds that a reading may take")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.1, 3600.0))
      ->capture_default_str();
   app->add_option("-r,--report", request->reading.metrics.reports, "Reports to export; by default all")
      ->type_name("REPORT");
   CLI::Option *snapshot =
      app->add_option("-c,--cache", request->reading.snapshot, "Snapshot to read instead of this host")
         ->type_name("FILE");
   app->add_option("--root", request->reading.root, "Folder with a host's /proc and /sys to read instead")
      ->type_name("FOLDER")
      ->excludes(snapshot);
   AddMetricOptions(app, &request->reading.metrics);
}

// What the options mean together. False, with a message, for what cannot be meant.
bool Complete(const Times &times, exporter::ServeRequest *request)
{
   for (std::string &report : request->reading.metrics.reports) {
      if (const std::string problem = ProblemOfReport(&report); !problem.empty()) {
         Warning("hostmem-exporter: %s: %s\n", report.c_str(), problem.c_str());
         return false;
      }
   }
   if (request->addresses.empty()) {
      request->addresses = {kDefaultAddress};
   }
   request->clientTimeout = std::chrono::seconds(times.client);
   request->readingTimeout = std::chrono::milliseconds(static_cast<int64_t>(times.reading * 1000));
   const bool isLive = request->reading.snapshot.empty();
   if (isLive) {
      AllowWalks(request->reading.metrics.hasWalked);
   }
   request->reading.metrics.hasWalked |= !isLive;
   return true;
}

int Run(int argc, char **argv)
{
   CLI::App app("Serves the memory of this host as metrics, for Prometheus.", "hostmem-exporter");
   app.set_version_flag("--version", "hostmem-exporter " HOSTMEM_VERSION);
   app.footer(
      "Exit status: 0 when it was ended by a signal, 1 when it could not serve, 2 for a wrong command line.");
   exporter::ServeRequest request;
   Times times;
   AddOptions(&app, &request, &times);
   try {
      app.parse(argc, argv);
   } catch (const CLI::ParseError &error) {
      if (error.get_exit_code() == 0) { // help, version
         app.exit(error);
         return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
      }
      return RefuseCommandLine(error.what());
   }
   return Complete(times, &request) ? exporter::Serve(request) : kExitTrouble;
}

} // namespace

int main(int argc, char **argv)
{
   try {
      return Run(argc, argv);
   } catch (const std::bad_alloc &) {
      Warning("hostmem-exporter: out of memory\n");
   } catch (const std::exception &error) {
      Warning("hostmem-exporter: %s\n", error.what());
   }
   return EXIT_FAILURE;
}
